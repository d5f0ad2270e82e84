// The message queue: where messages land, what a walk visits, and who frees what.
#include "include/messagequeue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "support/threads.hpp"

namespace {

using cu_test::IsLocked;
using testing::ElementsAre;
using testing::IsEmpty;

/// A queue of three.
class SmallQueue : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, MessageQueueInit(&queue_, 3)); }
  void TearDown() override { MessageQueueDeInit(&queue_); }

  int Add(const std::string &text) {
    return MessageQueueAdd(&queue_, text.c_str(), static_cast<uint16_t>(text.size()));
  }

  /// The texts of the slots, "-" for an empty one.
  std::vector<std::string> Slots() const {
    std::vector<std::string> texts;
    for (int slot = 0; slot < queue_.capacity; ++slot)
      texts.push_back(queue_.entries[slot] ? TextOf(*queue_.entries[slot]) : "-");
    return texts;
  }

  /// The texts that a walk yields, and then the result that ended it.
  std::vector<std::string> Walk() {
    MessageQueueIter iter;
    EXPECT_EQ(0, MessageQueueGetIter(&queue_, &iter));
    std::vector<std::string> texts;
    for (;;) {
      MessageEntry *message = nullptr;
      const int result = MessageQueueGetMessage(&iter, &message);
      if (result != 0) {
        EXPECT_EQ(nullptr, message);
        texts.push_back(std::to_string(result));
        return texts;
      }
      texts.push_back(TextOf(*message));
      FreeMessageEntry(message);
    }
  }

  static std::string TextOf(const MessageEntry &message) {
    return static_cast<const char *>(message.data);
  }

  MessageQueue queue_ = {};
};

MessageEntry *NewEntry(uint8_t type, const std::string &bytes) {
  auto *const entry = static_cast<MessageEntry *>(malloc(sizeof(MessageEntry)));
  *entry = {99, static_cast<uint32_t>(bytes.size()), type, malloc(bytes.size() + 1)};
  memcpy(entry->data, bytes.c_str(), bytes.size() + 1);
  return entry;
}

// ---- init and teardown
// -----------------------------------------------------------------------------

TEST(MessageQueueInit, MakesAnEmptyQueueOfWhateverTheRecordHeld) {
  MessageQueue queue;
  memset(&queue, 0xEE, sizeof queue);
  EXPECT_EQ(0, MessageQueueInit(&queue, 3));
  EXPECT_EQ(0, queue.count);
  EXPECT_EQ(0, queue.writeIndex);
  EXPECT_EQ(3, queue.capacity);
  EXPECT_EQ(0, queue.wraps);
  EXPECT_EQ(1, queue.initialised);
  ASSERT_NE(nullptr, queue.entries);
  for (int slot = 0; slot < 3; ++slot) EXPECT_EQ(nullptr, queue.entries[slot]);
  EXPECT_FALSE(IsLocked(queue.mutex));
  MessageQueueDeInit(&queue);
}

TEST(MessageQueueInit, RefusesNullAndACapacityOfZero) {
  MessageQueue queue = {};
  EXPECT_EQ(-1, MessageQueueInit(nullptr, 3));
  EXPECT_EQ(-1, MessageQueueInit(&queue, 0));
  EXPECT_EQ(0, queue.initialised);
}

TEST(MessageQueueDeInit, EndsTheUseOfTheQueue) {
  MessageQueue queue = {};
  ASSERT_EQ(0, MessageQueueInit(&queue, 2));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(0, MessageQueueAdd(&queue, "text", 4));
  MessageQueueDeInit(&queue);
  EXPECT_EQ(0, queue.initialised);
  EXPECT_EQ(0, queue.count);
  EXPECT_EQ(0, queue.writeIndex);
  EXPECT_EQ(nullptr, queue.entries);
  EXPECT_EQ(-1, MessageQueueAdd(&queue, "text", 4));
  MessageQueueDeInit(&queue);
  MessageQueueDeInit(nullptr);
  EXPECT_EQ(0, MessageQueueInit(&queue, 2));
  MessageQueueDeInit(&queue);
}

TEST(MessageQueue, AnUninitialisedQueueIsRefusedByEveryFunction) {
  MessageQueue queue = {};
  MessageQueueIter iter = {&queue, 1, 1, 1, 1};
  MessageEntry *const entry = NewEntry(0, "text");
  MessageEntry *message = entry;
  EXPECT_EQ(-1, MessageQueueAdd(&queue, "text", 4));
  EXPECT_EQ(-1, MessageQueueAddEntry(&queue, entry));
  EXPECT_EQ(99u, entry->refCount);
  EXPECT_EQ(-1, MessageQueueGetMessage(&iter, &message));
  EXPECT_EQ(nullptr, message);
  EXPECT_EQ(-1, MessageQueueGetIter(&queue, &iter));
  EXPECT_EQ(nullptr, iter.queue);
  EXPECT_EQ(1, ClearMessageQueue(&queue));
  MessageQueueDeInit(&queue);
  entry->refCount = 1;
  FreeMessageEntry(entry);
}

TEST_F(SmallQueue, NullIsRefusedByEveryFunction) {
  MessageQueueIter iter = {&queue_, 1, 1, 1, 1};
  MessageEntry *const entry = NewEntry(0, "text");
  MessageEntry *message = entry;
  EXPECT_EQ(-1, MessageQueueAdd(nullptr, "text", 4));
  EXPECT_EQ(-1, MessageQueueAdd(&queue_, nullptr, 4));
  EXPECT_EQ(-1, MessageQueueAddEntry(nullptr, entry));
  EXPECT_EQ(-1, MessageQueueAddEntry(&queue_, nullptr));
  EXPECT_EQ(-1, MessageQueueGetIter(&queue_, nullptr));
  EXPECT_EQ(-1, MessageQueueGetIter(nullptr, &iter));
  EXPECT_EQ(nullptr, iter.queue);
  EXPECT_EQ(-1, MessageQueueGetMessage(nullptr, &message));
  EXPECT_EQ(nullptr, message);
  message = entry;
  EXPECT_EQ(-1, MessageQueueGetMessage(&iter, &message));  // an iterator without a queue
  EXPECT_EQ(nullptr, message);
  MessageQueueGetIter(&queue_, &iter);
  EXPECT_EQ(-1, MessageQueueGetMessage(&iter, nullptr));
  message = entry;
  EXPECT_EQ(-1, MessageQueueCloneEntry(nullptr, &message));
  EXPECT_EQ(nullptr, message);
  EXPECT_EQ(-1, MessageQueueCloneEntry(entry, nullptr));
  EXPECT_EQ(0, ClearMessageQueue(nullptr));
  FreeMessageEntry(nullptr);
  EXPECT_EQ(0, queue_.count);
  entry->refCount = 1;
  FreeMessageEntry(entry);
}

// ---- adding
// ----------------------------------------------------------------------------------------

TEST_F(SmallQueue, AddStoresTheTextAndItsTerminator) {
  EXPECT_EQ(0, Add("abc"));
  const MessageEntry &entry = *queue_.entries[0];
  EXPECT_EQ(1u, entry.refCount);
  EXPECT_EQ(4u, entry.length);
  EXPECT_EQ(0, entry.type);
  EXPECT_EQ(0, memcmp("abc", entry.data, 4));
  EXPECT_EQ(1, queue_.count);
  EXPECT_EQ(1, queue_.writeIndex);
}

TEST_F(SmallQueue, AddCopiesTheText) {
  char text[] = "abc";
  EXPECT_EQ(0, MessageQueueAdd(&queue_, text, 3));
  text[0] = 'x';
  EXPECT_THAT(Slots(), ElementsAre("abc", "-", "-"));
}

TEST_F(SmallQueue, AddOfNothingStoresTheTerminator) {
  EXPECT_EQ(0, MessageQueueAdd(&queue_, "", 0));
  EXPECT_EQ(1u, queue_.entries[0]->length);
  EXPECT_THAT(Walk(), ElementsAre("", "2"));
}

TEST_F(SmallQueue, AddOfPartOfATextStoresTheNextByteInThePlaceOfTheTerminator) {
  EXPECT_EQ(0, MessageQueueAdd(&queue_, "abcdef", 3));
  EXPECT_EQ(4u, queue_.entries[0]->length);
  EXPECT_EQ(0, memcmp("abcd", queue_.entries[0]->data, 4));
  EXPECT_STREQ("abcd", static_cast<const char *>(queue_.entries[0]->data));  // still a string
}

TEST_F(SmallQueue, AddTakesTheLongestText) {
  const std::string text(65535, 'x');
  EXPECT_EQ(0, Add(text));
  EXPECT_EQ(65536u, queue_.entries[0]->length);
  EXPECT_EQ(text, TextOf(*queue_.entries[0]));
}

TEST_F(SmallQueue, AFourthMessageWrapsAndOverwritesTheFirst) {
  for (const char *text : {"1", "2", "3"}) EXPECT_EQ(0, Add(text));
  EXPECT_EQ(3, queue_.count);
  EXPECT_EQ(3, queue_.writeIndex);
  EXPECT_EQ(0, queue_.wraps);  // the wrap is made by the next message
  EXPECT_EQ(0, Add("4"));
  EXPECT_EQ(0, Add("5"));
  EXPECT_THAT(Slots(), ElementsAre("4", "5", "3"));
  EXPECT_EQ(2, queue_.count);
  EXPECT_EQ(2, queue_.writeIndex);
  EXPECT_EQ(1, queue_.wraps);
  EXPECT_THAT(Walk(), ElementsAre("4", "5", "2"));
}

TEST_F(SmallQueue, WrapsAreCountedModulo256) {
  for (int i = 0; i < 3 * 256 + 1; ++i) EXPECT_EQ(0, Add("x"));
  EXPECT_EQ(0, queue_.wraps);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(0, Add("x"));
  EXPECT_EQ(1, queue_.wraps);
}

TEST_F(SmallQueue, AnAddedEntryBelongsToTheQueue) {
  MessageEntry *const entry = NewEntry(7, "bytes");
  EXPECT_EQ(0, MessageQueueAddEntry(&queue_, entry));
  EXPECT_EQ(entry, queue_.entries[0]);
  EXPECT_EQ(1u, entry->refCount);  // whatever it was before
  EXPECT_EQ(7, entry->type);
  EXPECT_EQ(5u, entry->length);
  EXPECT_EQ(1, queue_.count);
  EXPECT_EQ(1, queue_.writeIndex);
}

TEST_F(SmallQueue, AddedEntriesWrapAndOverwriteToo) {
  for (const char *text : {"1", "2", "3", "4"})
    EXPECT_EQ(0, MessageQueueAddEntry(&queue_, NewEntry(1, text)));
  EXPECT_THAT(Slots(), ElementsAre("4", "2", "3"));
  EXPECT_EQ(1, queue_.wraps);
  EXPECT_EQ(1, queue_.count);
}

TEST_F(SmallQueue, AMessageWithMoreReferencesOutlivesItsSlot) {
  MessageEntry *const entry = NewEntry(1, "kept");
  EXPECT_EQ(0, MessageQueueAddEntry(&queue_, entry));
  ++entry->refCount;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(0, Add("x"));
  EXPECT_THAT(Slots(), ElementsAre("x", "x", "x"));
  EXPECT_EQ(1u, entry->refCount);
  EXPECT_EQ("kept", TextOf(*entry));
  FreeMessageEntry(entry);
}

// ---- adding formatted text
// -------------------------------------------------------------------------

/// The same function, for formats that a compiler warns of.
int (*const AddAnyFormat)(MessageQueue *, const char *, ...) = MessageQueueAddWithParameters;

TEST_F(SmallQueue, FormattedTextIsAdded) {
  EXPECT_EQ(0, MessageQueueAddWithParameters(&queue_, "fan %d: %s", 3, "stopped"));
  EXPECT_THAT(Walk(), ElementsAre("fan 3: stopped", "2"));
  EXPECT_EQ(15u, queue_.entries[0]->length);
}

TEST_F(SmallQueue, FormattedTextIsCutToTwiceTheFormatsLengthLessOne) {
  EXPECT_EQ(0, MessageQueueAddWithParameters(&queue_, "%d", 123456));
  EXPECT_EQ(0, MessageQueueAddWithParameters(&queue_, "%s", "abc"));
  EXPECT_EQ(0, MessageQueueAddWithParameters(&queue_, "%s: %d", "abcdefghijklmn", 1));
  EXPECT_THAT(Walk(), ElementsAre("123", "abc", "abcdefghijk", "2"));
  EXPECT_EQ(4u, queue_.entries[0]->length);
}

TEST_F(SmallQueue, AnEmptyFormatAddsAnEmptyText) {
  EXPECT_EQ(0, AddAnyFormat(&queue_, ""));
  EXPECT_THAT(Walk(), ElementsAre("", "2"));
  EXPECT_EQ(1u, queue_.entries[0]->length);
}

TEST_F(SmallQueue, ANullFormatIsRefused) {
  EXPECT_EQ(-1, AddAnyFormat(&queue_, nullptr));
  EXPECT_EQ(0, queue_.count);
}

TEST(MessageQueueAddWithParameters, GivesZeroAlsoWhenTheTextIsNotAdded) {
  MessageQueue queue = {};
  EXPECT_EQ(0, MessageQueueAddWithParameters(nullptr, "text"));
  EXPECT_EQ(0, MessageQueueAddWithParameters(&queue, "text"));
}

TEST_F(SmallQueue, AFormattedTextTooLongForAMessageIsCutAndTerminated) {
  const std::string exact(65535, 'x'), format(65536 + 3, 'y');
  EXPECT_EQ(0, AddAnyFormat(&queue_, exact.c_str()));
  EXPECT_EQ(65536u, queue_.entries[0]->length);
  EXPECT_EQ(exact, TextOf(*queue_.entries[0]));

  EXPECT_EQ(0, AddAnyFormat(&queue_, format.c_str()));
  EXPECT_EQ(4u, queue_.entries[1]->length);
  EXPECT_EQ(0, memcmp("yyy", queue_.entries[1]->data, 4));
}

// ---- walking
// ---------------------------------------------------------------------------------------

TEST_F(SmallQueue, AWalkStartsAtSlotZeroWithTheCountAsItsLimit) {
  Add("1");
  Add("2");
  MessageQueueIter iter;
  memset(&iter, 0xEE, sizeof iter);
  EXPECT_EQ(0, MessageQueueGetIter(&queue_, &iter));
  EXPECT_EQ(&queue_, iter.queue);
  EXPECT_EQ(0, iter.index);
  EXPECT_EQ(0, iter.wraps);
  EXPECT_EQ(0, iter.read);
  EXPECT_EQ(2, iter.limit);
}

TEST_F(SmallQueue, AWalkOverAnEmptyQueueEndsAtOnce) {
  EXPECT_THAT(Walk(), ElementsAre("2"));
}

TEST_F(SmallQueue, AWalkOverAFullQueueVisitsAllAndThenWrapsItsIndex) {
  for (const char *text : {"1", "2", "3"}) Add(text);
  MessageQueueIter iter;
  MessageEntry *message = nullptr;
  MessageQueueGetIter(&queue_, &iter);
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(0, MessageQueueGetMessage(&iter, &message));
    EXPECT_EQ(i, iter.index);
    EXPECT_EQ(i, iter.read);
    FreeMessageEntry(message);
  }
  EXPECT_EQ(2, MessageQueueGetMessage(&iter, &message));
  EXPECT_EQ(nullptr, message);
  EXPECT_EQ(0, iter.index);
  EXPECT_EQ(1, iter.wraps);
  EXPECT_EQ(2, MessageQueueGetMessage(&iter, &message));
  EXPECT_EQ(1, iter.wraps);
}

TEST_F(SmallQueue, RightAfterAWrapAWalkVisitsOneMessage) {
  for (const char *text : {"1", "2", "3", "4"}) Add(text);
  EXPECT_THAT(Walk(), ElementsAre("4", "2"));
}

TEST_F(SmallQueue, AWalkSeesNoMessageAddedAfterItsStart) {
  Add("1");
  MessageQueueIter iter;
  MessageEntry *message = nullptr;
  MessageQueueGetIter(&queue_, &iter);
  Add("2");
  EXPECT_EQ(0, MessageQueueGetMessage(&iter, &message));
  FreeMessageEntry(message);
  EXPECT_EQ(2, MessageQueueGetMessage(&iter, &message));
}

TEST_F(SmallQueue, AWalkEndsAtAnEmptySlotAndStaysThere) {
  Add("1");
  MessageQueueIter iter;
  MessageQueueGetIter(&queue_, &iter);
  EXPECT_EQ(1, ClearMessageQueue(&queue_));
  for (int i = 0; i < 2; ++i) {
    MessageEntry *message = queue_.entries[0];
    EXPECT_EQ(-1, MessageQueueGetMessage(&iter, &message));
    EXPECT_EQ(nullptr, message);
  }
  EXPECT_EQ(0, iter.index);
  EXPECT_EQ(0, iter.read);
  EXPECT_FALSE(IsLocked(queue_.mutex));
}

TEST_F(SmallQueue, AReadersMessageIsACopyOfItsOwn) {
  EXPECT_EQ(0, MessageQueueAddEntry(&queue_, NewEntry(42, std::string("a\0b", 3))));
  queue_.entries[0]->refCount = 5;
  MessageQueueIter iter;
  MessageEntry *message = nullptr;
  MessageQueueGetIter(&queue_, &iter);
  ASSERT_EQ(0, MessageQueueGetMessage(&iter, &message));
  EXPECT_NE(queue_.entries[0], message);
  EXPECT_NE(queue_.entries[0]->data, message->data);
  EXPECT_EQ(1u, message->refCount);
  EXPECT_EQ(42, message->type);
  EXPECT_EQ(3u, message->length);
  EXPECT_EQ(0, memcmp("a\0b", message->data, 3));
  queue_.entries[0]->refCount = 1;
  MessageQueueDeInit(&queue_);
  EXPECT_EQ(0, memcmp("a\0b", message->data, 3));  // outlives the queue
  FreeMessageEntry(message);
}

TEST_F(SmallQueue, FunctionsLeaveTheQueueUnlocked) {
  MessageQueueIter iter;
  MessageEntry *message = nullptr;
  Add("1");
  EXPECT_FALSE(IsLocked(queue_.mutex));
  MessageQueueGetIter(&queue_, &iter);
  EXPECT_FALSE(IsLocked(queue_.mutex));
  MessageQueueGetMessage(&iter, &message);
  EXPECT_FALSE(IsLocked(queue_.mutex));
  FreeMessageEntry(message);
  MessageQueueGetMessage(&iter, &message);
  EXPECT_FALSE(IsLocked(queue_.mutex));
  ClearMessageQueue(&queue_);
  EXPECT_FALSE(IsLocked(queue_.mutex));
}

// ---- clearing, copying, releasing
// ------------------------------------------------------------------

TEST_F(SmallQueue, ClearingReleasesAllAndKeepsTheCounters) {
  for (const char *text : {"1", "2", "3", "4"}) Add(text);
  EXPECT_EQ(1, ClearMessageQueue(&queue_));
  EXPECT_THAT(Slots(), ElementsAre("-", "-", "-"));
  EXPECT_EQ(1, queue_.count);
  EXPECT_EQ(1, queue_.writeIndex);
  EXPECT_EQ(1, queue_.wraps);
  EXPECT_THAT(Walk(), ElementsAre("-1"));
}

TEST_F(SmallQueue, AClearedQueueIsWalkedAgainOnceItHasWrapped) {
  Add("1");
  ClearMessageQueue(&queue_);
  Add("2");
  EXPECT_THAT(Slots(), ElementsAre("-", "2", "-"));
  EXPECT_THAT(Walk(), ElementsAre("-1"));
  Add("3");
  Add("4");
  EXPECT_THAT(Walk(), ElementsAre("4", "2"));
}

TEST(MessageQueueCloneEntry, CopiesAMessageWithoutData) {
  const MessageEntry entry = {3, 12, 9, nullptr};
  MessageEntry *copy = nullptr;
  EXPECT_EQ(0, MessageQueueCloneEntry(&entry, &copy));
  EXPECT_EQ(1u, copy->refCount);
  EXPECT_EQ(12u, copy->length);
  EXPECT_EQ(9, copy->type);
  EXPECT_EQ(nullptr, copy->data);
  FreeMessageEntry(copy);
}

TEST(FreeMessageEntry, DropsOneReferenceAndFreesAtTheLast) {
  MessageEntry *const entry = NewEntry(0, "text");
  entry->refCount = 2;
  FreeMessageEntry(entry);
  EXPECT_EQ(1u, entry->refCount);
  EXPECT_STREQ("text", static_cast<const char *>(entry->data));
  FreeMessageEntry(entry);
}

TEST(FreeMessageEntry, DoesNothingForAnEntryWithoutReferences) {
  MessageEntry entry = {0, 3, 0, nullptr};
  FreeMessageEntry(&entry);
  EXPECT_EQ(0u, entry.refCount);
  EXPECT_EQ(3u, entry.length);
}

}  // namespace
