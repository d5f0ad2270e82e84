#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdio.h>

#include "storage/store_backup.hpp"
#include "storage/store_checksum.hpp"
#include "storage/store_entries.hpp"
#include "storage/store_lock.hpp"
#include "storage/store_records.hpp"
#include "storage/store_stream.hpp"

namespace {

using namespace cu::store;

bool WriteHeaderAtStart(AmbrelStorageEngine &engine) {
  return SeekTo(engine.file, 0) &&
         fwrite(&engine.header, 1, kFileHeaderSize, engine.file) == kFileHeaderSize;
}

/// Writes the header and all valid entries into a new primary.
bool WriteAll(AmbrelStorageEngine &engine) {
  if (!OpenPrimary(engine, Mode::kCreate)) return false;
  WriteHeaderAtStart(engine);
  SeekTo(engine.file, kFileHeaderSize);
  uint32_t written = 0;
  for (const AmbrelStorageEntry *const entry : Slots(engine)) {
    if (entry == nullptr || entry->valid == 0) continue;
    if (!WriteRecord(engine, *entry)) return false;
    ++written;
  }
  engine.header.crc = 0;
  engine.header.recordCount = written;
  WriteHeaderAtStart(engine);
  return true;
}

/// Puts the former file back in place of what was written so far.
void Undo(AmbrelStorageEngine &engine, const char *primary, const char *backup) {
  ClosePrimary(engine);
  rename(backup, primary);
  OpenPrimary(engine, Mode::kRead);
  Resync(engine);
}

}  // namespace

uint32_t saveAllAmbrelStorageEntries(AmbrelStorageEngine *engine, uint32_t held) {
  if (engine == nullptr) return 0;
  const PrimaryPath primary(*engine);
  const BackupPath backup(*engine);
  const StoreLock lock(*engine, held);
  if (!lock || !HasStream(*engine) || engine->entries == nullptr) return 0;
  ClosePrimary(*engine);
  if (rename(primary.text, backup.text) != 0) {
    // The file is where it was, and the store goes on with it.
    if (OpenPrimary(*engine, Mode::kRead)) SeekTo(engine->file, engine->position);
    return 0;
  }
  if (!WriteAll(*engine)) {
    Undo(*engine, primary.text, backup.text);
    return 0;
  }
  return RefreshChecksum(*engine);
}
