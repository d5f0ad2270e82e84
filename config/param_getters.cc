#include "include/configparams.h"

#include <stdlib.h>
#include <strings.h>

#include "include/valueformat.h"
#include "internal/long32.hpp"

namespace {

uint32_t ToUnsigned32(const char *text) {
  return cu::StrToUL32(text, nullptr, getParameterBase(text));
}

/// Stores the converted value of a parameter that has the one type accepted; 0 for no value.
template <typename Value, typename Convert>
int Get(const rfAECommonConfigConfigParam *param, ConfigDataType accepted, Value *out,
        Convert convert) {
  if (param == nullptr || out == nullptr || param->type != accepted) return 0;
  *out = param->parameterValue == nullptr ? Value{} : convert(param->parameterValue);
  return 1;
}

/// The same with two types accepted, and with no value tested before the type.
template <typename Value>
int GetLowBits(const rfAECommonConfigConfigParam *param, ConfigDataType accepted, Value *out) {
  if (param == nullptr || out == nullptr) return 0;
  const char *const text = param->parameterValue;
  if (text != nullptr && param->type != accepted && param->type != CONFIG_TYPE_UNSIGNED_INTEGER) {
    return 0;
  }
  *out = text == nullptr ? Value{} : static_cast<Value>(ToUnsigned32(text));
  return 1;
}

}  // namespace

int getAEParameterAsUnsignedInteger(const rfAECommonConfigConfigParam *param, uint32_t *out) {
  return Get(param, CONFIG_TYPE_UNSIGNED_INTEGER, out, ToUnsigned32);
}

int getAEParameterAsInteger(const rfAECommonConfigConfigParam *param, int32_t *out) {
  return Get(param, CONFIG_TYPE_INTEGER, out,
             [](const char *text) { return cu::StrToL32(text, nullptr, getParameterBase(text)); });
}

int getAEParameterAsUnsignedInteger64(const rfAECommonConfigConfigParam *param, uint64_t *out) {
  return Get(param, CONFIG_TYPE_UINT64, out, [](const char *text) {
    return uint64_t{strtoull(text, nullptr, getParameterBase(text))};
  });
}

int getAEParameterAsInteger64(const rfAECommonConfigConfigParam *param, int64_t *out) {
  return Get(param, CONFIG_TYPE_LONG, out, [](const char *text) {
    return int64_t{strtoll(text, nullptr, getParameterBase(text))};
  });
}

int getAEParameterAsUnsignedInteger16(const rfAECommonConfigConfigParam *param, uint16_t *out) {
  return GetLowBits(param, CONFIG_TYPE_UINT16, out);
}

int getAEParameterAsUnsignedInteger8(const rfAECommonConfigConfigParam *param, uint8_t *out) {
  return GetLowBits(param, CONFIG_TYPE_UINT8, out);
}

int getAEParameterAsFloat(const rfAECommonConfigConfigParam *param, float *out) {
  return Get(param, CONFIG_TYPE_FLOAT, out, [](const char *text) { return strtof(text, nullptr); });
}

int getAEParameterAsBoolean(const rfAECommonConfigConfigParam *param, uint8_t *out) {
  // "false" in front decides: "falsely" is false, and "no" is true.
  return Get(param, CONFIG_TYPE_BOOLEAN, out, [](const char *text) {
    return static_cast<uint8_t>(strncasecmp(text, "false", 5) != 0);
  });
}

int getParameterBase(const char *text) {
  return AmbrelGetParameterBaseOfString(text);
}
