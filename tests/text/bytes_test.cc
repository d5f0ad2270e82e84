#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "include/valueformat.h"
#include "text/heap_text.hpp"

using cu_test::Heap;
using cu_test::TakenBytes;

namespace {

TEST(ConvertHexStringToByteArray, ConvertsDigitsOfEitherCase) {
  uint8_t bytes[2] = {};
  EXPECT_EQ(convertHexStringToByteArray("0aFf", 4, bytes, 2), 1);
  EXPECT_EQ(bytes[0], 0x0A);
  EXPECT_EQ(bytes[1], 0xFF);
}

TEST(ConvertHexStringToByteArray, KnowsEveryDigit) {
  uint8_t bytes[11] = {};
  EXPECT_EQ(convertHexStringToByteArray("0123456789abcdefABCDEF", 22, bytes, 11), 1);
  EXPECT_EQ(memcmp(bytes, "\x01\x23\x45\x67\x89\xAB\xCD\xEF\xAB\xCD\xEF", 11), 0);
}

TEST(ConvertHexStringToByteArray, TakesEveryByteByTheRule) {
  for (int c = 0; c < 256; ++c) {
    const char pair[2] = {static_cast<char>(c), '1'};
    const int value = ((c & 0x1F) + 9) % 25;
    uint8_t byte = 0;
    EXPECT_EQ(convertHexStringToByteArray(pair, 2, &byte, 1), 1);
    EXPECT_EQ(byte, (value * 16 + 1) & 0xFF) << c;
  }
}

TEST(ConvertHexStringToByteArray, Gives0WhenTheLengthIsNotTwiceTheCount) {
  uint8_t bytes[4] = {1, 2, 3, 4};
  EXPECT_EQ(convertHexStringToByteArray("0aFf", 3, bytes, 2), 0);
  EXPECT_EQ(convertHexStringToByteArray("0aFf", 4, bytes, 1), 0);
  EXPECT_EQ(convertHexStringToByteArray("0aFf", 4, bytes, 4), 0);
  EXPECT_EQ(memcmp(bytes, "\1\2\3\4", 4), 0);
}

TEST(ConvertHexStringToByteArray, DoublesTheCountWithoutWrapping) {
  uint8_t byte = 7;
  EXPECT_EQ(convertHexStringToByteArray("", 0, &byte, 0x80000000), 0);
  EXPECT_EQ(byte, 7);
}

TEST(ConvertHexStringToByteArray, ConvertsNothingWithLength0) {
  uint8_t byte = 7;
  EXPECT_EQ(convertHexStringToByteArray("", 0, &byte, 0), 1);
  EXPECT_EQ(byte, 7);
}

TEST(ConvertHexStringToByteArray, Gives0ForNull) {
  uint8_t byte;
  EXPECT_EQ(convertHexStringToByteArray(nullptr, 2, &byte, 1), 0);
  EXPECT_EQ(convertHexStringToByteArray("00", 2, nullptr, 1), 0);
}

TEST(ConvertByteArraytoString, PutsATerminatorBehindTheBytes) {
  const std::vector<uint8_t> bytes = {'a', 0, 0xFF};
  char *out = nullptr;
  EXPECT_EQ(convertByteArraytoString(bytes.data(), 3, &out), 1);
  EXPECT_EQ(TakenBytes(out, 4), std::string("a\0\xFF\0", 4));
}

TEST(ConvertByteArraytoString, MakesAnEmptyStringOfNoBytes) {
  char *out = nullptr;
  EXPECT_EQ(convertByteArraytoString("x", 0, &out), 1);
  EXPECT_EQ(TakenBytes(out, 1), std::string(1, '\0'));
}

#if UINTPTR_MAX == UINT32_MAX
TEST(ConvertByteArraytoString, Gives0WhereTheTerminatorWouldPassTheAddressSpace) {
  char *out = nullptr;
  EXPECT_EQ(convertByteArraytoString("abc", 0xFFFFFFFF, &out), 0);
  EXPECT_EQ(out, nullptr);
}
#endif

TEST(ConvertByteArraytoString, Gives0ForNullAndLeavesOutAlone) {
  char text[] = "kept";
  char *out = text;
  EXPECT_EQ(convertByteArraytoString(nullptr, 3, &out), 0);
  EXPECT_EQ(out, text);
  EXPECT_EQ(convertByteArraytoString("abc", 3, nullptr), 0);
}

TEST(ConvertStringToByteArray, CopiesTheCharactersWithoutATerminator) {
  uint8_t *out = nullptr;
  uint32_t length = 99;
  EXPECT_EQ(convertStringToByteArray("abc", &out, &length), 1);
  const Heap<uint8_t> owner(out);
  EXPECT_EQ(length, 3U);
  EXPECT_EQ(memcmp(out, "abc", 3), 0);
}

TEST(ConvertStringToByteArray, GivesAPointerToFreeForAnEmptyString) {
  uint8_t *out = nullptr;
  uint32_t length = 99;
  EXPECT_EQ(convertStringToByteArray("", &out, &length), 1);
  const Heap<uint8_t> owner(out);
  EXPECT_EQ(length, 0U);
}

TEST(ConvertStringToByteArray, Gives0ForNull) {
  uint8_t *out = nullptr;
  uint32_t length = 99;
  EXPECT_EQ(convertStringToByteArray(nullptr, &out, &length), 0);
  EXPECT_EQ(convertStringToByteArray("a", nullptr, &length), 0);
  EXPECT_EQ(convertStringToByteArray("a", &out, nullptr), 0);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(length, 99U);
}

TEST(ByteCompare, GivesMinus1AtADifferingByte) {
  EXPECT_EQ(byteCompare("abc", 3, "abd", 3), -1);
  EXPECT_EQ(byteCompare("abd", 3, "abc", 3), -1);
  EXPECT_EQ(byteCompare("xbc", 3, "ab", 2), -1);
}

TEST(ByteCompare, Gives1WhenOnlyTheLengthsDiffer) {
  EXPECT_EQ(byteCompare("ab", 2, "abc", 3), 1);
  EXPECT_EQ(byteCompare("abc", 3, "ab", 2), 1);
  EXPECT_EQ(byteCompare("", 0, "a", 1), 1);
}

TEST(ByteCompare, Gives0ForEqualBytes) {
  EXPECT_EQ(byteCompare("abc", 3, "abc", 3), 0);
  EXPECT_EQ(byteCompare("a\0b", 3, "a\0b", 3), 0);
  EXPECT_EQ(byteCompare("a", 0, "b", 0), 0);
}

TEST(ByteCompare, ReportsNullAsEqual) {
  EXPECT_EQ(byteCompare(nullptr, 3, "abc", 3), 0);
  EXPECT_EQ(byteCompare("abc", 3, nullptr, 0), 0);
  EXPECT_EQ(byteCompare(nullptr, 0, nullptr, 5), 0);
}

TEST(AmbrelGetParameterBaseOfString, ReadsTheSecondCharacter) {
  EXPECT_EQ(AmbrelGetParameterBaseOfString("0x1F"), 16);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("0X1F"), 16);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("0b1"), 2);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("0B1"), 2);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("0123"), 10);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("123"), 10);
}

TEST(AmbrelGetParameterBaseOfString, DoesNotLookAtTheFirstCharacter) {
  EXPECT_EQ(AmbrelGetParameterBaseOfString("9x1"), 16);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("-b1"), 2);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("-0x1"), 10);
}

TEST(AmbrelGetParameterBaseOfString, Gives10ForNullAndShortTexts) {
  EXPECT_EQ(AmbrelGetParameterBaseOfString("0x"), 10);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("0b"), 10);
  EXPECT_EQ(AmbrelGetParameterBaseOfString("x"), 10);
  EXPECT_EQ(AmbrelGetParameterBaseOfString(""), 10);
  EXPECT_EQ(AmbrelGetParameterBaseOfString(nullptr), 10);
}

}  // namespace
