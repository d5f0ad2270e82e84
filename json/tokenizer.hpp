// jsmn, compiled into the unit that includes this, and the token array that grows under it. Include
// this before any other header: jsmn.h comes before jsonparser.h, and both share its token record.
#ifndef COMMONUTILITIES_JSON_TOKENIZER_HPP
#define COMMONUTILITIES_JSON_TOKENIZER_HPP

#define JSMN_STRICT
#define JSMN_PARENT_LINKS
#define JSMN_STATIC
#include <jsmn.h>

#include <stddef.h>
#include <stdint.h>

#include "include/jsonparser.h"
#include "internal/owned.hpp"

namespace cu {

enum class Tokenized {
  kDone,
  kMalformed,      // jsmn refused the text
  kTrailingComma,  // jsmn took a comma before the closing brace of an object
  kNoMemory
};

/// The tokens of one document.
class TokenArray {
 public:
  /// An array with room for so many tokens; null when there is no memory.
  explicit TokenArray(uint32_t capacity)
      : tokens_(realloc_it(nullptr, capacity)), capacity_(capacity) {}

  explicit operator bool() const { return tokens_ != nullptr; }
  jsmntok_t *get() const { return tokens_.get(); }
  uint32_t count() const { return count_; }

  /// Gives the array away for good.
  void Abandon() { static_cast<void>(tokens_.release()); }

  /// Splits a text. Where jsmn runs out of tokens the array doubles and jsmn goes on where it
  /// stopped. There is one call of jsmn and its state is local, so that the compiler can merge it
  /// into this loop.
  [[gnu::noinline]] Tokenized Tokenize(const char *text, size_t length) {
    jsmn_parser parser;
    jsmn_init(&parser);
    int result = JSMN_ERROR_NOMEM;
    for (;;) {
      result = jsmn_parse(&parser, text, length, get(), capacity_);
      if (result != JSMN_ERROR_NOMEM) break;
      if (!Double()) return Tokenized::kNoMemory;
    }
    if (result < 0) return Tokenized::kMalformed;
    count_ = parser.toknext;
    return Finish(text);
  }

 private:
  bool Double() {
    if (capacity_ > UINT32_MAX / 2) return false;
    capacity_ *= 2;
    tokens_.reset(realloc_it(tokens_.release(), capacity_));
    return tokens_ != nullptr;
  }

  /// One look at every token: jsmn's type numbers become the library's, and objects that end in a
  /// comma are found. It comes last, because jsmn goes on from its own numbers.
  Tokenized Finish(const char *text) {
    jsmntok_t *const end = get() + count();
    for (jsmntok_t *token = get(); token != end; ++token) {
      if (token->type == JSMN_OBJECT && EndsInComma(text, *token)) return Tokenized::kTrailingComma;
      token->type = static_cast<decltype(token->type)>(TypeNumber(token->type));
    }
    return Tokenized::kDone;
  }

  /// Packaged versions of jsmn count their types up; the library's types are single bits. With a
  /// jsmn that has bits as well nothing is left of this.
  static constexpr int32_t TypeNumber(int32_t type) {
    if constexpr (JSMN_STRING != static_cast<int>(JSON_TOKEN_STRING)) {
      if (type == JSMN_STRING) return JSON_TOKEN_STRING;
      if (type == JSMN_PRIMITIVE) return JSON_TOKEN_PRIMITIVE;
    }
    return type;
  }

  static bool EndsInComma(const char *text, const jsmntok_t &object) {
    const char *last = text + object.end - 2;  // before the closing brace
    while (*last == ' ' || *last == '\n' || *last == '\t' || *last == '\r') --last;
    return *last == ',';
  }

  Owned<jsmntok_t> tokens_;
  uint32_t capacity_;
  uint32_t count_ = 0;
};

static_assert(JSMN_OBJECT == static_cast<int>(JSON_TOKEN_OBJECT) &&
              JSMN_ARRAY == static_cast<int>(JSON_TOKEN_ARRAY));

}  // namespace cu

#endif
