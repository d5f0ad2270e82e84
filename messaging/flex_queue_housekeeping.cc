// The housekeeping loop of a flex queue.
#include "include/flexqueue.h"

#include <time.h>

namespace {

constexpr uint32_t kUsPerMs = 1'000;

void SleepOnePeriod(const FlexQueue &queue) {
  ambrelusleep(uint64_t{kUsPerMs} * queue.ageMs);
}

/// Compares thousandths of milliseconds with seconds, in 32 bits; daemons rely on it.
bool IsYoung(const FlexQueue &queue, const FlexEntry &entry) {
  const auto limit = static_cast<int32_t>(kUsPerMs * queue.ageMs);
  const auto age = static_cast<int32_t>(static_cast<uint32_t>(time(nullptr)) -
                                        static_cast<uint32_t>(entry.timestamp));
  return limit > age;
}

}  // namespace

void FlexqueueHouseKeeping(FlexQueue *queue) {
  if (queue == nullptr) return;
  for (;;) {
    SleepOnePeriod(*queue);
    FlexQueueIter first = {};
    lockFlexQueue(queue, 0);
    getFlexQueueIter(queue, &first, 1);
    if (FlexEntry *const entry = peekFlexQueueEntry(&first, 1)) {
      // Starts over without an unlock, as it always has: from here on the queue is locked for good.
      if (IsYoung(*queue, *entry)) continue;
      FreeFlexQueueEntry(entry, 1);
      SleepOnePeriod(*queue);
    }
    unlockFlexQueue(queue);
  }
}
