// Any bytes as a store file, and the same records with a right checksum: start, load, find, save,
// full save, compaction, and a second start.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "fuzz/scratch_file.hpp"
#include "include/AmbrelDataStorage.h"

namespace {

void Exercise(const char *name) {
  AmbrelStorageEngine *store = nullptr;
  const std::string backup = cu_fuzz::ScratchFolder() + "/backup";
  if (InitializeAmbrelStorageEngine(&store, name, cu_fuzz::ScratchFolder().c_str(),
                                    backup.c_str()) == nullptr) {
    DeInitializeAmbrelStorageEngine(store);
    return;
  }
  loadAllAmbrelStorageEntries(store);
  for (uint32_t i = 0; i < store->entryCount && i < 8; ++i) {
    AmbrelStorageEntry *found = nullptr;
    FindAmbrelStorageRecord(store, store->entries[i], &found);
    getAmbrelFileLocationForRecord(store, store->entries[i]->id);
  }
  AmbrelStorageEntry *entry = nullptr;
  if (AddAndCreateAmbrelStorageEntryInArray(store, &entry, 0)) {
    entry->payload = reinterpret_cast<uint8_t *>(strdup("payload"));
    entry->length = 7;
    saveAmbrelStorageDeviceUpdateEntry(store, entry, 0, 1);
  }
  saveAllAmbrelStorageEntries(store, 0);
  compressAmbrelStorageEntries(store, 0, 100, 604800, 0);
  DeInitializeAmbrelStorageEngine(store);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string path = cu_fuzz::WriteScratchFile("store", data, size);
  Exercise("store");

  // The checksum guards the rest of the file from most inputs: the same bytes once more with the
  // header and the checksum made right, from the bytes as the library itself computes it.
  if (size < 48) return 0;
  std::string bytes(reinterpret_cast<const char *>(data), size);
  static constexpr uint8_t kHeader[16] = {4, 0, 0, 0, 16,   0,    32,   0,
                                          1, 0, 0, 0, 0x12, 0x57, 0x44, 0x32};
  memcpy(bytes.data(), kHeader, sizeof kHeader);
  uint32_t crc = 0;
  ambrelstoragecrc32(bytes.data(), static_cast<uint32_t>(bytes.size()), &crc);
  memcpy(bytes.data() + 12, &crc, sizeof crc);
  cu_fuzz::WriteScratchFile("store", reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  Exercise("store");
  return 0;
}
