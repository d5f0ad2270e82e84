#include "include/jsonnode.h"

#include <string.h>

#include <type_traits>

#include "include/valueformat.h"
#include "internal/owned.hpp"
#include "internal/saturate.hpp"

static_assert(sizeof(JsonTypedValue) == 16 && offsetof(JsonTypedValue, value) == 8);

namespace {

struct TypeName {
  char name[64];
  uint32_t type;
};

constexpr TypeName kTypeNames[] = {
    {"uint8", JSON_TYPE_UINT8},   {"uint16", JSON_TYPE_UINT16},
    {"uint32", JSON_TYPE_UINT32}, {"unsigned integer", JSON_TYPE_UINT32},
    {"uint64", JSON_TYPE_UINT64}, {"int32", JSON_TYPE_INT32},
    {"integer", JSON_TYPE_INT32}, {"int64", JSON_TYPE_INT64},
    {"float", JSON_TYPE_FLOAT},   {"double", JSON_TYPE_DOUBLE},
    {"string", JSON_TYPE_STRING}, {"hex", JSON_TYPE_HEX},
};

/// Bytes of each numeric type, from JSON_TYPE_UINT8 on.
constexpr uint8_t kTypeSizes[] = {1, 2, 4, 8, 1, 2, 4, 8, 4, 8};

/// Decimals that floating-point values print with.
constexpr uint8_t kDecimals = 9;

bool IsNumber(uint32_t type) {
  return type >= JSON_TYPE_UINT8 && type <= JSON_TYPE_DOUBLE;
}

bool IsBytes(uint32_t type) {
  return type == JSON_TYPE_STRING || type == JSON_TYPE_HEX;
}

/// A new block of a value's bytes and a terminator; null for bytes that are not there.
cu::Owned<char> CopyBytes(const JsonTypedValue &value) {
  const auto *const bytes = reinterpret_cast<const char *>(value.value.bytes);
  if (bytes == nullptr && value.length != 0) return nullptr;
  return cu::CopyString(bytes, value.length);
}

uint8_t *Release(cu::Owned<char> bytes) {
  return reinterpret_cast<uint8_t *>(bytes.release());
}

template <typename Target, typename Source>
Target Cast(Source source) {
  if constexpr (std::is_floating_point_v<Source> && std::is_integral_v<Target>) {
    // Numbers narrower than 32 bits are the low bits of one of 32.
    using Wide =
        std::conditional_t<sizeof(Target) == 8, Target,
                           std::conditional_t<std::is_signed_v<Target>, int32_t, uint32_t>>;
    return static_cast<Target>(cu::SaturateTo<Wide>(source));
  } else {
    return static_cast<Target>(source);
  }
}

/// Stores a number, widened to the 64 bits of its kind, as the type of `target`.
template <typename Number>
void Store(Number number, JsonTypedValue &target) {
  auto &value = target.value;
  switch (target.type) {
    case JSON_TYPE_UINT8:
      value.uint8 = Cast<uint8_t>(number);
      break;
    case JSON_TYPE_UINT16:
      value.uint16 = Cast<uint16_t>(number);
      break;
    case JSON_TYPE_UINT32:
      value.uint32 = Cast<uint32_t>(number);
      break;
    case JSON_TYPE_UINT64:
      value.uint64 = Cast<uint64_t>(number);
      break;
    case JSON_TYPE_INT8:
      value.int8 = Cast<int8_t>(number);
      break;
    case JSON_TYPE_INT16:
      value.int16 = Cast<int16_t>(number);
      break;
    case JSON_TYPE_INT32:
      value.int32 = Cast<int32_t>(number);
      break;
    case JSON_TYPE_INT64:
      value.int64 = Cast<int64_t>(number);
      break;
    case JSON_TYPE_FLOAT:
      value.single = Cast<float>(number);
      break;
    default:
      value.number = Cast<double>(number);
      break;
  }
}

void ConvertNumber(const JsonTypedValue &source, JsonTypedValue &target) {
  const auto &value = source.value;
  switch (source.type) {
    case JSON_TYPE_UINT8:
      return Store(uint64_t{value.uint8}, target);
    case JSON_TYPE_UINT16:
      return Store(uint64_t{value.uint16}, target);
    case JSON_TYPE_UINT32:
      return Store(uint64_t{value.uint32}, target);
    case JSON_TYPE_UINT64:
      return Store(value.uint64, target);
    case JSON_TYPE_INT8:
      return Store(int64_t{value.int8}, target);
    case JSON_TYPE_INT16:
      return Store(int64_t{value.int16}, target);
    case JSON_TYPE_INT32:
      return Store(int64_t{value.int32}, target);
    case JSON_TYPE_INT64:
      return Store(value.int64, target);
    case JSON_TYPE_FLOAT:
      return Store(double{value.single}, target);
    default:
      return Store(value.number, target);
  }
}

}  // namespace

uint32_t aeStringDataTypeToEnum(const char *name) {
  if (name == nullptr) return 0;
  for (const TypeName &entry : kTypeNames) {
    if (strcmp(name, entry.name) == 0) return entry.type;
  }
  return 0;
}

uint32_t aeGetJsonDataTypeSize(uint32_t type) {
  return IsNumber(type) ? kTypeSizes[type - JSON_TYPE_UINT8] : 0;
}

int aeConvertDataBytesToJsonDataType(uint32_t type, const uint8_t *bytes, uint32_t length,
                                     JsonTypedValue *value) {
  if (bytes == nullptr || length == 0 || value == nullptr) return 0;
  if (!IsNumber(type) && !IsBytes(type)) return 0;
  value->type = type;
  if (IsBytes(type)) {
    cu::Owned<char> copy = cu::CopyString(reinterpret_cast<const char *>(bytes), length);
    if (!copy) return 0;
    value->length = length;
    value->value.bytes = Release(std::move(copy));
    return 1;
  }
  const uint32_t size = aeGetJsonDataTypeSize(type);
  if (length < size) return 0;
  value->length = size;
  value->value.uint64 = 0;
  memcpy(&value->value, bytes, size);
  return 1;
}

int aeStoreJsonDataTypeInAEByteArray(const JsonTypedValue *value, JsonTypedValue *byteArray) {
  if (value == nullptr || byteArray == nullptr) return 0;
  const JsonTypedValue source = *value;  // both may be one record
  byteArray->type = JSON_TYPE_STRING;
  if (!IsNumber(source.type) && !IsBytes(source.type)) return 0;
  const uint32_t size = IsBytes(source.type) ? source.length : aeGetJsonDataTypeSize(source.type);
  cu::Owned<char> copy = IsBytes(source.type)
                             ? CopyBytes(source)
                             : cu::CopyString(reinterpret_cast<const char *>(&source.value), size);
  if (!copy) return 0;
  byteArray->length = size;
  byteArray->value.bytes = Release(std::move(copy));
  return 1;
}

int getJsonDataTypeAsString(const JsonTypedValue *value, char **out) {
  if (value == nullptr || out == nullptr) return 0;
  const char *text = nullptr;
  switch (value->type) {
    case JSON_TYPE_UINT8:
      text = getUnsignedInteger8AsString(value->value.uint8, out);
      break;
    case JSON_TYPE_UINT16:
      text = getUnsignedShortAsString(value->value.uint16, out);
      break;
    case JSON_TYPE_UINT32:
      text = getUnsignedIntegerAsString(value->value.uint32, out);
      break;
    case JSON_TYPE_UINT64:
      text = getUnsignedLongAsString(value->value.uint64, out);
      break;
    case JSON_TYPE_INT8:
      text = getInteger8AsString(value->value.int8, out);
      break;
    case JSON_TYPE_INT16:
      text = getShortAsString(value->value.int16, out);
      break;
    case JSON_TYPE_INT32:
      text = getIntegerAsString(value->value.int32, out);
      break;
    case JSON_TYPE_INT64:  // the low 32 bits alone: the formatter takes no more
      text = getLongAsString(static_cast<int32_t>(value->value.int64), out);
      break;
    case JSON_TYPE_FLOAT:
      text = getFloatAsString(kDecimals, out, value->value.single);
      break;
    case JSON_TYPE_DOUBLE:
      text = getDoubleAsString(kDecimals, out, value->value.number);
      break;
    default:
      break;
  }
  return text == nullptr ? 0 : 1;
}

int aeConvertJsonDateTypeToJsonDataType(const JsonTypedValue *source, uint32_t targetType,
                                        JsonTypedValue *target) {
  if (source == nullptr || target == nullptr || !IsNumber(targetType)) return 0;
  JsonTypedValue converted = {aeGetJsonDataTypeSize(targetType), targetType, {.uint64 = 0}};
  if (IsBytes(source->type)) {
    converted.length = source->length;
    converted.type = source->type;
    converted.value.bytes = Release(CopyBytes(*source));
    if (converted.value.bytes == nullptr) return 0;
  } else if (source->type == targetType) {
    memcpy(&converted.value, &source->value, converted.length);
  } else if (IsNumber(source->type)) {
    ConvertNumber(*source, converted);
  } else {
    return 0;
  }
  *target = converted;
  return 1;
}
