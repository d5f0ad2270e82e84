// What initialising leaves behind when the system refuses one of its calls.
#include "include/ambrelsharedmem.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <string>

#include "shm/segment_fixture.hpp"
#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;
using cu_test::OpenDescriptors;
using cu_test::Segment;

class InitializeUnderFaults : public cu_test::SharedMemoryTest {
 protected:
  /// Creates a segment while a call fails; gives what is printed. The result goes to `result_`.
  std::string PrintedWhile(Call call, int error) {
    testing::internal::CaptureStdout();
    {
      Fault fault(call, 1, error);
      result_ = aeInitializeSharedMemory(shm_name_, sem_name_.c_str(), 1, 1, 16, &segment_);
      EXPECT_TRUE(fault.fired());
    }
    return testing::internal::GetCapturedStdout();
  }

  void TearDown() override {
    EXPECT_EQ(descriptors_, OpenDescriptors());
    free(segment_);
  }

  int result_ = -1;
  SharedMemorySegment *segment_ = reinterpret_cast<SharedMemorySegment *>(8);
  const long descriptors_ = OpenDescriptors();
  const int locks_ = OpenLocks();
};

TEST_F(InitializeUnderFaults, WithoutMemoryFailsBeforeAnythingIsMade) {
  EXPECT_EQ("", PrintedWhile(Call::kMemory, ENOMEM));
  EXPECT_EQ(0, result_);
  EXPECT_EQ(nullptr, segment_);
  EXPECT_FALSE(LockExists());
}

TEST_F(InitializeUnderFaults, WithoutALockFailsSilently) {
  EXPECT_EQ("", PrintedWhile(Call::kSemOpen, EACCES));
  EXPECT_EQ(0, result_);
  EXPECT_EQ(nullptr, segment_);
  EXPECT_EQ(-1, ObjectSize());
}

TEST_F(InitializeUnderFaults, WithoutItsObjectPrintsTheReasonAndKeepsTheLockOpen) {
  EXPECT_EQ("13 Permission denied\n", PrintedWhile(Call::kShmOpen, EACCES));
  EXPECT_EQ(0, result_);
  EXPECT_EQ(nullptr, segment_);
  EXPECT_EQ(locks_ + 1, OpenLocks());
}

TEST_F(InitializeUnderFaults, WithoutRoomPrintsTheReasonAndKeepsTheNamesAlone) {
  EXPECT_EQ("ftruncate failed: 28 No space left on device\n",
            PrintedWhile(Call::kFtruncate, ENOSPC));
  EXPECT_EQ(0, result_);
  EXPECT_EQ(nullptr, segment_);
  EXPECT_EQ(locks_, OpenLocks());
  EXPECT_TRUE(LockExists());
  EXPECT_EQ(0, ObjectSize());
}

TEST_F(InitializeUnderFaults, WithoutAMappingSucceedsSilentlyWithAFailedBase) {
  EXPECT_EQ("", PrintedWhile(Call::kMmap, ENOMEM));
  EXPECT_EQ(1, result_);
  ASSERT_NE(nullptr, segment_);
  EXPECT_EQ(MAP_FAILED, segment_->base);
  EXPECT_EQ(-1, segment_->fd);
  EXPECT_EQ(nullptr, segment_->sem);
  EXPECT_EQ(locks_, OpenLocks());
  EXPECT_TRUE(LockExists());
  EXPECT_EQ(-1, ObjectSize());

  char bytes[16] = "";
  EXPECT_EQ(0, aeReadSharedMemory(segment_, bytes, sizeof bytes));
  EXPECT_EQ(0, aeWriteSharedMemory(segment_, bytes, sizeof bytes));
  EXPECT_EQ(1, aeDeInitializeSharedMemory(segment_));
}

TEST_F(InitializeUnderFaults, OfAnOthersSegmentWithoutAMappingLeavesItsName) {
  const Segment owner = Create(16);
  {
    Fault fault(Call::kMmap, 1, ENOMEM);
    EXPECT_EQ(1, aeInitializeSharedMemory(shm_name_, sem_name_.c_str(), 0, 1, 16, &segment_));
  }
  ASSERT_NE(nullptr, segment_);
  EXPECT_EQ(MAP_FAILED, segment_->base);
  EXPECT_EQ(16, ObjectSize());
  EXPECT_EQ(1, aeDeInitializeSharedMemory(segment_));
  EXPECT_EQ(16, ObjectSize());
}

}  // namespace
