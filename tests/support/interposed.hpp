// Puts a test between the library and the calls that depend on time and on other threads: clocks,
// sleeping, waiting, signalling and timer descriptors. For programs built with
//
//   cu_add_test(... INTERNAL LIBRARIES commonutilities_interposed)
//
//   cu_test::Interposed calls;
//   calls.clock_gettime = [](clockid_t, timespec *now) { *now = {100, 900'000'000}; return 0; };
//   ... AmbrelGetWaitTime() now computes from that time ...
//
// A call whose function is not set, and every call made within such a function, is the real one.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_INTERPOSED_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_INTERPOSED_HPP

#include <pthread.h>
#include <semaphore.h>
#include <sys/timerfd.h>
#include <sys/types.h>
#include <time.h>

#include <functional>

namespace cu_test {

/// The functions to call instead while it lives; one at a time. Set them before other threads
/// start.
class Interposed {
 public:
  Interposed();
  ~Interposed();
  Interposed(const Interposed &) = delete;
  Interposed &operator=(const Interposed &) = delete;

  std::function<int(clockid_t, timespec *)> clock_gettime;
  std::function<int(const timespec *, timespec *)> nanosleep;

  std::function<int(pthread_cond_t *, pthread_mutex_t *)> pthread_cond_wait;
  std::function<int(pthread_cond_t *, pthread_mutex_t *, const timespec *)> pthread_cond_timedwait;
  std::function<int(pthread_cond_t *)> pthread_cond_signal;
  std::function<int(pthread_cond_t *)> pthread_cond_broadcast;
  std::function<int(pthread_mutex_t *)> pthread_mutex_trylock;
  std::function<int(pthread_mutex_t *, const timespec *)> pthread_mutex_timedlock;

  std::function<int(sem_t *)> sem_wait;
  std::function<int(sem_t *, const timespec *)> sem_timedwait;
  std::function<int(sem_t *)> sem_post;

  std::function<int(int, int)> timerfd_create;
  std::function<int(int, int, const itimerspec *, itimerspec *)> timerfd_settime;
  std::function<ssize_t(int, void *, size_t)> read;
  std::function<int(int)> close;
};

}  // namespace cu_test

#endif
