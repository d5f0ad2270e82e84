// Starting and stopping a store: what is accepted, what is replaced, and what a new file holds.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

#include "storage/store_fixture.hpp"
#include "support/logger.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kFreshFile = HeaderBytes(0, kPlaceholder);
const std::string kRecover = "DEBUG [AmbrelDataStorage]Recover msgdb file from backup";
const std::string kCannotCreate = "DEBUG [AmbrelDataStorage]We are unable to open/create fille";

class InitializeAmbrelStorageEngineTest : public StoreTest {
 protected:
  /// Starts on a file and tells whether it was accepted, which leaves its bytes alone.
  bool Accepts(const std::string &file) {
    Place(file);
    EXPECT_TRUE(Start());
    const std::string after = File();
    EXPECT_TRUE(after == file || after == kFreshFile);
    return after == file && store_->fileSize == static_cast<int32_t>(file.size());
  }
};

TEST_F(InitializeAmbrelStorageEngineTest, CreatesAFileOfJustAHeader) {
  ASSERT_TRUE(Start());
  EXPECT_EQ(std::string("\x04\0\0\0\x10\0\x20\0\0\0\0\0\x12\x57\x44\x32", 16), File());
}

TEST_F(InitializeAmbrelStorageEngineTest, HandsTheStoreOutTwice) {
  AmbrelStorageEngine *const started = Start();
  EXPECT_NE(nullptr, started);
  EXPECT_EQ(started, store_);
}

TEST_F(InitializeAmbrelStorageEngineTest, SetsTheFieldsOfAStoreWithANewFile) {
  ASSERT_TRUE(Start());
  EXPECT_EQ(4, store_->header.format);
  EXPECT_EQ(16, store_->header.headerSize);
  EXPECT_EQ(32, store_->header.recordHeaderSize);
  EXPECT_EQ(0U, store_->header.recordCount);
  EXPECT_EQ(kPlaceholder, store_->header.crc);
  EXPECT_EQ(1000U, store_->lockTimeoutMs);
  EXPECT_NE(nullptr, store_->file);
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(0, store_->nextRecordId);
  EXPECT_EQ(16, store_->fileSize);
  EXPECT_EQ(0, store_->loadedCount);
  EXPECT_EQ(604800U, store_->retention);
  EXPECT_EQ(100U, store_->limit);
  EXPECT_STREQ("events", store_->fileName);
  EXPECT_EQ(primary_directory(), store_->primaryDirectory);
  EXPECT_EQ(backup_directory(), store_->backupDirectory);
  EXPECT_EQ(0, store_->entryCount);
  EXPECT_EQ(nullptr, store_->entries);
  EXPECT_EQ(&AmbrelStorageDefaultCompareFunction, store_->compare);
}

TEST_F(InitializeAmbrelStorageEngineTest, LeavesTheStreamOfANewFileBehindTheHeader) {
  ASSERT_TRUE(Start());
  EXPECT_EQ(16, ftell(store_->file));
}

TEST_F(InitializeAmbrelStorageEngineTest, CreatesTheLastComponentOfBothFolders) {
  ASSERT_TRUE(Start());
  EXPECT_TRUE(std::filesystem::is_directory(primary_directory()));
  EXPECT_TRUE(std::filesystem::is_directory(backup_directory()));
}

TEST_F(InitializeAmbrelStorageEngineTest, DoesNotCreateMoreThanTheLastComponent) {
  const std::string deep = dir_.file("a/b");
  EXPECT_EQ(nullptr, InitializeAmbrelStorageEngine(&store_, "events", deep.c_str(), deep.c_str()));
  EXPECT_FALSE(std::filesystem::exists(dir_.file("a")));
}

TEST_F(InitializeAmbrelStorageEngineTest, AcceptsASoundFileAndLeavesItOpenForReading) {
  Place(ThreeRecordFile());
  ASSERT_TRUE(Start());
  EXPECT_EQ(ThreeRecordFile(), File());
  EXPECT_EQ(1, store_->open);
  EXPECT_EQ(0, store_->writable);
  EXPECT_EQ(16, store_->position);
  EXPECT_EQ(static_cast<int32_t>(ThreeRecordFile().size()), store_->fileSize);
  EXPECT_EQ(FileCrc(ThreeRecordFile()), store_->header.crc);
  EXPECT_EQ(0, store_->entryCount) << "loading is the caller's next step";
}

TEST_F(InitializeAmbrelStorageEngineTest, TakesCountAndNextIdFromTheHeadersCount) {
  Place(SealedFile(0x12345, ThreeRecords()));
  ASSERT_TRUE(Start());
  EXPECT_EQ(0x12345U, store_->header.recordCount);
  EXPECT_EQ(0x2345, store_->loadedCount);
  EXPECT_EQ(0x2345, store_->nextRecordId);
}

TEST_F(InitializeAmbrelStorageEngineTest, AcceptsASoundFileInSilence) {
  Logger log;
  EXPECT_TRUE(Accepts(ThreeRecordFile()));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(InitializeAmbrelStorageEngineTest, CreatesAMissingFileInSilence) {
  Logger log;
  ASSERT_TRUE(Start());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(InitializeAmbrelStorageEngineTest, ReplacesAFileOfAnotherFormatInSilence) {
  Logger log;
  EXPECT_FALSE(Accepts(Sealed(HeaderBytes(3, 0, 5) + RecordsBytes(ThreeRecords()))));
  EXPECT_EQ(0, store_->nextRecordId);
  EXPECT_EQ(0, store_->loadedCount);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(InitializeAmbrelStorageEngineTest, ReplacesAFileShorterThanAHeaderInSilence) {
  Logger log;
  for (size_t length = 0; length < kFileHeader; ++length) {
    EXPECT_FALSE(Accepts(ThreeRecordFile().substr(0, length))) << length;
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(InitializeAmbrelStorageEngineTest, ReplacesAFileWithAWrongChecksumAndSaysSo) {
  Logger log;
  EXPECT_FALSE(Accepts(WithCrc(ThreeRecordFile(), FileCrc(ThreeRecordFile()) + 1)));
  EXPECT_EQ(0, store_->nextRecordId);
  EXPECT_EQ(0, store_->loadedCount);
  EXPECT_EQ(0U, store_->header.recordCount);
  EXPECT_THAT(log.lines(), ElementsAre(kRecover));
}

TEST_F(InitializeAmbrelStorageEngineTest, ReplacesAFileThatHasNoChecksumAndSaysSo) {
  Logger log;
  EXPECT_FALSE(Accepts(ThreeRecordFile() + RecordBytes({.id = 9, .payload = "x", .length = 2})));
  EXPECT_THAT(log.lines(), ElementsAre(kRecover));
}

TEST_F(InitializeAmbrelStorageEngineTest, ReadsNoBackupDespiteTheMessage) {
  ASSERT_TRUE(Start());
  WriteFile(backup(), ThreeRecordFile());
  Stop();
  EXPECT_FALSE(Accepts(WithCrc(ThreeRecordFile(), 0)));
  EXPECT_EQ(ThreeRecordFile(), Backup());
}

TEST_F(InitializeAmbrelStorageEngineTest, AStoreThatReceivedNoRecordComesBackEmptyWithANewFile) {
  Logger log;
  ASSERT_TRUE(Start());
  ASSERT_TRUE(Start());
  EXPECT_EQ(kFreshFile, File());
  EXPECT_THAT(log.lines(), ElementsAre(kRecover));
}

TEST_F(InitializeAmbrelStorageEngineTest, RefusesAFileOfJustAHeaderWhateverItsChecksum) {
  EXPECT_FALSE(Accepts(Sealed(HeaderBytes(0, 0))));
  EXPECT_FALSE(Accepts(Sealed(HeaderBytes(1, 0))));
}

TEST_F(InitializeAmbrelStorageEngineTest, RefusesAFileOfEmptyPayloadsOnly) {
  EXPECT_FALSE(Accepts(SealedFile(2, {{.id = 0}, {.id = 1}})));
}

TEST_F(InitializeAmbrelStorageEngineTest, AcceptsEmptyPayloadsBesideOneThatIsNot) {
  EXPECT_TRUE(Accepts(SealedFile(2, {{.id = 0}, {.id = 1, .payload = "x"}, {.id = 2}})));
}

TEST_F(InitializeAmbrelStorageEngineTest, RefusesARecordOfAnotherFormatEvenUnderARightChecksum) {
  for (size_t i = 0; i < 3; ++i) {
    std::vector<Record> records = ThreeRecords();
    records[i].format = 3;
    EXPECT_FALSE(Accepts(SealedFile(3, records))) << i;
  }
}

TEST_F(InitializeAmbrelStorageEngineTest, RefusesAFileCutInAPayloadEvenUnderARightChecksum) {
  const std::string file = ThreeRecordFile();
  EXPECT_FALSE(Accepts(Sealed(file.substr(0, file.size() - 1))));
}

TEST_F(InitializeAmbrelStorageEngineTest, ChecksAFileCutInARecordHeaderAsIfItEndedBeforeIt) {
  const std::vector<Record> one = {{.id = 0, .payload = "first"}};
  const std::string next = RecordBytes({.id = 1, .payload = "second"});
  for (size_t length = 0; length < kRecordHeader; ++length) {
    EXPECT_TRUE(Accepts(SealedFile(1, one) + next.substr(0, length))) << length;
  }
  // Without a payload before it there is no checksum to compare.
  EXPECT_FALSE(Accepts(SealedFile(1, {{.id = 0}}) + next.substr(0, 5)));
}

TEST_F(InitializeAmbrelStorageEngineTest, CarriesReservedHeaderBytesOverButCreatesThemZero) {
  std::string file = ThreeRecordFile();
  file.replace(1, 3, "abc");
  file = Sealed(file);
  EXPECT_TRUE(Accepts(file));
  loadAllAmbrelStorageEntries(store_);
  ASSERT_EQ(1U, FullSave());
  EXPECT_EQ(file, File());
  EXPECT_FALSE(Accepts(WithCrc(file, 0)));
}

TEST_F(InitializeAmbrelStorageEngineTest, GivesNoStoreWhenTheFileCannotBeCreated) {
  Logger log;
  WriteFile(dir_.file("primary"), "a file where the folder should be");
  EXPECT_EQ(nullptr, Start());
  EXPECT_THAT(log.lines(), ElementsAre(kCannotCreate));
}

TEST_F(InitializeAmbrelStorageEngineTest, LeavesAFailedStoreToBeReleased) {
  WriteFile(dir_.file("primary"), "");
  EXPECT_EQ(nullptr, Start());
  ASSERT_NE(nullptr, store_);
  EXPECT_EQ(nullptr, store_->file);
  EXPECT_EQ(0, store_->open);
  EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(1U, DeInitializeAmbrelStorageEngine(store_));
  store_ = nullptr;
}

TEST_F(InitializeAmbrelStorageEngineTest, TreatsAFolderInTheFilesPlaceAsAFileThatCannotBeCreated) {
  std::filesystem::create_directories(primary());
  EXPECT_EQ(nullptr, Start());
}

TEST_F(InitializeAmbrelStorageEngineTest, FollowsASymbolicLinkToTheFile) {
  WriteFile(dir_.file("elsewhere"), ThreeRecordFile());
  std::filesystem::create_directories(primary_directory());
  std::filesystem::create_symlink(dir_.file("elsewhere"), primary());
  ASSERT_TRUE(Start());
  EXPECT_EQ(3, store_->loadedCount);
}

TEST_F(InitializeAmbrelStorageEngineTest, RefusesNullArgumentsAndClearsTheReference) {
  const std::string directory = primary_directory();
  const char *const some = directory.c_str();
  auto *const stale = reinterpret_cast<AmbrelStorageEngine *>(&store_);
  for (int missing = 0; missing < 3; ++missing) {
    AmbrelStorageEngine *engine = stale;
    EXPECT_EQ(nullptr, InitializeAmbrelStorageEngine(&engine, missing == 0 ? nullptr : "events",
                                                     missing == 1 ? nullptr : some,
                                                     missing == 2 ? nullptr : some));
    EXPECT_EQ(nullptr, engine);
  }
  EXPECT_EQ(nullptr, InitializeAmbrelStorageEngine(nullptr, "events", some, some));
  EXPECT_FALSE(std::filesystem::exists(directory));
}

TEST_F(InitializeAmbrelStorageEngineTest, CutsNamesAt255Characters) {
  const std::string name(300, 'n');
  EXPECT_TRUE(InitializeAmbrelStorageEngine(&store_, name.c_str(), dir_.path().c_str(),
                                            backup_directory().c_str()));
  EXPECT_EQ(name.substr(0, 255), store_->fileName);
  EXPECT_EQ(kFreshFile, ReadFile(dir_.file(name.substr(0, 255))));
}

TEST_F(InitializeAmbrelStorageEngineTest, CutsOverlongFoldersAndRefusesTheResult) {
  const std::string directory = "/" + std::string(5000, 'd');
  EXPECT_EQ(nullptr, InitializeAmbrelStorageEngine(&store_, std::string(5000, 'n').c_str(),
                                                   directory.c_str(), directory.c_str()));
  EXPECT_EQ(directory.substr(0, 255), store_->primaryDirectory);
  EXPECT_EQ(directory.substr(0, 255), store_->backupDirectory);
}

TEST_F(InitializeAmbrelStorageEngineTest, AlwaysPutsASlashBetweenFolderAndName) {
  const std::string folder = dir_.path() + "/";
  ASSERT_TRUE(InitializeAmbrelStorageEngine(&store_, "events", folder.c_str(), folder.c_str()));
  EXPECT_EQ(folder, store_->primaryDirectory);
  EXPECT_EQ(kFreshFile, ReadFile(dir_.file("events")));
}

TEST(DeInitializeAmbrelStorageEngine, RefusesNoStore) {
  EXPECT_EQ(0U, DeInitializeAmbrelStorageEngine(nullptr));
}

class DeInitializeAmbrelStorageEngineTest : public StoreTest {};

TEST_F(DeInitializeAmbrelStorageEngineTest, ClosesTheFileAndFreesEverything) {
  Place(ThreeRecordFile());
  const long descriptors = OpenDescriptors();
  ASSERT_TRUE(Start());
  loadAllAmbrelStorageEntries(store_);
  Create("not saved");
  EXPECT_EQ(1U, DeInitializeAmbrelStorageEngine(store_));
  store_ = nullptr;
  EXPECT_EQ(descriptors, OpenDescriptors());
  EXPECT_EQ(ThreeRecordFile(), File()) << "nothing is saved";
}

TEST_F(DeInitializeAmbrelStorageEngineTest, CopesWithEntriesThatWereFreedBefore) {
  Place(ThreeRecordFile());
  ASSERT_TRUE(Start());
  loadAllAmbrelStorageEntries(store_);
  FreeAllAmbrelStorageEntries(store_, 0);
  EXPECT_EQ(1U, DeInitializeAmbrelStorageEngine(store_));
  store_ = nullptr;
}

}  // namespace
}  // namespace cu_test
