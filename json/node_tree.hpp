// How nodes of the tree lie in memory. Children are the library's own, from building to release:
// each is one heap block of the node, its key and, for a value, its text. The root is the caller's
// record, and its text a block of its own.
#ifndef COMMONUTILITIES_JSON_NODE_TREE_HPP
#define COMMONUTILITIES_JSON_NODE_TREE_HPP

#include <stdlib.h>
#include <string.h>

#include "include/jsonnode.h"

namespace cu {

/// Where the strings of a child begin: the key, if it has one, and behind it the text.
inline char *InlineStrings(JsonNode *node) {
  return reinterpret_cast<char *>(node + 1);
}

inline bool HasInlineKey(JsonNode *node) {
  return node->key == InlineStrings(node);
}

inline char *InlineText(JsonNode *node) {
  return HasInlineKey(node) ? node->key + strlen(node->key) + 1 : InlineStrings(node);
}

/// Releases everything that a node owns but its key, and leaves it a value without text. Walks the
/// tree without recursion and without memory of its own.
void ReleaseBody(JsonNode &node);

/// Releases a child with everything it owns.
void ReleaseChild(JsonNode *child);

}  // namespace cu

#endif
