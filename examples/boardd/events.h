/* The daemon's event store: events survive a restart. */
#ifndef BOARDD_EVENTS_H
#define BOARDD_EVENTS_H

#include <commonutilities/AmbrelDataStorage.h>

#include <pthread.h>
#include <stdio.h>

struct events {
  AmbrelStorageEngine *store;
  pthread_t maintenance;
  int maintained; /* whether the maintenance thread runs */
  unsigned found; /* events of earlier runs */
};

/* Opens the store in two folders below the current one and starts its maintenance: 0, or -1. A
 * damaged store starts empty. */
int events_open(struct events *events);

/* Keeps one event: 0, or -1. */
int events_add(struct events *events, const char *text);

/* Prints the last `most` events with the run that each is of. */
void events_print(FILE *out, struct events *events, unsigned most);

/* Saves everything and closes. */
void events_close(struct events *events);

#endif
