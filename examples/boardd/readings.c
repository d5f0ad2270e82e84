#include "readings.h"

#include <commonutilities/ambrelthreadutils.h>
#include <commonutilities/dbglog.h>

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "daemon_log.h"

static const char MODULE[] = "readings";

enum { RECORDER, ALARM, ARCHIVE };
enum { QUEUE_CAPACITY = 16, FLUSH_MS = 200 };

/* Every copy is made and released through these two, so that none can get lost unseen. */
static unsigned copies_made, copies_released;

static int copy_reading(void *source, void **out) {
  struct reading *copy = malloc(sizeof *copy);
  if (copy == NULL) return 0;
  *copy = *(const struct reading *)source;
  *out = copy;
  __atomic_fetch_add(&copies_made, 1, __ATOMIC_RELAXED);
  return 1;
}

static void release_reading(FlexMsgEntry *entry) {
  free(entry->data);
  entry->data = NULL;
  __atomic_fetch_add(&copies_released, 1, __ATOMIC_RELAXED);
}

static int stopped(struct readings *readings) {
  return __atomic_load_n(&readings->stop, __ATOMIC_ACQUIRE);
}

/* A sensor thread: a slow wave around 75 C, another phase for each sensor. */
static void *sense(void *argument) {
  struct sensor *sensor = argument;
  struct readings *readings = sensor->readings;
  while (!stopped(readings)) {
    struct reading reading = {sensor->number,
                              75.0 + 10.0 * sin(sensor->published * 0.35 + sensor->number)};
    pthread_mutex_lock(&readings->lock);
    readings->last[sensor->number] = reading.celsius;
    if (reading.celsius > readings->warn_celsius) ++readings->above;
    pthread_mutex_unlock(&readings->lock);
    /* Every subscriber gets a copy; the reading itself stays ours. */
    insertFlexMsgQueueEntry(&readings->queue, &reading, sizeof reading, 0);
    ++sensor->published;
    ambrelusleep(sensor->period_ms * 1000U); /* below one second a time is slept as it is */
  }
  return NULL;
}

/* Called by the publisher: the alarm wants readings above its limit. */
static int above_limit(void *limit, void *data) {
  return ((const struct reading *)data)->celsius > *(const double *)limit;
}

static void take(struct subscriber *subscriber) {
  FlexMsgEntry *entry;
  while ((entry = DeQueueMsgFlexEntry(&subscriber->readings->queue, subscriber->slot, 0)) != NULL) {
    const struct reading *reading = entry->data;
    if (subscriber == &subscriber->readings->subscribers[ALARM])
      BOARDD_LOG(DBGLOG_WARNING, "[%s:%d]sensor %d reads %.1f C\n", MODULE, __LINE__,
                 reading->sensor, reading->celsius);
    ++subscriber->received;
    FreeFlexMsgQueueEntry(entry, 0);
  }
}

static void *subscribe(void *argument) {
  struct subscriber *subscriber = argument;
  while (!stopped(subscriber->readings)) {
    if (subscriber->slow) {
      /* A wait ends at once while there are messages: who leaves them there has to sleep. */
      ambrelusleep(FLUSH_MS * 1000U);
      continue;
    }
    /* Always with a time: a wake-up that is sent while nobody waits is lost. */
    if (waitOnFlexMsgQueue(&subscriber->readings->queue, subscriber->slot, FLUSH_MS))
      take(subscriber);
  }
  return NULL;
}

static void *flush(void *queue) {
  FlexQueueFlushQueues(queue); /* never returns; stays below 256 subscribers */
  return NULL;
}

int readings_start(struct readings *readings, double warn_celsius, unsigned period_ms) {
  static const char *const names[READINGS_SUBSCRIBERS] = {"recorder", "alarm", "archive"};
  memset(readings, 0, sizeof *readings);
  readings->warn_celsius = warn_celsius;
  pthread_mutex_init(&readings->lock, NULL);
  if (!Init_FlexMsgQueue(&readings->queue, READINGS_SUBSCRIBERS, QUEUE_CAPACITY, FLUSH_MS))
    return -1;
  copies_made = copies_released = 0;
  readings->queue.copyFn = copy_reading;
  readings->queue.releaseFn = release_reading;
  readings->queue.autopurge = 1; /* a full queue loses its oldest message, not the new one */

  for (int i = 0; i < READINGS_SUBSCRIBERS; ++i) {
    struct subscriber *subscriber = &readings->subscribers[i];
    subscriber->readings = readings;
    subscriber->name = names[i];
    subscriber->slow = i == ARCHIVE;
    const int registered =
        i == ALARM ? registerFlexMsgQueueSubscriberWMatch(&readings->queue, &readings->warn_celsius,
                                                          above_limit, &subscriber->slot)
                   : registerFlexMsgQueueSubscriber(&readings->queue, &subscriber->slot);
    if (!registered) return -1;
  }
  for (int i = 0; i < READINGS_SUBSCRIBERS; ++i)
    pthread_create(&readings->subscribers[i].thread, NULL, subscribe, &readings->subscribers[i]);
  for (int i = 0; i < READINGS_SENSORS; ++i) {
    readings->sensors[i] = (struct sensor){readings, i, period_ms + 5U * (unsigned)i, 0, 0};
    pthread_create(&readings->sensors[i].thread, NULL, sense, &readings->sensors[i]);
  }
  pthread_create(&readings->flush, NULL, flush, &readings->queue);
  return 0;
}

double readings_last(struct readings *readings, int sensor) {
  pthread_mutex_lock(&readings->lock);
  const double celsius = readings->last[sensor];
  pthread_mutex_unlock(&readings->lock);
  return celsius;
}

void readings_stop(struct readings *readings) {
  __atomic_store_n(&readings->stop, 1, __ATOMIC_RELEASE);
  for (int i = 0; i < READINGS_SENSORS; ++i) pthread_join(readings->sensors[i].thread, NULL);
  for (int i = 0; i < READINGS_SUBSCRIBERS; ++i)
    pthread_join(readings->subscribers[i].thread, NULL);
  /* The flush loop can be ended in its sleep alone, where it holds no lock. */
  pthread_cancel(readings->flush);
  pthread_join(readings->flush, NULL);

  /* Take what is left before leaving: deregistration releases only half of it. */
  for (int i = 0; i < READINGS_SUBSCRIBERS; ++i) {
    take(&readings->subscribers[i]);
    deRegisterFlexMsgQueueSubscriber(&readings->queue, readings->subscribers[i].slot);
  }
  DeInit_FlexMsgQueue(&readings->queue);
  free(readings->queue.subs); /* the array is left to its owner */
  pthread_mutex_destroy(&readings->lock);
}

int readings_print(FILE *out, const struct readings *readings) {
  unsigned published = 0;
  for (int i = 0; i < READINGS_SENSORS; ++i) published += readings->sensors[i].published;
  fprintf(out, "    published    %u readings of %d sensors\n", published, READINGS_SENSORS);
  unsigned wanted = 0;
  for (int i = 0; i < READINGS_SUBSCRIBERS; ++i) {
    const struct subscriber *subscriber = &readings->subscribers[i];
    const unsigned meant_for = i == ALARM ? readings->above : published;
    wanted += meant_for;
    fprintf(out, "    %-12s received %u of %u%s, %u purged for newer ones\n", subscriber->name,
            subscriber->received, meant_for, i == ALARM ? " above the limit" : "",
            meant_for - subscriber->received);
  }
  const int ok = copies_made == wanted && copies_released == wanted;
  fprintf(out, "    %u copies made, %u released: %s\n", copies_made, copies_released,
          ok ? "every message is accounted for" : "THE COUNTS DO NOT ADD UP");
  return ok ? 0 : -1;
}
