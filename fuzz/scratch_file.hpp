// A file in memory that a fuzz target fills anew for each input.
#ifndef COMMONUTILITIES_FUZZ_SCRATCH_FILE_HPP
#define COMMONUTILITIES_FUZZ_SCRATCH_FILE_HPP

#include <fcntl.h>
#include <stddef.h>
#include <stdint.h>
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
  std::string path = ScratchFolder() + "/" + name;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) abort();
  close(file);
  return path;
}

}  // namespace cu_fuzz

#endif
