/**
 * @file flexmsgqueue.h
 * @brief Publish and subscribe: every subscriber gets a copy of each message in a queue of its own.
 *
 * A producer publishes a message once. Each registered subscriber that wants it receives a copy in
 * its own bounded first-in-first-out queue. When that queue is full, the new message is dropped for
 * this subscriber, or, with `autopurge`, its oldest message makes room.
 *
 * @code
 * static FlexMsgQueue queue;                          // zero-filled
 * Init_FlexMsgQueue(&queue, 4, 32, 500);              // 4 subscribers so far, 32 messages each
 * queue.autopurge = 1;
 *
 * // a producer
 * insertFlexMsgQueueEntry(&queue, &reading, sizeof reading, 0);   // the reading stays yours
 *
 * // a subscriber
 * uint32_t me;
 * if (!registerFlexMsgQueueSubscriber(&queue, &me)) return;
 * while (running) {
 *   if (!waitOnFlexMsgQueue(&queue, me, 500)) continue;
 *   FlexMsgEntry *entry = DeQueueMsgFlexEntry(&queue, me, 0);
 *   if (entry == NULL) continue;                      // woken without a message
 *   handle(entry->data, entry->size);
 *   FreeFlexMsgQueueEntry(entry, 0);
 * }
 * FlexMsgEntry *left;
 * while ((left = DeQueueMsgFlexEntry(&queue, me, 0)) != NULL) FreeFlexMsgQueueEntry(left, 0);
 * deRegisterFlexMsgQueueSubscriber(&queue, me);
 * @endcode
 *
 * **Thread safety.** Any threads may publish, wait, dequeue, register and deregister at the same
 * time, and one flush loop may run beside them. Init and deinit are for one thread alone. Set
 * `releaseFn`, `copyFn` and `autopurge` after init and before the first publication.
 *
 * Locks are taken in this order, outermost first:
 *
 * | lock | held by |
 * |---|---|
 * | `regMutex` | a publication or registration from begin to end; a look-up before a dequeue |
 * | `listMutex` | a publication while it fills the queues; looks at the list of subscribers |
 * | the mutex of a subscriber's queue | one insertion, removal or drain; lockMsgFlexQueue() |
 * | an entry's mutex | a release |
 *
 * The callbacks run under these locks: `matchFn` and `copyFn` under the first two, `releaseFn`
 * under whatever its caller holds, up to all four. They must not call back into the same queue.
 *
 * **What surprises users.**
 * - Draining removes half of the messages. So a deregistration leaves the other half in the slot,
 *   and the next subscriber to get this slot receives them; teardown leaks them. Dequeue and
 *   release what is left before you deregister, as above.
 * - A publication returns 1 whether or not anyone got the message. Drops are logged.
 * - getFlexMsgQueueNumEntries() answers for free slots only.
 * - lockMsgFlexQueue() with 0 milliseconds unlocks. It also takes `listMutex` and so hangs together
 *   with a publication that waits for the lock to be released; see there for the safe way.
 * - A wake-up sent while nobody waits is lost. waitOnFlexMsgQueue() looks into the queue first, but
 *   give it a time; and expect to be woken without a message for you.
 * - FlexQueueFlushQueues() never ends a round when there are 256 or more slots, and keeps the list
 *   locked meanwhile: stay at 255 subscribers.
 *
 * **Shared arguments.**
 * - `queue`: the queue.
 * - `sub`: the number of the subscriber's slot.
 */
#ifndef COMMONUTILITIES_FLEXMSGQUEUE_H
#define COMMONUTILITIES_FLEXMSGQUEUE_H

#include <pthread.h>

#include "ambrelthreadutils.h"
#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** A bounded first-in-first-out queue of pointers, embedded in each subscriber's record. */
typedef struct SimpleQueue {
  uint32_t head;     /**< slot of the oldest item */
  int32_t tail;      /**< slot of the newest item; -1 before the first */
  uint32_t count;    /**< number of items */
  uint32_t capacity; /**< number of slots; 0 when there was no memory for them */
  uint32_t param;    /**< the owner's value */
  AmbrelMutex mutex; /**< guards the queue */
  void **slots;      /**< heap array of `capacity` items */
} SimpleQueue;

typedef struct FlexMsgEntry FlexMsgEntry;

/**
 * @brief Tells whether a subscriber wants a message.
 *
 * Called on the publisher's thread, once a publication, with `regMutex` and `listMutex` held.
 *
 * @param context the subscriber's value; never null, see registerFlexMsgQueueSubscriberWMatch().
 * @param data    the published message.
 * @return not 0 to receive a copy.
 */
typedef int (*FlexMsgMatchFn)(void *context, void *data);

/**
 * @brief Makes a subscriber's copy of a message.
 *
 * Called on the publisher's thread, once a subscriber, with `regMutex` and `listMutex` held.
 *
 * @param source the published message.
 * @param out    receives the copy, which the entry's `releaseFn` or free() will release.
 * @return not 0 on success; 0 leaves the subscriber without this message.
 */
typedef int (*FlexMsgCopyFn)(void *source, void **out);

/** @brief Releases an entry's `data`, not the entry; called once for each entry with data. */
typedef void (*FlexMsgReleaseFn)(FlexMsgEntry *entry);

/** A subscriber's copy of a message. */
struct FlexMsgEntry {
  uint32_t size;              /**< size of the message, as it was given by the publisher */
  int32_t refCount;           /**< references; 1 once it is queued */
  void *data;                 /**< the copy */
  uint32_t live;              /**< 1 */
  int32_t timestamp;          /**< seconds of CLOCK_MONOTONIC at the publication */
  FlexMsgReleaseFn releaseFn; /**< releases `data`; null: free(data) */
  pthread_mutex_t mutex;      /**< guards `refCount` */
};

/** A subscriber slot. */
typedef struct FlexMsgQueueSub {
  uint32_t subId;         /**< the slot's index modulo 256 */
  uint32_t reserved;      /**< zero */
  AmbrelSemaphore sem;    /**< what the subscriber waits on; keeps the time of its latest wait */
  uint8_t inUse;          /**< 1 while a subscriber is registered */
  SimpleQueue queue;      /**< the subscriber's messages, oldest first */
  void *matchContext;     /**< handed to `matchFn` */
  FlexMsgMatchFn matchFn; /**< the subscriber's filter, or null */
} FlexMsgQueueSub;

/** The queue; the owner's memory, zero-filled before its first use. */
typedef struct FlexMsgQueue {
  FlexMsgQueueSub **subs;     /**< heap array of subscriber slots; null when it could not grow */
  uint32_t reserved[2];       /**< not used by the library */
  uint32_t subCount;          /**< number of subscriber slots */
  pthread_mutex_t regMutex;   /**< serialises registrations and publications */
  pthread_mutex_t listMutex;  /**< guards the array of subscribers */
  uint32_t subCapacity;       /**< messages that each subscriber's queue holds */
  int32_t flushMs;            /**< period and age limit of the flush loop in milliseconds */
  FlexMsgReleaseFn releaseFn; /**< releases the copies; null: free(data). Set by the owner */
  FlexMsgCopyFn copyFn;       /**< makes the copies; null: copies bytes. Set by the owner */
  uint32_t autopurge;         /**< not 0: a full queue loses its oldest message. Set by the owner */
} FlexMsgQueue;

/* ---- life cycle ------------------------------------------------------------------------------ */

/**
 * @brief Makes a zero-filled queue ready.
 *
 * `releaseFn`, `copyFn` and `autopurge` are left as they are. When there is no memory, the queue
 * has as many slots as could be made, maybe none.
 *
 * @param queue       the owner's record; it must stay where it is until DeInit_FlexMsgQueue().
 * @param subCount    subscriber slots to begin with; more are added as subscribers register.
 * @param subCapacity messages that each subscriber's queue holds.
 * @param flushMs     period and age limit of FlexQueueFlushQueues(); unused without the loop.
 * @return 1; 0 for null.
 */
CU_API int Init_FlexMsgQueue(FlexMsgQueue *queue, uint32_t subCount, uint32_t subCapacity,
                             int32_t flushMs);

/**
 * @brief Releases the subscriber slots and the locks; no thread may use the queue any more.
 *
 * Each slot's queue is drained, that is, half of the messages that are left are released and the
 * rest leaks: empty the queues first. The array itself is not freed; do that with
 * `free(queue->subs)` after this call.
 *
 * @return 1; 0 for null.
 */
CU_API int DeInit_FlexMsgQueue(FlexMsgQueue *queue);

/**
 * @brief Makes a zero-filled subscriber slot ready: free, with an empty queue and a semaphore.
 *
 * @param sub      the slot.
 * @param capacity messages that its queue holds.
 * @param subId    stored as it is.
 * @return 1; 0 for null.
 */
CU_API int Init_FlexMsgQueueSub(FlexMsgQueueSub *sub, uint32_t capacity, uint32_t subId);

/**
 * @brief Drains and releases a subscriber slot, and frees the record, which must be heap memory.
 *
 * @param sub the slot.
 * @return 1; 0 for null.
 */
CU_API int DeInit_FlexMsgQueueSub(FlexMsgQueueSub *sub);

/* ---- publication ----------------------------------------------------------------------------- */

/**
 * @brief Publishes a message to every registered subscriber, and wakes them all.
 *
 * A subscriber is passed over when its filter says no, when there is no memory, when `copyFn`
 * fails, and when its queue is full without `autopurge`. A message that a full queue drops is
 * logged at level CRITICAL with the subscriber's slot. Every registered subscriber is woken,
 * whether it got a copy or not.
 *
 * @param data   the message; stays the caller's. Null is for a @p size of 0 or a `copyFn` that
 *               knows it.
 * @param size   bytes to copy; with a `copyFn`, any number, stored in the entries.
 * @param locked not 0 when the caller holds `regMutex`.
 * @return 1, whatever became of the message; 0 for a null queue.
 */
CU_API int insertFlexMsgQueueEntry(FlexMsgQueue *queue, void *data, uint32_t size, int locked);

/**
 * @brief Makes one entry: the copy of a message, without references and without `releaseFn`.
 *
 * @param data     the message.
 * @param size     bytes to copy; with a @p copyFn, any number.
 * @param outEntry receives the entry on success; release it with FreeFlexMsgQueueEntry().
 * @param copyFn   makes the copy; null copies @p size bytes.
 * @return 1; 0 when the copy failed, there is no memory, @p outEntry is null, or @p data is null
 *         with a size and without a @p copyFn.
 */
CU_API int createQueueEntry(void *data, uint32_t size, FlexMsgEntry **outEntry,
                            FlexMsgCopyFn copyFn);

/* ---- subscribers ----------------------------------------------------------------------------- */

/**
 * @brief Registers a subscriber of every message in the first free slot, or in a new one.
 *
 * The slot's queue still holds what a former subscriber's deregistration left in it.
 *
 * When the array of slots cannot grow, all subscribers are lost and their slots and messages leak:
 * the queue then has no slots.
 *
 * @param outSub receives the slot on success.
 * @return 1; 0 when there is no memory or an argument is null.
 */
CU_API int registerFlexMsgQueueSubscriber(FlexMsgQueue *queue, uint32_t *outSub);

/**
 * @brief Registers a subscriber of the messages that a filter lets pass.
 *
 * @param context handed to the filter. With a null context the filter is not asked, and every
 *                message passes.
 * @param matchFn the filter; null lets every message pass.
 * @param outSub  receives the slot on success.
 * @return as registerFlexMsgQueueSubscriber().
 */
CU_API int registerFlexMsgQueueSubscriberWMatch(FlexMsgQueue *queue, void *context,
                                                FlexMsgMatchFn matchFn, uint32_t *outSub);

/**
 * @brief The search behind both registrations, for a caller that holds both locks of the queue.
 *
 * @param context as for registerFlexMsgQueueSubscriberWMatch().
 * @param matchFn as for registerFlexMsgQueueSubscriberWMatch().
 * @param outSub  receives the slot on success.
 * @return as registerFlexMsgQueueSubscriber().
 */
CU_API int findSubSlotFlexMsgQueue(FlexMsgQueue *queue, void *context, FlexMsgMatchFn matchFn,
                                   uint32_t *outSub);

/**
 * @brief Drains a subscriber's queue and frees its slot for the next registration.
 *
 * Half of the pending messages (rounded down) stay in the slot's queue. A caller who holds the
 * queue with lockMsgFlexQueue() is kept for a second, and holds it afterwards still.
 *
 * @return 1, also for a slot that does not exist; 0 when the slot is free or the queue null.
 */
CU_API int deRegisterFlexMsgQueueSubscriber(FlexMsgQueue *queue, uint32_t sub);

/* ---- reception ------------------------------------------------------------------------------- */

/**
 * @brief Takes a subscriber's oldest message.
 *
 * @param locked not 0 when the caller holds the mutex of the subscriber's queue. Pass 0 where
 *               others may publish, see lockMsgFlexQueue().
 * @return the entry, to be released with FreeFlexMsgQueueEntry(); null when there is none, the slot
 *         is not in use or does not exist, or the queue is null.
 */
CU_API CU_MUST_USE FlexMsgEntry *DeQueueMsgFlexEntry(FlexMsgQueue *queue, uint32_t sub, int locked);

/**
 * @brief Drops one reference; the last one releases the data and frees the entry.
 *
 * Data that is not null goes to the entry's `releaseFn`, or to free().
 *
 * @param entry  null is allowed.
 * @param locked not 0 leaves the entry's mutex alone: for the only one who knows the entry, and for
 *               a caller who holds the mutex while somebody else holds a reference.
 */
CU_API void FreeFlexMsgQueueEntry(FlexMsgEntry *entry, int locked);

/**
 * @brief Waits until a subscriber may have something to read; returns at once when it has.
 *
 * @param ms the longest wait in milliseconds; a negative number counts as one second, 0 is without
 *           limit. The slot's semaphore keeps it, so the threads that wait on one slot should give
 *           the same.
 * @return 1 when there was a message or the wait was woken; 0 after the time, when the slot is not
 *         in use or does not exist, and for a null queue.
 */
CU_API int waitOnFlexMsgQueue(FlexMsgQueue *queue, uint32_t sub, int32_t ms);

/**
 * @brief The number of messages that are left in a slot without a subscriber.
 *
 * For a registered subscriber the answer is -1: count what you dequeue instead. Daemons rely on it.
 *
 * @return the number for a slot that is not in use; -1 for one that is or that does not exist, and
 *         for a null queue.
 */
CU_API int32_t getFlexMsgQueueNumEntries(FlexMsgQueue *queue, uint32_t sub);

/**
 * @brief Locks, or unlocks, the queue of a subscriber.
 *
 * A publication takes the same lock while it holds `regMutex` and `listMutex`. So a thread that has
 * locked a subscriber's queue must not call a function that takes one of those: it would wait for
 * the publication, and the publication for it. That rules out nearly all of this header,
 * DeQueueMsgFlexEntry() and unlocking with this function included. Where others may publish,
 * keep the slot's address (slots stay where they are until DeInit_FlexMsgQueue()) and use the
 * slot's own queue:
 *
 * @code
 * SimpleQueue *mine = &queue.subs[me]->queue;      // once, while nobody else registers
 * if (lockMsgFlexQueue(&queue, me, 20)) {
 *   FlexMsgEntry *entry = deQueueSimpleEntry(mine, 1);
 *   ambrel_mutex_unlock(&mine->mutex);
 * }
 * @endcode
 *
 * @param ms number of attempts, a millisecond apart, to lock it; a negative number is as good as
 *           for ever. 0 **unlocks** it and is for the thread that has locked it: unlocking somebody
 *           else's lock corrupts the queue.
 * @return with @p ms not 0: 1 when locked, 0 when not. With 0: 1. For a slot that is not in use or
 *         does not exist, and for a null queue: 0.
 */
CU_API int lockMsgFlexQueue(FlexMsgQueue *queue, uint32_t sub, int32_t ms);

/**
 * @brief Waits until `listMutex` is free; unlocks nothing.
 *
 * How a hold of lockMsgFlexQueue() ends is told there.
 */
CU_API void unlockMsgFlexQueue(FlexMsgQueue *queue);

/**
 * @brief A loop that wakes subscribers whose oldest message has waited for long; never returns for
 * a queue.
 *
 * Every `flushMs` milliseconds it looks at each registered subscriber's oldest message. The
 * message's age is taken against the time at which the loop was started: a subscriber is woken when
 * that message was published more than `flushMs` milliseconds before the start. Messages that came
 * later are not woken for unless `flushMs` is negative, so subscribers rely on waits of their own
 * with a limit. With `flushMs` 0 the loop does not sleep.
 *
 * @note With 256 slots or more a round never ends, and `listMutex` stays locked: all that use the
 *       queue hang. Stay at 255.
 *
 * @note To end the loop, call pthread_cancel() on its thread with the default, deferred type: it
 *       takes effect in the loop's sleep, when nothing is locked. (glibc loads libgcc_s.so.1 for
 *       it.) Join the thread before DeInit_FlexMsgQueue().
 */
CU_API void FlexQueueFlushQueues(FlexMsgQueue *queue);

/* ---- simple queues --------------------------------------------------------------------------- */

/**
 * @brief Makes a zero-filled queue of pointers ready.
 *
 * When there is no memory the result is the same, and the queue is full and empty at once.
 *
 * @param capacity items that the queue can hold.
 * @param param    the owner's value, kept in the record.
 * @return 1; 0 for null.
 */
CU_API int init_simplequeue(SimpleQueue *queue, uint32_t capacity, uint32_t param);

/**
 * @brief Drains a queue of FlexMsgEntry, and releases its slots and its mutex.
 *
 * What the drain leaves, half of the entries, leaks: dequeue them first.
 *
 * @return 1; 0 for null.
 */
CU_API int deinit_simplequeue(SimpleQueue *queue);

/**
 * @brief Whether the queue holds as many items as it can; takes no lock.
 *
 * @return 1 if so, else 0; 1 for null.
 */
CU_API int isSimpleQueueFull(const SimpleQueue *queue);

/** @brief Whether the queue holds no item; takes no lock. @return 1 if so, else 0; 1 for null. */
CU_API int isSimpleQueueEmpty(const SimpleQueue *queue);

/**
 * @brief Appends an item.
 *
 * @param item   any pointer but null; it stays the caller's on failure.
 * @param locked not 0 when the caller holds the queue's mutex.
 * @return 1, or the value of @p locked when that is not 0; 0 when an argument is null or the queue
 *         is full, which is logged at level DEBUG.
 */
CU_API int insertSimpleQueueEntry(SimpleQueue *queue, void *item, int locked);

/**
 * @brief Removes the oldest item.
 * @param locked not 0 when the caller holds the queue's mutex.
 * @return the item; null when the queue is empty or null.
 */
CU_API void *deQueueSimpleEntry(SimpleQueue *queue, int locked);

/**
 * @brief Releases the older half, rounded up, of the FlexMsgEntry items of a queue.
 *
 * One call on four entries leaves two; daemons rely on it. Call it until the queue is empty, or use
 * deQueueSimpleEntry(), to remove all.
 *
 * @param locked not 0 when the caller holds the queue's mutex.
 * @return 1, or the value of @p locked when that is not 0; 0 for null.
 */
CU_API int DrainFlexQueueSubList(SimpleQueue *queue, int locked);

/**
 * @brief Empties the queue inside an object, and frees the items that nobody refers to.
 *
 * Takes no lock. An item is freed, itself and not what it points to, when its second 32-bit word,
 * its reference count, is 0. Every other item is just taken out.
 *
 * @param object a record with one 32-bit word and then a SimpleQueue, placed as C places them.
 * @return 1; 0 for null.
 */
CU_API int removeSimpleQueueEntries(void *object);

CU_END_DECLS

#endif
