#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "include/stringtemplate.h"
#include "support/child.hpp"
#include "text/heap_text.hpp"

using cu_test::Child;
using cu_test::Taken;
using cu_test::TakenBytes;

namespace {

template <typename... Args>
std::string Create(const char *format, uint32_t expected, Args... args) {
  char *out = nullptr;
  EXPECT_EQ(CreateStringWithArgs(format, &out, expected, args...), 1);
  return Taken(out);
}

/// What building a string writes to standard output; "wrong text" when the string is another.
template <typename... Args>
std::string NoticesOf(const std::string &text, const char *format, uint32_t expected,
                      Args... args) {
  Child child([&] {
    char *out = nullptr;
    const int result = CreateStringWithArgs(format, &out, expected, args...);
    return result == 1 && Taken(out) == text ? 0 : 1;
  });
  return child.Wait().status() == 0 ? child.out() : "wrong text";
}

constexpr char kTooMany[] = "We have more args than we expected\n";

TEST(CreateStringWithArgs, CopiesOrdinaryCharacters) {
  EXPECT_EQ(Create("plain text", 0), "plain text");
  EXPECT_EQ(Create("", 0), "");
}

TEST(CreateStringWithArgs, FillsInNumbersAndStrings) {
  EXPECT_EQ(Create("%d-%s", 2, 7, "x"), "7-x");
  EXPECT_EQ(Create("fan %s: %i of %d", 3, "left", -1, 3), "fan left: -1 of 3");
}

TEST(CreateStringWithArgs, PrintsANoticeForEachConversionTooMany) {
  EXPECT_EQ(NoticesOf("7-x", "%d-%s", 2, 7, "x"), "");
  EXPECT_EQ(NoticesOf("7-x", "%d-%s", 1, 7, "x"), kTooMany);
  EXPECT_EQ(NoticesOf("7-x", "%d-%s", 0, 7, "x"), std::string(kTooMany) + kTooMany);
}

TEST(CreateStringWithArgs, CountsEveryKindOfArgument) {
  EXPECT_EQ(NoticesOf("x", "%c", 0, 'x'), kTooMany);
  EXPECT_EQ(NoticesOf("x", "%s", 0, "x"), kTooMany);
  EXPECT_EQ(NoticesOf("1.0000", "%f", 0, 1.0), kTooMany);
  EXPECT_EQ(NoticesOf("1", "%d", 0, 1), kTooMany);
  EXPECT_EQ(NoticesOf("1", "%i", 0, 1), kTooMany);
  EXPECT_EQ(NoticesOf("1", "%l", 0, int32_t{1}), kTooMany);
}

TEST(CreateStringWithArgs, CountsNeitherAPercentSignNorANullString) {
  EXPECT_EQ(NoticesOf("%", "%%", 0), "");
  EXPECT_EQ(NoticesOf("[]", "[%s]", 0, static_cast<const char *>(nullptr)), "");
}

TEST(CreateStringWithArgs, AppendsThePercentSignOfTwo) {
  EXPECT_EQ(Create("100%%", 0), "100%");
  EXPECT_EQ(Create("%%d", 0), "%d");
}

TEST(CreateStringWithArgs, AppendsTheLowByteOfACharacter) {
  EXPECT_EQ(Create("<%c>", 1, 'A'), "<A>");
  EXPECT_EQ(Create("%c", 1, 0x141), "A");
  EXPECT_EQ(Create("%c", 1, 0xC3), "\xC3");
}

TEST(CreateStringWithArgs, AppendsAZeroByteAsItIs) {
  char *out = nullptr;
  ASSERT_EQ(CreateStringWithArgs("a%cb", &out, 1, 0), 1);
  EXPECT_EQ(TakenBytes(out, 4), std::string("a\0b\0", 4));
}

TEST(CreateStringWithArgs, AppendsStringsOfAnyLength) {
  const std::string text(5000, 't');
  EXPECT_EQ(Create("%s|%s", 2, text.c_str(), text.c_str()), text + "|" + text);
  EXPECT_EQ(Create("[%s]", 1, ""), "[]");
}

TEST(CreateStringWithArgs, PrintsDoublesWithFourDecimals) {
  EXPECT_EQ(Create("%f", 1, 2.5), "2.5000");
  EXPECT_EQ(Create("%f %f", 2, -1.0 / 3, 1e6), "-0.3333 1000000.0000");
}

TEST(CreateStringWithArgs, CutsDoublesAsTheirFormatterDoes) {
  EXPECT_EQ(Create("%f", 1, 1e25), "100000000000000009059696");
}

TEST(CreateStringWithArgs, CutsIntegersAfterNineCharacters) {
  EXPECT_EQ(Create("%d", 1, 1234567890), "123456789");
  EXPECT_EQ(Create("%i", 1, INT32_MIN), "-21474836");
}

TEST(CreateStringWithArgs, PrintsALongWholeAndItsLetterD) {
  EXPECT_EQ(Create("%ld", 1, int32_t{3}), "3d");
  EXPECT_EQ(Create("%l", 1, INT32_MIN), "-2147483648");
  EXPECT_EQ(Create("%l", 1, INT32_MAX), "2147483647");
}

TEST(CreateStringWithArgs, TakesALongOfTheCallersMachine) {
  EXPECT_EQ(Create("%l %s", 2, -7L, "next"), "-7 next");
}

TEST(CreateStringWithArgs, LeavesOutUnknownConversionsWithANotice) {
  EXPECT_EQ(NoticesOf("d", "%5d", 1), "Not implemented");
  EXPECT_EQ(NoticesOf("ab", "a%xb", 0), "Not implemented");
  EXPECT_EQ(NoticesOf("", "%x%y", 0), "Not implementedNot implemented");
}

TEST(CreateStringWithArgs, ConsumesNoArgumentForAnUnknownConversion) {
  EXPECT_EQ(NoticesOf("d 7", "%5d %d", 1, 7), "Not implemented");
}

TEST(CreateStringWithArgs, EndsAtALonePercentSign) {
  EXPECT_EQ(NoticesOf("50", "50%", 0), "");
  EXPECT_EQ(NoticesOf("", "%", 0), "");
  EXPECT_EQ(NoticesOf("%", "%%%", 0), "");
}

TEST(CreateStringWithArgs, KeepsBytesAbove127) {
  EXPECT_EQ(Create("\xC3\xA4%%", 0), "\xC3\xA4%");
}

TEST(CreateStringWithArgs, Gives0ForNullAndLeavesOutAlone) {
  char text[] = "kept";
  char *out = text;
  EXPECT_EQ(CreateStringWithArgs(nullptr, &out, 0), 0);
  EXPECT_EQ(out, text);
  EXPECT_EQ(CreateStringWithArgs("a", nullptr, 0), 0);
}

}  // namespace
