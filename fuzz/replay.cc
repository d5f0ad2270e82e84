// Gives a fuzz target the inputs of the named folders and nothing else, in place of libFuzzer,
// whose own code MemorySanitizer does not know. Options are libFuzzer's and ignored.
#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

long g_inputs = 0;

/// Runs one input, in a block of exactly its size.
bool Replay(const char *folder, const char *name) {
  char path[4096];
  snprintf(path, sizeof path, "%s/%s", folder, name);
  struct stat status;
  if (stat(path, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) return true;
  FILE *const file = fopen(path, "rb");
  if (file == nullptr) return false;
  const size_t size = static_cast<size_t>(status.st_size);
  uint8_t *const data = static_cast<uint8_t *>(malloc(size));
  const bool read = (data != nullptr || size == 0) && fread(data, 1, size, file) == size;
  fclose(file);
  if (read) LLVMFuzzerTestOneInput(data, size);
  ++g_inputs;
  free(data);
  return read;
}

}  // namespace

int main(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;
    DIR *const folder = opendir(argv[i]);
    if (folder == nullptr) {
      perror(argv[i]);
      return 1;
    }
    while (const dirent *const entry = readdir(folder)) {
      if (!Replay(argv[i], entry->d_name)) {
        perror(entry->d_name);
        return 1;
      }
    }
    closedir(folder);
  }
  fprintf(stderr, "stat::number_of_executed_units: %ld\n", g_inputs);
  return g_inputs > 0 ? 0 : 1;
}
