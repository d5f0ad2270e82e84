// Any text through parseJsonBuffer(), with every accessor on every token.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/jsonparser.h"

namespace {

int32_t Visit(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *) {
  for (uint32_t i = 0; i < count; ++i) {
    const jsmntok_t &token = tokens[i];
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
    const int32_t tokens_below = dump(json, &token, count - i, 0);
    if (tokens_below < 0 || static_cast<uint32_t>(tokens_below) > count - i) abort();
    getParentArrayForCurrentPrimitive(tokens, static_cast<int32_t>(i));
    findParentObjectKey(json, "", tokens, static_cast<int32_t>(i));
  }
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  parseJsonBuffer(reinterpret_cast<const char *>(data), static_cast<uint32_t>(size), 1, Visit,
                  nullptr);
  return 0;
}
