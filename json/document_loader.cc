#include "json/tokenizer.hpp"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "include/jsonparser.h"
#include "internal/grow.hpp"
#include "internal/owned.hpp"

static_assert(sizeof(jsmntok_t) == 20);

namespace {

using cu::Tokenized;

constexpr uint32_t kFirstFileTokens = 16;
constexpr uint32_t kFirstBufferTokens = 2;
constexpr size_t kChunk = 256;

/// Offsets are 32 bits, and the text is terminated.
constexpr int64_t kLongestText = INT32_MAX - 1;

/// A file's text as far as it is read; null for an empty file.
struct Text {
  cu::Owned<char> bytes;
  size_t length = 0;
  size_t room = 0;
};

/// Appends a chunk and a terminator. False when there is no memory.
bool Append(Text &text, const char *chunk, size_t count) {
  const size_t wanted = text.length + count + 1;
  if (wanted > text.room) {
    text.room = cu::RoundedSize(wanted);
    char *const grown = static_cast<char *>(realloc(text.bytes.get(), text.room));
    if (grown == nullptr) return false;
    static_cast<void>(text.bytes.release());
    text.bytes.reset(grown);
  }
  char *const end = text.bytes.get() + text.length;
  memcpy(end, chunk, count);
  end[count] = '\0';
  text.length += count;
  return true;
}

/// The length of an open file, positioned at its start afterwards; -1 when it has none.
int64_t LengthOf(FILE *file) {
  if (fseek(file, 0, SEEK_END) != 0) return -1;
  const int64_t length = ftell(file);
  return fseek(file, 0, SEEK_SET) == 0 ? length : -1;
}

/// Reads a file as long as it was when reading began. A file that ends earlier gives what it has.
bool ReadText(FILE *file, Text &text) {
  const int64_t length = LengthOf(file);
  if (length < 0 || length > kLongestText) return false;
  const size_t wanted = static_cast<size_t>(length);
  while (text.length < wanted) {
    char chunk[kChunk];
    const size_t count = fread(chunk, 1, std::min(kChunk, wanted - text.length), file);
    if (count == 0) return ferror(file) == 0;
    if (!Append(text, chunk, count)) return false;
  }
  return true;
}

}  // namespace

int32_t parseJson(const char *path, const char *label, JsonDocumentCallback callback, void *user) {
  if (path == nullptr || callback == nullptr) return 0;
  cu::Stream file(fopen(path, "re"));
  if (!file) return 0;
  cu::TokenArray tokens(kFirstFileTokens);
  Text text;
  if (!tokens || !ReadText(file.get(), text)) return 0;

  switch (tokens.Tokenize(text.bytes.get(), text.length)) {
    case Tokenized::kDone:
      callback(text.bytes.get(), tokens.get(), label, tokens.count(), user);
      return 1;
    case Tokenized::kMalformed:
      // What jsmn refuses keeps its stream and its tokens: this has always been the price of a
      // malformed file, and the header tells callers to count with it.
      static_cast<void>(file.release());
      tokens.Abandon();
      return 0;
    case Tokenized::kTrailingComma:
    case Tokenized::kNoMemory:
      break;
  }
  return 0;
}

int32_t parseJsonBuffer(const char *text, uint32_t length, int32_t label,
                        JsonDocumentCallback callback, void *user) {
  if (text == nullptr || callback == nullptr || length > kLongestText) return 0;
  cu::TokenArray tokens(kFirstBufferTokens);
  const cu::Owned<char> copy = cu::CopyString(text, length);
  if (!tokens || !copy) return 0;
  if (tokens.Tokenize(copy.get(), length) != Tokenized::kDone) return 0;
  const auto *const wide_label = reinterpret_cast<const char *>(static_cast<intptr_t>(label));
  return callback(copy.get(), tokens.get(), wide_label, tokens.count(), user) == 0 ? 1 : 0;
}

jsmntok_t *realloc_it(jsmntok_t *tokens, uint32_t count) {
  size_t size = 0;
  if (tokens == nullptr) return static_cast<jsmntok_t *>(calloc(count, sizeof(jsmntok_t)));
  void *grown = nullptr;
  if (count != 0 && !__builtin_mul_overflow(count, sizeof(jsmntok_t), &size))
    grown = realloc(tokens, size);
  if (grown == nullptr) free(tokens);
  return static_cast<jsmntok_t *>(grown);
}

char *realloc_char(char *buffer, uint32_t size) {
  if (buffer == nullptr) return static_cast<char *>(calloc(size, 1));
  // A size of 0 is no buffer; realloc() would have freed it already.
  void *const grown = size == 0 ? nullptr : realloc(buffer, size);
  if (grown == nullptr) free(buffer);
  return static_cast<char *>(grown);
}
