// The full save: file, backup, counts, and its way back when something fails.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;

class SaveAllAmbrelStorageEntriesTest : public StoreTest {
 protected:
  void SetUp() override {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    ++store_->nextRecordId;
  }
  bool LockIsFree() {
    store_->lockTimeoutMs = 10;
    const bool free = ambrelStorageLock(store_, 0) != 0;
    if (free) ambrelStorageUnLock(store_, 0);
    return free;
  }
};

TEST_F(SaveAllAmbrelStorageEntriesTest, RewritesTheFileFromMemory) {
  const AmbrelStorageEntry *const fourth = Create("fourth");
  EXPECT_EQ(1U, FullSave());
  std::vector<Record> records = ThreeRecords();
  records.push_back(RecordOf(*fourth));
  EXPECT_EQ(SealedFile(4, records), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, MovesThePreviousFileToTheBackup) {
  Create("fourth");
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), Backup());
  const std::string second = File();
  SetPayload(store_->entries[0], "changed");
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(second, Backup()) << "over the backup before";
}

TEST_F(SaveAllAmbrelStorageEntriesTest, DropsInvalidEntriesFromTheFileButNotFromMemory) {
  store_->entries[1]->valid = 0;
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(SealedFile(2, {ThreeRecords()[0], ThreeRecords()[2]}), File());
  EXPECT_EQ(3, store_->entryCount);
  Restart();
  EXPECT_THAT(Payloads(), ElementsAre("first", "3"));
}

TEST_F(SaveAllAmbrelStorageEntriesTest, WritesEveryEntryThatIsValidWhateverTheByte) {
  store_->entries[1]->valid = 0x80;
  EXPECT_EQ(1U, FullSave());
  std::vector<Record> records = ThreeRecords();
  records[1].valid = 0x80;
  EXPECT_EQ(SealedFile(3, records), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, AppendsEntriesThatShareAnId) {
  store_->entries[1]->id = 0;
  store_->entries[2]->id = 0;
  EXPECT_EQ(1U, FullSave());
  std::vector<Record> records = ThreeRecords();
  records[1].id = records[2].id = 0;
  EXPECT_EQ(SealedFile(3, records), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, SetsTheCountInMemoryToWhatItWrote) {
  Create("fourth");
  store_->entries[0]->valid = 0;
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(3U, store_->header.recordCount);
  EXPECT_EQ(FileCrc(File()), store_->header.crc);
}

TEST_F(SaveAllAmbrelStorageEntriesTest, LeavesTheStreamOpenForReading) {
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(static_cast<int32_t>(ThreeRecordFile().size()), store_->fileSize);
  EXPECT_EQ(0, store_->position);
}

TEST_F(SaveAllAmbrelStorageEntriesTest, WritesLargeAndEmptyPayloads) {
  std::vector<Record> records = ThreeRecords();
  for (const size_t size : {0, 65536, 1, 65504, 0, 200000, 32, 4096}) {
    records.push_back(RecordOf(*Create(std::string(size, static_cast<char>('a' + size % 26)))));
  }
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(SealedFile(static_cast<uint32_t>(records.size()), records), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, OfThousandsOfRecordsComesBackWhole) {
  std::vector<Record> records = ThreeRecords();
  for (int i = 0; i < 3000; ++i) {
    records.push_back(RecordOf(*Create("record " + std::to_string(i * 7919))));
  }
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(SealedFile(3003, records), File());
  Restart();
  EXPECT_EQ(3003, store_->entryCount);
}

TEST_F(SaveAllAmbrelStorageEntriesTest, WithoutAnyPayloadWritesAFileThatARestartDiscards) {
  for (int i = 0; i < 3; ++i) SetPayload(store_->entries[i], "");
  EXPECT_EQ(0U, FullSave());
  std::vector<Record> records = ThreeRecords();
  for (Record &record : records) record.payload.clear();
  EXPECT_EQ(HeaderBytes(3, 0) + RecordsBytes(records), File());
  EXPECT_EQ(ThreeRecordFile(), Backup());
  EXPECT_EQ(kPlaceholder, store_->header.crc);
  EXPECT_TRUE(LockIsFree());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, OfAnEmptyArrayWritesJustAHeader) {
  Place("");
  Restart();
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(HeaderBytes(0, 0), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, GoesOnAfterAStoreWithoutPayloads) {
  for (int i = 0; i < 3; ++i) SetPayload(store_->entries[i], "");
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(0U, FullSave());
  SetPayload(store_->entries[0], "again");
  EXPECT_EQ(1U, FullSave());
  Restart();
  EXPECT_THAT(Payloads(), ElementsAre("again", "", ""));
}

TEST_F(SaveAllAmbrelStorageEntriesTest, WritesARecordOfAnotherFormatButCannotCheckTheFile) {
  store_->entries[1]->format = 5;
  EXPECT_EQ(0U, FullSave());
  std::vector<Record> records = ThreeRecords();
  records[1].format = 5;
  EXPECT_EQ(HeaderBytes(3, 0) + RecordsBytes(records), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, OverwritesTheBackupWithTheEmptyFileAfterADiscard) {
  EXPECT_EQ(1U, FullSave());
  ASSERT_EQ(ThreeRecordFile(), Backup());
  Place("damaged");
  Restart();
  EXPECT_EQ(ThreeRecordFile(), Backup());
  FullSave();
  EXPECT_EQ(HeaderBytes(0, kPlaceholder), Backup());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, PutsTheFormerFileBackWhenAnEntryCannotBeWritten) {
  Create("fourth");
  FreeAmbrelStorageEntry(store_->entries[2]);  // keeps its length
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), File());
  EXPECT_FALSE(std::filesystem::exists(backup()));
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(static_cast<int32_t>(ThreeRecordFile().size()), store_->fileSize);
  EXPECT_TRUE(LockIsFree());
  const long descriptors = OpenDescriptors();
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(descriptors, OpenDescriptors());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, WorksAgainOnceTheEntryCanBeWritten) {
  FreeAmbrelStorageEntry(store_->entries[2]);
  EXPECT_EQ(0U, FullSave());
  store_->entries[2]->valid = 0;
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(SealedFile(2, {ThreeRecords()[0], ThreeRecords()[1]}), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, LeavesTheFileWhenItCannotBeMoved) {
  std::filesystem::remove_all(backup_directory());
  Create("fourth");
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), File());
  EXPECT_TRUE(LockIsFree());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, LosesTheStreamWhenTheFileIsGone) {
  std::filesystem::remove(primary());
  const long descriptors = OpenDescriptors();
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_EQ(0, store_->open);
  EXPECT_EQ(descriptors - 1, OpenDescriptors());
  EXPECT_FALSE(std::filesystem::exists(primary()));
  EXPECT_FALSE(std::filesystem::exists(backup()));
  EXPECT_TRUE(LockIsFree());
  EXPECT_EQ(0U, FullSave()) << "for good";
}

TEST_F(SaveAllAmbrelStorageEntriesTest, GoesOnWithTheFileThatCouldNotBeMoved) {
  std::filesystem::remove_all(backup_directory());
  EXPECT_EQ(0U, FullSave());
  Saved("fourth");
  std::filesystem::create_directory(backup_directory());
  EXPECT_EQ(1U, FullSave());
  Restart();
  EXPECT_EQ(4, store_->entryCount);
}

TEST_F(SaveAllAmbrelStorageEntriesTest, FailsEveryTimeWhileTheFoldersAreOnTwoFileSystems) {
  MountedTmpfs other(backup_directory(), "size=64k");
  if (!other) GTEST_SKIP() << "the system does not let this process mount";
  for (int i = 0; i < 3; ++i) EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), File());
  EXPECT_FALSE(std::filesystem::exists(backup()));
}

TEST_F(SaveAllAmbrelStorageEntriesTest, NeedsAnArray) {
  ASSERT_TRUE(Start());
  EXPECT_EQ(0U, FullSave());
  EXPECT_FALSE(std::filesystem::exists(backup()));
}

TEST_F(SaveAllAmbrelStorageEntriesTest, DoesNothingWhenTheLockCannotBeHad) {
  Create("fourth");
  store_->lockTimeoutMs = 10;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), File());
  EXPECT_EQ(1U, saveAllAmbrelStorageEntries(store_, 1));
  ambrelStorageUnLock(store_, 0);
  EXPECT_NE(ThreeRecordFile(), File());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, ReleasesTheLockAfterSuccess) {
  EXPECT_EQ(1U, FullSave());
  EXPECT_TRUE(LockIsFree());
}

TEST_F(SaveAllAmbrelStorageEntriesTest, FailsForAFileNameThatLeavesNoRoomForTheSuffix) {
  const std::string name(255, 'n');
  Stop();
  WriteFile(primary_directory() + "/" + name, ThreeRecordFile());
  ASSERT_TRUE(InitializeAmbrelStorageEngine(&store_, name.c_str(), primary_directory().c_str(),
                                            backup_directory().c_str()));
  loadAllAmbrelStorageEntries(store_);
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(ThreeRecordFile(), ReadFile(primary_directory() + "/" + name));
}

TEST_F(SaveAllAmbrelStorageEntriesTest, RefusesNoEngine) {
  EXPECT_EQ(0U, saveAllAmbrelStorageEntries(nullptr, 0));
}

}  // namespace
}  // namespace cu_test
