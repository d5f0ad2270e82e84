// Reading a flex queue: the iterator's walk, removal, references and releases.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "messaging/flex_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::IsLocked;
using cu_test::Logger;
using cu_test::TestFlexQueue;
using cu_test::WaitsFor;
using testing::ElementsAre;

/// Peeks, drops the peek's reference at once, and tells the tag; -1 for null.
int64_t PeekTag(FlexQueueIter &iter) {
  FlexEntry *const entry = peekFlexQueueEntry(&iter, 0);
  if (entry == nullptr) return -1;
  const uint32_t tag = entry->tag;
  FreeFlexQueueEntry(entry, 0);
  return tag;
}

/// A queue with entries in some slots only; an entry's tag is its slot.
void FillSlots(TestFlexQueue &queue, std::vector<uint32_t> slots) {
  for (uint32_t slot = 0; slot < queue->capacity; ++slot) queue.Insert(slot);
  for (uint32_t slot = 0; slot < queue->capacity; ++slot) {
    if (std::find(slots.begin(), slots.end(), slot) == slots.end()) queue.Remove(slot);
  }
  ASSERT_EQ(slots.size(), queue->count);
}

// ---- getFlexQueueIter ---------------------------------------------------------------------------

TEST(GetFlexQueueIter, StartsAtTheFirstSlotInUse) {
  TestFlexQueue queue(6);
  FillSlots(queue, {3, 5});
  FlexQueueIter iter = {nullptr, 9, 9};
  lockFlexQueue(&queue, 0);
  getFlexQueueIter(&queue, &iter, 1);
  EXPECT_TRUE(IsLocked(queue->mutex));
  unlockFlexQueue(&queue);
  EXPECT_EQ(&queue, iter.queue);
  EXPECT_EQ(0U, iter.current);
  EXPECT_EQ(3U, iter.next);
}

TEST(GetFlexQueueIter, StartsAtSlot0OfAnEmptyQueue) {
  TestFlexQueue queue(6);
  FlexQueueIter iter = {&queue, 4, 4};
  getFlexQueueIter(&queue, &iter, 0);
  EXPECT_EQ(0U, iter.current);
  EXPECT_EQ(0U, iter.next);
}

TEST(GetFlexQueueIter, UnlockedItTakesAndReleasesTheMutexOfTheQueueThatItNames) {
  TestFlexQueue queue(6);
  FlexQueueIter iter = {&queue, 0, 0};
  EXPECT_TRUE(WaitsFor(queue->mutex, [&] { getFlexQueueIter(&queue, &iter, 0); }));
  EXPECT_FALSE(IsLocked(queue->mutex));
}

TEST(GetFlexQueueIter, UnlockedItLocksTheFormerQueueAndUnlocksTheNewOne) {
  TestFlexQueue former(2);
  TestFlexQueue queue(2);
  FlexQueueIter iter = {&former, 0, 0};
  lockFlexQueue(&queue, 0);
  getFlexQueueIter(&queue, &iter, 0);
  EXPECT_EQ(&queue, iter.queue);
  EXPECT_TRUE(IsLocked(former->mutex));
  EXPECT_FALSE(IsLocked(queue->mutex));
  unlockFlexQueue(&former);
}

TEST(GetFlexQueueIter, AnUnboundIteratorIsBoundUnderTheQueuesOwnLock) {
  TestFlexQueue queue(2);
  FlexQueueIter iter = {};
  EXPECT_TRUE(WaitsFor(queue->mutex, [&] { getFlexQueueIter(&queue, &iter, 0); }));
  EXPECT_FALSE(IsLocked(queue->mutex));
  EXPECT_EQ(&queue, iter.queue);
}

TEST(GetFlexQueueIter, NullDoesNothing) {
  TestFlexQueue queue(2);
  FlexQueueIter iter = {nullptr, 7, 8};
  getFlexQueueIter(nullptr, &iter, 0);
  getFlexQueueIter(&queue, nullptr, 0);
  EXPECT_EQ(nullptr, iter.queue);
  EXPECT_EQ(7U, iter.current);
  EXPECT_EQ(8U, iter.next);
}

// ---- peekFlexQueueEntry -------------------------------------------------------------------------

TEST(PeekFlexQueueEntry, WalksTheTableAndStartsOver) {
  TestFlexQueue queue(3);
  FillSlots(queue, {0, 1, 2});
  FlexQueueIter iter = queue.Begin();
  EXPECT_EQ(0, PeekTag(iter));
  EXPECT_EQ(0U, iter.current);
  EXPECT_EQ(1U, iter.next);
  EXPECT_EQ(1, PeekTag(iter));
  EXPECT_EQ(2, PeekTag(iter));
  EXPECT_EQ(2U, iter.current);
  EXPECT_EQ(0U, iter.next);
  EXPECT_EQ(0, PeekTag(iter));
}

TEST(PeekFlexQueueEntry, AddsAReference) {
  TestFlexQueue queue(1);
  FlexEntry *const entry = queue.Insert(1);
  FlexQueueIter iter = queue.Begin();
  EXPECT_EQ(entry, peekFlexQueueEntry(&iter, 0));
  EXPECT_EQ(2, entry->refCount);
  EXPECT_EQ(entry, peekFlexQueueEntry(&iter, 0));
  EXPECT_EQ(3, entry->refCount);
  EXPECT_EQ(1U, queue->count);
  FreeFlexQueueEntry(entry, 0);
  FreeFlexQueueEntry(entry, 0);
}

TEST(PeekFlexQueueEntry, OnAnEmptyQueueLeavesTheIterator) {
  TestFlexQueue queue(3);
  FlexQueueIter iter = {&queue, 1, 2};
  EXPECT_EQ(nullptr, peekFlexQueueEntry(&iter, 0));
  EXPECT_EQ(1U, iter.current);
  EXPECT_EQ(2U, iter.next);
  EXPECT_FALSE(IsLocked(queue->mutex));
}

struct SkipRow {
  std::vector<uint32_t> slots;  // in use, of 8
  uint32_t start;
  int64_t tag;  // -1: gives up
  uint32_t next;
};

TEST(PeekFlexQueueEntry, GivesUpAfterAsManyFreeSlotsAsThereAreEntries) {
  const SkipRow kRows[] = {
      {{5}, 5, 5, 6},     {{5}, 4, -1, 5},       // a single free slot ends the walk to one entry
      {{5}, 6, -1, 7},    {{5}, 7, -1, 0},       // also around the end
      {{3, 4}, 0, -1, 2}, {{3, 4}, 2, 3, 4},     // two entries bridge one free slot, not two
      {{3, 4}, 1, -1, 3}, {{3, 4, 5}, 1, 3, 4},  // three bridge two
      {{3, 4}, 7, -1, 1}, {{0, 1, 2}, 6, 0, 1},
  };
  for (const SkipRow &row : kRows) {
    SCOPED_TRACE(testing::Message() << "from " << row.start << " with " << row.slots.size());
    TestFlexQueue queue(8);
    FillSlots(queue, row.slots);
    FlexQueueIter iter = {&queue, 7, row.start};
    EXPECT_EQ(row.tag, PeekTag(iter));
    EXPECT_EQ(row.next, iter.next);
    EXPECT_EQ(row.tag < 0 ? 7U : static_cast<uint32_t>(row.tag), iter.current);
    EXPECT_FALSE(IsLocked(queue->mutex));
  }
}

TEST(PeekFlexQueueEntry, APositionBeyondTheTableStartsAtSlot0) {
  TestFlexQueue queue(3);
  FillSlots(queue, {0, 1});
  for (const uint32_t next : {3U, 1'000U, UINT32_MAX}) {
    FlexQueueIter iter = {&queue, 0, next};
    EXPECT_EQ(0, PeekTag(iter));
    EXPECT_EQ(1U, iter.next);
  }
}

TEST(PeekFlexQueueEntry, ASlotWithoutItsEntryIsLoggedAndPassed) {
  const Logger logger;
  TestFlexQueue queue(3);
  FillSlots(queue, {0, 1});
  FlexQueueIter iter = queue.Begin();
  FlexEntry *const entry = peekFlexQueueEntry(&iter, 0);
  FreeFlexQueueEntry(entry, 0);
  FreeFlexQueueEntry(entry, 0);  // the queue's reference, which was not the reader's to drop
  iter = queue.Begin();
  EXPECT_EQ(nullptr, peekFlexQueueEntry(&iter, 0));
  EXPECT_EQ(0U, iter.current);
  EXPECT_EQ(1U, iter.next);
  EXPECT_FALSE(IsLocked(queue->mutex));
  EXPECT_THAT(logger.lines(),
              ElementsAre("DEBUG [flexqueue]We should not have an empty entry already"));
  EXPECT_EQ(1, PeekTag(iter));
}

TEST(PeekFlexQueueEntry, TakesTheMutexUnlessItIsHeld) {
  TestFlexQueue queue(3);
  queue.Insert(1);
  FlexQueueIter iter = queue.Begin();
  EXPECT_TRUE(WaitsFor(queue->mutex, [&] { PeekTag(iter); }));
  lockFlexQueue(&queue, 0);
  FlexEntry *const entry = peekFlexQueueEntry(&iter, 1);
  EXPECT_TRUE(IsLocked(queue->mutex));
  FreeFlexQueueEntry(entry, 1);
  EXPECT_TRUE(IsLocked(queue->mutex));
  unlockFlexQueue(&queue);
}

TEST(PeekFlexQueueEntry, AnUnboundIteratorGivesNull) {
  FlexQueueIter iter = {};
  EXPECT_EQ(nullptr, peekFlexQueueEntry(&iter, 0));
  EXPECT_EQ(nullptr, peekFlexQueueEntry(&iter, 1));
  EXPECT_EQ(nullptr, peekFlexQueueEntry(nullptr, 0));
}

// ---- deQueueFlexEntry ---------------------------------------------------------------------------

TEST(DeQueueFlexEntry, RemovesWhatWasPeekedAndLeavesItsReferences) {
  TestFlexQueue queue(3);
  FillSlots(queue, {0, 1, 2});
  FlexQueueIter iter = queue.Begin();
  PeekTag(iter);
  FlexEntry *const peeked = peekFlexQueueEntry(&iter, 0);
  FlexEntry *const removed = deQueueFlexEntry(&iter, 0);
  EXPECT_EQ(peeked, removed);
  EXPECT_EQ(1U, removed->tag);
  EXPECT_EQ(2, removed->refCount);
  EXPECT_EQ(2U, queue->count);
  EXPECT_EQ(0, queue->slots[1].inUse);
  EXPECT_EQ(nullptr, queue->slots[1].entry);
  FreeFlexQueueEntry(removed, 0);
  EXPECT_EQ(1, removed->refCount);
  FreeFlexQueueEntry(removed, 0);
}

TEST(DeQueueFlexEntry, MovesTheIteratorBehindTheSlot) {
  TestFlexQueue queue(3);
  FillSlots(queue, {0, 1, 2});
  FlexQueueIter iter = {&queue, 1, 0};
  FreeFlexQueueEntry(deQueueFlexEntry(&iter, 0), 0);
  EXPECT_EQ(2U, iter.current);
  EXPECT_EQ(2U, iter.next);
  FreeFlexQueueEntry(deQueueFlexEntry(&iter, 0), 0);
  EXPECT_EQ(0U, iter.current);
  EXPECT_EQ(0U, iter.next);
}

TEST(DeQueueFlexEntry, AFreeSlotGivesNullAndMovesOn) {
  TestFlexQueue queue(3);
  FillSlots(queue, {0});
  FlexQueueIter iter = {&queue, 1, 1};
  EXPECT_EQ(nullptr, deQueueFlexEntry(&iter, 0));
  EXPECT_EQ(2U, iter.current);
  EXPECT_EQ(1U, queue->count);
}

TEST(DeQueueFlexEntry, OnAnEmptyQueueLeavesTheIteratorAndLogsNothing) {
  const Logger logger;
  TestFlexQueue queue(3);
  FlexQueueIter iter = {&queue, 1'000, 2};
  EXPECT_EQ(nullptr, deQueueFlexEntry(&iter, 0));
  EXPECT_EQ(1'000U, iter.current);
  EXPECT_EQ(2U, iter.next);
  EXPECT_FALSE(IsLocked(queue->mutex));
  EXPECT_THAT(logger.lines(), testing::IsEmpty());
}

TEST(DeQueueFlexEntry, APositionBeyondTheTableIsLogged) {
  const Logger logger;
  TestFlexQueue queue(3);
  queue.Insert(1);
  FlexQueueIter iter = {&queue, 3, 2};
  EXPECT_EQ(nullptr, deQueueFlexEntry(&iter, 0));
  EXPECT_EQ(3U, iter.current);
  EXPECT_EQ(2U, iter.next);
  EXPECT_FALSE(IsLocked(queue->mutex));
  EXPECT_THAT(logger.lines(),
              ElementsAre("CRITICAL [flexqueue]We tried to access beyond the boundries"));
}

TEST(DeQueueFlexEntry, ASlotThatLostItsEntryIsFreedAndCounted) {
  TestFlexQueue queue(3);
  FreeFlexQueueEntry(queue.Insert(1), 0);
  EXPECT_EQ(1U, queue->count);
  EXPECT_EQ(1, queue->slots[0].inUse);
  FlexQueueIter iter = {&queue, 0, 0};
  EXPECT_EQ(nullptr, deQueueFlexEntry(&iter, 0));
  EXPECT_EQ(0U, queue->count);
  EXPECT_EQ(0, queue->slots[0].inUse);
}

TEST(DeQueueFlexEntry, TakesTheMutexUnlessItIsHeld) {
  TestFlexQueue queue(3);
  FillSlots(queue, {0, 1});
  FlexQueueIter iter = queue.Begin();
  EXPECT_TRUE(WaitsFor(queue->mutex, [&] { FreeFlexQueueEntry(deQueueFlexEntry(&iter, 0), 0); }));
  lockFlexQueue(&queue, 0);
  FreeFlexQueueEntry(deQueueFlexEntry(&iter, 1), 1);
  EXPECT_TRUE(IsLocked(queue->mutex));
  unlockFlexQueue(&queue);
}

TEST(DeQueueFlexEntry, AnUnboundIteratorGivesNull) {
  FlexQueueIter iter = {};
  EXPECT_EQ(nullptr, deQueueFlexEntry(&iter, 0));
  EXPECT_EQ(nullptr, deQueueFlexEntry(nullptr, 0));
}

TEST(DeQueueFlexEntry, TwoReadersOfOneEntryRemoveItOnce) {
  TestFlexQueue queue(3);
  FlexEntry *const entry = queue.Insert(1);
  queue.Insert(2);
  FlexQueueIter first = queue.Begin();
  FlexQueueIter second = queue.Begin();
  EXPECT_EQ(entry, peekFlexQueueEntry(&first, 0));
  EXPECT_EQ(entry, peekFlexQueueEntry(&second, 0));
  EXPECT_EQ(entry, deQueueFlexEntry(&first, 0));
  EXPECT_EQ(nullptr, deQueueFlexEntry(&second, 0));
  EXPECT_EQ(3, entry->refCount);
  for (int reference = 0; reference < 3; ++reference) FreeFlexQueueEntry(entry, 0);
}

// ---- FreeFlexQueueEntry -------------------------------------------------------------------------

/// What freeFn was called with.
struct Releases {
  std::vector<uint32_t> tags;
  std::vector<bool> locked;
} g_releases;

void RecordRelease(FlexEntry *entry) {
  g_releases.tags.push_back(entry->tag);
  g_releases.locked.push_back(IsLocked(entry->queue->mutex));
  free(entry->data);
}

TEST(FreeFlexQueueEntry, TheLastReferenceReleasesTheDataWithTheQueueLocked) {
  g_releases = {};
  TestFlexQueue queue(3);
  queue->freeFn = RecordRelease;
  queue.Insert(7);
  FlexQueueIter iter = queue.Begin();
  FlexEntry *const entry = peekFlexQueueEntry(&iter, 0);
  deQueueFlexEntry(&iter, 0);
  FreeFlexQueueEntry(entry, 0);
  EXPECT_THAT(g_releases.tags, testing::IsEmpty());
  FreeFlexQueueEntry(entry, 0);
  EXPECT_THAT(g_releases.tags, ElementsAre(7));
  EXPECT_THAT(g_releases.locked, ElementsAre(true));
  EXPECT_FALSE(IsLocked(queue->mutex));
}

TEST(FreeFlexQueueEntry, TakesTheMutexUnlessItIsHeld) {
  TestFlexQueue queue(3);
  FlexEntry *const entry = queue.Insert(7);
  entry->refCount = 3;
  EXPECT_TRUE(WaitsFor(queue->mutex, [&] { FreeFlexQueueEntry(entry, 0); }));
  lockFlexQueue(&queue, 0);
  FreeFlexQueueEntry(entry, 5);
  EXPECT_TRUE(IsLocked(queue->mutex));
  unlockFlexQueue(&queue);
  EXPECT_EQ(1, entry->refCount);
}

TEST(FreeFlexQueueEntry, AnEntryWithoutDataIsFreedWithoutARelease) {
  g_releases = {};
  TestFlexQueue queue(3);
  queue->freeFn = RecordRelease;
  FlexEntry *const entry = queue.Insert(7);
  FlexQueueIter iter = queue.Begin();
  EXPECT_EQ(entry, deQueueFlexEntry(&iter, 0));
  free(entry->data);
  entry->data = nullptr;
  FreeFlexQueueEntry(entry, 0);
  EXPECT_THAT(g_releases.tags, testing::IsEmpty());
}

TEST(FreeFlexQueueEntry, ALateReleaseLeavesTheSlotsNextEntryAlone) {
  TestFlexQueue queue(1);
  FlexEntry *const former = queue.Insert(1);
  FlexQueueIter iter = queue.Begin();
  EXPECT_EQ(former, deQueueFlexEntry(&iter, 0));
  FlexEntry *const present = queue.Insert(2);
  FreeFlexQueueEntry(former, 0);
  EXPECT_EQ(present, queue->slots[0].entry);
}

TEST(FreeFlexQueueEntry, NullDoesNothing) {
  FreeFlexQueueEntry(nullptr, 0);
  FreeFlexQueueEntry(nullptr, 1);
}

}  // namespace
