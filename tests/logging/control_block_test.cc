// The control block: how the logger comes into being, is shared and goes away.
#include <limits.h>
#include <stddef.h>
#include <sys/stat.h>

#include "logging/logging_fixture.hpp"

namespace {

using namespace cu_test;

using DBGLogCtrlRecord = LoggingTest;
using InitDebugLogger = LoggingTest;
using InitDebugLoggerPWR = LoggingTest;
using DeInitDebugLogger = LoggingTest;
using EnabledLogger = LoggingTest;
using ChangeLogSettings = LoggingTest;
using LevelEnabled = LoggingTest;

/// A path of exactly `length` characters to a file of a folder.
std::string PathOfLength(const std::string &folder, size_t length) {
  std::string path = folder;
  while (path.size() + 4 <= length) path += "/.";
  path += path.size() + 2 == length ? "/f" : "/ff";
  EXPECT_EQ(length, path.size());
  return path;
}

TEST_F(DBGLogCtrlRecord, HasItsFieldsInOrder) {
  EXPECT_EQ(0u, offsetof(DBGLogCtrl, magic));
  EXPECT_EQ(4u, offsetof(DBGLogCtrl, reserved));
  EXPECT_EQ(8u, offsetof(DBGLogCtrl, logLevelMask));
  EXPECT_EQ(12u, offsetof(DBGLogCtrl, logEnableFilePath));
  EXPECT_EQ(267u, offsetof(DBGLogCtrl, logFilePath));
  EXPECT_EQ(522u, offsetof(DBGLogCtrl, syslogEnabled));
  EXPECT_EQ(524u, offsetof(DBGLogCtrl, maxLogFileSize));
  EXPECT_EQ(528u, offsetof(DBGLogCtrl, logFilePosition));
  EXPECT_EQ(532u, offsetof(DBGLogCtrl, loggingEnabled));
  EXPECT_EQ(533u, offsetof(DBGLogCtrl, consoleEnabled));
  EXPECT_EQ(534u, offsetof(DBGLogCtrl, pwrFlag1));
  EXPECT_EQ(535u, offsetof(DBGLogCtrl, pwrFlag2));
  EXPECT_EQ(536u, offsetof(DBGLogCtrl, pwrValue));
  EXPECT_LT(offsetof(DBGLogCtrl, pwrValue), offsetof(DBGLogCtrl, logFile));
  EXPECT_LT(offsetof(DBGLogCtrl, logFile), offsetof(DBGLogCtrl, lock));
  EXPECT_LT(offsetof(DBGLogCtrl, lock), offsetof(DBGLogCtrl, refCount));
  EXPECT_EQ(offsetof(DBGLogCtrl, refCount) + 2, offsetof(DBGLogCtrl, spare));
  if (sizeof(void *) == 4) {
    EXPECT_EQ(540u, offsetof(DBGLogCtrl, logFile));
    EXPECT_EQ(544u, offsetof(DBGLogCtrl, lock));
    EXPECT_EQ(572u, sizeof(DBGLogCtrl));
  }
}

TEST_F(DBGLogCtrlRecord, IsAbsentAtFirst) {
  EXPECT_EQ(nullptr, gDBGLogCtrl);
  EXPECT_EQ(nullptr, DbgLog_GetEnabledLogger());
}

TEST_F(DBGLogCtrlRecord, IsReadAndWrittenThroughTheExportedPointer) {
  DBGLogCtrl own = {};
  own.logLevelMask = 1u << DBGLOG_ALERT;
  gDBGLogCtrl = &own;
  EXPECT_EQ(&own, DbgLog_GetEnabledLogger());
  EXPECT_EQ(1, loggingLevelEnabled(DBGLOG_ALERT));
  gDBGLogCtrl = nullptr;
  EXPECT_EQ(nullptr, DbgLog_GetEnabledLogger());
}

TEST_F(InitDebugLogger, CreatesTheBlockAndSaysSo) {
  Settings("LOGLEVEL: 255\nCONSOLE: true\nSYSLOG: false\n");
  EXPECT_EQ(1, Init(65536, DBGLOG_INFO));
  EXPECT_EQ("Enable logger for " + LogPath() + "\nEnabled logger for " + LogPath() +
                " complete\nCreated LogFile " + LogPath() + "\n",
            console_.Take());
  const DBGLogCtrl *const block = gDBGLogCtrl;
  ASSERT_NE(nullptr, block);
  EXPECT_EQ(0xABCDEFu, block->magic);
  EXPECT_EQ(DBGLOG_MAGIC, block->magic);
  EXPECT_EQ(0u, block->reserved);
  EXPECT_EQ(255u, block->logLevelMask);
  EXPECT_STREQ(SettingsPath().c_str(), block->logEnableFilePath);
  EXPECT_STREQ(LogPath().c_str(), block->logFilePath);
  EXPECT_EQ(0, block->syslogEnabled);
  EXPECT_EQ(65536u, block->maxLogFileSize);
  EXPECT_EQ(4, block->logFilePosition);
  EXPECT_EQ(1, block->loggingEnabled);
  EXPECT_EQ(1, block->consoleEnabled);
  EXPECT_EQ(0, block->pwrFlag1);
  EXPECT_EQ(0, block->pwrFlag2);
  EXPECT_EQ(0u, block->pwrValue);
  EXPECT_NE(nullptr, block->logFile);
  EXPECT_EQ(1, block->refCount);
  EXPECT_EQ(0, block->spare);
}

TEST_F(InitDebugLogger, FillsTheRestOfThePathFieldsWithZeros) {
  Start();
  for (size_t i = SettingsPath().size(); i < sizeof(gDBGLogCtrl->logEnableFilePath); ++i) {
    ASSERT_EQ('\0', gDBGLogCtrl->logEnableFilePath[i]);
  }
  for (size_t i = LogPath().size(); i < sizeof(gDBGLogCtrl->logFilePath); ++i) {
    ASSERT_EQ('\0', gDBGLogCtrl->logFilePath[i]);
  }
}

TEST_F(InitDebugLogger, RefusesANullPathWithAMessage) {
  EXPECT_EQ(0, DbgLog_InitDebugLogger(nullptr, "log", 1, 1));
  EXPECT_EQ("Failed to Enable logger\n", console_.Take());
  EXPECT_EQ(0, DbgLog_InitDebugLogger("enable", nullptr, 1, 1));
  EXPECT_EQ("Failed to Enable logger\n", console_.Take());
  EXPECT_EQ(nullptr, gDBGLogCtrl);
}

TEST_F(InitDebugLogger, RefusesAPathOf256CharactersSilently) {
  const std::string long_path = PathOfLength(dir_.path(), 256);
  EXPECT_EQ(0, DbgLog_InitDebugLogger(long_path.c_str(), LogPath().c_str(), 1, 1));
  EXPECT_EQ(0, DbgLog_InitDebugLogger(SettingsPath().c_str(), long_path.c_str(), 1, 1));
  EXPECT_EQ("", console_.Take());
  EXPECT_EQ(nullptr, gDBGLogCtrl);
}

TEST_F(InitDebugLogger, TakesALogPathOf255Characters) {
  const std::string path = PathOfLength(dir_.path(), 255);
  Settings("LOGLEVEL: 8\n");
  EXPECT_EQ(1, DbgLog_InitDebugLogger(SettingsPath().c_str(), path.c_str(), 200, 0));
  EXPECT_EQ("Enable logger for " + path + "\nEnabled logger for " + path +
                " complete\nCreated LogFile " + path + "\n",
            console_.Take());
  EXPECT_EQ(0, memcmp(path.data(), gDBGLogCtrl->logFilePath, 255));
  gDBGLogCtrl->syslogEnabled = 'x';  // what follows the field must not become part of the path
  DbgLog_DumptoLog(DBGLOG_ERROR, "%0200d\n", 1);  // wraps, so the path is opened again
  EXPECT_NE(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(4u, Position(ReadFile(path)));
  EXPECT_EQ("", console_.Take());
}

TEST_F(InitDebugLogger, TakesASettingsPathOf255Characters) {
  const std::string path = PathOfLength(dir_.path(), 255);
  WriteFile(path, "LOGLEVEL: 12\n");
  EXPECT_EQ(1, DbgLog_InitDebugLogger(path.c_str(), LogPath().c_str(), 1000, 0));
  EXPECT_EQ(12u, gDBGLogCtrl->logLevelMask);
  std::filesystem::remove(path);
  console_.Take();
  uint32_t mask = 0;
  EXPECT_EQ(0, DbgLog_GetLogSettingsFromFile(&mask));
  EXPECT_EQ("Unable to open logenable file " + path + "\n", console_.Take());
}

TEST_F(InitDebugLogger, TakesTheLevelAsAMaskWhenTheSettingsGiveNone) {
  Settings("CONSOLE: false\n");
  EXPECT_EQ(1, Init(kNoLimit, DBGLOG_DEBUG));
  EXPECT_EQ(7u, gDBGLogCtrl->logLevelMask);
  EXPECT_EQ(1, loggingLevelEnabled(DBGLOG_EMERGENCY));
  EXPECT_EQ(1, loggingLevelEnabled(DBGLOG_CRITICAL));
  EXPECT_EQ(0, loggingLevelEnabled(DBGLOG_DEBUG));
}

TEST_F(InitDebugLogger, TakesANegativeLevelAsAMaskAsItStands) {
  Settings("");
  EXPECT_EQ(1, Init(kNoLimit, -1));
  EXPECT_EQ(0xFFFFFFFFu, gDBGLogCtrl->logLevelMask);
}

TEST_F(InitDebugLogger, TakesTheLevelAsOneLevelWithoutASettingsFile) {
  const struct {
    int32_t level;
    uint32_t mask;
  } kRows[] = {{0, 1},  {3, 8},         {7, 128}, {9, 512}, {10, 1024},    {31, 0x80000000u},
               {32, 0}, {INT32_MAX, 0}, {-1, 0},  {-32, 0}, {INT32_MIN, 0}};
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.level);
    EXPECT_EQ(1, Init(kNoLimit, row.level));
    EXPECT_EQ(row.mask, gDBGLogCtrl->logLevelMask);
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(InitDebugLogger, StaysSilentWithoutASettingsFile) {
  EXPECT_EQ(1, Init(kNoLimit, DBGLOG_DEBUG));
  EXPECT_EQ("Enable logger for " + LogPath() + "\nEnabled logger for " + LogPath() +
                " complete\nUnable to open logenable file " + SettingsPath() + "\n",
            console_.Take());
  EXPECT_EQ(0, gDBGLogCtrl->loggingEnabled);
  EXPECT_EQ(0, gDBGLogCtrl->consoleEnabled);
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(4, gDBGLogCtrl->logFilePosition);
  EXPECT_EQ(1, loggingLevelEnabled(DBGLOG_DEBUG));
  EXPECT_EQ(0, loggingLevelEnabled(DBGLOG_INFO));

  DbgLog_DumptoLog(DBGLOG_DEBUG, "nothing\n");
  DbgLog_DumptoStdError(DBGLOG_DEBUG, "nothing\n");
  EXPECT_EQ("", console_.Take());
  EXPECT_FALSE(std::filesystem::exists(LogPath()));
}

TEST_F(InitDebugLogger, StaysSilentWithAnEmptySettingsPath) {
  EXPECT_EQ(1, DbgLog_InitDebugLogger("", LogPath().c_str(), kNoLimit, DBGLOG_DEBUG));
  EXPECT_EQ("Enable logger for " + LogPath() + "\nEnabled logger for " + LogPath() +
                " complete\nUnable to open logenable file\n",
            console_.Take());
  EXPECT_EQ(0, gDBGLogCtrl->loggingEnabled);
  EXPECT_EQ(128u, gDBGLogCtrl->logLevelMask);
}

TEST_F(InitDebugLogger, LivesWithALogThatCannotBeCreated) {
  Settings("LOGLEVEL: 255\nCONSOLE: true\n");
  const std::string path = dir_.file("missing/log");
  EXPECT_EQ(1, DbgLog_InitDebugLogger(SettingsPath().c_str(), path.c_str(), kNoLimit, 0));
  EXPECT_EQ("Enable logger for " + path + "\nEnabled logger for " + path +
                " complete\nCreated LogFile " + path + "\n",
            console_.Take());
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(1, gDBGLogCtrl->loggingEnabled);
  DbgLog_DumptoLog(DBGLOG_ERROR, "dropped\n");
  DbgLog_DumptoStdError(DBGLOG_ERROR, "shown");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]shown\n", console_.Take());
}

TEST_F(InitDebugLogger, KeepsTheFirstPathsSizeAndMaskAtASecondCall) {
  Settings("CONSOLE: false\n");
  EXPECT_EQ(1, Init(1000, 0x0F));
  console_.Take();
  const std::string other = dir_.file("other");
  WriteFile(dir_.file("other-enable"), "LOGLEVEL: 1\n");
  EXPECT_EQ(1, DbgLog_InitDebugLogger(dir_.file("other-enable").c_str(), other.c_str(), 2000, 1));
  EXPECT_EQ("", console_.Take());
  EXPECT_EQ(2, gDBGLogCtrl->refCount);
  EXPECT_STREQ(SettingsPath().c_str(), gDBGLogCtrl->logEnableFilePath);
  EXPECT_STREQ(LogPath().c_str(), gDBGLogCtrl->logFilePath);
  EXPECT_EQ(1000u, gDBGLogCtrl->maxLogFileSize);
  EXPECT_EQ(0x0Fu, gDBGLogCtrl->logLevelMask);
  EXPECT_FALSE(std::filesystem::exists(other));

  DbgLog_DeInitDebugLogger();
  EXPECT_NE(nullptr, gDBGLogCtrl);
  DbgLog_DeInitDebugLogger();
  EXPECT_EQ(nullptr, gDBGLogCtrl);
}

TEST_F(InitDebugLogger, ReadsTheFirstSettingsFileAgainAtASecondCall) {
  Start();
  Settings("LOGLEVEL: 3\nCONSOLE: true\n");
  EXPECT_EQ(1, Init());
  EXPECT_EQ(3u, gDBGLogCtrl->logLevelMask);
  EXPECT_EQ(1, gDBGLogCtrl->consoleEnabled);
}

TEST_F(InitDebugLogger, ForgetsTheOpenLogWhenASecondCallFindsNoSettings) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "before\n");
  const long descriptors = OpenDescriptors();
  FILE *const stream = gDBGLogCtrl->logFile;
  std::filesystem::remove(SettingsPath());

  EXPECT_EQ(1, Init(kNoLimit, DBGLOG_ERROR));
  EXPECT_EQ(2, gDBGLogCtrl->refCount);
  EXPECT_EQ(0, gDBGLogCtrl->loggingEnabled);
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(8u, gDBGLogCtrl->logLevelMask);
  EXPECT_EQ(descriptors, OpenDescriptors());  // the one of the forgotten stream is still open

  DbgLog_ChangeLogSettings(8);
  EXPECT_EQ(descriptors + 1, OpenDescriptors());
  DbgLog_DumptoLog(DBGLOG_ERROR, "after\n");
  EXPECT_NE(std::string::npos, LogText().find("before\n"));
  EXPECT_NE(std::string::npos, LogText().find("after\n"));
  EXPECT_EQ(Log().size(), HeaderPosition());
  fclose(stream);
}

TEST_F(InitDebugLogger, KeepsTheConsoleSwitchWhenASecondCallFindsNoSettings) {
  StartWithConsole();
  FILE *const stream = gDBGLogCtrl->logFile;
  std::filesystem::remove(SettingsPath());

  EXPECT_EQ(1, Init(kNoLimit, DBGLOG_ERROR));
  EXPECT_EQ(1, gDBGLogCtrl->consoleEnabled);
  console_.Take();
  DbgLog_DumptoStdError(DBGLOG_ERROR, "nothing");  // logging is off as a whole
  EXPECT_EQ("", console_.Take());

  DbgLog_ChangeLogSettings(1u << DBGLOG_ERROR);
  DbgLog_DumptoStdError(DBGLOG_ERROR, "shown");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]shown\n", console_.Take());
  fclose(stream);
}

TEST_F(InitDebugLogger, RefusesNullAndLongPathsAtASecondCallToo) {
  Start();
  const std::string long_path = PathOfLength(dir_.path(), 256);
  EXPECT_EQ(0, DbgLog_InitDebugLogger(nullptr, LogPath().c_str(), 1, 1));
  EXPECT_EQ(0, DbgLog_InitDebugLogger(long_path.c_str(), LogPath().c_str(), 1, 1));
  EXPECT_EQ(1, gDBGLogCtrl->refCount);
}

TEST_F(InitDebugLogger, CountsReferencesIn16Bits) {
  Start();
  gDBGLogCtrl->refCount = 0xFFFF;
  EXPECT_EQ(1, Init());
  EXPECT_EQ(0, gDBGLogCtrl->refCount);
  DbgLog_DeInitDebugLogger();
  ASSERT_NE(nullptr, gDBGLogCtrl);
  EXPECT_EQ(0xFFFF, gDBGLogCtrl->refCount);
}

TEST_F(InitDebugLoggerPWR, StoresItsThreeValues) {
  Settings("LOGLEVEL: 1\n");
  EXPECT_EQ(1, DbgLog_InitDebugLoggerPWR(SettingsPath().c_str(), LogPath().c_str(), 1000, 0, 11, 22,
                                         0xDEADBEEF));
  EXPECT_EQ(11, gDBGLogCtrl->pwrFlag1);
  EXPECT_EQ(22, gDBGLogCtrl->pwrFlag2);
  EXPECT_EQ(0xDEADBEEFu, gDBGLogCtrl->pwrValue);
  EXPECT_EQ(1000u, gDBGLogCtrl->maxLogFileSize);
}

TEST_F(InitDebugLoggerPWR, StoresThemInABlockThatExists) {
  Start();
  EXPECT_EQ(1, DbgLog_InitDebugLoggerPWR("x", "y", 1, 0, 1, 2, 3));
  EXPECT_EQ(1, gDBGLogCtrl->pwrFlag1);
  EXPECT_EQ(2, gDBGLogCtrl->pwrFlag2);
  EXPECT_EQ(3u, gDBGLogCtrl->pwrValue);
  EXPECT_EQ(2, gDBGLogCtrl->refCount);
}

TEST_F(InitDebugLoggerPWR, StoresNothingWhenItFails) {
  EXPECT_EQ(0, DbgLog_InitDebugLoggerPWR(nullptr, LogPath().c_str(), 1000, 0, 1, 2, 3));
  EXPECT_EQ("Failed to Enable logger\n", console_.Take());
  EXPECT_EQ(nullptr, gDBGLogCtrl);
  Start();
  EXPECT_EQ(0, DbgLog_InitDebugLoggerPWR(nullptr, LogPath().c_str(), 1000, 0, 1, 2, 3));
  EXPECT_EQ(0, gDBGLogCtrl->pwrFlag1);
  EXPECT_EQ(0, gDBGLogCtrl->pwrFlag2);
  EXPECT_EQ(0u, gDBGLogCtrl->pwrValue);
}

TEST_F(DeInitDebugLogger, DoesNothingWithoutALogger) {
  DbgLog_DeInitDebugLogger();
  EXPECT_EQ(nullptr, gDBGLogCtrl);
}

TEST_F(DeInitDebugLogger, ClosesTheLogWithTheLastReference) {
  const long descriptors = OpenDescriptors();
  Start();
  EXPECT_EQ(1, Init());
  EXPECT_EQ(descriptors + 1, OpenDescriptors());
  DbgLog_DeInitDebugLogger();
  EXPECT_EQ(descriptors + 1, OpenDescriptors());
  DbgLog_DeInitDebugLogger();
  EXPECT_EQ(descriptors, OpenDescriptors());
  EXPECT_EQ(nullptr, gDBGLogCtrl);
}

TEST_F(DeInitDebugLogger, ReleasesALoggerThatNeverOpenedItsLog) {
  EXPECT_EQ(1, Init(kNoLimit, DBGLOG_ERROR));
  DbgLog_DeInitDebugLogger();
  EXPECT_EQ(nullptr, gDBGLogCtrl);
}

TEST_F(DeInitDebugLogger, LeavesAProcessThatCanStartALoggerAnew) {
  for (int i = 1; i <= 3; ++i) {
    Start();
    DbgLog_DumptoLog(DBGLOG_ERROR, "run %d\n", i);
    EXPECT_NE(std::string::npos, LogText().find("run " + std::to_string(i) + "\n"));
    EXPECT_EQ(Log().size(), HeaderPosition());
    DbgLog_DeInitDebugLogger();
  }
  EXPECT_NE(std::string::npos, LogText().find("run 1\n"));
}

TEST_F(EnabledLogger, IsTheBlockThatAnotherModuleInstalls) {
  Start();
  DBGLogCtrl *const block = DbgLog_GetEnabledLogger();
  EXPECT_EQ(gDBGLogCtrl, block);

  gDBGLogCtrl = nullptr;  // the pointer of a second module
  block->loggingEnabled = 0;
  EXPECT_EQ(1, DbgLog_SetEnabledLogger(block));
  EXPECT_EQ(block, gDBGLogCtrl);
  EXPECT_EQ(1, block->refCount);
  EXPECT_EQ(1, block->loggingEnabled);
  EXPECT_EQ(kAllLevels, block->logLevelMask);
  DbgLog_DumptoLog(DBGLOG_ERROR, "from the second module\n");
  EXPECT_NE(std::string::npos, LogText().find("from the second module\n"));
}

TEST_F(EnabledLogger, OpensItsLogWhenItIsInstalled) {
  ASSERT_EQ(1, Init(kNoLimit, DBGLOG_ERROR));  // no settings: nothing is open
  DBGLogCtrl *const block = DbgLog_GetEnabledLogger();
  gDBGLogCtrl = nullptr;
  console_.Take();
  EXPECT_EQ(1, DbgLog_SetEnabledLogger(block));
  EXPECT_EQ("Created LogFile " + LogPath() + "\n", console_.Take());
  EXPECT_NE(nullptr, block->logFile);
  EXPECT_EQ(8u, block->logLevelMask);
}

TEST_F(EnabledLogger, RefusesANullBlock) {
  EXPECT_EQ(0, DbgLog_SetEnabledLogger(nullptr));
  EXPECT_EQ(nullptr, gDBGLogCtrl);
}

TEST_F(EnabledLogger, RefusesABlockWhileOneIsInstalled) {
  Start();
  DBGLogCtrl *const block = gDBGLogCtrl;
  DBGLogCtrl other = {};
  other.magic = DBGLOG_MAGIC;
  EXPECT_EQ(0, DbgLog_SetEnabledLogger(&other));
  EXPECT_EQ(0, DbgLog_SetEnabledLogger(block));
  EXPECT_EQ(block, gDBGLogCtrl);
  EXPECT_EQ(0, other.loggingEnabled);
}

TEST_F(EnabledLogger, KeepsABlockInstalledThatItRefusesForItsMagic) {
  DBGLogCtrl wrong = {};
  pthread_mutex_init(&wrong.lock, nullptr);
  wrong.magic = 0xABCDEE;
  wrong.logLevelMask = 8;
  EXPECT_EQ(0, DbgLog_SetEnabledLogger(&wrong));
  EXPECT_EQ(&wrong, gDBGLogCtrl);
  EXPECT_EQ(0, wrong.loggingEnabled);
  EXPECT_EQ(nullptr, wrong.logFile);
  EXPECT_EQ(1, loggingLevelEnabled(DBGLOG_ERROR));
  EXPECT_EQ(0, DbgLog_SetEnabledLogger(&wrong));  // it is in the way of every other
  gDBGLogCtrl = nullptr;
  pthread_mutex_destroy(&wrong.lock);
}

TEST_F(ChangeLogSettings, DoesNothingWithoutALogger) {
  DbgLog_ChangeLogSettings(255);
  EXPECT_EQ(nullptr, gDBGLogCtrl);
  EXPECT_EQ("", console_.Take());
}

TEST_F(ChangeLogSettings, ReplacesTheMaskAndSwitchesLoggingOn) {
  Start();
  gDBGLogCtrl->loggingEnabled = 0;
  DbgLog_ChangeLogSettings(0x0A);
  EXPECT_EQ(0x0Au, gDBGLogCtrl->logLevelMask);
  EXPECT_EQ(1, gDBGLogCtrl->loggingEnabled);
}

TEST_F(ChangeLogSettings, LeavesAnOpenLogAlone) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "first\n");
  FILE *const stream = gDBGLogCtrl->logFile;
  const int32_t position = gDBGLogCtrl->logFilePosition;
  DbgLog_ChangeLogSettings(kAllLevels);
  EXPECT_EQ(stream, gDBGLogCtrl->logFile);
  EXPECT_EQ(position, gDBGLogCtrl->logFilePosition);
  EXPECT_EQ("", console_.Take());
}

TEST_F(ChangeLogSettings, OpensTheLogThatInitDidNot) {
  ASSERT_EQ(1, Init(kNoLimit, DBGLOG_ERROR));
  console_.Take();
  DbgLog_ChangeLogSettings(8);
  EXPECT_EQ("Created LogFile " + LogPath() + "\n", console_.Take());
  EXPECT_EQ(Header(4), Log());
}

TEST_F(ChangeLogSettings, TriesAgainAtEachCallWhileNoLogIsOpen) {
  Settings("LOGLEVEL: 255\n");
  const std::string path = dir_.file("later/log");
  ASSERT_EQ(1, DbgLog_InitDebugLogger(SettingsPath().c_str(), path.c_str(), kNoLimit, 0));
  console_.Take();
  for (int i = 0; i < 2; ++i) {
    DbgLog_ChangeLogSettings(255);
    EXPECT_EQ("Created LogFile " + path + "\n", console_.Take());
    EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  }
  std::filesystem::create_directory(dir_.file("later"));
  DbgLog_ChangeLogSettings(255);
  EXPECT_EQ("Created LogFile " + path + "\n", console_.Take());
  EXPECT_NE(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(Header(4), ReadFile(path));
}

TEST_F(LevelEnabled, AsksTheBitOfTheLevel) {
  Start();
  for (uint32_t on = 0; on < 10; ++on) {
    DbgLog_ChangeLogSettings(1u << on);
    for (uint32_t level = 0; level < 10; ++level) {
      EXPECT_EQ(level == on ? 1 : 0, loggingLevelEnabled(level)) << on << " " << level;
    }
  }
}

TEST_F(LevelEnabled, KnowsNoLevelAboveNine) {
  Start();
  DbgLog_ChangeLogSettings(0xFFFFFFFF);
  EXPECT_EQ(1, loggingLevelEnabled(9));
  for (const uint32_t level : {10u, 16u, 31u, 32u, 41u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(0, loggingLevelEnabled(level)) << level;
  }
}

TEST_F(LevelEnabled, IsOffForEveryLevelWithoutALogger) {
  for (uint32_t level = 0; level < 12; ++level) EXPECT_EQ(0, loggingLevelEnabled(level));
}

TEST_F(LevelEnabled, DoesNotDependOnTheMasterSwitch) {
  Start();
  gDBGLogCtrl->loggingEnabled = 0;
  EXPECT_EQ(1, loggingLevelEnabled(DBGLOG_ERROR));
}

}  // namespace
