// The bounded notifying queue: order, counts, references, and who frees what.
#include "include/notifyqueue.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "support/child.hpp"
#include "support/sanitizers.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Child;
using cu_test::IsLocked;
using testing::ElementsAre;
using testing::IsEmpty;

/// What the release function of a test was called with: tags, in order.
std::vector<uint32_t> g_released;
std::vector<int32_t> g_released_with;  // the reference counts of those calls

void NoteRelease(QueueEntry *entry) {
  g_released.push_back(entry->tag);
  g_released_with.push_back(entry->refCount);
}

/// A queue of three whose data are the addresses of `data_` and are not freed but noted.
class NotedQueue : public testing::Test {
 protected:
  void SetUp() override {
    g_released.clear();
    g_released_with.clear();
    ASSERT_EQ(1, init_queue(&queue_, 3, 5));
    queue_.freeFn = NoteRelease;
  }
  void TearDown() override { deinit_queue(&queue_); }

  bool Insert(uint32_t tag) { return insertQueueEntry(&queue_, &data_[tag], tag, 0) == 1; }

  /// Removes and releases the oldest entry; its tag, or -1.
  int64_t Take() {
    QueueEntry *const entry = deQueueEntry(&queue_, 0);
    if (entry == nullptr) return -1;
    const uint32_t tag = entry->tag;
    FreeQueueEntry(entry, 0);
    return tag;
  }

  /// Tags that a walk over the slots hands out, -1 for null; its references are dropped again.
  std::vector<int64_t> Walk(uint32_t steps) {
    QueueIter iter = {};
    getQueueIter(&queue_, &iter);
    std::vector<int64_t> tags;
    for (uint32_t i = 0; i < steps; ++i) {
      QueueEntry *const entry = peekQueueEntryIter(&iter, 0);
      tags.push_back(entry != nullptr ? int64_t{entry->tag} : -1);
      FreeQueueEntry(entry, 0);
    }
    return tags;
  }

  Queue queue_ = {};
  char data_[100] = {};
};

TEST(InitQueue, MakesAnEmptyQueue) {
  Queue queue;
  memset(&queue, 0xEE, sizeof queue);
  queue.freeFn = NoteRelease;
  EXPECT_EQ(1, init_queue(&queue, 3, 250));
  EXPECT_EQ(3u, queue.capacity);
  EXPECT_EQ(-1, queue.tail);
  EXPECT_EQ(0u, queue.head);
  EXPECT_EQ(0u, queue.count);
  EXPECT_EQ(250u, queue.delayMs);
  EXPECT_EQ(0, queue.notifyDisabled);
  EXPECT_EQ(NoteRelease, queue.freeFn);  // the owner's, also when he set it before
  ASSERT_NE(nullptr, queue.sem);
  EXPECT_EQ(0, queue.sem->usePosixSem);
  EXPECT_EQ(250u, queue.sem->timeoutMs);
  ASSERT_NE(nullptr, queue.slots);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(nullptr, queue.slots[i]);
  EXPECT_FALSE(IsLocked(queue.mutex));
  deinit_queue(&queue);
}

TEST(InitQueue, OfNoSlotsMakesAQueueThatRefusesAll) {
  Queue queue = {};
  int datum = 0;
  EXPECT_EQ(1, init_queue(&queue, 0, 0));
  EXPECT_EQ(0, insertQueueEntry(&queue, &datum, 1, 0));
  EXPECT_EQ(1, isQueueEmpty(&queue));
  EXPECT_EQ(1, isQueueFull(&queue));
  EXPECT_EQ(nullptr, peekQueueEntry(&queue, 0));
  EXPECT_EQ(nullptr, deQueueEntry(&queue, 0));
  deinit_queue(&queue);
}

TEST(InitQueue, OfMoreSlotsThanMemoryFails) {
  if (sizeof(size_t) > 4) GTEST_SKIP() << "so many slots fit into the address space";
  Queue queue = {};
  int datum = 0;
  EXPECT_EQ(0, init_queue(&queue, UINT32_MAX, 0));
  EXPECT_EQ(0, insertQueueEntry(&queue, &datum, 1, 0));
  deinit_queue(&queue);
}

TEST(Queue, NullIsAnsweredByEveryFunction) {
  int datum = 0;
  QueueIter iter = {nullptr, 7};
  EXPECT_EQ(0, init_queue(nullptr, 3, 0));
  EXPECT_EQ(0u, getQueueSize(nullptr));
  EXPECT_EQ(0, lockQueue(nullptr, 0));
  EXPECT_EQ(0, lockQueue(nullptr, 5));
  EXPECT_EQ(EINVAL, unlockQueue(nullptr));
  EXPECT_EQ(1, isQueueFull(nullptr));
  EXPECT_EQ(1, isQueueEmpty(nullptr));
  EXPECT_EQ(0, insertQueueEntry(nullptr, &datum, 1, 0));
  EXPECT_EQ(nullptr, peekQueueEntry(nullptr, 0));
  EXPECT_EQ(nullptr, deQueueEntry(nullptr, 0));
  getQueueIter(nullptr, &iter);
  EXPECT_EQ(7u, iter.index);
  EXPECT_EQ(nullptr, peekQueueEntryIter(nullptr, 0));
  EXPECT_EQ(nullptr, peekQueueEntryIter(&iter, 0));
  FreeQueueEntry(nullptr, 0);
  deinit_queue(nullptr);
  EXPECT_EQ(0, waitOnQueue(nullptr, 0));
  EXPECT_EQ(0, waitOnQueue(nullptr, 5));
  queueHouseKeeping(nullptr);
  enableQueueNotify(nullptr);
  disableQueueNotify(nullptr);
  EXPECT_EQ(0, signalQueueListeners(nullptr));
}

TEST_F(NotedQueue, SizeIsTheCapacity) {
  EXPECT_EQ(3u, getQueueSize(&queue_));
  Insert(1);
  EXPECT_EQ(3u, getQueueSize(&queue_));
}

TEST_F(NotedQueue, AcceptsItsCapacityRefusesOneMoreAndWrapsToSlotZero) {
  EXPECT_TRUE(Insert(1));
  EXPECT_TRUE(Insert(2));
  EXPECT_TRUE(Insert(3));
  EXPECT_EQ(2, queue_.tail);
  EXPECT_FALSE(Insert(4));
  EXPECT_THAT(g_released, IsEmpty());  // nothing is dropped, and 4 stays the caller's
  EXPECT_EQ(3u, queue_.count);
  EXPECT_EQ(2, queue_.tail);

  EXPECT_EQ(1, Take());
  EXPECT_TRUE(Insert(5));
  EXPECT_EQ(0, queue_.tail);
  EXPECT_EQ(1u, queue_.head);
  EXPECT_EQ(5u, queue_.slots[0]->tag);
  EXPECT_EQ(2, Take());
  EXPECT_EQ(3, Take());
  EXPECT_EQ(5, Take());
  EXPECT_EQ(-1, Take());
}

TEST_F(NotedQueue, IsFullAndEmptyByItsCount) {
  EXPECT_EQ(1, isQueueEmpty(&queue_));
  EXPECT_EQ(0, isQueueFull(&queue_));
  Insert(1);
  EXPECT_EQ(0, isQueueEmpty(&queue_));
  EXPECT_EQ(0, isQueueFull(&queue_));
  Insert(2);
  Insert(3);
  EXPECT_EQ(1, isQueueFull(&queue_));
}

TEST_F(NotedQueue, FullnessAndEmptinessTakeNoLock) {
  lockQueue(&queue_, 0);
  EXPECT_EQ(0, isQueueFull(&queue_));
  EXPECT_EQ(1, isQueueEmpty(&queue_));
  EXPECT_EQ(3u, getQueueSize(&queue_));
  unlockQueue(&queue_);
}

TEST_F(NotedQueue, InsertionGivesOneOrTheValueOfLocked) {
  EXPECT_EQ(1, insertQueueEntry(&queue_, data_, 1, 0));
  lockQueue(&queue_, 0);
  EXPECT_EQ(1, insertQueueEntry(&queue_, data_, 2, 1));
  EXPECT_EQ(-7, insertQueueEntry(&queue_, data_, 3, -7));
  EXPECT_EQ(0, insertQueueEntry(&queue_, data_, 4, 9));  // full
  EXPECT_TRUE(IsLocked(queue_.mutex));
  unlockQueue(&queue_);
}

TEST_F(NotedQueue, InsertionRefusesNullData) {
  EXPECT_EQ(0, insertQueueEntry(&queue_, nullptr, 1, 0));
  EXPECT_EQ(1, isQueueEmpty(&queue_));
}

TEST_F(NotedQueue, AnEntryCarriesWhatItWasInsertedWith) {
  EXPECT_EQ(1, insertQueueEntry(&queue_, &data_[8], 0xFFFFFFFF, 0));
  const QueueEntry &entry = *queue_.slots[0];
  EXPECT_EQ(0xFFFFFFFFu, entry.tag);
  EXPECT_EQ(1, entry.refCount);
  EXPECT_EQ(&queue_, entry.queue);
  EXPECT_EQ(&data_[8], entry.data);
}

TEST_F(NotedQueue, AnEntryInsertedRemovedAndReleasedIsFreedAtTheRelease) {
  Insert(1);
  QueueEntry *const entry = deQueueEntry(&queue_, 0);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(0, entry->refCount);
  EXPECT_THAT(g_released, IsEmpty());
  FreeQueueEntry(entry, 0);
  EXPECT_THAT(g_released, ElementsAre(1));
  EXPECT_THAT(g_released_with, ElementsAre(-1));
}

TEST_F(NotedQueue, AnEntryPeekedTwiceIsFreedByTheSecondReleaseAfterItsRemoval) {
  Insert(1);
  QueueEntry *const entry = peekQueueEntry(&queue_, 0);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(2, entry->refCount);
  EXPECT_EQ(entry, peekQueueEntry(&queue_, 0));
  EXPECT_EQ(3, entry->refCount);
  EXPECT_EQ(entry, deQueueEntry(&queue_, 0));
  EXPECT_EQ(2, entry->refCount);
  FreeQueueEntry(entry, 0);
  EXPECT_THAT(g_released, IsEmpty());
  EXPECT_EQ(1, entry->refCount);
  FreeQueueEntry(entry, 0);
  EXPECT_THAT(g_released, ElementsAre(1));
}

TEST_F(NotedQueue, PeekLeavesTheEntryInTheQueue) {
  Insert(1);
  Insert(2);
  QueueEntry *const entry = peekQueueEntry(&queue_, 0);
  EXPECT_EQ(1u, entry->tag);
  EXPECT_EQ(2u, queue_.count);
  FreeQueueEntry(entry, 0);
  EXPECT_EQ(1, entry->refCount);
  EXPECT_EQ(1, Take());
}

TEST_F(NotedQueue, PeekAndRemovalOfAnEmptyQueueGiveNullAndUnlock) {
  EXPECT_EQ(nullptr, peekQueueEntry(&queue_, 0));
  EXPECT_EQ(nullptr, deQueueEntry(&queue_, 0));
  EXPECT_FALSE(IsLocked(queue_.mutex));
  lockQueue(&queue_, 0);
  EXPECT_EQ(nullptr, peekQueueEntry(&queue_, 1));
  EXPECT_EQ(nullptr, deQueueEntry(&queue_, 1));
  EXPECT_TRUE(IsLocked(queue_.mutex));
  unlockQueue(&queue_);
}

TEST_F(NotedQueue, RemovalLeavesThePointerInItsSlot) {
  Insert(1);
  QueueEntry *const entry = deQueueEntry(&queue_, 0);
  EXPECT_EQ(entry, queue_.slots[0]);
  FreeQueueEntry(entry, 0);
  EXPECT_EQ(entry, queue_.slots[0]);
}

TEST_F(NotedQueue, FunctionsKeepAHeldLockAndReleaseTheirOwn) {
  for (const int locked : {0, 1}) {
    if (locked) lockQueue(&queue_, 0);
    const auto expect_state = [&] { EXPECT_EQ(locked != 0, IsLocked(queue_.mutex)); };
    QueueIter iter = {};
    EXPECT_EQ(1, insertQueueEntry(&queue_, data_, 1, locked));
    expect_state();
    QueueEntry *const peeked = peekQueueEntry(&queue_, locked);
    expect_state();
    FreeQueueEntry(peeked, locked);
    expect_state();
    getQueueIter(&queue_, &iter);
    FreeQueueEntry(peekQueueEntryIter(&iter, locked), locked);
    expect_state();
    FreeQueueEntry(deQueueEntry(&queue_, locked), locked);
    expect_state();
    if (locked) unlockQueue(&queue_);
  }
}

TEST_F(NotedQueue, ReleaseFunctionRunsWithTheQueueLocked) {
  static bool locked;
  locked = false;
  queue_.freeFn = [](QueueEntry *entry) { locked = IsLocked(entry->queue->mutex); };
  Insert(1);
  Take();
  EXPECT_TRUE(locked);
  EXPECT_FALSE(IsLocked(queue_.mutex));
}

TEST(FreeQueueEntry, PassesTheDataToFreeWithoutAReleaseFunction) {
  Queue queue = {};
  init_queue(&queue, 1, 0);
  EXPECT_EQ(1, insertQueueEntry(&queue, strdup("kept on the heap"), 1, 0));
  FreeQueueEntry(deQueueEntry(&queue, 0), 0);  // a leak checker sees what is not freed
  deinit_queue(&queue);
}

TEST_F(NotedQueue, AnEntryWithoutDataIsNeverFreed) {
  Insert(1);
  QueueEntry *const entry = deQueueEntry(&queue_, 0);
  entry->data = nullptr;
  for (int i = 0; i < 5; ++i) FreeQueueEntry(entry, 0);
  EXPECT_EQ(-5, entry->refCount);
  EXPECT_FALSE(IsLocked(queue_.mutex));
  EXPECT_THAT(g_released, IsEmpty());
  entry->data = data_;
  FreeQueueEntry(entry, 0);
  EXPECT_THAT(g_released, ElementsAre(1));
}

// ---- walks
// ---------------------------------------------------------------------------------------

TEST_F(NotedQueue, IteratorStartsAtSlotZero) {
  QueueIter iter = {nullptr, 9};
  getQueueIter(&queue_, nullptr);
  getQueueIter(&queue_, &iter);
  EXPECT_EQ(&queue_, iter.queue);
  EXPECT_EQ(0u, iter.index);
}

TEST_F(NotedQueue, WalkGoesBySlotNotByAge) {
  for (uint32_t tag = 1; tag <= 3; ++tag) Insert(tag);
  Take();
  Insert(4);  // the youngest, in slot 0
  EXPECT_THAT(Walk(3), ElementsAre(4, 2, 3));
}

TEST_F(NotedQueue, WalkAddsAReference) {
  Insert(1);
  QueueIter iter = {};
  getQueueIter(&queue_, &iter);
  QueueEntry *const entry = peekQueueEntryIter(&iter, 0);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(2, entry->refCount);
  EXPECT_EQ(1u, iter.index);
  FreeQueueEntry(entry, 0);
}

TEST_F(NotedQueue, WalkGivesNullForEmptySlotsAndMovesOn) {
  EXPECT_THAT(Walk(3), ElementsAre(-1, -1, -1));
  Insert(1);
  EXPECT_THAT(Walk(3), ElementsAre(1, -1, -1));
}

TEST_F(NotedQueue, WalkMayReadTheSlotAtItsCapacity) {
  for (uint32_t tag = 1; tag <= 3; ++tag) Insert(tag);
  QueueIter iter = {};
  getQueueIter(&queue_, &iter);
  iter.index = 3;
  EXPECT_EQ(nullptr, peekQueueEntryIter(&iter, 0));
  EXPECT_EQ(4u, iter.index);
  EXPECT_FALSE(IsLocked(queue_.mutex));
}

TEST_F(NotedQueue, WalkHandsOutARemovedEntryThatIsStillReferenced) {
  Insert(1);
  QueueEntry *const entry = deQueueEntry(&queue_, 0);
  EXPECT_THAT(Walk(1), ElementsAre(1));  // freed by the walk's own release
  EXPECT_THAT(g_released, ElementsAre(1));
  static_cast<void>(entry);

  Insert(2);
  QueueEntry *const held = peekQueueEntry(&queue_, 0);
  EXPECT_EQ(held, deQueueEntry(&queue_, 0));
  EXPECT_THAT(Walk(2), ElementsAre(-1, 2));
  FreeQueueEntry(held, 0);
}

TEST_F(NotedQueue, WalkNeverHandsOutAFreedEntry) {
  for (uint32_t tag = 1; tag <= 3; ++tag) Insert(tag);
  EXPECT_EQ(1, Take());
  EXPECT_NE(nullptr, queue_.slots[0]);  // the pointer is still there
  EXPECT_THAT(Walk(3), ElementsAre(-1, 2, 3));
  EXPECT_EQ(2, Take());
  EXPECT_EQ(3, Take());
  EXPECT_THAT(Walk(3), ElementsAre(-1, -1, -1));
}

TEST_F(NotedQueue, ALateReleaseDoesNotHideTheSlotsNextEntry) {
  Insert(1);
  QueueEntry *const held = peekQueueEntry(&queue_, 0);
  EXPECT_EQ(held, deQueueEntry(&queue_, 0));
  for (uint32_t tag = 2; tag <= 4; ++tag) Insert(tag);  // 4 lands in slot 0
  FreeQueueEntry(held, 0);
  EXPECT_THAT(g_released, ElementsAre(1));
  EXPECT_THAT(Walk(3), ElementsAre(4, 2, 3));
}

TEST_F(NotedQueue, AnEntryReleasedTooOftenIsSkippedNotRead) {
  Insert(1);
  Insert(2);
  FreeQueueEntry(peekQueueEntry(&queue_, 0), 0);
  FreeQueueEntry(queue_.slots[0], 0);  // the queue's own reference
  EXPECT_THAT(g_released, ElementsAre(1));
  EXPECT_EQ(nullptr, peekQueueEntry(&queue_, 0));
  EXPECT_EQ(nullptr, deQueueEntry(&queue_, 0));
  EXPECT_EQ(1u, queue_.count);
  EXPECT_EQ(2, Take());
}

TEST_F(NotedQueue, WalkPastItsEndWithTheLockHeldGivesNull) {
  QueueIter iter = {&queue_, 4};
  lockQueue(&queue_, 0);
  EXPECT_EQ(nullptr, peekQueueEntryIter(&iter, 1));
  EXPECT_EQ(4u, iter.index);
  EXPECT_TRUE(IsLocked(queue_.mutex));
  unlockQueue(&queue_);
}

TEST_F(NotedQueue, WalkPastItsEndHangsWithTheQueueLocked) {
  Child child([&] {
    QueueIter iter = {&queue_, 4};
    static_cast<void>(write(STDOUT_FILENO, "past the end\n", 13));
    return peekQueueEntryIter(&iter, 0) == nullptr ? 0 : 1;
  });
  EXPECT_TRUE(child.WaitForOutput("past the end\n"));
  usleep(200'000);
  EXPECT_FALSE(child.HasEnded());
}

// ---- teardown
// --------------------------------------------------------------------------------------

TEST_F(NotedQueue, TeardownReleasesEveryEntryOldestFirst) {
  for (uint32_t tag = 1; tag <= 3; ++tag) Insert(tag);
  Take();
  Insert(4);
  g_released.clear();
  deinit_queue(&queue_);
  EXPECT_THAT(g_released, ElementsAre(2, 3, 4));
  EXPECT_EQ(nullptr, queue_.slots);
  EXPECT_EQ(0u, queue_.count);
  EXPECT_EQ(0u, queue_.capacity);
}

TEST_F(NotedQueue, TeardownFreesAnEntryUnderAnOutstandingPeek) {
  Insert(1);
  QueueEntry *const peeked = peekQueueEntry(&queue_, 0);
  EXPECT_EQ(2, peeked->refCount);
  deinit_queue(&queue_);  // takes two references: the holder must not look at the entry any more
  EXPECT_THAT(g_released, ElementsAre(1));
}

TEST_F(NotedQueue, TeardownLeavesAnEntryWithTwoPeeksToItsHolders) {
  Insert(1);
  QueueEntry *const peeked = peekQueueEntry(&queue_, 0);
  EXPECT_EQ(peeked, peekQueueEntry(&queue_, 0));
  deinit_queue(&queue_);
  EXPECT_THAT(g_released, IsEmpty());
  EXPECT_EQ(1, peeked->refCount);
  ASSERT_EQ(1, init_queue(&queue_, 3, 0));
  FreeQueueEntry(peeked, 0);
  EXPECT_THAT(g_released, ElementsAre(1));
}

TEST_F(NotedQueue, TeardownTwiceDoesNothing) {
  deinit_queue(&queue_);
  deinit_queue(&queue_);
  EXPECT_EQ(nullptr, queue_.slots);
}

#if !CU_THREAD_SANITIZER  // which reports any use of a destroyed lock
TEST_F(NotedQueue, AfterTeardownItRefusesUntilItIsMadeAgain) {
  deinit_queue(&queue_);
  EXPECT_FALSE(Insert(1));
  EXPECT_EQ(0, waitOnQueue(&queue_, 5));
  EXPECT_EQ(0, signalQueueListeners(&queue_));
  EXPECT_THAT(Walk(1), ElementsAre(-1));
  ASSERT_EQ(1, init_queue(&queue_, 1, 0));
  EXPECT_TRUE(Insert(1));
}
#endif

// ---- locking, waiting
// ------------------------------------------------------------------------------

TEST_F(NotedQueue, LocksAndUnlocks) {
  EXPECT_EQ(1, lockQueue(&queue_, 0));
  EXPECT_TRUE(IsLocked(queue_.mutex));
  EXPECT_EQ(0, unlockQueue(&queue_));
  EXPECT_EQ(1, lockQueue(&queue_, 1000));
  EXPECT_TRUE(IsLocked(queue_.mutex));
  EXPECT_EQ(0, unlockQueue(&queue_));
}

TEST_F(NotedQueue, ATimedLockGoesOnUnlockedAndSaysOne) {
  lockQueue(&queue_, 0);
  int result = 0;
  std::thread([&] { result = lockQueue(&queue_, 10); }).join();
  EXPECT_EQ(1, result);
  EXPECT_EQ(0, unlockQueue(&queue_));  // the other thread did not get it
  EXPECT_FALSE(IsLocked(queue_.mutex));
}

TEST_F(NotedQueue, WaitEndsAfterItsTimeAndKeepsTheTimeout) {
  EXPECT_EQ(5u, queue_.sem->timeoutMs);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(0, waitOnQueue(&queue_, 100));
  const auto waited = std::chrono::steady_clock::now() - before;
  EXPECT_LT(waited, std::chrono::seconds(60));
  EXPECT_EQ(100u, queue_.sem->timeoutMs);
}

TEST_F(NotedQueue, NotificationCanBeSwitched) {
  disableQueueNotify(&queue_);
  EXPECT_EQ(1, queue_.notifyDisabled);
  EXPECT_TRUE(Insert(1));
  enableQueueNotify(&queue_);
  EXPECT_EQ(0, queue_.notifyDisabled);
  EXPECT_EQ(1, signalQueueListeners(&queue_));
}

}  // namespace
