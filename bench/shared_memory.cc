// Lock, write 4 KB, unlock, lock, read 4 KB, unlock.
#include <apr_general.h>
#include <apr_proc_mutex.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/sem.h>
#include <unistd.h>

#include <boost/interprocess/sync/interprocess_mutex.hpp>
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
SharedMemorySegment *segment = nullptr;

/// The work between any pair of lock and unlock.
template <typename Lock, typename Unlock>
uint64_t ThereAndBack(Lock lock, Unlock unlock) {
  lock();
  memcpy(segment->base, g_block, kSize);
  unlock();
  lock();
  memcpy(g_copy, segment->base, kSize);
  unlock();
  return g_copy[kSize - 1];
}

void SemOp(int set, short change) {
  sembuf operation = {0, change, SEM_UNDO};
  if (semop(set, &operation, 1) != 0) abort();
}

apr_proc_mutex_t *NewAprMutex() {
  apr_pool_t *pool = nullptr;
  apr_proc_mutex_t *mutex = nullptr;
  if (apr_initialize() != APR_SUCCESS || apr_pool_create(&pool, nullptr) != APR_SUCCESS ||
      apr_proc_mutex_create(&mutex, nullptr, APR_LOCK_PROC_PTHREAD, pool) != APR_SUCCESS)
    abort();
  return mutex;
}

}  // namespace

int main(int argc, char **argv) {
  char name[16], sem_name[32];
  snprintf(name, sizeof name, "/cub%d", static_cast<int>(getpid()));
  snprintf(sem_name, sizeof sem_name, "cubs%d", static_cast<int>(getpid()));
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

  static boost::interprocess::interprocess_mutex boosted;
  apr_proc_mutex_t *const apr = NewAprMutex();
  const int set = semget(IPC_PRIVATE, 1, 0600);  // -1 where the kernel has none
  if (set >= 0) SemOp(set, 1);

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
    workload.Add(Role::kPeer, "robust process-shared mutex", [] {
      return ThereAndBack([] { pthread_mutex_lock(&robust); },
                          [] { pthread_mutex_unlock(&robust); });
    });
    workload.Add(Role::kPeer, "boost::interprocess",
                 [] { return ThereAndBack([] { boosted.lock(); }, [] { boosted.unlock(); }); });
    workload.Add(Role::kPeer, "APR", [=] {
      return ThereAndBack([=] { apr_proc_mutex_lock(apr); }, [=] { apr_proc_mutex_unlock(apr); });
    });
    if (set >= 0)
      workload.Add(Role::kPeer, "SysV semop",
                   [=] { return ThereAndBack([=] { SemOp(set, -1); }, [=] { SemOp(set, 1); }); });
    workload.Add(Role::kFloor, "2 memcpy + 2 sem_wait/post",
                 [] { return ThereAndBack([] { sem_wait(&sem); }, [] { sem_post(&sem); }); });
  }
  const int status = family.Main(argc, argv);
  if (set >= 0) semctl(set, 0, IPC_RMID);
  aeDeInitializeSharedMemory(segment);
  free(segment);
  return status;
}
