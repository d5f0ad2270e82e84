#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "storage/store_lock.hpp"
#include "storage/store_records.hpp"
#include "storage/store_scan.hpp"
#include "storage/store_stream.hpp"
#include "text/crc32_engine.hpp"

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

/// Whether the file holds `length` more bytes from the stream's offset on. Asked before a payload
/// is allocated: the length comes from the file and may be any number.
bool HoldsMore(FILE *stream, uint32_t length) {
  const int32_t offset = StreamOffset(stream);
  return offset >= 0 && int64_t{MeasureSize(stream)} - offset >= length;
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

/// Finds the first record with an id: its header and offset. Without one, `offset` is where the
/// last whole record ends and `checksum`, if wanted, that of the file up to there. A file that ends
/// in its header or in a payload leaves `offset` alone and the checksum unsound.
bool FindRecord(FILE *stream, uint32_t id, RecordHeader &header, int64_t &offset,
                PassingChecksum *checksum) {
  RecordScan scan(stream);
  FileHeader file_header;
  if (!scan.TakeFileHeader(file_header)) return false;
  if (checksum != nullptr) scan.StartChecksum(checksum->Start(file_header));
  while (scan.TakeRecordHeader(header)) {
    if (header.id == id) {
      offset = scan.offset() - kRecordHeaderSize;
      if (checksum != nullptr) checksum->Spoil();
      return true;
    }
    if (checksum != nullptr) checksum->Add(header.format, header.length);
    const int64_t next = scan.offset() + header.length;
    if (!scan.SkipPayload(header.length)) {
      // A payload that cannot be read has no checksum but hides no record behind it.
      if (checksum != nullptr) checksum->Spoil();
      checksum = nullptr;
      if (!scan.JumpTo(next)) return false;
    }
  }
  offset = scan.offset();
  if (checksum != nullptr) checksum->Finish(scan.Checksum());
  return false;
}

/// Continues a checksum with an entry that was appended. `grown` is how far the file now ends
/// behind the last whole record: more than the entry, and there was something else between them.
void AddAppended(PassingChecksum &checksum, const AmbrelStorageEntry &entry, int64_t grown) {
  if (grown != int64_t{kRecordHeaderSize} + entry.length) return checksum.Spoil();
  checksum.Add(entry.format, entry.length);
  const uint32_t crc = Crc32Continue(checksum.header().crc, &entry, kRecordHeaderSize);
  checksum.Finish(Crc32Continue(crc, entry.payload, entry.length));
}

bool MoveTo(AmbrelStorageEngine &engine, int64_t offset) {
  if (!SeekTo(engine.file, offset)) return false;
  engine.position = static_cast<int32_t>(offset);
  return true;
}

}  // namespace

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
  int64_t offset = 0;
  return FindRecord(engine.file, id, header, offset, nullptr) && MoveTo(engine, offset);
}

bool WriteRecord(AmbrelStorageEngine &engine, const AmbrelStorageEntry &entry,
                 PassingChecksum *checksum) {
  if (!HasStream(engine) || (entry.length != 0 && entry.payload == nullptr)) return false;
  RecordHeader stored;
  int64_t offset = 0;
  if (!FindRecord(engine.file, entry.id, stored, offset, checksum)) {
    if (!Append(engine, entry, false)) return false;
    if (checksum != nullptr) AddAppended(*checksum, entry, engine.position - offset);
    return true;
  }
  if (!MoveTo(engine, offset)) return false;
  if (stored.length == entry.length) {
    // From the record's first byte on, over its header. Daemons rely on the file as it is.
    WritePayload(engine.file, entry);
    engine.position = StreamOffset(engine.file);
    return true;
  }
  stored.valid = 0;
  WriteHeader(engine.file, &stored);
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
