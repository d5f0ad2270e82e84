#include "include/configparams.h"

#include "include/valueformat.h"
#include "internal/owned.hpp"

namespace {

constexpr uint8_t kFloatDecimals = 6;

}  // namespace

// No setter frees the old value: others may hold its pointer.

int setAEParameterValue(rfAECommonConfigConfigParam *param, const void *bytes, uint32_t length) {
  if (param == nullptr || bytes == nullptr) return 0;
  cu::Owned<char> value = cu::CopyString(static_cast<const char *>(bytes), length);
  if (!value) return 0;
  param->parameterValue = value.release();
  return 1;
}

int setAEIntegerParameterValue(rfAECommonConfigConfigParam *param, int64_t value) {
  if (param == nullptr) return 0;
  char **const out = &param->parameterValue;
  switch (param->type) {
    case CONFIG_TYPE_UNSIGNED_INTEGER:
      return getUnsignedIntegerAsString(static_cast<uint32_t>(value), out) != nullptr;
    case CONFIG_TYPE_INTEGER:
      return getIntegerAsString(static_cast<int32_t>(value), out) != nullptr;
    case CONFIG_TYPE_LONG:
    case CONFIG_TYPE_UINT8:  // printed as a long too, so values beyond 8 bits stay whole
      return getLongAsString(static_cast<int32_t>(value), out) != nullptr;
    case CONFIG_TYPE_BOOLEAN:
      return getBooleanAsString(value != 0, out) != nullptr;
    case CONFIG_TYPE_UINT16:
      return getUnsignedShortAsString(static_cast<uint16_t>(value), out) != nullptr;
    case CONFIG_TYPE_UINT64:
      return getUnsignedLongAsString(static_cast<uint64_t>(value), out) != nullptr;
    default:
      return 0;
  }
}

int setAEFloatParameterValue(rfAECommonConfigConfigParam *param, float value) {
  if (param == nullptr || param->type != CONFIG_TYPE_FLOAT) return 0;
  return getFloatAsString(kFloatDecimals, &param->parameterValue, value) != nullptr;
}
