#include "include/pluginchecksum.h"

#include <stddef.h>

#include <array>

#include "text/crc_definition.hpp"

namespace {

/// Entry [k][b]: the CRC-8 of byte b followed by k zero bytes.
using Slices = std::array<std::array<uint8_t, 256>, 8>;

constexpr Slices MakeSlices() {
  Slices slices{};
  for (unsigned value = 0; value < 256; ++value) {
    auto state = static_cast<uint8_t>(value);
    for (auto &slice : slices) slice[value] = state = cu::Crc8AfterZeroBytes(state, 1);
  }
  return slices;
}

constexpr Slices kSlices = MakeSlices();

}  // namespace

uint32_t PluginCalculateCRC8(const void *data, uint32_t length) {
  if (data == nullptr) return 0;
  auto *bytes = static_cast<const uint8_t *>(data);
  unsigned state = 0;
  // Eight bytes a step: the state concerns the first alone, so the look-ups of the others do not
  // wait for it.
  for (; length >= 8; bytes += 8, length -= 8) {
    const unsigned others = kSlices[6][bytes[1]] ^ kSlices[5][bytes[2]] ^ kSlices[4][bytes[3]] ^
                            kSlices[3][bytes[4]] ^ kSlices[2][bytes[5]] ^ kSlices[1][bytes[6]] ^
                            kSlices[0][bytes[7]];
    state = kSlices[7][state ^ bytes[0]] ^ others;
  }
  for (; length != 0; --length) state = kSlices[0][state ^ *bytes++];
  return state;
}
