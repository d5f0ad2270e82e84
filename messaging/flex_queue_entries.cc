// The entries of a flex queue: insertion, the readers' walk, removal and release.
#include "include/flexqueue.h"

#include <stdlib.h>
#include <time.h>

#include <algorithm>

#include "internal/log_pair.hpp"
#include "internal/owned.hpp"
#include "internal/slots.hpp"
#include "messaging/flex_queue.hpp"

namespace {

using cu::MutexLockUnlessHeld;

constexpr char kLogModule[] = "flexqueue";

constexpr uint32_t kNoSlot = UINT32_MAX;

using SlottedEntry = cu::SlottedEntry<FlexEntry>;

void Poll(FlexQueue *queue) {
  lockFlexQueue(queue, 0);
}

/// The lock of a producer, who polls for it.
using ProducerLock = cu::LockUnlessHeld<FlexQueue, Poll, unlockFlexQueue>;

/// The first slot from `begin` to before `end` that is free; kNoSlot without one.
uint32_t FindFreeSlot(const FlexQueue &queue, size_t begin, size_t end) {
  const std::span slots = cu::Slots(queue);
  for (size_t slot = begin; slot < std::min(end, slots.size()); ++slot) {
    if (slots[slot].inUse == 0) return static_cast<uint32_t>(slot);
  }
  return kNoSlot;
}

/// The first slot in use; 0 without one.
uint32_t FirstSlotInUse(const FlexQueue &queue) {
  if (cu::Count(queue) == 0) return 0;
  const std::span slots = cu::Slots(queue);
  for (size_t slot = 0; slot < slots.size(); ++slot) {
    if (slots[slot].inUse != 0) return static_cast<uint32_t>(slot);
  }
  return 0;
}

void PutIntoSlot(FlexQueue &queue, uint32_t slot, SlottedEntry &stored) {
  stored.slot = slot;
  queue.slots[slot] = {.entry = &stored.entry, .inUse = 1};
  cu::SetCount(queue, cu::Count(queue) + 1);
}

FlexEntry *TakeFromSlot(FlexQueue &queue, uint32_t slot) {
  if (queue.slots[slot].inUse == 0) return nullptr;
  FlexEntry *const entry = queue.slots[slot].entry;
  queue.slots[slot] = {};
  cu::SetCount(queue, cu::Count(queue) - 1);
  return entry;
}

/// Sees to it that nobody finds an entry that is about to be freed. The slot stays taken.
void ForgetInSlot(const FlexQueue &queue, const FlexEntry &entry) {
  const uint32_t slot = cu::SlotOf(entry);
  const std::span slots = cu::Slots(queue);
  if (slot < slots.size() && slots[slot].entry == &entry) slots[slot].entry = nullptr;
}

/// Leaves `iter.next` at the next slot in use. It gives up after passing as many free slots as the
/// queue has entries, not as it has slots; readers rely on that.
bool MoveToSlotInUse(FlexQueueIter &iter) {
  const FlexQueue &queue = *iter.queue;
  const uint32_t count = cu::Count(queue);
  for (uint32_t skipped = 0; skipped < count;) {
    if (iter.next >= queue.capacity) {
      iter.next = 0;
    } else if (queue.slots[iter.next].inUse != 0) {
      return true;
    } else {
      iter.next = cu::NextSlot(iter.next, queue.capacity);
      ++skipped;
    }
  }
  return false;
}

}  // namespace

int insertFlexQueueEntry(FlexQueue *queue, void *data, uint32_t tag, int locked) {
  if (queue == nullptr || data == nullptr) {
    CU_LOG(DBGLOG_DEBUG, "We received an empty item \n");
    return 0;
  }
  // Made before the lock is taken, so that the allocator does not hold others up.
  cu::Owned<SlottedEntry> stored(static_cast<SlottedEntry *>(malloc(sizeof(SlottedEntry))));

  const ProducerLock lock(*queue, locked != 0);
  if (isFlexQueueFull(queue) != 0) {
    CU_LOG(DBGLOG_DEBUG, "The queue was full %d %d\n", queue->searchPos, cu::Count(*queue));
    return 0;
  }
  const uint32_t slot = getSlotID(queue);
  if (slot == kNoSlot) {
    CU_LOG(DBGLOG_DEBUG, "We got a negative index inserting into queue\n");
    return 0;
  }
  if (!stored) {
    CU_LOG(DBGLOG_DEBUG, "We failed to allocate memory for queue structure\n");
    return 0;
  }
  stored->entry = {.tag = tag,
                   .refCount = 1,
                   .queue = queue,
                   .data = data,
                   .reserved = 0,
                   .timestamp = static_cast<int32_t>(time(nullptr))};
  PutIntoSlot(*queue, slot, *stored.release());
  notifySubscribers(queue);
  return locked != 0 ? locked : 1;
}

void getFlexQueueIter(FlexQueue *queue, FlexQueueIter *iter, int locked) {
  if (queue == nullptr || iter == nullptr) return;
  // Locked is the queue that the iterator names so far, unlocked the one that it is bound to now.
  // Readers that leave the locking to this call use iterators that name the same queue.
  FlexQueue *const named = iter->queue != nullptr ? iter->queue : queue;
  if (locked == 0) pthread_mutex_lock(&named->mutex);
  *iter = {.queue = queue, .current = 0, .next = FirstSlotInUse(*queue)};
  if (locked == 0) pthread_mutex_unlock(&queue->mutex);
}

FlexEntry *peekFlexQueueEntry(FlexQueueIter *iter, int locked) {
  if (iter == nullptr || iter->queue == nullptr) return nullptr;
  const FlexQueue &queue = *iter->queue;
  const MutexLockUnlessHeld lock(iter->queue->mutex, locked != 0);
  if (!MoveToSlotInUse(*iter)) return nullptr;
  FlexEntry *const entry = queue.slots[iter->next].entry;
  if (entry == nullptr) {
    CU_LOG(DBGLOG_DEBUG, "We should not have an empty entry already\n");
  } else {
    ++entry->refCount;
  }
  iter->current = iter->next;
  iter->next = cu::NextSlot(iter->current, queue.capacity);
  return entry;
}

FlexEntry *deQueueFlexEntry(FlexQueueIter *iter, int locked) {
  if (iter == nullptr || iter->queue == nullptr) return nullptr;
  FlexQueue &queue = *iter->queue;
  const MutexLockUnlessHeld lock(queue.mutex, locked != 0);
  if (cu::Count(queue) == 0) return nullptr;
  const uint32_t slot = iter->current;
  if (slot >= queue.capacity) {
    CU_LOG(DBGLOG_CRITICAL, "We tried to access beyond the boundries\n");
    return nullptr;
  }
  iter->current = cu::NextSlot(slot, queue.capacity);
  iter->next = iter->current;
  return TakeFromSlot(queue, slot);
}

void FreeFlexQueueEntry(FlexEntry *entry, int locked) {
  if (entry == nullptr || entry->queue == nullptr) return;
  const FlexQueue &queue = *entry->queue;
  MutexLockUnlessHeld lock(entry->queue->mutex, locked != 0);
  if (--entry->refCount >= 1) return;
  ForgetInSlot(queue, *entry);
  if (entry->data != nullptr) {
    if (queue.freeFn != nullptr) {
      queue.freeFn(entry);
    } else {
      free(entry->data);
    }
  }
  lock.unlock();
  free(entry);
}

uint32_t getSlotID(FlexQueue *queue) {
  if (queue == nullptr) return kNoSlot;
  const uint32_t start = queue->searchPos;
  queue->lastSearchStart = start;
  uint32_t slot = FindFreeSlot(*queue, start, queue->capacity);
  if (slot == kNoSlot) {
    queue->searchPos = 0;
    slot = FindFreeSlot(*queue, 0, start);
  }
  if (slot != kNoSlot) queue->searchPos = slot;
  return slot;
}
