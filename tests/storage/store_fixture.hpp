// A store in a scratch folder, and the short ways to do with it what daemons do.
#ifndef COMMONUTILITIES_TESTS_STORAGE_STORE_FIXTURE_HPP
#define COMMONUTILITIES_TESTS_STORAGE_STORE_FIXTURE_HPP

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <filesystem>
#include <string>
#include <vector>

#include "include/AmbrelDataStorage.h"
#include "storage/store_bytes.hpp"
#include "support/files.hpp"
#include "support/sanitizers.hpp"
#include "support/scratch_in_memory.hpp"

namespace cu_test {

/// Gives an entry a payload of its own, or none when there is no memory; what it had is freed.
inline void SetPayload(AmbrelStorageEntry *entry, const std::string &payload) {
  FreeAmbrelStorageEntry(entry);
  entry->length = 0;
  if (payload.empty()) return;
  entry->payload = static_cast<uint8_t *>(malloc(payload.size()));
  if (entry->payload == nullptr) return;
  memcpy(entry->payload, payload.data(), payload.size());
  entry->length = static_cast<uint32_t>(payload.size());
}

inline std::string PayloadOf(const AmbrelStorageEntry *entry) {
  return RecordOf(*entry).payload;
}

/// The processor time that starting on a file takes. A store of a thousand records takes a second
/// at most, more only where each access is checked or emulated.
class StartTime {
 public:
  void ExpectShort() const {
#if CU_THREAD_SANITIZER || CU_ADDRESS_SANITIZER || defined(__arm__)
    constexpr double kSeconds = 10;
#else
    constexpr double kSeconds = 1;
#endif
    EXPECT_LT(Seconds() - begin_, kSeconds);
  }

 private:
  static double Seconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
  }
  const double begin_ = Seconds();
};

/// Folders and files of one store, which runs between Start() and Stop().
class StoreTest : public testing::Test {
 protected:
  ~StoreTest() override { Stop(); }

  std::string primary_directory() const { return dir_.file("primary"); }
  std::string backup_directory() const { return dir_.file("backup"); }
  std::string primary() const { return primary_directory() + "/events"; }
  std::string backup() const { return backup_directory() + "/events.bkc"; }
  std::string File() const { return ReadFile(primary()); }
  std::string Backup() const { return ReadFile(backup()); }

  /// Puts a file in place before the start.
  void Place(const std::string &file) {
    std::filesystem::create_directories(primary_directory());
    WriteFile(primary(), file);
  }

  AmbrelStorageEngine *Start() {
    Stop();
    return InitializeAmbrelStorageEngine(&store_, "events", primary_directory().c_str(),
                                         backup_directory().c_str());
  }
  void Stop() {
    DeInitializeAmbrelStorageEngine(store_);
    store_ = nullptr;
  }
  void Restart() {
    Stop();
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
  }

  AmbrelStorageEntry *Create(const std::string &payload = "") {
    AmbrelStorageEntry *entry = nullptr;
    if (AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 0) == 0) return nullptr;
    SetPayload(entry, payload);
    return entry;
  }
  uint32_t Save(AmbrelStorageEntry *entry, bool refresh = true) {
    return saveAmbrelStorageDeviceUpdateEntry(store_, entry, 0, refresh);
  }
  AmbrelStorageEntry *Saved(const std::string &payload, bool refresh = true) {
    AmbrelStorageEntry *const entry = Create(payload);
    EXPECT_EQ(1U, Save(entry, refresh));
    return entry;
  }
  uint32_t FullSave() { return saveAllAmbrelStorageEntries(store_, 0); }
  uint32_t Compact(uint64_t now = 100, uint32_t retention = 604800) {
    return compressAmbrelStorageEntries(store_, 0, now, retention, 0);
  }
  AmbrelStorageEntry *Found(uint32_t id) {
    AmbrelStorageEntry key = {}, *entry = nullptr;
    key.id = id;
    return FindAmbrelStorageRecord(store_, &key, &entry) != 0 ? entry : nullptr;
  }
  std::vector<std::string> Payloads() const {
    std::vector<std::string> payloads;
    for (int i = 0; i < store_->entryCount; ++i) payloads.push_back(PayloadOf(store_->entries[i]));
    return payloads;
  }

  /// Three records as a full save leaves them.
  static std::vector<Record> ThreeRecords() {
    return {{.id = 0, .payload = "first", .stamp = -5, .seconds = 11},
            {.id = 1, .payload = "second payload", .stamp = 7, .seconds = 12},
            {.id = 2, .payload = "3", .stamp = 1'000'000'000'000, .seconds = 13}};
  }
  static std::string ThreeRecordFile() { return SealedFile(3, ThreeRecords()); }

  TempDir dir_;
  AmbrelStorageEngine *store_ = nullptr;
};

}  // namespace cu_test

#endif
