#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "include/stringtemplate.h"
#include "include/stringutils.h"
#include "text/heap_text.hpp"

using cu_test::Taken;
using cu_test::TakenBytes;

namespace {

TEST(AmbrelFindandReplace, ReplacesEveryByteWithinTheLength) {
  uint8_t bytes[] = {'a', 0, 'a', 'b', 'a'};
  EXPECT_EQ(ambrelFindandReplace(bytes, 4, 'a', 'x'), 1);
  EXPECT_EQ(memcmp(bytes, "x\0xba", 5), 0);
}

TEST(AmbrelFindandReplace, ReplacesTerminatorsToo) {
  uint8_t bytes[] = {0, 1, 0};
  EXPECT_EQ(ambrelFindandReplace(bytes, 3, 0, 0xFF), 1);
  EXPECT_EQ(memcmp(bytes, "\xFF\x01\xFF", 3), 0);
}

TEST(AmbrelFindandReplace, Gives1WhenNothingMatches) {
  uint8_t byte = 7;
  EXPECT_EQ(ambrelFindandReplace(&byte, 1, 1, 2), 1);
  EXPECT_EQ(ambrelFindandReplace(&byte, 0, 7, 2), 1);
  EXPECT_EQ(byte, 7);
}

TEST(AmbrelFindandReplace, Gives0ForNull) {
  EXPECT_EQ(ambrelFindandReplace(nullptr, 3, 1, 2), 0);
}

TEST(ToLower, GivesALowerCaseCopy) {
  const std::string text = "Fan 1: RPM [OK]";
  EXPECT_EQ(Taken(toLower(text.c_str())), "fan 1: rpm [ok]");
  EXPECT_EQ(text, "Fan 1: RPM [OK]");
}

TEST(ToLower, KeepsBytesAbove127) {
  EXPECT_EQ(Taken(toLower("\xC3\x84")), "\xC3\x84");
}

TEST(ToLower, GivesAnEmptyCopyOfAnEmptyString) {
  EXPECT_EQ(Taken(toLower("")), "");
}

TEST(ToLower, GivesNullForNull) {
  EXPECT_EQ(toLower(nullptr), nullptr);
}

TEST(CopyOptionValue, CopiesTheBytesWithoutATerminator) {
  char value[] = "######";
  copyOptionValue(value, "abcd", 3);
  EXPECT_STREQ(value, "abc###");
}

TEST(CopyOptionValue, LeavesOutOneBlankAtTheStart) {
  char value[] = "######";
  copyOptionValue(value, " abc", 4);
  EXPECT_STREQ(value, "abc###");
  copyOptionValue(value, "  xy", 4);
  EXPECT_STREQ(value, " xy###");
}

TEST(CopyOptionValue, KeepsOtherWhiteSpace) {
  char value[] = "######";
  copyOptionValue(value, "\tab", 3);
  EXPECT_STREQ(value, "\tab###");
}

TEST(CopyOptionValue, CopiesNothingWithLength0) {
  char value[] = "######";
  copyOptionValue(value, " abc", 0);
  copyOptionValue(value, "", 0);
  EXPECT_STREQ(value, "######");
}

TEST(CopyOptionValue, CopiesNothingOfALoneBlank) {
  char value[] = "######";
  copyOptionValue(value, " abc", 1);
  EXPECT_STREQ(value, "######");
}

TEST(CopyOptionValue, CopiesNothingForNull) {
  char value[] = "######";
  copyOptionValue(value, nullptr, 3);
  copyOptionValue(nullptr, "abc", 3);
  EXPECT_STREQ(value, "######");
}

TEST(AmbrelCloneString, CopiesAStringOfTheGivenLength) {
  EXPECT_EQ(Taken(ambrelCloneString("abc", 3)), "abc");
  EXPECT_EQ(Taken(ambrelCloneString("", 0)), "");
}

TEST(AmbrelCloneString, RefusesALengthThatDoesNotEndAtATerminator) {
  EXPECT_EQ(ambrelCloneString("abcd", 3), nullptr);
  EXPECT_EQ(ambrelCloneString("a", 0), nullptr);
}

TEST(AmbrelCloneString, CopiesAFieldThatIsPaddedWithZeros) {
  const char field[8] = "abc";
  EXPECT_EQ(TakenBytes(ambrelCloneString(field, 7), 8), std::string(field, 8));
}

TEST(AmbrelCloneString, GivesNullForNull) {
  EXPECT_EQ(ambrelCloneString(nullptr, 0), nullptr);
}

TEST(AmbrelSetStringValue, CopiesAString) {
  const char text[] = "value";
  char *const copy = AmbrelSetStringValue(text);
  EXPECT_NE(copy, text);
  EXPECT_EQ(Taken(copy), "value");
  EXPECT_EQ(Taken(AmbrelSetStringValue("")), "");
}

TEST(AmbrelSetStringValue, GivesNullForNull) {
  EXPECT_EQ(AmbrelSetStringValue(nullptr), nullptr);
}

}  // namespace
