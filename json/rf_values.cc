#include "include/rfvalues.h"

#include <stdlib.h>
#include <string.h>

#include <string_view>

#include "internal/owned.hpp"
#include "json/value_text.hpp"

static_assert(sizeof(void *) != 4 ||
              (sizeof(rfLink) == 8 && sizeof(rfStringElement) == 8 && sizeof(rfStringArray) == 8 &&
               sizeof(rfIntArray) == 8 && sizeof(rfNumberArray) == 8));

namespace {

/// The shortest text that parseRfHexString() converts, and where its digits begin: after "0x".
constexpr size_t kShortestHex = 4;
constexpr size_t kFirstHexDigit = 2;

/// The value of a digit, or -1.
constexpr int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Characters that are no digits are skipped and take no place: "0x1-2" is 0x12.
uint64_t HexValue(std::string_view text) {
  uint64_t value = 0;
  for (size_t i = kFirstHexDigit; i < text.size(); ++i) {
    const int digit = HexDigit(text[i]);
    if (digit >= 0) value = value << 4 | static_cast<uint64_t>(digit);
  }
  return value;
}

}  // namespace

int32_t parseRfString(const char *json, int32_t start, int32_t end, char **dst) {
  return cu::ReadString(json, start, end, dst);
}

int32_t parseRfTimestamp(const char *json, int32_t start, int32_t end, char **dst) {
  const auto text = cu::ValueText(json, start, end);
  if (!text || dst == nullptr) return 0;
  *dst = cu::CopyString(text->data(), text->size()).release();
  return *dst != nullptr ? 1 : 0;
}

int32_t deserialize_rfLinkRef(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                              uint32_t, void *dst) {
  if (context == nullptr || key == nullptr || dst == nullptr) return 0;
  if (strcmp(key, "@odata.id") != 0) return 0;
  auto *const link = static_cast<rfLink *>(dst);
  const int32_t result = cu::ReadString(context->json, start, end, &link->odataId);
  link->length = result != 0 ? static_cast<uint32_t>(strlen(link->odataId)) : 0;
  return result;
}

int32_t parseRfInteger(const char *json, int32_t start, int32_t end, int64_t *dst) {
  return getPrimitive(json, start, end, dst, JSON_PRIMITIVE_INT64) == 0 ? 1 : 0;
}

int32_t parseRfFloat(const char *json, int32_t start, int32_t end, float *dst) {
  return getPrimitive(json, start, end, dst, JSON_PRIMITIVE_FLOAT) == 0 ? 1 : 0;
}

int32_t getBoolean(const char *json, int32_t start, int32_t end, uint8_t *dst) {
  const auto text = cu::ValueText(json, start, end);
  if (!text || dst == nullptr) return 1;
  *dst = *text == "false" ? 0 : 1;
  return 0;
}

int32_t parseRfBoolean(const char *json, int32_t start, int32_t end, uint8_t *dst) {
  return getBoolean(json, start, end, dst) == 0 ? 1 : 0;
}

int32_t parseRfHexString(const char *json, int32_t start, int32_t end, uint64_t *dst) {
  const auto text = cu::ValueText(json, start, end);
  if (!text || text->empty() || dst == nullptr) return 0;
  if (text->size() >= kShortestHex && text->front() == '0') *dst = HexValue(*text);
  return 1;
}

void free_rfString(char *s) {
  free(s);
}

void free_rfTimestamp(char *s) {
  free(s);
}

void free_rfLink(rfLink *link) {
  if (link == nullptr) return;
  free(link->odataId);
  link->length = 0;
}
