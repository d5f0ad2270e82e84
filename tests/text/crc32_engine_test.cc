#include "text/crc32_engine.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#if COMMONUTILITIES_TEST_ZLIB
#include <zlib.h>
#endif

#include "include/pluginchecksum.h"

namespace {

std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

uint32_t UpdateBytewise(uint32_t state, const uint8_t *bytes, size_t length) {
  for (size_t i = 0; i < length; ++i) PluginDoCRC32(&state, bytes[i]);
  return state;
}

TEST(Crc32Update, EqualsTheBytewiseStepsAtRandomLengthsAndAlignments) {
  const std::vector<uint8_t> bytes = RandomBytes(1 << 16, 1);
  std::mt19937 random(2);
  for (int round = 0; round < 2000; ++round) {
    const size_t offset = random() % 64;
    const size_t length = random() % (round % 10 == 0 ? 60000 : 300);
    const uint32_t state = random();
    EXPECT_EQ(cu::Crc32Update(state, &bytes[offset], length),
              UpdateBytewise(state, &bytes[offset], length))
        << offset << '+' << length;
  }
}

TEST(Crc32Update, MayBeContinuedAtAnySeam) {
  const std::vector<uint8_t> bytes = RandomBytes(512, 3);
  const uint32_t whole = cu::Crc32Update(cu::kCrc32Begin, bytes.data(), bytes.size());
  for (size_t seam = 0; seam <= bytes.size(); ++seam) {
    const uint32_t half = cu::Crc32Update(cu::kCrc32Begin, bytes.data(), seam);
    EXPECT_EQ(cu::Crc32Update(half, bytes.data() + seam, bytes.size() - seam), whole) << seam;
  }
}

TEST(Crc32Continue, StartsAt0AndGivesFinishedValues) {
  EXPECT_EQ(cu::Crc32Continue(0, "123456789", 9), 0xCBF43926U);
  EXPECT_EQ(cu::Crc32Continue(cu::Crc32Continue(0, "1234", 4), "56789", 5), 0xCBF43926U);
  EXPECT_EQ(cu::Crc32Continue(0, "", 0), 0U);
}

#if COMMONUTILITIES_TEST_ZLIB
TEST(Crc32Continue, EqualsZlibsCrc32OverRandomPieces) {
  const std::vector<uint8_t> bytes = RandomBytes(1 << 20, 4);
  std::mt19937 random(5);
  for (int round = 0; round < 50; ++round) {
    uint32_t ours = 0;
    uLong theirs = 0;
    for (size_t at = random() % 16; at < bytes.size();) {
      const size_t longest = round % 2 == 0 ? 100 : 200000;
      const size_t piece = std::min<size_t>(random() % longest, bytes.size() - at);
      ours = cu::Crc32Continue(ours, &bytes[at], piece);
      theirs = crc32(theirs, &bytes[at], static_cast<uInt>(piece));
      ASSERT_EQ(ours, theirs) << at << '+' << piece;
      at += piece + 1;
    }
  }
}
#endif

}  // namespace
