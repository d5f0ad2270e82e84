#include "include/rpn.h"

#include <string_view>

#include "expr/rpn_cells.hpp"
#include "expr/rpn_numbers.hpp"
#include "expr/rpn_operators.hpp"
#include "internal/cut_token.hpp"

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(RpnExtendedContext) == 28 && offsetof(RpnExtendedContext, keepTokens) == 12);
static_assert(offsetof(RpnExtendedContext, tokens) == 16);
static_assert(offsetof(RpnExtendedContext, userData) == 24);
#endif

namespace cu {
namespace {

struct Parameters {
  char **texts;
  uint32_t count;
};

/// A parameter's text as a number.
bool ReadParameter(const Parameters &parameters, std::string_view token, double &value) {
  uint32_t number;
  token.remove_prefix(1);
  if (!IndexOfToken(token, number)) return false;
  if (number == 0 || number > parameters.count || parameters.texts == nullptr) return false;
  const char *const text = parameters.texts[number - 1];
  if (text == nullptr) return false;
  const char *const end = ReadPlainNumber(text, value);
  if (end == nullptr || *end != '\0') value = NumberOfText(text);
  return true;
}

bool PushOperand(CellStack &cells, const Parameters &parameters, std::string_view token) {
  double value;
  const bool is_parameter = !token.empty() && token[0] == '%';
  const bool read =
      is_parameter ? ReadParameter(parameters, token, value) : NumberOfToken(token, value);
  return read && cells.Push(value);
}

bool Evaluate(const char *expression, const Parameters &parameters, double &result) {
  CellStack cells;
  bool in_conditional = false;
  const char *cursor = expression;
  for (std::string_view token; CutToken(cursor, ' ', token);) {
    const uint32_t id = FindOperator(token.data(), ' ');
    if (id == RPN_NO_OPERATOR) {
      if (!PushOperand(cells, parameters, token)) return false;
    } else if (id == RPN_IF) {
      if (cells.empty()) return false;
      if (cells.Pop() == 0) CutToken(cursor, ':', token);
      in_conditional = true;
    } else if (id == RPN_ELSE) {
      if (!in_conditional) return false;
      break;  // the first branch was taken and is complete
    } else if (!cells.Apply(id)) {
      return false;
    }
  }
  if (cells.empty()) return false;
  result = cells.Pop();
  return true;
}

/// Has the expression split into tokens unless the context still holds them.
bool PrepareTokens(RpnExtendedContext &context) {
  TokenList &tokens = context.tokens;
  if (tokens.count != 0 && tokens.tokens != nullptr) return true;
  if (context.expression == nullptr) return false;
  FreeTokens(&tokens);
  tokens.count = 0;  // which a released list has kept
  return tokenizeString(context.expression, " ", &tokens) != 0;
}

bool PushOperand(CellStack &cells, const RpnExtendedContext &context, uint32_t parameter_count,
                 const char *token) {
  double value = 0;
  if (*token == '%') {
    uint32_t number;
    const char *const end = ReadPlainIndex(token + 1, number);
    if (end == nullptr || *end != '\0') number = IndexOfText(token + 1);
    // Number 0 is passed on: its index wraps.
    if (number > parameter_count) return false;
    if (context.getParameter(number - 1, context.userData, &value) == 0) return false;
  } else {
    const char *const end = ReadPlainNumber(token, value);
    if (end == nullptr || *end != '\0') value = NumberOfText(token);
  }
  return cells.Push(value);
}

bool Evaluate(RpnExtendedContext &context, double &result) {
  if (!PrepareTokens(context)) return false;
  const uint32_t parameter_count = context.getParameterCount(context.userData);
  CellStack cells;
  for (uint32_t i = 0; i < context.tokens.count; ++i) {
    const char *const token = context.tokens.tokens[i];
    if (token == nullptr) return false;
    const uint32_t id = FindOperator(token, '\0');
    const bool done = id == RPN_NO_OPERATOR ? PushOperand(cells, context, parameter_count, token)
                                            : cells.Apply(id);
    if (!done) return false;
  }
  if (cells.empty()) return false;
  result = cells.Pop();
  return true;
}

}  // namespace
}  // namespace cu

int doRPN(const char *expression, char **parameters, uint32_t parameterCount, double *result) {
  if (expression == nullptr || result == nullptr) return 0;
  return cu::Evaluate(expression, {parameters, parameterCount}, *result) ? 1 : 0;
}

int doRPNExtended(RpnExtendedContext *context, double *result) {
  if (context == nullptr || result == nullptr) return 0;
  if (context->getParameter == nullptr || context->getParameterCount == nullptr) return 0;
  const bool done = cu::Evaluate(*context, *result);
  if (context->keepTokens == 0) FreeTokens(&context->tokens);
  return done ? 1 : 0;
}
