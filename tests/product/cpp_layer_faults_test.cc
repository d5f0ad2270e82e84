// The C++ layer when the library cannot have what it needs: the handle is empty, nothing is left.
#include "include/commonutilities.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "support/faults.hpp"

namespace {

namespace cu = commonutilities;
using cu_test::Call;
using cu_test::Fault;

TEST(TableQueueUnderFaults, IsEmptyWithoutMemoryForItsArrays) {
  bool made = false;
  for (long k = 1; !made; ++k) {
    const Fault fault(Call::kMemory, k);
    const cu::TableQueue queue(2);
    made = !fault.fired();
    EXPECT_EQ(made, static_cast<bool>(queue)) << k;
  }
}

TEST(SharedRecordUnderFaults, LeavesNoNameBehindWithoutAMapping) {
  char name[16];
  std::snprintf(name, sizeof name, "/cppl.%d", static_cast<int>(getpid()) % 10000000);
  const std::string lock = "cppl." + std::to_string(getpid());
  {
    const Fault fault(Call::kMmap, 1, ENOMEM);
    EXPECT_FALSE(cu::SharedRecord<int>::create(name, lock.c_str()));
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_EQ(SEM_FAILED, sem_open(("/" + lock).c_str(), 0));
  EXPECT_EQ(-1, shm_open(name, O_RDONLY, 0));
}

}  // namespace
