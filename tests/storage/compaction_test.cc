// Compaction: what it writes aside, and that the file stays as it was.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "support/file_calls.hpp"
#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "support/logger.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CompressAmbrelStorageEntriesTest : public StoreTest {
 protected:
  void SetUp() override {
    if (!CanWriteVar()) GTEST_SKIP() << "needs a writable /var";
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    descriptors_ = OpenDescriptors();
  }

  /// Compacts, and returns what stood in the temporary file when it was to replace the primary.
  std::string Compacted(uint64_t now = 100, uint32_t retention = 604800) {
    std::string copy;
    FileCalls calls;
    calls.rename = [&](const char *, const char *) {
      const std::set<std::string> temporaries = TemporaryStoreFiles();
      EXPECT_EQ(1U, temporaries.size());
      if (!temporaries.empty()) copy = ReadFile(*temporaries.begin());
      return -1;
    };
    EXPECT_EQ(0U, Compact(now, retention));
    return copy;
  }

  /// The record that stands in the copy for a record of the file: the reference to its payload,
  /// which no test can know, and zeros.
  static std::string Masked(std::string copy, const std::vector<Record> &records) {
    size_t at = kFileHeader;
    for (const Record &record : records) {
      for (size_t i = 0; i < record.payload.size() && i < sizeof(void *); ++i) {
        if (at + kRecordHeader + i < copy.size()) copy[at + kRecordHeader + i] = '\0';
      }
      at += kRecordHeader + record.payload.size();
    }
    return copy;
  }
  static std::string Expected(uint32_t crc, std::vector<Record> records) {
    for (Record &record : records) record.payload.assign(record.payload.size(), '\0');
    return HeaderBytes(static_cast<uint32_t>(records.size()), crc) + RecordsBytes(records);
  }

  long descriptors_ = 0;
};

TEST_F(CompressAmbrelStorageEntriesTest, ReturnsZeroAndLeavesThePrimaryAsItWas) {
  store_->entries[1]->valid = 0;
  EXPECT_EQ(0U, Compact());
  EXPECT_EQ(ThreeRecordFile(), File());
  EXPECT_FALSE(std::filesystem::exists(backup()));
}

TEST_F(CompressAmbrelStorageEntriesTest, LeavesNoTemporaryFileAndNoDescriptor) {
  const std::set<std::string> before = TemporaryStoreFiles();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(0U, Compact());
  EXPECT_EQ(before, TemporaryStoreFiles());
  EXPECT_EQ(descriptors_, OpenDescriptors());
}

TEST_F(CompressAmbrelStorageEntriesTest, LeavesTheStreamOpenForReading) {
  EXPECT_EQ(0U, Compact());
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(static_cast<int32_t>(ThreeRecordFile().size()), store_->fileSize);
  EXPECT_EQ(0, store_->position);
  EXPECT_EQ(1U, Save(Create("the store goes on")));
}

TEST_F(CompressAmbrelStorageEntriesTest, WritesReferencesAndZerosInPlaceOfPayloads) {
  const std::string copy = Compacted();
  EXPECT_EQ(Expected(FileCrc(ThreeRecordFile()), ThreeRecords()), Masked(copy, ThreeRecords()));
}

TEST_F(CompressAmbrelStorageEntriesTest, StoresThePrimarysChecksumInTheCopy) {
  EXPECT_EQ(FileCrc(ThreeRecordFile()), NativeAt<uint32_t>(Compacted(), 12));
}

TEST_F(CompressAmbrelStorageEntriesTest, CarriesTheFileHeaderOverButForCountAndRecordHeaderSize) {
  std::string file = SealedFile(77, ThreeRecords());
  file.replace(1, 3, "abc").replace(4, 2, Native(uint16_t{7})).replace(6, 2, Native(uint16_t{99}));
  file = Sealed(file);
  Place(file);
  Restart();
  ASSERT_EQ(file, File());
  EXPECT_EQ(std::string("\x04"
                        "abc\x07\0\x20\0\x03\0\0\0",
                        12) +
                Native(FileCrc(file)),
            Compacted().substr(0, kFileHeader));
}

TEST_F(CompressAmbrelStorageEntriesTest, LeavesSupersededRecordsOut) {
  std::vector<Record> records = ThreeRecords();
  records[1].valid = 0;
  Place(SealedFile(3, records));
  Restart();
  const std::string copy = Compacted();
  records.erase(records.begin() + 1);
  EXPECT_EQ(Expected(FileCrc(File()), records), Masked(copy, records));
}

TEST_F(CompressAmbrelStorageEntriesTest, KeepsTheHeaderInMemoryThatOfThePrimary) {
  Create("not saved");
  store_->entries[0]->valid = 0;
  Compact();
  EXPECT_EQ(3U, store_->header.recordCount);
  EXPECT_EQ(FileCrc(ThreeRecordFile()), store_->header.crc);
}

TEST_F(CompressAmbrelStorageEntriesTest, KeepsEveryAgeWithTheDefaultRetention) {
  // 604800 * 1000000 overflows to -790388736, which is huge as an unsigned number.
  for (const uint64_t now :
       {uint64_t{13}, uint64_t{700000}, uint64_t{1} << 31, uint64_t{1} << 40}) {
    EXPECT_EQ(3U, NativeAt<uint32_t>(Compacted(now), 8)) << now;
  }
}

TEST_F(CompressAmbrelStorageEntriesTest, ComparesAgesWithMicrosecondsWhereTheProductFits) {
  // The records were created at 11, 12 and 13 seconds; 1 second of retention is 1000000.
  EXPECT_EQ(3U, NativeAt<uint32_t>(Compacted(1000011, 1), 8));
  EXPECT_EQ(2U, NativeAt<uint32_t>(Compacted(1000012, 1), 8));
  EXPECT_EQ(1U, NativeAt<uint32_t>(Compacted(1000013, 1), 8));
  EXPECT_EQ(0U, NativeAt<uint32_t>(Compacted(1000014, 1), 8));
}

TEST_F(CompressAmbrelStorageEntriesTest, TakesARecordOfTheFutureForOneOfAHugeAge) {
  EXPECT_EQ(0U, NativeAt<uint32_t>(Compacted(10), 8)) << "10 - 11 wraps beyond any threshold";
  EXPECT_EQ(0U, NativeAt<uint32_t>(Compacted(5, 1), 8)) << "5 - 11 wraps";
  EXPECT_EQ(1U, NativeAt<uint32_t>(Compacted(13, 0), 8)) << "only 13 - 13 is at most 0";
}

TEST_F(CompressAmbrelStorageEntriesTest, SignExtendsTheCreationTime) {
  Place(SealedFile(1, {{.id = 1, .payload = "x", .seconds = 0xFFFFFFFF}}));
  Restart();
  EXPECT_EQ(1U, NativeAt<uint32_t>(Compacted(999999, 1), 8)) << "999999 - -1 is 1000000";
  EXPECT_EQ(0U, NativeAt<uint32_t>(Compacted(1000000, 1), 8));
}

TEST_F(CompressAmbrelStorageEntriesTest, WritesALargeRecordWithoutReadingBehindTheEntry) {
  const std::vector<Record> records = {{.id = 1, .payload = std::string(100000, 'p')}};
  Place(SealedFile(1, records));
  Restart();
  EXPECT_EQ(Expected(FileCrc(File()), records), Masked(Compacted(), records));
}

TEST_F(CompressAmbrelStorageEntriesTest, CopesWithADamagedPrimary) {
  const std::string damaged[] = {
      "",
      "short",
      HeaderBytes(0, 0),
      HeaderBytes(3, 0) + std::string(31, 'x'),
      HeaderBytes(3, 0) + RecordBytes({.id = 1, .payload = "x", .length = 0xFFFFFFFF}),
      HeaderBytes(3, 0) + RecordBytes({.id = 1, .payload = "x", .length = 0xFFFFFFE0}),
      HeaderBytes(3, 0) + RecordsBytes({{.id = 1}, {.id = 2}, {.id = 3}}),
  };
  for (const std::string &file : damaged) {
    WriteFile(primary(), file);
    EXPECT_EQ(0U, Compact()) << file.size();
    EXPECT_EQ(file, File());
  }
}

TEST_F(CompressAmbrelStorageEntriesTest, CreatesTheTemporaryFileForItsOwnerAlone) {
  FileCalls calls;
  std::filesystem::perms permissions{};
  calls.rename = [&](const char *, const char *) {
    for (const std::string &file : TemporaryStoreFiles()) {
      permissions = std::filesystem::status(file).permissions();
    }
    return -1;
  };
  Compact();
  EXPECT_EQ(std::filesystem::perms(0600), permissions);
}

TEST_F(CompressAmbrelStorageEntriesTest, TriesToRenameThePrimaryBeneathItself) {
  std::string from, to;
  FileCalls calls;
  calls.rename = [&](const char *old_name, const char *new_name) {
    from = old_name;
    to = new_name;
    return -1;
  };
  Compact();
  EXPECT_EQ(primary(), from);
  EXPECT_EQ(primary() + "/.bkc", to);
}

TEST_F(CompressAmbrelStorageEntriesTest, NeverCutsThatNameToThePrimarysOwn) {
  // 511 characters of path: a cut "/.bkc" would make the rename succeed and replace the file.
  std::string folder = dir_.file("");
  while (folder.size() < 254) folder += 'd';
  const std::string name(255, 'n');
  Stop();
  ASSERT_TRUE(InitializeAmbrelStorageEngine(&store_, name.c_str(), (folder + "d").c_str(),
                                            backup_directory().c_str()));
  const std::string file = folder + "d/" + name;
  ASSERT_EQ(511U, file.size());
  Saved("payload");
  const std::string before = ReadFile(file);
  EXPECT_EQ(0U, Compact());
  EXPECT_EQ(before, ReadFile(file));
  EXPECT_EQ(16U + 32U + 7U, before.size());
}

TEST_F(CompressAmbrelStorageEntriesTest, WhereTheRenameWorksReplacesThePrimaryAndReturnsOne) {
  std::string copy;
  {
    FileCalls calls;
    calls.rename = [&](const char *, const char *) {
      copy = ReadFile(*TemporaryStoreFiles().begin());
      return 0;
    };
    EXPECT_EQ(1U, Compact());
  }
  EXPECT_EQ(copy, File());
  EXPECT_THAT(TemporaryStoreFiles(), IsEmpty());
}

TEST_F(CompressAmbrelStorageEntriesTest, WhereTheRenameWorksButTheCopyDoesNotSaysSo) {
  Logger log;
  {
    FileCalls calls;
    calls.rename = [&](const char *, const char *) {
      std::filesystem::remove(primary());
      std::filesystem::create_directory(primary());
      return 0;
    };
    EXPECT_EQ(0U, Compact());
  }
  EXPECT_THAT(log.lines(), ElementsAre("DEBUG [AmbrelDataStorage]We need to restore from backup"));
}

TEST_F(CompressAmbrelStorageEntriesTest, LosesTheStreamWhenThePrimaryIsGone) {
  FileCalls calls;
  calls.rename = [&](const char *, const char *) {
    std::filesystem::remove(primary());
    return -1;
  };
  EXPECT_EQ(0U, Compact());
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_EQ(0U, Compact()) << "and goes on failing";
  EXPECT_THAT(TemporaryStoreFiles(), IsEmpty());
}

TEST_F(CompressAmbrelStorageEntriesTest, RemovesTheTemporaryFileWhenTheLockCannotBeHad) {
  store_->lockTimeoutMs = 10;
  ASSERT_EQ(1U, ambrelStorageLock(store_, 0));
  EXPECT_EQ(0U, Compact());
  EXPECT_THAT(TemporaryStoreFiles(), IsEmpty());
  FileCalls calls;
  EXPECT_EQ(0U, compressAmbrelStorageEntries(store_, 0, 0, 604800, 1)) << "with the lock held";
  EXPECT_EQ(1, std::count(calls.all().begin(), calls.all().end(), "rename events .bkc"));
  ambrelStorageUnLock(store_, 0);
}

TEST_F(CompressAmbrelStorageEntriesTest, RefusesNoEngine) {
  EXPECT_EQ(0U, compressAmbrelStorageEntries(nullptr, 0, 0, 604800, 0));
}

}  // namespace
}  // namespace cu_test
