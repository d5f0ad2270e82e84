#include "sharing.h"

#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

/* Names are constants of the program, never input: clean-up removes files by them. The name's
 * buffer is 16 bytes and copied whole. */
static const char SEGMENT_NAME[16] = "/boardd.temps";
static const char LOCK_NAME[] = "boardd.lock";

/* Bounded: a process that dies with the lock held leaves it held. About a millisecond each. */
enum { LOCK_ATTEMPTS = 200 };

static int open_segment(int create, SharedMemorySegment **segment) {
  *segment = NULL;
  if (!aeInitializeSharedMemory(SEGMENT_NAME, LOCK_NAME, create ? 1 : 0, 1,
                                sizeof(struct shared_readings), segment))
    return -1;
  /* A failed mapping is told by the base alone. The lock's name is there all the same. */
  if ((*segment)->base != MAP_FAILED) return 0;
  aeDeInitializeSharedMemory(*segment);
  free(*segment);
  *segment = NULL;
  return -1;
}

int sharing_open(struct sharing *sharing) {
  memset(sharing, 0, sizeof *sharing);
  return open_segment(1, &sharing->segment);
}

void sharing_publish(struct sharing *sharing, struct readings *readings) {
  if (sharing->segment == NULL) return;
  struct shared_readings block = {.sequence = ++sharing->sequence};
  for (int i = 0; i < READINGS_SENSORS; ++i) block.celsius[i] = readings_last(readings, i);
  if (!aeLockSharedMemory(sharing->segment, LOCK_ATTEMPTS)) return;
  aeWriteSharedMemory(sharing->segment, &block, sizeof block);
  aeUnLockSharedMemory(sharing->segment);
}

static int show(FILE *out) {
  SharedMemorySegment *segment;
  struct shared_readings block;
  if (open_segment(0, &segment) != 0) return -1;
  const int locked = aeLockSharedMemory(segment, LOCK_ATTEMPTS);
  const int ok = locked && aeReadSharedMemory(segment, &block, sizeof block);
  if (locked) aeUnLockSharedMemory(segment);
  if (ok)
    fprintf(out, "    process %d read update %u: %.2f %.2f %.2f C\n", (int)getpid(), block.sequence,
            block.celsius[0], block.celsius[1], block.celsius[2]);
  aeDeInitializeSharedMemory(segment);
  free(segment);
  return ok ? 0 : -1;
}

int sharing_show_from_another_process(FILE *out) {
  fflush(out);
  const pid_t child = fork();
  if (child == 0) {
    const int status = show(out) == 0 ? 0 : 1;
    fflush(out);
    _exit(status);
  }
  int status = 1;
  if (child < 0 || waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
}

void sharing_close(struct sharing *sharing) {
  if (sharing->segment == NULL) return;
  aeDeInitializeSharedMemory(sharing->segment);
  free(sharing->segment); /* the record is the caller's */
  sharing->segment = NULL;
}
