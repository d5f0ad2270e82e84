/* log_writer SETTINGS LOG LIMIT: reads numbers from its standard input and logs so many lines each
 * time, "line 1", "line 2" and so on over all of them, re-enabling the logger after each wrap.
 * Confirms each number on its standard output. */
#include <commonutilities/commonutilities.h>

#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv) {
  unsigned line = 0;
  unsigned count = 0;
  if (argc != 4) return 2;
  DbgLog_InitDebugLogger(argv[1], argv[2], (uint32_t)strtoul(argv[3], NULL, 10), 255);
  while (scanf("%u", &count) == 1) {
    for (; count > 0; --count) {
      DbgLog_DumptoLog(DBGLOG_INFO, "[%s:%d]line %u \xc3\xa9\x1b\"\\\n", "fleet", __LINE__, ++line);
      if (!DbgLog_GetEnabledLogger()->loggingEnabled) DbgLog_ChangeLogSettings(255);
    }
    printf("%u\n", line);
    fflush(stdout);
  }
  DbgLog_DeInitDebugLogger();
  return 0;
}
