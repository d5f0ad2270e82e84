// Floating-point numbers as text, for those who write into memory of their own.
#ifndef COMMONUTILITIES_TEXT_FLOAT_FORMAT_HPP
#define COMMONUTILITIES_TEXT_FLOAT_FORMAT_HPP

#include <stddef.h>
#include <stdint.h>

namespace cu {

/// Decimals beyond this many are not printed.
inline constexpr uint8_t kMostDecimals = 9;

/// Sizes, with terminator, of the texts of getFloatAsString() and getDoubleAsString().
constexpr size_t FloatTextSize(uint8_t decimals) {
  return decimals + size_t{10};
}
constexpr size_t DoubleTextSize(uint8_t decimals) {
  return decimals + size_t{21};
}
inline constexpr size_t kLargestFloatText = FloatTextSize(kMostDecimals);
inline constexpr size_t kLargestDoubleText = DoubleTextSize(kMostDecimals);

/// Write what getFloatAsString() and getDoubleAsString() print, cuts included, and return its
/// length. `decimals` is at most kMostDecimals; the room is the size above.
size_t FormatFloat(char *text, uint8_t decimals, float value);
size_t FormatDouble(char *text, uint8_t decimals, double value);

/// The general way of FormatFloat(), by snprintf().
size_t FormatFloatByPrintf(char *text, uint8_t decimals, float value);

}  // namespace cu

#endif
