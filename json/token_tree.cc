// Reading the tree that the tokens form. Documents may be nested as deep as they are long, so
// nothing here recurses, and token arrays may come from anywhere, so every link is looked at before
// it is followed.
#include "include/jsonparser.h"

#include <string.h>

#include <algorithm>
#include <string_view>

#include "internal/grow.hpp"
#include "internal/owned.hpp"
#include "json/value_text.hpp"

namespace {

constexpr int32_t kNone = -1;

/// A container with children that are not counted yet.
struct Level {
  int32_t children;
  bool keys;  // they are keys: one that has a child is followed by its value
};

/// The containers around the token being counted, as far as they have children left. Usual
/// documents fit into the first room.
class Levels {
 public:
  bool empty() const { return count_ == 0; }

  /// Adds a level; one without children is not worth it. False when there is no memory.
  [[nodiscard]] bool Push(Level level) {
    if (level.children <= 0) return true;
    if (count_ == capacity_ && !Grow()) return false;
    levels_[count_++] = level;
    return true;
  }

  /// Takes one child of the innermost level; tells whether it is a key.
  bool TakeChild() {
    Level &level = levels_[count_ - 1];
    const bool key = level.keys;
    if (--level.children == 0) --count_;
    return key;
  }

 private:
  bool Grow() {
    Level *const grown = cu::ReallocArray(heap_.get(), capacity_ * 2);
    if (grown == nullptr) return false;
    if (heap_ == nullptr) std::copy_n(room_, count_, grown);
    static_cast<void>(heap_.release());
    heap_.reset(grown);
    levels_ = grown;
    capacity_ *= 2;
    return true;
  }

  Level room_[32];
  cu::Owned<Level> heap_;
  Level *levels_ = room_;
  size_t capacity_ = 32;
  size_t count_ = 0;
};

/// The parent of a token. A parent always stands before its children; any other link is none.
int32_t ParentOf(const jsmntok_t *tokens, int32_t index) {
  const int32_t parent = tokens[index].parent;
  return parent >= 0 && parent < index ? parent : kNone;
}

/// One pass of findParentObjectKey(): up by `stride` tokens at a time until an object is reached.
int32_t ClimbToObject(const jsmntok_t *tokens, int32_t index, int stride) {
  do {
    for (int step = 0; step < stride && index != kNone; ++step) index = ParentOf(tokens, index);
  } while (index != kNone && tokens[index].type != JSON_TOKEN_OBJECT);
  return index;
}

}  // namespace

int32_t dump(const char *, const jsmntok_t *token, uint32_t count, int32_t) {
  if (token == nullptr || count == 0) return 0;
  Levels levels;
  uint32_t seen = 0;
  bool room = levels.Push({1, false});
  while (room && !levels.empty() && seen < count) {
    const bool is_key = levels.TakeChild();
    const jsmntok_t &next = token[seen];
    if (is_key && next.size > 0) room = levels.Push({1, false});
    switch (next.type) {
      case JSON_TOKEN_OBJECT:
        room = room && levels.Push({next.size, true});
        break;
      case JSON_TOKEN_ARRAY:
        room = room && levels.Push({next.size, false});
        break;
      case JSON_TOKEN_STRING:
      case JSON_TOKEN_PRIMITIVE:
        break;
      default:
        return static_cast<int32_t>(seen);  // counts nothing, and so does all that follows it
    }
    ++seen;
  }
  return room ? static_cast<int32_t>(seen) : 0;
}

int32_t getParentArrayForCurrentPrimitive(const jsmntok_t *tokens, int32_t index) {
  if (tokens == nullptr || index < 0) return kNone;
  const int32_t object = ClimbToObject(tokens, index, 1);
  return object == kNone ? kNone : ParentOf(tokens, object);
}

int32_t findParentObjectKey(const char *json, const char *key, const jsmntok_t *tokens,
                            int32_t index) {
  if (json == nullptr || key == nullptr || tokens == nullptr || index < 0) return kNone;
  const std::string_view prefix(key);
  const auto first = cu::StringText(json, &tokens[0]);
  const bool matches = prefix.empty() || (first && cu::StartsWith(*first, prefix));
  const int stride = matches ? 2 : 1;
  const int32_t inner = ClimbToObject(tokens, index, stride);
  return inner == kNone ? kNone : ClimbToObject(tokens, inner, stride);
}
