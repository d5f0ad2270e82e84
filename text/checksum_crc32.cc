#include "include/pluginchecksum.h"

#include "text/crc32_engine.hpp"

uint32_t PluginCalculateCRC32(const void *bytes, uint32_t length) {
  return bytes == nullptr ? 0 : ~cu::Crc32Update(cu::kCrc32Begin, bytes, length);
}

void PluginBeginCRC32(uint32_t *state) {
  if (state != nullptr) *state = cu::kCrc32Begin;
}

void PluginDoCRC32(uint32_t *state, uint8_t byte) {
  if (state != nullptr) *state = CrcLookUpTable[(*state & 0xFF) ^ byte] ^ (*state >> 8);
}

void PluginCRCBufferRecursive(const void *bytes, uint32_t length, uint32_t *state) {
  if (bytes != nullptr && state != nullptr) *state = cu::Crc32Update(*state, bytes, length);
}

void PluginEndCRC32(uint32_t *state) {
  if (state != nullptr) *state = ~*state;
}
