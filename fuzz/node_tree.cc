// Any document as a node tree: build, find, convert, release.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/jsonnode.h"
#include "include/jsonparser.h"

namespace {

const char *g_path;

int32_t Build(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *) {
  for (uint32_t remaining : {count, count / 2}) {
    JsonNode root = {};
    const int32_t consumed = CreateDictionary(json, tokens, remaining, &root);
    if (consumed > static_cast<int32_t>(remaining)) abort();
    JsonNode *found = nullptr;
    if (AmbrelFindJsonNode(&root, g_path, nullptr, &found) && found == nullptr) abort();
    AmbrelFindElementInArray(&root, g_path, "x");
    uint32_t cursor = 0;
    while (const JsonNode *const element = AmbrelGetNextElementInArray(&root, &cursor))
      AmbrelGetValueFromElement(element);
    AmbrelFreeJsonNode(&root);
  }
  return 0;
}

void Convert(const uint8_t *data, size_t size) {
  // No type: it is nothing to print, to store or to convert.
  const JsonTypedValue untyped = {};
  JsonTypedValue nothing = {};
  char *none = nullptr;
  if (aeConvertJsonDateTypeToJsonDataType(&untyped, JSON_TYPE_INT32, &nothing) ||
      getJsonDataTypeAsString(&untyped, &none) ||
      aeStoreJsonDataTypeInAEByteArray(&untyped, &nothing))
    abort();
  const uint32_t named = aeStringDataTypeToEnum(g_path);
  if (named > JSON_TYPE_HEX || aeGetJsonDataTypeSize(named) > 8) abort();
  for (uint32_t type = 0; type <= 13; ++type) {
    JsonTypedValue value = {};
    if (!aeConvertDataBytesToJsonDataType(type, data, static_cast<uint32_t>(size), &value))
      continue;
    char *text = nullptr;
    if (getJsonDataTypeAsString(&value, &text)) free(text);
    for (uint32_t target = 1; target <= 10; ++target) {
      JsonTypedValue converted = {};
      if (aeConvertJsonDateTypeToJsonDataType(&value, target, &converted) && type >= 11)
        free(converted.value.bytes);
    }
    JsonTypedValue bytes = {};
    if (aeStoreJsonDataTypeInAEByteArray(&value, &bytes)) free(bytes.value.bytes);
    if (type >= 11) free(value.value.bytes);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const size_t path_size = data[0] % size;
  const std::string path(reinterpret_cast<const char *>(data + 1), path_size);
  g_path = path.c_str();
  const uint8_t *const rest = data + 1 + path_size;
  const size_t rest_size = size - 1 - path_size;
  parseJsonBuffer(reinterpret_cast<const char *>(rest), static_cast<uint32_t>(rest_size), 1, Build,
                  nullptr);
  Convert(rest, rest_size);
  return 0;
}
