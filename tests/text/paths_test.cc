#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "include/stringutils.h"
#include "text/heap_text.hpp"

using cu_test::Taken;
using cu_test::TakenBytes;

namespace {

TEST(ConcatStrings, PutsBAfterA) {
  EXPECT_EQ(Taken(concatStrings("sensor", "1")), "sensor1");
  EXPECT_EQ(Taken(concatStrings("", "b")), "b");
  EXPECT_EQ(Taken(concatStrings("a", "")), "a");
  EXPECT_EQ(Taken(concatStrings("", "")), "");
}

TEST(ConcatStrings, GivesNullForNull) {
  EXPECT_EQ(concatStrings(nullptr, "b"), nullptr);
  EXPECT_EQ(concatStrings("a", nullptr), nullptr);
}

TEST(JoinPath, InsertsASlashOnlyWhereOneIsMissing) {
  EXPECT_EQ(Taken(joinPath("/tmp/", "f")), "/tmp/f");
  EXPECT_EQ(Taken(joinPath("/tmp", "f")), "/tmp/f");
  EXPECT_EQ(Taken(joinPath("/", "f")), "/f");
  EXPECT_EQ(Taken(joinPath("/tmp//", "f")), "/tmp//f");
}

TEST(JoinPath, LooksAtTheDirectoryAlone) {
  EXPECT_EQ(Taken(joinPath("/tmp/", "/f")), "/tmp//f");
  EXPECT_EQ(Taken(joinPath("/tmp", "")), "/tmp/");
}

TEST(JoinPath, GivesSlashNameForAnEmptyDirectory) {
  EXPECT_EQ(Taken(joinPath("", "name")), "/name");
  EXPECT_EQ(Taken(joinPath("", "")), "/");
}

TEST(JoinPath, HasTheTwoLengthsPlus3BytesFilledWithZeros) {
  EXPECT_EQ(TakenBytes(joinPath("ab", "c"), 6), std::string("ab/c\0\0", 6));
  EXPECT_EQ(TakenBytes(joinPath("a/", "c"), 6), std::string("a/c\0\0\0", 6));
}

TEST(JoinPath, GivesNullForNull) {
  EXPECT_EQ(joinPath(nullptr, "f"), nullptr);
  EXPECT_EQ(joinPath("/tmp", nullptr), nullptr);
}

TEST(ConcatPath, WritesTheJoinedPathAndReturnsItsBuffer) {
  char path[32];
  EXPECT_EQ(concatPath(path, "/tmp", "f", sizeof path), path);
  EXPECT_STREQ(path, "/tmp/f");
}

TEST(ConcatPath, InsertsASlashAfterASlashToo) {
  char path[32];
  EXPECT_STREQ(concatPath(path, "/tmp/", "f", sizeof path), "/tmp//f");
  EXPECT_STREQ(concatPath(path, "dir/", "x", sizeof path), "dir//x");
  EXPECT_STREQ(concatPath(path, "", "x", sizeof path), "/x");
}

TEST(ConcatPath, CutsAtItsSize) {
  for (uint32_t size = 1; size <= 10; ++size) {
    char path[12];
    memset(path, '#', sizeof path);
    EXPECT_EQ(concatPath(path, "dir", "name", size), path);
    EXPECT_EQ(std::string(path), std::string("dir/name").substr(0, size - 1)) << size;
    EXPECT_EQ(path[size], '#') << size;
  }
}

TEST(ConcatPath, WritesNothingWithSize0) {
  char path[] = "####";
  EXPECT_EQ(concatPath(path, "dir", "name", 0), path);
  EXPECT_STREQ(path, "####");
}

TEST(ConcatPath, MayWriteOverItsOwnDirectory) {
  char path[32] = "/etc/daemon";
  EXPECT_STREQ(concatPath(path, path, "config.json", sizeof path), "/etc/daemon/config.json");
}

TEST(ConcatPath, GivesNullForAnyNullPointer) {
  char path[] = "####";
  EXPECT_EQ(concatPath(nullptr, "d", "n", 10), nullptr);
  EXPECT_EQ(concatPath(path, nullptr, "n", sizeof path), nullptr);
  EXPECT_EQ(concatPath(path, "d", nullptr, sizeof path), nullptr);
  EXPECT_STREQ(path, "####");
}

}  // namespace
