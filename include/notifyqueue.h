/**
 * @file notifyqueue.h
 * @brief A bounded queue of counted entries that wakes a listener at each insertion.
 *
 * The queue holds up to `capacity` pointers of the caller's in the order of their insertion. A full
 * queue refuses; nothing is dropped.
 *
 * @code
 * Queue queue;
 * init_queue(&queue, 64, 1000);
 *
 * // a producer
 * if (!insertQueueEntry(&queue, reading, SENSOR_READING, 0)) free(reading);
 *
 * // a consumer: look first, then wait, and never without a limit
 * for (;;) {
 *   QueueEntry *entry = deQueueEntry(&queue, 0);
 *   if (entry == NULL) {
 *     waitOnQueue(&queue, 100);
 *     continue;
 *   }
 *   use(entry->tag, entry->data);
 *   FreeQueueEntry(entry, 0);  // frees the data too
 * }
 * @endcode
 *
 * **Thread safety.** Any threads may use one queue at the same time, between init_queue() and
 * deinit_queue(). Functions that take `locked` lock the queue themselves when it is 0; with another
 * value the caller must hold the queue's lock (lockQueue()), which is not recursive. The queue is
 * locked while it signals its semaphore and while it calls `freeFn`.
 *
 * **References.** An entry starts with one reference. A peek adds one; a removal drops one and
 * hands the entry over; FreeQueueEntry() drops one and frees the entry when none is left. So an
 * entry that was only removed is freed by its release, and one that was also peeked at n times by
 * the n-th release after its removal: one release before its last holder's. Therefore keep the
 * queue locked from a peek to its release, and no removal can come between:
 *
 * @code
 * lockQueue(&queue, 0);
 * QueueEntry *oldest = peekQueueEntry(&queue, 1);
 * if (oldest != NULL) {
 *   look_at(oldest);
 *   FreeQueueEntry(oldest, 1);
 * }
 * unlockQueue(&queue);
 * @endcode
 *
 * **What surprises users.**
 * - An insertion wakes only a thread that is waiting at that moment. A listener tests the queue
 *   before it waits, and waits with a limit.
 * - A timed lockQueue() reports success also when the time passed without getting the lock.
 * - A walk with peekQueueEntryIter() goes over slots, not over the queue's order, and must end at
 *   the last slot: a call beyond it with `locked` 0 hangs for good and keeps the queue locked.
 * - queueHouseKeeping() leaves a reference behind at each round.
 * - An entry whose `data` was set to null is never freed.
 * - deinit_queue() drops two references of each entry: release every peeked entry before.
 *
 * **Shared arguments.**
 * - `queue`: the queue.
 * - `locked`: 0, or not 0 when the caller holds the lock.
 */
#ifndef COMMONUTILITIES_NOTIFYQUEUE_H
#define COMMONUTILITIES_NOTIFYQUEUE_H

#include <pthread.h>

#include "ambrelthreadutils.h"
#include "commonutilities_api.h"

CU_BEGIN_DECLS

typedef struct Queue Queue;

/** What the queue makes of each insertion; on the heap, freed with its last reference. */
typedef struct QueueEntry {
  uint32_t tag;     /**< the value given at the insertion */
  int32_t refCount; /**< 1 at the insertion; guarded by the queue's lock */
  Queue *queue;     /**< the queue that made the entry */
  void *data;       /**< the pointer given at the insertion */
} QueueEntry;

/** A bounded queue; the owner's memory, at one address from init_queue() to deinit_queue(). */
struct Queue {
  AmbrelSemaphore *sem;  /**< what listeners wait on: the condition variant */
  uint32_t head;         /**< slot of the oldest entry */
  int32_t tail;          /**< slot of the newest entry; -1 before the first insertion */
  uint32_t count;        /**< entries held */
  uint32_t capacity;     /**< slots */
  uint32_t delayMs;      /**< the pause of queueHouseKeeping() in milliseconds */
  pthread_mutex_t mutex; /**< the queue's lock; default attributes */
  QueueEntry **slots; /**< a removed entry's pointer stays in its slot: read through the iterator */
  /** Releases an entry's `data`, with the queue locked: it must not call functions that lock the
      queue. Null: `data` goes to free(). Set it after init_queue(), before the first insertion. */
  void (*freeFn)(QueueEntry *entry);
  uint8_t notifyDisabled; /**< 0: each insertion wakes a listener */
};

/** A walk over a queue's slots. */
typedef struct QueueIter {
  Queue *queue;   /**< the queue */
  uint32_t index; /**< the slot of the next call */
} QueueIter;

/**
 * @brief Makes an empty queue; every field but `freeFn` is set.
 *
 * Zero-fill the record before, or set `freeFn` right after.
 *
 * @param capacity number of slots; a queue of 0 slots refuses every insertion.
 * @param delayMs  pause of queueHouseKeeping(), and the semaphore's first time-out; milliseconds.
 * @return 1; 0 for a null queue, and when there is no memory: the queue then refuses every
 *         insertion.
 */
CU_API int init_queue(Queue *queue, uint32_t capacity, uint32_t delayMs);

/**
 * @brief Releases every entry, the slots, the lock and the semaphore; nobody may use the queue.
 *
 * Each entry that is still queued loses two references, so one that somebody peeked at and has not
 * released is freed as well. The record may be initialised again. A second call does nothing.
 */
CU_API void deinit_queue(Queue *queue);

/** @brief Not the number of entries. @return the number of slots; 0 for null. */
CU_API uint32_t getQueueSize(const Queue *queue);

/**
 * @brief Locks the queue, for several steps with `locked` 1; pair it with unlockQueue().
 *
 * @param ms 0 waits without limit. Otherwise a limit on the wall clock, as AmbrelGetWaitTime()
 *           counts it: when it passes, the call returns all the same and the caller goes on
 *           *without the lock*. To be sure of the lock pass 0.
 * @return 1, whether or not the lock was obtained; 0 for null.
 */
CU_API int lockQueue(Queue *queue, int32_t ms);

/** @brief Unlocks the queue. @return pthread_mutex_unlock()'s result; EINVAL for null. */
CU_API int unlockQueue(Queue *queue);

/** @brief Whether no slot is free; takes no lock. @return 1 if so, else 0; 1 for null. */
CU_API int isQueueFull(const Queue *queue);

/** @brief Whether there is no entry; takes no lock. @return 1 if so, else 0; 1 for null. */
CU_API int isQueueEmpty(const Queue *queue);

/**
 * @brief Appends an entry and, unless notification is off, wakes one listener.
 *
 * @param data   not null. The queue takes it over, and frees it with `freeFn` or free(), only when
 *               the result is not 0.
 * @param tag    any value; comes back in the entry.
 * @param locked 0, or not 0 when the caller holds the lock.
 * @return 1 (or @p locked when that is not 0); 0 when the queue is full, @p queue or @p data is
 *         null, or there is no memory.
 */
CU_API CU_MUST_USE int insertQueueEntry(Queue *queue, void *data, uint32_t tag, int locked);

/**
 * @brief The oldest entry, which stays in the queue, with a reference for the caller.
 * @return the entry, to be released with FreeQueueEntry(); null when the queue is empty or null.
 */
CU_API CU_MUST_USE QueueEntry *peekQueueEntry(Queue *queue, int locked);

/**
 * @brief Removes the oldest entry; the caller releases it with FreeQueueEntry().
 *
 * That release frees it, unless it was peeked at more than once: see References above.
 *
 * @return the entry; null when the queue is empty or null.
 */
CU_API CU_MUST_USE QueueEntry *deQueueEntry(Queue *queue, int locked);

/**
 * @brief Starts a walk over the slots at slot 0; does nothing when either is null.
 *
 * @param iter the walk, any memory.
 */
CU_API void getQueueIter(Queue *queue, QueueIter *iter);

/**
 * @brief The entry of the walk's slot, with a reference for the caller, and moves to the next slot.
 *
 * Slots come in the order of their index, wherever the oldest entry is. A slot gives null when it
 * was never used or its entry was freed. So null does not end a walk; count the slots:
 *
 * @code
 * QueueIter iter;
 * lockQueue(&queue, 0);
 * getQueueIter(&queue, &iter);
 * for (uint32_t i = 0; i < getQueueSize(&queue); ++i) {
 *   QueueEntry *entry = peekQueueEntryIter(&iter, 1);
 *   if (entry == NULL) continue;
 *   look_at(entry);
 *   FreeQueueEntry(entry, 1);
 * }
 * unlockQueue(&queue);
 * @endcode
 *
 * @warning An entry that was removed and not yet released comes up as well, and the walk's release
 *          then frees it under its remover. Walk only while no thread is between deQueueEntry() and
 *          FreeQueueEntry().
 *
 * @warning One call beyond the last slot gives null. Any further call gives null when @p locked is
 *          not 0, and with @p locked 0 locks the queue twice: it never returns.
 *
 * @param iter the walk.
 * @return the entry or null.
 */
CU_API CU_MUST_USE QueueEntry *peekQueueEntryIter(QueueIter *iter, int locked);

/**
 * @brief Drops one reference of an entry, under the lock of its queue.
 *
 * When that was the last one and `data` is not null, `data` is released and the entry freed.
 *
 * @param entry  one that this library made, whose queue still exists; null does nothing.
 * @param locked 0, or not 0 when the caller holds the lock.
 */
CU_API void FreeQueueEntry(QueueEntry *entry, int locked);

/**
 * @brief Waits for an insertion or signalQueueListeners(); do not hold the lock.
 *
 * One wait: a spurious wake-up counts as one, and what happened before the call is not seen.
 *
 * @param ms 0 waits without limit. Otherwise milliseconds on the monotonic clock, which also become
 *           the semaphore's `timeoutMs`; a negative value counts as one second.
 * @return 1 when woken, 0 after the time. A wait without limit gives 1. 0 for null.
 */
CU_API int waitOnQueue(Queue *queue, int32_t ms);

/**
 * @brief Waits for insertions and, `delayMs` after each, touches the oldest entry; never returns.
 *
 * Run it on a thread of your own. To end it, cancel and join that thread (pthread_cancel()), which
 * leaves the queue unlocked, before you release the queue. A round waits for an insertion, sleeps
 * ambrelusleep(1000 x `delayMs`) if the queue is not empty, and then takes a reference of the
 * oldest entry that it never drops: an entry that k rounds saw is freed by the k-th release after
 * its removal, and your code must make those releases.
 *
 * Returns at once for null.
 */
CU_API void queueHouseKeeping(Queue *queue);

/** @brief Lets insertions wake listeners again. */
CU_API void enableQueueNotify(Queue *queue);

/** @brief Stops insertions from waking listeners; signalQueueListeners() still does. */
CU_API void disableQueueNotify(Queue *queue);

/** @brief Wakes one listener. @return AmbrelSemphoreSignal()'s result: 1; 0 for null. */
CU_API int signalQueueListeners(Queue *queue);

CU_END_DECLS

#endif
