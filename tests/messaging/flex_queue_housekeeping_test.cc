// The housekeeping loop of a flex queue. It never returns, so each test runs it in a child process
// and ends the child from within a sleep of the loop, or by killing it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "messaging/flex_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/child.hpp"
#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

/// What time() tells the library; 0: the real time.
time_t g_now = 0;

}  // namespace

extern "C" time_t __real_time(time_t *out);
extern "C" time_t __wrap_time(time_t *out) {
  if (g_now == 0) return __real_time(out);
  if (out != nullptr) *out = g_now;
  return g_now;
}

namespace {

using cu_test::Child;
using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::Logger;
using cu_test::TestFlexQueue;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int32_t kNow = 1'000'000'000;

struct Sleep {
  timespec duration;
  bool locked;
};

/// Runs the loop in a child until `end` says so in one of its sleeps; `end` gets the sleeps so far.
/// What `report` prints is the result.
std::string RunLoop(TestFlexQueue &queue, size_t sleeps,
                    std::function<void(const std::vector<Sleep> &)> report) {
  Child child([&] {
    static std::vector<Sleep> seen;
    static Interposed calls;
    calls.nanosleep = [&](const timespec *duration, timespec *) {
      seen.push_back({*duration, IsLocked(queue->mutex)});
      if (seen.size() == sleeps) {
        report(seen);
        _exit(0);
      }
      return 0;
    };
    FlexqueueHouseKeeping(&queue);
    return 1;
  });
  EXPECT_EQ(0, child.Wait().status());
  return child.out();
}

std::string Text(const Sleep &sleep) {
  return std::to_string(sleep.duration.tv_sec) + "." + std::to_string(sleep.duration.tv_nsec) +
         (sleep.locked ? " locked\n" : " free\n");
}

void PrintSleeps(const std::vector<Sleep> &sleeps) {
  for (const Sleep &sleep : sleeps) printf("%s", Text(sleep).c_str());
}

TEST(FlexqueueHouseKeeping, NullReturns) {
  FlexqueueHouseKeeping(nullptr);
}

TEST(FlexqueueHouseKeeping, SleepsAPeriodARoundOnAnEmptyQueue) {
  TestFlexQueue queue(2, 5);
  EXPECT_EQ("0.5000000 free\n0.5000000 free\n0.5000000 free\n", RunLoop(queue, 3, PrintSleeps));
}

TEST(FlexqueueHouseKeeping, APeriodOfASecondAndMoreSleepsASecondLonger) {
  TestFlexQueue queue(2, 1000);
  EXPECT_EQ("2.0 free\n", RunLoop(queue, 1, PrintSleeps));
  TestFlexQueue slow(2, 4'294'967'295);
  EXPECT_EQ("4294968.0 free\n", RunLoop(slow, 1, PrintSleeps));
}

TEST(FlexqueueHouseKeeping, AnOldEntryLosesThePeeksReferenceAndTheSecondSleepIsLocked) {
  g_now = kNow;
  TestFlexQueue queue(2, 1);
  FlexEntry *const entry = queue.Insert(7);
  entry->timestamp = kNow - 2000;
  const std::string out = RunLoop(queue, 5, [&](const std::vector<Sleep> &sleeps) {
    PrintSleeps(sleeps);
    printf("%d references, %u entries\n", entry->refCount, queue->count);
  });
  EXPECT_EQ(
      "0.1000000 free\n0.1000000 locked\n0.1000000 free\n0.1000000 locked\n0.1000000 free\n"
      "1 references, 1 entries\n",
      out);
  g_now = 0;
}

struct AgeRow {
  uint32_t age_ms;
  int32_t age_seconds;
  bool young;
};

TEST(FlexqueueHouseKeeping, AnEntryIsYoungBelowAThousandTimesThePeriodInSeconds) {
  constexpr AgeRow kRows[] = {
      {1, 999, true},
      {1, 1000, false},
      {2, 1999, true},
      {2, 2000, false},
      {1000, 999'999, true},
      {0, 0, false},
      {0, -1, true},          // the clock was set back
      {3'000'000, 0, false},  // the product is negative in 32 bits
      {3'000'000, -2'000'000'000, true},
      {4'294'968, 0, true},  // and positive again: 704
      {4'294'968, 704, false},
  };
  g_now = kNow;
  for (const AgeRow &row : kRows) {
    SCOPED_TRACE(testing::Message() << row.age_ms << " ms, " << row.age_seconds << " s");
    TestFlexQueue queue(2, row.age_ms);
    FlexEntry *const entry = queue.Insert(7);
    entry->timestamp = static_cast<int32_t>(int64_t{kNow} - row.age_seconds);
    // The reference of the first round's peek is kept for a young entry alone.
    const std::string out = RunLoop(queue, 2, [&](const std::vector<Sleep> &sleeps) {
      printf("%d %s", entry->refCount, sleeps[1].locked ? "locked" : "free");
    });
    EXPECT_EQ(row.young ? "2 locked" : "1 locked", out);
  }
  g_now = 0;
}

TEST(FlexqueueHouseKeeping, AYoungEntryHangsTheLoopAndEveryProducer) {
  TestFlexQueue queue(2, 1);
  queue.Insert(7);
  Child child([&] {
    setvbuf(stdout, nullptr, _IONBF, 0);
    static Interposed calls;
    static int polls = 0;
    calls.nanosleep = [](const timespec *duration, timespec *rest) {
      // The second round polls for the lock that the first one kept.
      if (duration->tv_nsec == 10'000 && ++polls == 1'000) printf("polls");
      return nanosleep(duration, rest);
    };
    std::thread([&] { FlexqueueHouseKeeping(&queue); }).detach();
    while (!IsLocked(queue->mutex)) usleep(1'000);
    insertFlexQueueEntry(&queue, malloc(1), 8, 0);
    printf("inserted");
    return 0;
  });
  ASSERT_TRUE(child.WaitForOutput("polls"));
  usleep(200'000);
  EXPECT_FALSE(child.HasEnded());
  EXPECT_THAT(child.out(), Not(HasSubstr("inserted")));
}

TEST(FlexqueueHouseKeeping, TheLastReferenceFreesTheEntryAndLeavesItsSlotEmpty) {
  g_now = kNow;
  static int released;
  const Logger logger;
  TestFlexQueue queue(2, 1);
  queue->freeFn = [](FlexEntry *entry) {
    ++released;
    free(entry->data);
  };
  FlexEntry *const entry = queue.Insert(7);
  entry->timestamp = kNow - 2000;
  entry->refCount = 0;  // somebody dropped the queue's reference in place
  const std::string out = RunLoop(queue, 4, [&](const std::vector<Sleep> &sleeps) {
    PrintSleeps(sleeps);
    printf("%d released, slot %s, %u entries\n", released,
           queue->slots[0].entry == nullptr ? "empty" : "stale", queue->count);
  });
  EXPECT_EQ(
      "0.1000000 free\n0.1000000 locked\n0.1000000 free\n0.1000000 free\n"
      "1 released, slot empty, 1 entries\n",
      out);
  EXPECT_THAT(logger.lines(),
              ElementsAre("DEBUG [flexqueue]We should not have an empty entry already"));
  g_now = 0;
}

TEST(FlexqueueHouseKeeping, LooksAtTheFirstEntryAlone) {
  g_now = kNow;
  TestFlexQueue queue(3, 1);
  queue.Insert(0)->timestamp = kNow - 2000;
  queue.Insert(1)->timestamp = kNow;
  const std::string out = RunLoop(queue, 5, PrintSleeps);
  EXPECT_THAT(out, HasSubstr("0.1000000 free\n0.1000000 locked\n0.1000000 free\n"));
  g_now = 0;
}

TEST(FlexqueueHouseKeeping, PollsForTheQueuesLock) {
  TestFlexQueue queue(3, 1);
  pthread_mutex_lock(&queue->mutex);
  EXPECT_EQ("0.1000000 locked\n0.10000 locked\n0.10000 locked\n", RunLoop(queue, 3, PrintSleeps));
  pthread_mutex_unlock(&queue->mutex);
}

}  // namespace
