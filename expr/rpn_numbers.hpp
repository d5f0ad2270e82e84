// Numbers in expressions and parameters: the general way, which hands the text to the C library,
// and the short way for the plain decimal numbers that expressions are made of.
#ifndef COMMONUTILITIES_EXPR_RPN_NUMBERS_HPP
#define COMMONUTILITIES_EXPR_RPN_NUMBERS_HPP

#include <stdint.h>

#include <string_view>

namespace cu {

/// The number that a terminated text stands for, 0 when it is none. Hexadecimal texts ("0x1F") are
/// 32-bit integers in single precision; everything else is what atof() reads.
double NumberOfText(const char *text);

/// The decimal number that a terminated text begins with, 0 when there is none.
uint32_t IndexOfText(const char *text);

/// The short way to NumberOfText(): reads digits and at most one decimal point as long as the
/// result is exact. Returns the end of the number, null when the text does not begin with such a
/// one. The number holds only when the text ends there too.
const char *ReadPlainNumber(const char *text, double &value);

/// The short way to IndexOfText(): reads at most 9 digits and returns their end, as above.
inline const char *ReadPlainIndex(const char *text, uint32_t &index) {
  const char *next = text;
  uint32_t value = 0;
  for (; *next >= '0' && *next <= '9'; ++next) {
    if (next - text == 9) return nullptr;
    value = value * 10 + static_cast<uint32_t>(*next - '0');
  }
  index = value;
  return next == text ? nullptr : next;
}

/// NumberOfText() of a token that ends before its text does. False when there is no memory.
bool NumberOfToken(std::string_view token, double &value);

/// IndexOfText() of a token that ends before its text does. False when there is no memory.
bool IndexOfToken(std::string_view token, uint32_t &index);

}  // namespace cu

#endif
