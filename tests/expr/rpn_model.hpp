// Models of both evaluators, which go through the public functions step by step: strtok_safe(),
// isOperator(), processOperand(). An expression without a result has none here.
#ifndef COMMONUTILITIES_TESTS_EXPR_RPN_MODEL_HPP
#define COMMONUTILITIES_TESTS_EXPR_RPN_MODEL_HPP

#include <stdint.h>
#include <stdlib.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "include/rpn.h"
#include "include/stringutils.h"
#include "include/valueformat.h"

namespace cu_test {

/// The operators that are not computed from two numbers.
constexpr uint32_t kNot = 7, kCondition = 18, kOtherwise = 19;

/// As strtol() where `long` has 32 bits.
inline int32_t Strtol32(const char *text, int base) {
  return static_cast<int32_t>(
      std::clamp<long long>(strtoll(text, nullptr, base), INT32_MIN, INT32_MAX));
}

inline double TextToNumber(const char *text) {
  if (AmbrelGetParameterBaseOfString(text) != 16) return atof(text);
  return static_cast<float>(Strtol32(text, 16));
}

/// The steps that both evaluators share.
class ModelStack {
 public:
  std::optional<double> Pop() {
    if (cells_.empty()) return std::nullopt;
    const double cell = cells_.back();
    cells_.pop_back();
    return cell;
  }
  void Push(double cell) { cells_.push_back(cell); }

  bool Operate(uint32_t id) {
    uint8_t error = 0;
    if (id == kNot) {
      const auto cell = Pop();
      if (cell) Push(processOperand(id, &error, static_cast<float>(*cell), 0));
      return true;
    }
    const auto b = Pop();
    const auto a = Pop();
    if (!a || !b) return false;
    Push(processOperand(id, &error, static_cast<float>(*a), static_cast<float>(*b)));
    return error == 0;
  }

 private:
  std::vector<double> cells_;
};

inline std::optional<double> ModelRpn(std::string expression,
                                      const std::vector<std::string> &parameters) {
  ModelStack stack;
  bool open = false;
  char *save = nullptr;
  for (char *token = strtok_safe(expression.data(), " ", &save); token != nullptr;
       token = strtok_safe(nullptr, " ", &save)) {
    uint32_t id;
    if (!isOperator(token, &id)) {
      const char *text = token;
      if (*token == '%') {
        const int32_t number = Strtol32(token + 1, 10);
        if (number < 1 || number > static_cast<int32_t>(parameters.size())) return std::nullopt;
        text = parameters[static_cast<size_t>(number) - 1].c_str();
      }
      stack.Push(TextToNumber(text));
    } else if (id == kCondition) {
      const auto condition = stack.Pop();
      if (!condition) return std::nullopt;
      if (*condition == 0) strtok_safe(nullptr, ":", &save);
      open = true;
    } else if (id == kOtherwise) {
      if (open) break;
      return std::nullopt;
    } else if (!stack.Operate(id)) {
      return std::nullopt;
    }
  }
  return stack.Pop();
}

inline std::optional<double> ModelExtended(const std::string &expression,
                                           const std::vector<std::string> &parameters) {
  ModelStack stack;
  TokenList tokens = {};
  if (!tokenizeString(expression.c_str(), " ", &tokens)) return std::nullopt;
  bool done = true;
  for (int i = 0; done && i < tokens.count; ++i) {
    const char *const token = tokens.tokens[i];
    uint32_t id;
    if (isOperator(token, &id)) {
      done = stack.Operate(id);
    } else if (*token == '%') {
      const int32_t number = Strtol32(token + 1, 10);
      done = number >= 1 && number <= static_cast<int32_t>(parameters.size());
      if (done) stack.Push(TextToNumber(parameters[static_cast<size_t>(number) - 1].c_str()));
    } else {
      stack.Push(TextToNumber(token));
    }
  }
  FreeTokens(&tokens);
  return done ? stack.Pop() : std::nullopt;
}

}  // namespace cu_test

#endif
