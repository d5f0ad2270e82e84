// Publication: who gets a copy, who releases what, what is logged, which locks are held.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "messaging/flex_msg_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::Logger;
using cu_test::TestMsgQueue;
using cu_test::WaitsFor;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kInserted = "DEBUG [flexmsgqueue]SUCCESSFULLY INSERTED QUEUE ITEM";

std::string Dropped(uint32_t sub) {
  return "CRITICAL [flexmsgqueue]The queue was full and we drop an entry for sub " +
         std::to_string(sub);
}

std::string DroppedAfterPurge(uint32_t sub) {
  return "CRITICAL [flexmsgqueue]The queue was full after autopurge and we drop an entry for sub " +
         std::to_string(sub);
}

/// What the callbacks of the tests are to know of, and what they have seen.
struct Seen {
  FlexMsgQueue *queue = nullptr;
  std::vector<uint32_t> released;
  std::vector<std::string> calls;
  bool locked = true;
} g_seen;

void WatchLocks() {
  g_seen.locked =
      g_seen.locked && IsLocked(g_seen.queue->regMutex) && IsLocked(g_seen.queue->listMutex);
}

void RecordRelease(FlexMsgEntry *entry) {
  g_seen.released.push_back(TestMsgQueue::NumberOf(*entry));
  free(entry->data);
}

int CopyNumber(void *source, void **out) {
  g_seen.calls.push_back("copy");
  WatchLocks();
  *out = malloc(sizeof(uint32_t));
  memcpy(*out, source, sizeof(uint32_t));
  return 1;
}

/// Wants the numbers that its context says.
int MatchNumber(void *context, void *data) {
  g_seen.calls.push_back("match");
  WatchLocks();
  return *static_cast<uint32_t *>(context) == *static_cast<uint32_t *>(data) ? -1 : 0;
}

uint32_t RegisterFor(TestMsgQueue &queue, uint32_t *number) {
  uint32_t sub = UINT32_MAX;
  EXPECT_EQ(1, registerFlexMsgQueueSubscriberWMatch(&queue, number, MatchNumber, &sub));
  return sub;
}

// ---- copies -------------------------------------------------------------------------------------

TEST(InsertFlexMsgQueueEntry, EachSubscriberGetsItsOwnCopy) {
  TestMsgQueue queue(2);
  queue.Register();
  queue.Register();
  uint32_t number = 5;
  EXPECT_EQ(1, insertFlexMsgQueueEntry(&queue, &number, sizeof number, 0));
  number = 6;
  FlexMsgEntry *const first = DeQueueMsgFlexEntry(&queue, 0, 0);
  FlexMsgEntry *const second = DeQueueMsgFlexEntry(&queue, 1, 0);
  for (const FlexMsgEntry *const entry : {first, second}) {
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(5U, TestMsgQueue::NumberOf(*entry));
    EXPECT_EQ(sizeof number, entry->size);
    EXPECT_EQ(1, entry->refCount);
    EXPECT_EQ(1U, entry->live);
    EXPECT_EQ(nullptr, entry->releaseFn);
  }
  EXPECT_NE(first->data, second->data);
  FreeFlexMsgQueueEntry(first, 0);
  FreeFlexMsgQueueEntry(second, 0);
}

TEST(InsertFlexMsgQueueEntry, WithoutSubscribersItSucceedsAndKeepsNothing) {
  const Logger logger;
  TestMsgQueue queue(2);
  queue.Publish(5);
  EXPECT_EQ(0U, queue->subs[0]->queue.count);
  EXPECT_THAT(logger.lines(), ElementsAre(kInserted));
}

TEST(InsertFlexMsgQueueEntry, TheEntryCarriesTheQueuesReleaseFunction) {
  g_seen = {};
  TestMsgQueue queue(1);
  queue->releaseFn = RecordRelease;
  queue.Register();
  queue.Publish(5);
  queue->releaseFn = nullptr;
  queue.Receive(0);
  EXPECT_THAT(g_seen.released, ElementsAre(5));
}

TEST(InsertFlexMsgQueueEntry, ACopyFunctionMakesEachCopy) {
  g_seen = {};
  TestMsgQueue queue(3);
  g_seen.queue = &queue;
  queue->copyFn = CopyNumber;
  queue.Register();
  queue.Register();
  queue.Publish(5);
  EXPECT_THAT(g_seen.calls, ElementsAre("copy", "copy"));
  EXPECT_TRUE(g_seen.locked);
  EXPECT_THAT(queue.Receive(1), ElementsAre(5));
}

TEST(InsertFlexMsgQueueEntry, ASubscriberWhoseCopyFailsIsPassedOver) {
  static int copies;
  copies = 0;
  const Logger logger;
  TestMsgQueue queue(3);
  for (int i = 0; i < 3; ++i) queue.Register();
  queue->copyFn = [](void *, void **out) {
    if (++copies == 2) return 0;
    *out = calloc(1, sizeof(uint32_t));
    return 1;
  };
  queue.Publish(5);
  EXPECT_EQ(1U, queue->subs[0]->queue.count);
  EXPECT_EQ(0U, queue->subs[1]->queue.count);
  EXPECT_EQ(1U, queue->subs[2]->queue.count);
  EXPECT_THAT(logger.lines(), ElementsAre(kInserted));
}

TEST(InsertFlexMsgQueueEntry, NullDataWithASizeMakesNoEntry) {
  TestMsgQueue queue(1);
  queue.Register();
  EXPECT_EQ(1, insertFlexMsgQueueEntry(&queue, nullptr, 4, 0));
  EXPECT_EQ(0U, queue->subs[0]->queue.count);
  EXPECT_EQ(1, insertFlexMsgQueueEntry(&queue, nullptr, 0, 0));
  EXPECT_EQ(1U, queue->subs[0]->queue.count);
}

TEST(InsertFlexMsgQueueEntry, NullQueueGives0) {
  uint32_t number = 5;
  EXPECT_EQ(0, insertFlexMsgQueueEntry(nullptr, &number, sizeof number, 0));
  EXPECT_EQ(0, insertFlexMsgQueueEntry(nullptr, &number, sizeof number, 1));
}

TEST(InsertFlexMsgQueueEntry, StampsAllCopiesWithOneReadOfTheMonotonicClock) {
  TestMsgQueue queue(3);
  for (int i = 0; i < 3; ++i) queue.Register();
  Interposed calls;
  int reads = 0;
  calls.clock_gettime = [&](clockid_t clock, timespec *now) {
    EXPECT_EQ(CLOCK_MONOTONIC, clock);
    *now = {1'000 + reads++, 0};
    return 0;
  };
  queue.Publish(5);
  EXPECT_EQ(1, reads);
  for (uint32_t sub = 0; sub < 3; ++sub) {
    FlexMsgEntry *const entry = DeQueueMsgFlexEntry(&queue, sub, 0);
    EXPECT_EQ(1'000, entry->timestamp);
    FreeFlexMsgQueueEntry(entry, 0);
  }
}

// ---- filters ------------------------------------------------------------------------------------

TEST(InsertFlexMsgQueueEntry, AFilterDecidesBeforeTheCopyIsMade) {
  g_seen = {};
  TestMsgQueue queue(2);
  g_seen.queue = &queue;
  queue->copyFn = CopyNumber;
  uint32_t five = 5;
  uint32_t six = 6;
  RegisterFor(queue, &five);
  RegisterFor(queue, &six);
  queue.Publish(6);
  EXPECT_THAT(g_seen.calls, ElementsAre("match", "match", "copy"));
  EXPECT_TRUE(g_seen.locked);
  EXPECT_THAT(queue.Receive(0), IsEmpty());
  EXPECT_THAT(queue.Receive(1), ElementsAre(6));
}

TEST(InsertFlexMsgQueueEntry, AFilterWithoutContextOrFunctionLetsEverythingPass) {
  g_seen = {};
  TestMsgQueue queue(2);
  uint32_t five = 5;
  uint32_t sub = 9;
  registerFlexMsgQueueSubscriberWMatch(&queue, nullptr, MatchNumber, &sub);
  registerFlexMsgQueueSubscriberWMatch(&queue, &five, nullptr, &sub);
  queue.Publish(6);
  EXPECT_THAT(g_seen.calls, IsEmpty());
  EXPECT_THAT(queue.Receive(0), ElementsAre(6));
  EXPECT_THAT(queue.Receive(1), ElementsAre(6));
}

// ---- full queues --------------------------------------------------------------------------------

TEST(InsertFlexMsgQueueEntry, AFullQueueDropsTheNewMessageForItsSubscriberAndLogs) {
  const Logger logger;
  TestMsgQueue queue(2, 2);
  queue.Register();
  queue.Register();
  queue.Publish(1);
  queue.Publish(2);
  EXPECT_THAT(queue.Receive(0), ElementsAre(1, 2));
  queue.Publish(3);
  EXPECT_THAT(queue.Receive(0), ElementsAre(3));
  EXPECT_THAT(queue.Receive(1), ElementsAre(1, 2));
  EXPECT_THAT(logger.lines(), ElementsAre(kInserted, kInserted, Dropped(1), kInserted));
}

TEST(InsertFlexMsgQueueEntry, ADropMakesNoCopy) {
  g_seen = {};
  TestMsgQueue queue(1, 1);
  g_seen.queue = &queue;
  queue.Register();
  queue.Publish(1);
  queue->copyFn = CopyNumber;
  queue.Publish(2);
  EXPECT_THAT(g_seen.calls, IsEmpty());
}

TEST(InsertFlexMsgQueueEntry, WithAutopurgeAFullQueueLosesItsOldestMessage) {
  g_seen = {};
  const Logger logger;
  TestMsgQueue queue(1, 2);
  queue->autopurge = 1;
  queue->releaseFn = RecordRelease;
  queue.Register();
  for (uint32_t number = 1; number <= 3; ++number) queue.Publish(number);
  EXPECT_THAT(g_seen.released, ElementsAre(1));
  EXPECT_THAT(queue.Receive(0), ElementsAre(2, 3));
  EXPECT_THAT(logger.lines(), ElementsAre(kInserted, kInserted, kInserted));
}

TEST(InsertFlexMsgQueueEntry, ThePurgeComesBeforeTheCopyAndLastsWhenTheCopyFails) {
  g_seen = {};
  TestMsgQueue queue(1, 2);
  queue->autopurge = 1;
  queue->releaseFn = RecordRelease;
  queue.Register();
  queue.Publish(1);
  queue.Publish(2);
  queue->copyFn = [](void *, void **) {
    g_seen.calls.push_back("copy after " + std::to_string(g_seen.released.size()));
    return 0;
  };
  queue.Publish(3);
  EXPECT_THAT(g_seen.calls, ElementsAre("copy after 1"));
  EXPECT_THAT(g_seen.released, ElementsAre(1));
  EXPECT_THAT(queue.Pending(0), ElementsAre(2));
}

TEST(InsertFlexMsgQueueEntry, ThePurgeLocksTheSubscribersQueueAndReleasesWithoutTheEntrysLock) {
  static bool entry_locked;
  static bool fifo_locked;
  g_seen = {};
  TestMsgQueue queue(1, 1);
  g_seen.queue = &queue;
  queue->autopurge = 1;
  queue->releaseFn = [](FlexMsgEntry *entry) {
    WatchLocks();
    entry_locked = IsLocked(entry->mutex);
    fifo_locked = IsLocked(g_seen.queue->subs[0]->queue.mutex.mutex);
    free(entry->data);
  };
  queue.Register();
  queue.Publish(1);
  EXPECT_TRUE(WaitsFor(queue->subs[0]->queue.mutex.mutex, [&] { queue.Publish(2); }));
  EXPECT_TRUE(g_seen.locked);
  EXPECT_FALSE(entry_locked);
  EXPECT_FALSE(fifo_locked);
  queue->releaseFn = nullptr;
  static_cast<FlexMsgEntry *>(queue->subs[0]->queue.slots[0])->releaseFn = nullptr;
}

TEST(InsertFlexMsgQueueEntry, WithAutopurgeAQueueWithoutRoomIsPassedOverSilently) {
  const Logger logger;
  TestMsgQueue queue(1, 0);
  queue->autopurge = 1;
  queue.Register();
  queue.Publish(1);
  EXPECT_THAT(logger.lines(), ElementsAre(kInserted));
}

/// A copy function during which somebody else fills the subscriber's last place.
int CopyWhileItFills(void *source, void **out) {
  FlexMsgEntry *intruder = nullptr;
  uint32_t number = 99;
  createQueueEntry(&number, sizeof number, &intruder, nullptr);
  intruder->refCount = 1;
  insertSimpleQueueEntry(&g_seen.queue->subs[0]->queue, intruder, 0);
  return CopyNumber(source, out);
}

struct FillRow {
  uint32_t autopurge;
  uint32_t published_before;
  std::string line;
  std::vector<uint32_t> released;
  std::vector<uint32_t> pending;
};

TEST(InsertFlexMsgQueueEntry, AnInsertionThatFailsIsLoggedAndTheNewEntryReleased) {
  const FillRow kRows[] = {
      {0, 1, Dropped(0), {7}, {0, 99}},
      {1, 2, DroppedAfterPurge(0), {0, 7}, {1, 99}},
  };
  for (const FillRow &row : kRows) {
    SCOPED_TRACE(row.line);
    g_seen = {};
    const Logger logger;
    TestMsgQueue queue(1, 2);
    g_seen.queue = &queue;
    queue->autopurge = row.autopurge;
    queue->releaseFn = RecordRelease;
    queue.Register();
    for (uint32_t number = 0; number < row.published_before; ++number) queue.Publish(number);
    queue->copyFn = CopyWhileItFills;
    queue.Publish(7);
    EXPECT_EQ(row.released, g_seen.released);
    EXPECT_EQ(row.pending, queue.Pending(0));
    std::vector<std::string> lines = logger.lines();
    lines.erase(lines.begin(), lines.begin() + row.published_before);
    EXPECT_THAT(lines, ElementsAre("DEBUG [flexmsgqueue]Simple Queue is full ... this should "
                                   "never happen",
                                   row.line, kInserted));
  }
}

// ---- wake-ups and locks -------------------------------------------------------------------------

TEST(InsertFlexMsgQueueEntry, SignalsEverySubscriberInOrderWithOrWithoutACopy) {
  g_seen = {};
  const Logger logger(1U << DBGLOG_CRITICAL);
  TestMsgQueue queue(4, 1);
  g_seen.queue = &queue;
  uint32_t five = 5;
  queue.Register();
  RegisterFor(queue, &five);
  queue.Register();
  queue.Register();
  queue.Publish(5);
  queue.Receive(3);
  deRegisterFlexMsgQueueSubscriber(&queue, 2);
  Interposed calls;
  std::vector<pthread_cond_t *> woken;
  int locked = 0;
  calls.pthread_cond_signal = [&](pthread_cond_t *condition) {
    woken.push_back(condition);
    locked += IsLocked(queue->regMutex) + IsLocked(queue->listMutex);
    return 0;
  };
  queue.Publish(6);  // dropped for 0, not wanted by 1, delivered to 3
  EXPECT_THAT(woken, ElementsAre(&queue->subs[0]->sem.cond, &queue->subs[1]->sem.cond,
                                 &queue->subs[3]->sem.cond));
  EXPECT_EQ(0, locked);
  EXPECT_THAT(queue.Receive(3), ElementsAre(6));
  EXPECT_THAT(logger.lines(), ElementsAre(Dropped(0)));
}

TEST(InsertFlexMsgQueueEntry, TakesBothMutexesAndTheSubscribersQueues) {
  TestMsgQueue queue(1);
  queue.Register();
  const auto publish = [&] { queue.Publish(1); };
  EXPECT_TRUE(WaitsFor(queue->regMutex, publish));
  EXPECT_TRUE(WaitsFor(queue->listMutex, publish));
  EXPECT_TRUE(WaitsFor(queue->subs[0]->queue.mutex.mutex, publish));
  EXPECT_FALSE(IsLocked(queue->regMutex));
  EXPECT_FALSE(IsLocked(queue->listMutex));
  EXPECT_THAT(queue.Receive(0), ElementsAre(1, 1, 1));
}

TEST(InsertFlexMsgQueueEntry, WithTheRegistrationLockedItLeavesItLockedAndReturns1) {
  TestMsgQueue queue(1);
  queue.Register();
  pthread_mutex_lock(&queue->regMutex);
  uint32_t number = 5;
  EXPECT_EQ(1, insertFlexMsgQueueEntry(&queue, &number, sizeof number, 9));
  EXPECT_TRUE(IsLocked(queue->regMutex));
  EXPECT_FALSE(IsLocked(queue->listMutex));
  pthread_mutex_unlock(&queue->regMutex);
  EXPECT_THAT(queue.Receive(0), ElementsAre(5));
}

}  // namespace
