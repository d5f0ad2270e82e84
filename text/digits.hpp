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

/// How many digits a value has; 0 has one.
size_t CountDigits(uint32_t value);
size_t CountDigits(uint64_t value);

/// Write a value's digits so that they end before `end`, and return where they begin. No terminator
/// is written.
char *DigitsBefore(char *end, uint32_t value);
char *DigitsBefore(char *end, uint64_t value);

/// Exactly `count` digits, with zeros in front.
char *PaddedDigitsBefore(char *end, uint32_t value, size_t count);

/// What is left of a value without its sign.
inline uint32_t MagnitudeOf(int32_t value) {
  const auto bits = static_cast<uint32_t>(value);
  return value < 0 ? 0 - bits : bits;
}

/// A value's digits with the sign of a negative one.
inline char *SignedDigitsBefore(char *end, int32_t value) {
  char *first = DigitsBefore(end, MagnitudeOf(value));
  if (value < 0) *--first = '-';
  return first;
}

}  // namespace cu

#endif
