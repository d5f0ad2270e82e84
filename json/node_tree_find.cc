#include "include/jsonnode.h"

#include <string.h>

#include <string_view>

#include "containers/map_hash.hpp"
#include "internal/cut_token.hpp"

namespace {

/// Names in a path.
constexpr uint32_t kMostSegments = 255;

/// The member of this name's hash, or null.
JsonNode *FindMember(const JsonNode &node, uint64_t name_hash) {
  if (node.kind != JSON_NODE_OBJECT || node.body.map.nnodes == 0) return nullptr;
  const MapNode *const entry = cu::FindByHash(node.body.map, name_hash);
  if (entry == nullptr) return nullptr;
  JsonNode *member;
  memcpy(&member, entry->value, sizeof member);
  return member;
}

bool HasOtherText(const JsonNode &node, const char *expected) {
  if (expected == nullptr || node.kind != JSON_NODE_VALUE) return false;
  return node.body.value.text != nullptr && strcmp(node.body.value.text, expected) != 0;
}

}  // namespace

JsonNode *AmbrelGetNextElementInArray(const JsonNode *node, uint32_t *cursor) {
  if (node == nullptr || cursor == nullptr || node->kind != JSON_NODE_ARRAY) return nullptr;
  if (*cursor >= node->body.stack.count) return nullptr;
  return static_cast<JsonNode *>(node->body.stack.items[(*cursor)++]);
}

char *AmbrelGetValueFromElement(const JsonNode *node) {
  return node == nullptr || node->kind != JSON_NODE_VALUE ? nullptr : node->body.value.text;
}

int AmbrelFindJsonNode(JsonNode *root, const char *path, const char *expected, JsonNode **out) {
  if (root == nullptr || path == nullptr || out == nullptr) return 0;
  JsonNode *node = root;
  uint32_t segments = 0;
  const char *cursor = path;
  for (;;) {
    // Each name is hashed while it is cut off: the map needs nothing else.
    uint64_t hash = cu::kFnvBasis;
    std::string_view name;
    if (!cu::CutToken(cursor, '/', name, [&hash](char c) { hash = cu::FnvStep(hash, c); })) break;
    if (++segments > kMostSegments) return 0;
    node = FindMember(*node, hash);
    if (node == nullptr) return 0;
  }
  if (HasOtherText(*node, expected)) return 0;
  *out = node;
  return 1;
}

JsonNode *AmbrelFindElementInArray(JsonNode *arrayNode, const char *path, const char *expected) {
  JsonNode *found = nullptr;
  uint32_t cursor = 0;
  while (JsonNode *const element = AmbrelGetNextElementInArray(arrayNode, &cursor)) {
    if (AmbrelFindJsonNode(element, path, expected, &found) != 0) return found;
  }
  return nullptr;
}
