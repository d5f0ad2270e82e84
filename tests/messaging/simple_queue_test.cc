// The first-in-first-out queue of a subscriber, and the entries in it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "include/flexmsgqueue.h"
#include "messaging/flex_msg_queue_fixture.hpp"
#include "messaging/lock_probe.hpp"
#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Interposed;
using cu_test::IsLocked;
using cu_test::Logger;
using cu_test::ReleaseAll;
using cu_test::WaitsFor;
using testing::ElementsAre;
using testing::IsEmpty;

class TestSimpleQueue {
 public:
  explicit TestSimpleQueue(uint32_t capacity) {
    EXPECT_EQ(1, init_simplequeue(&record_, capacity, 0));
  }
  ~TestSimpleQueue() { deinit_simplequeue(&record_); }
  SimpleQueue &operator*() { return record_; }
  SimpleQueue *operator&() { return &record_; }
  SimpleQueue *operator->() { return &record_; }

 private:
  SimpleQueue record_ = {};
};

int g_items[8];

/// What a releaseFn was called with.
struct Releases {
  std::vector<uint32_t> sizes;  // by which the tests number their entries
  std::vector<bool> entry_locked;
  std::vector<bool> queue_locked;
  SimpleQueue *queue = nullptr;
} g_releases;

void RecordRelease(FlexMsgEntry *entry) {
  g_releases.sizes.push_back(entry->size);
  g_releases.entry_locked.push_back(IsLocked(entry->mutex));
  if (g_releases.queue != nullptr) {
    g_releases.queue_locked.push_back(IsLocked(g_releases.queue->mutex.mutex));
  }
  free(entry->data);
}

FlexMsgEntry *NewEntry(uint32_t size) {
  FlexMsgEntry *entry = nullptr;
  std::vector<char> data(size);
  EXPECT_EQ(1, createQueueEntry(data.data(), size, &entry, nullptr));
  entry->refCount = 1;
  entry->releaseFn = RecordRelease;
  return entry;
}

void Fill(SimpleQueue &queue, uint32_t entries) {
  for (uint32_t size = 1; size <= entries; ++size) {
    EXPECT_EQ(1, insertSimpleQueueEntry(&queue, NewEntry(size), 0));
  }
}

// ---- life ---------------------------------------------------------------------------------------

TEST(InitSimplequeue, SetsTheRecordUp) {
  SimpleQueue queue = {};
  queue.head = queue.count = 9;
  EXPECT_EQ(1, init_simplequeue(&queue, 4, 0xFFFF0001));
  EXPECT_EQ(0U, queue.head);
  EXPECT_EQ(-1, queue.tail);
  EXPECT_EQ(0U, queue.count);
  EXPECT_EQ(4U, queue.capacity);
  EXPECT_EQ(0xFFFF0001, queue.param);
  EXPECT_EQ(1, queue.mutex.initialised);
  EXPECT_EQ(1000U, queue.mutex.timeoutMs);
  for (uint32_t slot = 0; slot < 4; ++slot) EXPECT_EQ(nullptr, queue.slots[slot]);
  EXPECT_EQ(1, deinit_simplequeue(&queue));
}

TEST(InitSimplequeue, NullGives0) {
  EXPECT_EQ(0, init_simplequeue(nullptr, 4, 0));
  EXPECT_EQ(0, deinit_simplequeue(nullptr));
}

TEST(DeinitSimplequeue, DrainsHalfAndClearsTheRecord) {
  g_releases = {};
  SimpleQueue queue = {};
  init_simplequeue(&queue, 4, 0);
  FlexMsgEntry *const entries[] = {NewEntry(1), NewEntry(2), NewEntry(3)};
  for (FlexMsgEntry *const entry : entries) insertSimpleQueueEntry(&queue, entry, 0);
  EXPECT_EQ(1, deinit_simplequeue(&queue));
  EXPECT_THAT(g_releases.sizes, ElementsAre(1, 2));
  EXPECT_EQ(nullptr, queue.slots);
  EXPECT_EQ(0U, queue.count);
  EXPECT_EQ(0U, queue.capacity);
  EXPECT_EQ(0, queue.mutex.initialised);
  FreeFlexMsgQueueEntry(entries[2], 0);  // what the drain left has leaked but for this
}

// ---- insertion and removal ----------------------------------------------------------------------

TEST(InsertSimpleQueueEntry, KeepsTheOrderAndWrapsTheTail) {
  TestSimpleQueue queue(3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(1, insertSimpleQueueEntry(&queue, &g_items[i], 0));
  EXPECT_EQ(2, queue->tail);
  EXPECT_EQ(&g_items[0], deQueueSimpleEntry(&queue, 0));
  EXPECT_EQ(1, insertSimpleQueueEntry(&queue, &g_items[3], 0));
  EXPECT_EQ(0, queue->tail);
  EXPECT_EQ(&g_items[3], queue->slots[0]);
  for (int i = 1; i < 4; ++i) {
    EXPECT_EQ(static_cast<uint32_t>(i % 3), queue->head);
    EXPECT_EQ(&g_items[i], deQueueSimpleEntry(&queue, 0));
  }
  EXPECT_EQ(1U, queue->head);
  EXPECT_EQ(0U, queue->count);
}

TEST(InsertSimpleQueueEntry, AFullQueueRefusesAndLogs) {
  const Logger logger;
  TestSimpleQueue queue(1);
  EXPECT_EQ(1, insertSimpleQueueEntry(&queue, &g_items[0], 0));
  EXPECT_EQ(1, isSimpleQueueFull(&queue));
  EXPECT_EQ(0, insertSimpleQueueEntry(&queue, &g_items[1], 0));
  EXPECT_FALSE(IsLocked(queue->mutex.mutex));
  EXPECT_THAT(logger.lines(),
              ElementsAre("DEBUG [flexmsgqueue]Simple Queue is full ... this should never happen"));
  EXPECT_EQ(&g_items[0], deQueueSimpleEntry(&queue, 0));
}

TEST(InsertSimpleQueueEntry, NullIsRefusedSilently) {
  const Logger logger;
  TestSimpleQueue queue(1);
  EXPECT_EQ(0, insertSimpleQueueEntry(&queue, nullptr, 0));
  EXPECT_EQ(0, insertSimpleQueueEntry(nullptr, &g_items[0], 0));
  EXPECT_EQ(0, insertSimpleQueueEntry(nullptr, &g_items[0], 1));
  EXPECT_EQ(0U, queue->count);
  EXPECT_THAT(logger.lines(), IsEmpty());
}

TEST(InsertSimpleQueueEntry, TakesTheMutexUnlessItIsHeld) {
  TestSimpleQueue queue(2);
  EXPECT_TRUE(
      WaitsFor(queue->mutex.mutex, [&] { insertSimpleQueueEntry(&queue, &g_items[0], 0); }));
  ambrel_mutex_lock(&queue->mutex);
  EXPECT_EQ(9, insertSimpleQueueEntry(&queue, &g_items[1], 9));
  EXPECT_EQ(0, insertSimpleQueueEntry(&queue, &g_items[2], 9));
  EXPECT_TRUE(IsLocked(queue->mutex.mutex));
  EXPECT_EQ(&g_items[0], deQueueSimpleEntry(&queue, 9));
  EXPECT_TRUE(IsLocked(queue->mutex.mutex));
  ambrel_mutex_unlock(&queue->mutex);
  EXPECT_TRUE(WaitsFor(queue->mutex.mutex, [&] { deQueueSimpleEntry(&queue, 0); }));
  EXPECT_EQ(0U, queue->count);
}

TEST(DeQueueSimpleEntry, AnEmptyOrNullQueueGivesNull) {
  TestSimpleQueue queue(2);
  EXPECT_EQ(nullptr, deQueueSimpleEntry(&queue, 0));
  EXPECT_EQ(0U, queue->head);
  EXPECT_FALSE(IsLocked(queue->mutex.mutex));
  EXPECT_EQ(nullptr, deQueueSimpleEntry(nullptr, 0));
}

TEST(IsSimpleQueueFull, ComparesTheCountWithTheCapacityWithoutALock) {
  TestSimpleQueue queue(2);
  ambrel_mutex_lock(&queue->mutex);
  EXPECT_EQ(0, isSimpleQueueFull(&queue));
  EXPECT_EQ(1, isSimpleQueueEmpty(&queue));
  queue->count = 1;
  EXPECT_EQ(0, isSimpleQueueFull(&queue));
  EXPECT_EQ(0, isSimpleQueueEmpty(&queue));
  queue->count = 2;
  EXPECT_EQ(1, isSimpleQueueFull(&queue));
  queue->count = 0;
  ambrel_mutex_unlock(&queue->mutex);
  EXPECT_EQ(1, isSimpleQueueFull(nullptr));
  EXPECT_EQ(1, isSimpleQueueEmpty(nullptr));
}

TEST(IsSimpleQueueFull, AQueueWithoutSlotsIsFullAndEmpty) {
  TestSimpleQueue queue(0);
  EXPECT_EQ(1, isSimpleQueueFull(&queue));
  EXPECT_EQ(1, isSimpleQueueEmpty(&queue));
  EXPECT_EQ(0, insertSimpleQueueEntry(&queue, &g_items[0], 0));
  EXPECT_EQ(nullptr, deQueueSimpleEntry(&queue, 0));
}

// ---- draining -----------------------------------------------------------------------------------

struct DrainRow {
  uint32_t entries;
  uint32_t left;
};

TEST(DrainFlexQueueSubList, ReleasesTheOlderHalfRoundedUp) {
  constexpr DrainRow kRows[] = {{0, 0}, {1, 0}, {2, 1}, {3, 1}, {4, 2}, {5, 2}, {8, 4}, {9, 4}};
  for (const auto &[entries, left] : kRows) {
    SCOPED_TRACE(entries);
    g_releases = {};
    TestSimpleQueue queue(9);
    Fill(*queue, entries);
    EXPECT_EQ(1, DrainFlexQueueSubList(&queue, 0));
    EXPECT_EQ(left, queue->count);
    for (uint32_t i = 0; i < g_releases.sizes.size(); ++i) EXPECT_EQ(i + 1, g_releases.sizes[i]);
    EXPECT_EQ(entries - left, g_releases.sizes.size());
    ReleaseAll(*queue);
  }
}

TEST(DrainFlexQueueSubList, LocksTheQueueAndThenEachEntry) {
  g_releases = {};
  TestSimpleQueue queue(3);
  g_releases.queue = &queue;
  Fill(*queue, 3);
  EXPECT_EQ(1, DrainFlexQueueSubList(&queue, 0));
  EXPECT_THAT(g_releases.entry_locked, ElementsAre(true, true));
  EXPECT_THAT(g_releases.queue_locked, ElementsAre(true, true));
  EXPECT_FALSE(IsLocked(queue->mutex.mutex));
  ReleaseAll(*queue);
}

TEST(DrainFlexQueueSubList, WithTheLockHeldItReturnsLockedAndTouchesNoLock) {
  g_releases = {};
  TestSimpleQueue queue(3);
  g_releases.queue = &queue;
  Fill(*queue, 1);
  EXPECT_EQ(5, DrainFlexQueueSubList(&queue, 5));
  EXPECT_THAT(g_releases.queue_locked, ElementsAre(false));
  EXPECT_THAT(g_releases.entry_locked, ElementsAre(true));
}

TEST(DrainFlexQueueSubList, LeavesAnEntryWithAnotherReferenceToItsHolder) {
  g_releases = {};
  TestSimpleQueue queue(3);
  FlexMsgEntry *const held = NewEntry(1);
  held->refCount = 2;
  insertSimpleQueueEntry(&queue, held, 0);
  DrainFlexQueueSubList(&queue, 0);
  EXPECT_EQ(0U, queue->count);
  EXPECT_EQ(1, held->refCount);
  EXPECT_THAT(g_releases.sizes, IsEmpty());
  FreeFlexMsgQueueEntry(held, 0);
}

TEST(DrainFlexQueueSubList, NullGives0) {
  EXPECT_EQ(0, DrainFlexQueueSubList(nullptr, 0));
  EXPECT_EQ(0, DrainFlexQueueSubList(nullptr, 1));
}

TEST(RemoveSimpleQueueEntries, FreesTheItemsWithoutReferencesAndTakesAllOut) {
  struct Item {
    uint32_t word;
    int32_t references;
  };
  struct Object {
    uint32_t word;
    SimpleQueue queue;
  };
  Object object = {};
  init_simplequeue(&object.queue, 4, 0);
  Item kept[2] = {{0, 1}, {0, -1}};
  for (Item *const item : {&kept[0], &kept[1]}) insertSimpleQueueEntry(&object.queue, item, 0);
  for (int i = 0; i < 2; ++i) {
    insertSimpleQueueEntry(&object.queue, calloc(1, sizeof(Item)), 0);  // freed, or it leaks
  }
  ambrel_mutex_lock(&object.queue.mutex);  // it takes no lock
  EXPECT_EQ(1, removeSimpleQueueEntries(&object));
  ambrel_mutex_unlock(&object.queue.mutex);
  EXPECT_EQ(0U, object.queue.count);
  EXPECT_EQ(1, kept[0].references);
  EXPECT_EQ(1, removeSimpleQueueEntries(&object));
  EXPECT_EQ(0, removeSimpleQueueEntries(nullptr));
  deinit_simplequeue(&object.queue);
}

// ---- entries ------------------------------------------------------------------------------------

TEST(CreateQueueEntry, CopiesTheBytesAndFillsTheRecordIn) {
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *now) {
    EXPECT_EQ(CLOCK_MONOTONIC, clock);
    *now = {12'345, 999'999'999};
    return 0;
  };
  char data[] = "reading";
  FlexMsgEntry *entry = nullptr;
  EXPECT_EQ(1, createQueueEntry(data, sizeof data, &entry, nullptr));
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(sizeof data, entry->size);
  EXPECT_EQ(0, entry->refCount);
  EXPECT_NE(static_cast<void *>(data), entry->data);
  EXPECT_STREQ("reading", static_cast<char *>(entry->data));
  EXPECT_EQ(1U, entry->live);
  EXPECT_EQ(12'345, entry->timestamp);
  EXPECT_EQ(nullptr, entry->releaseFn);
  EXPECT_FALSE(IsLocked(entry->mutex));
  FreeFlexMsgQueueEntry(entry, 0);
}

TEST(CreateQueueEntry, ACopyFunctionMakesTheData) {
  static void *seen;
  char data[] = "reading";
  FlexMsgEntry *entry = nullptr;
  const FlexMsgCopyFn copy = [](void *source, void **out) {
    seen = source;
    *out = strdup("copied");
    return -1;  // any value but 0 is a success
  };
  EXPECT_EQ(1, createQueueEntry(data, 1'000'000, &entry, copy));
  EXPECT_EQ(data, seen);
  EXPECT_STREQ("copied", static_cast<char *>(entry->data));
  EXPECT_EQ(1'000'000U, entry->size);
  FreeFlexMsgQueueEntry(entry, 0);
}

TEST(CreateQueueEntry, AFailedCopyGives0AndNoEntry) {
  FlexMsgEntry *entry = nullptr;
  const FlexMsgCopyFn copy = [](void *, void **) { return 0; };
  EXPECT_EQ(0, createQueueEntry(g_items, 4, &entry, copy));
  EXPECT_EQ(nullptr, entry);
}

TEST(CreateQueueEntry, NullDataIsForSize0OrACopyFunction) {
  FlexMsgEntry *entry = nullptr;
  EXPECT_EQ(0, createQueueEntry(nullptr, 1, &entry, nullptr));
  EXPECT_EQ(nullptr, entry);
  EXPECT_EQ(1, createQueueEntry(nullptr, 0, &entry, nullptr));
  FreeFlexMsgQueueEntry(entry, 0);
  EXPECT_EQ(1, createQueueEntry(nullptr, 1, &entry, [](void *, void **) { return 1; }));
  EXPECT_EQ(nullptr, entry->data);
  FreeFlexMsgQueueEntry(entry, 0);
  EXPECT_EQ(0, createQueueEntry(g_items, 4, nullptr, nullptr));
}

TEST(FreeFlexMsgQueueEntry, TheLastReferenceReleasesTheDataWithTheEntryLocked) {
  g_releases = {};
  FlexMsgEntry *const entry = NewEntry(3);
  entry->refCount = 2;
  FreeFlexMsgQueueEntry(entry, 0);
  EXPECT_EQ(1, entry->refCount);
  EXPECT_FALSE(IsLocked(entry->mutex));
  EXPECT_THAT(g_releases.sizes, IsEmpty());
  FreeFlexMsgQueueEntry(entry, 0);
  EXPECT_THAT(g_releases.sizes, ElementsAre(3));
  EXPECT_THAT(g_releases.entry_locked, ElementsAre(true));
}

TEST(FreeFlexMsgQueueEntry, TakesTheMutexUnlessItIsHeld) {
  g_releases = {};
  FlexMsgEntry *const entry = NewEntry(3);
  entry->refCount = 3;
  EXPECT_TRUE(WaitsFor(entry->mutex, [&] { FreeFlexMsgQueueEntry(entry, 0); }));
  FreeFlexMsgQueueEntry(entry, 1);
  EXPECT_FALSE(IsLocked(entry->mutex));
  FreeFlexMsgQueueEntry(entry, 1);
  EXPECT_THAT(g_releases.entry_locked, ElementsAre(false));
}

TEST(FreeFlexMsgQueueEntry, AnEntryWithoutDataIsFreedWithoutARelease) {
  g_releases = {};
  FlexMsgEntry *const entry = NewEntry(3);
  free(entry->data);
  entry->data = nullptr;
  FreeFlexMsgQueueEntry(entry, 0);
  EXPECT_THAT(g_releases.sizes, IsEmpty());
}

TEST(FreeFlexMsgQueueEntry, NullDoesNothing) {
  FreeFlexMsgQueueEntry(nullptr, 0);
  FreeFlexMsgQueueEntry(nullptr, 1);
}

}  // namespace
