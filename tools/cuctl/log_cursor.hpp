// Which lines of a log have been shown: found by place and content, not by time, because a board's
// clock can be set back and a wrapped log has its newest lines in front.
#ifndef CUCTL_LOG_CURSOR_HPP
#define CUCTL_LOG_CURSOR_HPP

#include <string>
#include <unordered_set>
#include <vector>

#include "tools/cuctl/log_reader.hpp"

namespace cuctl {

class LogCursor {
 public:
  /// The lines that were not shown before, in the order of time. A line behind the write position
  /// that was not there at the previous look is left for the next one: it may be half written.
  std::vector<const LogLine *> New(const LogFile &log);

  /// The latest New() left lines for the next look.
  bool HasLeft() const { return !left_.empty(); }

  /// Takes all lines for shown, but for those left for the next look.
  void Take(const LogFile &log);

  /// Whether the newest shown line has been overwritten: others may be gone unseen.
  bool Overtaken(const LogFile &log) const;

  /// The state as a text of a few kilobytes, however long the log: neighbouring lines share a sum.
  std::string Save(const LogFile &log) const;

  /// Takes those lines of the log for shown that the text tells and that are still there. False
  /// for a text that Save() did not write.
  bool Load(const std::string &text, const LogFile &log);

 private:
  std::unordered_set<uint64_t> shown_;
  std::unordered_set<uint64_t> left_;  // by the latest New(), with all of their text
  uint64_t newest_ = 0;                // of the shown ones; 0 for none
};

}  // namespace cuctl

#endif
