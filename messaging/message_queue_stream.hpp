// The message queue's stream: a row of records without header, count or end mark. A record is,
// packed and in the machine's byte order,
//
//   offset 0   4 bytes   reference count, always 1
//   offset 4   4 bytes   length of the data
//   offset 8   1 byte    type
//   offset 9   length    data
#ifndef COMMONUTILITIES_MESSAGING_MESSAGE_QUEUE_STREAM_HPP
#define COMMONUTILITIES_MESSAGING_MESSAGE_QUEUE_STREAM_HPP

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace cu {

constexpr size_t kRecordReferenceCountOffset = 0;
constexpr size_t kRecordLengthOffset = 4;
constexpr size_t kRecordTypeOffset = 8;
constexpr size_t kRecordHeaderSize = 4 + 4 + 1;  // reference count, length, type

constexpr uint32_t kRecordReferenceCount = 1;

/// Shorter streams are refused.
constexpr size_t kShortestLoadableStream = 16;

struct RecordHeader {
  uint32_t reference_count;
  uint32_t length;
  uint8_t type;
};

/// From kRecordHeaderSize bytes at any address.
inline RecordHeader ReadRecordHeader(const uint8_t *bytes) {
  RecordHeader header;
  memcpy(&header.reference_count, bytes + kRecordReferenceCountOffset, sizeof(uint32_t));
  memcpy(&header.length, bytes + kRecordLengthOffset, sizeof(uint32_t));
  header.type = bytes[kRecordTypeOffset];
  return header;
}

/// To kRecordHeaderSize bytes at any address.
inline void WriteRecordHeader(const RecordHeader &header, uint8_t *bytes) {
  memcpy(bytes + kRecordReferenceCountOffset, &header.reference_count, sizeof(uint32_t));
  memcpy(bytes + kRecordLengthOffset, &header.length, sizeof(uint32_t));
  bytes[kRecordTypeOffset] = header.type;
}

}  // namespace cu

#endif
