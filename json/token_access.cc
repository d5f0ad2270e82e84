#include "include/jsonparser.h"

#include <stdlib.h>
#include <string.h>

#include <string_view>

#include "internal/long32.hpp"
#include "internal/owned.hpp"
#include "json/value_text.hpp"

namespace {

/// Numbers up to this length are converted on the stack; every number of a sane document is.
constexpr size_t kNumberRoom = 64;

void CopyTerminated(std::string_view text, char *dst) {
  memcpy(dst, text.data(), text.size());
  dst[text.size()] = '\0';
}

/// Stores a value in its own width. The caller's destination may stand anywhere.
template <typename T>
void Store(void *dst, T value) {
  memcpy(dst, &value, sizeof value);
}

/// The boolean of getPrimitive(): "false" and everything that it begins with, also the empty text,
/// are false.
uint8_t BooleanOf(std::string_view text) {
  return cu::StartsWith("false", text) ? 0 : 1;
}

}  // namespace

int32_t jsoneq(const char *json, const jsmntok_t *token, const char *s) {
  const auto text = cu::StringText(json, token);
  return text && s != nullptr && *text == std::string_view(s) ? 0 : -1;
}

int32_t getJsonKey(const char *json, const jsmntok_t *token, char *dst) {
  const auto text = cu::StringText(json, token);
  if (!text || dst == nullptr) return -1;
  CopyTerminated(*text, dst);
  return 0;
}

int32_t getJsonKeyAlloc(const char *json, const jsmntok_t *token, char **out) {
  const auto text = cu::StringText(json, token);
  if (!text || out == nullptr) return -1;
  *out = cu::CopyString(text->data(), text->size()).release();
  return 0;
}

int32_t getString(const char *json, int32_t start, int32_t end, char *dst) {
  const auto text = cu::ValueText(json, start, end);
  if (!text || dst == nullptr) return 1;
  CopyTerminated(*text, dst);
  return 0;
}

int32_t getPrimitive(const char *json, int32_t start, int32_t end, void *dst, uint32_t kind) {
  const auto text = cu::ValueText(json, start, end);
  cu::ScratchText<kNumberRoom> copy;
  if (dst == nullptr || !copy.Assign(text)) return 1;
  const char *const digits = copy.get();
  switch (kind) {
    case JSON_PRIMITIVE_UINT8:
      Store(dst, static_cast<uint8_t>(cu::StrToUL32(digits, nullptr, 10)));
      return 0;
    case JSON_PRIMITIVE_UINT16:
      Store(dst, static_cast<uint16_t>(cu::StrToUL32(digits, nullptr, 10)));
      return 0;
    case JSON_PRIMITIVE_UINT32:
      Store(dst, cu::StrToUL32(digits, nullptr, 10));
      return 0;
    case JSON_PRIMITIVE_UINT64:
      Store(dst, static_cast<uint64_t>(strtoull(digits, nullptr, 10)));
      return 0;
    case JSON_PRIMITIVE_BOOLEAN:
      Store(dst, BooleanOf(*text));
      return 0;
    case JSON_PRIMITIVE_INT8:
      Store(dst, static_cast<int8_t>(cu::StrToL32(digits, nullptr, 10)));
      return 0;
    case JSON_PRIMITIVE_INT16:
      Store(dst, static_cast<int16_t>(cu::StrToL32(digits, nullptr, 10)));
      return 0;
    case JSON_PRIMITIVE_INT32:
      Store(dst, cu::StrToL32(digits, nullptr, 10));
      return 0;
    case JSON_PRIMITIVE_INT64:
      Store(dst, static_cast<int64_t>(strtoll(digits, nullptr, 10)));
      return 0;
    case JSON_PRIMITIVE_FLOAT:
      Store(dst, static_cast<float>(atof(digits)));
      return 0;
    case JSON_PRIMITIVE_DOUBLE:
      Store(dst, atof(digits));
      return 0;
    default:
      return 1;
  }
}
