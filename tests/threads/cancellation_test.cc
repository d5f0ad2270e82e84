// Threads that are cancelled while they wait: what they leave behind.
#include "include/ambrelthreadutils.h"

#include <gtest/gtest.h>
#include <sched.h>

#include "support/threads.hpp"

namespace {

using cu_test::IsLocked;

void *WaitOn(void *semaphore) {
  AmbrelSemphoreTimedWait(static_cast<AmbrelSemaphore *>(semaphore));
  return nullptr;
}

TEST(ConditionSemaphore, StaysUsableWhenAWaitingThreadIsCancelled) {
  for (int round = 0; round < 200; ++round) {
    const uint32_t timeout_ms = round % 2 == 0 ? 0 : 60'000;
    AmbrelSemaphore condition = {};
    ASSERT_EQ(1, AmbrelSemaphoreInit(&condition, timeout_ms));
    pthread_t waiter;
    ASSERT_EQ(0, pthread_create(&waiter, nullptr, WaitOn, &condition));
    // Some are cancelled before they wait, some while they do: the outcome is the same.
    for (int pause = 0; pause < round % 20; ++pause) sched_yield();
    pthread_cancel(waiter);
    void *result = nullptr;
    pthread_join(waiter, &result);
    EXPECT_EQ(PTHREAD_CANCELED, result);
    ASSERT_FALSE(IsLocked(condition.mutex));
    EXPECT_EQ(1, AmbrelSemphoreSignal(&condition, 0));
    EXPECT_EQ(1, AmbrelSemaphoreDestroy(&condition));
  }
}

}  // namespace
