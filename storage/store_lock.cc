#include "include/AmbrelDataStorage.h"

#include <pthread.h>
#include <time.h>

#include "include/ambrelthreadutils.h"
#include "storage/store_lock.hpp"

namespace cu::store {

bool TimedLock(AmbrelStorageEngine &engine) {
  // Without a clock the deadline is zero: a free lock is still taken, a busy one not waited for.
  timespec deadline;
  AmbrelGetWaitTime(static_cast<int32_t>(engine.lockTimeoutMs), &deadline);
  return pthread_mutex_timedlock(&engine.mutex, &deadline) == 0;
}

StoreLock::StoreLock(AmbrelStorageEngine &engine, uint32_t held, Patience patience)
    : engine_(engine), held_(held != 0), taken_(false) {
  if (held_) return;
  taken_ = patience == kTimed ? TimedLock(engine) : pthread_mutex_lock(&engine.mutex) == 0;
}

}  // namespace cu::store

uint32_t ambrelStorageLock(AmbrelStorageEngine *engine, uint32_t held) {
  if (held != 0) return held;
  return engine != nullptr && cu::store::TimedLock(*engine);
}

void ambrelStorageUnLock(AmbrelStorageEngine *engine, uint32_t held) {
  if (engine != nullptr && held == 0) pthread_mutex_unlock(&engine->mutex);
}
