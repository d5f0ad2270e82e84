// A million entries through one queue, by eight producers and eight consumers that lock in every
// way a caller may: each is delivered once, in its producer's order, and released once.
#include "include/notifyqueue.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "support/threads.hpp"
#include "support/watchdog.hpp"

namespace {

constexpr uint32_t kProducers = 8;
constexpr uint32_t kConsumers = 8;
const uint32_t kMostPerProducer = cu_test::Rounds(1'000'000) / kProducers;
constexpr int32_t kAMinute = 60'000;

struct Payload {
  uint32_t producer;
  uint32_t number;
};

std::atomic<long> g_released{0};
std::vector<std::atomic<uint8_t>> *g_releases;  // by producer and number

void CountRelease(QueueEntry *entry) {
  const auto *const payload = static_cast<Payload *>(entry->data);
  ++(*g_releases)[payload->producer * kMostPerProducer + payload->number];
  ++g_released;
  free(entry->data);
}

/// The ways to lock around one step: by the call itself, or by the caller with or without a limit.
class CallersLock {
 public:
  CallersLock(Queue *queue, uint32_t way) : queue_(queue), held_(way % 3 != 0) {
    if (held_) lockQueue(queue, way % 3 == 1 ? 0 : kAMinute);
  }
  ~CallersLock() {
    if (held_) unlockQueue(queue_);
  }
  int flag() const { return held_ ? 1 : 0; }

 private:
  Queue *queue_;
  bool held_;
};

struct Load {
  uint32_t capacity;
  uint32_t per_producer;
};
void PrintTo(const Load &load, std::ostream *out) {
  *out << load.capacity;
}

class ManyToMany : public testing::TestWithParam<Load> {
 protected:
  void Produce(uint32_t producer) {
    for (uint32_t number = 0; number < per_producer_; ++number) {
      auto *const payload = static_cast<Payload *>(malloc(sizeof(Payload)));
      *payload = {producer, number};
      while (!TryInsert(payload, number)) sched_yield();
    }
  }

  bool TryInsert(Payload *payload, uint32_t way) {
    const CallersLock lock(&queue_, way);
    return insertQueueEntry(&queue_, payload, payload->producer, lock.flag()) == 1;
  }

  void Consume(uint32_t consumer) {
    std::vector<int64_t> last(kProducers, -1);
    for (uint32_t way = consumer; delivered_ < total_; ++way) {
      if (way % 16 == 0) LookAtTheOldest();
      QueueEntry *const entry = Remove(way);
      if (entry == nullptr) {
        waitOnQueue(&queue_, 10);
        continue;
      }
      const Payload payload = *static_cast<Payload *>(entry->data);
      if (payload.producer != entry->tag || last[payload.producer] >= payload.number) ++disorder_;
      last[payload.producer] = payload.number;
      ++delivered_;
      const CallersLock lock(&queue_, way / 3);
      FreeQueueEntry(entry, lock.flag());
    }
  }

  QueueEntry *Remove(uint32_t way) {
    const CallersLock lock(&queue_, way);
    return deQueueEntry(&queue_, lock.flag());
  }

  void LookAtTheOldest() {
    lockQueue(&queue_, 0);
    QueueEntry *const oldest = peekQueueEntry(&queue_, 1);
    if (oldest != nullptr && oldest->tag >= kProducers) ++disorder_;
    FreeQueueEntry(oldest, 1);
    unlockQueue(&queue_);
    static_cast<void>(isQueueEmpty(&queue_) + isQueueFull(&queue_));  // read without the lock
  }

  const uint32_t per_producer_ = GetParam().per_producer;
  const int64_t total_ = int64_t{kProducers} * per_producer_;
  Queue queue_ = {};
  std::atomic<int64_t> delivered_{0};
  std::atomic<long> disorder_{0};
};

// The small queues are full or empty most of the time, and every step then waits for another
// thread.
INSTANTIATE_TEST_SUITE_P(Capacity, ManyToMany,
                         testing::Values(Load{1, kMostPerProducer / 50},
                                         Load{3, kMostPerProducer / 50},
                                         Load{1024, kMostPerProducer}),
                         testing::PrintToStringParamName());

TEST_P(ManyToMany, EveryEntryIsDeliveredAndReleasedOnce) {
  std::vector<std::atomic<uint8_t>> releases(size_t{kProducers} * kMostPerProducer);
  g_releases = &releases;
  g_released = 0;
  ASSERT_EQ(1, init_queue(&queue_, GetParam().capacity, 10));
  queue_.freeFn = CountRelease;

  {
    const cu_test::Watchdog watchdog([this] { return static_cast<long>(delivered_); });
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < kProducers; ++i) threads.emplace_back([this, i] { Produce(i); });
    for (uint32_t i = 0; i < kConsumers; ++i) threads.emplace_back([this, i] { Consume(i); });
    for (std::thread &thread : threads) thread.join();
  }

  EXPECT_EQ(total_, delivered_);
  EXPECT_EQ(total_, g_released);
  EXPECT_EQ(total_, std::count(releases.begin(), releases.end(), 1));
  EXPECT_EQ(0, disorder_);
  EXPECT_EQ(1, isQueueEmpty(&queue_));
  deinit_queue(&queue_);
}

TEST(QueueTeardown, ReleasesWhatWasNotTaken) {
  std::vector<std::atomic<uint8_t>> releases(size_t{kProducers} * kMostPerProducer);
  g_releases = &releases;
  g_released = 0;
  Queue queue = {};
  ASSERT_EQ(1, init_queue(&queue, 64, 0));
  queue.freeFn = CountRelease;
  for (uint32_t number = 0; number < 64; ++number) {
    auto *const payload = static_cast<Payload *>(malloc(sizeof(Payload)));
    *payload = {0, number};
    EXPECT_EQ(1, insertQueueEntry(&queue, payload, 0, 0));
  }
  deinit_queue(&queue);
  EXPECT_EQ(64, g_released);
}

TEST(QueueNotify, IsSwitchedWhileOthersInsert) {
  Queue queue = {};
  ASSERT_EQ(1, init_queue(&queue, 4, 0));
  queue.freeFn = [](QueueEntry *) {};
  std::atomic<bool> done{false};
  std::thread switcher([&] {
    while (!done) {
      disableQueueNotify(&queue);
      signalQueueListeners(&queue);
      enableQueueNotify(&queue);
    }
  });
  int datum = 0;
  for (long i = 0; i < cu_test::Rounds(200'000); ++i) {
    EXPECT_EQ(1, insertQueueEntry(&queue, &datum, 1, 0));
    FreeQueueEntry(deQueueEntry(&queue, 0), 0);
  }
  done = true;
  switcher.join();
  deinit_queue(&queue);
}

TEST(QueueHouseKeeping, RunsBesideTheOthersAndEndsWhenItsThreadIsCancelled) {
  static std::atomic<long> released;
  released = 0;
  Queue queue = {};
  ASSERT_EQ(1, init_queue(&queue, 4, 0));
  queue.freeFn = [](QueueEntry *) { ++released; };
  pthread_t keeper;
  ASSERT_EQ(0, pthread_create(
                   &keeper, nullptr,
                   [](void *kept) -> void * {
                     queueHouseKeeping(static_cast<Queue *>(kept));
                     return nullptr;
                   },
                   &queue));
  int datum = 0;
  const long rounds = cu_test::Rounds(100'000);
  for (long i = 0; i < rounds; ++i) {
    EXPECT_EQ(1, insertQueueEntry(&queue, &datum, 1, 0));
    lockQueue(&queue, 0);
    QueueEntry *const entry = deQueueEntry(&queue, 1);
    // As many releases as the rounds of housekeeping that saw it, and at least one.
    for (int32_t left = std::max(entry->refCount, 1); left > 0; --left) FreeQueueEntry(entry, 1);
    unlockQueue(&queue);
  }
  pthread_cancel(keeper);
  pthread_join(keeper, nullptr);
  EXPECT_EQ(rounds, released);
  EXPECT_FALSE(cu_test::IsLocked(queue.mutex));
  EXPECT_FALSE(cu_test::IsLocked(queue.sem->mutex));
  deinit_queue(&queue);
}

}  // namespace
