// The checksum of a whole store file. The caller holds the store's lock.
#ifndef COMMONUTILITIES_STORAGE_STORE_CHECKSUM_HPP
#define COMMONUTILITIES_STORAGE_STORE_CHECKSUM_HPP

#include <stdint.h>

#include "include/AmbrelDataStorage.h"
#include "storage/store_format.hpp"

namespace cu::store {

/// Continues `crc` over the file. A file without any payload has no checksum. The header in memory
/// becomes the file's; without a checksum its field is the placeholder, and `crc` is left alone.
bool ChecksumFile(AmbrelStorageEngine &engine, uint32_t &crc);

/// Computes the checksum and stores it in the file's header.
bool RefreshChecksum(AmbrelStorageEngine &engine);

/// The checksum of a file whose bytes pass through memory anyway: no second pass reads them again.
/// It is told of the file header and of each record header in turn, and at the end of the CRC-32
/// over all bytes. When it is not sound, RefreshChecksum() has to look.
class PassingChecksum {
 public:
  /// The CRC-32 of a file header as it counts, to be continued with the records.
  uint32_t Start(const FileHeader &header);
  void Add(uint8_t format, uint32_t length) {
    sound_ = sound_ && format == kFormat;
    has_payload_ = has_payload_ || length != 0;
  }
  void Finish(uint32_t crc) { header_.crc = crc; }
  void Spoil() { sound_ = false; }

  bool sound() const { return sound_ && has_payload_; }
  /// The file header with the checksum.
  const FileHeader &header() const { return header_; }

 private:
  FileHeader header_ = {};
  bool sound_ = false;
  bool has_payload_ = false;
};

/// RefreshChecksum() with a checksum that is known, if it is sound.
bool RefreshChecksum(AmbrelStorageEngine &engine, const PassingChecksum &checksum);

}  // namespace cu::store

#endif
