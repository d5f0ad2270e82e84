/**
 * @file flexqueue.h
 * @brief A table of time-stamped, reference-counted entries that several listeners read.
 *
 * Producers insert a pointer and a tag; an entry takes the first free slot at or after a rotating
 * search position. Readers walk the table with iterators of their own, remove the entry that they
 * last peeked, and release it. A full queue refuses new entries.
 *
 * @code
 * static FlexQueue queue;                          // zero-filled
 * init_Flexqueue(&queue, 64, 1000);
 * queue.freeFn = release_reading;                  // or leave it null: free(data)
 *
 * // a producer
 * if (!insertFlexQueueEntry(&queue, reading, SENSOR_TAG, 0)) free(reading);   // full: still yours
 *
 * // a reader
 * if (!waitOnFlexQueue(&queue, 0, 500)) return;
 * FlexQueueIter walk = {0};
 * lockFlexQueue(&queue, 0);
 * getFlexQueueIter(&queue, &walk, 1);
 * FlexEntry *entry = peekFlexQueueEntry(&walk, 1);   // the peek's reference
 * if (entry != NULL) {
 *   deQueueFlexEntry(&walk, 1);                       // the queue's reference
 *   FreeFlexQueueEntry(entry, 1);                     // one of the two, while the lock is held
 * }
 * unlockFlexQueue(&queue);
 * if (entry != NULL) {
 *   handle(entry->data);
 *   FreeFlexQueueEntry(entry, 0);                     // the other one
 * }
 * @endcode
 *
 * **References.** An entry starts with one reference, the queue's. A peek adds one. Removal takes
 * the entry out of the table and hands the queue's reference to the remover. Each reference is
 * dropped with FreeFlexQueueEntry(); the last one releases the data and frees the entry.
 *
 * **Listeners** wait with waitOnFlexQueue() in one of two modes.
 *
 * | | `broadcastMode` not 0 (set by init) | `broadcastMode` 0 |
 * |---|---|---|
 * | a listener is | anyone: every listener is slot 0 | a slot from registerSubscriber() |
 * | an insertion wakes | all waiting listeners | one waiter of each slot in use |
 * | deadlines are on | the wall clock | the monotonic clock |
 *
 * For the second mode, clear `broadcastMode` after init_Flexqueue() and call initSubscribers(), so
 * that the first five slots get semaphores too.
 *
 * **Thread safety.** Any threads may insert, read, wait and register at the same time. Init,
 * deinit, a change of mode and initSubscribers() are for one thread alone. Functions that take
 * `locked` take the queue's mutex themselves when it is 0 and take it to be held by the caller
 * otherwise. The mutex is not recursive, and it is held while `freeFn` runs and while listeners are
 * woken. Lock order: the queue's mutex, then `condMutex` or a semaphore's own mutex. Waiters hold
 * no queue mutex.
 *
 * **What surprises users.**
 * - An entry that was peeked and removed needs two releases, as above.
 * - A peek gives up after passing as many free slots as there are entries: in a sparse table it can
 *   return null although there are entries. Bind the iterator anew with getFlexQueueIter(), which
 *   starts at the first entry.
 * - A wake-up sent while nobody waits is lost, and there is no predicate: prefer timed waits, and
 *   look into the queue after each.
 * - lockFlexQueue() with a time goes on without the mutex when the time is over.
 * - getFlexQueueIter() with `locked` 0 locks the queue that the iterator named before.
 * - FlexqueueHouseKeeping() hangs, and with it every producer and reader, as soon as it meets a
 *   young entry. See there before you run it.
 *
 * **Shared arguments.**
 * - `queue`: the queue.
 */
#ifndef COMMONUTILITIES_FLEXQUEUE_H
#define COMMONUTILITIES_FLEXQUEUE_H

#include <pthread.h>

#include "ambrelthreadutils.h"
#include "commonutilities_api.h"

CU_BEGIN_DECLS

typedef struct FlexQueue FlexQueue;

/** Slots for listeners that a queue starts with. */
#define FLEXQUEUE_INITIAL_SUBSCRIBERS 5U

/** A listener's place in the registry. */
typedef struct SubscriberSlot {
  uint32_t slotId;      /**< the slot's index */
  AmbrelSemaphore *sem; /**< what the listener waits on; null in slots of broadcast mode */
  uint8_t inUse;        /**< 1 while a listener is registered */
} SubscriberSlot;

/** An entry: made by an insertion, freed with its last reference. */
typedef struct FlexEntry {
  uint32_t tag;      /**< the producer's value */
  int32_t refCount;  /**< references that are held; 1 at insertion */
  FlexQueue *queue;  /**< the queue that it was inserted into */
  void *data;        /**< the producer's pointer */
  uint32_t reserved; /**< zero */
  int32_t timestamp; /**< time() at insertion, in seconds */
} FlexEntry;

/** A place in the table. */
typedef struct FlexSlot {
  FlexEntry *entry; /**< the entry; null in a free slot */
  uint8_t inUse;    /**< 1 while the slot is taken */
} FlexSlot;

/** The queue; the owner's memory, zero-filled before its first use. */
struct FlexQueue {
  SubscriberSlot *subscribers; /**< heap array of listener slots; null after a failed growth */
  uint32_t subscriberCount;    /**< registrations, failed ones too, minus deregistrations */
  uint32_t subscriberSlots;    /**< number of listener slots */
  uint32_t count;              /**< number of entries */
  uint32_t capacity;           /**< number of entry slots */
  uint32_t lastSearchStart;    /**< where the latest search for a free slot began */
  uint32_t searchPos;          /**< where the next one begins: the slot used last */
  uint32_t ageMs;              /**< period of FlexqueueHouseKeeping() in milliseconds */
  pthread_mutex_t mutex;       /**< the queue's mutex */
  FlexSlot *slots;             /**< heap array of `capacity` slots */
  void (*freeFn)(FlexEntry *); /**< releases an entry's data, not the entry; null: free(data).
                                    Set by the owner; called with the mutex held */
  uint8_t broadcastMode;       /**< the mode of the listeners; set to 1 by init */
  pthread_cond_t cond;         /**< broadcast mode: what listeners wait on, on the wall clock */
  pthread_mutex_t condMutex;   /**< guards `cond`, and the growth of `subscribers` */
};

/** A reader's position in the table; the reader's memory, zero-filled before its first use. */
typedef struct FlexQueueIter {
  FlexQueue *queue; /**< the queue, set by getFlexQueueIter() */
  uint32_t current; /**< the slot that was peeked last: what deQueueFlexEntry() removes */
  uint32_t next;    /**< the slot at which the next peek starts */
} FlexQueueIter;

/* ---- life cycle ------------------------------------------------------------------------------ */

/**
 * @brief Makes a zero-filled queue ready, in broadcast mode and without listeners.
 *
 * `freeFn` is left as it is. When there is no memory the result is the same, and the queue refuses
 * every insertion and registration.
 *
 * @param queue    the owner's record; it must stay where it is until deinit_Flexqueue().
 * @param capacity number of entries that the queue can hold.
 * @param ageMs    period of the housekeeping loop in milliseconds; unused without the loop.
 * @return 1; 0 for null.
 */
CU_API int init_Flexqueue(FlexQueue *queue, uint32_t capacity, uint32_t ageMs);

/**
 * @brief Releases the queue's reference of every entry, then the table, the registry and the locks.
 *
 * Let no thread use the queue, its entries or its slots any more: entries that are still peeked
 * must have been released, since their release locks the queue. The record may then be initialised
 * again.
 *
 * @return 1; 0 for null.
 */
CU_API int deinit_Flexqueue(FlexQueue *queue);

/* ---- locking, size, time --------------------------------------------------------------------- */

/**
 * @brief Locks the queue for a sequence of calls with `locked` 1.
 *
 * @param ms 0: try again every 10 microseconds until the mutex is free. Otherwise wait at most that
 *           many milliseconds on the wall clock; a negative number counts as one second.
 * @return 1; 0 for null. It is 1 also when the time ended without the mutex: you are then about to
 *         go on unlocked, and the unlock releases somebody else's lock. Prefer 0.
 */
CU_API int lockFlexQueue(FlexQueue *queue, int32_t ms);

/** @brief Unlocks the queue. @return pthread_mutex_unlock()'s result, EINVAL for null. */
CU_API int unlockFlexQueue(FlexQueue *queue);

/** @brief Not the number of entries. @return the queue's capacity; 0 for null. */
CU_API uint32_t getFlexQueueSize(const FlexQueue *queue);

/**
 * @brief Whether the queue holds as many entries as it can; takes no lock.
 *
 * @return 1 if so, else 0; 1 for null.
 */
CU_API int isFlexQueueFull(const FlexQueue *queue);

/** @brief Whether the queue holds no entry; takes no lock. @return 1 if so, else 0; 1 for null. */
CU_API int isFlexQueueEmpty(const FlexQueue *queue);

/**
 * @brief Whole seconds of a number of milliseconds, but at least 1; not nanoseconds.
 *
 * 999 gives 1, 2500 gives 2.
 *
 * @param ms  milliseconds.
 * @param out receives the result.
 * @return the value stored; 0 for a null @p out.
 */
CU_API uint32_t getmsAsNs(uint32_t ms, uint32_t *out);

/* ---- entries --------------------------------------------------------------------------------- */

/**
 * @brief Puts an entry into the next free slot and wakes the listeners.
 *
 * @param data   the message; not null. Taken over on success: the entry's last release passes it to
 *               `freeFn` or free(). Still the caller's on failure.
 * @param tag    any number, for the readers.
 * @param locked not 0 when the caller holds the queue's mutex.
 * @return 1, or the value of @p locked when that is not 0; 0 when the queue or the data is null,
 *         the queue is full or there is no memory. Each failure is logged at level DEBUG.
 */
CU_API int insertFlexQueueEntry(FlexQueue *queue, void *data, uint32_t tag, int locked);

/**
 * @brief Binds an iterator to a queue and sets it to the first entry.
 *
 * @param queue  the queue; nothing is done when it or @p iter is null.
 * @param iter   zero-filled, or used before; never uninitialised memory.
 * @param locked not 0 when the caller holds the queue's mutex: the way to call it. With 0 it locks
 *               the mutex of the queue that @p iter named before the call, and unlocks that of
 *               @p queue. So with 0 the iterator must name @p queue already, or none.
 */
CU_API void getFlexQueueIter(FlexQueue *queue, FlexQueueIter *iter, int locked);

/**
 * @brief The next entry at or after the iterator's position, around the end of the table.
 *
 * The iterator moves behind the entry. It stays when the queue is empty, and stands behind the free
 * slots that were passed when the peek gives up.
 *
 * @param iter   a bound iterator.
 * @param locked not 0 when the caller holds the queue's mutex.
 * @return the entry, with a reference for the caller to drop with FreeFlexQueueEntry(); null when
 *         the queue is empty, when as many free slots as there are entries were passed without
 *         meeting one, when the entry in the slot was released once too often, or when the iterator
 *         is null or not bound.
 */
CU_API CU_MUST_USE FlexEntry *peekFlexQueueEntry(FlexQueueIter *iter, int locked);

/**
 * @brief Takes the entry of the latest peek out of the table.
 *
 * The iterator moves to the slot behind it. Two readers that peeked the same entry both call this:
 * the second finds the slot free, or an entry that was inserted there meanwhile. Peek and remove
 * under one lock to be sure to get the entry that you peeked.
 *
 * @param iter   a bound iterator.
 * @param locked not 0 when the caller holds the queue's mutex.
 * @return the entry, with the queue's reference for the caller to drop; null when the queue is
 *         empty, the slot is free, the iterator is null, not bound or beyond the table. The last
 *         case is logged at level CRITICAL.
 */
CU_API FlexEntry *deQueueFlexEntry(FlexQueueIter *iter, int locked);

/**
 * @brief Drops one reference; the last one releases the data and frees the entry.
 *
 * Data that is not null goes to the queue's `freeFn`, or to free(). An entry that is still in the
 * table when its last reference goes leaves its slot taken, but without an entry.
 *
 * @param entry  null is allowed.
 * @param locked not 0 when the caller holds the mutex of the entry's queue.
 */
CU_API void FreeFlexQueueEntry(FlexEntry *entry, int locked);

/**
 * @brief Finds the free slot that the next insertion would use; call it with the mutex held.
 *
 * Also sets `lastSearchStart` and `searchPos`.
 *
 * @return the slot's index, or 0xFFFFFFFF when there is none or @p queue is null.
 */
CU_API uint32_t getSlotID(FlexQueue *queue);

/* ---- listeners ------------------------------------------------------------------------------- */

/**
 * @brief Gives every listener slot a semaphore and marks it free; does nothing in broadcast mode.
 *
 * Called by init_Flexqueue(), and by an owner who has just cleared `broadcastMode`. A slot that has
 * a semaphore keeps it, with its time-out set back to five seconds.
 *
 * @return 1; 0 for null, or when there is no memory for a semaphore.
 */
CU_API int initSubscribers(FlexQueue *queue);

/** @brief Destroys the slots' semaphores; does nothing in broadcast mode. Part of deinit. */
CU_API void deinitSubscribers(FlexQueue *queue);

/**
 * @brief Takes the first free listener slot, or adds one; call it with the queue's mutex held.
 *
 * A registry that could not grow ends: it has no slots any more, later calls give 0,
 * `subscriberSlots` stays one too high, and the semaphores that listeners may be waiting on leak.
 *
 * @param outSlot receives the slot's index on success.
 * @return 1; 0 when there is no memory or an argument is null.
 */
CU_API int findSubscriberSlotID(FlexQueue *queue, uint32_t *outSlot);

/**
 * @brief Registers a listener.
 *
 * In broadcast mode there is nothing to register: the slot is 0. Otherwise the listener gets the
 * first free slot, and `subscriberCount` grows by one even when there was none to get.
 *
 * @param outSlot receives the slot to wait on.
 * @return the value of `broadcastMode` in broadcast mode; otherwise 1, or 0 when there is no
 *         memory. 0 when an argument is null.
 */
CU_API int registerSubscriber(FlexQueue *queue, uint32_t *outSlot);

/**
 * @brief Frees a listener's slot, for the next registration to use; nothing in broadcast mode.
 *
 * Call it once a registration: `subscriberCount` falls with each call, also for a free slot.
 *
 * @param slot what registerSubscriber() gave.
 * @return the value of `broadcastMode` in broadcast mode; otherwise 1, or 0 when there is no such
 *         slot. 0 for a null queue.
 */
CU_API int deRegisterSubscriber(FlexQueue *queue, uint32_t slot);

/**
 * @brief Wakes the listeners as an insertion does; call it with the queue's mutex held.
 * @return 1; 0 for null.
 */
CU_API int notifySubscribers(FlexQueue *queue);

/**
 * @brief Waits until the queue may have something to read.
 *
 * Returns at once when the queue has entries. An entry that arrives between that look and the wait
 * wakes nobody, so give a time.
 *
 * @param slot the listener's slot from registerSubscriber(); unused in broadcast mode. The threads
 *             that wait on one slot should give the same @p ms: the slot's semaphore keeps the time
 *             that was given last.
 * @param ms   the longest wait in milliseconds; negative counts as one second; 0 is without limit.
 * @return 1 when there were entries or the wait was woken; 0 after the time, for a null queue and
 *         for a slot that does not exist. A slot without a semaphore is not waited on: the result
 *         is 0 with a time and 1 without.
 */
CU_API int waitOnFlexQueue(FlexQueue *queue, uint32_t slot, int32_t ms);

/* ---- housekeeping ---------------------------------------------------------------------------- */

/**
 * @brief A loop that looks at the first entry once a period; never returns for a queue.
 *
 * Each round sleeps `ageMs` (from one second on, a whole second more), locks the queue and peeks
 * its first entry. With 1000 times `ageMs` (in 32 bits) greater than the entry's age in seconds,
 * the entry counts as young. Otherwise the round drops the reference that it took, sleeps once more
 * with the queue locked, and unlocks.
 *
 * @note A round that meets a young entry starts over with the queue still locked, and then waits
 *       for that lock for ever; so does everyone else. Since the age is compared in different
 *       units, nearly every entry is young: with `ageMs` 1000 those under eleven days. Run the loop
 *       only where the queue is always empty or `ageMs` is 0, and reckon with its never ending:
 *       there is no safe way to stop its thread.
 */
CU_API void FlexqueueHouseKeeping(FlexQueue *queue);

CU_END_DECLS

#endif
