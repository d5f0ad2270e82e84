#include "include/rpn.h"

#include "include/valueformat.h"
#include "internal/owned.hpp"
#include "internal/saturate.hpp"

static_assert(sizeof(RpnDataValue) == 16 && offsetof(RpnDataValue, value) == 8);

namespace {

/// Decimals beyond these are not printed anyway.
constexpr uint32_t kMostDecimals = 9;

char *Format(const RpnDataValue &value, uint8_t precision, char **out) {
  switch (value.dataType) {
    case RPN_TYPE_UINT8:
      return getUnsignedInteger8AsString(value.value.uint8, out);
    case RPN_TYPE_UINT16:
      return getUnsignedShortAsString(value.value.uint16, out);
    case RPN_TYPE_UINT32:
      return getUnsignedIntegerAsString(value.value.uint32, out);
    case RPN_TYPE_UINT64:
      return getUnsignedLongAsString(value.value.uint64, out);
    case RPN_TYPE_INT8:
      return getInteger8AsString(value.value.int8, out);
    case RPN_TYPE_INT16:
      return getShortAsString(value.value.int16, out);
    case RPN_TYPE_INT32:
      return getIntegerAsString(value.value.int32, out);
    case RPN_TYPE_INT64:  // the low 32 bits alone: the formatter takes no more
      return getLongAsString(static_cast<int32_t>(value.value.int64), out);
    case RPN_TYPE_FLOAT:
      return getFloatAsString(precision, out, value.value.single);
    case RPN_TYPE_DOUBLE:
      return getDoubleAsString(precision, out, value.value.number);
    default:
      return nullptr;
  }
}

char *CopyText(const RpnDataValue &value, char **out) {
  if (value.length == 0 || value.value.text == nullptr) return nullptr;
  *out = cu::CopyString(value.value.text, value.length).release();
  return *out;
}

}  // namespace

int convertRPNFloatToDataType(uint32_t dataType, RpnDataValue *out, double value) {
  if (out == nullptr) return 0;
  RpnDataValue converted = {0, dataType, {.uint64 = 0}};
  switch (dataType) {
    case RPN_TYPE_UINT8:
      converted.length = 1;
      converted.value.uint8 = static_cast<uint8_t>(cu::SaturateTo<uint32_t>(value));
      break;
    case RPN_TYPE_UINT16:
      converted.length = 1;  // not 2: readers of these records go by the type
      converted.value.uint16 = static_cast<uint16_t>(cu::SaturateTo<uint32_t>(value));
      break;
    case RPN_TYPE_UINT32:
      converted.length = 4;
      converted.value.uint32 = cu::SaturateTo<uint32_t>(value);
      break;
    case RPN_TYPE_UINT64:
      converted.length = 8;
      converted.value.uint64 = cu::SaturateTo<uint64_t>(value);
      break;
    case RPN_TYPE_INT8:
      converted.length = 1;
      converted.value.int8 = static_cast<int8_t>(cu::SaturateTo<int32_t>(value));
      break;
    case RPN_TYPE_INT16:
      converted.length = 2;
      converted.value.int16 = static_cast<int16_t>(cu::SaturateTo<int32_t>(value));
      break;
    case RPN_TYPE_INT32:
      converted.length = 4;
      converted.value.int32 = cu::SaturateTo<int32_t>(value);
      break;
    case RPN_TYPE_INT64:
      converted.length = 8;
      converted.value.int64 = cu::SaturateTo<int64_t>(value);
      break;
    case RPN_TYPE_FLOAT:
      converted.length = 4;
      converted.value.single = static_cast<float>(value);
      break;
    case RPN_TYPE_DOUBLE:
      converted.length = 8;
      converted.value.number = value;
      break;
    default:
      return 0;
  }
  *out = converted;
  return 1;
}

int getRPMDataTypeAsString(const RpnDataValue *value, char **out, uint32_t precision) {
  if (value == nullptr || out == nullptr) return 0;
  const uint8_t decimals =
      static_cast<uint8_t>(precision < kMostDecimals ? precision : kMostDecimals);
  const char *const text =
      value->dataType == RPN_TYPE_TEXT ? CopyText(*value, out) : Format(*value, decimals, out);
  return text == nullptr ? 0 : 1;
}
