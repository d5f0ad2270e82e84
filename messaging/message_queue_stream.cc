#include "include/messagequeue.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <span>

#include "internal/locks.hpp"
#include "messaging/message_queue.hpp"
#include "messaging/message_queue_stream.hpp"

namespace {

using Bytes = std::span<const uint8_t>;

/// The messages that a walk visits: those since the last wrap, up to the first empty slot.
std::span<MessageEntry *const> VisitedLocked(const MessageQueue &queue) {
  const std::span slots(queue.entries, std::min(queue.count, queue.capacity));
  const auto empty = std::find(slots.begin(), slots.end(), nullptr);
  return {slots.begin(), empty};
}

/// The stream's bytes; in 64 bits, since a full queue's can exceed 32.
uint64_t StreamLength(std::span<MessageEntry *const> messages) {
  uint64_t length = 0;
  for (const MessageEntry *message : messages) {
    if (message->data != nullptr) length += cu::kRecordHeaderSize + uint64_t{message->length};
  }
  return length;
}

void WriteRecords(std::span<MessageEntry *const> messages, uint8_t *stream) {
  for (const MessageEntry *message : messages) {
    if (message->data == nullptr) continue;
    cu::WriteRecordHeader({cu::kRecordReferenceCount, message->length, message->type}, stream);
    stream += cu::kRecordHeaderSize;
    memcpy(stream, message->data, message->length);
    stream += message->length;
  }
}

/// Adds the first record's message to the queue and takes the record off the stream. False when the
/// stream holds no whole record or there is no memory.
bool LoadRecord(MessageQueue *queue, Bytes &stream) {
  if (stream.size() < cu::kRecordHeaderSize) return false;
  const cu::RecordHeader header = cu::ReadRecordHeader(stream.data());
  const Bytes rest = stream.subspan(cu::kRecordHeaderSize);
  if (header.length > rest.size()) return false;
  cu::OwnedMessage message = cu::NewMessage(header.type, rest.data(), header.length);
  if (!message) return false;
  if (MessageQueueAddEntry(queue, message.get()) == 0) static_cast<void>(message.release());
  stream = rest.subspan(header.length);
  return true;
}

}  // namespace

int SerializeMsgQueue(MessageQueue *queue, void **out, uint32_t *length) {
  if (queue == nullptr || out == nullptr || length == nullptr) return 0;
  *out = nullptr;
  *length = 0;
  if (!cu::IsInitialised(queue)) return 1;
  const cu::MutexLock lock(queue->mutex);
  const std::span<MessageEntry *const> messages = VisitedLocked(*queue);
  const uint64_t total = StreamLength(messages);
  if (total > UINT32_MAX) return 1;
  auto *const stream = static_cast<uint8_t *>(malloc(static_cast<size_t>(total)));
  if (stream == nullptr) return 1;
  WriteRecords(messages, stream);
  *out = stream;
  *length = static_cast<uint32_t>(total);
  return 1;
}

int DeSerializeMsgQueue(MessageQueue *queue, const void *buffer, int32_t length) {
  if (queue == nullptr || buffer == nullptr) return 0;
  if (length < static_cast<int32_t>(cu::kShortestLoadableStream)) return 0;
  Bytes stream(static_cast<const uint8_t *>(buffer), static_cast<size_t>(length));
  while (LoadRecord(queue, stream)) {
  }
  return 1;
}
