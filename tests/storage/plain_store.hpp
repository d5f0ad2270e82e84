// The store's operations in their plain form, one record at a time, made of the exported
// lower-level operations alone: what the fast forms in the library must do in every visible
// respect.
#ifndef COMMONUTILITIES_TESTS_STORAGE_PLAIN_STORE_HPP
#define COMMONUTILITIES_TESTS_STORAGE_PLAIN_STORE_HPP

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <string>

#include "include/AmbrelDataStorage.h"

namespace cu_test::plain {

inline std::string Primary(const AmbrelStorageEngine *engine) {
  return std::string(engine->primaryDirectory) + "/" + engine->fileName;
}
inline std::string Backup(const AmbrelStorageEngine *engine) {
  return std::string(engine->backupDirectory) + "/" + engine->fileName + ".bkc";
}

inline void Close(AmbrelStorageEngine *engine) {
  if (engine->file != nullptr) fclose(engine->file);
  engine->file = nullptr;
  engine->open = engine->writable = 0;
}

inline bool Open(AmbrelStorageEngine *engine, const char *mode) {
  engine->file = fopen(Primary(engine).c_str(), mode);
  engine->open = engine->file != nullptr;
  engine->writable = engine->open && std::string(mode) == "rb+";
  return engine->open != 0;
}

/// A walk from header to header.
inline uint32_t Locate(AmbrelStorageEngine *engine, uint32_t id) {
  if (engine->file == nullptr) return 0;
  AmbrelStorageEntry header;
  for (int64_t offset = 16; offset <= INT32_MAX; offset += 32 + int64_t{header.length}) {
    if (fseek(engine->file, static_cast<long>(offset), SEEK_SET) != 0) return 0;
    if (fread(&header, 1, 32, engine->file) != 32) return 0;
    if (header.id != id) continue;
    fseek(engine->file, static_cast<long>(offset), SEEK_SET);
    engine->position = static_cast<int32_t>(offset);
    return 1;
  }
  return 0;
}

/// Header, record header, payload, record header, payload ...
inline uint32_t Checksum(AmbrelStorageEngine *engine, uint32_t *crc) {
  if (engine->file == nullptr) return 0;
  const uint32_t read = getAmbrelFileHeader(engine, 1);
  const uint32_t stored = engine->header.crc;
  engine->header.crc = AMBREL_STORAGE_CRC_PLACEHOLDER;
  if (read == 0) return 0;
  uint32_t running = *crc;
  ambrelstoragecrc32(&engine->header, 16, &running);
  bool has_payload = false;
  for (;;) {
    AmbrelStorageEntry entry = {};
    if (fread(&entry, 1, 32, engine->file) != 32) break;
    if (entry.format != 4) return 0;
    ambrelstoragecrc32(&entry, 32, &running);
    for (uint32_t left = entry.length; left != 0;) {
      uint8_t piece[100];
      const uint32_t size = std::min<uint32_t>(left, sizeof piece);
      if (fread(piece, 1, size, engine->file) != size) return 0;
      ambrelstoragecrc32(piece, size, &running);
      left -= size;
      has_payload = true;
    }
  }
  if (!has_payload) return 0;
  engine->header.crc = stored;
  *crc = running;
  return 1;
}

inline uint32_t Refresh(AmbrelStorageEngine *engine) {
  if (engine->file == nullptr) return 0;
  if (engine->writable == 0) {
    Close(engine);
    if (!Open(engine, "rb+")) return 0;
  }
  uint32_t crc = 0;
  if (Checksum(engine, &crc) == 0) return 0;
  engine->header.crc = crc;
  const uint32_t stored = updateAmbrelHeaderInfile(engine, 1);
  return updateAmbrelFileHandlerInfo(engine, 1) & stored;
}

/// Each record is read through a stream that is reopened afterwards.
inline uint32_t Load(AmbrelStorageEngine *engine) {
  if (engine->file == nullptr) return 0;
  if (engine->entries == nullptr) {
    engine->entries = static_cast<AmbrelStorageEntry **>(calloc(1U + engine->entryCount, 40));
  }
  fseek(engine->file, 16, SEEK_SET);
  engine->position = 16;
  uint32_t read = 0;
  for (;;) {
    auto *const entry = static_cast<AmbrelStorageEntry *>(calloc(1, sizeof(AmbrelStorageEntry)));
    uint8_t last = 0;
    read = getNextAmbrelStorageEntry(engine, entry, 1, &last);
    if (read == 0 || last != 0) {
      FreeAmbrelStorageEntry(entry);
      free(entry);
      break;
    }
    engine->entries = static_cast<AmbrelStorageEntry **>(
        realloc(engine->entries, sizeof(AmbrelStorageEntry) * (1U + engine->entryCount)));
    engine->entries[engine->entryCount++] = entry;
  }
  engine->loadedCount = engine->entryCount;
  const AmbrelStorageEntry *const end =
      engine->entryCount == 0 ? nullptr : engine->entries[engine->entryCount - 1];
  engine->nextRecordId = end == nullptr ? uint16_t{0} : static_cast<uint16_t>(end->id);
  return read;
}

/// The file is searched for the id first and read once more for the checksum.
inline uint32_t Save(AmbrelStorageEngine *engine, AmbrelStorageEntry *entry, bool refresh) {
  if (engine->file == nullptr) return 0;
  if (engine->writable == 0) {
    Close(engine);
    if (!Open(engine, "rb+")) return 0;
  }
  if (writeAmbrelRecord(engine, 1, entry) == 0) return 0;
  return refresh ? Refresh(engine) : updateAmbrelFileHandlerInfo(engine, 1);
}

/// Each record is written and flushed alone, and the file is read back for the checksum.
inline uint32_t FullSave(AmbrelStorageEngine *engine) {
  if (engine->file == nullptr || engine->entries == nullptr) return 0;
  const std::string primary = Primary(engine), backup = Backup(engine);
  Close(engine);
  if (rename(primary.c_str(), backup.c_str()) != 0) {
    Open(engine, "rb");
    return 0;
  }
  uint32_t written = 0;
  bool whole = Open(engine, "wb");
  whole = whole && fwrite(&engine->header, 1, 16, engine->file) == 16;
  whole = whole && fseek(engine->file, 16, SEEK_SET) == 0;
  for (uint32_t i = 0; whole && i < engine->entryCount; ++i) {
    if (engine->entries[i] == nullptr || engine->entries[i]->valid == 0) continue;
    whole = writeAmbrelRecord(engine, 1, engine->entries[i]) != 0;
    ++written;
  }
  if (!whole) {
    Close(engine);
    rename(backup.c_str(), primary.c_str());
    Open(engine, "rb");
    updateAmbrelFileHandlerInfo(engine, 1);
    return 0;
  }
  engine->header.crc = 0;
  engine->header.recordCount = written;
  fseek(engine->file, 0, SEEK_SET);
  fwrite(&engine->header, 1, 16, engine->file);
  return Refresh(engine);
}

}  // namespace cu_test::plain

#endif
