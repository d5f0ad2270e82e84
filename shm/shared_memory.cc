#include "include/ambrelsharedmem.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "include/ambrelthreadutils.h"
#include "internal/log_pair.hpp"
#include "internal/owned.hpp"
#include "internal/terminated.hpp"

namespace {

using cu::Terminated;

constexpr char kLogModule[] = "ambrelsharedmem";
constexpr uint64_t kLockPauseUs = 1000;

static_assert(sizeof(void *) != 4 || sizeof(SharedMemorySegment) == 72);
static_assert(sizeof(void *) != 4 || offsetof(SharedMemorySegment, owner) == 68);

int OpenFlags(bool create, bool writable) {
  return (create ? O_CREAT : 0) | (writable ? O_RDWR : O_RDONLY);
}

/// Maps an opened segment. When that fails, everything it holds is given up and marked as gone.
void Map(SharedMemorySegment &segment) {
  segment.base = mmap(nullptr, segment.size, segment.prot, MAP_SHARED, segment.fd, 0);
  if (segment.base != MAP_FAILED) return;

  close(segment.fd);
  segment.fd = -1;
  sem_close(segment.sem);
  segment.sem = nullptr;
  if (segment.owner != 0) shm_unlink(Terminated(segment.shmName).c_str());
}

/// Whether the first `length` bytes of a mapping can be touched: none after a failed mapping, and
/// behind the last page of a memory that is shorter than its mapping lies SIGBUS. An owner may size
/// the memory after others have opened it, so the kernel is asked until the memory was long enough
/// once; that is remembered in the segment, and this function is left out of the way from then on.
/// What it cannot tell of is trusted to be as the segment says: memory that a caller has put there.
[[gnu::cold, gnu::noinline]] bool IsBacked(SharedMemorySegment &segment, uint32_t length) {
  if (segment.base == MAP_FAILED || segment.base == nullptr) return false;
  struct stat status;
  if (fstat(segment.fd, &status) != 0 || !S_ISREG(status.st_mode)) return true;
  const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const uint64_t backed = (static_cast<uint64_t>(status.st_size) + page - 1) / page * page;
  const bool whole = backed >= segment.size;
  __atomic_store_n(&segment.wholeSize, static_cast<uint8_t>(whole), __ATOMIC_RELAXED);
  return backed >= length;
}

bool IsAccessible(SharedMemorySegment *segment, const void *buffer, uint32_t length) {
  if (segment == nullptr || buffer == nullptr || length > segment->size) return false;
  return __atomic_load_n(&segment->wholeSize, __ATOMIC_RELAXED) != 0 || IsBacked(*segment, length);
}

/// One attempt at the lock, logged whatever it gives.
bool TryLock(SharedMemorySegment &segment) {
  const bool locked = sem_trywait(segment.sem) == 0;
  CU_LOG(DBGLOG_DEBUG, "%s\n", strerror(errno));
  return locked;
}

/// The attempts after a first one that failed. A pause follows each failure, the last one too.
[[gnu::cold, gnu::noinline]] int LockAfterPauses(SharedMemorySegment &segment, uint32_t attempts) {
  for (;;) {
    ambrelusleep(kLockPauseUs);
    if (--attempts == 0) return 0;
    if (TryLock(segment)) return 1;
  }
}

/// Removes "/tmp/" + name if it is there.
bool RemoveLeftover(const char *name, const char *complaint) {
  char path[64];
  snprintf(path, sizeof path, "/tmp/%s", name);
  struct stat status;
  if (stat(path, &status) != 0 || remove(path) == 0) return true;
  perror(complaint);
  return false;
}

}  // namespace

int aeInitializeSharedMemory(const char *shmName, const char *semName, uint8_t create,
                             uint8_t writable, uint32_t size, SharedMemorySegment **out) {
  if (out == nullptr) return 0;
  *out = nullptr;
  if (shmName == nullptr || semName == nullptr) return 0;

  cu::Owned<SharedMemorySegment> segment(
      static_cast<SharedMemorySegment *>(calloc(1, sizeof(SharedMemorySegment))));
  if (!segment) return 0;
  memcpy(segment->shmName, shmName, strnlen(shmName, sizeof segment->shmName));
  snprintf(segment->semName, sizeof segment->semName, "/%s", semName);
  segment->size = size;
  segment->owner = create;
  segment->prot = writable != 0 ? PROT_READ | PROT_WRITE : PROT_READ;

  segment->sem = sem_open(segment->semName, O_CREAT, 0644, 1);
  if (segment->sem == SEM_FAILED) return 0;

  segment->fd =
      shm_open(Terminated(segment->shmName).c_str(), OpenFlags(create != 0, writable != 0), 0600);
  if (segment->fd < 0) {
    // The semaphore stays open, as daemons that try again until the owner is up expect it.
    printf("%d %s\n", errno, strerror(errno));
    return 0;
  }
  if (create != 0 && ftruncate(segment->fd, static_cast<off_t>(size)) != 0) {
    printf("ftruncate failed: %d %s\n", errno, strerror(errno));
    close(segment->fd);
    sem_close(segment->sem);
    return 0;
  }
  Map(*segment);
  *out = segment.release();
  return 1;
}

int aeDeInitializeSharedMemory(SharedMemorySegment *segment) {
  if (segment == nullptr) return 0;

  if (segment->sem != nullptr) sem_close(segment->sem);
  if (segment->base != MAP_FAILED && segment->base != nullptr) munmap(segment->base, segment->size);
  if (segment->fd >= 0) close(segment->fd);
  segment->sem = nullptr;
  segment->base = MAP_FAILED;
  segment->wholeSize = 0;
  segment->fd = -1;
  if (segment->owner == 0) return 1;

  sem_unlink(Terminated(segment->semName).c_str());
  shm_unlink(Terminated(segment->shmName).c_str());
  return segment->owner;
}

int aeLockSharedMemory(SharedMemorySegment *segment, uint32_t attempts) {
  if (segment == nullptr || segment->sem == nullptr) return 0;
  if (attempts == 0) return sem_wait(segment->sem) == 0;
  return TryLock(*segment) ? 1 : LockAfterPauses(*segment, attempts);
}

int aeUnLockSharedMemory(SharedMemorySegment *segment) {
  if (segment == nullptr || segment->sem == nullptr) return 0;
  return sem_post(segment->sem) == 0;
}

int aeReadSharedMemory(SharedMemorySegment *segment, void *buffer, uint32_t length) {
  if (!IsAccessible(segment, buffer, length)) return 0;
  memcpy(buffer, segment->base, length);
  return 1;
}

int aeWriteSharedMemory(SharedMemorySegment *segment, const void *buffer, uint32_t length) {
  if (!IsAccessible(segment, buffer, length) || segment->prot == PROT_READ) return 0;
  memcpy(segment->base, buffer, length);
  return 1;
}

int aeClearSharedMemoryObjects(SharedMemorySegment *segment) {
  if (segment == nullptr) return 0;
  return RemoveLeftover(Terminated(segment->shmName).c_str(), "Failed to remove backingFile") &&
         RemoveLeftover(Terminated(segment->semName).c_str(), "Failed to remove semName");
}
