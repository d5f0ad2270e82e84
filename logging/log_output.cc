#include "include/dbglog.h"

#include <errno.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>

#include <algorithm>
#include <string_view>

#include "internal/locks.hpp"
#include "internal/log_pair.hpp"
#include "logging/circular_log_file.hpp"
#include "logging/hex_dump.hpp"
#include "logging/logger_lock.hpp"
#include "logging/message_format.hpp"
#include "logging/thread_tag.hpp"
#include "logging/time_stamp.hpp"

namespace {

/// A line and its terminator; the rest of a longer line is dropped.
constexpr size_t kLineSize = 2048;

/// The heading of a dump on standard error and its terminator.
constexpr size_t kConsoleTraceSize = 128;

constexpr char kLevelNames[][11] = {"EMERGENCY", "ALERT", "CRITICAL", "ERROR", "WARNING",
                                    "NOTICE",    "INFO",  "DEBUG",    "TRACE", "TRACEDEBUG"};
static_assert(std::size(kLevelNames) == DBGLOG_TRACEDEBUG + 1);

/// "[pid : tid NAME (time)]"
constexpr size_t kHeaderSize =
    cu::kThreadTagSize + sizeof(kLevelNames[0]) + 2 + cu::kTimeStampSize + 2;
static_assert(kHeaderSize < kConsoleTraceSize);

/// A log call leaves errno as it was: it may stand between a failed call and the use of its errno.
class ErrnoKept {
 public:
  ErrnoKept() = default;
  ~ErrnoKept() { errno = errno_; }
  ErrnoKept(const ErrnoKept &) = delete;
  ErrnoKept &operator=(const ErrnoKept &) = delete;

 private:
  const int errno_ = errno;
};

enum class Stamp { kNone, kTime };

char *AppendHeader(char *dst, uint32_t level, Stamp stamp) {
  dst = cu::AppendThreadTag(dst);
  const size_t name_length = strlen(kLevelNames[level]);
  memcpy(dst, kLevelNames[level], name_length);
  dst += name_length;
  if (stamp == Stamp::kTime) {
    *dst++ = ' ';
    *dst++ = '(';
    dst = cu::AppendTimeStamp(dst);
    *dst++ = ')';
  }
  *dst++ = ']';
  return dst;
}

/// Header and message; returns the length.
size_t ComposeLine(char (&line)[kLineSize], uint32_t level, Stamp stamp, const char *format,
                   va_list arguments) {
  char *const message = AppendHeader(line, level, stamp);
  const auto header = static_cast<size_t>(message - line);
  return header + cu::FormatMessage(message, kLineSize - header, format, arguments);
}

/// The gate of the file outputs: two loads and no lock.
[[gnu::always_inline]] inline bool FileOutputOn(uint32_t level) {
  return cu::LogLevelEnabled(level) &&
         __atomic_load_n(&gDBGLogCtrl->loggingEnabled, __ATOMIC_RELAXED) != 0;
}

bool ConsoleOn(DBGLogCtrl &block) {
  const cu::MutexLock lock(block.lock);
  return block.loggingEnabled != 0 && block.consoleEnabled != 0;
}

[[gnu::cold, gnu::noinline]] void WriteToFile(DBGLogCtrl &block, uint32_t level, const char *format,
                                              va_list arguments) {
  const ErrnoKept errno_kept;
  const cu::LoggerLock lock(block);
  if (block.logFile == nullptr) return;
  char line[kLineSize];
  const size_t length = ComposeLine(line, level, Stamp::kTime, format, arguments);
  fwrite(line, 1, length, block.logFile);
  cu::FinishLogWriteLocked(block);
}

void WriteToSyslog(DBGLogCtrl &block, uint32_t level, const char *line) {
  const cu::LoggerLock lock(block);
  if (block.syslogEnabled != 0) syslog(static_cast<int>(level), "%s", line);
}

[[gnu::cold, gnu::noinline]] void WriteToConsole(DBGLogCtrl &block, uint32_t level,
                                                 const char *format, va_list arguments) {
  const ErrnoKept errno_kept;
  if (!ConsoleOn(block)) return;
  char line[kLineSize];
  const size_t length = ComposeLine(line, level, Stamp::kNone, format, arguments);
  line[length] = '\n';
  fwrite(line, 1, length + 1, stderr);
  line[length] = '\0';
  WriteToSyslog(block, level, line);
}

}  // namespace

void cu::EmitLogPair(uint32_t level, const char *format, ...) {
  va_list arguments;
  if (FileOutputOn(level)) {
    va_start(arguments, format);
    WriteToFile(*gDBGLogCtrl, level, format, arguments);
    va_end(arguments);
  }
  va_start(arguments, format);
  WriteToConsole(*gDBGLogCtrl, level, format, arguments);
  va_end(arguments);
}

void DbgLog_DumptoLog(uint32_t level, const char *format, ...) {
  if (!FileOutputOn(level) || format == nullptr) [[likely]]
    return;
  va_list arguments;
  va_start(arguments, format);
  WriteToFile(*gDBGLogCtrl, level, format, arguments);
  va_end(arguments);
}

void DbgLog_DumptoStdError(int32_t level, const char *format, ...) {
  if (!cu::LogLevelEnabled(static_cast<uint32_t>(level)) || format == nullptr) [[likely]]
    return;
  va_list arguments;
  va_start(arguments, format);
  WriteToConsole(*gDBGLogCtrl, static_cast<uint32_t>(level), format, arguments);
  va_end(arguments);
}

void DbgLog_DumptoLogTrace(uint32_t level, const uint8_t *data, int32_t length) {
  if (!FileOutputOn(level) || data == nullptr || length <= 0) return;
  const ErrnoKept errno_kept;
  DBGLogCtrl &block = *gDBGLogCtrl;
  const cu::LoggerLock lock(block);
  if (block.logFile == nullptr) return;
  char header[kHeaderSize];
  const char *const end = AppendHeader(header, level, Stamp::kTime);
  cu::WriteHexDump(block.logFile, {header, static_cast<size_t>(end - header)}, data,
                   static_cast<uint32_t>(length));
  cu::FinishLogWriteLocked(block);
}

void DbgLog_DumptoStdErrTrace(uint32_t level, const uint8_t *data, int32_t length,
                              const char *label, int32_t number) {
  if (!cu::LogLevelEnabled(level) || data == nullptr || length <= 0) return;
  const ErrnoKept errno_kept;
  if (!ConsoleOn(*gDBGLogCtrl)) return;
  char heading[kConsoleTraceSize];
  char *const end = AppendHeader(heading, level, Stamp::kNone);
  const size_t room = kConsoleTraceSize - static_cast<size_t>(end - heading);
  snprintf(end, room, " [%s : %d]", label == nullptr ? "(null)" : label, number);
  const size_t size = strlen(heading);
  heading[size] = '\n';
  cu::WriteHexDump(stderr, {heading, size + 1}, data, static_cast<uint32_t>(length));
}
