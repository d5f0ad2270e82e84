// Reading schema records in tests: a property on its own, or a whole document.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_RECORDS_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_RECORDS_HPP

#include <string.h>

#include <string>

#include "include/rfvalues.h"

namespace cu_test {

/// Hands one property to a deserializer, as the walk does; `value` is the value's token.
inline int32_t Give(rfDeserializeFn deserializer, void *record, const char *key,
                    const std::string &value, JsonTokenType type = JSON_TOKEN_STRING,
                    uint32_t index = 0) {
  const int32_t end = static_cast<int32_t>(value.size());
  jsmntok_t token = {type, 0, end, 0, -1};
  JsonWalkContext context = {value.c_str(), &token, 0, 0, 1, 0};
  return deserializer(&context, 0, end, key, index, record);
}

struct DocumentTarget {
  rfDeserializeFn deserializer;
  void *record;
};

/// A document callback that walks the document into the DocumentTarget `user`.
inline int32_t WalkIntoTarget(const char *json, jsmntok_t *tokens, const char *, uint32_t count,
                              void *user) {
  const auto *const target = static_cast<const DocumentTarget *>(user);
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  if (json == nullptr) return 1;
  processObject(&context, "document", 0, static_cast<int32_t>(strlen(json)), 0, target->record,
                target->deserializer);
  return 0;
}

/// Reads a document's text into a record. 1, or 0 for a text that is no document.
inline int32_t ReadText(const std::string &text, rfDeserializeFn deserializer, void *record) {
  DocumentTarget target = {deserializer, record};
  return parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, WalkIntoTarget,
                         &target);
}

/// Reads a file into a record. 1, or 0 for a file that cannot be read or is no document.
inline int32_t ReadDocument(const std::string &path, rfDeserializeFn deserializer, void *record) {
  DocumentTarget target = {deserializer, record};
  return parseJson(path.c_str(), "document", WalkIntoTarget, &target);
}

}  // namespace cu_test

#endif
