#include "text/digits.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

/// What a writer leaves before the end of a field of '#'.
template <typename Write>
std::string Written(Write write) {
  std::string field(24, '#');
  char *const end = field.data() + field.size();
  char *const first = write(end);
  EXPECT_EQ(field.find_last_of('#') + 1, static_cast<size_t>(first - field.data()));
  return {first, end};
}

template <typename Unsigned>
void ExpectDigits(Unsigned value) {
  const std::string expected = std::to_string(value);
  ASSERT_EQ(Written([=](char *end) { return cu::DigitsBefore(end, value); }), expected);
  ASSERT_EQ(cu::CountDigits(value), expected.size()) << expected;
}

TEST(DigitsBefore, WritesEveryLengthOf32Bits) {
  ExpectDigits(uint32_t{0});
  ExpectDigits(UINT32_MAX);
  for (uint64_t power = 1; power <= UINT32_MAX; power *= 10) {
    ExpectDigits(static_cast<uint32_t>(power - 1));
    ExpectDigits(static_cast<uint32_t>(power));
    ExpectDigits(static_cast<uint32_t>(power + 1));
  }
  for (uint32_t bit = 0; bit < 32; ++bit) {
    ExpectDigits((uint32_t{1} << bit) - 1);
    ExpectDigits(uint32_t{1} << bit);
  }
}

TEST(DigitsBefore, WritesEveryLengthOf64Bits) {
  ExpectDigits(uint64_t{0});
  ExpectDigits(UINT64_MAX);
  for (uint64_t power = 1; power <= UINT64_MAX / 10; power *= 10) {
    ExpectDigits(power * 10 - 1);
    ExpectDigits(power * 10);
  }
}

TEST(DigitsBefore, WritesRandomValues) {
  std::mt19937_64 random(1);
  for (int round = 0; round < 50000; ++round) {
    const uint64_t value = random() >> random() % 64;
    ExpectDigits(value);
    ExpectDigits(static_cast<uint32_t>(value));
  }
}

TEST(SignedDigitsBefore, WritesTheSignOfNegativeValues) {
  for (const int32_t value : {0, 1, -1, 42, -42, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(Written([=](char *end) { return cu::SignedDigitsBefore(end, value); }),
              std::to_string(value));
  }
}

TEST(PaddedDigitsBefore, WritesExactlyTheDigitsAskedFor) {
  const auto padded = [](uint32_t value, size_t count) {
    return Written([=](char *end) { return cu::PaddedDigitsBefore(end, value, count); });
  };
  EXPECT_EQ(padded(7, 3), "007");
  EXPECT_EQ(padded(0, 1), "0");
  EXPECT_EQ(padded(1234, 4), "1234");
  EXPECT_EQ(padded(999999999, 9), "999999999");
  EXPECT_EQ(padded(5, 9), "000000005");
  EXPECT_EQ(padded(5, 0), "");
}

}  // namespace
