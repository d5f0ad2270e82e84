/* boardd: a small board daemon, as an engineer would begin one with this library.
 *
 *   boardd --dir D [--seconds N]
 *
 * D holds the daemon's documents and receives everything that it writes. The daemon reads its
 * configuration, sets up its logger, and at the end prints what it read and wrote. */
#include <commonutilities/dbglog.h>

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "daemon_log.h"
#include "settings.h"

static const char MODULE[] = "boardd";

struct options {
  const char *dir;
  int seconds;
};

static int parse_options(int argc, char **argv, struct options *options) {
  options->dir = ".";
  options->seconds = 2;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--dir") == 0 && i + 1 < argc) {
      options->dir = argv[++i];
    } else if (strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
      options->seconds = atoi(argv[++i]);
    } else {
      fprintf(stderr, "usage: boardd [--dir D] [--seconds N]\n");
      return -1;
    }
  }
  return 0;
}

/* One line a level, so that a reader of the log sees how each looks. */
static void log_every_level(void) {
  static const char *const uses[] = {"the board is unusable",
                                     "act at once",
                                     "a critical condition",
                                     "an operation failed",
                                     "something looks wrong",
                                     "worth knowing",
                                     "normal operation",
                                     "for the developer",
                                     "entering and leaving functions",
                                     "every byte"};
  for (uint32_t level = DBGLOG_EMERGENCY; level <= DBGLOG_TRACEDEBUG; ++level)
    BOARDD_LOG(level, "[%s:%d]%s\n", MODULE, __LINE__, uses[level]);
}

static void print_summary(const struct settings *settings) {
  printf("\n  Settings read from boardd.json, two of them changed while running\n");
  settings_print(stdout, settings);
  printf("\n  The end of boardd.log, decoded\n");
  const long lines = daemon_log_print_tail(stdout, settings->document.logfile, 12);
  printf("    (%ld lines in the file)\n", lines);
}

int main(int argc, char **argv) {
  struct options options;
  if (parse_options(argc, argv, &options) != 0) return 2;
  if (chdir(options.dir) != 0) {
    fprintf(stderr, "boardd: %s: %s\n", options.dir, strerror(errno));
    return 1;
  }

  struct settings settings;
  if (settings_load(&settings, "boardd.json") != 0) {
    settings_release(&settings);
    return 1;
  }
  const rfAECommonConfig *document = &settings.document;
  if (daemon_log_start(document->logCtrlFile, document->logfile, (uint32_t)document->logFileSize) !=
      0) {
    settings_release(&settings);
    return 1;
  }

  BOARDD_LOG(DBGLOG_NOTICE, "[%s:%d]started: %s\n", MODULE, __LINE__, settings.greeting);
  log_every_level();
  if (settings_change(&settings, settings.warn_temperature + 2.5F, 100) != 0)
    BOARDD_LOG(DBGLOG_ERROR, "[%s:%d]settings could not be changed\n", MODULE, __LINE__);
  BOARDD_LOG(DBGLOG_NOTICE, "[%s:%d]stopping\n", MODULE, __LINE__);

  daemon_log_stop();
  print_summary(&settings);
  settings_release(&settings);
  return 0;
}
