// The queues without memory: what each failed allocation leaves, and that nothing else is lost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <vector>

#include "messaging/flex_msg_queue_fixture.hpp"
#include "messaging/flex_queue_fixture.hpp"
#include "support/faults.hpp"
#include "support/logger.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;
using cu_test::Logger;
using cu_test::Reach;
using cu_test::TestFlexQueue;
using cu_test::TestMsgQueue;
using testing::ElementsAre;

constexpr int32_t kAMinute = 60'000;

int g_data;

// ---- the registry -------------------------------------------------------------------------------

TEST(FindSubscriberSlotID, AFailedGrowthEndsTheRegistry) {
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  std::vector<AmbrelSemaphore *> semaphores;
  for (uint32_t slot = 0; slot < 5; ++slot) {
    queue.Register();
    semaphores.push_back(queue->subscribers[slot].sem);
  }
  uint32_t slot = 9;
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(0, registerSubscriber(&queue, &slot));
  }
  EXPECT_EQ(9U, slot);
  EXPECT_EQ(nullptr, queue->subscribers);
  EXPECT_EQ(6U, queue->subscriberSlots);
  EXPECT_EQ(6U, queue->subscriberCount);

  // Everything still answers, and nothing reads the array.
  EXPECT_EQ(0, registerSubscriber(&queue, &slot));
  EXPECT_EQ(7U, queue->subscriberCount);
  EXPECT_EQ(6U, queue->subscriberSlots);
  EXPECT_EQ(1, deRegisterSubscriber(&queue, 5));
  EXPECT_EQ(6U, queue->subscriberCount);
  EXPECT_EQ(0, waitOnFlexQueue(&queue, 0, kAMinute));
  EXPECT_EQ(1, notifySubscribers(&queue));
  EXPECT_EQ(1, initSubscribers(&queue));
  EXPECT_NE(nullptr, queue.Insert(1));

  // Listeners may be waiting on the semaphores, so they are never freed.
  for (AmbrelSemaphore *const semaphore : semaphores) {
    AmbrelSemaphoreDestroy(semaphore);
    free(semaphore);
  }
}

TEST(FindSubscriberSlotID, AnAddedSlotWithoutASemaphoreStaysInUse) {
  const Logger logger(1U << DBGLOG_DEBUG);
  TestFlexQueue queue(4);
  queue.UsePerSubscriberMode();
  for (int i = 0; i < 5; ++i) queue.Register();
  uint32_t slot = 9;
  {
    const Fault fault(Call::kMemory, 2);
    EXPECT_EQ(0, registerSubscriber(&queue, &slot));
  }
  EXPECT_EQ(9U, slot);
  EXPECT_EQ(6U, queue->subscriberSlots);
  EXPECT_EQ(6U, queue->subscriberCount);
  EXPECT_EQ(5U, queue->subscribers[5].slotId);
  EXPECT_EQ(1, queue->subscribers[5].inUse);
  EXPECT_EQ(nullptr, queue->subscribers[5].sem);
  notifySubscribers(&queue);
  EXPECT_THAT(logger.lines(), ElementsAre("DEBUG [flexqueue]We had a invalid semaphore"));
  EXPECT_EQ(6U, queue.Register());
}

TEST(InitSubscribers, WithoutMemoryItGives0AndCanBeRepeated) {
  for (long k = 1; k <= 6; ++k) {
    SCOPED_TRACE(k);
    TestFlexQueue queue(4);
    queue->broadcastMode = 0;
    {
      const Fault fault(Call::kMemory, k);
      EXPECT_EQ(k == 6, initSubscribers(&queue));
      EXPECT_EQ(k != 6, fault.fired());
    }
    if (k <= 5) {
      EXPECT_EQ(nullptr, queue->subscribers[k - 1].sem);
    }
    EXPECT_EQ(1, initSubscribers(&queue));
    EXPECT_NE(nullptr, queue->subscribers[4].sem);
  }
}

// ---- the flex queue -----------------------------------------------------------------------------

TEST(InitFlexqueue, WithoutMemoryItGives1AndTheQueueRefusesEverything) {
  for (long k = 1; k <= 2; ++k) {
    SCOPED_TRACE(k);
    const Logger logger;
    FlexQueue queue = {};
    {
      const Fault fault(Call::kMemory, k);
      EXPECT_EQ(1, init_Flexqueue(&queue, 4, 0));
      EXPECT_TRUE(fault.fired());
    }
    EXPECT_EQ(nullptr, queue.slots);
    EXPECT_EQ(nullptr, queue.subscribers);
    EXPECT_EQ(4U, getFlexQueueSize(&queue));
    EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 1, 0));
    EXPECT_THAT(logger.lines(),
                ElementsAre("DEBUG [flexqueue]We got a negative index inserting into queue"));
    FlexQueueIter iter = {};
    getFlexQueueIter(&queue, &iter, 0);
    EXPECT_EQ(nullptr, peekFlexQueueEntry(&iter, 0));
    EXPECT_EQ(nullptr, deQueueFlexEntry(&iter, 0));
    queue.broadcastMode = 0;
    uint32_t slot = 9;
    EXPECT_EQ(0, registerSubscriber(&queue, &slot));
    EXPECT_EQ(0, waitOnFlexQueue(&queue, 0, kAMinute));
    queue.broadcastMode = 1;
    EXPECT_EQ(1, deinit_Flexqueue(&queue));
  }
}

TEST(InitFlexqueue, ACapacityThatNoMemoryCanHoldIsLikeNoMemory) {
  const Fault fault(Call::kMemory, 1, ENOMEM, Reach::kFromThen);
  FlexQueue queue = {};
  EXPECT_EQ(1, init_Flexqueue(&queue, UINT32_MAX, 0));
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 1, 0));
  EXPECT_EQ(1, deinit_Flexqueue(&queue));
}

TEST(InsertFlexQueueEntry, WithoutMemoryItIsRefusedAndLoggedAndTheSlotStaysFree) {
  const Logger logger;
  TestFlexQueue queue(2);
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 1, 0));
  }
  EXPECT_EQ(0U, queue->count);
  EXPECT_EQ(0, queue->slots[0].inUse);
  EXPECT_EQ(nullptr, queue->slots[0].entry);
  EXPECT_THAT(logger.lines(),
              ElementsAre("DEBUG [flexqueue]We failed to allocate memory for queue structure"));
  EXPECT_NE(nullptr, queue.Insert(1));
}

TEST(InsertFlexQueueEntry, AFullQueueIsReportedAsFullAlsoWithoutMemory) {
  const Logger logger;
  TestFlexQueue queue(1);
  queue.Insert(1);
  const Fault fault(Call::kMemory, 1);
  EXPECT_EQ(0, insertFlexQueueEntry(&queue, &g_data, 2, 0));
  EXPECT_THAT(logger.lines(), ElementsAre("DEBUG [flexqueue]The queue was full 0 1"));
}

// ---- the flex message queue ---------------------------------------------------------------------

TEST(InitFlexMsgQueue, WithoutMemoryItHasTheSlotsThatCouldBeMade) {
  for (long k = 1;; ++k) {
    SCOPED_TRACE(k);
    FlexMsgQueue queue = {};
    const Fault fault(Call::kMemory, k, ENOMEM, Reach::kFromThen);
    EXPECT_EQ(1, Init_FlexMsgQueue(&queue, 3, 4, 0));
    // The array; then a slot and its queue, three times.
    EXPECT_EQ(k == 1, queue.subs == nullptr);
    EXPECT_EQ(static_cast<uint32_t>(k <= 2 ? 0 : (k - 1) / 2), queue.subCount);
    for (uint32_t sub = 0; sub < queue.subCount; ++sub) EXPECT_NE(nullptr, queue.subs[sub]);
    EXPECT_EQ(1, DeInit_FlexMsgQueue(&queue));
    free(queue.subs);
    if (!fault.fired()) break;
  }
}

TEST(InitFlexMsgQueueSub, WithoutMemoryForItsQueueEveryMessageIsADrop) {
  const Logger logger(1U << DBGLOG_CRITICAL);
  FlexMsgQueue record = {};
  {
    const Fault fault(Call::kMemory, 3);
    EXPECT_EQ(1, Init_FlexMsgQueue(&record, 1, 4, 0));
    EXPECT_TRUE(fault.fired());
  }
  uint32_t sub = 9;
  EXPECT_EQ(1, registerFlexMsgQueueSubscriber(&record, &sub));
  EXPECT_EQ(1, insertFlexMsgQueueEntry(&record, &g_data, sizeof g_data, 0));
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(&record, sub, 0));
  EXPECT_THAT(
      logger.lines(),
      ElementsAre("CRITICAL [flexmsgqueue]The queue was full and we drop an entry for sub 0"));
  DeInit_FlexMsgQueue(&record);
  free(record.subs);
}

TEST(RegisterFlexMsgQueueSubscriber, AFailedGrowthLeavesAQueueWithoutSlots) {
  TestMsgQueue queue(2);
  std::vector<FlexMsgQueueSub *> subs = {queue->subs[0], queue->subs[1]};
  queue.Register();
  queue.Register();
  queue.Publish(1);
  uint32_t sub = 9;
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(0, registerFlexMsgQueueSubscriber(&queue, &sub));
  }
  EXPECT_EQ(9U, sub);
  EXPECT_EQ(nullptr, queue->subs);
  EXPECT_EQ(0U, queue->subCount);
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(&queue, 0, 0));
  EXPECT_EQ(0, waitOnFlexMsgQueue(&queue, 0, kAMinute));
  EXPECT_EQ(-1, getFlexMsgQueueNumEntries(&queue, 0));
  EXPECT_EQ(0, lockMsgFlexQueue(&queue, 0, 1));
  EXPECT_EQ(1, deRegisterFlexMsgQueueSubscriber(&queue, 0));
  queue.Publish(2);

  // With memory, registration starts anew.
  EXPECT_EQ(0U, queue.Register());
  queue.Publish(3);
  EXPECT_THAT(queue.Receive(0), ElementsAre(3));

  // Subscribers may have been waiting in the lost slots, so they are never freed.
  for (FlexMsgQueueSub *const lost : subs) {
    EXPECT_EQ(1U, lost->queue.count);
    DeInit_FlexMsgQueueSub(lost);
  }
}

TEST(RegisterFlexMsgQueueSubscriber, WithoutMemoryForTheAddedSlotTheOthersStay) {
  TestMsgQueue queue(1);
  queue.Register();
  uint32_t sub = 9;
  {
    const Fault fault(Call::kMemory, 2);
    EXPECT_EQ(0, registerFlexMsgQueueSubscriberWMatch(&queue, &g_data, nullptr, &sub));
  }
  EXPECT_EQ(9U, sub);
  EXPECT_EQ(1U, queue->subCount);
  queue.Publish(1);
  EXPECT_THAT(queue.Receive(0), ElementsAre(1));
  EXPECT_EQ(1U, queue.Register());
}

TEST(InsertFlexMsgQueueEntry, ASubscriberWithoutMemoryForItsCopyIsPassedOver) {
  // Two subscribers, an entry and its data each.
  for (long k = 1; k <= 5; ++k) {
    SCOPED_TRACE(k);
    TestMsgQueue queue(2);
    queue.Register();
    queue.Register();
    {
      const Fault fault(Call::kMemory, k);
      queue.Publish(1);
      EXPECT_EQ(k <= 4, fault.fired());
    }
    EXPECT_EQ(k <= 2 ? 0U : 1U, queue->subs[0]->queue.count);
    EXPECT_EQ(k == 3 || k == 4 ? 0U : 1U, queue->subs[1]->queue.count);
  }
}

TEST(CreateQueueEntry, WithoutMemoryItGives0) {
  for (long k = 1; k <= 2; ++k) {
    FlexMsgEntry *entry = nullptr;
    const Fault fault(Call::kMemory, k);
    EXPECT_EQ(0, createQueueEntry(&g_data, sizeof g_data, &entry, nullptr));
    EXPECT_EQ(nullptr, entry);
  }
}

TEST(CreateQueueEntry, AClockThatCannotBeReadStamps0) {
  FlexMsgEntry *entry = nullptr;
  {
    const Fault fault(Call::kClockGettime, 1);
    EXPECT_EQ(1, createQueueEntry(&g_data, sizeof g_data, &entry, nullptr));
  }
  EXPECT_EQ(0, entry->timestamp);
  FreeFlexMsgQueueEntry(entry, 0);
}

TEST(LockFlexQueue, WithAClockThatCannotBeReadItGivesUpAtOnce) {
  TestFlexQueue queue(1);
  pthread_mutex_lock(&queue->mutex);
  const Fault fault(Call::kClockGettime, 1);
  EXPECT_EQ(1, lockFlexQueue(&queue, kAMinute));
  pthread_mutex_unlock(&queue->mutex);
}

TEST(WaitOnFlexQueue, WithAClockThatCannotBeReadItEndsAtOnce) {
  for (const bool broadcast : {true, false}) {
    TestFlexQueue queue(1);
    if (!broadcast) queue.UsePerSubscriberMode();
    const Fault fault(Call::kClockGettime, 1);
    EXPECT_EQ(0, waitOnFlexQueue(&queue, 0, kAMinute));
  }
}

}  // namespace
