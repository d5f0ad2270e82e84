// The lower-level operations: headers, single records, the walk, the stream, the checksum.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "storage/store_fixture.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;

/// Where the records of ThreeRecordFile() begin.
constexpr int32_t kFirst = 16, kSecond = kFirst + 32 + 5, kThird = kSecond + 32 + 14,
                  kEnd = kThird + 32 + 1;

/// A store that has started on ThreeRecordFile().
class StartedStoreTest : public StoreTest {
 protected:
  void SetUp() override {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    Seek(kFirst);
  }
  void Seek(int32_t offset) {
    fseek(store_->file, offset, SEEK_SET);
    store_->position = offset;
  }
  long Offset() const { return ftell(store_->file); }

  /// Puts other bytes in the file while the store is running.
  void Tamper(const std::string &file) {
    WriteFile(primary(), file);
    ASSERT_EQ(1U, updateAmbrelFileHandlerInfo(store_, 0));
  }
  void OpenForUpdate() {
    fclose(store_->file);
    store_->file = fopen(primary().c_str(), "rb+");
    store_->writable = 1;
  }
  void LoseStream() {
    std::filesystem::rename(primary(), dir_.file("away"));
    EXPECT_EQ(0U, updateAmbrelFileHandlerInfo(store_, 0));
    std::filesystem::rename(dir_.file("away"), primary());
  }
};

// --- getAmbrelFileHeader ---

using GetAmbrelFileHeaderTest = StartedStoreTest;

TEST_F(GetAmbrelFileHeaderTest, ReadsTheHeaderWhereverTheStreamIs) {
  Tamper(HeaderBytes(0x01020304, 0x05060708));
  Seek(7);
  EXPECT_EQ(1U, getAmbrelFileHeader(store_, 0));
  EXPECT_EQ(0x01020304U, store_->header.recordCount);
  EXPECT_EQ(0x05060708U, store_->header.crc);
  EXPECT_EQ(16, Offset());
}

TEST_F(GetAmbrelFileHeaderTest, RefusesAnotherFormatAndAShortHeader) {
  Tamper(HeaderBytes(1, 2, 3));
  EXPECT_EQ(0U, getAmbrelFileHeader(store_, 0));
  Tamper(HeaderBytes(1, 2).substr(0, 15));
  EXPECT_EQ(0U, getAmbrelFileHeader(store_, 0));
}

TEST_F(GetAmbrelFileHeaderTest, RefusesNoEngineAndNoStream) {
  EXPECT_EQ(0U, getAmbrelFileHeader(nullptr, 0));
  LoseStream();
  EXPECT_EQ(0U, getAmbrelFileHeader(store_, 0));
}

// --- readAmbrelRecordHeader ---

using ReadAmbrelRecordHeaderTest = StartedStoreTest;

TEST_F(ReadAmbrelRecordHeaderTest, ReadsTheHeaderAtTheStreamsOffset) {
  Seek(kSecond);
  char buffer[32] = {};
  EXPECT_EQ(1U, readAmbrelRecordHeader(store_, 0, buffer));
  EXPECT_EQ(RecordBytes(ThreeRecords()[1]).substr(0, 32), std::string(buffer, 32));
  EXPECT_EQ(kSecond + 32, store_->position);
  EXPECT_EQ(kSecond + 32, Offset());
}

TEST_F(ReadAmbrelRecordHeaderTest, SetsThePositionToZeroWhenLessIsLeft) {
  Seek(kEnd - 31);
  char buffer[32];
  EXPECT_EQ(0U, readAmbrelRecordHeader(store_, 0, buffer));
  EXPECT_EQ(0, store_->position);
}

TEST_F(ReadAmbrelRecordHeaderTest, RefusesNoEngineNoStreamAndNoBuffer) {
  char buffer[32];
  EXPECT_EQ(0U, readAmbrelRecordHeader(nullptr, 0, buffer));
  EXPECT_EQ(0U, readAmbrelRecordHeader(store_, 0, nullptr));
  LoseStream();
  EXPECT_EQ(0U, readAmbrelRecordHeader(store_, 0, buffer));
}

// --- readAmbrelRecord ---

class ReadAmbrelRecordTest : public StartedStoreTest {
 protected:
  ~ReadAmbrelRecordTest() override { FreeAmbrelStorageEntry(&entry_); }
  AmbrelStorageEntry entry_ = {};
};

TEST_F(ReadAmbrelRecordTest, ReadsHeaderAndPayload) {
  Seek(kSecond);
  EXPECT_EQ(1U, readAmbrelRecord(store_, 0, &entry_));
  EXPECT_EQ(RecordBytes(ThreeRecords()[1]), RecordBytes(RecordOf(entry_)));
  EXPECT_EQ(kThird, Offset());
  EXPECT_EQ(kThird, store_->position);
}

TEST_F(ReadAmbrelRecordTest, ReadsARecordWithoutPayload) {
  Tamper(HeaderBytes(1, 0) + RecordBytes({.id = 3}));
  Seek(kFirst);
  EXPECT_EQ(1U, readAmbrelRecord(store_, 0, &entry_));
  EXPECT_EQ(3U, entry_.id);
  EXPECT_EQ(0U, entry_.length);
}

TEST_F(ReadAmbrelRecordTest, RewindsWhenTheHeaderIsShort) {
  Seek(kEnd - 31);
  EXPECT_EQ(0U, readAmbrelRecord(store_, 0, &entry_));
  EXPECT_EQ(0, store_->position);
  EXPECT_EQ(0, Offset());
}

TEST_F(ReadAmbrelRecordTest, RefusesARecordThatSaysItIsLongerThanTheFile) {
  for (const uint32_t length : {6U, 4096U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFE0U, 0xFFFFFFFFU}) {
    Tamper(HeaderBytes(1, 0) + RecordBytes({.id = 3, .payload = "short", .length = length}));
    Seek(kFirst);
    EXPECT_EQ(0U, readAmbrelRecord(store_, 0, &entry_)) << length;
    EXPECT_EQ(nullptr, entry_.payload) << "nothing is allocated for it";
    EXPECT_EQ(kFirst + 32 + 5, Offset()) << "the walk is at the end of the file";
  }
}

TEST_F(ReadAmbrelRecordTest, RefusesNoEngineNoStreamAndNoEntry) {
  EXPECT_EQ(0U, readAmbrelRecord(nullptr, 0, &entry_));
  EXPECT_EQ(0U, readAmbrelRecord(store_, 0, nullptr));
  LoseStream();
  EXPECT_EQ(0U, readAmbrelRecord(store_, 0, &entry_));
}

// --- getNextAmbrelStorageEntry ---

class GetNextAmbrelStorageEntryTest : public StartedStoreTest {
 protected:
  /// The next record's payload and "last", or "-" for a failed read.
  std::string Next() {
    AmbrelStorageEntry entry = {};
    uint8_t last = 77;
    const uint32_t read = getNextAmbrelStorageEntry(store_, &entry, 0, &last);
    const std::string text = (read ? PayloadOf(&entry) : "-") + (last == 1 ? " last" : "");
    EXPECT_LE(last, 1);
    FreeAmbrelStorageEntry(&entry);
    return text;
  }
};

TEST_F(GetNextAmbrelStorageEntryTest, WalksTheFileAndThenSaysThatItWasTheLast) {
  EXPECT_EQ("first", Next());
  EXPECT_EQ("second payload", Next());
  EXPECT_EQ("3", Next());
  EXPECT_EQ("- last", Next());
}

TEST_F(GetNextAmbrelStorageEntryTest, LeavesTheStreamReopenedBehindTheRecord) {
  OpenForUpdate();
  Seek(kFirst);
  Next();
  EXPECT_EQ(kSecond, store_->position);
  EXPECT_EQ(kSecond, Offset());
  EXPECT_EQ(kEnd, store_->fileSize);
  EXPECT_EQ(0, store_->writable);
}

TEST_F(GetNextAmbrelStorageEntryTest, StartsOverAfterTheEnd) {
  Seek(kEnd);
  EXPECT_EQ("- last", Next());
  EXPECT_EQ(0, store_->position);
  EXPECT_EQ(0, Offset());
}

TEST_F(GetNextAmbrelStorageEntryTest, TellsTheLastByPositionAndMeasuredSizeBeforeReading) {
  store_->fileSize = kSecond - 1 - 5;
  EXPECT_EQ("first last", Next());
  Seek(kSecond);
  EXPECT_EQ("second payload", Next()) << "the size was measured again";
}

TEST_F(GetNextAmbrelStorageEntryTest, RefusesNullsAndNoStream) {
  AmbrelStorageEntry entry = {};
  uint8_t last = 0;
  EXPECT_EQ(0U, getNextAmbrelStorageEntry(nullptr, &entry, 0, &last));
  EXPECT_EQ(0U, getNextAmbrelStorageEntry(store_, nullptr, 0, &last));
  EXPECT_EQ(0U, getNextAmbrelStorageEntry(store_, &entry, 0, nullptr));
  LoseStream();
  EXPECT_EQ(0U, getNextAmbrelStorageEntry(store_, &entry, 0, &last));
}

// --- getAmbrelFileLocationForRecord ---

using GetAmbrelFileLocationForRecordTest = StartedStoreTest;

TEST_F(GetAmbrelFileLocationForRecordTest, SeeksToTheRecordsHeader) {
  const int32_t offsets[] = {kFirst, kSecond, kThird};
  for (uint32_t id = 0; id < 3; ++id) {
    EXPECT_NE(0U, getAmbrelFileLocationForRecord(store_, id));
    EXPECT_EQ(offsets[id], store_->position);
    EXPECT_EQ(offsets[id], Offset());
  }
}

TEST_F(GetAmbrelFileLocationForRecordTest, IsZeroForAnAbsentId) {
  EXPECT_EQ(0U, getAmbrelFileLocationForRecord(store_, 3));
  EXPECT_EQ(kFirst, store_->position);
}

TEST_F(GetAmbrelFileLocationForRecordTest, FindsTheFirstCopyWhateverItsValidByte) {
  Tamper(HeaderBytes(2, 0) +
         RecordsBytes({{.id = 5, .payload = "old", .valid = 0}, {.id = 5, .payload = "newer"}}));
  EXPECT_NE(0U, getAmbrelFileLocationForRecord(store_, 5));
  EXPECT_EQ(kFirst, store_->position);
}

TEST_F(GetAmbrelFileLocationForRecordTest, ComparesWholeIds) {
  EXPECT_EQ(0U, getAmbrelFileLocationForRecord(store_, 0x10001));
}

TEST_F(GetAmbrelFileLocationForRecordTest, DoesNotLookAtFormats) {
  Tamper(HeaderBytes(2, 0) + RecordsBytes({{.id = 1, .payload = "x", .format = 9}, {.id = 2}}));
  EXPECT_NE(0U, getAmbrelFileLocationForRecord(store_, 2));
}

TEST_F(GetAmbrelFileLocationForRecordTest, EndsAtALengthThatPointsBehindTheFileOrWraps) {
  for (const uint32_t length :
       {100U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFD0U, 0xFFFFFFE0U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
    Tamper(HeaderBytes(2, 0) +
           RecordsBytes({{.id = 1, .payload = "x", .length = length}, {.id = 2, .payload = "y"}}));
    EXPECT_NE(0U, getAmbrelFileLocationForRecord(store_, 1)) << length;
    EXPECT_EQ(0U, getAmbrelFileLocationForRecord(store_, 2)) << length;
  }
}

TEST_F(GetAmbrelFileLocationForRecordTest, FindsAHeaderEvenWhenItsPayloadIsCut) {
  Tamper(HeaderBytes(1, 0) + RecordBytes({.id = 1, .payload = "x", .length = 0xFFFFFFFF}));
  EXPECT_NE(0U, getAmbrelFileLocationForRecord(store_, 1));
}

TEST_F(GetAmbrelFileLocationForRecordTest, IgnoresAHeaderThatIsCut) {
  Tamper(HeaderBytes(1, 0) + RecordBytes({.id = 1}).substr(0, 31));
  EXPECT_EQ(0U, getAmbrelFileLocationForRecord(store_, 1));
}

TEST_F(GetAmbrelFileLocationForRecordTest, RefusesNoEngineAndNoStream) {
  EXPECT_EQ(0U, getAmbrelFileLocationForRecord(nullptr, 0));
  LoseStream();
  EXPECT_EQ(0U, getAmbrelFileLocationForRecord(store_, 0));
}

// --- updateAmbrelFileHandlerInfo ---

using UpdateAmbrelFileHandlerInfoTest = StartedStoreTest;

TEST_F(UpdateAmbrelFileHandlerInfoTest, ReopensForReadingAtTheSameOffset) {
  OpenForUpdate();
  fseek(store_->file, 20, SEEK_SET);
  store_->fileSize = 0;
  EXPECT_EQ(1U, updateAmbrelFileHandlerInfo(store_, 0));
  EXPECT_EQ(20, store_->position);
  EXPECT_EQ(20, Offset());
  EXPECT_EQ(kEnd, store_->fileSize);
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(EOF, fputc('x', store_->file)) << "open for reading alone";
}

TEST_F(UpdateAmbrelFileHandlerInfoTest, LeavesNoStreamWhenTheFileCannotBeReopened) {
  LoseStream();
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_EQ(0, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(0U, updateAmbrelFileHandlerInfo(store_, 0));
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
}

TEST_F(UpdateAmbrelFileHandlerInfoTest, RefusesNoEngine) {
  EXPECT_EQ(0U, updateAmbrelFileHandlerInfo(nullptr, 0));
}

// --- updateAmbrelHeaderInfile ---

using UpdateAmbrelHeaderInfileTest = StartedStoreTest;

TEST_F(UpdateAmbrelHeaderInfileTest, WritesTheHeaderAndLeavesTheStreamAtTheStart) {
  store_->header.recordCount = 0x0A0B0C0D;
  store_->header.crc = 0x11223344;
  EXPECT_EQ(1U, updateAmbrelHeaderInfile(store_, 0));
  EXPECT_EQ(HeaderBytes(0x0A0B0C0D, 0x11223344) + RecordsBytes(ThreeRecords()), File());
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(0, store_->position);
  EXPECT_EQ(0, Offset());
}

TEST_F(UpdateAmbrelHeaderInfileTest, UsesAStreamThatIsOpenForUpdate) {
  OpenForUpdate();
  store_->header.recordCount = 9;
  EXPECT_EQ(1U, updateAmbrelHeaderInfile(store_, 0));
  EXPECT_EQ(HeaderBytes(9, store_->header.crc) + RecordsBytes(ThreeRecords()), File());
  EXPECT_EQ(0, store_->writable);
}

TEST_F(UpdateAmbrelHeaderInfileTest, RefusesNoEngineAndNoStream) {
  EXPECT_EQ(0U, updateAmbrelHeaderInfile(nullptr, 0));
  LoseStream();
  EXPECT_EQ(0U, updateAmbrelHeaderInfile(store_, 0));
}

TEST_F(UpdateAmbrelHeaderInfileTest, LosesTheStreamWhenTheFileIsGone) {
  std::filesystem::remove(primary());
  EXPECT_EQ(0U, updateAmbrelHeaderInfile(store_, 0));
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_FALSE(std::filesystem::exists(primary()));
}

// --- calcAmbrelFileCRC ---

using CalcAmbrelFileCRCTest = StartedStoreTest;

TEST_F(CalcAmbrelFileCRCTest, CoversHeaderWithPlaceholderAndAllRecords) {
  uint32_t crc = 0;
  EXPECT_EQ(1U, calcAmbrelFileCRC(store_, 0, &crc));
  EXPECT_EQ(FileCrc(ThreeRecordFile()), crc);
}

TEST_F(CalcAmbrelFileCRCTest, ContinuesTheValueThatItIsGiven) {
  uint32_t crc = 0x1234ABCD;
  EXPECT_EQ(1U, calcAmbrelFileCRC(store_, 0, &crc));
  EXPECT_EQ(SlowCrc(WithCrc(ThreeRecordFile(), kPlaceholder), 0x1234ABCD), crc);
}

TEST_F(CalcAmbrelFileCRCTest, MakesTheHeaderInMemoryThatOfTheFile) {
  store_->header.recordCount = 99;
  store_->header.crc = 99;
  uint32_t crc = 0;
  EXPECT_EQ(1U, calcAmbrelFileCRC(store_, 0, &crc));
  EXPECT_EQ(3U, store_->header.recordCount);
  EXPECT_EQ(FileCrc(ThreeRecordFile()), store_->header.crc);
}

TEST_F(CalcAmbrelFileCRCTest, KeepsThePlaceholderOnEveryFailure) {
  const std::string bad[] = {
      HeaderBytes(0, 5),                                                        // no record
      HeaderBytes(1, 5) + RecordBytes({.id = 1}),                               // no payload
      HeaderBytes(1, 5) + RecordBytes({.id = 1, .payload = "x", .format = 3}),  // format
      HeaderBytes(1, 5) + RecordBytes({.id = 1, .payload = "x", .length = 2}),  // short
      HeaderBytes(1, 5) + RecordBytes({.id = 1, .payload = "x", .length = 0xFFFFFFFF}),
      HeaderBytes(1, 5, 3) + RecordBytes({.id = 1, .payload = "x"}),  // file format
  };
  for (const std::string &file : bad) {
    Tamper(file);
    uint32_t crc = 42;
    EXPECT_EQ(0U, calcAmbrelFileCRC(store_, 0, &crc));
    EXPECT_EQ(kPlaceholder, store_->header.crc);
    EXPECT_EQ(42U, crc);
  }
}

TEST_F(CalcAmbrelFileCRCTest, DoesNotNeedARightCount) {
  Tamper(HeaderBytes(0xFFFFFFFF, 0) + RecordsBytes(ThreeRecords()));
  uint32_t crc = 0;
  EXPECT_EQ(1U, calcAmbrelFileCRC(store_, 0, &crc));
  EXPECT_EQ(FileCrc(File()), crc);
}

TEST_F(CalcAmbrelFileCRCTest, IgnoresARecordHeaderThatIsCut) {
  const std::string sound = HeaderBytes(1, 0) + RecordBytes({.id = 1, .payload = "x"});
  Tamper(sound + RecordBytes({.id = 2}).substr(0, 31));
  uint32_t crc = 0;
  EXPECT_EQ(1U, calcAmbrelFileCRC(store_, 0, &crc));
  EXPECT_EQ(FileCrc(sound), crc);
}

TEST_F(CalcAmbrelFileCRCTest, TakesPayloadsLargerThanAnyBuffer) {
  std::vector<Record> records;
  for (const size_t size : {0, 1, 31, 4095, 4096, 4097, 65535, 65536, 65537, 200000}) {
    records.push_back({.id = 1, .payload = std::string(size, static_cast<char>(size))});
  }
  Tamper(HeaderBytes(1, 0) + RecordsBytes(records));
  uint32_t crc = 0;
  EXPECT_EQ(1U, calcAmbrelFileCRC(store_, 0, &crc));
  EXPECT_EQ(FileCrc(File()), crc);
}

TEST_F(CalcAmbrelFileCRCTest, RefusesNoEngineNoStreamAndNoDestination) {
  uint32_t crc = 0;
  EXPECT_EQ(0U, calcAmbrelFileCRC(nullptr, 0, &crc));
  EXPECT_EQ(0U, calcAmbrelFileCRC(store_, 0, nullptr));
  LoseStream();
  EXPECT_EQ(0U, calcAmbrelFileCRC(store_, 0, &crc));
}

// --- updateAmbrelStorageCRC ---

using UpdateAmbrelStorageCRCTest = StartedStoreTest;

TEST_F(UpdateAmbrelStorageCRCTest, StoresTheChecksumInTheFile) {
  Tamper(HeaderBytes(7, 0) + RecordsBytes(ThreeRecords()));
  EXPECT_EQ(1U, updateAmbrelStorageCRC(store_, 0));
  EXPECT_EQ(SealedFile(7, ThreeRecords()), File());
  EXPECT_EQ(FileCrc(File()), store_->header.crc);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(kEnd, store_->fileSize);
  EXPECT_EQ(0, store_->position);
}

TEST_F(UpdateAmbrelStorageCRCTest, LeavesTheFileAloneWhenItHasNoChecksum) {
  const std::string file = HeaderBytes(7, 0x55) + RecordBytes({.id = 1});
  Tamper(file);
  EXPECT_EQ(0U, updateAmbrelStorageCRC(store_, 0));
  EXPECT_EQ(file, File());
}

TEST_F(UpdateAmbrelStorageCRCTest, RefusesNoEngineAndNoStream) {
  EXPECT_EQ(0U, updateAmbrelStorageCRC(nullptr, 0));
  LoseStream();
  EXPECT_EQ(0U, updateAmbrelStorageCRC(store_, 0));
}

// --- writeAmbrelRecord ---

class WriteAmbrelRecordTest : public StartedStoreTest {
 protected:
  ~WriteAmbrelRecordTest() override { FreeAmbrelStorageEntry(&entry_); }

  uint32_t Write(uint32_t id, const std::string &payload) {
    OpenForUpdate();
    entry_.format = 4;
    entry_.id = id;
    entry_.valid = 1;
    SetPayload(&entry_, payload);
    const uint32_t result = writeAmbrelRecord(store_, 0, &entry_);
    fflush(store_->file);
    return result;
  }
  AmbrelStorageEntry entry_ = {};
};

TEST_F(WriteAmbrelRecordTest, AppendsARecordWithANewId) {
  EXPECT_EQ(1U, Write(9, "appended"));
  EXPECT_EQ(ThreeRecordFile() + RecordBytes({.id = 9, .payload = "appended"}), File());
  EXPECT_EQ(static_cast<int32_t>(File().size()), store_->position);
}

TEST_F(WriteAmbrelRecordTest, AppendsARecordWithoutPayloadWhole) {
  EXPECT_EQ(1U, Write(9, ""));
  EXPECT_EQ(ThreeRecordFile() + RecordBytes({.id = 9}), File());
}

TEST_F(WriteAmbrelRecordTest, WritesAPayloadOfTheSameLengthOverTheRecordsHeader) {
  EXPECT_EQ(1U, Write(1, "SECOND PAYLOAD"));
  std::string expected = ThreeRecordFile();
  expected.replace(kSecond, 14, "SECOND PAYLOAD");
  EXPECT_EQ(expected, File());
  EXPECT_EQ(kSecond + 14, store_->position);
}

TEST_F(WriteAmbrelRecordTest, MarksACopyOfAnotherLengthSupersededAndAppends) {
  EXPECT_EQ(1U, Write(1, "longer than it was"));
  std::string expected = ThreeRecordFile();
  expected[kSecond + 8] = 0;
  EXPECT_EQ(expected + RecordBytes({.id = 1, .payload = "longer than it was"}), File());
}

TEST_F(WriteAmbrelRecordTest, ComparesWithTheFirstCopyEvenIfThatIsSuperseded) {
  Write(1, "longer than it was");
  const std::string before = File();
  EXPECT_EQ(1U, Write(1, "second again!!"));
  std::string expected = before;
  expected.replace(kSecond, 14, "second again!!");
  EXPECT_EQ(expected, File()) << "same length as the superseded copy: written over it";
}

TEST_F(WriteAmbrelRecordTest, MarksOnlyTheFirstCopySuperseded) {
  Write(1, "longer than it was");
  const std::string before = File();
  EXPECT_EQ(1U, Write(1, "third length"));
  EXPECT_EQ(before + RecordBytes({.id = 1, .payload = "third length"}), File());
}

TEST_F(WriteAmbrelRecordTest, AppendsToADamagedFileWhatItCannotFindThere) {
  const std::string damaged =
      HeaderBytes(1, 0) + RecordBytes({.id = 1, .payload = "x", .length = 0xFFFFFFFF});
  Tamper(damaged);
  EXPECT_EQ(1U, Write(2, "y"));
  EXPECT_EQ(damaged + RecordBytes({.id = 2, .payload = "y"}), File());
}

TEST_F(WriteAmbrelRecordTest, WritesNothingWhenALengthHasNoPayload) {
  OpenForUpdate();
  for (const uint32_t id : {1U, 9U}) {
    entry_.id = id;
    entry_.length = 14;
    EXPECT_EQ(0U, writeAmbrelRecord(store_, 0, &entry_));
  }
  fflush(store_->file);
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(WriteAmbrelRecordTest, OnAStreamForReadingTellsWhetherThereWasACopy) {
  entry_.format = 4;
  entry_.id = 9;
  SetPayload(&entry_, "x");
  EXPECT_EQ(0U, writeAmbrelRecord(store_, 0, &entry_));
  entry_.id = 1;
  EXPECT_EQ(1U, writeAmbrelRecord(store_, 0, &entry_));
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(WriteAmbrelRecordTest, RefusesNoEngineNoStreamAndNoEntry) {
  EXPECT_EQ(0U, writeAmbrelRecord(nullptr, 0, &entry_));
  EXPECT_EQ(0U, writeAmbrelRecord(store_, 0, nullptr));
  LoseStream();
  EXPECT_EQ(0U, writeAmbrelRecord(store_, 0, &entry_));
}

}  // namespace
}  // namespace cu_test
