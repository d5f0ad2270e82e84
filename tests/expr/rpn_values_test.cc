#include <gtest/gtest.h>

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <optional>
#include <string>

#include "include/rpn.h"

namespace {

RpnDataValue Convert(uint32_t type, double value) {
  RpnDataValue out;
  memset(&out, 0xA5, sizeof out);
  EXPECT_EQ(convertRPNFloatToDataType(type, &out, value), 1);
  EXPECT_EQ(out.dataType, type);
  return out;
}

TEST(ConvertRpnFloat, SetsTheLengthOfEachType) {
  const uint32_t lengths[] = {1, 1, 4, 8, 1, 2, 4, 8, 4, 8};
  for (uint32_t type = 1; type <= 10; ++type) {
    EXPECT_EQ(Convert(type, 1).length, lengths[type - 1]) << type;
  }
}

struct IntegerRow {
  double value;
  uint8_t u8;
  uint16_t u16;
  uint32_t u32;
  uint64_t u64;
  int8_t i8;
  int16_t i16;
  int32_t i32;
  int64_t i64;
};

class ConvertRpnFloatTest : public testing::TestWithParam<IntegerRow> {};

TEST_P(ConvertRpnFloatTest, SaturatesAndKeepsTheLowBits) {
  const IntegerRow &row = GetParam();
  SCOPED_TRACE(row.value);
  EXPECT_EQ(Convert(1, row.value).value.uint8, row.u8);
  EXPECT_EQ(Convert(2, row.value).value.uint16, row.u16);
  EXPECT_EQ(Convert(3, row.value).value.uint32, row.u32);
  EXPECT_EQ(Convert(4, row.value).value.uint64, row.u64);
  EXPECT_EQ(Convert(5, row.value).value.int8, row.i8);
  EXPECT_EQ(Convert(6, row.value).value.int16, row.i16);
  EXPECT_EQ(Convert(7, row.value).value.int32, row.i32);
  EXPECT_EQ(Convert(8, row.value).value.int64, row.i64);
}

constexpr uint32_t kU32 = UINT32_MAX;
constexpr uint64_t kU64 = UINT64_MAX;
constexpr int32_t kMax32 = INT32_MAX, kMin32 = INT32_MIN;
constexpr int64_t kMax64 = INT64_MAX, kMin64 = INT64_MIN;

INSTANTIATE_TEST_SUITE_P(
    Seams, ConvertRpnFloatTest,
    testing::Values(
        IntegerRow{0, 0, 0, 0, 0, 0, 0, 0, 0}, IntegerRow{-0.0, 0, 0, 0, 0, 0, 0, 0, 0},
        IntegerRow{0.999, 0, 0, 0, 0, 0, 0, 0, 0}, IntegerRow{-0.999, 0, 0, 0, 0, 0, 0, 0, 0},
        IntegerRow{300, 44, 300, 300, 300, 44, 300, 300, 300},
        IntegerRow{-5, 0, 0, 0, 0, -5, -5, -5, -5}, IntegerRow{-5.9, 0, 0, 0, 0, -5, -5, -5, -5},
        IntegerRow{128, 128, 128, 128, 128, -128, 128, 128, 128},
        IntegerRow{-129, 0, 0, 0, 0, 127, -129, -129, -129},
        IntegerRow{65537.5, 1, 1, 65537, 65537, 1, 1, 65537, 65537},
        IntegerRow{32768, 0, 32768, 32768, 32768, 0, -32768, 32768, 32768},
        IntegerRow{2147483647, 255, 65535, 2147483647, 2147483647, -1, -1, kMax32, 2147483647},
        IntegerRow{2147483648, 0, 0, 2147483648, 2147483648, -1, -1, kMax32, 2147483648},
        IntegerRow{-2147483648.0, 0, 0, 0, 0, 0, 0, kMin32, -2147483648LL},
        IntegerRow{-2147483649.0, 0, 0, 0, 0, 0, 0, kMin32, -2147483649LL},
        IntegerRow{4294967295.0, 255, 65535, kU32, 4294967295, -1, -1, kMax32, 4294967295},
        IntegerRow{4294967295.9, 255, 65535, kU32, 4294967295, -1, -1, kMax32, 4294967295},
        IntegerRow{4294967296.0, 255, 65535, kU32, 4294967296, -1, -1, kMax32, 4294967296},
        IntegerRow{5e9, 255, 65535, kU32, 5000000000, -1, -1, kMax32, 5000000000},
        IntegerRow{9223372036854774784.0, 255, 65535, kU32, 9223372036854774784U, -1, -1, kMax32,
                   9223372036854774784},
        IntegerRow{9223372036854775808.0, 255, 65535, kU32, 9223372036854775808U, -1, -1, kMax32,
                   kMax64},
        IntegerRow{-9223372036854775808.0, 0, 0, 0, 0, 0, 0, kMin32, kMin64},
        IntegerRow{-1e30, 0, 0, 0, 0, 0, 0, kMin32, kMin64},
        IntegerRow{18446744073709549568.0, 255, 65535, kU32, 18446744073709549568U, -1, -1, kMax32,
                   kMax64},
        IntegerRow{18446744073709551616.0, 255, 65535, kU32, kU64, -1, -1, kMax32, kMax64},
        IntegerRow{INFINITY, 255, 65535, kU32, kU64, -1, -1, kMax32, kMax64},
        IntegerRow{-INFINITY, 0, 0, 0, 0, 0, 0, kMin32, kMin64},
        IntegerRow{NAN, 0, 0, 0, 0, 0, 0, 0, 0}));

TEST(ConvertRpnFloat, KeepsFloatingPointValues) {
  EXPECT_EQ(Convert(9, 0.1).value.single, 0.1f);
  EXPECT_EQ(Convert(9, 1e300).value.single, INFINITY);
  EXPECT_EQ(Convert(10, 0.1).value.number, 0.1);
  EXPECT_TRUE(isnan(Convert(10, NAN).value.number));
}

TEST(ConvertRpnFloat, RefusesOtherTypesAndNull) {
  RpnDataValue out = {7, 7, {.uint64 = 7}};
  for (const uint32_t type : {0u, 11u, 12u, UINT32_MAX}) {
    EXPECT_EQ(convertRPNFloatToDataType(type, &out, 1), 0);
    EXPECT_EQ(out.length, 7u);
    EXPECT_EQ(out.dataType, 7u);
    EXPECT_EQ(out.value.uint64, 7u);
  }
  EXPECT_EQ(convertRPNFloatToDataType(1, nullptr, 1), 0);
}

std::optional<std::string> Text(const RpnDataValue &value, uint32_t precision) {
  char *out = nullptr;
  if (getRPMDataTypeAsString(&value, &out, precision) == 0) return std::nullopt;
  const std::string text = out;
  free(out);
  return text;
}

struct TextRow {
  uint32_t type;
  double value;
  uint32_t precision;
  const char *text;
};

class GetRpmDataTypeTest : public testing::TestWithParam<TextRow> {};

TEST_P(GetRpmDataTypeTest, PrintsTheValueByItsType) {
  const TextRow &row = GetParam();
  EXPECT_EQ(Text(Convert(row.type, row.value), row.precision), row.text);
}

INSTANTIATE_TEST_SUITE_P(
    Types, GetRpmDataTypeTest,
    testing::Values(TextRow{1, 200, 0, "200"}, TextRow{2, 65535, 0, "65535"},
                    TextRow{3, 4294967295.0, 0, "429496729"},  // 9 characters
                    TextRow{4, 1e19, 0, "10000000000000000000"}, TextRow{5, -128, 0, "-12"},
                    TextRow{5, -99, 0, "-99"}, TextRow{6, -32768, 0, "-32768"},
                    TextRow{7, 2147483647, 0, "214748364"}, TextRow{7, -42, 0, "-42"},
                    TextRow{8, 4294967301.0, 0, "5"},  // the low 32 bits
                    TextRow{8, -7, 0, "-7"}, TextRow{8, 4294967295.0, 0, "-1"},
                    TextRow{9, 2.5, 2, "2.50"}, TextRow{9, 2.5, 0, "2"},
                    TextRow{9, 0.1, 9, "0.100000001"}, TextRow{9, 0.1, 256, "0.100000001"},
                    TextRow{10, 2.5, 3, "2.500"}, TextRow{10, 0.1, 9, "0.100000000"},
                    TextRow{10, 0.1, 4294967295, "0.100000000"}));

TEST(GetRpmDataType, CopiesATextOfTheGivenLength) {
  char bytes[] = {'a', 'b', 'c', 'd'};
  RpnDataValue value = {3, RPN_TYPE_TEXT, {.text = bytes}};
  char *out = nullptr;
  ASSERT_EQ(getRPMDataTypeAsString(&value, &out, 0), 1);
  EXPECT_STREQ(out, "abc");
  EXPECT_NE(out, bytes);
  free(out);
}

TEST(GetRpmDataType, RefusesAnEmptyOrNullText) {
  char bytes[] = "abc";
  EXPECT_EQ(Text({0, RPN_TYPE_TEXT, {.text = bytes}}, 0), std::nullopt);
  EXPECT_EQ(Text({3, RPN_TYPE_TEXT, {.text = nullptr}}, 0), std::nullopt);
}

TEST(GetRpmDataType, RefusesOtherTypesAndNull) {
  for (const uint32_t type : {0u, 12u, UINT32_MAX}) {
    EXPECT_EQ(Text({8, type, {.uint64 = 1}}, 0), std::nullopt);
  }
  char *out = nullptr;
  const RpnDataValue value = {1, 1, {.uint64 = 1}};
  EXPECT_EQ(getRPMDataTypeAsString(nullptr, &out, 0), 0);
  EXPECT_EQ(getRPMDataTypeAsString(&value, nullptr, 0), 0);
}

}  // namespace
