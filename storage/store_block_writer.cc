#include "storage/store_block_writer.hpp"

#include <string.h>

#include <algorithm>

#include "text/crc32_engine.hpp"

namespace cu::store {

bool BlockWriter::Write(const void *bytes, size_t size) {
  auto *from = static_cast<const uint8_t *>(bytes);
  while (size != 0) {
    const size_t piece = std::min(size, block_.size() - filled_);
    memcpy(block_.data() + filled_, from, piece);
    filled_ += piece;
    from += piece;
    size -= piece;
    if (filled_ == block_.size() && !WriteBlock()) return false;
  }
  return true;
}

bool BlockWriter::Flush() {
  const bool written = WriteBlock();
  // What a full disk refuses shows when the stream is flushed.
  return fflush(stream_) == 0 && written;
}

void BlockWriter::StartChecksum(uint32_t crc) {
  crc_ = crc;
  summed_ = filled_;
}

uint32_t BlockWriter::Checksum() {
  crc_ = Crc32Continue(crc_, block_.data() + summed_, filled_ - summed_);
  summed_ = filled_;
  return crc_;
}

bool BlockWriter::WriteBlock() {
  Checksum();
  const bool written = fwrite(block_.data(), 1, filled_, stream_) == filled_;
  filled_ = 0;
  summed_ = 0;
  return written;
}

}  // namespace cu::store
