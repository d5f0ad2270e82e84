// Any text as an expression, in both evaluators: where neither a conditional nor a parameter is
// involved, they agree.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <cmath>
#include <string>

#include "include/rpn.h"

namespace {

int GetParameter(uint32_t index, void *, double *out) {
  if (index >= 3) return 0;
  *out = index + 0.5;
  return 1;
}

uint32_t GetParameterCount(void *) {
  return 3;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  char first[] = "1.5", second[] = "0x10", third[] = "-3";
  char *parameters[] = {first, second, third};
  double from_text = 0, extended = 0;
  const int text_ok = doRPN(text.c_str(), parameters, 3, &from_text);

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

  const bool comparable = strpbrk(text.c_str(), "%?:") == nullptr;
  if (comparable && text_ok && extended_ok && from_text != extended &&
      !(std::isnan(from_text) && std::isnan(extended)))
    abort();

  if (text_ok) {
    for (uint32_t type = 0; type <= 11; ++type) {
      RpnDataValue value = {};
      char *out = nullptr;
      if (convertRPNFloatToDataType(type, &value, from_text) &&
          getRPMDataTypeAsString(&value, &out, static_cast<uint32_t>(size)))
        free(out);
    }
  }
  return 0;
}
