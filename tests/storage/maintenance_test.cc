// The maintenance loop, with a sleep of the test's own: each call of it is a minute.
#include "include/AmbrelDataStorage.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <thread>

#include "support/file_calls.hpp"
#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "support/child.hpp"
#include "support/watchdog.hpp"

namespace cu_test {
namespace {

class AmbrelStorageEngineContollerMaintenanceTest : public StoreTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    store_->lockTimeoutMs = 1;
  }

  /// Runs the loop in a child until `minute(n, calls)`, called in place of the n-th sleep (from 1),
  /// says no; the result of that is the child's exit status.
  int Run(std::function<bool(int, FileCalls &)> minute) {
    Child child([&] {
      FileCalls calls;
      int n = 0;
      calls.sleep = [&](unsigned seconds) -> unsigned {
        if (seconds != 60) _exit(100);
        if (!minute(++n, calls)) _exit(testing::Test::HasFailure() ? 101 : 0);
        return 0;
      };
      AmbrelStorageEngineContollerMaintenance(store_);
      return 102;
    });
    const int status = child.Wait().status();
    if (status != 0) ADD_FAILURE() << child.out() << child.err();
    return status;
  }
  /// How many of the calls so far are this one. It goes on where it stopped: in thousands of
  /// minutes there are many.
  long Count(const FileCalls &calls, const std::string &call) {
    Tally &tally = tallies_[call];
    for (; tally.seen < calls.all().size(); ++tally.seen)
      if (calls.all()[tally.seen] == call) ++tally.count;
    return tally.count;
  }

 private:
  struct Tally {
    size_t seen = 0;
    long count = 0;
  };
  std::map<std::string, Tally> tallies_;
};

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, ReturnsAtOnceWithoutAnEngine) {
  AmbrelStorageEngineContollerMaintenance(nullptr);
}

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, SleepsFirst) {
  Run([&](int, FileCalls &calls) {
    EXPECT_TRUE(calls.all().empty());
    return false;
  });
}

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, SavesEverythingOnceAMinute) {
  const Record first = RecordOf(*Create("first"));
  Run([&](int minute, FileCalls &calls) {
    EXPECT_EQ(minute - 1, Count(calls, "rename events events.bkc"));
    return minute <= 3;
  });
  EXPECT_EQ(SealedFile(1, {first}), File());
  EXPECT_EQ(SealedFile(1, {first}), Backup());
}

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, ReleasesTheLockBetweenTwoMinutes) {
  Create("first");
  Run([&](int minute, FileCalls &) {
    EXPECT_EQ(1U, ambrelStorageLock(store_, 0));
    ambrelStorageUnLock(store_, 0);
    return minute < 3;
  });
}

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, CompactsInPlaceOfEvery1440thSave) {
  if (!CanWriteVar()) GTEST_SKIP() << "needs a writable /var";
  Create("first");
  Run([&](int minute, FileCalls &calls) {
    const int done = minute - 1;
    EXPECT_EQ(done - done / 1440, Count(calls, "rename events events.bkc")) << done;
    EXPECT_EQ(done / 1440, Count(calls, "rename events .bkc")) << done;
    return done < 2881 && !testing::Test::HasFailure();
  });
}

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, CountsOnlyMinutesInWhichItGotTheLock) {
  if (!CanWriteVar()) GTEST_SKIP() << "needs a writable /var";
  Create("first");
  bool held = false;
  int without = 0;
  Run([&](int minute, FileCalls &calls) {
    // Every tenth minute the lock is busy.
    if (held) ambrelStorageUnLock(store_, 0);
    held = minute % 10 == 0;
    if (held) {
      ++without;
      EXPECT_EQ(1U, ambrelStorageLock(store_, 0));
    }
    const int counted = minute - 1 - (without - held);
    EXPECT_EQ(counted / 1440, Count(calls, "rename events .bkc")) << minute;
    EXPECT_EQ(counted - counted / 1440, Count(calls, "rename events events.bkc")) << minute;
    return minute < 1610 && !testing::Test::HasFailure();
  });
}

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, PassesTheLow32BitsOfTheRetentionAndTheClock) {
  if (!CanWriteVar()) GTEST_SKIP() << "needs a writable /var";
  AmbrelStorageEntry *const young = Create("young"), *const old = Create("old");
  young->monotonicSeconds = 500;
  old->monotonicSeconds = 499;
  store_->retention = (uint64_t{7} << 32) + 1;  // one second: a threshold of 1000000
  Run([&](int minute, FileCalls &calls) {
    calls.clock_gettime = [](clockid_t clock, timespec *now) {
      *now = {clock == CLOCK_MONOTONIC ? 1000500 : 1700000000, 0};
      return 0;
    };
    calls.rename = [&](const char *from, const char *to) {
      if (std::string(to).find("/.bkc") == std::string::npos)
        return renameat(AT_FDCWD, from, AT_FDCWD, to);
      EXPECT_EQ(1U, NativeAt<uint32_t>(ReadFile(*TemporaryStoreFiles().begin()), 8));
      return -1;
    };
    return minute <= 1440;
  });
}

TEST_F(AmbrelStorageEngineContollerMaintenanceTest, RunsBesideAThreadThatCreatesAndSaves) {
  Create("first");
  store_->lockTimeoutMs = 60000;
  FileCalls calls;
  std::atomic<bool> stop{false};
  std::atomic<int> minutes{0};
  const Watchdog watchdog([&] { return minutes.load(); });
  calls.sleep = [&](unsigned) -> unsigned {
    ++minutes;
    if (stop) pthread_exit(nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return 0;
  };
  std::thread maintenance([&] { AmbrelStorageEngineContollerMaintenance(store_); });
  for (int i = 0; i < 50 || minutes < 10; ++i) {
    ambrelStorageLock(store_, 0);
    AmbrelStorageEntry *entry = nullptr;
    AddAndCreateAmbrelStorageEntryInArray(store_, &entry, 1);
    SetPayload(entry, std::to_string(i));
    EXPECT_EQ(1U, saveAmbrelStorageDeviceUpdateEntry(store_, entry, 1, 1));
    ambrelStorageUnLock(store_, 0);
  }
  stop = true;
  maintenance.join();
}

}  // namespace
}  // namespace cu_test
