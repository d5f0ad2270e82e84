// The flush loop of a flex message queue. It never returns, so each test runs it in a child process
// and ends the child from within a sleep of the loop, or by killing it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "messaging/flex_msg_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/child.hpp"
#include "support/interposed.hpp"
#include "support/sanitizers.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Child;
using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::TestMsgQueue;
using testing::HasSubstr;
using testing::Not;

constexpr int32_t kStart = 10'000;

/// What a child's loop did, as it happens.
struct Loop {
  Interposed calls;
  int sleeps = 0;
  int clock_reads = 0;
};

/// Runs the loop in a child, on a monotonic clock that starts at kStart and gains 1000 s a read,
/// for a number of sleeps. The result is what the child printed: each sleep, each signal ("wakes
/// 2").
std::string RunLoop(TestMsgQueue &queue, int sleeps) {
  Child child([&] {
    static Loop loop;
    loop.calls.clock_gettime = [](clockid_t clock, timespec *now) {
      if (clock == CLOCK_MONOTONIC) *now = {kStart + 1'000 * loop.clock_reads++, 999'999'999};
      return 0;
    };
    loop.calls.nanosleep = [&](const timespec *duration, timespec *) {
      if (loop.sleeps++ == sleeps) {
        printf("%d clock reads", loop.clock_reads);
        _exit(0);
      }
      printf("sleeps %d.%ld%s\n", static_cast<int>(duration->tv_sec), duration->tv_nsec,
             IsLocked(queue->listMutex) ? " locked" : "");
      return 0;
    };
    loop.calls.pthread_cond_signal = [&](pthread_cond_t *condition) {
      for (uint32_t sub = 0; sub < queue->subCount; ++sub) {
        FlexMsgQueueSub &slot = *queue->subs[sub];
        if (&slot.sem.cond != condition) continue;
        const bool locked = IsLocked(queue->listMutex) && IsLocked(slot.queue.mutex.mutex) &&
                            !IsLocked(queue->regMutex);
        printf("wakes %u%s\n", sub, locked ? "" : " wrongly locked");
      }
      return 0;
    };
    FlexQueueFlushQueues(&queue);
    return 1;
  });
  EXPECT_EQ(0, child.Wait().status());
  return child.out();
}

/// Publishes to every subscriber and dates the copies.
void PublishAt(TestMsgQueue &queue, int32_t timestamp) {
  queue.Publish(1);
  for (uint32_t sub = 0; sub < queue->subCount; ++sub) {
    const SimpleQueue &fifo = queue->subs[sub]->queue;
    if (fifo.count == 0) continue;
    static_cast<FlexMsgEntry *>(fifo.slots[fifo.tail])->timestamp = timestamp;
  }
}

TEST(FlexQueueFlushQueues, NullReturns) {
  FlexQueueFlushQueues(nullptr);
}

TEST(FlexQueueFlushQueues, SleepsThePeriodUnlockedAndReadsTheClockOnce) {
  TestMsgQueue queue(2, 8, 1500);
  queue.Register();
  EXPECT_EQ("sleeps 1.500000000\nsleeps 1.500000000\n1 clock reads", RunLoop(queue, 2));
}

TEST(FlexQueueFlushQueues, ANegativePeriodSleepsASecondAndZeroNotAtAll) {
  TestMsgQueue negative(1, 8, -250);
  EXPECT_EQ("sleeps 1.0\n1 clock reads", RunLoop(negative, 1));
  TestMsgQueue zero(1, 8, 0);
  EXPECT_EQ("sleeps 0.0\n1 clock reads", RunLoop(zero, 1));
}

TEST(FlexQueueFlushQueues, WakesTheSubscribersWhoseOldestMessageIsOldInOrder) {
  TestMsgQueue queue(4, 8, 5'000);
  for (int i = 0; i < 4; ++i) queue.Register();
  PublishAt(queue, kStart - 6);
  PublishAt(queue, kStart);
  queue.Receive(1);                                             // nothing left
  FreeFlexMsgQueueEntry(DeQueueMsgFlexEntry(&queue, 2, 0), 0);  // a young one left
  EXPECT_EQ("sleeps 5.0\nwakes 0\nwakes 3\nsleeps 5.0\nwakes 0\nwakes 3\n1 clock reads",
            RunLoop(queue, 2));
}

TEST(FlexQueueFlushQueues, LooksAtSlotsInUseAlone) {
  TestMsgQueue queue(2, 8, 5'000);
  queue.Register();
  queue.Register();
  PublishAt(queue, kStart - 60);
  PublishAt(queue, kStart - 60);
  deRegisterFlexMsgQueueSubscriber(&queue, 0);
  ASSERT_EQ(1U, queue->subs[0]->queue.count);
  EXPECT_EQ("sleeps 5.0\nwakes 1\n1 clock reads", RunLoop(queue, 1));
}

struct AgeRow {
  int32_t flush_ms;
  int32_t timestamp;
  bool wakes;
};

TEST(FlexQueueFlushQueues, AMessageIsOldAboveThePeriodBeforeTheStart) {
  constexpr AgeRow kRows[] = {
      {5'000, kStart - 6, true},
      {5'000, kStart - 5, false},
      {4'999, kStart - 5, true},
      {0, kStart - 1, true},
      {0, kStart, false},
      {1, kStart + 3'000, false},  // published after the loop had started
      {-1, kStart, true},          // a negative limit is passed at once
      {-2'000, kStart + 2, false},
      {-2'001, kStart + 2, true},
      {INT32_MAX, kStart - 2'147'484, true},  // beyond 32 bits of milliseconds
      {INT32_MAX, kStart - 2'147'483, false},
      {INT32_MAX, INT32_MIN, true},
      {INT32_MIN, INT32_MAX, false},
  };
  for (const AgeRow &row : kRows) {
    SCOPED_TRACE(testing::Message() << row.flush_ms << " ms, stamped " << row.timestamp);
    TestMsgQueue queue(1, 8, row.flush_ms);
    queue.Register();
    PublishAt(queue, row.timestamp);
    const std::string out = RunLoop(queue, 1);
    EXPECT_EQ(row.wakes, out.find("wakes 0\n") != std::string::npos) << out;
  }
}

TEST(FlexQueueFlushQueues, TheStartIsNeverRefreshed) {
  TestMsgQueue queue(1, 8, 5'000);
  queue.Register();
  PublishAt(queue, kStart + 1);
  // However long the loop runs, a message that is younger than the loop is never old.
  EXPECT_THAT(RunLoop(queue, 50), Not(HasSubstr("wakes")));
}

TEST(FlexQueueFlushQueues, LooksUnderTheListAndTheSubscribersMutex) {
  for (const bool list : {true, false}) {
    TestMsgQueue queue(1, 8, 1);
    queue.Register();
    Child child([&] {
      pthread_mutex_t &held = list ? queue->listMutex : queue->subs[0]->queue.mutex.mutex;
      pthread_mutex_lock(&held);
      std::thread([&] { FlexQueueFlushQueues(&queue); }).detach();
      return cu_test::Eventually([&] { return cu_test::HasWaiter(held); }) ? 0 : 1;
    });
    EXPECT_EQ(0, child.Wait().status());
  }
}

TEST(FlexQueueFlushQueues, With255SlotsARoundEnds) {
  TestMsgQueue queue(255, 1, 1);
  for (int i = 0; i < 255; ++i) queue.Register();
  PublishAt(queue, kStart - 60);
  const std::string out = RunLoop(queue, 2);
  EXPECT_THAT(out, HasSubstr("wakes 254\n"));
  EXPECT_THAT(out, HasSubstr("1 clock reads"));
}

TEST(FlexQueueFlushQueues, With256SlotsARoundNeverEndsAndKeepsTheListLocked) {
  TestMsgQueue queue(256, 1, 1);
  Child child([&] {
    std::thread([&] { FlexQueueFlushQueues(&queue); }).detach();
    while (!IsLocked(queue->listMutex)) usleep(100);
    printf("locked");
    unlockMsgFlexQueue(&queue);
    printf("unlocked");
    return 0;
  });
  ASSERT_TRUE(child.WaitForOutput("locked"));
  usleep(200'000);
  EXPECT_FALSE(child.HasEnded());
  EXPECT_EQ("locked", child.out());
}

#if !CU_ADDRESS_SANITIZER && !CU_THREAD_SANITIZER  // they lose track of its stack
TEST(FlexQueueFlushQueues, CancellationEndsItInItsSleepWithNothingLocked) {
  Child child([&] {
    TestMsgQueue queue(2, 8, 1);
    queue.Register();
    pthread_t loop;
    pthread_create(
        &loop, nullptr,
        [](void *record) -> void * {
          FlexQueueFlushQueues(static_cast<FlexMsgQueue *>(record));
          return nullptr;
        },
        &queue);
    pthread_cancel(loop);
    void *result = nullptr;
    pthread_join(loop, &result);
    const bool free = !IsLocked(queue->listMutex) && !IsLocked(queue->regMutex) &&
                      !IsLocked(queue->subs[0]->queue.mutex.mutex);
    return result == PTHREAD_CANCELED && free ? 0 : 1;
  });
  EXPECT_EQ(0, child.Wait().status());
}
#endif

}  // namespace
