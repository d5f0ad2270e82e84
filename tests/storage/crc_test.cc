// The checksum of the store's files and the table that defines it.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "storage/store_bytes.hpp"

namespace {

using cu_test::SlowCrc;

uint32_t Crc(const std::string &bytes, uint32_t crc = 0) {
  ambrelstoragecrc32(bytes.data(), static_cast<uint32_t>(bytes.size()), &crc);
  return crc;
}

TEST(AmbrelCrc32ForByte, GivesTheStatedFirstAndLastEntries) {
  EXPECT_EQ(0xD202EF8DU, ambrel_crc32_for_byte(0));
  EXPECT_EQ(0xFF000000U, ambrel_crc32_for_byte(255));
}

TEST(AmbrelCrc32ForByte, FollowsItsRuleForAnyNumber) {
  for (const uint32_t i : {1U, 2U, 127U, 128U, 254U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
    uint32_t r = i;
    for (int bit = 0; bit < 8; ++bit) r = ((r & 1) ? 0 : 0xEDB88320U) ^ (r >> 1);
    EXPECT_EQ(r ^ 0xFF000000U, ambrel_crc32_for_byte(i)) << i;
  }
}

TEST(AmbrelCrc32ForByte, IsTheTableThatContinuesTheChecksumByteByByte) {
  std::string bytes;
  uint32_t by_table = 0;
  for (unsigned i = 0; i < 1000; ++i) {
    const auto byte = static_cast<unsigned char>(i * 37 + i / 7);
    bytes += static_cast<char>(byte);
    by_table = ambrel_crc32_for_byte((by_table ^ byte) & 0xFF) ^ by_table >> 8;
    ASSERT_EQ(by_table, Crc(bytes)) << i;
  }
}

TEST(AmbrelStorageCrc32, OfTheCheckTextIsTheCheckValue) {
  EXPECT_EQ(0xCBF43926U, Crc("123456789"));
}

TEST(AmbrelStorageCrc32, OfNothingIsWhatItStartedFrom) {
  EXPECT_EQ(0U, Crc(""));
  EXPECT_EQ(0x12345678U, Crc("", 0x12345678));
}

TEST(AmbrelStorageCrc32, OfOneZeroByteIsTheTablesFirstEntry) {
  EXPECT_EQ(0xD202EF8DU, Crc(std::string(1, '\0')));
}

TEST(AmbrelStorageCrc32, CanBeContinuedAtAnyByteAndAnyLength) {
  std::mt19937 random(20240811);
  std::string bytes(300, '\0');
  for (char &byte : bytes) byte = static_cast<char>(random());
  const uint32_t whole = SlowCrc(bytes);
  for (size_t cut = 0; cut <= bytes.size(); ++cut) {
    EXPECT_EQ(whole, Crc(bytes.substr(cut), Crc(bytes.substr(0, cut)))) << cut;
  }
}

TEST(AmbrelStorageCrc32, LeavesTheValueAloneWithoutDataOrDestination) {
  uint32_t crc = 77;
  ambrelstoragecrc32(nullptr, 10, &crc);
  EXPECT_EQ(77U, crc);
  ambrelstoragecrc32("x", 1, nullptr);
}

}  // namespace
