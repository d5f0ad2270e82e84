// Hands lines over to a command that must take them: it reads them from its standard input, and
// they count as taken when it ends with 0. Until then they are kept and offered again.
#ifndef CUCTL_HAND_OVER_HPP
#define CUCTL_HAND_OVER_HPP

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

namespace cuctl {

class HandOver {
 public:
  /// `command` is run by the shell, at most once in `every` after a success.
  HandOver(std::string command, std::chrono::seconds every);
  HandOver(const HandOver &) = delete;
  HandOver &operator=(const HandOver &) = delete;
  /// Ends a command that runs.
  ~HandOver();

  void Add(std::string line);

  /// Looks after the command: sees whether it has ended, starts it when it is due. Never waits.
  void Step();

  /// No line is left that was not taken.
  bool Done() const { return lines_.empty(); }

  /// How many lines were added, and how many of them the command has taken.
  uint64_t added() const { return added_; }
  uint64_t taken() const { return added_ - lines_.size(); }

  /// So much is waiting that the caller had better leave further lines in the log.
  bool Full() const;

 private:
  using Clock = std::chrono::steady_clock;

  void Start();
  void Ended(int status);

  std::string command_;
  std::chrono::seconds every_;
  std::chrono::seconds retry_{1};
  Clock::time_point due_ = Clock::now();
  std::deque<std::string> lines_;
  size_t bytes_ = 0;
  uint64_t added_ = 0;
  size_t offered_ = 0;  // lines that the running command has
  pid_t child_ = -1;
};

}  // namespace cuctl

#endif
