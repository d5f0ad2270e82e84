// What a command reads: files, standard input, pipes. Nothing is held whole that is larger than a
// bound, so that a hostile file costs neither much memory nor much time.
#ifndef CUCTL_INPUT_HPP
#define CUCTL_INPUT_HPP

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "internal/owned.hpp"

namespace cuctl {

class Progress;

/// The most that is held of one file. With what is made of it, a command stays below 64 MiB.
inline constexpr size_t kMostBytes = 8U << 20;

/// An open file, or standard input for "-". Its functions throw Failure.
class Input {
 public:
  explicit Input(const std::string &path);

  /// A file that can be read at any offset, and tells its size.
  bool regular() const { return regular_; }
  uint64_t size() const { return size_; }
  /// The bytes at an offset of a regular file: fewer where it ends.
  std::vector<uint8_t> ReadAt(uint64_t offset, size_t size) const;
  /// The next bytes; 0 at the end.
  size_t Read(void *out, size_t size);
  /// The next bytes up to `most`; `whole` tells that nothing follows.
  std::vector<uint8_t> ReadUpTo(size_t most, bool *whole, Progress *progress = nullptr);

 private:
  void WaitForWriter();
  [[noreturn]] void Fail(const std::string &why) const;

  std::string path_;
  cu::UniqueFd opened_;
  int fd_ = -1;
  int first_ = -1;  // a byte that was read to see whether one follows
  bool regular_ = false;
  uint64_t size_ = 0;  // 0 unless regular
};

/// A whole file, or standard input for "-". One of more than `most` bytes is refused with kSystem.
std::vector<uint8_t> ReadInput(const std::string &path, size_t most = kMostBytes);

}  // namespace cuctl

#endif
