// The map against a model that follows its description step by step, over random operations. The
// model gathers all entries in one list to grow; the map deals each chain out in place.
#include <gtest/gtest.h>

#include <string.h>

#include <list>
#include <random>
#include <string>
#include <vector>

#include "include/stackmap.h"

namespace {

uint64_t Fnv(const std::string &key) {
  uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : key) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return hash;
}

class ModelMap {
 public:
  void Set(const std::string &key, uint32_t value) {
    const uint64_t hash = Fnv(key);
    if (!buckets_.empty()) {
      for (Entry &entry : Bucket(hash)) {
        if (entry.hash != hash) continue;
        entry.value = value;
        return;
      }
    }
    if (count_ >= buckets_.size()) Grow();
    Bucket(hash).push_front({key, hash, value});
    ++count_;
  }

  void Remove(const std::string &key) {
    if (buckets_.empty()) return;
    const uint64_t hash = Fnv(key);
    count_ -= Bucket(hash).remove_if([hash](const Entry &entry) { return entry.hash == hash; });
  }

  std::vector<std::pair<std::string, uint32_t>> Entries() const {
    std::vector<std::pair<std::string, uint32_t>> all;
    for (const auto &bucket : buckets_) {
      for (const Entry &entry : bucket) all.emplace_back(entry.key, entry.value);
    }
    return all;
  }

  size_t buckets() const { return buckets_.size(); }
  size_t count() const { return count_; }

 private:
  struct Entry {
    std::string key;
    uint64_t hash;
    uint32_t value;
  };

  std::list<Entry> &Bucket(uint64_t hash) {
    return buckets_[(buckets_.size() - 1) & static_cast<uint32_t>(hash)];
  }

  void Grow() {
    std::list<Entry> gathered;
    for (auto bucket = buckets_.rbegin(); bucket != buckets_.rend(); ++bucket) {
      for (const Entry &entry : *bucket) gathered.push_front(entry);
    }
    const size_t count = buckets_.empty() ? 1 : buckets_.size() * 2;
    buckets_.assign(count, {});
    for (const Entry &entry : gathered) Bucket(entry.hash).push_front(entry);
  }

  std::vector<std::list<Entry>> buckets_;
  size_t count_ = 0;
};

std::vector<std::pair<std::string, uint32_t>> Entries(const Map &map) {
  std::vector<std::pair<std::string, uint32_t>> all;
  MapIter iter = map_iter_();
  while (const void *key = map_next_(&map, &iter)) {
    uint32_t value;
    memcpy(&value, iter.node->value, sizeof value);
    all.emplace_back(static_cast<const char *>(key), value);
  }
  return all;
}

class MapModelTest : public testing::TestWithParam<uint32_t> {};

TEST_P(MapModelTest, AgreesWithTheDescriptionOverRandomOperations) {
  std::mt19937 random(GetParam());
  Map map = {nullptr, 0, 0, MAP_KEY_STRING};
  ModelMap model;
  const uint32_t keys = GetParam() % 2 == 0 ? 40 : 3000;
  for (uint32_t step = 0; step < 5000; ++step) {
    const std::string key = "Threshold_" + std::to_string(random() % keys);
    if (random() % 3 == 0) {
      map_remove_(&map, key.c_str());
      model.Remove(key);
    } else {
      ASSERT_EQ(map_set_(&map, key.c_str(), &step, sizeof step), 0);
      model.Set(key, step);
    }
    ASSERT_EQ(map.nbuckets, model.buckets());
    ASSERT_EQ(map.nnodes, model.count());
    if (step % 50 != 0) continue;
    ASSERT_EQ(Entries(map), model.Entries());
  }
  EXPECT_EQ(Entries(map), model.Entries());
  map_deinit_(&map);
}

INSTANTIATE_TEST_SUITE_P(Seeds, MapModelTest, testing::Range(1u, 9u));

}  // namespace
