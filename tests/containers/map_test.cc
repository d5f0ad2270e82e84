#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "include/stackmap.h"
#include "support/sanitizers.hpp"

namespace {

Map NewMap(uint32_t key_type) {
  return {nullptr, 0, 0, key_type};
}

/// A map that is released at the end of its scope.
struct OwnedMap : Map {
  explicit OwnedMap(uint32_t key_type) : Map(NewMap(key_type)) {}
  ~OwnedMap() { map_deinit_(this); }
};

int SetText(Map &map, const char *key, uint32_t value) {
  return map_set_(&map, key, &value, sizeof value);
}

/// The 32-bit value under a key, or -1.
template <typename Key>
int64_t Value(const Map &map, const Key *key) {
  const void *const bytes = map_get_(&map, key);
  if (bytes == nullptr) return -1;
  uint32_t value;
  memcpy(&value, bytes, sizeof value);
  return value;
}

template <typename Key>
int SetNumber(Map &map, Key key, uint32_t value) {
  return map_set_(&map, &key, &value, sizeof value);
}

template <typename Key>
int64_t NumberValue(const Map &map, Key key) {
  return Value(map, &key);
}

std::vector<std::string> Texts(const Map &map) {
  std::vector<std::string> keys;
  MapIter iter = map_iter_();
  while (const void *key = map_next_(&map, &iter)) keys.push_back(static_cast<const char *>(key));
  return keys;
}

template <typename Key>
std::vector<Key> Numbers(const Map &map) {
  std::vector<Key> keys;
  MapIter iter = map_iter_();
  while (const void *bytes = map_next_(&map, &iter)) {
    Key key;
    memcpy(&key, bytes, sizeof key);
    keys.push_back(key);
  }
  return keys;
}

/// The only entry of a map.
MapNode *OnlyNode(const Map &map) {
  MapIter iter = map_iter_();
  map_next_(&map, &iter);
  return iter.node;
}

TEST(MapGet, GivesNullForNullArgumentsAndAnEmptyMap) {
  OwnedMap map(MAP_KEY_STRING);
  EXPECT_EQ(map_get_(nullptr, "a"), nullptr);
  EXPECT_EQ(map_get_(&map, nullptr), nullptr);
  EXPECT_EQ(map_get_(&map, "a"), nullptr);
}

TEST(MapGet, DoesNotReadTheKeyWhileTheMapIsEmpty) {
  OwnedMap map(MAP_KEY_STRING);
  // An address that must not be read.
  EXPECT_EQ(map_get_(&map, reinterpret_cast<const void *>(uintptr_t{16})), nullptr);
  map_remove_(&map, reinterpret_cast<const void *>(uintptr_t{16}));
}

TEST(MapGet, FindsWhatWasSet) {
  OwnedMap map(MAP_KEY_STRING);
  EXPECT_EQ(SetText(map, "a", 1), 0);
  EXPECT_EQ(SetText(map, "", 2), 0);
  EXPECT_EQ(SetText(map, "abc", 3), 0);
  EXPECT_EQ(Value(map, "a"), 1);
  EXPECT_EQ(Value(map, ""), 2);
  EXPECT_EQ(Value(map, "abc"), 3);
  EXPECT_EQ(Value(map, "ab"), -1);
  EXPECT_EQ(Value(map, "A"), -1);
}

TEST(MapGet, GivesTheValueInPlace) {
  OwnedMap map(MAP_KEY_STRING);
  SetText(map, "a", 1);
  const uint32_t changed = 9;
  memcpy(map_get_(&map, "a"), &changed, sizeof changed);
  EXPECT_EQ(Value(map, "a"), 9);
}

TEST(MapSet, RefusesNullArguments) {
  OwnedMap map(MAP_KEY_STRING);
  const uint32_t value = 1;
  EXPECT_EQ(map_set_(nullptr, "a", &value, sizeof value), -1);
  EXPECT_EQ(map_set_(&map, nullptr, &value, sizeof value), -1);
  EXPECT_EQ(map_set_(&map, "a", nullptr, sizeof value), -1);
  EXPECT_EQ(map.nnodes, 0u);
  EXPECT_EQ(map.buckets, nullptr);
}

TEST(MapSet, OverwritesAnExistingValueInPlace) {
  OwnedMap map(MAP_KEY_STRING);
  SetText(map, "a", 1);
  const void *const place = map_get_(&map, "a");
  EXPECT_EQ(SetText(map, "a", 2), 0);
  EXPECT_EQ(map_get_(&map, "a"), place);
  EXPECT_EQ(Value(map, "a"), 2);
  EXPECT_EQ(map.nnodes, 1u);
  EXPECT_EQ(map.nbuckets, 1u);
}

TEST(MapSet, OverwritesOnlyTheBytesGiven) {
  OwnedMap map(MAP_KEY_STRING);
  map_set_(&map, "a", "12345678", 8);
  EXPECT_EQ(map_set_(&map, "a", "ab", 2), 0);
  EXPECT_EQ(memcmp(map_get_(&map, "a"), "ab345678", 8), 0);
}

TEST(MapSet, TakesANewValueFromWithinTheOldOne) {
  OwnedMap map(MAP_KEY_STRING);
  std::string text(64, '.');
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('0' + i);
  map_set_(&map, "a", text.data(), 64);
  const char *const stored = static_cast<char *>(map_get_(&map, "a"));
  EXPECT_EQ(map_set_(&map, "a", stored, 64), 0);
  EXPECT_EQ(std::string(stored, 64), text);
  EXPECT_EQ(map_set_(&map, "a", stored + 1, 63), 0);
  EXPECT_EQ(std::string(stored, 64), text.substr(1) + text.back());
}

#if CU_ADDRESS_SANITIZER
TEST(MapSetDeathTest, WritesALargerValueOverTheEndOfItsMemory) {
  Map map = NewMap(MAP_KEY_STRING);
  map_set_(&map, "a", "1234", 4);
  EXPECT_DEATH(map_set_(&map, "a", "12345678", 8), "heap-buffer-overflow");
  map_deinit_(&map);
}
#endif

TEST(MapSet, RefusesAnEntryThatOutgrowsTheAddressSpace) {
  if (sizeof(size_t) > sizeof(uint32_t)) GTEST_SKIP() << "no size of 32 bits does that here";
  OwnedMap map(MAP_KEY_STRING);
  EXPECT_EQ(map_set_(&map, "a", "v", UINT32_MAX), -1);
  EXPECT_EQ(map_set_(&map, "a", "v", UINT32_MAX - 16), -1);
  EXPECT_EQ(map.nnodes, 0u);
}

TEST(MapSet, StoresAValueOfNoBytes) {
  OwnedMap map(MAP_KEY_STRING);
  EXPECT_EQ(map_set_(&map, "a", "", 0), 0);
  EXPECT_NE(map_get_(&map, "a"), nullptr);
  EXPECT_EQ(map.nnodes, 1u);
}

TEST(MapSet, DoublesTheBucketsWhenThereIsAnEntryForEach) {
  OwnedMap map(MAP_KEY_STRING);
  const uint32_t expected[] = {1, 2, 4, 4, 8, 8, 8, 8, 16, 16, 16, 16, 16, 16, 16, 16, 32};
  uint32_t entries = 0;
  for (const uint32_t buckets : expected) {
    EXPECT_EQ(SetText(map, std::to_string(entries).c_str(), 0), 0);
    EXPECT_EQ(map.nbuckets, buckets);
    EXPECT_EQ(map.nnodes, ++entries);
  }
}

TEST(MapSet, NeedsNoAlignedKeysOrValues) {
  alignas(8) char bytes[32] = {};
  const uint64_t key = 0x0123456789ABCDEFU;
  const uint32_t value = 77;
  memcpy(bytes + 1, &key, sizeof key);
  memcpy(bytes + 11, &value, sizeof value);
  for (const uint32_t type : {MAP_KEY_U32, MAP_KEY_U64, MAP_KEY_U16}) {
    OwnedMap map(type);
    EXPECT_EQ(map_set_(&map, bytes + 1, bytes + 11, sizeof value), 0);
    EXPECT_EQ(Value(map, bytes + 1), 77);
  }
}

TEST(MapSet, ReadsOnlyTheKeysOwnWidth) {
  // One byte more would be outside the block; AddressSanitizer watches.
  for (const auto &[type, width] :
       {std::pair{MAP_KEY_U16, 2u}, {MAP_KEY_U32, 4u}, {MAP_KEY_U64, 8u}}) {
    void *const key = malloc(width);
    memset(key, 0x5A, width);
    OwnedMap map(type);
    EXPECT_EQ(map_set_(&map, key, "v", 1), 0);
    EXPECT_NE(map_get_(&map, key), nullptr);
    map_remove_(&map, key);
    EXPECT_EQ(map.nnodes, 0u);
    free(key);
  }
}

TEST(MapNode, HoldsHashKeyAndValueInOneBlock) {
  OwnedMap map(MAP_KEY_STRING);
  map_set_(&map, "foobar", "12345", 5);
  const MapNode *const node = OnlyNode(map);
  EXPECT_EQ(node->hash, 0x85944171F73967E8U);
  EXPECT_EQ(node->next, nullptr);
  const char *const key = reinterpret_cast<const char *>(node + 1);
  EXPECT_EQ(memcmp(key, "foobar\0\0", 8), 0);
  EXPECT_EQ(node->value, key + 8);
  EXPECT_EQ(memcmp(node->value, "12345", 5), 0);
}

TEST(MapNode, RoundsStringKeysUpToFourBytes) {
  for (const auto &[key, area] :
       {std::pair{"", 4}, {"a", 4}, {"abc", 4}, {"abcd", 8}, {"abcdefg", 8}}) {
    SCOPED_TRACE(key);
    OwnedMap map(MAP_KEY_STRING);
    map_set_(&map, key, "v", 1);
    const MapNode *const node = OnlyNode(map);
    const char *const stored = reinterpret_cast<const char *>(node + 1);
    EXPECT_EQ(static_cast<const char *>(node->value) - stored, area);
    for (ptrdiff_t i = static_cast<ptrdiff_t>(strlen(key)); i < area; ++i) EXPECT_EQ(stored[i], 0);
  }
}

TEST(MapNode, GivesNumericKeysTwelveBytesOfWhichTheRestIsZero) {
  const uint64_t key = 0x1122334455667788U;
  for (const auto &[type, width] :
       {std::pair{MAP_KEY_U16, 2}, {MAP_KEY_U32, 4}, {MAP_KEY_U64, 8}}) {
    OwnedMap map(type);
    map_set_(&map, &key, "v", 1);
    const MapNode *const node = OnlyNode(map);
    const char *const stored = reinterpret_cast<const char *>(node + 1);
    EXPECT_EQ(static_cast<const char *>(node->value) - stored, 12);
    EXPECT_EQ(memcmp(stored, &key, static_cast<size_t>(width)), 0);
    for (int i = width; i < 12; ++i) EXPECT_EQ(stored[i], 0) << i;
  }
}

struct StringHash {
  const char *key;
  uint64_t hash;
};
constexpr StringHash kStringHashes[] = {
    {"", 0xCBF29CE484222325U},
    {"a", 0xAF63DC4C8601EC8CU},
    {"foobar", 0x85944171F73967E8U},
    {"\xFF", 0xAF64724C8602EB6EU},
};

TEST(MapHash, IsFnv1aForStrings) {
  for (const auto &[key, hash] : kStringHashes) {
    OwnedMap map(MAP_KEY_STRING);
    SetText(map, key, 0);
    EXPECT_EQ(OnlyNode(map)->hash, hash) << key;
  }
}

TEST(MapHash, TakesAnUnknownKeyTypeAsString) {
  for (const uint32_t type : {4u, 77u, UINT32_MAX}) {
    OwnedMap map(type);
    SetText(map, "a", 3);
    EXPECT_EQ(OnlyNode(map)->hash, 0xAF63DC4C8601EC8CU);
    EXPECT_EQ(Value(map, "a"), 3);
    uint32_t count = 0;
    void **const keys = map_get_keys_(&map, &count);
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(static_cast<char *>(keys[0]), "a");
    free(keys[0]);
    free(keys);
  }
}

TEST(MapHash, IsJenkinsIntegerHashFor32Bits) {
  const std::pair<uint32_t, uint32_t> rows[] = {{0, 0x6B4ED927},          {1, 0xB48681B6},
                                                {2, 0xE267B84C},          {0xFFFF, 0x070A6EEC},
                                                {0xFFFFFFFF, 0xFE64C182}, {0x12345678, 0x027C5489}};
  for (const auto &[key, hash] : rows) {
    OwnedMap map(MAP_KEY_U32);
    SetNumber(map, key, 0);
    EXPECT_EQ(OnlyNode(map)->hash, hash) << key;
  }
}

TEST(MapHash, Widens16BitsForTheSameIntegerHash) {
  for (const auto &[key, hash] :
       {std::pair<uint16_t, uint32_t>{0, 0x6B4ED927}, {2, 0xE267B84C}, {0xFFFF, 0x070A6EEC}}) {
    OwnedMap map(MAP_KEY_U16);
    SetNumber(map, key, 0);
    EXPECT_EQ(OnlyNode(map)->hash, hash) << key;
  }
}

TEST(MapHash, IsTheSplitMixFinaliserFor64Bits) {
  const std::pair<uint64_t, uint64_t> rows[] = {{0, 0},
                                                {1, 0x5692161D100B05E5U},
                                                {0x9E3779B97F4A7C15U, 0xE220A8397B1DCDAFU},
                                                {UINT64_MAX, 0xB4D055FCF2CBBD7BU}};
  for (const auto &[key, hash] : rows) {
    OwnedMap map(MAP_KEY_U64);
    SetNumber(map, key, 0);
    EXPECT_EQ(OnlyNode(map)->hash, hash) << key;
  }
}

TEST(MapHash, AloneDecidesWhichKeysAreOne) {
  // An entry whose hash is forged to that of another key is found, replaced and removed as that
  // key.
  OwnedMap map(MAP_KEY_STRING);
  SetText(map, "stranger", 1);
  OnlyNode(map)->hash = 0xAF63DC4C8601EC8CU;  // that of "a"
  EXPECT_EQ(Value(map, "a"), 1);
  EXPECT_EQ(Value(map, "stranger"), -1);
  EXPECT_EQ(SetText(map, "a", 2), 0);
  EXPECT_EQ(map.nnodes, 1u);
  EXPECT_EQ(Texts(map), std::vector<std::string>{"stranger"});
  map_remove_(&map, "a");
  EXPECT_EQ(map.nnodes, 0u);
}

TEST(MapHash, IsComparedInAllItsBits) {
  OwnedMap map(MAP_KEY_STRING);
  SetText(map, "a", 1);
  OnlyNode(map)->hash ^= uint64_t{1} << 63;
  EXPECT_EQ(Value(map, "a"), -1);
}

TEST(MapRemove, UnlinksTheEntryAndKeepsTheOthers) {
  OwnedMap map(MAP_KEY_U32);
  for (uint32_t key = 0; key < 100; ++key) SetNumber(map, key, key * 2);
  for (uint32_t key = 0; key < 100; key += 3) map_remove_(&map, &key);
  EXPECT_EQ(map.nnodes, 66u);
  EXPECT_EQ(map.nbuckets, 128u);
  for (uint32_t key = 0; key < 100; ++key) {
    EXPECT_EQ(NumberValue(map, key), key % 3 == 0 ? -1 : int64_t{key} * 2);
  }
}

TEST(MapRemove, DoesNothingForNullOrAbsentKeys) {
  OwnedMap map(MAP_KEY_STRING);
  map_remove_(&map, "a");
  map_remove_(nullptr, "a");
  SetText(map, "b", 1);
  map_remove_(&map, "a");
  map_remove_(&map, nullptr);
  EXPECT_EQ(map.nnodes, 1u);
}

TEST(MapRemove, LetsTheKeyBeSetAgain) {
  OwnedMap map(MAP_KEY_STRING);
  SetText(map, "a", 1);
  map_remove_(&map, "a");
  EXPECT_EQ(map.nnodes, 0u);
  EXPECT_EQ(map_get_(&map, "a"), nullptr);
  EXPECT_EQ(SetText(map, "a", 2), 0);
  EXPECT_EQ(Value(map, "a"), 2);
}

TEST(MapDeinit, LeavesAnEmptyMapThatCanBeUsedAgain) {
  Map map = NewMap(MAP_KEY_U32);
  for (uint32_t key = 0; key < 20; ++key) SetNumber(map, key, key);
  map_deinit_(&map);
  EXPECT_EQ(map_get_numElements_(&map), 0u);
  EXPECT_EQ(NumberValue(map, uint32_t{3}), -1);
  SetNumber(map, uint32_t{3}, 4);
  EXPECT_EQ(NumberValue(map, uint32_t{3}), 4);
  map_deinit_(&map);
  map_deinit_(&map);
}

TEST(MapDeinit, AcceptsNullAndZeroedMaps) {
  map_deinit_(nullptr);
  Map map = NewMap(MAP_KEY_STRING);
  map_deinit_(&map);
}

TEST(MapNumElements, CountsTheEntries) {
  OwnedMap map(MAP_KEY_STRING);
  EXPECT_EQ(map_get_numElements_(&map), 0u);
  SetText(map, "a", 1);
  EXPECT_EQ(map_get_numElements_(&map), 1u);
  EXPECT_EQ(map_get_numElements_(nullptr), 0xFFFFFFFFu);
}

TEST(MapIter, StartsBeforeTheFirstBucket) {
  const MapIter iter = map_iter_();
  EXPECT_EQ(iter.bucketIdx, 0xFFFFFFFFu);
  EXPECT_EQ(iter.node, nullptr);
}

// The orders below follow from the hashes and the growth: by bucket, and in a bucket the newest
// first, where doubling keeps the order of entries that stay together.
TEST(MapNext, WalksStringsByBucketNewestFirst) {
  OwnedMap map(MAP_KEY_STRING);
  for (const char *key :
       {"alpha", "beta", "gamma", "delta", "epsilon", "zeta", "eta", "theta", "iota"}) {
    SetText(map, key, 0);
  }
  EXPECT_EQ(map.nbuckets, 16u);
  EXPECT_EQ(Texts(map), (std::vector<std::string>{"delta", "eta", "beta", "iota", "gamma", "theta",
                                                  "alpha", "epsilon", "zeta"}));
}

TEST(MapNext, WalksNumbersByBucketNewestFirst) {
  OwnedMap small(MAP_KEY_U32);
  OwnedMap large(MAP_KEY_U64);
  OwnedMap half(MAP_KEY_U16);
  for (uint32_t key = 1; key <= 12; ++key) {
    SetNumber(small, key, 0);
    SetNumber(large, uint64_t{key}, 0);
    SetNumber(half, static_cast<uint16_t>(key), 0);
  }
  EXPECT_EQ(Numbers<uint32_t>(small),
            (std::vector<uint32_t>{7, 12, 9, 10, 8, 6, 1, 11, 3, 2, 4, 5}));
  EXPECT_EQ(Numbers<uint16_t>(half),
            (std::vector<uint16_t>{7, 12, 9, 10, 8, 6, 1, 11, 3, 2, 4, 5}));
  EXPECT_EQ(Numbers<uint64_t>(large),
            (std::vector<uint64_t>{3, 7, 4, 1, 9, 8, 10, 2, 12, 6, 5, 11}));
}

TEST(MapNext, StaysAtTheEnd) {
  OwnedMap map(MAP_KEY_STRING);
  SetText(map, "a", 1);
  SetText(map, "b", 1);
  MapIter iter = map_iter_();
  EXPECT_NE(map_next_(&map, &iter), nullptr);
  EXPECT_NE(map_next_(&map, &iter), nullptr);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(map_next_(&map, &iter), nullptr);
    EXPECT_EQ(iter.bucketIdx, map.nbuckets);
    EXPECT_EQ(iter.node, nullptr);
  }
}

TEST(MapNext, EndsAtOnceForAnEmptyMap) {
  OwnedMap map(MAP_KEY_STRING);
  MapIter iter = map_iter_();
  EXPECT_EQ(map_next_(&map, &iter), nullptr);
  EXPECT_EQ(map_next_(&map, &iter), nullptr);
  SetText(map, "a", 1);
  map_remove_(&map, "a");
  iter = map_iter_();
  EXPECT_EQ(map_next_(&map, &iter), nullptr);
}

TEST(MapNext, GivesNullForNullArguments) {
  OwnedMap map(MAP_KEY_STRING);
  MapIter iter = map_iter_();
  EXPECT_EQ(map_next_(nullptr, &iter), nullptr);
  EXPECT_EQ(map_next_(&map, nullptr), nullptr);
}

TEST(MapGetKeys, CopiesStringsInIterationOrder) {
  OwnedMap map(MAP_KEY_STRING);
  for (const char *key : {"one", "two", "three", "four", "five", ""}) SetText(map, key, 0);
  uint32_t count = 0;
  void **const keys = map_get_keys_(&map, &count);
  ASSERT_NE(keys, nullptr);
  ASSERT_EQ(count, 6u);
  std::vector<std::string> copies;
  for (uint32_t i = 0; i < count; ++i) {
    copies.push_back(static_cast<char *>(keys[i]));
    free(keys[i]);
  }
  free(keys);
  EXPECT_EQ(copies, Texts(map));
}

TEST(MapGetKeys, CopiesNumbersAtTheirWidth) {
  const uint64_t key = 0x1122334455667788U;
  for (const auto &[type, width] :
       {std::pair{MAP_KEY_U16, 2u}, {MAP_KEY_U32, 4u}, {MAP_KEY_U64, 8u}}) {
    OwnedMap map(type);
    map_set_(&map, &key, "v", 1);
    uint32_t count = 0;
    void **const keys = map_get_keys_(&map, &count);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(memcmp(keys[0], &key, width), 0);
    free(keys[0]);
    free(keys);
  }
}

TEST(MapGetKeys, GivesAnArrayForAnEmptyMap) {
  OwnedMap map(MAP_KEY_STRING);
  uint32_t count = 7;
  void **const keys = map_get_keys_(&map, &count);
  EXPECT_NE(keys, nullptr);
  EXPECT_EQ(count, 0u);
  free(keys);
}

TEST(MapGetKeys, GivesNullAndZeroForNullArguments) {
  OwnedMap map(MAP_KEY_STRING);
  uint32_t count = 7;
  EXPECT_EQ(map_get_keys_(nullptr, &count), nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(map_get_keys_(&map, nullptr), nullptr);
}

}  // namespace
