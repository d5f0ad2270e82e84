// The fast forms against the plain ones: two stores live the same life, one through each, and are
// compared in every visible respect, also when file calls fail.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <functional>
#include <random>

#include "storage/plain_store.hpp"
#include "storage/store_fixture.hpp"
#include "support/faults.hpp"
#include "support/threads.hpp"

namespace cu_test {
namespace {

/// A store in a folder of its own.
struct Twin {
  explicit Twin(const std::string &file) {
    std::filesystem::create_directories(dir.file("p"));
    WriteFile(dir.file("p/s"), file);
    Start();
  }
  ~Twin() { DeInitializeAmbrelStorageEngine(engine); }

  void Start() {
    DeInitializeAmbrelStorageEngine(engine);
    InitializeAmbrelStorageEngine(&engine, "s", dir.file("p").c_str(), dir.file("b").c_str());
  }
  std::string file() const { return ReadFile(dir.file("p/s")); }
  std::string backup() const { return ReadFile(dir.file("b/s.bkc")); }

  AmbrelStorageEntry *Create(const std::string &payload) {
    AmbrelStorageEntry *entry = nullptr;
    AddAndCreateAmbrelStorageEntryInArray(engine, &entry, 1);
    entry->wallStamp = 77;  // the same in both
    entry->monotonicSeconds = 11;
    SetPayload(entry, payload);
    return entry;
  }

  TempDir dir;
  AmbrelStorageEngine *engine = nullptr;
};

class FastPathsTest : public testing::TestWithParam<unsigned> {
 protected:
  unsigned Pick(unsigned below) { return static_cast<unsigned>(random_()) % below; }

  std::string RandomPayload() {
    const unsigned kind = Pick(40);
    size_t size = Pick(100);
    if (kind == 0) size = 65000 + Pick(1200);   // about a block
    if (kind == 1) size = 130000 + Pick(3000);  // more than two
    if (kind < 6 && kind > 1) size = 0;
    std::string payload(size, '\0');
    for (char &byte : payload) byte = static_cast<char>(random_());
    return payload;
  }

  static void Compare(const Twin &fast, const Twin &plain) {
    ASSERT_EQ(fast.file().size(), plain.file().size());
    ASSERT_TRUE(fast.file() == plain.file());
    ASSERT_TRUE(fast.backup() == plain.backup());
    const AmbrelStorageEngine &a = *fast.engine, &b = *plain.engine;
    ASSERT_EQ(0, memcmp(&a.header, &b.header, sizeof a.header));
    ASSERT_EQ(a.open, b.open);
    ASSERT_EQ(a.writable, b.writable);
    ASSERT_EQ(a.file == nullptr, b.file == nullptr);
    ASSERT_EQ(a.nextRecordId, b.nextRecordId);
    ASSERT_EQ(a.loadedCount, b.loadedCount);
    ASSERT_EQ(a.fileSize, b.fileSize);
    ASSERT_EQ(a.position, b.position);
    const bool at_rest = a.file != nullptr && a.writable == 0;
    ASSERT_EQ(at_rest ? ftell(a.file) : 0, at_rest ? ftell(b.file) : 0);
    ASSERT_EQ(a.entryCount, b.entryCount);
    ASSERT_EQ(a.entries == nullptr, b.entries == nullptr);
    for (int i = 0; a.entries != nullptr && i < a.entryCount; ++i) {
      ASSERT_EQ(a.entries[i] == nullptr, b.entries[i] == nullptr);
      if (a.entries[i] == nullptr) continue;
      ASSERT_TRUE(RecordBytes(RecordOf(*a.entries[i])) == RecordBytes(RecordOf(*b.entries[i])));
    }
  }

  /// A random store file: sound, damaged or hostile.
  std::string RandomFile() {
    std::string file = HeaderBytes(Pick(5), 0);
    for (unsigned i = Pick(120); i > 0; --i) {
      Record record = {.id = Pick(20), .payload = RandomPayload(), .valid = Pick(4) != 0};
      if (Pick(300) == 0) record.format = 5;
      if (Pick(200) == 0) record.length = static_cast<uint32_t>(random_());
      file += RecordBytes(record);
    }
    if (Pick(5) == 0) file += std::string(Pick(40), 'x');
    if (Pick(5) == 0) file.resize(Pick(static_cast<unsigned>(file.size()) + 1));
    return Pick(3) != 0 && StartCrc(file) ? WithCrc(file, *StartCrc(file)) : file;
  }

  std::mt19937 random_{GetParam()};
};

TEST_P(FastPathsTest, SearchingFindsWhatTheWalkFinds) {
  for (long i = 0; i < Rounds(60) + 3; ++i) {
    Twin twin(SealedFile(1, {{.id = 1, .payload = "x"}}));
    WriteFile(twin.dir.file("p/s"), RandomFile());
    updateAmbrelFileHandlerInfo(twin.engine, 0);
    for (uint32_t id = 0; id < 22; ++id) {
      twin.engine->position = -1;
      const uint32_t found = getAmbrelFileLocationForRecord(twin.engine, id);
      const int32_t position = twin.engine->position;
      ASSERT_EQ(position, found ? ftell(twin.engine->file) : -1);
      twin.engine->position = -1;
      ASSERT_EQ(plain::Locate(twin.engine, id), found) << id;
      ASSERT_EQ(twin.engine->position, position) << id;
    }
  }
}

TEST_P(FastPathsTest, TheChecksumIsThatOfTheWalk) {
  for (long i = 0; i < Rounds(200) + 5; ++i) {
    Twin twin(SealedFile(1, {{.id = 1, .payload = "x"}}));
    WriteFile(twin.dir.file("p/s"), RandomFile());
    updateAmbrelFileHandlerInfo(twin.engine, 0);
    uint32_t fast = i % 2 ? 0 : 0xABCDEF01, plain = fast;
    const uint32_t result = calcAmbrelFileCRC(twin.engine, 0, &fast);
    const AmbrelStorageFileHeader header = twin.engine->header;
    ASSERT_EQ(plain::Checksum(twin.engine, &plain), result);
    ASSERT_EQ(plain, fast);
    ASSERT_EQ(0, memcmp(&header, &twin.engine->header, sizeof header));
  }
}

TEST_P(FastPathsTest, LoadingGivesWhatReadingRecordByRecordGives) {
  for (long i = 0; i < Rounds(100) + 3; ++i) {
    const std::string file = RandomFile();
    Twin fast(file), plain(file);
    if (Pick(3) == 0) {
      const std::string damaged = RandomFile();
      WriteFile(fast.dir.file("p/s"), damaged);
      WriteFile(plain.dir.file("p/s"), damaged);
      updateAmbrelFileHandlerInfo(fast.engine, 0);
      updateAmbrelFileHandlerInfo(plain.engine, 0);
    }
    fast.engine->position = plain.engine->position = 0;
    ASSERT_EQ(plain::Load(plain.engine), loadAllAmbrelStorageEntries(fast.engine));
    ASSERT_NO_FATAL_FAILURE(Compare(fast, plain));
  }
}

TEST_P(FastPathsTest, ASaveIntoAFileThatWasCutOffLeavesWhatThePlainOneLeaves) {
  const std::string whole = SealedFile(2, {{.id = 1, .payload = "first"}, {.id = 2}});
  for (size_t size = 0; size <= whole.size(); ++size) {
    for (const bool refresh : {false, true}) {
      Twin fast(whole), plain(whole);
      for (Twin *const twin : {&fast, &plain}) {
        WriteFile(twin->dir.file("p/s"), whole.substr(0, size));
        twin->engine->nextRecordId = 3;
      }
      const std::string payload(Pick(50), 'n');
      ASSERT_EQ(plain::Save(plain.engine, plain.Create(payload), refresh),
                saveAmbrelStorageDeviceUpdateEntry(fast.engine, fast.Create(payload), 0, refresh))
          << size;
      ASSERT_NO_FATAL_FAILURE(Compare(fast, plain)) << size;
    }
  }
}

TEST_P(FastPathsTest, TwoStoresLiveTheSameLife) {
  Twin fast(HeaderBytes(0, 0)), plain(HeaderBytes(0, 0));
  ASSERT_EQ(plain::Load(plain.engine), loadAllAmbrelStorageEntries(fast.engine));
  for (long i = 0; i < Rounds(1000) + 30; ++i) {
    const unsigned step = Pick(20);
    const std::string payload = RandomPayload();
    if (step == 0) {
      fast.Start();
      plain.Start();
      ASSERT_EQ(plain::Load(plain.engine), loadAllAmbrelStorageEntries(fast.engine));
    } else if (step < 4) {
      ASSERT_EQ(plain::FullSave(plain.engine), saveAllAmbrelStorageEntries(fast.engine, 0));
    } else if (step == 4) {
      ASSERT_EQ(plain::Refresh(plain.engine), updateAmbrelStorageCRC(fast.engine, 0));
    } else if (step == 5 && Pick(4) == 0) {
      const std::string file = RandomFile();
      WriteFile(fast.dir.file("p/s"), file);
      WriteFile(plain.dir.file("p/s"), file);
      updateAmbrelFileHandlerInfo(fast.engine, 0);
      updateAmbrelFileHandlerInfo(plain.engine, 0);
    } else {
      AmbrelStorageEntry *a = nullptr, *b = nullptr;
      if (step < 12 || fast.engine->entryCount == 0) {
        a = fast.Create(payload);
        b = plain.Create(payload);
      } else {
        const unsigned entry = Pick(fast.engine->entryCount);
        a = fast.engine->entries[entry];
        b = plain.engine->entries[entry];
        if (step < 18) SetPayload(a, payload), SetPayload(b, payload);
        if (step == 18) a->valid = b->valid = 0;
        if (step == 19 && Pick(8) == 0) a->format = b->format = 5;
      }
      const bool refresh = Pick(3) != 0;
      ASSERT_EQ(plain::Save(plain.engine, b, refresh),
                saveAmbrelStorageDeviceUpdateEntry(fast.engine, a, 0, refresh));
    }
    ASSERT_NO_FATAL_FAILURE(Compare(fast, plain)) << "step " << i << " of kind " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, FastPathsTest, testing::Range(1U, 4U));

/// Does one thing with each of two equal stores under the same fault and compares what is left.
void CompareUnderFaults(const std::function<uint32_t(Twin &)> &fast_form,
                        const std::function<uint32_t(Twin &)> &plain_form) {
  std::vector<Record> records;
  for (uint32_t i = 0; i < 20; ++i)
    records.push_back({.id = i, .payload = std::string(50 + i, 'r')});
  const std::string file = SealedFile(20, records);
  const struct {
    Call call;
    int error;
    Reach reach;
  } faults[] = {{Call::kFopen, EMFILE, Reach::kOnce},     {Call::kFopen, EACCES, Reach::kFromThen},
                {Call::kRename, EXDEV, Reach::kOnce},     {Call::kRename, EIO, Reach::kFromThen},
                {Call::kFclose, EIO, Reach::kOnce},       {Call::kFwrite, ENOSPC, Reach::kFromThen},
                {Call::kFflush, ENOSPC, Reach::kFromThen}};
  for (const auto &row : faults) {
    bool fired = true;
    for (long k = 1; fired; ++k) {
      SCOPED_TRACE("call " + std::to_string(static_cast<int>(row.call)) + ", k " +
                   std::to_string(k));
      Twin fast(file), plain(file);
      loadAllAmbrelStorageEntries(fast.engine);
      loadAllAmbrelStorageEntries(plain.engine);
      fast.engine->nextRecordId = plain.engine->nextRecordId = 20;
      uint32_t fast_result = 0, plain_result = 0;
      {
        Fault fault(row.call, k, row.error, row.reach);
        fast_result = fast_form(fast);
        fired = fault.fired();
      }
      {
        Fault fault(row.call, k, row.error, row.reach);
        plain_result = plain_form(plain);
        // Of writes and flushes there are more in the plain form; only the first is comparable.
        if (row.call == Call::kFwrite || row.call == Call::kFflush) {
          fired = false;
        } else {
          ASSERT_EQ(fired, fault.fired());
        }
      }
      ASSERT_EQ(plain_result, fast_result);
      ASSERT_TRUE(plain.file() == fast.file());
      ASSERT_TRUE(plain.backup() == fast.backup());
      ASSERT_EQ(plain.engine->open, fast.engine->open);
      ASSERT_EQ(plain.engine->writable, fast.engine->writable);
      ASSERT_EQ(plain.engine->file == nullptr, fast.engine->file == nullptr);
    }
  }
}

/// While it lives, no file grows beyond a size: writes come up short there, to the byte.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(size_t size) : action_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = size;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, action_);
  }
  FileSizeLimit(const FileSizeLimit &) = delete;
  FileSizeLimit &operator=(const FileSizeLimit &) = delete;

 private:
  void (*action_)(int);
  rlimit before_ = {};
};

/// Does one thing with each of two equal stores while writes come up short, at one byte after the
/// other, and the `failing_rename`-th rename fails.
void CompareUnderLimits(const std::vector<Record> &records, size_t step, long failing_rename,
                        const std::function<uint32_t(Twin &)> &fast_form,
                        const std::function<uint32_t(Twin &)> &plain_form) {
  const std::string file = SealedFile(static_cast<uint32_t>(records.size()), records);
  for (size_t limit = 0; limit < file.size() + 100; limit += step) {
    SCOPED_TRACE("limit " + std::to_string(limit));
    Twin fast(file), plain(file);
    for (Twin *const twin : {&fast, &plain}) {
      loadAllAmbrelStorageEntries(twin->engine);
      ++twin->engine->nextRecordId;
    }
    const auto limited = [&](Twin &twin, const std::function<uint32_t(Twin &)> &form) {
      const Fault fault(Call::kRename, failing_rename, EIO);
      const FileSizeLimit limit_of_writes(limit);
      return form(twin);
    };
    const uint32_t fast_result = limited(fast, fast_form);
    ASSERT_EQ(limited(plain, plain_form), fast_result);
    ASSERT_TRUE(plain.file() == fast.file()) << plain.file().size() << " " << fast.file().size();
    ASSERT_TRUE(plain.backup() == fast.backup());
    ASSERT_EQ(plain.engine->open, fast.engine->open);
    ASSERT_EQ(plain.engine->writable, fast.engine->writable);
    ASSERT_EQ(plain.engine->file == nullptr, fast.engine->file == nullptr);
    ASSERT_EQ(plain.engine->position, fast.engine->position);
    ASSERT_EQ(plain.engine->fileSize, fast.engine->fileSize);
    ASSERT_EQ(0, memcmp(&plain.engine->header, &fast.engine->header, kFileHeader));
  }
}

/// The same with a few small records, to the byte, and with some larger than a stream's buffer.
void CompareUnderLimits(long failing_rename, const std::function<uint32_t(Twin &)> &fast_form,
                        const std::function<uint32_t(Twin &)> &plain_form) {
  std::vector<Record> records;
  for (uint32_t i = 0; i < 3; ++i) records.push_back({.id = i, .payload = std::string(5 + i, 's')});
  CompareUnderLimits(records, 1, failing_rename, fast_form, plain_form);
  for (uint32_t i = 0; i < 3; ++i) records[i].payload.assign(40000 + i, 'l');
  CompareUnderLimits(records, 991, failing_rename, fast_form, plain_form);
}

TEST(FastPathsUnderFaults, AFullSaveThatComesUpShortLeavesWhatThePlainOneLeaves) {
  // With the former file moved back, and without: then what was written so far stays.
  for (const long failing_rename : {0, 2}) {
    CompareUnderLimits(
        failing_rename, [](Twin &twin) { return saveAllAmbrelStorageEntries(twin.engine, 0); },
        [](Twin &twin) { return plain::FullSave(twin.engine); });
  }
}

TEST(FastPathsUnderFaults, AFullSaveWithAnEntryThatCannotBeWrittenLeavesWhatThePlainOneLeaves) {
  const auto spoil = [](Twin &twin) {
    FreeAmbrelStorageEntry(twin.engine->entries[2]);
    return twin.engine;
  };
  for (const long failing_rename : {0, 2}) {
    CompareUnderLimits(
        failing_rename, [&](Twin &twin) { return saveAllAmbrelStorageEntries(spoil(twin), 0); },
        [&](Twin &twin) { return plain::FullSave(spoil(twin)); });
  }
}

TEST(FastPathsUnderFaults, ASaveThatComesUpShortLeavesWhatThePlainOneLeaves) {
  for (const bool refresh : {false, true}) {
    for (const bool supersedes : {false, true}) {
      const auto entry = [&](Twin &twin) {
        if (!supersedes) return twin.Create("a new payload");
        SetPayload(twin.engine->entries[1], "a payload of another length");
        return twin.engine->entries[1];
      };
      CompareUnderLimits(
          0,
          [&](Twin &twin) {
            return saveAmbrelStorageDeviceUpdateEntry(twin.engine, entry(twin), 0, refresh);
          },
          [&](Twin &twin) { return plain::Save(twin.engine, entry(twin), refresh); });
    }
  }
}

TEST(FastPathsUnderFaults, AFullSaveEndsLikeThePlainOne) {
  CompareUnderFaults([](Twin &twin) { return saveAllAmbrelStorageEntries(twin.engine, 0); },
                     [](Twin &twin) { return plain::FullSave(twin.engine); });
}

TEST(FastPathsUnderFaults, ASaveWithRefreshEndsLikeThePlainOne) {
  CompareUnderFaults(
      [](Twin &twin) {
        return saveAmbrelStorageDeviceUpdateEntry(twin.engine, twin.Create("new"), 0, 1);
      },
      [](Twin &twin) { return plain::Save(twin.engine, twin.Create("new"), true); });
}

TEST(FastPathsUnderFaults, ASaveThatSupersedesEndsLikeThePlainOne) {
  const auto change = [](Twin &twin) {
    SetPayload(twin.engine->entries[7], "of another length");
    return twin.engine->entries[7];
  };
  CompareUnderFaults(
      [&](Twin &twin) {
        return saveAmbrelStorageDeviceUpdateEntry(twin.engine, change(twin), 0, 1);
      },
      [&](Twin &twin) { return plain::Save(twin.engine, change(twin), true); });
}

TEST(FastPathsUnderFaults, ASaveWithoutRefreshEndsLikeThePlainOne) {
  CompareUnderFaults(
      [](Twin &twin) {
        return saveAmbrelStorageDeviceUpdateEntry(twin.engine, twin.Create("new"), 0, 0);
      },
      [](Twin &twin) { return plain::Save(twin.engine, twin.Create("new"), false); });
}

TEST(FastPathsUnderFaults, AReadThatFailsDuringASearchDoesNotSpoilTheChecksum) {
  // What the search could not read is not in its checksum either: then the file is read once more.
  for (long k = 1; k < 6; ++k) {
    std::vector<Record> records;
    for (uint32_t i = 0; i < 3; ++i) {
      records.push_back({.id = i, .payload = std::string(60000, static_cast<char>('a' + i))});
    }
    Twin twin(SealedFile(3, records));
    loadAllAmbrelStorageEntries(twin.engine);
    twin.engine->nextRecordId = 3;
    AmbrelStorageEntry *const entry = twin.Create("new");
    uint32_t saved = 0;
    {
      Fault fault(Call::kFread, k, EIO);
      saved = saveAmbrelStorageDeviceUpdateEntry(twin.engine, entry, 0, 1);
    }
    EXPECT_EQ(saved != 0, ChecksOut(twin.file())) << k;
  }
}

TEST(FastPathsUnderFaults, ASearchGoesOnBehindAPayloadThatCannotBeRead) {
  std::vector<Record> records;
  for (uint32_t i = 0; i < 3; ++i) records.push_back({.id = i, .payload = std::string(60000, 'p')});
  const std::string file = SealedFile(3, records);
  for (const bool refresh : {false, true}) {
    Twin twin(file);
    loadAllAmbrelStorageEntries(twin.engine);
    AmbrelStorageEntry *const entry = twin.engine->entries[2];
    SetPayload(entry, "of another length");
    {
      Fault fault(Call::kFread, 2, EIO);  // the block within the second record's payload
      EXPECT_EQ(1U, saveAmbrelStorageDeviceUpdateEntry(twin.engine, entry, 0, refresh));
      EXPECT_TRUE(fault.fired());
    }
    std::vector<Record> saved = records;
    saved[2].valid = 0;
    saved.push_back(RecordOf(*entry));
    const std::string expected = HeaderBytes(3, NativeAt<uint32_t>(file, 12)) + RecordsBytes(saved);
    EXPECT_TRUE((refresh ? Sealed(expected) : expected) == twin.file());
  }
}

TEST(FastPathsUnderFaults, WithoutMemoryForABlockEverythingWorksThroughASmallOne) {
  std::vector<Record> records;
  for (uint32_t i = 0; i < 50; ++i)
    records.push_back({.id = i, .payload = std::string(i * 41, 'm')});
  const std::string file = SealedFile(50, records);
  Twin twin(file);
  loadAllAmbrelStorageEntries(twin.engine);
  twin.engine->nextRecordId = 50;
  AmbrelStorageEntry *const entry = twin.Create("new");
  uint32_t crc = 0;
  Fault fault(Call::kMemory, 1, ENOMEM, Reach::kFromThen);
  EXPECT_EQ(1U, calcAmbrelFileCRC(twin.engine, 0, &crc));
  EXPECT_EQ(FileCrc(file), crc);
  EXPECT_EQ(1U, getAmbrelFileLocationForRecord(twin.engine, 49));
  EXPECT_EQ(1U, saveAmbrelStorageDeviceUpdateEntry(twin.engine, entry, 0, 1));
  records.push_back(RecordOf(*entry));
  EXPECT_TRUE(SealedFile(50, records) == twin.file());
  EXPECT_EQ(1U, saveAllAmbrelStorageEntries(twin.engine, 0));
  EXPECT_TRUE(SealedFile(51, records) == twin.file());
}

}  // namespace
}  // namespace cu_test
