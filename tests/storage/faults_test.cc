// Memory that runs out and file calls that fail: at each point in turn.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <functional>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "support/faults.hpp"
#include "support/logger.hpp"

namespace cu_test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

class StoreFaultsTest : public StoreTest {
 protected:
  void SetUp() override {
    if (!CanWriteVar()) GTEST_SKIP() << "needs a writable /var";
  }

  void Begin() {
    Stop();
    std::filesystem::remove_all(primary_directory());
    std::filesystem::remove_all(backup_directory());
    Place(ThreeRecordFile());
  }
  void BeginRunning() {
    Begin();
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    ++store_->nextRecordId;
  }

  /// Everything that a daemon does with a store, whatever the results.
  void Live() {
    Start();
    if (store_ == nullptr) return;
    loadAllAmbrelStorageEntries(store_);
    if (store_->entryCount != 0) ++store_->nextRecordId;
    AmbrelStorageEntry *const fourth = Create("fourth");
    if (fourth != nullptr) Save(fourth);
    if (store_->entries != nullptr && store_->entryCount > 1 && store_->entries[1] != nullptr) {
      SetPayload(store_->entries[1], "another length");
      Save(store_->entries[1], false);
    }
    saved_fully_ = FullSave() != 0;
    sound_after_full_save_ = ChecksOut(File());
    Found(1);
    Compact();
    if (AmbrelStorageEntry *const fifth = Create("fifth"); fifth != nullptr) Save(fifth);
  }

  /// What must hold after any life, once nothing fails any more.
  void ExpectAlive() {
    if (store_ != nullptr) {
      EXPECT_EQ(1U, ambrelStorageLock(store_, 0)) << "the lock is free";
      ambrelStorageUnLock(store_, 0);
      EXPECT_EQ(store_->file != nullptr, store_->open != 0);
    }
    Stop();
    const std::string left = File();
    ASSERT_TRUE(Start());
    EXPECT_EQ(ChecksOut(left) ? left : HeaderBytes(0, kPlaceholder), File());
    loadAllAmbrelStorageEntries(store_);
    Create("afterwards");
    EXPECT_EQ(1U, FullSave());
    EXPECT_TRUE(ChecksOut(File()));
    Stop();
  }

  /// Lives once for each k, with the k-th call of a kind failing; the number of faults.
  long LiveWithFaults(Call call, int error, Reach reach) {
    const long descriptors = OpenDescriptors();
    for (long k = 1;; ++k) {
      SCOPED_TRACE("k " + std::to_string(k));
      Begin();
      bool fired = false;
      {
        Fault fault(call, k, error, reach);
        Live();
        fired = fault.fired();
      }
      if (call != Call::kFread && saved_fully_) {
        EXPECT_TRUE(sound_after_full_save_) << "a full save that says 1 left a sound file";
      }
      ExpectAlive();
      EXPECT_EQ(descriptors, OpenDescriptors());
      if (call == Call::kRemove) {
        for (const std::string &file : TemporaryStoreFiles()) std::filesystem::remove(file);
      }
      EXPECT_THAT(TemporaryStoreFiles(), IsEmpty());
      if (!fired || HasFailure()) return k - 1;
    }
  }

  bool saved_fully_ = false, sound_after_full_save_ = false;
};

TEST_F(StoreFaultsTest, EveryFailedAllocationIsSurvived) {
  for (const Reach reach : {Reach::kOnce, Reach::kFromThen}) {
    EXPECT_GT(LiveWithFaults(Call::kMemory, ENOMEM, reach), 10);
  }
}

TEST_F(StoreFaultsTest, EveryFailedFileCallIsSurvived) {
  const struct {
    const char *name;
    Call call;
    std::vector<int> errors;
    long at_least;
  } rows[] = {
      {"fopen", Call::kFopen, {EMFILE, EACCES, EROFS, EIO}, 15},
      {"fclose", Call::kFclose, {EIO, ENOSPC}, 14},
      {"fread", Call::kFread, {EIO, 0}, 10},
      {"fwrite", Call::kFwrite, {ENOSPC, EIO, 0}, 8},
      {"fflush", Call::kFflush, {ENOSPC, EIO}, 5},
      {"fseek", Call::kFseek, {EIO, EINVAL}, 20},
      {"ftell", Call::kFtell, {EIO}, 10},
      {"rename", Call::kRename, {EXDEV, EACCES, ENOSPC}, 2},
      {"remove", Call::kRemove, {EACCES}, 1},
      {"mkstemp", Call::kMkstemp, {EACCES, ENOSPC, EMFILE}, 1},
      {"fdopen", Call::kFdopen, {ENOMEM}, 1},
      {"mkdir", Call::kMkdir, {EACCES, ENOTDIR}, 1},
      {"stat", Call::kStat, {EACCES, ENOTDIR, ENOENT}, 2},
      {"clock_gettime", Call::kClockGettime, {EINVAL}, 1},
  };
  long faults = 0;
  for (const auto &row : rows) {
    for (const int error : row.errors) {
      for (const Reach reach : {Reach::kOnce, Reach::kFromThen}) {
        SCOPED_TRACE(std::string(row.name) + " fails with " + std::to_string(error) +
                     (reach == Reach::kOnce ? ", once" : ", from then on"));
        const long reached = LiveWithFaults(row.call, error, reach);
        EXPECT_GE(reached, row.at_least);
        faults += reached;
        ASSERT_FALSE(HasFailure());
      }
    }
  }
  RecordProperty("faults", std::to_string(faults));
}

// --- memory ---

TEST_F(StoreFaultsTest, StartWithoutMemoryGivesNothing) {
  Begin();
  auto *store = reinterpret_cast<AmbrelStorageEngine *>(this);
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(nullptr, InitializeAmbrelStorageEngine(&store, "events", primary_directory().c_str(),
                                                   backup_directory().c_str()));
  EXPECT_EQ(nullptr, store);
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(StoreFaultsTest, LoadWithoutMemoryKeepsAPrefixOrNothingAndReturnsZero) {
  std::vector<Record> records;
  for (uint32_t i = 0; i < 60; ++i) records.push_back({.id = i, .payload = "payload"});
  const std::string file = SealedFile(60, records);
  bool freed_all = false;
  for (long k = 1;; ++k) {
    Begin();
    Place(file);
    ASSERT_TRUE(Start());
    uint32_t loaded = 0;
    bool fired = false;
    {
      Fault fault(Call::kMemory, k);
      loaded = loadAllAmbrelStorageEntries(store_);
      fired = fault.fired();
    }
    if (!fired) break;
    EXPECT_EQ(0U, loaded);
    EXPECT_LE(store_->entryCount, 60);
    EXPECT_EQ(0, store_->writable);
    if (store_->entries == nullptr) {
      // Without memory for the first array nothing was begun; later, all entries were freed.
      const bool freed = store_->entryCount == store_->loadedCount;
      freed_all |= freed;
      EXPECT_EQ(freed ? 0 : 60, store_->nextRecordId);
    } else {
      for (uint32_t i = 0; i < store_->entryCount; ++i) EXPECT_EQ(i, store_->entries[i]->id);
    }
    EXPECT_TRUE(file == File());
  }
  EXPECT_TRUE(freed_all);
}

TEST_F(StoreFaultsTest, LoadAllocatesNothingForALengthBeyondTheFile) {
  const std::string cut = HeaderBytes(1, 0) + std::string(10, '\4');
  const auto allocations = [&](const std::string &file) {
    Begin();
    EXPECT_TRUE(Start());
    WriteFile(primary(), file);
    const Fault count(Call::kMemory, 0);
    loadAllAmbrelStorageEntries(store_);
    EXPECT_EQ(0, store_->entryCount);
    return count.calls();
  };
  for (const uint32_t length : {4U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    const std::string lying = HeaderBytes(1, 0) + RecordBytes({.payload = "abc", .length = length});
    EXPECT_EQ(allocations(cut), allocations(lying)) << length;
  }
}

TEST_F(StoreFaultsTest, CreateWhoseArrayCannotGrowFreesAllEntriesUnderTheLockThatIsHeld) {
  for (const uint32_t held : {0U, 1U}) {
    BeginRunning();
    if (held != 0) ambrelStorageLock(store_, 0);
    AmbrelStorageEntry *entry = nullptr;
    const auto begin = std::chrono::steady_clock::now();
    {
      Fault fault(Call::kMemory, 1);
      EXPECT_EQ(0U, AddAndCreateAmbrelStorageEntryInArray(store_, &entry, held));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900))
        << "it does not wait for its own lock";
    EXPECT_EQ(nullptr, entry);
    EXPECT_EQ(nullptr, store_->entries);
    EXPECT_EQ(3, store_->entryCount);
    EXPECT_EQ(3U, store_->header.recordCount);
    if (held != 0) {
      EXPECT_EQ(0, pthread_mutex_unlock(&store_->mutex)) << "it was still held";
    }
    EXPECT_NE(nullptr, Create()) << "released, and with memory it goes on";
  }
}

TEST_F(StoreFaultsTest, CreateWithoutMemoryForTheEntryChangesNothing) {
  BeginRunning();
  AmbrelStorageEntry *entry = nullptr;
  {
    Fault fault(Call::kMemory, 2);
    EXPECT_EQ(0U, AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 0));
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_EQ(nullptr, entry);
  EXPECT_EQ(3, store_->entryCount);
  EXPECT_EQ(3, store_->nextRecordId);
  EXPECT_NE(nullptr, Found(2));
}

TEST_F(StoreFaultsTest, SavingNeedsNoMemory) {
  BeginRunning();
  AmbrelStorageEntry *const entry = Create("fourth");
  Fault fault(Call::kMemory, 1, ENOMEM, Reach::kFromThen);
  EXPECT_EQ(1U, Save(entry));
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(4U, NativeAt<uint32_t>(File(), 8));
}

// --- starting ---

TEST_F(StoreFaultsTest, StartThatCannotReadTheHeaderTakesTheFileForDamaged) {
  for (const int error : {EIO, 0}) {
    Begin();
    Fault fault(Call::kFread, 1, error);
    ASSERT_TRUE(Start());
    EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
  }
}

TEST_F(StoreFaultsTest, StartThatCannotOpenForReadingCreatesTheFileAnew) {
  Begin();
  Fault fault(Call::kFopen, 1, EACCES);
  ASSERT_TRUE(Start());
  EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
}

TEST_F(StoreFaultsTest, StartThatCannotReopenTheNewFileGivesAStoreWithoutStream) {
  Begin();
  WriteFile(primary(), "damaged");
  Fault fault(Call::kFopen, 3, EMFILE);
  ASSERT_TRUE(Start());
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_EQ(0, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
}

// --- saving one ---

TEST_F(StoreFaultsTest, SaveThatCannotOpenForUpdateSaysWhyAndLosesTheStream) {
  BeginRunning();
  AmbrelStorageEntry *const entry = Create("fourth");
  Logger log;
  {
    Fault fault(Call::kFopen, 1, EMFILE);
    EXPECT_EQ(0U, Save(entry));
  }
  EXPECT_THAT(log.lines(),
              ElementsAre("DEBUG [AmbrelDataStorage]Unable to open db file Too many open files"));
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_EQ(0U, Save(entry));
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(0U, updateAmbrelStorageCRC(store_, 0));
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(StoreFaultsTest, SaveWhoseReopeningFailsHasWrittenButReturnsZero) {
  BeginRunning();
  AmbrelStorageEntry *const entry = Create("fourth");
  {
    Fault fault(Call::kFopen, 2, EMFILE);
    EXPECT_EQ(0U, Save(entry, false));
  }
  EXPECT_EQ(ThreeRecordFile() + RecordBytes(RecordOf(*entry)), File());
  EXPECT_EQ(nullptr, store_->file);
}

TEST_F(StoreFaultsTest, SaveThatCannotBeFlushedReturnsZeroAndStaysOpenForUpdate) {
  for (const bool refresh : {false, true}) {
    BeginRunning();
    AmbrelStorageEntry *const entry = Create("fourth");
    {
      Fault fault(Call::kFflush, 1, ENOSPC);
      EXPECT_EQ(0U, Save(entry, refresh));
    }
    EXPECT_EQ(1, store_->open);
    EXPECT_EQ(1, store_->writable);
    EXPECT_EQ(FileCrc(ThreeRecordFile()), NativeAt<uint32_t>(File(), 12)) << "no refresh";
    EXPECT_EQ(1U, FullSave());
    EXPECT_EQ(4U, NativeAt<uint32_t>(File(), 8));
  }
}

TEST_F(StoreFaultsTest, SaveWhoseFirstWriteFailsReturnsZeroForANewRecord) {
  for (const int error : {ENOSPC, 0}) {
    BeginRunning();
    AmbrelStorageEntry *const entry = Create("fourth");
    Fault fault(Call::kFwrite, 1, error);
    EXPECT_EQ(0U, Save(entry, false));
  }
}

// --- full save ---

TEST_F(StoreFaultsTest, FullSaveWhoseRecordsCannotBeWrittenPutsTheFormerFileBack) {
  struct Row {
    const char *what;
    Call call;
    int error;
  };
  for (const Row &row :
       {Row{"write", Call::kFwrite, ENOSPC}, Row{"short write", Call::kFwrite, 0},
        Row{"write error", Call::kFwrite, EIO}, Row{"flush", Call::kFflush, ENOSPC}}) {
    SCOPED_TRACE(row.what);
    BeginRunning();
    Create("fourth");
    const long descriptors = OpenDescriptors();
    {
      Fault fault(row.call, 1, row.error, Reach::kFromThen);
      EXPECT_EQ(0U, FullSave());
      EXPECT_TRUE(fault.fired());
    }
    EXPECT_EQ(ThreeRecordFile(), File());
    EXPECT_FALSE(std::filesystem::exists(backup()));
    EXPECT_EQ(1, store_->open);
    EXPECT_EQ(0, store_->writable);
    EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_EQ(1U, FullSave()) << "later, with room on the disk";
    EXPECT_EQ(4U, NativeAt<uint32_t>(File(), 8));
  }
}

TEST_F(StoreFaultsTest, FullSaveThatCannotCreateTheFilePutsTheFormerOneBack) {
  BeginRunning();
  {
    Fault fault(Call::kFopen, 1, ENOSPC);
    EXPECT_EQ(0U, FullSave());
  }
  EXPECT_EQ(ThreeRecordFile(), File());
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(1U, FullSave());
}

TEST_F(StoreFaultsTest, FullSaveThatCannotPutTheFormerFileBackLeavesItAsTheBackup) {
  BeginRunning();
  {
    Fault fault(Call::kRename, 2, EIO);
    FreeAmbrelStorageEntry(store_->entries[2]);
    EXPECT_EQ(0U, FullSave());
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_EQ(ThreeRecordFile(), Backup());
  EXPECT_FALSE(ChecksOut(File()));
  EXPECT_EQ(1, store_->open) << "on what is there";
}

TEST_F(StoreFaultsTest, FullSaveThatCannotMoveTheFileLeavesIt) {
  for (const int error : {EXDEV, EACCES, ENOSPC}) {
    BeginRunning();
    Create("fourth");
    {
      Fault fault(Call::kRename, 1, error);
      EXPECT_EQ(0U, FullSave());
    }
    EXPECT_EQ(ThreeRecordFile(), File());
    EXPECT_EQ(1U, FullSave());
  }
}

TEST_F(StoreFaultsTest, FullSaveWhoseChecksumCannotBeWrittenKeepsTheFormerFileAsBackup) {
  for (long k = 2; k <= 4; ++k) {  // reopening for update, for reading, and once more
    BeginRunning();
    {
      Fault fault(Call::kFopen, k, EMFILE);
      EXPECT_EQ(0U, FullSave());
      EXPECT_TRUE(fault.fired());
    }
    EXPECT_EQ(ThreeRecordFile(), Backup());
    EXPECT_EQ(nullptr, store_->file);
    EXPECT_EQ(0U, FullSave());
    EXPECT_EQ(ThreeRecordFile(), Backup()) << "it is not overwritten";
  }
}

// --- compaction ---

TEST_F(StoreFaultsTest, CompactionThatFailsAnywhereLeavesThePrimaryAndNoTemporaryFile) {
  for (const Call call : {Call::kMemory, Call::kMkstemp, Call::kFdopen, Call::kFwrite, Call::kFread,
                          Call::kFseek, Call::kFtell, Call::kFflush, Call::kFclose}) {
    for (long k = 1;; ++k) {
      BeginRunning();
      const long descriptors = OpenDescriptors();
      bool fired = false;
      {
        Fault fault(call, k, EIO);
        EXPECT_EQ(0U, Compact());
        fired = fault.fired();
      }
      EXPECT_EQ(ThreeRecordFile(), File());
      EXPECT_THAT(TemporaryStoreFiles(), IsEmpty());
      // A stream that could not be sought in is given up, as one that could not be reopened.
      const bool lost = call == Call::kFseek && store_->file == nullptr;
      EXPECT_EQ(lost ? descriptors - 1 : descriptors, OpenDescriptors());
      EXPECT_EQ(lost ? 0U : 1U, FullSave());
      if (!fired || HasFailure()) break;
    }
  }
}

// --- the clock ---

TEST_F(StoreFaultsTest, WithoutAClockAFreeLockIsTakenAndABusyOneNotWaitedFor) {
  BeginRunning();
  Fault fault(Call::kClockGettime, 1, EINVAL, Reach::kFromThen);
  EXPECT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_EQ(0U, ambrelStorageLock(store_, 0));
  ambrelStorageUnLock(store_, 0);
}

}  // namespace
}  // namespace cu_test
