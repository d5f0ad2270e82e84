// A process killed at any moment of its logging: what is left in the file, and that the next start
// goes on with it. Every line has the same length, so each place in the file belongs to the lines
// of one number modulo the lines that fit.
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <new>
#include <random>
#include <set>
#include <thread>

#include "logging/logging_fixture.hpp"
#include "tools/cuctl/log_reader.hpp"

namespace {

using namespace cu_test;

constexpr uint32_t kLimit = 1000;

/// Shared with the child.
struct Progress {
  std::atomic<long> lines{0};     ///< written by calls that have returned
  std::atomic<long> lap{0};       ///< lines in the file when it was full for the first time
  std::atomic<size_t> length{0};  ///< of a line
  std::atomic<bool> failed{false};
};

class KilledLogger : public LoggingTest {
 protected:
  KilledLogger()
      : progress_(static_cast<Progress *>(mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                                               MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  ~KilledLogger() override { munmap(progress_, sizeof(Progress)); }

  /// What the child does: it starts a logger and writes lines, and revives it after each wrap.
  void WriteLines(long count) {
    if (Init(kLimit) != 1) {
      progress_->failed = true;
      return;
    }
    for (long i = 0; i < count; ++i) {
      DbgLog_DumptoLog(DBGLOG_ERROR, "line %09ld\n", i);
      if (progress_->length == 0) progress_->length = LogText().size();
      if (gDBGLogCtrl->loggingEnabled == 0) {
        if (progress_->lap == 0) progress_->lap = i + 1;
        DbgLog_ChangeLogSettings(kAllLevels);
      }
      progress_->lines = i + 1;
    }
  }

  /// The number of the line at a place in the file, which must be whole.
  long LineAt(const std::string &log, size_t place) {
    const std::string line = log.substr(4 + place * progress_->length, progress_->length);
    const size_t text = line.find("]line ");
    EXPECT_EQ(0u, line.rfind("[" + std::to_string(child_) + " : ", 0)) << line;
    EXPECT_NE("odd", WithoutStamp(line).substr(0, 3));
    if (text == std::string::npos || line.back() != '\n') {
      ADD_FAILURE() << "place " << place << " has no whole line: " << line;
      return -1;
    }
    return atol(line.c_str() + text + 6);
  }

  /// The numbers of the lines that `cuctl log cat` shows, each of which must be whole.
  static std::set<long> ShownLines(const std::string &log) {
    std::set<long> shown;
    const cuctl::LogFile read = cuctl::ReadLog(log);
    EXPECT_TRUE(read.header_valid);
    EXPECT_EQ(0U, read.torn_lines);
    for (const cuctl::LogLine &line : read.lines) {
      EXPECT_EQ(14U, line.text.size()) << line.text;
      EXPECT_EQ("line ", line.text.substr(0, 5)) << line.text;
      shown.insert(
          atol(std::string(line.text.substr(std::min<size_t>(5, line.text.size()))).c_str()));
    }
    return shown;
  }

  /// What must hold whenever the child was killed.
  void ExpectEveryLineAndAGoodNextStart() {
    ASSERT_FALSE(progress_->failed);
    const std::string log = Log();
    const long lines = progress_->lines, length = static_cast<long>(progress_->length);
    if (length != 0) {
      // Before the first wrap has been seen all lines stand one behind the other.
      const long lap = progress_->lap != 0 ? progress_->lap.load() : (kLimit - 4) / length + 1;
      ASSERT_EQ(0, (static_cast<long>(log.size()) - 4) % length) << "there are whole lines alone";
      const long places = (static_cast<long>(log.size()) - 4) / length;
      EXPECT_GE(places, std::min(lines, lap));
      const std::set<long> shown = ShownLines(log);
      EXPECT_EQ(static_cast<size_t>(places), shown.size());
      for (long place = 0; place < places; ++place) {
        // The last line of the place that was written, or one that was being written.
        const long last = lines <= place ? -1 : (lines - 1 - place) / lap * lap + place;
        const long found = LineAt(log, static_cast<size_t>(place));
        EXPECT_TRUE(found == last || (lines % lap == place && found == lines))
            << found << " instead of " << last << ", " << lines << " were written";
        EXPECT_EQ(1U, shown.count(found)) << "cuctl does not show line " << found;
      }
      const long position = static_cast<long>(HeaderPosition());
      const auto at = [&](long line) { return position == 4 + line % lap * length; };
      EXPECT_TRUE(at(lines) || at(lines + 1) || position == 4 + lap * length) << position;
    }
    if (log.size() >= 4) {
      EXPECT_GE(HeaderPosition(), 4u);
    }

    // The next start mutes itself when the file is full.
    ASSERT_EQ(1, Init(kNoLimit));
    DbgLog_DumptoLog(DBGLOG_ERROR, "the next start\n");
    const std::string text = LogText();
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]the next start\n",
              WithoutStamp(text.substr(std::max<size_t>(log.size(), 4) - 4)));
    EXPECT_EQ(Log().size(), HeaderPosition());
    DbgLog_DeInitDebugLogger();
    console_.Take();
  }

  void Prepare() {
    std::error_code error;
    std::filesystem::remove(LogPath(), error);
    Settings("LOGLEVEL: 1023\nCONSOLE: false\n");
    new (progress_) Progress;
  }

  Progress *const progress_;
  pid_t child_ = -1;
};

TEST_F(KilledLogger, AtEachSystemCallLeavesEveryLine) {
  constexpr long kLines = 40;
  long k = 1;
  for (bool killed = true; killed && !HasFailure(); ++k) {
    SCOPED_TRACE("system call " + std::to_string(k));
    Prepare();
    fflush(nullptr);
    child_ = fork();
    if (child_ == 0) {
      if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
      raise(SIGSTOP);
      WriteLines(kLines);
      syscall(SYS_exit_group, 0);  // nothing else is done that could be killed
    }
    int status = 0;
    if (waitpid(child_, &status, 0) != child_ || !WIFSTOPPED(status)) {
      GTEST_SKIP() << "processes cannot be traced here";
    }
    // A stop at the beginning of a call and one at its end take turns.
    for (long stops = 0; WIFSTOPPED(status); ++stops) {
      if (stops == 2 * k - 1) kill(child_, SIGKILL);
      ptrace(PTRACE_SYSCALL, child_, nullptr, nullptr);
      ASSERT_EQ(child_, waitpid(child_, &status, 0));
    }
    killed = WIFSIGNALED(status);
    ExpectEveryLineAndAGoodNextStart();
    EXPECT_TRUE(killed || progress_->lines == kLines);
  }
  EXPECT_GT(k, 2 * kLines);
}

TEST_F(KilledLogger, AtRandomMomentsLeavesEveryLine) {
  const char *const seed_text = getenv("CU_SEED");
  const char *const kills_text = getenv("CU_KILLS");
  const unsigned seed = seed_text != nullptr ? static_cast<unsigned>(atoi(seed_text)) : 20240607;
  const int kills = kills_text != nullptr ? atoi(kills_text) : 200;
  std::mt19937 random(seed);
  long lines = 0;
  for (int i = 0; i < kills && !HasFailure(); ++i) {
    const auto delay = std::chrono::microseconds(random() % 4000);
    SCOPED_TRACE("kill " + std::to_string(i));
    Prepare();
    fflush(nullptr);
    child_ = fork();
    if (child_ == 0) {
      WriteLines(LONG_MAX);
      _exit(1);
    }
    std::this_thread::sleep_for(delay);
    kill(child_, SIGKILL);
    int status = 0;
    ASSERT_EQ(child_, waitpid(child_, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status));
    ExpectEveryLineAndAGoodNextStart();
    lines += progress_->lines;
  }
  printf("[  note    ] seed %u: %d kills, %ld whole lines before them\n", seed, kills, lines);
}

}  // namespace
