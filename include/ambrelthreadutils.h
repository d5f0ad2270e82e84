/**
 * @file ambrelthreadutils.h
 * @brief Deadlines, semaphores, the time-change monitor, sleeping and mutexes.
 *
 * A semaphore is the owner's record. Zero-fill it, choose the variant, then initialise it:
 *
 * @code
 * AmbrelSemaphore wake;
 * memset(&wake, 0, sizeof wake);      // required, see below
 * wake.usePosixSem = 1;               // counts signals; 0 for the variant that does not
 * AmbrelSemaphoreInit(&wake, 500);
 * ...
 * if (AmbrelSemphoreTimedWait(&wake) == 0) handle_work();   // 2: half a second without a signal
 * ...
 * AmbrelSemaphoreDestroy(&wake);
 * @endcode
 *
 * | `usePosixSem` | made of | a signal without a waiter | deadlines on |
 * |---|---|---|---|
 * | not 0 | a heap `sem_t` | is kept and counted | the wall clock |
 * | 0 | a mutex and a condition variable | is lost | the monotonic clock |
 *
 * **Thread safety.** Any threads may wait on, signal, lock and unlock one object at the same time.
 * Initialising and destroying an object, and the monitor's registry, are not locked: do that while
 * no other thread uses the object. A thread may be cancelled while it waits or sleeps here; it
 * leaves the semaphore as if it had not waited.
 *
 * **What surprises users.**
 * - Zero-fill every record before its first use. The condition variant uses `condAttr` as it
 *   stands; stray bytes in it can make the condition variable a process-shared one.
 * - In the condition variant a wait is one wait: there is no predicate and no loop, so a spurious
 *   wake-up returns like a real one, and a signal that nobody waits for wakes nobody. Test your own
 *   state before and after each wait, and prefer timed waits.
 * - A negative number of milliseconds counts as one second.
 * - A deadline whose nanoseconds run over a full second is rounded to that second: the nanoseconds
 *   that remain are dropped, so a wait can end up to one second early.
 * - ambrelusleep() sleeps whole seconds, and one more, from one second on.
 * - AmbrelMonitorTimeChange() does not block. On a working system it keeps one processor core busy.
 *
 * **Shared arguments.**
 * - `semaphore`: the semaphore.
 * - `monitor`: the monitor.
 * - `mutex`: the mutex.
 */
#ifndef COMMONUTILITIES_AMBRELTHREADUTILS_H
#define COMMONUTILITIES_AMBRELTHREADUTILS_H

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** A semaphore in one of two variants; the owner's memory, zero-filled before its first use. */
typedef struct AmbrelSemaphore {
  pthread_mutex_t mutex;       /**< condition variant: held around one wait or one signal */
  pthread_cond_t cond;         /**< condition variant: what the waiters wait on */
  pthread_condattr_t condAttr; /**< condition variant: used as it stands, so it must be zero */
  sem_t *sem;                  /**< POSIX variant: made and freed by init and destroy */
  uint32_t timeoutMs;          /**< milliseconds of a timed wait; 0: no limit */
  uint8_t usePosixSem;         /**< the variant; set by the owner before init, then left alone */
} AmbrelSemaphore;

/** The time-change monitor and its registry of semaphores; the owner's memory, zero-filled. */
typedef struct AmbrelTimeMonitor {
  uint8_t timeChanged;          /**< not 0 while a change is being told to the semaphores */
  uint8_t stop;                 /**< the owner sets it to end AmbrelMonitorTimeChange() */
  AmbrelSemaphore **semaphores; /**< heap array of the registered semaphores, or null */
  uint32_t count;               /**< entries of that array */
} AmbrelTimeMonitor;

/** A mutex that knows whether it is ready; the owner's memory, zero-filled. */
typedef struct AmbrelMutex {
  pthread_mutex_t mutex; /**< default attributes: not recursive */
  uint32_t timeoutMs;    /**< kept for the owner; 1000 after init unless it was set before */
  uint8_t initialised;   /**< 1 between ambrel_mutex_init() and ambrel_mutex_destroy() */
} AmbrelMutex;

/* ---- deadlines ------------------------------------------------------------------------------- */

/**
 * @brief Splits milliseconds into seconds and nanoseconds; reads no clock.
 *
 * 1500 gives {1, 500000000}, 999 gives {0, 999000000}, and any negative value gives {1, 0}.
 *
 * @param ms  milliseconds.
 * @param out receives the interval.
 * @return 1; 0 for a null @p out.
 */
CU_API int AmbrelConvertWaitTime(int32_t ms, struct timespec *out);

/**
 * @brief The wall-clock time (CLOCK_REALTIME) that lies @p ms from now.
 *
 * When the nanoseconds of now and of the interval together exceed 999,999,999, the result is the
 * next full second: 250 ms from {100, 900000000} is {101, 0}.
 *
 * @param ms  milliseconds from now; a negative value counts as one second.
 * @param out receives the deadline; {0, 0} when the clock cannot be read.
 * @return 1; 0 when the clock cannot be read or @p out is null.
 */
CU_API int AmbrelGetWaitTime(int32_t ms, struct timespec *out);

/**
 * @brief AmbrelGetWaitTime() on CLOCK_MONOTONIC, which no change of the wall clock moves.
 *
 * @param ms  as for AmbrelGetWaitTime().
 * @param out receives the deadline.
 * @return as AmbrelGetWaitTime().
 */
CU_API int AmbrelGetWaitTimeMonotonic(int32_t ms, struct timespec *out);

/* ---- semaphores ------------------------------------------------------------------------------ */

/**
 * @brief Makes a zero-filled semaphore, whose `usePosixSem` is set, ready for use.
 *
 * @param semaphore the owner's record; it must stay where it is until its destruction.
 * @param timeoutMs milliseconds that AmbrelSemphoreTimedWait() waits; 0: without limit.
 * @return 1; 0 for a null @p semaphore, and when there is no memory for the POSIX variant. `sem` is
 *         then null, waits fail at once and signals do nothing.
 */
CU_API int AmbrelSemaphoreInit(AmbrelSemaphore *semaphore, uint32_t timeoutMs);

/**
 * @brief Releases what AmbrelSemaphoreInit() made; the record may be initialised again.
 *
 * No thread may be waiting. The condition variant's objects are destroyed each time, so call this
 * once for each initialisation.
 *
 * @return the value of `usePosixSem` in the POSIX variant, 1 in the condition variant, 0 for null.
 */
CU_API int AmbrelSemaphoreDestroy(AmbrelSemaphore *semaphore);

/**
 * @brief Waits without limit.
 *
 * In the condition variant a signal from before the call does not end the wait. In the POSIX
 * variant a signal handler that interrupts the wait ends it.
 *
 * @return 0 after the wait; 1 for a null semaphore.
 */
CU_API int AmbrelSemphoreWait(AmbrelSemaphore *semaphore);

/**
 * @brief Waits at most `timeoutMs` milliseconds; without limit when that is 0.
 *
 * Each timed wait logs "Error code is " and errno at level DEBUG, also after a success. `timeoutMs`
 * is converted as a signed value: 0xFFFFFFFF waits for one second. When the clock cannot be read,
 * the wait ends at once.
 *
 * @return 0 when woken, 2 after the time or an error (in the POSIX variant a signal handler that
 *         interrupts the wait is one), 1 for a null semaphore.
 */
CU_API int AmbrelSemphoreTimedWait(AmbrelSemaphore *semaphore);

/**
 * @brief Wakes waiters.
 *
 * The condition variant signals while it holds the semaphore's mutex. Not for signal handlers.
 *
 * @param broadcast condition variant: not 0 wakes every waiter, 0 wakes one. Without effect in the
 *                  POSIX variant, where each call lets one wait go on.
 * @return 1 in the condition variant, the value of `usePosixSem` in the POSIX variant, 0 for null.
 */
CU_API int AmbrelSemphoreSignal(AmbrelSemaphore *semaphore, int broadcast);

/* ---- the time-change monitor ----------------------------------------------------------------- */

/**
 * @brief Watches for changes of the wall clock and signals the registered semaphores; a loop.
 *
 * Run it on a thread of your own, with a zero-filled monitor and every semaphore registered before.
 * End it from another thread with `__atomic_store_n(&monitor->stop, 1, __ATOMIC_RELAXED)` and join
 * the thread before you change the registry or release the monitor.
 *
 * @note Each pass creates a timer descriptor that a change of the clock would cancel, and closes it
 *       at once instead of waiting on it. So the loop does not sleep, and with a working timer it
 *       sees no change; where no timer can be made, it logs three lines a pass. Daemons rely on
 *       waits of their own with a limit rather than on this monitor; when you do run it, give its
 *       thread the lowest priority.
 *
 * @return 0 once `stop` is set; 0 at once for a null monitor.
 */
CU_API int AmbrelMonitorTimeChange(AmbrelTimeMonitor *monitor);

/**
 * @brief Appends a semaphore to the monitor's registry.
 *
 * A semaphore that is registered twice is signalled twice. The registry keeps the pointer, so
 * deregister a semaphore before you destroy it.
 *
 * @return 1; 0 when either is null, or when there is no memory: a registry that could not grow is
 *         empty afterwards.
 */
CU_API int AmbrelRegisterSemaphore(AmbrelTimeMonitor *monitor, AmbrelSemaphore *semaphore);

/**
 * @brief Removes the first entry of a semaphore; the others keep their order.
 *
 * Removing the last semaphore also frees the array: a monitor that will not be used any more is
 * released by deregistering all its semaphores.
 *
 * @return 1; 0 when either is null or the semaphore is not registered.
 */
CU_API int AmbrelDeRegisterSemaphore(AmbrelTimeMonitor *monitor, AmbrelSemaphore *semaphore);

/* ---- sleeping and time ----------------------------------------------------------------------- */

/**
 * @brief Sleeps with one nanosleep(), which is not resumed after a signal.
 *
 * Below one second the sleep is exact. From one second on it is the whole seconds plus one: both
 * 1,000,000 and 1,500,000 microseconds sleep two seconds.
 *
 * @param us microseconds.
 * @return nanosleep()'s: 0, or -1 with errno.
 */
CU_API int ambrelusleep(uint64_t us);

/** @brief Reads CLOCK_MONOTONIC. @return its seconds, or -1 when it cannot be read. */
CU_API int32_t getCurrentMonitonicTimeInSeconds(void);

/* ---- mutexes --------------------------------------------------------------------------------- */

/**
 * @brief Makes a zero-filled mutex ready for use.
 * @return pthread_mutex_init()'s result; 0 when it is ready already, -1 for null.
 */
CU_API int ambrel_mutex_init(AmbrelMutex *mutex);

/**
 * @brief Locks the mutex; a thread that holds it already deadlocks.
 * @return pthread_mutex_lock()'s result; -1 for null or a mutex that is not ready.
 */
CU_API int ambrel_mutex_lock(AmbrelMutex *mutex);

/**
 * @brief Locks the mutex if it is free.
 * @return pthread_mutex_trylock()'s result, EBUSY when it is held; -1 for null or a mutex that is
 *         not ready.
 */
CU_API int ambrel_mutex_trylock(AmbrelMutex *mutex);

/**
 * @brief Unlocks the mutex.
 * @return pthread_mutex_unlock()'s result; -1 for null or a mutex that is not ready.
 */
CU_API int ambrel_mutex_unlock(AmbrelMutex *mutex);

/**
 * @brief Tries to lock the mutex, with a millisecond's sleep after each attempt that fails.
 *
 * @param attempts number of attempts, and so about the milliseconds to wait; 0 makes one attempt.
 * @return 0 when locked; the last attempt's result (EBUSY) when not; -1 for null or a mutex that is
 *         not ready.
 */
CU_API int ambrel_mutex_timed_lock(AmbrelMutex *mutex, uint32_t attempts);

/**
 * @brief Ends the use of a mutex that nobody holds; the record may be initialised again.
 * @return pthread_mutex_destroy()'s result; 0 when it is not ready, -1 for null.
 */
CU_API int ambrel_mutex_destroy(AmbrelMutex *mutex);

CU_END_DECLS

#endif
