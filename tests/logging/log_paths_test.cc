// Links, folders, pipes and strangers' files where the log or its settings should be, folders that
// cannot be written and odd umasks: what the daemon gets, and that nothing else is touched.
#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>

#include "logging/logging_fixture.hpp"
#include "support/hostile_paths.hpp"

namespace {

using namespace cu_test;

constexpr char kOn[] = "LOGLEVEL: 1023\nCONSOLE: false\nSYSLOG: false\n";

/// The logger's files are in a folder of the other user's; links lead to a second one.
class LogPaths : public LoggingTest {
 protected:
  LogPaths() {
    chmod(dir_.path().c_str(), 0755);
    for (const std::string &path : {Folder(), Elsewhere()}) {
      std::filesystem::create_directory(path);
      GiveToOtherUser(path);
    }
  }

  std::string Folder() const { return dir_.file("folder"); }
  std::string Elsewhere() const { return dir_.file("elsewhere"); }
  std::string Target() const { return Elsewhere() + "/target"; }
  std::string LogFile() const { return Folder() + "/log"; }
  std::string SettingsFile() const { return Folder() + "/enable"; }

  void WriteSettings() const { Own(SettingsFile(), kOn); }
  static void Own(const std::string &path, const std::string &content) {
    WriteFile(path, content);
    GiveToOtherUser(path);
  }
  int Open(uint32_t max_size = kNoLimit, int32_t level = DBGLOG_ERROR) {
    console_.Take();
    return DbgLog_InitDebugLogger(SettingsFile().c_str(), LogFile().c_str(), max_size, level);
  }
  static bool HasFile() { return gDBGLogCtrl->logFile != nullptr; }

  /// Logging to this path works: lines, a wrap, and lines over the first ones.
  void ExpectLogging(const std::string &path) {
    console_.Take();
    ASSERT_TRUE(HasFile());
    for (int wraps = 0; wraps < 2;) {
      DbgLog_DumptoLog(DBGLOG_ERROR, "a line\n");
      if (gDBGLogCtrl->loggingEnabled != 0) continue;
      ++wraps;
      DbgLog_ChangeLogSettings(kAllLevels);
    }
    DbgLog_DumptoLog(DBGLOG_ERROR, "the last\n");
    const std::string log = ReadFile(path);
    ASSERT_GT(log.size(), 4U);
    const size_t end = log.find('\n', 4) + 1;
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]the last\n", WithoutStamp(log.substr(4, end - 4)));
    EXPECT_EQ(end, Position(log));
  }

  /// Once both paths are sound the logger works as ever.
  void ExpectLoggingAtSoundPaths() {
    std::filesystem::remove_all(LogFile());
    std::filesystem::remove_all(SettingsFile());
    WriteFile(SettingsFile(), kOn);
    ASSERT_EQ(1, Open(1000));
    ExpectLogging(LogFile());
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(LogFile())));
    DbgLog_DeInitDebugLogger();
    console_.Take();
  }
};

TEST_F(LogPaths, WhateverStandsAtTheLogsPath) {
  for (const Hostile kind : kAllHostile) {
    SCOPED_TRACE(NameOf(kind));
    std::filesystem::remove_all(LogFile());
    std::filesystem::remove(Target());
    WriteSettings();
    const bool is_link = kind == Hostile::kLink || kind == Hostile::kDanglingLink;
    if (kind == Hostile::kLink) Own(Target(), Header(4));
    const HostilePath hostile(kind, LogFile(), Target());
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      const auto elsewhere = TreeOf(Elsewhere()), before = TreeOf(Folder());
      ASSERT_EQ(1, Open(1000));
      const bool is_new = kind == Hostile::kDanglingLink || kind == Hostile::kCircle;
      const std::string created = is_new ? "Created LogFile " + LogFile() + "\n" : "";
      EXPECT_EQ("Enable logger for " + LogFile() + "\nEnabled logger for " + LogFile() +
                    " complete\n" + created,
                console_.Take());
      EXPECT_EQ(1, gDBGLogCtrl->loggingEnabled);
      EXPECT_EQ(is_link || kind == Hostile::kPipe, HasFile());
      if (is_link) {
        ExpectLogging(Target());
        EXPECT_EQ(1U, TreeOf(Elsewhere()).size());
      } else if (kind == Hostile::kPipe) {
        DbgLog_DumptoLog(DBGLOG_ERROR, "into the pipe\n");
        EXPECT_FALSE(hostile.IsEmptyPipe());
      } else {
        // Lines are dropped, and each change of the settings tries again.
        DbgLog_DumptoLog(DBGLOG_ERROR, "dropped\n");
        DbgLog_ChangeLogSettings(kAllLevels);
        EXPECT_EQ(created, console_.Take());
        EXPECT_FALSE(HasFile());
      }
      if (!is_link) {
        EXPECT_EQ(elsewhere, TreeOf(Elsewhere()));
      }
      DbgLog_DeInitDebugLogger();
      EXPECT_EQ(descriptors, OpenDescriptors());
      EXPECT_EQ(before, TreeOf(Folder()));
      ExpectLoggingAtSoundPaths();
    });
  }
}

TEST_F(LogPaths, WhateverStandsAtTheSettingsPath) {
  for (const Hostile kind : kAllHostile) {
    SCOPED_TRACE(NameOf(kind));
    std::filesystem::remove_all(LogFile());
    std::filesystem::remove_all(SettingsFile());
    std::filesystem::remove(Target());
    if (kind == Hostile::kLink) Own(Target(), kOn);
    const bool is_missing = kind == Hostile::kDanglingLink || kind == Hostile::kCircle;
    const bool is_closed = kind == Hostile::kStrangers;
    if (kind == Hostile::kPipe) {
      ASSERT_EQ(0, mkfifo(SettingsFile().c_str(), 0666));
      GiveToOtherUser(SettingsFile());
    } else {
      const HostilePath hostile(kind, SettingsFile(), Target());
    }
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      const auto elsewhere = TreeOf(Elsewhere());
      // Whoever writes into a pipe ends the wait for it.
      std::thread writer([&] {
        if (kind == Hostile::kPipe) WriteFile(SettingsFile(), kOn);
      });
      ASSERT_EQ(1, Open(1000, 5));
      writer.join();
      const std::string said = console_.Take();
      if (is_missing || is_closed) {
        EXPECT_EQ("Enable logger for " + LogFile() + "\nEnabled logger for " + LogFile() +
                      " complete\nUnable to open " + (is_closed ? "log" : "logenable") + " file " +
                      SettingsFile() + "\n",
                  said);
        EXPECT_EQ(0, gDBGLogCtrl->loggingEnabled);
        EXPECT_EQ(1U << 5, gDBGLogCtrl->logLevelMask);
        EXPECT_FALSE(HasFile());
        DbgLog_DumptoLog(5, "dropped\n");
        EXPECT_FALSE(std::filesystem::exists(LogFile()));
      } else {
        // A folder has no line; the level is the mask then.
        EXPECT_EQ(kind == Hostile::kDirectory ? 5 : kAllLevels, gDBGLogCtrl->logLevelMask);
        DbgLog_ChangeLogSettings(kAllLevels);
        ExpectLogging(LogFile());
      }
      DbgLog_DeInitDebugLogger();
      EXPECT_EQ(elsewhere, TreeOf(Elsewhere()));
      EXPECT_EQ(descriptors, OpenDescriptors());
      ExpectLoggingAtSoundPaths();
    });
  }
}

TEST_F(LogPaths, AFolderThatCannotBeWrittenGivesNoNewLogAndGoesOnWithAnOldOne) {
  for (const bool old : {false, true}) {
    SCOPED_TRACE(old ? "old" : "new");
    WriteSettings();
    if (old) Own(LogFile(), Header(4));
    ASSERT_EQ(0, chmod(Folder().c_str(), 0555));
    AsOtherUser([&] {
      const long descriptors = OpenDescriptors();
      ASSERT_EQ(1, Open(1000));
      EXPECT_EQ(old, HasFile());
      DbgLog_DumptoLog(DBGLOG_ERROR, "a line\n");
      if (old) ExpectLogging(LogFile());
      EXPECT_EQ(old, std::filesystem::exists(LogFile()));
      DbgLog_DeInitDebugLogger();
      EXPECT_EQ(descriptors, OpenDescriptors());
    });
    ASSERT_EQ(0, chmod(Folder().c_str(), 0755));
    AsOtherUser([&] { ExpectLoggingAtSoundPaths(); });
  }
}

TEST_F(LogPaths, AFolderOfAStrangerSwitchesTheLoggerOff) {
  WriteSettings();
  CloseToOtherUser(Folder());
  AsOtherUser([&] {
    const long descriptors = OpenDescriptors();
    ASSERT_EQ(1, Open(1000));
    EXPECT_EQ(0, gDBGLogCtrl->loggingEnabled);
    EXPECT_FALSE(HasFile());
    DbgLog_ChangeLogSettings(kAllLevels);
    EXPECT_FALSE(HasFile());
    DbgLog_DeInitDebugLogger();
    EXPECT_EQ(descriptors, OpenDescriptors());
  });
  ASSERT_EQ(0, chmod(Folder().c_str(), 0755));
}

TEST_F(LogPaths, TheUmaskAloneLimitsWhoMayReadALog) {
  for (const mode_t mask : {0, 077}) {
    SCOPED_TRACE(mask);
    std::filesystem::remove(LogFile());
    WriteSettings();
    AsOtherUser([&] {
      umask(mask);
      ASSERT_EQ(1, Open(1000));
      ExpectLogging(LogFile());
      DbgLog_DeInitDebugLogger();
      EXPECT_EQ(0666 & ~mask, ModeOf(LogFile()));
      ExpectLoggingAtSoundPaths();
    });
  }
}

}  // namespace
