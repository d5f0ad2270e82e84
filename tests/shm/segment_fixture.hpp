// Names for shared memory that no other test program, nor another run of the same one, uses.
#ifndef COMMONUTILITIES_TESTS_SHM_SEGMENT_FIXTURE_HPP
#define COMMONUTILITIES_TESTS_SHM_SEGMENT_FIXTURE_HPP

#include <fcntl.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "include/ambrelsharedmem.h"
#include "support/files.hpp"

namespace cu_test {

struct Free {
  void operator()(void *memory) const { free(memory); }
};

/// A segment that is released and freed at the end of its scope.
struct Release {
  void operator()(SharedMemorySegment *segment) const {
    aeDeInitializeSharedMemory(segment);
    free(segment);
  }
};
using Segment = std::unique_ptr<SharedMemorySegment, Release>;

class SharedMemoryTest : public testing::Test {
 protected:
  SharedMemoryTest() {
    memset(shm_name_, 0, sizeof shm_name_);
    snprintf(shm_name_, sizeof shm_name_, "/cu.%d", getpid());
    sem_name_ = "cu.lock." + std::to_string(getpid());
  }
  ~SharedMemoryTest() override {
    shm_unlink(shm_name_);
    sem_unlink(("/" + sem_name_).c_str());
  }

  Segment Open(uint8_t create, uint8_t writable, uint32_t size) {
    SharedMemorySegment *segment = nullptr;
    EXPECT_EQ(1, aeInitializeSharedMemory(shm_name_, sem_name_.c_str(), create, writable, size,
                                          &segment));
    return Segment(segment);
  }
  Segment Create(uint32_t size) { return Open(1, 1, size); }

  /// Size of the memory behind the name, -1 when there is none.
  long ObjectSize() const { return SizeOf(shm_name_); }
  static long SizeOf(const char *name) {
    const int fd = shm_open(name, O_RDONLY, 0);
    if (fd < 0) return -1;
    struct stat status;
    fstat(fd, &status);
    close(fd);
    return static_cast<long>(status.st_size);
  }
  /// Whether the lock's name exists.
  bool LockExists() const {
    sem_t *const lock = sem_open(("/" + sem_name_).c_str(), 0);
    if (lock == SEM_FAILED) return false;
    sem_close(lock);
    return true;
  }
  /// Locks that this process has open: each has a page in the address space.
  static int OpenLocks() {
    const std::string maps = ReadFile("/proc/self/maps");
    int count = 0;
    for (size_t at = maps.find("/sem."); at != std::string::npos; at = maps.find("/sem.", at + 1)) {
      ++count;
    }
    return count;
  }
  static int Value(sem_t *lock) {
    int value = -1;
    sem_getvalue(lock, &value);
    return value;
  }

  char shm_name_[16];
  std::string sem_name_;
};

}  // namespace cu_test

#endif
