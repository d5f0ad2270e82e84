/* A sensor thread hands its readings to the main thread through a bounded queue. */
#include <commonutilities/notifyqueue.h>

#include <stdio.h>
#include <stdlib.h>

enum { READINGS = 1000, CAPACITY = 16, SENSOR_READING = 1, LAST_READING = 2, WAIT_MS = 20 };

static void *sense(void *argument) {
  Queue *queue = argument;
  for (int i = 1; i <= READINGS; ++i) {
    int *reading = malloc(sizeof *reading);
    if (reading == NULL) abort();
    *reading = i;
    const uint32_t tag = i == READINGS ? LAST_READING : SENSOR_READING;
    /* A full queue refuses, and the reading stays ours: this thread can wait and try again. */
    while (!insertQueueEntry(queue, reading, tag, 0)) ambrelusleep(100);
  }
  return NULL;
}

int main(void) {
  Queue queue = {0};
  pthread_t sensor;
  if (!init_queue(&queue, CAPACITY, WAIT_MS)) return 1;
  if (pthread_create(&sensor, NULL, sense, &queue) != 0) return 1;

  long received = 0, sum = 0;
  for (uint32_t tag = SENSOR_READING; tag != LAST_READING;) {
    /* Look first, then wait, and never without a limit: a signal to nobody is lost. */
    QueueEntry *entry = deQueueEntry(&queue, 0);
    if (entry == NULL) {
      waitOnQueue(&queue, WAIT_MS);
      continue;
    }
    tag = entry->tag;
    sum += *(const int *)entry->data;
    ++received;
    FreeQueueEntry(entry, 0); /* frees the reading, too */
  }
  pthread_join(sensor, NULL);
  printf("%ld readings received, sum %ld\n", received, sum);
  deinit_queue(&queue);
  return 0;
}
