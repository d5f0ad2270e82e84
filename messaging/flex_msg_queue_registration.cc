// Who receives what is published: registration and deregistration of subscribers.
//
// Plain registration takes regMutex alone. Waiters and the flush loop read the array of slots under
// listMutex, so that is taken too while the array grows, and only then.
#include "include/flexmsgqueue.h"

#include <stdlib.h>

#include "internal/grow.hpp"
#include "messaging/flex_msg_queue.hpp"

namespace {

using cu::MutexLock;

constexpr uint32_t kDrainPatienceMs = 1'000;

/// Which messages a subscriber wants.
struct Filter {
  void *context;
  FlexMsgMatchFn match;
};

void Occupy(FlexMsgQueueSub &sub, const Filter &filter) {
  cu::SetInUse(sub, true);
  sub.matchFn = filter.match;
  sub.matchContext = filter.context;
}

/// The first free slot; subCount without one.
uint32_t FindFreeSlot(const FlexMsgQueue &queue) {
  uint32_t index = 0;
  while (index < queue.subCount && cu::IsInUse(*queue.subs[index])) ++index;
  return index;
}

/// Adds an occupied slot behind the others. An array that cannot grow is given up.
bool AddSlot(FlexMsgQueue &queue, const Filter &filter) {
  const uint32_t index = queue.subCount;
  FlexMsgQueueSub **const grown = cu::ReallocArray(queue.subs, size_t{index} + 1);
  if (grown == nullptr) {
    // The slots are left alone: subscribers may be waiting in them.
    free(queue.subs);
    queue.subs = nullptr;
    queue.subCount = 0;
    return false;
  }
  queue.subs = grown;
  FlexMsgQueueSub *const sub = cu::NewMsgSubscriber(queue.subCapacity, index);
  if (sub == nullptr) return false;
  Occupy(*sub, filter);
  queue.subs[index] = sub;
  queue.subCount = index + 1;
  return true;
}

/// With regMutex held, and `list_locked` telling whether listMutex is held as well.
int FindSlot(FlexMsgQueue &queue, const Filter &filter, uint32_t *outSub, bool list_locked) {
  const uint32_t index = FindFreeSlot(queue);
  if (index < queue.subCount) {
    Occupy(*queue.subs[index], filter);
  } else {
    const cu::MutexLockUnlessHeld list(queue.listMutex, list_locked);
    if (!AddSlot(queue, filter)) return 0;
  }
  *outSub = index;
  return 1;
}

}  // namespace

int findSubSlotFlexMsgQueue(FlexMsgQueue *queue, void *context, FlexMsgMatchFn matchFn,
                            uint32_t *outSub) {
  if (queue == nullptr || outSub == nullptr) return 0;
  return FindSlot(*queue, {context, matchFn}, outSub, true);
}

int registerFlexMsgQueueSubscriber(FlexMsgQueue *queue, uint32_t *outSub) {
  if (queue == nullptr || outSub == nullptr) return 0;
  const MutexLock registration(queue->regMutex);
  return FindSlot(*queue, {nullptr, nullptr}, outSub, false);
}

int registerFlexMsgQueueSubscriberWMatch(FlexMsgQueue *queue, void *context, FlexMsgMatchFn matchFn,
                                         uint32_t *outSub) {
  if (queue == nullptr || outSub == nullptr) return 0;
  const MutexLock registration(queue->regMutex);
  const MutexLock list(queue->listMutex);
  return FindSlot(*queue, {context, matchFn}, outSub, true);
}

int deRegisterFlexMsgQueueSubscriber(FlexMsgQueue *queue, uint32_t sub) {
  if (queue == nullptr) return 0;
  const MutexLock registration(queue->regMutex);
  const MutexLock list(queue->listMutex);
  FlexMsgQueueSub *const slot = cu::SubscriberLocked(*queue, sub);
  if (slot == nullptr) return 1;
  if (!cu::IsInUse(*slot)) return 0;
  // Half of the messages stay for the next subscriber of the slot. A consumer takes messages out of
  // the queue without the two locks held here, so the drain waits for it; but not for good, as the
  // one who holds the queue may be the one who deregisters.
  const bool locked = ambrel_mutex_timed_lock(&slot->queue.mutex, kDrainPatienceMs) == 0;
  DrainFlexQueueSubList(&slot->queue, 1);
  if (locked) ambrel_mutex_unlock(&slot->queue.mutex);
  cu::SetInUse(*slot, false);
  slot->matchFn = nullptr;
  slot->matchContext = nullptr;
  return 1;
}
