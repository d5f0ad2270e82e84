// Many producers and readers on one flex queue, in both modes and with every way to lock it, while
// listeners come and go. Every message is removed once and released once.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <deque>
#include <optional>
#include <thread>
#include <vector>

#include "messaging/flex_queue_fixture.hpp"
#include "support/threads.hpp"
#include "support/watchdog.hpp"

namespace {

using cu_test::Rounds;
using cu_test::TestFlexQueue;

constexpr int kProducers = 8;
constexpr int kReaders = 8;
const long kMessages = Rounds(1'000'000) / kProducers;  // of each producer
constexpr int32_t kAMinute = 60'000;
constexpr int32_t kWaitMs = 5;
constexpr uint32_t kCapacity = 128;
constexpr size_t kComers = 40;  // listeners that come and go at most

/// What became of each message: how often it was removed and how often it was released.
struct Fate {
  std::atomic<uint8_t> removed{0};
  std::atomic<uint8_t> released{0};
};

std::deque<Fate> g_fates;
std::atomic<long> g_removed{0};

struct Message {
  long number;
};

Fate &FateOf(const FlexEntry &entry) {
  return g_fates[static_cast<size_t>(static_cast<const Message *>(entry.data)->number)];
}

void ReleaseMessage(FlexEntry *entry) {
  ++FateOf(*entry).released;
  free(entry->data);
}

void CountRemoval(const FlexEntry &entry) {
  ++FateOf(entry).removed;
  ++g_removed;
}

// ---- the ways to lock ---------------------------------------------------------------------------

void LockPolling(FlexQueue &queue) {
  lockFlexQueue(&queue, 0);
}

void LockWithTime(FlexQueue &queue) {
  lockFlexQueue(&queue, kAMinute);
}

void LockDirectly(FlexQueue &queue) {
  pthread_mutex_lock(&queue.mutex);
}

using LockFn = void (*)(FlexQueue &);
constexpr LockFn kLeftToTheCalls = nullptr;
constexpr LockFn kLocks[] = {kLeftToTheCalls, LockPolling, LockWithTime, LockDirectly};

// ---- producers ----------------------------------------------------------------------------------

bool Insert(FlexQueue &queue, Message *message, uint32_t tag, LockFn lock) {
  if (lock == kLeftToTheCalls) return insertFlexQueueEntry(&queue, message, tag, 0) != 0;
  lock(queue);
  const bool inserted = insertFlexQueueEntry(&queue, message, tag, 1) != 0;
  unlockFlexQueue(&queue);
  return inserted;
}

void Produce(FlexQueue &queue, int producer, LockFn lock) {
  for (long i = 0; i < kMessages; ++i) {
    auto *const message = static_cast<Message *>(malloc(sizeof(Message)));
    message->number = producer * kMessages + i;
    // A full queue refuses the message, and it stays the producer's.
    while (!Insert(queue, message, static_cast<uint32_t>(producer), lock)) {
      std::this_thread::yield();
    }
  }
}

// ---- readers ------------------------------------------------------------------------------------

/// Peeks and removes under one lock, so that both give the same entry.
void ReadLocked(FlexQueue &queue, LockFn lock) {
  FlexQueueIter iter = {};
  lock(queue);
  getFlexQueueIter(&queue, &iter, 1);
  FlexEntry *const entry = peekFlexQueueEntry(&iter, 1);
  if (entry != nullptr) {
    EXPECT_EQ(entry, deQueueFlexEntry(&iter, 1));
    EXPECT_GE(entry->refCount, 2);
    FreeFlexQueueEntry(entry, 1);
  }
  unlockFlexQueue(&queue);
  if (entry == nullptr) return;
  CountRemoval(*entry);
  FreeFlexQueueEntry(entry, 0);
}

/// Leaves the locking to the calls: others may remove what was peeked, or replace it, in between.
void ReadUnlocked(FlexQueue &queue, FlexQueueIter &iter) {
  getFlexQueueIter(&queue, &iter, 0);
  FlexEntry *const peeked = peekFlexQueueEntry(&iter, 0);
  if (peeked == nullptr) return;
  FlexEntry *const removed = deQueueFlexEntry(&iter, 0);
  if (removed != nullptr) {
    CountRemoval(*removed);
    FreeFlexQueueEntry(removed, 0);
  }
  FreeFlexQueueEntry(peeked, 0);
}

void Read(FlexQueue &queue, uint32_t slot, LockFn lock) {
  FlexQueueIter iter = {};
  while (g_removed < kProducers * kMessages) {
    if (waitOnFlexQueue(&queue, slot, kWaitMs) == 0) continue;
    if (lock == kLeftToTheCalls) {
      ReadUnlocked(queue, iter);
    } else {
      ReadLocked(queue, lock);
    }
  }
}

// ---- the rest -----------------------------------------------------------------------------------

/// Listeners that come and go, the first time in such a number that the registry grows.
void Churn(FlexQueue &queue) {
  std::vector<uint32_t> slots;
  for (unsigned round = 1; g_removed < kProducers * kMessages; ++round) {
    uint32_t slot = 0;
    EXPECT_NE(0, registerSubscriber(&queue, &slot));
    slots.push_back(slot);
    if (slots.size() % 4 == 0) waitOnFlexQueue(&queue, slot, 1);
    if (slots.size() < (round <= kComers ? kComers : 16)) continue;
    while (!slots.empty()) {
      EXPECT_NE(0, deRegisterSubscriber(&queue, slots.back()));
      slots.pop_back();
    }
  }
}

/// Looks at entries without removing them.
void Browse(FlexQueue &queue) {
  FlexQueueIter iter = {};
  getFlexQueueIter(&queue, &iter, 0);
  while (g_removed < kProducers * kMessages) {
    FreeFlexQueueEntry(peekFlexQueueEntry(&iter, 0), 0);
    isFlexQueueFull(&queue);
    std::this_thread::yield();
  }
}

void PlayOut(TestFlexQueue &queue) {
  g_removed = 0;
  g_fates.clear();
  g_fates.resize(static_cast<size_t>(kProducers * kMessages));
  queue->freeFn = ReleaseMessage;
  std::optional<cu_test::Watchdog> watchdog([] { return g_removed.load(); });
  std::vector<std::thread> threads;
  for (int i = 0; i < kReaders; ++i) {
    const uint32_t slot = queue.Register();
    threads.emplace_back([&queue, slot, i] { Read(*queue, slot, kLocks[i % 4]); });
  }
  threads.emplace_back([&queue] { Churn(*queue); });
  threads.emplace_back([&queue] { Browse(*queue); });
  for (int i = 0; i < kProducers; ++i) {
    threads.emplace_back([&queue, i] { Produce(*queue, i, kLocks[i % 4]); });
  }
  for (std::thread &thread : threads) thread.join();
  watchdog.reset();

  EXPECT_EQ(0U, queue->count);
  EXPECT_EQ(kProducers * kMessages, g_removed);
  long astray = 0;
  for (const Fate &fate : g_fates) astray += fate.removed != 1 || fate.released != 1;
  EXPECT_EQ(0, astray);
}

TEST(FlexQueueStress, InBroadcastModeEachMessageIsRemovedAndReleasedOnce) {
  TestFlexQueue queue(kCapacity);
  PlayOut(queue);
}

TEST(FlexQueueStress, InPerSubscriberModeEachMessageIsRemovedAndReleasedOnce) {
  TestFlexQueue queue(kCapacity);
  queue.UsePerSubscriberMode();
  PlayOut(queue);
  EXPECT_GE(queue->subscriberSlots, kReaders + kComers);
}

}  // namespace
