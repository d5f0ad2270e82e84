#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "storage/store_lock.hpp"
#include "storage/store_records.hpp"
#include "storage/store_stream.hpp"

namespace cu::store {
namespace {

bool ReadHeader(FILE *stream, void *header) {
  return fread(header, 1, kRecordHeaderSize, stream) == kRecordHeaderSize;
}

bool WriteHeader(FILE *stream, const void *header) {
  return fwrite(header, 1, kRecordHeaderSize, stream) == kRecordHeaderSize;
}

bool WritePayload(FILE *stream, const AmbrelStorageEntry &entry) {
  return entry.length == 0 || fwrite(entry.payload, 1, entry.length, stream) == entry.length;
}

void MarkSuperseded(FILE *stream, int32_t offset, RecordHeader header) {
  header.valid = 0;
  if (SeekTo(stream, offset)) WriteHeader(stream, &header);
}

/// `unwritten` is the result when not even the header could be written.
bool Append(AmbrelStorageEngine &engine, const AmbrelStorageEntry &entry, bool unwritten) {
  FILE *const stream = engine.file;
  const bool begun = fseek(stream, 0, SEEK_END) == 0 && WriteHeader(stream, &entry);
  bool written = begun && WritePayload(stream, entry);
  if (written) engine.position = StreamOffset(stream);
  // What a full disk refuses shows when the stream is flushed.
  if (fflush(stream) != 0) written = false;
  return begun ? written : unwritten;
}

}  // namespace

bool HoldsMore(FILE *stream, uint32_t length) {
  struct stat file;
  const int64_t offset = ftell(stream);
  return offset >= 0 && fstat(fileno(stream), &file) == 0 &&
         int64_t{file.st_size} - offset >= int64_t{length};
}

bool ReadRecordHeader(AmbrelStorageEngine &engine, void *header) {
  if (!HasStream(engine)) return false;
  const bool read = ReadHeader(engine.file, header);
  engine.position = read ? StreamOffset(engine.file) : 0;
  return read;
}

bool ReadRecord(AmbrelStorageEngine &engine, AmbrelStorageEntry &entry) {
  if (!HasStream(engine)) return false;
  RecordHeader header;
  if (!ReadHeader(engine.file, &header)) {
    engine.position = 0;
    rewind(engine.file);
    return false;
  }
  memcpy(static_cast<void *>(&entry), &header, sizeof header);
  entry.payload = nullptr;
  if (!HoldsMore(engine.file, entry.length)) {
    fseek(engine.file, 0, SEEK_END);
    return false;
  }
  entry.payload = static_cast<uint8_t *>(calloc(entry.length != 0 ? entry.length : 1, 1));
  if (entry.payload == nullptr) return false;
  if (fread(entry.payload, 1, entry.length, engine.file) != entry.length) return false;
  engine.position = StreamOffset(engine.file);
  return true;
}

bool NextRecord(AmbrelStorageEngine &engine, AmbrelStorageEntry &entry, uint8_t &last) {
  last = int64_t{engine.position} + kRecordHeaderSize > engine.fileSize;
  const bool read = ReadRecord(engine, entry);
  Resync(engine);
  return read;
}

bool LocateRecord(AmbrelStorageEngine &engine, uint32_t id) {
  if (!HasStream(engine)) return false;
  RecordHeader header;
  // In 64 bits, so that no length makes the walk turn back.
  for (int64_t offset = kFileHeaderSize;
       SeekTo(engine.file, offset) && ReadHeader(engine.file, &header);
       offset += kRecordHeaderSize + int64_t{header.length}) {
    if (header.id != id) continue;
    if (!SeekTo(engine.file, offset)) return false;
    engine.position = static_cast<int32_t>(offset);
    return true;
  }
  return false;
}

bool WriteRecord(AmbrelStorageEngine &engine, const AmbrelStorageEntry &entry) {
  if (!HasStream(engine) || (entry.length != 0 && entry.payload == nullptr)) return false;
  if (!LocateRecord(engine, entry.id)) return Append(engine, entry, false);

  const int32_t offset = engine.position;
  RecordHeader stored;
  if (!ReadHeader(engine.file, &stored) || !SeekTo(engine.file, offset)) return false;
  if (stored.id == entry.id && stored.length == entry.length) {
    // From the record's first byte on, over its header. Daemons rely on the file as it is.
    WritePayload(engine.file, entry);
    engine.position = StreamOffset(engine.file);
    return true;
  }
  MarkSuperseded(engine.file, offset, stored);
  return Append(engine, entry, true);
}

}  // namespace cu::store

uint32_t readAmbrelRecordHeader(AmbrelStorageEngine *engine, uint32_t held, void *buffer) {
  if (engine == nullptr || buffer == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::ReadRecordHeader(*engine, buffer);
}

uint32_t readAmbrelRecord(AmbrelStorageEngine *engine, uint32_t held, AmbrelStorageEntry *entry) {
  if (engine == nullptr || entry == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::ReadRecord(*engine, *entry);
}

uint32_t getNextAmbrelStorageEntry(AmbrelStorageEngine *engine, AmbrelStorageEntry *entry,
                                   uint32_t held, uint8_t *last) {
  if (engine == nullptr || entry == nullptr || last == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::NextRecord(*engine, *entry, *last);
}

uint32_t getAmbrelFileLocationForRecord(AmbrelStorageEngine *engine, uint32_t id) {
  return engine != nullptr && cu::store::LocateRecord(*engine, id);
}

uint32_t writeAmbrelRecord(AmbrelStorageEngine *engine, uint32_t held, AmbrelStorageEntry *entry) {
  if (engine == nullptr || entry == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::WriteRecord(*engine, *entry);
}
