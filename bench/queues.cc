// Queues: a 64-byte heap payload goes in, is copied out and freed by the consumer. One thread
// alone, a producer and a consumer, one publisher and eight subscribers, and the wake-up of a
// sleeper.
#include <glib.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/lockfree/spsc_queue.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/frame.hpp"
#include "include/ambrelthreadutils.h"
#include "include/flexmsgqueue.h"
#include "include/flexqueue.h"
#include "include/notifyqueue.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

constexpr size_t kPayload = 64;
constexpr uint32_t kCapacity = 1024;

struct Message {
  uint64_t number;
  char rest[kPayload - sizeof(uint64_t)];
};

Message *NewMessage(uint64_t number) {
  auto *const message = static_cast<Message *>(malloc(sizeof(Message)));
  message->number = number;
  memset(message->rest, 1, sizeof message->rest);
  return message;
}

/// A queue from one sender to one receiver.
class Channel {
 public:
  virtual ~Channel() = default;
  virtual bool Send(uint64_t number) = 0;   // false when full
  virtual bool Receive(Message &out) = 0;   // false when empty
  virtual void Wait(int milliseconds) = 0;  // until there may be something
};

class Ring final : public Channel {
 public:
  Ring() { init_queue(&queue_, kCapacity, 1000); }
  ~Ring() override { deinit_queue(&queue_); }
  bool Send(uint64_t number) override {
    Message *const message = NewMessage(number);
    if (insertQueueEntry(&queue_, message, 0, 0)) return true;
    free(message);
    return false;
  }
  bool Receive(Message &out) override {
    QueueEntry *const entry = deQueueEntry(&queue_, 0);
    if (entry == nullptr) return false;
    memcpy(&out, entry->data, sizeof out);
    FreeQueueEntry(entry, 0);
    return true;
  }
  void Wait(int milliseconds) override { waitOnQueue(&queue_, milliseconds); }

 private:
  Queue queue_ = {};
};

class Flex final : public Channel {
 public:
  Flex() { init_Flexqueue(&queue_, kCapacity, 60000); }
  ~Flex() override { deinit_Flexqueue(&queue_); }
  bool Send(uint64_t number) override {
    Message *const message = NewMessage(number);
    if (insertFlexQueueEntry(&queue_, message, 0, 0)) return true;
    free(message);
    return false;
  }
  bool Receive(Message &out) override {
    lockFlexQueue(&queue_, 0);
    FlexQueueIter iter = {};
    getFlexQueueIter(&queue_, &iter, 1);
    FlexEntry *const peeked = peekFlexQueueEntry(&iter, 1);
    FlexEntry *const entry = peeked == nullptr ? nullptr : deQueueFlexEntry(&iter, 1);
    unlockFlexQueue(&queue_);
    if (peeked == nullptr) return false;
    memcpy(&out, peeked->data, sizeof out);
    FreeFlexQueueEntry(peeked, 0);
    if (entry != nullptr) FreeFlexQueueEntry(entry, 0);
    return true;
  }
  void Wait(int milliseconds) override { waitOnFlexQueue(&queue_, 0, milliseconds); }

 private:
  FlexQueue queue_ = {};
};

class FlexMsg final : public Channel {
 public:
  FlexMsg() {
    Init_FlexMsgQueue(&queue_, 1, kCapacity, 1000);
    registerFlexMsgQueueSubscriber(&queue_, &sub_);
  }
  ~FlexMsg() override {
    DeInit_FlexMsgQueue(&queue_);
    free(queue_.subs);
  }
  bool Send(uint64_t number) override {
    Message message;
    message.number = number;
    memset(message.rest, 1, sizeof message.rest);
    if (isSimpleQueueFull(&queue_.subs[sub_]->queue)) return false;
    return insertFlexMsgQueueEntry(&queue_, &message, sizeof message, 0) != 0;
  }
  bool Receive(Message &out) override {
    FlexMsgEntry *const entry = DeQueueMsgFlexEntry(&queue_, sub_, 0);
    if (entry == nullptr) return false;
    memcpy(&out, entry->data, sizeof out);
    FreeFlexMsgQueueEntry(entry, 0);
    return true;
  }
  void Wait(int milliseconds) override { waitOnFlexMsgQueue(&queue_, sub_, milliseconds); }

 private:
  FlexMsgQueue queue_ = {};
  uint32_t sub_ = 0;
};

class Glib final : public Channel {
 public:
  ~Glib() override { g_async_queue_unref(queue_); }
  bool Send(uint64_t number) override {
    g_async_queue_push(queue_, NewMessage(number));
    return true;
  }
  bool Receive(Message &out) override { return Take(g_async_queue_try_pop(queue_), out); }
  void Wait(int milliseconds) override {
    if (gpointer const message =
            g_async_queue_timeout_pop(queue_, static_cast<guint64>(milliseconds) * 1000))
      g_async_queue_push_front(queue_, message);
  }

 private:
  static bool Take(gpointer message, Message &out) {
    if (message == nullptr) return false;
    memcpy(&out, message, sizeof out);
    free(message);
    return true;
  }
  GAsyncQueue *queue_ = g_async_queue_new();
};

class Deque final : public Channel {
 public:
  bool Send(uint64_t number) override {
    Message *const message = NewMessage(number);
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      queue_.push_back(message);
    }
    filled_.notify_one();
    return true;
  }
  bool Receive(Message &out) override {
    Message *message = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (queue_.empty()) return false;
      message = queue_.front();
      queue_.pop_front();
    }
    memcpy(&out, message, sizeof out);
    free(message);
    return true;
  }
  void Wait(int milliseconds) override {
    std::unique_lock<std::mutex> lock(mutex_);
    filled_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                     [this] { return !queue_.empty(); });
  }

 private:
  std::mutex mutex_;
  std::condition_variable filled_;
  std::deque<Message *> queue_;
};

class Lockfree final : public Channel {
 public:
  Lockfree() { sem_init(&filled_, 0, 0); }
  bool Send(uint64_t number) override {
    Message *const message = NewMessage(number);
    if (!queue_.push(message)) {
      free(message);
      return false;
    }
    sem_post(&filled_);
    return true;
  }
  bool Receive(Message &out) override {
    Message *message = nullptr;
    if (!queue_.pop(message)) return false;
    memcpy(&out, message, sizeof out);
    free(message);
    return true;
  }
  void Wait(int milliseconds) override {
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += milliseconds / 1000 + 1;
    sem_timedwait(&filled_, &deadline);
  }

 private:
  boost::lockfree::spsc_queue<Message *, boost::lockfree::capacity<kCapacity>> queue_;
  sem_t filled_;
};

using MakeChannel = std::function<std::shared_ptr<Channel>()>;

struct Kind {
  Role role;
  const char *name;
  MakeChannel make;
};

template <typename T>
Kind Of(Role role, const char *name) {
  return {role, name, [] { return std::make_shared<T>(); }};
}

std::vector<Kind> Kinds() {
  return {Of<Ring>(Role::kLibrary, "notifying queue"),
          Of<Flex>(Role::kLibrary, "flex queue"),
          Of<FlexMsg>(Role::kLibrary, "flex message queue"),
          Of<Glib>(Role::kPeer, "GAsyncQueue"),
          Of<Deque>(Role::kPeer, "std::deque + condition"),
          Of<Lockfree>(Role::kPeer, "boost spsc_queue + sem_t")};
}

uint64_t CopyFloor() {
  static Message out;
  Message *const message = NewMessage(1);
  cu_bench::Keep(message);
  memcpy(&out, message, sizeof out);
  free(message);
  return out.number;
}

uint64_t OneThread(Channel &channel) {
  Message out;
  channel.Send(1);
  return channel.Receive(out) ? out.number : 0;
}

constexpr uint64_t kStream = 20000;

uint64_t TwoThreads(Channel &channel) {
  std::thread producer([&] {
    for (uint64_t i = 1; i <= kStream; ++i)
      while (!channel.Send(i)) sched_yield();
  });
  uint64_t sum = 0, received = 0;
  Message out;
  while (received < kStream) {
    if (channel.Receive(out)) {
      sum += out.number;
      ++received;
    } else {
      channel.Wait(100);
    }
  }
  producer.join();
  return sum;
}

constexpr int kSubscribers = 8;

/// One publisher's side of eight subscribers.
class Fan {
 public:
  virtual ~Fan() = default;
  virtual void Publish(uint64_t number) = 0;
  virtual bool Receive(int subscriber, Message &out) = 0;
  virtual void Wait(int subscriber) = 0;
};

class FlexMsgFan final : public Fan {
 public:
  FlexMsgFan() {
    Init_FlexMsgQueue(&queue_, kSubscribers, kCapacity, 1000);
    for (uint32_t &sub : subs_) registerFlexMsgQueueSubscriber(&queue_, &sub);
  }
  ~FlexMsgFan() override {
    DeInit_FlexMsgQueue(&queue_);
    free(queue_.subs);
  }
  void Publish(uint64_t number) override {
    Message message;
    message.number = number;
    memset(message.rest, 1, sizeof message.rest);
    insertFlexMsgQueueEntry(&queue_, &message, sizeof message, 0);
  }
  bool Receive(int subscriber, Message &out) override {
    FlexMsgEntry *const entry = DeQueueMsgFlexEntry(&queue_, subs_[subscriber], 0);
    if (entry == nullptr) return false;
    memcpy(&out, entry->data, sizeof out);
    FreeFlexMsgQueueEntry(entry, 0);
    return true;
  }
  void Wait(int subscriber) override { waitOnFlexMsgQueue(&queue_, subs_[subscriber], 100); }

 private:
  FlexMsgQueue queue_ = {};
  uint32_t subs_[kSubscribers] = {};
};

template <typename T>
class FanOf final : public Fan {
 public:
  void Publish(uint64_t number) override {
    for (T &channel : channels_) channel.Send(number);
  }
  bool Receive(int subscriber, Message &out) override { return channels_[subscriber].Receive(out); }
  void Wait(int subscriber) override { channels_[subscriber].Wait(100); }

 private:
  T channels_[kSubscribers];
};

/// 64 messages published and drained by the same thread.
uint64_t Drain(Fan &fan) {
  uint64_t sum = 0;
  Message out;
  for (uint64_t i = 1; i <= 64; ++i) fan.Publish(i);
  for (int subscriber = 0; subscriber < kSubscribers; ++subscriber)
    while (fan.Receive(subscriber, out)) sum += out.number;
  return sum;
}

/// Eight consumer threads; batches of 256, each awaited before the next.
uint64_t Threads(Fan &fan) {
  constexpr uint64_t kBatch = 256, kBatches = 8;
  std::atomic<uint64_t> delivered{0}, sum{0};
  std::vector<std::thread> consumers;
  for (int subscriber = 0; subscriber < kSubscribers; ++subscriber)
    consumers.emplace_back([&, subscriber] {
      Message out;
      uint64_t received = 0, mine = 0;
      while (received < kBatch * kBatches) {
        if (fan.Receive(subscriber, out)) {
          ++received;
          mine += out.number;
          delivered.fetch_add(1, std::memory_order_release);
        } else {
          fan.Wait(subscriber);
        }
      }
      sum += mine;
    });
  for (uint64_t batch = 0; batch < kBatches; ++batch) {
    for (uint64_t i = 1; i <= kBatch; ++i) fan.Publish(i);
    while (delivered.load(std::memory_order_acquire) < (batch + 1) * kBatch * kSubscribers)
      sched_yield();
  }
  for (std::thread &consumer : consumers) consumer.join();
  return sum;
}

uint64_t NowNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

struct WakeUp {
  double latency = 1e18;  // nanoseconds, the median of the best round
  double sleeps = 0;      // voluntary context switches a message
};

/// A consumer asleep in a timed wait, a message every 150 us.
WakeUp MeasureWakeUp(const std::function<void(uint64_t)> &send,
                     const std::function<bool(Message &)> &receive,
                     const std::function<void()> &wait) {
  constexpr int kRounds = 10, kMessages = 300;
  WakeUp best;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<double> latencies;
    long sleeps = 0;
    std::thread consumer([&] {
      rusage before{}, after{};
      getrusage(RUSAGE_THREAD, &before);
      Message out;
      while (latencies.size() < kMessages) {
        if (receive(out))
          latencies.push_back(static_cast<double>(NowNanoseconds() - out.number));
        else
          wait();
      }
      getrusage(RUSAGE_THREAD, &after);
      sleeps = after.ru_nvcsw - before.ru_nvcsw;
    });
    for (int i = 0; i < kMessages; ++i) {
      const uint64_t until = NowNanoseconds() + 150000;
      while (NowNanoseconds() < until) sched_yield();
      send(NowNanoseconds());
    }
    consumer.join();
    std::nth_element(latencies.begin(), latencies.begin() + kMessages / 2, latencies.end());
    best.latency = std::min(best.latency, latencies[kMessages / 2]);
    best.sleeps += static_cast<double>(sleeps) / kMessages / kRounds;
  }
  return best;
}

WakeUp MeasureBareSemaphore() {
  sem_t sem;
  sem_init(&sem, 0, 0);
  std::atomic<uint64_t> latest{0};
  bool woken = false;  // the consumer's: a wait has taken a post already
  const WakeUp result = MeasureWakeUp(
      [&](uint64_t number) {
        latest.store(number, std::memory_order_release);
        sem_post(&sem);
      },
      [&](Message &out) {
        if (!woken && sem_trywait(&sem) != 0) return false;
        woken = false;
        out.number = latest.load(std::memory_order_acquire);
        return true;
      },
      [&] {
        timespec deadline{};
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += 1;
        woken = sem_timedwait(&sem, &deadline) == 0;
      });
  sem_destroy(&sem);
  return result;
}

void ReportWakeUps() {
  struct Aim {
    const char *name;
    double sleeps, latency;
  };
  static constexpr Aim kAims[] = {
      {"notifying queue", 2.0, 4.0}, {"flex queue", 2.05, 4.5}, {"flex message queue", 1.45, 3.0}};
  std::printf("queues: wake-up of a sleeper\n");
  const WakeUp floor = MeasureBareSemaphore();
  std::printf("  floor    %-34s %.2f sleeps a message, %.1f us\n", "sem_t", floor.sleeps,
              floor.latency / 1e3);
  for (const Kind &kind : Kinds()) {
    const auto channel = kind.make();
    const WakeUp one = MeasureWakeUp([&](uint64_t number) { channel->Send(number); },
                                     [&](Message &out) { return channel->Receive(out); },
                                     [&] { channel->Wait(1000); });
    std::printf("  %-8s %-34s %.2f sleeps a message, latency / sem_t = %.2f",
                kind.role == Role::kLibrary ? "library" : "peer", kind.name, one.sleeps,
                one.latency / floor.latency);
    for (const Aim &aim : kAims)
      if (std::strcmp(aim.name, kind.name) == 0)
        std::printf(", goals %.2f and %.2f: %s", aim.sleeps, aim.latency,
                    one.sleeps <= aim.sleeps && one.latency <= aim.latency * floor.latency
                        ? "met"
                        : "MISSED");
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("queues", cu_bench::Clock::kWall);

  auto &single = family.AddWorkload("one thread, send and receive");
  auto &pair = family.AddWorkload("1 producer, 1 consumer, 20,000 messages");
  for (const Kind &kind : Kinds()) {
    const auto channel = kind.make();
    single.Add(kind.role, kind.name, [channel] { return OneThread(*channel); });
    pair.Add(kind.role, kind.name, [channel] { return TwoThreads(*channel); });
  }
  single.Add(Role::kFloor, "malloc + copy + free", CopyFloor, Check::kNone);
  single.Goal("notifying queue", "GAsyncQueue", 0.95);
  single.Goal("flex queue", "GAsyncQueue", 1.2);
  single.Goal("flex message queue", "GAsyncQueue", 1.9);
  pair.Goal("notifying queue", "GAsyncQueue", 2.2);
  pair.Goal("flex queue", "GAsyncQueue", 3.5);
  pair.Goal("flex message queue", "GAsyncQueue", 0);

  auto &drain = family.AddWorkload("64 messages to 8 subscribers, one thread");
  auto &threads = family.AddWorkload("8 batches of 256 to 8 consumer threads");
  const auto add_fan = [&](Role role, const char *name, std::shared_ptr<Fan> fan) {
    drain.Add(role, name, [fan] { return Drain(*fan); });
    threads.Add(role, name, [fan] { return Threads(*fan); });
  };
  add_fan(Role::kLibrary, "flex message queue", std::make_shared<FlexMsgFan>());
  add_fan(Role::kPeer, "GAsyncQueue", std::make_shared<FanOf<Glib>>());
  add_fan(Role::kPeer, "std::deque + condition", std::make_shared<FanOf<Deque>>());
  add_fan(Role::kPeer, "boost spsc_queue + sem_t", std::make_shared<FanOf<Lockfree>>());
  drain.Goal("flex message queue", "GAsyncQueue", 2.7);
  threads.Goal("flex message queue", "GAsyncQueue", 0.8);

  const int status = family.Main(argc, argv);
  bool filtered = false;
  for (int i = 1; i < argc; ++i) filtered = filtered || std::strcmp(argv[i], "--filter") == 0;
  if (!filtered) ReportWakeUps();
  return status;
}
