#include "support/interposed.hpp"

#include <atomic>

namespace cu_test {
namespace {

std::atomic<Interposed *> g_current{nullptr};
thread_local bool g_inside = false;

/// Calls the test's function of the current scope, if there is one, and else the real one.
template <typename Result, typename... Arguments>
Result Call(std::function<Result(Arguments...)> Interposed::*member, Result (*real)(Arguments...),
            Arguments... arguments) {
  Interposed *const current = g_current.load(std::memory_order_acquire);
  if (current == nullptr || g_inside || !(current->*member)) return real(arguments...);
  g_inside = true;
  const Result result = (current->*member)(arguments...);
  g_inside = false;
  return result;
}

}  // namespace

Interposed::Interposed() {
  g_current.store(this, std::memory_order_release);
}

Interposed::~Interposed() {
  g_current.store(nullptr, std::memory_order_release);
}

}  // namespace cu_test

using cu_test::Interposed;

// __real_NAME is the call itself, __wrap_NAME what this program's objects reach instead.
#define INTERPOSE(result, name, parameters, ...)                          \
  result __real_##name parameters;                                        \
  result __wrap_##name parameters {                                       \
    return cu_test::Call(&Interposed::name, &__real_##name, __VA_ARGS__); \
  }

extern "C" {

INTERPOSE(int, clock_gettime, (clockid_t clock, timespec *now), clock, now)
INTERPOSE(int, nanosleep, (const timespec *duration, timespec *rest), duration, rest)

INTERPOSE(int, pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t *mutex), condition,
          mutex)
INTERPOSE(int, pthread_cond_timedwait,
          (pthread_cond_t * condition, pthread_mutex_t *mutex, const timespec *deadline), condition,
          mutex, deadline)
INTERPOSE(int, pthread_cond_signal, (pthread_cond_t * condition), condition)
INTERPOSE(int, pthread_cond_broadcast, (pthread_cond_t * condition), condition)
INTERPOSE(int, pthread_mutex_trylock, (pthread_mutex_t * mutex), mutex)
INTERPOSE(int, pthread_mutex_timedlock, (pthread_mutex_t * mutex, const timespec *deadline), mutex,
          deadline)

INTERPOSE(int, sem_wait, (sem_t * sem), sem)
INTERPOSE(int, sem_timedwait, (sem_t * sem, const timespec *deadline), sem, deadline)
INTERPOSE(int, sem_post, (sem_t * sem), sem)

INTERPOSE(int, timerfd_create, (int clock, int flags), clock, flags)
INTERPOSE(int, timerfd_settime, (int fd, int flags, const itimerspec *next, itimerspec *previous),
          fd, flags, next, previous)
INTERPOSE(ssize_t, read, (int fd, void *buffer, size_t size), fd, buffer, size)
INTERPOSE(int, close, (int fd), fd)

}  // extern "C"
