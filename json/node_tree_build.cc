#include "include/jsonnode.h"

#include <stdlib.h>
#include <string.h>

#include "containers/map_hash.hpp"
#include "internal/owned.hpp"
#include "json/node_tree.hpp"

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(JsonNode) == 40 && offsetof(JsonNode, key) == 4);
static_assert(offsetof(JsonNode, body) == 8 && offsetof(JsonNode, body.value.text) == 12);
static_assert(offsetof(JsonNode, body.value.origin) == 16);
static_assert(offsetof(JsonNode, inserting) == 32 && offsetof(JsonNode, lastElement) == 36);
#endif

namespace cu {
namespace {

bool IsText(const jsmntok_t &token) {
  return token.type == JSON_TOKEN_STRING || token.type == JSON_TOKEN_PRIMITIVE;
}

bool IsKnown(const jsmntok_t &token) {
  return IsText(token) || token.type == JSON_TOKEN_OBJECT || token.type == JSON_TOKEN_ARRAY;
}

/// Bytes of a token's text; a token that was never filled has none.
size_t TextLength(const jsmntok_t &token) {
  return token.start >= 0 && token.end > token.start
             ? static_cast<size_t>(token.end) - static_cast<size_t>(token.start)
             : 0;
}

uint32_t ChildCount(const jsmntok_t &token) {
  return token.size > 0 ? static_cast<uint32_t>(token.size) : 0;
}

void SetText(JsonNode &node, char *text, const jsmntok_t &token) {
  node.kind = JSON_NODE_VALUE;
  node.body.value = {0, text, token.type == JSON_TOKEN_PRIMITIVE ? 8U : 0U, 0};
}

/// Builds a tree from the tokens in one pass, with a stack of the open objects and arrays instead
/// of recursion. Nodes enter the tree before they are filled, so that a build that fails can
/// release all of it from the root.
class TreeBuilder {
 public:
  TreeBuilder(const char *json, const jsmntok_t *tokens, uint32_t remaining)
      : json_(json), tokens_(tokens), remaining_(remaining) {}

  /// False, with nothing left behind, when the document is too deep or there is no memory.
  bool Build(JsonNode &root) {
    const bool built = OpenRoot(root) && FillLevels();
    if (!built) ReleaseBody(root);
    return built;
  }

  uint32_t used() const { return used_; }

 private:
  /// An object or array whose children are being added.
  struct Level {
    JsonNode *node;
    uint32_t left;
  };

  /// The next token, or null when the document is cut off here.
  const jsmntok_t *Next() const { return used_ < remaining_ ? &tokens_[used_] : nullptr; }

  const char *TextOf(const jsmntok_t &token) const { return json_ + token.start; }

  bool OpenRoot(JsonNode &root) {
    const jsmntok_t &token = tokens_[0];
    if (!IsText(token)) return Open(root, token);
    const size_t length = TextLength(token);
    char *const text = CopyString(length == 0 ? "" : TextOf(token), length).release();
    SetText(root, text, token);
    ++used_;
    return text != nullptr;
  }

  bool FillLevels() {
    while (depth_ > 0) {
      Level &level = levels_[depth_ - 1];
      if (level.left == 0) {
        --depth_;
        continue;
      }
      --level.left;
      const bool added =
          level.node->kind == JSON_NODE_OBJECT ? AddMember(level) : AddElement(*level.node);
      if (!added) return false;
    }
    return true;
  }

  bool AddMember(Level &object) {
    const jsmntok_t *const name = Next();
    if (name == nullptr) {
      object.left = 0;
      return true;
    }
    ++used_;
    const jsmntok_t *const value = name->size > 0 ? Next() : nullptr;
    JsonNode *const child = NewChild(name, value);
    return child != nullptr && Insert(*object.node, child) && Fill(child, value);
  }

  bool AddElement(JsonNode &array) {
    const jsmntok_t *const value = Next();
    JsonNode *const child = NewChild(nullptr, value);
    if (child == nullptr) return false;
    if (stack_push_(&array.body.stack, child, sizeof child) == 0) {
      free(child);
      return false;
    }
    array.lastElement = child;
    return Fill(child, value);
  }

  /// A child with its key, and with room for its text behind it. A member is an empty object until
  /// its value makes something else of it.
  JsonNode *NewChild(const jsmntok_t *name, const jsmntok_t *value) {
    size_t size = sizeof(JsonNode) + (name == nullptr ? 0 : TextLength(*name) + 1);
    const size_t text_size = value != nullptr && IsText(*value) ? TextLength(*value) + 1 : 0;
    if (__builtin_add_overflow(size, text_size, &size)) return nullptr;
    auto *const child = static_cast<JsonNode *>(malloc(size));
    if (child == nullptr) return nullptr;
    *child = {};
    if (name != nullptr) {
      child->kind = JSON_NODE_OBJECT;
      child->body.map.keyType = MAP_KEY_STRING;
      CopyKey(*child, *name);
    }
    return child;
  }

  /// Copies a member's name. Its length is that of the copy: a name may hold a NUL.
  void CopyKey(JsonNode &child, const jsmntok_t &name) {
    const size_t length = TextLength(name);
    child.key = InlineStrings(&child);
    if (length != 0) memcpy(child.key, TextOf(name), length);
    child.key[length] = '\0';
    key_ = HashString(child.key);
  }

  /// Puts a child into its object, in the place of an earlier one of the same name.
  bool Insert(JsonNode &object, JsonNode *child) {
    Map &map = object.body.map;
    object.inserting = child;
    if (MapNode *const entry = map.nnodes == 0 ? nullptr : FindByHash(map, key_.hash)) {
      JsonNode *replaced;
      memcpy(&replaced, entry->value, sizeof replaced);
      memcpy(entry->value, &child, sizeof child);
      ReleaseChild(replaced);
      return true;
    }
    if (AddStringEntry(map, key_.hash, child->key, key_.length, &child, sizeof child)) return true;
    free(child);
    return false;
  }

  /// Gives a child its value.
  bool Fill(JsonNode *child, const jsmntok_t *value) {
    if (value == nullptr) return true;
    if (!IsText(*value)) return Open(*child, *value);
    const size_t length = TextLength(*value);
    char *const text = child->key == nullptr ? InlineStrings(child) : child->key + key_.length + 1;
    if (length != 0) memcpy(text, TextOf(*value), length);
    text[length] = '\0';
    SetText(*child, text, *value);
    ++used_;
    return true;
  }

  /// Makes a node the object or array that a token begins, its children to be added next.
  bool Open(JsonNode &node, const jsmntok_t &token) {
    if (token.type != JSON_TOKEN_OBJECT && token.type != JSON_TOKEN_ARRAY) return true;
    if (depth_ == JSON_NODE_MAX_DEPTH) return false;
    node.inserting = nullptr;
    node.lastElement = nullptr;
    if (token.type == JSON_TOKEN_OBJECT) {
      node.kind = JSON_NODE_OBJECT;
      node.body.map = {nullptr, 0, 0, MAP_KEY_STRING};
    } else {
      node.kind = JSON_NODE_ARRAY;
      if (stack_init_(&node.body.stack) == nullptr) return false;
    }
    ++used_;
    levels_[depth_++] = {&node, ChildCount(token)};
    return true;
  }

  const char *json_;
  const jsmntok_t *tokens_;
  uint32_t remaining_;
  uint32_t used_ = 0;
  HashedString key_ = {};  // of the child made last
  uint32_t depth_ = 0;
  Level levels_[JSON_NODE_MAX_DEPTH];
};

}  // namespace
}  // namespace cu

int32_t CreateDictionary(const char *json, const jsmntok_t *tokens, uint32_t remaining,
                         JsonNode *node) {
  if (json == nullptr || tokens == nullptr || node == nullptr) return -1;
  if (remaining == 0 || !cu::IsKnown(tokens[0])) return 0;
  cu::TreeBuilder builder(json, tokens, remaining);
  return builder.Build(*node) ? static_cast<int32_t>(builder.used()) : 0;
}
