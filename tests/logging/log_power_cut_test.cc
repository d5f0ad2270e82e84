// What a power cut can leave of a log. Whatever it is, a logger starts on it within a second,
// leaves what is there, and goes on; and a reader finds every line that reached the medium whole.
#include <algorithm>
#include <chrono>
#include <compare>
#include <filesystem>
#include <random>
#include <set>

#include "logging/logging_fixture.hpp"
#include "support/file_calls.hpp"
#include "support/power_cut.hpp"
#include "tools/cuctl/log_reader.hpp"

namespace {

using namespace cu_test;

constexpr uint32_t kLimit = 6000;
/// A line and its header are two changes: a cut can cost 30 lines and more than a wrap.
constexpr size_t kDepth = 60;

class LogPowerCut : public LoggingTest {
 protected:
  /// A line whose message tells its number and has a length of its own.
  std::string Message() {
    const size_t size = random_() % 8 == 0 ? random_() % 1500 : random_() % 120;
    return "line " + std::to_string(lines_++) + ' ' + std::string(size, 'x') + '\n';
  }

  /// A life of a log with several wraps and starts, with each moment of it taken down.
  void Live(History &history) {
    Settings("LOGLEVEL: 1023\nCONSOLE: false\nSYSLOG: false\n");
    std::filesystem::remove(LogPath());
    FileCalls calls;
    calls.before = [&] { history.Note({LogPath()}); };
    for (int start = 0; start < 3; ++start) {
      ASSERT_EQ(1, Init(kLimit));
      for (int i = 0; i < 60; ++i) {
        DbgLog_ChangeLogSettings(kAllLevels);
        const std::string message = Message();
        DbgLog_DumptoLog(DBGLOG_ERROR, "%s", message.c_str());
      }
      DbgLog_DeInitDebugLogger();
    }
    history.Note({LogPath()});
    console_.Take();
  }

  /// A line that was written: where it began, where its message began, and up to its line break.
  struct Line {
    size_t offset, head;
    std::string text;
    auto operator<=>(const Line &) const = default;
  };

  /// Every line that was ever whole. A message has one line break, its last byte.
  static std::set<Line> Lines(const std::set<std::string> &contents) {
    std::set<Line> lines;
    for (const std::string &content : contents) {
      for (size_t at = content.find('[', 4); at != std::string::npos;
           at = content.find('[', at + 1)) {
        size_t head = 0;
        const size_t end = content.find('\n', at);
        if (end == std::string::npos || !cuctl::LineHead(content, at, &head)) continue;
        lines.insert({at, head, content.substr(at, end + 1 - at)});
      }
    }
    return lines;
  }

  std::mt19937 random_;
  long lines_ = 0;
};

TEST_F(LogPowerCut, LeavesALogThatGoesOnAndShowsEveryWholeLine) {
  const unsigned seed = PowerCutSeed();
  const long states = PowerCutStates();
  random_.seed(seed);
  long shown = 0, torn = 0, full = 0, empty = 0;
  History history;
  std::set<Line> lines;
  for (long state = 0; state < states && !HasFailure(); ++state) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", state " + std::to_string(state));
    if (state % 100 == 0) {
      history = History();
      Live(history);
      lines = Lines(history.contents());
      ASSERT_GT(history.moments(), 200U);
    }
    std::string left;
    std::filesystem::remove(LogPath());
    for (const auto &[name, content] : history.Cut(random_, kDepth)) {
      WriteFile(name, content);
      left = content;
    }

    const uint32_t limit = (random_() & 1) != 0 ? kLimit : kNoLimit;
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(1, Init(limit));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));

    // What was there stays; the position is the end, or the beginning of a full file. Fewer than
    // four bytes are no header.
    if (left.size() < 4) left.clear();
    const size_t size = std::max<size_t>(left.size(), 4);
    const bool is_full = size >= limit - 1;
    const std::string log = Log();
    ASSERT_EQ(size, log.size());
    EXPECT_EQ(left.substr(std::min<size_t>(left.size(), 4)), log.substr(4));
    EXPECT_EQ(is_full ? 4 : size, HeaderPosition());
    EXPECT_EQ(is_full ? 0 : 1, gDBGLogCtrl->loggingEnabled);

    const cuctl::LogFile read = cuctl::ReadLog(log);
    EXPECT_TRUE(read.header_valid);
    long whole = 0;
    for (const Line &line : lines) {
      if (log.compare(line.offset < log.size() ? line.offset : log.size(), line.text.size(),
                      line.text) != 0) {
        continue;
      }
      ++whole;
      const auto found = std::find_if(read.lines.begin(), read.lines.end(),
                                      [&](const auto &one) { return one.offset == line.offset; });
      ASSERT_NE(read.lines.end(), found) << "no line at " << line.offset;
      const std::string message = line.text.substr(line.head, line.text.size() - 1 - line.head);
      EXPECT_EQ(message, found->text.substr(0, message.size())) << "at " << line.offset;
    }
    shown += whole;
    torn += static_cast<long>(read.lines.size()) - whole;
    full += is_full;
    empty += log.size() == 4;

    DbgLog_ChangeLogSettings(kAllLevels);
    DbgLog_DumptoLog(DBGLOG_ERROR, "afterwards\n");
    const std::string after = Log();
    const size_t place = is_full ? 4 : size;
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]afterwards\n",
              WithoutStamp(after.substr(place, after.find('\n', place) + 1 - place)));
    const size_t end = after.find('\n', place) + 1;
    EXPECT_EQ(end >= limit - 1 ? 4 : end, HeaderPosition());
    DbgLog_DeInitDebugLogger();
    console_.Take();
  }
  printf("[  note    ] seed %u: %ld states, %ld full, %ld empty, %ld whole lines, %ld torn\n", seed,
         states, full, empty, shown, torn);
  EXPECT_GT(shown, states);
  EXPECT_GT(torn, 0);
}

}  // namespace
