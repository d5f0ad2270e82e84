#include "text/float_format.hpp"

#include <float.h>
#include <langinfo.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <bit>

#include "include/valueformat.h"
#include "text/digits.hpp"

namespace cu {
namespace {

constexpr uint32_t kPowersOf10[kMostDecimals + 1] = {
    1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};

constexpr int kFractionBits = FLT_MANT_DIG - 1;
constexpr int kExponentBias = FLT_MAX_EXP - 1;

/// A number to be printed: whole part and decimals as integers.
struct Decimal {
  bool negative;
  uint32_t whole;
  uint32_t fraction;
};

/// printf() follows the rounding direction; so the exact way, which rounds to nearest, is taken
/// only where that is the direction. The variable keeps the compiler from computing this itself.
bool RoundsToNearest() {
  volatile float tiny = FLT_MIN;
  return 1.0F + tiny == 1.0F - tiny;
}

/// Rounds |value| to `decimals`, ties to even, for 2^-30 <= |value| < 2^31 and zero. A significand
/// of 24 bits times 10^9 needs 54 bits, so nothing is lost in 64.
bool RoundExactly(float value, uint8_t decimals, Decimal &result) {
  const auto bits = std::bit_cast<uint32_t>(value);
  const int exponent = static_cast<int>(bits >> kFractionBits & 0xFF) - kExponentBias;
  uint32_t significand = (bits & ((1U << kFractionBits) - 1)) | 1U << kFractionBits;
  int shift = kFractionBits - exponent;  // |value| is significand / 2^shift
  if ((bits << 1) == 0) {
    significand = 0;
    shift = 0;
  } else if (exponent < -30 || exponent >= 31) {
    return false;
  }
  result.negative = bits >> 31 != 0;
  if (shift <= 0) {
    result.whole = significand << -shift;
    result.fraction = 0;
    return true;
  }

  const uint32_t scale = kPowersOf10[decimals];
  const uint64_t below_one = (uint64_t{1} << shift) - 1;
  const uint64_t scaled = (significand & below_one) * scale;
  const uint64_t rest = scaled & below_one;
  const uint64_t half = uint64_t{1} << (shift - 1);
  result.whole = static_cast<uint32_t>(uint64_t{significand} >> shift);
  result.fraction = static_cast<uint32_t>(scaled >> shift);
  const uint32_t last_digit = decimals == 0 ? result.whole : result.fraction;
  if (rest > half || (rest == half && last_digit % 2 != 0)) ++result.fraction;
  if (result.fraction == scale) {
    result.fraction = 0;
    ++result.whole;
  }
  return true;
}

/// The length of the longest number.
constexpr size_t kLongestDecimal = 1 + kLongestUnsigned32 + 1 + kMostDecimals;

/// Writes a number so that it ends before `end`.
void WriteBefore(char *end, const Decimal &number, uint8_t decimals, char point) {
  if (decimals != 0) {
    end = PaddedDigitsBefore(end, number.fraction, decimals);
    *--end = point;
  }
  end = DigitsBefore(end, number.whole);
  if (number.negative) *--end = '-';
}

/// snprintf() with what it cut counted off.
template <typename Number>
size_t Print(char *text, size_t size, uint8_t decimals, Number value) {
  const int length = snprintf(text, size, "%.*f", decimals, static_cast<double>(value));
  return std::min(static_cast<size_t>(std::max(length, 0)), size - 1);
}

/// Gives the caller a zero-filled block of `size` bytes.
char *NewBlock(size_t size, char **out) {
  *out = static_cast<char *>(malloc(size));
  if (*out != nullptr) memset(*out, 0, size);
  return *out;
}

}  // namespace

size_t FormatFloatByPrintf(char *text, uint8_t decimals, float value) {
  return Print(text, FloatTextSize(decimals), decimals, value);
}

size_t FormatFloat(char *text, uint8_t decimals, float value) {
  const char *const point = nl_langinfo(RADIXCHAR);
  const bool has_plain_point = point[0] != '\0' && point[1] == '\0';
  Decimal number;
  if (!has_plain_point || !RoundsToNearest() || !RoundExactly(value, decimals, number)) {
    return FormatFloatByPrintf(text, decimals, value);
  }

  const size_t point_and_decimals = decimals == 0 ? 0 : decimals + size_t{1};
  const size_t length = number.negative + CountDigits(number.whole) + point_and_decimals;
  const size_t kept = std::min(length, FloatTextSize(decimals) - 1);
  if (kept == length) {
    WriteBefore(text + length, number, decimals, *point);
  } else {
    char longer[kLongestDecimal];
    WriteBefore(longer + length, number, decimals, *point);
    memcpy(text, longer, kept);
  }
  text[kept] = '\0';
  return kept;
}

size_t FormatDouble(char *text, uint8_t decimals, double value) {
  return Print(text, DoubleTextSize(decimals), decimals, value);
}

}  // namespace cu

char *getFloatAsString(uint8_t precision, char **out, float value) {
  if (out == nullptr) return nullptr;
  const uint8_t decimals = std::min(precision, cu::kMostDecimals);
  char *const text = cu::NewBlock(cu::FloatTextSize(decimals) + 1, out);
  if (text != nullptr) cu::FormatFloat(text, decimals, value);
  return text;
}

char *getDoubleAsString(uint8_t precision, char **out, double value) {
  if (out == nullptr) return nullptr;
  const uint8_t decimals = std::min(precision, cu::kMostDecimals);
  char *const text = cu::NewBlock(cu::DoubleTextSize(decimals), out);
  if (text != nullptr) cu::FormatDouble(text, decimals, value);
  return text;
}

char *getDoubleAsIntOrDoubleString(uint8_t precision, char **out, double value) {
  double whole;
  if (modf(value, &whole) != 0.0) return getDoubleAsString(precision, out, value);
  const double saturated =
      std::clamp(whole, static_cast<double>(INT32_MIN), static_cast<double>(INT32_MAX));
  return getLongAsString(static_cast<int32_t>(saturated), out);
}
