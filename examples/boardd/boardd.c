/* boardd: a small board daemon, as an engineer would begin one with this library.
 *
 *   boardd [--dir D] [--seconds N] [--crash]
 *
 * D holds the daemon's documents and receives everything that it writes. The daemon reads its
 * configuration and the board's documents, sets up its logger, runs its services for N seconds and
 * prints what it read and wrote. With --crash it then crashes, to show what that leaves in the log.
 *
 * Comments begin with "Mind:" where the library surprises and the daemon acts on it. */
#include <commonutilities/AmbrelSignalHndlr.h>
#include <commonutilities/ambrelthreadutils.h>
#include <commonutilities/dbglog.h>

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "action.h"
#include "board.h"
#include "daemon_log.h"
#include "events.h"
#include "journal.h"
#include "readings.h"
#include "rules.h"
#include "settings.h"
#include "sharing.h"
#include "status.h"

static const char MODULE[] = "boardd";
static const char JOURNAL_FILE[] = "boardd.msgq";
static const char STATUS_FILE[] = "status.json";

struct options {
  const char *dir;
  int seconds;
  int crash;
};

/* The daemon's services. */
struct daemon {
  struct settings settings;
  struct board board;
  struct events events;
  struct readings readings;
  struct rules rules;
  struct sharing sharing;
  MessageQueue journal;
  int journal_found; /* messages of the last run */
  AmbrelTimeMonitor monitor;
  pthread_t monitor_thread;
};

static volatile sig_atomic_t stop_asked;

static void on_stop(void *argument) {
  (void)argument;
  stop_asked = 1;
}

/* Mind: without a callback that ends the process, a fault repeats for ever. The log has the
 * backtrace by now. */
static void on_crash(void *argument) {
  (void)argument;
  _exit(3);
}

static int parse_options(int argc, char **argv, struct options *options) {
  *options = (struct options){".", 2, 0};
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--dir") == 0 && i + 1 < argc) {
      options->dir = argv[++i];
    } else if (strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
      options->seconds = atoi(argv[++i]);
    } else if (strcmp(argv[i], "--crash") == 0) {
      options->crash = 1;
    } else {
      fprintf(stderr, "usage: boardd [--dir D] [--seconds N] [--crash]\n");
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

static void *watch_clock(void *monitor) {
  AmbrelMonitorTimeChange(monitor);
  return NULL;
}

static int64_t now_ms(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

/* Reads the documents and starts the logger: 0, or -1 with a message. */
static int daemon_configure(struct daemon *daemon) {
  if (settings_load(&daemon->settings, "boardd.json") != 0) return -1;
  const rfAECommonConfig *document = &daemon->settings.document;
  if (daemon_log_start(document->logCtrlFile, document->logfile, (uint32_t)document->logFileSize) !=
      0)
    return -1;
  BOARDD_LOG(DBGLOG_NOTICE, "[%s:%d]started: %s\n", MODULE, __LINE__, daemon->settings.greeting);
  log_every_level();
  return board_load(&daemon->board);
}

static int daemon_start(struct daemon *daemon) {
  if (events_open(&daemon->events) != 0) return -1;
  daemon->journal_found = journal_open(&daemon->journal, JOURNAL_FILE);
  if (sharing_open(&daemon->sharing) != 0)
    BOARDD_LOG(DBGLOG_WARNING, "[%s:%d]no shared memory here\n", MODULE, __LINE__);
  if (readings_start(&daemon->readings, daemon->settings.warn_temperature,
                     daemon->settings.sample_milliseconds) != 0)
    return -1;
  rules_init(&daemon->rules, &daemon->settings, &daemon->readings);
  events_add(&daemon->events, "the daemon started");
  MessageQueueAddWithParameters(&daemon->journal, "run of process %d, events so far %u",
                                (int)getpid(), daemon->events.found);
  return 0;
}

static void daemon_run(struct daemon *daemon, int seconds) {
  const int64_t end = now_ms() + (int64_t)seconds * 1000;
  for (int round = 0; !stop_asked && now_ms() < end; ++round) {
    ambrelusleep(100000);
    daemon_log_keep_alive();
    rules_evaluate(&daemon->rules);
    sharing_publish(&daemon->sharing, &daemon->readings);
    if (round == 3 &&
        settings_change(&daemon->settings, daemon->settings.warn_temperature + 2.5F, 100) == 0)
      events_add(&daemon->events, "an operator raised the warning temperature");
    if (round == 5) {
      /* Mind: on a working system this loop takes a whole core. It runs for a moment alone. */
      pthread_create(&daemon->monitor_thread, NULL, watch_clock, &daemon->monitor);
      ambrelusleep(20000);
      __atomic_store_n(&daemon->monitor.stop, 1, __ATOMIC_RELAXED);
      pthread_join(daemon->monitor_thread, NULL);
    }
  }
}

static int daemon_stop(struct daemon *daemon) {
  status_write(STATUS_FILE, &daemon->settings, &daemon->readings, &daemon->rules);
  events_add(&daemon->events, "the daemon stopped");
  BOARDD_LOG(DBGLOG_NOTICE, "[%s:%d]stopping\n", MODULE, __LINE__);
  readings_stop(&daemon->readings);
  return 0;
}

static int print_summary(struct daemon *daemon) {
  static const char *const queries[] = {"board", "thermal/warn", "thermal/sensors",
                                        "rules/average"};
  int wrong = 0;
  printf("\n  Settings from boardd.json; two were changed while running\n");
  settings_print(stdout, &daemon->settings);
  printf("\n  The board, from board.json, monitor.json and filedictionary.json\n");
  board_print(stdout, &daemon->board);
  printf("\n  Readings published to three subscribers\n");
  wrong += readings_print(stdout, &daemon->readings) != 0;
  printf("\n  Rules evaluated over the live readings, %u times\n",
         daemon->rules.count > 0 ? daemon->rules.rules[0].evaluated : 0);
  rules_print(stdout, &daemon->rules);
  printf("\n  A second process reads the shared memory\n");
  if (daemon->sharing.segment != NULL) wrong += sharing_show_from_another_process(stdout) != 0;
  printf("\n  A custom action in a plug-in, from action.json\n");
  wrong += action_run(stdout, "action.json") != 0;
  printf("\n  Path queries on the status document %s\n", STATUS_FILE);
  wrong += status_query(stdout, STATUS_FILE, queries, 4) != 0;
  printf("\n  The event store; earlier runs left %u events\n", daemon->events.found);
  events_print(stdout, &daemon->events, 6);
  printf("\n  The journal; the last run left %d messages\n", daemon->journal_found);
  journal_print(stdout, &daemon->journal);
  printf("\n  The end of %s, decoded, without its DEBUG lines\n",
         daemon->settings.document.logfile);
  const long lines = daemon_log_print_tail(stdout, daemon->settings.document.logfile, 12);
  printf("    (%ld lines in the file)\n", lines);
  fflush(stdout);
  return wrong == 0 ? 0 : -1;
}

static void daemon_release(struct daemon *daemon) {
  rules_release(&daemon->rules);
  sharing_close(&daemon->sharing);
  journal_close(&daemon->journal, JOURNAL_FILE);
  events_close(&daemon->events);
  board_release(&daemon->board);
  daemon_log_stop();
  settings_release(&daemon->settings);
}

/* Not inlined, so that its frame can be found in the backtrace. */
__attribute__((noinline)) void boardd_crashes_here(volatile int *nothing);
__attribute__((noinline)) void boardd_crashes_here(volatile int *nothing) {
  *nothing = 1;
}

int main(int argc, char **argv) {
  struct options options;
  if (parse_options(argc, argv, &options) != 0) return 2;
  if (chdir(options.dir) != 0) {
    fprintf(stderr, "boardd: %s: %s\n", options.dir, strerror(errno));
    return 1;
  }
  AmbrelInitSignals(1U << SIGTERM | 1U << SIGINT | 1U << SIGSEGV);
  InitSignalsWithCallback(on_stop, 1U << SIGTERM | 1U << SIGINT, NULL);
  InitSignalsWithCallback(on_crash, 1U << SIGSEGV, NULL);

  static struct daemon daemon; /* zero-filled, as the records of the library want it */
  if (daemon_configure(&daemon) != 0) return 1;
  if (options.crash) boardd_crashes_here(NULL);
  if (daemon_start(&daemon) != 0) return 1;
  daemon_run(&daemon, options.seconds);
  daemon_stop(&daemon);
  const int status = print_summary(&daemon);
  daemon_release(&daemon);
  return status == 0 ? 0 : 1;
}
