// Publication: each subscriber's copy of a message, and the wake-ups.
#include "include/flexmsgqueue.h"

#include "internal/log_pair.hpp"
#include "messaging/flex_msg_queue.hpp"

namespace {

using cu::MutexLock;

constexpr char kLogModule[] = "flexmsgqueue";

/// What is being published.
struct Message {
  void *data;
  uint32_t size;
  int32_t timestamp;
};

bool Wants(const FlexMsgQueueSub &sub, void *data) {
  if (sub.matchFn == nullptr || sub.matchContext == nullptr) return true;
  return sub.matchFn(sub.matchContext, data) != 0;
}

/// Takes the queue's own lock, since the subscriber may be dequeuing.
bool PurgeOldest(SimpleQueue &queue) {
  auto *const oldest = static_cast<FlexMsgEntry *>(deQueueSimpleEntry(&queue, 0));
  if (oldest == nullptr) return false;
  FreeFlexMsgQueueEntry(oldest, 1);
  return true;
}

void Deliver(const FlexMsgQueue &queue, uint32_t index, FlexMsgQueueSub &sub,
             const Message &message) {
  if (!Wants(sub, message.data)) return;
  const bool full = isSimpleQueueFull(&sub.queue) != 0;
  if (full && queue.autopurge == 0) {
    CU_LOG(DBGLOG_CRITICAL, "The queue was full and we drop an entry for sub %d\n", index);
    return;
  }
  if (full && !PurgeOldest(sub.queue)) return;
  FlexMsgEntry *const entry =
      cu::NewMsgEntry(message.data, message.size, queue.copyFn, message.timestamp);
  if (entry == nullptr) return;
  entry->releaseFn = queue.releaseFn;
  entry->refCount = 1;
  if (insertSimpleQueueEntry(&sub.queue, entry, 0) != 0) return;
  if (full) {
    CU_LOG(DBGLOG_CRITICAL, "The queue was full after autopurge and we drop an entry for sub %d\n",
           index);
  } else {
    CU_LOG(DBGLOG_CRITICAL, "The queue was full and we drop an entry for sub %d\n", index);
  }
  FreeFlexMsgQueueEntry(entry, 1);
}

/// Each signal is sent with the list unlocked: a woken subscriber finds it free.
void WakeSubscribers(FlexMsgQueue &queue) {
  pthread_mutex_lock(&queue.listMutex);
  for (uint32_t index = 0; index < queue.subCount; ++index) {
    FlexMsgQueueSub *const sub = cu::RegisteredLocked(queue, index);
    if (sub == nullptr) continue;
    pthread_mutex_unlock(&queue.listMutex);
    AmbrelSemphoreSignal(&sub->sem, 0);
    pthread_mutex_lock(&queue.listMutex);
  }
  pthread_mutex_unlock(&queue.listMutex);
}

}  // namespace

int insertFlexMsgQueueEntry(FlexMsgQueue *queue, void *data, uint32_t size, int locked) {
  if (queue == nullptr) return 0;
  {
    const cu::MutexLockUnlessHeld registration(queue->regMutex, locked != 0);
    const MutexLock list(queue->listMutex);
    const Message message = {.data = data, .size = size, .timestamp = cu::MessageClock()};
    for (uint32_t index = 0; index < queue->subCount; ++index) {
      if (FlexMsgQueueSub *const sub = cu::RegisteredLocked(*queue, index)) {
        Deliver(*queue, index, *sub, message);
      }
    }
  }
  WakeSubscribers(*queue);
  CU_LOG(DBGLOG_DEBUG, "SUCCESSFULLY INSERTED QUEUE ITEM\n");
  return 1;
}
