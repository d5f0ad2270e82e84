// Any text through parseJsonBuffer(), with every accessor on every token.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/jsonparser.h"

namespace {

/// Buffers of the sizes that the text's bytes tell, grown and shrunk.
void Resize(const char *json) {
  char *buffer = nullptr;
  jsmntok_t *tokens = nullptr;
  for (int i = 0; i < 4 && json[i] != '\0'; ++i) {
    const uint32_t size = static_cast<uint8_t>(json[i]) - uint32_t{' '};
    if (size > 256) break;
    buffer = realloc_char(buffer, size);
    tokens = realloc_it(tokens, size);
    if (size == 0) continue;
    if (buffer == nullptr || tokens == nullptr) abort();
    buffer[size - 1] = 'x';
    tokens[size - 1] = {};
  }
  free(buffer);
  free(tokens);
}

/// Links, sizes and types as a stranger's token array may have them; the offsets stay.
void Disturb(const char *json, jsmntok_t *tokens, uint32_t count) {
  for (uint32_t i = 0; i < count && json[i] != '\0'; ++i) {
    const int byte = json[i];
    tokens[i].type = byte & 15;
    tokens[i].size = byte % 5;
    tokens[i].parent = static_cast<int32_t>(i) - byte % 32;
  }
  dump(json, tokens, count, 0);
  for (uint32_t i = 0; i < count && i < 64; ++i) {
    getParentArrayForCurrentPrimitive(tokens, static_cast<int32_t>(i));
    findParentObjectKey(json, "a", tokens, static_cast<int32_t>(i));
  }
}

int32_t Visit(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *) {
  for (uint32_t i = 0; i < count; ++i) {
    const jsmntok_t &token = tokens[i];
    // What reads on to the end, or climbs to the top, is called near both ends alone.
    const bool near_an_end = i < 64 || count - i <= 64;
    if (token.type != JSON_TOKEN_OBJECT && token.type != JSON_TOKEN_ARRAY &&
        token.type != JSON_TOKEN_STRING && token.type != JSON_TOKEN_PRIMITIVE)
      abort();
    if (token.parent >= static_cast<int32_t>(i)) abort();
    jsoneq(json, &token, "a");
    char *key = nullptr;
    if (getJsonKeyAlloc(json, &token, &key) == 0) free(key);
    if (token.start >= 0 && token.end >= token.start) {
      std::string copy(static_cast<size_t>(token.end - token.start) + 1, 'x');
      getString(json, token.start, token.end, copy.data());
      getJsonKey(json, &token, copy.data());
    }
    for (uint32_t kind = 0; kind <= 11; ++kind) {
      uint64_t value = 0;
      getPrimitive(json, token.start, token.end, &value, kind);
    }
    if (!near_an_end) continue;
    const int32_t tokens_below = dump(json, &token, count - i, 0);
    if (tokens_below < 0 || static_cast<uint32_t>(tokens_below) > count - i) abort();
    getParentArrayForCurrentPrimitive(tokens, static_cast<int32_t>(i));
    findParentObjectKey(json, "", tokens, static_cast<int32_t>(i));
  }
  Resize(json);
  Disturb(json, tokens, count);
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  parseJsonBuffer(reinterpret_cast<const char *>(data), static_cast<uint32_t>(size), 1, Visit,
                  nullptr);
  return 0;
}
