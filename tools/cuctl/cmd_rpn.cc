// cuctl rpn eval EXPR [P1 P2 ...]: expressions, with what each token was taken for.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "include/rpn.h"
#include "include/stringutils.h"
#include "internal/cut_token.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

std::vector<std::string> Tokens(const std::string &expression) {
  std::vector<std::string> tokens;
  std::string copy = expression;
  char *save = nullptr;
  for (char *one = strtok_safe(copy.data(), " ", &save); one != nullptr;
       one = strtok_safe(nullptr, " ", &save))
    if (*one != '\0') tokens.emplace_back(one);
  return tokens;
}

bool Evaluate(const std::string &expression, std::vector<std::string> &parameters, double &result) {
  std::vector<char *> texts;
  for (std::string &parameter : parameters) texts.push_back(parameter.data());
  return doRPN(expression.c_str(), texts.data(), static_cast<uint32_t>(texts.size()), &result) != 0;
}

/// A token that was meant otherwise: "<" for "less", "-5" for a number. Empty when it is what it
/// says.
std::string Misread(const std::string &token) {
  uint32_t id = RPN_NO_OPERATOR;
  if (!isOperator(token.c_str(), &id)) return "";
  const std::string name = supportedList[id].name;
  if (name == token) return "";
  if (token.size() > 1 && (token[0] == '-' || token[0] == '+') && token[1] >= '0' &&
      token[1] <= '9')
    return fmt::format("\"{}\" is read as {}: there are no signed literals; write 0 {} -", token,
                       name, token.substr(1));
  return fmt::format("\"{}\" is read as {}", token, name);
}

/// Follows an expression token by token, as the evaluator does; operations are the library's own.
class Trace {
 public:
  Trace(const std::string &expression, std::vector<std::string> &parameters)
      : parameters_(parameters) {
    const char *cursor = expression.c_str();
    for (std::string_view token; go_on_ && cu::CutToken(cursor, ' ', token);) {
      Step step{std::string(token), "", stack_, {}};
      Take(step, cursor);
      step.after = stack_;
      steps_.push_back(std::move(step));
      if (steps_.size() == kMostSteps) break;
    }
  }

  void Print(const Options &options) const {
    for (const Step &step : steps_)
      fmt::print("{:>8}  read as {:<5} {} -> {}\n", Shown(step.token, options), step.taken,
                 Text(step.before), Text(step.after));
  }

  nlohmann::ordered_json Json() const {
    nlohmann::ordered_json steps = nlohmann::ordered_json::array();
    for (const Step &step : steps_)
      steps.push_back({{"token", step.token},
                       {"read_as", step.taken},
                       {"before", Text(step.before)},
                       {"after", Text(step.after)}});
    return steps;
  }

 private:
  static constexpr size_t kMostSteps = 1000;

  struct Step {
    std::string token, taken;
    std::vector<double> before, after;
  };

  void Stop(Step &step, const std::string &why) {
    step.taken += (step.taken.empty() ? "" : ": ") + why;
    go_on_ = false;
  }

  void Take(Step &step, const char *&cursor) {
    uint32_t id = RPN_NO_OPERATOR;
    if (!isOperator(step.token.c_str(), &id)) {
      double value = 0;
      if (!Evaluate(step.token, parameters_, value)) return Stop(step, "no value");
      step.taken = "value";
      stack_.push_back(value);
    } else if (id == RPN_IF) {
      if (stack_.empty()) return Stop(step, "if: too few values");
      const bool taken = stack_.back() != 0;
      step.taken = taken ? "if, taken" : "if, skipped to :";
      stack_.pop_back();
      std::string_view skipped;
      if (!taken) cu::CutToken(cursor, ':', skipped);
      in_conditional_ = true;
    } else if (id == RPN_ELSE) {
      step.taken = "end of the branch";
      go_on_ = false;
      if (!in_conditional_) Stop(step, "without a ?");
    } else {
      step.taken = supportedList[id].name;
      Apply(id, step);
    }
  }

  void Apply(uint32_t id, Step &step) {
    const bool unary = id == RPN_NOT;
    if (unary && stack_.empty()) return;  // it is left out
    if (stack_.size() < (unary ? 1U : 2U)) return Stop(step, "too few values");
    const double b = unary ? 0 : stack_.back();
    const double a = stack_[stack_.size() - (unary ? 1 : 2)];
    uint8_t error = 0;
    const float result = processOperand(id, &error, static_cast<float>(a), static_cast<float>(b));
    if (error != 0) return Stop(step, "no result");
    if (!unary) stack_.pop_back();
    stack_.back() = static_cast<double>(result);
  }

  /// The stack, of a deep one the top.
  static std::string Text(const std::vector<double> &stack) {
    constexpr size_t kMost = 16;
    std::string text = stack.size() > kMost ? "[... " : "[";
    for (size_t i = stack.size() > kMost ? stack.size() - kMost : 0; i < stack.size(); ++i)
      text += fmt::format("{}{:g}", text.back() == '[' || text.back() == ' ' ? "" : " ", stack[i]);
    return text + "]";
  }

  std::vector<std::string> &parameters_;
  std::vector<double> stack_;
  std::vector<Step> steps_;
  bool in_conditional_ = false, go_on_ = true;
};

int Eval(const std::string &expression, std::vector<std::string> parameters, bool trace,
         uint32_t type, const Options &options) {
  std::vector<std::string> warnings;
  for (const std::string &token : Tokens(expression))
    if (std::string warning = Misread(token); !warning.empty())
      warnings.push_back(std::move(warning));
  std::optional<Trace> steps;
  if (trace) steps.emplace(expression, parameters);
  if (steps && !options.json) steps->Print(options);
  double result = 0;
  const bool ok = Evaluate(expression, parameters, result);
  std::string text = fmt::format("{:.9g}", result);
  if (ok && type != 0) {
    RpnDataValue value{};
    char *out = nullptr;
    if (!convertRPNFloatToDataType(type, &value, result) ||
        !getRPMDataTypeAsString(&value, &out, 6))
      throw Failure{kSystem, fmt::format("{} does not convert to type {}", text, type)};
    text = out;
    free(out);
  }
  if (options.json) {
    nlohmann::ordered_json object = {
        {"expression", expression}, {"ok", ok}, {"warnings", warnings}};
    if (ok) object["value"] = text;
    if (steps) object["trace"] = steps->Json();
    PrintJson(object);
  } else {
    for (const std::string &warning : warnings) Caution(options, warning);
    if (ok)
      fmt::print("{}\n", text);
    else
      Complain(options, "the expression has no value");
  }
  return ok ? kYes : kNo;
}

}  // namespace

void AddRpnCommands(CLI::App &app, Options &options) {
  CLI::App *const rpn = app.add_subcommand("rpn", "Expressions in reverse Polish notation");
  rpn->require_subcommand(1);
  CLI::App *const eval = rpn->add_subcommand("eval", "Evaluate an expression");
  struct Arguments {
    std::string expression;
    std::vector<std::string> parameters;
    bool trace = false;
    uint32_t type = 0;
  };
  auto arguments = std::make_shared<Arguments>();
  eval->add_option("EXPR", arguments->expression, "The expression, in quotes")->required();
  eval->add_option("P", arguments->parameters, "The values of %1, %2, ...");
  eval->add_flag("--trace", arguments->trace, "What each token was taken for, and the stack");
  eval->add_option(
          "--type", arguments->type,
          "Convert the result: 1 to 4 unsigned 8 to 64 bits, 5 to 8 signed, 9 float, 10 double")
      ->check(CLI::Range(1, 10));
  eval->callback([=, &options] {
    options.exit_code = Eval(arguments->expression, arguments->parameters, arguments->trace,
                             arguments->type, options);
  });
}

}  // namespace cuctl
