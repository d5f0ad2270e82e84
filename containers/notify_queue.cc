#include "include/notifyqueue.h"

#include <errno.h>
#include <stddef.h>
#include <stdlib.h>

#include "internal/locks.hpp"
#include "internal/owned.hpp"
#include "internal/slots.hpp"

namespace {

using cu::MutexLock;
using cu::MutexLockUnlessHeld;

constexpr int32_t kBeforeFirstSlot = -1;
constexpr uint64_t kUsPerMs = 1'000;

static_assert(sizeof(void *) != 4 || sizeof(QueueEntry) == 16);
static_assert(sizeof(void *) != 4 || sizeof(QueueIter) == 8);
static_assert(offsetof(QueueEntry, tag) == 0);
static_assert(offsetof(QueueEntry, refCount) == 4);
static_assert(offsetof(QueueEntry, queue) == 8);
static_assert(offsetof(QueueEntry, data) == 8 + sizeof(void *));
static_assert(offsetof(Queue, head) == sizeof(void *));
static_assert(offsetof(Queue, tail) == sizeof(void *) + 4);
static_assert(offsetof(Queue, count) == sizeof(void *) + 8);
static_assert(offsetof(Queue, capacity) == sizeof(void *) + 12);
static_assert(offsetof(Queue, delayMs) == sizeof(void *) + 16);
static_assert(offsetof(Queue, mutex) < offsetof(Queue, slots));
static_assert(offsetof(Queue, freeFn) == offsetof(Queue, slots) + sizeof(void *));
static_assert(offsetof(Queue, notifyDisabled) == offsetof(Queue, freeFn) + sizeof(void *));

// ---- the private part of a queue ---------------------------------------------------------------
//
// A removed entry's pointer stays in its slot, and a walk hands the entry out for as long as it
// exists. To tell when it no longer does, each slot has a mark that is set while its entry lives,
// and each entry knows its slot. The block of Queue::slots holds the slots, a spare one that is
// always null because a walk may read one slot too far, and then the marks.

using SlottedEntry = cu::SlottedEntry<QueueEntry>;

QueueEntry **NewSlots(uint32_t capacity) {
  size_t slots = 0;
  if (__builtin_add_overflow(capacity, 1U, &slots)) return nullptr;
  return static_cast<QueueEntry **>(calloc(slots, sizeof(QueueEntry *) + sizeof(bool)));
}

bool &LiveMark(const Queue &queue, uint32_t slot) {
  return reinterpret_cast<bool *>(queue.slots + size_t{queue.capacity} + 1)[slot];
}

/// The entry of a slot, the spare one included; null when it holds none that lives.
QueueEntry *LiveEntry(const Queue &queue, uint32_t slot) {
  if (queue.slots == nullptr || !LiveMark(queue, slot)) return nullptr;
  return queue.slots[slot];
}

void StoreInSlot(Queue &queue, SlottedEntry &stored, uint32_t slot) {
  stored.slot = slot;
  queue.slots[slot] = &stored.entry;
  LiveMark(queue, slot) = true;
}

/// To be called before an entry is freed. Its slot may hold a later one by then.
void ForgetInSlot(Queue &queue, const QueueEntry &entry) {
  const uint32_t slot = cu::SlotOf(entry);
  if (slot < queue.capacity && queue.slots[slot] == &entry) LiveMark(queue, slot) = false;
}

// ---- steps under the queue's lock --------------------------------------------------------------

/// Changed under the lock, but isQueueFull() and isQueueEmpty() read it without.
void SetCount(Queue &queue, uint32_t count) {
  __atomic_store_n(&queue.count, count, __ATOMIC_RELAXED);
}

bool NotifiesLocked(const Queue &queue) {
  return __atomic_load_n(&queue.notifyDisabled, __ATOMIC_RELAXED) == 0;
}

bool AppendLocked(Queue &queue, SlottedEntry &stored) {
  if (queue.count == queue.capacity) return false;
  const uint32_t tail = cu::NextSlot(static_cast<uint32_t>(queue.tail), queue.capacity);
  StoreInSlot(queue, stored, tail);
  queue.tail = static_cast<int32_t>(tail);
  SetCount(queue, queue.count + 1);
  return true;
}

QueueEntry *Referenced(QueueEntry *entry) {
  if (entry != nullptr) ++entry->refCount;
  return entry;
}

QueueEntry *PeekLocked(Queue &queue) {
  return queue.count != 0 ? Referenced(LiveEntry(queue, queue.head)) : nullptr;
}

QueueEntry *RemoveLocked(Queue &queue) {
  if (queue.count == 0) return nullptr;
  QueueEntry *const entry = LiveEntry(queue, queue.head);
  queue.head = cu::NextSlot(queue.head, queue.capacity);
  SetCount(queue, queue.count - 1);
  if (entry != nullptr) --entry->refCount;
  return entry;
}

/// Drops a reference and, with the last one, the data. Whether the entry itself is to be freed
/// then.
bool ReleaseLocked(Queue &queue, QueueEntry &entry) {
  if (--entry.refCount >= 1 || entry.data == nullptr) return false;
  ForgetInSlot(queue, entry);
  if (queue.freeFn != nullptr) {
    queue.freeFn(&entry);
  } else {
    free(entry.data);
  }
  return true;
}

/// Peeks at the oldest entry and releases it; false when there is none. The lock is held
/// throughout: a consumer that removed and released the entry in between would free it under this
/// release.
bool TouchOldest(Queue &queue) {
  const MutexLock lock(queue.mutex);
  QueueEntry *const entry = PeekLocked(queue);
  if (entry == nullptr) return false;
  FreeQueueEntry(entry, 1);
  return true;
}

void SetNotifyDisabled(Queue *queue, uint8_t disabled) {
  if (queue != nullptr) __atomic_store_n(&queue->notifyDisabled, disabled, __ATOMIC_RELAXED);
}

}  // namespace

int init_queue(Queue *queue, uint32_t capacity, uint32_t delayMs) {
  if (queue == nullptr) return 0;
  cu::Owned<QueueEntry *> slots(NewSlots(capacity));
  cu::Owned<AmbrelSemaphore> sem(
      static_cast<AmbrelSemaphore *>(calloc(1, sizeof(AmbrelSemaphore))));
  const bool has_memory = slots && sem;
  if (has_memory) AmbrelSemaphoreInit(sem.get(), delayMs);
  queue->capacity = has_memory ? capacity : 0;
  queue->slots = has_memory ? slots.release() : nullptr;
  queue->sem = has_memory ? sem.release() : nullptr;
  queue->head = 0;
  queue->tail = kBeforeFirstSlot;
  SetCount(*queue, 0);
  queue->delayMs = delayMs;
  SetNotifyDisabled(queue, 0);
  pthread_mutex_init(&queue->mutex, nullptr);
  return has_memory ? 1 : 0;
}

void deinit_queue(Queue *queue) {
  if (queue == nullptr || queue->slots == nullptr) return;
  {
    const MutexLock lock(queue->mutex);
    while (queue->count != 0) FreeQueueEntry(RemoveLocked(*queue), 1);
    free(queue->slots);
    queue->slots = nullptr;
    queue->capacity = 0;
  }
  pthread_mutex_destroy(&queue->mutex);
  AmbrelSemaphoreDestroy(queue->sem);
  free(queue->sem);
  queue->sem = nullptr;
}

uint32_t getQueueSize(const Queue *queue) {
  return queue != nullptr ? queue->capacity : 0;
}

int lockQueue(Queue *queue, int32_t ms) {
  if (queue == nullptr) return 0;
  if (ms == 0) {
    pthread_mutex_lock(&queue->mutex);
    return 1;
  }
  timespec deadline;
  AmbrelGetWaitTime(ms, &deadline);
  pthread_mutex_timedlock(&queue->mutex, &deadline);  // goes on without the lock after the deadline
  return 1;
}

int unlockQueue(Queue *queue) {
  return queue != nullptr ? pthread_mutex_unlock(&queue->mutex) : EINVAL;
}

int isQueueFull(const Queue *queue) {
  return queue == nullptr || __atomic_load_n(&queue->count, __ATOMIC_RELAXED) == queue->capacity;
}

int isQueueEmpty(const Queue *queue) {
  return queue == nullptr || __atomic_load_n(&queue->count, __ATOMIC_RELAXED) == 0;
}

int insertQueueEntry(Queue *queue, void *data, uint32_t tag, int locked) {
  if (queue == nullptr || data == nullptr) return 0;
  // Made before the lock is taken, so that the allocator does not hold others up.
  cu::Owned<SlottedEntry> stored(static_cast<SlottedEntry *>(malloc(sizeof(SlottedEntry))));
  if (!stored) return 0;
  stored->entry = {.tag = tag, .refCount = 1, .queue = queue, .data = data};

  const MutexLockUnlessHeld lock(queue->mutex, locked != 0);
  if (!AppendLocked(*queue, *stored)) return 0;
  static_cast<void>(stored.release());
  if (NotifiesLocked(*queue)) AmbrelSemphoreSignal(queue->sem, 0);
  return locked != 0 ? locked : 1;
}

QueueEntry *peekQueueEntry(Queue *queue, int locked) {
  if (queue == nullptr) return nullptr;
  const MutexLockUnlessHeld lock(queue->mutex, locked != 0);
  return PeekLocked(*queue);
}

QueueEntry *deQueueEntry(Queue *queue, int locked) {
  if (queue == nullptr) return nullptr;
  const MutexLockUnlessHeld lock(queue->mutex, locked != 0);
  return RemoveLocked(*queue);
}

void getQueueIter(Queue *queue, QueueIter *iter) {
  if (queue != nullptr && iter != nullptr) *iter = {.queue = queue, .index = 0};
}

QueueEntry *peekQueueEntryIter(QueueIter *iter, int locked) {
  if (iter == nullptr || iter->queue == nullptr) return nullptr;
  Queue &queue = *iter->queue;
  if (locked == 0) pthread_mutex_lock(&queue.mutex);
  if (iter->index > queue.capacity) {
    // Beyond the bound the queue is locked again, not unlocked. Callers end their walk before it.
    if (locked == 0) pthread_mutex_lock(&queue.mutex);
    return nullptr;
  }
  QueueEntry *const entry = Referenced(LiveEntry(queue, iter->index++));
  if (locked == 0) pthread_mutex_unlock(&queue.mutex);
  return entry;
}

void FreeQueueEntry(QueueEntry *entry, int locked) {
  if (entry == nullptr || entry->queue == nullptr) return;
  MutexLockUnlessHeld lock(entry->queue->mutex, locked != 0);
  const bool last = ReleaseLocked(*entry->queue, *entry);
  lock.unlock();
  if (last) free(entry);
}

int waitOnQueue(Queue *queue, int32_t ms) {
  if (queue == nullptr) return 0;
  if (ms == 0) {
    AmbrelSemphoreWait(queue->sem);
    return 1;
  }
  if (queue->sem == nullptr) return 0;
  __atomic_store_n(&queue->sem->timeoutMs, static_cast<uint32_t>(ms), __ATOMIC_RELAXED);
  return AmbrelSemphoreTimedWait(queue->sem) == 0;
}

void queueHouseKeeping(Queue *queue) {
  if (queue == nullptr) return;
  for (;;) {
    waitOnQueue(queue, 0);
    if (!TouchOldest(*queue)) continue;
    ambrelusleep(kUsPerMs * queue->delayMs);
    lockQueue(queue, 0);
    PeekLocked(*queue);  // the reference is never dropped: users of the loop count on it
    unlockQueue(queue);
  }
}

void enableQueueNotify(Queue *queue) {
  SetNotifyDisabled(queue, 0);
}

void disableQueueNotify(Queue *queue) {
  SetNotifyDisabled(queue, 1);
}

int signalQueueListeners(Queue *queue) {
  return queue != nullptr ? AmbrelSemphoreSignal(queue->sem, 0) : 0;
}
