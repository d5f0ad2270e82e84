// Both variants of the semaphore: what waits and signals do, and on which clock.
#include "include/ambrelthreadutils.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Eventually;
using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::Logger;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint8_t kCondition = 0;
constexpr uint8_t kPosix = 1;
constexpr uint32_t kAMinute = 60'000;

/// A semaphore of its own for a test.
class Semaphore {
 public:
  explicit Semaphore(uint8_t variant, uint32_t timeout_ms = 0) {
    record_.usePosixSem = variant;
    EXPECT_EQ(1, AmbrelSemaphoreInit(&record_, timeout_ms));
  }
  ~Semaphore() { AmbrelSemaphoreDestroy(&record_); }

  AmbrelSemaphore *operator&() { return &record_; }
  AmbrelSemaphore *operator->() { return &record_; }

 private:
  AmbrelSemaphore record_ = {};
};

/// Threads in an untimed wait of a condition semaphore. The constructor returns when all wait.
class Waiters {
 public:
  Waiters(AmbrelSemaphore *semaphore, int count) {
    calls_.pthread_cond_wait = [this](pthread_cond_t *condition, pthread_mutex_t *mutex) {
      ++waiting_;
      return pthread_cond_wait(condition, mutex);
    };
    for (int i = 0; i < count; ++i) {
      threads_.emplace_back([this, semaphore] {
        EXPECT_EQ(0, AmbrelSemphoreWait(semaphore));
        ++woken_;
      });
    }
    EXPECT_TRUE(Eventually([&] { return waiting_ == count; }));
    // A wait releases the mutex as it begins: who gets the mutex now finds every thread waiting.
    pthread_mutex_lock(&semaphore->mutex);
    pthread_mutex_unlock(&semaphore->mutex);
  }
  ~Waiters() {
    for (std::thread &thread : threads_) thread.join();
  }

  int woken() const { return woken_; }

 private:
  Interposed calls_;
  std::atomic<int> waiting_{0};
  std::atomic<int> woken_{0};
  std::vector<std::thread> threads_;
};

TEST(AmbrelSemaphore, NullIsAnsweredByEveryFunction) {
  const Logger logger;
  EXPECT_EQ(0, AmbrelSemaphoreInit(nullptr, 100));
  EXPECT_EQ(0, AmbrelSemaphoreDestroy(nullptr));
  EXPECT_EQ(1, AmbrelSemphoreWait(nullptr));
  EXPECT_EQ(1, AmbrelSemphoreTimedWait(nullptr));
  EXPECT_EQ(0, AmbrelSemphoreSignal(nullptr, 0));
  EXPECT_THAT(logger.lines(), IsEmpty());
}

TEST(AmbrelSemaphoreInit, StoresTheTimeout) {
  Semaphore condition(kCondition, 250), posix(kPosix, 0xFFFFFFFF);
  EXPECT_EQ(250u, condition->timeoutMs);
  EXPECT_EQ(0xFFFFFFFFu, posix->timeoutMs);
}

TEST(AmbrelSemaphoreInit, MakesAPosixSemaphoreWithNothingToTake) {
  Semaphore posix(kPosix);
  ASSERT_NE(nullptr, posix->sem);
  int value = -1;
  EXPECT_EQ(0, sem_getvalue(posix->sem, &value));
  EXPECT_EQ(0, value);
}

TEST(AmbrelSemaphoreInit, MakesNoPosixSemaphoreForTheConditionVariant) {
  Semaphore condition(kCondition);
  EXPECT_EQ(nullptr, condition->sem);
}

TEST(AmbrelSemaphoreInit, PutsTheConditionOnTheMonotonicClock) {
  Semaphore condition(kCondition);
  clockid_t clock = CLOCK_REALTIME;
  EXPECT_EQ(0, pthread_condattr_getclock(&condition->condAttr, &clock));
  EXPECT_EQ(CLOCK_MONOTONIC, clock);
}

TEST(AmbrelSemaphoreInit, UsesTheConditionAttributeAsItStands) {
  AmbrelSemaphore semaphore = {};
  pthread_condattr_setpshared(&semaphore.condAttr, PTHREAD_PROCESS_SHARED);
  EXPECT_EQ(1, AmbrelSemaphoreInit(&semaphore, 0));
  int shared = PTHREAD_PROCESS_PRIVATE;
  EXPECT_EQ(0, pthread_condattr_getpshared(&semaphore.condAttr, &shared));
  EXPECT_EQ(PTHREAD_PROCESS_SHARED, shared);
  AmbrelSemaphoreDestroy(&semaphore);
}

TEST(AmbrelSemaphoreDestroy, GivesTheFlagOfThePosixVariantAndOneForTheOther) {
  AmbrelSemaphore posix = {}, condition = {};
  posix.usePosixSem = 7;
  AmbrelSemaphoreInit(&posix, 0);
  AmbrelSemaphoreInit(&condition, 0);
  EXPECT_EQ(7, AmbrelSemaphoreDestroy(&posix));
  EXPECT_EQ(1, AmbrelSemaphoreDestroy(&condition));
}

TEST(AmbrelSemaphoreDestroy, LeavesAPosixSemaphoreThatNothingCanHurt) {
  AmbrelSemaphore posix = {};
  posix.usePosixSem = kPosix;
  AmbrelSemaphoreInit(&posix, 1);
  EXPECT_EQ(1, AmbrelSemaphoreDestroy(&posix));
  EXPECT_EQ(1, AmbrelSemaphoreDestroy(&posix));
  EXPECT_EQ(1, AmbrelSemphoreWait(&posix));
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&posix));
  EXPECT_EQ(1, AmbrelSemphoreSignal(&posix, 0));
}

TEST(AmbrelSemaphore, MayBeInitialisedAgain) {
  for (const uint8_t variant : {kCondition, kPosix}) {
    AmbrelSemaphore semaphore = {};
    semaphore.usePosixSem = variant;
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(1, AmbrelSemaphoreInit(&semaphore, 1));
      EXPECT_EQ(2, AmbrelSemphoreTimedWait(&semaphore));
      EXPECT_EQ(1, AmbrelSemaphoreDestroy(&semaphore));
    }
  }
}

TEST(PosixSemaphore, CountsSignals) {
  Semaphore posix(kPosix, 1);
  EXPECT_EQ(1, AmbrelSemphoreSignal(&posix, 0));
  EXPECT_EQ(1, AmbrelSemphoreSignal(&posix, 0));
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&posix));
  EXPECT_EQ(0, AmbrelSemphoreWait(&posix));
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&posix));
}

TEST(PosixSemaphore, TakesABroadcastForOneSignal) {
  Semaphore posix(kPosix, 1);
  posix->usePosixSem = 9;
  EXPECT_EQ(9, AmbrelSemphoreSignal(&posix, 1));
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&posix));
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&posix));
}

TEST(PosixSemaphore, WakesAWaiter) {
  Semaphore posix(kPosix, kAMinute);
  std::thread waiter([&] { EXPECT_EQ(0, AmbrelSemphoreTimedWait(&posix)); });
  AmbrelSemphoreSignal(&posix, 0);
  waiter.join();
}

TEST(PosixSemaphore, WaitEndsWithZeroAlsoWhenASignalHandlerEndsIt) {
  Semaphore posix(kPosix);
  int waits = 0;
  Interposed calls;
  calls.sem_wait = [&](sem_t *) {
    ++waits;
    errno = EINTR;
    return -1;
  };
  EXPECT_EQ(0, AmbrelSemphoreWait(&posix));
  EXPECT_EQ(1, waits);
}

TEST(PosixSemaphore, DeadlineIsOnTheWallClock) {
  Semaphore posix(kPosix, 250);
  std::vector<long> deadline;
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    *now = {clock == CLOCK_REALTIME ? 100 : 900, 900'000'000};
    return 0;
  };
  calls.sem_timedwait = [&](sem_t *sem, const timespec *until) {
    EXPECT_EQ(posix->sem, sem);
    deadline = {until->tv_sec, until->tv_nsec};
    return 0;
  };
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&posix));
  EXPECT_THAT(deadline, ElementsAre(101, 0));
}

TEST(PosixSemaphore, AnyErrorOfATimedWaitIsTwo) {
  for (const int error : {ETIMEDOUT, EINTR, EINVAL}) {
    Semaphore posix(kPosix, 250);
    Interposed calls;
    calls.sem_timedwait = [&](sem_t *, const timespec *) {
      errno = error;
      return -1;
    };
    EXPECT_EQ(2, AmbrelSemphoreTimedWait(&posix));
  }
}

TEST(ConditionSemaphore, LosesASignalThatNobodyWaitsFor) {
  Semaphore condition(kCondition, 10);
  EXPECT_EQ(1, AmbrelSemphoreSignal(&condition, 0));
  EXPECT_EQ(1, AmbrelSemphoreSignal(&condition, 1));
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&condition));
}

TEST(ConditionSemaphore, SignalWakesOneWaiter) {
  Semaphore condition(kCondition);
  Waiters waiters(&condition, 3);
  for (int expected = 1; expected <= 3; ++expected) {
    EXPECT_EQ(1, AmbrelSemphoreSignal(&condition, 0));
    EXPECT_TRUE(Eventually([&] { return waiters.woken() == expected; }));
  }
}

TEST(ConditionSemaphore, BroadcastWakesAllWaiters) {
  Semaphore condition(kCondition);
  Waiters waiters(&condition, 3);
  EXPECT_EQ(1, AmbrelSemphoreSignal(&condition, 1));
  EXPECT_TRUE(Eventually([&] { return waiters.woken() == 3; }));
}

TEST(ConditionSemaphore, SignalsOneOrAllAsTheFlagSays) {
  Semaphore condition(kCondition);
  std::vector<const char *> made;
  Interposed calls;
  calls.pthread_cond_signal = [&](pthread_cond_t *) {
    made.push_back("signal");
    return 0;
  };
  calls.pthread_cond_broadcast = [&](pthread_cond_t *) {
    made.push_back("broadcast");
    return 0;
  };
  for (const int flag : {0, 1, -1}) EXPECT_EQ(1, AmbrelSemphoreSignal(&condition, flag));
  EXPECT_THAT(made, ElementsAre(testing::StrEq("signal"), testing::StrEq("broadcast"),
                                testing::StrEq("broadcast")));
}

TEST(ConditionSemaphore, HoldsItsMutexAroundASignalAndAWaitOnly) {
  Semaphore condition(kCondition, kAMinute);
  int seen = 0;
  const auto held = [&](auto &&...) {
    ++seen;
    EXPECT_TRUE(IsLocked(condition->mutex));
    return 0;
  };
  Interposed calls;
  calls.pthread_cond_signal = held;
  calls.pthread_cond_broadcast = held;
  calls.pthread_cond_wait = held;
  calls.pthread_cond_timedwait = held;
  AmbrelSemphoreSignal(&condition, 0);
  AmbrelSemphoreSignal(&condition, 1);
  AmbrelSemphoreWait(&condition);
  AmbrelSemphoreTimedWait(&condition);
  EXPECT_EQ(4, seen);
  EXPECT_FALSE(IsLocked(condition->mutex));
}

TEST(ConditionSemaphore, ASpuriousWakeUpEndsAWait) {
  Semaphore condition(kCondition, kAMinute);
  int waits = 0;
  Interposed calls;
  calls.pthread_cond_wait = [&](pthread_cond_t *, pthread_mutex_t *) { return ++waits, 0; };
  calls.pthread_cond_timedwait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
    return ++waits, 0;
  };
  EXPECT_EQ(0, AmbrelSemphoreWait(&condition));
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&condition));
  EXPECT_EQ(2, waits);
}

TEST(ConditionSemaphore, DeadlineIsOnTheMonotonicClock) {
  Semaphore condition(kCondition, 250);
  std::vector<long> deadline;
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    *now = {clock == CLOCK_MONOTONIC ? 100 : 900, 100'000'000};
    return 0;
  };
  calls.pthread_cond_timedwait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *until) {
    deadline = {until->tv_sec, until->tv_nsec};
    return 0;
  };
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&condition));
  EXPECT_THAT(deadline, ElementsAre(100, 350'000'000));
}

TEST(ConditionSemaphore, AnyErrorOfATimedWaitIsTwo) {
  for (const int error : {ETIMEDOUT, EINVAL}) {
    Semaphore condition(kCondition, 250);
    Interposed calls;
    calls.pthread_cond_timedwait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
      return error;
    };
    EXPECT_EQ(2, AmbrelSemphoreTimedWait(&condition));
  }
}

TEST(ConditionSemaphore, WaitsForItsTimeout) {
  Semaphore condition(kCondition, 50);
  timespec before, after;
  clock_gettime(CLOCK_MONOTONIC, &before);
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&condition));
  clock_gettime(CLOCK_MONOTONIC, &after);
  // Nanoseconds that are carried are dropped: a wait across a second's end may be shorter.
  if (before.tv_nsec < 950'000'000) {
    EXPECT_GE((after.tv_sec - before.tv_sec) * 1000 + (after.tv_nsec - before.tv_nsec) / 1'000'000,
              49);
  }
}

class EachVariant : public testing::TestWithParam<uint8_t> {};
INSTANTIATE_TEST_SUITE_P(Semaphore, EachVariant, testing::Values(kCondition, kPosix),
                         [](const auto &tested) { return tested.param ? "Posix" : "Condition"; });

TEST_P(EachVariant, TimedWaitWithoutALimitBlocksUntilItIsSignalled) {
  Semaphore semaphore(GetParam(), 0);
  std::atomic<int> result{-1};
  std::thread waiter([&] { result = AmbrelSemphoreTimedWait(&semaphore); });
  // The condition variant loses signals until the thread waits, so they are repeated.
  EXPECT_TRUE(Eventually([&] {
    if (result == -1) AmbrelSemphoreSignal(&semaphore, 0);
    return result != -1;
  }));
  waiter.join();
  EXPECT_EQ(0, result);
}

TEST_P(EachVariant, TimedWaitWithoutALimitMakesAnUntimedWaitAndLogsNothing) {
  const Logger logger;
  Semaphore semaphore(GetParam(), 0);
  int waits = 0;
  Interposed calls;
  calls.pthread_cond_wait = [&](pthread_cond_t *, pthread_mutex_t *) { return ++waits, 0; };
  calls.sem_wait = [&](sem_t *) { return ++waits, 0; };
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&semaphore));
  EXPECT_EQ(1, waits);
  EXPECT_THAT(logger.lines(), IsEmpty());
}

TEST_P(EachVariant, TimedWaitLogsErrnoAlsoAfterASuccess) {
  const Logger logger;
  Semaphore semaphore(GetParam(), 250);
  Interposed calls;
  calls.pthread_cond_timedwait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
    errno = EXDEV;
    return 0;
  };
  calls.sem_timedwait = [&](sem_t *, const timespec *) {
    errno = EXDEV;
    return 0;
  };
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&semaphore));
  EXPECT_THAT(logger.lines(), ElementsAre("DEBUG [ambrelthreadutils]Error code is 18"));
}

TEST_P(EachVariant, TimedWaitLogsErrnoAfterATimeOut) {
  const Logger logger;
  Semaphore semaphore(GetParam(), 1);
  errno = 0;
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&semaphore));
  // A condition variable reports its result without errno.
  EXPECT_THAT(logger.lines(), ElementsAre(GetParam() ? "DEBUG [ambrelthreadutils]Error code is 110"
                                                     : "DEBUG [ambrelthreadutils]Error code is 0"));
}

TEST_P(EachVariant, TimeoutIsConvertedAsASignedNumber) {
  Semaphore semaphore(GetParam(), 0xFFFFFFFF);
  std::vector<long> deadline;
  Interposed calls;
  calls.clock_gettime = [](clockid_t, timespec *now) {
    *now = {100, 5};
    return 0;
  };
  calls.pthread_cond_timedwait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *until) {
    deadline = {until->tv_sec, until->tv_nsec};
    return 0;
  };
  calls.sem_timedwait = [&](sem_t *, const timespec *until) {
    deadline = {until->tv_sec, until->tv_nsec};
    return 0;
  };
  EXPECT_EQ(0, AmbrelSemphoreTimedWait(&semaphore));
  EXPECT_THAT(deadline, ElementsAre(101, 5));
}

TEST_P(EachVariant, AWaitWithoutAClockEndsAtOnce) {
  Semaphore semaphore(GetParam(), kAMinute);
  Interposed calls;
  calls.clock_gettime = [](clockid_t, timespec *) { return -1; };
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&semaphore));
}

TEST_P(EachVariant, AWaitWithoutAClockUsesTheZeroDeadline) {
  Semaphore semaphore(GetParam(), kAMinute);
  std::vector<long> deadline;
  Interposed calls;
  calls.clock_gettime = [](clockid_t, timespec *) { return -1; };
  calls.pthread_cond_timedwait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *until) {
    deadline = {until->tv_sec, until->tv_nsec};
    return ETIMEDOUT;
  };
  calls.sem_timedwait = [&](sem_t *, const timespec *until) {
    deadline = {until->tv_sec, until->tv_nsec};
    return -1;
  };
  EXPECT_EQ(2, AmbrelSemphoreTimedWait(&semaphore));
  EXPECT_THAT(deadline, ElementsAre(0, 0));
}

}  // namespace
