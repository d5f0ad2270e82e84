#include <gtest/gtest.h>

#include <math.h>

#include <string>
#include <vector>

#include "include/rpn.h"
#include "support/locale.hpp"

namespace {

constexpr double kUntouched = -12345.5;

/// The result of an expression over parameter texts, or kUntouched when the evaluation fails.
double Eval(const std::string &expression, std::vector<std::string> texts = {}) {
  std::vector<char *> parameters;
  for (std::string &text : texts) parameters.push_back(text.data());
  double result = kUntouched;
  const int done = doRPN(expression.c_str(), parameters.data(),
                         static_cast<uint32_t>(parameters.size()), &result);
  EXPECT_EQ(done, result == kUntouched ? 0 : 1) << expression;
  return result;
}

struct Row {
  const char *expression;
  double result;
};

class DoRpnTest : public testing::TestWithParam<Row> {};

TEST_P(DoRpnTest, GivesTheResult) {
  EXPECT_EQ(Eval(GetParam().expression), GetParam().result) << GetParam().expression;
}

INSTANTIATE_TEST_SUITE_P(Operators, DoRpnTest,
                         testing::Values(Row{"2 3 +", 5}, Row{"7 2 /", 3.5}, Row{"7 2 -", 5},
                                         Row{"2 3 *", 6}, Row{"2 10 ^", 1024}, Row{"6 3 &", 2},
                                         Row{"6 3 |", 7}, Row{"0 !", 1}, Row{"5 !", 0},
                                         Row{"5 3 <<", 40}, Row{"40 3 >>", 5}, Row{"3 3 ==", 1},
                                         Row{"2 10 max", 10}, Row{"2 10 min", 2}, Row{"10 2 m", 10},
                                         Row{"1 2 3 + *", 5}, Row{"2 3 4 * + 5 -", 9}));

INSTANTIATE_TEST_SUITE_P(ReadAsAnotherOperator, DoRpnTest,
                         testing::Values(Row{"5 3 <", 40}, Row{"40 3 >", 5}, Row{"5 3 <=", 1},
                                         Row{"3 5 <=", 0}, Row{"3 3 <=", 0}, Row{"5 3 >=", 1},
                                         Row{"5 5 >=", 0}, Row{"5.9 5 >=", 0},
                                         // "<=" and what is made of it
                                         Row{"5.9 5 <=", 1}, Row{"5 5.9 <=", 0},
                                         Row{"0 3 - 0 5 - <=", 1}, Row{"0 3 - 0 5 - >=", 0},
                                         Row{"5 5 <= !", 1}, Row{"5.9 5 <= !", 0},
                                         Row{"5 3 == !", 1}, Row{"3 3 == !", 0},
                                         // "!=" is "!": it looks at the 3 alone and leaves the 5
                                         Row{"5 3 !=", 0}, Row{"5 3 != +", 5}, Row{"0 5 -3", -5}));

INSTANTIATE_TEST_SUITE_P(
    Numbers, DoRpnTest,
    testing::Values(Row{"0x10 1 +", 17}, Row{"0x10", 16}, Row{"0X1f", 31}, Row{"ax5", 10},
                    Row{"1x5", 1}, Row{"0x", 0}, Row{"0xFFFFFFFF", 2147483648.0},
                    Row{"0x7FFFFFFF", 2147483648.0}, Row{"0x1000001", 16777216.0},
                    Row{"0x1000003", 16777220.0}, Row{"0b101", 0}, Row{"2.5", 2.5}, Row{".5", 0.5},
                    Row{"5.", 5}, Row{".", 0}, Row{"0.1", 0.1}, Row{"1e3", 1000},
                    Row{"1.5e-2", 0.015}, Row{"abc", 0}, Row{"12abc", 12}, Row{"1.2.3", 1.2},
                    Row{"123456789012345", 123456789012345.0},
                    Row{"1234567890123456789", 1234567890123456789.0},
                    Row{"0.123456789012345678", 0.123456789012345678},
                    Row{"16777217", 16777217.0},      // a lone number keeps double precision
                    Row{"16777217 0 +", 16777216.0},  // an operation rounds it
                    Row{"000000000000000000007", 7}, Row{"inf", INFINITY}, Row{"1e999", INFINITY},
                    Row{"\t5", 5}));

INSTANTIATE_TEST_SUITE_P(
    Conditionals, DoRpnTest,
    testing::Values(Row{"0 ? 1 : 2", 2}, Row{"1 ? 1 : 2", 1}, Row{"0.5 ? 1 : 2", 1},
                    Row{"0x10 ? 1 : 2", 1}, Row{"nan ? 1 : 2", 1},
                    Row{"1e-300 ? 1 : 2", 1},  // the condition is not rounded to single precision
                    Row{"1e-300 0 + ? 1 : 2", 2}, Row{"5 3 >= ? 1 : 0", 1},
                    Row{"3 5 >= ? 1 : 0", 0}, Row{"0 ? 1 : 0 ? 2 : 3", 3},
                    Row{"0 ? 1 : 1 ? 2 : 3", 2}, Row{"1 ? 10 2 + : 3", 12}, Row{"0 ? 1 : 2 3 +", 5},
                    Row{"7 0 ? 1 : 3 +", 10},  // what lies below the condition stays
                    Row{"7 1 ? 3 + : 1", 10}, Row{"1 ? 4", 4},  // without a second branch
                    Row{"1 ? 4 : / / / junk", 4},               // the second branch is not read
                    Row{"0 ? / / / junk : 4", 4},               // nor the first
                    Row{"1 ?x 4 : 5", 4},                       // "?x" is "?"
                    Row{"1 0 ? 5", 1},          // nothing follows: the value below is the result
                    Row{"3 0 ? : 5 : 6", 6}));  // an empty first branch takes the next one along

INSTANTIATE_TEST_SUITE_P(
    Blanks, DoRpnTest,
    testing::Values(Row{" 2 3 +", 5}, Row{"2 3 + ", 5}, Row{"2  3 +", 5}, Row{"  2 3 +", 5},
                    Row{"2 3  +", 5}, Row{"2   3 +", 5},  // the third blank belongs to the number
                    Row{"2 3   +", 0},  // and here to an operator, which becomes a number
                    Row{"5 3 +  ", 0},  // an empty token at the end
                    Row{" ", 0}));

INSTANTIATE_TEST_SUITE_P(Nots, DoRpnTest,
                         testing::Values(Row{"! 5", 5}, Row{"! ! 0 !", 1}, Row{"0.9 !", 1},
                                         Row{"0 3 - !", 1}));

class DoRpnFailureTest : public testing::TestWithParam<const char *> {};

TEST_P(DoRpnFailureTest, FailsAndLeavesTheResultAlone) {
  EXPECT_EQ(Eval(GetParam()), kUntouched);
}

INSTANTIATE_TEST_SUITE_P(Expressions, DoRpnFailureTest,
                         testing::Values("", "+", "1 +", "1 0 /", "1 0 / 5", "0 0 /", "!",
                                         "1 2 :", ":", "?", "? 1 : 2", "0 ? 5", "0 ? : 5",
                                         "0 ? 1 :", "%1", "%0", "%", "%x", "%-1", "1 2 + +", "-5",
                                         "+5", "max", "1 2 : 3", "1 0 / 1 ? 2 : 3"));

TEST(DoRpn, RefusesNullArguments) {
  double result = kUntouched;
  EXPECT_EQ(doRPN(nullptr, nullptr, 0, &result), 0);
  EXPECT_EQ(result, kUntouched);
  EXPECT_EQ(doRPN("1", nullptr, 0, nullptr), 0);
}

TEST(DoRpn, NeedsNoParameterArrayWithoutParameters) {
  double result = 0;
  EXPECT_EQ(doRPN("1 2 +", nullptr, 0, &result), 1);
  EXPECT_EQ(result, 3);
}

TEST(DoRpn, ReadsParametersCountedFromOne) {
  EXPECT_EQ(Eval("%1 %2 -", {"7", "2"}), 5);
  EXPECT_EQ(Eval("%2 %1 -", {"7", "2"}), -5);
  EXPECT_EQ(Eval("%12", std::vector<std::string>(12, "3")), 3);
}

TEST(DoRpn, RefusesParametersThatAreNotThere) {
  EXPECT_EQ(Eval("%2 1 +", {"7"}), kUntouched);
  EXPECT_EQ(Eval("%0 1 +", {"7"}), kUntouched);
  EXPECT_EQ(Eval("% 1 +", {"7"}), kUntouched);
  EXPECT_EQ(Eval("%-1", {"7"}), kUntouched);
  EXPECT_EQ(Eval("%4294967297", {"7"}), kUntouched);
}

TEST(DoRpn, RefusesNullParameters) {
  char *parameters[] = {nullptr};
  double result = kUntouched;
  EXPECT_EQ(doRPN("%1", parameters, 1, &result), 0);
  EXPECT_EQ(doRPN("%1", nullptr, 1, &result), 0);
  EXPECT_EQ(result, kUntouched);
}

TEST(DoRpn, ReadsTheLeadingDigitsOfAParameterNumber) {
  EXPECT_EQ(Eval("%1x", {"7"}), 7);
  EXPECT_EQ(Eval("%0000000000001", {"7"}), 7);
  EXPECT_EQ(Eval("%\t1", {"7"}), 7);
}

struct ParameterRow {
  const char *text;
  double result;
};

class DoRpnParameterTest : public testing::TestWithParam<ParameterRow> {};

TEST_P(DoRpnParameterTest, ConvertsTheText) {
  EXPECT_EQ(Eval("%1", {GetParam().text}), GetParam().result) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DoRpnParameterTest,
    testing::Values(ParameterRow{"5", 5}, ParameterRow{"-5", -5}, ParameterRow{"+5", 5},
                    ParameterRow{"-2.25", -2.25}, ParameterRow{"0x1F", 31},
                    ParameterRow{"0x80000000", 2147483648.0},  // the largest, in single precision
                    ParameterRow{"-0x10",
                                 -16},  // decimal by its second character, and atof knows it
                    ParameterRow{"", 0}, ParameterRow{" 12 ", 12}, ParameterRow{"1 2", 1},
                    ParameterRow{"+", 0}, ParameterRow{"text", 0}, ParameterRow{"0.1", 0.1},
                    ParameterRow{"1e2", 100}, ParameterRow{"0b11", 0}, ParameterRow{"-x1", 0}));

TEST(DoRpn, EvaluatesARuleOverParameters) {
  EXPECT_EQ(Eval("%1 9 * 5 / 32 + %2 -", {"42.5", "0x10"}), 92.5);
  EXPECT_EQ(Eval("%1 5 >= ? 1 : 0", {"6"}), 1);
  EXPECT_EQ(Eval("%1 5 >= ? 1 : 0", {"5"}), 0);
  // A lone ">" is a shift.
  EXPECT_EQ(Eval("%1 5 > ? 1 : 0", {"6"}), 0);
  EXPECT_EQ(Eval("%1 5 > ? 1 : 0", {"64"}), 1);
}

TEST(DoRpn, KeepsAnyNumberOfValuesPending) {
  for (const int depth : {32, 33, 64, 65, 5000}) {
    std::string expression = "1";
    for (int i = 1; i < depth; ++i) expression += " 1";
    for (int i = 1; i < depth; ++i) expression += " +";
    EXPECT_EQ(Eval(expression), depth);
  }
}

TEST(DoRpn, ReleasesADeepStackOnFailure) {
  std::string expression = "1";
  for (int i = 1; i < 500; ++i) expression += " 1";
  EXPECT_EQ(Eval(expression + " 0 /"), kUntouched);
}

TEST(DoRpn, TakesTokensOfAnyLength) {
  for (const size_t length : {63u, 64u, 65u, 5000u}) {
    EXPECT_EQ(Eval(std::string(length, '0') + "7"), 7);
    EXPECT_EQ(Eval("%" + std::string(length, '0') + "1", {"9"}), 9);
    EXPECT_EQ(Eval("2 3 +" + std::string(length, 'x')), 5);
  }
}

TEST(DoRpn, ReadsNumbersInTheProcessLocale) {
  const cu_test::DecimalPointLocale locale(",");
  if (!locale.works()) GTEST_SKIP() << "no locale with a decimal comma can be made here";
  EXPECT_EQ(Eval("2,5"), 2.5);
  EXPECT_EQ(Eval("2.5"), 2);
}

}  // namespace
