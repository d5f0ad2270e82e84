// Writes a store file in large blocks, instead of a write and a flush for each record.
#ifndef COMMONUTILITIES_STORAGE_STORE_BLOCK_WRITER_HPP
#define COMMONUTILITIES_STORAGE_STORE_BLOCK_WRITER_HPP

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "storage/store_block.hpp"

namespace cu::store {

class BlockWriter {
 public:
  explicit BlockWriter(FILE *stream) : stream_(stream) {}
  BlockWriter(const BlockWriter &) = delete;
  BlockWriter &operator=(const BlockWriter &) = delete;

  /// Adds bytes; false when a block could not be written.
  bool Write(const void *bytes, size_t size);

  /// Writes what is left, down to the file.
  bool Flush();

  /// From here on, continues `crc` over everything that is written.
  void StartChecksum(uint32_t crc);
  uint32_t Checksum();

 private:
  bool WriteBlock();

  FILE *stream_;
  Block block_;
  size_t filled_ = 0;
  size_t summed_ = 0;  // how much of the block is in the checksum
  uint32_t crc_ = 0;
};

}  // namespace cu::store

#endif
