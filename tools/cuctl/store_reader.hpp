// Reads record stores: walks the records of a file in memory and computes its checksum as the
// library does at a start.
#ifndef CUCTL_STORE_READER_HPP
#define CUCTL_STORE_READER_HPP

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "storage/store_format.hpp"

namespace cuctl {

struct StoreRecord {
  cu::store::RecordHeader header;
  size_t offset = 0;  // of the header in the file
  const uint8_t *payload = nullptr;
  bool whole = true;  // the payload lies in the file
};

struct StoreFile {
  std::vector<uint8_t> bytes;
  cu::store::FileHeader header{};
  uint64_t size = 0;  // of the file, of which `bytes` may be the beginning
  bool header_ok = false;
  bool too_large = false;           // the records reach beyond `bytes`
  std::deque<StoreRecord> records;  // as far as they can be walked, broken last one included
  size_t last_good_offset = 0;      // where the walk ended
  std::string problem;              // what ended it early; empty at a normal end
  bool crc_known = false;           // the checksum could be computed
  uint32_t crc = 0;

  /// Whether a daemon that starts on this file keeps it.
  bool accepted() const { return header_ok && crc_known && crc == header.crc; }
  /// What the library makes where it finds no store, before it saves a record.
  bool fresh() const;
  /// Why a daemon would not keep it; empty when it would, and for a fresh one.
  std::string refusal() const;
  size_t walkable() const {
    return records.size() - (records.empty() || records.back().whole ? 0 : 1);
  }
};

/// Looks at a store of which these are all bytes, or the beginning of a larger file.
StoreFile ReadStore(std::vector<uint8_t> bytes, uint64_t size);

/// The bytes of a store with these records and a right checksum.
std::vector<uint8_t> WriteStore(const std::deque<StoreRecord> &records);

}  // namespace cuctl

#endif
