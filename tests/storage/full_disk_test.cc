// A file system that is full or read-only: real ones, where the system lets the tests mount them.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"

namespace cu_test {
namespace {

class FullDiskTest : public StoreTest {
 protected:
  void SetUp() override {
    if (!disk_) GTEST_SKIP() << "the system does not let this process mount";
  }
  void TearDown() override { Stop(); }

  void Fill(size_t leave_pages) {
    WriteFile(dir_.file("ballast"), std::string(4096 * 200, 'b'));
    const size_t filled = std::filesystem::file_size(dir_.file("ballast"));
    std::filesystem::resize_file(dir_.file("ballast"), filled - 4096 * leave_pages);
  }
  void MakeRoom() { std::filesystem::remove(dir_.file("ballast")); }

  MountedTmpfs disk_{dir_.path(), "size=256k"};
};

TEST_F(FullDiskTest, StartOnAFullDiskGivesAStoreWhoseFileIsEmpty) {
  std::filesystem::create_directories(primary_directory());
  std::filesystem::create_directories(backup_directory());
  Fill(0);
  ASSERT_TRUE(Start());
  EXPECT_EQ("", File());
  EXPECT_EQ(0U, Save(Create("payload")));
  MakeRoom();
  EXPECT_EQ(1U, FullSave());
  EXPECT_TRUE(ChecksOut(File()));
}

TEST_F(FullDiskTest, ASaveThatDoesNotFitReturnsZeroAndTheNextFullSaveRepairsTheFile) {
  ASSERT_TRUE(Start());
  Saved("first");
  Fill(0);
  AmbrelStorageEntry *const large = Create(std::string(20000, 'L'));
  EXPECT_EQ(0U, Save(large));
  EXPECT_EQ(0U, Save(large));
  MakeRoom();
  EXPECT_EQ(1U, FullSave());
  Restart();
  EXPECT_EQ(2, store_->entryCount);
}

TEST_F(FullDiskTest, AFullSaveThatDoesNotFitPutsTheFormerFileBack) {
  ASSERT_TRUE(Start());
  for (int i = 0; i < 20; ++i) Saved(std::string(1000, static_cast<char>('a' + i)));
  EXPECT_EQ(1U, FullSave());
  const std::string before = File();
  for (size_t pages = 0; pages < 5; ++pages) {
    std::filesystem::remove(backup());  // moving the file over it would make room
    Fill(pages);
    Create("one more");
    EXPECT_EQ(0U, FullSave()) << pages;
    EXPECT_TRUE(before == File()) << pages;
    EXPECT_EQ(1, store_->open);
    MakeRoom();
  }
  EXPECT_EQ(1U, FullSave());
  EXPECT_EQ(25U, NativeAt<uint32_t>(File(), 8));
}

TEST_F(FullDiskTest, TheFormerFileIsSoundAtEveryDegreeOfFullness) {
  for (size_t pages = 0; pages < 12; ++pages) {
    Stop();
    Place(ThreeRecordFile());
    Restart();
    ++store_->nextRecordId;
    EXPECT_EQ(1U, FullSave());
    Create(std::string(30000, 'x'));
    Fill(pages);
    const bool saved = FullSave() != 0;
    EXPECT_TRUE(ChecksOut(File())) << pages;
    EXPECT_EQ(saved ? 4U : 3U, NativeAt<uint32_t>(File(), 8)) << pages;
    MakeRoom();
  }
}

TEST_F(FullDiskTest, CompactionOnAFullVarLeavesThePrimary) {
  MountedTmpfs var("/var", "size=4k");
  if (!var) GTEST_SKIP() << "the system does not let this process mount";
  ASSERT_TRUE(Start());
  for (int i = 0; i < 20; ++i) Saved(std::string(1000, 'x'));
  const std::string before = File();
  WriteFile("/var/ballast", std::string(5000, 'b'));
  EXPECT_EQ(0U, Compact());
  EXPECT_TRUE(before == File());
  EXPECT_TRUE(TemporaryStoreFiles().empty());
}

TEST_F(FullDiskTest, CompactionWithoutAWritableVarReturnsZero) {
  MountedTmpfs var("/var", "size=4k");
  if (!var || !var.MakeReadOnly()) GTEST_SKIP() << "the system does not let this process mount";
  ASSERT_TRUE(Start());
  const uint32_t id = Saved("payload")->id;
  const std::string before = File();
  ASSERT_EQ(1U, getAmbrelFileLocationForRecord(store_, id));
  const int32_t position = store_->position;
  EXPECT_EQ(0U, Compact());
  EXPECT_EQ(position, store_->position) << "the store was not even read";
  EXPECT_TRUE(before == File());
  EXPECT_EQ(1U, Save(Create("goes on")));
}

TEST_F(FullDiskTest, AStoreOnAReadOnlyDiskCanBeLoadedButNotSaved) {
  Place(ThreeRecordFile());
  std::filesystem::create_directories(backup_directory());
  ASSERT_TRUE(disk_.MakeReadOnly());
  ASSERT_TRUE(Start());
  loadAllAmbrelStorageEntries(store_);
  EXPECT_EQ(3, store_->entryCount);
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(0U, FullSave());
  EXPECT_EQ(1, store_->open) << "nothing was moved";
  EXPECT_EQ(0U, Save(Create("fourth")));
  EXPECT_EQ(ThreeRecordFile(), File());
}

TEST_F(FullDiskTest, AMissingFileOnAReadOnlyDiskGivesNoStore) {
  std::filesystem::create_directories(primary_directory());
  ASSERT_TRUE(disk_.MakeReadOnly());
  EXPECT_EQ(nullptr, Start());
  EXPECT_FALSE(std::filesystem::exists(backup_directory()));
}

}  // namespace
}  // namespace cu_test
