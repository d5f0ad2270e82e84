#include "support/faults.hpp"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

extern "C" {
FILE *__real_fopen(const char *path, const char *mode);
int __real_fclose(FILE *stream);
}

namespace cu_test {
namespace {

std::atomic<int> g_call{-1};
std::atomic<long> g_k{0};
std::atomic<long> g_calls{0};
std::atomic<bool> g_fired{false};
std::atomic<int> g_error{0};
std::atomic<bool> g_from_then{false};

/// What was injected since the program began: faults that struck, and the calls that they failed.
/// At the end a line with both is appended to the file that CU_FAULTS_FILE names. A forked child
/// that ends by _exit() is not counted.
class Tally {
 public:
  ~Tally() {
    const char *const path = getenv("CU_FAULTS_FILE");
    if (path == nullptr) return;
    FILE *const file = __real_fopen(path, "a");
    if (file == nullptr) return;
    fprintf(file, "%s memory %ld %ld other %ld %ld\n", program_invocation_short_name,
            memory_.faults.load(), memory_.calls.load(), other_.faults.load(), other_.calls.load());
    __real_fclose(file);
  }

  void AddCall(Call call) { ++Of(call).calls; }
  void AddFault(Call call) { ++Of(call).faults; }

 private:
  struct Counts {
    std::atomic<long> faults{0}, calls{0};
  };
  Counts &Of(Call call) { return call == Call::kMemory ? memory_ : other_; }

  Counts memory_, other_;
} g_tally;

/// Counts a call and tells whether it is to fail, with errno set when it is.
bool Fails(Call call) {
  if (g_call.load(std::memory_order_acquire) != static_cast<int>(call)) return false;
  const long n = g_calls.fetch_add(1) + 1;
  const long k = g_k;
  if (k == 0 || n < k || (n > k && !g_from_then)) return false;
  if (!g_fired.exchange(true)) g_tally.AddFault(call);
  g_tally.AddCall(call);
  if (g_error != 0) errno = g_error;
  return true;
}

bool IsShort() {
  return g_error == 0;
}

}  // namespace

Fault::Fault(Call call, long k, int error, Reach reach) {
  g_k = k;
  g_calls = 0;
  g_fired = false;
  g_error = call == Call::kMemory ? ENOMEM : error;
  g_from_then = reach == Reach::kFromThen;
  g_call.store(static_cast<int>(call), std::memory_order_release);
}

Fault::~Fault() {
  g_call.store(-1, std::memory_order_release);
}

bool Fault::fired() const {
  return g_fired;
}
long Fault::calls() const {
  return g_calls;
}

}  // namespace cu_test

using cu_test::Call;
using cu_test::Fails;
using cu_test::IsShort;

// __real_NAME is the call itself, __wrap_NAME what the library's objects reach instead.
#define WRAP(call, failure, result, name, parameters, arguments) \
  result __real_##name parameters;                               \
  result __wrap_##name parameters {                              \
    if (Fails(call)) return failure;                             \
    return __real_##name arguments;                              \
  }

extern "C" {

WRAP(Call::kMemory, nullptr, void *, malloc, (size_t size), (size))
WRAP(Call::kMemory, nullptr, void *, calloc, (size_t count, size_t size), (count, size))
WRAP(Call::kMemory, nullptr, void *, realloc, (void *memory, size_t size), (memory, size))
WRAP(Call::kMemory, nullptr, char *, strdup, (const char *text), (text))

WRAP(Call::kFopen, nullptr, FILE *, fopen, (const char *path, const char *mode), (path, mode))
WRAP(Call::kFdopen, nullptr, FILE *, fdopen, (int fd, const char *mode), (fd, mode))
WRAP(Call::kFflush, EOF, int, fflush, (FILE * stream), (stream))
WRAP(Call::kFseek, -1, int, fseek, (FILE * stream, long offset, int whence),
     (stream, offset, whence))
WRAP(Call::kFtell, -1, long, ftell, (FILE * stream), (stream))
WRAP(Call::kLseek, -1, off_t, lseek, (int fd, off_t offset, int whence), (fd, offset, whence))
WRAP(Call::kFtruncate, -1, int, ftruncate, (int fd, off_t size), (fd, size))
WRAP(Call::kRename, -1, int, rename, (const char *from, const char *to), (from, to))
WRAP(Call::kRemove, -1, int, remove, (const char *path), (path))
WRAP(Call::kUnlink, -1, int, unlink, (const char *path), (path))
WRAP(Call::kMkstemp, -1, int, mkstemp, (char *path), (path))
WRAP(Call::kMkdir, -1, int, mkdir, (const char *path, mode_t mode), (path, mode))
WRAP(Call::kStat, -1, int, stat, (const char *path, struct stat *out), (path, out))
WRAP(Call::kPoll, -1, int, poll, (struct pollfd * fds, nfds_t count, int timeout),
     (fds, count, timeout))
WRAP(Call::kMmap, MAP_FAILED, void *, mmap,
     (void *address, size_t size, int prot, int flags, int fd, off_t offset),
     (address, size, prot, flags, fd, offset))
WRAP(Call::kShmOpen, -1, int, shm_open, (const char *name, int flags, mode_t mode),
     (name, flags, mode))
WRAP(Call::kSemInit, -1, int, sem_init, (sem_t * sem, int shared, unsigned value),
     (sem, shared, value))
WRAP(Call::kDlopen, nullptr, void *, dlopen, (const char *path, int mode), (path, mode))
WRAP(Call::kClockGettime, -1, int, clock_gettime, (clockid_t clock, struct timespec *out),
     (clock, out))
WRAP(Call::kTimerfdCreate, -1, int, timerfd_create, (int clock, int flags), (clock, flags))

int __real_fclose(FILE *stream);
int __wrap_fclose(FILE *stream) {
  const bool fails = Fails(Call::kFclose);
  const int error = errno;
  const int result = __real_fclose(stream);
  if (!fails) return result;
  errno = error;
  return EOF;
}

int __real_close(int fd);
int __wrap_close(int fd) {
  const bool fails = Fails(Call::kClose);
  const int error = errno;
  const int result = __real_close(fd);
  if (!fails) return result;
  errno = error;
  return -1;
}

size_t __real_fread(void *buffer, size_t size, size_t count, FILE *stream);
size_t __wrap_fread(void *buffer, size_t size, size_t count, FILE *stream) {
  if (!Fails(Call::kFread)) return __real_fread(buffer, size, count, stream);
  return IsShort() ? __real_fread(buffer, 1, size * count / 2, stream) / size : 0;
}

size_t __real_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);
size_t __wrap_fwrite(const void *buffer, size_t size, size_t count, FILE *stream) {
  if (!Fails(Call::kFwrite)) return __real_fwrite(buffer, size, count, stream);
  return IsShort() ? __real_fwrite(buffer, 1, size * count / 2, stream) / size : 0;
}

ssize_t __real_read(int fd, void *buffer, size_t size);
ssize_t __wrap_read(int fd, void *buffer, size_t size) {
  if (!Fails(Call::kRead)) return __real_read(fd, buffer, size);
  return IsShort() ? __real_read(fd, buffer, size / 2) : -1;
}

ssize_t __real_write(int fd, const void *buffer, size_t size);
ssize_t __wrap_write(int fd, const void *buffer, size_t size) {
  if (!Fails(Call::kWrite)) return __real_write(fd, buffer, size);
  return IsShort() ? __real_write(fd, buffer, size / 2) : -1;
}

ssize_t __real_pwrite(int fd, const void *buffer, size_t size, off_t offset);
ssize_t __wrap_pwrite(int fd, const void *buffer, size_t size, off_t offset) {
  if (!Fails(Call::kPwrite)) return __real_pwrite(fd, buffer, size, offset);
  return IsShort() ? __real_pwrite(fd, buffer, size / 2, offset) : -1;
}

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
  va_end(arguments);
  if (Fails(Call::kOpen)) return -1;
  return __real_open(path, flags, mode);
}

sem_t *__real_sem_open(const char *name, int flags, ...);
sem_t *__wrap_sem_open(const char *name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  mode_t mode = 0;
  unsigned value = 0;
  if ((flags & O_CREAT) != 0) {
    mode = static_cast<mode_t>(va_arg(arguments, int));
    value = va_arg(arguments, unsigned);
  }
  va_end(arguments);
  if (Fails(Call::kSemOpen)) return SEM_FAILED;
  return __real_sem_open(name, flags, mode, value);
}

}  // extern "C"
