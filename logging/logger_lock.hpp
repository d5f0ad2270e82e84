// The hold on a control block's lock.
#ifndef COMMONUTILITIES_LOGGING_LOGGER_LOCK_HPP
#define COMMONUTILITIES_LOGGING_LOGGER_LOCK_HPP

#include <pthread.h>

#include "include/dbglog.h"
#include "internal/locks.hpp"

namespace cu {

/// Holds the block's lock for a scope in which the thread cannot be cancelled: it would leave with
/// the lock, and no thread could log any more.
class LoggerLock {
 public:
  explicit LoggerLock(DBGLogCtrl &block) : lock_(block.lock) {}
  LoggerLock(const LoggerLock &) = delete;
  LoggerLock &operator=(const LoggerLock &) = delete;

 private:
  class NotCancelled {
   public:
    NotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_); }
    ~NotCancelled() { pthread_setcancelstate(previous_, nullptr); }
    NotCancelled(const NotCancelled &) = delete;
    NotCancelled &operator=(const NotCancelled &) = delete;

   private:
    int previous_ = PTHREAD_CANCEL_ENABLE;
  };

  // In this order: the lock is taken after the switch and released before it goes back.
  const NotCancelled not_cancelled_;
  const MutexLock lock_;
};

}  // namespace cu

#endif
