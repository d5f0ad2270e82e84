#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "config/param.hpp"
#include "include/configparams.h"

using cu_test::Param;

namespace {

constexpr uint64_t kTypes = 10;
constexpr uint64_t kUpperBits = uint64_t{1} << 32;

template <typename Value>
using Getter = int (*)(const rfAECommonConfigConfigParam *, Value *);

template <typename Value>
struct Row {
  const char *text;
  Value value;
};

/// Expects that a parameter of this type gives a row's value for its text.
template <typename Value, size_t kRows>
void ExpectRows(Getter<Value> get, uint64_t type, const Row<Value> (&rows)[kRows]) {
  for (const Row<Value> &row : rows) {
    const Param param(type, row.text);
    Value value = 77;
    EXPECT_EQ(get(&param, &value), 1) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

/// Expects that the types in the mask are accepted with a value, and no other.
template <typename Value>
void ExpectTypes(Getter<Value> get, unsigned mask) {
  for (uint64_t type = 0; type < kTypes + 2; ++type) {
    const Param param(type, "1");
    Value value = 77;
    const bool accepted = (mask >> type & 1) != 0;
    EXPECT_EQ(get(&param, &value), accepted ? 1 : 0) << "type " << type;
    EXPECT_EQ(value, accepted ? Value{1} : Value{77}) << "type " << type;

    const Param beyond(kUpperBits | type, "1");
    EXPECT_EQ(get(&beyond, &value), 0) << "type " << type;
  }
}

/// Expects that, without a value, 0 is stored for the types in the mask and nothing for others.
template <typename Value>
void ExpectTypesWithoutValue(Getter<Value> get, unsigned mask) {
  for (uint64_t type = 0; type < kTypes + 2; ++type) {
    const Param param(type, nullptr);
    Value value = 77;
    const bool accepted = (mask >> type & 1) != 0;
    EXPECT_EQ(get(&param, &value), accepted ? 1 : 0) << "type " << type;
    EXPECT_EQ(value, accepted ? Value{0} : Value{77}) << "type " << type;
  }
}

template <typename Value>
void ExpectNullsAreRefused(Getter<Value> get, uint64_t type) {
  const Param param(type, "1");
  Value value = 77;
  EXPECT_EQ(get(nullptr, &value), 0);
  EXPECT_EQ(value, Value{77});
  EXPECT_EQ(get(&param, nullptr), 0);
}

constexpr unsigned Bit(unsigned type) {
  return 1U << type;
}
constexpr unsigned kAnyType = ~0U;

TEST(GetAEParameterAsUnsignedInteger, AcceptsItsTypeAlone) {
  ExpectTypes<uint32_t>(getAEParameterAsUnsignedInteger, Bit(CONFIG_TYPE_UNSIGNED_INTEGER));
  ExpectTypesWithoutValue<uint32_t>(getAEParameterAsUnsignedInteger,
                                    Bit(CONFIG_TYPE_UNSIGNED_INTEGER));
  ExpectNullsAreRefused<uint32_t>(getAEParameterAsUnsignedInteger, CONFIG_TYPE_UNSIGNED_INTEGER);
}

TEST(GetAEParameterAsUnsignedInteger, ConvertsAsStrtoulOf32Bits) {
  ExpectRows<uint32_t>(getAEParameterAsUnsignedInteger, CONFIG_TYPE_UNSIGNED_INTEGER,
                       {{"0", 0},
                        {"42", 42},
                        {"  42", 42},
                        {"42 rpm", 42},
                        {"rpm", 0},
                        {"", 0},
                        {"0x1F", 31},
                        {"0XfF", 255},
                        {"010", 10},
                        {"4294967295", 4294967295},
                        {"4294967296", 4294967295},
                        {"99999999999999999999", 4294967295},
                        {"-1", 4294967295},
                        {"-4294967295", 1},
                        {"-4294967296", 4294967295}});
}

TEST(GetAEParameterAsUnsignedInteger, SetsErrnoForANumberOutOfRangeAlone) {
  const Param in_range(CONFIG_TYPE_UNSIGNED_INTEGER, "0x1F");
  const Param out_of_range(CONFIG_TYPE_UNSIGNED_INTEGER, "4294967296");
  uint32_t value = 0;
  errno = ENOENT;
  EXPECT_EQ(1, getAEParameterAsUnsignedInteger(&in_range, &value));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(1, getAEParameterAsUnsignedInteger(&out_of_range, &value));
  EXPECT_EQ(ERANGE, errno);
}

TEST(GetAEParameterAsInteger, AcceptsItsTypeAlone) {
  ExpectTypes<int32_t>(getAEParameterAsInteger, Bit(CONFIG_TYPE_INTEGER));
  ExpectTypesWithoutValue<int32_t>(getAEParameterAsInteger, Bit(CONFIG_TYPE_INTEGER));
  ExpectNullsAreRefused<int32_t>(getAEParameterAsInteger, CONFIG_TYPE_INTEGER);
}

TEST(GetAEParameterAsInteger, ConvertsAsStrtolOf32Bits) {
  ExpectRows<int32_t>(getAEParameterAsInteger, CONFIG_TYPE_INTEGER,
                      {{"0x1F", 31},
                       {"-17", -17},
                       {"+5", 5},
                       {"2147483647", INT32_MAX},
                       {"2147483648", INT32_MAX},
                       {"-2147483648", INT32_MIN},
                       {"-2147483649", INT32_MIN},
                       {"99999999999999999999", INT32_MAX}});
}

/// A 64-bit conversion brought to the limits of 32 bits, as the target's strtol() does.
int32_t Strtol32(const char *text) {
  const long long value = strtoll(text, nullptr, getParameterBase(text));
  return static_cast<int32_t>(std::clamp<long long>(value, INT32_MIN, INT32_MAX));
}

TEST(GetAEParameterAsInteger, EqualsStrtolOnRandomTexts) {
  std::mt19937 random(1);
  Param param(CONFIG_TYPE_INTEGER, "0123456789ab");
  for (int round = 0; round < 200000; ++round) {
    // Mostly digits, so that texts of digits alone are frequent at every length.
    const size_t length = random() % 13;
    for (size_t i = 0; i < length; ++i) {
      param.parameterValue[i] =
          random() % 16 != 0 ? "0123456789"[random() % 10] : "+- xXbB.fF\x80"[random() % 11];
    }
    param.parameterValue[length] = '\0';
    int32_t value = 77;
    ASSERT_EQ(getAEParameterAsInteger(&param, &value), 1);
    ASSERT_EQ(value, Strtol32(param.parameterValue)) << '"' << param.parameterValue << '"';
    if (strchr(param.parameterValue, '-') != nullptr) continue;
    param.type = CONFIG_TYPE_UNSIGNED_INTEGER;
    uint32_t unsigned_value = 77;
    ASSERT_EQ(getAEParameterAsUnsignedInteger(&param, &unsigned_value), 1);
    const int base = getParameterBase(param.parameterValue);
    const unsigned long long wide = strtoull(param.parameterValue, nullptr, base);
    ASSERT_EQ(unsigned_value, std::min<unsigned long long>(wide, UINT32_MAX));
    param.type = CONFIG_TYPE_INTEGER;
  }
}

TEST(GetAEParameterAsInteger, ReadsTheWholeTextWithItsBase) {
  // The prefix is not cut off: base 2 and the whole text go to strtol(), which may know the prefix
  // or not.
  const int32_t binary = static_cast<int32_t>(strtol("0b101", nullptr, 2));
  ExpectRows<int32_t>(getAEParameterAsInteger, CONFIG_TYPE_INTEGER, {{"0b101", binary}});
  // The second character alone decides on the base.
  ExpectRows<int32_t>(getAEParameterAsInteger, CONFIG_TYPE_INTEGER,
                      {{"1b1", 1}, {"-b1", 0}, {"9x1", 9}, {"-0x10", 0}, {"0x", 0}});
}

TEST(GetAEParameterAsUnsignedInteger64, AcceptsItsTypeAlone) {
  ExpectTypes<uint64_t>(getAEParameterAsUnsignedInteger64, Bit(CONFIG_TYPE_UINT64));
  ExpectTypesWithoutValue<uint64_t>(getAEParameterAsUnsignedInteger64, Bit(CONFIG_TYPE_UINT64));
  ExpectNullsAreRefused<uint64_t>(getAEParameterAsUnsignedInteger64, CONFIG_TYPE_UINT64);
}

TEST(GetAEParameterAsUnsignedInteger64, ConvertsAsStrtoull) {
  ExpectRows<uint64_t>(getAEParameterAsUnsignedInteger64, CONFIG_TYPE_UINT64,
                       {{"18446744073709551615", UINT64_MAX},
                        {"18446744073709551616", UINT64_MAX},
                        {"0x123456789abcdef0", UINT64_C(0x123456789abcdef0)},
                        {"-1", UINT64_MAX}});
}

TEST(GetAEParameterAsInteger64, AcceptsLongAlone) {
  ExpectTypes<int64_t>(getAEParameterAsInteger64, Bit(CONFIG_TYPE_LONG));
  ExpectTypesWithoutValue<int64_t>(getAEParameterAsInteger64, Bit(CONFIG_TYPE_LONG));
  ExpectNullsAreRefused<int64_t>(getAEParameterAsInteger64, CONFIG_TYPE_LONG);
}

TEST(GetAEParameterAsInteger64, ConvertsAsStrtoll) {
  ExpectRows<int64_t>(getAEParameterAsInteger64, CONFIG_TYPE_LONG,
                      {{"4294967296", INT64_C(4294967296)},
                       {"-9223372036854775808", INT64_MIN},
                       {"9223372036854775808", INT64_MAX},
                       {"0x7fffffffffffffff", INT64_MAX}});
}

TEST(GetAEParameterAsUnsignedInteger16, AcceptsUnsignedIntegerAndUint16) {
  ExpectTypes<uint16_t>(getAEParameterAsUnsignedInteger16,
                        Bit(CONFIG_TYPE_UNSIGNED_INTEGER) | Bit(CONFIG_TYPE_UINT16));
  ExpectNullsAreRefused<uint16_t>(getAEParameterAsUnsignedInteger16, CONFIG_TYPE_UINT16);
}

TEST(GetAEParameterAsUnsignedInteger16, RefusesAnIntegerWithAValueButNotWithout) {
  const Param with(CONFIG_TYPE_INTEGER, "5");
  const Param without(CONFIG_TYPE_INTEGER, nullptr);
  uint16_t value = 77;
  EXPECT_EQ(getAEParameterAsUnsignedInteger16(&with, &value), 0);
  EXPECT_EQ(value, 77);
  EXPECT_EQ(getAEParameterAsUnsignedInteger16(&without, &value), 1);
  EXPECT_EQ(value, 0);
}

TEST(GetAEParameterAsUnsignedInteger16, GivesNoValueAs0WhateverTheType) {
  ExpectTypesWithoutValue<uint16_t>(getAEParameterAsUnsignedInteger16, kAnyType);
  const Param beyond(kUpperBits, nullptr);
  uint16_t value = 77;
  EXPECT_EQ(getAEParameterAsUnsignedInteger16(&beyond, &value), 1);
  EXPECT_EQ(value, 0);
}

TEST(GetAEParameterAsUnsignedInteger16, TakesTheLow16Bits) {
  ExpectRows<uint16_t>(
      getAEParameterAsUnsignedInteger16, CONFIG_TYPE_UINT16,
      {{"65535", 65535}, {"65536", 0}, {"0x12345", 0x2345}, {"-1", 65535}, {"99999999999", 65535}});
}

TEST(GetAEParameterAsUnsignedInteger8, AcceptsUnsignedIntegerAndUint8) {
  ExpectTypes<uint8_t>(getAEParameterAsUnsignedInteger8,
                       Bit(CONFIG_TYPE_UNSIGNED_INTEGER) | Bit(CONFIG_TYPE_UINT8));
  ExpectNullsAreRefused<uint8_t>(getAEParameterAsUnsignedInteger8, CONFIG_TYPE_UINT8);
}

TEST(GetAEParameterAsUnsignedInteger8, GivesNoValueAs0WhateverTheType) {
  ExpectTypesWithoutValue<uint8_t>(getAEParameterAsUnsignedInteger8, kAnyType);
}

TEST(GetAEParameterAsUnsignedInteger8, TakesTheLow8Bits) {
  ExpectRows<uint8_t>(getAEParameterAsUnsignedInteger8, CONFIG_TYPE_UINT8,
                      {{"255", 255}, {"256", 0}, {"0x1ab", 0xAB}, {"-1", 255}});
}

TEST(GetAEParameterAsFloat, AcceptsItsTypeAlone) {
  ExpectTypes<float>(getAEParameterAsFloat, Bit(CONFIG_TYPE_FLOAT));
  ExpectTypesWithoutValue<float>(getAEParameterAsFloat, Bit(CONFIG_TYPE_FLOAT));
  ExpectNullsAreRefused<float>(getAEParameterAsFloat, CONFIG_TYPE_FLOAT);
}

TEST(GetAEParameterAsFloat, ConvertsAsStrtof) {
  ExpectRows<float>(getAEParameterAsFloat, CONFIG_TYPE_FLOAT,
                    {{"2.5", 2.5F},
                     {"-1e3", -1000.0F},
                     {"0x1p4", 16.0F},
                     {"1e99", std::numeric_limits<float>::infinity()},
                     {"warm", 0.0F},
                     {"", 0.0F}});
}

TEST(GetAEParameterAsBoolean, AcceptsItsTypeAlone) {
  ExpectTypes<uint8_t>(getAEParameterAsBoolean, Bit(CONFIG_TYPE_BOOLEAN));
  ExpectTypesWithoutValue<uint8_t>(getAEParameterAsBoolean, Bit(CONFIG_TYPE_BOOLEAN));
  ExpectNullsAreRefused<uint8_t>(getAEParameterAsBoolean, CONFIG_TYPE_BOOLEAN);
}

TEST(GetAEParameterAsBoolean, IsFalseForTextsThatBeginWithFalse) {
  ExpectRows<uint8_t>(getAEParameterAsBoolean, CONFIG_TYPE_BOOLEAN,
                      {{"false", 0}, {"FALSE", 0}, {"False", 0}, {"falsely", 0}, {"fAlSe ", 0}});
}

TEST(GetAEParameterAsBoolean, IsTrueForAnythingElse) {
  ExpectRows<uint8_t>(
      getAEParameterAsBoolean, CONFIG_TYPE_BOOLEAN,
      {{"true", 1}, {"no", 1}, {"0", 1}, {"", 1}, {"fals", 1}, {" false", 1}, {"off", 1}});
}

TEST(GetParameterBase, ReadsTheSecondCharacter) {
  EXPECT_EQ(getParameterBase("0x1F"), 16);
  EXPECT_EQ(getParameterBase("0X1F"), 16);
  EXPECT_EQ(getParameterBase("0b1"), 2);
  EXPECT_EQ(getParameterBase("0B1"), 2);
  EXPECT_EQ(getParameterBase("123"), 10);
  EXPECT_EQ(getParameterBase("-0x1"), 10);
  EXPECT_EQ(getParameterBase("?x?"), 16);
}

TEST(GetParameterBase, Gives10ForNullAndShortTexts) {
  EXPECT_EQ(getParameterBase(nullptr), 10);
  EXPECT_EQ(getParameterBase(""), 10);
  EXPECT_EQ(getParameterBase("x"), 10);
  EXPECT_EQ(getParameterBase("0x"), 10);
}

}  // namespace
