#include "events.h"

#include <commonutilities/dbglog.h>

#include <inttypes.h>
#include <stdlib.h>
#include <string.h>

#include "daemon_log.h"

static const char MODULE[] = "events";

static void *maintain(void *store) {
  AmbrelStorageEngineContollerMaintenance(store); /* never returns */
  return NULL;
}

int events_open(struct events *events) {
  memset(events, 0, sizeof *events);
  if (!InitializeAmbrelStorageEngine(&events->store, "events.db", "store", "store-backup")) {
    DeInitializeAmbrelStorageEngine(events->store); /* it exists even so */
    events->store = NULL;
    return -1;
  }
  /* The result of loading is 0 at a normal end: what counts is what is there. */
  (void)loadAllAmbrelStorageEntries(events->store);
  events->found = events->store->entryCount;
  /* The next id is now the last record's own. A new record with that id would be written over it.
   */
  if (events->found != 0) ++events->store->nextRecordId;

  if (events->found == 0)
    BOARDD_LOG(DBGLOG_NOTICE, "[%s:%d]the event store starts empty\n", MODULE, __LINE__);
  else
    BOARDD_LOG(DBGLOG_INFO, "[%s:%d]%u events of earlier runs\n", MODULE, __LINE__, events->found);
  events->maintained = pthread_create(&events->maintenance, NULL, maintain, events->store) == 0;
  return 0;
}

int events_add(struct events *events, const char *text) {
  AmbrelStorageEntry *event = NULL;
  int saved = 0;
  if (events->store == NULL || !ambrelStorageLock(events->store, 0)) return -1;
  /* Create and fill under one lock, or a full save could find the event half made. */
  if (AddAndCreateAmbrelStorageEntryInArray(events->store, &event, 1)) {
    event->payload = (uint8_t *)strdup(text); /* the entry's own from here on */
    event->length = event->payload == NULL ? 0 : (uint32_t)strlen(text);
    /* Refresh the checksum each time: a store whose checksum is old is discarded at the next start.
     */
    saved = saveAmbrelStorageDeviceUpdateEntry(events->store, event, 1, 1) != 0;
  }
  ambrelStorageUnLock(events->store, 0);
  return saved ? 0 : -1;
}

void events_print(FILE *out, struct events *events, unsigned most) {
  if (events->store == NULL || !ambrelStorageLock(events->store, 0)) return;
  /* Mind: an array that could not grow is freed and null, and its count stays. */
  const unsigned count = events->store->entries == NULL ? 0 : events->store->entryCount;
  for (unsigned i = count > most ? count - most : 0; i < count; ++i) {
    const AmbrelStorageEntry *event = events->store->entries[i];
    if (event == NULL || !event->valid || event->payload == NULL) continue;
    fprintf(out, "    %-9s id %-3" PRIu32 " %.*s\n", i < events->found ? "earlier" : "this run",
            event->id, (int)event->length, (const char *)event->payload);
  }
  ambrelStorageUnLock(events->store, 0);
}

void events_close(struct events *events) {
  if (events->store == NULL) return;
  if (events->maintained) {
    /* Under the lock the maintenance thread is asleep or waits for us: end it there, so that it
     * never stops in the middle of a save. */
    const int locked = ambrelStorageLock(events->store, 0) != 0;
    pthread_cancel(events->maintenance);
    pthread_join(events->maintenance, NULL);
    if (locked) ambrelStorageUnLock(events->store, 0);
  }
  if (events->store->entryCount != 0) saveAllAmbrelStorageEntries(events->store, 0);
  DeInitializeAmbrelStorageEngine(events->store);
  events->store = NULL;
}
