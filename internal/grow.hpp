// Growing malloc memory by small steps in linear time, and the (count, list) pair of the schema
// records.
#ifndef COMMONUTILITIES_INTERNAL_GROW_HPP
#define COMMONUTILITIES_INTERNAL_GROW_HPP

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <bit>

namespace cu {

/// `size` rounded up to the next eighth of a power of two: at most 12.5 % slack, and a buffer that
/// grows a byte at a time is moved a logarithmic number of times. Exact below 16 and where rounding
/// would overflow.
constexpr size_t RoundedSize(size_t size) {
  if (size < 16) return size;
  const size_t step = size_t{1} << (std::bit_width(size - 1) - 4);
  const size_t rounded = (size + step - 1) & ~(step - 1);
  return rounded < size ? size : rounded;
}

/// realloc() to at least `size` bytes. It is called at each growth, also when the rounded size has
/// not changed, so that memory which a caller supplied is grown rightly too.
[[nodiscard]] inline void *ReallocRounded(void *memory, size_t size) {
  return realloc(memory, RoundedSize(size));
}

/// realloc() of an array to at least `count` elements; null when the size overflows.
template <typename T>
[[nodiscard]] T *ReallocArray(T *array, size_t count) {
  size_t size = 0;
  if (__builtin_mul_overflow(count, sizeof(T), &size)) return nullptr;
  return static_cast<T *>(ReallocRounded(array, size));
}

/// How many elements beyond the one that is needed a list takes room for at a time, when it is told
/// that they will come. Short lists then never move.
constexpr uint32_t kElementsAhead = 8;

/// `list` grown from `held` elements to index + 1, the new ones zeroed; null, and `list` still
/// valid, when there is no memory. The part of GrowToIndex() that all element types share.
[[nodiscard, gnu::noinline]] inline void *GrowZeroed(void *list, uint32_t held, uint32_t index,
                                                     size_t element_size, uint32_t expected) {
  size_t size = 0;
  if (index == UINT32_MAX || __builtin_mul_overflow(size_t{index} + 1, element_size, &size))
    return nullptr;
  size_t room = size;
  if (expected > index) {
    const uint32_t ahead = std::min(expected - index, kElementsAhead);
    if (__builtin_mul_overflow(size_t{index} + ahead, element_size, &room)) room = size;
  }
  void *const grown = ReallocRounded(list, room);
  if (grown == nullptr) return nullptr;
  const size_t kept = held * element_size;
  memset(static_cast<char *>(grown) + kept, 0, size - kept);
  return grown;
}

/// Makes element `index` of a (count, list) pair exist: a list that is too short grows to index + 1
/// elements, the new ones zeroed. False when there is no memory; the pair is then unchanged, and
/// what a failed growth leaves behind is the caller's to decide. `expected` tells how many elements
/// the list will probably get in all; it only saves moves.
template <typename T>
[[nodiscard]] bool GrowToIndex(uint32_t &count, T *&list, uint32_t index, uint32_t expected = 0) {
  if (index < count && list != nullptr) return true;
  void *const grown = GrowZeroed(list, list == nullptr ? 0 : count, index, sizeof(T), expected);
  if (grown == nullptr) return false;
  list = static_cast<T *>(grown);
  count = index + 1;
  return true;
}

}  // namespace cu

#endif
