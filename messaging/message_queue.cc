#include "include/messagequeue.h"

#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "internal/locks.hpp"
#include "internal/owned.hpp"
#include "messaging/message_queue.hpp"

namespace {

using cu::IsInitialised;
using cu::MutexLock;
using cu::NewMessage;
using cu::OwnedMessage;

constexpr int kDone = 0;
constexpr int kFailed = -1;
constexpr int kAtEnd = 2;

constexpr uint8_t kTypeText = 0;

static_assert(sizeof(void *) != 4 || sizeof(MessageEntry) == 16);
static_assert(sizeof(void *) != 4 || sizeof(MessageQueueIter) == 12);
static_assert(offsetof(MessageEntry, length) == 4);
static_assert(offsetof(MessageEntry, type) == 8);
static_assert(offsetof(MessageEntry, data) == 8 + sizeof(void *));
static_assert(offsetof(MessageQueue, writeIndex) == 2);
static_assert(offsetof(MessageQueue, capacity) == 4);
static_assert(offsetof(MessageQueue, wraps) == 6);
static_assert(offsetof(MessageQueue, mutex) == 8);
static_assert(offsetof(MessageQueue, initialised) ==
              offsetof(MessageQueue, entries) + sizeof(void *));
static_assert(offsetof(MessageQueueIter, index) == sizeof(void *));
static_assert(offsetof(MessageQueueIter, wraps) == sizeof(void *) + 2);
static_assert(offsetof(MessageQueueIter, read) == sizeof(void *) + 4);
static_assert(offsetof(MessageQueueIter, limit) == sizeof(void *) + 6);

/// Puts a message into the next slot, in place of the one that is there.
void Place(MessageQueue &queue, MessageEntry *message) {
  const MutexLock lock(queue.mutex);
  if (queue.writeIndex >= queue.capacity) {
    ++queue.wraps;
    queue.count = 0;
    queue.writeIndex = 0;
  }
  FreeMessageEntry(queue.entries[queue.writeIndex]);
  message->refCount = 1;
  queue.entries[queue.writeIndex] = message;
  ++queue.writeIndex;
  ++queue.count;
}

void ReleaseSlotsLocked(MessageQueue &queue) {
  for (uint32_t slot = 0; slot < queue.capacity; ++slot) {
    FreeMessageEntry(queue.entries[slot]);
    queue.entries[slot] = nullptr;
  }
}

}  // namespace

bool cu::IsInitialised(const MessageQueue *queue) {
  return queue != nullptr && __atomic_load_n(&queue->initialised, __ATOMIC_RELAXED) != 0;
}

OwnedMessage cu::NewMessage(uint8_t type, const void *data, uint32_t length) {
  OwnedMessage message(static_cast<MessageEntry *>(malloc(sizeof(MessageEntry))));
  if (!message) return message;
  *message = {.refCount = 1, .length = length, .type = type, .data = nullptr};
  if (data == nullptr) return message;
  message->data = CopyString(static_cast<const char *>(data), length).release();
  if (message->data == nullptr) message.reset();
  return message;
}

int MessageQueueInit(MessageQueue *queue, uint16_t capacity) {
  if (queue == nullptr || capacity == 0) return kFailed;
  *queue = {};
  queue->entries = static_cast<MessageEntry **>(calloc(capacity, sizeof(MessageEntry *)));
  if (queue->entries == nullptr) return kFailed;
  pthread_mutex_init(&queue->mutex, nullptr);
  queue->capacity = capacity;
  __atomic_store_n(&queue->initialised, uint8_t{1}, __ATOMIC_RELAXED);
  return kDone;
}

void MessageQueueDeInit(MessageQueue *queue) {
  if (!IsInitialised(queue)) return;
  {
    const MutexLock lock(queue->mutex);
    ReleaseSlotsLocked(*queue);
    free(queue->entries);
    queue->entries = nullptr;
  }
  pthread_mutex_destroy(&queue->mutex);
  __atomic_store_n(&queue->initialised, uint8_t{0}, __ATOMIC_RELAXED);
  queue->count = 0;
  queue->writeIndex = 0;
}

int ClearMessageQueue(MessageQueue *queue) {
  if (queue == nullptr) return 0;
  if (!IsInitialised(queue)) return 1;
  const MutexLock lock(queue->mutex);
  ReleaseSlotsLocked(*queue);
  return 1;
}

int MessageQueueAdd(MessageQueue *queue, const char *text, uint16_t length) {
  if (!IsInitialised(queue) || text == nullptr) return kFailed;
  OwnedMessage message = NewMessage(kTypeText, text, uint32_t{length} + 1);
  if (!message) return kFailed;
  Place(*queue, message.release());
  return kDone;
}

int MessageQueueAddWithParameters(MessageQueue *queue, const char *format, ...) {
  if (format == nullptr) return kFailed;
  const size_t size = 2 * strlen(format);
  const cu::Owned<char> text(static_cast<char *>(malloc(size != 0 ? size : 1)));
  if (!text) return kFailed;
  va_list arguments;
  va_start(arguments, format);
  const int written = vsnprintf(text.get(), size, format, arguments);
  va_end(arguments);
  if (written < 0 || size == 0) *text = '\0';
  // A text that is too long for a message is cut, not left without its terminator.
  const auto length = static_cast<uint16_t>(strlen(text.get()));
  text.get()[length] = '\0';
  MessageQueueAdd(queue, text.get(), length);
  return kDone;
}

int MessageQueueAddEntry(MessageQueue *queue, MessageEntry *entry) {
  if (!IsInitialised(queue) || entry == nullptr) return kFailed;
  Place(*queue, entry);
  return kDone;
}

int MessageQueueGetIter(MessageQueue *queue, MessageQueueIter *iter) {
  if (iter == nullptr) return kFailed;
  *iter = {};
  if (!IsInitialised(queue)) return kFailed;
  const MutexLock lock(queue->mutex);
  iter->queue = queue;
  iter->limit = queue->count;
  return kDone;
}

int MessageQueueGetMessage(MessageQueueIter *iter, MessageEntry **out) {
  if (out == nullptr) return kFailed;
  *out = nullptr;
  if (iter == nullptr || !IsInitialised(iter->queue)) return kFailed;
  const MessageQueue &queue = *iter->queue;
  const MutexLock lock(iter->queue->mutex);
  if (iter->index >= queue.capacity) {
    ++iter->wraps;
    iter->index = 0;
  }
  if (iter->read >= iter->limit) return kAtEnd;
  if (MessageQueueCloneEntry(queue.entries[iter->index], out) != kDone) return kFailed;
  ++iter->index;
  ++iter->read;
  return kDone;
}

int MessageQueueCloneEntry(const MessageEntry *entry, MessageEntry **out) {
  if (out == nullptr) return kFailed;
  *out = nullptr;
  if (entry == nullptr) return kFailed;
  *out = NewMessage(entry->type, entry->data, entry->length).release();
  return *out != nullptr ? kDone : kFailed;
}

void FreeMessageEntry(MessageEntry *entry) {
  if (entry == nullptr || entry->refCount == 0) return;
  if (--entry->refCount != 0) return;
  free(entry->data);
  free(entry);
}
