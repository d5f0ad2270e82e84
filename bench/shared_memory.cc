// Lock, write 4 KB, unlock, lock, read 4 KB, unlock.
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/frame.hpp"
#include "include/ambrelsharedmem.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

// All cases copy between the same pages: where two blocks lie to each other changes what memcpy()
// takes by more than the calls under test do.
constexpr uint32_t kSize = 4096;
alignas(kSize) uint8_t g_block[kSize];
alignas(kSize) uint8_t g_copy[kSize];

}  // namespace

int main(int argc, char **argv) {
  char name[16], sem_name[32];
  snprintf(name, sizeof name, "/cub%d", static_cast<int>(getpid()));
  snprintf(sem_name, sizeof sem_name, "cubs%d", static_cast<int>(getpid()));
  static SharedMemorySegment *segment = nullptr;
  if (!aeInitializeSharedMemory(name, sem_name, 1, 1, kSize, &segment)) return EXIT_FAILURE;
  memset(g_block, 7, sizeof g_block);

  static sem_t sem;
  sem_init(&sem, 1, 1);
  static pthread_mutex_t robust;
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&robust, &attributes);

  cu_bench::Family family("shared_memory", cu_bench::Clock::kCpu);
  for (const uint32_t attempts : {0U, 3U}) {
    auto &workload =
        family.AddWorkload("4 KB there and back, attempts " + std::to_string(attempts));
    workload.Add(Role::kLibrary, "aeLock/Write/Read", [=]() -> uint64_t {
      if (!aeLockSharedMemory(segment, attempts)) return 0;
      aeWriteSharedMemory(segment, g_block, kSize);
      aeUnLockSharedMemory(segment);
      if (!aeLockSharedMemory(segment, attempts)) return 0;
      aeReadSharedMemory(segment, g_copy, kSize);
      aeUnLockSharedMemory(segment);
      return g_copy[kSize - 1];
    });
    workload.Add(Role::kPeer, "robust process-shared mutex", []() -> uint64_t {
      pthread_mutex_lock(&robust);
      memcpy(segment->base, g_block, kSize);
      pthread_mutex_unlock(&robust);
      pthread_mutex_lock(&robust);
      memcpy(g_copy, segment->base, kSize);
      pthread_mutex_unlock(&robust);
      return g_copy[kSize - 1];
    });
    workload.Add(Role::kFloor, "2 memcpy + 2 sem_wait/post", []() -> uint64_t {
      sem_wait(&sem);
      memcpy(segment->base, g_block, kSize);
      sem_post(&sem);
      sem_wait(&sem);
      memcpy(g_copy, segment->base, kSize);
      sem_post(&sem);
      return g_copy[kSize - 1];
    });
    workload.Goal("aeLock/Write/Read", "2 memcpy + 2 sem_wait/post", 1.1);
  }
  const int status = family.Main(argc, argv);
  aeDeInitializeSharedMemory(segment);
  free(segment);
  return status;
}
