// Reading a text into records, with any deserializer as the root of the document.
#ifndef COMMONUTILITIES_FUZZ_WALK_HPP
#define COMMONUTILITIES_FUZZ_WALK_HPP

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "include/rfvalues.h"

namespace cu_fuzz {

/// A tokenized document, which several records are read from one after the other.
struct Document {
  const char *json;
  jsmntok_t *tokens;
  uint32_t count;
  int32_t end;  // of the text, which may hold a NUL

  void Read(rfDeserializeFn root, void *record, uint8_t strict = 0) const {
    JsonWalkContext context = {json, tokens, 0, 0, count, strict};
    processObject(&context, "", 0, end, 0, record, root);
  }

  /// Reads a record that owns nothing yet, looks at it and releases it.
  template <typename Record, typename Look>
  void Read(rfDeserializeFn root, void (*release)(Record *), Look look) const {
    Record record = {};
    Read(root, &record);
    look(record);
    release(&record);
  }
  template <typename Record>
  void Read(rfDeserializeFn root, void (*release)(Record *)) const {
    Read(root, release, [](Record &) {});
  }

  /// A list and its elements, one of them too far: then it is released, or its elements are lost.
  template <typename Array>
  void ReadList(rfDeserializeFn root, void (*release)(Array *), bool lost = false) const {
    ReadList(
        root, release, [](Array &) {}, lost);
  }
  template <typename Array, typename Look>
  void ReadList(rfDeserializeFn root, void (*release)(Array *), Look look,
                bool lost = false) const {
    Array array = {};
    Read(root, &array);
    look(array);
    Array before = array;
    JsonWalkContext context = {json, tokens, 0, 0, count, 0};
    if (root(&context, 0, 0, "", UINT32_MAX, &array) != 0 || array.count != 0 ||
        array.list != nullptr)
      __builtin_trap();
    if (lost) release(&before);
  }
};

/// Tokenizes a text; false where it is refused. `read` is called with the Document.
template <typename Reader>
bool ReadDocument(const uint8_t *data, size_t size, Reader read) {
  const auto callback = [](const char *json, jsmntok_t *tokens, const char *, uint32_t count,
                           void *user) -> int32_t {
    (*static_cast<Reader *>(user))(
        Document{json, tokens, count, static_cast<int32_t>(strlen(json))});
    return 0;
  };
  return parseJsonBuffer(reinterpret_cast<const char *>(data), static_cast<uint32_t>(size), 1,
                         callback, &read) != 0;
}

}  // namespace cu_fuzz

#endif
