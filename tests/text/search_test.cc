#include <gtest/gtest.h>

#include <random>
#include <string>

#include "include/stringutils.h"
#include "text/heap_text.hpp"

using cu_test::Taken;

namespace {

/// A short text over a few letters, so that matches and near matches are frequent.
std::string RandomText(std::mt19937 &random, const char *letters, size_t longest) {
  std::string text(random() % (longest + 1), ' ');
  const std::string alphabet = letters;
  for (char &c : text) c = alphabet[random() % alphabet.size()];
  return text;
}

TEST(ExtMatch, Gives0ForEqualBytesAnd1ForOthers) {
  EXPECT_EQ(ext_match("json", "json"), 0);
  EXPECT_EQ(ext_match("json", "yaml"), 1);
}

TEST(ExtMatch, LeavesOutTheLastByteOfTheShorterString) {
  EXPECT_EQ(ext_match("abc", "abX"), 0);
  EXPECT_EQ(ext_match("abc", "abd"), 0);
  EXPECT_EQ(ext_match("abc", "aXc"), 1);
}

TEST(ExtMatch, ComparesNoFurtherThanTheShorterString) {
  EXPECT_EQ(ext_match("abc", "abcdef"), 0);
  EXPECT_EQ(ext_match("abXdef", "abc"), 0);
  EXPECT_EQ(ext_match("aXcdef", "abc"), 1);
}

TEST(ExtMatch, ComparesNothingWithAStringOfOneByteOrNone) {
  EXPECT_EQ(ext_match("a", "b"), 0);
  EXPECT_EQ(ext_match("", "b"), 0);
  EXPECT_EQ(ext_match("abc", ""), 0);
  EXPECT_EQ(ext_match("", ""), 0);
}

TEST(ExtMatch, ComparesBytesNotCharacters) {
  EXPECT_EQ(ext_match("\xC3\xA4x", "\xC3\xA5x"), 1);
}

TEST(ExtMatch, NullMatchesNothing) {
  EXPECT_EQ(ext_match(nullptr, "a"), 1);
  EXPECT_EQ(ext_match("a", nullptr), 1);
}

TEST(GetIndexOf, FindsTheFirstOccurrence) {
  EXPECT_EQ(get_index_of("abcabc", "bc"), 1U);
  EXPECT_EQ(get_index_of("abc", "abc"), 0U);
}

TEST(GetIndexOf, GivesAllOnesWhenAbsent) {
  EXPECT_EQ(get_index_of("abc", "z"), 0xFFFFFFFFU);
  EXPECT_EQ(get_index_of("", "z"), 0xFFFFFFFFU);
  EXPECT_EQ(get_index_of("ab", "abc"), 0xFFFFFFFFU);
}

TEST(GetIndexOf, FindsAnEmptyNeedleAtTheStart) {
  EXPECT_EQ(get_index_of("abc", ""), 0U);
}

TEST(GetIndexOf, GivesAllOnesForNull) {
  EXPECT_EQ(get_index_of(nullptr, "a"), STRING_INDEX_NONE);
  EXPECT_EQ(get_index_of("a", nullptr), STRING_INDEX_NONE);
}

TEST(GetLastIndexOf, FindsTheLastOccurrence) {
  EXPECT_EQ(get_last_index_of("abcabc", "bc"), 4);
  EXPECT_EQ(get_last_index_of("a/b/c", "/"), 3);
  EXPECT_EQ(get_last_index_of("abc", "abc"), 0);
}

TEST(GetLastIndexOf, GivesMinus1WhenAbsentOrNull) {
  EXPECT_EQ(get_last_index_of("abc", "z"), -1);
  EXPECT_EQ(get_last_index_of("", "z"), -1);
  EXPECT_EQ(get_last_index_of(nullptr, "a"), -1);
  EXPECT_EQ(get_last_index_of("a", nullptr), -1);
}

TEST(GetLastIndexOf, MissesAnOccurrenceBeforeAPartialMatch) {
  EXPECT_EQ(get_last_index_of("abxb", "ab"), -1);
  EXPECT_EQ(get_last_index_of("abcXbc", "abc"), -1);
}

TEST(GetLastIndexOf, GoesOnFromWhereAPartialMatchBroke) {
  // 'b' matches, 'x' does not; then 'a' alone is sought, and its single match is not the whole.
  EXPECT_EQ(get_last_index_of("aaxb", "ab"), -1);
  // 'c' matches, then 'b' is sought on: "ab" of "abzc" gives only two matches in a row.
  EXPECT_EQ(get_last_index_of("abzc", "abc"), -1);
}

TEST(GetLastIndexOf, MatchesNothingOnceTheSubstringIsUsedUp) {
  // After "b", a break, and "a" no character is left; the 'a' in front of the substring is not one.
  const char buffer[] = "aab";
  EXPECT_EQ(get_last_index_of("aaxb", buffer + 1), -1);
}

TEST(GetLastIndexOf, FindsNoEmptySubstring) {
  EXPECT_EQ(get_last_index_of("abc", ""), -1);
  EXPECT_EQ(get_last_index_of("", ""), -1);
}

/// The scan, transcribed step by step.
int LastIndexByTheSteps(const std::string &s, const std::string &sub) {
  int j = static_cast<int>(sub.size()) - 1;
  int m = 0;
  for (int i = static_cast<int>(s.size()) - 1; i >= 0; --i) {
    if (j >= 0 && s.at(static_cast<size_t>(i)) == sub.at(static_cast<size_t>(j))) {
      if (++m == static_cast<int>(sub.size())) return i;
      --j;
    } else {
      m = 0;
    }
  }
  return -1;
}

TEST(GetLastIndexOf, FollowsItsScanOnRandomTexts) {
  std::mt19937 random(1);
  int found = 0;
  for (int round = 0; round < 20000; ++round) {
    const std::string text = RandomText(random, "ab/", 12);
    const std::string part = RandomText(random, "ab/", 3);
    const int expected = LastIndexByTheSteps(text, part);
    ASSERT_EQ(get_last_index_of(text.c_str(), part.c_str()), expected) << text << ' ' << part;
    found += expected >= 0;
  }
  EXPECT_GT(found, 1000);
}

TEST(StrContains, TellsWhetherTheNeedleOccurs) {
  EXPECT_EQ(str_contains("temperature", "perat"), 1);
  EXPECT_EQ(str_contains("temperature", "Perat"), 0);
  EXPECT_EQ(str_contains("abc", ""), 1);
  EXPECT_EQ(str_contains("", "a"), 0);
}

TEST(StrContains, Gives0ForNull) {
  EXPECT_EQ(str_contains(nullptr, "a"), 0);
  EXPECT_EQ(str_contains("a", nullptr), 0);
}

TEST(StrNcontains, IgnoresCaseOnBothSides) {
  EXPECT_EQ(str_ncontains("Temperature", "PERAT"), 1);
  EXPECT_EQ(str_ncontains("TEMPERATURE", "perat"), 1);
  EXPECT_EQ(str_ncontains("Temperature", "fan"), 0);
  EXPECT_EQ(str_ncontains("abc", ""), 1);
  EXPECT_EQ(str_ncontains("", "a"), 0);
}

TEST(StrNcontains, EqualsASearchInLowerCaseCopies) {
  std::mt19937 random(2);
  for (int round = 0; round < 5000; ++round) {
    const std::string text = RandomText(random, "aAbB@[`{", 8);
    const std::string part = RandomText(random, "aAbB@[`{", 2);
    const std::string low_text = Taken(toLower(text.c_str()));
    const std::string low_part = Taken(toLower(part.c_str()));
    ASSERT_EQ(str_ncontains(text.c_str(), part.c_str()),
              str_contains(low_text.c_str(), low_part.c_str()))
        << text << ' ' << part;
  }
}

TEST(StrNcontains, Gives0ForNull) {
  EXPECT_EQ(str_ncontains(nullptr, "a"), 0);
  EXPECT_EQ(str_ncontains("a", nullptr), 0);
}

TEST(GetUntil, GivesThePartBeforeTheFirstDelimiter) {
  EXPECT_EQ(Taken(get_until("key=value=more", "=")), "key");
  EXPECT_EQ(Taken(get_until("a::b", "::")), "a");
}

TEST(GetUntil, TakesTheDelimiterAsAWhole) {
  EXPECT_EQ(Taken(get_until("a:b::c", "::")), "a:b");
  EXPECT_EQ(get_until("a:b", "::"), nullptr);
}

TEST(GetUntil, GivesAnEmptyStringForADelimiterAtTheStart) {
  EXPECT_EQ(Taken(get_until("=value", "=")), "");
  EXPECT_EQ(Taken(get_until("abc", "")), "");
}

TEST(GetUntil, GivesNullWhenTheDelimiterDoesNotOccur) {
  EXPECT_EQ(get_until("abc", "z"), nullptr);
  EXPECT_EQ(get_until(nullptr, "z"), nullptr);
  EXPECT_EQ(get_until("abc", nullptr), nullptr);
}

TEST(Minlen, GivesTheSmaller) {
  EXPECT_EQ(minlen(3, 5), 3U);
  EXPECT_EQ(minlen(5, 3), 3U);
  EXPECT_EQ(minlen(0xFFFFFFFF, 0x80000000), 0x80000000U);
}

TEST(Maxlen, GivesTheLengthOfTheLongerString) {
  EXPECT_EQ(maxlen("abc", "a"), 3U);
  EXPECT_EQ(maxlen("", "ab"), 2U);
  EXPECT_EQ(maxlen("", ""), 0U);
}

TEST(Maxlen, CountsNullAsEmpty) {
  EXPECT_EQ(maxlen(nullptr, "ab"), 2U);
  EXPECT_EQ(maxlen("abc", nullptr), 3U);
  EXPECT_EQ(maxlen(nullptr, nullptr), 0U);
}

}  // namespace
