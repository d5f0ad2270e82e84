// The store's lock for a scope.
#ifndef COMMONUTILITIES_STORAGE_STORE_LOCK_HPP
#define COMMONUTILITIES_STORAGE_STORE_LOCK_HPP

#include <stdint.h>

#include "include/AmbrelDataStorage.h"

namespace cu::store {

/// Waits for the lock up to the store's time-out; false when it passed.
bool TimedLock(AmbrelStorageEngine &engine);

/// Holds the lock for a scope unless the caller holds it already. False when it could not be had:
/// the operation then gives up. The time-out does not apply to a `kNoLimit` lock.
class StoreLock {
 public:
  enum Patience { kTimed, kNoLimit };

  StoreLock(AmbrelStorageEngine &engine, uint32_t held, Patience patience = kTimed);
  ~StoreLock() {
    if (taken_) pthread_mutex_unlock(&engine_.mutex);
  }
  StoreLock(const StoreLock &) = delete;
  StoreLock &operator=(const StoreLock &) = delete;

  explicit operator bool() const { return taken_ || held_; }

 private:
  AmbrelStorageEngine &engine_;
  bool held_;
  bool taken_;
};

}  // namespace cu::store

#endif
