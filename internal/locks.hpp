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

/// Holds a mutex for a scope unless the caller says that it holds it already.
class MutexLockUnlessHeld {
 public:
  MutexLockUnlessHeld(pthread_mutex_t &mutex, bool held) : mutex_(held ? nullptr : &mutex) {
    if (mutex_ != nullptr) pthread_mutex_lock(mutex_);
  }
  ~MutexLockUnlessHeld() { unlock(); }
  MutexLockUnlessHeld(const MutexLockUnlessHeld &) = delete;
  MutexLockUnlessHeld &operator=(const MutexLockUnlessHeld &) = delete;

  /// Ends the hold early, for the steps that a function does outside its lock.
  void unlock() {
    if (mutex_ != nullptr) pthread_mutex_unlock(mutex_);
    mutex_ = nullptr;
  }

 private:
  pthread_mutex_t *mutex_;
};

}  // namespace cu

#endif
