#include <gtest/gtest.h>

#include <math.h>

#include <limits>
#include <string>

#include "include/rpn.h"

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kTwoTo63 = 9223372036854775808.0f;
constexpr float kTwoTo64 = 18446744073709551616.0f;

TEST(SupportedList, HoldsTheOperatorsInTheirOrder) {
  const char *const names[] = {"+", "-", "*",  "/",  "^",  "&",  "|",   "!",   "<<", ">>",
                               ">", "<", ">=", "<=", "==", "!=", "max", "min", "?",  ":"};
  ASSERT_EQ(std::size(names), static_cast<size_t>(RPN_OPERATOR_COUNT));
  for (uint32_t i = 0; i < RPN_OPERATOR_COUNT; ++i) {
    EXPECT_EQ(supportedList[i].id, i);
    EXPECT_STREQ(supportedList[i].name, names[i]);
  }
}

struct TokenRow {
  const char *token;
  uint32_t id;
};

class IsOperatorTest : public testing::TestWithParam<TokenRow> {};

TEST_P(IsOperatorTest, TakesTheFirstNameThatSharesAPrefix) {
  uint32_t id = 99;
  EXPECT_EQ(isOperator(GetParam().token, &id), GetParam().id == 20 ? 0 : 1) << GetParam().token;
  EXPECT_EQ(id, GetParam().id) << GetParam().token;
}

INSTANTIATE_TEST_SUITE_P(Names, IsOperatorTest,
                         testing::Values(TokenRow{"+", 0}, TokenRow{"-", 1}, TokenRow{"*", 2},
                                         TokenRow{"/", 3}, TokenRow{"^", 4}, TokenRow{"&", 5},
                                         TokenRow{"|", 6}, TokenRow{"!", 7}, TokenRow{"<<", 8},
                                         TokenRow{">>", 9}, TokenRow{"==", 14}, TokenRow{"max", 16},
                                         TokenRow{"min", 17}, TokenRow{"?", 18},
                                         TokenRow{":", 19}));

INSTANTIATE_TEST_SUITE_P(
    ReadAsAnotherOperator, IsOperatorTest,
    testing::Values(TokenRow{"<", 8}, TokenRow{">", 9}, TokenRow{">=", 10}, TokenRow{"<=", 11},
                    TokenRow{"!=", 7}, TokenRow{"m", 16}, TokenRow{"ma", 16}, TokenRow{"mi", 17},
                    TokenRow{"=", 14}, TokenRow{"-5", 1}, TokenRow{"+5", 0}, TokenRow{"*x", 2},
                    TokenRow{"/home", 3}, TokenRow{"^2", 4}, TokenRow{"&&", 5}, TokenRow{"||", 6},
                    TokenRow{"<x", 11}, TokenRow{">x", 10}, TokenRow{"<<<", 8}, TokenRow{">>=", 9},
                    TokenRow{"===", 14}, TokenRow{"maximum", 16}, TokenRow{"minute", 17},
                    TokenRow{"?:", 18}, TokenRow{":x", 19}, TokenRow{"-inf", 1}));

INSTANTIATE_TEST_SUITE_P(Operands, IsOperatorTest,
                         testing::Values(TokenRow{"", 20}, TokenRow{"5", 20}, TokenRow{"%1", 20},
                                         TokenRow{"=x", 20}, TokenRow{"mx", 20},
                                         TokenRow{"mab", 20}, TokenRow{"mid", 20},
                                         TokenRow{"Max", 20}, TokenRow{" +", 20},
                                         TokenRow{"x+", 20}, TokenRow{"inf", 20},
                                         TokenRow{"\xFF", 20}));

TEST(IsOperator, RefusesNullArguments) {
  uint32_t id = 99;
  EXPECT_EQ(isOperator(nullptr, &id), 0);
  EXPECT_EQ(id, 20u);
  EXPECT_EQ(isOperator("+", nullptr), 0);
}

struct OperationRow {
  uint32_t id;
  float a, b, result;
};

std::ostream &operator<<(std::ostream &out, const OperationRow &row) {
  return out << row.a << ' ' << row.b << ' '
             << (row.id < RPN_OPERATOR_COUNT ? supportedList[row.id].name : "?");
}

/// Equal, with not-a-number equal to itself.
void ExpectSame(float result, float expected) {
  if (isnan(expected)) {
    EXPECT_TRUE(isnan(result)) << result;
  } else {
    EXPECT_EQ(result, expected);
  }
}

class ProcessOperandTest : public testing::TestWithParam<OperationRow> {};

TEST_P(ProcessOperandTest, GivesTheResultAndClearsTheError) {
  uint8_t error = 9;
  const auto &[id, a, b, result] = GetParam();
  ExpectSame(processOperand(id, &error, a, b), result);
  EXPECT_EQ(error, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Arithmetic, ProcessOperandTest,
    testing::Values(OperationRow{0, 2, 3, 5}, OperationRow{0, 16777216, 1, 16777216},
                    OperationRow{0, 0.1f, 0.2f, 0.3f}, OperationRow{0, 3e38f, 3e38f, kInf},
                    OperationRow{0, kInf, -kInf, kNaN}, OperationRow{1, 2, 3, -1},
                    OperationRow{1, 0, 5, -5}, OperationRow{1, kNaN, 5, kNaN},
                    OperationRow{2, -2, 3, -6}, OperationRow{2, 3e38f, 2, kInf},
                    OperationRow{2, 1e-30f, 1e-30f, 0}, OperationRow{2, 0, kInf, kNaN},
                    OperationRow{3, 7, 2, 3.5f}, OperationRow{3, 1, kInf, 0},
                    OperationRow{3, 1, 1e-45f, kInf}, OperationRow{3, kNaN, 1, kNaN},
                    OperationRow{3, 1, kNaN, kNaN}, OperationRow{3, 1, 3, 1.0f / 3.0f},
                    OperationRow{4, 2, 10, 1024}, OperationRow{4, 2, 0.5f, 1.41421356f},
                    OperationRow{4, 2, -1, 0.5f}, OperationRow{4, 0, 0, 1},
                    OperationRow{4, 10, 39, kInf}, OperationRow{4, -8, 0.333f, kNaN},
                    OperationRow{4, -2, 3, -8}, OperationRow{4, 0, -1, kInf}));

// Values become unsigned 64-bit integers: the fraction is dropped, negative ones and not-a-number
// become 0, those beyond the range the largest integer. Results become single precision again.
INSTANTIATE_TEST_SUITE_P(
    BitOperations, ProcessOperandTest,
    testing::Values(
        OperationRow{5, 6, 3, 2}, OperationRow{5, 6.9f, 3.9f, 2}, OperationRow{5, -1, 7, 0},
        OperationRow{5, kInf, 5, 5}, OperationRow{5, kNaN, 5, 0}, OperationRow{5, 1e30f, 255, 255},
        OperationRow{5, -kInf, 255, 0}, OperationRow{5, kTwoTo64, 1, 1},
        OperationRow{5, kTwoTo63, kTwoTo63, kTwoTo63},
        OperationRow{5, 18446742974197923840.0f, 1099511627776.0f, 1099511627776.0f},
        OperationRow{6, 6, 3, 7}, OperationRow{6, -6, 3, 3}, OperationRow{6, kNaN, kNaN, 0},
        OperationRow{6, kInf, 0, kTwoTo64}, OperationRow{6, 16777216, 1, 16777216},
        OperationRow{6, 16777216, 3, 16777220}, OperationRow{6, 0.9f, -0.9f, 0},
        OperationRow{7, 0, 5, 1}, OperationRow{7, 0.9f, 5, 1}, OperationRow{7, 1, 0, 0},
        OperationRow{7, -3, 0, 1}, OperationRow{7, kNaN, 0, 1}, OperationRow{7, kInf, 0, 0},
        OperationRow{7, -0.0f, 0, 1}, OperationRow{7, 1e30f, 0, 0}));

INSTANTIATE_TEST_SUITE_P(
    Shifts, ProcessOperandTest,
    testing::Values(
        OperationRow{8, 5, 3, 40}, OperationRow{8, 1, 63, kTwoTo63}, OperationRow{8, 1, 64, 0},
        OperationRow{8, 1, 255, 0}, OperationRow{8, 1, 256, 1}, OperationRow{8, 1, 257, 2},
        OperationRow{8, 1, 319, kTwoTo63}, OperationRow{8, 1, 320, 0}, OperationRow{8, 1, -1, 1},
        OperationRow{8, 1, kNaN, 1}, OperationRow{8, 1, kInf, 0}, OperationRow{8, 1, 1e30f, 0},
        OperationRow{8, 1, 3.9f, 8}, OperationRow{8, 3, 63, kTwoTo63}, OperationRow{8, -5, 1, 0},
        OperationRow{8, kNaN, 1, 0}, OperationRow{8, 1.9f, 0, 1},
        OperationRow{8, kInf, 1, kTwoTo64}, OperationRow{8, 0, 300, 0}, OperationRow{9, 256, 4, 16},
        OperationRow{9, 7, 1, 3}, OperationRow{9, kInf, 63, 1}, OperationRow{9, kInf, 64, 0},
        OperationRow{9, kInf, 256, kTwoTo64}, OperationRow{9, kTwoTo63, 63, 1},
        OperationRow{9, -8, 1, 0}, OperationRow{9, 8, -1, 8}, OperationRow{9, 8, 128, 0},
        OperationRow{9, 8, kNaN, 8}, OperationRow{9, 8, 2.9f, 2}));

INSTANTIATE_TEST_SUITE_P(
    Comparisons, ProcessOperandTest,
    testing::Values(
        // ">" of unsigned integers
        OperationRow{10, 5, 3, 1}, OperationRow{10, 3, 5, 0}, OperationRow{10, 5, 5, 0},
        OperationRow{10, 5.9f, 5.1f, 0}, OperationRow{10, -1, -2, 0}, OperationRow{10, 0, -2, 0},
        OperationRow{10, 1, -2, 1}, OperationRow{10, kNaN, 0, 0}, OperationRow{10, 1, kNaN, 1},
        OperationRow{10, kInf, 1e30f, 0}, OperationRow{10, kInf, 1, 1},
        // "<", which means greater
        OperationRow{11, 5, 3, 1}, OperationRow{11, 3, 5, 0}, OperationRow{11, 5, 5, 0},
        OperationRow{11, 5.9f, 5.1f, 1}, OperationRow{11, -1, -2, 1}, OperationRow{11, -2, -1, 0},
        OperationRow{11, kNaN, 0, 0}, OperationRow{11, 0, kNaN, 0},
        OperationRow{11, kInf, 1e30f, 1}, OperationRow{12, 3, 3, 1},
        OperationRow{12, 2.5f, 2.6f, 0}, OperationRow{12, -1, -2, 1},
        OperationRow{12, kNaN, kNaN, 0}, OperationRow{12, 0.0f, -0.0f, 1},
        OperationRow{13, 3, 3, 1}, OperationRow{13, 2.5f, 2.6f, 1}, OperationRow{13, -1, -2, 0},
        OperationRow{13, kNaN, 0, 0}, OperationRow{14, 3, 3, 1}, OperationRow{14, 3, 4, 0},
        OperationRow{14, kNaN, kNaN, 0}, OperationRow{14, kInf, kInf, 1},
        OperationRow{14, 0.0f, -0.0f, 1}, OperationRow{15, 3, 3, 0}, OperationRow{15, 3, 4, 1},
        OperationRow{15, kNaN, kNaN, 1}, OperationRow{15, 0.0f, -0.0f, 0}));

INSTANTIATE_TEST_SUITE_P(Choices, ProcessOperandTest,
                         testing::Values(OperationRow{16, 2, 10, 10}, OperationRow{16, 10, 2, 10},
                                         OperationRow{16, -1, -2, -1}, OperationRow{16, kNaN, 1, 1},
                                         OperationRow{16, 1, kNaN, kNaN},
                                         OperationRow{16, kInf, 1, kInf},
                                         OperationRow{17, 2, 10, 2}, OperationRow{17, 10, 2, 2},
                                         OperationRow{17, -1, -2, -2}, OperationRow{17, kNaN, 1, 1},
                                         OperationRow{17, 1, kNaN, kNaN},
                                         OperationRow{17, -kInf, 1, -kInf}));

class ProcessOperandErrorTest : public testing::TestWithParam<OperationRow> {};

TEST_P(ProcessOperandErrorTest, SetsTheErrorAndGivesZero) {
  uint8_t error = 0;
  const auto &[id, a, b, result] = GetParam();
  EXPECT_EQ(processOperand(id, &error, a, b), 0.0f);
  EXPECT_EQ(error, 1);
}

INSTANTIATE_TEST_SUITE_P(Divisions, ProcessOperandErrorTest,
                         testing::Values(OperationRow{3, 1, 0, 0}, OperationRow{3, 1, -0.0f, 0},
                                         OperationRow{3, 0, 0, 0}, OperationRow{3, kNaN, 0, 0}));
INSTANTIATE_TEST_SUITE_P(NoOperations, ProcessOperandErrorTest,
                         testing::Values(OperationRow{18, 1, 1, 0}, OperationRow{19, 1, 1, 0},
                                         OperationRow{20, 1, 1, 0}, OperationRow{99, 1, 1, 0},
                                         OperationRow{UINT32_MAX, 1, 1, 0}));

TEST(ProcessOperand, AcceptsANullError) {
  EXPECT_EQ(processOperand(RPN_ADD, nullptr, 1, 2), 3.0f);
  EXPECT_EQ(processOperand(RPN_DIVIDE, nullptr, 1, 0), 0.0f);
}

}  // namespace
