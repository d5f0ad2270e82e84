#include "include/AmbrelDataStorage.h"

#include <pthread.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <type_traits>

#include "internal/log_pair.hpp"
#include "storage/store_checksum.hpp"
#include "storage/store_format.hpp"
#include "storage/store_stream.hpp"

namespace {

using namespace cu::store;

constexpr char kLogModule[] = "AmbrelDataStorage";

constexpr uint32_t kLockTimeoutMs = 1000;
constexpr uint64_t kRetentionSeconds = 7 * 24 * 60 * 60;
constexpr uint32_t kLimit = 100;

// The record as daemons on 32-bit hosts were built with it.
static_assert(std::is_standard_layout_v<AmbrelStorageEngine>);
static_assert(offsetof(AmbrelStorageEngine, header) == 0);
static_assert(sizeof(void *) != 4 || (offsetof(AmbrelStorageEngine, lockTimeoutMs) == 40 &&
                                      offsetof(AmbrelStorageEngine, retention) == 64 &&
                                      offsetof(AmbrelStorageEngine, fileName) == 76 &&
                                      offsetof(AmbrelStorageEngine, entries) == 848 &&
                                      sizeof(AmbrelStorageEngine) == 856));

/// Copies a name into its field, which cuts it.
template <size_t N>
void StoreName(char (&field)[N], const char *name) {
  memcpy(field, name, strnlen(name, N - 1));
}

/// Takes what a start needs from the file, which is open, and tells whether its checksum is right.
bool ChecksOut(AmbrelStorageEngine &engine) {
  engine.position = StreamOffset(engine.file);
  engine.fileSize = MeasureSize(engine.file);
  engine.loadedCount = static_cast<uint16_t>(engine.header.recordCount);
  engine.nextRecordId = static_cast<uint16_t>(engine.header.recordCount);
  uint32_t crc = 0;
  return ChecksumFile(engine, crc) && crc == engine.header.crc;
}

/// Opens the existing file if it is a sound store.
bool OpenExisting(AmbrelStorageEngine &engine) {
  if (!OpenPrimary(engine, Mode::kRead)) return false;
  if (ReadFileHeader(engine)) {
    if (engine.header.format != kFormat) {
      // Not reached as long as the reader refuses other formats itself.
      CU_LOG(DBGLOG_INFO, "Record Format has changed\n");
    } else if (ChecksOut(engine)) {
      return true;
    } else {
      CU_LOG(DBGLOG_DEBUG, "Recover msgdb file from backup\n");
    }
  }
  ClosePrimary(engine);
  return false;
}

/// Puts a new, empty file in place of what is there.
bool CreateFresh(AmbrelStorageEngine &engine) {
  if (!OpenPrimary(engine, Mode::kCreate)) {
    CU_LOG(DBGLOG_DEBUG, "We are unable to open/create fille\n");
    return false;
  }
  engine.writable = 1;
  engine.header = kFreshHeader;
  engine.nextRecordId = 0;
  engine.loadedCount = 0;
  WriteFileHeader(engine);
  if (!HasStream(engine)) return true;
  engine.position = StreamOffset(engine.file);
  engine.fileSize = MeasureSize(engine.file);
  SeekTo(engine.file, kFileHeaderSize);
  return true;
}

}  // namespace

AmbrelStorageEngine *InitializeAmbrelStorageEngine(AmbrelStorageEngine **engine,
                                                   const char *fileName,
                                                   const char *primaryDirectory,
                                                   const char *backupDirectory) {
  if (engine == nullptr) return nullptr;
  *engine = nullptr;
  if (fileName == nullptr || primaryDirectory == nullptr || backupDirectory == nullptr) {
    return nullptr;
  }
  auto *const store = static_cast<AmbrelStorageEngine *>(calloc(1, sizeof(AmbrelStorageEngine)));
  if (store == nullptr) return nullptr;
  *engine = store;
  pthread_mutex_init(&store->mutex, nullptr);
  store->lockTimeoutMs = kLockTimeoutMs;
  aecheckANDCreateDir(primaryDirectory);
  aecheckANDCreateDir(backupDirectory);
  StoreName(store->fileName, fileName);
  StoreName(store->primaryDirectory, primaryDirectory);
  StoreName(store->backupDirectory, backupDirectory);
  store->compare = AmbrelStorageDefaultCompareFunction;
  store->retention = kRetentionSeconds;
  store->limit = kLimit;
  return OpenExisting(*store) || CreateFresh(*store) ? store : nullptr;
}

uint32_t DeInitializeAmbrelStorageEngine(AmbrelStorageEngine *engine) {
  if (engine == nullptr) return 0;
  ClosePrimary(*engine);
  FreeAllAmbrelStorageEntries(engine, 0);
  pthread_mutex_destroy(&engine->mutex);
  free(engine);
  return 1;
}
