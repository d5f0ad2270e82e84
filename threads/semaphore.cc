#include "include/ambrelthreadutils.h"

#include <errno.h>
#include <stddef.h>
#include <stdlib.h>

#include "internal/locks.hpp"
#include "internal/log_pair.hpp"
#include "internal/owned.hpp"

namespace {

constexpr char kLogModule[] = "ambrelthreadutils";

constexpr int kWoken = 0;
constexpr int kNoSemaphore = 1;
constexpr int kTimedOut = 2;

static_assert(offsetof(AmbrelSemaphore, mutex) == 0);
static_assert(offsetof(AmbrelSemaphore, mutex) < offsetof(AmbrelSemaphore, cond));
static_assert(offsetof(AmbrelSemaphore, cond) < offsetof(AmbrelSemaphore, condAttr));
static_assert(offsetof(AmbrelSemaphore, condAttr) < offsetof(AmbrelSemaphore, sem));
static_assert(offsetof(AmbrelSemaphore, timeoutMs) ==
              offsetof(AmbrelSemaphore, sem) + sizeof(void *));
static_assert(offsetof(AmbrelSemaphore, usePosixSem) ==
              offsetof(AmbrelSemaphore, timeoutMs) + sizeof(uint32_t));

bool IsPosix(const AmbrelSemaphore &semaphore) {
  return semaphore.usePosixSem != 0;
}

bool InitPosix(AmbrelSemaphore &semaphore) {
  cu::Owned<sem_t> sem(static_cast<sem_t *>(calloc(1, sizeof(sem_t))));
  if (sem && sem_init(sem.get(), 0, 0) != 0) sem.reset();
  semaphore.sem = sem.release();
  return semaphore.sem != nullptr;
}

void InitCondition(AmbrelSemaphore &semaphore) {
  pthread_mutex_init(&semaphore.mutex, nullptr);
  // The attribute is used as the owner's zero-filled record has it: only its clock is set.
  pthread_condattr_setclock(&semaphore.condAttr, CLOCK_MONOTONIC);
  pthread_cond_init(&semaphore.cond, &semaphore.condAttr);
}

/// How a wait ended; `error` is errno right after it, for the log.
struct WaitEnd {
  bool woken;
  int error;
};

/// One wait, without a predicate, and without a limit when `deadline` is null.
WaitEnd WaitForCondition(AmbrelSemaphore &semaphore, const timespec *deadline) {
  WaitEnd end;  // set behind the setjmp() of the clean-up handler alone
  pthread_mutex_lock(&semaphore.mutex);
  pthread_cleanup_push(cu::UnlockOnCancel, &semaphore.mutex);
  end.woken = (deadline == nullptr
                   ? pthread_cond_wait(&semaphore.cond, &semaphore.mutex)
                   : pthread_cond_timedwait(&semaphore.cond, &semaphore.mutex, deadline)) == 0;
  end.error = errno;
  pthread_cleanup_pop(1);
  return end;
}

WaitEnd TimedWaitCondition(AmbrelSemaphore &semaphore, int32_t ms) {
  timespec deadline;
  AmbrelGetWaitTimeMonotonic(ms, &deadline);
  return WaitForCondition(semaphore, &deadline);
}

WaitEnd TimedWaitPosix(AmbrelSemaphore &semaphore, int32_t ms) {
  timespec deadline;
  AmbrelGetWaitTime(ms, &deadline);
  if (semaphore.sem == nullptr) return {false, EINVAL};
  const bool woken = sem_timedwait(semaphore.sem, &deadline) == 0;
  return {woken, errno};
}

}  // namespace

int AmbrelSemaphoreInit(AmbrelSemaphore *semaphore, uint32_t timeoutMs) {
  if (semaphore == nullptr) return 0;
  __atomic_store_n(&semaphore->timeoutMs, timeoutMs, __ATOMIC_RELAXED);
  if (IsPosix(*semaphore)) return InitPosix(*semaphore) ? 1 : 0;
  InitCondition(*semaphore);
  return 1;
}

int AmbrelSemaphoreDestroy(AmbrelSemaphore *semaphore) {
  if (semaphore == nullptr) return 0;
  if (IsPosix(*semaphore)) {
    if (semaphore->sem != nullptr) sem_destroy(semaphore->sem);
    free(semaphore->sem);
    semaphore->sem = nullptr;
    return semaphore->usePosixSem;
  }
  pthread_mutex_destroy(&semaphore->mutex);
  pthread_cond_destroy(&semaphore->cond);
  return 1;
}

int AmbrelSemphoreWait(AmbrelSemaphore *semaphore) {
  if (semaphore == nullptr) return kNoSemaphore;
  if (IsPosix(*semaphore)) {
    if (semaphore->sem == nullptr) return kNoSemaphore;
    sem_wait(semaphore->sem);
    return kWoken;
  }
  WaitForCondition(*semaphore, nullptr);
  return kWoken;
}

int AmbrelSemphoreTimedWait(AmbrelSemaphore *semaphore) {
  if (semaphore == nullptr) return kNoSemaphore;
  // Queues set the time-out while other threads wait.
  const uint32_t timeout = __atomic_load_n(&semaphore->timeoutMs, __ATOMIC_RELAXED);
  if (timeout == 0) return AmbrelSemphoreWait(semaphore);
  const auto ms = static_cast<int32_t>(timeout);
  const WaitEnd end =
      IsPosix(*semaphore) ? TimedWaitPosix(*semaphore, ms) : TimedWaitCondition(*semaphore, ms);
  CU_LOG(DBGLOG_DEBUG, "Error code is %d\n", end.error);
  return end.woken ? kWoken : kTimedOut;
}

int AmbrelSemphoreSignal(AmbrelSemaphore *semaphore, int broadcast) {
  if (semaphore == nullptr) return 0;
  if (IsPosix(*semaphore)) {
    if (semaphore->sem != nullptr) sem_post(semaphore->sem);
    return semaphore->usePosixSem;
  }
  const cu::MutexLock lock(semaphore->mutex);
  if (broadcast != 0) {
    pthread_cond_broadcast(&semaphore->cond);
  } else {
    pthread_cond_signal(&semaphore->cond);
  }
  return 1;
}
