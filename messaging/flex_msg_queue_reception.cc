// Reception: how subscribers wait for their messages and take them.
#include "include/flexmsgqueue.h"

#include "messaging/flex_msg_queue.hpp"

namespace {

using cu::MutexLock;

}  // namespace

FlexMsgEntry *DeQueueMsgFlexEntry(FlexMsgQueue *queue, uint32_t sub, int locked) {
  if (queue == nullptr) return nullptr;
  FlexMsgQueueSub *slot = nullptr;
  {
    const MutexLock registration(queue->regMutex);
    slot = cu::RegisteredLocked(*queue, sub);
  }
  if (slot == nullptr) return nullptr;
  return static_cast<FlexMsgEntry *>(deQueueSimpleEntry(&slot->queue, locked));
}

int waitOnFlexMsgQueue(FlexMsgQueue *queue, uint32_t sub, int32_t ms) {
  if (queue == nullptr) return 0;
  FlexMsgQueueSub *slot = nullptr;
  {
    const MutexLock list(queue->listMutex);
    slot = cu::RegisteredLocked(*queue, sub);
    if (slot == nullptr) return 0;
    if (isSimpleQueueEmpty(&slot->queue) == 0) {
      return __atomic_load_n(&slot->inUse, __ATOMIC_RELAXED);
    }
  }
  __atomic_store_n(&slot->sem.timeoutMs, static_cast<uint32_t>(ms), __ATOMIC_RELAXED);
  return AmbrelSemphoreTimedWait(&slot->sem) == 0 ? 1 : 0;
}

int32_t getFlexMsgQueueNumEntries(FlexMsgQueue *queue, uint32_t sub) {
  if (queue == nullptr) return -1;
  const MutexLock list(queue->listMutex);
  const FlexMsgQueueSub *const slot = cu::SubscriberLocked(*queue, sub);
  // Answers for free slots only. Daemons rely on it.
  if (slot == nullptr || cu::IsInUse(*slot)) return -1;
  return static_cast<int32_t>(__atomic_load_n(&slot->queue.count, __ATOMIC_RELAXED));
}

int lockMsgFlexQueue(FlexMsgQueue *queue, uint32_t sub, int32_t ms) {
  if (queue == nullptr) return 0;
  FlexMsgQueueSub *slot = nullptr;
  {
    const MutexLock list(queue->listMutex);
    slot = cu::RegisteredLocked(*queue, sub);
  }
  if (slot == nullptr) return 0;
  if (ms == 0) {
    ambrel_mutex_unlock(&slot->queue.mutex);  // as required: this is how a hold ends
    return 1;
  }
  return ambrel_mutex_timed_lock(&slot->queue.mutex, static_cast<uint32_t>(ms)) == 0 ? 1 : 0;
}

void unlockMsgFlexQueue(FlexMsgQueue *queue) {
  if (queue == nullptr) return;
  const MutexLock list(queue->listMutex);
}
