// The growing text of the JSON writer. An element is put together from pieces in one append: the
// recorded capacity comes out as if each piece had been appended alone, for a sixth of the work.
#ifndef COMMONUTILITIES_JSON_WRITER_BOX_HPP
#define COMMONUTILITIES_JSON_WRITER_BOX_HPP

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <initializer_list>
#include <string_view>

#include "include/jsonwriter.h"

namespace cu {

/// Makes room for `count` more characters and counts them as held; the caller fills them at once.
/// Null without memory: the box has lost its text then.
char *ExtendBox(JsonBox &box, uint64_t count);

/// Appends all pieces, none of which lies in the box; without memory the box loses its text.
inline void AppendPieces(JsonBox &box, std::initializer_list<std::string_view> pieces) {
  uint64_t count = 0;
  for (const std::string_view piece : pieces) count += piece.size();
  char *at = ExtendBox(box, count);
  if (at == nullptr) return;
  for (const std::string_view piece : pieces) {
    if (!piece.empty()) memcpy(at, piece.data(), piece.size());
    at += piece.size();
  }
}

/// A key as elements have it, `"key" : `, in three pieces; all empty for a null key.
struct KeyPieces {
  explicit KeyPieces(const char *key) {
    if (key == nullptr) return;
    open = "\"";
    name = key;
    close = "\" : ";
  }
  std::string_view open, name, close;
};

}  // namespace cu

#endif
