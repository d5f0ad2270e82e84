// Programs that include this file have their scratch folders in memory, where there is such a file
// system: they write many thousand files.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_SCRATCH_IN_MEMORY_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_SCRATCH_IN_MEMORY_HPP

#include <stdlib.h>
#include <unistd.h>

namespace cu_test {

inline const bool kScratchInMemory =
    access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;

}  // namespace cu_test

#endif
