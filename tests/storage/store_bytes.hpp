// Store files as bytes, written out by the tests themselves: headers field by field, and a checksum
// computed bit by bit.
#ifndef COMMONUTILITIES_TESTS_STORAGE_STORE_BYTES_HPP
#define COMMONUTILITIES_TESTS_STORAGE_STORE_BYTES_HPP

#include <stdint.h>
#include <string.h>

#include <optional>
#include <string>
#include <vector>

#include "include/AmbrelDataStorage.h"

namespace cu_test {

constexpr uint32_t kPlaceholder = 0x32445712;
constexpr size_t kFileHeader = 16;
constexpr size_t kRecordHeader = 32;

/// A value as the host keeps it in memory.
template <typename T>
std::string Native(T value) {
  return {reinterpret_cast<const char *>(&value), sizeof value};
}

template <typename T>
T NativeAt(const std::string &bytes, size_t offset) {
  T value;
  memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

/// CRC-32 (IEEE 802.3) of some bytes, continuing `crc`; with the textbook's table.
inline uint32_t SlowCrc(const std::string &bytes, uint32_t crc = 0) {
  static const std::vector<uint32_t> table = [] {
    std::vector<uint32_t> entries(256);
    for (uint32_t i = 0; i < 256; ++i) {
      entries[i] = i;
      for (int bit = 0; bit < 8; ++bit) {
        entries[i] = entries[i] >> 1 ^ (entries[i] & 1 ? 0xEDB88320U : 0);
      }
    }
    return entries;
  }();
  crc = ~crc;
  for (const unsigned char byte : bytes) crc = crc >> 8 ^ table[(crc ^ byte) & 0xFF];
  return ~crc;
}

struct Record {
  uint32_t id = 0;
  std::string payload = {};
  uint8_t valid = 1;
  int64_t stamp = 0;
  uint32_t seconds = 0;
  uint8_t format = 4;
  std::optional<uint32_t> length = {};  // what the header says, when that is not the truth
  std::string reserved = std::string(10, '\0');
};

inline std::string HeaderBytes(uint32_t count, uint32_t crc, uint8_t format = 4) {
  return Native(format) + std::string(3, '\0') + Native(uint16_t{16}) + Native(uint16_t{32}) +
         Native(count) + Native(crc);
}

inline std::string RecordBytes(const Record &record) {
  return Native(record.format) + record.reserved.substr(0, 3) + Native(record.id) +
         Native(record.valid) + record.reserved.substr(3, 3) +
         Native(record.length.value_or(static_cast<uint32_t>(record.payload.size()))) +
         Native(record.stamp) + Native(record.seconds) + record.reserved.substr(6) + record.payload;
}

inline std::string RecordsBytes(const std::vector<Record> &records) {
  std::string bytes;
  for (const Record &record : records) bytes += RecordBytes(record);
  return bytes;
}

/// The same file with another value in its header's checksum field.
inline std::string WithCrc(std::string file, uint32_t crc) {
  return file.replace(12, 4, Native(crc));
}

/// The checksum that a whole file of sound records has.
inline uint32_t FileCrc(const std::string &file) {
  return SlowCrc(WithCrc(file, kPlaceholder));
}

/// The same file with the right checksum.
inline std::string Sealed(const std::string &file) {
  return WithCrc(file, FileCrc(file));
}

inline std::string SealedFile(uint32_t count, const std::vector<Record> &records) {
  return Sealed(HeaderBytes(count, 0) + RecordsBytes(records));
}

/// The record at an offset of a file that holds all of it.
inline Record RecordAt(const std::string &file, size_t at) {
  return {.id = NativeAt<uint32_t>(file, at + 4),
          .payload = file.substr(at + kRecordHeader, NativeAt<uint32_t>(file, at + 12)),
          .valid = static_cast<uint8_t>(file[at + 8]),
          .stamp = NativeAt<int64_t>(file, at + 16),
          .seconds = NativeAt<uint32_t>(file, at + 24),
          .format = static_cast<uint8_t>(file[at]),
          .reserved = file.substr(at + 1, 3) + file.substr(at + 9, 3) + file.substr(at + 28, 4)};
}

/// The record that an entry is stored as.
inline Record RecordOf(const AmbrelStorageEntry &entry) {
  const std::string header(reinterpret_cast<const char *>(&entry), kRecordHeader);
  if (entry.payload == nullptr) return RecordAt(header, 0);
  return RecordAt(header + std::string(reinterpret_cast<const char *>(entry.payload), entry.length),
                  0);
}

/// The checksum of a file as a start computes it; nothing when it has none. `walked` receives the
/// records before its end.
inline std::optional<uint32_t> StartCrc(const std::string &file,
                                        std::vector<Record> *walked = nullptr) {
  if (file.size() < kFileHeader || file[0] != 4) return std::nullopt;
  bool has_payload = false;
  size_t at = kFileHeader;
  while (file.size() - at >= kRecordHeader) {
    if (file[at] != 4) return std::nullopt;
    const size_t length = NativeAt<uint32_t>(file, at + 12);
    if (length > file.size() - at - kRecordHeader) return std::nullopt;
    has_payload |= length != 0;
    if (walked != nullptr) walked->push_back(RecordAt(file, at));
    at += kRecordHeader + length;
  }
  if (!has_payload) return std::nullopt;
  return FileCrc(file.substr(0, at));
}

/// Whether a start accepts a file.
inline bool ChecksOut(const std::string &file) {
  const std::optional<uint32_t> crc = StartCrc(file);
  return crc && *crc == NativeAt<uint32_t>(file, 12);
}

}  // namespace cu_test

#endif
