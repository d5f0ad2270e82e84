// What a store's file, backup and entries must be after each operation, worked out on strings from
// the documented format alone. Nothing of the library is used.
#ifndef COMMONUTILITIES_TESTS_STORAGE_STORE_MODEL_HPP
#define COMMONUTILITIES_TESTS_STORAGE_STORE_MODEL_HPP

#include <optional>
#include <string>
#include <vector>

#include "storage/store_bytes.hpp"

namespace cu_test {

class StoreModel {
 public:
  struct Header {
    uint8_t format = 4;
    std::string reserved = std::string(3, '\0');
    uint32_t count = 0;
    uint32_t crc = kPlaceholder;

    std::string bytes() const {
      return Native(format) + reserved + Native(uint16_t{16}) + Native(uint16_t{32}) +
             Native(count) + Native(crc);
    }
  };

  std::string file;
  std::optional<std::string> backup;
  Header header;
  uint16_t next_id = 0;
  uint16_t loaded = 0;
  bool has_array = false;
  std::vector<std::optional<Record>> entries;

  void Start() {
    entries.clear();
    has_array = false;
    header.reserved = std::string(3, '\0');
    if (ChecksOut(file)) {
      ReadHeader();
      loaded = next_id = static_cast<uint16_t>(header.count);
      return;
    }
    header = {};
    file = header.bytes();
    loaded = next_id = 0;
  }

  void Load() {
    has_array = true;
    size_t at = kFileHeader;
    while (file.size() >= at + kRecordHeader) {
      const size_t length = NativeAt<uint32_t>(file, at + 12);
      if (length > file.size() - at - kRecordHeader) break;
      entries.push_back(RecordAt(file, at));
      at += kRecordHeader + length;
    }
    loaded = static_cast<uint16_t>(entries.size());
    next_id = entries.empty() || !entries.back() ? uint16_t{0}
                                                 : static_cast<uint16_t>(entries.back()->id);
  }

  /// `created` tells the times, which the model cannot know.
  void Create(const Record &created) {
    has_array = true;
    entries.push_back(Record{.id = next_id, .stamp = created.stamp, .seconds = created.seconds});
    ++next_id;
    ++header.count;
  }

  uint32_t Save(const Record &record, bool refresh) {
    const size_t at = Locate(record.id);
    if (at != std::string::npos && NativeAt<uint32_t>(file, at + 12) == record.payload.size()) {
      if (file.size() < at + record.payload.size()) file.resize(at + record.payload.size());
      file.replace(at, record.payload.size(), record.payload);
    } else {
      if (at != std::string::npos) file[at + 8] = '\0';
      file += RecordBytes(record);
    }
    return refresh ? Refresh() : 1;
  }

  uint32_t FullSave() {
    if (!has_array) return 0;
    backup = file;
    std::string records;
    uint32_t written = 0;
    for (const std::optional<Record> &entry : entries) {
      if (!entry || entry->valid == 0) continue;
      records += RecordBytes(*entry);
      ++written;
    }
    header.count = written;
    header.crc = 0;
    file = header.bytes() + records;
    return Refresh();
  }

  /// The primary stays; the header in memory becomes the file's.
  void Compact() { Calculate(); }

  uint32_t Refresh() {
    const std::optional<uint32_t> crc = Calculate();
    if (!crc) return 0;
    header.crc = *crc;
    file.replace(0, kFileHeader, header.bytes());
    return 1;
  }

  void FreeAll() {
    entries.assign(entries.size(), std::nullopt);
    has_array = false;
  }

 private:
  size_t Locate(uint32_t id) const {
    for (size_t at = kFileHeader; file.size() >= at + kRecordHeader;) {
      if (NativeAt<uint32_t>(file, at + 4) == id) return at;
      const uint64_t next = uint64_t{at} + kRecordHeader + NativeAt<uint32_t>(file, at + 12);
      if (next > file.size()) break;
      at = static_cast<size_t>(next);
    }
    return std::string::npos;
  }

  void ReadHeader() {
    header.format = static_cast<uint8_t>(file[0]);
    header.reserved = file.substr(1, 3);
    header.count = NativeAt<uint32_t>(file, 8);
    header.crc = NativeAt<uint32_t>(file, 12);
  }

  std::optional<uint32_t> Calculate() {
    ReadHeader();
    const std::optional<uint32_t> crc = StartCrc(file);
    if (!crc) header.crc = kPlaceholder;
    return crc;
  }
};

}  // namespace cu_test

#endif
