#include <gtest/gtest.h>

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <cmath>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "include/jsonnode.h"

namespace {

TEST(StringDataTypeToEnum, KnowsTheNames) {
  const std::pair<const char *, uint32_t> rows[] = {
      {"uint8", 1},  {"uint16", 2},  {"uint32", 3},  {"unsigned integer", 3},
      {"uint64", 4}, {"int32", 7},   {"integer", 7}, {"int64", 8},
      {"float", 9},  {"double", 10}, {"string", 11}, {"hex", 12}};
  for (const auto &[name, type] : rows) EXPECT_EQ(aeStringDataTypeToEnum(name), type) << name;
}

TEST(StringDataTypeToEnum, GivesZeroForAnyOtherName) {
  for (const char *name : {"", "Integer", "UINT8", "uint", "uint88", "int8", "int16", "integer ",
                           "unsigned", "unsigned integers", "boolean"}) {
    EXPECT_EQ(aeStringDataTypeToEnum(name), 0u) << name;
  }
  EXPECT_EQ(aeStringDataTypeToEnum(nullptr), 0u);
}

TEST(GetJsonDataTypeSize, KnowsTheSizesOfNumbers) {
  const uint32_t sizes[] = {0, 1, 2, 4, 8, 1, 2, 4, 8, 4, 8, 0, 0, 0};
  for (uint32_t type = 0; type < std::size(sizes); ++type) {
    EXPECT_EQ(aeGetJsonDataTypeSize(type), sizes[type]) << type;
  }
  EXPECT_EQ(aeGetJsonDataTypeSize(UINT32_MAX), 0u);
}

constexpr uint8_t kBytes[] = {0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89};

JsonTypedValue FromBytes(uint32_t type, const uint8_t *bytes, uint32_t length) {
  JsonTypedValue value;
  memset(&value, 0xA5, sizeof value);
  EXPECT_EQ(aeConvertDataBytesToJsonDataType(type, bytes, length, &value), 1) << type;
  EXPECT_EQ(value.type, type);
  return value;
}

TEST(ConvertDataBytes, TakesTheBytesOfANumberInMachineOrder) {
  for (uint32_t type = 1; type <= 10; ++type) {
    const uint32_t size = aeGetJsonDataTypeSize(type);
    for (const uint32_t length : {size, 9u}) {
      const JsonTypedValue value = FromBytes(type, kBytes, length);
      EXPECT_EQ(value.length, size) << type;
      EXPECT_EQ(memcmp(&value.value, kBytes, size), 0) << type;
    }
  }
}

TEST(ConvertDataBytes, NeedsNoAlignment) {
  const JsonTypedValue value = FromBytes(JSON_TYPE_DOUBLE, kBytes + 1, 8);
  EXPECT_EQ(memcmp(&value.value, kBytes + 1, 8), 0);
}

TEST(ConvertDataBytes, CopiesTextsAndBytesWithATerminator) {
  for (const uint32_t type : {11u, 12u}) {
    const JsonTypedValue value = FromBytes(type, kBytes, 5);
    EXPECT_EQ(value.length, 5u);
    EXPECT_NE(value.value.bytes, kBytes);
    EXPECT_EQ(memcmp(value.value.bytes, kBytes, 5), 0);
    EXPECT_EQ(value.value.bytes[5], 0);
    free(value.value.bytes);
  }
}

TEST(ConvertDataBytes, FailsForTooFewBytesButHasSetTheType) {
  for (uint32_t type = 2; type <= 10; ++type) {
    const uint32_t size = aeGetJsonDataTypeSize(type);
    if (size == 1) continue;
    for (uint32_t length = 1; length < size; ++length) {
      JsonTypedValue value = {7, 99, {.uint64 = 7}};
      EXPECT_EQ(aeConvertDataBytesToJsonDataType(type, kBytes, length, &value), 0);
      EXPECT_EQ(value.type, type);
      EXPECT_EQ(value.length, 7u);
      EXPECT_EQ(value.value.uint64, 7u);
    }
  }
}

TEST(ConvertDataBytes, StoresNothingForNullEmptyOrUnknown) {
  JsonTypedValue value = {7, 99, {.uint64 = 7}};
  EXPECT_EQ(aeConvertDataBytesToJsonDataType(1, nullptr, 1, &value), 0);
  EXPECT_EQ(aeConvertDataBytesToJsonDataType(1, kBytes, 0, &value), 0);
  EXPECT_EQ(aeConvertDataBytesToJsonDataType(1, kBytes, 1, nullptr), 0);
  for (const uint32_t type : {0u, 13u, UINT32_MAX}) {
    EXPECT_EQ(aeConvertDataBytesToJsonDataType(type, kBytes, 9, &value), 0);
  }
  EXPECT_EQ(value.type, 99u);
  EXPECT_EQ(value.length, 7u);
}

TEST(StoreInByteArray, CopiesTheBytesOfEachType) {
  for (uint32_t type = 1; type <= 12; ++type) {
    const JsonTypedValue value = FromBytes(type, kBytes, 9);
    const uint32_t size = type <= 10 ? aeGetJsonDataTypeSize(type) : 9;
    JsonTypedValue array = {0, 99, {.uint64 = 0}};
    ASSERT_EQ(aeStoreJsonDataTypeInAEByteArray(&value, &array), 1) << type;
    EXPECT_EQ(array.type, 11u);
    EXPECT_EQ(array.length, size);
    EXPECT_EQ(memcmp(array.value.bytes, kBytes, size), 0);
    EXPECT_EQ(array.value.bytes[size], 0);
    free(array.value.bytes);
    if (type > 10) free(value.value.bytes);
  }
}

TEST(StoreInByteArray, StoresInTheSameRecord) {
  JsonTypedValue value = FromBytes(JSON_TYPE_UINT32, kBytes, 4);
  ASSERT_EQ(aeStoreJsonDataTypeInAEByteArray(&value, &value), 1);
  EXPECT_EQ(value.type, 11u);
  EXPECT_EQ(value.length, 4u);
  EXPECT_EQ(memcmp(value.value.bytes, kBytes, 4), 0);
  free(value.value.bytes);
}

TEST(StoreInByteArray, SetsTheTypeEvenForUnknownTypes) {
  for (const uint32_t type : {0u, 13u, UINT32_MAX}) {
    const JsonTypedValue value = {1, type, {.uint64 = 1}};
    JsonTypedValue array = {7, 99, {.uint64 = 7}};
    EXPECT_EQ(aeStoreJsonDataTypeInAEByteArray(&value, &array), 0);
    EXPECT_EQ(array.type, 11u);
    EXPECT_EQ(array.length, 7u);
    EXPECT_EQ(array.value.uint64, 7u);
  }
}

TEST(StoreInByteArray, RefusesNullArgumentsAndMissingBytes) {
  JsonTypedValue value = {4, 11, {.bytes = nullptr}};
  JsonTypedValue array = {7, 99, {.uint64 = 7}};
  EXPECT_EQ(aeStoreJsonDataTypeInAEByteArray(nullptr, &array), 0);
  EXPECT_EQ(array.type, 99u);
  EXPECT_EQ(aeStoreJsonDataTypeInAEByteArray(&value, nullptr), 0);
  EXPECT_EQ(aeStoreJsonDataTypeInAEByteArray(&value, &array), 0);
  value.length = 0;
  ASSERT_EQ(aeStoreJsonDataTypeInAEByteArray(&value, &array), 1);
  EXPECT_EQ(array.length, 0u);
  EXPECT_EQ(array.value.bytes[0], 0);
  free(array.value.bytes);
}

std::optional<std::string> Text(const JsonTypedValue &value) {
  char *out = nullptr;
  if (getJsonDataTypeAsString(&value, &out) == 0) return std::nullopt;
  const std::string text = out;
  free(out);
  return text;
}

TEST(GetJsonDataTypeAsString, PrintsEachTypeWithItsFormatter) {
  EXPECT_EQ(Text({1, 1, {.uint8 = 255}}), "255");
  EXPECT_EQ(Text({2, 2, {.uint16 = 65535}}), "65535");
  EXPECT_EQ(Text({4, 3, {.uint32 = 4294967295}}), "429496729");  // 9 characters
  EXPECT_EQ(Text({8, 4, {.uint64 = UINT64_MAX}}), "18446744073709551615");
  EXPECT_EQ(Text({1, 5, {.int8 = -128}}), "-12");  // 3 characters
  EXPECT_EQ(Text({2, 6, {.int16 = -32768}}), "-32768");
  EXPECT_EQ(Text({4, 7, {.int32 = INT32_MIN}}), "-21474836");
  EXPECT_EQ(Text({8, 8, {.int64 = 0x1FFFFFFFF}}), "-1");  // the low 32 bits
  EXPECT_EQ(Text({8, 8, {.int64 = -5}}), "-5");
  EXPECT_EQ(Text({4, 9, {.single = 0.5f}}), "0.500000000");
  EXPECT_EQ(Text({8, 10, {.number = -2.25}}), "-2.250000000");
}

TEST(GetJsonDataTypeAsString, RefusesOtherTypesAndNull) {
  for (const uint32_t type : {0u, 11u, 12u, 13u})
    EXPECT_EQ(Text({1, type, {.uint64 = 0}}), std::nullopt);
  char *out = nullptr;
  const JsonTypedValue value = {1, 1, {.uint64 = 1}};
  EXPECT_EQ(getJsonDataTypeAsString(nullptr, &out), 0);
  EXPECT_EQ(getJsonDataTypeAsString(&value, nullptr), 0);
}

JsonTypedValue Convert(const JsonTypedValue &source, uint32_t type) {
  JsonTypedValue target;
  memset(&target, 0xA5, sizeof target);
  EXPECT_EQ(aeConvertJsonDateTypeToJsonDataType(&source, type, &target), 1);
  EXPECT_EQ(target.type, type);
  EXPECT_EQ(target.length, aeGetJsonDataTypeSize(type));
  return target;
}

/// A number as every type.
struct ConversionRow {
  JsonTypedValue source;
  uint8_t u8;
  uint16_t u16;
  uint32_t u32;
  uint64_t u64;
  int8_t i8;
  int16_t i16;
  int32_t i32;
  int64_t i64;
  float f;
  double d;
};

class ConvertTypeTest : public testing::TestWithParam<ConversionRow> {};

TEST_P(ConvertTypeTest, ConvertsToEveryType) {
  const ConversionRow &row = GetParam();
  EXPECT_EQ(Convert(row.source, 1).value.uint8, row.u8);
  EXPECT_EQ(Convert(row.source, 2).value.uint16, row.u16);
  EXPECT_EQ(Convert(row.source, 3).value.uint32, row.u32);
  EXPECT_EQ(Convert(row.source, 4).value.uint64, row.u64);
  EXPECT_EQ(Convert(row.source, 5).value.int8, row.i8);
  EXPECT_EQ(Convert(row.source, 6).value.int16, row.i16);
  EXPECT_EQ(Convert(row.source, 7).value.int32, row.i32);
  EXPECT_EQ(Convert(row.source, 8).value.int64, row.i64);
  EXPECT_EQ(Convert(row.source, 9).value.single, row.f);
  EXPECT_EQ(Convert(row.source, 10).value.number, row.d);
}

constexpr uint32_t kU32 = UINT32_MAX;
constexpr uint64_t kU64 = UINT64_MAX;
constexpr int32_t kMax32 = INT32_MAX, kMin32 = INT32_MIN;
constexpr int64_t kMax64 = INT64_MAX, kMin64 = INT64_MIN;

// Unsigned numbers widen with zeros, narrower targets keep the low bits.
INSTANTIATE_TEST_SUITE_P(
    FromUnsigned, ConvertTypeTest,
    testing::Values(
        ConversionRow{{1, 1, {.uint8 = 200}}, 200, 200, 200, 200, -56, 200, 200, 200, 200, 200},
        ConversionRow{{2, 2, {.uint16 = 0xFEDC}},
                      0xDC,
                      0xFEDC,
                      0xFEDC,
                      0xFEDC,
                      -36,
                      -292,
                      0xFEDC,
                      0xFEDC,
                      65244,
                      65244},
        ConversionRow{{4, 3, {.uint32 = kU32}},
                      255,
                      65535,
                      kU32,
                      kU32,
                      -1,
                      -1,
                      -1,
                      4294967295,
                      4294967296.0f,
                      4294967295.0},
        ConversionRow{{8, 4, {.uint64 = kU64}},
                      255,
                      65535,
                      kU32,
                      kU64,
                      -1,
                      -1,
                      -1,
                      -1,
                      18446744073709551616.0f,
                      18446744073709551616.0},
        ConversionRow{{8, 4, {.uint64 = 0x8000000080000001}},
                      1,
                      1,
                      0x80000001,
                      0x8000000080000001,
                      1,
                      1,
                      kMin32 + 1,
                      kMin64 + 0x80000001LL,
                      9223372036854775808.0f,
                      9223372039002259456.0}));

// Signed ones widen with their sign.
INSTANTIATE_TEST_SUITE_P(
    FromSigned, ConvertTypeTest,
    testing::Values(
        ConversionRow{{1, 5, {.int8 = -5}}, 251, 65531, kU32 - 4, kU64 - 4, -5, -5, -5, -5, -5, -5},
        ConversionRow{{2, 6, {.int16 = -300}},
                      212,
                      65236,
                      kU32 - 299,
                      kU64 - 299,
                      -44,
                      -300,
                      -300,
                      -300,
                      -300,
                      -300},
        ConversionRow{{4, 7, {.int32 = kMin32}},
                      0,
                      0,
                      0x80000000,
                      0xFFFFFFFF80000000,
                      0,
                      0,
                      kMin32,
                      kMin32,
                      -2147483648.0f,
                      -2147483648.0},
        ConversionRow{{4, 7, {.int32 = 16777217}},
                      1,
                      1,
                      16777217,
                      16777217,
                      1,
                      1,
                      16777217,
                      16777217,
                      16777216.0f,
                      16777217.0},
        ConversionRow{{8, 8, {.int64 = kMin64}},
                      0,
                      0,
                      0,
                      0x8000000000000000,
                      0,
                      0,
                      0,
                      kMin64,
                      -9223372036854775808.0f,
                      -9223372036854775808.0},
        ConversionRow{{8, 8, {.int64 = 0x100000002}},
                      2,
                      2,
                      2,
                      0x100000002,
                      2,
                      2,
                      2,
                      0x100000002,
                      4294967296.0f,
                      4294967298.0}));

// Floating-point numbers are first brought into the range of 32 bits, or of 64 for 64-bit targets.
INSTANTIATE_TEST_SUITE_P(
    FromFloat, ConvertTypeTest,
    testing::Values(
        ConversionRow{{4, 9, {.single = 300.0f}}, 44, 300, 300, 300, 44, 300, 300, 300, 300, 300},
        ConversionRow{{4, 9, {.single = -1.0f}}, 0, 0, 0, 0, -1, -1, -1, -1, -1, -1},
        ConversionRow{{4, 9, {.single = -1.75f}}, 0, 0, 0, 0, -1, -1, -1, -1, -1.75f, -1.75},
        ConversionRow{{4, 9, {.single = 5e9f}},
                      255,
                      65535,
                      kU32,
                      5000000000,
                      -1,
                      -1,
                      kMax32,
                      5000000000,
                      5e9f,
                      5e9},
        ConversionRow{
            {4, 9, {.single = -5e9f}}, 0, 0, 0, 0, 0, 0, kMin32, -5000000000, -5e9f, -5e9},
        ConversionRow{{4, 9, {.single = 1e30f}},
                      255,
                      65535,
                      kU32,
                      kU64,
                      -1,
                      -1,
                      kMax32,
                      kMax64,
                      1e30f,
                      1.0000000150474662e30},
        ConversionRow{{4, 9, {.single = -INFINITY}},
                      0,
                      0,
                      0,
                      0,
                      0,
                      0,
                      kMin32,
                      kMin64,
                      -INFINITY,
                      -INFINITY}));

INSTANTIATE_TEST_SUITE_P(
    FromDouble, ConvertTypeTest,
    testing::Values(ConversionRow{{8, 10, {.number = 5e9}},
                                  255,
                                  65535,
                                  kU32,
                                  5000000000,
                                  -1,
                                  -1,
                                  kMax32,
                                  5000000000,
                                  5e9f,
                                  5e9},
                    ConversionRow{{8, 10, {.number = 0.1}}, 0, 0, 0, 0, 0, 0, 0, 0, 0.1f, 0.1},
                    ConversionRow{{8, 10, {.number = 1e300}},
                                  255,
                                  65535,
                                  kU32,
                                  kU64,
                                  -1,
                                  -1,
                                  kMax32,
                                  kMax64,
                                  INFINITY,
                                  1e300},
                    ConversionRow{{8, 10, {.number = 4294967295.5}},
                                  255,
                                  65535,
                                  kU32,
                                  4294967295,
                                  -1,
                                  -1,
                                  kMax32,
                                  4294967295,
                                  4294967296.0f,
                                  4294967295.5},
                    ConversionRow{
                        {8, 10, {.number = -129}}, 0, 0, 0, 0, 127, -129, -129, -129, -129, -129}));

TEST(ConvertType, TurnsNotANumberIntoZero) {
  for (const JsonTypedValue &source :
       {JsonTypedValue{4, 9, {.single = NAN}}, JsonTypedValue{8, 10, {.number = NAN}}}) {
    for (uint32_t type = 1; type <= 8; ++type) EXPECT_EQ(Convert(source, type).value.uint64, 0u);
    EXPECT_TRUE(std::isnan(Convert(source, 9).value.single));
    EXPECT_TRUE(std::isnan(Convert(source, 10).value.number));
  }
}

TEST(ConvertType, CopiesAValueOfTheSameTypeUnchanged) {
  for (uint32_t type = 1; type <= 10; ++type) {
    const JsonTypedValue source = FromBytes(type, kBytes, 9);
    const JsonTypedValue target = Convert(source, type);
    EXPECT_EQ(memcmp(&target.value, &source.value, aeGetJsonDataTypeSize(type)), 0);
  }
  const uint32_t signalling = 0x7F800001;
  JsonTypedValue source = {4, 9, {.uint32 = signalling}};
  EXPECT_EQ(Convert(source, 9).value.uint32, signalling);
}

TEST(ConvertType, ConvertsIntoTheSameRecord) {
  JsonTypedValue value = {4, 9, {.single = 300.0f}};
  ASSERT_EQ(aeConvertJsonDateTypeToJsonDataType(&value, 1, &value), 1);
  EXPECT_EQ(value.value.uint8, 44);
  EXPECT_EQ(value.type, 1u);
}

TEST(ConvertType, CopiesTextsAndBytesAndKeepsTheirType) {
  for (const uint32_t type : {11u, 12u}) {
    auto *const bytes = static_cast<uint8_t *>(malloc(3));
    memcpy(bytes, "abc", 3);
    const JsonTypedValue source = {3, type, {.bytes = bytes}};
    JsonTypedValue target = {0, 0, {.uint64 = 0}};
    ASSERT_EQ(aeConvertJsonDateTypeToJsonDataType(&source, 4, &target), 1);
    EXPECT_EQ(target.type, type);
    EXPECT_EQ(target.length, 3u);
    EXPECT_NE(target.value.bytes, bytes);
    EXPECT_EQ(memcmp(target.value.bytes, "abc", 3), 0);
    free(target.value.bytes);
    free(bytes);
  }
}

TEST(ConvertType, CopiesATextOfNoBytes) {
  const JsonTypedValue source = {0, 11, {.bytes = nullptr}};
  JsonTypedValue target = {7, 0, {.uint64 = 0}};
  ASSERT_EQ(aeConvertJsonDateTypeToJsonDataType(&source, 1, &target), 1);
  EXPECT_EQ(target.length, 0u);
  free(target.value.bytes);
}

TEST(ConvertType, LeavesTheTargetAloneWhenItRefuses) {
  const JsonTypedValue number = {1, 1, {.uint8 = 5}};
  const JsonTypedValue missing = {3, 11, {.bytes = nullptr}};
  JsonTypedValue target = {7, 99, {.uint64 = 7}};
  for (const uint32_t type : {0u, 11u, 12u, 13u, UINT32_MAX}) {
    EXPECT_EQ(aeConvertJsonDateTypeToJsonDataType(&number, type, &target), 0);
  }
  for (const uint32_t type : {0u, 13u, UINT32_MAX}) {
    const JsonTypedValue unknown = {1, type, {.uint8 = 5}};
    EXPECT_EQ(aeConvertJsonDateTypeToJsonDataType(&unknown, 1, &target), 0);
  }
  EXPECT_EQ(aeConvertJsonDateTypeToJsonDataType(&missing, 1, &target), 0);
  EXPECT_EQ(aeConvertJsonDateTypeToJsonDataType(nullptr, 1, &target), 0);
  EXPECT_EQ(aeConvertJsonDateTypeToJsonDataType(&number, 1, nullptr), 0);
  EXPECT_EQ(target.length, 7u);
  EXPECT_EQ(target.type, 99u);
  EXPECT_EQ(target.value.uint64, 7u);
}

}  // namespace
