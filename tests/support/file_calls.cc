#include "support/file_calls.hpp"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

namespace cu_test {
namespace {

FileCalls *g_current = nullptr;

void Note(std::string call) {
  if (g_current != nullptr) g_current->Add(std::move(call));
}

/// The last part of a path; of a temporary file's, what does not vary.
std::string Name(const char *path) {
  const char *const slash = strrchr(path, '/');
  std::string name = slash == nullptr ? path : slash + 1;
  if (name.rfind("ambrelstoragetmp-", 0) == 0) name = "ambrelstoragetmp";
  return name;
}

}  // namespace

FileCalls::FileCalls() {
  g_current = this;
}
FileCalls::~FileCalls() {
  g_current = nullptr;
}

void FileCalls::Add(std::string call) {
  if (before) before();
  all_.push_back(std::move(call));
}

std::vector<std::string> FileCalls::order() const {
  std::vector<std::string> order;
  for (const std::string &call : all_) {
    if (call == "fread" || call == "fseek" || call == "fflush") continue;
    if (call == "fwrite") {
      if (order.empty() || order.back() != "write") order.push_back("write");
    } else {
      order.push_back(call);
    }
  }
  return order;
}

}  // namespace cu_test

using cu_test::g_current;
using cu_test::Name;
using cu_test::Note;

#define WATCH(result, name, parameters, arguments, text) \
  result __real_##name parameters;                       \
  result __wrap_##name parameters {                      \
    Note(text);                                          \
    return __real_##name arguments;                      \
  }

#define REPLACE(result, name, parameters, arguments, replacement)    \
  result __real_##name parameters;                                   \
  result __wrap_##name parameters {                                  \
    if (g_current != nullptr && g_current->name) return replacement; \
    return __real_##name arguments;                                  \
  }

extern "C" {

WATCH(FILE *, fopen, (const char *path, const char *mode), (path, mode),
      std::string("fopen ") + mode + " " + Name(path))
WATCH(FILE *, fdopen, (int fd, const char *mode), (fd, mode), std::string("fdopen ") + mode)
WATCH(int, fclose, (FILE * stream), (stream), "fclose")
WATCH(int, fflush, (FILE * stream), (stream), "fflush")
WATCH(int, fseek, (FILE * stream, long offset, int whence), (stream, offset, whence), "fseek")
WATCH(size_t, fread, (void *buffer, size_t size, size_t count, FILE *stream),
      (buffer, size, count, stream), "fread")
WATCH(size_t, fwrite, (const void *buffer, size_t size, size_t count, FILE *stream),
      (buffer, size, count, stream), "fwrite")
WATCH(ssize_t, pwrite, (int fd, const void *buffer, size_t size, off_t offset),
      (fd, buffer, size, offset), "pwrite")
WATCH(int, remove, (const char *path), (path), "remove " + Name(path))
WATCH(int, mkstemp, (char *path), (path), "mkstemp " + Name(path))
WATCH(int, mkdir, (const char *path, mode_t mode), (path, mode), "mkdir " + Name(path))
WATCH(int, fsync, (int fd), (fd), "fsync")
WATCH(int, fdatasync, (int fd), (fd), "fsync")
WATCH(int, syncfs, (int fd), (fd), "fsync")

void __real_sync();
void __wrap_sync() {
  Note("fsync");
  __real_sync();
}

int __real_rename(const char *from, const char *to);
int __wrap_rename(const char *from, const char *to) {
  Note("rename " + Name(from) + " " + Name(to));
  if (g_current != nullptr && g_current->rename) return g_current->rename(from, to);
  return __real_rename(from, to);
}

REPLACE(int, clock_gettime, (clockid_t clock, timespec *now), (clock, now),
        g_current->clock_gettime(clock, now))
REPLACE(int, gettimeofday, (timeval * now, void *zone), (now, zone), g_current->gettimeofday(now))
REPLACE(unsigned, sleep, (unsigned seconds), (seconds), g_current->sleep(seconds))

}  // extern "C"
