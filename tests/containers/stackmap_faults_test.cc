#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "include/stackmap.h"
#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;

TEST(StackInit, GivesNullWithoutMemoryAndTheFirstPushTriesAgain) {
  Stack stack;
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(stack_init_(&stack), nullptr);
  }
  EXPECT_EQ(stack.items, nullptr);
  EXPECT_EQ(stack_pop_(&stack), nullptr);
  EXPECT_EQ(stack_get_(&stack, 0), nullptr);
  char item;
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(stack_push_(&stack, &item, 1), 0);
  }
  EXPECT_EQ(stack_push_(&stack, &item, 1), 1);
  EXPECT_EQ(stack.capacity, 10u);
  EXPECT_EQ(stack_pop_(&stack), &item);
  stack_deinit_(&stack, 0);
}

TEST(StackPush, LeavesTheStackUnchangedWhenItCannotGrow) {
  Stack stack;
  stack_init_(&stack);
  char items[11];
  for (int i = 0; i < 10; ++i) stack_push_(&stack, &items[i], 1);
  const Stack before = stack;
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(stack_push_(&stack, &items[10], 1), 0);
  }
  EXPECT_EQ(memcmp(&stack, &before, sizeof stack), 0);
  EXPECT_EQ(stack_push_(&stack, &items[10], 1), 1);
  for (uint32_t i = 0; i < 11; ++i) EXPECT_EQ(stack_get_(&stack, i), &items[i]);
  stack_deinit_(&stack, 0);
}

std::vector<std::string> Texts(const Map &map) {
  std::vector<std::string> keys;
  MapIter iter = map_iter_();
  while (const void *key = map_next_(&map, &iter)) keys.push_back(static_cast<const char *>(key));
  return keys;
}

TEST(MapSet, LeavesTheEntriesAsTheyWereAtEachFailedAllocation) {
  for (long k = 1;; ++k) {
    Map map = {nullptr, 0, 0, MAP_KEY_STRING};
    bool fired = false;
    {
      const Fault fault(Call::kMemory, k);
      for (int i = 0; i < 20; ++i) {
        const std::vector<std::string> before = Texts(map);
        const uint32_t buckets = map.nbuckets;
        const std::string key = "key" + std::to_string(i);
        if (map_set_(&map, key.c_str(), &i, sizeof i) == 0) continue;
        EXPECT_EQ(Texts(map), before);
        EXPECT_EQ(map.nbuckets, buckets);
        EXPECT_EQ(map.nnodes, before.size());
        EXPECT_EQ(map_set_(&map, key.c_str(), &i, sizeof i), 0);
      }
      fired = fault.fired();
    }
    EXPECT_EQ(map.nnodes, 20u);
    EXPECT_EQ(map.nbuckets, 32u);
    map_deinit_(&map);
    if (!fired) break;
  }
}

TEST(MapSet, NeedsMemoryForEachDoubling) {
  Map map = {nullptr, 0, 0, MAP_KEY_U32};
  for (uint32_t key = 0; key < 33; ++key) {
    const uint32_t buckets = map.nbuckets;
    if (map.nnodes >= buckets) {
      const Fault fault(Call::kMemory, 2);  // behind the entry
      EXPECT_EQ(map_set_(&map, &key, "v", 2), -1) << key;
      EXPECT_TRUE(fault.fired());
      EXPECT_EQ(map.nbuckets, buckets);
      EXPECT_EQ(map.nnodes, key);
    }
    EXPECT_EQ(map_set_(&map, &key, "v", 2), 0);
  }
  EXPECT_EQ(map.nbuckets, 64u);
  map_deinit_(&map);
}

TEST(MapSet, GrowsAnArrayThatTheProgramBrought) {
  Map map = {static_cast<MapNode **>(calloc(2, sizeof(MapNode *))), 2, 0, MAP_KEY_U32};
  for (uint32_t key = 0; key < 9; ++key) EXPECT_EQ(map_set_(&map, &key, "v", 2), 0);
  EXPECT_EQ(map.nbuckets, 16u);
  for (uint32_t key = 0; key < 9; ++key) EXPECT_NE(map_get_(&map, &key), nullptr);
  map_deinit_(&map);
}

TEST(MapGetKeys, GivesNullAndFreesItsCopiesAtEachFailedAllocation) {
  Map map = {nullptr, 0, 0, MAP_KEY_STRING};
  for (const char *key : {"a", "b", "c"}) map_set_(&map, key, "v", 1);
  for (long k = 1; k <= 4; ++k) {
    uint32_t count = 9;
    const Fault fault(Call::kMemory, k);
    EXPECT_EQ(map_get_keys_(&map, &count), nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(fault.fired());
  }
  map_deinit_(&map);
}

}  // namespace
