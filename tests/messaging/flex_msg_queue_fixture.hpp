// A flex message queue of its own for a test, and the steps that most tests take with it.
#ifndef COMMONUTILITIES_TESTS_MESSAGING_FLEX_MSG_QUEUE_FIXTURE_HPP
#define COMMONUTILITIES_TESTS_MESSAGING_FLEX_MSG_QUEUE_FIXTURE_HPP

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "include/flexmsgqueue.h"

namespace cu_test {

/// Removes and releases every entry of a queue.
inline void ReleaseAll(SimpleQueue &queue) {
  while (void *const item = deQueueSimpleEntry(&queue, 0)) {
    FreeFlexMsgQueueEntry(static_cast<FlexMsgEntry *>(item), 1);
  }
}

/// Messages are numbers.
class TestMsgQueue {
 public:
  explicit TestMsgQueue(uint32_t sub_count, uint32_t sub_capacity = 8, int32_t flush_ms = 0) {
    EXPECT_EQ(1, Init_FlexMsgQueue(&record_, sub_count, sub_capacity, flush_ms));
  }
  ~TestMsgQueue() {
    for (uint32_t sub = 0; sub < record_.subCount; ++sub) ReleaseAll(record_.subs[sub]->queue);
    DeInit_FlexMsgQueue(&record_);
    free(record_.subs);
  }
  TestMsgQueue(const TestMsgQueue &) = delete;
  TestMsgQueue &operator=(const TestMsgQueue &) = delete;

  FlexMsgQueue *operator&() { return &record_; }
  FlexMsgQueue *operator->() { return &record_; }

  uint32_t Register() {
    uint32_t sub = UINT32_MAX;
    EXPECT_EQ(1, registerFlexMsgQueueSubscriber(&record_, &sub));
    return sub;
  }

  void Publish(uint32_t number) {
    EXPECT_EQ(1, insertFlexMsgQueueEntry(&record_, &number, sizeof number, 0));
  }

  /// Takes every message of a subscriber.
  std::vector<uint32_t> Receive(uint32_t sub) {
    std::vector<uint32_t> numbers;
    while (FlexMsgEntry *const entry = DeQueueMsgFlexEntry(&record_, sub, 0)) {
      numbers.push_back(NumberOf(*entry));
      FreeFlexMsgQueueEntry(entry, 0);
    }
    return numbers;
  }

  /// The messages that wait in a slot, whether a subscriber is registered in it or not.
  std::vector<uint32_t> Pending(uint32_t sub) {
    const SimpleQueue &queue = record_.subs[sub]->queue;
    std::vector<uint32_t> numbers;
    for (uint32_t i = 0; i < queue.count; ++i) {
      const void *const item = queue.slots[(queue.head + i) % queue.capacity];
      numbers.push_back(NumberOf(*static_cast<const FlexMsgEntry *>(item)));
    }
    return numbers;
  }

  static uint32_t NumberOf(const FlexMsgEntry &entry) {
    uint32_t number = UINT32_MAX;
    memcpy(&number, entry.data, sizeof number);
    return number;
  }

 private:
  FlexMsgQueue record_ = {};
};

}  // namespace cu_test

#endif
