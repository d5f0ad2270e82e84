// Single records in a store's file. The caller holds the store's lock.
#ifndef COMMONUTILITIES_STORAGE_STORE_RECORDS_HPP
#define COMMONUTILITIES_STORAGE_STORE_RECORDS_HPP

#include <stdint.h>

#include "include/AmbrelDataStorage.h"
#include "storage/store_checksum.hpp"

namespace cu::store {

/// The header at the stream's offset, 32 bytes. `position` follows the stream, and is 0 on failure.
bool ReadRecordHeader(AmbrelStorageEngine &engine, void *header);

/// The record at the stream's offset, with a new payload.
bool ReadRecord(AmbrelStorageEngine &engine, AmbrelStorageEntry &entry);

/// ReadRecord(), then the stream reopened. `last` is 1 if the file was about to end before.
bool NextRecord(AmbrelStorageEngine &engine, AmbrelStorageEntry &entry, uint8_t &last);

/// Seeks to the first record with an id.
bool LocateRecord(AmbrelStorageEngine &engine, uint32_t id);

/// Stores an entry: over the header of a copy with the same length, else at the end. `checksum`,
/// when asked for, is sound if the file's could be had on the way: the search for a copy reads all
/// of it.
bool WriteRecord(AmbrelStorageEngine &engine, const AmbrelStorageEntry &entry,
                 PassingChecksum *checksum = nullptr);

}  // namespace cu::store

#endif
