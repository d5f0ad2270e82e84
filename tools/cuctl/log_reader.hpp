// The content of circular log files: finds the lines, tells torn ones, and puts them in the order
// of time.
#ifndef CUCTL_LOG_READER_HPP
#define CUCTL_LOG_READER_HPP

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string_view>

namespace cuctl {

/// A line that begins with "[pid : tid NAME (nanoseconds)]".
struct LogLine {
  int32_t pid = 0;
  int32_t tid = 0;
  int level = 0;             // 0 to 9
  uint64_t nanoseconds = 0;  // since 1970
  std::string_view text;     // the message without its final line break
  uint64_t offset = 0;       // in the file
};

struct LogFile {
  uint32_t position = 0;      // from the header
  uint64_t size = 0;          // of the file
  uint64_t looked_at = 0;     // bytes of it: the latest ones of a very large file
  std::deque<LogLine> lines;  // in the order of time; lines of one moment as they stand in the file
  size_t pieces = 0;          // runs of lines in which time does not go back
  size_t torn_lines = 0;      // remains of overwritten lines
  size_t torn_bytes = 0;
  bool header_valid = true;  // a position of at least 4 and at most the file's size
};

/// The name of a level as the log has it, "EMERGENCY" to "TRACEDEBUG".
std::string_view LevelName(int level);
/// The number of a level from its name or number; none for others.
std::optional<int> LevelFromText(std::string_view text);

/// Bytes before the first line.
inline constexpr size_t kLogHeaderSize = 4;

/// The write position that the first four bytes tell.
uint32_t PositionIn(std::string_view header);

/// Told from time to time how far a log was looked at, in bytes.
using Looked = std::function<void(uint64_t done)>;

/// Looks at the whole content of a log file; the lines refer to it. A file of fewer than 4 bytes
/// has no header.
LogFile ReadLog(std::string_view content, const Looked &looked = {});

/// The line that begins at `at`, if one does: only its head is read, the text stays empty.
std::optional<LogLine> LineHead(std::string_view content, size_t at, size_t *head_size);

}  // namespace cuctl

#endif
