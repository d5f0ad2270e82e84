/* load_library FILE [FIRST]: prints the bytes of private dirty memory that loading a library adds
   to a process that has nothing but libc, and the library FIRST. A C program, so that no C++
   runtime is there beforehand. */
#include <dlfcn.h>
#include <stdio.h>

static long private_dirty(void) {
  static char line[256];
  long kilobytes = 0, total = 0;
  FILE *const maps = fopen("/proc/self/smaps", "r");
  if (maps == NULL) return -1;
  while (fgets(line, sizeof line, maps) != NULL) {
    if (sscanf(line, "Private_Dirty: %ld kB", &kilobytes) == 1) total += kilobytes;
  }
  fclose(maps);
  return total * 1024;
}

int main(int argc, char **argv) {
  if (argc != 2 && argc != 3) return 2;
  if (argc == 3 && dlopen(argv[2], RTLD_NOW | RTLD_GLOBAL) == NULL) return 1;
  private_dirty(); /* stdio's own buffers are not the library's */
  const long before = private_dirty();
  if (dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  printf("%ld\n", private_dirty() - before);
  return 0;
}
