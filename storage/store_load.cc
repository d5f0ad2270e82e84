#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "storage/store_entries.hpp"
#include "storage/store_format.hpp"
#include "storage/store_lock.hpp"
#include "storage/store_scan.hpp"
#include "storage/store_stream.hpp"

namespace {

using namespace cu::store;

/// Id of the last entry, which the next created one repeats; daemons rely on that. 0 without one.
uint16_t LastId(const AmbrelStorageEngine &engine) {
  const auto slots = Slots(engine);
  return slots.empty() || slots.back() == nullptr ? 0 : static_cast<uint16_t>(slots.back()->id);
}

/// How reading a record ended.
enum class Outcome { kRead, kEndOfFile, kCut, kNoMemory };

/// Reads the next record into an entry, whose payload the caller frees on any outcome. The length
/// comes from the file and may be any number: it is compared with what is left before anything is
/// allocated.
Outcome ReadEntry(RecordScan &scan, AmbrelStorageEntry &entry) {
  RecordHeader header;
  if (!scan.TakeRecordHeader(header)) return Outcome::kEndOfFile;
  if (header.length > scan.left()) return Outcome::kCut;
  memcpy(static_cast<void *>(&entry), &header, sizeof header);
  entry.payload = static_cast<uint8_t *>(malloc(header.length != 0 ? header.length : 1));
  if (entry.payload == nullptr) return Outcome::kNoMemory;
  return scan.CopyPayload(header.length, entry.payload) ? Outcome::kRead : Outcome::kCut;
}

/// Loading makes the array as large as the entries themselves, several times what its references
/// need, so that it seldom has to grow.
class Room {
 public:
  explicit Room(AmbrelStorageEngine &engine) : engine_(engine) {}

  /// Room for one reference more.
  bool ForOneMore() {
    const size_t count = size_t{engine_.entryCount} + 1;
    if (count <= slots_) return true;
    if (!ResizeArray(engine_, sizeof(AmbrelStorageEntry) * count)) return false;
    slots_ = sizeof(AmbrelStorageEntry) * count / sizeof(AmbrelStorageEntry *);
    return true;
  }

  /// Makes the size of an array that has grown what its entries ask for.
  void Settle() {
    if (slots_ == 0 || engine_.entries == nullptr || engine_.entryCount == 0) return;
    ResizeArray(engine_, sizeof(AmbrelStorageEntry) * engine_.entryCount);
  }

 private:
  AmbrelStorageEngine &engine_;
  size_t slots_ = 0;  // for which there is room, as far as is known
};

/// Reads all records into new entries. On a record for which there is no room, one behind the known
/// end of the file or one too many, the walk ends as well.
Outcome LoadRecords(AmbrelStorageEngine &engine, RecordScan &scan, Room &room) {
  FileHeader file_header;
  if (!scan.TakeFileHeader(file_header)) return Outcome::kEndOfFile;
  bool last = int64_t{kFileHeaderSize + kRecordHeaderSize} > engine.fileSize;
  for (;; last = false) {
    AmbrelStorageEntry *const entry = NewEntry();
    if (entry == nullptr) return Outcome::kNoMemory;
    const Outcome outcome = ReadEntry(scan, *entry);
    if (outcome != Outcome::kRead || last || IsFull(engine)) {
      DeleteEntry(entry);
      return outcome;
    }
    if (!room.ForOneMore()) {
      DeleteEntry(entry);
      FreeEntries(engine);
      return Outcome::kNoMemory;
    }
    AddEntry(engine, entry);
  }
}

}  // namespace

uint32_t loadAllAmbrelStorageEntries(AmbrelStorageEngine *engine) {
  if (engine == nullptr) return 0;
  const StoreLock lock(*engine, 0);
  if (!lock || !HasStream(*engine)) return 0;
  Room room(*engine);
  if (engine->entries == nullptr && !room.ForOneMore()) return 0;
  RecordScan scan(engine->file);
  const Outcome outcome = LoadRecords(*engine, scan, room);
  room.Settle();
  // The stream is left as reading record by record would leave it.
  const int64_t end = scan.offset() + scan.left();
  SeekTo(engine->file, outcome == Outcome::kEndOfFile ? 0
                       : outcome == Outcome::kCut     ? end
                                                      : scan.offset());
  Resync(*engine);
  engine->loadedCount = engine->entryCount;
  engine->nextRecordId = LastId(*engine);
  return outcome == Outcome::kRead;
}
