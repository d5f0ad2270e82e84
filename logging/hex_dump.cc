#include "include/dbglog.h"

#include <string.h>

#include "logging/hex_dump.hpp"

namespace cu {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

/// A dump on its way to a stream, gathered in a buffer, since the stream may have none.
class DumpWriter {
 public:
  /// The heading is no longer than the buffer.
  DumpWriter(FILE *stream, std::string_view heading) : stream_(stream), used_(heading.size()) {
    memcpy(buffer_, heading.data(), heading.size());
  }

  void Append(uint8_t byte) {
    if (Room() < 5) Write();
    char *const at = buffer_ + used_;
    at[0] = '0';
    at[1] = 'x';
    at[2] = kDigits[byte >> 4];
    at[3] = kDigits[byte & 15];
    at[4] = ' ';
    used_ += 5;
  }

  /// Writes the line break and all that is left; false when not all of it could be written.
  bool End() {
    if (Room() < 1) Write();
    buffer_[used_++] = '\n';
    return Write();
  }

 private:
  size_t Room() const { return sizeof(buffer_) - used_; }

  bool Write() {
    const size_t count = used_;
    used_ = 0;
    return fwrite(buffer_, 1, count, stream_) == count;
  }

  FILE *const stream_;
  size_t used_;
  char buffer_[2048];
};

}  // namespace

int WriteHexDump(FILE *stream, std::string_view heading, const uint8_t *data, uint32_t length) {
  DumpWriter writer(stream, heading);
  for (uint32_t i = 0; i < length; ++i) writer.Append(data[i]);
  return writer.End() ? '\n' : EOF;
}

}  // namespace cu

int logprintHexString(FILE *stream, const uint8_t *data, uint32_t length) {
  if (stream == nullptr || (data == nullptr && length != 0)) return EOF;
  return cu::WriteHexDump(stream, "", data, length);
}
