// Tells that a thread is blocked on a mutex, so that a test need not guess by time.
#ifndef COMMONUTILITIES_TESTS_MESSAGING_LOCK_PROBE_HPP
#define COMMONUTILITIES_TESTS_MESSAGING_LOCK_PROBE_HPP

#include <pthread.h>

#include <atomic>
#include <thread>

#include "support/threads.hpp"

namespace cu_test {

/// Whether some thread sleeps in pthread_mutex_lock(); glibc marks a mutex that has waiters.
inline bool HasWaiter(const pthread_mutex_t &mutex) {
  return __atomic_load_n(&mutex.__data.__lock, __ATOMIC_RELAXED) > 1;
}

/// Holds a mutex from another thread's point of view while it runs `call` on a thread of its own,
/// and tells whether the call waited for the mutex. The call is done when this returns.
template <typename Call>
[[nodiscard]] bool WaitsFor(pthread_mutex_t &mutex, Call call) {
  pthread_mutex_lock(&mutex);
  std::atomic<bool> done{false};
  std::thread caller([&] {
    call();
    done = true;
  });
  const bool decided = Eventually([&] { return HasWaiter(mutex) || done; });
  const bool waited = decided && !done;
  pthread_mutex_unlock(&mutex);
  caller.join();
  return waited;
}

}  // namespace cu_test

#endif
