// Flex queue listeners that are cancelled while they wait: what they leave behind.
#include <gtest/gtest.h>

#include "messaging/flex_queue_fixture.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::IsLocked;
using cu_test::TestFlexQueue;

constexpr int32_t kAMinute = 60'000;

TEST(WaitOnFlexQueue, ACancelledBroadcastListenerLeavesTheConditionUnlocked) {
  for (const int32_t ms : {0, kAMinute}) {
    struct Listener {
      TestFlexQueue queue{4};
      int32_t ms;
    } listener = {.ms = ms};
    pthread_t thread;
    const auto listen = [](void *argument) -> void * {
      auto *const self = static_cast<Listener *>(argument);
      waitOnFlexQueue(&self->queue, 0, self->ms);
      return nullptr;
    };
    ASSERT_EQ(0, pthread_create(&thread, nullptr, listen, &listener));
    // Cancelled before it waits or while it does: the outcome is the same.
    pthread_cancel(thread);
    void *result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(PTHREAD_CANCELED, result);
    ASSERT_FALSE(IsLocked(listener.queue->condMutex));
    EXPECT_NE(nullptr, listener.queue.Insert(1));
  }
}

}  // namespace
