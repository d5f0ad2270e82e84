// The notifying queue without memory: refused, and nothing lost.
#include "include/notifyqueue.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;

TEST(InitQueue, WithoutMemoryFailsAndLeavesAQueueThatRefusesAll) {
  for (long k = 1;; ++k) {
    Queue queue = {};
    int result = 0;
    bool fired = false;
    {
      const Fault fault(Call::kMemory, k);
      result = init_queue(&queue, 8, 100);
      fired = fault.fired();
    }
    if (!fired) {
      EXPECT_EQ(1, result);
      deinit_queue(&queue);
      EXPECT_EQ(3, k);  // the slots and the semaphore
      return;
    }
    int datum = 0;
    EXPECT_EQ(0, result);
    EXPECT_EQ(0u, getQueueSize(&queue));
    EXPECT_EQ(0, insertQueueEntry(&queue, &datum, 1, 0));
    EXPECT_EQ(nullptr, peekQueueEntry(&queue, 0));
    EXPECT_EQ(nullptr, deQueueEntry(&queue, 0));
    EXPECT_EQ(0, waitOnQueue(&queue, 1));
    EXPECT_EQ(1, waitOnQueue(&queue, 0));
    EXPECT_EQ(0, signalQueueListeners(&queue));
    EXPECT_EQ(1, lockQueue(&queue, 0));
    EXPECT_EQ(0, unlockQueue(&queue));
    deinit_queue(&queue);
    EXPECT_EQ(1, init_queue(&queue, 8, 100));
    deinit_queue(&queue);
  }
}

TEST(InsertQueueEntry, WithoutMemoryRefusesAndChangesNothing) {
  Queue queue = {};
  ASSERT_EQ(1, init_queue(&queue, 1, 0));
  EXPECT_EQ(1, insertQueueEntry(&queue, strdup("first"), 1, 0));
  FreeQueueEntry(deQueueEntry(&queue, 0), 0);
  char *const data = strdup("still the caller's");
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(0, insertQueueEntry(&queue, data, 2, 0));
  }
  EXPECT_EQ(0u, queue.count);
  EXPECT_EQ(0, queue.tail);
  EXPECT_EQ(1, insertQueueEntry(&queue, data, 2, 0));
  deinit_queue(&queue);
}

TEST(InsertQueueEntry, MakesOneAllocation) {
  Queue queue = {};
  ASSERT_EQ(1, init_queue(&queue, 1, 0));
  {
    const Fault count(Call::kMemory, 0);
    int datum = 0;
    queue.freeFn = [](QueueEntry *) {};
    EXPECT_EQ(1, insertQueueEntry(&queue, &datum, 2, 0));
    EXPECT_EQ(1, count.calls());
  }
  deinit_queue(&queue);
}

}  // namespace
