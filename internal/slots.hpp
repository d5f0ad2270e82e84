// What queues over a table of slots share: the step around the table's end, and entries that know
// their slot.
#ifndef COMMONUTILITIES_INTERNAL_SLOTS_HPP
#define COMMONUTILITIES_INTERNAL_SLOTS_HPP

#include <stdint.h>

namespace cu {

/// The slot behind another, around the end of the table. Behind -1, before the first, is slot 0.
constexpr uint32_t NextSlot(uint32_t slot, uint32_t capacity) {
  const uint32_t next = slot + 1;
  return next < capacity ? next : 0;
}

/// What an insertion allocates; users see the first member. `slot` tells where the entry was put,
/// so that its release finds it there.
template <typename Entry>
struct SlottedEntry {
  Entry entry;
  uint32_t slot;
};

/// The slot of an entry that an insertion has allocated.
template <typename Entry>
uint32_t SlotOf(const Entry &entry) {
  return reinterpret_cast<const SlottedEntry<Entry> &>(entry).slot;
}

}  // namespace cu

#endif
