// The evaluators' short ways against the general ones, and both evaluators against their models.
#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "expr/rpn_numbers.hpp"
#include "expr/rpn_operators.hpp"
#include "include/rpn.h"
#include "tests/expr/rpn_model.hpp"

namespace {

using cu_test::ModelExtended;
using cu_test::ModelRpn;
using cu_test::TextToNumber;

TEST(FindOperator, AgreesWithTheTableForEveryShortToken) {
  const std::string alphabet = "+-*/^&|!<>=maxin?:%05.M\x01\x7F\xFF";
  std::vector<std::string> tokens = {""};
  size_t begin = 0;
  for (int length = 1; length <= 4; ++length) {
    const size_t end = tokens.size();
    for (; begin < end; ++begin) {
      for (const char c : alphabet) tokens.push_back(tokens[begin] + c);
    }
  }
  for (const std::string &token : tokens) {
    uint32_t id;
    isOperator(token.c_str(), &id);
    ASSERT_EQ(cu::FindOperator(token.c_str(), '\0'), id) << token;
    ASSERT_EQ(cu::FindOperator((token + " 1").c_str(), ' '), id) << token;
  }
}

TEST(FindOperator, AgreesWithTheTableForEveryTokenOfTwoBytes) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const char token[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
      uint32_t id;
      isOperator(token, &id);
      ASSERT_EQ(cu::FindOperator(token, '\0'), id) << token;
    }
  }
}

TEST(ReadPlainNumber, AgreesWithTheGeneralWay) {
  std::mt19937_64 random(20);
  const std::string alphabet = "0123456789012345678901234567890..";
  long taken = 0;
  for (int i = 0; i < 300000; ++i) {
    std::string text;
    const size_t length = random() % 18;
    while (text.size() < length) text += alphabet[random() % alphabet.size()];
    double value = 0;
    const char *const end = cu::ReadPlainNumber(text.c_str(), value);
    if (end != text.c_str() + text.size()) continue;
    ++taken;
    ASSERT_EQ(value, cu::NumberOfText(text.c_str())) << text;
  }
  EXPECT_GT(taken, 30000);
}

TEST(ReadPlainNumber, LeavesOtherTextsToTheGeneralWay) {
  for (const char *text :
       {"", ".", "-1", "+1", "x", "1234567890123456", "0.123456789012345", " 1"}) {
    double value;
    EXPECT_EQ(cu::ReadPlainNumber(text, value), nullptr) << text;
  }
}

TEST(ReadPlainIndex, AgreesWithTheGeneralWay) {
  std::mt19937 random(21);
  for (int i = 0; i < 100000; ++i) {
    std::string text;
    const size_t length = random() % 12;
    while (text.size() < length) text += "0123456789x-"[random() % 12];
    uint32_t index = 0;
    const char *const end = cu::ReadPlainIndex(text.c_str(), index);
    if (end != text.c_str() + text.size()) continue;
    ASSERT_EQ(index, cu::IndexOfText(text.c_str())) << text;
  }
}

/// A text of operators, numbers, parameters and blanks, most of it sensible.
std::string RandomExpression(std::mt19937 &random) {
  static const char *const kPieces[] = {
      "+",  "-",   "*",    "/",   "^",   "&",   "|",  "!",   "<<",  ">>",        ">",   "<",
      ">=", "<=",  "==",   "!=",  "max", "min", "m",  "mi",  "?",   ":",         "0",   "1",
      "2",  "3.5", "0x1F", "1e3", "7",   "63",  "64", "255", "256", "-1",        "abc", "%1",
      "%2", "%3",  "%0",   "%9",  "%",   ".5",  "=",  "nan", "inf", "0xFFFFFFFF"};
  std::string expression;
  const int length = static_cast<int>(random() % 14);
  for (int i = 0; i < length; ++i) {
    // Numbers first, so that operators find something to work on.
    const bool number = random() % 3 != 0;
    expression +=
        number ? kPieces[22 + random() % (std::size(kPieces) - 22)] : kPieces[random() % 22];
    const uint32_t blanks = random() % 12;
    expression.append(blanks == 0 ? 0 : blanks == 1 ? 2 : blanks == 2 ? 3 : 1, ' ');
  }
  return expression;
}

void ExpectSame(const std::string &expression, int done, double result,
                const std::optional<double> &expected) {
  ASSERT_EQ(done, expected ? 1 : 0) << '"' << expression << '"';
  if (!expected) return;
  const bool both_nan = result != result && *expected != *expected;
  ASSERT_TRUE(both_nan || result == *expected)
      << '"' << expression << "\" gives " << result << " instead of " << *expected;
}

TEST(DoRpn, AgreesWithItsStepsOverRandomExpressions) {
  std::mt19937 random(22);
  const std::vector<std::string> texts = {"42.5", "-7", "0x10"};
  std::vector<std::string> copies = texts;
  char *parameters[] = {copies[0].data(), copies[1].data(), copies[2].data()};
  int succeeded = 0;
  for (int i = 0; i < 100000; ++i) {
    const std::string expression = RandomExpression(random);
    double result = 0;
    const int done = doRPN(expression.c_str(), parameters, 3, &result);
    ASSERT_NO_FATAL_FAILURE(ExpectSame(expression, done, result, ModelRpn(expression, texts)));
    succeeded += done;
  }
  EXPECT_GT(succeeded, 20000);
}

TEST(DoRpnExtended, AgreesWithItsStepsOverRandomExpressions) {
  std::mt19937 random(23);
  const std::vector<std::string> texts = {"42.5", "-7", "0x10"};
  RpnExtendedContext context = {};
  context.userData = const_cast<std::vector<std::string> *>(&texts);
  context.getParameterCount = [](void *) -> uint32_t { return 3; };
  context.getParameter = [](uint32_t index, void *user, double *out) {
    const auto &values = *static_cast<std::vector<std::string> *>(user);
    if (index >= values.size()) return 0;
    *out = TextToNumber(values[index].c_str());
    return 1;
  };
  int succeeded = 0;
  for (int i = 0; i < 50000; ++i) {
    const std::string expression = RandomExpression(random);
    context.expression = expression.c_str();
    double result = 0;
    const int done = doRPNExtended(&context, &result);
    ASSERT_NO_FATAL_FAILURE(ExpectSame(expression, done, result, ModelExtended(expression, texts)));
    succeeded += done;
  }
  EXPECT_GT(succeeded, 5000);
}

}  // namespace
