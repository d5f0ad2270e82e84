// Entries in memory: loading, creating, finding, freeing.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>
#include <sys/time.h>
#include <time.h>

#include <filesystem>

#include "storage/store_fixture.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;

// --- loading ---

class LoadAllAmbrelStorageEntriesTest : public StoreTest {
 protected:
  uint32_t StartAndLoad(const std::string &file) {
    Place(file);
    EXPECT_TRUE(Start());
    return loadAllAmbrelStorageEntries(store_);
  }
};

TEST_F(LoadAllAmbrelStorageEntriesTest, MakesAnEntryOfEveryRecordInFileOrder) {
  StartAndLoad(ThreeRecordFile());
  ASSERT_EQ(3, store_->entryCount);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(RecordBytes(ThreeRecords()[i]), RecordBytes(RecordOf(*store_->entries[i])));
  }
  EXPECT_EQ(3, store_->loadedCount);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, ReturnsZeroAtANormalEnd) {
  EXPECT_EQ(0U, StartAndLoad(ThreeRecordFile()));
}

TEST_F(LoadAllAmbrelStorageEntriesTest, LeavesTheStreamRewoundAtANormalEnd) {
  StartAndLoad(ThreeRecordFile());
  EXPECT_EQ(0, store_->position);
  EXPECT_EQ(0, ftell(store_->file));
  EXPECT_EQ(static_cast<int32_t>(ThreeRecordFile().size()), store_->fileSize);
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, LoadsSupersededCopiesToo) {
  StartAndLoad(
      SealedFile(1, {{.id = 7, .payload = "old", .valid = 0}, {.id = 7, .payload = "newer"}}));
  EXPECT_THAT(Payloads(), ElementsAre("old", "newer"));
  EXPECT_EQ(0, store_->entries[0]->valid);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, SetsTheNextIdToTheLastEntrysId) {
  StartAndLoad(SealedFile(2, {{.id = 9, .payload = "a"}, {.id = 0x20004, .payload = "b"}}));
  EXPECT_EQ(4, store_->nextRecordId) << "the low 16 bits";
}

TEST_F(LoadAllAmbrelStorageEntriesTest, TheFirstEntryCreatedAfterwardsRepeatsTheLastId) {
  StartAndLoad(ThreeRecordFile());
  EXPECT_EQ(2U, Create()->id);
  EXPECT_EQ(3U, Create()->id);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, OfAnEmptyStoreMakesAnEmptyArrayAndNextIdZero) {
  ASSERT_TRUE(Start());
  store_->nextRecordId = 5;
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
  EXPECT_NE(nullptr, store_->entries);
  EXPECT_EQ(0, store_->entryCount);
  EXPECT_EQ(0, store_->loadedCount);
  EXPECT_EQ(0, store_->nextRecordId);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, AppendsToTheEntriesThatAreThere) {
  StartAndLoad(ThreeRecordFile());
  Create("created");
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
  EXPECT_THAT(Payloads(), ElementsAre("first", "second payload", "3", "created", "first",
                                      "second payload", "3"));
  EXPECT_EQ(7, store_->loadedCount);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, StopsAtARecordThatEndsEarly) {
  StartAndLoad(ThreeRecordFile());
  FreeAllAmbrelStorageEntries(store_, 0);
  store_->entryCount = 0;
  for (const uint32_t length : {2U, 0x7FFFFFFFU, 0xFFFFFFE0U, 0xFFFFFFFFU}) {
    WriteFile(primary(),
              HeaderBytes(2, 0) + RecordsBytes({{.id = 1, .payload = "whole"},
                                                {.id = 2, .payload = "x", .length = length}}));
    EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
    EXPECT_THAT(Payloads(), ElementsAre("whole"));
    EXPECT_EQ(1, store_->nextRecordId);
    FreeAllAmbrelStorageEntries(store_, 0);
    store_->entryCount = 0;
  }
}

TEST_F(LoadAllAmbrelStorageEntriesTest, DropsWhatItReadsWhenTheSizeSaidThatNothingIsLeft) {
  Place(ThreeRecordFile());
  ASSERT_TRUE(Start());
  store_->fileSize = 16;  // as if the file had grown since
  EXPECT_EQ(1U, loadAllAmbrelStorageEntries(store_)) << "the read itself went well";
  EXPECT_EQ(0, store_->entryCount);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, LoadsEmptyAndLargePayloads) {
  const std::string large(300000, 'L');
  StartAndLoad(SealedFile(3, {{.id = 0}, {.id = 1, .payload = large}, {.id = 2}}));
  EXPECT_THAT(Payloads(), ElementsAre("", large, ""));
}

TEST_F(LoadAllAmbrelStorageEntriesTest, TakesTheLockItself) {
  Place(ThreeRecordFile());
  ASSERT_TRUE(Start());
  store_->lockTimeoutMs = 10;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
  EXPECT_EQ(nullptr, store_->entries);
  ambrelStorageUnLock(store_, 0);
}

TEST_F(LoadAllAmbrelStorageEntriesTest, StopsWhenTheArrayCanTakeNoMore) {
  Place(ThreeRecordFile());
  ASSERT_TRUE(Start());
  store_->entryCount = 65533;  // as if that many had been freed
  EXPECT_EQ(1U, loadAllAmbrelStorageEntries(store_)) << "the last read went well";
  EXPECT_EQ(65535, store_->entryCount);
  EXPECT_EQ(65535, store_->loadedCount);
  EXPECT_EQ(1, store_->nextRecordId);
  EXPECT_EQ("first", PayloadOf(store_->entries[65533]));
  EXPECT_EQ("second payload", PayloadOf(store_->entries[65534]));
}

TEST_F(LoadAllAmbrelStorageEntriesTest, RefusesNoEngine) {
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(nullptr));
}

// --- creating ---

class AddAndCreateAmbrelStorageEntryInArrayTest : public StoreTest {
 protected:
  void SetUp() override { ASSERT_TRUE(Start()); }
};

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, MakesAValidEntryWithoutPayload) {
  AmbrelStorageEntry *entry = nullptr;
  EXPECT_EQ(1U, AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 0));
  ASSERT_EQ(1, store_->entryCount);
  EXPECT_EQ(store_->entries[0], entry);
  EXPECT_EQ(4, entry->format);
  EXPECT_EQ(0U, entry->id);
  EXPECT_EQ(1, entry->valid);
  EXPECT_EQ(0U, entry->length);
  EXPECT_EQ(nullptr, entry->payload);
  for (const uint8_t reserved : entry->reserved1) EXPECT_EQ(0, reserved);
  for (const uint8_t reserved : entry->reserved2) EXPECT_EQ(0, reserved);
  EXPECT_EQ(0U, entry->reserved3);
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, StampsTheTimeInItsOddUnit) {
  timeval before, after;
  timespec monotonic;
  gettimeofday(&before, nullptr);
  clock_gettime(CLOCK_MONOTONIC, &monotonic);
  const AmbrelStorageEntry *const entry = Create();
  gettimeofday(&after, nullptr);
  const auto stamp = [](const timeval &time) {
    return int64_t{static_cast<int32_t>(static_cast<uint32_t>(time.tv_sec) * 100000U)} +
           time.tv_usec;
  };
  if (before.tv_sec == after.tv_sec) {
    EXPECT_GE(entry->wallStamp, stamp(before));
    EXPECT_LE(entry->wallStamp, stamp(after));
  }
  EXPECT_GE(entry->monotonicSeconds, static_cast<uint32_t>(monotonic.tv_sec));
  EXPECT_LE(entry->monotonicSeconds, static_cast<uint32_t>(monotonic.tv_sec) + 60);
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, CountsIdsAndRecordsUp) {
  for (uint32_t id = 0; id < 5; ++id) EXPECT_EQ(id, Create()->id);
  EXPECT_EQ(5, store_->nextRecordId);
  EXPECT_EQ(5U, store_->header.recordCount);
  EXPECT_EQ(5, store_->entryCount);
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, WrapsIdsAt65536) {
  store_->nextRecordId = 65535;
  EXPECT_EQ(65535U, Create()->id);
  EXPECT_EQ(0U, Create()->id);
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, DoesNotTouchTheFile) {
  Create("payload");
  EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, LeavesTheLockToACallerThatHoldsIt) {
  store_->lockTimeoutMs = 10;
  AmbrelStorageEntry *entry = nullptr;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_EQ(1U, AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 1));
  EXPECT_EQ(0U, ambrelStorageLock(store_, 0)) << "still held";
  ambrelStorageUnLock(store_, 0);
  EXPECT_EQ(1U, AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 0));
  EXPECT_EQ(1U, ambrelStorageLock(store_, 0)) << "released";
  ambrelStorageUnLock(store_, 0);
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, GoesOnBehindTheSlotsOfAFreedArray) {
  Create("a");
  Create("b");
  EXPECT_EQ(1U, FreeAllAmbrelStorageEntries(store_, 0));
  const AmbrelStorageEntry *const entry = Create("c");
  ASSERT_EQ(3, store_->entryCount);
  EXPECT_EQ(nullptr, store_->entries[0]);
  EXPECT_EQ(nullptr, store_->entries[1]);
  EXPECT_EQ(store_->entries[2], entry);
  EXPECT_EQ(2U, entry->id);
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, RefusesThe65536thEntryAndKeepsTheOthers) {
  store_->entryCount = 65534;  // as if that many had been freed
  AmbrelStorageEntry *const last = Create();
  ASSERT_NE(nullptr, last);
  AmbrelStorageEntry *entry = nullptr;
  EXPECT_EQ(0U, AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 0));
  EXPECT_EQ(nullptr, entry);
  EXPECT_EQ(65535, store_->entryCount);
  EXPECT_EQ(1U, store_->header.recordCount);
  EXPECT_EQ(last, Found(last->id));
}

TEST_F(AddAndCreateAmbrelStorageEntryInArrayTest, RefusesNoEngineAndNoDestination) {
  AmbrelStorageEntry *entry = nullptr;
  EXPECT_EQ(0U, AddAndCreateAmbrelStorageEntryInArray(nullptr, &entry, 0));
  EXPECT_EQ(0U, AddAndCreateAmbrelStorageEntryInArray(store_, nullptr, 0));
  EXPECT_EQ(0, store_->entryCount);
}

// --- finding ---

class FindAmbrelStorageRecordTest : public StoreTest {
 protected:
  void SetUp() override {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
  }
  AmbrelStorageEntry key_ = {}, *found_ = nullptr;
};

TEST_F(FindAmbrelStorageRecordTest, FindsByIdAndReturnsTheComparesValue) {
  key_.id = 1;
  EXPECT_EQ(1U, FindAmbrelStorageRecord(store_, &key_, &found_));
  EXPECT_EQ(store_->entries[1], found_);
}

TEST_F(FindAmbrelStorageRecordTest, IsZeroAndLeavesTheDestinationWhenNothingMatches) {
  key_.id = 9;
  found_ = &key_;
  EXPECT_EQ(0U, FindAmbrelStorageRecord(store_, &key_, &found_));
  EXPECT_EQ(&key_, found_);
}

TEST_F(FindAmbrelStorageRecordTest, PassesSupersededEntriesOverToALaterLiveCopy) {
  store_->entries[0]->id = store_->entries[2]->id;
  store_->entries[0]->valid = 0;
  EXPECT_EQ(store_->entries[2], Found(2));
}

TEST_F(FindAmbrelStorageRecordTest, HandsOutTheFirstOfTwoLiveCopies) {
  store_->entries[2]->id = 1;
  EXPECT_EQ(store_->entries[1], Found(1));
}

TEST_F(FindAmbrelStorageRecordTest, ReturnsWhatTheStoresOwnCompareReturns) {
  store_->compare = [](AmbrelStorageEntry *entry, AmbrelStorageEntry *key) -> uint32_t {
    return entry->length == key->length ? 0xABC : 0;
  };
  key_.length = 14;
  EXPECT_EQ(0xABCU, FindAmbrelStorageRecord(store_, &key_, &found_));
  EXPECT_EQ(store_->entries[1], found_);
}

TEST_F(FindAmbrelStorageRecordTest, UsesTheDefaultWhenTheStoreHasNoCompare) {
  store_->compare = nullptr;
  EXPECT_EQ(store_->entries[2], Found(2));
}

TEST_F(FindAmbrelStorageRecordTest, CopesWithFreedEntriesAndEmptySlots) {
  FreeAllAmbrelStorageEntries(store_, 0);
  EXPECT_EQ(nullptr, Found(1));
  Create();  // id 2, behind three empty slots
  store_->compare = [](AmbrelStorageEntry *entry, AmbrelStorageEntry *) -> uint32_t {
    return entry->valid;  // would not survive a null entry
  };
  EXPECT_EQ(store_->entries[3], Found(2));
}

TEST_F(FindAmbrelStorageRecordTest, RefusesNullsAndNoArray) {
  EXPECT_EQ(0U, FindAmbrelStorageRecord(nullptr, &key_, &found_));
  EXPECT_EQ(0U, FindAmbrelStorageRecord(store_, nullptr, &found_));
  EXPECT_EQ(0U, FindAmbrelStorageRecord(store_, &key_, nullptr));
  ASSERT_TRUE(Start());
  EXPECT_EQ(0U, FindAmbrelStorageRecord(store_, &key_, &found_));
}

TEST(AmbrelStorageDefaultCompareFunction, IsTheValidByteOfAnEntryWithTheId) {
  AmbrelStorageEntry entry = {}, key = {};
  entry.id = key.id = 70000;
  for (const uint8_t valid : {0, 1, 200}) {
    entry.valid = valid;
    EXPECT_EQ(valid, AmbrelStorageDefaultCompareFunction(&entry, &key));
  }
  key.id = 70000 - 65536;
  EXPECT_EQ(0U, AmbrelStorageDefaultCompareFunction(&entry, &key));
}

TEST(AmbrelStorageDefaultCompareFunction, IsZeroWithoutEntryOrKey) {
  AmbrelStorageEntry entry = {};
  entry.valid = 1;
  EXPECT_EQ(0U, AmbrelStorageDefaultCompareFunction(nullptr, &entry));
  EXPECT_EQ(0U, AmbrelStorageDefaultCompareFunction(&entry, nullptr));
}

// --- freeing ---

class FreeAllAmbrelStorageEntriesTest : public StoreTest {
 protected:
  void SetUp() override {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
  }
};

TEST_F(FreeAllAmbrelStorageEntriesTest, LeavesTheCountAndClearsTheArray) {
  EXPECT_EQ(1U, FreeAllAmbrelStorageEntries(store_, 0));
  EXPECT_EQ(3, store_->entryCount);
  EXPECT_EQ(nullptr, store_->entries);
}

TEST_F(FreeAllAmbrelStorageEntriesTest, MayBeRepeated) {
  EXPECT_EQ(1U, FreeAllAmbrelStorageEntries(store_, 0));
  EXPECT_EQ(1U, FreeAllAmbrelStorageEntries(store_, 0));
}

TEST_F(FreeAllAmbrelStorageEntriesTest, LeavesNothingForAFullSave) {
  FreeAllAmbrelStorageEntries(store_, 0);
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(FreeAllAmbrelStorageEntriesTest, ALaterLoadFillsTheSlotsBehind) {
  FreeAllAmbrelStorageEntries(store_, 0);
  loadAllAmbrelStorageEntries(store_);
  ASSERT_EQ(6, store_->entryCount);
  EXPECT_EQ(nullptr, store_->entries[2]);
  EXPECT_EQ("first", PayloadOf(store_->entries[3]));
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(FreeAllAmbrelStorageEntriesTest, DoesNothingWhenTheLockCannotBeHad) {
  store_->lockTimeoutMs = 10;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_EQ(0U, FreeAllAmbrelStorageEntries(store_, 0));
  EXPECT_NE(nullptr, store_->entries);
  EXPECT_EQ(1U, FreeAllAmbrelStorageEntries(store_, 1));
  EXPECT_EQ(nullptr, store_->entries);
  ambrelStorageUnLock(store_, 0);
}

TEST_F(FreeAllAmbrelStorageEntriesTest, RefusesNoEngine) {
  EXPECT_EQ(0U, FreeAllAmbrelStorageEntries(nullptr, 0));
}

TEST(FreeAmbrelStorageEntry, FreesThePayloadAlone) {
  AmbrelStorageEntry entry = {};
  SetPayload(&entry, "payload");
  EXPECT_EQ(1U, FreeAmbrelStorageEntry(&entry));
  EXPECT_EQ(nullptr, entry.payload);
  EXPECT_EQ(7U, entry.length);
  EXPECT_EQ(1U, FreeAmbrelStorageEntry(&entry));
  EXPECT_EQ(0U, FreeAmbrelStorageEntry(nullptr));
}

TEST(InitializeAmbrelStorageDeviceEntry, SetsTheFormatByte) {
  uint8_t bytes[2] = {99, 99};
  EXPECT_EQ(1U, InitializeAmbrelStorageDeviceEntry(bytes));
  EXPECT_EQ(4, bytes[0]);
  EXPECT_EQ(99, bytes[1]);
  EXPECT_EQ(0U, InitializeAmbrelStorageDeviceEntry(nullptr));
}

}  // namespace
}  // namespace cu_test
