// The lock of a subscriber's queue in the caller's hands: what it does, and where it hangs.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "messaging/flex_msg_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/child.hpp"
#include "support/interposed.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Child;
using cu_test::Eventually;
using cu_test::HasWaiter;
using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::TestMsgQueue;
using cu_test::WaitsFor;
using testing::ElementsAre;

TEST(LockMsgFlexQueue, LocksTheSubscribersQueueAndWith0Unlocks) {
  TestMsgQueue queue(1);
  queue.Register();
  pthread_mutex_t &fifo = queue->subs[0]->queue.mutex.mutex;
  EXPECT_EQ(1, lockMsgFlexQueue(&queue, 0, 5));
  EXPECT_TRUE(IsLocked(fifo));
  EXPECT_FALSE(IsLocked(queue->listMutex));
  EXPECT_EQ(1, lockMsgFlexQueue(&queue, 0, 0));
  EXPECT_FALSE(IsLocked(fifo));
}

TEST(LockMsgFlexQueue, TriesAsOftenAsItIsTold) {
  TestMsgQueue queue(1);
  queue.Register();
  Interposed calls;
  int attempts = 0;
  std::vector<long> pauses;
  calls.pthread_mutex_trylock = [&](pthread_mutex_t *mutex) {
    EXPECT_EQ(&queue->subs[0]->queue.mutex.mutex, mutex);
    return ++attempts, EBUSY;
  };
  calls.nanosleep = [&](const timespec *duration, timespec *) {
    pauses.push_back(duration->tv_nsec);
    return 0;
  };
  EXPECT_EQ(0, lockMsgFlexQueue(&queue, 0, 3));
  EXPECT_EQ(3, attempts);
  EXPECT_THAT(pauses, ElementsAre(1'000'000, 1'000'000, 1'000'000));
}

TEST(LockMsgFlexQueue, AFreeOrMissingSlotGives0) {
  TestMsgQueue queue(1);
  for (const int32_t ms : {0, 5}) {
    EXPECT_EQ(0, lockMsgFlexQueue(&queue, 0, ms));
    EXPECT_EQ(0, lockMsgFlexQueue(&queue, 1, ms));
    EXPECT_EQ(0, lockMsgFlexQueue(&queue, UINT32_MAX, ms));
    EXPECT_EQ(0, lockMsgFlexQueue(nullptr, 0, ms));
  }
  EXPECT_FALSE(IsLocked(queue->listMutex));
  EXPECT_FALSE(IsLocked(queue->subs[0]->queue.mutex.mutex));
}

TEST(LockMsgFlexQueue, LooksUnderTheListMutex) {
  TestMsgQueue queue(1);
  queue.Register();
  EXPECT_TRUE(WaitsFor(queue->listMutex, [&] { lockMsgFlexQueue(&queue, 0, 1); }));
  EXPECT_TRUE(IsLocked(queue->subs[0]->queue.mutex.mutex));
  lockMsgFlexQueue(&queue, 0, 0);
}

TEST(LockMsgFlexQueue, ToUnlockWithItWhileAPublicationWaitsForTheQueueHangsBoth) {
  TestMsgQueue queue(1);
  queue.Register();
  Child child([&] {
    EXPECT_EQ(1, lockMsgFlexQueue(&queue, 0, 1));
    std::thread([&] { queue.Publish(1); }).detach();
    while (!HasWaiter(queue->subs[0]->queue.mutex.mutex)) usleep(100);
    printf("unlocking");
    lockMsgFlexQueue(&queue, 0, 0);
    printf(" done");
    return 0;
  });
  ASSERT_TRUE(child.WaitForOutput("unlocking"));
  usleep(200'000);
  EXPECT_FALSE(child.HasEnded());
  EXPECT_EQ("unlocking", child.out());
}

TEST(LockMsgFlexQueue, ToDequeueUnderItWhileAPublicationWaitsForTheQueueHangsBoth) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  Child child([&] {
    EXPECT_EQ(1, lockMsgFlexQueue(&queue, 0, 1));
    std::thread([&] { queue.Publish(2); }).detach();
    while (!HasWaiter(queue->subs[0]->queue.mutex.mutex)) usleep(100);
    printf("dequeuing");
    FreeFlexMsgQueueEntry(DeQueueMsgFlexEntry(&queue, 0, 1), 0);
    printf(" done");
    return 0;
  });
  ASSERT_TRUE(child.WaitForOutput("dequeuing"));
  usleep(200'000);
  EXPECT_FALSE(child.HasEnded());
  EXPECT_EQ("dequeuing", child.out());
}

TEST(LockMsgFlexQueue, UnderItTheSlotsOwnMutexAndQueueWorkBesidePublications) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  SimpleQueue &fifo = queue->subs[0]->queue;
  EXPECT_EQ(1, lockMsgFlexQueue(&queue, 0, 1));
  std::thread publisher([&] { queue.Publish(2); });
  EXPECT_TRUE(Eventually([&] { return HasWaiter(fifo.mutex.mutex); }));
  FreeFlexMsgQueueEntry(static_cast<FlexMsgEntry *>(deQueueSimpleEntry(&fifo, 1)), 0);
  EXPECT_EQ(0, ambrel_mutex_unlock(&fifo.mutex));
  publisher.join();
  EXPECT_THAT(queue.Receive(0), ElementsAre(2));
}

TEST(DeQueueMsgFlexEntry, WithTheLockHeldItLeavesItHeld) {
  TestMsgQueue queue(1);
  queue.Register();
  queue.Publish(1);
  EXPECT_EQ(1, lockMsgFlexQueue(&queue, 0, 1));
  FreeFlexMsgQueueEntry(DeQueueMsgFlexEntry(&queue, 0, 1), 0);
  EXPECT_EQ(0U, queue->subs[0]->queue.count);
  EXPECT_EQ(nullptr, DeQueueMsgFlexEntry(&queue, 0, 1));
  EXPECT_TRUE(IsLocked(queue->subs[0]->queue.mutex.mutex));
  lockMsgFlexQueue(&queue, 0, 0);
}

TEST(UnlockMsgFlexQueue, WaitsForTheListMutexAndUnlocksNothing) {
  TestMsgQueue queue(1);
  queue.Register();
  lockMsgFlexQueue(&queue, 0, 1);
  EXPECT_TRUE(WaitsFor(queue->listMutex, [&] { unlockMsgFlexQueue(&queue); }));
  EXPECT_TRUE(IsLocked(queue->subs[0]->queue.mutex.mutex));
  EXPECT_FALSE(IsLocked(queue->listMutex));
  lockMsgFlexQueue(&queue, 0, 0);
  unlockMsgFlexQueue(nullptr);
}

}  // namespace
