// Links, folders, pipes and strangers' files where a store's files and folders should be, folders
// that cannot be written and odd umasks: what the daemon gets, and that nothing else is touched.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "support/file_calls.hpp"
#include "support/hostile_paths.hpp"
#include "support/logger.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kFreshFile = HeaderBytes(0, kPlaceholder);
const std::string kCannotCreate = "DEBUG [AmbrelDataStorage]We are unable to open/create fille";

/// The store is the other user's; links lead to a folder elsewhere.
class StorePathsTest : public StoreTest {
 protected:
  void SetUp() override {
    chmod(dir_.path().c_str(), 0755);
    Renew();
  }

  /// Empty folders, nothing else.
  void Renew() {
    for (const std::string &path : {primary_directory(), backup_directory(), elsewhere()}) {
      chmod(path.c_str(), 0755);
      std::filesystem::remove_all(path);
      std::filesystem::create_directory(path);
      GiveToOtherUser(path);
    }
  }

  std::string elsewhere() const { return dir_.file("elsewhere"); }
  std::string target() const { return elsewhere() + "/target"; }
  std::map<std::string, std::string> Tree() const { return TreeOf(dir_.path()); }
  void PlaceOwn() {
    Place(ThreeRecordFile());
    GiveToOtherUser(primary());
  }

  /// A start, in which `lines` are logged; whether it gives a store. Its records are loaded.
  bool Starts(const std::vector<std::string> &lines = {}) {
    Logger log;
    const bool started = Start() != nullptr;
    EXPECT_THAT(log.lines(), testing::ElementsAreArray(lines));
    if (started) loadAllAmbrelStorageEntries(store_);
    return started;
  }
  uint32_t SavesOneMore() {
    ++store_->nextRecordId;
    return Save(Create("one more"));
  }
  /// The store has `records` records, in memory and in the file.
  void ExpectSound(int records) {
    ASSERT_TRUE(store_);
    EXPECT_EQ(records, store_->entryCount);
    EXPECT_TRUE(ChecksOut(File()));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(primary())));
    Restart();
    EXPECT_EQ(records, store_->entryCount);
  }
  /// A store at sound paths works, and holds no descriptor afterwards.
  void ExpectASoundStoreToWork(long descriptors) {
    Stop();
    EXPECT_EQ(descriptors, OpenDescriptors());
    const std::string folder = dir_.file("elsewhere/sound");
    ASSERT_TRUE(InitializeAmbrelStorageEngine(&store_, "events", folder.c_str(), folder.c_str()));
    Saved("one");
    EXPECT_EQ(1U, FullSave());
    Saved("two");
    Stop();
    ASSERT_TRUE(InitializeAmbrelStorageEngine(&store_, "events", folder.c_str(), folder.c_str()));
    loadAllAmbrelStorageEntries(store_);
    EXPECT_THAT(Payloads(), ElementsAre("one", "two"));
    Stop();
    EXPECT_EQ(descriptors, OpenDescriptors());
    std::filesystem::remove_all(folder);
  }
};

TEST_F(StorePathsTest, WhateverStandsAtTheFilesPath) {
  for (const Hostile kind : kAllHostile) {
    SCOPED_TRACE(NameOf(kind));
    Renew();
    if (kind == Hostile::kLink) {
      WriteFile(target(), ThreeRecordFile());
      GiveToOtherUser(target());
    }
    const HostilePath hostile(kind, primary(), target());
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      const auto before = Tree();
      switch (kind) {
        case Hostile::kLink:
        case Hostile::kDanglingLink: {
          const int records = kind == Hostile::kLink ? 3 : 0;
          ASSERT_TRUE(Starts());
          EXPECT_EQ(records, store_->entryCount);
          if (records == 0) {
            EXPECT_EQ(kFreshFile, ReadFile(target()));
          }
          EXPECT_EQ(1U, SavesOneMore());
          EXPECT_TRUE(std::filesystem::is_symlink(primary()));
          const std::string saved = ReadFile(target());
          EXPECT_TRUE(ChecksOut(saved));
          // A full save moves the link itself and leaves what it leads to alone.
          EXPECT_EQ(1U, FullSave());
          EXPECT_TRUE(std::filesystem::is_symlink(backup()));
          EXPECT_TRUE(saved == ReadFile(target()));
          ExpectSound(records + 1);
          EXPECT_EQ(1U, FullSave());
          EXPECT_FALSE(std::filesystem::is_symlink(backup()));
          EXPECT_TRUE(saved == ReadFile(target()));
          EXPECT_EQ(1U, TreeOf(elsewhere()).size());
          break;
        }
        case Hostile::kPipe:
          // It can be opened, but has no places to go to: the store loses it.
          ASSERT_TRUE(Starts());
          EXPECT_EQ(0, store_->entryCount);
          EXPECT_EQ(0U, SavesOneMore());
          EXPECT_EQ(0U, FullSave());
          EXPECT_TRUE(hostile.IsEmptyPipe());
          EXPECT_EQ(before, Tree());
          break;
        default:
          EXPECT_FALSE(Starts({kCannotCreate}));
          EXPECT_EQ(0U, FullSave());
          EXPECT_EQ(before, Tree());
      }
      ExpectASoundStoreToWork(descriptors);
    });
    if (kind == Hostile::kStrangers) {
      EXPECT_EQ(HostilePath::kStrangersContent, File());
    }
  }
}

TEST_F(StorePathsTest, WhateverStandsAtTheBackupsPath) {
  for (const Hostile kind : kAllHostile) {
    SCOPED_TRACE(NameOf(kind));
    Renew();
    PlaceOwn();
    if (kind == Hostile::kLink) {
      WriteFile(target(), "not to be touched");
      GiveToOtherUser(target());
    }
    const HostilePath hostile(kind, backup(), target());
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      const auto outside = TreeOf(elsewhere());
      ASSERT_TRUE(Starts());
      EXPECT_EQ(3, store_->entryCount);
      EXPECT_EQ(1U, SavesOneMore());
      const std::string saved = File();
      if (kind == Hostile::kDirectory) {
        EXPECT_EQ(0U, FullSave());
        EXPECT_TRUE(saved == File());
        EXPECT_TRUE(std::filesystem::is_empty(backup()));
      } else {
        // The former file takes the name; what had it, or what it led to, is not written.
        EXPECT_EQ(1U, FullSave());
        EXPECT_FALSE(std::filesystem::is_symlink(backup()));
        EXPECT_TRUE(saved == Backup());
      }
      EXPECT_TRUE(hostile.IsEmptyPipe());
      EXPECT_EQ(outside, TreeOf(elsewhere()));
      ExpectSound(4);
      ExpectASoundStoreToWork(descriptors);
    });
  }
}

TEST_F(StorePathsTest, WhateverStandsAtTheFilesFolder) {
  for (const Hostile kind : kAllHostile) {
    SCOPED_TRACE(NameOf(kind));
    Renew();
    std::filesystem::remove(primary_directory());
    if (kind == Hostile::kDirectory) continue;
    if (kind == Hostile::kLink) {
      std::filesystem::create_directory(target());
      GiveToOtherUser(target());
    }
    const HostilePath hostile(kind, primary_directory(), target());
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      const auto before = Tree();
      if (kind == Hostile::kLink) {
        ASSERT_TRUE(Starts());
        EXPECT_EQ(1U, SavesOneMore());
        EXPECT_EQ(1U, FullSave());
        EXPECT_EQ(File(), ReadFile(target() + "/events"));
        ExpectSound(1);
      } else {
        EXPECT_FALSE(Starts({kCannotCreate}));
        EXPECT_EQ(before, Tree());
      }
      ExpectASoundStoreToWork(descriptors);
    });
  }
}

TEST_F(StorePathsTest, WhateverStandsAtTheBackupsFolder) {
  for (const Hostile kind : kAllHostile) {
    SCOPED_TRACE(NameOf(kind));
    Renew();
    PlaceOwn();
    std::filesystem::remove(backup_directory());
    if (kind == Hostile::kDirectory) continue;
    if (kind == Hostile::kLink) {
      std::filesystem::create_directory(target());
      GiveToOtherUser(target());
    }
    const HostilePath hostile(kind, backup_directory(), target());
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      const auto outside = TreeOf(elsewhere());
      ASSERT_TRUE(Starts());
      EXPECT_EQ(1U, SavesOneMore());
      const std::string saved = File();
      if (kind == Hostile::kLink) {
        EXPECT_EQ(1U, FullSave());
        EXPECT_TRUE(saved == ReadFile(target() + "/events.bkc"));
      } else {
        EXPECT_EQ(0U, FullSave());
        EXPECT_TRUE(saved == File());
        EXPECT_EQ(outside, TreeOf(elsewhere()));
      }
      ExpectSound(4);
      ExpectASoundStoreToWork(descriptors);
    });
  }
}

TEST_F(StorePathsTest, AFolderThatCannotBeWrittenKeepsItsFiles) {
  for (const mode_t mode : {0555, 0}) {  // 0: a stranger's
    for (const std::string &folder : {primary_directory(), backup_directory()}) {
      for (const bool there : {false, true}) {
        SCOPED_TRACE(folder + (there ? " with" : " without") + " a file");
        Renew();
        if (there) PlaceOwn();
        if (mode == 0) {
          CloseToOtherUser(folder);
        } else {
          chmod(folder.c_str(), mode);
        }
        const bool has_store = folder == backup_directory() ||
                               (there && mode != 0);  // a file can be opened for update
        AsOtherUser([&] {
          const long descriptors = OpenDescriptors();
          EXPECT_EQ(has_store, Starts(has_store ? std::vector<std::string>{}
                                                : std::vector<std::string>{kCannotCreate}));
          if (has_store) {
            EXPECT_EQ(there ? 3 : 0, store_->entryCount);
            EXPECT_EQ(1U, SavesOneMore());
            const std::string saved = File();
            EXPECT_EQ(0U, FullSave());
            EXPECT_EQ(1, store_->open);
            EXPECT_TRUE(saved == File());
            ExpectSound(there ? 4 : 1);
          }
          ExpectASoundStoreToWork(descriptors);
        });
        chmod(folder.c_str(), 0755);
        EXPECT_EQ(there && folder == primary_directory() ? 1U : 0U, TreeOf(folder).size());
      }
    }
  }
}

TEST_F(StorePathsTest, TheUmaskAloneLimitsWhoMayReadAStore) {
  for (const mode_t mask : {0, 077}) {
    SCOPED_TRACE(mask);
    Renew();
    std::filesystem::remove(primary_directory());
    std::filesystem::remove(backup_directory());
    GiveToOtherUser(dir_.path());
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      umask(mask);
      ASSERT_TRUE(Starts());
      EXPECT_EQ(1U, SavesOneMore());
      EXPECT_EQ(0666 & ~mask, ModeOf(primary()));
      EXPECT_EQ(1U, FullSave());
      EXPECT_EQ(0666 & ~mask, ModeOf(primary()));
      EXPECT_EQ(0666 & ~mask, ModeOf(backup()));
      EXPECT_EQ(0777 & ~mask, ModeOf(primary_directory()));
      EXPECT_EQ(0777 & ~mask, ModeOf(backup_directory()));
      ExpectSound(1);
      ExpectASoundStoreToWork(descriptors);
    });
  }
}

/// Compaction's temporary file, in a /var of the test's own that everybody may write.
class TemporaryPathsTest : public StorePathsTest {
 protected:
  void SetUp() override {
    if (!var_) GTEST_SKIP() << "the system does not let this process mount";
    StorePathsTest::SetUp();
  }

  MountedTmpfs var_{"/var", "mode=777"};
};

TEST_F(TemporaryPathsTest, WhateverTakesTheTemporarysPlace) {
  for (const Hostile kind : kAllHostile) {
    SCOPED_TRACE(NameOf(kind));
    Renew();
    PlaceOwn();
    if (kind == Hostile::kLink) {
      WriteFile(target(), "not to be touched");
      GiveToOtherUser(target());
    }
    WriteFile("/var/stranger", HostilePath::kStrangersContent);
    CloseToOtherUser("/var/stranger");
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      ASSERT_TRUE(Starts());
      const auto before = Tree();
      {
        std::unique_ptr<HostilePath> hostile;
        bool placed = false;
        FileCalls calls;
        calls.before = [&] {
          if (placed || TemporaryStoreFiles().empty()) return;
          placed = true;
          const std::string temporary = *TemporaryStoreFiles().begin();
          EXPECT_EQ(0600U, ModeOf(temporary));
          if (kind == Hostile::kStrangers) {
            std::filesystem::rename("/var/stranger", temporary);
          } else {
            std::filesystem::remove(temporary);
            hostile = std::make_unique<HostilePath>(kind, temporary, target());
          }
        };
        EXPECT_EQ(0U, Compact());
        EXPECT_TRUE(placed);
        EXPECT_TRUE(hostile == nullptr || hostile->IsEmptyPipe());
      }
      EXPECT_EQ(before, Tree());
      EXPECT_THAT(TemporaryStoreFiles(), IsEmpty());
      EXPECT_EQ(0U, Compact());
      EXPECT_EQ(1U, SavesOneMore());
      ExpectSound(4);
      ExpectASoundStoreToWork(descriptors);
    });
    std::filesystem::remove("/var/stranger");
  }
}

TEST_F(TemporaryPathsTest, IsForItsUserAloneUnderAnyUmask) {
  for (const mode_t mask : {0, 077}) {
    SCOPED_TRACE(mask);
    Renew();
    PlaceOwn();
    AsOtherUser([&] {
      umask(mask);
      ASSERT_TRUE(Starts());
      mode_t mode = 0;
      {
        FileCalls calls;
        calls.before = [&] {
          for (const std::string &file : TemporaryStoreFiles()) mode = ModeOf(file);
        };
        EXPECT_EQ(0U, Compact());
      }
      EXPECT_EQ(0600U, mode);
      EXPECT_THAT(TemporaryStoreFiles(), IsEmpty());
      EXPECT_EQ(ThreeRecordFile(), File());
    });
  }
}

TEST_F(TemporaryPathsTest, AVarThatCannotBeWrittenCostsTheCompactionAlone) {
  ASSERT_EQ(0, chmod("/var", 0555));
  PlaceOwn();
  AsOtherUser([&] {
    const long descriptors = OpenDescriptors();
    ASSERT_TRUE(Starts());
    EXPECT_EQ(0U, Compact());
    EXPECT_EQ(ThreeRecordFile(), File());
    EXPECT_EQ(1U, SavesOneMore());
    EXPECT_EQ(1U, FullSave());
    ExpectSound(4);
    ExpectASoundStoreToWork(descriptors);
  });
}

}  // namespace
}  // namespace cu_test
