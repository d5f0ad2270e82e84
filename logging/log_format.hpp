// The layout of a circular log file: a header that holds the write position as a 32-bit
// little-endian number, then text.
#ifndef COMMONUTILITIES_LOGGING_LOG_FORMAT_HPP
#define COMMONUTILITIES_LOGGING_LOG_FORMAT_HPP

#include <stddef.h>
#include <stdint.h>

#include <array>

namespace cu {

constexpr size_t kLogHeaderSize = 4;

/// Where the text begins, and so the least write position there is.
constexpr int32_t kFirstLogPosition = kLogHeaderSize;

using LogHeader = std::array<unsigned char, kLogHeaderSize>;

constexpr LogHeader EncodeLogHeader(int32_t position) {
  const uint32_t bits = static_cast<uint32_t>(position);
  return {static_cast<unsigned char>(bits), static_cast<unsigned char>(bits >> 8),
          static_cast<unsigned char>(bits >> 16), static_cast<unsigned char>(bits >> 24)};
}

constexpr int32_t DecodeLogHeader(const LogHeader &header) {
  return static_cast<int32_t>(header[0] | uint32_t{header[1]} << 8 | uint32_t{header[2]} << 16 |
                              uint32_t{header[3]} << 24);
}

}  // namespace cu

#endif
