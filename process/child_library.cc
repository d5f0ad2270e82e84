#include "include/customaction.h"

#include <dlfcn.h>
#include <stdio.h>

namespace {

constexpr size_t kPathSize = 1024;

}  // namespace

uint32_t AmbrelLoadChildLibrary(const char *directory, const char *file, void **handle) {
  if (directory == nullptr || file == nullptr || handle == nullptr) return 0;
  *handle = nullptr;

  // A path that were cut could name another library, so it is refused.
  char path[kPathSize];
  const int length = snprintf(path, sizeof path, "%s/%s", directory, file);
  if (length < 0 || static_cast<size_t>(length) >= sizeof path) return 0;

  *handle = dlopen(path, RTLD_LAZY);
  if (*handle != nullptr) return 1;
  if (const char *const reason = dlerror(); reason != nullptr) fputs(reason, stderr);
  return 0;
}

uint32_t AmbrelUnloadChildLibrary(void *handle) {
  if (handle == nullptr) return 0;
  dlclose(handle);
  return 1;
}
