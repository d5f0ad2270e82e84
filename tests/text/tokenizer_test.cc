#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "include/stringutils.h"
#include "text/heap_text.hpp"
#include "text/strtok_steps.hpp"

using cu_test::Taken;
using cu_test::TokensByTheSteps;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Tokens = std::vector<std::string>;

/// All tokens that strtok_safe() finds. The heap copy lets a sanitizer see any step past its end.
Tokens Split(const std::string &text, const char *delimiters) {
  std::vector<char> copy(text.c_str(), text.c_str() + text.size() + 1);
  copy.shrink_to_fit();
  Tokens tokens;
  char *save = nullptr;
  for (char *token = strtok_safe(copy.data(), delimiters, &save); token != nullptr;
       token = strtok_safe(nullptr, delimiters, &save)) {
    tokens.emplace_back(token);
    if (tokens.size() > text.size() + 1) break;
  }
  return tokens;
}

Tokens Tokenize(const char *text, const char *delimiters) {
  TokenList list = {};
  EXPECT_EQ(tokenizeString(text, delimiters, &list), 1);
  return Taken(list);
}

TEST(StrtokSafe, SplitsAtADelimiter) {
  EXPECT_THAT(Split("a,b", ","), ElementsAre("a", "b"));
  EXPECT_THAT(Split("fan1,fan22,fan333", ","), ElementsAre("fan1", "fan22", "fan333"));
}

TEST(StrtokSafe, SplitsAtAnyOfTheDelimiters) {
  EXPECT_THAT(Split("a,b;c d", ",; "), ElementsAre("a", "b", "c", "d"));
}

TEST(StrtokSafe, GivesNoEmptyTokenForATrailingDelimiter) {
  EXPECT_THAT(Split("a,b,", ","), ElementsAre("a", "b"));
}

TEST(StrtokSafe, SkipsOneLeadingDelimiter) {
  EXPECT_THAT(Split(",a,b", ","), ElementsAre("a", "b"));
}

TEST(StrtokSafe, TakesTheByteAfterASkippedDelimiterAsItIs) {
  EXPECT_THAT(Split(",,a", ",;"), ElementsAre(",a"));
  EXPECT_THAT(Split(",,a", ","), ElementsAre(",a"));
  EXPECT_THAT(Split("a,,b", ","), ElementsAre("a", "b"));
  EXPECT_THAT(Split("a,,,b", ","), ElementsAre("a", ",b"));
  EXPECT_THAT(Split("a,,,,b", ","), ElementsAre("a", ",", "b"));
}

TEST(StrtokSafe, TestsTheByteAfterASkippedDelimiterAgainstLaterOnesOnly) {
  EXPECT_THAT(Split(",;a", ",;"), ElementsAre("a"));
  EXPECT_THAT(Split(";,a", ",;"), ElementsAre(",a"));
  EXPECT_THAT(Split(";,;a", ",;"), ElementsAre(",", "a"));
}

TEST(StrtokSafe, GivesOneEmptyTokenForADelimiterAlone) {
  EXPECT_THAT(Split(",", ","), ElementsAre(""));
  EXPECT_THAT(Split(",;", ",;"), ElementsAre(""));
}

TEST(StrtokSafe, EndsTheSequenceAfterTheEmptyToken) {
  char text[2] = ",";
  char *save = nullptr;
  ASSERT_STREQ(strtok_safe(text, ",", &save), "");
  EXPECT_EQ(strtok_safe(nullptr, ",", &save), nullptr);
  EXPECT_EQ(strtok_safe(nullptr, ",", &save), nullptr);
}

TEST(StrtokSafe, LeavesTheSecondOfTwoDelimitersAlone) {
  EXPECT_THAT(Split(">>", ">"), ElementsAre(">"));
  EXPECT_THAT(Split(">>>", ">"), ElementsAre(">"));
}

TEST(StrtokSafe, GivesTheWholeStringWithoutDelimiters) {
  EXPECT_THAT(Split("a,b", ""), ElementsAre("a,b"));
  EXPECT_THAT(Split("a", ","), ElementsAre("a"));
}

TEST(StrtokSafe, GivesNullForAnEmptyString) {
  EXPECT_THAT(Split("", ","), IsEmpty());
}

TEST(StrtokSafe, WritesTerminatorsIntoTheString) {
  char text[] = "a,b";
  char *save = nullptr;
  char *const token = strtok_safe(text, ",", &save);
  EXPECT_EQ(token, text);
  EXPECT_EQ(text[1], '\0');
  EXPECT_EQ(save, text + 2);
}

TEST(StrtokSafe, DoesNotStartAnewWhileAPositionIsSaved) {
  char first[] = "a,b";
  char second[] = "c,d";
  char *save = nullptr;
  ASSERT_STREQ(strtok_safe(first, ",", &save), "a");
  EXPECT_EQ(strtok_safe(second, ",", &save), nullptr);
  EXPECT_STREQ(strtok_safe(nullptr, ",", &save), "b");
  EXPECT_EQ(strtok_safe(second, ",", &save), nullptr);
  save = nullptr;
  EXPECT_STREQ(strtok_safe(second, ",", &save), "c");
}

TEST(StrtokSafe, GivesNullWithNeitherAStringNorAPosition) {
  char *save = nullptr;
  EXPECT_EQ(strtok_safe(nullptr, ",", &save), nullptr);
}

TEST(StrtokSafe, GivesNullForNullDelimitersOrSavePointer) {
  char text[] = "a,b";
  char *save = nullptr;
  EXPECT_EQ(strtok_safe(text, nullptr, &save), nullptr);
  EXPECT_EQ(strtok_safe(text, ",", nullptr), nullptr);
  EXPECT_STREQ(text, "a,b");
}

TEST(StrtokSafe, KeepsTwoSequencesApart) {
  char first[] = "a,b";
  char second[] = "c,d";
  char *save_first = nullptr;
  char *save_second = nullptr;
  EXPECT_STREQ(strtok_safe(first, ",", &save_first), "a");
  EXPECT_STREQ(strtok_safe(second, ",", &save_second), "c");
  EXPECT_STREQ(strtok_safe(nullptr, ",", &save_first), "b");
  EXPECT_STREQ(strtok_safe(nullptr, ",", &save_second), "d");
}

TEST(StrtokSafe, MayChangeItsDelimitersOnTheWay) {
  char text[] = "key=a,b";
  char *save = nullptr;
  EXPECT_STREQ(strtok_safe(text, "=", &save), "key");
  EXPECT_STREQ(strtok_safe(nullptr, ",", &save), "a");
  EXPECT_STREQ(strtok_safe(nullptr, ",", &save), "b");
}

TEST(StrtokSafe, FollowsItsStepsOnRandomTexts) {
  std::mt19937 random(1);
  for (int round = 0; round < 30000; ++round) {
    static const char *const kSets[] = {",", ",;", ";,", ",;.", "", ",,"};
    const char *const delimiters = kSets[random() % std::size(kSets)];
    std::string text(random() % 10, ' ');
    for (char &c : text) c = "ab,;."[random() % 5];
    ASSERT_EQ(Split(text, delimiters), TokensByTheSteps(text, delimiters))
        << '"' << text << "\" at \"" << delimiters << '"';
  }
}

TEST(TokenizeString, FillsAListAndLeavesTheStringAlone) {
  const std::string text = "a,b,c";
  TokenList list = {};
  EXPECT_EQ(tokenizeString(text.c_str(), ",", &list), 1);
  EXPECT_EQ(list.count, 3);
  EXPECT_EQ(text, "a,b,c");
  EXPECT_THAT(Taken(list), ElementsAre("a", "b", "c"));
}

TEST(TokenizeString, CutsAsStrtokSafeDoes) {
  EXPECT_THAT(Tokenize(",,a", ",;"), ElementsAre(",a"));
  EXPECT_THAT(Tokenize(",,a", ","), ElementsAre(",a"));
  EXPECT_THAT(Tokenize("a,,,b", ","), ElementsAre("a", ",b"));
  EXPECT_THAT(Tokenize("a,b,", ","), ElementsAre("a", "b"));
  EXPECT_THAT(Tokenize("a,b;c", ",;"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(Tokenize("a,b", ""), ElementsAre("a,b"));
  EXPECT_THAT(Tokenize(",", ","), ElementsAre(""));
  EXPECT_THAT(Tokenize(",;", ",;"), ElementsAre(""));
}

TEST(TokenizeString, LeavesTheListEmptyForAnEmptyString) {
  TokenList list = {};
  EXPECT_EQ(tokenizeString("", ",", &list), 1);
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.tokens, nullptr);
}

TEST(TokenizeString, AppendsToWhatTheListHolds) {
  TokenList list = {};
  EXPECT_EQ(tokenizeString("a,b", ",", &list), 1);
  EXPECT_EQ(tokenizeString("c;d", ",;", &list), 1);
  EXPECT_EQ(tokenizeString("", ",", &list), 1);
  EXPECT_THAT(Taken(list), ElementsAre("a", "b", "c", "d"));
}

TEST(TokenizeString, GrowsAnArrayThatACallerAllocated) {
  TokenList list = {1, static_cast<char **>(malloc(sizeof(char *)))};
  list.tokens[0] = strdup("own");
  EXPECT_EQ(tokenizeString("a,b,c,d,e,f,g,h,i,j", ",", &list), 1);
  EXPECT_THAT(Taken(list), ElementsAre("own", "a", "b", "c", "d", "e", "f", "g", "h", "i", "j"));
}

TEST(TokenizeString, StartsAnewAfterARelease) {
  TokenList list = {};
  ASSERT_EQ(tokenizeString("a,b,c", ",", &list), 1);
  FreeTokens(&list);
  ASSERT_EQ(list.count, 3);
  EXPECT_EQ(tokenizeString("d", ",", &list), 1);
  EXPECT_EQ(list.count, 1);
  EXPECT_THAT(Taken(list), ElementsAre("d"));
}

std::string Repeated(const char *text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST(TokenizeString, Holds255Tokens) {
  TokenList list = {};
  EXPECT_EQ(tokenizeString(Repeated("x,", 255).c_str(), ",", &list), 1);
  EXPECT_EQ(list.count, 255);
  EXPECT_EQ(Taken(list), Tokens(255, "x"));
}

TEST(TokenizeString, RefusesThe256thTokenAndReleasesTheList) {
  for (const char *const delimiters : {",", ",;"}) {
    TokenList list = {};
    EXPECT_EQ(tokenizeString(Repeated("x,", 256).c_str(), delimiters, &list), 0);
    EXPECT_EQ(list.tokens, nullptr);
    EXPECT_EQ(tokenizeString("a", delimiters, &list), 1);
    EXPECT_THAT(Taken(list), ElementsAre("a"));
  }
}

TEST(TokenizeString, CountsEarlierTokensTowardsThe256) {
  TokenList list = {};
  ASSERT_EQ(tokenizeString(Repeated("x,", 255).c_str(), ",", &list), 1);
  EXPECT_EQ(tokenizeString("", ",", &list), 1);
  EXPECT_EQ(list.count, 255);
  EXPECT_EQ(tokenizeString("one more", ",", &list), 0);
  EXPECT_EQ(list.tokens, nullptr);
}

TEST(TokenizeString, Gives0ForNullAndLeavesTheListAlone) {
  TokenList list = {};
  ASSERT_EQ(tokenizeString("a", ",", &list), 1);
  EXPECT_EQ(tokenizeString(nullptr, ",", &list), 0);
  EXPECT_EQ(tokenizeString("b", nullptr, &list), 0);
  EXPECT_EQ(tokenizeString("b", ",", nullptr), 0);
  EXPECT_THAT(Taken(list), ElementsAre("a"));
}

TEST(TokenizeString, FollowsTheStepsOnRandomTexts) {
  std::mt19937 random(2);
  for (int round = 0; round < 20000; ++round) {
    static const char *const kSets[] = {",", ",;", ";", "", ";.,"};
    const char *const delimiters = kSets[random() % std::size(kSets)];
    std::string text(random() % 14, ' ');
    for (char &c : text) c = "ab,;. "[random() % 6];
    ASSERT_EQ(Tokenize(text.c_str(), delimiters), TokensByTheSteps(text, delimiters))
        << '"' << text << "\" at \"" << delimiters << '"';
  }
}

TEST(TokenizeStringWithNoSpaces, RemovesEveryBlankFromEachToken) {
  TokenList list = {};
  EXPECT_EQ(tokenizeStringWithNoSpaces("a b, c", ",", &list), 1);
  EXPECT_EQ(list.count, 2);
  EXPECT_THAT(Taken(list), ElementsAre("ab", "c"));
}

TEST(TokenizeStringWithNoSpaces, KeepsOtherWhiteSpace) {
  TokenList list = {};
  EXPECT_EQ(tokenizeStringWithNoSpaces("\ta \n;\r b", ";,", &list), 1);
  EXPECT_THAT(Taken(list), ElementsAre("\ta\n", "\rb"));
}

TEST(TokenizeStringWithNoSpaces, KeepsATokenOfBlanksAsAnEmptyOne) {
  TokenList list = {};
  EXPECT_EQ(tokenizeStringWithNoSpaces("a,  ,b", ",", &list), 1);
  EXPECT_THAT(Taken(list), ElementsAre("a", "", "b"));
}

TEST(TokenizeStringWithNoSpaces, MaySplitAtBlanks) {
  TokenList list = {};
  EXPECT_EQ(tokenizeStringWithNoSpaces("a b", " ", &list), 1);
  EXPECT_EQ(tokenizeStringWithNoSpaces("c   d", " ", &list), 1);
  EXPECT_THAT(Taken(list), ElementsAre("a", "b", "c", "d"));
}

TEST(TokenizeStringWithNoSpaces, RefusesThe256thTokenAndNull) {
  TokenList list = {};
  EXPECT_EQ(tokenizeStringWithNoSpaces(Repeated("x ,", 256).c_str(), ",", &list), 0);
  EXPECT_EQ(list.tokens, nullptr);
  EXPECT_EQ(tokenizeStringWithNoSpaces(nullptr, ",", &list), 0);
  EXPECT_EQ(tokenizeStringWithNoSpaces("a", nullptr, &list), 0);
  EXPECT_EQ(tokenizeStringWithNoSpaces("a", ",", nullptr), 0);
}

TEST(FreeTokens, LeavesTheCountAndNullsTheArray) {
  TokenList list = {};
  ASSERT_EQ(tokenizeString("a,b", ",", &list), 1);
  FreeTokens(&list);
  EXPECT_EQ(list.count, 2);
  EXPECT_EQ(list.tokens, nullptr);
}

TEST(FreeTokens, IsHarmlessASecondTime) {
  TokenList list = {};
  ASSERT_EQ(tokenizeString("a,b", ",", &list), 1);
  FreeTokens(&list);
  FreeTokens(&list);
  FreeTokens(nullptr);
  EXPECT_EQ(list.count, 2);
}

#if UINTPTR_MAX == UINT32_MAX
TEST(TokenList, HasTheTargetsLayout) {
  EXPECT_EQ(sizeof(TokenList), 8U);
  EXPECT_EQ(offsetof(TokenList, tokens), 4U);
}
#endif

}  // namespace
