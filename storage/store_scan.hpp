// One pass over a store file in large blocks, instead of a seek and a read for each record.
#ifndef COMMONUTILITIES_STORAGE_STORE_SCAN_HPP
#define COMMONUTILITIES_STORAGE_STORE_SCAN_HPP

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "storage/store_block.hpp"
#include "storage/store_format.hpp"

namespace cu::store {

/// Reads the headers and payloads of a store's stream in order, from the file's start:
///
///   RecordScan scan(stream);
///   scan.TakeFileHeader(file_header);
///   while (scan.TakeRecordHeader(header)) scan.SkipPayload(header.length);
///
/// What the file gains meanwhile is not read: every walk ends.
class RecordScan {
 public:
  explicit RecordScan(FILE *stream);
  RecordScan(const RecordScan &) = delete;
  RecordScan &operator=(const RecordScan &) = delete;

  /// Offset of what is read next, and how much the file holds from there on.
  int64_t offset() const { return end_offset_ - Buffered(); }
  int64_t left() const { return size_ - offset(); }

  /// The next header. False, with nothing taken, where less than one is left.
  bool TakeFileHeader(FileHeader &header) { return Take(&header, sizeof header); }
  bool TakeRecordHeader(RecordHeader &header) { return Take(&header, sizeof header); }

  /// The payload behind a record header, passed over or copied. False when the file ends in it or
  /// it cannot be read.
  bool SkipPayload(uint32_t length);
  bool CopyPayload(uint32_t length, uint8_t *to);

  /// Goes on at an offset without reading what is before it, which ends the checksum. False behind
  /// the end of the file.
  bool JumpTo(int64_t offset);

  /// From here on, continues `crc` over everything that is passed.
  void StartChecksum(uint32_t crc);
  /// The checksum up to what is read next.
  uint32_t Checksum();

 private:
  int64_t Buffered() const { return end_ - at_; }
  bool Take(void *header, size_t size);
  bool Refill();

  FILE *stream_;
  Block block_;
  const uint8_t *at_;                  // what is read next
  const uint8_t *end_;                 // where the block's bytes end
  const uint8_t *unsummed_ = nullptr;  // what is not in the checksum yet; null without a checksum
  int64_t size_ = 0;                   // of the file
  int64_t end_offset_ = 0;             // offset of `end_` in the file
  uint32_t crc_ = 0;
};

}  // namespace cu::store

#endif
