// A million messages by eight writers through one message queue, while eight readers walk over it
// and serialise it: every message that anyone sees is whole, in its writer's order, and none is
// lost.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>
#include <vector>

#include "include/messagequeue.h"
#include "support/threads.hpp"
#include "support/watchdog.hpp"

namespace {

constexpr long kWriters = 8;
constexpr long kReaders = 8;
const long kPerWriter = cu_test::Rounds(1'000'000) / kWriters;

/// Takes a message's text apart; false when it is not one that a writer wrote.
bool Parse(const MessageEntry &message, long *writer, long *number) {
  char again[64];
  const char *const text = static_cast<const char *>(message.data);
  if (sscanf(text, "writer %ld message %ld", writer, number) != 2) return false;
  snprintf(again, sizeof again, "writer %ld message %ld", *writer, *number);
  return strcmp(again, text) == 0 && message.length == strlen(text) + 1 && *writer >= 0 &&
         *writer < kWriters;
}

class MessageQueueThreads : public testing::TestWithParam<uint16_t> {
 protected:
  void SetUp() override { ASSERT_EQ(0, MessageQueueInit(&queue_, GetParam())); }
  void TearDown() override { MessageQueueDeInit(&queue_); }

  void Write(long writer) {
    for (long number = 0; number < kPerWriter; ++number) {
      char text[64];
      const int length = snprintf(text, sizeof text, "writer %ld message %ld", writer, number);
      if (!Add(text, static_cast<uint16_t>(length), number)) ++faults_;
      ++added_;
    }
    ++finished_;
  }

  bool Add(const char *text, uint16_t length, long way) {
    if (way % 2 == 0) return MessageQueueAdd(&queue_, text, length) == 0;
    const MessageEntry message = {0, length + 1U, 0, const_cast<char *>(text)};
    MessageEntry *copy = nullptr;
    return MessageQueueCloneEntry(&message, &copy) == 0 && MessageQueueAddEntry(&queue_, copy) == 0;
  }

  void Walk() {
    for (bool last = false; !last;) {
      last = finished_ == kWriters;  // the last round sees the full queue
      MessageQueueIter iter;
      if (MessageQueueGetIter(&queue_, &iter) != 0) ++faults_;
      for (MessageEntry *message; MessageQueueGetMessage(&iter, &message) == 0;
           FreeMessageEntry(message)) {
        long writer = 0, number = 0;
        if (!Parse(*message, &writer, &number)) ++faults_;
        ++seen_;
      }
    }
  }

  void Serialise() {
    MessageQueue copy = {};
    for (bool last = false; !last;) {
      last = finished_ == kWriters;  // the last round sees the full queue
      void *stream = nullptr;
      uint32_t length = 0;
      if (SerializeMsgQueue(&queue_, &stream, &length) != 1 || stream == nullptr) ++faults_;
      MessageQueueInit(&copy, GetParam());
      if (DeSerializeMsgQueue(&copy, stream, static_cast<int32_t>(length)) != (length > 15))
        ++faults_;
      CheckOrder(copy);
      MessageQueueDeInit(&copy);
      free(stream);
    }
  }

  /// A stream shows one moment: each writer's messages are in their order, without a gap.
  void CheckOrder(const MessageQueue &copy) {
    std::vector<long> last(kWriters, -1);
    for (int slot = 0; slot < copy.count; ++slot) {
      long writer = 0, number = 0;
      if (!Parse(*copy.entries[slot], &writer, &number)) {
        ++faults_;
        continue;
      }
      if (last[writer] != -1 && number != last[writer] + 1) ++faults_;
      last[writer] = number;
      ++seen_;
    }
  }

  MessageQueue queue_ = {};
  std::atomic<long> added_{0};
  std::atomic<long> finished_{0};
  std::atomic<long> faults_{0};
  std::atomic<long> seen_{0};
};

INSTANTIATE_TEST_SUITE_P(Capacity, MessageQueueThreads, testing::Values(1, 7, 1000),
                         testing::PrintToStringParamName());

TEST_P(MessageQueueThreads, EveryMessageIsWholeAndCounted) {
  std::optional<cu_test::Watchdog> watchdog([this] { return added_.load(); });
  std::vector<std::thread> threads;
  for (long i = 0; i < kWriters; ++i) threads.emplace_back([this, i] { Write(i); });
  for (long i = 0; i < kReaders / 2; ++i) {
    threads.emplace_back([this] { Walk(); });
    threads.emplace_back([this] { Serialise(); });
  }
  for (std::thread &thread : threads) thread.join();
  watchdog.reset();

  EXPECT_EQ(0, faults_);
  EXPECT_GT(seen_, 0);
  // Every message went through a slot: full rounds are counted as wraps, the rest is there.
  const long total = kWriters * kPerWriter, capacity = GetParam();
  EXPECT_EQ((total - 1) / capacity % 256, queue_.wraps);
  EXPECT_EQ((total - 1) % capacity + 1, queue_.count);
  EXPECT_EQ(queue_.count, queue_.writeIndex);
  for (int slot = 0; slot < capacity; ++slot) {
    long writer = 0, number = 0;
    EXPECT_TRUE(Parse(*queue_.entries[slot], &writer, &number));
    EXPECT_EQ(1u, queue_.entries[slot]->refCount);
  }
}

}  // namespace
