// Any bytes as a store file, as they are or with a right checksum: start, load, find, read record
// by record, save, full save, compaction, and a second start. The second byte, which a store leaves
// alone, tells which of them.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/scratch_file.hpp"
#include "include/AmbrelDataStorage.h"

// Compaction makes its temporary file in /var: the linker's --wrap brings it into memory.
extern "C" {
int __real_mkstemp(char *path);
int __wrap_mkstemp(char *path);
}

namespace {

enum Steps : uint8_t {
  kUpdate = 1,
  kFullSave = 2,
  kCompact = 4,
  kByRecord = 8,
  kHeader = 16,
  kCopy = 32,
  kAsItIs = 64
};

constexpr size_t kFileHeader = 16, kRecordHeader = 32;

AmbrelStorageEngine *Start(const char *name) {
  static const std::string backup = cu_fuzz::ScratchFolder() + "/backup";
  AmbrelStorageEngine *store = nullptr;
  if (InitializeAmbrelStorageEngine(&store, name, cu_fuzz::ScratchFolder().c_str(),
                                    backup.c_str()) != nullptr)
    return store;
  DeInitializeAmbrelStorageEngine(store);
  return nullptr;
}

/// Record by record, from the start of the file and with the stream reopened in between.
void ReadByRecord(AmbrelStorageEngine *store) {
  for (int round = 0; round < 2; ++round) {
    if (!getAmbrelFileHeader(store, 0)) return;
    uint8_t last = 0;
    uint32_t read = 1;
    for (int i = 0; i < 8 && read && !last; ++i) {
      AmbrelStorageEntry entry = {};
      read = round == 0 ? readAmbrelRecord(store, 0, &entry)
                        : getNextAmbrelStorageEntry(store, &entry, 0, &last);
      FreeAmbrelStorageEntry(&entry);
    }
  }
  AmbrelStorageEntry header = {};
  updateAmbrelFileHandlerInfo(store, 0);
  readAmbrelRecordHeader(store, 0, &header);
}

/// The checksum that was stored is the file's.
void RewriteHeader(AmbrelStorageEngine *store) {
  const bool stored = updateAmbrelStorageCRC(store, 0);
  uint32_t crc = 0;
  if (stored && (!calcAmbrelFileCRC(store, 0, &crc) || crc != store->header.crc)) abort();
  if (stored && !updateAmbrelHeaderInfile(store, 0)) abort();
}

void Update(AmbrelStorageEngine *store, const char *payload) {
  AmbrelStorageEntry *entry = nullptr;
  if (!AddAndCreateAmbrelStorageEntryInArray(store, &entry, 0)) return;
  entry->payload = reinterpret_cast<uint8_t *>(strdup(payload));
  entry->length = static_cast<uint32_t>(strlen(payload));
  saveAmbrelStorageDeviceUpdateEntry(store, entry, 0, 1);
}

void Load(AmbrelStorageEngine *store) {
  loadAllAmbrelStorageEntries(store);
  for (uint32_t i = 0; i < store->entryCount && i < 4; ++i) {
    AmbrelStorageEntry *found = nullptr;
    FindAmbrelStorageRecord(store, store->entries[i], &found);
    getAmbrelFileLocationForRecord(store, store->entries[i]->id);
  }
}

void Exercise(const char *name, uint8_t steps) {
  AmbrelStorageEngine *const store = Start(name);
  if (store == nullptr) return;
  if (steps & kByRecord) ReadByRecord(store);
  Load(store);
  getAmbrelFileLocationForRecord(store, UINT32_MAX);
  if (steps & kHeader) RewriteHeader(store);
  if (steps & kUpdate) {
    Update(store, "payload");
    Update(store, "another");
    Update(store, "longer than those");
  }
  if (steps & kFullSave) saveAllAmbrelStorageEntries(store, 0);
  if (steps & kCompact) compressAmbrelStorageEntries(store, 0, 100, 604800, 0);
  DeInitializeAmbrelStorageEngine(store);
  if (steps & kFullSave) {
    AmbrelStorageEngine *const again = Start(name);
    if (again == nullptr) return;
    Load(again);
    DeInitializeAmbrelStorageEngine(again);
  }
}

/// A record in front of the others that is twice as long as what is read at a time.
const std::string &LargeRecord() {
  static const std::string record = [] {
    AmbrelStorageEntry entry = {};
    entry.format = AMBREL_STORAGE_FORMAT;
    entry.id = 0x10000;
    entry.valid = 1;
    entry.length = 132000;
    std::string made(reinterpret_cast<const char *>(&entry), kRecordHeader);
    return made.append(entry.length, 'x');
  }();
  return record;
}

void WriteStore(const std::string &bytes) {
  cu_fuzz::WriteScratchFile("store", reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
}

}  // namespace

extern "C" int __wrap_mkstemp(char *path) {
  static constexpr char kPattern[] = "/dev/shm/cu-XXXXXX";  // not longer than the library's
  if (strlen(path) < sizeof kPattern) abort();
  memcpy(path, kPattern, sizeof kPattern);
  return __real_mkstemp(path);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  uint8_t steps = size < 2 ? 0 : data[1];
  std::string bytes(reinterpret_cast<const char *>(data), size);
  if (size < kFileHeader + kRecordHeader || steps & kAsItIs) {
    WriteStore(bytes);
    Exercise("store", steps & (kByRecord | kHeader));
    return 0;
  }

  // The checksum guards the rest of the file from most inputs: the header and the checksum are made
  // right, from the bytes as the library itself computes it.
  static constexpr uint8_t kSound[kFileHeader] = {4, 0, 0, 0, 16,   0,    32,   0,
                                                  1, 0, 0, 0, 0x12, 0x57, 0x44, 0x32};
  memcpy(bytes.data(), kSound, sizeof kSound);
  const bool large = data[2] == 'L';
  std::string front(bytes, 0, kFileHeader);
  if (large) front += LargeRecord();
  // The checksum of what is in front is always one of the same two.
  static uint32_t of_front[2] = {};
  uint32_t &crc_of_front = of_front[large ? 1 : 0];
  if (crc_of_front == 0)
    ambrelstoragecrc32(front.data(), static_cast<uint32_t>(front.size()), &crc_of_front);
  bytes.replace(0, kFileHeader, front);
  uint32_t crc = crc_of_front;
  ambrelstoragecrc32(bytes.data() + front.size(),
                     static_cast<uint32_t>(bytes.size() - front.size()), &crc);
  memcpy(bytes.data() + 12, &crc, sizeof crc);
  if (large) steps &= kCopy | kByRecord;  // the others take as long again, several times
  if (ambrel_crc32_for_byte(data[0]) == 0) abort();
  WriteStore(bytes);
  if (steps & kCopy) {
    static const std::string folder = cu_fuzz::ScratchFolder();
    if (!copyAmbrelFileAndVerify((folder + "/store").c_str(), (folder + "/copy").c_str())) abort();
    Exercise("copy", steps);
    return 0;
  }
  Exercise("store", steps);
  return 0;
}
