// The hashes of the map's keys and the steps of a lookup by hash, for code that keeps data in a map
// and knows a key's hash already: the node tree hashes a path's segments while it splits them.
#ifndef COMMONUTILITIES_CONTAINERS_MAP_HASH_HPP
#define COMMONUTILITIES_CONTAINERS_MAP_HASH_HPP

#include <stddef.h>
#include <stdint.h>

#include "include/stackmap.h"

namespace cu {

// FNV-1a of 64 bits: start with the basis and fold in one byte after the other.
inline constexpr uint64_t kFnvBasis = 0xCBF29CE484222325U;

constexpr uint64_t FnvStep(uint64_t hash, char byte) {
  return (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
}

/// A string's hash and length, found in one pass.
struct HashedString {
  uint64_t hash;
  size_t length;
};

/// Two bytes a turn: the multiplications wait for each other, so what counts is how little else
/// there is to do between them.
constexpr HashedString HashString(const char *text) {
  uint64_t hash = kFnvBasis;
  for (const char *next = text;; next += 2) {
    if (next[0] == '\0') return {hash, static_cast<size_t>(next - text)};
    hash = FnvStep(hash, next[0]);
    if (next[1] == '\0') return {hash, static_cast<size_t>(next + 1 - text)};
    hash = FnvStep(hash, next[1]);
  }
}

/// Jenkins' hash of a 32-bit integer.
constexpr uint64_t HashU32(uint32_t a) {
  a = (a + 0x7ED55D16U) + (a << 12);
  a = (a ^ 0xC761C23CU) ^ (a >> 19);
  a = (a + 0x165667B1U) + (a << 5);
  a = (a + 0xD3A2646CU) ^ (a << 9);
  a = (a + 0xFD7046C5U) + (a << 3);
  a = (a ^ 0xB55A4F09U) ^ (a >> 16);
  return a;
}

/// The finaliser of SplitMix64.
constexpr uint64_t HashU64(uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
  return z ^ (z >> 31);
}

/// Start of the bucket chain that entries of this hash belong to; the map must have buckets.
inline MapNode *&BucketOf(const Map &map, uint64_t hash) {
  return map.buckets[(map.nbuckets - 1) & static_cast<uint32_t>(hash)];
}

/// The entry with this hash, or null; the map must have buckets, as every map with entries has.
inline MapNode *FindByHash(const Map &map, uint64_t hash) {
  MapNode *node = BucketOf(map, hash);
  while (node != nullptr && node->hash != hash) node = node->next;
  return node;
}

/// The stored key bytes of an entry.
inline void *KeyOf(MapNode *node) {
  return node + 1;
}

/// Adds an entry for a string key that is not in the map. False, with the map unchanged, when there
/// is no memory.
[[nodiscard]] bool AddStringEntry(Map &map, uint64_t hash, const char *key, size_t key_length,
                                  const void *value, uint32_t value_size);

}  // namespace cu

#endif
