/* Events that survive a restart: two runs of a daemon on one store. */
#include <commonutilities/AmbrelDataStorage.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static AmbrelStorageEngine *open_store(void) {
  AmbrelStorageEngine *store = NULL;
  /* Both directories on one file system, and out of strangers' reach. A file that is refused here
   * is replaced by an empty one: restore the backup before the daemon starts. */
  if (!InitializeAmbrelStorageEngine(&store, "events.db", "store", "backup")) {
    DeInitializeAmbrelStorageEngine(store); /* it exists even when its file could not be made */
    return NULL;
  }
  loadAllAmbrelStorageEntries(store); /* 0 at a normal end: entryCount is what tells */
  /* Without this the first new record repeats the last id, and saving it spoils the file. */
  if (store->entryCount != 0) ++store->nextRecordId;
  return store;
}

static int record(AmbrelStorageEngine *store, const char *text) {
  AmbrelStorageEntry *event = NULL;
  int ok = 0;
  if (!ambrelStorageLock(store, 0)) return 0;
  if (AddAndCreateAmbrelStorageEntryInArray(store, &event, 1)) {
    const size_t size = strlen(text) + 1;
    event->payload = malloc(size); /* the entry's own from now on */
    if (event->payload != NULL) {
      memcpy(event->payload, text, size);
      event->length = (uint32_t)size;
      /* With a fresh checksum: without it a restart discards the file. */
      ok = saveAmbrelStorageDeviceUpdateEntry(store, event, 1, 1) != 0;
    }
  }
  ambrelStorageUnLock(store, 0);
  return ok;
}

int main(void) {
  static const char *const runs[] = {"started", "fan 3 failed"};
  for (int run = 0; run < 2; ++run) {
    AmbrelStorageEngine *store = open_store();
    if (store == NULL) return 1;
    printf("run %d finds %u events\n", run + 1, (unsigned)store->entryCount);
    if (!record(store, runs[run])) return 1;
    for (unsigned i = 0; store->entries != NULL && i < store->entryCount; ++i)
      printf("  event %u: %s\n", (unsigned)store->entries[i]->id, store->entries[i]->payload);
    DeInitializeAmbrelStorageEngine(store); /* saves nothing by itself */
  }
  return 0;
}
