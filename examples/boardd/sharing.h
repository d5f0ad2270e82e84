/* The latest readings in a block of memory that other processes read. */
#ifndef BOARDD_SHARING_H
#define BOARDD_SHARING_H

#include <commonutilities/ambrelsharedmem.h>

#include <stdio.h>

#include "readings.h"

struct shared_readings {
  uint32_t sequence;
  double celsius[READINGS_SENSORS];
};

struct sharing {
  SharedMemorySegment *segment;
  uint32_t sequence;
};

/* Creates the segment: 0, or -1. */
int sharing_open(struct sharing *sharing);
void sharing_publish(struct sharing *sharing, struct readings *readings);

/* Lets a second process open the segment and print what it reads; 0 when it could. */
int sharing_show_from_another_process(FILE *out);

void sharing_close(struct sharing *sharing);

#endif
