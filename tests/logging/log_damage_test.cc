// A log of 1 KiB with one byte changed, or cut off anywhere: a logger starts on it, leaves the rest
// as it is and goes on, and a reader comes to an end within it.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <vector>

#include "logging/logging_fixture.hpp"
#include "support/scratch_in_memory.hpp"
#include "support/threads.hpp"
#include "tools/cuctl/log_reader.hpp"

namespace {

using namespace cu_test;

constexpr uint32_t kSize = 1024;
constexpr uint32_t kPosition = 400;

class DamagedLog : public LoggingTest {
 protected:
  DamagedLog() {
    Settings("LOGLEVEL: 1023\nCONSOLE: false\nSYSLOG: false\n");
    Init(kSize);
    while (gDBGLogCtrl->logFilePosition < 800) DbgLog_DumptoLog(DBGLOG_ERROR, "a line\n");
    LogUpTo(kSize);  // it wraps
    DbgLog_ChangeLogSettings(kAllLevels);
    DbgLog_DumptoLog(DBGLOG_ERROR, "another\nline\n");
    LogUpTo(kPosition);
    DbgLog_DeInitDebugLogger();
    sound_ = Log();
  }

  static void LogUpTo(uint32_t end) {
    const size_t header = (Tag(DBGLOG_ERROR) + " (1700000000000000000)]").size();
    const size_t size = end - static_cast<size_t>(gDBGLogCtrl->logFilePosition);
    ASSERT_GT(size, header);
    DbgLog_DumptoLog(DBGLOG_ERROR, "%s\n", std::string(size - header - 1, 'x').c_str());
  }

  /// The lines that a reader finds, which must lie within the log. It gets a copy of just these
  /// bytes, so that a sanitizer sees it read others.
  static size_t Lines(const std::string &log) {
    const std::vector<char> copy(log.begin(), log.end());
    const std::string_view content(copy.data(), copy.size());
    const cuctl::LogFile read = cuctl::ReadLog(content);
    for (const cuctl::LogLine &line : read.lines) {
      EXPECT_LT(line.offset, content.size());
      if (line.text.empty()) continue;
      EXPECT_GE(line.text.data(), content.data() + line.offset);
      EXPECT_LE(line.text.data() + line.text.size(), content.data() + content.size());
    }
    EXPECT_LE(read.torn_bytes, content.size());
    return read.lines.size();
  }

  /// Starts a logger on these bytes and writes a line, with room behind them or none.
  void Live(const std::string &left, uint32_t limit) {
    WriteFile(LogPath(), left);
    const size_t lines = Lines(left);
    ASSERT_EQ(1, Init(limit));
    const size_t size = std::max<size_t>(left.size(), 4);
    const bool is_full = size >= limit - 1;
    const size_t place = is_full ? 4 : size;
    std::string expected = Header(static_cast<uint32_t>(place));
    if (left.size() > 4) expected += left.substr(4);
    ASSERT_EQ(expected, Log());
    ASSERT_EQ(is_full ? 0 : 1, gDBGLogCtrl->loggingEnabled);
    DbgLog_ChangeLogSettings(kAllLevels);
    DbgLog_DumptoLog(DBGLOG_ERROR, "goes on\n");
    DbgLog_DeInitDebugLogger();

    const std::string log = Log();
    const size_t end = log.find('\n', place) + 1;
    ASSERT_EQ(Tag(DBGLOG_ERROR) + "]goes on\n", WithoutStamp(log.substr(place, end - place)));
    expected.resize(std::max(expected.size(), end));
    EXPECT_EQ(expected.substr(end), log.substr(end));
    EXPECT_EQ(expected.substr(4, place - 4), log.substr(4, place - 4));
    EXPECT_EQ(end >= limit - 1 ? 4 : end, HeaderPosition());
    const size_t now = Lines(log);
    if (!is_full) {
      EXPECT_GE(now, lines);
    }
    EXPECT_GT(now, 0U);
    console_.Take();
  }

  std::string sound_;
};

TEST_F(DamagedLog, WithAnyByteChangedGoesOn) {
  ASSERT_EQ(kSize, sound_.size());
  ASSERT_EQ(kPosition, Position(sound_));
  ASSERT_GT(Lines(sound_), 6U);
  std::vector<unsigned> flips = {1U, 0x20U, 0x80U, 0xFFU};
  if (getenv("CU_TEST_FULL") != nullptr) {
    flips.resize(255);
    std::iota(flips.begin(), flips.end(), 1U);
  }
  for (size_t at = 0; at < sound_.size() && !HasFailure(); ++at) {
    for (size_t i = 0; i < flips.size(); ++i) {
      SCOPED_TRACE("offset " + std::to_string(at) + ", flip " + std::to_string(flips[i]));
      std::string log = sound_;
      log[at] = static_cast<char>(static_cast<unsigned char>(log[at]) ^ flips[i]);
      if (Rounds(1) != 0 || at % flips.size() == i) {
        Live(log, (at + i) % 2 == 0 ? kSize : kNoLimit);
      } else {
        Lines(log);
      }
    }
  }
}

TEST_F(DamagedLog, CutAnywhereGoesOn) {
  for (size_t size = 0; size <= sound_.size() && !HasFailure(); ++size) {
    SCOPED_TRACE(size);
    if (Rounds(1) != 0 || size % 2 == 0) Live(sound_.substr(0, size), kSize);
    if (Rounds(1) != 0 || size % 2 != 0) Live(sound_.substr(0, size), kNoLimit);
  }
}

}  // namespace
