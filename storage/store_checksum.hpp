// The checksum of a whole store file. The caller holds the store's lock.
#ifndef COMMONUTILITIES_STORAGE_STORE_CHECKSUM_HPP
#define COMMONUTILITIES_STORAGE_STORE_CHECKSUM_HPP

#include <stdint.h>

#include "include/AmbrelDataStorage.h"

namespace cu::store {

/// Continues `crc` over the file. A file without any payload has no checksum. The header in memory
/// becomes the file's; without a checksum its field is the placeholder, and `crc` is left alone.
bool ChecksumFile(AmbrelStorageEngine &engine, uint32_t &crc);

/// Computes the checksum and stores it in the file's header.
bool RefreshChecksum(AmbrelStorageEngine &engine);

}  // namespace cu::store

#endif
