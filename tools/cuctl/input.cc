#include "tools/cuctl/input.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/cuctl/cuctl.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {

Input::Input(const std::string &path) : path_(path) {
  const bool standard_input = path == "-";
  // Opening a named pipe without a writer would wait for ever.
  if (!standard_input)
    opened_.reset(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  fd_ = standard_input ? STDIN_FILENO : opened_.get();
  struct stat info {};
  if (fd_ < 0 || fstat(fd_, &info) != 0) Fail(strerror(errno));
  if (S_ISDIR(info.st_mode)) Fail(strerror(EISDIR));
  // Standard input may have been read in part: it is a stream then.
  regular_ = S_ISREG(info.st_mode) && lseek(fd_, 0, SEEK_CUR) == 0;
  if (regular_) size_ = static_cast<uint64_t>(info.st_size);
  if (standard_input) return;
  if (S_ISFIFO(info.st_mode)) WaitForWriter();
  fcntl(fd_, F_SETFL, fcntl(fd_, F_GETFL) & ~O_NONBLOCK);
}

void Input::Fail(const std::string &why) const {
  throw Failure{kSystem, fmt::format("{}: {}", path_, why)};
}

void Input::WaitForWriter() {
  constexpr int kMilliseconds = 800;
  pollfd waiting{fd_, POLLIN, 0};
  if (poll(&waiting, 1, kMilliseconds) != 0) return;
  // Nothing to read: a pipe with a writer says "try again", one without says "at the end".
  uint8_t byte = 0;
  const ssize_t got = read(fd_, &byte, 1);
  if (got == 0) Fail("a pipe that nobody writes to");
  if (got == 1) first_ = byte;
}

std::vector<uint8_t> Input::ReadAt(uint64_t offset, size_t size) const {
  std::vector<uint8_t> bytes(size);
  size_t held = 0;
  while (held < size) {
    const ssize_t got =
        pread(fd_, bytes.data() + held, size - held, static_cast<off_t>(offset + held));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Fail(strerror(errno));
    if (got == 0) break;
    held += static_cast<size_t>(got);
  }
  bytes.resize(held);
  return bytes;
}

size_t Input::Read(void *out, size_t size) {
  if (size == 0) return 0;
  if (first_ >= 0) {
    *static_cast<uint8_t *>(out) = static_cast<uint8_t>(first_);
    first_ = -1;
    return 1;
  }
  for (;;) {
    const ssize_t got = read(fd_, out, size);
    if (got >= 0) return static_cast<size_t>(got);
    if (errno != EINTR) Fail(strerror(errno));
  }
}

std::vector<uint8_t> Input::ReadUpTo(size_t most, bool *whole, Progress *progress) {
  // The memory is reserved once: growing would hold everything twice for a moment.
  std::vector<uint8_t> bytes;
  bytes.reserve(regular_ ? static_cast<size_t>(std::min<uint64_t>(size_, most)) + 1 : most + 1);
  constexpr size_t kStep = 65536;
  for (;;) {
    const size_t held = bytes.size();
    const size_t room = bytes.capacity() > held ? bytes.capacity() - held : kStep;
    bytes.resize(held + std::min({kStep, room, most + 1 - held}));
    const size_t got = Read(bytes.data() + held, bytes.size() - held);
    bytes.resize(held + got);
    if (progress != nullptr) progress->At(bytes.size());
    *whole = got == 0;
    if (got == 0) return bytes;
    if (bytes.size() > most) {
      first_ = bytes.back();  // the next to be read
      bytes.pop_back();
      return bytes;
    }
  }
}

std::vector<uint8_t> ReadInput(const std::string &path, size_t most) {
  Input input(path);
  Progress progress("reading", input.size());
  bool whole = false;
  std::vector<uint8_t> bytes = input.ReadUpTo(most, &whole, &progress);
  if (!whole) throw Failure{kSystem, fmt::format("{}: more than {} MiB", path, most >> 20)};
  return bytes;
}

}  // namespace cuctl
