#include "include/pluginchecksum.h"

#include "text/crc_definition.hpp"

namespace {

constexpr uint8_t Crc8Entry(uint8_t byte) {
  return cu::Crc8AfterZeroBytes(byte, 1);
}
constexpr uint32_t Crc32Entry(uint32_t byte) {
  return cu::Crc32AfterZeroBytes(byte, 1);
}

}  // namespace

#define ENTRIES_4(entry, n) entry(n), entry((n) + 1), entry((n) + 2), entry((n) + 3)
#define ENTRIES_16(entry, n)                                                 \
  ENTRIES_4(entry, n), ENTRIES_4(entry, (n) + 4), ENTRIES_4(entry, (n) + 8), \
      ENTRIES_4(entry, (n) + 12)
#define ENTRIES_64(entry, n)                                                      \
  ENTRIES_16(entry, n), ENTRIES_16(entry, (n) + 16), ENTRIES_16(entry, (n) + 32), \
      ENTRIES_16(entry, (n) + 48)
#define ENTRIES_256(entry) \
  ENTRIES_64(entry, 0), ENTRIES_64(entry, 64), ENTRIES_64(entry, 128), ENTRIES_64(entry, 192)

// Compile-time constants in read-only data; the engines have wider tables of their own.
constinit const uint8_t crctable[256] = {ENTRIES_256(Crc8Entry)};
constinit const uint32_t CrcLookUpTable[256] = {ENTRIES_256(Crc32Entry)};
