// Owners of what C hands out: malloc memory, descriptors and streams. Memory that a caller will
// free() is held in an Owned<T> while it is being filled and given away with release().
#ifndef COMMONUTILITIES_INTERNAL_OWNED_HPP
#define COMMONUTILITIES_INTERNAL_OWNED_HPP

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <utility>

namespace cu {

struct FreeDeleter {
  void operator()(void *memory) const { free(memory); }
};

/// Memory from malloc, freed with free().
template <typename T>
using Owned = std::unique_ptr<T, FreeDeleter>;

/// A heap string of `length` characters and a terminator that the caller is about to fill; null
/// when there is no memory.
inline Owned<char> NewString(size_t length) {
  Owned<char> text(length == SIZE_MAX ? nullptr : static_cast<char *>(malloc(length + 1)));
  if (text) text.get()[length] = '\0';
  return text;
}

/// A terminated heap copy of `length` bytes; null when there is no memory.
inline Owned<char> CopyString(const char *source, size_t length) {
  Owned<char> text = NewString(length);
  if (text && length != 0) memcpy(text.get(), source, length);
  return text;
}

inline Owned<char> CopyString(const char *source) {
  return CopyString(source, strlen(source));
}

struct StreamCloser {
  void operator()(FILE *stream) const { fclose(stream); }
};

/// An open stdio stream, closed at the end of its scope.
using Stream = std::unique_ptr<FILE, StreamCloser>;

/// An open file descriptor, closed at the end of its scope; -1 when there is none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd &&other) noexcept : fd_(other.release()) {}
  UniqueFd &operator=(UniqueFd &&other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int release() { return std::exchange(fd_, -1); }
  void reset(int fd = -1) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

}  // namespace cu

#endif
