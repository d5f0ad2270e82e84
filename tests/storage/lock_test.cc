// The store's lock, and that operations on other threads wait for it.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "storage/store_fixture.hpp"
#include "support/threads.hpp"
#include "support/watchdog.hpp"

namespace cu_test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class AmbrelStorageLockTest : public StoreTest {
 protected:
  void SetUp() override { ASSERT_TRUE(Start()); }
};

TEST_F(AmbrelStorageLockTest, TakesAndReleasesTheMutex) {
  EXPECT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_TRUE(IsLocked(store_->mutex));
  ambrelStorageUnLock(store_, 0);
  EXPECT_FALSE(IsLocked(store_->mutex));
}

TEST_F(AmbrelStorageLockTest, ReturnsHeldItselfAndTouchesNothing) {
  for (const uint32_t held : {1U, 7U, 0xFFFFFFFFU}) {
    EXPECT_EQ(held, ambrelStorageLock(store_, held));
    EXPECT_FALSE(IsLocked(store_->mutex));
  }
  EXPECT_EQ(1U, ambrelStorageLock(store_, 0));
  ambrelStorageUnLock(store_, 5);
  EXPECT_TRUE(IsLocked(store_->mutex));
  ambrelStorageUnLock(store_, 0);
}

TEST_F(AmbrelStorageLockTest, GivesUpAfterTheTimeOut) {
  // A deadline that carries into the next second drops up to a second of its nanoseconds.
  store_->lockTimeoutMs = 1200;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  const auto begin = steady_clock::now();
  EXPECT_EQ(0U, ambrelStorageLock(store_, 0)) << "not recursive";
  EXPECT_GE(steady_clock::now() - begin, milliseconds(100));
  ambrelStorageUnLock(store_, 0);
}

TEST_F(AmbrelStorageLockTest, WaitsForAThreadThatReleasesInTime) {
  store_->lockTimeoutMs = 60000;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  std::atomic<int> result{-1};
  std::thread waiter([&] {
    result = static_cast<int>(ambrelStorageLock(store_, 0));
    ambrelStorageUnLock(store_, 0);
  });
  std::this_thread::sleep_for(milliseconds(20));
  EXPECT_EQ(-1, result);
  ambrelStorageUnLock(store_, 0);
  waiter.join();
  EXPECT_EQ(1, result);
}

TEST_F(AmbrelStorageLockTest, CreatingAndFindingWaitWithoutLimit) {
  Create();
  store_->lockTimeoutMs = 1;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  std::atomic<bool> created{false}, found{false};
  std::thread creator([&] { created = Create() != nullptr; });
  std::thread finder([&] { found = Found(0) != nullptr; });
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_FALSE(created);
  EXPECT_FALSE(found);
  ambrelStorageUnLock(store_, 0);
  creator.join();
  finder.join();
  EXPECT_TRUE(created);
  EXPECT_TRUE(found);
}

TEST_F(AmbrelStorageLockTest, EveryOperationGivesUpWithoutEffectWhileItIsHeld) {
  AmbrelStorageEntry *const entry = Saved("payload");
  const std::string before = File();
  store_->lockTimeoutMs = 1;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  AmbrelStorageEntry read = {};
  uint8_t last = 0;
  uint32_t crc = 0;
  char header[32];
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
  EXPECT_EQ(0U, Save(entry));
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(0U, FreeAllAmbrelStorageEntries(store_, 0));
  EXPECT_EQ(0U, getAmbrelFileHeader(store_, 0));
  EXPECT_EQ(0U, updateAmbrelFileHandlerInfo(store_, 0));
  EXPECT_EQ(0U, updateAmbrelHeaderInfile(store_, 0));
  EXPECT_EQ(0U, updateAmbrelStorageCRC(store_, 0));
  EXPECT_EQ(0U, readAmbrelRecordHeader(store_, 0, header));
  EXPECT_EQ(0U, readAmbrelRecord(store_, 0, &read));
  EXPECT_EQ(0U, writeAmbrelRecord(store_, 0, entry));
  EXPECT_EQ(0U, getNextAmbrelStorageEntry(store_, &read, 0, &last));
  EXPECT_EQ(0U, calcAmbrelFileCRC(store_, 0, &crc));
  ambrelStorageUnLock(store_, 0);
  EXPECT_EQ(before, File());
  EXPECT_EQ(1, store_->entryCount);
}

TEST_F(AmbrelStorageLockTest, EveryOperationReleasesIt) {
  AmbrelStorageEntry *const entry = Create("payload");
  AmbrelStorageEntry read = {};
  uint8_t last = 0;
  uint32_t crc = 0;
  char header[32];
  const auto free_after = [this](uint32_t) { return !IsLocked(store_->mutex); };
  EXPECT_TRUE(free_after(Save(entry)));
  EXPECT_TRUE(free_after(FullSave()));
  EXPECT_TRUE(free_after(getAmbrelFileHeader(store_, 0)));
  EXPECT_TRUE(free_after(updateAmbrelFileHandlerInfo(store_, 0)));
  EXPECT_TRUE(free_after(updateAmbrelHeaderInfile(store_, 0)));
  EXPECT_TRUE(free_after(updateAmbrelStorageCRC(store_, 0)));
  EXPECT_TRUE(free_after(readAmbrelRecordHeader(store_, 0, header)));
  EXPECT_TRUE(free_after(readAmbrelRecord(store_, 0, &read)));
  FreeAmbrelStorageEntry(&read);
  EXPECT_TRUE(free_after(getNextAmbrelStorageEntry(store_, &read, 0, &last)));
  FreeAmbrelStorageEntry(&read);
  EXPECT_TRUE(free_after(calcAmbrelFileCRC(store_, 0, &crc)));
  EXPECT_TRUE(free_after(writeAmbrelRecord(store_, 0, entry)));
  EXPECT_TRUE(free_after(loadAllAmbrelStorageEntries(store_)));
  EXPECT_TRUE(free_after(FreeAllAmbrelStorageEntries(store_, 0)));
  EXPECT_TRUE(free_after(Create() != nullptr));
  EXPECT_TRUE(free_after(Found(0) != nullptr));
}

TEST(AmbrelStorageLock, RefusesNoEngineUnlessHeld) {
  EXPECT_EQ(0U, ambrelStorageLock(nullptr, 0));
  EXPECT_EQ(3U, ambrelStorageLock(nullptr, 3));
  ambrelStorageUnLock(nullptr, 0);
}

/// Threads that create, save and find while another saves everything: no record is lost. At the
/// full size they go on for a minute, or until ids are about to repeat.
TEST_F(AmbrelStorageLockTest, ThreadsCreateSaveAndFindBesideFullSaves) {
  constexpr int kThreads = 4, kMostEach = 16000;
  const auto rounds = static_cast<int>(Rounds(500));
  const auto end = steady_clock::now() + std::chrono::seconds(Rounds(60, 0));
  store_->lockTimeoutMs = 60000;
  loadAllAmbrelStorageEntries(store_);
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::atomic<long> steps{0};
  const Watchdog watchdog([&] { return steps.load(); });
  std::thread saver([&] {
    while (!stop) {
      FullSave();
      std::this_thread::sleep_for(milliseconds(10));
    }
  });
  std::vector<std::thread> workers;
  for (int thread = 0; thread < kThreads; ++thread) {
    workers.emplace_back([&, thread] {
      for (int i = 0; i < rounds || (i < kMostEach && steady_clock::now() < end); ++i) {
        const std::string payload = std::to_string(thread) + ":" + std::to_string(i);
        AmbrelStorageEntry *entry = nullptr;
        ambrelStorageLock(store_, 0);
        uint32_t done = AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 1);
        const uint32_t id = entry->id;
        SetPayload(entry, payload);
        done &= saveAmbrelStorageDeviceUpdateEntry(store_, entry, 1, i % 2);
        ambrelStorageUnLock(store_, 0);
        if (done == 0 || Found(id) == nullptr) ++failures;
        ++steps;
      }
    });
  }
  for (std::thread &worker : workers) worker.join();
  stop = true;
  saver.join();
  EXPECT_EQ(0, failures);
  EXPECT_EQ(1U, FullSave());
  Restart();
  EXPECT_EQ(steps, store_->entryCount);
  RecordProperty("records", static_cast<int>(steps));
}

}  // namespace
}  // namespace cu_test
