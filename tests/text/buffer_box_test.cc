#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "include/stringtemplate.h"
#include "text/heap_text.hpp"

namespace {

/// A box that is released at the end.
struct Box : BufferBox {
  Box() : BufferBox{} {}
  ~Box() { free(data); }
  Box(const Box &) = delete;
  Box &operator=(const Box &) = delete;
};

TEST(AddDataToBufferBox, PutsTheFirstBytesIntoABlockOneLarger) {
  Box box;
  EXPECT_EQ(AddDataToBufferBox(&box, "abc", 3), 1);
  EXPECT_STREQ(box.data, "abc");
  EXPECT_EQ(box.length, 3U);
  EXPECT_EQ(box.capacity, 4U);
}

TEST(AddDataToBufferBox, AppendsWithATerminatorAfterEachCall) {
  Box box;
  std::string expected;
  for (int i = 0; i < 500; ++i) {
    const std::string piece = std::to_string(i) + ",";
    expected += piece;
    ASSERT_EQ(AddDataToBufferBox(&box, piece.data(), static_cast<uint32_t>(piece.size())), 1);
    ASSERT_EQ(box.length, expected.size());
    ASSERT_EQ(box.data[box.length], '\0');
  }
  EXPECT_EQ(box.data, expected);
}

TEST(AddDataToBufferBox, GrowsTheCapacityToExactlyTheLengthPlus1) {
  Box box;
  for (uint32_t length = 1; length < 300; ++length) {
    ASSERT_EQ(AddDataToBufferBox(&box, "x", 1), 1);
    ASSERT_EQ(box.capacity, length + 1);
  }
}

TEST(AddDataToBufferBox, KeepsACapacityThatSuffices) {
  Box box;
  box.data = static_cast<char *>(calloc(10, 1));
  box.capacity = 10;
  EXPECT_EQ(AddDataToBufferBox(&box, "abcd", 4), 1);
  EXPECT_EQ(box.capacity, 10U);
  EXPECT_EQ(AddDataToBufferBox(&box, "efghi", 5), 1);
  EXPECT_EQ(box.capacity, 10U);
  EXPECT_STREQ(box.data, "abcdefghi");
  EXPECT_EQ(AddDataToBufferBox(&box, "j", 1), 1);
  EXPECT_EQ(box.capacity, 11U);
  EXPECT_STREQ(box.data, "abcdefghij");
}

TEST(AddDataToBufferBox, TakesAnyBytes) {
  Box box;
  EXPECT_EQ(AddDataToBufferBox(&box, "a\0b", 3), 1);
  EXPECT_EQ(AddDataToBufferBox(&box, "\xFF\0", 2), 1);
  EXPECT_EQ(std::string(box.data, 6), std::string("a\0b\xFF\0\0", 6));
  EXPECT_EQ(box.length, 5U);
}

TEST(AddDataToBufferBox, StartsAnewWithoutData) {
  Box box;
  box.length = 77;
  box.capacity = 99;
  EXPECT_EQ(AddDataToBufferBox(&box, "ab", 2), 1);
  EXPECT_EQ(box.length, 2U);
  EXPECT_EQ(box.capacity, 3U);
}

TEST(AddDataToBufferBox, Gives0ForNullOrNoBytesAndLeavesTheBoxAlone) {
  Box box;
  ASSERT_EQ(AddDataToBufferBox(&box, "ab", 2), 1);
  const BufferBox before = box;
  EXPECT_EQ(AddDataToBufferBox(nullptr, "ab", 2), 0);
  EXPECT_EQ(AddDataToBufferBox(&box, nullptr, 2), 0);
  EXPECT_EQ(AddDataToBufferBox(&box, "ab", 0), 0);
  EXPECT_EQ(memcmp(&box, &before, sizeof before), 0);
}

TEST(AddDataToBufferBox, TakesALengthBeyond32BitsAsAFailedGrowth) {
  for (const uint32_t length : {0xFFFFFFFFU, 0xFFFFFFFEU, 0xFFFFFFFDU}) {
    Box box;
    box.data = static_cast<char *>(malloc(8));
    box.length = length;
    box.capacity = 0xFFFFFFFF;
    EXPECT_EQ(AddDataToBufferBox(&box, "ab", 2), 0) << length;
    EXPECT_EQ(box.data, nullptr);
    EXPECT_EQ(box.length, 0U);
    EXPECT_EQ(box.capacity, 0U);
  }
}

TEST(AddDataToBufferBox, RefusesAFirstBlockThatNeedsMoreThan32Bits) {
  Box box;
  EXPECT_EQ(AddDataToBufferBox(&box, "a", 0xFFFFFFFF), 0);
  EXPECT_EQ(box.data, nullptr);
  EXPECT_EQ(box.length, 0U);
}

TEST(BufferBox, HasItsFieldsInOrder) {
  EXPECT_EQ(offsetof(BufferBox, data), 0U);
  EXPECT_EQ(offsetof(BufferBox, length), sizeof(void *));
  EXPECT_EQ(offsetof(BufferBox, capacity), sizeof(void *) + 4);
}

}  // namespace
