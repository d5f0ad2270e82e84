// Any bytes as a message-queue stream: what was loaded serialises and loads again to the same.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "include/messagequeue.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const uint16_t capacity = static_cast<uint16_t>(data[0] + 1);
  MessageQueue queue, copy;
  MessageQueueInit(&queue, capacity);
  MessageQueueInit(&copy, capacity);
  DeSerializeMsgQueue(&queue, data + 1, static_cast<int32_t>(size - 1));

  // The walk over what was loaded ends, and its copies can be copied.
  MessageQueueIter iter;
  MessageEntry *entry = nullptr, *again_entry = nullptr;
  uint32_t messages = 0;
  if (MessageQueueGetIter(&queue, &iter) != 0) abort();
  while (MessageQueueGetMessage(&iter, &entry) == 0) {
    if (++messages > queue.capacity) abort();
    if (MessageQueueCloneEntry(entry, &again_entry) != 0 || again_entry->length != entry->length ||
        again_entry->type != entry->type)
      abort();
    FreeMessageEntry(again_entry);
    FreeMessageEntry(entry);
  }
  if (size > 1 && size <= UINT16_MAX && (data[1] & 1) != 0)
    MessageQueueAdd(&queue, reinterpret_cast<const char *>(data), static_cast<uint16_t>(size - 1));

  void *stream = nullptr, *again = nullptr;
  uint32_t length = 0, again_length = 0;
  SerializeMsgQueue(&queue, &stream, &length);
  // Streams of up to 15 bytes can be written but not loaded.
  if (length > 15 && DeSerializeMsgQueue(&copy, stream, static_cast<int32_t>(length))) {
    SerializeMsgQueue(&copy, &again, &again_length);
    if (length != again_length || memcmp(stream, again, length) != 0) abort();
  }
  free(stream);
  free(again);
  MessageQueueDeInit(&queue);
  MessageQueueDeInit(&copy);
  return 0;
}
