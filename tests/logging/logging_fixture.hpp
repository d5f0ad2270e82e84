// What the logger's tests share: a folder with a settings file and a log, what reaches standard
// error, and the parts of a log line.
#ifndef COMMONUTILITIES_TESTS_LOGGING_FIXTURE_HPP
#define COMMONUTILITIES_TESTS_LOGGING_FIXTURE_HPP

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include "include/dbglog.h"
#include "support/files.hpp"

namespace cu_test {

constexpr uint32_t kAllLevels = 0x3FF;
constexpr uint32_t kNoLimit = 0x7FFFFFFF;

/// The names of the levels, as they stand in lines.
inline const std::vector<std::string> &LevelNames() {
  static const std::vector<std::string> names = {"EMERGENCY", "ALERT",     "CRITICAL", "ERROR",
                                                 "WARNING",   "NOTICE",    "INFO",     "DEBUG",
                                                 "TRACE",     "TRACEDEBUG"};
  return names;
}

/// "[pid : tid NAME" of the calling thread.
inline std::string Tag(uint32_t level) {
  return "[" + std::to_string(getpid()) + " : " + std::to_string(syscall(SYS_gettid)) + " " +
         LevelNames().at(level);
}

/// While it lives, what is written to stderr is kept instead of shown. Descriptor 2 is left alone,
/// so that a sanitizer's report gets through.
class StderrCapture {
 public:
  StderrCapture() : shown_(stderr), kept_(memfd_create("stderr", MFD_CLOEXEC)) {
    stderr = fdopen(kept_, "w");
    setvbuf(stderr, nullptr, _IONBF, 0);
  }
  ~StderrCapture() {
    fclose(stderr);
    stderr = shown_;
  }
  StderrCapture(const StderrCapture &) = delete;
  StderrCapture &operator=(const StderrCapture &) = delete;

  /// What has been written since the last call.
  std::string Take() {
    std::string text;
    char buffer[4096];
    for (;;) {
      const ssize_t count = pread(kept_, buffer, sizeof buffer, taken_);
      if (count <= 0) return text;
      text.append(buffer, static_cast<size_t>(count));
      taken_ += count;
    }
  }

 private:
  FILE *shown_;
  int kept_;
  off_t taken_ = 0;
};

/// A folder for a logger's files, standard error captured, and no logger left behind.
class LoggingTest : public testing::Test {
 protected:
  LoggingTest() { EXPECT_EQ(nullptr, gDBGLogCtrl); }
  ~LoggingTest() override {
    if (gDBGLogCtrl == nullptr) return;
    gDBGLogCtrl->refCount = 1;
    DbgLog_DeInitDebugLogger();
  }

  std::string SettingsPath() const { return dir_.file("enable"); }
  std::string LogPath() const { return dir_.file("log"); }

  /// Writes the settings file.
  void Settings(const std::string &text) const { WriteFile(SettingsPath(), text); }

  int Init(uint32_t max_size = kNoLimit, int32_t level = 0) {
    return DbgLog_InitDebugLogger(SettingsPath().c_str(), LogPath().c_str(), max_size, level);
  }

  /// A logger with all levels on and the console off, and the messages about it taken.
  void Start(uint32_t max_size = kNoLimit) {
    Settings("LOGLEVEL: 1023\nCONSOLE: false\nSYSLOG: false\n");
    ASSERT_EQ(1, Init(max_size));
    console_.Take();
  }

  void StartWithConsole() {
    Start();
    gDBGLogCtrl->consoleEnabled = 1;
  }

  /// The log file as it is now.
  std::string Log() const { return ReadFile(LogPath()); }
  /// Its text, without the header.
  std::string LogText() const { return Log().size() < 4 ? "" : Log().substr(4); }
  /// The position in its header.
  uint32_t HeaderPosition() const { return Position(Log()); }

  static uint32_t Position(const std::string &log) {
    if (log.size() < 4) return 0;
    uint32_t position = 0;
    for (int i = 3; i >= 0; --i) position = position << 8 | static_cast<unsigned char>(log[i]);
    return position;
  }

  /// The four bytes of a header.
  static std::string Header(uint32_t position) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(position >> (8 * i) & 255);
    return bytes;
  }

  /// A line of the log file with its time stamp left out, which must be a number of nanoseconds
  /// since 1970 in this century: "[1 : 1 ERROR (1700000000000000000)]text" gives "[1 : 1
  /// ERROR]text".
  static std::string WithoutStamp(const std::string &line) {
    const size_t open = line.find(" ("), close = line.find(")]");
    if (open == std::string::npos || close == std::string::npos) return "no stamp: " + line;
    const std::string stamp = line.substr(open + 2, close - open - 2);
    if (stamp.size() != 19 || stamp.find_first_not_of("0123456789") != std::string::npos) {
      return "odd stamp: " + line;
    }
    return line.substr(0, open) + line.substr(close + 1);
  }

  TempDir dir_;
  StderrCapture console_;
};

}  // namespace cu_test

#endif
