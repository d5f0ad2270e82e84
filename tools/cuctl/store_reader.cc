#include "tools/cuctl/store_reader.hpp"

#include <fmt/format.h>

#include <cstring>

#include "include/AmbrelDataStorage.h"

namespace cuctl {

using cu::store::FileHeader;
using cu::store::kCrcPlaceholder;
using cu::store::kFileHeaderSize;
using cu::store::kFormat;
using cu::store::kFreshHeader;
using cu::store::kRecordHeaderSize;
using cu::store::RecordHeader;

bool StoreFile::fresh() const {
  return size == kFileHeaderSize && bytes.size() == size &&
         std::memcmp(bytes.data(), &kFreshHeader, kFileHeaderSize) == 0;
}

std::string StoreFile::refusal() const {
  if (accepted() || fresh()) return "";
  return crc_known ? fmt::format("crc stored {:08x} computed {:08x}", header.crc, crc) : problem;
}

StoreFile ReadStore(std::vector<uint8_t> bytes, uint64_t size) {
  StoreFile store;
  store.size = size;
  store.bytes = std::move(bytes);
  const std::vector<uint8_t> &file = store.bytes;
  if (file.size() < kFileHeaderSize) {
    store.problem = "the file is shorter than its header";
    return store;
  }
  std::memcpy(&store.header, file.data(), kFileHeaderSize);
  store.header_ok = store.header.format == kFormat;
  if (!store.header_ok) {
    store.problem = fmt::format("format {} instead of {}", store.header.format, kFormat);
    return store;
  }

  uint32_t crc = 0;
  FileHeader header = store.header;
  header.crc = kCrcPlaceholder;
  ambrelstoragecrc32(&header, kFileHeaderSize, &crc);
  bool any_payload = false, refused = false;
  size_t at = kFileHeaderSize;
  while (file.size() - at >= kRecordHeaderSize) {
    StoreRecord record;
    record.offset = at;
    std::memcpy(&record.header, file.data() + at, kRecordHeaderSize);
    if (record.header.format != kFormat) {
      store.problem = fmt::format("record format {} at offset {}", record.header.format, at);
      refused = true;
      break;
    }
    const uint64_t left = size - at - kRecordHeaderSize;
    record.payload = file.data() + at + kRecordHeaderSize;
    record.whole = record.header.length <= left;
    store.records.push_back(record);
    ambrelstoragecrc32(file.data() + at, kRecordHeaderSize, &crc);
    if (!record.whole) {
      store.problem = fmt::format("record at offset {} claims {} bytes, {} are left", at,
                                  record.header.length, left);
      refused = true;
      break;
    }
    if (record.header.length > file.size() - at - kRecordHeaderSize) {
      store.too_large = true;
      store.records.pop_back();
      break;
    }
    ambrelstoragecrc32(record.payload, record.header.length, &crc);
    any_payload = any_payload || record.header.length != 0;
    at += kRecordHeaderSize + record.header.length;
  }
  store.last_good_offset = at;
  store.too_large = store.too_large || (!refused && file.size() != size);
  if (!refused && at != file.size())
    store.problem = fmt::format("{} bytes at the end are no record", file.size() - at);
  store.crc_known = !refused && any_payload;
  if (!refused && !any_payload) store.problem = "no record has a payload";
  store.crc = crc;
  return store;
}

std::vector<uint8_t> WriteStore(const std::deque<StoreRecord> &records) {
  std::vector<uint8_t> bytes(kFileHeaderSize);
  FileHeader header = kFreshHeader;
  for (const StoreRecord &record : records) {
    const auto *const raw = reinterpret_cast<const uint8_t *>(&record.header);
    bytes.insert(bytes.end(), raw, raw + kRecordHeaderSize);
    bytes.insert(bytes.end(), record.payload, record.payload + record.header.length);
    header.recordCount += record.header.valid != 0 ? 1 : 0;
  }
  std::memcpy(bytes.data(), &header, kFileHeaderSize);
  uint32_t crc = 0;
  ambrelstoragecrc32(bytes.data(), static_cast<uint32_t>(bytes.size()), &crc);
  std::memcpy(bytes.data() + offsetof(FileHeader, crc), &crc, sizeof crc);
  return bytes;
}

}  // namespace cuctl
