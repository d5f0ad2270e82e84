#include "include/pluginchecksum.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr char kCheckText[] = "123456789";

std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

/// CRC-8 by its definition: polynomial division, most significant bit first.
uint32_t Crc8ByBits(const uint8_t *bytes, size_t length) {
  uint32_t state = 0;
  for (size_t i = 0; i < length; ++i) {
    state ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit) {
      state = (state & 0x80) != 0 ? (state << 1 ^ 0x07) & 0xFF : state << 1 & 0xFF;
    }
  }
  return state;
}

/// The reflected CRC-32 state by its definition.
uint32_t Crc32StateByBits(uint32_t state, const uint8_t *bytes, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    state ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit)
      state = (state & 1) != 0 ? state >> 1 ^ 0xEDB88320 : state >> 1;
  }
  return state;
}

TEST(CrcTable, Crc8HasPolynomial7AtEntry1) {
  EXPECT_EQ(crctable[0], 0x00);
  EXPECT_EQ(crctable[1], 0x07);
}

TEST(CrcTable, Crc8FollowsThePolynomial) {
  static_assert(sizeof crctable == 256);
  for (unsigned i = 0; i < 256; ++i) {
    const auto byte = static_cast<uint8_t>(i);
    EXPECT_EQ(crctable[i], Crc8ByBits(&byte, 1)) << i;
  }
}

TEST(CrcLookUpTable, FollowsTheReflectedPolynomial) {
  static_assert(sizeof CrcLookUpTable == 256 * 4);
  EXPECT_EQ(CrcLookUpTable[1], 0x77073096U);
  for (uint32_t i = 0; i < 256; ++i) {
    const uint8_t zero = 0;
    EXPECT_EQ(CrcLookUpTable[i], Crc32StateByBits(i, &zero, 1)) << i;
  }
}

TEST(PluginCalculateCRC8, GivesTheCheckValue) {
  EXPECT_EQ(PluginCalculateCRC8(kCheckText, 9), 0xF4U);
}

TEST(PluginCalculateCRC8, OfNothingIs0) {
  EXPECT_EQ(PluginCalculateCRC8(kCheckText, 0), 0U);
  EXPECT_EQ(PluginCalculateCRC8(nullptr, 9), 0U);
}

TEST(PluginCalculateCRC8, TakesEachByteThroughTheTable) {
  const std::vector<uint8_t> bytes = RandomBytes(300, 1);
  for (size_t offset = 0; offset < 8; ++offset) {
    uint32_t state = 0;
    for (uint32_t length = 0; offset + length < bytes.size(); ++length) {
      EXPECT_EQ(PluginCalculateCRC8(&bytes[offset], length), state) << offset << '+' << length;
      state = crctable[state ^ bytes[offset + length]];
    }
  }
}

TEST(PluginCalculateCRC32, GivesTheCheckValue) {
  EXPECT_EQ(PluginCalculateCRC32(kCheckText, 9), 0xCBF43926U);
}

TEST(PluginCalculateCRC32, OfNothingIs0) {
  EXPECT_EQ(PluginCalculateCRC32(kCheckText, 0), 0U);
  EXPECT_EQ(PluginCalculateCRC32(nullptr, 9), 0U);
}

TEST(PluginCalculateCRC32, EqualsTheDefinitionAtEveryLengthAndAlignment) {
  const std::vector<uint8_t> bytes = RandomBytes(400, 2);
  for (size_t offset = 0; offset < 8; ++offset) {
    for (uint32_t length = 0; length < 260; ++length) {
      EXPECT_EQ(PluginCalculateCRC32(&bytes[offset], length),
                ~Crc32StateByBits(0xFFFFFFFF, &bytes[offset], length))
          << offset << '+' << length;
    }
  }
}

TEST(PluginBeginCRC32, SetsTheInitialState) {
  uint32_t state = 5;
  PluginBeginCRC32(&state);
  EXPECT_EQ(state, 0xFFFFFFFFU);
}

TEST(PluginDoCRC32, StepsThroughTheTable) {
  uint32_t state = 0x12345678;
  PluginDoCRC32(&state, 0xA5);
  EXPECT_EQ(state, CrcLookUpTable[0x78 ^ 0xA5] ^ (0x12345678U >> 8));
}

TEST(PluginEndCRC32, ComplementsTheState) {
  uint32_t state = 0x0F0F0F0F;
  PluginEndCRC32(&state);
  EXPECT_EQ(state, 0xF0F0F0F0U);
}

TEST(PluginCRCBufferRecursive, OverTwoPiecesGivesTheCheckValue) {
  uint32_t state;
  PluginBeginCRC32(&state);
  PluginCRCBufferRecursive("1234", 4, &state);
  PluginCRCBufferRecursive("56789", 5, &state);
  PluginEndCRC32(&state);
  EXPECT_EQ(state, 0xCBF43926U);
}

TEST(PluginCRCBufferRecursive, EqualsABytewiseFeed) {
  const std::vector<uint8_t> bytes = RandomBytes(1000, 3);
  uint32_t by_buffer = 0x13579BDF;
  uint32_t by_byte = by_buffer;
  PluginCRCBufferRecursive(bytes.data(), 1000, &by_buffer);
  for (const uint8_t byte : bytes) PluginDoCRC32(&by_byte, byte);
  EXPECT_EQ(by_buffer, by_byte);
}

TEST(PluginCRCBufferRecursive, GivesTheWholeBuffersValueOverAnyPieces) {
  const std::vector<uint8_t> bytes = RandomBytes(5000, 4);
  const uint32_t whole = PluginCalculateCRC32(bytes.data(), 5000);
  std::mt19937 random(5);
  for (int round = 0; round < 200; ++round) {
    uint32_t state;
    PluginBeginCRC32(&state);
    for (size_t at = 0; at < bytes.size();) {
      const size_t piece = std::min<size_t>(random() % 200, bytes.size() - at);
      PluginCRCBufferRecursive(&bytes[at], static_cast<uint32_t>(piece), &state);
      at += piece;
    }
    PluginEndCRC32(&state);
    EXPECT_EQ(state, whole) << round;
  }
}

TEST(PluginCRCBufferRecursive, LeavesTheStateAloneForNullOrEmptyBuffers) {
  uint32_t state = 0x12345678;
  PluginCRCBufferRecursive(nullptr, 4, &state);
  PluginCRCBufferRecursive("abcd", 0, &state);
  EXPECT_EQ(state, 0x12345678U);
}

TEST(PluginCrc32State, MayBeNull) {
  PluginBeginCRC32(nullptr);
  PluginDoCRC32(nullptr, 1);
  PluginCRCBufferRecursive("abcd", 4, nullptr);
  PluginEndCRC32(nullptr);
}

}  // namespace
