#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "include/stringtemplate.h"
#include "text/heap_text.hpp"

using cu_test::Taken;

namespace {

constexpr NamedArg kArgs[] = {{"dev", "gpio5"},  {"a", "A"},     {"b", "B"},      {"empty", ""},
                              {"null", nullptr}, {nullptr, "x"}, {"a", "second"}, {"", "nameless"}};

std::string Filled(const char *text) {
  char *out = nullptr;
  EXPECT_EQ(ambrel_createstring_namedargs(text, std::size(kArgs), kArgs, &out), 1);
  return Taken(out);
}

TEST(AmbrelCreatestringNamedargs, ReplacesAPlaceholder) {
  EXPECT_EQ(Filled("/sys/{dev}/value"), "/sys/gpio5/value");
}

TEST(AmbrelCreatestringNamedargs, ReplacesSeveral) {
  EXPECT_EQ(Filled("{a}{b}"), "AB");
  EXPECT_EQ(Filled("{a}-{b}-{a}"), "A-B-A");
}

TEST(AmbrelCreatestringNamedargs, DropsUnknownNames) {
  const NamedArg only_a[] = {{"a", "A"}};
  char *out = nullptr;
  EXPECT_EQ(ambrel_createstring_namedargs("{a}{b}", 1, only_a, &out), 1);
  EXPECT_EQ(Taken(out), "A");
  EXPECT_EQ(Filled("x{unknown}y"), "xy");
}

TEST(AmbrelCreatestringNamedargs, ComparesNamesExactly) {
  EXPECT_EQ(Filled("[{de}{devs}{DEV}{ dev}]"), "[]");
}

TEST(AmbrelCreatestringNamedargs, KnowsAnEmptyName) {
  EXPECT_EQ(Filled("[{}]"), "[nameless]");
}

TEST(AmbrelCreatestringNamedargs, TakesTheFirstOfEqualNames) {
  EXPECT_EQ(Filled("{a}"), "A");
}

TEST(AmbrelCreatestringNamedargs, AppendsNothingForAnEmptyOrNullValue) {
  EXPECT_EQ(Filled("[{empty}{null}]"), "[]");
}

TEST(AmbrelCreatestringNamedargs, CopiesTextWithoutPlaceholders) {
  EXPECT_EQ(Filled("plain"), "plain");
  EXPECT_EQ(Filled(""), "");
}

TEST(AmbrelCreatestringNamedargs, GivesAnEmptyStringWhenNothingIsAppended) {
  EXPECT_EQ(Filled("{unknown}"), "");
}

TEST(AmbrelCreatestringNamedargs, ReplacesANameThatTheEndCutsOff) {
  EXPECT_EQ(Filled("x{dev"), "xgpio5");
  EXPECT_EQ(Filled("x{"), "xnameless");
}

TEST(AmbrelCreatestringNamedargs, BeginsTheNameAtTheFirstBrace) {
  EXPECT_EQ(Filled("x{a{b}y"), "xy");
}

TEST(AmbrelCreatestringNamedargs, DropsASingleClosingBrace) {
  EXPECT_EQ(Filled("a}b"), "ab");
  EXPECT_EQ(Filled("}a"), "a");
  EXPECT_EQ(Filled("{a}}b"), "Ab");
}

TEST(AmbrelCreatestringNamedargs, KeepsOneOfSeveralClosingBraces) {
  EXPECT_EQ(Filled("}}"), "}");
  EXPECT_EQ(Filled("{a}}}b"), "A}b");
}

TEST(AmbrelCreatestringNamedargs, DoesNotReplaceInsideAValue) {
  const NamedArg args[] = {{"a", "{b}"}, {"b", "B"}};
  char *out = nullptr;
  EXPECT_EQ(ambrel_createstring_namedargs("{a}", 2, args, &out), 1);
  EXPECT_EQ(Taken(out), "{b}");
}

TEST(AmbrelCreatestringNamedargs, GrowsToAnyLength) {
  const std::string value(3000, 'v');
  const NamedArg args[] = {{"v", value.c_str()}};
  std::string text, expected;
  for (int i = 0; i < 20; ++i) {
    text += "<{v}>";
    expected += "<" + value + ">";
  }
  char *out = nullptr;
  EXPECT_EQ(ambrel_createstring_namedargs(text.c_str(), 1, args, &out), 1);
  EXPECT_EQ(Taken(out), expected);
}

TEST(AmbrelCreatestringNamedargs, Gives0ForNullAndLeavesOutAlone) {
  char kept[] = "kept";
  char *out = kept;
  EXPECT_EQ(ambrel_createstring_namedargs(nullptr, 1, kArgs, &out), 0);
  EXPECT_EQ(ambrel_createstring_namedargs("{a}", 0, nullptr, &out), 0);
  EXPECT_EQ(ambrel_createstring_namedargs("{a}", 1, kArgs, nullptr), 0);
  EXPECT_EQ(out, kept);
}

TEST(AmbrelCreatestringNamedargs, AcceptsAListOfNone) {
  char *out = nullptr;
  EXPECT_EQ(ambrel_createstring_namedargs("x{a}y", 0, kArgs, &out), 1);
  EXPECT_EQ(Taken(out), "xy");
}

TEST(AmbrelFindNamedParameter, FindsTheFirstPairWithTheName) {
  EXPECT_EQ(ambrelFindNamedParameter("a", std::size(kArgs), kArgs), &kArgs[1]);
  EXPECT_EQ(ambrelFindNamedParameter("null", std::size(kArgs), kArgs), &kArgs[4]);
}

TEST(AmbrelFindNamedParameter, LooksNoFurtherThanTheCount) {
  EXPECT_EQ(ambrelFindNamedParameter("b", 2, kArgs), nullptr);
  EXPECT_EQ(ambrelFindNamedParameter("a", 0, kArgs), nullptr);
}

TEST(AmbrelFindNamedParameter, GivesNullForOtherNamesAndNull) {
  EXPECT_EQ(ambrelFindNamedParameter("de", std::size(kArgs), kArgs), nullptr);
  EXPECT_EQ(ambrelFindNamedParameter("devs", std::size(kArgs), kArgs), nullptr);
  EXPECT_EQ(ambrelFindNamedParameter(nullptr, std::size(kArgs), kArgs), nullptr);
  EXPECT_EQ(ambrelFindNamedParameter("a", 3, nullptr), nullptr);
}

}  // namespace
