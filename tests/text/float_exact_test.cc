// The exact way of printing a float against snprintf(): over random numbers, at its seams, in other
// locales and under other rounding directions.
#include <fenv.h>
#include <gtest/gtest.h>
#include <langinfo.h>
#include <stdio.h>

#include <bit>
#include <cmath>
#include <random>
#include <string>

#include "support/locale.hpp"
#include "text/float_format.hpp"

namespace {

// An emulated processor gets through fewer.
constexpr int kRounds = sizeof(void *) == 4 ? 100000 : 1500000;

struct Texts {
  std::string ours;
  std::string printed;
};

Texts Print(uint8_t decimals, float value) {
  char ours[cu::kLargestFloatText];
  char printed[cu::kLargestFloatText];
  const size_t length = cu::FormatFloat(ours, decimals, value);
  const size_t printed_length = cu::FormatFloatByPrintf(printed, decimals, value);
  EXPECT_EQ(ours[length], '\0');
  return {{ours, length}, {printed, printed_length}};
}

/// Compares with all decimals; stops at the first difference, so that one does not print millions.
[[nodiscard]] bool SameAtAllDecimals(float value) {
  for (uint8_t decimals = 0; decimals <= cu::kMostDecimals; ++decimals) {
    const Texts texts = Print(decimals, value);
    if (texts.ours == texts.printed) continue;
    ADD_FAILURE() << std::hexfloat << value << " with " << int{decimals}
                  << " decimals: " << texts.ours << " instead of " << texts.printed;
    return false;
  }
  return true;
}

TEST(FormatFloat, EqualsPrintfOnRandomBitPatterns) {
  std::mt19937 random(1);
  for (int round = 0; round < kRounds; ++round) {
    const auto value = std::bit_cast<float>(static_cast<uint32_t>(random()));
    const auto decimals = static_cast<uint8_t>(random() % 10);
    const Texts texts = Print(decimals, value);
    ASSERT_EQ(texts.ours, texts.printed) << std::hexfloat << value << ' ' << int{decimals};
  }
}

TEST(FormatFloat, EqualsPrintfOnRandomNumbersOfItsOwnRange) {
  std::mt19937 random(2);
  for (int round = 0; round < kRounds; ++round) {
    const uint32_t exponent = 127 - 31 + random() % 64;
    const auto bits = static_cast<uint32_t>(random());
    const auto value = std::bit_cast<float>((bits & 0x807FFFFF) | exponent << 23);
    const auto decimals = static_cast<uint8_t>(random() % 10);
    const Texts texts = Print(decimals, value);
    ASSERT_EQ(texts.ours, texts.printed) << std::hexfloat << value << ' ' << int{decimals};
  }
}

TEST(FormatFloat, EqualsPrintfOnShortDecimals) {
  for (int thousandths = -30000; thousandths <= 30000; thousandths += 7) {
    ASSERT_TRUE(SameAtAllDecimals(static_cast<float>(thousandths) / 1000.0F));
  }
}

TEST(FormatFloat, EqualsPrintfOnTies) {
  // n / 2^k ends in a 5 behind its last but one decimal, so dropping one decimal is a tie.
  for (int shift = 1; shift <= 12; ++shift) {
    for (int n = -999; n <= 999; ++n) {
      ASSERT_TRUE(SameAtAllDecimals(std::ldexp(static_cast<float>(n), -shift)));
    }
  }
}

TEST(FormatFloat, EqualsPrintfBesidePowersOfTwoAndTen) {
  for (int exponent = -149; exponent <= 127; ++exponent) {
    const float power = std::ldexp(1.0F, exponent);
    ASSERT_TRUE(SameAtAllDecimals(power));
    ASSERT_TRUE(SameAtAllDecimals(-power));
    ASSERT_TRUE(SameAtAllDecimals(std::nextafter(power, 0.0F)));
    ASSERT_TRUE(SameAtAllDecimals(std::nextafter(power, HUGE_VALF)));
  }
  for (int exponent = -12; exponent <= 38; ++exponent) {
    const float power = std::pow(10.0F, static_cast<float>(exponent));
    for (const float half : {power, power / 2, power * 5}) {
      ASSERT_TRUE(SameAtAllDecimals(half));
      ASSERT_TRUE(SameAtAllDecimals(std::nextafter(half, 0.0F)));
      ASSERT_TRUE(SameAtAllDecimals(std::nextafter(half, HUGE_VALF)));
    }
  }
}

TEST(FormatFloat, EqualsPrintfOnZerosAndWhatIsNoNumber) {
  for (const uint32_t bits : {0x00000000U, 0x80000000U, 0x00000001U, 0x80000001U, 0x007FFFFFU,
                              0x7F800000U, 0xFF800000U, 0x7FC00000U, 0xFFC00000U, 0x7F7FFFFFU}) {
    EXPECT_TRUE(SameAtAllDecimals(std::bit_cast<float>(bits)));
  }
}

TEST(FormatFloat, EqualsPrintfInEveryRoundingDirection) {
  const int before = fegetround();
  for (const int direction : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
    if (fesetround(direction) != 0) continue;
    std::mt19937 random(3);
    bool same = true;
    for (int round = 0; round < 300 && same; ++round) {
      const float value = static_cast<float>(static_cast<int>(random() % 2000001) - 1000000) / 512;
      same = SameAtAllDecimals(value);
    }
    fesetround(before);
    EXPECT_TRUE(same) << "direction " << direction;
  }
}

TEST(FormatFloat, EqualsPrintfWhereTheDecimalPointIsAComma) {
  const cu_test::DecimalPointLocale locale(",", "ANSI_X3.4-1968");
  if (!locale.works()) GTEST_SKIP() << "no locale with a decimal comma can be made here";
  EXPECT_EQ(Print(2, -2.5F).ours, "-2,50");
  EXPECT_EQ(Print(2, 1e20F).ours, "10000000200");
  std::mt19937 random(4);
  for (int round = 0; round < 20000; ++round) {
    const float value = static_cast<float>(static_cast<int>(random())) / 65536;
    const Texts texts = Print(static_cast<uint8_t>(random() % 10), value);
    ASSERT_EQ(texts.ours, texts.printed);
  }
}

TEST(FormatFloat, EqualsPrintfWhereTheDecimalPointIsLongerThanAByte) {
  const cu_test::DecimalPointLocale locale("<U066B>", "UTF-8");
  if (!locale.works()) GTEST_SKIP() << "no locale with such a decimal point can be made here";
  EXPECT_EQ(Print(2, 2.5F).ours,
            "2\xD9\xAB"
            "50");
  for (const float value : {0.5F, -123.25F, 1e20F, 123456789.0F}) {
    EXPECT_TRUE(SameAtAllDecimals(value));
  }
}

}  // namespace
