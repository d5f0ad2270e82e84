#include "include/stackmap.h"

#include <stdlib.h>
#include <string.h>

#include "containers/map_hash.hpp"
#include "internal/grow.hpp"
#include "internal/owned.hpp"

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(Map) == 16 && offsetof(Map, nbuckets) == 4 && offsetof(Map, nnodes) == 8);
static_assert(offsetof(Map, keyType) == 12);
static_assert(sizeof(MapNode) == 16 && offsetof(MapNode, value) == 8 &&
              offsetof(MapNode, next) == 12);
static_assert(sizeof(MapIter) == 8 && offsetof(MapIter, node) == 4);
#endif

namespace cu {
namespace {

/// Room for a numeric key in its entry.
constexpr size_t kNumberArea = 12;

/// Slots of the first bucket array, so that the small maps of documents are not moved while their
/// number of buckets counts 1, 2, 4, 8.
constexpr size_t kLeastSlots = 8;

/// A key as a lookup or an insertion needs it.
struct HashedKey {
  uint64_t hash;
  const void *bytes;
  size_t width;  // bytes that the caller's key has, without a string's terminator
  size_t area;   // bytes that it takes in the entry
};

constexpr size_t StringArea(size_t length) {
  return (length + 4) & ~size_t{3};
}

template <typename T>
T Load(const void *bytes) {
  T value;
  memcpy(&value, bytes, sizeof value);
  return value;
}

/// Inlined into each function, with the cheapest hash first: to a lookup of a small number each
/// branch counts.
[[gnu::always_inline]] inline HashedKey ReadKey(const Map &map, const void *key) {
  if (map.keyType == MAP_KEY_U32) {
    return {HashU32(Load<uint32_t>(key)), key, sizeof(uint32_t), kNumberArea};
  }
  if (map.keyType == MAP_KEY_U64) {
    return {HashU64(Load<uint64_t>(key)), key, sizeof(uint64_t), kNumberArea};
  }
  if (map.keyType == MAP_KEY_U16) {
    return {HashU32(Load<uint16_t>(key)), key, sizeof(uint16_t), kNumberArea};
  }
  const HashedString text = HashString(static_cast<const char *>(key));
  return {text.hash, key, text.length, StringArea(text.length)};
}

/// Bytes of a stored key that a copy of it needs.
size_t StoredKeySize(const Map &map, MapNode *node) {
  switch (map.keyType) {
    case MAP_KEY_U32:
      return sizeof(uint32_t);
    case MAP_KEY_U64:
      return sizeof(uint64_t);
    case MAP_KEY_U16:
      return sizeof(uint16_t);
    default:
      return strlen(static_cast<const char *>(KeyOf(node))) + 1;
  }
}

/// memcpy(), in place for the sizes of a number and a pointer.
void CopySmall(void *to, const void *from, size_t size) {
  if (size == 4) {
    memcpy(to, from, 4);
  } else if (size == 8) {
    memcpy(to, from, 8);
  } else {
    memcpy(to, from, size);
  }
}

[[gnu::always_inline]] inline Owned<MapNode> NewNode(const HashedKey &key, const void *value,
                                                     uint32_t value_size) {
  size_t size = sizeof(MapNode);
  if (__builtin_add_overflow(size, key.area, &size) ||
      __builtin_add_overflow(size, value_size, &size)) {
    return nullptr;
  }
  Owned<MapNode> node(static_cast<MapNode *>(malloc(size)));
  if (!node) return nullptr;
  char *const stored_key = static_cast<char *>(KeyOf(node.get()));
  // The last word of the area holds all the zeros that follow a string, and those of a number that
  // its copy does not bring along.
  memset(stored_key + key.area - 4, 0, 4);
  if (key.area == kNumberArea) memset(stored_key, 0, 8);
  CopySmall(stored_key, key.bytes, key.width);
  node->hash = key.hash;
  node->value = stored_key + key.area;
  CopySmall(node->value, value, value_size);
  return node;
}

/// Doubles the number of buckets. The chain of bucket b is dealt out to the buckets b and b + n in
/// its order, so that entries of one bucket stay in the order in which they were.
bool Grow(Map &map) {
  const uint32_t old_count = map.nbuckets;
  if (old_count > UINT32_MAX / 2) return false;
  const uint32_t new_count = old_count == 0 ? 1 : old_count * 2;
  // Also where the slots are there already: a program may bring an array of its own.
  MapNode **const buckets =
      ReallocArray(map.buckets, new_count > kLeastSlots ? new_count : kLeastSlots);
  if (buckets == nullptr) return false;
  if (old_count == 0) buckets[0] = nullptr;
  map.buckets = buckets;
  map.nbuckets = new_count;
  for (uint32_t b = 0; b < old_count; ++b) {
    MapNode **ends[2] = {&buckets[b], &buckets[b + old_count]};
    for (MapNode *node = buckets[b]; node != nullptr; node = node->next) {
      MapNode **&end = ends[(static_cast<uint32_t>(node->hash) & old_count) != 0];
      *end = node;
      end = &node->next;
    }
    *ends[0] = nullptr;
    *ends[1] = nullptr;
  }
  return true;
}

/// Inlined into its two callers, which have the key's parts at hand.
[[gnu::always_inline]] inline bool AddEntry(Map &map, const HashedKey &key, const void *value,
                                            uint32_t value_size) {
  Owned<MapNode> node = NewNode(key, value, value_size);
  if (!node) return false;
  if (map.nnodes >= map.nbuckets && !Grow(map)) return false;
  MapNode *&head = BucketOf(map, key.hash);
  node->next = head;
  head = node.release();
  ++map.nnodes;
  return true;
}

/// The keys copied so far, all freed again when the copying does not get to its end.
class KeyCopies {
 public:
  explicit KeyCopies(size_t room)
      : keys_(static_cast<void **>(calloc(room == 0 ? 1 : room, sizeof(void *)))) {}
  ~KeyCopies() {
    if (!keys_) return;
    while (count_ > 0) free(keys_.get()[--count_]);
  }
  KeyCopies(const KeyCopies &) = delete;
  KeyCopies &operator=(const KeyCopies &) = delete;

  explicit operator bool() const { return keys_ != nullptr; }

  bool Add(const void *key, size_t size) {
    void *const copy = malloc(size);
    if (copy == nullptr) return false;
    memcpy(copy, key, size);
    keys_.get()[count_++] = copy;
    return true;
  }

  void **release() { return keys_.release(); }

 private:
  Owned<void *> keys_;
  size_t count_ = 0;
};

}  // namespace

bool AddStringEntry(Map &map, uint64_t hash, const char *key, size_t key_length, const void *value,
                    uint32_t value_size) {
  return AddEntry(map, {hash, key, key_length, StringArea(key_length)}, value, value_size);
}

}  // namespace cu

void *map_get_(const Map *map, const void *key) {
  if (map == nullptr || key == nullptr || map->nnodes == 0) return nullptr;
  const MapNode *const node = cu::FindByHash(*map, cu::ReadKey(*map, key).hash);
  return node == nullptr ? nullptr : node->value;
}

int map_set_(Map *map, const void *key, const void *value, uint32_t valueSize) {
  if (map == nullptr || key == nullptr || value == nullptr) return -1;
  const cu::HashedKey hashed = cu::ReadKey(*map, key);
  if (map->nnodes != 0) {
    if (MapNode *const node = cu::FindByHash(*map, hashed.hash)) {
      memmove(node->value, value, valueSize);  // the new value may be a part of the old one
      return 0;
    }
  }
  return cu::AddEntry(*map, hashed, value, valueSize) ? 0 : -1;
}

void map_remove_(Map *map, const void *key) {
  if (map == nullptr || key == nullptr || map->nnodes == 0) return;
  const uint64_t hash = cu::ReadKey(*map, key).hash;
  MapNode **link = &cu::BucketOf(*map, hash);
  while (*link != nullptr && (*link)->hash != hash) link = &(*link)->next;
  MapNode *const node = *link;
  if (node == nullptr) return;
  *link = node->next;
  free(node);
  --map->nnodes;
}

void map_deinit_(Map *map) {
  if (map == nullptr) return;
  for (uint32_t b = map->nbuckets; b > 0; --b) {
    for (MapNode *node = map->buckets[b - 1]; node != nullptr;) {
      MapNode *const next = node->next;
      free(node);
      node = next;
    }
  }
  free(map->buckets);
  map->buckets = nullptr;
  map->nbuckets = 0;
  map->nnodes = 0;
}

MapIter map_iter_(void) {
  return {UINT32_MAX, nullptr};
}

const void *map_next_(const Map *map, MapIter *iter) {
  if (map == nullptr || iter == nullptr) return nullptr;
  if (iter->node != nullptr) iter->node = iter->node->next;
  // The bucket index wraps from its start value to the first bucket, and stays at the end once it
  // is there.
  while (iter->node == nullptr && iter->bucketIdx + 1 <= map->nbuckets) {
    ++iter->bucketIdx;
    if (iter->bucketIdx < map->nbuckets) iter->node = map->buckets[iter->bucketIdx];
  }
  return iter->node == nullptr ? nullptr : cu::KeyOf(iter->node);
}

uint32_t map_get_numElements_(const Map *map) {
  return map == nullptr ? UINT32_MAX : map->nnodes;
}

void **map_get_keys_(const Map *map, uint32_t *outCount) {
  if (outCount == nullptr) return nullptr;
  *outCount = 0;
  if (map == nullptr) return nullptr;
  cu::KeyCopies copies(map->nnodes);
  if (!copies) return nullptr;
  MapIter iter = map_iter_();
  while (map_next_(map, &iter) != nullptr) {
    if (!copies.Add(cu::KeyOf(iter.node), cu::StoredKeySize(*map, iter.node))) return nullptr;
  }
  *outCount = map->nnodes;
  return copies.release();
}
