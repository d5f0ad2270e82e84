// Reads record stores: walks the records of a file in memory and computes its checksum as the
// library does at a start.
#ifndef CUCTL_STORE_READER_HPP
#define CUCTL_STORE_READER_HPP

#include <cstdint>
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
  bool header_ok = false;
  std::vector<StoreRecord> records;  // as far as they can be walked, broken last one included
  size_t last_good_offset = 0;       // where the walk ended
  std::string problem;               // what ended it early; empty at a normal end
  bool crc_known = false;            // the checksum could be computed
  uint32_t crc = 0;

  /// Whether a daemon that starts on this file keeps it.
  bool accepted() const { return header_ok && crc_known && crc == header.crc; }
  size_t walkable() const {
    return records.size() - (records.empty() || records.back().whole ? 0 : 1);
  }
};

StoreFile ReadStore(std::vector<uint8_t> bytes);

/// The bytes of a store with these records and a right checksum.
std::vector<uint8_t> WriteStore(const std::vector<StoreRecord> &records);

}  // namespace cuctl

#endif
