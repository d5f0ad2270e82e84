// The life of a flex message queue and of its subscriber slots.
#include "include/flexmsgqueue.h"

#include <stddef.h>
#include <stdlib.h>

#include "messaging/flex_msg_queue.hpp"

namespace {

/// The wait of a slot's semaphore until its subscriber's first wait gives another.
constexpr uint32_t kWaitMs = 1'000;

constexpr uint32_t kSubIds = 256;

static_assert(offsetof(FlexMsgQueueSub, sem) == 8);
static_assert(offsetof(FlexMsgQueueSub, sem) < offsetof(FlexMsgQueueSub, inUse));
static_assert(offsetof(FlexMsgQueueSub, inUse) < offsetof(FlexMsgQueueSub, queue));
static_assert(offsetof(FlexMsgQueueSub, queue) < offsetof(FlexMsgQueueSub, matchContext));
static_assert(offsetof(FlexMsgQueueSub, matchFn) ==
              offsetof(FlexMsgQueueSub, matchContext) + sizeof(void *));
static_assert(offsetof(FlexMsgQueue, subCount) == sizeof(void *) + 8);
static_assert(offsetof(FlexMsgQueue, regMutex) < offsetof(FlexMsgQueue, listMutex));
static_assert(offsetof(FlexMsgQueue, listMutex) < offsetof(FlexMsgQueue, subCapacity));
static_assert(offsetof(FlexMsgQueue, flushMs) == offsetof(FlexMsgQueue, subCapacity) + 4);
static_assert(offsetof(FlexMsgQueue, releaseFn) == offsetof(FlexMsgQueue, flushMs) + 4);
static_assert(offsetof(FlexMsgQueue, copyFn) == offsetof(FlexMsgQueue, releaseFn) + sizeof(void *));
static_assert(offsetof(FlexMsgQueue, autopurge) == offsetof(FlexMsgQueue, copyFn) + sizeof(void *));

}  // namespace

FlexMsgQueueSub *cu::NewMsgSubscriber(uint32_t capacity, uint32_t index) {
  auto *const sub = static_cast<FlexMsgQueueSub *>(calloc(1, sizeof(FlexMsgQueueSub)));
  Init_FlexMsgQueueSub(sub, capacity, index % kSubIds);
  return sub;
}

int Init_FlexMsgQueueSub(FlexMsgQueueSub *sub, uint32_t capacity, uint32_t subId) {
  if (sub == nullptr) return 0;
  init_simplequeue(&sub->queue, capacity, 0);
  cu::SetInUse(*sub, false);
  sub->sem.usePosixSem = 0;
  AmbrelSemaphoreInit(&sub->sem, kWaitMs);
  sub->subId = subId;
  return 1;
}

int DeInit_FlexMsgQueueSub(FlexMsgQueueSub *sub) {
  if (sub == nullptr) return 0;
  deinit_simplequeue(&sub->queue);
  cu::SetInUse(*sub, false);
  AmbrelSemaphoreDestroy(&sub->sem);
  free(sub);
  return 1;
}

int Init_FlexMsgQueue(FlexMsgQueue *queue, uint32_t subCount, uint32_t subCapacity,
                      int32_t flushMs) {
  if (queue == nullptr) return 0;
  queue->subCapacity = subCapacity;
  queue->flushMs = flushMs;
  queue->subs = static_cast<FlexMsgQueueSub **>(calloc(subCount, sizeof(FlexMsgQueueSub *)));
  // The count follows what there is, so that it never covers a slot that could not be made.
  queue->subCount = 0;
  while (queue->subs != nullptr && queue->subCount < subCount) {
    FlexMsgQueueSub *const sub = cu::NewMsgSubscriber(subCapacity, queue->subCount);
    if (sub == nullptr) break;
    queue->subs[queue->subCount++] = sub;
  }
  pthread_mutex_init(&queue->regMutex, nullptr);
  pthread_mutex_init(&queue->listMutex, nullptr);
  return 1;
}

int DeInit_FlexMsgQueue(FlexMsgQueue *queue) {
  if (queue == nullptr) return 0;
  for (uint32_t index = 0; index < queue->subCount; ++index) {
    DeInit_FlexMsgQueueSub(queue->subs[index]);
  }
  // The array stays the owner's to free, but nothing is in it any more.
  queue->subCount = 0;
  pthread_mutex_destroy(&queue->regMutex);
  pthread_mutex_destroy(&queue->listMutex);
  return 1;
}
