#include "include/rpn.h"

#include <string.h>

#include <algorithm>

#include "expr/rpn_operators.hpp"

static_assert(sizeof(RpnOperator) == 16);

const RpnOperator supportedList[RPN_OPERATOR_COUNT] = {
    {RPN_ADD, "+"},
    {RPN_SUBTRACT, "-"},
    {RPN_MULTIPLY, "*"},
    {RPN_DIVIDE, "/"},
    {RPN_POWER, "^"},
    {RPN_AND, "&"},
    {RPN_OR, "|"},
    {RPN_NOT, "!"},
    {RPN_SHIFT_LEFT, "<<"},
    {RPN_SHIFT_RIGHT, ">>"},
    {RPN_GREATER, ">"},
    {RPN_LESS, "<"},
    {RPN_GREATER_EQUAL, ">="},
    {RPN_LESS_EQUAL, "<="},
    {RPN_EQUAL, "=="},
    {RPN_NOT_EQUAL, "!="},
    {RPN_MAX, "max"},
    {RPN_MIN, "min"},
    {RPN_IF, "?"},
    {RPN_ELSE, ":"},
};

int isOperator(const char *token, uint32_t *id) {
  if (id == nullptr) return 0;
  *id = RPN_NO_OPERATOR;
  if (token == nullptr || *token == '\0') return 0;
  const size_t length = strlen(token);
  for (const RpnOperator &candidate : supportedList) {
    if (memcmp(token, candidate.name, std::min(length, strlen(candidate.name))) != 0) continue;
    *id = candidate.id;
    return 1;
  }
  return 0;
}

float processOperand(uint32_t id, uint8_t *error, float a, float b) {
  float result = 0;
  const bool done = cu::Operate(id, a, b, result);
  if (error != nullptr) *error = done ? 0 : 1;
  return done ? result : 0;
}
