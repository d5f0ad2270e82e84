// The helpers for folders, names and copies.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>

#include "storage/private_var.hpp"
#include "support/files.hpp"

namespace cu_test {
namespace {

TEST(AeCheckAndCreateDir, AcceptsWhatExistsFolderOrNot) {
  TempDir dir;
  WriteFile(dir.file("file"), "");
  EXPECT_EQ(1U, aecheckANDCreateDir(dir.path().c_str()));
  EXPECT_EQ(1U, aecheckANDCreateDir(dir.file("file").c_str()));
}

TEST(AeCheckAndCreateDir, CreatesAMissingFolderWithAllRightsLessTheUmask) {
  TempDir dir;
  const mode_t umask_before = umask(022);
  EXPECT_EQ(1U, aecheckANDCreateDir(dir.file("new").c_str()));
  umask(umask_before);
  struct stat made;
  ASSERT_EQ(0, stat(dir.file("new").c_str(), &made));
  EXPECT_TRUE(S_ISDIR(made.st_mode));
  EXPECT_EQ(0755U, made.st_mode & 07777);
}

TEST(AeCheckAndCreateDir, CreatesOnlyTheLastComponentButStillSaysOne) {
  TempDir dir;
  EXPECT_EQ(1U, aecheckANDCreateDir(dir.file("a/b").c_str()));
  EXPECT_FALSE(std::filesystem::exists(dir.file("a")));
}

TEST(AeCheckAndCreateDir, IsZeroWhenAComponentIsNoFolder) {
  TempDir dir;
  WriteFile(dir.file("file"), "");
  EXPECT_EQ(0U, aecheckANDCreateDir(dir.file("file/sub").c_str()));
}

TEST(AeCheckAndCreateDir, IsOneForOtherErrors) {
  EXPECT_EQ(1U, aecheckANDCreateDir(std::string(5000, 'x').c_str())) << "name too long";
  EXPECT_EQ(1U, aecheckANDCreateDir("")) << "no such file";
  TempDir dir;
  MountedTmpfs read_only(dir.path(), "size=64k");
  if (!read_only || !read_only.MakeReadOnly()) GTEST_SKIP() << "no mounting here";
  EXPECT_EQ(1U, aecheckANDCreateDir(dir.file("new").c_str())) << "read-only file system";
  EXPECT_FALSE(std::filesystem::exists(dir.file("new")));
}

TEST(AeCheckAndCreateDir, RefusesNull) {
  EXPECT_EQ(0U, aecheckANDCreateDir(nullptr));
}

TEST(CreateAmbrelFileToOpen, JoinsWithoutASeparator) {
  const struct {
    const char *first, *second, *joined;
  } rows[] = {{"/var/", "name", "/var/name"},
              {"/var", "name", "/varname"},
              {"", "name", "name"},
              {"/var/", "", "/var/"},
              {"", "", ""},
              {"a%sb", "%n", "a%sb%n"}};
  for (const auto &row : rows) {
    char *const joined = createAmbrelFileToOpen(row.first, row.second);
    EXPECT_STREQ(row.joined, joined);
    free(joined);
  }
}

TEST(CreateAmbrelFileToOpen, HasThreeZeroBytesBehindTheText) {
  char *const joined = createAmbrelFileToOpen("ab", "cd");
  for (int i = 4; i < 7; ++i) EXPECT_EQ('\0', joined[i]);
  free(joined);
}

TEST(CreateAmbrelFileToOpen, RefusesNull) {
  EXPECT_EQ(nullptr, createAmbrelFileToOpen(nullptr, "x"));
  EXPECT_EQ(nullptr, createAmbrelFileToOpen("x", nullptr));
}

TEST(CopyAmbrelFileAndVerify, CopiesEveryByte) {
  TempDir dir;
  for (const size_t size : {0, 1, 4095, 4096, 8192, 8193, 100000}) {
    std::string content(size, '\0');
    for (size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 31 + i / 256);
    WriteFile(dir.file("from"), content);
    EXPECT_EQ(1U, copyAmbrelFileAndVerify(dir.file("from").c_str(), dir.file("to").c_str()));
    EXPECT_EQ(content, ReadFile(dir.file("to")));
  }
}

TEST(CopyAmbrelFileAndVerify, ReplacesALongerFile) {
  TempDir dir;
  WriteFile(dir.file("from"), "short");
  WriteFile(dir.file("to"), "much longer than that");
  EXPECT_EQ(1U, copyAmbrelFileAndVerify(dir.file("from").c_str(), dir.file("to").c_str()));
  EXPECT_EQ("short", ReadFile(dir.file("to")));
}

TEST(CopyAmbrelFileAndVerify, IsZeroWhenTheDestinationCannotBeCreated) {
  TempDir dir;
  WriteFile(dir.file("from"), "x");
  EXPECT_EQ(0U, copyAmbrelFileAndVerify(dir.file("from").c_str(), dir.file("a/to").c_str()));
}

TEST(CopyAmbrelFileAndVerify, LeavesTheDestinationAloneWithoutASource) {
  TempDir dir;
  WriteFile(dir.file("to"), "precious");
  EXPECT_EQ(0U, copyAmbrelFileAndVerify(dir.file("from").c_str(), dir.file("to").c_str()));
  EXPECT_EQ("precious", ReadFile(dir.file("to")));
}

TEST(CopyAmbrelFileAndVerify, SaysOneAlsoWhenTheDiskIsFull) {
  TempDir dir;
  MountedTmpfs small(dir.path(), "size=32k");
  if (!small) GTEST_SKIP() << "the system does not let this process mount";
  WriteFile(dir.file("from"), std::string(20000, 'x'));
  EXPECT_EQ(1U, copyAmbrelFileAndVerify(dir.file("from").c_str(), dir.file("to").c_str()));
  EXPECT_LT(ReadFile(dir.file("to")).size(), 20000U);
}

TEST(CopyAmbrelFileAndVerify, RefusesNullAndLeaksNoStream) {
  const long descriptors = OpenDescriptors();
  EXPECT_EQ(0U, copyAmbrelFileAndVerify(nullptr, "x"));
  EXPECT_EQ(0U, copyAmbrelFileAndVerify("x", nullptr));
  EXPECT_EQ(0U, copyAmbrelFileAndVerify("/etc/hostname", "/proc/nowhere/x"));
  EXPECT_EQ(descriptors, OpenDescriptors());
}

}  // namespace
}  // namespace cu_test
