// The life of a flex queue, its lock and its size.
#include "include/flexqueue.h"

#include <errno.h>
#include <stddef.h>
#include <stdlib.h>
#include <time.h>

#include "messaging/flex_queue.hpp"

namespace {

constexpr timespec kRetryPause = {0, 10'000};
constexpr uint32_t kMsPerSecond = 1'000;

static_assert(sizeof(void *) != 4 || sizeof(FlexEntry) == 24);
static_assert(sizeof(void *) != 4 || sizeof(FlexSlot) == 8);
static_assert(sizeof(void *) != 4 || sizeof(FlexQueueIter) == 12);
static_assert(offsetof(FlexQueue, subscriberCount) == sizeof(void *));
static_assert(offsetof(FlexQueue, subscriberSlots) == sizeof(void *) + 4);
static_assert(offsetof(FlexQueue, count) == sizeof(void *) + 8);
static_assert(offsetof(FlexQueue, capacity) == sizeof(void *) + 12);
static_assert(offsetof(FlexQueue, lastSearchStart) == sizeof(void *) + 16);
static_assert(offsetof(FlexQueue, searchPos) == sizeof(void *) + 20);
static_assert(offsetof(FlexQueue, ageMs) == sizeof(void *) + 24);
static_assert(offsetof(FlexQueue, mutex) < offsetof(FlexQueue, slots));
static_assert(offsetof(FlexQueue, freeFn) == offsetof(FlexQueue, slots) + sizeof(void *));
static_assert(offsetof(FlexQueue, broadcastMode) == offsetof(FlexQueue, freeFn) + sizeof(void *));
static_assert(offsetof(FlexQueue, broadcastMode) < offsetof(FlexQueue, cond));
static_assert(offsetof(FlexQueue, cond) < offsetof(FlexQueue, condMutex));

void LockWithin(FlexQueue &queue, int32_t ms) {
  timespec deadline;
  AmbrelGetWaitTime(ms, &deadline);
  // Whether there is a lock afterwards is not looked at; callers with a time-out accept that.
  static_cast<void>(pthread_mutex_timedlock(&queue.mutex, &deadline));
}

/// Tries again and again: a producer never sleeps on the mutex itself.
void LockByPolling(FlexQueue &queue) {
  while (pthread_mutex_trylock(&queue.mutex) != 0) nanosleep(&kRetryPause, nullptr);
}

}  // namespace

int init_Flexqueue(FlexQueue *queue, uint32_t capacity, uint32_t ageMs) {
  if (queue == nullptr) return 0;
  queue->ageMs = ageMs;
  queue->capacity = capacity;
  cu::SetCount(*queue, 0);
  queue->subscriberCount = 0;
  queue->broadcastMode = 1;
  queue->searchPos = 0;
  queue->slots = static_cast<FlexSlot *>(calloc(capacity, sizeof(FlexSlot)));
  queue->subscribers =
      static_cast<SubscriberSlot *>(calloc(FLEXQUEUE_INITIAL_SUBSCRIBERS, sizeof(SubscriberSlot)));
  queue->subscriberSlots = FLEXQUEUE_INITIAL_SUBSCRIBERS;
  if (queue->slots == nullptr || queue->subscribers == nullptr) {
    free(queue->slots);
    queue->slots = nullptr;
    free(queue->subscribers);
    queue->subscribers = nullptr;
  }
  pthread_mutex_init(&queue->mutex, nullptr);
  pthread_mutex_init(&queue->condMutex, nullptr);
  pthread_cond_init(&queue->cond, nullptr);
  return queue->broadcastMode;
}

int deinit_Flexqueue(FlexQueue *queue) {
  if (queue == nullptr) return 0;
  {
    const cu::MutexLock lock(queue->mutex);
    for (const FlexSlot &slot : cu::Slots(*queue)) {
      if (slot.inUse != 0) FreeFlexQueueEntry(slot.entry, 1);
    }
    free(queue->slots);
    queue->slots = nullptr;
    cu::SetCount(*queue, 0);
    queue->capacity = 0;
  }
  pthread_mutex_destroy(&queue->mutex);
  deinitSubscribers(queue);
  if (queue->broadcastMode != 0) {
    pthread_mutex_destroy(&queue->condMutex);
    pthread_cond_destroy(&queue->cond);
  }
  free(queue->subscribers);
  queue->subscribers = nullptr;
  return 1;
}

int lockFlexQueue(FlexQueue *queue, int32_t ms) {
  if (queue == nullptr) return 0;
  if (ms != 0) {
    LockWithin(*queue, ms);
  } else {
    LockByPolling(*queue);
  }
  return 1;
}

int unlockFlexQueue(FlexQueue *queue) {
  return queue != nullptr ? pthread_mutex_unlock(&queue->mutex) : EINVAL;
}

uint32_t getFlexQueueSize(const FlexQueue *queue) {
  return queue != nullptr ? queue->capacity : 0;
}

int isFlexQueueFull(const FlexQueue *queue) {
  return queue == nullptr || cu::Count(*queue) == queue->capacity;
}

int isFlexQueueEmpty(const FlexQueue *queue) {
  return queue == nullptr || cu::Count(*queue) == 0;
}

uint32_t getmsAsNs(uint32_t ms, uint32_t *out) {
  if (out == nullptr) return 0;
  *out = ms < kMsPerSecond ? 1 : ms / kMsPerSecond;
  return *out;
}
