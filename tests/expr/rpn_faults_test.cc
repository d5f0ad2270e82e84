#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>

#include "include/rpn.h"
#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;

constexpr double kUntouched = -12345.5;

/// An expression that needs memory for its depth and for its long tokens.
std::string HeavyExpression() {
  std::string expression = "%" + std::string(70, '0') + "1 " + std::string(80, '0') + "1";
  for (int i = 0; i < 100; ++i) expression += " 1";
  for (int i = 0; i < 101; ++i) expression += " +";
  return expression;
}

TEST(DoRpn, FailsWithNothingLeakedAtEachFailedAllocation) {
  const std::string expression = HeavyExpression();
  char five[] = "5";
  char *parameters[] = {five};
  long k = 1;
  for (;; ++k) {
    double result = kUntouched;
    const Fault fault(Call::kMemory, k);
    const int done = doRPN(expression.c_str(), parameters, 1, &result);
    if (!fault.fired()) {
      EXPECT_EQ(done, 1);
      EXPECT_EQ(result, 106);
      break;
    }
    EXPECT_EQ(done, 0);
    EXPECT_EQ(result, kUntouched);
  }
  EXPECT_GT(k, 3);
}

TEST(DoRpn, AllocatesNothingForAnOrdinaryExpression) {
  char five[] = "5.25";
  char *parameters[] = {five};
  const Fault fault(Call::kMemory, 1);
  double result;
  EXPECT_EQ(doRPN("%1 2.5 * 0x10 + ! 3 - 0 ? 1 : 2", parameters, 1, &result), 1);
  EXPECT_EQ(fault.calls(), 0);
}

TEST(DoRpnExtended, FailsWithNothingLeakedAtEachFailedAllocation) {
  std::string expression = "%1";
  for (int i = 0; i < 100; ++i) expression += " 1";
  for (int i = 0; i < 100; ++i) expression += " +";
  for (const uint8_t keep : {0, 1}) {
    for (long k = 1;; ++k) {
      RpnExtendedContext context = {};
      context.expression = expression.c_str();
      context.keepTokens = keep;
      context.getParameterCount = [](void *) -> uint32_t { return 1; };
      context.getParameter = [](uint32_t, void *, double *out) {
        *out = 5;
        return 1;
      };
      double result = kUntouched;
      bool fired;
      int done;
      {
        const Fault fault(Call::kMemory, k);
        done = doRPNExtended(&context, &result);
        fired = fault.fired();
      }
      EXPECT_EQ(done, fired ? 0 : 1);
      EXPECT_EQ(result, fired ? kUntouched : 105);
      FreeTokens(&context.tokens);
      if (!fired) break;
    }
  }
}

TEST(GetRpmDataType, GivesZeroWithoutMemory) {
  char text[] = "abc";
  for (const RpnDataValue &value : {RpnDataValue{4, RPN_TYPE_INT32, {.int32 = 5}},
                                    RpnDataValue{4, RPN_TYPE_FLOAT, {.single = 5}},
                                    RpnDataValue{3, RPN_TYPE_TEXT, {.text = text}}}) {
    char *out = text;
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(getRPMDataTypeAsString(&value, &out, 2), 0);
    EXPECT_EQ(out, nullptr);
  }
}

}  // namespace
