// Queues: a 64-byte heap payload goes in, is copied out and freed by the consumer. One thread
// alone, a producer and a consumer, one publisher and eight subscribers, and the wake-up of a
// sleeper.
#include <fcntl.h>
#include <glib.h>
#include <mqueue.h>
#include <poll.h>
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
    if (entry != nullptr)
      FreeFlexQueueEntry(peeked, 1);  // the peek's reference, while locked anyway
    unlockFlexQueue(&queue_);
    if (entry == nullptr) return false;
    memcpy(&out, entry->data, sizeof out);
    FreeFlexQueueEntry(entry, 0);
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

/// POSIX messages: the kernel copies, so there is no payload on the heap.
class PosixMq final : public Channel {
 public:
  PosixMq() {
    static int made = 0;
    const std::string name =
        "/bench-queues-" + std::to_string(getpid()) + "-" + std::to_string(made++);
    // The least that every system allows is 10 messages.
    for (const long capacity : {long{kCapacity}, 10L}) {
      mq_attr attributes = {};
      attributes.mq_maxmsg = capacity;
      attributes.mq_msgsize = sizeof(Message);
      queue_ = mq_open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_NONBLOCK, 0600, &attributes);
      if (queue_ >= 0) break;
    }
    mq_unlink(name.c_str());
  }
  ~PosixMq() override { mq_close(queue_); }
  bool Opened() const { return queue_ >= 0; }
  bool Send(uint64_t number) override {
    Message message;
    message.number = number;
    memset(message.rest, 1, sizeof message.rest);
    return mq_send(queue_, reinterpret_cast<const char *>(&message), sizeof message, 0) == 0;
  }
  bool Receive(Message &out) override {
    return mq_receive(queue_, reinterpret_cast<char *>(&out), sizeof out, nullptr) ==
           static_cast<ssize_t>(sizeof out);
  }
  void Wait(int milliseconds) override {
    pollfd one = {static_cast<int>(queue_), POLLIN, 0};  // Linux: a queue is a descriptor
    poll(&one, 1, milliseconds);
  }

 private:
  mqd_t queue_ = -1;
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
  std::vector<Kind> kinds = {Of<Ring>(Role::kLibrary, "notifying queue"),
                             Of<Flex>(Role::kLibrary, "flex queue"),
                             Of<FlexMsg>(Role::kLibrary, "flex message queue"),
                             Of<Glib>(Role::kPeer, "GAsyncQueue"),
                             Of<Deque>(Role::kPeer, "std::deque + condition"),
                             Of<Lockfree>(Role::kPeer, "boost spsc_queue + sem_t")};
  if (PosixMq().Opened()) kinds.push_back(Of<PosixMq>(Role::kPeer, "POSIX mq"));
  return kinds;
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
WakeUp MeasureWakeUp(int rounds, const std::function<void(uint64_t)> &send,
                     const std::function<bool(Message &)> &receive,
                     const std::function<void()> &wait) {
  constexpr int kMessages = 300;
  WakeUp best;
  for (int round = 0; round < rounds; ++round) {
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
    best.sleeps += static_cast<double>(sleeps) / kMessages / rounds;
  }
  return best;
}

WakeUp MeasureBareSemaphore(int rounds) {
  sem_t sem;
  sem_init(&sem, 0, 0);
  std::atomic<uint64_t> latest{0};
  bool woken = false;  // the consumer's: a wait has taken a post already
  const WakeUp result = MeasureWakeUp(
      rounds,
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

std::vector<cu_bench::Figure> WakeUps(int rounds) {
  std::vector<cu_bench::Figure> figures;
  const WakeUp floor = MeasureBareSemaphore(rounds);
  const auto add = [&](Role role, const char *name, const WakeUp &one) {
    figures.push_back({role, name, "sleeps a message", one.sleeps});
    figures.push_back({role, name, "latency / sem_t", one.latency / floor.latency});
  };
  for (const Kind &kind : Kinds()) {
    const auto channel = kind.make();
    add(kind.role, kind.name,
        MeasureWakeUp(
            rounds,
            [&](uint64_t number) {
              while (!channel->Send(number)) sched_yield();  // a small one is full at times
            },
            [&](Message &out) { return channel->Receive(out); }, [&] { channel->Wait(1000); }));
  }
  add(Role::kFloor, "sem_t", floor);
  return figures;
}

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("queues", cu_bench::Clock::kWall);

  auto &single = family.AddWorkload("one thread, send and receive", cu_bench::Clock::kCpu);
  auto &pair = family.AddWorkload("1 producer, 1 consumer, 20,000 messages");
  for (const Kind &kind : Kinds()) {
    const auto channel = kind.make();
    single.Add(kind.role, kind.name, [channel] { return OneThread(*channel); });
    pair.Add(kind.role, kind.name, [channel] { return TwoThreads(*channel); });
  }
  single.Add(Role::kFloor, "malloc + copy + free", CopyFloor, Check::kNone);

  auto &drain =
      family.AddWorkload("64 messages to 8 subscribers, one thread", cu_bench::Clock::kCpu);
  auto &threads = family.AddWorkload("8 batches of 256 to 8 consumer threads");
  const auto add_fan = [&](Role role, const char *name, std::shared_ptr<Fan> fan) {
    drain.Add(role, name, [fan] { return Drain(*fan); });
    threads.Add(role, name, [fan] { return Threads(*fan); });
  };
  add_fan(Role::kLibrary, "flex message queue", std::make_shared<FlexMsgFan>());
  add_fan(Role::kPeer, "GAsyncQueue", std::make_shared<FanOf<Glib>>());
  add_fan(Role::kPeer, "std::deque + condition", std::make_shared<FanOf<Deque>>());
  add_fan(Role::kPeer, "boost spsc_queue + sem_t", std::make_shared<FanOf<Lockfree>>());

  family.AddFigures("wake-up of a sleeper", WakeUps);
  return family.Main(argc, argv);
}
