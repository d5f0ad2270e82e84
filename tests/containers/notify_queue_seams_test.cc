// What the notifying queue does with clocks, locks, waits and signals, seen from between them; and
// its housekeeping loop, round by round.
#include "include/notifyqueue.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/child.hpp"
#include "support/interposed.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Child;
using cu_test::Interposed;
using cu_test::IsLocked;
using testing::ElementsAre;
using testing::IsEmpty;

class SmallQueue : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(1, init_queue(&queue_, 3, 5));
    queue_.freeFn = [](QueueEntry *) {};
  }
  void TearDown() override { deinit_queue(&queue_); }

  bool Insert() { return insertQueueEntry(&queue_, &datum_, 1, 0) == 1; }

  /// Puts both clocks at {100, 900000000}.
  void StopClocks() {
    calls_.clock_gettime = [](clockid_t clock, timespec *now) {
      *now = {clock == CLOCK_REALTIME ? 100 : 500, 900'000'000};
      return 0;
    };
  }

  Queue queue_ = {};
  int datum_ = 0;
  Interposed calls_;
};

TEST_F(SmallQueue, TimedLockHasItsDeadlineOnTheWallClock) {
  StopClocks();
  std::vector<long> deadline;
  calls_.pthread_mutex_timedlock = [&](pthread_mutex_t *mutex, const timespec *until) {
    EXPECT_EQ(&queue_.mutex, mutex);
    deadline = {until->tv_sec, until->tv_nsec};
    return ETIMEDOUT;
  };
  EXPECT_EQ(1, lockQueue(&queue_, 250));
  EXPECT_THAT(deadline, ElementsAre(101, 0));
  EXPECT_EQ(1, lockQueue(&queue_, -5));
  EXPECT_THAT(deadline, ElementsAre(101, 900'000'000));
}

TEST_F(SmallQueue, LockWithoutALimitReadsNoClock) {
  calls_.clock_gettime = [](clockid_t, timespec *) {
    ADD_FAILURE();
    return -1;
  };
  EXPECT_EQ(1, lockQueue(&queue_, 0));
  EXPECT_EQ(0, unlockQueue(&queue_));
}

TEST_F(SmallQueue, InsertionSignalsOneListenerUnderTheQueuesLock) {
  int signals = 0;
  calls_.pthread_cond_signal = [&](pthread_cond_t *condition) {
    ++signals;
    EXPECT_EQ(&queue_.sem->cond, condition);
    EXPECT_TRUE(IsLocked(queue_.mutex));
    EXPECT_TRUE(IsLocked(queue_.sem->mutex));
    EXPECT_EQ(1u, queue_.count);  // the entry is there when the listener looks
    return 0;
  };
  calls_.pthread_cond_broadcast = [](pthread_cond_t *) {
    ADD_FAILURE();
    return 0;
  };
  EXPECT_TRUE(Insert());
  EXPECT_EQ(1, signals);
}

TEST_F(SmallQueue, InsertionSignalsNobodyWhenItIsRefusedOrNotificationIsOff) {
  int signals = 0;
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Insert());
  calls_.pthread_cond_signal = [&](pthread_cond_t *) { return ++signals, 0; };
  EXPECT_FALSE(Insert());
  EXPECT_EQ(0, signals);

  FreeQueueEntry(deQueueEntry(&queue_, 0), 0);
  disableQueueNotify(&queue_);
  EXPECT_TRUE(Insert());
  EXPECT_EQ(0, signals);

  EXPECT_EQ(1, signalQueueListeners(&queue_));
  EXPECT_EQ(1, signals);

  enableQueueNotify(&queue_);
  FreeQueueEntry(deQueueEntry(&queue_, 0), 0);
  EXPECT_TRUE(Insert());
  EXPECT_EQ(2, signals);
}

TEST_F(SmallQueue, WaitWithoutALimitIsOneWaitWithoutTheQueuesLock) {
  int waits = 0;
  calls_.pthread_cond_wait = [&](pthread_cond_t *, pthread_mutex_t *) {
    ++waits;
    EXPECT_FALSE(IsLocked(queue_.mutex));
    EXPECT_TRUE(IsLocked(queue_.sem->mutex));
    return 0;
  };
  EXPECT_EQ(1, waitOnQueue(&queue_, 0));
  EXPECT_EQ(1, waits);
  EXPECT_EQ(5u, queue_.sem->timeoutMs);
}

TEST_F(SmallQueue, TimedWaitStoresItsTimeAndTellsWhetherItWasWoken) {
  StopClocks();
  std::vector<long> deadline;
  int result = 0;
  calls_.pthread_cond_timedwait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *until) {
    deadline = {until->tv_sec, until->tv_nsec};
    EXPECT_FALSE(IsLocked(queue_.mutex));
    return result;
  };
  EXPECT_EQ(1, waitOnQueue(&queue_, 1050));
  EXPECT_THAT(deadline, ElementsAre(501, 950'000'000));
  EXPECT_EQ(1050u, queue_.sem->timeoutMs);

  result = ETIMEDOUT;
  EXPECT_EQ(0, waitOnQueue(&queue_, -1));
  EXPECT_THAT(deadline, ElementsAre(501, 900'000'000));
  EXPECT_EQ(0xFFFFFFFFu, queue_.sem->timeoutMs);
}

TEST_F(SmallQueue, OneSignalWakesOneOfTwoListeners) {
  std::atomic<int> waiting{0}, woken{0};
  calls_.pthread_cond_wait = [&](pthread_cond_t *condition, pthread_mutex_t *mutex) {
    ++waiting;
    return pthread_cond_wait(condition, mutex);
  };
  std::thread listeners[2];
  for (std::thread &listener : listeners) {
    listener = std::thread([&] {
      EXPECT_EQ(1, waitOnQueue(&queue_, 0));
      ++woken;
    });
  }
  EXPECT_TRUE(cu_test::Eventually([&] { return waiting == 2; }));
  disableQueueNotify(&queue_);
  EXPECT_TRUE(Insert());
  EXPECT_EQ(0, woken);
  for (int expected = 1; expected <= 2; ++expected) {
    EXPECT_EQ(1, signalQueueListeners(&queue_));
    EXPECT_TRUE(cu_test::Eventually([&] { return woken == expected; }));
  }
  for (std::thread &listener : listeners) listener.join();
}

// ---- housekeeping
// --------------------------------------------------------------------------------

/// Runs the loop in a child, which ends at its wait number `rounds` + 1. What it did, in order:
/// "wait", "sleep seconds nanoseconds", and the reference count of the oldest entry at each of
/// them.
std::string HouseKeeping(Queue &queue, int rounds, uint32_t delay_ms, Interposed &calls) {
  const auto note = [&queue](const std::string &what) {
    const bool empty = queue.count == 0;
    printf("%s%s: %s\n", IsLocked(queue.mutex) ? "locked " : "", what.c_str(),
           empty ? "empty" : std::to_string(queue.slots[queue.head]->refCount).c_str());
  };
  Child child([&] {
    queue.delayMs = delay_ms;
    calls.pthread_cond_wait = [&](pthread_cond_t *, pthread_mutex_t *) {
      note("wait");
      if (rounds-- == 0) _exit(0);
      return 0;
    };
    calls.nanosleep = [&](const timespec *duration, timespec *) {
      note("sleep " + std::to_string(duration->tv_sec) + " " + std::to_string(duration->tv_nsec));
      return 0;
    };
    queueHouseKeeping(&queue);
    return 1;
  });
  EXPECT_EQ(0, child.Wait().status());
  return child.out();
}

TEST_F(SmallQueue, HouseKeepingLeavesAReferenceBehindAtEachRound) {
  EXPECT_TRUE(Insert());
  EXPECT_EQ(
      "wait: 1\n"
      "sleep 0 5000000: 1\n"
      "wait: 2\n"
      "sleep 0 5000000: 2\n"
      "wait: 3\n",
      HouseKeeping(queue_, 2, 5, calls_));
}

TEST_F(SmallQueue, HouseKeepingStartsOverWithoutASleepWhenTheQueueIsEmpty) {
  EXPECT_EQ("wait: empty\nwait: empty\nwait: empty\n", HouseKeeping(queue_, 2, 5, calls_));
}

TEST_F(SmallQueue, HouseKeepingSleepsASecondMoreFromOneSecondOn) {
  EXPECT_TRUE(Insert());
  EXPECT_EQ("wait: 1\nsleep 2 0: 1\nwait: 2\n", HouseKeeping(queue_, 1, 1000, calls_));
}

TEST_F(SmallQueue, HouseKeepingPauseIsComputedIn64Bits) {
  EXPECT_TRUE(Insert());
  EXPECT_EQ("wait: 1\nsleep 4294968 0: 1\nwait: 2\n", HouseKeeping(queue_, 1, UINT32_MAX, calls_));
}

TEST_F(SmallQueue, HouseKeepingFreesAnEntryThatNothingElseHolds) {
  EXPECT_TRUE(Insert());
  queue_.slots[0]->refCount = 0;
  EXPECT_TRUE(Insert());
  Child child([&] {
    queue_.freeFn = [](QueueEntry *entry) { printf("freed at %d\n", entry->refCount); };
    int waits = 0;
    calls_.pthread_cond_wait = [&](pthread_cond_t *, pthread_mutex_t *) {
      if (++waits == 2) _exit(0);
      return 0;
    };
    queueHouseKeeping(&queue_);
    return 1;
  });
  EXPECT_EQ(0, child.Wait().status());
  EXPECT_EQ("freed at 0\n", child.out());
  queue_.slots[0]->refCount = 1;
}

}  // namespace
