// The (count, list) pairs of records: making an element exist, emptying, releasing.
#ifndef COMMONUTILITIES_JSON_RECORD_LIST_HPP
#define COMMONUTILITIES_JSON_RECORD_LIST_HPP

#include <stdint.h>
#include <stdlib.h>

#include <type_traits>

#include "internal/grow.hpp"

namespace cu {

/// The element type of a (count, list) pair.
template <typename Pair>
using ElementOf = std::remove_pointer_t<decltype(Pair::list)>;

/// Element `index` of a pair, made by growing it with zeroed elements where needed; null when there
/// is no memory, and the pair is as before. A pair with count 0 starts a new list whatever its
/// pointer: releases leave stale ones behind. `expected` is that of GrowToIndex().
template <typename Pair>
[[nodiscard]] ElementOf<Pair> *ElementAt(Pair &pair, uint32_t index, uint32_t expected = 0) {
  if (pair.count == 0) pair.list = nullptr;
  return GrowToIndex(pair.count, pair.list, index, expected) ? pair.list + index : nullptr;
}

/// The pair without elements. What it held is not released.
template <typename Pair>
void Forget(Pair &pair) {
  pair.count = 0;
  pair.list = nullptr;
}

/// Releases every element, in order, and then the list. Nothing is reset; null is accepted.
template <typename Pair>
void ReleaseList(Pair *pair, void (*release)(ElementOf<Pair> *)) {
  if (pair == nullptr || pair->list == nullptr) return;
  for (uint32_t i = 0; i < pair->count; ++i) release(&pair->list[i]);
  free(pair->list);
}

}  // namespace cu

#endif
