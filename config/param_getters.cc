#include "include/configparams.h"

#include <stdlib.h>
#include <strings.h>

#include <optional>

#include "internal/long32.hpp"
#include "text/number_base.hpp"

namespace {

/// The value of a text of one to nine decimal digits and nothing else, which every conversion reads
/// alike. Most values are such texts, and this takes a third of the time of strtol().
std::optional<uint32_t> ShortDecimal(const char *text) {
  constexpr int kMostDigits = 9;
  uint32_t value = 0;
  for (int i = 0; i <= kMostDigits; ++i) {
    const unsigned digit = static_cast<unsigned char>(text[i]) - unsigned{'0'};
    if (digit > 9) return i != 0 && text[i] == '\0' ? std::optional(value) : std::nullopt;
    value = value * 10 + digit;
  }
  return std::nullopt;
}

int32_t ToSigned32(const char *text) {
  if (const auto value = ShortDecimal(text)) return static_cast<int32_t>(*value);
  return cu::StrToL32(text, nullptr, cu::NumberBaseOf(text));
}

uint32_t ToUnsigned32(const char *text) {
  if (const auto value = ShortDecimal(text)) return *value;
  return cu::StrToUL32(text, nullptr, cu::NumberBaseOf(text));
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
  return Get(param, CONFIG_TYPE_INTEGER, out, ToSigned32);
}

int getAEParameterAsUnsignedInteger64(const rfAECommonConfigConfigParam *param, uint64_t *out) {
  return Get(param, CONFIG_TYPE_UINT64, out, [](const char *text) {
    return uint64_t{strtoull(text, nullptr, cu::NumberBaseOf(text))};
  });
}

int getAEParameterAsInteger64(const rfAECommonConfigConfigParam *param, int64_t *out) {
  return Get(param, CONFIG_TYPE_LONG, out, [](const char *text) {
    return int64_t{strtoll(text, nullptr, cu::NumberBaseOf(text))};
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
  return cu::NumberBaseOf(text);
}
