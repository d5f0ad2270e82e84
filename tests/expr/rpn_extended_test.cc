#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "include/rpn.h"

namespace {

constexpr double kUntouched = -12345.5;

/// Serves parameters and remembers the calls, as a daemon's sensor table would.
class ExtendedTest : public testing::Test {
 protected:
  ExtendedTest() {
    context_.getParameter = [](uint32_t index, void *user, double *out) {
      auto *const self = static_cast<ExtendedTest *>(user);
      self->calls_.push_back("get " + std::to_string(index));
      if (index == UINT32_MAX && self->serves_zero_) {
        *out = 77;
        return 1;
      }
      if (index >= self->values_.size()) return 0;
      *out = self->values_[index];
      return 5;
    };
    context_.getParameterCount = [](void *user) {
      auto *const self = static_cast<ExtendedTest *>(user);
      self->calls_.push_back("count");
      return self->count_;
    };
    context_.userData = this;
  }
  ~ExtendedTest() override { FreeTokens(&context_.tokens); }

  double Eval(const char *expression) {
    context_.expression = expression;
    return Eval();
  }

  double Eval() {
    double result = kUntouched;
    const int done = doRPNExtended(&context_, &result);
    EXPECT_EQ(done, result == kUntouched ? 0 : 1);
    return result;
  }

  RpnExtendedContext context_ = {};
  std::vector<double> values_;
  std::vector<std::string> calls_;
  uint32_t count_ = 0;
  bool serves_zero_ = false;
};

TEST_F(ExtendedTest, EvaluatesOperatorsAndNumbers) {
  const std::pair<const char *, double> rows[] = {{"2 3 +", 5},
                                                  {"7 2 /", 3.5},
                                                  {"0x10 1 +", 17},
                                                  {"5 3 <", 40},
                                                  {"5 3 <=", 1},
                                                  {"2 10 max", 10},
                                                  {"2 10 min", 2},
                                                  {"0 !", 1},
                                                  {"! 5", 5},
                                                  {"0.1", 0.1},
                                                  {"16777217 0 +", 16777216},
                                                  {"5 3 != +", 5},
                                                  {"1e2", 100},
                                                  {"abc", 0},
                                                  {"5 3 +  ", 0},
                                                  {" 2 3 + ", 5},
                                                  {"0xFFFFFFFF", 2147483648.0}};
  for (const auto &[expression, result] : rows) EXPECT_EQ(Eval(expression), result) << expression;
}

TEST_F(ExtendedTest, FailsAndLeavesTheResultAlone) {
  for (const char *expression : {"", "+", "1 +", "1 0 /", "!", "-5", "1 2 + +"}) {
    EXPECT_EQ(Eval(expression), kUntouched) << expression;
  }
}

TEST_F(ExtendedTest, HasNoConditional) {
  for (const char *expression : {"1 ? 1 : 2", "1 2 ?", "1 2 :", "1 ? 2", "?", ":"}) {
    EXPECT_EQ(Eval(expression), kUntouched) << expression;
  }
}

TEST_F(ExtendedTest, FetchesParametersInOrderAfterOneCount) {
  values_ = {7, 2};
  count_ = 2;
  EXPECT_EQ(Eval("%2 %1 - %2 +"), -3);
  EXPECT_EQ(calls_, (std::vector<std::string>{"count", "get 1", "get 0", "get 1"}));
}

TEST_F(ExtendedTest, AsksForTheCountEvenWithoutParameters) {
  EXPECT_EQ(Eval("1 2 +"), 3);
  EXPECT_EQ(calls_, std::vector<std::string>{"count"});
}

TEST_F(ExtendedTest, KeepsTheDoublePrecisionOfAParameter) {
  values_ = {0.1};
  count_ = 1;
  EXPECT_EQ(Eval("%1"), 0.1);
}

TEST_F(ExtendedTest, ChecksNumbersAgainstTheCountAlone) {
  values_ = {7, 2};
  count_ = 1;
  EXPECT_EQ(Eval("%2"), kUntouched);
  EXPECT_EQ(calls_, std::vector<std::string>{"count"});
  EXPECT_EQ(Eval("%-1"), kUntouched);
  EXPECT_EQ(Eval("%99999999999"), kUntouched);
}

TEST_F(ExtendedTest, PassesNumberZeroOnAsTheLargestIndex) {
  serves_zero_ = true;
  for (const char *expression : {"%0", "%", "%x", "%00"}) {
    calls_.clear();
    EXPECT_EQ(Eval(expression), 77) << expression;
    EXPECT_EQ(calls_, (std::vector<std::string>{"count", "get 4294967295"}));
  }
}

TEST_F(ExtendedTest, FailsWhenAParameterFails) {
  count_ = 5;
  EXPECT_EQ(Eval("1 %3 +"), kUntouched);
  EXPECT_EQ(calls_, (std::vector<std::string>{"count", "get 2"}));
}

TEST_F(ExtendedTest, FailsWithoutACallback) {
  RpnExtendedContext context = context_;
  context.expression = "1";
  context.getParameter = nullptr;
  double result = kUntouched;
  EXPECT_EQ(doRPNExtended(&context, &result), 0);
  context = context_;
  context.expression = "1";
  context.getParameterCount = nullptr;
  EXPECT_EQ(doRPNExtended(&context, &result), 0);
  EXPECT_EQ(result, kUntouched);
  EXPECT_TRUE(calls_.empty());
}

TEST_F(ExtendedTest, LeavesTheTokensAloneWithoutACallback) {
  char five[] = "5";
  char *tokens[] = {five};
  RpnExtendedContext context = context_;
  context.tokens = {1, tokens};
  context.getParameter = nullptr;
  double result = kUntouched;
  EXPECT_EQ(doRPNExtended(&context, &result), 0);
  EXPECT_EQ(context.tokens.count, 1);
  EXPECT_EQ(context.tokens.tokens, tokens);
}

TEST_F(ExtendedTest, FailsForNullArguments) {
  double result = kUntouched;
  EXPECT_EQ(doRPNExtended(nullptr, &result), 0);
  context_.expression = "1";
  EXPECT_EQ(doRPNExtended(&context_, nullptr), 0);
  context_.expression = nullptr;
  EXPECT_EQ(doRPNExtended(&context_, &result), 0);
  EXPECT_EQ(result, kUntouched);
}

TEST_F(ExtendedTest, ReleasesTheTokensOnSuccessAndOnFailure) {
  for (const char *expression : {"1 2 +", "1 0 /", "%1"}) {
    Eval(expression);
    EXPECT_EQ(context_.tokens.tokens, nullptr) << expression;
  }
}

TEST_F(ExtendedTest, ReadsTheExpressionAgainAfterTheTokensWereReleased) {
  EXPECT_EQ(Eval("1 2 +"), 3);
  EXPECT_EQ(Eval("4 5 6 + *"), 44);
  EXPECT_EQ(Eval("9"), 9);
}

TEST_F(ExtendedTest, ReadsTheExpressionAgainAfterTheCallerReleasedKeptTokens) {
  context_.keepTokens = 1;
  EXPECT_EQ(Eval("1 2 +"), 3);
  FreeTokens(&context_.tokens);  // leaves the count as it was
  EXPECT_EQ(Eval("4 5 *"), 20);
}

TEST_F(ExtendedTest, ReadsTheExpressionWhenTheListIsEmptyButHasAnArray) {
  context_.tokens = {0, static_cast<char **>(malloc(sizeof(char *)))};
  EXPECT_EQ(Eval("4 5 *"), 20);  // and the leak checker sees the array released
}

TEST_F(ExtendedTest, KeepsTheTokensAndIgnoresTheExpressionFromThenOn) {
  context_.keepTokens = 1;
  values_ = {1};
  count_ = 1;
  EXPECT_EQ(Eval("%1 2 +"), 3);
  ASSERT_EQ(context_.tokens.count, 3);
  EXPECT_STREQ(context_.tokens.tokens[0], "%1");
  EXPECT_STREQ(context_.tokens.tokens[1], "2");
  EXPECT_STREQ(context_.tokens.tokens[2], "+");
  values_ = {40};
  EXPECT_EQ(Eval("4 5 *"), 42);
  context_.expression = nullptr;
  EXPECT_EQ(Eval(), 42);
}

TEST_F(ExtendedTest, KeepsTheTokensOnFailureToo) {
  context_.keepTokens = 1;
  count_ = 1;
  EXPECT_EQ(Eval("%1 2 +"), kUntouched);
  EXPECT_EQ(context_.tokens.count, 3);
  values_ = {5};
  EXPECT_EQ(Eval(), 7);
}

TEST_F(ExtendedTest, EvaluatesTokensThatTheCallerSupplies) {
  char two[] = "2", blank_less[] = "< x", five[] = "5";
  char *tokens[] = {five, two, blank_less};  // a blank is a byte like any other here
  context_.tokens = {3, tokens};
  context_.keepTokens = 1;
  EXPECT_EQ(Eval(), 1);
  context_.tokens = {};
}

TEST_F(ExtendedTest, FailsOnAMissingToken) {
  char two[] = "2";
  char *tokens[] = {two, nullptr};
  context_.tokens = {2, tokens};
  context_.keepTokens = 1;
  EXPECT_EQ(Eval(), kUntouched);
  context_.tokens = {};
}

TEST_F(ExtendedTest, EvaluatesTheMostTokensThatAListHolds) {
  std::string expression = "1";
  for (int i = 0; i < 127; ++i) expression += " 1 +";
  EXPECT_EQ(Eval(expression.c_str()), 128);
}

TEST_F(ExtendedTest, RefusesMoreTokensThanAListHolds) {
  std::string expression = "1 !";
  for (int i = 0; i < 127; ++i) expression += " 1 +";
  for (const uint8_t keep : {0, 1}) {
    context_.keepTokens = keep;
    EXPECT_EQ(Eval(expression.c_str()), kUntouched);
    EXPECT_EQ(context_.tokens.tokens, nullptr);
    EXPECT_TRUE(calls_.empty());
  }
  EXPECT_EQ(Eval("4 5 *"), 20);
}

TEST_F(ExtendedTest, TakesTokensOfAnyLength) {
  const std::string digits(3000, '0');
  values_ = {3};
  count_ = 1;
  EXPECT_EQ(Eval((digits + "4 %" + digits + "1 *").c_str()), 12);
}

}  // namespace
