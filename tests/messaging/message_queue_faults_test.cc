// The message queue without memory: every allocation of each scenario fails in turn.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "include/messagequeue.h"
#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;

/// A queue of three with the messages "one" and "two".
class TwoMessages : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(0, MessageQueueInit(&queue_, 3));
    ASSERT_EQ(0, MessageQueueAdd(&queue_, "one", 3));
    ASSERT_EQ(0, MessageQueueAdd(&queue_, "two", 3));
  }
  void TearDown() override { MessageQueueDeInit(&queue_); }

  MessageQueue queue_ = {};
};

TEST(MessageQueueInit, WithoutMemoryFails) {
  MessageQueue queue = {};
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(-1, MessageQueueInit(&queue, 3));
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_EQ(0, queue.initialised);
  EXPECT_EQ(-1, MessageQueueAdd(&queue, "text", 4));
  MessageQueueDeInit(&queue);
}

TEST_F(TwoMessages, AddWithoutMemoryFailsAndChangesNothing) {
  ASSERT_EQ(0, MessageQueueAdd(&queue_, "three", 5));
  for (long k = 1;; ++k) {
    const Fault fault(Call::kMemory, k);
    const int result = MessageQueueAdd(&queue_, "four", 4);
    if (!fault.fired()) {
      EXPECT_EQ(0, result);
      EXPECT_EQ(3, k);  // the message and its data
      EXPECT_EQ(1, queue_.wraps);
      return;
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(3, queue_.count);
    EXPECT_EQ(3, queue_.writeIndex);
    EXPECT_STREQ("one", static_cast<const char *>(queue_.entries[0]->data));
  }
}

TEST_F(TwoMessages, FormattedTextWithoutItsBufferFailsAndWithoutAMessageIsDropped) {
  for (long k = 1;; ++k) {
    const Fault fault(Call::kMemory, k);
    const int result = MessageQueueAddWithParameters(&queue_, "text %d", 3);
    if (!fault.fired()) {
      EXPECT_EQ(0, result);
      EXPECT_EQ(3, queue_.count);
      return;
    }
    EXPECT_EQ(k == 1 ? -1 : 0, result);
    EXPECT_EQ(2, queue_.count);
  }
}

TEST_F(TwoMessages, AWalkWithoutMemoryFailsAndGoesOnAtTheSameMessage) {
  MessageQueueIter iter;
  ASSERT_EQ(0, MessageQueueGetIter(&queue_, &iter));
  for (long k = 1;; ++k) {
    MessageEntry *message = queue_.entries[0];
    const Fault fault(Call::kMemory, k);
    const int result = MessageQueueGetMessage(&iter, &message);
    if (!fault.fired()) {
      EXPECT_EQ(0, result);
      EXPECT_STREQ("one", static_cast<const char *>(message->data));
      FreeMessageEntry(message);
      return;
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(nullptr, message);
    EXPECT_EQ(0, iter.read);
  }
}

TEST_F(TwoMessages, SerialisingWithoutMemoryGivesOneAndNothing) {
  for (long k = 1;; ++k) {
    char other = 0;
    void *stream = &other;
    uint32_t length = 4711;
    const Fault fault(Call::kMemory, k);
    EXPECT_EQ(1, SerializeMsgQueue(&queue_, &stream, &length));
    if (!fault.fired()) {
      EXPECT_EQ(26u, length);
      free(stream);
      return;
    }
    EXPECT_EQ(nullptr, stream);
    EXPECT_EQ(0u, length);
  }
}

TEST_F(TwoMessages, LoadingWithoutMemoryKeepsWhatWasLoadedBefore) {
  void *stream = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(1, SerializeMsgQueue(&queue_, &stream, &length));
  for (long k = 1;; ++k) {
    MessageQueue target = {};
    ASSERT_EQ(0, MessageQueueInit(&target, 3));
    bool fired = false;
    {
      const Fault fault(Call::kMemory, k);
      EXPECT_EQ(1, DeSerializeMsgQueue(&target, stream, static_cast<int32_t>(length)));
      fired = fault.fired();
    }
    EXPECT_EQ(fired ? (k - 1) / 2 : 2, target.count);
    MessageQueueDeInit(&target);
    if (!fired) break;
  }
  free(stream);
}

}  // namespace
