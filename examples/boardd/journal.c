#include "journal.h"

#include <limits.h>
#include <stdlib.h>

enum { JOURNAL_CAPACITY = 64 };

static int count(MessageQueue *queue) {
  MessageQueueIter iter;
  MessageEntry *message = NULL;
  int messages = 0;
  if (MessageQueueGetIter(queue, &iter) != 0) return 0;
  for (; MessageQueueGetMessage(&iter, &message) == 0; ++messages) FreeMessageEntry(message);
  return messages;
}

int journal_open(MessageQueue *queue, const char *path) {
  if (MessageQueueInit(queue, JOURNAL_CAPACITY) != 0) return -1;
  FILE *file = fopen(path, "rb");
  if (file == NULL) return 0;
  char *stream = NULL;
  if (fseek(file, 0, SEEK_END) == 0) {
    const long size = ftell(file);
    rewind(file);
    if (size > 0 && size < INT_MAX && (stream = malloc((size_t)size)) != NULL &&
        fread(stream, 1, (size_t)size, file) == (size_t)size)
      DeSerializeMsgQueue(queue, stream, (int32_t)size);
  }
  free(stream);
  fclose(file);
  return count(queue);
}

int journal_close(MessageQueue *queue, const char *path) {
  void *stream = NULL;
  uint32_t length = 0;
  int ok = SerializeMsgQueue(queue, &stream, &length) && (stream != NULL || length == 0);
  FILE *file = ok ? fopen(path, "wb") : NULL;
  ok = file != NULL && fwrite(stream, 1, length, file) == length;
  if (file != NULL && fclose(file) != 0) ok = 0;
  free(stream);
  MessageQueueDeInit(queue);
  return ok ? 0 : -1;
}

void journal_print(FILE *out, MessageQueue *queue) {
  MessageQueueIter iter;
  MessageEntry *message = NULL;
  if (MessageQueueGetIter(queue, &iter) != 0) return;
  while (MessageQueueGetMessage(&iter, &message) == 0) {
    fprintf(out, "    %s\n", (const char *)message->data);
    FreeMessageEntry(message);
  }
}
