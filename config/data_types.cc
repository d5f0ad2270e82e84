#include "include/commonconfig.h"

#include "json/value_text.hpp"

namespace {

/// A data type's name in documents and its number.
struct DataTypeName {
  char name[64];
  uint8_t type;
};

/// In the order in which a text is compared with them.
constexpr DataTypeName kDataTypeNames[] = {
    {"string", CONFIG_TYPE_STRING},   {"unsigned integer", CONFIG_TYPE_UNSIGNED_INTEGER},
    {"integer", CONFIG_TYPE_INTEGER}, {"float", CONFIG_TYPE_FLOAT},
    {"long", CONFIG_TYPE_LONG},       {"boolean", CONFIG_TYPE_BOOLEAN},
    {"uint8", CONFIG_TYPE_UINT8},     {"uint16", CONFIG_TYPE_UINT16},
    {"uint64", CONFIG_TYPE_UINT64},   {"blob", CONFIG_TYPE_BLOB},
};

}  // namespace

int32_t dataTypeToEnum(const char *json, int32_t start, int32_t end, uint32_t *type) {
  const auto text = cu::ValueText(json, start, end);
  if (!text || type == nullptr) return 0;
  *type = CONFIG_TYPE_BOOLEAN;  // what no name matches is a boolean
  for (const DataTypeName &entry : kDataTypeNames) {
    if (!cu::AgreeOverShorter(*text, entry.name)) continue;
    *type = entry.type;
    break;
  }
  return 0;
}
