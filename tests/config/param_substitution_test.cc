#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "config/param.hpp"
#include "include/configparams.h"

using cu_test::ParamList;

namespace {

std::string Filled(const char *text) {
  ParamList params = {{"speed", "100"},  {"unit", "rpm"}, {"speed", "second"}, {"empty", ""},
                      {"null", nullptr}, {nullptr, "x"},  {"", "nameless"}};
  char *out = nullptr;
  EXPECT_EQ(SubAmbrelCommonConfigParamListIntoTokenString(text, &params.array, &out), 1);
  if (out == nullptr) return "(null)";
  std::string filled = out;
  free(out);
  return filled;
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, ReplacesAPlaceholder) {
  EXPECT_EQ(Filled("rate=<speed>;"), "rate=100;");
  EXPECT_EQ(Filled("<speed>"), "100");
  EXPECT_EQ(Filled("<speed><unit>"), "100rpm");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, LeavesOutUnknownNames) {
  EXPECT_EQ(Filled("a<unknown>b"), "ab");
  EXPECT_EQ(Filled("[<spee><speeds><SPEED>]"), "[]");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, ReplacesANameThatTheEndCutsOff) {
  EXPECT_EQ(Filled("x<speed"), "x100");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, AppendsNothingForAnEmptyOrNullValue) {
  EXPECT_EQ(Filled("[<empty><null>]"), "[]");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, KnowsAnEmptyName) {
  EXPECT_EQ(Filled("[<>]"), "[nameless]");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, BeginsTheNameAtTheFirstBracket) {
  EXPECT_EQ(Filled("a<b<speed>c"), "ac");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, DropsASingleClosingBracket) {
  EXPECT_EQ(Filled("a>b"), "ab");
  EXPECT_EQ(Filled(">a"), "a");
  EXPECT_EQ(Filled("a>"), "a");
  EXPECT_EQ(Filled("<speed>>b"), "100b");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, KeepsOneOfTwoClosingBracketsAlone) {
  EXPECT_EQ(Filled(">>"), ">");
  EXPECT_EQ(Filled(">>a"), ">a");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, GivesAnEmptyStringWhenNothingIsAppended) {
  EXPECT_EQ(Filled(""), "");
  EXPECT_EQ(Filled(">"), "");
  EXPECT_EQ(Filled("<unknown>"), "");
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, ReplacesNothingInsideAValue) {
  ParamList params = {{"a", "<b>"}, {"b", "B"}};
  char *out = nullptr;
  ASSERT_EQ(SubAmbrelCommonConfigParamListIntoTokenString("<a>", &params.array, &out), 1);
  EXPECT_STREQ(out, "<b>");
  free(out);
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, FillsFromAnEmptyList) {
  const rfAECommonConfigConfigParamArray empty = {0, nullptr};
  char *out = nullptr;
  ASSERT_EQ(SubAmbrelCommonConfigParamListIntoTokenString("a<speed>b", &empty, &out), 1);
  EXPECT_STREQ(out, "ab");
  free(out);
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, Gives0ForNullAndLeavesOutAlone) {
  ParamList params = {{"a", "1"}};
  char kept[] = "kept";
  char *out = kept;
  EXPECT_EQ(SubAmbrelCommonConfigParamListIntoTokenString(nullptr, &params.array, &out), 0);
  EXPECT_EQ(SubAmbrelCommonConfigParamListIntoTokenString("a", nullptr, &out), 0);
  EXPECT_EQ(SubAmbrelCommonConfigParamListIntoTokenString("a", &params.array, nullptr), 0);
  EXPECT_EQ(out, kept);
}

}  // namespace
