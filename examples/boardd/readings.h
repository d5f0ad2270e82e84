/* Sensor threads publish readings; subscribers take them from queues of their own. */
#ifndef BOARDD_READINGS_H
#define BOARDD_READINGS_H

#include <commonutilities/flexmsgqueue.h>

#include <pthread.h>
#include <stdio.h>

enum { READINGS_SENSORS = 3, READINGS_SUBSCRIBERS = 3 };

struct reading {
  int sensor;
  double celsius;
};

struct readings;

struct subscriber {
  struct readings *readings;
  const char *name;
  uint32_t slot;
  int slow;          /* looks into its queue at the end alone */
  unsigned received; /* by its thread, or at the end */
  pthread_t thread;
};

struct sensor {
  struct readings *readings;
  int number;
  unsigned period_ms;
  unsigned published;
  pthread_t thread;
};

struct readings {
  FlexMsgQueue queue;
  int stop;            /* read and written atomically */
  double warn_celsius; /* the alarm takes what is above it */
  unsigned above;      /* readings published above it */
  double last[READINGS_SENSORS];
  pthread_mutex_t lock; /* guards the two above */
  struct sensor sensors[READINGS_SENSORS];
  struct subscriber subscribers[READINGS_SUBSCRIBERS];
  pthread_t flush;
};

/* Starts everything: 0, or -1. */
int readings_start(struct readings *readings, double warn_celsius, unsigned period_ms);

/* The latest value of a sensor. */
double readings_last(struct readings *readings, int sensor);

/* Stops the threads and empties the queues; the counts stay. */
void readings_stop(struct readings *readings);

/* What was published, and what became of it; 0 when the counts add up, else -1. */
int readings_print(FILE *out, const struct readings *readings);

#endif
