// The growing text of the JSON writer. An element is put together in one piece: the recorded
// capacity comes out as if each part of it had been appended alone, for a fraction of the work.
#ifndef COMMONUTILITIES_JSON_WRITER_BOX_HPP
#define COMMONUTILITIES_JSON_WRITER_BOX_HPP

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <string_view>

#include "include/jsonwriter.h"

namespace cu {

/// Gives a box the capacity that its text needs, and sets the last byte as its terminator. Returns
/// the box's data; null without memory: the box has lost its text then.
char *GrowBox(JsonBox &box, uint64_t capacity);

/// Makes room for `count` more characters and counts them as held; the caller fills them at once.
/// Null without memory, as above.
inline char *ExtendBox(JsonBox &box, uint64_t count) {
  char *data = box.data;
  const uint64_t begin = data == nullptr ? 0 : box.length;
  const uint64_t end = begin + count;
  // Text that fits into what a finalised box had before overwrites it and gets no terminator of its
  // own: what is left of the old text stays behind it.
  if (data == nullptr || end + 1 >= box.capacity) {
    data = GrowBox(box, end + 1);
    if (data == nullptr) return nullptr;
  }
  box.length = static_cast<uint32_t>(end);
  return data + begin;
}

/// Copies one to two words' worth of bytes as two words that may overlap.
template <typename Word>
inline void CopyTwoWords(char *at, const char *from, size_t length) {
  Word first, last;
  memcpy(&first, from, sizeof first);
  memcpy(&last, from + length - sizeof last, sizeof last);
  memcpy(at, &first, sizeof first);
  memcpy(at + length - sizeof last, &last, sizeof last);
}

/// Writes at a place that has the room, and returns the place behind. Keys and values are short: a
/// call of memcpy() costs more than copying them.
inline char *Put(char *at, std::string_view text) {
  const size_t length = text.size();
  if (length - 8 <= 8) {
    CopyTwoWords<uint64_t>(at, text.data(), length);
  } else if (length - 4 < 4) {
    CopyTwoWords<uint32_t>(at, text.data(), length);
  } else if (length != 0) {
    memcpy(at, text.data(), length);
  }
  return at + length;
}

/// A fixed text: its copy is an instruction or two.
template <size_t Size>
inline char *Put(char *at, const char (&text)[Size]) {
  memcpy(at, text, Size - 1);
  return at + Size - 1;
}

}  // namespace cu

#endif
