// A file in memory that a fuzz target fills anew for each input.
#ifndef COMMONUTILITIES_FUZZ_SCRATCH_FILE_HPP
#define COMMONUTILITIES_FUZZ_SCRATCH_FILE_HPP

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace cu_fuzz {

/// A folder of this process's own, in memory.
inline const std::string &ScratchFolder() {
  static const std::string folder = [] {
    char pattern[] = "/dev/shm/cu-fuzz-XXXXXX";
    const char *const made = mkdtemp(pattern);
    if (made == nullptr) abort();
    static std::string path;
    path = made;
    atexit([] {
      const std::string command = "rm -rf " + path;
      if (system(command.c_str()) != 0) return;
    });
    return path;
  }();
  return folder;
}

inline std::string WriteScratchFile(const char *name, const uint8_t *data, size_t size) {
  const std::string path = ScratchFolder() + "/" + name;
  FILE *const file = fopen(path.c_str(), "wb");
  if (file == nullptr || (size != 0 && fwrite(data, 1, size, file) != size)) abort();
  fclose(file);
  return path;
}

}  // namespace cu_fuzz

#endif
