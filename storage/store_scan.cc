#include "storage/store_scan.hpp"

#include <string.h>

#include <algorithm>

#include "storage/store_stream.hpp"
#include "text/crc32_engine.hpp"

namespace cu::store {

// From the start rather than from the first record: blocks at block offsets go straight into this
// buffer, past the stream's own.
RecordScan::RecordScan(FILE *stream) : stream_(stream), at_(block_.data()), end_(at_) {
  if (SeekTo(stream, 0)) size_ = MeasureSize(stream);
}

bool RecordScan::SkipPayload(uint32_t length) {
  if (length > left()) return false;
  while (length > Buffered()) {
    length -= static_cast<uint32_t>(Buffered());
    at_ = end_;
    if (unsummed_ == nullptr && length >= block_.size()) return JumpTo(end_offset_ + length);
    if (!Refill()) return false;
  }
  at_ += length;
  return true;
}

bool RecordScan::CopyPayload(uint32_t length, uint8_t *to) {
  if (length > left()) return false;
  while (length > Buffered()) {
    const auto size = static_cast<uint32_t>(Buffered());
    memcpy(to, at_, size);
    to += size;
    length -= size;
    at_ = end_;
    if (!Refill()) return false;
  }
  memcpy(to, at_, length);
  at_ += length;
  return true;
}

bool RecordScan::JumpTo(int64_t offset) {
  if (offset > size_ || !SeekTo(stream_, offset)) return false;
  end_offset_ = offset;
  at_ = end_ = block_.data();
  unsummed_ = nullptr;
  return true;
}

void RecordScan::StartChecksum(uint32_t crc) {
  crc_ = crc;
  unsummed_ = at_;
}

uint32_t RecordScan::Checksum() {
  crc_ = Crc32Continue(crc_, unsummed_, static_cast<size_t>(at_ - unsummed_));
  unsummed_ = at_;
  return crc_;
}

bool RecordScan::Take(void *header, size_t size) {
  const auto wanted = static_cast<int64_t>(size);
  if (Buffered() < wanted && !(Refill() && Buffered() >= wanted)) return false;
  memcpy(header, at_, size);
  at_ += size;
  return true;
}

/// Reads the next block behind what is left of this one, which is less than a header. False at the
/// end of the file.
bool RecordScan::Refill() {
  if (unsummed_ != nullptr) Checksum();
  const auto rest = static_cast<size_t>(Buffered());
  uint8_t *const data = block_.data();
  memmove(data - rest, at_, rest);
  const auto wanted = std::min(block_.size(), static_cast<size_t>(size_ - end_offset_));
  const size_t size = wanted == 0 ? 0 : fread(data, 1, wanted, stream_);
  at_ = data - rest;
  end_ = data + size;
  end_offset_ += static_cast<int64_t>(size);
  if (unsummed_ != nullptr) unsummed_ = at_;
  return size != 0;
}

}  // namespace cu::store
