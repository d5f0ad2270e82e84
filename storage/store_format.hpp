// The bytes of a store file, for everything that reads or writes one: a 16-byte file header, then
// records back to back, each a 32-byte header and its payload. docs/format-record-store.md shows
// an example byte by byte.
#ifndef COMMONUTILITIES_STORAGE_STORE_FORMAT_HPP
#define COMMONUTILITIES_STORAGE_STORE_FORMAT_HPP

#include <stddef.h>
#include <stdint.h>

#include <type_traits>

#include "include/AmbrelDataStorage.h"

namespace cu::store {

using FileHeader = AmbrelStorageFileHeader;

/// What stands before each payload. An entry in memory begins with the same bytes.
struct RecordHeader {
  uint8_t format;
  uint8_t reserved1[3];
  uint32_t id;
  uint8_t valid;
  uint8_t reserved2[3];
  uint32_t length;
  alignas(8) int64_t wall_stamp;
  uint32_t monotonic_seconds;
  uint32_t reserved3;
};

inline constexpr uint8_t kFormat = AMBREL_STORAGE_FORMAT;
inline constexpr uint32_t kCrcPlaceholder = AMBREL_STORAGE_CRC_PLACEHOLDER;
inline constexpr uint32_t kFileHeaderSize = sizeof(FileHeader);
inline constexpr uint32_t kRecordHeaderSize = sizeof(RecordHeader);

/// The header of a store without records.
inline constexpr FileHeader kFreshHeader = {.format = kFormat,
                                            .reserved = {},
                                            .headerSize = kFileHeaderSize,
                                            .recordHeaderSize = kRecordHeaderSize,
                                            .recordCount = 0,
                                            .crc = kCrcPlaceholder};

/// Appended to the store's path for the backup that a full save leaves.
inline constexpr char kBackupSuffix[] = ".bkc";

/// Compaction's scratch copy: the folder, and the name that mkstemp() makes unique.
inline constexpr char kTemporaryDirectory[] = "/var/";
inline constexpr char kTemporaryTemplate[] = "ambrelstoragetmp-XXXXXX";

/// Buffers of paths, terminator included. Two names of 255 characters and a '/' just fit.
inline constexpr uint32_t kPathSize = 512;
inline constexpr uint32_t kBackupPathSize = 768;

static_assert(std::is_standard_layout_v<FileHeader> && std::is_trivial_v<FileHeader>);
static_assert(kFileHeaderSize == 16);
static_assert(offsetof(FileHeader, headerSize) == 4);
static_assert(offsetof(FileHeader, recordHeaderSize) == 6);
static_assert(offsetof(FileHeader, recordCount) == 8);
static_assert(offsetof(FileHeader, crc) == 12);

static_assert(std::is_standard_layout_v<RecordHeader> && std::is_trivial_v<RecordHeader>);
static_assert(kRecordHeaderSize == 32);
static_assert(offsetof(RecordHeader, id) == 4);
static_assert(offsetof(RecordHeader, valid) == 8);
static_assert(offsetof(RecordHeader, length) == 12);
static_assert(offsetof(RecordHeader, wall_stamp) == 16);
static_assert(offsetof(RecordHeader, monotonic_seconds) == 24);
static_assert(offsetof(RecordHeader, reserved3) == 28);

static_assert(std::is_standard_layout_v<AmbrelStorageEntry>);
static_assert(sizeof(AmbrelStorageEntry) == 40);
static_assert(offsetof(AmbrelStorageEntry, id) == offsetof(RecordHeader, id));
static_assert(offsetof(AmbrelStorageEntry, valid) == offsetof(RecordHeader, valid));
static_assert(offsetof(AmbrelStorageEntry, length) == offsetof(RecordHeader, length));
static_assert(offsetof(AmbrelStorageEntry, wallStamp) == offsetof(RecordHeader, wall_stamp));
static_assert(offsetof(AmbrelStorageEntry, monotonicSeconds) ==
              offsetof(RecordHeader, monotonic_seconds));
static_assert(offsetof(AmbrelStorageEntry, reserved3) == offsetof(RecordHeader, reserved3));
static_assert(offsetof(AmbrelStorageEntry, payload) == kRecordHeaderSize);

}  // namespace cu::store

#endif
