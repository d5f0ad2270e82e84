// The one CRC-32 of the library (polynomial 0xEDB88320, reflected), behind the plug-in checksums
// and the record store's files.
#ifndef COMMONUTILITIES_TEXT_CRC32_ENGINE_HPP
#define COMMONUTILITIES_TEXT_CRC32_ENGINE_HPP

#include <stddef.h>
#include <stdint.h>

namespace cu {

/// What a running state begins with. The CRC-32 of the bytes fed so far is the state's complement.
inline constexpr uint32_t kCrc32Begin = 0xFFFFFFFF;

/// Takes `length` bytes, at any alignment, into a running state.
uint32_t Crc32Update(uint32_t state, const void *bytes, size_t length);

/// Continues a finished CRC-32, which starts at 0, as zlib's crc32() does.
inline uint32_t Crc32Continue(uint32_t crc, const void *bytes, size_t length) {
  return ~Crc32Update(~crc, bytes, length);
}

}  // namespace cu

#endif
