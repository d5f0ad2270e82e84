// What is left behind when there is no memory.
#include "include/ambrelthreadutils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;
using testing::ElementsAre;

std::vector<AmbrelSemaphore *> Entries(const AmbrelTimeMonitor &monitor) {
  return {monitor.semaphores, monitor.semaphores + monitor.count};
}

TEST(AmbrelRegisterSemaphore, AFailedGrowthEmptiesTheRegistry) {
  for (int registered = 0; registered < 40; ++registered) {
    AmbrelTimeMonitor monitor = {};
    AmbrelSemaphore semaphore = {};
    for (int i = 0; i < registered; ++i)
      ASSERT_EQ(1, AmbrelRegisterSemaphore(&monitor, &semaphore));
    {
      const Fault fault(Call::kMemory, 1);
      EXPECT_EQ(0, AmbrelRegisterSemaphore(&monitor, &semaphore));
      EXPECT_TRUE(fault.fired());
    }
    EXPECT_EQ(0u, monitor.count);
    EXPECT_EQ(nullptr, monitor.semaphores);
    EXPECT_EQ(1, AmbrelRegisterSemaphore(&monitor, &semaphore));
    EXPECT_EQ(1u, monitor.count);
    AmbrelDeRegisterSemaphore(&monitor, &semaphore);
  }
}

TEST(AmbrelDeRegisterSemaphore, NeedsNoMemory) {
  AmbrelTimeMonitor monitor = {};
  AmbrelSemaphore a = {}, b = {}, c = {};
  for (AmbrelSemaphore *semaphore : {&a, &b, &c}) AmbrelRegisterSemaphore(&monitor, semaphore);
  const Fault fault(Call::kMemory, 1, ENOMEM, cu_test::Reach::kFromThen);
  EXPECT_EQ(1, AmbrelDeRegisterSemaphore(&monitor, &a));
  EXPECT_THAT(Entries(monitor), ElementsAre(&b, &c));
  EXPECT_EQ(1, AmbrelDeRegisterSemaphore(&monitor, &c));
  EXPECT_EQ(1, AmbrelDeRegisterSemaphore(&monitor, &b));
  EXPECT_EQ(0u, monitor.count);
}

TEST(AmbrelSemaphoreInit, WithoutMemoryForAPosixSemaphoreFailsAndLeavesOneThatNeverBlocks) {
  for (const Call call : {Call::kMemory, Call::kSemInit}) {
    AmbrelSemaphore semaphore = {};
    semaphore.usePosixSem = 1;
    {
      const Fault fault(call, 1);
      EXPECT_EQ(0, AmbrelSemaphoreInit(&semaphore, 100));
    }
    EXPECT_EQ(nullptr, semaphore.sem);
    EXPECT_EQ(1, AmbrelSemphoreWait(&semaphore));
    EXPECT_EQ(2, AmbrelSemphoreTimedWait(&semaphore));
    EXPECT_EQ(1, AmbrelSemphoreSignal(&semaphore, 0));
    EXPECT_EQ(1, AmbrelSemaphoreDestroy(&semaphore));
    EXPECT_EQ(1, AmbrelSemaphoreInit(&semaphore, 100));
    EXPECT_EQ(1, AmbrelSemaphoreDestroy(&semaphore));
  }
}

TEST(AmbrelSemaphoreInit, OfTheConditionVariantNeedsNoMemory) {
  AmbrelSemaphore semaphore = {};
  const Fault fault(Call::kMemory, 1, ENOMEM, cu_test::Reach::kFromThen);
  EXPECT_EQ(1, AmbrelSemaphoreInit(&semaphore, 100));
  EXPECT_EQ(0, fault.calls());
  AmbrelSemaphoreDestroy(&semaphore);
}

}  // namespace
