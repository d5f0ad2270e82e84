// The stream that a message queue is kept in: its bytes, and what hostile ones do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "include/messagequeue.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using namespace std::string_literals;

struct Message {
  uint8_t type;
  std::string bytes;
  bool operator==(const Message &) const = default;
};
void PrintTo(const Message &message, std::ostream *out) {
  *out << int{message.type} << " " << testing::PrintToString(message.bytes);
}

/// The 32-bit number's bytes in the machine's order.
std::string Word(uint32_t value) {
  std::string bytes(4, '\0');
  memcpy(bytes.data(), &value, 4);
  return bytes;
}

std::string Record(uint8_t type, const std::string &bytes, uint32_t references = 1) {
  return Word(references) + Word(static_cast<uint32_t>(bytes.size())) + static_cast<char>(type) +
         bytes;
}

class Queue {
 public:
  explicit Queue(uint16_t capacity = 8) { EXPECT_EQ(0, MessageQueueInit(&record_, capacity)); }
  ~Queue() { MessageQueueDeInit(&record_); }
  Queue(const Queue &) = delete;
  Queue &operator=(const Queue &) = delete;

  MessageQueue *record() { return &record_; }

  void Add(const std::string &text) {
    EXPECT_EQ(0, MessageQueueAdd(&record_, text.c_str(), static_cast<uint16_t>(text.size())));
  }
  void AddEntry(uint8_t type, const std::string &bytes) {
    auto *const entry = static_cast<MessageEntry *>(malloc(sizeof(MessageEntry)));
    *entry = {0, static_cast<uint32_t>(bytes.size()), type, malloc(bytes.size() + 1)};
    memcpy(entry->data, bytes.data(), bytes.size());
    EXPECT_EQ(0, MessageQueueAddEntry(&record_, entry));
  }

  std::string Serialise() {
    void *stream = nullptr;
    uint32_t length = 4711;
    EXPECT_EQ(1, SerializeMsgQueue(&record_, &stream, &length));
    EXPECT_NE(nullptr, stream);
    const std::string bytes(static_cast<char *>(stream), length);
    free(stream);
    return bytes;
  }

  /// Loads a copy that ends where its block ends, so that a checker sees each byte read too far.
  int Load(const std::string &stream) {
    const std::unique_ptr<char[]> copy(new char[stream.size()]);
    memcpy(copy.get(), stream.data(), stream.size());
    return DeSerializeMsgQueue(&record_, copy.get(), static_cast<int32_t>(stream.size()));
  }

  std::vector<Message> Messages() {
    MessageQueueIter iter;
    MessageQueueGetIter(&record_, &iter);
    std::vector<Message> messages;
    for (MessageEntry *entry; MessageQueueGetMessage(&iter, &entry) == 0; FreeMessageEntry(entry)) {
      EXPECT_EQ(1u, entry->refCount);
      messages.push_back(
          {entry->type, std::string(static_cast<const char *>(entry->data), entry->length)});
    }
    return messages;
  }

 private:
  MessageQueue record_ = {};
};

// ---- writing
// ---------------------------------------------------------------------------------------

TEST(SerializeMsgQueue, WritesARecordOf13BytesForAbc) {
  Queue queue;
  queue.Add("abc");
  const std::string stream = queue.Serialise();
  EXPECT_EQ(13u, stream.size());
  if constexpr (std::endian::native == std::endian::little) {
    EXPECT_EQ("\x01\0\0\0\x04\0\0\0\0abc\0"s, stream);
  }
}

TEST(SerializeMsgQueue, WritesTheExampleOfItsFormatPage) {
  if (std::endian::native != std::endian::little)
    GTEST_SKIP() << "the page shows the boards' order";
  Queue queue;
  queue.Add("fan 3 stopped");
  queue.AddEntry(2, "\xDE\xAD\0"s);
  EXPECT_EQ(
      "\x01\0\0\0\x0e\0\0\0\0"s + "fan 3 stopped\0"s + "\x01\0\0\0\x03\0\0\0\x02"s + "\xDE\xAD\0"s,
      queue.Serialise());
}

TEST(SerializeMsgQueue, WritesTheRecordsOneAfterTheOther) {
  Queue queue;
  queue.Add("");
  queue.AddEntry(200, "\0\xFF"s);
  queue.AddEntry(7, "");
  EXPECT_EQ(Record(0, "\0"s) + Record(200, "\0\xFF"s) + Record(7, ""), queue.Serialise());
}

TEST(SerializeMsgQueue, WritesAReferenceCountOfOneWhateverTheMessagesIs) {
  Queue queue;
  queue.Add("abc");
  queue.record()->entries[0]->refCount = 3;
  EXPECT_EQ(Record(0, "abc\0"s), queue.Serialise());
  EXPECT_EQ(3u, queue.record()->entries[0]->refCount);
  queue.record()->entries[0]->refCount = 1;
}

TEST(SerializeMsgQueue, OfAnEmptyQueueGivesABlockOfNoBytes) {
  Queue queue;
  EXPECT_EQ("", queue.Serialise());
}

TEST(SerializeMsgQueue, WritesOnlyWhatAWalkVisits) {
  Queue queue(3);
  for (const char *text : {"1", "2", "3", "4", "5"}) queue.Add(text);
  EXPECT_EQ(Record(0, "4\0"s) + Record(0, "5\0"s), queue.Serialise());
}

TEST(SerializeMsgQueue, EndsAtAnEmptySlot) {
  Queue queue(3);
  queue.Add("1");
  ClearMessageQueue(queue.record());
  queue.Add("2");
  EXPECT_EQ("", queue.Serialise());
}

TEST(SerializeMsgQueue, LeavesOutMessagesWithoutData) {
  Queue queue;
  queue.Add("1");
  queue.Add("2");
  queue.Add("3");
  free(queue.record()->entries[1]->data);
  queue.record()->entries[1]->data = nullptr;
  EXPECT_EQ(Record(0, "1\0"s) + Record(0, "3\0"s), queue.Serialise());
}

TEST(SerializeMsgQueue, GivesNothingWhenTheStreamExceeds32Bits) {
  Queue queue;
  queue.Add("1");
  queue.Add("2");
  for (int slot = 0; slot < 2; ++slot) queue.record()->entries[slot]->length = 0x80000000;
  void *stream = &queue;
  uint32_t length = 4711;
  EXPECT_EQ(1, SerializeMsgQueue(queue.record(), &stream, &length));
  EXPECT_EQ(nullptr, stream);
  EXPECT_EQ(0u, length);
}

TEST(SerializeMsgQueue, RefusesNullsAndGivesNothingForAnUninitialisedQueue) {
  MessageQueue queue = {};
  char other = 0;
  void *stream = &other;
  uint32_t length = 4711;
  EXPECT_EQ(0, SerializeMsgQueue(nullptr, &stream, &length));
  EXPECT_EQ(0, SerializeMsgQueue(&queue, nullptr, &length));
  EXPECT_EQ(0, SerializeMsgQueue(&queue, &stream, nullptr));
  EXPECT_EQ(1, SerializeMsgQueue(&queue, &stream, &length));
  EXPECT_EQ(nullptr, stream);
  EXPECT_EQ(0u, length);
}

// ---- loading
// ---------------------------------------------------------------------------------------

TEST(DeSerializeMsgQueue, RefusesNullsAndStreamsOf15BytesOrFewer) {
  Queue queue;
  const std::string stream = Record(0, "text\0"s) + "more";
  EXPECT_EQ(0, DeSerializeMsgQueue(nullptr, stream.data(), 16));
  EXPECT_EQ(0, DeSerializeMsgQueue(queue.record(), nullptr, 16));
  for (const int32_t length : {15, 14, 9, 1, 0, -1, INT32_MIN}) {
    EXPECT_EQ(0, DeSerializeMsgQueue(queue.record(), stream.data(), length));
  }
  EXPECT_THAT(queue.Messages(), IsEmpty());
}

TEST(DeSerializeMsgQueue, LoadsARecordOf16Bytes) {
  Queue queue;
  EXPECT_EQ(1, queue.Load(Record(0, "123456\0"s)));
  EXPECT_THAT(queue.Messages(), ElementsAre(Message{0, "123456\0"s}));
}

TEST(DeSerializeMsgQueue, CannotLoadAQueueOfOneShortText) {
  Queue source, target;
  source.Add("12345");
  EXPECT_EQ(15u, source.Serialise().size());
  EXPECT_EQ(0, target.Load(source.Serialise()));
  source.Add("");
  EXPECT_EQ(1, target.Load(source.Serialise()));
  EXPECT_EQ(2u, target.Messages().size());
}

TEST(DeSerializeMsgQueue, GivesEveryMessageOneReference) {
  Queue queue;
  EXPECT_EQ(1, queue.Load(Record(3, "1234567", 0) + Record(4, "1234567", 0xFFFFFFFF)));
  EXPECT_THAT(queue.Messages(), ElementsAre(Message{3, "1234567"}, Message{4, "1234567"}));
}

TEST(DeSerializeMsgQueue, AppendsWithTheUsualWrap) {
  Queue queue(3);
  queue.Add("old 1");
  queue.Add("old 2");
  EXPECT_EQ(1, queue.Load(Record(1, "new 1") + Record(1, "new 2")));
  EXPECT_THAT(queue.Messages(), ElementsAre(Message{1, "new 2"}));
  EXPECT_STREQ("old 2", static_cast<const char *>(queue.record()->entries[1]->data));
  EXPECT_EQ(1, queue.record()->wraps);
}

TEST(DeSerializeMsgQueue, MakesEveryMessageAStringWhateverItsBytes) {
  Queue queue;
  EXPECT_EQ(1, queue.Load(Record(0, "no end here") + Record(0, "")));
  EXPECT_EQ(11u, queue.record()->entries[0]->length);
  EXPECT_STREQ("no end here", static_cast<const char *>(queue.record()->entries[0]->data));
  EXPECT_EQ(0u, queue.record()->entries[1]->length);
  EXPECT_STREQ("", static_cast<const char *>(queue.record()->entries[1]->data));
}

TEST(DeSerializeMsgQueue, LoadsTheWholeRecordsOfATornStream) {
  const std::string stream = Record(1, "first") + Record(2, "second") + Record(3, "third");
  for (size_t length = 16; length <= stream.size(); ++length) {
    SCOPED_TRACE(length);
    Queue queue;
    EXPECT_EQ(1, queue.Load(stream.substr(0, length)));
    const size_t whole = length < 14 + 15 ? 1 : length < 14 + 15 + 14 ? 2 : 3;
    EXPECT_EQ(whole, queue.Messages().size());
  }
}

TEST(DeSerializeMsgQueue, EndsAtARecordThatReachesBeyondTheStream) {
  for (const uint32_t length : {8u, 9u, 0x7FFFFFFFu, 0xFFFFFFF6u, 0xFFFFFFF7u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(length);
    Queue queue;
    EXPECT_EQ(1, queue.Load(Record(1, "first") + Word(1) + Word(length) + "\x01" + "1234567"));
    EXPECT_THAT(queue.Messages(), ElementsAre(Message{1, "first"}));
  }
}

TEST(DeSerializeMsgQueue, EndsAtARestTooShortForAHeader) {
  for (size_t rest = 0; rest < 9; ++rest) {
    SCOPED_TRACE(rest);
    Queue queue;
    EXPECT_EQ(1, queue.Load(Record(1, "1234567") + std::string(rest, '\x01')));
    EXPECT_EQ(1u, queue.Messages().size());
  }
}

TEST(DeSerializeMsgQueue, DropsTheMessagesForAnUninitialisedQueue) {
  MessageQueue queue = {};
  const std::string stream = Record(1, "first") + Record(2, "second");
  EXPECT_EQ(1, DeSerializeMsgQueue(&queue, stream.data(), static_cast<int32_t>(stream.size())));
  EXPECT_EQ(0, queue.count);
}

TEST(DeSerializeMsgQueue, LoadsAtAnyAddress) {
  const std::string stream = Record(1, "first") + Record(2, "second");
  for (size_t offset = 0; offset < 8; ++offset) {
    Queue queue;
    const std::string shifted = std::string(offset, '?') + stream;
    EXPECT_EQ(1, DeSerializeMsgQueue(queue.record(), shifted.data() + offset,
                                     static_cast<int32_t>(stream.size())));
    EXPECT_THAT(queue.Messages(), ElementsAre(Message{1, "first"}, Message{2, "second"}));
  }
}

// ---- both
// ------------------------------------------------------------------------------------------

TEST(MessageQueueStream, KeepsEveryMessageOverARestart) {
  std::mt19937 random(20240229);
  for (int round = 0; round < 200; ++round) {
    Queue source(64), target(64);
    for (uint32_t i = 2 + random() % 60; i != 0; --i) {
      std::string bytes(random() % 300, '\0');
      for (char &byte : bytes) byte = static_cast<char>(random());
      source.AddEntry(static_cast<uint8_t>(random()), bytes);
    }
    const std::string stream = source.Serialise();
    EXPECT_EQ(1, target.Load(stream));
    EXPECT_EQ(source.Messages(), target.Messages());
    EXPECT_EQ(stream, target.Serialise());
  }
}

TEST(MessageQueueStream, SurvivesRandomBytes) {
  std::mt19937 random(20240301);
  for (int round = 0; round < 2000; ++round) {
    Queue queue(4);
    std::string stream(16 + random() % 100, '\0');
    for (size_t i = 0; i < stream.size(); ++i) {
      // Small lengths are likely, so that many records are whole.
      stream[i] = static_cast<char>(random() % 3 == 0 ? random() % 16 : 0);
    }
    EXPECT_EQ(1, queue.Load(stream));
    const std::string kept = queue.Serialise();
    Queue again(4);
    EXPECT_EQ(kept.size() > 15 ? 1 : 0, again.Load(kept));
  }
}

}  // namespace
