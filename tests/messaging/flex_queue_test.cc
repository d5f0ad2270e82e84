// A flex queue's life, its lock, and where insertions put their entries.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <time.h>

#include <string>
#include <thread>
#include <vector>

#include "messaging/flex_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::Logger;
using cu_test::TestFlexQueue;
using cu_test::WaitsFor;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kNoSlot = 0xFFFFFFFF;

int g_data;

/// For data that is not heap memory.
void KeepData(FlexEntry *) {}

// ---- life ---------------------------------------------------------------------------------------

TEST(InitFlexqueue, SetsTheRecordUpInBroadcastMode) {
  FlexQueue queue = {};
  queue.count = 7;
  queue.searchPos = 7;
  queue.subscriberCount = 7;
  EXPECT_EQ(1, init_Flexqueue(&queue, 12, 2500));
  EXPECT_EQ(12U, queue.capacity);
  EXPECT_EQ(2500U, queue.ageMs);
  EXPECT_EQ(0U, queue.count);
  EXPECT_EQ(0U, queue.searchPos);
  EXPECT_EQ(0U, queue.subscriberCount);
  EXPECT_EQ(5U, queue.subscriberSlots);
  EXPECT_EQ(FLEXQUEUE_INITIAL_SUBSCRIBERS, queue.subscriberSlots);
  EXPECT_EQ(1, queue.broadcastMode);
  for (uint32_t slot = 0; slot < 12; ++slot) {
    EXPECT_EQ(nullptr, queue.slots[slot].entry);
    EXPECT_EQ(0, queue.slots[slot].inUse);
  }
  for (uint32_t slot = 0; slot < 5; ++slot) {
    EXPECT_EQ(nullptr, queue.subscribers[slot].sem);
    EXPECT_EQ(0, queue.subscribers[slot].inUse);
  }
  EXPECT_EQ(1, deinit_Flexqueue(&queue));
}

TEST(InitFlexqueue, LeavesFreeFnAlone) {
  FlexQueue queue = {};
  queue.freeFn = KeepData;
  init_Flexqueue(&queue, 1, 0);
  EXPECT_EQ(KeepData, queue.freeFn);
  deinit_Flexqueue(&queue);
}

TEST(InitFlexqueue, ClearingTheModeBeforehandHasNoEffect) {
  FlexQueue queue = {};
  queue.broadcastMode = 0;
  EXPECT_EQ(1, init_Flexqueue(&queue, 1, 0));
  EXPECT_EQ(1, queue.broadcastMode);
  EXPECT_EQ(nullptr, queue.subscribers[0].sem);
  deinit_Flexqueue(&queue);
}

TEST(InitFlexqueue, NullGives0) {
  EXPECT_EQ(0, init_Flexqueue(nullptr, 1, 0));
}

TEST(InitFlexqueue, AQueueWithoutSlotsIsFullAndEmpty) {
  const Logger logger;
  TestFlexQueue queue(0);
  EXPECT_EQ(1, isFlexQueueFull(&queue));
  EXPECT_EQ(1, isFlexQueueEmpty(&queue));
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 1, 0));
  EXPECT_EQ(kNoSlot, getSlotID(&queue));
  FlexQueueIter iter = queue.Begin();
  EXPECT_EQ(nullptr, peekFlexQueueEntry(&iter, 0));
  EXPECT_EQ(nullptr, deQueueFlexEntry(&iter, 0));
}

TEST(DeinitFlexqueue, ReleasesEachEntryOnceInSlotOrderWithTheQueueLocked) {
  static std::vector<uint32_t> released;
  static bool locked;
  released.clear();
  locked = true;
  FlexQueue queue = {};
  init_Flexqueue(&queue, 4, 0);
  queue.freeFn = [](FlexEntry *entry) {
    released.push_back(entry->tag);
    locked = locked && IsLocked(entry->queue->mutex);
  };
  for (uint32_t tag = 10; tag < 14; ++tag) insertFlexQueueEntry(&queue, &g_data, tag, 0);
  EXPECT_EQ(1, deinit_Flexqueue(&queue));
  EXPECT_THAT(released, ElementsAre(10, 11, 12, 13));
  EXPECT_TRUE(locked);
}

TEST(DeinitFlexqueue, LeavesAnEmptyRecordThatMayBeInitialisedAgain) {
  FlexQueue queue = {};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(1, init_Flexqueue(&queue, 4, 0));
    EXPECT_EQ(1, insertFlexQueueEntry(&queue, malloc(1), 1, 0));
    EXPECT_EQ(1, deinit_Flexqueue(&queue));
    EXPECT_EQ(nullptr, queue.slots);
    EXPECT_EQ(nullptr, queue.subscribers);
    EXPECT_EQ(0U, queue.count);
    EXPECT_EQ(0U, queue.capacity);
  }
}

TEST(DeinitFlexqueue, LeavesAPeekedEntryToItsHolder) {
  FlexQueue queue = {};
  init_Flexqueue(&queue, 4, 0);
  insertFlexQueueEntry(&queue, malloc(1), 5, 0);
  FlexQueueIter iter = {};
  getFlexQueueIter(&queue, &iter, 0);
  FlexEntry *const entry = peekFlexQueueEntry(&iter, 0);
  deinit_Flexqueue(&queue);
  EXPECT_EQ(5U, entry->tag);
  EXPECT_EQ(1, entry->refCount);
  FreeFlexQueueEntry(entry, 1);
}

TEST(DeinitFlexqueue, ReleasesTheSemaphoresOfPerSubscriberMode) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (int i = 0; i < 7; ++i) queue.Register();
  // That nothing is left is what the leak checker says.
}

TEST(DeinitFlexqueue, NullGives0) {
  EXPECT_EQ(0, deinit_Flexqueue(nullptr));
}

// ---- lock and size ------------------------------------------------------------------------------

TEST(GetFlexQueueSize, IsTheCapacity) {
  TestFlexQueue queue(3);
  EXPECT_EQ(3U, getFlexQueueSize(&queue));
  queue.Insert(1);
  EXPECT_EQ(3U, getFlexQueueSize(&queue));
  EXPECT_EQ(0U, getFlexQueueSize(nullptr));
}

TEST(IsFlexQueueFull, ComparesTheCountWithTheCapacity) {
  TestFlexQueue queue(2);
  queue.Insert(1);
  EXPECT_EQ(0, isFlexQueueFull(&queue));
  EXPECT_EQ(0, isFlexQueueEmpty(&queue));
  queue.Insert(2);
  EXPECT_EQ(1, isFlexQueueFull(&queue));
  queue.Remove(0);
  queue.Remove(1);
  EXPECT_EQ(0, isFlexQueueFull(&queue));
  EXPECT_EQ(1, isFlexQueueEmpty(&queue));
}

TEST(IsFlexQueueFull, TakesNoLockAndAnswersForNull) {
  TestFlexQueue queue(2);
  pthread_mutex_lock(&queue->mutex);
  EXPECT_EQ(0, isFlexQueueFull(&queue));
  EXPECT_EQ(1, isFlexQueueEmpty(&queue));
  pthread_mutex_unlock(&queue->mutex);
  EXPECT_EQ(1, isFlexQueueFull(nullptr));
  EXPECT_EQ(1, isFlexQueueEmpty(nullptr));
}

TEST(LockFlexQueue, LocksAndUnlocks) {
  TestFlexQueue queue(2);
  for (const int32_t ms : {0, 60'000}) {
    EXPECT_EQ(1, lockFlexQueue(&queue, ms));
    EXPECT_TRUE(IsLocked(queue->mutex));
    EXPECT_EQ(0, unlockFlexQueue(&queue));
    EXPECT_FALSE(IsLocked(queue->mutex));
  }
}

TEST(LockFlexQueue, WithoutTimeTriesEvery10Microseconds) {
  TestFlexQueue queue(2);
  Interposed calls;
  int attempts = 0;
  std::vector<long> pauses;
  calls.pthread_mutex_trylock = [&](pthread_mutex_t *mutex) {
    EXPECT_EQ(&queue->mutex, mutex);
    return ++attempts <= 3 ? EBUSY : pthread_mutex_trylock(mutex);
  };
  calls.nanosleep = [&](const timespec *duration, timespec *) {
    EXPECT_EQ(0, duration->tv_sec);
    pauses.push_back(duration->tv_nsec);
    return 0;
  };
  EXPECT_EQ(1, lockFlexQueue(&queue, 0));
  EXPECT_EQ(4, attempts);
  EXPECT_THAT(pauses, ElementsAre(10'000, 10'000, 10'000));
  EXPECT_EQ(0, unlockFlexQueue(&queue));
}

TEST(LockFlexQueue, WithATimeItIs1AlsoWhenTheTimeEndsWithoutTheLock) {
  TestFlexQueue queue(2);
  pthread_mutex_lock(&queue->mutex);
  EXPECT_EQ(1, lockFlexQueue(&queue, 1));
  pthread_mutex_unlock(&queue->mutex);
  EXPECT_FALSE(IsLocked(queue->mutex));
}

TEST(LockFlexQueue, WithATimeItWaitsUntilTheRoundedWallClockDeadline) {
  TestFlexQueue queue(2);
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    EXPECT_EQ(CLOCK_REALTIME, clock);
    *now = {100, 900'000'000};
    return 0;
  };
  std::vector<timespec> deadlines;
  calls.pthread_mutex_timedlock = [&](pthread_mutex_t *mutex, const timespec *deadline) {
    EXPECT_EQ(&queue->mutex, mutex);
    deadlines.push_back(*deadline);
    return ETIMEDOUT;
  };
  EXPECT_EQ(1, lockFlexQueue(&queue, 250));
  EXPECT_EQ(1, lockFlexQueue(&queue, -5));
  ASSERT_EQ(2U, deadlines.size());
  EXPECT_EQ(101, deadlines[0].tv_sec);
  EXPECT_EQ(0, deadlines[0].tv_nsec);
  EXPECT_EQ(101, deadlines[1].tv_sec);
  EXPECT_EQ(900'000'000, deadlines[1].tv_nsec);
}

TEST(LockFlexQueue, NullIsAnswered) {
  EXPECT_EQ(0, lockFlexQueue(nullptr, 0));
  EXPECT_EQ(0, lockFlexQueue(nullptr, 5));
  EXPECT_EQ(EINVAL, unlockFlexQueue(nullptr));
}

struct SecondsRow {
  uint32_t ms;
  uint32_t seconds;
};

TEST(GetmsAsNs, IsWholeSecondsButAtLeast1) {
  constexpr SecondsRow kRows[] = {{0, 1},    {1, 1},    {999, 1},  {1000, 1},
                                  {1999, 1}, {2000, 2}, {2500, 2}, {UINT32_MAX, 4'294'967}};
  for (const auto &[ms, seconds] : kRows) {
    SCOPED_TRACE(ms);
    uint32_t out = 99;
    EXPECT_EQ(seconds, getmsAsNs(ms, &out));
    EXPECT_EQ(seconds, out);
  }
  EXPECT_EQ(0U, getmsAsNs(2500, nullptr));
}

// ---- insertion ----------------------------------------------------------------------------------

TEST(InsertFlexQueueEntry, FillsTheEntryIn) {
  TestFlexQueue queue(2);
  const time_t before = time(nullptr);
  void *const data = malloc(1);
  EXPECT_EQ(1, insertFlexQueueEntry(&queue, data, 0xABCDEF01, 0));
  const time_t after = time(nullptr);
  EXPECT_EQ(1, queue->slots[0].inUse);
  const FlexEntry *const entry = queue->slots[0].entry;
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(0xABCDEF01, entry->tag);
  EXPECT_EQ(1, entry->refCount);
  EXPECT_EQ(&queue, entry->queue);
  EXPECT_EQ(data, entry->data);
  EXPECT_EQ(0U, entry->reserved);
  EXPECT_GE(entry->timestamp, static_cast<int32_t>(before));
  EXPECT_LE(entry->timestamp, static_cast<int32_t>(after));
  EXPECT_EQ(1U, queue->count);
}

TEST(InsertFlexQueueEntry, LocksByPollingAndUnlocks) {
  TestFlexQueue queue(2);
  Interposed calls;
  int attempts = 0;
  int pauses = 0;
  calls.pthread_mutex_trylock = [&](pthread_mutex_t *mutex) {
    return ++attempts == 1 ? EBUSY : pthread_mutex_trylock(mutex);
  };
  calls.nanosleep = [&](const timespec *, timespec *) { return ++pauses, 0; };
  queue.Insert(1);
  EXPECT_EQ(2, attempts);
  EXPECT_EQ(1, pauses);
  EXPECT_FALSE(IsLocked(queue->mutex));
}

TEST(InsertFlexQueueEntry, WithTheLockHeldItReturnsLockedAndTouchesNoLock) {
  TestFlexQueue queue(1);
  queue->freeFn = KeepData;
  lockFlexQueue(&queue, 0);
  EXPECT_EQ(7, insertFlexQueueEntry(&queue, &g_data, 1, 7));
  EXPECT_TRUE(IsLocked(queue->mutex));
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 2, 7));
  EXPECT_TRUE(IsLocked(queue->mutex));
  unlockFlexQueue(&queue);
}

TEST(InsertFlexQueueEntry, AFullQueueRefusesAndLogsSearchPositionAndCount) {
  const Logger logger;
  TestFlexQueue queue(3);
  for (uint32_t tag = 0; tag < 3; ++tag) queue.Insert(tag);
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 9, 0));
  EXPECT_EQ(3U, queue->count);
  EXPECT_FALSE(IsLocked(queue->mutex));
  EXPECT_THAT(logger.lines(), ElementsAre("DEBUG [flexqueue]The queue was full 2 3"));
}

TEST(InsertFlexQueueEntry, NullDataOrQueueIsRefusedAndLogged) {
  const Logger logger;
  TestFlexQueue queue(3);
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, nullptr, 1, 0));
  EXPECT_EQ(0, insertFlexQueueEntry(nullptr, &g_data, 1, 0));
  EXPECT_EQ(0, insertFlexQueueEntry(nullptr, &g_data, 1, 1));
  EXPECT_EQ(0U, queue->count);
  const std::string line = "DEBUG [flexqueue]We received an empty item ";
  EXPECT_THAT(logger.lines(), ElementsAre(line, line, line));
}

TEST(InsertFlexQueueEntry, ACountThatHidesAFullTableIsRefusedAndLogged) {
  const Logger logger;
  TestFlexQueue queue(2);
  queue.Insert(1);
  queue.Insert(2);
  queue->count = 1;
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 3, 0));
  EXPECT_FALSE(IsLocked(queue->mutex));
  EXPECT_THAT(logger.lines(),
              ElementsAre("DEBUG [flexqueue]We got a negative index inserting into queue"));
  queue->count = 2;
}

TEST(InsertFlexQueueEntry, ADisabledLevelIsSilent) {
  const Logger logger(0x7F);
  TestFlexQueue queue(3);
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, nullptr, 1, 0));
  EXPECT_THAT(logger.lines(), IsEmpty());
}

// ---- the choice of a slot -----------------------------------------------------------------------

TEST(GetSlotID, StartsAtTheSlotUsedLastAndComesBackToSlot0Last) {
  TestFlexQueue queue(4);
  queue.Insert(0);
  queue.Insert(1);
  EXPECT_EQ(1U, queue->searchPos);
  queue.Remove(0);
  EXPECT_EQ(queue.Insert(2), queue->slots[2].entry);
  EXPECT_EQ(queue.Insert(3), queue->slots[3].entry);
  EXPECT_EQ(queue.Insert(4), queue->slots[0].entry);
  EXPECT_EQ(3U, queue->lastSearchStart);
  EXPECT_EQ(0U, queue->searchPos);
}

TEST(GetSlotID, UsesTheSlotUsedLastAgainOnceItIsFree) {
  TestFlexQueue queue(4);
  queue.Insert(0);
  queue.Insert(1);
  queue.Remove(1);
  EXPECT_EQ(queue.Insert(2), queue->slots[1].entry);
  EXPECT_EQ(1U, queue->lastSearchStart);
}

TEST(GetSlotID, FindsWithoutTaking) {
  TestFlexQueue queue(4);
  queue.Insert(0);
  EXPECT_EQ(1U, getSlotID(&queue));
  EXPECT_EQ(1U, getSlotID(&queue));
  EXPECT_EQ(0, queue->slots[1].inUse);
  EXPECT_EQ(1U, queue->lastSearchStart);
  EXPECT_EQ(1U, queue->searchPos);
}

TEST(GetSlotID, WithoutAFreeSlotIsMinus1AndSetsThePositionBack) {
  TestFlexQueue queue(3);
  for (uint32_t tag = 0; tag < 3; ++tag) queue.Insert(tag);
  EXPECT_EQ(2U, queue->searchPos);
  EXPECT_EQ(kNoSlot, getSlotID(&queue));
  EXPECT_EQ(2U, queue->lastSearchStart);
  EXPECT_EQ(0U, queue->searchPos);
}

TEST(GetSlotID, APositionBeyondTheTableIsWrapped) {
  TestFlexQueue queue(3);
  queue->searchPos = 1'000;
  EXPECT_EQ(0U, getSlotID(&queue));
  EXPECT_EQ(1'000U, queue->lastSearchStart);
  queue->searchPos = 1'000;
  for (uint32_t slot = 0; slot < 3; ++slot) queue->slots[slot].inUse = 1;
  EXPECT_EQ(kNoSlot, getSlotID(&queue));
  for (uint32_t slot = 0; slot < 3; ++slot) queue->slots[slot].inUse = 0;
}

TEST(GetSlotID, NullGivesMinus1) {
  EXPECT_EQ(kNoSlot, getSlotID(nullptr));
}

}  // namespace
