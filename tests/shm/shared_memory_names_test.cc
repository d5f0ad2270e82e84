// Names of a segment and its lock that something else has: another user's objects, objects of
// another size, links, folders and pipes; and leftovers of a stranger in /tmp.
#include "include/ambrelsharedmem.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "shm/segment_fixture.hpp"
#include "support/child.hpp"
#include "support/hostile_paths.hpp"

namespace {

using namespace cu_test;

class TakenNames : public SharedMemoryTest {
 protected:
  TakenNames() {
    std::filesystem::remove_all(ShmFile());
    std::filesystem::remove_all(SemFile());
  }
  ~TakenNames() override {
    std::filesystem::remove_all(ShmFile());
    std::filesystem::remove_all(SemFile());
  }

  void SetUp() override {
    if (access("/dev/shm", W_OK) != 0) GTEST_SKIP() << "no /dev/shm here";
  }

  std::string ShmFile() const { return std::string("/dev/shm") + shm_name_; }
  std::string SemFile() const { return "/dev/shm/sem." + sem_name_; }

  /// What initialising gives and prints; the segment goes to `segment_`.
  int Initialize(uint8_t create, uint32_t size, uint8_t writable = 1) {
    testing::internal::CaptureStdout();
    SharedMemorySegment *made = nullptr;
    const int result =
        aeInitializeSharedMemory(shm_name_, sem_name_.c_str(), create, writable, size, &made);
    printed_ = testing::internal::GetCapturedStdout();
    segment_.reset(made);
    return result;
  }
  /// It fails, prints this, and opens no descriptor.
  void ExpectRefused(uint8_t create, const std::string &printed) {
    const long descriptors = OpenDescriptors();
    EXPECT_EQ(0, Initialize(create, 64));
    EXPECT_EQ(printed, printed_);
    EXPECT_EQ(nullptr, segment_);
    EXPECT_EQ(descriptors, OpenDescriptors());
  }
  /// Whoever cannot have these names can have others.
  void ExpectOtherNamesToWork() {
    shm_name_[1] = 'o';
    sem_name_[0] = 'o';
    ASSERT_EQ(1, Initialize(1, 64));
    EXPECT_EQ(1, aeLockSharedMemory(segment_.get(), 1));
    EXPECT_EQ(1, aeWriteSharedMemory(segment_.get(), "works", 6));
    EXPECT_EQ(1, aeUnLockSharedMemory(segment_.get()));
    segment_.reset();
    EXPECT_EQ(-1, ObjectSize());
    shm_name_[1] = 'c';
    sem_name_[0] = 'c';
  }

  Segment segment_;
  std::string printed_;
};

TEST_F(TakenNames, OfAnotherUserAreAdoptedWhereTheirModesLetThem) {
  const Segment strangers = Create(8192);
  ASSERT_EQ(1, aeWriteSharedMemory(strangers.get(), "left by a stranger", 19));
  ASSERT_EQ(0, chmod(ShmFile().c_str(), 0666));
  ASSERT_EQ(0, chmod(SemFile().c_str(), 0666));
  struct stat before;
  ASSERT_EQ(0, stat(ShmFile().c_str(), &before));
  AsOtherUser([&] {
    const long descriptors = OpenDescriptors();
    ASSERT_EQ(1, Initialize(1, 100));
    EXPECT_EQ("", printed_);
    char text[19] = "";
    EXPECT_EQ(1, aeReadSharedMemory(segment_.get(), text, sizeof text));
    EXPECT_STREQ("left by a stranger", text);
    EXPECT_EQ(1, aeLockSharedMemory(segment_.get(), 1));
    EXPECT_EQ(1, aeUnLockSharedMemory(segment_.get()));
    EXPECT_EQ(100, ObjectSize());
    struct stat after;
    ASSERT_EQ(0, stat(ShmFile().c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_uid, after.st_uid) << "the stranger goes on owning it";
    EXPECT_EQ(0666U, after.st_mode & 07777);
    segment_.reset();
    EXPECT_EQ(descriptors, OpenDescriptors());
    // Only the stranger can remove the names from the folder.
    if (HasOtherUser()) {
      EXPECT_EQ(100, ObjectSize());
    }
  });
}

TEST_F(TakenNames, OfAnotherUserServeAReaderWhoMayUseTheLock) {
  const Segment strangers = Create(64);
  ASSERT_EQ(1, aeWriteSharedMemory(strangers.get(), "readings", 9));
  ASSERT_EQ(0, chmod(ShmFile().c_str(), 0644));
  ASSERT_EQ(0, chmod(SemFile().c_str(), 0666));
  AsOtherUser([&] {
    ASSERT_EQ(1, Initialize(0, 64, 0));
    char text[9] = "";
    EXPECT_EQ(1, aeReadSharedMemory(segment_.get(), text, sizeof text));
    EXPECT_STREQ("readings", text);
    EXPECT_EQ(0, aeWriteSharedMemory(segment_.get(), text, sizeof text));
    segment_.reset();
    EXPECT_EQ(64, ObjectSize());
    if (HasOtherUser()) ExpectRefused(0, "13 Permission denied\n");  // who wants to write
  });
}

TEST_F(TakenNames, OfAnotherUserAreRefusedWhereTheirModesDoNot) {
  const Segment strangers = Create(64);
  CloseToOtherUser(ShmFile());
  ASSERT_EQ(0, chmod(SemFile().c_str(), 0666));
  AsOtherUser([&] {
    for (const uint8_t create : {0, 1}) ExpectRefused(create, "13 Permission denied\n");
    ExpectOtherNamesToWork();
  });
  EXPECT_EQ(64U, std::filesystem::file_size(ShmFile()));
}

TEST_F(TakenNames, OfALockOfAnotherUserAreRefusedSilently) {
  const Segment strangers = Create(64);
  ASSERT_EQ(0, chmod(ShmFile().c_str(), 0666));
  CloseToOtherUser(SemFile());
  AsOtherUser([&] {
    for (const uint8_t create : {0, 1}) ExpectRefused(create, "");
    ExpectOtherNamesToWork();
  });
  EXPECT_EQ(64U, std::filesystem::file_size(ShmFile()));
}

TEST_F(TakenNames, OfAnObjectOfAnotherSizeAreResizedByWhoCreatesAlone) {
  for (const uint32_t size : {0U, 1U, 4096U, 4097U, 100000U}) {
    for (const uint8_t create : {0, 1}) {
      SCOPED_TRACE(size);
      WriteFile(ShmFile(), std::string(size, 'x'));
      const long descriptors = OpenDescriptors();
      constexpr uint32_t kWanted = 8192;
      ASSERT_EQ(1, Initialize(create, kWanted));
      EXPECT_EQ(create != 0 ? kWanted : size, ObjectSize());
      std::string content(kWanted, '-');
      // Whoever does not create reads what there is, up to the end of its last page.
      const bool whole = create != 0 || size > 4096;
      EXPECT_EQ(whole, aeReadSharedMemory(segment_.get(), content.data(), kWanted) == 1);
      if (whole) {
        std::string expected(std::min(size, kWanted), 'x');
        expected.resize(kWanted);
        EXPECT_EQ(expected, content);
      }
      EXPECT_EQ(whole, aeWriteSharedMemory(segment_.get(), content.data(), kWanted) == 1);
      EXPECT_EQ(create != 0 ? kWanted : size, ObjectSize());
      segment_.reset();
      EXPECT_EQ(descriptors, OpenDescriptors());
      std::filesystem::remove(ShmFile());
    }
  }
}

TEST_F(TakenNames, OfOtherThingsAreRefusedAndLeftAlone) {
  const struct {
    Hostile kind;
    const char *printed;
  } kRows[] = {{Hostile::kLink, "40 Too many levels of symbolic links\n"},
               {Hostile::kDanglingLink, "40 Too many levels of symbolic links\n"},
               {Hostile::kCircle, "40 Too many levels of symbolic links\n"},
               {Hostile::kDirectory, "22 Invalid argument\n"},
               {Hostile::kPipe, "ftruncate failed: 22 Invalid argument\n"}};
  TempDir elsewhere;
  chmod(elsewhere.path().c_str(), 0777);
  const std::string target = elsewhere.file("target");
  for (const auto &row : kRows) {
    for (const bool lock : {false, true}) {
      SCOPED_TRACE(NameOf(row.kind) + (lock ? " as a lock" : ""));
      if (row.kind == Hostile::kLink) WriteFile(target, "not to be touched");
      const auto before = TreeOf(elsewhere.path());
      {
        const std::string path = lock ? SemFile() : ShmFile();
        const HostilePath hostile(row.kind, path, target);
        // A stranger's would be refused in such a folder whatever it is.
        ASSERT_EQ(0, lchown(path.c_str(), geteuid(), getegid()));
        ExpectRefused(1, lock ? "" : row.printed);
        EXPECT_TRUE(hostile.IsEmptyPipe());
      }
      EXPECT_EQ(before, TreeOf(elsewhere.path()));
      ExpectOtherNamesToWork();
      std::filesystem::remove_all(ShmFile());
      std::filesystem::remove_all(SemFile());
      std::filesystem::remove(target);
    }
  }
}

TEST_F(TakenNames, InTmpByAStrangerMakeClearingFail) {
  if (!HasOtherUser()) GTEST_SKIP() << "there is no other user here";
  struct stat tmp;
  if (stat("/tmp", &tmp) != 0 || (tmp.st_mode & S_ISVTX) == 0) GTEST_SKIP() << "/tmp is not sticky";
  SharedMemorySegment record = {};
  memcpy(record.shmName, shm_name_, sizeof shm_name_);
  snprintf(record.semName, sizeof record.semName, "/%s", sem_name_.c_str());
  const std::string shm_file = std::string("/tmp") + shm_name_, sem_file = "/tmp/" + sem_name_;
  const struct {
    bool shm, sem;
    const char *complaint;
  } kRows[] = {
      {true, false, "Failed to remove backingFile: Operation not permitted\n"},
      {true, true, "Failed to remove backingFile: Operation not permitted\n"},
      {false, true, "Failed to remove semName: Operation not permitted\n"},
      {false, false, ""},
  };
  for (const auto &row : kRows) {
    for (const std::string &file : {shm_file, sem_file}) {
      const bool strangers = file == shm_file ? row.shm : row.sem;
      WriteFile(file, strangers ? "a stranger's" : "old");
      ASSERT_EQ(0, chmod(file.c_str(), 0666));
      if (!strangers) GiveToOtherUser(file);
    }
    AsOtherUser([&] {
      testing::internal::CaptureStderr();
      EXPECT_EQ(*row.complaint == '\0', aeClearSharedMemoryObjects(&record));
      EXPECT_EQ(row.complaint, testing::internal::GetCapturedStderr());
    });
    EXPECT_EQ(row.shm, std::filesystem::exists(shm_file));
    EXPECT_EQ(row.shm || row.sem, std::filesystem::exists(sem_file)) << "it ends at the first";
    EXPECT_EQ(1, aeClearSharedMemoryObjects(&record)) << "the stranger can remove them himself";
  }
}

}  // namespace
