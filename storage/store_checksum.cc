#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdio.h>

#include <algorithm>

#include "storage/store_checksum.hpp"
#include "storage/store_lock.hpp"
#include "storage/store_records.hpp"
#include "storage/store_stream.hpp"
#include "text/crc32_engine.hpp"

namespace cu::store {
namespace {

constexpr uint32_t kChunk = 4096;

/// Continues `crc` over `length` bytes of the stream; false when they end early.
bool ChecksumPayload(FILE *stream, uint32_t length, uint32_t &crc) {
  if (!HoldsMore(stream, length)) return false;
  uint8_t chunk[kChunk];
  while (length != 0) {
    const uint32_t size = std::min(length, kChunk);
    if (fread(chunk, 1, size, stream) != size) return false;
    crc = Crc32Continue(crc, chunk, size);
    length -= size;
  }
  return true;
}

/// Continues `crc` over all records from the stream's offset on.
bool ChecksumRecords(FILE *stream, int64_t file_size, uint32_t &crc) {
  bool has_payload = false;
  RecordHeader header;
  for (int64_t headers = 0; headers <= file_size; headers += kRecordHeaderSize) {
    if (fread(&header, 1, kRecordHeaderSize, stream) != kRecordHeaderSize) break;
    if (header.format != kFormat) return false;
    crc = Crc32Continue(crc, &header, kRecordHeaderSize);
    if (!ChecksumPayload(stream, header.length, crc)) return false;
    has_payload |= header.length != 0;
  }
  return has_payload;
}

}  // namespace

bool ChecksumFile(AmbrelStorageEngine &engine, uint32_t &crc) {
  if (!HasStream(engine)) return false;
  const int32_t size = MeasureSize(engine.file);
  const bool has_header = ReadFileHeader(engine);
  const uint32_t stored = engine.header.crc;
  engine.header.crc = kCrcPlaceholder;
  if (!has_header || size < 0) return false;
  uint32_t running = Crc32Continue(crc, &engine.header, kFileHeaderSize);
  if (!ChecksumRecords(engine.file, size, running)) return false;
  engine.header.crc = stored;
  crc = running;
  return true;
}

bool RefreshChecksum(AmbrelStorageEngine &engine) {
  if (!HasStream(engine) || !OpenForUpdate(engine)) return false;
  uint32_t crc = 0;
  if (!ChecksumFile(engine, crc)) return false;
  engine.header.crc = crc;
  const bool stored = WriteFileHeader(engine);
  return Resync(engine) && stored;
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
