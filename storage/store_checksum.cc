#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdio.h>

#include "storage/store_checksum.hpp"
#include "storage/store_lock.hpp"
#include "storage/store_scan.hpp"
#include "storage/store_stream.hpp"
#include "text/crc32_engine.hpp"

namespace cu::store {
namespace {

/// Continues `crc` over all records. The stream is left where it stops.
bool ChecksumRecords(FILE *stream, uint32_t &crc) {
  RecordScan scan(stream);
  FileHeader file_header;
  if (!scan.TakeFileHeader(file_header)) return false;
  scan.StartChecksum(crc);
  bool has_payload = false;
  for (RecordHeader header; scan.TakeRecordHeader(header);) {
    const bool sound = header.format == kFormat;
    if (!sound || !scan.SkipPayload(header.length)) {
      SeekTo(stream, sound ? scan.offset() + scan.left() : scan.offset());
      return false;
    }
    has_payload = has_payload || header.length != 0;
  }
  crc = scan.Checksum();
  return has_payload;
}

/// Stores `engine.header` in the file, whose stream is open for update.
bool StoreHeader(AmbrelStorageEngine &engine) {
  const bool stored = WriteFileHeader(engine);
  return Resync(engine) && stored;
}

}  // namespace

bool ChecksumFile(AmbrelStorageEngine &engine, uint32_t &crc) {
  if (!HasStream(engine)) return false;
  const bool has_header = ReadFileHeader(engine);
  const uint32_t stored = engine.header.crc;
  engine.header.crc = kCrcPlaceholder;
  if (!has_header) return false;
  uint32_t running = Crc32Continue(crc, &engine.header, kFileHeaderSize);
  if (!ChecksumRecords(engine.file, running)) return false;
  engine.header.crc = stored;
  crc = running;
  return true;
}

bool RefreshChecksum(AmbrelStorageEngine &engine) {
  if (!HasStream(engine) || !OpenForUpdate(engine)) return false;
  uint32_t crc = 0;
  if (!ChecksumFile(engine, crc)) return false;
  engine.header.crc = crc;
  return StoreHeader(engine);
}

uint32_t PassingChecksum::Start(const FileHeader &header) {
  header_ = header;
  header_.crc = kCrcPlaceholder;
  sound_ = header.format == kFormat;
  return Crc32Continue(0, &header_, kFileHeaderSize);
}

bool RefreshChecksum(AmbrelStorageEngine &engine, const PassingChecksum &checksum) {
  if (!checksum.sound()) return RefreshChecksum(engine);
  if (!HasStream(engine) || !OpenForUpdate(engine)) return false;
  engine.header = checksum.header();
  return StoreHeader(engine);
}

}  // namespace cu::store

uint32_t calcAmbrelFileCRC(AmbrelStorageEngine *engine, uint32_t held, uint32_t *crc) {
  if (engine == nullptr || crc == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::ChecksumFile(*engine, *crc);
}

uint32_t updateAmbrelStorageCRC(AmbrelStorageEngine *engine, uint32_t held) {
  if (engine == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::RefreshChecksum(*engine);
}
