// The order in which files are opened, written, closed, renamed and removed: what a crash or a full
// disk leaves behind depends on it.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>
#include <sys/time.h>

#include <filesystem>

#include "support/file_calls.hpp"
#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"

namespace cu_test {
namespace {

using testing::ElementsAre;

class OrderOfFileCallsTest : public StoreTest {
 protected:
  void SetUp() override {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    ++store_->nextRecordId;
  }
};

TEST_F(OrderOfFileCallsTest, StartOnASoundFile) {
  FileCalls calls;
  ASSERT_TRUE(Start());
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, StartOnADamagedFile) {
  Place("damaged");
  FileCalls calls;
  ASSERT_TRUE(Start());
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "fopen rb events", "fclose", "fopen wb events",
                                         "write", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, StartWithoutFileAndFolders) {
  Stop();
  std::filesystem::remove_all(primary_directory());
  std::filesystem::remove_all(backup_directory());
  FileCalls calls;
  ASSERT_TRUE(Start());
  EXPECT_THAT(calls.order(), ElementsAre("mkdir primary", "mkdir backup", "fopen rb events",
                                         "fopen wb events", "write", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, Load) {
  FileCalls calls;
  loadAllAmbrelStorageEntries(store_);
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, SaveWithoutRefresh) {
  AmbrelStorageEntry *const entry = Create("fourth");
  FileCalls calls;
  EXPECT_EQ(1U, Save(entry, false));
  EXPECT_THAT(calls.order(),
              ElementsAre("fclose", "fopen rb+ events", "write", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, SaveWithRefresh) {
  AmbrelStorageEntry *const entry = Create("fourth");
  FileCalls calls;
  EXPECT_EQ(1U, Save(entry));
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "fopen rb+ events", "write", "fclose",
                                         "fopen rb events", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, SaveFlushesBeforeItCloses) {
  AmbrelStorageEntry *const entry = Create("fourth");
  FileCalls calls;
  std::string at_close;
  calls.before = [&] { at_close = File(); };
  EXPECT_EQ(1U, Save(entry, false));
  EXPECT_EQ(ThreeRecordFile() + RecordBytes(RecordOf(*entry)), at_close)
      << "the bytes were there before the last call, which reopens the file";
}

TEST_F(OrderOfFileCallsTest, SaveInPlace) {
  FileCalls calls;
  EXPECT_EQ(1U, Save(store_->entries[0], false));
  EXPECT_THAT(calls.order(),
              ElementsAre("fclose", "fopen rb+ events", "write", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, RefreshOfTheChecksumAlone) {
  FileCalls calls;
  EXPECT_EQ(1U, updateAmbrelStorageCRC(store_, 0));
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "fopen rb+ events", "write", "fclose",
                                         "fopen rb events", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, RefreshThatFindsNoChecksumLeavesTheStreamOpenForUpdate) {
  WriteFile(primary(), HeaderBytes(0, 0));
  FileCalls calls;
  EXPECT_EQ(0U, updateAmbrelStorageCRC(store_, 0));
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "fopen rb+ events"));
  EXPECT_EQ(1, store_->writable);
}

TEST_F(OrderOfFileCallsTest, FullSave) {
  FileCalls calls;
  EXPECT_EQ(1U, FullSave());
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "rename events events.bkc", "fopen wb events",
                                         "write", "fclose", "fopen rb+ events", "write", "fclose",
                                         "fopen rb events", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, FullSaveWritesTheChecksumLast) {
  FileCalls calls;
  std::vector<std::string> states;
  calls.before = [&] {
    const std::string now = File();
    if (states.empty() || states.back() != now) states.push_back(now);
  };
  Create("fourth");
  EXPECT_EQ(1U, FullSave());
  const std::string last = File();
  ASSERT_GE(states.size(), 3U);
  EXPECT_EQ(ThreeRecordFile(), states.front());
  for (size_t i = 1; i < states.size(); ++i) {
    if (states[i] == last) continue;
    EXPECT_FALSE(ChecksOut(states[i])) << "nothing in between passes for a sound file";
  }
}

TEST_F(OrderOfFileCallsTest, FullSaveThatIsUndone) {
  FreeAmbrelStorageEntry(store_->entries[1]);
  FileCalls calls;
  EXPECT_EQ(0U, FullSave());
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "rename events events.bkc", "fopen wb events",
                                         "write", "fclose", "rename events.bkc events",
                                         "fopen rb events", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, FullSaveThatCannotMoveTheFile) {
  std::filesystem::remove_all(backup_directory());
  FileCalls calls;
  EXPECT_EQ(0U, FullSave());
  EXPECT_THAT(calls.order(), ElementsAre("fclose", "rename events events.bkc", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, Compaction) {
  if (!CanWriteVar()) GTEST_SKIP() << "needs a writable /var";
  FileCalls calls;
  EXPECT_EQ(0U, Compact());
  std::vector<std::string> order = calls.order();
  // While the records are read, the primary is closed and reopened.
  order.erase(std::unique(order.begin(), order.end()), order.end());
  ASSERT_GE(order.size(), 8U);
  EXPECT_EQ("mkstemp ambrelstoragetmp", order[0]);
  EXPECT_EQ("fdopen wb", order[1]);
  const std::vector<std::string> end(order.end() - 7, order.end());
  EXPECT_THAT(end, ElementsAre("write", "fclose", "rename events .bkc", "remove ambrelstoragetmp",
                               "fopen rb events", "fclose", "fopen rb events"));
}

TEST_F(OrderOfFileCallsTest, NothingIsForcedToTheMedium) {
  FileCalls calls;
  EXPECT_EQ(1U, Save(Create("fourth")));
  EXPECT_EQ(1U, Save(Create("fifth"), false));
  EXPECT_EQ(1U, FullSave());
  Compact();
  Stop();
  EXPECT_THAT(calls.all(), testing::Not(testing::Contains("fsync")));
}

TEST_F(OrderOfFileCallsTest, Stop) {
  FileCalls calls;
  Stop();
  EXPECT_THAT(calls.order(), ElementsAre("fclose"));
}

/// The stamp of an entry at a given time.
int64_t StampAt(time_t seconds, int microseconds) {
  FileCalls calls;
  calls.gettimeofday = [&](timeval *now) {
    now->tv_sec = seconds;
    now->tv_usec = microseconds;
    return 0;
  };
  TempDir dir;
  AmbrelStorageEngine *engine = nullptr;
  AmbrelStorageEntry *entry = nullptr;
  InitializeAmbrelStorageEngine(&engine, "s", dir.path().c_str(), dir.path().c_str());
  AddAndCreateAmbrelStorageEntryInArray(engine, &entry, 0);
  const int64_t stamp = entry->wallStamp;
  DeInitializeAmbrelStorageEngine(engine);
  return stamp;
}

TEST(WallStamp, IsSecondsTimes100000In32SignedBitsPlusMicroseconds) {
  EXPECT_EQ(0, StampAt(0, 0));
  EXPECT_EQ(100000, StampAt(1, 0));
  EXPECT_EQ(999999, StampAt(0, 999999));
  EXPECT_EQ(1099999, StampAt(1, 999999)) << "more than the next second's stamp";
  EXPECT_EQ(2147400000, StampAt(21474, 0));
  EXPECT_EQ(-2147467296, StampAt(21475, 0)) << "2147500000 wraps to a negative number";
  EXPECT_EQ(-2147467295, StampAt(21475, 1));
  EXPECT_EQ(32704, StampAt(42950, 0)) << "4295000000 - 2^32";
  EXPECT_EQ(static_cast<int32_t>(1700000000U * 100000U) + 5, StampAt(1700000000, 5));
}

TEST(MonotonicSeconds, AreThoseOfTheMonotonicClock) {
  FileCalls calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    *now = {clock == CLOCK_MONOTONIC ? 4711 : 99, 999999999};
    return 0;
  };
  TempDir dir;
  AmbrelStorageEngine *engine = nullptr;
  AmbrelStorageEntry *entry = nullptr;
  InitializeAmbrelStorageEngine(&engine, "s", dir.path().c_str(), dir.path().c_str());
  AddAndCreateAmbrelStorageEntryInArray(engine, &entry, 1);
  EXPECT_EQ(4711U, entry->monotonicSeconds);
  DeInitializeAmbrelStorageEngine(engine);
}

}  // namespace
}  // namespace cu_test
