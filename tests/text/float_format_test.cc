#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "include/valueformat.h"
#include "text/heap_text.hpp"

using cu_test::Taken;

namespace {

constexpr float kFloatInfinity = std::numeric_limits<float>::infinity();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A formatter's text. Checks that `*out` is the result and that the block's rest is zero.
template <typename Value>
std::string Formatted(char *(*format)(uint8_t, char **, Value), uint8_t precision, Value value,
                      size_t block) {
  char *out = nullptr;
  char *const result = format(precision, &out, value);
  EXPECT_EQ(result, out);
  if (result == nullptr) return "(null)";
  const std::string text = result;
  EXPECT_LT(text.size(), block);
  for (size_t i = text.size(); i < block; ++i) EXPECT_EQ(result[i], '\0') << text << " at " << i;
  return Taken(result);
}

std::string Float(uint8_t precision, float value) {
  return Formatted(getFloatAsString, precision, value, (precision < 9 ? precision : 9U) + 11);
}

std::string Double(uint8_t precision, double value) {
  return Formatted(getDoubleAsString, precision, value, (precision < 9 ? precision : 9U) + 21);
}

std::string IntOrDouble(uint8_t precision, double value) {
  char *out = nullptr;
  EXPECT_EQ(getDoubleAsIntOrDoubleString(precision, &out, value), out);
  return Taken(out);
}

TEST(GetFloatAsString, PrintsTheDecimalsAskedFor) {
  EXPECT_EQ(Float(0, 2.5F), "2");
  EXPECT_EQ(Float(1, 2.5F), "2.5");
  EXPECT_EQ(Float(2, 2.5F), "2.50");
  EXPECT_EQ(Float(3, -0.125F), "-0.125");
  EXPECT_EQ(Float(2, 100.0F), "100.00");
  EXPECT_EQ(Float(6, 3.1415927F), "3.141593");
}

TEST(GetFloatAsString, RoundsTiesToEven) {
  EXPECT_EQ(Float(0, 0.5F), "0");
  EXPECT_EQ(Float(0, 1.5F), "2");
  EXPECT_EQ(Float(0, 2.5F), "2");
  EXPECT_EQ(Float(0, 3.5F), "4");
  EXPECT_EQ(Float(2, 0.125F), "0.12");
  EXPECT_EQ(Float(2, 0.375F), "0.38");
  EXPECT_EQ(Float(1, 0.25F), "0.2");
  EXPECT_EQ(Float(1, 0.75F), "0.8");
}

TEST(GetFloatAsString, CarriesIntoTheWholePart) {
  EXPECT_EQ(Float(2, 9.999F), "10.00");
  EXPECT_EQ(Float(0, 9.5F), "10");
  EXPECT_EQ(Float(1, -0.96875F), "-1.0");
}

TEST(GetFloatAsString, PrintsZerosWithTheirSign) {
  EXPECT_EQ(Float(2, 0.0F), "0.00");
  EXPECT_EQ(Float(2, -0.0F), "-0.00");
  EXPECT_EQ(Float(2, -0.001F), "-0.00");
  EXPECT_EQ(Float(9, std::numeric_limits<float>::denorm_min()), "0.000000000");
}

TEST(GetFloatAsString, TakesAPrecisionAbove9As9) {
  EXPECT_EQ(Float(9, 0.1F), "0.100000001");
  EXPECT_EQ(Float(10, 0.1F), "0.100000001");
  EXPECT_EQ(Float(20, 0.1F), "0.100000001");
  EXPECT_EQ(Float(255, 0.1F), "0.100000001");
}

TEST(GetFloatAsString, KeepsPrecisionPlus9Characters) {
  EXPECT_EQ(Float(9, 2147483520.0F), "2147483520.0000000");
  EXPECT_EQ(Float(9, 2147483648.0F), "2147483648.0000000");
  EXPECT_EQ(Float(0, 2147483520.0F), "214748352");
  EXPECT_EQ(Float(0, -2147483520.0F), "-21474835");
  EXPECT_EQ(Float(3, -123456789.0F), "-123456792.0");
  EXPECT_EQ(Float(2, 1e20F), "10000000200");
}

TEST(GetFloatAsString, PrintsWhatIsNoNumber) {
  EXPECT_EQ(Float(2, kFloatInfinity), "inf");
  EXPECT_EQ(Float(2, -kFloatInfinity), "-inf");
  EXPECT_EQ(Float(2, std::copysign(std::nanf(""), 1.0F)), "nan");
  EXPECT_EQ(Float(2, std::copysign(std::nanf(""), -1.0F)), "-nan");
}

TEST(GetFloatAsString, GivesNullForANullOut) {
  EXPECT_EQ(getFloatAsString(2, nullptr, 1), nullptr);
}

TEST(GetDoubleAsString, PrintsTheDecimalsAskedFor) {
  EXPECT_EQ(Double(4, 2.5), "2.5000");
  EXPECT_EQ(Double(0, 2.5), "2");
  EXPECT_EQ(Double(9, 0.1), "0.100000000");
  EXPECT_EQ(Double(3, -1.0 / 3), "-0.333");
}

TEST(GetDoubleAsString, TakesAPrecisionAbove9As9) {
  EXPECT_EQ(Double(10, 0.1), "0.100000000");
  EXPECT_EQ(Double(255, 0.1), "0.100000000");
}

TEST(GetDoubleAsString, KeepsPrecisionPlus20Characters) {
  EXPECT_EQ(Double(0, 1e25), "10000000000000000905");
  EXPECT_EQ(Double(2, -1e25), "-100000000000000009059");
  EXPECT_EQ(Double(9, 1e19), "10000000000000000000.00000000");
}

TEST(GetDoubleAsString, PrintsWhatIsNoNumber) {
  EXPECT_EQ(Double(2, kInfinity), "inf");
  EXPECT_EQ(Double(2, std::copysign(std::nan(""), 1.0)), "nan");
}

TEST(GetDoubleAsString, GivesNullForANullOut) {
  EXPECT_EQ(getDoubleAsString(2, nullptr, 1), nullptr);
}

TEST(GetDoubleAsIntOrDoubleString, PrintsWholeNumbersWithoutDecimals) {
  EXPECT_EQ(IntOrDouble(2, 42.0), "42");
  EXPECT_EQ(IntOrDouble(2, -3.0), "-3");
  EXPECT_EQ(IntOrDouble(2, 0.0), "0");
  EXPECT_EQ(IntOrDouble(2, -0.0), "0");
  EXPECT_EQ(IntOrDouble(2, 2147483647.0), "2147483647");
  EXPECT_EQ(IntOrDouble(2, -2147483648.0), "-2147483648");
}

TEST(GetDoubleAsIntOrDoubleString, PrintsOtherNumbersWithDecimals) {
  EXPECT_EQ(IntOrDouble(2, 2.5), "2.50");
  EXPECT_EQ(IntOrDouble(0, 2.5), "2");
  EXPECT_EQ(IntOrDouble(12, -0.1), "-0.100000000");
}

TEST(GetDoubleAsIntOrDoubleString, SaturatesAtThe32BitLimits) {
  EXPECT_EQ(IntOrDouble(2, 2147483648.0), "2147483647");
  EXPECT_EQ(IntOrDouble(2, 1e300), "2147483647");
  EXPECT_EQ(IntOrDouble(2, -2147483649.0), "-2147483648");
  EXPECT_EQ(IntOrDouble(2, kInfinity), "2147483647");
  EXPECT_EQ(IntOrDouble(2, -kInfinity), "-2147483648");
}

TEST(GetDoubleAsIntOrDoubleString, PrintsNanAsADouble) {
  EXPECT_EQ(IntOrDouble(2, std::copysign(std::nan(""), 1.0)), "nan");
}

TEST(GetDoubleAsIntOrDoubleString, GivesNullForANullOut) {
  EXPECT_EQ(getDoubleAsIntOrDoubleString(2, nullptr, 1.0), nullptr);
  EXPECT_EQ(getDoubleAsIntOrDoubleString(2, nullptr, 1.5), nullptr);
}

}  // namespace
