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

/// CRC-32 (IEEE 802.3) of some bytes, continuing `crc`; slow and plain.
inline uint32_t SlowCrc(const std::string &bytes, uint32_t crc = 0) {
  crc = ~crc;
  for (const unsigned char byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0);
  }
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
};

inline std::string HeaderBytes(uint32_t count, uint32_t crc, uint8_t format = 4) {
  return Native(format) + std::string(3, '\0') + Native(uint16_t{16}) + Native(uint16_t{32}) +
         Native(count) + Native(crc);
}

inline std::string RecordBytes(const Record &record) {
  return Native(record.format) + std::string(3, '\0') + Native(record.id) + Native(record.valid) +
         std::string(3, '\0') +
         Native(record.length.value_or(static_cast<uint32_t>(record.payload.size()))) +
         Native(record.stamp) + Native(record.seconds) + Native(uint32_t{0}) + record.payload;
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

/// The record that an entry is stored as.
inline Record RecordOf(const AmbrelStorageEntry &entry) {
  return {.id = entry.id,
          .payload = std::string(reinterpret_cast<const char *>(entry.payload),
                                 entry.payload == nullptr ? 0 : entry.length),
          .valid = entry.valid,
          .stamp = entry.wallStamp,
          .seconds = entry.monotonicSeconds,
          .format = entry.format};
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
    if (walked != nullptr) {
      walked->push_back({.id = NativeAt<uint32_t>(file, at + 4),
                         .payload = file.substr(at + kRecordHeader, length),
                         .valid = static_cast<uint8_t>(file[at + 8]),
                         .stamp = NativeAt<int64_t>(file, at + 16),
                         .seconds = NativeAt<uint32_t>(file, at + 24)});
    }
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
