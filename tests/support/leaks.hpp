// For tests of memory that is lost on purpose: what LeakSanitizer is not to report, and whether a
// piece of a test loses memory at all.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_LEAKS_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_LEAKS_HPP

#include <malloc.h>
#include <stddef.h>
#include <stdlib.h>

#include "support/sanitizers.hpp"

#if CU_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace cu_test {

/// While it lives, what is allocated may be lost.
class MayLeak {
 public:
#if CU_ADDRESS_SANITIZER
  MayLeak() {
    __lsan_disable();
  }
  ~MayLeak() {
    __lsan_enable();
  }
#else
  MayLeak() {}
  ~MayLeak() {}
#endif
  MayLeak(const MayLeak &) = delete;
  MayLeak &operator=(const MayLeak &) = delete;
};

/// Bytes that the process has allocated and not freed.
inline size_t AllocatedBytes() {
#if CU_ADDRESS_SANITIZER
  return __sanitizer_get_current_allocated_bytes();
#else
  // Large blocks are mapped and counted apart.
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
#endif
}

/// Whether AllocatedBytes() tells anything in this build: ThreadSanitizer keeps its own books.
inline bool CountsAllocatedBytes() {
  const size_t before = AllocatedBytes();
  void *volatile memory = malloc(100000);
  const bool counted = AllocatedBytes() > before;
  free(memory);
  return counted;
}

}  // namespace cu_test

#endif
