#include "json/field_table.hpp"

#include <string.h>

#include "json/value_text.hpp"

static_assert(sizeof(void *) != 4 || sizeof(cu::Field) == 28);

namespace {

using cu::Field;
using cu::FieldKind;
using cu::Property;

/// Reads an integer and keeps as many of its low bits as the field has.
template <typename T>
int32_t ReadNarrowed(const Property &property, void *field) {
  int64_t value = 0;
  const int32_t result =
      parseRfInteger(property.context->json, property.start, property.end, &value);
  if (result != 0) *static_cast<T *>(field) = static_cast<T>(value);
  return result;
}

/// The same of hexadecimal text. One that is too short to convert is 0.
int32_t ReadNarrowedHex(const Property &property, uint8_t *field) {
  uint64_t value = 0;
  const int32_t result =
      parseRfHexString(property.context->json, property.start, property.end, &value);
  if (result != 0) *field = static_cast<uint8_t>(value);
  return result;
}

int32_t Read(const Field &field, const Property &property, void *place) {
  JsonWalkContext *const context = property.context;
  const int32_t start = property.start;
  const int32_t end = property.end;
  switch (field.kind) {
    case FieldKind::kString:
      return cu::ReadString(context->json, start, end, static_cast<char **>(place));
    case FieldKind::kInteger:
      return parseRfInteger(context->json, start, end, static_cast<int64_t *>(place));
    case FieldKind::kUint8:
      return ReadNarrowed<uint8_t>(property, place);
    case FieldKind::kUint16:
      return ReadNarrowed<uint16_t>(property, place);
    case FieldKind::kUint32:
      return ReadNarrowed<uint32_t>(property, place);
    case FieldKind::kHexUint8:
      return ReadNarrowedHex(property, static_cast<uint8_t *>(place));
    case FieldKind::kBoolean:
      return parseRfBoolean(context->json, start, end, static_cast<uint8_t *>(place));
    case FieldKind::kStringArray:
      return cu::WalkProperties(context, end, place, deserialize_rfStringArray);
    case FieldKind::kNested:
      return cu::WalkProperties(context, end, place, field.nested);
    case FieldKind::kEnumeration:
      field.enumeration(context->json, start, end, place);
      return 0;
  }
  return 0;
}

/// The token that encloses another, if that is of a type; null otherwise.
const jsmntok_t *Enclosing(const JsonWalkContext &context, const jsmntok_t *token,
                           JsonTokenType type) {
  if (token == nullptr || token->parent < 0) return nullptr;
  const uint32_t parent = static_cast<uint32_t>(token->parent);
  if (parent >= context.tokenCount || context.tokens[parent].type != type) return nullptr;
  return &context.tokens[parent];
}

bool IsReadable(const Property &property) {
  return property.context != nullptr && property.context->tokens != nullptr &&
         property.key != nullptr;
}

}  // namespace

uint32_t cu::ElementsOfArray(const JsonWalkContext *context) {
  if (context == nullptr || context->tokens == nullptr) return 0;
  if (context->current >= context->tokenCount) return 0;
  const jsmntok_t *const value = &context->tokens[context->current];
  const jsmntok_t *const key = Enclosing(*context, value, JSON_TOKEN_STRING);
  const jsmntok_t *const object = Enclosing(*context, key, JSON_TOKEN_OBJECT);
  const jsmntok_t *const array = Enclosing(*context, object, JSON_TOKEN_ARRAY);
  return array != nullptr && array->size > 0 ? static_cast<uint32_t>(array->size) : 0;
}

int32_t cu::ReadField(std::span<const Field> fields, const Property &property, void *record) {
  if (record == nullptr || !IsReadable(property)) return 0;
  int32_t result = 0;
  for (const Field &field : fields) {
    if (field.key[0] != property.key[0] || strcmp(field.key, property.key) != 0) continue;
    result = Read(field, property, static_cast<char *>(record) + field.offset);
  }
  return result;
}
