#include <gtest/gtest.h>

#include <string>

#include "include/configparams.h"
#include "support/child.hpp"
#include "support/files.hpp"

using cu_test::Child;
using cu_test::TempDir;
using cu_test::WriteFile;

namespace {

struct Outcome {
  int result;
  std::string complaint;
};

/// Checks a path in a child, whose standard error is kept.
Outcome Check(const char *path, int32_t want_directory) {
  Child child([=] { return checkForFileDirExistance(path, want_directory); });
  child.Wait();
  EXPECT_EQ(child.out(), "");
  return {child.status(), child.err()};
}

TEST(CheckForFileDirExistance, Gives1ForAnyExistingPath) {
  const TempDir dir;
  WriteFile(dir.file("f"), "x");
  const Outcome file = Check(dir.file("f").c_str(), 0);
  EXPECT_EQ(file.result, 1);
  EXPECT_EQ(file.complaint, "");
  const Outcome folder = Check(dir.path().c_str(), 0);
  EXPECT_EQ(folder.result, 1);
  EXPECT_EQ(folder.complaint, "");
}

TEST(CheckForFileDirExistance, GivesWantDirectoryItselfForADirectory) {
  const TempDir dir;
  EXPECT_EQ(Check(dir.path().c_str(), 1).result, 1);
  EXPECT_EQ(Check(dir.path().c_str(), 2).result, 2);
  EXPECT_EQ(Check(dir.path().c_str(), 2).complaint, "");
  EXPECT_EQ(checkForFileDirExistance(dir.path().c_str(), -5), -5);
}

TEST(CheckForFileDirExistance, ComplainsAboutAFileWhereADirectoryIsWanted) {
  const TempDir dir;
  const std::string path = dir.file("f");
  WriteFile(path, "x");
  const Outcome outcome = Check(path.c_str(), 1);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.complaint, "Not a directory " + path + "\n");
}

TEST(CheckForFileDirExistance, ComplainsAboutAPathThatDoesNotExist) {
  const TempDir dir;
  const std::string path = dir.file("missing");
  for (const int32_t want_directory : {0, 1}) {
    const Outcome outcome = Check(path.c_str(), want_directory);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.complaint, "Invalid configuration path provided " + path + "\n");
  }
  EXPECT_EQ(Check("", 0).complaint, "Invalid configuration path provided \n");
}

TEST(CheckForFileDirExistance, Gives0ForNullWithoutAWord) {
  const Outcome outcome = Check(nullptr, 1);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.complaint, "");
}

}  // namespace
