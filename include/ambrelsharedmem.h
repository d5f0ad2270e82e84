/**
 * @file ambrelsharedmem.h
 * @brief A block of bytes shared between processes, with a lock of its own.
 *
 * One process, the owner, creates a segment under two names, one for the memory and one for its
 * lock, and removes both names at the end. Other processes open it by the same names. Every read
 * and every write starts at the segment's first byte.
 *
 * @code
 * static const char kName[16] = "/board.readings";       // a constant, see below
 *
 * SharedMemorySegment *segment = NULL;
 * if (!aeInitializeSharedMemory(kName, "board.lock", 1, 1, sizeof(Readings), &segment)) return;
 * if (segment->base != MAP_FAILED &&                      // a failed mapping is told by base alone
 *     aeLockSharedMemory(segment, 50)) {                  // gives up after some 50 ms
 *   aeWriteSharedMemory(segment, &readings, sizeof readings);
 *   aeUnLockSharedMemory(segment);
 * }
 * aeDeInitializeSharedMemory(segment);                    // also after a failed mapping
 * free(segment);                                          // the record is the caller's
 * @endcode
 *
 * **Thread safety.** Reading and writing take no lock: bracket them with aeLockSharedMemory() and
 * aeUnLockSharedMemory(), which keep out other processes and other threads alike. Make and release
 * a segment on one thread.
 *
 * **What surprises users.**
 * - A failed mapping is not a failure of aeInitializeSharedMemory(): it returns 1, and `base` is
 *   `MAP_FAILED`. A size of 0 is such a case. Reading and writing then give 0. Release the segment
 *   as any other, with aeDeInitializeSharedMemory() and free(): the lock of one that was to be
 *   created has its name until then.
 * - Creating takes over an object that exists already, whoever made it, with its content; only its
 *   size is set anew. So with the lock: one left locked stays locked.
 * - Never create a segment anew with a smaller size while others have it open: their next read or
 *   write beyond the new end may be a SIGBUS, which ends the process. They check the memory's size
 *   only until they have once found it whole.
 * - A process that dies between lock and unlock leaves the segment locked. Pass a number of
 *   attempts to aeLockSharedMemory(), and take 0 for an answer.
 * - Creating a segment that is not writable always fails, and leaves both names behind.
 * - The name buffer is 16 bytes. Names must be constants of the program, never input:
 *   aeClearSharedMemoryObjects() removes the file "/tmp" + "/" + name, and a name such as
 *   "/../etc/passwd" fits.
 *
 * **Shared arguments.**
 * - `segment`: the segment.
 * - `buffer`: the caller's memory of `length` bytes.
 * - `length`: how many bytes.
 */
#ifndef COMMONUTILITIES_AMBRELSHAREDMEM_H
#define COMMONUTILITIES_AMBRELSHAREDMEM_H

#include <semaphore.h>
#include <sys/mman.h>

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** An open segment, from aeInitializeSharedMemory(); the caller frees it with free(). */
typedef struct SharedMemorySegment {
  char shmName[16];  /**< the memory's name; a name of 16 characters has no terminator */
  char semName[32];  /**< the lock's name: "/" and at most 30 characters */
  int32_t fd;        /**< descriptor of the memory; -1 after a failed mapping */
  uint32_t size;     /**< size in bytes */
  sem_t *sem;        /**< the lock; null after a failed mapping */
  void *base;        /**< the first byte; MAP_FAILED after a failed mapping */
  int32_t prot;      /**< PROT_READ, or PROT_READ | PROT_WRITE */
  uint8_t owner;     /**< not 0: made by this process, which removes the names */
  uint8_t wholeSize; /**< the library's own: the memory was seen to have `size` bytes */
} SharedMemorySegment;

/**
 * @brief Creates or opens a segment.
 *
 * The lock is created when it does not exist, unlocked. A reason for a failure is printed on
 * standard output ("2 No such file or directory").
 *
 * @param shmName  buffer of 16 bytes with the memory's name: "/", then up to 14 characters without
 *                 another "/", then a terminator. Read up to the terminator or for 16 bytes.
 * @param semName  the lock's name without a leading "/"; cut to 30 characters.
 * @param create   not 0: create the memory, be its owner and set its size.
 * @param writable not 0: open it for reading and writing; needed to create.
 * @param size     bytes to map; when opening, what the owner created. Where the memory turns out to
 *                 be shorter, reads and writes beyond its end give 0, unless it was whole before.
 * @param out      receives the segment, which the caller frees after aeDeInitializeSharedMemory();
 *                 null on failure.
 * @return 1, also when the mapping failed: test `base`. 0 when the lock or the memory cannot be
 *         opened or sized, for a null argument, and without memory. When it is the memory that
 *         cannot be opened, the lock stays open in this process until it ends.
 */
CU_API CU_MUST_USE int aeInitializeSharedMemory(const char *shmName, const char *semName,
                                                uint8_t create, uint8_t writable, uint32_t size,
                                                SharedMemorySegment **out);

/**
 * @brief Closes a segment; its owner also removes both names.
 *
 * Processes that still have it open go on using it. The record itself is not freed.
 *
 * @return the record's `owner` value for the owner, 1 for others; 0 for null.
 */
CU_API int aeDeInitializeSharedMemory(SharedMemorySegment *segment);

/**
 * @brief Locks a segment.
 *
 * @param attempts 0: wait without limit. Otherwise try so many times, with a pause of 1 ms after
 *                 each failure; each attempt logs its `errno` text at level DEBUG.
 * @return 1 when locked; 0 when not, when a signal handler interrupted the wait without limit, and
 *         for null.
 */
CU_API CU_MUST_USE int aeLockSharedMemory(SharedMemorySegment *segment, uint32_t attempts);

/**
 * @brief Unlocks a segment, whoever locked it. Unlock once per lock: more open the lock for
 * several.
 *
 * @return 1; 0 when that failed and for null.
 */
CU_API int aeUnLockSharedMemory(SharedMemorySegment *segment);

/**
 * @brief Copies the first @p length bytes of a segment out. Lock it first.
 *
 * @return 1; 0, with nothing copied, for null, for a length above the segment's size or beyond the
 *         end of the memory, and after a failed mapping.
 */
CU_API int aeReadSharedMemory(SharedMemorySegment *segment, void *buffer, uint32_t length);

/**
 * @brief Copies @p length bytes to the start of a segment. Lock it first.
 *
 * @return as aeReadSharedMemory(); also 0 when the segment was not opened as writable.
 */
CU_API int aeWriteSharedMemory(SharedMemorySegment *segment, const void *buffer, uint32_t length);

/**
 * @brief Removes files of a segment's two names that an earlier system left under "/tmp".
 *
 * It does not remove the segment or its lock. What cannot be removed, such as a stranger's file in
 * a sticky directory, is told on standard error, and ends the call.
 *
 * @return 1, also when there was nothing to remove; 0 when something could not be removed, and for
 *         null.
 */
CU_API int aeClearSharedMemoryObjects(SharedMemorySegment *segment);

CU_END_DECLS

#endif
