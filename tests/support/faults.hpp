// Makes allocations and system calls of the library fail on demand, in programs that were built
// with cu_add_test(... FAULTS). Usage, the loop that reaches every failure branch:
//
//   for (long k = 1;; ++k) {
//     cu_test::Fault fault(cu_test::Call::kMemory, k);      // the k-th allocation fails
//     ... run the scenario and check its result ...
//     if (!fault.fired()) break;                            // the scenario made fewer than k calls
//   }
//
// One Fault is active at a time, and it counts the calls of every thread. With CU_FAULTS_FILE in
// the environment, the program appends to that file how many faults struck, in how many scenarios.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_FAULTS_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_FAULTS_HPP

#include <errno.h>

namespace cu_test {

enum class Call {
  kMemory,  // malloc, calloc, realloc and strdup, counted together
  kFopen,
  kFdopen,
  kFclose,
  kFread,
  kFwrite,
  kFflush,
  kFseek,
  kFtell,
  kOpen,
  kClose,
  kRead,
  kWrite,
  kPwrite,
  kLseek,
  kFtruncate,
  kRename,
  kRemove,
  kUnlink,
  kMkstemp,
  kMkdir,
  kStat,
  kPoll,
  kMmap,
  kShmOpen,
  kSemOpen,
  kSemInit,
  kDlopen,
  kClockGettime,
  kTimerfdCreate,
  kCount
};

enum class Reach {
  kOnce,      // the k-th call alone
  kFromThen,  // the k-th call and every later one
};

/// While it lives, the k-th call of a kind (counted from 1) fails with `error`. A close that fails
/// has closed all the same. Reads and writes with `error` 0 come up short instead: they do half of
/// what was asked.
class Fault {
 public:
  Fault(Call call, long k, int error = EIO, Reach reach = Reach::kOnce);
  ~Fault();
  Fault(const Fault &) = delete;
  Fault &operator=(const Fault &) = delete;

  /// Whether the fault has struck.
  bool fired() const;
  /// Calls of this kind so far; a Fault with k 0 only counts.
  long calls() const;
};

}  // namespace cu_test

#endif
