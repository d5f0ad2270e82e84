// A shared object for LD_PRELOAD that makes one call of a running program fail, with the calls and
// the counters of faults.hpp, for what was built without them: the shared library as it is shipped,
// and the programs that use it.
//
//   CU_FAIL=call:k[:once|after]:error   the k-th call, alone or with all that follow; call is a
//                                       name such as fopen, or memory; error is a number, or 0 for
//                                       a short read or write
//   CU_FAIL=count                       nothing fails, calls are counted
//   CU_FAIL_FILE=path                   this file is made when the fault strikes; or it gets the
//                                       counts, a line "call number" each, when the program ends
//
// The calls of the program's libraries count; its own do not, nor do those that the C library makes
// itself. A library's call at the very end of a function that the program calls is taken for the
// program's.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "support/faults.hpp"

namespace cu_test {
namespace {

/// By Call.
const char *const kNames[] = {"memory",    "fopen",    "fdopen", "fclose",        "fread",
                              "fwrite",    "fflush",   "fseek",  "ftell",         "open",
                              "close",     "read",     "write",  "pwrite",        "lseek",
                              "ftruncate", "rename",   "remove", "unlink",        "mkstemp",
                              "mkdir",     "stat",     "poll",   "mmap",          "shm_open",
                              "sem_open",  "sem_init", "dlopen", "clock_gettime", "timerfd_create"};
static_assert(sizeof kNames / sizeof *kNames == static_cast<size_t>(Call::kCount));

std::atomic<int> g_call{-1};
std::atomic<long> g_calls[static_cast<size_t>(Call::kCount)];
std::atomic<bool> g_counts{false};
long g_k = 0;
bool g_from_then = false;
int g_error = 0;
const char *g_file = nullptr;

/// The code of the program, the C library and the dynamic linker.
struct Range {
  uintptr_t begin, end;
} g_others[8];
size_t g_ranges = 0;

bool IsOther(const char *path) {
  if (*path == '\0') return true;
  return strstr(path, "/libc.so") != nullptr || strstr(path, "/ld-linux") != nullptr;
}

int NoteOther(dl_phdr_info *info, size_t, void *) {
  if (!IsOther(info->dlpi_name)) return 0;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr) &segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
    if (g_ranges == sizeof g_others / sizeof *g_others) continue;
    const uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
    g_others[g_ranges++] = {begin, begin + segment.p_memsz};
  }
  return 0;
}

[[noreturn]] void Refuse(const char *text) {
  fprintf(stderr, "CU_FAIL=%s: not call:k[:once|after]:error\n", text);
  _exit(125);
}

__attribute__((constructor)) void ReadWish() {
  const char *const text = getenv("CU_FAIL");
  if (text == nullptr) return;
  g_file = getenv("CU_FAIL_FILE");
  dl_iterate_phdr(NoteOther, nullptr);
  if (strcmp(text, "count") == 0) {
    g_counts = true;
    return;
  }
  const size_t name = strcspn(text, ":");
  int call = 0;
  while (call < static_cast<int>(Call::kCount) &&
         (strlen(kNames[call]) != name || strncmp(kNames[call], text, name) != 0)) {
    ++call;
  }
  if (call == static_cast<int>(Call::kCount) || text[name] != ':') Refuse(text);
  char *rest = nullptr;
  g_k = strtol(text + name + 1, &rest, 10);
  if (g_k < 1 || *rest != ':') Refuse(text);
  ++rest;
  g_from_then = strncmp(rest, "after:", 6) == 0;
  if (g_from_then || strncmp(rest, "once:", 5) == 0) rest = strchr(rest, ':') + 1;
  char *end = nullptr;
  g_error = static_cast<int>(strtol(rest, &end, 10));
  if (end == rest || *end != '\0') Refuse(text);
  g_call.store(call, std::memory_order_release);
}

/// Counts a call from `caller` and tells whether it is to fail, with errno set when it is.
bool Fails(Call call, const void *caller) {
  const int wanted = g_call.load(std::memory_order_acquire);
  if (wanted != static_cast<int>(call) && !g_counts) return false;
  const uintptr_t at = reinterpret_cast<uintptr_t>(caller);
  for (size_t i = 0; i < g_ranges; ++i) {
    if (at >= g_others[i].begin && at < g_others[i].end) return false;
  }
  const long n = g_calls[static_cast<size_t>(call)].fetch_add(1) + 1;
  if (g_counts || n < g_k || (n > g_k && !g_from_then)) return false;
  if (n == g_k && g_file != nullptr) {
    const long fd = syscall(SYS_openat, AT_FDCWD, g_file, O_CREAT | O_WRONLY | O_CLOEXEC, 0666);
    if (fd >= 0) syscall(SYS_close, fd);
  }
  if (g_error != 0) errno = g_error;
  return true;
}

__attribute__((destructor)) void TellCounts() {
  if (!g_counts.exchange(false) || g_file == nullptr) return;
  FILE *const file = fopen(g_file, "w");
  if (file == nullptr) return;
  for (size_t i = 0; i < static_cast<size_t>(Call::kCount); ++i) {
    if (g_calls[i] != 0) fprintf(file, "%s %ld\n", kNames[i], g_calls[i].load());
  }
  fclose(file);
}

bool IsShort() {
  return g_error == 0;
}

/// The function that callers would reach without this object.
template <typename Function>
Function *Next(std::atomic<Function *> &known, const char *name) {
  Function *next = known.load(std::memory_order_relaxed);
  if (next == nullptr) {
    next = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
    known.store(next, std::memory_order_relaxed);
  }
  return next;
}

}  // namespace
}  // namespace cu_test

using cu_test::Call;
using cu_test::Fails;
using cu_test::IsShort;

// The wrappers have the calls' names for the linker alone: to the compiler those are declared with
// other attributes.
#define CU_DECLARE(result, name, parameters)                       \
  static std::atomic<result(*) parameters> g_real_##name{nullptr}; \
  __attribute__((visibility("default"))) result preloaded_##name parameters __asm__(#name);
#define CU_REAL(name) cu_test::Next(g_real_##name, #name)
#define CU_WRAPPED(name) preloaded_##name
#define CU_FAILS(call) Fails(call, __builtin_return_address(0))
#include "support/fault_calls.inc"
