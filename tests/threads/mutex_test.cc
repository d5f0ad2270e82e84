// The mutex wrappers: what each result means, and how often the timed lock tries.
#include "include/ambrelthreadutils.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "support/interposed.hpp"
#include "support/sanitizers.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Interposed;
using cu_test::IsLocked;

/// A mutex that is ready, for tests that end with it unlocked.
class ReadyMutex : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, ambrel_mutex_init(&mutex_)); }
  void TearDown() override { EXPECT_EQ(0, ambrel_mutex_destroy(&mutex_)); }

  AmbrelMutex mutex_ = {};
};

struct Wrapper {
  const char *name;
  int (*call)(AmbrelMutex *);
};
constexpr Wrapper kWrappers[] = {
    {"lock", ambrel_mutex_lock},
    {"trylock", ambrel_mutex_trylock},
    {"unlock", ambrel_mutex_unlock},
    {"timed_lock", [](AmbrelMutex *mutex) { return ambrel_mutex_timed_lock(mutex, 1); }},
};

TEST(AmbrelMutex, NullIsRefusedByEveryFunction) {
  EXPECT_EQ(-1, ambrel_mutex_init(nullptr));
  EXPECT_EQ(-1, ambrel_mutex_destroy(nullptr));
  for (const Wrapper &wrapper : kWrappers) EXPECT_EQ(-1, wrapper.call(nullptr)) << wrapper.name;
}

TEST(AmbrelMutex, RefusesWorkUntilItIsInitialised) {
  AmbrelMutex mutex = {};
  for (const Wrapper &wrapper : kWrappers) EXPECT_EQ(-1, wrapper.call(&mutex)) << wrapper.name;
  EXPECT_FALSE(IsLocked(mutex.mutex));
}

TEST(AmbrelMutex, RefusesWorkAfterItsDestruction) {
  AmbrelMutex mutex = {};
  ASSERT_EQ(0, ambrel_mutex_init(&mutex));
  EXPECT_EQ(0, ambrel_mutex_destroy(&mutex));
  EXPECT_EQ(0, mutex.initialised);
  for (const Wrapper &wrapper : kWrappers) EXPECT_EQ(-1, wrapper.call(&mutex)) << wrapper.name;
}

TEST(AmbrelMutex, MayBeInitialisedAgainAfterItsDestruction) {
  AmbrelMutex mutex = {};
  ASSERT_EQ(0, ambrel_mutex_init(&mutex));
  ASSERT_EQ(0, ambrel_mutex_destroy(&mutex));
  EXPECT_EQ(0, ambrel_mutex_init(&mutex));
  EXPECT_EQ(0, ambrel_mutex_lock(&mutex));
  EXPECT_EQ(0, ambrel_mutex_unlock(&mutex));
  EXPECT_EQ(0, ambrel_mutex_destroy(&mutex));
}

TEST(AmbrelMutexInit, SetsTheTimeoutToASecondAndTheFlag) {
  AmbrelMutex mutex = {};
  EXPECT_EQ(0, ambrel_mutex_init(&mutex));
  EXPECT_EQ(1000u, mutex.timeoutMs);
  EXPECT_EQ(1, mutex.initialised);
  ambrel_mutex_destroy(&mutex);
}

TEST(AmbrelMutexInit, KeepsATimeoutThatTheOwnerSet) {
  AmbrelMutex mutex = {};
  mutex.timeoutMs = 25;
  EXPECT_EQ(0, ambrel_mutex_init(&mutex));
  EXPECT_EQ(25u, mutex.timeoutMs);
  ambrel_mutex_destroy(&mutex);
}

TEST_F(ReadyMutex, InitialisedAgainStaysAsItIs) {
  ASSERT_EQ(0, ambrel_mutex_lock(&mutex_));
  mutex_.timeoutMs = 0;
  EXPECT_EQ(0, ambrel_mutex_init(&mutex_));
  EXPECT_EQ(0u, mutex_.timeoutMs);
  EXPECT_TRUE(IsLocked(mutex_.mutex));
  EXPECT_EQ(0, ambrel_mutex_unlock(&mutex_));
}

TEST_F(ReadyMutex, LocksAndUnlocks) {
  EXPECT_EQ(0, ambrel_mutex_lock(&mutex_));
  EXPECT_TRUE(IsLocked(mutex_.mutex));
  EXPECT_EQ(0, ambrel_mutex_unlock(&mutex_));
  EXPECT_FALSE(IsLocked(mutex_.mutex));
}

TEST_F(ReadyMutex, TriesToLock) {
  EXPECT_EQ(0, ambrel_mutex_trylock(&mutex_));
  int second = 0;
  std::thread([&] { second = ambrel_mutex_trylock(&mutex_); }).join();
  EXPECT_EQ(EBUSY, second);
  EXPECT_EQ(0, ambrel_mutex_unlock(&mutex_));
}

TEST(AmbrelMutexDestroy, OfAMutexThatIsNotReadyDoesNothing) {
  AmbrelMutex mutex = {};
  EXPECT_EQ(0, ambrel_mutex_destroy(&mutex));
  EXPECT_EQ(0, ambrel_mutex_lock(&mutex) + 1);
}

#if !CU_THREAD_SANITIZER  // which reports the destruction of a held mutex
TEST(AmbrelMutexDestroy, OfAHeldMutexGivesTheThreadLibrarysResultAndClearsTheFlag) {
  AmbrelMutex mutex = {};
  ASSERT_EQ(0, ambrel_mutex_init(&mutex));
  ASSERT_EQ(0, ambrel_mutex_lock(&mutex));
  EXPECT_EQ(EBUSY, ambrel_mutex_destroy(&mutex));
  EXPECT_EQ(0, mutex.initialised);
  EXPECT_EQ(-1, ambrel_mutex_unlock(&mutex));
  pthread_mutex_unlock(&mutex.mutex);
  pthread_mutex_destroy(&mutex.mutex);
}
#endif

/// Counts what a timed lock does, on a mutex that becomes free at a given attempt.
struct Attempts {
  explicit Attempts(int free_at) {
    calls.pthread_mutex_trylock = [this, free_at](pthread_mutex_t *mutex) {
      order += "t";
      return ++tries == free_at ? pthread_mutex_trylock(mutex) : EBUSY;
    };
    calls.nanosleep = [this](const timespec *duration, timespec *) {
      order += "s";
      EXPECT_EQ(0, duration->tv_sec);
      EXPECT_EQ(1000000, duration->tv_nsec);
      return 0;
    };
  }

  Interposed calls;
  int tries = 0;
  std::string order;
};

struct TimedLock {
  uint32_t attempts;
  int free_at;
  int result;
  const char *order;  // t: try, s: sleep of a millisecond
};
constexpr TimedLock kTimedLocks[] = {
    {0, 0, EBUSY, "ts"},     {1, 0, EBUSY, "ts"},
    {2, 0, EBUSY, "tsts"},   {5, 0, EBUSY, "tststststs"},
    {0, 1, 0, "t"},          {3, 1, 0, "t"},
    {3, 2, 0, "tst"},        {3, 3, 0, "tstst"},
    {3, 4, EBUSY, "tststs"},
};

TEST_F(ReadyMutex, TimedLockSleepsAMillisecondAfterEachFailedAttempt) {
  for (const TimedLock &row : kTimedLocks) {
    SCOPED_TRACE(testing::Message() << row.attempts << " attempts, free at " << row.free_at);
    const Attempts attempts(row.free_at);
    EXPECT_EQ(row.result, ambrel_mutex_timed_lock(&mutex_, row.attempts));
    EXPECT_EQ(row.order, attempts.order);
    if (row.result == 0) ambrel_mutex_unlock(&mutex_);
  }
}

TEST_F(ReadyMutex, TimedLockGivesTheLastAttemptsResult) {
  Interposed calls;
  int tries = 0;
  calls.nanosleep = [](const timespec *, timespec *) { return 0; };
  calls.pthread_mutex_trylock = [&](pthread_mutex_t *) { return ++tries == 2 ? EINVAL : EBUSY; };
  EXPECT_EQ(EINVAL, ambrel_mutex_timed_lock(&mutex_, 2));
}

TEST_F(ReadyMutex, TimedLockGetsAMutexThatIsReleasedInTime) {
  ASSERT_EQ(0, ambrel_mutex_lock(&mutex_));
  int result = -1;
  std::thread waiter([&] {
    result = ambrel_mutex_timed_lock(&mutex_, 60'000);
    ambrel_mutex_unlock(&mutex_);
  });
  ambrel_mutex_unlock(&mutex_);
  waiter.join();
  EXPECT_EQ(0, result);
}

TEST_F(ReadyMutex, GuardsACounterAgainstEightThreads) {
  const long kRounds = cu_test::Rounds(100'000);
  long counter = 0;
  std::thread threads[8];
  for (std::thread &thread : threads) {
    thread = std::thread([&] {
      for (long i = 0; i < kRounds; ++i) {
        if (ambrel_mutex_lock(&mutex_) != 0) continue;
        ++counter;
        ambrel_mutex_unlock(&mutex_);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(8 * kRounds, counter);
}

}  // namespace
