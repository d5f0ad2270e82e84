#include "include/ambrelthreadutils.h"

namespace {

constexpr int kUnusable = -1;
constexpr uint32_t kDefaultTimeoutMs = 1'000;
constexpr uint64_t kRetryPauseUs = 1'000;

/// Read without the lock: it tells whether there is a lock.
bool IsInitialised(const AmbrelMutex &mutex) {
  return __atomic_load_n(&mutex.initialised, __ATOMIC_RELAXED) != 0;
}

void SetInitialised(AmbrelMutex &mutex, bool initialised) {
  __atomic_store_n(&mutex.initialised, static_cast<uint8_t>(initialised), __ATOMIC_RELAXED);
}

bool IsUsable(const AmbrelMutex *mutex) {
  return mutex != nullptr && IsInitialised(*mutex);
}

}  // namespace

int ambrel_mutex_init(AmbrelMutex *mutex) {
  if (mutex == nullptr) return kUnusable;
  if (IsInitialised(*mutex)) return 0;
  if (mutex->timeoutMs == 0) mutex->timeoutMs = kDefaultTimeoutMs;
  SetInitialised(*mutex, true);
  return pthread_mutex_init(&mutex->mutex, nullptr);
}

int ambrel_mutex_lock(AmbrelMutex *mutex) {
  return IsUsable(mutex) ? pthread_mutex_lock(&mutex->mutex) : kUnusable;
}

int ambrel_mutex_trylock(AmbrelMutex *mutex) {
  return IsUsable(mutex) ? pthread_mutex_trylock(&mutex->mutex) : kUnusable;
}

int ambrel_mutex_unlock(AmbrelMutex *mutex) {
  return IsUsable(mutex) ? pthread_mutex_unlock(&mutex->mutex) : kUnusable;
}

int ambrel_mutex_timed_lock(AmbrelMutex *mutex, uint32_t attempts) {
  if (!IsUsable(mutex)) return kUnusable;
  uint32_t made = 0;
  int result = 0;
  do {
    result = pthread_mutex_trylock(&mutex->mutex);
    if (result == 0) return 0;
    ambrelusleep(kRetryPauseUs);  // after the last attempt too
  } while (++made < attempts);
  return result;
}

int ambrel_mutex_destroy(AmbrelMutex *mutex) {
  if (mutex == nullptr) return kUnusable;
  if (!IsInitialised(*mutex)) return 0;
  SetInitialised(*mutex, false);
  return pthread_mutex_destroy(&mutex->mutex);
}
