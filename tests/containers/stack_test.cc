#include <gtest/gtest.h>

#include <stdlib.h>

#include <vector>

#include "include/stackmap.h"

namespace {

/// Distinct addresses to push; nothing is read through them.
class Items {
 public:
  void *operator[](size_t i) { return &bytes_[i]; }

 private:
  char bytes_[64] = {};
};

class StackTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(stack_init_(&stack_), nullptr); }
  void TearDown() override { stack_deinit_(&stack_, 0); }

  void Push(size_t count) {
    for (size_t i = 0; i < count; ++i) ASSERT_EQ(stack_push_(&stack_, items_[i], 1), 1);
  }

  Stack stack_;
  Items items_;
};

TEST(StackInit, ClearsTheRecordAndAllocatesTenZeroedSlots) {
  Stack stack = {nullptr, 7, 7, 7, 7, 7};
  void **const slots = stack_init_(&stack);
  ASSERT_NE(slots, nullptr);
  EXPECT_EQ(stack.items, slots);
  EXPECT_EQ(stack.count, 0u);
  EXPECT_EQ(stack.top, 0u);
  EXPECT_EQ(stack.capacity, 10u);
  EXPECT_EQ(stack.readIndex, 0u);
  EXPECT_EQ(stack.fifoMode, 0u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(slots[i], nullptr);
  stack_deinit_(&stack, 0);
}

TEST(StackInit, GivesNullForANullStack) {
  EXPECT_EQ(stack_init_(nullptr), nullptr);
}

TEST_F(StackTest, SizeCountsTheItems) {
  EXPECT_EQ(stack_get_size_(&stack_), 0u);
  Push(3);
  EXPECT_EQ(stack_get_size_(&stack_), 3u);
  stack_pop_(&stack_);
  EXPECT_EQ(stack_get_size_(&stack_), 2u);
}

TEST(StackSize, IsZeroForANullStack) {
  EXPECT_EQ(stack_get_size_(nullptr), 0u);
}

TEST_F(StackTest, GetCountsFromTheFirstPushed) {
  Push(3);
  EXPECT_EQ(stack_get_(&stack_, 0), items_[0]);
  EXPECT_EQ(stack_get_(&stack_, 2), items_[2]);
}

TEST_F(StackTest, GetGivesNullBeyondTheLastItem) {
  EXPECT_EQ(stack_get_(&stack_, 0), nullptr);
  Push(3);
  EXPECT_EQ(stack_get_(&stack_, 3), nullptr);
  EXPECT_EQ(stack_get_(&stack_, UINT32_MAX), nullptr);
}

TEST(StackGet, GivesNullForANullStack) {
  EXPECT_EQ(stack_get_(nullptr, 0), nullptr);
}

TEST_F(StackTest, PushOfSizeZeroChangesNothing) {
  EXPECT_EQ(stack_push_(&stack_, items_[0], 0), 0);
  EXPECT_EQ(stack_.count, 0u);
  EXPECT_EQ(stack_.top, 0u);
  EXPECT_EQ(stack_.items[0], nullptr);
}

TEST_F(StackTest, PushStoresThePointerWhateverItsSize) {
  EXPECT_EQ(stack_push_(&stack_, items_[0], UINT32_MAX), 1);
  EXPECT_EQ(stack_push_(&stack_, nullptr, 8), 1);
  EXPECT_EQ(stack_get_(&stack_, 0), items_[0]);
  EXPECT_EQ(stack_get_(&stack_, 1), nullptr);
  EXPECT_EQ(stack_get_size_(&stack_), 2u);
}

TEST_F(StackTest, TenPushesFillTheFirstAllocationAndTheEleventhGrowsByTen) {
  Push(10);
  EXPECT_EQ(stack_.capacity, 10u);
  EXPECT_EQ(stack_.top, 10u);
  Push(1);
  EXPECT_EQ(stack_.capacity, 20u);
  EXPECT_EQ(stack_.count, 11u);
  EXPECT_EQ(stack_.top, 11u);
  Push(10);
  EXPECT_EQ(stack_.capacity, 30u);
}

TEST_F(StackTest, NeverShrinks) {
  Push(21);
  while (stack_pop_(&stack_) != nullptr) continue;
  EXPECT_EQ(stack_.capacity, 30u);
  EXPECT_EQ(stack_.count, 0u);
}

TEST_F(StackTest, KeepsTenThousandItemsInOrder) {
  std::vector<char> bytes(10000);
  for (char &byte : bytes) ASSERT_EQ(stack_push_(&stack_, &byte, 1), 1);
  EXPECT_EQ(stack_.capacity, 10000u);
  for (uint32_t i = 0; i < bytes.size(); ++i) ASSERT_EQ(stack_get_(&stack_, i), &bytes[i]);
}

TEST(StackPush, RefusesANullStack) {
  char item;
  EXPECT_EQ(stack_push_(nullptr, &item, 1), 0);
}

TEST(StackPush, WorksOnAZeroedRecord) {
  Stack stack = {};
  char item;
  EXPECT_EQ(stack_push_(&stack, &item, 1), 1);
  EXPECT_EQ(stack.capacity, 10u);
  EXPECT_EQ(stack_pop_(&stack), &item);
  stack_deinit_(&stack, 0);
}

TEST(StackPush, RefusesToGrowBeyondACountOf32Bits) {
  char item;
  Stack stack = {nullptr, UINT32_MAX - 3, UINT32_MAX - 3, UINT32_MAX - 3, 0, 0};
  EXPECT_EQ(stack_push_(&stack, &item, 1), 0);
  EXPECT_EQ(stack.count, UINT32_MAX - 3);
}

TEST_F(StackTest, PopTakesTheLastPushedFirst) {
  Push(3);
  EXPECT_EQ(stack_pop_(&stack_), items_[2]);
  EXPECT_EQ(stack_pop_(&stack_), items_[1]);
  EXPECT_EQ(stack_.top, 1u);
  EXPECT_EQ(stack_.count, 1u);
  EXPECT_EQ(stack_pop_(&stack_), items_[0]);
  EXPECT_EQ(stack_pop_(&stack_), nullptr);
  EXPECT_EQ(stack_.count, 0u);
}

TEST(StackPop, GivesNullForAnEmptyOrNullStack) {
  Stack stack;
  stack_init_(&stack);
  EXPECT_EQ(stack_pop_(&stack), nullptr);
  EXPECT_EQ(stack_pop_(nullptr), nullptr);
  stack_deinit_(&stack, 0);
}

TEST_F(StackTest, FifoModeReadsEachItemOnceAndKeepsAll) {
  stack_.fifoMode = 1;
  Push(3);
  EXPECT_EQ(stack_pop_(&stack_), items_[0]);
  EXPECT_EQ(stack_pop_(&stack_), items_[1]);
  EXPECT_EQ(stack_pop_(&stack_), items_[2]);
  EXPECT_EQ(stack_pop_(&stack_), nullptr);
  EXPECT_EQ(stack_get_size_(&stack_), 3u);
  EXPECT_EQ(stack_.top, 3u);
  EXPECT_EQ(stack_.readIndex, 3u);
}

TEST_F(StackTest, FifoModeHandsOutWhatIsPushedLater) {
  stack_.fifoMode = 2;
  Push(1);
  EXPECT_EQ(stack_pop_(&stack_), items_[0]);
  EXPECT_EQ(stack_pop_(&stack_), nullptr);
  ASSERT_EQ(stack_push_(&stack_, items_[5], 1), 1);
  EXPECT_EQ(stack_pop_(&stack_), items_[5]);
}

TEST_F(StackTest, FifoReadingEndsWhenItemsWereTakenAway) {
  stack_.fifoMode = 1;
  Push(3);
  for (int i = 0; i < 3; ++i) stack_pop_(&stack_);
  stack_popfront_(&stack_);
  EXPECT_EQ(stack_.readIndex, 3u);
  EXPECT_EQ(stack_.count, 2u);
  EXPECT_EQ(stack_pop_(&stack_), nullptr);
}

TEST_F(StackTest, PopfrontTakesTheLastPushedInEitherMode) {
  Push(3);
  EXPECT_EQ(stack_popfront_(&stack_), items_[2]);
  stack_.fifoMode = 1;
  EXPECT_EQ(stack_popfront_(&stack_), items_[1]);
  EXPECT_EQ(stack_.count, 1u);
  EXPECT_EQ(stack_.top, 1u);
  EXPECT_EQ(stack_popfront_(&stack_), items_[0]);
  EXPECT_EQ(stack_popfront_(&stack_), nullptr);
  EXPECT_EQ(stack_popfront_(nullptr), nullptr);
}

TEST(StackDeinit, LeavesTheItemsAloneWithoutBitZero) {
  Stack stack;
  stack_init_(&stack);
  int item = 5;
  stack_push_(&stack, &item, sizeof item);
  stack_deinit_(&stack, 2);
  EXPECT_EQ(item, 5);
}

TEST(StackDeinit, FreesTheItemsWithBitZero) {
  Stack stack;
  stack_init_(&stack);
  for (int i = 0; i < 12; ++i) stack_push_(&stack, i == 4 ? nullptr : malloc(8), 8);
  stack_deinit_(&stack, 3);  // AddressSanitizer reports what is left over
}

TEST(StackDeinit, FreesInFifoModeWhatWasHandedOut) {
  Stack stack;
  stack_init_(&stack);
  stack.fifoMode = 1;
  for (int i = 0; i < 3; ++i) stack_push_(&stack, malloc(8), 8);
  stack_pop_(&stack);
  stack_deinit_(&stack, 1);
}

TEST(StackDeinit, LeavesTheFieldsAsTheyWere) {
  Stack stack;
  void **const slots = stack_init_(&stack);
  int item;
  stack_push_(&stack, &item, sizeof item);
  stack_deinit_(&stack, 0);
  EXPECT_EQ(stack.items, slots);
  EXPECT_EQ(stack.count, 1u);
  EXPECT_EQ(stack.top, 1u);
  EXPECT_EQ(stack.capacity, 10u);
}

TEST(StackDeinit, AcceptsNull) {
  stack_deinit_(nullptr, 1);
}

}  // namespace
