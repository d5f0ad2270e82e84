// Saving one entry: exact file bytes, checksums, and what a restart makes of them.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "storage/store_fixture.hpp"
#include "support/logger.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SaveAmbrelStorageDeviceUpdateEntryTest : public StoreTest {
 protected:
  void SetUp() override { ASSERT_TRUE(Start()); }
  void StartOnThreeRecords() {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    ++store_->nextRecordId;
  }
};

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, AppendsANewRecordAndRefreshesTheChecksum) {
  const AmbrelStorageEntry *const entry = Saved("payload");
  EXPECT_EQ(SealedFile(0, {RecordOf(*entry)}), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, WithoutRefreshLeavesTheChecksumAsItWas) {
  const AmbrelStorageEntry *const entry = Saved("payload", false);
  EXPECT_EQ(HeaderBytes(0, kPlaceholder) + RecordBytes(RecordOf(*entry)), File());
  StartOnThreeRecords();
  const AmbrelStorageEntry *const fourth = Saved("fourth", false);
  EXPECT_EQ(ThreeRecordFile() + RecordBytes(RecordOf(*fourth)), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, KeepsTheCountOfTheLastRewriteInFileAndMemory) {
  StartOnThreeRecords();
  AmbrelStorageEntry *const entry = Create("fourth");
  EXPECT_EQ(4U, store_->header.recordCount);
  EXPECT_EQ(1U, Save(entry));
  EXPECT_EQ(3U, store_->header.recordCount) << "a refresh reads the header from the file";
  EXPECT_EQ(3U, NativeAt<uint32_t>(File(), 8));
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, LeavesTheStreamReopenedForReading) {
  Saved("payload");
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(static_cast<int32_t>(File().size()), store_->fileSize);
  EXPECT_EQ(0, store_->position);
  Saved("payload 2", false);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(static_cast<int32_t>(File().size()), store_->fileSize);
  EXPECT_EQ(store_->fileSize, store_->position);
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, SavesRecordsOfEverySizeThatARestartFinds) {
  std::vector<std::string> payloads;
  for (const size_t size : {1, 0, 31, 32, 33, 4000, 4096, 65536, 100001}) {
    payloads.emplace_back(size, static_cast<char>('a' + size % 26));
    Saved(payloads.back());
  }
  Restart();
  EXPECT_EQ(payloads, Payloads());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, FailsARefreshWhileNoRecordHasAPayload) {
  AmbrelStorageEntry *const empty = Create();
  EXPECT_EQ(0U, Save(empty));
  EXPECT_EQ(HeaderBytes(0, kPlaceholder) + RecordBytes(RecordOf(*empty)), File())
      << "written nevertheless";
  EXPECT_EQ(1U, Save(Create("payload")));
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, AnotherLengthAppendsACopyAndMarksTheFirst) {
  StartOnThreeRecords();
  AmbrelStorageEntry *const entry = store_->entries[1];
  SetPayload(entry, "changed");
  EXPECT_EQ(1U, Save(entry));
  std::vector<Record> records = ThreeRecords();
  records[1].valid = 0;
  records.push_back(RecordOf(*entry));
  EXPECT_EQ(SealedFile(3, records), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, AnotherLengthIsFoundAfterARestart) {
  StartOnThreeRecords();
  SetPayload(store_->entries[1], "changed");
  EXPECT_EQ(1U, Save(store_->entries[1]));
  Restart();
  EXPECT_EQ(4, store_->entryCount);
  EXPECT_EQ("changed", PayloadOf(Found(1))) << "the live copy";
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, TheSameLengthGoesOverTheStoredHeader) {
  StartOnThreeRecords();
  SetPayload(store_->entries[1], "SECOND PAYLOAD");
  EXPECT_EQ(1U, Save(store_->entries[1], false));
  std::string expected = ThreeRecordFile();
  expected.replace(16 + 32 + 5, 14, "SECOND PAYLOAD");
  EXPECT_EQ(expected, File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, TheSameLengthWithRefreshFailsTheFormatTest) {
  StartOnThreeRecords();
  SetPayload(store_->entries[1], "SECOND PAYLOAD");
  EXPECT_EQ(0U, Save(store_->entries[1]));
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, TheSameLengthMakesARestartDiscardTheStore) {
  StartOnThreeRecords();
  SetPayload(store_->entries[1], "SECOND PAYLOAD");
  Save(store_->entries[1]);
  Restart();
  EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, AFullSaveRepairsWhatTheSameLengthDamaged) {
  StartOnThreeRecords();
  SetPayload(store_->entries[1], "SECOND PAYLOAD");
  Save(store_->entries[1]);
  EXPECT_EQ(1U, FullSave());
  Restart();
  EXPECT_THAT(Payloads(), ElementsAre("first", "SECOND PAYLOAD", "3"));
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, AnEmptyPayloadSavedAgainWritesNothing) {
  StartOnThreeRecords();
  AmbrelStorageEntry *const empty = Saved("");
  const std::string before = File();
  EXPECT_EQ(1U, Save(empty));
  EXPECT_EQ(before, File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, TheIdRepeatedAfterALoadDamagesARecordOfItsLength) {
  Place(ThreeRecordFile());
  Restart();
  EXPECT_EQ(1U, Save(Create("x"), false)) << "id 2 and length 1, as the last loaded record";
  std::string expected = ThreeRecordFile();
  expected[16 + 32 + 5 + 32 + 14] = 'x';
  EXPECT_EQ(expected, File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest,
       TheIdRepeatedAfterALoadSupersedesOneOfAnotherLength) {
  Place(ThreeRecordFile());
  Restart();
  const AmbrelStorageEntry *const created = Saved("a new event");
  std::vector<Record> records = ThreeRecords();
  records[2].valid = 0;
  records.push_back(RecordOf(*created));
  EXPECT_EQ(SealedFile(3, records), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, SavesWithoutRefreshAreDiscardedByARestart) {
  StartOnThreeRecords();
  Saved("fourth", false);
  Restart();
  EXPECT_EQ(0, store_->entryCount);
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, OneRefreshCoversTheSavesBefore) {
  StartOnThreeRecords();
  Saved("fourth", false);
  Saved("fifth", false);
  Saved("sixth");
  Restart();
  EXPECT_EQ(6, store_->entryCount);
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, StoresTheEntrysFieldsAsTheyAre) {
  AmbrelStorageEntry *const entry = Create("payload");
  entry->valid = 0;
  entry->wallStamp = -1234567890123;
  entry->monotonicSeconds = 0xFFFFFFFF;
  entry->id = 0xFFFFFFFF;
  EXPECT_EQ(1U, Save(entry));
  EXPECT_EQ(SealedFile(0, {RecordOf(*entry)}), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, RefusesALengthWithoutPayload) {
  AmbrelStorageEntry *const entry = Create("payload");
  FreeAmbrelStorageEntry(entry);
  EXPECT_EQ(0U, Save(entry));
  EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, SaysWhyTheFileCannotBeOpenedForUpdate) {
  Logger log;
  AmbrelStorageEntry *const entry = Create("payload");
  std::filesystem::remove(primary());
  EXPECT_EQ(0U, Save(entry));
  // The message ends without a line break, as it always has.
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG [AmbrelDataStorage]Unable to open db file "
                                       "No such file or directory"));
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_EQ(0, store_->open);
  EXPECT_EQ(0, store_->writable);
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, FailsForGoodOnceTheStreamIsLost) {
  AmbrelStorageEntry *const entry = Create("payload");
  std::filesystem::remove(primary());
  Save(entry);
  WriteFile(primary(), ThreeRecordFile());
  Logger log;
  EXPECT_EQ(0U, Save(entry));
  EXPECT_EQ(0U, FullSave());
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, DoesNothingWhenTheLockCannotBeHad) {
  AmbrelStorageEntry *const entry = Create("payload");
  store_->lockTimeoutMs = 10;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_EQ(0U, Save(entry));
  EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
  EXPECT_EQ(1U, saveAmbrelStorageDeviceUpdateEntry(store_, entry, 1, 1)) << "the lock is held";
  ambrelStorageUnLock(store_, 0);
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, ReleasesTheLockOnEveryPath) {
  store_->lockTimeoutMs = 10;
  AmbrelStorageEntry *const entry = Create("payload");
  EXPECT_EQ(1U, Save(entry));
  EXPECT_EQ(0U, Save(entry)) << "in place, so the refresh fails";
  FreeAmbrelStorageEntry(entry);
  EXPECT_EQ(0U, Save(entry));
  std::filesystem::remove(primary());
  EXPECT_EQ(0U, Save(entry));
  EXPECT_EQ(1U, ambrelStorageLock(store_, 0));
  ambrelStorageUnLock(store_, 0);
}

/// The example of docs/format-record-store.md.
TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, TheDocumentedExampleIsAFileAsItIsWritten) {
  const std::string example(
      "\x04\0\0\0\x10\0\x20\0\x01\0\0\0\x34\x9c\xca\x64"
      "\x04\0\0\0\0\0\0\0\x01\0\0\0\x0c\0\0\0"
      "\x90\xc0\xfc\x4d\0\0\0\0\x67\x12\0\0\0\0\0\0"
      "fan 3 failed",
      60);
  Place(example);
  Restart();
  EXPECT_EQ(example, File());
  AmbrelStorageEntry *const entry = Found(0);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ("fan 3 failed", PayloadOf(entry));
  EXPECT_EQ(1308410000, entry->wallStamp);
  EXPECT_EQ(4711U, entry->monotonicSeconds);
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(example, File());

  SetPayload(entry, "fan 7 failed");
  EXPECT_EQ(1U, Save(entry, false));
  EXPECT_EQ(example.substr(0, 16) + "fan 7 failed" + example.substr(28), File());
}

TEST_F(SaveAmbrelStorageDeviceUpdateEntryTest, RefusesNoEngineAndNoEntry) {
  AmbrelStorageEntry entry = {};
  EXPECT_EQ(0U, saveAmbrelStorageDeviceUpdateEntry(nullptr, &entry, 0, 1));
  EXPECT_EQ(0U, saveAmbrelStorageDeviceUpdateEntry(store_, nullptr, 0, 1));
}

}  // namespace
}  // namespace cu_test
