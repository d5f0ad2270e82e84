// The listeners of a flex queue: who they are, how an insertion wakes them, how they wait.
//
// Listeners look their slot up without the queue's mutex, since a waiter must never hold up the
// producers. The array of slots moves when it grows, so condMutex is held around that and around
// each look-up. A slot's semaphore stays where it is until the queue's end.
#include "include/flexqueue.h"

#include <stddef.h>
#include <stdlib.h>

#include <span>

#include "internal/grow.hpp"
#include "internal/locks.hpp"
#include "internal/log_pair.hpp"
#include "internal/owned.hpp"

namespace {

using cu::MutexLock;

constexpr char kLogModule[] = "flexqueue";

/// The wait of a semaphore until its listener's first wait gives another.
constexpr uint32_t kWaitMs = 5'000;

static_assert(sizeof(void *) != 4 || sizeof(SubscriberSlot) == 12);
static_assert(offsetof(SubscriberSlot, sem) == sizeof(void *));
static_assert(offsetof(SubscriberSlot, inUse) == 2 * sizeof(void *));

/// None after a failed growth, whatever subscriberSlots says.
std::span<SubscriberSlot> Slots(const FlexQueue &queue) {
  return {queue.subscribers, queue.subscribers != nullptr ? queue.subscriberSlots : 0};
}

/// Null when there is no memory.
AmbrelSemaphore *NewSemaphore() {
  cu::Owned<AmbrelSemaphore> sem(
      static_cast<AmbrelSemaphore *>(calloc(1, sizeof(AmbrelSemaphore))));
  return AmbrelSemaphoreInit(sem.get(), kWaitMs) != 0 ? sem.release() : nullptr;
}

/// A new slot, in use, behind the others. Null when there is no memory: without any for the array,
/// the registry ends; without any for the semaphore, the slot is there but stays unusable.
SubscriberSlot *AddSlot(FlexQueue &queue) {
  const MutexLock lock(queue.condMutex);
  const uint32_t index = queue.subscriberSlots++;
  SubscriberSlot *const grown = cu::ReallocArray(queue.subscribers, size_t{index} + 1);
  if (grown == nullptr) {
    // The semaphores are left alone: listeners may be waiting on them.
    free(queue.subscribers);
    queue.subscribers = nullptr;
    return nullptr;
  }
  queue.subscribers = grown;
  SubscriberSlot &slot = grown[index];
  slot = {.slotId = index, .sem = NewSemaphore(), .inUse = 1};
  return slot.sem != nullptr ? &slot : nullptr;
}

void Broadcast(FlexQueue &queue) {
  const MutexLock lock(queue.condMutex);
  pthread_cond_broadcast(&queue.cond);
}

/// One wait, without a predicate. A listener that is cancelled in it must not keep condMutex: the
/// next insertion would hold up everybody.
int WaitForBroadcast(FlexQueue &queue, int32_t ms) {
  timespec deadline = {};
  if (ms != 0) AmbrelGetWaitTime(ms, &deadline);
  int result = 0;
  pthread_mutex_lock(&queue.condMutex);
  pthread_cleanup_push(cu::UnlockOnCancel, &queue.condMutex);
  if (ms == 0) {
    pthread_cond_wait(&queue.cond, &queue.condMutex);
  } else {
    result = pthread_cond_timedwait(&queue.cond, &queue.condMutex, &deadline);
  }
  if (result != 0) CU_LOG(DBGLOG_DEBUG, "We timedOut %d\n", result);
  pthread_cleanup_pop(1);
  return result == 0 ? 1 : 0;
}

bool HasSlot(FlexQueue &queue, uint32_t slot, AmbrelSemaphore *&sem) {
  const MutexLock lock(queue.condMutex);
  const std::span slots = Slots(queue);
  if (slot >= slots.size()) return false;
  sem = slots[slot].sem;
  return true;
}

int WaitOnSlot(FlexQueue &queue, uint32_t slot, int32_t ms) {
  AmbrelSemaphore *sem = nullptr;
  if (!HasSlot(queue, slot, sem)) return 0;
  if (ms == 0) {
    AmbrelSemphoreWait(sem);
    return 1;
  }
  if (sem == nullptr) return 0;
  __atomic_store_n(&sem->timeoutMs, static_cast<uint32_t>(ms), __ATOMIC_RELAXED);
  return AmbrelSemphoreTimedWait(sem) == 0 ? 1 : 0;
}

}  // namespace

int initSubscribers(FlexQueue *queue) {
  if (queue == nullptr) return 0;
  if (queue->broadcastMode != 0) return 1;
  uint32_t index = 0;
  for (SubscriberSlot &slot : Slots(*queue)) {
    if (slot.sem == nullptr) slot.sem = NewSemaphore();
    if (slot.sem == nullptr) return 0;
    __atomic_store_n(&slot.sem->timeoutMs, kWaitMs, __ATOMIC_RELAXED);
    slot.slotId = index++;
    slot.inUse = 0;
  }
  return 1;
}

void deinitSubscribers(FlexQueue *queue) {
  if (queue == nullptr || queue->broadcastMode != 0) return;
  for (SubscriberSlot &slot : Slots(*queue)) {
    AmbrelSemaphoreDestroy(slot.sem);
    free(slot.sem);
    slot.sem = nullptr;
  }
}

int findSubscriberSlotID(FlexQueue *queue, uint32_t *outSlot) {
  if (queue == nullptr || outSlot == nullptr || queue->subscribers == nullptr) return 0;
  for (SubscriberSlot &slot : Slots(*queue)) {
    if (slot.inUse != 0) continue;
    slot.inUse = 1;
    *outSlot = static_cast<uint32_t>(&slot - queue->subscribers);
    return 1;
  }
  const SubscriberSlot *const added = AddSlot(*queue);
  if (added == nullptr) return 0;
  *outSlot = added->slotId;
  return 1;
}

int registerSubscriber(FlexQueue *queue, uint32_t *outSlot) {
  if (queue == nullptr || outSlot == nullptr) return 0;
  if (queue->broadcastMode != 0) {
    *outSlot = 0;
    return queue->broadcastMode;
  }
  const MutexLock lock(queue->mutex);
  ++queue->subscriberCount;  // of attempts: the count does not tell whether there was a slot
  return findSubscriberSlotID(queue, outSlot);
}

int deRegisterSubscriber(FlexQueue *queue, uint32_t slot) {
  if (queue == nullptr) return 0;
  if (queue->broadcastMode != 0) return queue->broadcastMode;
  const MutexLock lock(queue->mutex);
  if (slot >= queue->subscriberSlots) return 0;
  if (queue->subscribers != nullptr) queue->subscribers[slot].inUse = 0;
  --queue->subscriberCount;
  return 1;
}

int notifySubscribers(FlexQueue *queue) {
  if (queue == nullptr) return 0;
  if (queue->broadcastMode != 0) {
    Broadcast(*queue);
    return 1;
  }
  for (const SubscriberSlot &slot : Slots(*queue)) {
    if (slot.inUse == 0) continue;
    if (slot.sem == nullptr) {
      CU_LOG(DBGLOG_DEBUG, "We had a invalid semaphore\n");
    } else {
      AmbrelSemphoreSignal(slot.sem, 0);
    }
  }
  return 1;
}

int waitOnFlexQueue(FlexQueue *queue, uint32_t slot, int32_t ms) {
  if (queue == nullptr) return 0;
  if (isFlexQueueEmpty(queue) == 0) return 1;
  return queue->broadcastMode != 0 ? WaitForBroadcast(*queue, ms) : WaitOnSlot(*queue, slot, ms);
}
