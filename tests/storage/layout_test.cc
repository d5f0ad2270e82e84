// The records as daemons see them.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>

#include "storage/store_bytes.hpp"

namespace {

TEST(AmbrelStorageFileHeader, HasItsFieldsWhereTheFileHasThem) {
  EXPECT_EQ(16U, sizeof(AmbrelStorageFileHeader));
  EXPECT_EQ(0U, offsetof(AmbrelStorageFileHeader, format));
  EXPECT_EQ(4U, offsetof(AmbrelStorageFileHeader, headerSize));
  EXPECT_EQ(6U, offsetof(AmbrelStorageFileHeader, recordHeaderSize));
  EXPECT_EQ(8U, offsetof(AmbrelStorageFileHeader, recordCount));
  EXPECT_EQ(12U, offsetof(AmbrelStorageFileHeader, crc));
}

TEST(AmbrelStorageEntry, BeginsWithTheRecordHeaderOnEveryHost) {
  EXPECT_EQ(40U, sizeof(AmbrelStorageEntry));
  EXPECT_EQ(0U, offsetof(AmbrelStorageEntry, format));
  EXPECT_EQ(4U, offsetof(AmbrelStorageEntry, id));
  EXPECT_EQ(8U, offsetof(AmbrelStorageEntry, valid));
  EXPECT_EQ(12U, offsetof(AmbrelStorageEntry, length));
  EXPECT_EQ(16U, offsetof(AmbrelStorageEntry, wallStamp));
  EXPECT_EQ(24U, offsetof(AmbrelStorageEntry, monotonicSeconds));
  EXPECT_EQ(32U, offsetof(AmbrelStorageEntry, payload));
}

TEST(AmbrelStorageEngine, HasTheTargetsLayout) {
  EXPECT_EQ(0U, offsetof(AmbrelStorageEngine, header));
  EXPECT_EQ(16U, offsetof(AmbrelStorageEngine, mutex));
  if (sizeof(void *) != 4) GTEST_SKIP() << "offsets are those of 32-bit hosts";
  EXPECT_EQ(40U, offsetof(AmbrelStorageEngine, lockTimeoutMs));
  EXPECT_EQ(44U, offsetof(AmbrelStorageEngine, file));
  EXPECT_EQ(48U, offsetof(AmbrelStorageEngine, open));
  EXPECT_EQ(49U, offsetof(AmbrelStorageEngine, writable));
  EXPECT_EQ(50U, offsetof(AmbrelStorageEngine, nextRecordId));
  EXPECT_EQ(52U, offsetof(AmbrelStorageEngine, fileSize));
  EXPECT_EQ(56U, offsetof(AmbrelStorageEngine, position));
  EXPECT_EQ(60U, offsetof(AmbrelStorageEngine, loadedCount));
  EXPECT_EQ(64U, offsetof(AmbrelStorageEngine, retention));
  EXPECT_EQ(72U, offsetof(AmbrelStorageEngine, limit));
  EXPECT_EQ(76U, offsetof(AmbrelStorageEngine, fileName));
  EXPECT_EQ(332U, offsetof(AmbrelStorageEngine, primaryDirectory));
  EXPECT_EQ(588U, offsetof(AmbrelStorageEngine, backupDirectory));
  EXPECT_EQ(844U, offsetof(AmbrelStorageEngine, entryCount));
  EXPECT_EQ(848U, offsetof(AmbrelStorageEngine, entries));
  EXPECT_EQ(852U, offsetof(AmbrelStorageEngine, compare));
  EXPECT_EQ(856U, sizeof(AmbrelStorageEngine));
}

}  // namespace
