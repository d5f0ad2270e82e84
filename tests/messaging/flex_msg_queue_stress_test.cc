// Many publishers and subscribers on one flex message queue, while subscribers come and go and the
// flush loop runs. For every subscriber, copies received, drops logged and copies purged add up to
// what was published for it; each copy is released once.
#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <atomic>
#include <deque>
#include <string_view>
#include <thread>
#include <vector>

#include "include/dbglog.h"
#include "messaging/flex_msg_queue_fixture.hpp"
#include "support/threads.hpp"
#include "support/watchdog.hpp"

namespace {

using cu_test::ReleaseAll;
using cu_test::Rounds;

constexpr uint32_t kPublishers = 8;
constexpr uint32_t kSubscribers = 8;
const uint32_t kPublished = Rounds(1'000'000) / kPublishers;  // by each of them
constexpr uint32_t kCapacity = 64;
constexpr size_t kComers = 20;  // subscribers that come and go at most
constexpr int32_t kWaitMs = 5;
constexpr int32_t kAttempts = 60'000;

/// Drops logged, by slot. Those that come and go have slots behind the others.
std::array<std::atomic<uint32_t>, 256> g_drops;

/// Texts that no test expects.
std::atomic<uint32_t> g_other_lines{0};

}  // namespace

// Counts the log lines instead of writing them.
extern "C" void __wrap__ZN2cu11EmitLogPairEjPKcz(uint32_t level, const char *format, ...) {
  constexpr std::string_view kDrop = "[%s:%d]The queue was full and we drop an entry for sub %d\n";
  va_list arguments;
  va_start(arguments, format);
  const std::string_view module = va_arg(arguments, const char *);
  static_cast<void>(va_arg(arguments, int));  // the line
  if (level == DBGLOG_CRITICAL && format == kDrop && module == "flexmsgqueue") {
    ++g_drops.at(static_cast<size_t>(va_arg(arguments, int)));
  } else {
    ++g_other_lines;
  }
  va_end(arguments);
}

namespace {

/// While it lives, the library logs at level CRITICAL, to the function above.
class CriticalLog {
 public:
  CriticalLog() {
    for (std::atomic<uint32_t> &drops : g_drops) drops = 0;
    g_other_lines = 0;
    block_.logLevelMask = 1U << DBGLOG_CRITICAL;
    gDBGLogCtrl = &block_;
  }
  ~CriticalLog() { gDBGLogCtrl = nullptr; }
  CriticalLog(const CriticalLog &) = delete;
  CriticalLog &operator=(const CriticalLog &) = delete;

 private:
  DBGLogCtrl block_ = {};
};

struct Message {
  uint32_t publisher;
  uint32_t number;
};

/// One who stays registered, and what became of the messages for it.
struct Subscriber {
  uint32_t slot = 0;
  uint32_t mask = 0xFF;  // of the publishers that it listens to
  SimpleQueue *fifo = nullptr;
  uint32_t received = 0;
  std::array<uint32_t, kPublishers> next = {};  // the lowest number that may come
  bool in_order = true;
  std::atomic<uint32_t> purged{0};

  uint32_t wanted() const { return static_cast<uint32_t>(__builtin_popcount(mask)) * kPublished; }
};

/// A copy that knows for whom it was made; null for those that come and go.
struct Copy {
  Message message;
  Subscriber *receiver;
};

std::atomic<long> g_copies{0};
std::atomic<long> g_releases{0};
std::atomic<long> g_purges{0};
thread_local bool t_publishing = false;
thread_local Subscriber *t_receiver = nullptr;  // of the copy that is about to be made

int CopyMessage(void *source, void **out) {
  ++g_copies;
  auto *const copy = static_cast<Copy *>(malloc(sizeof(Copy)));
  *copy = {*static_cast<const Message *>(source), t_receiver};
  t_receiver = nullptr;
  *out = copy;
  return 1;
}

/// Publishers release what they purge; everything else is released elsewhere.
void ReleaseMessage(FlexMsgEntry *entry) {
  ++g_releases;
  const auto *const copy = static_cast<const Copy *>(entry->data);
  if (t_publishing) {
    ++g_purges;
    if (copy->receiver != nullptr) ++copy->receiver->purged;
  }
  free(entry->data);
}

int WantsPublisher(void *context, void *data) {
  auto *const subscriber = static_cast<Subscriber *>(context);
  const bool wanted = (subscriber->mask >> static_cast<Message *>(data)->publisher & 1U) != 0;
  t_receiver = wanted ? subscriber : nullptr;
  return wanted;
}

/// The filter of those that come and go: every other message.
int WantsEven(void *, void *data) {
  return static_cast<Message *>(data)->number % 2 == 0;
}

struct Scene {
  FlexMsgQueue *queue;
  std::deque<Subscriber> subscribers;
  std::atomic<bool> published{false};
};

// ---- publishers ---------------------------------------------------------------------------------

void Publish(FlexMsgQueue &queue, uint32_t publisher) {
  t_publishing = true;
  const bool locks_itself = publisher % 2 != 0;
  for (uint32_t number = 0; number < kPublished; ++number) {
    Message message = {publisher, number};
    if (locks_itself) pthread_mutex_lock(&queue.regMutex);
    EXPECT_EQ(1, insertFlexMsgQueueEntry(&queue, &message, sizeof message, locks_itself));
    if (locks_itself) pthread_mutex_unlock(&queue.regMutex);
  }
}

// ---- subscribers --------------------------------------------------------------------------------

void Receive(Subscriber &subscriber, FlexMsgEntry *entry) {
  const Message message = static_cast<const Copy *>(entry->data)->message;
  uint32_t &next = subscriber.next.at(message.publisher);
  subscriber.in_order = subscriber.in_order && message.number >= next &&
                        (subscriber.mask >> message.publisher & 1U) != 0;
  next = message.number + 1;
  ++subscriber.received;
  FreeFlexMsgQueueEntry(entry, 0);
}

/// The next message: one call that locks for itself, or the steps of a caller who locks.
FlexMsgEntry *TakeNext(FlexMsgQueue &queue, const Subscriber &subscriber) {
  if (subscriber.slot % 2 == 0) return DeQueueMsgFlexEntry(&queue, subscriber.slot, 0);
  EXPECT_EQ(1, lockMsgFlexQueue(&queue, subscriber.slot, kAttempts));
  auto *const entry = static_cast<FlexMsgEntry *>(deQueueSimpleEntry(subscriber.fifo, 1));
  ambrel_mutex_unlock(&subscriber.fifo->mutex);  // where others publish, the one safe way
  return entry;
}

void Subscribe(Scene &scene, Subscriber &subscriber) {
  for (;;) {
    const bool last_look = scene.published;
    waitOnFlexMsgQueue(scene.queue, subscriber.slot, kWaitMs);
    while (FlexMsgEntry *const entry = TakeNext(*scene.queue, subscriber)) {
      Receive(subscriber, entry);
    }
    if (last_look) return;
  }
}

/// Subscribers that come and go, the first time in such a number that the array grows.
void Churn(Scene &scene) {
  static int context;
  std::vector<uint32_t> slots;
  for (unsigned round = 0; !scene.published; ++round) {
    uint32_t slot = 0;
    if (round % 2 == 0) {
      EXPECT_EQ(1, registerFlexMsgQueueSubscriber(scene.queue, &slot));
    } else {
      EXPECT_EQ(1, registerFlexMsgQueueSubscriberWMatch(scene.queue, &context, WantsEven, &slot));
    }
    slots.push_back(slot);
    waitOnFlexMsgQueue(scene.queue, slot, 1);
    FreeFlexMsgQueueEntry(DeQueueMsgFlexEntry(scene.queue, slot, 0), 0);
    EXPECT_EQ(-1, getFlexMsgQueueNumEntries(scene.queue, slot));
    if (slots.size() < (round < kComers ? kComers : 5)) continue;
    while (!slots.empty()) {
      EXPECT_EQ(1, deRegisterFlexMsgQueueSubscriber(scene.queue, slots.back()));
      slots.pop_back();
    }
  }
}

// ---- the run ------------------------------------------------------------------------------------

/// The flush loop never ends, so its queue is never released.
FlexMsgQueue &NewQueueWithFlushLoop(uint32_t autopurge) {
  auto *const queue = new FlexMsgQueue();
  Init_FlexMsgQueue(queue, kSubscribers, kCapacity, 1);
  queue->copyFn = CopyMessage;
  queue->releaseFn = ReleaseMessage;
  queue->autopurge = autopurge;
  std::thread([queue] { FlexQueueFlushQueues(queue); }).detach();
  return *queue;
}

void AddSubscriber(Scene &scene, uint32_t mask) {
  Subscriber &subscriber = scene.subscribers.emplace_back();
  subscriber.mask = mask;
  EXPECT_EQ(1, registerFlexMsgQueueSubscriberWMatch(scene.queue, &subscriber, WantsPublisher,
                                                    &subscriber.slot));
  subscriber.fifo = &scene.queue->subs[subscriber.slot]->queue;
}

void PlayOut(Scene &scene) {
  g_copies = g_releases = g_purges = 0;
  for (const uint32_t mask : {0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0x01, 0xAA, 0x00}) {
    AddSubscriber(scene, mask);
  }
  const cu_test::Watchdog watchdog([] { return g_copies + g_releases; });
  std::vector<std::thread> readers;
  for (Subscriber &subscriber : scene.subscribers) {
    readers.emplace_back([&] { Subscribe(scene, subscriber); });
  }
  readers.emplace_back([&] { Churn(scene); });
  readers.emplace_back([&] { Churn(scene); });
  std::vector<std::thread> publishers;
  for (uint32_t i = 0; i < kPublishers; ++i) {
    publishers.emplace_back([&scene, i] { Publish(*scene.queue, i); });
  }
  for (std::thread &thread : publishers) thread.join();
  scene.published = true;
  for (std::thread &thread : readers) thread.join();
  EXPECT_GE(scene.queue->subCount, kSubscribers + kComers);

  for (uint32_t sub = 0; sub < scene.queue->subCount; ++sub) {
    ReleaseAll(scene.queue->subs[sub]->queue);
  }
  EXPECT_EQ(g_copies, g_releases);
  for (const Subscriber &subscriber : scene.subscribers) EXPECT_TRUE(subscriber.in_order);
}

TEST(FlexMsgQueueStress, WithoutAutopurgeReceivedAndDroppedAddUp) {
  const CriticalLog log;
  Scene scene = {&NewQueueWithFlushLoop(0), {}};
  PlayOut(scene);
  for (const Subscriber &subscriber : scene.subscribers) {
    SCOPED_TRACE(subscriber.slot);
    EXPECT_EQ(subscriber.wanted(), subscriber.received + g_drops[subscriber.slot]);
    EXPECT_EQ(subscriber.mask != 0, subscriber.received > 0);
  }
  EXPECT_EQ(0, g_purges);
  EXPECT_EQ(0U, g_other_lines);
}

TEST(FlexMsgQueueStress, WithAutopurgeReceivedAndPurgedAddUpAndNothingIsDropped) {
  const CriticalLog log;
  Scene scene = {&NewQueueWithFlushLoop(1), {}};
  PlayOut(scene);
  for (const Subscriber &subscriber : scene.subscribers) {
    SCOPED_TRACE(subscriber.slot);
    EXPECT_EQ(subscriber.wanted(), subscriber.received + subscriber.purged);
    EXPECT_EQ(0U, g_drops[subscriber.slot]);
  }
  EXPECT_GT(g_purges, 0);
  EXPECT_EQ(0U, g_other_lines);
}

}  // namespace
