// The listeners of a flex queue: registration, wake-ups and waiting in both modes.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "messaging/flex_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Eventually;
using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::Logger;
using cu_test::TestFlexQueue;
using cu_test::WaitsFor;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int32_t kAMinute = 60'000;
constexpr uint32_t kNoSuchSlot = 1'000;

bool IsAt(const timespec &time, time_t seconds, long nanoseconds) {
  return time.tv_sec == seconds && time.tv_nsec == nanoseconds;
}

// ---- initSubscribers, deinitSubscribers ---------------------------------------------------------

TEST(InitSubscribers, DoesNothingInBroadcastMode) {
  TestFlexQueue queue(4);
  ASSERT_EQ(1, queue->broadcastMode);
  EXPECT_EQ(1, initSubscribers(&queue));
  EXPECT_EQ(5U, queue->subscriberSlots);
  for (uint32_t slot = 0; slot < 5; ++slot) EXPECT_EQ(nullptr, queue->subscribers[slot].sem);
}

TEST(InitSubscribers, GivesEachSlotAConditionSemaphoreOfFiveSeconds) {
  TestFlexQueue queue(4);
  queue->broadcastMode = 0;
  queue->subscribers[2].inUse = 1;
  EXPECT_EQ(1, initSubscribers(&queue));
  for (uint32_t slot = 0; slot < 5; ++slot) {
    SCOPED_TRACE(slot);
    const SubscriberSlot &subscriber = queue->subscribers[slot];
    EXPECT_EQ(slot, subscriber.slotId);
    EXPECT_EQ(0, subscriber.inUse);
    ASSERT_NE(nullptr, subscriber.sem);
    EXPECT_EQ(0, subscriber.sem->usePosixSem);
    EXPECT_EQ(5000U, subscriber.sem->timeoutMs);
  }
}

TEST(InitSubscribers, ASecondCallKeepsTheSemaphoresAndFreesTheSlots) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  AmbrelSemaphore *const semaphore = queue->subscribers[0].sem;
  queue.Register();
  semaphore->timeoutMs = 17;
  EXPECT_EQ(1, initSubscribers(&queue));
  EXPECT_EQ(semaphore, queue->subscribers[0].sem);
  EXPECT_EQ(5000U, semaphore->timeoutMs);
  EXPECT_EQ(0, queue->subscribers[0].inUse);
}

TEST(InitSubscribers, NullGives0) {
  EXPECT_EQ(0, initSubscribers(nullptr));
}

TEST(DeinitSubscribers, ReleasesTheSemaphoresInPerSubscriberModeAlone) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  queue->broadcastMode = 1;
  deinitSubscribers(&queue);
  EXPECT_NE(nullptr, queue->subscribers[4].sem);
  queue->broadcastMode = 0;
  deinitSubscribers(&queue);
  for (uint32_t slot = 0; slot < 5; ++slot) EXPECT_EQ(nullptr, queue->subscribers[slot].sem);
  deinitSubscribers(nullptr);
}

// ---- registration -------------------------------------------------------------------------------

TEST(RegisterSubscriber, InBroadcastModeEveryListenerIsSlot0AndNoneIsCounted) {
  TestFlexQueue queue(4);
  for (int round = 0; round < 2; ++round) {
    uint32_t slot = 9;
    EXPECT_EQ(1, registerSubscriber(&queue, &slot));
    EXPECT_EQ(0U, slot);
  }
  EXPECT_EQ(0U, queue->subscriberCount);
  EXPECT_EQ(0, queue->subscribers[0].inUse);
}

TEST(RegisterSubscriber, InBroadcastModeReturnsTheFlagAndTakesNoLock) {
  TestFlexQueue queue(4);
  queue->broadcastMode = 7;
  pthread_mutex_lock(&queue->mutex);
  uint32_t slot = 9;
  EXPECT_EQ(7, registerSubscriber(&queue, &slot));
  EXPECT_EQ(7, deRegisterSubscriber(&queue, kNoSuchSlot));
  pthread_mutex_unlock(&queue->mutex);
  EXPECT_EQ(0U, slot);
}

TEST(RegisterSubscriber, GivesTheFirstFreeSlotAndCounts) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (uint32_t expected = 0; expected < 5; ++expected) {
    EXPECT_EQ(expected, queue.Register());
    EXPECT_EQ(1, queue->subscribers[expected].inUse);
    EXPECT_EQ(expected + 1, queue->subscriberCount);
  }
  EXPECT_EQ(5U, queue->subscriberSlots);
}

TEST(RegisterSubscriber, TheSixthGrowsTheArrayByOneSlotWithASemaphore) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (int i = 0; i < 5; ++i) queue.Register();
  EXPECT_EQ(5U, queue.Register());
  EXPECT_EQ(6U, queue->subscriberSlots);
  const SubscriberSlot &added = queue->subscribers[5];
  EXPECT_EQ(5U, added.slotId);
  EXPECT_EQ(1, added.inUse);
  ASSERT_NE(nullptr, added.sem);
  EXPECT_EQ(0, added.sem->usePosixSem);
  EXPECT_EQ(5000U, added.sem->timeoutMs);
}

TEST(RegisterSubscriber, AFreedSlotIsTakenAgainWithTheSemaphoreThatItHas) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (int i = 0; i < 6; ++i) queue.Register();
  AmbrelSemaphore *const semaphore = queue->subscribers[2].sem;
  EXPECT_EQ(1, deRegisterSubscriber(&queue, 4));
  EXPECT_EQ(1, deRegisterSubscriber(&queue, 2));
  EXPECT_EQ(2U, queue.Register());
  EXPECT_EQ(semaphore, queue->subscribers[2].sem);
  EXPECT_EQ(4U, queue.Register());
  EXPECT_EQ(6U, queue->subscriberSlots);
}

TEST(RegisterSubscriber, WithoutInitSubscribersOnlyAddedSlotsHaveSemaphores) {
  TestFlexQueue queue(4);
  queue->broadcastMode = 0;
  for (uint32_t expected = 0; expected < 6; ++expected) EXPECT_EQ(expected, queue.Register());
  EXPECT_EQ(nullptr, queue->subscribers[4].sem);
  EXPECT_NE(nullptr, queue->subscribers[5].sem);
}

TEST(RegisterSubscriber, TakesTheQueuesMutex) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  EXPECT_TRUE(WaitsFor(queue->mutex, [&] { queue.Register(); }));
  EXPECT_TRUE(WaitsFor(queue->mutex, [&] { deRegisterSubscriber(&queue, 0); }));
  EXPECT_FALSE(IsLocked(queue->mutex));
}

TEST(RegisterSubscriber, NullGives0AndCountsNothing) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  uint32_t slot = 9;
  EXPECT_EQ(0, registerSubscriber(nullptr, &slot));
  EXPECT_EQ(0, registerSubscriber(&queue, nullptr));
  EXPECT_EQ(9U, slot);
  EXPECT_EQ(0U, queue->subscriberCount);
}

TEST(FindSubscriberSlotID, RunsUnderTheCallersLock) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  pthread_mutex_lock(&queue->mutex);
  uint32_t slot = 9;
  EXPECT_EQ(1, findSubscriberSlotID(&queue, &slot));
  EXPECT_TRUE(IsLocked(queue->mutex));
  pthread_mutex_unlock(&queue->mutex);
  EXPECT_EQ(0U, slot);
  EXPECT_EQ(1, queue->subscribers[0].inUse);
  EXPECT_EQ(0U, queue->subscriberCount);
  EXPECT_EQ(0, findSubscriberSlotID(nullptr, &slot));
  EXPECT_EQ(0, findSubscriberSlotID(&queue, nullptr));
}

TEST(FindSubscriberSlotID, GrowsWhileNoListenerLooksItsSlotUp) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (int i = 0; i < 5; ++i) queue.Register();
  EXPECT_TRUE(WaitsFor(queue->condMutex, [&] { queue.Register(); }));
  deRegisterSubscriber(&queue, 1);
  EXPECT_FALSE(WaitsFor(queue->condMutex, [&] { queue.Register(); }));
}

TEST(DeRegisterSubscriber, FreesTheSlotAndCountsDown) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  queue.Register();
  EXPECT_EQ(1, deRegisterSubscriber(&queue, 0));
  EXPECT_EQ(0, queue->subscribers[0].inUse);
  EXPECT_NE(nullptr, queue->subscribers[0].sem);
  EXPECT_EQ(0U, queue->subscriberCount);
}

TEST(DeRegisterSubscriber, ASlotBeyondTheArrayGives0AndChangesNothing) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  queue.Register();
  EXPECT_EQ(0, deRegisterSubscriber(&queue, queue->subscriberSlots));
  EXPECT_EQ(0, deRegisterSubscriber(&queue, UINT32_MAX));
  EXPECT_EQ(1U, queue->subscriberCount);
  EXPECT_EQ(1, queue->subscribers[0].inUse);
  EXPECT_EQ(0, deRegisterSubscriber(nullptr, 0));
}

TEST(DeRegisterSubscriber, InBroadcastModeDoesNothing) {
  TestFlexQueue queue(4);
  EXPECT_EQ(1, deRegisterSubscriber(&queue, kNoSuchSlot));
  EXPECT_EQ(0U, queue->subscriberCount);
}

// ---- wake-ups -----------------------------------------------------------------------------------

TEST(NotifySubscribers, InBroadcastModeBroadcastsOnceUnderTheConditionsMutex) {
  TestFlexQueue queue(4);
  Interposed calls;
  std::vector<pthread_cond_t *> woken;
  bool locked = false;
  calls.pthread_cond_broadcast = [&](pthread_cond_t *condition) {
    woken.push_back(condition);
    locked = IsLocked(queue->condMutex);
    return 0;
  };
  EXPECT_EQ(1, notifySubscribers(&queue));
  EXPECT_THAT(woken, ElementsAre(&queue->cond));
  EXPECT_TRUE(locked);
  EXPECT_FALSE(IsLocked(queue->condMutex));
}

TEST(NotifySubscribers, SignalsEachSlotInUseInOrder) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (int i = 0; i < 6; ++i) queue.Register();
  deRegisterSubscriber(&queue, 1);
  deRegisterSubscriber(&queue, 3);
  Interposed calls;
  std::vector<pthread_cond_t *> woken;
  calls.pthread_cond_signal = [&](pthread_cond_t *condition) {
    woken.push_back(condition);
    return 0;
  };
  calls.pthread_cond_broadcast = [](pthread_cond_t *) -> int { abort(); };
  EXPECT_EQ(1, notifySubscribers(&queue));
  const SubscriberSlot *const slots = queue->subscribers;
  EXPECT_THAT(woken, ElementsAre(&slots[0].sem->cond, &slots[2].sem->cond, &slots[4].sem->cond,
                                 &slots[5].sem->cond));
}

TEST(NotifySubscribers, LogsASlotInUseWithoutASemaphoreAndGoesOn) {
  const Logger logger;
  TestFlexQueue queue(4);
  queue->broadcastMode = 0;
  for (int i = 0; i < 6; ++i) queue.Register();
  for (uint32_t slot = 2; slot < 5; ++slot) deRegisterSubscriber(&queue, slot);
  Interposed calls;
  int signals = 0;
  calls.pthread_cond_signal = [&](pthread_cond_t *) { return ++signals, 0; };
  EXPECT_EQ(1, notifySubscribers(&queue));
  EXPECT_EQ(1, signals);
  EXPECT_THAT(logger.lines(), ElementsAre("DEBUG [flexqueue]We had a invalid semaphore",
                                          "DEBUG [flexqueue]We had a invalid semaphore"));
}

TEST(NotifySubscribers, NullGives0) {
  EXPECT_EQ(0, notifySubscribers(nullptr));
}

TEST(NotifySubscribers, AnInsertionCallsItWithTheQueueLocked) {
  for (const bool broadcast : {true, false}) {
    SCOPED_TRACE(broadcast);
    TestFlexQueue queue(4);
    if (!broadcast) queue.UsePerSubscriberMode();
    queue.Register();
    Interposed calls;
    std::vector<bool> locked;
    const auto probe = [&](pthread_cond_t *) {
      pthread_mutex_t &inner = broadcast ? queue->condMutex : queue->subscribers[0].sem->mutex;
      locked.push_back(IsLocked(queue->mutex) && IsLocked(inner));
      return 0;
    };
    (broadcast ? calls.pthread_cond_broadcast : calls.pthread_cond_signal) = probe;
    queue.Insert(1);
    EXPECT_THAT(locked, ElementsAre(true));
    EXPECT_FALSE(IsLocked(queue->mutex));
  }
}

// ---- waiting ------------------------------------------------------------------------------------

TEST(WaitOnFlexQueue, WithEntriesReturnsAtOnceAndTakesNoLock) {
  TestFlexQueue queue(4);
  queue.Insert(1);
  pthread_mutex_lock(&queue->mutex);
  pthread_mutex_lock(&queue->condMutex);
  EXPECT_EQ(1, waitOnFlexQueue(&queue, 0, 0));
  EXPECT_EQ(1, waitOnFlexQueue(&queue, kNoSuchSlot, 100));
  pthread_mutex_unlock(&queue->condMutex);
  pthread_mutex_unlock(&queue->mutex);
}

TEST(WaitOnFlexQueue, ABroadcastWaitEndsWithItsTimeAndLogsTheResult) {
  const Logger logger;
  TestFlexQueue queue(4);
  EXPECT_EQ(0, waitOnFlexQueue(&queue, 0, 1));
  EXPECT_THAT(logger.lines(),
              ElementsAre("DEBUG [flexqueue]We timedOut " + std::to_string(ETIMEDOUT)));
  EXPECT_FALSE(IsLocked(queue->condMutex));
}

TEST(WaitOnFlexQueue, ABroadcastWaitEndsAtTheRoundedWallClockDeadline) {
  TestFlexQueue queue(4);
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    *now = clock == CLOCK_REALTIME ? timespec{100, 900'000'000} : timespec{};
    return 0;
  };
  std::vector<timespec> deadlines;
  bool waits_unlocked = true;
  calls.pthread_cond_timedwait = [&](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                     const timespec *deadline) {
    EXPECT_EQ(&queue->cond, condition);
    EXPECT_EQ(&queue->condMutex, mutex);
    waits_unlocked = waits_unlocked && !IsLocked(queue->mutex);
    deadlines.push_back(*deadline);
    return 0;
  };
  EXPECT_EQ(1, waitOnFlexQueue(&queue, 0, 250));
  EXPECT_EQ(1, waitOnFlexQueue(&queue, 0, 99));
  EXPECT_EQ(1, waitOnFlexQueue(&queue, 0, -1));
  ASSERT_EQ(3U, deadlines.size());
  EXPECT_TRUE(IsAt(deadlines[0], 101, 0));
  EXPECT_TRUE(IsAt(deadlines[1], 100, 999'000'000));
  EXPECT_TRUE(IsAt(deadlines[2], 101, 900'000'000));
  EXPECT_TRUE(waits_unlocked);
}

TEST(WaitOnFlexQueue, ABroadcastWaitWithoutTimeIsOneUntimedWait) {
  TestFlexQueue queue(4);
  Interposed calls;
  int waits = 0;
  calls.pthread_cond_wait = [&](pthread_cond_t *condition, pthread_mutex_t *) {
    EXPECT_EQ(&queue->cond, condition);
    return ++waits, 0;
  };
  EXPECT_EQ(1, waitOnFlexQueue(&queue, 0, 0));
  EXPECT_EQ(1, waits);
}

TEST(WaitOnFlexQueue, AnInsertionWakesEveryBroadcastListener) {
  TestFlexQueue queue(4);
  std::atomic<int> waiting{0};
  std::atomic<int> woken{0};
  Interposed calls;
  calls.pthread_cond_timedwait = [&](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                     const timespec *deadline) {
    ++waiting;
    return pthread_cond_timedwait(condition, mutex, deadline);
  };
  std::vector<std::thread> listeners;
  for (int i = 0; i < 3; ++i) {
    listeners.emplace_back([&] { woken += waitOnFlexQueue(&queue, 0, kAMinute); });
  }
  ASSERT_TRUE(Eventually([&] { return waiting == 3; }));
  queue.Insert(1);  // takes condMutex, so the last one waits by then
  for (std::thread &listener : listeners) listener.join();
  EXPECT_EQ(3, woken);
}

TEST(WaitOnFlexQueue, AnInsertionWakesTheListenerOfASlotInUse) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  const uint32_t slot = queue.Register();
  std::atomic<bool> waiting{false};
  Interposed calls;
  calls.pthread_cond_timedwait = [&](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                     const timespec *deadline) {
    waiting = true;
    return pthread_cond_timedwait(condition, mutex, deadline);
  };
  int result = -1;
  std::thread listener([&] { result = waitOnFlexQueue(&queue, slot, kAMinute); });
  ASSERT_TRUE(Eventually([&] { return waiting.load(); }));
  queue.Insert(1);
  listener.join();
  EXPECT_EQ(1, result);
}

TEST(WaitOnFlexQueue, ASlotsWaitKeepsItsTimeAndIsMeasuredOnTheMonotonicClock) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  const uint32_t slot = queue.Register();
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    *now = clock == CLOCK_MONOTONIC ? timespec{50, 0} : timespec{100, 0};
    return 0;
  };
  std::vector<timespec> deadlines;
  calls.pthread_cond_timedwait = [&](pthread_cond_t *condition, pthread_mutex_t *,
                                     const timespec *deadline) {
    EXPECT_EQ(&queue->subscribers[slot].sem->cond, condition);
    deadlines.push_back(*deadline);
    return deadlines.size() == 1 ? 0 : ETIMEDOUT;
  };
  EXPECT_EQ(1, waitOnFlexQueue(&queue, slot, 1500));
  EXPECT_EQ(1500U, queue->subscribers[slot].sem->timeoutMs);
  EXPECT_EQ(0, waitOnFlexQueue(&queue, slot, -1));
  ASSERT_EQ(2U, deadlines.size());
  EXPECT_TRUE(IsAt(deadlines[0], 51, 500'000'000));
  EXPECT_TRUE(IsAt(deadlines[1], 51, 0));
}

TEST(WaitOnFlexQueue, ASlotsWaitWithoutTimeIsOneUntimedWait) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  const uint32_t slot = queue.Register();
  Interposed calls;
  int waits = 0;
  calls.pthread_cond_wait = [&](pthread_cond_t *, pthread_mutex_t *) { return ++waits, 0; };
  EXPECT_EQ(1, waitOnFlexQueue(&queue, slot, 0));
  EXPECT_EQ(1, waits);
  EXPECT_EQ(5000U, queue->subscribers[slot].sem->timeoutMs);
}

TEST(WaitOnFlexQueue, ASlotWithoutASemaphoreIsNotWaitedOn) {
  TestFlexQueue queue(4);
  queue->broadcastMode = 0;
  const uint32_t slot = queue.Register();
  EXPECT_EQ(0, waitOnFlexQueue(&queue, slot, kAMinute));
  EXPECT_EQ(1, waitOnFlexQueue(&queue, slot, 0));
}

TEST(WaitOnFlexQueue, ASlotBeyondTheArrayGives0) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (const uint32_t slot : {queue->subscriberSlots, UINT32_MAX}) {
    EXPECT_EQ(0, waitOnFlexQueue(&queue, slot, kAMinute));
    EXPECT_EQ(0, waitOnFlexQueue(&queue, slot, 0));
  }
}

TEST(WaitOnFlexQueue, NeverTakesTheQueuesMutex) {
  for (const bool broadcast : {true, false}) {
    TestFlexQueue queue(4);
    if (!broadcast) queue.UsePerSubscriberMode();
    const uint32_t slot = queue.Register();
    pthread_mutex_lock(&queue->mutex);
    EXPECT_EQ(0, waitOnFlexQueue(&queue, slot, 1));
    pthread_mutex_unlock(&queue->mutex);
  }
}

TEST(WaitOnFlexQueue, AWakeUpThatNobodyWaitsForIsLost) {
  for (const bool broadcast : {true, false}) {
    TestFlexQueue queue(4);
    if (!broadcast) queue.UsePerSubscriberMode();
    const uint32_t slot = queue.Register();
    EXPECT_EQ(1, notifySubscribers(&queue));
    EXPECT_EQ(0, waitOnFlexQueue(&queue, slot, 1));
  }
}

TEST(WaitOnFlexQueue, NullGives0) {
  EXPECT_EQ(0, waitOnFlexQueue(nullptr, 0, 0));
}

}  // namespace
