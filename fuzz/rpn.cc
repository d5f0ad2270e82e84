// Any text as an expression, in both evaluators, which agree with their models.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <cmath>
#include <string>

#include "include/rpn.h"
#include "tests/expr/rpn_model.hpp"

namespace {

const std::vector<std::string> &Parameters() {
  static const std::vector<std::string> parameters = {"1.5", "0x10", "-3"};
  return parameters;
}

int GetParameter(uint32_t index, void *, double *out) {
  if (index >= Parameters().size()) return 0;
  *out = cu_test::TextToNumber(Parameters()[index].c_str());
  return 1;
}

uint32_t GetParameterCount(void *) {
  return static_cast<uint32_t>(Parameters().size());
}

void ExpectModel(int done, double result, const std::optional<double> &expected) {
  if (done != (expected ? 1 : 0)) abort();
  if (expected && result != *expected && !(std::isnan(result) && std::isnan(*expected))) abort();
}

/// The exported operators: what a token is, and what it makes of two of the text's own numbers.
void Operators(const std::string &text) {
  TokenList tokens = {};
  if (!tokenizeString(text.c_str(), " ", &tokens)) return;
  float a = 0, b = 0;
  for (int i = 0; i < tokens.count; ++i) {
    uint32_t id = 0;
    const int known = isOperator(tokens.tokens[i], &id);
    if (known ? id >= RPN_OPERATOR_COUNT : id != RPN_NO_OPERATOR) abort();
    uint8_t error = 2;
    const float result = processOperand(id, &error, a, b);
    if (error > 1 || (error == 1 && result != 0)) abort();
    // Any id, too: some operators are the beginning of others, which no token gives.
    processOperand(static_cast<uint32_t>(i) % (RPN_OPERATOR_COUNT + 2), nullptr, b, a);
    a = b;
    b = known ? result : strtof(tokens.tokens[i], nullptr);
  }
  FreeTokens(&tokens);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  std::vector<std::string> copies = Parameters();
  char *parameters[] = {copies[0].data(), copies[1].data(), copies[2].data()};
  double from_text = 0, extended = 0;
  const int text_ok = doRPN(text.c_str(), parameters, 3, &from_text);
  ExpectModel(text_ok, from_text, cu_test::ModelRpn(text.c_str(), Parameters()));

  RpnExtendedContext context = {};
  context.expression = text.c_str();
  context.getParameter = GetParameter;
  context.getParameterCount = GetParameterCount;
  context.keepTokens = static_cast<uint8_t>(size & 1);
  const int extended_ok = doRPNExtended(&context, &extended);
  double again = 0;
  if (extended_ok != doRPNExtended(&context, &again)) abort();
  if (extended_ok && memcmp(&extended, &again, sizeof again) != 0 && !std::isnan(again)) abort();
  FreeTokens(&context.tokens);

  ExpectModel(extended_ok, extended, cu_test::ModelExtended(text.c_str(), Parameters()));

  Operators(text);
  RpnDataValue as_text = {static_cast<uint32_t>(size), RPN_TYPE_TEXT, {.uint64 = 0}};
  std::string bytes = text;
  as_text.value.text = bytes.data();
  char *copy = nullptr;
  if (getRPMDataTypeAsString(&as_text, &copy, 0)) free(copy);

  if (text_ok) {
    for (uint32_t type = 0; type <= 11; ++type) {
      RpnDataValue value = {};
      char *out = nullptr;
      if (!convertRPNFloatToDataType(type, &value, from_text)) value.dataType = type;
      if (type != RPN_TYPE_TEXT &&
          getRPMDataTypeAsString(&value, &out, static_cast<uint32_t>(size)))
        free(out);
    }
  }
  return 0;
}
