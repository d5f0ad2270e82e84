// The buffer through which whole store files are read and written.
#ifndef COMMONUTILITIES_STORAGE_STORE_BLOCK_HPP
#define COMMONUTILITIES_STORAGE_STORE_BLOCK_HPP

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "internal/owned.hpp"
#include "storage/store_format.hpp"

namespace cu::store {

/// 64 KB from the heap or, where there is no memory, a little of its own, so that nothing fails for
/// want of a buffer. In front of it is room for a header that began in the block before.
class Block {
 public:
  static constexpr size_t kSeam = kRecordHeaderSize;

  Block() : heap_(static_cast<uint8_t *>(malloc(kSeam + kLarge))) {}

  uint8_t *data() { return (heap_ ? heap_.get() : own_) + kSeam; }
  size_t size() const { return heap_ ? kLarge : kSmall; }

 private:
  static constexpr size_t kLarge = 64 * 1024;
  static constexpr size_t kSmall = 512;

  Owned<uint8_t> heap_;
  uint8_t own_[kSeam + kSmall];
};

}  // namespace cu::store

#endif
