// Decimal digits without printf.
#ifndef COMMONUTILITIES_TEXT_DIGITS_HPP
#define COMMONUTILITIES_TEXT_DIGITS_HPP

#include <stddef.h>
#include <stdint.h>

namespace cu {

/// The longest texts, without terminator: "4294967295", "-2147483648", "18446744073709551615".
inline constexpr size_t kLongestUnsigned32 = 10;
inline constexpr size_t kLongestSigned32 = 11;
inline constexpr size_t kLongestUnsigned64 = 20;

/// Write a value's digits so that they end before `end`, and return where they begin. No terminator
/// is written.
char *DigitsBefore(char *end, uint32_t value);
char *DigitsBefore(char *end, uint64_t value);

/// The same with the sign of a negative value.
inline char *SignedDigitsBefore(char *end, int32_t value) {
  const auto bits = static_cast<uint32_t>(value);
  char *first = DigitsBefore(end, value < 0 ? 0 - bits : bits);
  if (value < 0) *--first = '-';
  return first;
}

/// Exactly `count` digits, with zeros in front.
char *PaddedDigitsBefore(char *end, uint32_t value, size_t count);

}  // namespace cu

#endif
