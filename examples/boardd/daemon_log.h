/* The daemon's logger: start, stop, and reading the log file back. */
#ifndef BOARDD_DAEMON_LOG_H
#define BOARDD_DAEMON_LOG_H

#include <commonutilities/dbglog.h>

#include <stdint.h>
#include <stdio.h>

/* Logs through the pair: to the log file, then to standard error and syslog where these are on. */
#define BOARDD_LOG(level, ...)                     \
  do {                                             \
    if (loggingLevelEnabled(level)) {              \
      DbgLog_DumptoLog((level), __VA_ARGS__);      \
      DbgLog_DumptoStdError((level), __VA_ARGS__); \
    }                                              \
  } while (0)

/* Starts the logger. The settings file must exist: without it the logger stays silent, and the
 * level argument would name one level instead of a mask. Returns 0 on success, -1 on failure. */
int daemon_log_start(const char *settings_file, const char *log_file, uint32_t size_limit);

/* Each wrap of the log file switches all output of the process off. The main loop calls this from
 * time to time to switch it on again. */
void daemon_log_keep_alive(void);

void daemon_log_stop(void);

/* Prints the last `lines` lines of a log file, DEBUG left out, with its time stamps as dates; the
 * number of all lines in the file, or -1 when it cannot be read. */
long daemon_log_print_tail(FILE *out, const char *log_file, int lines);

#endif
