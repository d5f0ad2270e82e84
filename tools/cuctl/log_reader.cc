#include "tools/cuctl/log_reader.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace cuctl {
namespace {

/// No message is longer: what follows is no text of the logger's.
constexpr size_t kLongestText = 1U << 20;

constexpr std::string_view kLevelNames[] = {"EMERGENCY", "ALERT",     "CRITICAL", "ERROR",
                                            "WARNING",   "NOTICE",    "INFO",     "DEBUG",
                                            "TRACE",     "TRACEDEBUG"};

/// Takes texts and numbers off the front of a line; stops at the first that is not there.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text), size_(text.size()) {}

  bool Take(std::string_view literal) {
    if (text_.substr(0, literal.size()) != literal) return false;
    text_.remove_prefix(literal.size());
    return true;
  }

  template <typename Number>
  bool TakeNumber(Number &number) {
    const auto [end, error] = std::from_chars(text_.data(), text_.data() + text_.size(), number);
    if (error != std::errc()) return false;
    text_.remove_prefix(static_cast<size_t>(end - text_.data()));
    return true;
  }

  bool TakeLevel(int &level) {
    const size_t blank = text_.substr(0, 16).find(' ');
    if (blank == std::string_view::npos) return false;
    const auto found =
        std::find(std::begin(kLevelNames), std::end(kLevelNames), text_.substr(0, blank));
    if (found == std::end(kLevelNames)) return false;
    level = static_cast<int>(found - std::begin(kLevelNames));
    text_.remove_prefix(blank);
    return true;
  }

  size_t taken() const { return size_ - text_.size(); }

 private:
  std::string_view text_;
  size_t size_;
};

/// Where the next line begins at or after `at`; the end when none does.
size_t NextHead(std::string_view content, size_t at) {
  while (at < content.size()) {
    const void *const bracket = std::memchr(content.data() + at, '[', content.size() - at);
    if (bracket == nullptr) return content.size();
    at = static_cast<size_t>(static_cast<const char *>(bracket) - content.data());
    if (LineHead(content, at, nullptr)) return at;
    ++at;
  }
  return content.size();
}

/// Reads the lines from `from` to `to`, a stretch that was written in one go. What stands before
/// the first head are remains of an overwritten line.
void ReadStretch(std::string_view content, size_t from, size_t to, LogFile &log,
                 const Looked &looked) {
  const std::string_view stretch = content.substr(0, to);
  size_t at = NextHead(stretch, from);
  if (at > from) {
    ++log.torn_lines;
    log.torn_bytes += at - from;
  }
  while (at < to) {
    size_t head_size = 0;
    LogLine line = *LineHead(stretch, at, &head_size);
    const size_t next = NextHead(stretch, at + head_size);
    std::string_view text = stretch.substr(at + head_size, next - at - head_size);
    // A line that time steps back after was overwritten by others up to here: what follows its line
    // break are remains of an older one.
    const auto following = next < to ? LineHead(stretch, next, nullptr) : std::nullopt;
    const size_t line_break = text.find('\n');
    if (following && following->nanoseconds < line.nanoseconds &&
        line_break != std::string_view::npos && line_break + 1 < text.size()) {
      ++log.torn_lines;
      log.torn_bytes += text.size() - line_break - 1;
      text = text.substr(0, line_break + 1);
    }
    if (text.size() > kLongestText) {
      ++log.torn_lines;
      log.torn_bytes += text.size() - kLongestText;
      text = text.substr(0, kLongestText);
    }
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    line.text = text;
    line.offset = at;
    log.lines.push_back(line);
    at = next;
    if (looked && log.lines.size() % 4096 == 0) looked(at);
  }
}

}  // namespace

std::string_view LevelName(int level) {
  return level >= 0 && level < static_cast<int>(std::size(kLevelNames)) ? kLevelNames[level]
                                                                        : "UNKNOWN";
}

std::optional<int> LevelFromText(std::string_view text) {
  for (int level = 0; level < static_cast<int>(std::size(kLevelNames)); ++level) {
    const std::string_view name = kLevelNames[level];
    if (text.size() == name.size() &&
        std::equal(text.begin(), text.end(), name.begin(),
                   [](char a, char b) { return (a >= 'a' && a <= 'z' ? a - 'a' + 'A' : a) == b; }))
      return level;
  }
  if (text.size() == 1 && text[0] >= '0' && text[0] <= '9') return text[0] - '0';
  return std::nullopt;
}

std::optional<LogLine> LineHead(std::string_view content, size_t at, size_t *head_size) {
  Scanner scanner(content.substr(at, 96));
  LogLine line;
  if (!scanner.Take("[") || !scanner.TakeNumber(line.pid) || !scanner.Take(" : ") ||
      !scanner.TakeNumber(line.tid) || !scanner.Take(" ") || !scanner.TakeLevel(line.level) ||
      !scanner.Take(" (") || !scanner.TakeNumber(line.nanoseconds) || !scanner.Take(")]"))
    return std::nullopt;
  line.offset = at;
  if (head_size != nullptr) *head_size = scanner.taken();
  return line;
}

uint32_t PositionIn(std::string_view header) {
  const auto byte = [header](size_t i) { return uint32_t{static_cast<uint8_t>(header[i])}; };
  return byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24;
}

LogFile ReadLog(std::string_view content, const Looked &looked) {
  LogFile log;
  log.size = log.looked_at = content.size();
  if (content.size() < kLogHeaderSize) {
    log.header_valid = content.empty();
    return log;
  }
  log.position = PositionIn(content);
  log.header_valid = log.position >= kLogHeaderSize && log.position <= content.size();
  const size_t seam = log.header_valid ? log.position : content.size();
  if (seam > kLogHeaderSize) ReadStretch(content, kLogHeaderSize, seam, log, looked);
  if (seam < content.size()) ReadStretch(content, seam, content.size(), log, looked);

  log.pieces = log.lines.empty() ? 0 : 1;
  for (size_t i = 1; i < log.lines.size(); ++i)
    log.pieces += log.lines[i].nanoseconds < log.lines[i - 1].nanoseconds ||
                  (log.lines[i - 1].offset < seam && log.lines[i].offset >= seam);
  std::sort(log.lines.begin(), log.lines.end(), [](const LogLine &a, const LogLine &b) {
    return a.nanoseconds != b.nanoseconds ? a.nanoseconds < b.nanoseconds : a.offset < b.offset;
  });
  return log;
}

}  // namespace cuctl
