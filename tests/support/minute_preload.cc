// A shared object for LD_PRELOAD that lets a program's minutes pass in milliseconds: sleeps of half
// a minute and more, which are those of maintenance loops, are cut, and shorter ones stay as they
// are.
//
//   CU_MINUTE_MS=ms        what a minute of sleep lasts
//   CU_MINUTE_FILE=path    gets an "m" for each minute slept, and an "s" for each scratch file made
//                          with mkstemp(), as compaction does
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr time_t kLongSeconds = 30;
constexpr long kMinuteSeconds = 60;

long g_minute_ms = -1;  // sleeps are not cut
int g_file = -1;

__attribute__((constructor)) void ReadWish() {
  const char *const text = getenv("CU_MINUTE_MS");
  if (text != nullptr) g_minute_ms = strtol(text, nullptr, 10);
  const char *const path = getenv("CU_MINUTE_FILE");
  if (path != nullptr) g_file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
}

void Note(const char *what) {
  if (g_file >= 0 && write(g_file, what, 1) != 1) _exit(125);
}

template <typename Function>
Function *Next(const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int nanosleep(const timespec *duration, timespec *rest) {
  static auto *const real = Next<int(const timespec *, timespec *)>("nanosleep");
  if (g_minute_ms < 0 || duration->tv_sec < kLongSeconds) return real(duration, rest);
  Note("m");
  const auto ms = static_cast<long>(duration->tv_sec) * g_minute_ms / kMinuteSeconds;
  const timespec cut = {ms / 1000, ms % 1000 * 1000000};
  return real(&cut, rest);
}

__attribute__((visibility("default"))) unsigned sleep(unsigned seconds) {
  static auto *const real = Next<unsigned(unsigned)>("sleep");
  if (g_minute_ms < 0 || static_cast<time_t>(seconds) < kLongSeconds) return real(seconds);
  const timespec duration = {static_cast<time_t>(seconds), 0};
  return nanosleep(&duration, nullptr) == 0 ? 0 : seconds;
}

__attribute__((visibility("default"))) int mkstemp(char *path) {
  static auto *const real = Next<int(char *)>("mkstemp");
  Note("s");
  return real(path);
}

}  // extern "C"
