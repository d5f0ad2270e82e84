// What tests with threads need: waiting for a condition with a wide bound, asking a lock's state
// from another thread, and a number of rounds that suits the build.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_THREADS_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_THREADS_HPP

#include <pthread.h>
#include <stdlib.h>

#include <chrono>
#include <thread>

#include "support/sanitizers.hpp"

namespace cu_test {

/// Waits, for at most a minute, until `condition()` holds; whether it does.
template <typename Condition>
[[nodiscard]] bool Eventually(Condition condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// Whether any thread, the caller included, holds a mutex: another thread tries it.
inline bool IsLocked(pthread_mutex_t &mutex) {
  bool locked = true;
  std::thread([&] {
    locked = pthread_mutex_trylock(&mutex) != 0;
    if (!locked) pthread_mutex_unlock(&mutex);
  }).join();
  return locked;
}

/// `full` rounds in a native build; fewer where every access is checked or emulated, unless
/// CU_TEST_FULL is set in the environment.
inline long Rounds(long full) {
#if CU_THREAD_SANITIZER || CU_ADDRESS_SANITIZER
  constexpr long kShare = 20;
#elif defined(__arm__)
  constexpr long kShare = 50;
#else
  constexpr long kShare = 1;
#endif
  const bool all = getenv("CU_TEST_FULL") != nullptr;
  return all ? full : full / kShare;
}

}  // namespace cu_test

#endif
