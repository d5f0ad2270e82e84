// Scoped locks, also the conditional one behind the `locked` and `lockHeld` arguments.
#ifndef COMMONUTILITIES_INTERNAL_LOCKS_HPP
#define COMMONUTILITIES_INTERNAL_LOCKS_HPP

#include <pthread.h>

namespace cu {

/// Holds a mutex for a scope.
class MutexLock {
 public:
  explicit MutexLock(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~MutexLock() { pthread_mutex_unlock(&mutex_); }
  MutexLock(const MutexLock &) = delete;
  MutexLock &operator=(const MutexLock &) = delete;

 private:
  pthread_mutex_t &mutex_;
};

/// Holds a lock for a scope unless the caller says that it holds it already.
template <typename Lock, auto kTake, auto kRelease>
class LockUnlessHeld {
 public:
  LockUnlessHeld(Lock &lock, bool held) : lock_(held ? nullptr : &lock) {
    if (lock_ != nullptr) kTake(lock_);
  }
  ~LockUnlessHeld() { unlock(); }
  LockUnlessHeld(const LockUnlessHeld &) = delete;
  LockUnlessHeld &operator=(const LockUnlessHeld &) = delete;

  /// Ends the hold early, for the steps that a function does outside its lock.
  void unlock() {
    if (lock_ != nullptr) kRelease(lock_);
    lock_ = nullptr;
  }

 private:
  Lock *lock_;
};

using MutexLockUnlessHeld =
    LockUnlessHeld<pthread_mutex_t, pthread_mutex_lock, pthread_mutex_unlock>;

/// The handler for pthread_cleanup_push() around a wait: a thread that is cancelled in it runs
/// this, but no destructor of a scoped lock.
inline void UnlockOnCancel(void *mutex) {
  pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
}

}  // namespace cu

#endif
