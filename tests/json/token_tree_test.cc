// dump(), getParentArrayForCurrentPrimitive() and findParentObjectKey().
#include <commonutilities/jsonparser.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "json/document.hpp"
#include "support/child.hpp"

namespace {

using cu_test::Document;

int32_t DumpFrom(const char *text, size_t first, uint32_t count) {
  const Document document(text);
  EXPECT_TRUE(document.loaded()) << text;
  return dump(document.json(), document.token(first), count, 0);
}

TEST(Dump, CountsTheTokensOfASubtree) {
  struct Row {
    const char *text;
    size_t first;
    int32_t tokens;
  };
  constexpr Row kRows[] = {
      {R"("a")", 0, 1},
      {R"([])", 0, 1},
      {R"({})", 0, 1},
      {R"([1,2,3])", 0, 4},
      {R"({"a":1,"b":"x"})", 0, 5},
      {R"({"a":1,"b":"x"})", 1, 1},  // a key is a string: its value is not part of it
      {R"({"a":[1,{"b":2}],"c":3})", 0, 9},
      {R"({"a":[1,{"b":2}],"c":3})", 2, 5},
      {R"({"a":[1,{"b":2}],"c":3})", 4, 3},
      {R"([[],[[]],{}])", 0, 5},
      {R"({"a"})", 0, 2},  // a key without a value
      {R"({"a","b":1})", 0, 4},
      {R"(["a":1])", 0, 2},        // a string in an array is an element, whatever hangs on it
      {R"({"a":"b":"c"})", 0, 3},  // the value of a key is a value, whatever hangs on it
  };
  for (const Row &row : kRows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(DumpFrom(row.text, row.first, 100), row.tokens);
  }
}

TEST(Dump, LooksAtNoMoreThanTheGivenTokens) {
  const char *const text = R"({"a":[1,{"b":2}],"c":3})";
  for (uint32_t count = 0; count <= 9; ++count)
    EXPECT_EQ(DumpFrom(text, 0, count), static_cast<int32_t>(count));
  EXPECT_EQ(DumpFrom(text, 0, 10), 9);
}

// The array is as long as the count says, so that a sanitizer sees every step beyond it.
TEST(Dump, ReadsNothingBeyondTheGivenTokens) {
  for (uint32_t count = 1; count < 5; ++count) {
    std::vector<jsmntok_t> tokens(count, {JSON_TOKEN_ARRAY, 0, 9, INT32_MAX, -1});
    EXPECT_EQ(dump("", tokens.data(), count, 0), static_cast<int32_t>(count));
    tokens.assign(count, {JSON_TOKEN_OBJECT, 0, 9, INT32_MAX, -1});
    EXPECT_EQ(dump("", tokens.data(), count, 0), static_cast<int32_t>(count));
  }
}

TEST(Dump, IsZeroForACountOfZeroAndForNull) {
  const Document document("[1]");
  EXPECT_EQ(dump(document.json(), document.token(0), 0, 0), 0);
  EXPECT_EQ(dump(document.json(), nullptr, 3, 0), 0);
}

TEST(Dump, IsZeroForATokenOfAnyOtherType) {
  const jsmntok_t undefined = {JSON_TOKEN_UNDEFINED, -1, -1, 0, -1};
  const jsmntok_t two_bits = {JSON_TOKEN_OBJECT | JSON_TOKEN_ARRAY, 0, 1, 0, -1};
  EXPECT_EQ(dump("", &undefined, 1, 0), 0);
  EXPECT_EQ(dump("", &two_bits, 1, 0), 0);
}

TEST(Dump, EndsAtATokenOfAnyOtherType) {
  const jsmntok_t tokens[] = {{JSON_TOKEN_ARRAY, 0, 9, 3, -1},
                              {JSON_TOKEN_STRING, 1, 2, 0, 0},
                              {JSON_TOKEN_UNDEFINED, -1, -1, 0, -1},
                              {JSON_TOKEN_STRING, 3, 4, 0, 0}};
  EXPECT_EQ(dump("", tokens, 4, 0), 2);
}

TEST(Dump, TakesANegativeSizeForNone) {
  const jsmntok_t tokens[] = {{JSON_TOKEN_ARRAY, 0, 9, -5, -1}, {JSON_TOKEN_STRING, 1, 2, 0, 0}};
  EXPECT_EQ(dump("", tokens, 2, 0), 1);
}

// A container in the place of a key comes from no tokenizer, but counts as any key does.
TEST(Dump, FollowsAContainerThatStandsForAKey) {
  const jsmntok_t tokens[] = {{JSON_TOKEN_OBJECT, 0, 9, 1, -1},
                              {JSON_TOKEN_ARRAY, 1, 2, 1, 0},
                              {JSON_TOKEN_STRING, 1, 2, 0, 1},
                              {JSON_TOKEN_STRING, 3, 4, 0, 0},
                              {JSON_TOKEN_STRING, 5, 6, 0, 0}};
  EXPECT_EQ(dump("", tokens, 5, 0), 4);
}

TEST(Dump, PrintsNothing) {
  cu_test::Child child([] {
    const Document document(R"({"a":[1,{"b":2}]})");
    return dump(document.json(), document.token(0), document.count(), 3) == 7 ? 0 : 1;
  });
  EXPECT_EQ(child.Wait().status(), 0);
  EXPECT_EQ(child.out(), "");
  EXPECT_EQ(child.err(), "");
}

// A million levels, with a sibling at each so that every level stays open.
TEST(Dump, CountsTheDeepestNesting) {
  constexpr uint32_t kDepth = 1000000;
  std::vector<jsmntok_t> tokens;
  for (uint32_t i = 0; i < kDepth; ++i) tokens.push_back({JSON_TOKEN_ARRAY, 0, 9, 2, -1});
  for (uint32_t i = 0; i <= kDepth; ++i) tokens.push_back({JSON_TOKEN_PRIMITIVE, 0, 1, 0, -1});
  const auto count = static_cast<uint32_t>(tokens.size());
  EXPECT_EQ(dump("", tokens.data(), count, 0), static_cast<int32_t>(count));
}

TEST(GetParentArrayForCurrentPrimitive, GivesTheParentOfTheNearestObjectAround) {
  // 0 object, 1 "a", 2 array, 3 object, 4 "b", 5 1, 6 "c", 7 2
  const Document document(R"({"a":[{"b":1}],"c":2})");
  const jsmntok_t *const tokens = document.token(0);
  EXPECT_EQ(getParentArrayForCurrentPrimitive(tokens, 5), 2);
  EXPECT_EQ(getParentArrayForCurrentPrimitive(tokens, 4), 2);
  EXPECT_EQ(getParentArrayForCurrentPrimitive(tokens, 3), -1);  // begins at the token's parent
  EXPECT_EQ(getParentArrayForCurrentPrimitive(tokens, 7), -1);  // the root has no parent
}

TEST(GetParentArrayForCurrentPrimitive, GivesTheKeyThatHoldsTheObject) {
  const Document document(R"({"a":{"b":1}})");
  EXPECT_EQ(getParentArrayForCurrentPrimitive(document.token(0), 4), 1);
}

TEST(GetParentArrayForCurrentPrimitive, IsMinusOneWithoutAnEnclosingObject) {
  const Document document("[[1],2]");
  for (int32_t i = 0; i < 4; ++i)
    EXPECT_EQ(getParentArrayForCurrentPrimitive(document.token(0), i), -1);
  EXPECT_EQ(getParentArrayForCurrentPrimitive(nullptr, 0), -1);
  EXPECT_EQ(getParentArrayForCurrentPrimitive(document.token(0), -1), -1);
}

TEST(GetParentArrayForCurrentPrimitive, EndsOnLinksThatGoInCirclesOrAstray) {
  const jsmntok_t tokens[] = {{JSON_TOKEN_ARRAY, 0, 9, 1, 1},
                              {JSON_TOKEN_ARRAY, 0, 9, 1, 0},
                              {JSON_TOKEN_STRING, 1, 2, 0, 2},
                              {JSON_TOKEN_STRING, 1, 2, 0, 1000000},
                              {JSON_TOKEN_STRING, 1, 2, 0, INT32_MIN}};
  for (int32_t i = 0; i < 5; ++i) EXPECT_EQ(getParentArrayForCurrentPrimitive(tokens, i), -1);
}

// 0 "k", 1 object, 2 "x", 3 object, 4 "y", 5 object, 6 "z", 7 1
constexpr const char *kStringFirst = R"("k":{"x":{"y":{"z":1}}})";

TEST(FindParentObjectKey, ClimbsToTheSecondObjectAround) {
  const Document document(kStringFirst);
  ASSERT_EQ(document.count(), 8u);
  EXPECT_EQ(findParentObjectKey(document.json(), "other", document.token(0), 7), 3);
  EXPECT_EQ(findParentObjectKey(document.json(), "other", document.token(0), 4), 1);
  EXPECT_EQ(findParentObjectKey(document.json(), "other", document.token(0), 6), 3);
  EXPECT_EQ(findParentObjectKey(document.json(), "other", document.token(0), 5), 1);
}

TEST(FindParentObjectKey, StepsTwiceWhereTheFirstTokenBeginsWithTheKey) {
  const Document document(kStringFirst);
  // Two steps at a time: 7, 5 is an object; 5, 3 is an object.
  EXPECT_EQ(findParentObjectKey(document.json(), "k", document.token(0), 7), 3);
  // 6, 4, 2, 0 meets no object.
  EXPECT_EQ(findParentObjectKey(document.json(), "k", document.token(0), 6), -1);
}

TEST(FindParentObjectKey, ComparesTheKeyWithTheBeginningOfTheFirstToken) {
  const Document document(R"("key":{"x":{"y":1}})");
  // 0 "key", 1 object, 2 "x", 3 object, 4 "y", 5 1: double steps from 4 meet no object.
  EXPECT_EQ(findParentObjectKey(document.json(), "ke", document.token(0), 4), -1);
  EXPECT_EQ(findParentObjectKey(document.json(), "keys", document.token(0), 4), 1);
}

TEST(FindParentObjectKey, TakesTheEmptyKeyForEqualWhateverTheFirstTokenIs) {
  // 0 object, 1 "a", 2 object, 3 "b", 4 1
  const Document document(R"({"a":{"b":1}})");
  EXPECT_EQ(findParentObjectKey(document.json(), "", document.token(0), 4), 0);
  EXPECT_EQ(findParentObjectKey(document.json(), "", document.token(0), 3), -1);
}

TEST(FindParentObjectKey, StepsOnceWhereTheFirstTokenHasNoText) {
  const Document document(R"({"a":{"b":1}})");
  EXPECT_EQ(findParentObjectKey(document.json(), "a", document.token(0), 4), 0);
  EXPECT_EQ(findParentObjectKey(document.json(), "a", document.token(0), 3), 0);
}

TEST(FindParentObjectKey, IsMinusOneWithoutTwoObjectsAround) {
  const Document document(R"({"a":[1]})");
  EXPECT_EQ(findParentObjectKey(document.json(), "x", document.token(0), 3), -1);
  EXPECT_EQ(findParentObjectKey(document.json(), "x", document.token(0), 0), -1);
}

TEST(FindParentObjectKey, IsMinusOneForNullAndNegativeArguments) {
  const Document document(R"({"a":1})");
  EXPECT_EQ(findParentObjectKey(nullptr, "a", document.token(0), 2), -1);
  EXPECT_EQ(findParentObjectKey(document.json(), nullptr, document.token(0), 2), -1);
  EXPECT_EQ(findParentObjectKey(document.json(), "a", nullptr, 2), -1);
  EXPECT_EQ(findParentObjectKey(document.json(), "a", document.token(0), -1), -1);
}

TEST(FindParentObjectKey, EndsOnLinksThatGoInCircles) {
  const jsmntok_t tokens[] = {{JSON_TOKEN_STRING, 0, 1, 1, 1}, {JSON_TOKEN_STRING, 0, 1, 1, 0}};
  EXPECT_EQ(findParentObjectKey("a", "a", tokens, 1), -1);
  EXPECT_EQ(findParentObjectKey("a", "b", tokens, 1), -1);
}

}  // namespace
