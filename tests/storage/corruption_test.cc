// Files that are damaged, cut short, or made to mislead.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <random>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "support/child.hpp"
#include "support/sanitizers.hpp"
#include "support/threads.hpp"

namespace cu_test {
namespace {

/// Does with a store whatever a daemon may do with a file that it found.
class DamagedStoreTest : public StoreTest {
 protected:
  /// Starts on a file and tells whether it was accepted, having done everything with it.
  bool Live(const std::string &file) {
    Place(file);
    EXPECT_TRUE(Start());
    const bool accepted = File() == file;
    EXPECT_TRUE(accepted || File() == HeaderBytes(0, kPlaceholder));
    loadAllAmbrelStorageEntries(store_);
    for (uint32_t id = 0; id < 4; ++id) {
      Found(id);
      getAmbrelFileLocationForRecord(store_, id);
    }
    EXPECT_EQ(0U, Compact());
    AmbrelStorageEntry *const entry = Create("new");
    Save(entry, false);
    Save(entry);
    SetPayload(entry, "longer");
    Save(entry);
    EXPECT_EQ(1U, FullSave());
    EXPECT_TRUE(ChecksOut(File()));
    return accepted;
  }

  /// The same with the file under a store that is running.
  void Invade(const std::string &file) {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    WriteFile(primary(), file);
    uint32_t crc = 0;
    uint8_t last = 0;
    AmbrelStorageEntry read = {};
    getAmbrelFileHeader(store_, 0);
    calcAmbrelFileCRC(store_, 0, &crc);
    fseek(store_->file, 16, SEEK_SET);
    for (int i = 0; i < 5; ++i) {
      getNextAmbrelStorageEntry(store_, &read, 0, &last);
      FreeAmbrelStorageEntry(&read);
    }
    loadAllAmbrelStorageEntries(store_);
    for (uint32_t id = 0; id < 4; ++id) getAmbrelFileLocationForRecord(store_, id);
    EXPECT_EQ(0U, Compact());
    Save(Create("new"));
    SetPayload(store_->entries[0], "another length");
    Save(store_->entries[0]);
    updateAmbrelStorageCRC(store_, 0);
    FullSave();
  }
};

TEST_F(DamagedStoreTest, EveryChangeOfOneByteIsRefusedAtStart) {
  const std::string sound = ThreeRecordFile();
  std::mt19937 random(7);
  for (size_t at = 0; at < sound.size(); ++at) {
    for (const unsigned flip : {1U, 0x80U, 0xFFU, 1U + static_cast<unsigned>(random()) % 255}) {
      std::string file = sound;
      file[at] = static_cast<char>(file[at] ^ flip);
      EXPECT_FALSE(Live(file)) << "offset " << at << ", flip " << flip;
    }
  }
}

TEST_F(DamagedStoreTest, EveryCutIsRefusedAtStart) {
  const std::string sound = ThreeRecordFile();
  for (size_t length = 0; length < sound.size(); ++length) {
    EXPECT_FALSE(Live(sound.substr(0, length))) << length;
  }
  EXPECT_TRUE(Live(sound));
}

TEST_F(DamagedStoreTest, EveryCutUnderARightChecksumIsAcceptedOnlyBetweenRecordsOrInAHeader) {
  const std::string sound = ThreeRecordFile();
  for (size_t length = kFileHeader; length < sound.size(); ++length) {
    std::string file = sound.substr(0, length);
    const std::optional<uint32_t> crc = StartCrc(file);
    file = WithCrc(file, crc.value_or(FileCrc(file)));
    const bool in_header_or_between =
        (length >= 53 && length < 85) || (length >= 99 && length < 131);
    EXPECT_EQ(in_header_or_between, crc.has_value()) << length;
    EXPECT_EQ(in_header_or_between, Live(file)) << length;
  }
}

TEST_F(DamagedStoreTest, EveryChangeUnderARightChecksumIsLivedWith) {
  const std::string sound = ThreeRecordFile();
  for (size_t at = 0; at < sound.size(); ++at) {
    for (const unsigned flip : {1U, 0x80U, 0xFFU}) {
      std::string file = sound;
      file[at] = static_cast<char>(file[at] ^ flip);
      if (const std::optional<uint32_t> crc = StartCrc(file)) file = WithCrc(file, *crc);
      EXPECT_EQ(ChecksOut(file), Live(file)) << "offset " << at << ", flip " << flip;
    }
  }
}

TEST_F(DamagedStoreTest, EveryChangeAndCutUnderARunningStoreIsSurvived) {
  const std::string sound = ThreeRecordFile();
  for (size_t at = 0; at < sound.size(); ++at) {
    Invade(sound.substr(0, at));
    std::string file = sound;
    file[at] = static_cast<char>(~file[at]);
    Invade(file);
  }
}

TEST_F(DamagedStoreTest, RandomBytesAreRefused) {
  std::mt19937 random(99);
  for (int i = 0; i < 300; ++i) {
    std::string file(random() % 400, '\0');
    for (char &byte : file) byte = static_cast<char>(random());
    if (!file.empty() && i % 2) file[0] = 4;
    EXPECT_FALSE(Live(file)) << i;
    Invade(file);
  }
}

TEST_F(DamagedStoreTest, HostileLengthsUnderARightChecksumAllocateNothing) {
  for (const uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, 0xFFFFFFE0U, 0xFFFFFFDFU}) {
    std::vector<Record> records = ThreeRecords();
    records[2].length = length;
    const std::string file = SealedFile(3, records);
    Child child([&] {
#if !CU_ADDRESS_SANITIZER && !CU_THREAD_SANITIZER
      const rlimit little = {256 << 20, 256 << 20};
      setrlimit(RLIMIT_AS, &little);
#endif
      Live(file);
      Invade(file);
      return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(0, child.Wait().status()) << length << child.out() << child.err();
  }
}

TEST_F(DamagedStoreTest, ALyingCountIsBelievedByNothingButTheCounters) {
  for (const uint32_t count : {0U, 1U, 4U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    EXPECT_TRUE(Live(SealedFile(count, ThreeRecords()))) << count;
    EXPECT_EQ(4U, NativeAt<uint32_t>(File(), 8)) << "a full save counts anew";
  }
}

TEST_F(DamagedStoreTest, LyingHeaderSizesAreBelievedByNothing) {
  for (const uint16_t size : {0, 1, 15, 17, 0xFFFF}) {
    std::string file = ThreeRecordFile();
    file.replace(4, 2, Native(size));
    file.replace(6, 2, Native(size));
    EXPECT_TRUE(Live(Sealed(file))) << size;
  }
}

TEST_F(DamagedStoreTest, HundredsOfThousandsOfEmptyRecordsTakeBoundedTime) {
  const long records = Rounds(400000);
  std::string file = HeaderBytes(0, 0) + RecordBytes({.id = 1, .payload = "x"});
  const std::string empty = RecordBytes({.id = 2});
  for (long i = 0; i < records; ++i) file += empty;
  Place(Sealed(file));
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(Start());
  EXPECT_EQ(static_cast<int32_t>(file.size()), store_->fileSize);
  EXPECT_EQ(0U, getAmbrelFileLocationForRecord(store_, 3));
  loadAllAmbrelStorageEntries(store_);
  EXPECT_EQ(std::min(records + 1, 65535L), store_->entryCount);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
}

TEST_F(DamagedStoreTest, AWholeThousandOfRecordsStartsWithinASecond) {
  std::vector<Record> records;
  for (uint32_t i = 0; i < 1000; ++i)
    records.push_back({.id = i, .payload = std::string(256, 'p')});
  Place(SealedFile(1000, records));
  const StartTime time;
  Restart();
  time.ExpectShort();
  EXPECT_EQ(1000, store_->entryCount);
}

TEST_F(DamagedStoreTest, ASparseFileOfTwoGigabytesIsRefusedInBoundedTime) {
  std::filesystem::create_directories(primary_directory());
  WriteFile(primary(),
            HeaderBytes(1, 0) + RecordBytes({.id = 1, .payload = "x", .length = 0x7FFFFF00}));
  std::error_code refused;
  std::filesystem::resize_file(primary(), 0x7FFFFFFFULL, refused);
  if (refused) GTEST_SKIP() << "no sparse files here";
  ASSERT_TRUE(Start());
  EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
}

}  // namespace
}  // namespace cu_test
