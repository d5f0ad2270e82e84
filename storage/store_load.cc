#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdlib.h>

#include "storage/store_entries.hpp"
#include "storage/store_format.hpp"
#include "storage/store_lock.hpp"
#include "storage/store_records.hpp"
#include "storage/store_stream.hpp"

namespace {

using namespace cu::store;

/// Id of the last entry, which the next created one repeats; daemons rely on that. 0 without one.
uint16_t LastId(const AmbrelStorageEngine &engine) {
  const auto slots = Slots(engine);
  return slots.empty() || slots.back() == nullptr ? 0 : static_cast<uint16_t>(slots.back()->id);
}

/// Reads records from the stream's offset on into new entries; the result is that of the last read.
bool LoadRecords(AmbrelStorageEngine &engine) {
  for (;;) {
    AmbrelStorageEntry *const entry = NewEntry();
    if (entry == nullptr) return false;
    uint8_t last = 0;
    const bool read = NextRecord(engine, *entry, last);
    if (!read || last != 0 || IsFull(engine)) {
      DeleteEntry(entry);
      return read;
    }
    // As large as the entries themselves, more than their references need.
    if (!MakeRoom(engine, sizeof(AmbrelStorageEntry))) {
      DeleteEntry(entry);
      FreeEntries(engine);
      return false;
    }
    AddEntry(engine, entry);
  }
}

}  // namespace

uint32_t loadAllAmbrelStorageEntries(AmbrelStorageEngine *engine) {
  if (engine == nullptr) return 0;
  const StoreLock lock(*engine, 0);
  if (!lock || !HasStream(*engine)) return 0;
  if (engine->entries == nullptr && !MakeRoom(*engine, sizeof(AmbrelStorageEntry))) return 0;
  if (!SeekTo(engine->file, kFileHeaderSize)) return 0;
  engine->position = kFileHeaderSize;
  const bool read = LoadRecords(*engine);
  engine->loadedCount = engine->entryCount;
  engine->nextRecordId = LastId(*engine);
  return read;
}
