#include <commonutilities/commonutilities.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main() {
  char *path = joinPath("/tmp", "file");
  const bool ok = path != nullptr && std::strcmp(path, "/tmp/file") == 0;
  std::printf("C++ consumer through CMake: %s\n", ok ? "ok" : "wrong");
  std::free(path);
  return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}
