// cuctl rpn eval EXPR [P1 P2 ...]: expressions, with what each token was taken for.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>

#include "include/rpn.h"
#include "include/stringutils.h"
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

/// Follows an expression token by token; operations are the library's own.
class Trace {
 public:
  void Step(const std::string &token, std::vector<std::string> &parameters) {
    uint32_t id = RPN_NO_OPERATOR;
    std::string taken;
    const std::string before = Stack();
    if (!isOperator(token.c_str(), &id)) {
      double value = 0;
      if (!Evaluate(token, parameters, value)) {
        fmt::print("{:>8}  no value\n", token);
        return;
      }
      stack_.push_back(value);
      taken = "value";
    } else if (id == RPN_IF || id == RPN_ELSE) {
      taken = id == RPN_IF ? "if the top is not 0" : "end of the branch";
      if (id == RPN_IF && !stack_.empty()) stack_.pop_back();
    } else {
      taken = supportedList[id].name;
      const bool unary = id == RPN_NOT;
      if (stack_.size() < (unary ? 1U : 2U)) {
        fmt::print("{:>8}  read as {:<5} {}: too few values\n", token, taken, before);
        return;
      }
      const double b = unary ? 0 : stack_.back();
      if (!unary) stack_.pop_back();
      uint8_t error = 0;
      stack_.back() = static_cast<double>(
          processOperand(id, &error, static_cast<float>(stack_.back()), static_cast<float>(b)));
      if (error != 0) taken += ", error";
    }
    fmt::print("{:>8}  read as {:<5} {} -> {}\n", token, taken, before, Stack());
  }

 private:
  std::string Stack() const {
    std::string text = "[";
    for (size_t i = 0; i < stack_.size(); ++i)
      text += fmt::format("{}{:g}", i == 0 ? "" : " ", stack_[i]);
    return text + "]";
  }
  std::vector<double> stack_;
};

int Eval(const std::string &expression, std::vector<std::string> parameters, bool trace,
         uint32_t type, const Options &options) {
  std::vector<std::string> warnings;
  const std::vector<std::string> tokens = Tokens(expression);
  for (const std::string &token : tokens)
    if (std::string warning = Misread(token); !warning.empty())
      warnings.push_back(std::move(warning));
  if (trace && !options.json) {
    // A conditional decides which tokens count: only expressions without one are traced whole.
    Trace steps;
    for (const std::string &token : tokens) steps.Step(token, parameters);
  }
  double result = 0;
  const bool ok = Evaluate(expression, parameters, result);
  std::string text = fmt::format("{:.9g}", result);
  if (ok && type != 0) {
    RpnDataValue value{};
    char *out = nullptr;
    if (!convertRPNFloatToDataType(type, &value, result) ||
        !getRPMDataTypeAsString(&value, &out, 6))
      throw Failure{kUsage, fmt::format("{} is not a type from 1 to 10", type)};
    text = out;
    free(out);
  }
  if (options.json) {
    nlohmann::ordered_json object = {
        {"expression", expression}, {"ok", ok}, {"warnings", warnings}};
    if (ok) object["value"] = text;
    PrintJson(object);
  } else {
    for (const std::string &warning : warnings)
      fmt::print(stderr, "{}: {}\n", In(Colour::kYellow, "warning"), warning);
    if (ok)
      fmt::print("{}\n", text);
    else
      fmt::print(stderr, "cuctl: the expression has no value\n");
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
      "Convert the result: 1 to 4 unsigned 8 to 64 bits, 5 to 8 signed, 9 float, 10 double");
  eval->callback([=, &options] {
    options.exit_code = Eval(arguments->expression, arguments->parameters, arguments->trace,
                             arguments->type, options);
  });
}

}  // namespace cuctl
