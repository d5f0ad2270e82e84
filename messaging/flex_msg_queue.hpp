// What the parts of the flex message queue share: how its list of subscribers is read, and how a
// subscriber slot and an entry are made.
#ifndef COMMONUTILITIES_MESSAGING_FLEX_MSG_QUEUE_HPP
#define COMMONUTILITIES_MESSAGING_FLEX_MSG_QUEUE_HPP

#include "include/flexmsgqueue.h"
#include "internal/locks.hpp"

namespace cu {

/// A subscriber slot, or null when there is no such slot. The array moves under both of the queue's
/// locks, so either of them is enough to look at it. The slots themselves stay until deinit.
inline FlexMsgQueueSub *SubscriberLocked(const FlexMsgQueue &queue, uint32_t index) {
  return index < queue.subCount ? queue.subs[index] : nullptr;
}

/// Registration changes the flag under regMutex, while waiters look at it under listMutex.
inline bool IsInUse(const FlexMsgQueueSub &sub) {
  return __atomic_load_n(&sub.inUse, __ATOMIC_RELAXED) != 0;
}

inline void SetInUse(FlexMsgQueueSub &sub, bool in_use) {
  __atomic_store_n(&sub.inUse, static_cast<uint8_t>(in_use), __ATOMIC_RELAXED);
}

/// The slot when a subscriber is registered in it; else null.
inline FlexMsgQueueSub *RegisteredLocked(const FlexMsgQueue &queue, uint32_t index) {
  FlexMsgQueueSub *const sub = SubscriberLocked(queue, index);
  return sub != nullptr && IsInUse(*sub) ? sub : nullptr;
}

/// A new slot, free, with an empty queue; null when there is no memory.
[[nodiscard]] FlexMsgQueueSub *NewMsgSubscriber(uint32_t capacity, uint32_t index);

/// Seconds of the clock that entries are stamped with; 0 when it cannot be read.
int32_t MessageClock();

/// One subscriber's copy of a message, without references; null when the copy failed or there is no
/// memory.
[[nodiscard]] FlexMsgEntry *NewMsgEntry(void *data, uint32_t size, FlexMsgCopyFn copy,
                                        int32_t timestamp);

}  // namespace cu

#endif
