// The two checksums by their definition, a bit at a time: what the compiler computes the tables
// from.
#ifndef COMMONUTILITIES_TEXT_CRC_DEFINITION_HPP
#define COMMONUTILITIES_TEXT_CRC_DEFINITION_HPP

#include <stddef.h>
#include <stdint.h>

namespace cu {

/// A CRC-32 state (polynomial 0x04C11DB7, reflected) after `count` zero bytes.
constexpr uint32_t Crc32AfterZeroBytes(uint32_t state, size_t count) {
  for (size_t bit = 0; bit < 8 * count; ++bit) {
    state = (state >> 1) ^ ((state & 1) != 0 ? 0xEDB88320U : 0U);
  }
  return state;
}

/// A CRC-8 state (polynomial 0x07, most significant bit first) after `count` zero bytes.
constexpr uint8_t Crc8AfterZeroBytes(uint8_t state, size_t count) {
  unsigned value = state;
  for (size_t bit = 0; bit < 8 * count; ++bit) {
    value = (value << 1) ^ ((value & 0x80) != 0 ? 0x07U : 0U);
  }
  return static_cast<uint8_t>(value);
}

}  // namespace cu

#endif
