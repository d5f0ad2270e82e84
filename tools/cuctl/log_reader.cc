#include "tools/cuctl/log_reader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "tools/cuctl/input.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

constexpr size_t kHeaderSize = 4;
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
                 Progress &progress) {
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
    if (log.lines.size() % 4096 == 0) progress.At(at);
  }
}

std::string_view View(const std::vector<uint8_t> &bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
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

LogFile ReadLog(std::string_view content) {
  LogFile log;
  log.size = log.looked_at = content.size();
  if (content.size() < kHeaderSize) {
    log.header_valid = content.empty();
    return log;
  }
  log.position = PositionIn(content);
  log.header_valid = log.position >= kHeaderSize && log.position <= content.size();
  const size_t seam = log.header_valid ? log.position : content.size();
  Progress progress("looking for lines", content.size());
  if (seam > kHeaderSize) ReadStretch(content, kHeaderSize, seam, log, progress);
  if (seam < content.size()) ReadStretch(content, seam, content.size(), log, progress);

  log.pieces = log.lines.empty() ? 0 : 1;
  for (size_t i = 1; i < log.lines.size(); ++i)
    log.pieces += log.lines[i].nanoseconds < log.lines[i - 1].nanoseconds ||
                  (log.lines[i - 1].offset < seam && log.lines[i].offset >= seam);
  std::sort(log.lines.begin(), log.lines.end(), [](const LogLine &a, const LogLine &b) {
    return a.nanoseconds != b.nanoseconds ? a.nanoseconds < b.nanoseconds : a.offset < b.offset;
  });
  return log;
}

LoadedLog LoadLog(const std::string &path) {
  Input input(path);
  LoadedLog loaded;
  if (!input.regular() || input.size() <= kMostBytes) {
    bool whole = false;
    Progress progress("reading", input.size());
    loaded.bytes = input.ReadUpTo(kMostBytes, &whole, &progress);
    if (!whole && PositionIn(View(loaded.bytes)) >= kHeaderSize)
      throw Failure{kSystem, fmt::format("{}: more than {} MiB, and no file to read them from",
                                         path, kMostBytes >> 20)};
    loaded.log = ReadLog(View(loaded.bytes));
    return loaded;
  }

  // A file made of the header, what was written up to the position, and the end of the file, which
  // was written before that.
  loaded.bytes = input.ReadAt(0, kHeaderSize);
  const uint32_t position = loaded.bytes.size() == kHeaderSize ? PositionIn(View(loaded.bytes)) : 0;
  const bool valid = position >= kHeaderSize && position <= input.size();
  const uint64_t seam = valid ? position : input.size();
  const uint64_t front = std::min<uint64_t>(seam - kHeaderSize, kMostBytes);
  const uint64_t back = std::min<uint64_t>(input.size() - seam, kMostBytes - front);
  loaded.bytes.reserve(kHeaderSize + kMostBytes);
  for (const auto &[from, size] :
       {std::pair(seam - front, front), std::pair(input.size() - back, back)}) {
    const std::vector<uint8_t> part = input.ReadAt(from, static_cast<size_t>(size));
    loaded.bytes.insert(loaded.bytes.end(), part.begin(), part.end());
  }
  const uint32_t middle = static_cast<uint32_t>(kHeaderSize + front);
  for (unsigned i = 0; i < kHeaderSize; ++i)
    loaded.bytes[i] = static_cast<uint8_t>(middle >> (8 * i));
  loaded.log = ReadLog(View(loaded.bytes));
  LogFile &log = loaded.log;
  log.position = position;
  log.header_valid = valid;
  log.size = input.size();
  for (LogLine &line : log.lines)
    line.offset += line.offset < middle ? seam - front - kHeaderSize : input.size() - back - middle;
  return loaded;
}

}  // namespace cuctl
