// A document's text and its tokens, for tests of what reads them.
#ifndef COMMONUTILITIES_TESTS_JSON_DOCUMENT_TOKENS_HPP
#define COMMONUTILITIES_TESTS_JSON_DOCUMENT_TOKENS_HPP

#include <string>
#include <utility>
#include <vector>

#include "include/jsonparser.h"

namespace cu_test {

struct Document {
  /// No tokens when the loader refuses the text.
  explicit Document(std::string json) : text(std::move(json)) {
    parseJsonBuffer(
        text.data(), static_cast<uint32_t>(text.size()), 0,
        [](const char *, jsmntok_t *found, const char *, uint32_t found_count, void *user) {
          // Exactly as many as there are, so that AddressSanitizer sees a read behind the last one.
          static_cast<Document *>(user)->tokens.assign(found, found + found_count);
          return 0;
        },
        this);
  }

  Document(std::string json, std::vector<jsmntok_t> list)
      : text(std::move(json)), tokens(std::move(list)) {}

  uint32_t count() const { return static_cast<uint32_t>(tokens.size()); }

  std::string text;
  std::vector<jsmntok_t> tokens;
};

/// `depth` empty arrays inside of each other. The tokens are made here: the tokenizer's time grows
/// with the square of the depth.
inline Document NestedArrays(int depth) {
  std::vector<jsmntok_t> tokens;
  for (int i = 0; i < depth; ++i) {
    tokens.push_back({JSON_TOKEN_ARRAY, i, 2 * depth - i, i + 1 < depth ? 1 : 0, i - 1});
  }
  const auto brackets = static_cast<size_t>(depth);
  return {std::string(brackets, '[') + std::string(brackets, ']'), std::move(tokens)};
}

/// `depth` objects inside of each other, each the member "a" of the one around it.
inline Document NestedObjects(int depth) {
  std::string json;
  std::vector<jsmntok_t> tokens;
  const int length = 6 * depth - 4;
  for (int i = 0; i < depth; ++i) {
    const bool last = i + 1 == depth;
    const auto at = static_cast<int32_t>(json.size());
    tokens.push_back({JSON_TOKEN_OBJECT, at, length - i, last ? 0 : 1, 2 * i - 1});
    if (!last) tokens.push_back({JSON_TOKEN_STRING, at + 2, at + 3, 1, 2 * i});
    json += last ? "{" : "{\"a\":";
  }
  return {json + std::string(static_cast<size_t>(depth), '}'), std::move(tokens)};
}

}  // namespace cu_test

#endif
