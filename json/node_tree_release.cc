#include "include/jsonnode.h"

#include <stdlib.h>
#include <string.h>

#include "json/node_tree.hpp"

namespace cu {
namespace {

JsonNode *TakeMember(Map &map) {
  while (map.nbuckets > 0) {
    MapNode *&head = map.buckets[map.nbuckets - 1];
    if (head == nullptr) {
      --map.nbuckets;
      continue;
    }
    MapNode *const entry = head;
    head = entry->next;
    JsonNode *child;
    memcpy(&child, entry->value, sizeof child);
    free(entry);
    if (child != nullptr) return child;
  }
  return nullptr;
}

JsonNode *TakeElement(Stack &stack) {
  while (stack.count > 0) {
    if (void *const child = stack.items[--stack.count]) return static_cast<JsonNode *>(child);
  }
  return nullptr;
}

/// Takes some child out of a node; null when none is left.
JsonNode *TakeChild(JsonNode &node) {
  switch (node.kind) {
    case JSON_NODE_OBJECT:
      return TakeMember(node.body.map);
    case JSON_NODE_ARRAY:
      return TakeElement(node.body.stack);
    default:
      return nullptr;
  }
}

/// Frees what a node without children owns but its key.
void FreeEmptyBody(JsonNode *node) {
  switch (node->kind) {
    case JSON_NODE_OBJECT:
      free(node->body.map.buckets);
      break;
    case JSON_NODE_ARRAY:
      free(node->body.stack.items);
      break;
    case JSON_NODE_VALUE: {
      char *const text = node->body.value.text;
      if (text != nullptr && text != InlineText(node)) free(text);
      break;
    }
    default:
      break;
  }
}

void FreeKey(JsonNode *node) {
  if (!HasInlineKey(node)) free(node->key);
}

void FreeEmptyChild(JsonNode *child) {
  FreeEmptyBody(child);
  FreeKey(child);
  free(child);
}

}  // namespace

void ReleaseBody(JsonNode &node) {
  // Goes down into one child after the other and comes back up when a node has none left. The way
  // back is kept in the slots that building needed.
  JsonNode *current = &node;
  current->inserting = nullptr;
  while (current != nullptr) {
    if (JsonNode *const child = TakeChild(*current)) {
      if (child->kind == JSON_NODE_VALUE) {
        FreeEmptyChild(child);
        continue;
      }
      child->inserting = current;
      current = child;
      continue;
    }
    JsonNode *const parent = current->inserting;
    if (parent != nullptr) FreeEmptyChild(current);
    current = parent;
  }
  FreeEmptyBody(&node);
  char *const key = node.key;
  node = {};
  node.key = key;
}

void ReleaseChild(JsonNode *child) {
  ReleaseBody(*child);
  FreeEmptyChild(child);
}

}  // namespace cu

int AmbrelFreeJsonNode(JsonNode *node) {
  if (node == nullptr) return 1;
  cu::ReleaseBody(*node);
  cu::FreeKey(node);
  node->key = nullptr;
  return 1;
}
