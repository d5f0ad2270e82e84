#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "include/valueformat.h"
#include "text/heap_text.hpp"

using cu_test::Taken;

namespace {

/// A formatter's text. Checks that `*out` is the result and that the block's rest is zero.
template <typename Value>
std::string Formatted(char *(*format)(Value, char **), Value value, size_t block) {
  char *out = nullptr;
  char *const result = format(value, &out);
  EXPECT_EQ(result, out);
  if (result == nullptr) return "(null)";
  const std::string text = result;
  EXPECT_LT(text.size(), block);
  for (size_t i = text.size(); i < block; ++i) EXPECT_EQ(result[i], '\0') << text << " at " << i;
  return Taken(result);
}

template <typename Value>
struct Row {
  Value value;
  const char *text;
};

template <typename Value, size_t kRows>
void ExpectRows(char *(*format)(Value, char **), size_t block, const Row<Value> (&rows)[kRows]) {
  for (const Row<Value> &row : rows) EXPECT_EQ(Formatted(format, row.value, block), row.text);
}

/// What printf makes of a value in a buffer of `limit` bytes.
template <typename Value>
std::string Printed(const char *format, Value value, size_t limit) {
  char text[32];
  snprintf(text, limit, format, value);
  return text;
}

/// Values of all lengths and both signs, the limits among them.
template <typename Value, typename Check>
void ForManyValues(Check check) {
  std::mt19937_64 random(1);
  for (int round = 0; round < 20000; ++round) {
    const uint64_t any = random() >> random() % 64;
    check(static_cast<Value>(any));
    check(static_cast<Value>(0 - any));
  }
  check(std::numeric_limits<Value>::min());
  check(std::numeric_limits<Value>::max());
  for (uint64_t power = 1; power < UINT64_C(10000000000000000000); power *= 10) {
    check(static_cast<Value>(power - 1));
    check(static_cast<Value>(power));
    check(static_cast<Value>(0 - power));
  }
}

TEST(GetIntegerAsString, PrintsDecimalDigits) {
  ExpectRows<int32_t>(getIntegerAsString, 11,
                      {{0, "0"},
                       {7, "7"},
                       {-1, "-1"},
                       {10, "10"},
                       {99, "99"},
                       {100, "100"},
                       {-12345678, "-12345678"},
                       {123456789, "123456789"}});
}

TEST(GetIntegerAsString, KeepsNineCharacters) {
  ExpectRows<int32_t>(getIntegerAsString, 11,
                      {{2147483647, "214748364"},
                       {INT32_MIN, "-21474836"},
                       {1234567890, "123456789"},
                       {-123456789, "-12345678"},
                       {1000000000, "100000000"}});
}

TEST(GetIntegerAsString, EqualsPrintfWithALimitOf10) {
  ForManyValues<int32_t>([](int32_t value) {
    ASSERT_EQ(Formatted(getIntegerAsString, value, 11), Printed("%" PRId32, value, 10));
  });
}

TEST(GetUnsignedIntegerAsString, KeepsNineCharacters) {
  ExpectRows<uint32_t>(
      getUnsignedIntegerAsString, 11,
      {{0, "0"}, {999999999, "999999999"}, {1000000000, "100000000"}, {4294967295, "429496729"}});
}

TEST(GetUnsignedIntegerAsString, EqualsPrintfWithALimitOf10) {
  ForManyValues<uint32_t>([](uint32_t value) {
    ASSERT_EQ(Formatted(getUnsignedIntegerAsString, value, 11), Printed("%" PRIu32, value, 10));
  });
}

TEST(GetLongAsString, IsNeverCut) {
  ExpectRows<int32_t>(getLongAsString, 21,
                      {{INT32_MIN, "-2147483648"}, {INT32_MAX, "2147483647"}, {0, "0"}});
  ForManyValues<int32_t>([](int32_t value) {
    ASSERT_EQ(Formatted(getLongAsString, value, 21), Printed("%" PRId32, value, 21));
  });
}

TEST(GetUnsignedLongAsString, IsNeverCut) {
  ExpectRows<uint64_t>(getUnsignedLongAsString, 21,
                       {{UINT64_MAX, "18446744073709551615"},
                        {UINT64_C(10000000000000000000), "10000000000000000000"},
                        {UINT64_C(4294967296), "4294967296"},
                        {UINT64_C(1000000000000000000), "1000000000000000000"},
                        {0, "0"}});
  ForManyValues<uint64_t>([](uint64_t value) {
    ASSERT_EQ(Formatted(getUnsignedLongAsString, value, 21), Printed("%" PRIu64, value, 21));
  });
}

TEST(GetShortAsString, IsNeverCut) {
  for (int value = INT16_MIN; value <= INT16_MAX; value += 7) {
    ASSERT_EQ(Formatted(getShortAsString, static_cast<int16_t>(value), 7), std::to_string(value));
  }
  ExpectRows<int16_t>(getShortAsString, 7, {{INT16_MIN, "-32768"}, {INT16_MAX, "32767"}});
}

TEST(GetUnsignedShortAsString, IsNeverCut) {
  for (int value = 0; value <= UINT16_MAX; value += 7) {
    ASSERT_EQ(Formatted(getUnsignedShortAsString, static_cast<uint16_t>(value), 7),
              std::to_string(value));
  }
  ExpectRows<uint16_t>(getUnsignedShortAsString, 7, {{UINT16_MAX, "65535"}, {0, "0"}});
}

TEST(GetInteger8AsString, LosesTheLastDigitFromMinus100Down) {
  for (int value = INT8_MIN; value <= INT8_MAX; ++value) {
    EXPECT_EQ(Formatted(getInteger8AsString, static_cast<int8_t>(value), 4),
              std::to_string(value).substr(0, 3));
  }
  ExpectRows<int8_t>(getInteger8AsString, 4,
                     {{-128, "-12"}, {-100, "-10"}, {-99, "-99"}, {127, "127"}, {0, "0"}});
}

TEST(GetUnsignedInteger8AsString, IsNeverCut) {
  for (int value = 0; value <= UINT8_MAX; ++value) {
    EXPECT_EQ(Formatted(getUnsignedInteger8AsString, static_cast<uint8_t>(value), 4),
              std::to_string(value));
  }
}

TEST(GetUnsignedInteger8AsStringPad, AlwaysHasThreeDigits) {
  ExpectRows<uint8_t>(
      getUnsignedInteger8AsStringPad, 4,
      {{0, "000"}, {5, "005"}, {7, "007"}, {42, "042"}, {100, "100"}, {255, "255"}});
}

TEST(GetBooleanAsString, TakesAnyNonzeroAsTrue) {
  ExpectRows<uint8_t>(getBooleanAsString, 5, {{1, "true"}, {2, "true"}, {255, "true"}});
  ExpectRows<uint8_t>(getBooleanAsString, 6, {{0, "false"}});
}

TEST(NumberFormatters, GiveNullForANullOut) {
  EXPECT_EQ(getIntegerAsString(1, nullptr), nullptr);
  EXPECT_EQ(getUnsignedIntegerAsString(1, nullptr), nullptr);
  EXPECT_EQ(getLongAsString(1, nullptr), nullptr);
  EXPECT_EQ(getUnsignedLongAsString(1, nullptr), nullptr);
  EXPECT_EQ(getShortAsString(1, nullptr), nullptr);
  EXPECT_EQ(getUnsignedShortAsString(1, nullptr), nullptr);
  EXPECT_EQ(getInteger8AsString(1, nullptr), nullptr);
  EXPECT_EQ(getUnsignedInteger8AsString(1, nullptr), nullptr);
  EXPECT_EQ(getUnsignedInteger8AsStringPad(1, nullptr), nullptr);
  EXPECT_EQ(getBooleanAsString(1, nullptr), nullptr);
}

}  // namespace
