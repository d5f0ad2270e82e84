// What the parts of the flex queue share: its entry count and its table.
#ifndef COMMONUTILITIES_MESSAGING_FLEX_QUEUE_HPP
#define COMMONUTILITIES_MESSAGING_FLEX_QUEUE_HPP

#include <span>

#include "include/flexqueue.h"
#include "internal/locks.hpp"

namespace cu {

/// The number of entries. It changes under the queue's mutex, but waiters look at it without.
inline uint32_t Count(const FlexQueue &queue) {
  return __atomic_load_n(&queue.count, __ATOMIC_RELAXED);
}

inline void SetCount(FlexQueue &queue, uint32_t count) {
  __atomic_store_n(&queue.count, count, __ATOMIC_RELAXED);
}

/// The table; empty when init found no memory for it.
inline std::span<FlexSlot> Slots(const FlexQueue &queue) {
  return {queue.slots, queue.slots != nullptr ? queue.capacity : 0};
}

}  // namespace cu

#endif
