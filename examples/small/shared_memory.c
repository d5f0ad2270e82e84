/* A daemon shares a block of readings; another process reads it. */
#define _POSIX_C_SOURCE 200809L
#include <commonutilities/ambrelsharedmem.h>

#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

struct readings {
  uint32_t sequence;
  double celsius[2];
};

/* Constants of the program, never input: clean-up removes files by them. The buffer is 16 bytes and
 * copied whole. */
static const char MEMORY[16] = "/demo.readings";
static const char LOCK[] = "demo.readings";
enum { ATTEMPTS = 500 }; /* about a millisecond each: a dead process keeps its lock */

/* Releases it; the owner removes both names. The record is the caller's. */
static void close_segment(SharedMemorySegment *segment) {
  aeDeInitializeSharedMemory(segment);
  free(segment);
}

static SharedMemorySegment *open_segment(uint8_t create) {
  SharedMemorySegment *segment = NULL;
  if (!aeInitializeSharedMemory(MEMORY, LOCK, create, 1, sizeof(struct readings), &segment))
    return NULL;
  if (segment->base != MAP_FAILED) return segment; /* only the base tells of a failed mapping */
  close_segment(segment);                          /* the lock's name is there all the same */
  return NULL;
}

static int read_readings(SharedMemorySegment *segment, struct readings *readings) {
  if (!aeLockSharedMemory(segment, ATTEMPTS)) return 0;
  const int ok = aeReadSharedMemory(segment, readings, sizeof *readings);
  aeUnLockSharedMemory(segment);
  return ok;
}

static int write_readings(SharedMemorySegment *segment, const struct readings *readings) {
  if (!aeLockSharedMemory(segment, ATTEMPTS)) return 0;
  const int ok = aeWriteSharedMemory(segment, readings, sizeof *readings);
  aeUnLockSharedMemory(segment);
  return ok;
}

static int print_once(void) {
  struct readings readings;
  SharedMemorySegment *segment = open_segment(0);
  if (segment == NULL) return 0;
  const int ok = read_readings(segment, &readings);
  close_segment(segment);
  if (ok)
    printf("update %u: %.2f %.2f\n", readings.sequence, readings.celsius[0], readings.celsius[1]);
  return ok && fflush(stdout) == 0;
}

int main(void) {
  const struct readings readings = {7, {41.5, 39.25}};
  SharedMemorySegment *segment = open_segment(1);
  if (segment == NULL) return 1;
  int ok = write_readings(segment, &readings);

  const pid_t child = fork();
  if (child == 0) _exit(print_once() ? 0 : 1);
  int status = 1;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0) ok = 0;

  close_segment(segment);
  return ok ? 0 : 1;
}
