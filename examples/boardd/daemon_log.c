#include "daemon_log.h"

#include <inttypes.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { LOG_HEADER_SIZE = 4, MASK_OF_ALL_LEVELS = 0x3FF };

int daemon_log_start(const char *settings_file, const char *log_file, uint32_t size_limit) {
  if (!DbgLog_InitDebugLogger(settings_file, log_file, size_limit, MASK_OF_ALL_LEVELS)) return -1;
  /* A log that was already full when it was opened starts mute. */
  daemon_log_keep_alive();
  return 0;
}

void daemon_log_keep_alive(void) {
  const DBGLogCtrl *logger = DbgLog_GetEnabledLogger();
  if (logger == NULL || __atomic_load_n(&logger->loggingEnabled, __ATOMIC_RELAXED)) return;
  DbgLog_ChangeLogSettings(__atomic_load_n(&logger->logLevelMask, __ATOMIC_RELAXED));
}

void daemon_log_stop(void) {
  DbgLog_DeInitDebugLogger();
}

/* "[pid : tid LEVEL (nanoseconds)]message": the number becomes a date, the rest stays. */
static void print_line(FILE *out, const char *line, size_t length) {
  const char *open = memchr(line, '(', length);
  const char *close = open == NULL ? NULL : memchr(open, ')', length - (size_t)(open - line));
  if (open == NULL || close == NULL || line[0] != '[') {
    fprintf(out, "    %.*s\n", (int)length, line); /* a line that the wrap tore */
    return;
  }
  const uint64_t nanoseconds = strtoull(open + 1, NULL, 10);
  const time_t seconds = (time_t)(nanoseconds / 1000000000U);
  struct tm when;
  char date[32] = "?";
  if (localtime_r(&seconds, &when) != NULL) strftime(date, sizeof date, "%H:%M:%S", &when);
  fprintf(out, "    %s.%06" PRIu64 "  %.*s%.*s\n", date, nanoseconds % 1000000000U / 1000U,
          (int)(open - line), line, (int)(length - (size_t)(close + 1 - line)), close + 1);
}

/* The library's own DEBUG lines, several for each message, would drown the daemon's. */
static int is_shown(const char *line, size_t length) {
  static const char debug[] = " DEBUG (";
  return memmem(line, length < 64 ? length : 64, debug, sizeof debug - 1) == NULL;
}

long daemon_log_print_tail(FILE *out, const char *log_file, int lines) {
  FILE *file = fopen(log_file, "rb");
  if (file == NULL) return -1;
  char *text = NULL;
  long size = -1;
  if (fseek(file, 0, SEEK_END) == 0) size = ftell(file);
  if (size >= LOG_HEADER_SIZE && (text = malloc((size_t)size)) != NULL) {
    rewind(file);
    if (fread(text, 1, (size_t)size, file) != (size_t)size) size = -1;
  }
  fclose(file);
  if (text == NULL || size < LOG_HEADER_SIZE) {
    free(text);
    return -1;
  }

  long total = 0, shown = 0;
  for (int pass = 0; pass < 2; ++pass) {
    const long skip = shown > lines ? shown - lines : 0;
    long number = 0;
    const char *line = text + LOG_HEADER_SIZE;
    const char *end = text + size;
    while (line < end) {
      const char *stop = memchr(line, '\n', (size_t)(end - line));
      if (stop == NULL) stop = end;
      const size_t length = (size_t)(stop - line);
      if (pass == 0) ++total;
      if (is_shown(line, length)) {
        if (pass == 0)
          ++shown;
        else if (++number > skip)
          print_line(out, line, length);
      }
      line = stop + 1;
    }
  }
  free(text);
  return total;
}
