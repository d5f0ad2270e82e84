// The logging pair: every message of the library goes to the log file and then, with the same
// arguments, to standard error and syslog. A source file names its module once,
//
//   namespace { constexpr char kLogModule[] = "flexqueue"; }
//
// and logs with CU_LOG(DBGLOG_ERROR, "text %d\n", value), which prepends "[module:line]".
#ifndef COMMONUTILITIES_INTERNAL_LOG_PAIR_HPP
#define COMMONUTILITIES_INTERNAL_LOG_PAIR_HPP

#include <stdint.h>

#include "include/dbglog.h"

namespace cu {

/// Whether a level is on: no lock, one relaxed load of the mask. Off while there is no logger.
inline bool LogLevelEnabled(uint32_t level) {
  const DBGLogCtrl *const block = __atomic_load_n(&gDBGLogCtrl, __ATOMIC_RELAXED);
  if (block == nullptr || level > DBGLOG_TRACEDEBUG) [[unlikely]]
    return false;
  return (__atomic_load_n(&block->logLevelMask, __ATOMIC_RELAXED) >> level & 1U) != 0;
}

/// Both members of the pair, one after the other. `format` begins with "[%s:%d]", the arguments
/// with the module and the line. The level is on.
[[gnu::cold, gnu::noinline, gnu::format(printf, 2, 3)]] void EmitLogPair(uint32_t level,
                                                                         const char *format, ...);

}  // namespace cu

/// Logs through the pair. The arguments are evaluated once, and only when the level is on.
#define CU_LOG(level, text, ...)                                                               \
  do {                                                                                         \
    if (cu::LogLevelEnabled(level)) [[unlikely]]                                               \
      cu::EmitLogPair(level, "[%s:%d]" text, kLogModule, __LINE__ __VA_OPT__(, ) __VA_ARGS__); \
  } while (0)

#endif
