#include "include/dbglog.h"

#include <string.h>

#include "logging/hex_dump.hpp"

namespace cu {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

/// Text on its way to a stream, gathered in a buffer of its own. The stream may be unbuffered.
class ChunkWriter {
 public:
  explicit ChunkWriter(FILE *stream) : stream_(stream) {}

  void Append(std::string_view text) {
    while (!text.empty()) {
      if (used_ == sizeof(buffer_)) Flush();
      const size_t count = text.size() < Room() ? text.size() : Room();
      memcpy(buffer_ + used_, text.data(), count);
      used_ += count;
      text.remove_prefix(count);
    }
  }

  void AppendHex(uint8_t byte) {
    if (Room() < 5) Flush();
    char *const at = buffer_ + used_;
    at[0] = '0';
    at[1] = 'x';
    at[2] = kDigits[byte >> 4];
    at[3] = kDigits[byte & 15];
    at[4] = ' ';
    used_ += 5;
  }

  /// Writes what has been gathered; false when not all of it could be written.
  bool Flush() {
    const size_t count = used_;
    used_ = 0;
    return fwrite(buffer_, 1, count, stream_) == count;
  }

 private:
  size_t Room() const { return sizeof(buffer_) - used_; }

  FILE *const stream_;
  size_t used_ = 0;
  char buffer_[2048];
};

}  // namespace

int WriteHexDump(FILE *stream, std::string_view heading, const uint8_t *data, uint32_t length) {
  ChunkWriter writer(stream);
  writer.Append(heading);
  for (uint32_t i = 0; i < length; ++i) writer.AppendHex(data[i]);
  writer.Append("\n");
  return writer.Flush() ? '\n' : EOF;
}

}  // namespace cu

int logprintHexString(FILE *stream, const uint8_t *data, uint32_t length) {
  if (stream == nullptr || (data == nullptr && length != 0)) return EOF;
  return cu::WriteHexDump(stream, {}, data, length);
}
