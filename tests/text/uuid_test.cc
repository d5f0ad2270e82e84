#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "include/valueformat.h"

namespace {

TEST(CompareUuid, Gives1WhenAll16BytesAreEqual) {
  const uint8_t a[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  uint8_t b[16];
  memcpy(b, a, sizeof b);
  EXPECT_EQ(compareUUID(a, b), 1);
  for (uint8_t &byte : b) {
    byte ^= 0x80;
    EXPECT_EQ(compareUUID(a, b), 0);
    byte ^= 0x80;
  }
}

TEST(CompareUuid, Gives0ForNull) {
  const uint8_t a[16] = {};
  EXPECT_EQ(compareUUID(a, nullptr), 0);
  EXPECT_EQ(compareUUID(nullptr, a), 0);
}

/// The copy in a buffer of '#', so that what was not written shows.
std::string Uniform(const char *uuid, uint32_t maximum) {
  char text[400];
  memset(text, '#', sizeof text);
  EXPECT_EQ(convertUUIDToUniformFormat(uuid, text, maximum), 1);
  const std::string all(text, sizeof text);
  return all.substr(0, all.find('#'));
}

TEST(ConvertUuidToUniformFormat, CopiesEverythingButDashes) {
  EXPECT_EQ(Uniform("550e8400-e29b-41d4-a716-446655440000", 36),
            "550e8400e29b41d4a716446655440000");
  EXPECT_EQ(Uniform("----", 10), "");
  EXPECT_EQ(Uniform("", 10), "");
}

TEST(ConvertUuidToUniformFormat, WritesUpToOneCharacterMoreThanItsMaximum) {
  EXPECT_EQ(Uniform("12-34-56", 3), "1234");
  EXPECT_EQ(Uniform("12-34-56", 0), "1");
  EXPECT_EQ(Uniform("12-34-56", 4), "12345");
  EXPECT_EQ(Uniform("12-34-56", 5), "123456");
  EXPECT_EQ(Uniform("12-34-56", 99), "123456");
}

TEST(ConvertUuidToUniformFormat, AddsNoTerminator) {
  char text[] = "#####";
  EXPECT_EQ(convertUUIDToUniformFormat("a-b", text, 5), 1);
  EXPECT_STREQ(text, "ab###");
}

TEST(ConvertUuidToUniformFormat, LooksAtTheFirst256CharactersOnly) {
  const std::string digits(300, '7');
  EXPECT_EQ(Uniform(digits.c_str(), 390), std::string(256, '7'));
  const std::string dashes = std::string(255, '-') + "ab";
  EXPECT_EQ(Uniform(dashes.c_str(), 390), "a");
}

TEST(ConvertUuidToUniformFormat, Gives0ForNull) {
  char text[] = "#####";
  EXPECT_EQ(convertUUIDToUniformFormat(nullptr, text, 3), 0);
  EXPECT_EQ(convertUUIDToUniformFormat("abc", nullptr, 3), 0);
  EXPECT_STREQ(text, "#####");
}

}  // namespace
