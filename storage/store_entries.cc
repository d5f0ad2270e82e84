#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>

#include "internal/grow.hpp"
#include "storage/store_entries.hpp"
#include "storage/store_format.hpp"
#include "storage/store_lock.hpp"

namespace cu::store {
namespace {

constexpr size_t kSlotSize = sizeof(AmbrelStorageEntry *);

/// The product wraps in 32 bits and counts as signed: stamps are in this odd unit.
int64_t WallStamp() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  const auto product = static_cast<int32_t>(static_cast<uint32_t>(now.tv_sec) * 100000U);
  return int64_t{product} + now.tv_usec;
}

uint32_t MonotonicSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint32_t>(now.tv_sec);
}

}  // namespace

AmbrelStorageEntry *NewEntry() {
  auto *const entry = static_cast<AmbrelStorageEntry *>(malloc(sizeof(AmbrelStorageEntry)));
  if (entry != nullptr) *entry = {};
  return entry;
}

void DeleteEntry(AmbrelStorageEntry *entry) {
  FreeAmbrelStorageEntry(entry);
  free(entry);
}

bool ResizeArray(AmbrelStorageEngine &engine, size_t bytes) {
  void *const array = ReallocRounded(engine.entries, bytes);
  if (array == nullptr) return false;
  // Slots of an array that was freed come back empty.
  if (engine.entries == nullptr) memset(array, 0, kSlotSize * engine.entryCount);
  engine.entries = static_cast<AmbrelStorageEntry **>(array);
  return true;
}

void AddEntry(AmbrelStorageEngine &engine, AmbrelStorageEntry *entry) {
  engine.entries[engine.entryCount++] = entry;
}

void FreeEntries(AmbrelStorageEngine &engine) {
  for (AmbrelStorageEntry *const entry : Slots(engine)) DeleteEntry(entry);
  free(engine.entries);
  engine.entries = nullptr;
}

}  // namespace cu::store

using namespace cu::store;

uint32_t AddAndCreateAmbrelStorageEntryInArray(AmbrelStorageEngine *engine,
                                               AmbrelStorageEntry **entry, uint32_t held) {
  if (engine == nullptr || entry == nullptr) return 0;
  const StoreLock lock(*engine, held, StoreLock::kNoLimit);
  if (!lock || IsFull(*engine)) return 0;
  if (!ResizeArray(*engine, kSlotSize * (size_t{engine->entryCount} + 1))) {
    FreeEntries(*engine);
    return 0;
  }
  const int64_t wall_stamp = WallStamp();
  const uint32_t monotonic_seconds = MonotonicSeconds();
  AmbrelStorageEntry *const created = NewEntry();
  if (created == nullptr) return 0;
  created->format = kFormat;
  created->id = engine->nextRecordId;
  created->valid = 1;
  created->wallStamp = wall_stamp;
  created->monotonicSeconds = monotonic_seconds;
  AddEntry(*engine, created);
  *entry = created;
  ++engine->nextRecordId;
  ++engine->header.recordCount;
  return 1;
}

uint32_t FindAmbrelStorageRecord(AmbrelStorageEngine *engine, AmbrelStorageEntry *key,
                                 AmbrelStorageEntry **out) {
  if (engine == nullptr || key == nullptr || out == nullptr) return 0;
  const StoreLock lock(*engine, 0, StoreLock::kNoLimit);
  if (!lock) return 0;
  const AmbrelStorageCompareFunction compare =
      engine->compare != nullptr ? engine->compare : AmbrelStorageDefaultCompareFunction;
  for (AmbrelStorageEntry *const entry : Slots(*engine)) {
    if (entry == nullptr) continue;
    if (const uint32_t match = compare(entry, key); match != 0) {
      *out = entry;
      return match;
    }
  }
  return 0;
}

uint32_t AmbrelStorageDefaultCompareFunction(AmbrelStorageEntry *entry, AmbrelStorageEntry *key) {
  if (entry == nullptr || key == nullptr || entry->id != key->id) return 0;
  return entry->valid;
}

uint32_t FreeAllAmbrelStorageEntries(AmbrelStorageEngine *engine, uint32_t held) {
  if (engine == nullptr) return 0;
  const StoreLock lock(*engine, held);
  if (!lock) return 0;
  FreeEntries(*engine);
  return 1;
}

uint32_t FreeAmbrelStorageEntry(AmbrelStorageEntry *entry) {
  if (entry == nullptr) return 0;
  free(entry->payload);
  entry->payload = nullptr;
  return 1;
}

uint32_t InitializeAmbrelStorageDeviceEntry(uint8_t *entry) {
  if (entry == nullptr) return 0;
  *entry = kFormat;
  return 1;
}
