/* A log that goes on when its file starts over, and whose lines no message can forge. */
#include <commonutilities/dbglog.h>

#include <stdio.h>

enum { SIZE_LIMIT = 4096, LEVELS_0_TO_7 = 0xFF, READINGS = 200 };

/* Messages are written as they are: a line break in one would begin a line of its own. */
static void clean(char *text) {
  for (; *text != '\0'; ++text)
    if ((unsigned char)*text < 0x20 || *text == 0x7F) *text = '?';
}

/* When the file starts over, all output of the process stops until it is switched on again: a job
 * for the main loop. Returns 1 when that was necessary. */
static int keep_alive(void) {
  const DBGLogCtrl *logger = DbgLog_GetEnabledLogger();
  if (logger == NULL || __atomic_load_n(&logger->loggingEnabled, __ATOMIC_RELAXED)) return 0;
  DbgLog_ChangeLogSettings(__atomic_load_n(&logger->logLevelMask, __ATOMIC_RELAXED));
  return 1;
}

int main(void) {
  /* Ship a settings file: without one the last argument would be a single level, not a mask. */
  if (!DbgLog_InitDebugLogger("demo.logenable", "logging.log", SIZE_LIMIT, LEVELS_0_TO_7)) return 1;
  int restarts = keep_alive(); /* a file that was full already starts mute */

  char name[] = "fan 1\n[1 : 1 ERROR (0)]forged";
  clean(name);
  for (int i = 1; i <= READINGS; ++i) {
    /* Ask before composing costly arguments. */
    if (loggingLevelEnabled(DBGLOG_INFO))
      DbgLog_DumptoLog(DBGLOG_INFO, "reading %d of %s\n", i, name);
    restarts += keep_alive();
  }
  printf("%d readings logged; the file started over %s\n", READINGS,
         restarts > 1 ? "more than once" : "too seldom");

  /* One thread is left: only now may the logger go. */
  DbgLog_DeInitDebugLogger();
  return 0;
}
