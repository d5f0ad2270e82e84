// The entries of a flex message queue: one subscriber's copy of one message.
#include "include/flexmsgqueue.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "internal/locks.hpp"
#include "internal/owned.hpp"
#include "messaging/flex_msg_queue.hpp"

namespace {

static_assert(offsetof(FlexMsgEntry, refCount) == 4);
static_assert(offsetof(FlexMsgEntry, data) == 8);
static_assert(offsetof(FlexMsgEntry, live) == 8 + sizeof(void *));
static_assert(offsetof(FlexMsgEntry, timestamp) == 12 + sizeof(void *));
static_assert(offsetof(FlexMsgEntry, releaseFn) == 16 + sizeof(void *));
static_assert(offsetof(FlexMsgEntry, mutex) == 16 + 2 * sizeof(void *));

/// A copy of `size` bytes in `out`.
bool CopyBytes(const void *source, uint32_t size, void **out) {
  if (source == nullptr && size != 0) return false;
  *out = malloc(size);
  if (*out == nullptr) return size == 0;
  if (size != 0) memcpy(*out, source, size);
  return true;
}

}  // namespace

int32_t cu::MessageClock() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int32_t>(now.tv_sec);
}

FlexMsgEntry *cu::NewMsgEntry(void *data, uint32_t size, FlexMsgCopyFn copy, int32_t timestamp) {
  Owned<FlexMsgEntry> entry(static_cast<FlexMsgEntry *>(malloc(sizeof(FlexMsgEntry))));
  if (!entry) return nullptr;
  *entry = {.size = size,
            .refCount = 0,
            .data = nullptr,
            .live = 1,
            .timestamp = timestamp,
            .releaseFn = nullptr,
            .mutex = PTHREAD_MUTEX_INITIALIZER};
  const bool copied =
      copy != nullptr ? copy(data, &entry->data) != 0 : CopyBytes(data, size, &entry->data);
  return copied ? entry.release() : nullptr;
}

int createQueueEntry(void *data, uint32_t size, FlexMsgEntry **outEntry, FlexMsgCopyFn copyFn) {
  if (outEntry == nullptr) return 0;
  FlexMsgEntry *const entry = cu::NewMsgEntry(data, size, copyFn, cu::MessageClock());
  if (entry == nullptr) return 0;
  *outEntry = entry;
  return 1;
}

void FreeFlexMsgQueueEntry(FlexMsgEntry *entry, int locked) {
  if (entry == nullptr) return;
  {
    const cu::MutexLockUnlessHeld lock(entry->mutex, locked != 0);
    if (--entry->refCount >= 1) return;
    if (entry->data != nullptr) {
      if (entry->releaseFn != nullptr) {
        entry->releaseFn(entry);
      } else {
        free(entry->data);
        entry->data = nullptr;
      }
    }
  }
  pthread_mutex_destroy(&entry->mutex);
  free(entry);
}
