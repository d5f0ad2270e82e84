// A flex queue of its own for a test, and the steps that most tests take with it.
#ifndef COMMONUTILITIES_TESTS_MESSAGING_FLEX_QUEUE_FIXTURE_HPP
#define COMMONUTILITIES_TESTS_MESSAGING_FLEX_QUEUE_FIXTURE_HPP

#include <gtest/gtest.h>
#include <stdlib.h>

#include "include/flexqueue.h"

namespace cu_test {

class TestFlexQueue {
 public:
  explicit TestFlexQueue(uint32_t capacity, uint32_t age_ms = 0) {
    EXPECT_EQ(1, init_Flexqueue(&record_, capacity, age_ms));
  }
  ~TestFlexQueue() { deinit_Flexqueue(&record_); }
  TestFlexQueue(const TestFlexQueue &) = delete;
  TestFlexQueue &operator=(const TestFlexQueue &) = delete;

  FlexQueue &operator*() { return record_; }
  FlexQueue *operator&() { return &record_; }
  FlexQueue *operator->() { return &record_; }

  /// Every slot gets a semaphore, and insertions signal the slots that are in use.
  void UsePerSubscriberMode() {
    record_.broadcastMode = 0;
    EXPECT_EQ(1, initSubscribers(&record_));
  }

  uint32_t Register() {
    uint32_t slot = UINT32_MAX;
    EXPECT_EQ(1, registerSubscriber(&record_, &slot));
    return slot;
  }

  /// Inserts an entry whose data is heap memory.
  FlexEntry *Insert(uint32_t tag) {
    void *const data = malloc(1);
    if (insertFlexQueueEntry(&record_, data, tag, 0) == 1) return AtTag(tag);
    free(data);
    return nullptr;
  }

  /// Removes the entry of a slot and drops the queue's reference.
  void Remove(uint32_t slot) {
    FlexQueueIter iter = {&record_, slot, 0};
    FreeFlexQueueEntry(deQueueFlexEntry(&iter, 0), 0);
  }

  /// The iterator of a reader who starts now.
  FlexQueueIter Begin() {
    FlexQueueIter iter = {};
    getFlexQueueIter(&record_, &iter, 0);
    return iter;
  }

 private:
  FlexEntry *AtTag(uint32_t tag) {
    for (uint32_t slot = 0; slot < record_.capacity; ++slot) {
      FlexEntry *const entry = record_.slots[slot].entry;
      if (entry != nullptr && entry->tag == tag) return entry;
    }
    return nullptr;
  }

  FlexQueue record_ = {};
};

}  // namespace cu_test

#endif
