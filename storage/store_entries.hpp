// The entries in memory. The caller holds the store's lock.
#ifndef COMMONUTILITIES_STORAGE_STORE_ENTRIES_HPP
#define COMMONUTILITIES_STORAGE_STORE_ENTRIES_HPP

#include <span>

#include "include/AmbrelDataStorage.h"

namespace cu::store {

/// The slots, some of which may be null; none after the array was freed, whatever the count says.
inline std::span<AmbrelStorageEntry *const> Slots(const AmbrelStorageEngine &engine) {
  return {engine.entries, engine.entries == nullptr ? 0U : engine.entryCount};
}

/// An entry that nobody owns yet; null without memory.
AmbrelStorageEntry *NewEntry();

/// Frees an entry and its payload. Null is fine.
void DeleteEntry(AmbrelStorageEntry *entry);

/// Whether the array can never take another entry.
inline bool IsFull(const AmbrelStorageEngine &engine) {
  return engine.entryCount == UINT16_MAX;
}

/// Gives the array a size, at least that of its slots. False without memory, with the array as it
/// was.
bool ResizeArray(AmbrelStorageEngine &engine, size_t bytes);

/// Fills the next slot, for which there is room.
void AddEntry(AmbrelStorageEngine &engine, AmbrelStorageEntry *entry);

/// Frees all entries and the array; the count stays.
void FreeEntries(AmbrelStorageEngine &engine);

}  // namespace cu::store

#endif
