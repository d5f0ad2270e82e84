// The hash map: hits and misses in shuffled order, and filling an empty map and releasing it, a
// key. Keys come as C strings, as they do in a daemon. A std::unordered_map of views into memory of
// somebody else is reported beside the maps that hold their keys.
#include <glib.h>
#include <uthash.h>

#include <algorithm>
#include <boost/unordered_map.hpp>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/frame.hpp"
#include "containers/map_hash.hpp"
#include "include/stackmap.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

/// Keys held and keys absent, both in shuffled order.
struct Keys {
  std::vector<std::string> held, absent;
  std::vector<uint32_t> held_numbers, absent_numbers;
};

Keys MakeKeys(size_t count) {
  Keys keys;
  char name[32];
  for (size_t i = 0; i < count; ++i) {
    snprintf(name, sizeof name, "Threshold_%06zu", i);
    keys.held.emplace_back(name);
    snprintf(name, sizeof name, "Missing___%06zu", i);
    keys.absent.emplace_back(name);
    keys.held_numbers.push_back(static_cast<uint32_t>(i));
    keys.absent_numbers.push_back(static_cast<uint32_t>(i + count));
  }
  std::mt19937 random(4);
  std::shuffle(keys.held.begin(), keys.held.end(), random);
  std::shuffle(keys.absent.begin(), keys.absent.end(), random);
  std::shuffle(keys.held_numbers.begin(), keys.held_numbers.end(), random);
  std::shuffle(keys.absent_numbers.begin(), keys.absent_numbers.end(), random);
  return keys;
}

struct UtString {
  char key[24];
  uint32_t value;
  UT_hash_handle hh;
};

struct UtNumber {
  uint32_t key;
  uint32_t value;
  UT_hash_handle hh;
};

Map FillStrings(const Keys &keys) {
  Map map = {};
  map.keyType = MAP_KEY_STRING;
  uint32_t value = 0;
  for (const std::string &key : keys.held) {
    map_set_(&map, key.c_str(), &value, sizeof value);
    ++value;
  }
  return map;
}

Map FillNumbers(const Keys &keys) {
  Map map = {};
  map.keyType = MAP_KEY_U32;
  uint32_t value = 0;
  for (const uint32_t &key : keys.held_numbers) {
    map_set_(&map, &key, &value, sizeof value);
    ++value;
  }
  return map;
}

uint64_t Value(const void *stored) {
  uint32_t value;
  memcpy(&value, stored, sizeof value);
  return value;
}

uint64_t AllocationFloor(size_t count) {
  for (size_t i = 0; i < count; ++i) {
    void *const node = malloc(sizeof(MapNode) + 24);
    cu_bench::Keep(node);
    free(node);
  }
  return 0;
}

void AddStrings(cu_bench::Family &family, const std::string &size, const Keys &keys) {
  static std::vector<std::unique_ptr<Map>> maps;
  maps.push_back(std::make_unique<Map>(FillStrings(keys)));
  const Map *const map = maps.back().get();
  auto standard = std::make_shared<std::unordered_map<std::string, uint32_t>>();
  auto views = std::make_shared<std::unordered_map<std::string_view, uint32_t>>();
  auto boosted = std::make_shared<boost::unordered_map<std::string, uint32_t>>();
  GHashTable *const glib = g_hash_table_new(g_str_hash, g_str_equal);
  auto ut = std::make_shared<UtString *>(nullptr);
  uint32_t next = 0;
  for (const std::string &key : keys.held) {
    (*standard)[key] = next;
    (*views)[key] = next;
    (*boosted)[key] = next;
    g_hash_table_insert(glib, const_cast<char *>(key.c_str()), GUINT_TO_POINTER(next + 1));
    auto *const node = static_cast<UtString *>(calloc(1, sizeof(UtString)));
    strcpy(node->key, key.c_str());
    node->value = next++;
    HASH_ADD_STR(*ut, key, node);
  }

  const auto add_lookups = [&](const char *what, const std::vector<std::string> &wanted) {
    auto &workload = family.AddWorkload("string " + std::string(what) + ", " + size);
    const std::vector<std::string> *const list = &wanted;
    workload.Add(Role::kLibrary, "map_get_", [=]() -> uint64_t {
      uint64_t sum = 0;
      for (const std::string &key : *list)
        if (const void *const found = map_get_(map, key.c_str())) sum += Value(found) + 1;
      return sum;
    });
    workload.Add(Role::kPeer, "std::unordered_map", [=]() -> uint64_t {
      uint64_t sum = 0;
      for (const std::string &key : *list)
        if (const auto found = standard->find(key.c_str()); found != standard->end())
          sum += found->second + 1;
      return sum;
    });
    workload.Add(Role::kReported, "std::unordered_map of views", [=]() -> uint64_t {
      uint64_t sum = 0;
      for (const std::string &key : *list)
        if (const auto found = views->find(key.c_str()); found != views->end())
          sum += found->second + 1;
      return sum;
    });
    workload.Add(Role::kPeer, "boost::unordered_map", [=]() -> uint64_t {
      uint64_t sum = 0;
      for (const std::string &key : *list)
        if (const auto found = boosted->find(key.c_str()); found != boosted->end())
          sum += found->second + 1;
      return sum;
    });
    workload.Add(Role::kPeer, "GHashTable", [=]() -> uint64_t {
      uint64_t sum = 0;
      for (const std::string &key : *list)
        if (gpointer const found = g_hash_table_lookup(glib, key.c_str()))
          sum += GPOINTER_TO_UINT(found);
      return sum;
    });
    workload.Add(Role::kPeer, "uthash", [=]() -> uint64_t {
      uint64_t sum = 0;
      for (const std::string &key : *list) {
        UtString *found = nullptr;
        HASH_FIND_STR(*ut, key.c_str(), found);
        if (found != nullptr) sum += found->value + 1;
      }
      return sum;
    });
    workload.Add(
        Role::kFloor, "the hash alone",
        [=]() -> uint64_t {
          uint64_t sum = 0;
          for (const std::string &key : *list) sum += cu::HashString(key.c_str()).hash;
          return sum;
        },
        Check::kNone);
  };
  add_lookups("hit", keys.held);
  add_lookups("miss", keys.absent);

  auto &workload = family.AddWorkload("string fill and release, " + size);
  const Keys *const all = &keys;
  workload.Add(Role::kLibrary, "map_set_", [=]() -> uint64_t {
    Map filled = FillStrings(*all);
    const uint64_t count = map_get_numElements_(&filled);
    map_deinit_(&filled);
    return count;
  });
  workload.Add(Role::kPeer, "std::unordered_map", [=]() -> uint64_t {
    std::unordered_map<std::string, uint32_t> filled;
    uint32_t value = 0;
    for (const std::string &key : all->held) filled[key.c_str()] = value++;
    return filled.size();
  });
  workload.Add(Role::kPeer, "boost::unordered_map", [=]() -> uint64_t {
    boost::unordered_map<std::string, uint32_t> filled;
    uint32_t value = 0;
    for (const std::string &key : all->held) filled[key.c_str()] = value++;
    return filled.size();
  });
  workload.Add(Role::kPeer, "GHashTable", [=]() -> uint64_t {
    GHashTable *const filled = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
    uint32_t value = 0;
    for (const std::string &key : all->held)
      g_hash_table_insert(filled, g_strdup(key.c_str()), GUINT_TO_POINTER(value++));
    const uint64_t count = g_hash_table_size(filled);
    g_hash_table_destroy(filled);
    return count;
  });
  workload.Add(
      Role::kFloor, "malloc + free of the entries",
      [=] { return AllocationFloor(all->held.size()); }, Check::kNone);
  workload.Add(Role::kPeer, "uthash", [=]() -> uint64_t {
    UtString *filled = nullptr;
    uint32_t value = 0;
    for (const std::string &key : all->held) {
      auto *const node = static_cast<UtString *>(malloc(sizeof(UtString)));
      strcpy(node->key, key.c_str());
      node->value = value++;
      HASH_ADD_STR(filled, key, node);
    }
    const uint64_t count = HASH_COUNT(filled);
    UtString *node = nullptr, *other = nullptr;
    HASH_ITER(hh, filled, node, other) {
      HASH_DEL(filled, node);
      free(node);
    }
    return count;
  });
}

void AddNumbers(cu_bench::Family &family, const std::string &size, const Keys &keys) {
  static std::vector<std::unique_ptr<Map>> maps;
  maps.push_back(std::make_unique<Map>(FillNumbers(keys)));
  const Map *const map = maps.back().get();
  auto standard = std::make_shared<std::unordered_map<uint32_t, uint32_t>>();
  auto boosted = std::make_shared<boost::unordered_map<uint32_t, uint32_t>>();
  GHashTable *const glib = g_hash_table_new(g_direct_hash, g_direct_equal);
  auto ut = std::make_shared<UtNumber *>(nullptr);
  uint32_t next = 0;
  for (const uint32_t key : keys.held_numbers) {
    (*standard)[key] = next;
    (*boosted)[key] = next;
    g_hash_table_insert(glib, GUINT_TO_POINTER(key), GUINT_TO_POINTER(next + 1));
    auto *const node = static_cast<UtNumber *>(calloc(1, sizeof(UtNumber)));
    node->key = key;
    node->value = next++;
    HASH_ADD(hh, *ut, key, sizeof node->key, node);
  }
  const Keys *const all = &keys;

  auto &lookup = family.AddWorkload("32-bit hit, " + size);
  lookup.Add(Role::kLibrary, "map_get_", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const uint32_t &key : all->held_numbers)
      if (const void *const found = map_get_(map, &key)) sum += Value(found) + 1;
    return sum;
  });
  lookup.Add(Role::kPeer, "std::unordered_map", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const uint32_t key : all->held_numbers)
      if (const auto found = standard->find(key); found != standard->end())
        sum += found->second + 1;
    return sum;
  });
  lookup.Add(Role::kPeer, "boost::unordered_map", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const uint32_t key : all->held_numbers)
      if (const auto found = boosted->find(key); found != boosted->end()) sum += found->second + 1;
    return sum;
  });
  lookup.Add(Role::kPeer, "GHashTable", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const uint32_t key : all->held_numbers)
      if (gpointer const found = g_hash_table_lookup(glib, GUINT_TO_POINTER(key)))
        sum += GPOINTER_TO_UINT(found);
    return sum;
  });
  lookup.Add(Role::kPeer, "uthash", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const uint32_t &key : all->held_numbers) {
      UtNumber *found = nullptr;
      HASH_FIND(hh, *ut, &key, sizeof key, found);
      if (found != nullptr) sum += found->value + 1;
    }
    return sum;
  });

  lookup.Add(
      Role::kFloor, "the hash alone",
      [=]() -> uint64_t {
        uint64_t sum = 0;
        for (const uint32_t key : all->held_numbers) {
          const uint64_t hash = cu::HashU32(key);
          cu_bench::Keep(hash);
          sum += hash;
        }
        return sum;
      },
      Check::kNone);

  auto &filling = family.AddWorkload("32-bit fill and release, " + size);
  filling.Add(Role::kLibrary, "map_set_", [=]() -> uint64_t {
    Map filled = FillNumbers(*all);
    const uint64_t count = map_get_numElements_(&filled);
    map_deinit_(&filled);
    return count;
  });
  filling.Add(Role::kPeer, "std::unordered_map", [=]() -> uint64_t {
    std::unordered_map<uint32_t, uint32_t> filled;
    uint32_t value = 0;
    for (const uint32_t key : all->held_numbers) filled[key] = value++;
    return filled.size();
  });
  filling.Add(Role::kPeer, "boost::unordered_map", [=]() -> uint64_t {
    boost::unordered_map<uint32_t, uint32_t> filled;
    uint32_t value = 0;
    for (const uint32_t key : all->held_numbers) filled[key] = value++;
    return filled.size();
  });
  filling.Add(Role::kPeer, "GHashTable", [=]() -> uint64_t {
    GHashTable *const filled = g_hash_table_new(g_direct_hash, g_direct_equal);
    uint32_t value = 0;
    for (const uint32_t key : all->held_numbers)
      g_hash_table_insert(filled, GUINT_TO_POINTER(key), GUINT_TO_POINTER(value++));
    const uint64_t count = g_hash_table_size(filled);
    g_hash_table_destroy(filled);
    return count;
  });
  filling.Add(
      Role::kFloor, "malloc + free of the entries",
      [=] { return AllocationFloor(all->held_numbers.size()); }, Check::kNone);
  filling.Add(Role::kPeer, "uthash", [=]() -> uint64_t {
    UtNumber *filled = nullptr;
    uint32_t value = 0;
    for (const uint32_t key : all->held_numbers) {
      auto *const node = static_cast<UtNumber *>(malloc(sizeof(UtNumber)));
      node->key = key;
      node->value = value++;
      HASH_ADD(hh, filled, key, sizeof node->key, node);
    }
    const uint64_t count = HASH_COUNT(filled);
    UtNumber *node = nullptr, *other = nullptr;
    HASH_ITER(hh, filled, node, other) {
      HASH_DEL(filled, node);
      free(node);
    }
    return count;
  });
}

}  // namespace

int main(int argc, char **argv) {
  struct Size {
    const char *name;
    size_t count;
  };
  static constexpr Size kSizes[] = {
      {"10 keys", 10}, {"1,000 keys", 1000}, {"100,000 keys", 100000}};
  static std::vector<Keys> keys;
  keys.reserve(3);
  cu_bench::Family family("map", cu_bench::Clock::kCpu);
  for (const Size &size : kSizes) {
    keys.push_back(MakeKeys(size.count));
    AddStrings(family, size.name, keys.back());
    AddNumbers(family, size.name, keys.back());
  }
  return family.Main(argc, argv);
}
