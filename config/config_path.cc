#include "include/configparams.h"

#include <stdio.h>
#include <sys/stat.h>

int checkForFileDirExistance(const char *path, int32_t wantDirectory) {
  if (path == nullptr) return 0;
  // A daemon checks its paths before it has a logger, so the messages go to standard error.
  struct stat status;
  if (stat(path, &status) != 0) {
    fprintf(stderr, "Invalid configuration path provided %s\n", path);
    return 0;
  }
  if (wantDirectory == 0) return 1;
  if (S_ISDIR(status.st_mode)) return wantDirectory;
  fprintf(stderr, "Not a directory %s\n", path);
  return 0;
}
