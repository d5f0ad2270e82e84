// A flex message queue's life, its subscribers, and how they receive.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <thread>
#include <vector>

#include "messaging/flex_msg_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Eventually;
using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::TestMsgQueue;
using cu_test::WaitsFor;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int32_t kAMinute = 60'000;

int g_context;

int MatchAll(void *, void *) {
  return 1;
}

/// Holds a mutex for a scope, in the test's own thread.
class Hold {
 public:
  explicit Hold(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~Hold() { pthread_mutex_unlock(&mutex_); }
  Hold(const Hold &) = delete;
  Hold &operator=(const Hold &) = delete;

 private:
  pthread_mutex_t &mutex_;
};

// ---- life ---------------------------------------------------------------------------------------

TEST(InitFlexMsgQueue, MakesTheSlots) {
  TestMsgQueue queue(3, 7, -250);
  EXPECT_EQ(3U, queue->subCount);
  EXPECT_EQ(7U, queue->subCapacity);
  EXPECT_EQ(-250, queue->flushMs);
  for (uint32_t index = 0; index < 3; ++index) {
    SCOPED_TRACE(index);
    const FlexMsgQueueSub &sub = *queue->subs[index];
    EXPECT_EQ(index, sub.subId);
    EXPECT_EQ(0, sub.inUse);
    EXPECT_EQ(0, sub.sem.usePosixSem);
    EXPECT_EQ(1000U, sub.sem.timeoutMs);
    EXPECT_EQ(7U, sub.queue.capacity);
    EXPECT_EQ(0U, sub.queue.count);
    EXPECT_EQ(0U, sub.queue.param);
    EXPECT_EQ(nullptr, sub.matchFn);
    EXPECT_EQ(nullptr, sub.matchContext);
  }
  EXPECT_FALSE(IsLocked(queue->regMutex));
  EXPECT_FALSE(IsLocked(queue->listMutex));
}

TEST(InitFlexMsgQueue, LeavesTheOwnersFieldsAlone) {
  FlexMsgQueue queue = {};
  queue.autopurge = 1;
  queue.releaseFn = [](FlexMsgEntry *) {};
  queue.copyFn = [](void *, void **) { return 0; };
  Init_FlexMsgQueue(&queue, 0, 1, 0);
  EXPECT_EQ(1U, queue.autopurge);
  EXPECT_NE(nullptr, queue.releaseFn);
  EXPECT_NE(nullptr, queue.copyFn);
  DeInit_FlexMsgQueue(&queue);
  free(queue.subs);
}

TEST(InitFlexMsgQueue, NullGives0) {
  EXPECT_EQ(0, Init_FlexMsgQueue(nullptr, 1, 1, 1));
  EXPECT_EQ(0, Init_FlexMsgQueueSub(nullptr, 1, 1));
  EXPECT_EQ(0, DeInit_FlexMsgQueue(nullptr));
  EXPECT_EQ(0, DeInit_FlexMsgQueueSub(nullptr));
}

TEST(InitFlexMsgQueueSub, MakesAFreeSlotWithTheGivenId) {
  auto *const sub = static_cast<FlexMsgQueueSub *>(calloc(1, sizeof(FlexMsgQueueSub)));
  sub->inUse = 1;
  sub->sem.usePosixSem = 1;
  EXPECT_EQ(1, Init_FlexMsgQueueSub(sub, 2, 1'000));
  EXPECT_EQ(1'000U, sub->subId);
  EXPECT_EQ(0, sub->inUse);
  EXPECT_EQ(0, sub->sem.usePosixSem);
  EXPECT_EQ(1000U, sub->sem.timeoutMs);
  EXPECT_EQ(2U, sub->queue.capacity);
  EXPECT_EQ(1, DeInit_FlexMsgQueueSub(sub));
}

TEST(DeInitFlexMsgQueue, DrainsHalfOfEachSlotAndLeavesTheArray) {
  static std::vector<uint32_t> released;
  released.clear();
  FlexMsgQueue queue = {};
  Init_FlexMsgQueue(&queue, 2, 4, 0);
  queue.releaseFn = [](FlexMsgEntry *entry) {
    released.push_back(TestMsgQueue::NumberOf(*entry));
    free(entry->data);
  };
  uint32_t sub = 9;
  registerFlexMsgQueueSubscriber(&queue, &sub);
  for (uint32_t number = 0; number < 3; ++number) {
    insertFlexMsgQueueEntry(&queue, &number, sizeof number, 0);
  }
  auto *const left = static_cast<FlexMsgEntry *>(queue.subs[0]->queue.slots[2]);
  EXPECT_EQ(1, DeInit_FlexMsgQueue(&queue));
  EXPECT_THAT(released, ElementsAre(0, 1));
  EXPECT_NE(nullptr, queue.subs);
  // The owner's way to release the rest.
  FreeFlexMsgQueueEntry(left, 0);
  free(queue.subs);
}

TEST(DeInitFlexMsgQueue, LaterCallsFindNoSlots) {
  FlexMsgQueue queue = {};
  Init_FlexMsgQueue(&queue, 2, 4, 0);
  uint32_t sub = 9;
  registerFlexMsgQueueSubscriber(&queue, &sub);
  DeInit_FlexMsgQueue(&queue);
  EXPECT_EQ(0U, queue.subCount);
  EXPECT_EQ(1, DeInit_FlexMsgQueue(&queue));
  free(queue.subs);
}

// ---- registration -------------------------------------------------------------------------------

TEST(RegisterFlexMsgQueueSubscriber, GivesTheFirstFreeSlot) {
  TestMsgQueue queue(3);
  for (uint32_t expected = 0; expected < 3; ++expected) {
    EXPECT_EQ(expected, queue.Register());
    EXPECT_EQ(1, queue->subs[expected]->inUse);
  }
  deRegisterFlexMsgQueueSubscriber(&queue, 2);
  deRegisterFlexMsgQueueSubscriber(&queue, 1);
  EXPECT_EQ(1U, queue.Register());
  EXPECT_EQ(2U, queue.Register());
  EXPECT_EQ(3U, queue->subCount);
}

TEST(RegisterFlexMsgQueueSubscriber, AddsASlotWhenAllAreTaken) {
  TestMsgQueue queue(1, 6);
  queue.Register();
  EXPECT_EQ(1U, queue.Register());
  EXPECT_EQ(2U, queue->subCount);
  const FlexMsgQueueSub &added = *queue->subs[1];
  EXPECT_EQ(1U, added.subId);
  EXPECT_EQ(1, added.inUse);
  EXPECT_EQ(6U, added.queue.capacity);
  EXPECT_EQ(1000U, added.sem.timeoutMs);
  queue.Publish(5);
  EXPECT_THAT(queue.Receive(0), ElementsAre(5));
  EXPECT_THAT(queue.Receive(1), ElementsAre(5));
}

TEST(RegisterFlexMsgQueueSubscriber, StartsFromNoSlots) {
  TestMsgQueue queue(0);
  EXPECT_EQ(0U, queue.Register());
  EXPECT_EQ(1U, queue->subCount);
}

TEST(RegisterFlexMsgQueueSubscriber, SubscriberIdsRepeatAfter256) {
  TestMsgQueue queue(257, 1);
  EXPECT_EQ(255U, queue->subs[255]->subId);
  EXPECT_EQ(0U, queue->subs[256]->subId);
  for (uint32_t expected = 0; expected < 259; ++expected) EXPECT_EQ(expected, queue.Register());
  EXPECT_EQ(1U, queue->subs[257]->subId);
  EXPECT_EQ(2U, queue->subs[258]->subId);
}

TEST(RegisterFlexMsgQueueSubscriber, TakesTheRegistrationMutexAlone) {
  TestMsgQueue queue(2);
  EXPECT_TRUE(WaitsFor(queue->regMutex, [&] { queue.Register(); }));
  EXPECT_FALSE(WaitsFor(queue->listMutex, [&] { queue.Register(); }));
  EXPECT_EQ(1, queue->subs[1]->inUse);
}

TEST(RegisterFlexMsgQueueSubscriber, TakesTheListMutexWhileTheArrayGrows) {
  TestMsgQueue queue(0);
  EXPECT_TRUE(WaitsFor(queue->listMutex, [&] { queue.Register(); }));
  EXPECT_EQ(1U, queue->subCount);
}

TEST(RegisterFlexMsgQueueSubscriber, ClearsTheFilterThatTheSlotHad) {
  TestMsgQueue queue(1);
  queue->subs[0]->matchFn = MatchAll;
  queue->subs[0]->matchContext = &g_context;
  queue.Register();
  EXPECT_EQ(nullptr, queue->subs[0]->matchFn);
  EXPECT_EQ(nullptr, queue->subs[0]->matchContext);
}

TEST(RegisterFlexMsgQueueSubscriber, NullGives0) {
  TestMsgQueue queue(1);
  uint32_t sub = 9;
  EXPECT_EQ(0, registerFlexMsgQueueSubscriber(nullptr, &sub));
  EXPECT_EQ(0, registerFlexMsgQueueSubscriber(&queue, nullptr));
  EXPECT_EQ(0, registerFlexMsgQueueSubscriberWMatch(nullptr, &g_context, MatchAll, &sub));
  EXPECT_EQ(0, registerFlexMsgQueueSubscriberWMatch(&queue, &g_context, MatchAll, nullptr));
  EXPECT_EQ(0, findSubSlotFlexMsgQueue(nullptr, &g_context, MatchAll, &sub));
  EXPECT_EQ(0, findSubSlotFlexMsgQueue(&queue, &g_context, MatchAll, nullptr));
  EXPECT_EQ(9U, sub);
  EXPECT_EQ(0, queue->subs[0]->inUse);
}

TEST(RegisterFlexMsgQueueSubscriberWMatch, StoresTheFilterInOldAndAddedSlots) {
  TestMsgQueue queue(1);
  for (uint32_t expected = 0; expected < 2; ++expected) {
    uint32_t sub = 9;
    EXPECT_EQ(1, registerFlexMsgQueueSubscriberWMatch(&queue, &g_context, MatchAll, &sub));
    EXPECT_EQ(expected, sub);
    EXPECT_EQ(MatchAll, queue->subs[sub]->matchFn);
    EXPECT_EQ(&g_context, queue->subs[sub]->matchContext);
  }
}

TEST(RegisterFlexMsgQueueSubscriberWMatch, TakesBothMutexes) {
  TestMsgQueue queue(1);
  const auto registration = [&] {
    uint32_t sub = 9;
    registerFlexMsgQueueSubscriberWMatch(&queue, &g_context, MatchAll, &sub);
  };
  EXPECT_TRUE(WaitsFor(queue->regMutex, registration));
  EXPECT_TRUE(WaitsFor(queue->listMutex, registration));
}

TEST(RegisterFlexMsgQueueSubscriberWMatch, TakesTheRegistrationMutexFirst) {
  TestMsgQueue queue(1);
  const auto registration = [&] {
    uint32_t sub = 9;
    registerFlexMsgQueueSubscriberWMatch(&queue, &g_context, MatchAll, &sub);
  };
  pthread_mutex_lock(&queue->regMutex);
  pthread_mutex_lock(&queue->listMutex);
  std::thread caller(registration);
  EXPECT_TRUE(Eventually([&] { return cu_test::HasWaiter(queue->regMutex); }));
  EXPECT_FALSE(cu_test::HasWaiter(queue->listMutex));
  pthread_mutex_unlock(&queue->regMutex);
  EXPECT_TRUE(Eventually([&] { return cu_test::HasWaiter(queue->listMutex); }));
  EXPECT_TRUE(IsLocked(queue->regMutex));
  pthread_mutex_unlock(&queue->listMutex);
  caller.join();
}

TEST(FindSubSlotFlexMsgQueue, RunsUnderTheCallersLocks) {
  TestMsgQueue queue(1);
  const Hold registration(queue->regMutex);
  const Hold list(queue->listMutex);
  for (uint32_t expected = 0; expected < 2; ++expected) {
    uint32_t sub = 9;
    EXPECT_EQ(1, findSubSlotFlexMsgQueue(&queue, &g_context, MatchAll, &sub));
    EXPECT_EQ(expected, sub);
    EXPECT_EQ(MatchAll, queue->subs[sub]->matchFn);
  }
}

TEST(DeRegisterFlexMsgQueueSubscriber, FreesTheSlotAndForgetsTheFilter) {
  TestMsgQueue queue(1);
  uint32_t sub = 9;
  registerFlexMsgQueueSubscriberWMatch(&queue, &g_context, MatchAll, &sub);
  EXPECT_EQ(1, deRegisterFlexMsgQueueSubscriber(&queue, sub));
  EXPECT_EQ(0, queue->subs[0]->inUse);
  EXPECT_EQ(nullptr, queue->subs[0]->matchFn);
  EXPECT_EQ(nullptr, queue->subs[0]->matchContext);
}

TEST(DeRegisterFlexMsgQueueSubscriber, ReleasesTheOlderHalfAndTheSlotsNextOwnerGetsTheRest) {
  TestMsgQueue queue(1);
  const uint32_t first = queue.Register();
  for (uint32_t number = 1; number <= 4; ++number) queue.Publish(number);
  EXPECT_EQ(1, deRegisterFlexMsgQueueSubscriber(&queue, first));
  EXPECT_EQ(2U, queue->subs[first]->queue.count);
  const uint32_t second = queue.Register();
  EXPECT_EQ(first, second);
  EXPECT_THAT(queue.Receive(second), ElementsAre(3, 4));
}

TEST(DeRegisterFlexMsgQueueSubscriber, AFreeSlotGives0AndOneBeyondTheArray1) {
  TestMsgQueue queue(2);
  EXPECT_EQ(0, deRegisterFlexMsgQueueSubscriber(&queue, 1));
  EXPECT_EQ(1, deRegisterFlexMsgQueueSubscriber(&queue, 2));
  EXPECT_EQ(1, deRegisterFlexMsgQueueSubscriber(&queue, UINT32_MAX));
  EXPECT_EQ(0, deRegisterFlexMsgQueueSubscriber(nullptr, 0));
  EXPECT_FALSE(IsLocked(queue->regMutex));
  EXPECT_FALSE(IsLocked(queue->listMutex));
}

TEST(DeRegisterFlexMsgQueueSubscriber, TakesBothMutexesAndReleasesUnderAllLocks) {
  static FlexMsgQueue *queue_record;
  static bool locked;
  TestMsgQueue queue(1);
  queue_record = &queue;
  locked = false;
  queue->releaseFn = [](FlexMsgEntry *entry) {
    locked = IsLocked(queue_record->regMutex) && IsLocked(queue_record->listMutex) &&
             IsLocked(queue_record->subs[0]->queue.mutex.mutex) && IsLocked(entry->mutex);
    free(entry->data);
  };
  queue.Register();
  queue.Publish(1);
  EXPECT_TRUE(WaitsFor(queue->listMutex, [&] { deRegisterFlexMsgQueueSubscriber(&queue, 0); }));
  EXPECT_TRUE(locked);
  EXPECT_TRUE(WaitsFor(queue->regMutex, [&] { deRegisterFlexMsgQueueSubscriber(&queue, 0); }));
}

#if !CU_THREAD_SANITIZER  // which reports that such a caller takes the locks out of their order
TEST(DeRegisterFlexMsgQueueSubscriber, MayBeCalledByTheOneWhoHoldsTheQueue) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  queue.Publish(2);
  ASSERT_EQ(1, lockMsgFlexQueue(&queue, 0, 5));
  EXPECT_EQ(1, deRegisterFlexMsgQueueSubscriber(&queue, 0));
  EXPECT_EQ(0, queue->subs[0]->inUse);
  EXPECT_EQ(1U, queue->subs[0]->queue.count);
  EXPECT_TRUE(IsLocked(queue->subs[0]->queue.mutex.mutex));
  ambrel_mutex_unlock(&queue->subs[0]->queue.mutex);
}
#endif

// ---- dequeuing ----------------------------------------------------------------------------------

TEST(DeQueueMsgFlexEntry, GivesTheOldestMessageOfThatSubscriber) {
  TestMsgQueue queue(2);
  queue.Register();
  queue.Publish(1);
  queue.Register();
  queue.Publish(2);
  FlexMsgEntry *const entry = DeQueueMsgFlexEntry(&queue, 0, 0);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(1U, TestMsgQueue::NumberOf(*entry));
  EXPECT_EQ(1, entry->refCount);
  FreeFlexMsgQueueEntry(entry, 0);
  EXPECT_THAT(queue.Receive(1), ElementsAre(2));
  EXPECT_THAT(queue.Receive(0), ElementsAre(2));
}

TEST(DeQueueMsgFlexEntry, NothingForAnEmptyAFreeOrAMissingSlot) {
  TestMsgQueue queue(2);
  queue.Register();
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(&queue, 0, 0));
  queue.Publish(1);
  queue.Publish(2);
  deRegisterFlexMsgQueueSubscriber(&queue, 0);
  ASSERT_EQ(1U, queue->subs[0]->queue.count);
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(&queue, 0, 0));
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(&queue, 2, 0));
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(&queue, UINT32_MAX, 1));
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(nullptr, 0, 0));
  EXPECT_FALSE(IsLocked(queue->regMutex));
}

TEST(DeQueueMsgFlexEntry, LocksTheRegistrationAndThenTheSubscribersQueue) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  queue.Publish(2);
  const auto dequeue = [&] { FreeFlexMsgQueueEntry(DeQueueMsgFlexEntry(&queue, 0, 0), 0); };
  EXPECT_TRUE(WaitsFor(queue->regMutex, dequeue));
  EXPECT_TRUE(WaitsFor(queue->subs[0]->queue.mutex.mutex, dequeue));
  EXPECT_FALSE(WaitsFor(queue->listMutex, dequeue));
  EXPECT_EQ(0U, queue->subs[0]->queue.count);
}

TEST(DeQueueMsgFlexEntry, WaitsForTheSubscribersQueueWithoutTheRegistrationMutex) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  pthread_mutex_t &fifo = queue->subs[0]->queue.mutex.mutex;
  pthread_mutex_lock(&fifo);
  std::thread consumer([&] { FreeFlexMsgQueueEntry(DeQueueMsgFlexEntry(&queue, 0, 0), 0); });
  EXPECT_TRUE(Eventually([&] { return cu_test::HasWaiter(fifo); }));
  EXPECT_FALSE(IsLocked(queue->regMutex));
  pthread_mutex_unlock(&fifo);
  consumer.join();
}

// ---- waiting ------------------------------------------------------------------------------------

TEST(WaitOnFlexMsgQueue, WithAMessageReturnsTheFlagAtOnce) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  EXPECT_EQ(1, waitOnFlexMsgQueue(&queue, 0, 0));
  EXPECT_EQ(1000U, queue->subs[0]->sem.timeoutMs);
  EXPECT_FALSE(IsLocked(queue->listMutex));
  queue->subs[0]->inUse = 3;
  EXPECT_EQ(3, waitOnFlexMsgQueue(&queue, 0, 0));
}

TEST(WaitOnFlexMsgQueue, AFreeOrMissingSlotGives0) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  queue.Publish(2);
  deRegisterFlexMsgQueueSubscriber(&queue, 0);
  EXPECT_EQ(0, waitOnFlexMsgQueue(&queue, 0, kAMinute));
  EXPECT_EQ(0, waitOnFlexMsgQueue(&queue, 1, kAMinute));
  EXPECT_EQ(0, waitOnFlexMsgQueue(&queue, UINT32_MAX, 0));
  EXPECT_EQ(0, waitOnFlexMsgQueue(nullptr, 0, kAMinute));
  EXPECT_FALSE(IsLocked(queue->listMutex));
}

TEST(WaitOnFlexMsgQueue, KeepsItsTimeAndWaitsOnTheMonotonicClockWithNothingLocked) {
  TestMsgQueue queue(1);
  queue.Register();
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    *now = clock == CLOCK_MONOTONIC ? timespec{50, 900'000'000} : timespec{};
    return 0;
  };
  std::vector<timespec> deadlines;
  int locked = 0;
  calls.pthread_cond_timedwait = [&](pthread_cond_t *condition, pthread_mutex_t *,
                                     const timespec *deadline) {
    EXPECT_EQ(&queue->subs[0]->sem.cond, condition);
    locked += IsLocked(queue->regMutex) + IsLocked(queue->listMutex) +
              IsLocked(queue->subs[0]->queue.mutex.mutex);
    deadlines.push_back(*deadline);
    return deadlines.size() == 1 ? 0 : ETIMEDOUT;
  };
  EXPECT_EQ(1, waitOnFlexMsgQueue(&queue, 0, 250));
  EXPECT_EQ(250U, queue->subs[0]->sem.timeoutMs);
  EXPECT_EQ(0, waitOnFlexMsgQueue(&queue, 0, -7));
  EXPECT_EQ(static_cast<uint32_t>(-7), queue->subs[0]->sem.timeoutMs);
  ASSERT_EQ(2U, deadlines.size());
  EXPECT_EQ(51, deadlines[0].tv_sec);
  EXPECT_EQ(0, deadlines[0].tv_nsec);
  EXPECT_EQ(51, deadlines[1].tv_sec);
  EXPECT_EQ(900'000'000, deadlines[1].tv_nsec);
  EXPECT_EQ(0, locked);
}

TEST(WaitOnFlexMsgQueue, WithoutTimeIsOneUntimedWait) {
  TestMsgQueue queue(1);
  queue.Register();
  Interposed calls;
  int waits = 0;
  calls.pthread_cond_wait = [&](pthread_cond_t *, pthread_mutex_t *) { return ++waits, 0; };
  EXPECT_EQ(1, waitOnFlexMsgQueue(&queue, 0, 0));
  EXPECT_EQ(1, waits);
  EXPECT_EQ(0U, queue->subs[0]->sem.timeoutMs);
}

TEST(WaitOnFlexMsgQueue, APublicationEndsTheWait) {
  TestMsgQueue queue(1);
  queue.Register();
  std::atomic<bool> waiting{false};
  Interposed calls;
  calls.pthread_cond_timedwait = [&](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                     const timespec *deadline) {
    waiting = true;
    return pthread_cond_timedwait(condition, mutex, deadline);
  };
  int result = -1;
  std::thread subscriber([&] { result = waitOnFlexMsgQueue(&queue, 0, kAMinute); });
  EXPECT_TRUE(Eventually([&] { return waiting.load(); }));
  queue.Publish(1);
  subscriber.join();
  EXPECT_EQ(1, result);
  EXPECT_THAT(queue.Receive(0), ElementsAre(1));
}

TEST(WaitOnFlexMsgQueue, EndsWithItsTime) {
  TestMsgQueue queue(1);
  queue.Register();
  EXPECT_EQ(0, waitOnFlexMsgQueue(&queue, 0, 1));
}

TEST(WaitOnFlexMsgQueue, LooksUnderTheListMutexAlone) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  const auto wait = [&] { waitOnFlexMsgQueue(&queue, 0, kAMinute); };
  EXPECT_TRUE(WaitsFor(queue->listMutex, wait));
  EXPECT_FALSE(WaitsFor(queue->regMutex, wait));
  EXPECT_FALSE(WaitsFor(queue->subs[0]->queue.mutex.mutex, wait));
}

// ---- the counter --------------------------------------------------------------------------------

TEST(GetFlexMsgQueueNumEntries, AnswersForFreeSlotsAlone) {
  TestMsgQueue queue(2);
  queue.Register();
  for (uint32_t number = 1; number <= 4; ++number) queue.Publish(number);
  EXPECT_EQ(-1, getFlexMsgQueueNumEntries(&queue, 0));
  EXPECT_EQ(0, getFlexMsgQueueNumEntries(&queue, 1));
  deRegisterFlexMsgQueueSubscriber(&queue, 0);
  EXPECT_EQ(2, getFlexMsgQueueNumEntries(&queue, 0));
  EXPECT_EQ(-1, getFlexMsgQueueNumEntries(&queue, 2));
  EXPECT_EQ(-1, getFlexMsgQueueNumEntries(nullptr, 0));
  EXPECT_TRUE(WaitsFor(queue->listMutex, [&] { getFlexMsgQueueNumEntries(&queue, 0); }));
}

}  // namespace
