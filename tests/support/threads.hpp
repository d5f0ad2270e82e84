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

/// `full` rounds when CU_TEST_FULL is set in the environment. Without it `everyday` rounds in a
/// native build, and fewer where every access is checked or emulated.
inline long Rounds(long full, long everyday) {
#if CU_THREAD_SANITIZER || CU_ADDRESS_SANITIZER
  constexpr long kShare = 20;
#elif defined(__arm__)
  constexpr long kShare = 50;
#else
  constexpr long kShare = 1;
#endif
  const bool all = getenv("CU_TEST_FULL") != nullptr;
  return all ? full : everyday / kShare;
}

/// The same, with all rounds every day in a native build.
inline long Rounds(long full) {
  return Rounds(full, full);
}

}  // namespace cu_test

#endif
