#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdio.h>

#include <algorithm>

#include "storage/store_backup.hpp"
#include "storage/store_block_writer.hpp"
#include "storage/store_checksum.hpp"
#include "storage/store_entries.hpp"
#include "storage/store_lock.hpp"
#include "storage/store_stream.hpp"

namespace {

using namespace cu::store;

bool WriteHeaderAtStart(AmbrelStorageEngine &engine) {
  return SeekTo(engine.file, 0) &&
         fwrite(&engine.header, 1, kFileHeaderSize, engine.file) == kFileHeaderSize;
}

bool IsWritten(const AmbrelStorageEntry *entry) {
  return entry != nullptr && entry->valid != 0;
}

uint32_t CountWritten(const AmbrelStorageEngine &engine) {
  const auto slots = Slots(engine);
  return static_cast<uint32_t>(std::count_if(slots.begin(), slots.end(), IsWritten));
}

/// Writes the header and all valid entries into a new primary, in large blocks, and takes the
/// checksum that the file will have with `count` in its header.
bool WriteAll(AmbrelStorageEngine &engine, uint32_t count, PassingChecksum &checksum) {
  if (!OpenPrimary(engine, Mode::kCreate)) return false;
  BlockWriter out(engine.file);
  if (!out.Write(&engine.header, kFileHeaderSize)) return false;
  FileHeader header = engine.header;
  header.recordCount = count;
  out.StartChecksum(checksum.Start(header));
  for (const AmbrelStorageEntry *const entry : Slots(engine)) {
    if (!IsWritten(entry)) continue;
    if (entry->length != 0 && entry->payload == nullptr) {
      // What comes before it is written: it stays if the former file cannot be moved back.
      out.Flush();
      return false;
    }
    if (!out.Write(entry, kRecordHeaderSize) || !out.Write(entry->payload, entry->length)) {
      return false;
    }
    checksum.Add(entry->format, entry->length);
  }
  if (!out.Flush()) return false;
  if (count != 0) engine.position = StreamOffset(engine.file);
  checksum.Finish(out.Checksum());
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
  const uint32_t count = CountWritten(*engine);
  PassingChecksum checksum;
  if (!WriteAll(*engine, count, checksum)) {
    Undo(*engine, primary.text, backup.text);
    return 0;
  }
  engine->header.crc = 0;
  engine->header.recordCount = count;
  WriteHeaderAtStart(*engine);
  return RefreshChecksum(*engine, checksum);
}
