#include "include/AmbrelSignalHndlr.h"

#include <execinfo.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "internal/log_pair.hpp"
#include "internal/owned.hpp"

namespace {

constexpr char kLogModule[] = "AmbrelSignalHndlr";
constexpr int kMaxFrames = 32;

}  // namespace

// Never inlined, so that the first frame is always this function's own and can be left out.
[[gnu::noinline]] void print_trace() {
  if (!cu::LogLevelEnabled(DBGLOG_CRITICAL)) return;

  const long thread = syscall(SYS_gettid);
  void *addresses[kMaxFrames];
  const int count = backtrace(addresses, kMaxFrames);
  const cu::Owned<char *> frames(backtrace_symbols(addresses, count));
  if (!frames) return;
  for (int i = 1; i < count; ++i) {
    char line[512];
    snprintf(line, sizeof line, "bt:%ld: %s", thread, frames.get()[i]);
    CU_LOG(DBGLOG_CRITICAL, "%s\n", line);
  }
}
