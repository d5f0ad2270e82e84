// The logger while allocations and file calls fail.
#include <stdlib.h>

#include "logging/logging_fixture.hpp"
#include "support/faults.hpp"

namespace {

using namespace cu_test;

class LoggerFaults : public LoggingTest {
 protected:
  static bool On() { return gDBGLogCtrl->loggingEnabled != 0; }
};

TEST_F(LoggerFaults, InitFailsSilentlyWithoutMemoryForTheBlock) {
  Settings("LOGLEVEL: 1023\n");
  const Fault fault(Call::kMemory, 1);
  EXPECT_EQ(0, Init());
  EXPECT_TRUE(fault.fired());
  EXPECT_EQ(nullptr, gDBGLogCtrl);
  EXPECT_EQ("Enable logger for " + LogPath() + "\n", console_.Take());
}

TEST_F(LoggerFaults, SettingsThatCannotBeOpenedLeaveASilentLogger) {
  Settings("LOGLEVEL: 1023\nCONSOLE: true\n");
  {
    const Fault fault(Call::kFopen, 1, EACCES);
    EXPECT_EQ(1, Init(1000, DBGLOG_INFO));
  }
  EXPECT_EQ("Enable logger for " + LogPath() + "\nEnabled logger for " + LogPath() +
                " complete\nUnable to open log file " + SettingsPath() + "\n",
            console_.Take());
  EXPECT_FALSE(On());
  EXPECT_EQ(1u << DBGLOG_INFO, gDBGLogCtrl->logLevelMask);
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
}

TEST_F(LoggerFaults, ALogThatCannotBeCreatedIsTriedAgain) {
  Settings("LOGLEVEL: 1023\n");
  {
    const Fault fault(Call::kFopen, 2, EMFILE);
    EXPECT_EQ(1, Init());
  }
  EXPECT_EQ("Enable logger for " + LogPath() + "\nEnabled logger for " + LogPath() +
                " complete\nCreated LogFile " + LogPath() + "\n",
            console_.Take());
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  EXPECT_TRUE(On());
  DbgLog_ChangeLogSettings(kAllLevels);
  EXPECT_EQ("Created LogFile " + LogPath() + "\n", console_.Take());
  EXPECT_EQ(Header(4), Log());
}

TEST_F(LoggerFaults, ALogWhoseEndCannotBeFoundStaysOpenAsItIs) {
  Settings("LOGLEVEL: 1023\n");
  WriteFile(LogPath(), Header(64) + std::string(200, 'o'));
  {
    const Fault fault(Call::kFseek, 2);  // the first goes to the header, the second to the end
    EXPECT_EQ(1, Init(100));
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_NE(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(64, gDBGLogCtrl->logFilePosition);  // as loaded; no wrap check, no header
  EXPECT_EQ(Header(64) + std::string(200, 'o'), Log());
  EXPECT_TRUE(On());
}

TEST_F(LoggerFaults, ALogWhoseEndCannotBeFoundAndHeaderIsShortIsAtFour) {
  Settings("LOGLEVEL: 1023\n");
  WriteFile(LogPath(), "abc");
  const Fault fault(Call::kFseek, 2);
  EXPECT_EQ(1, Init(100));
  EXPECT_EQ(4, gDBGLogCtrl->logFilePosition);
  EXPECT_EQ("abc", Log());
}

TEST_F(LoggerFaults, AHeaderThatCannotBeReadCountsAsNone) {
  Settings("LOGLEVEL: 1023\n");
  WriteFile(LogPath(), Header(64) + std::string(200, 'o'));
  for (const int error : {EIO, 0}) {
    const Fault fault(Call::kFread, 1, error);
    EXPECT_EQ(1, Init());
    EXPECT_TRUE(fault.fired());
    EXPECT_EQ(204, gDBGLogCtrl->logFilePosition);
    EXPECT_EQ(Header(204) + std::string(200, 'o'), Log());
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(LoggerFaults, AWrapThatCannotOpenTheFileLeavesNone) {
  Start(300);
  {
    const Fault fault(Call::kFopen, 1, EMFILE);
    DbgLog_DumptoLog(DBGLOG_ERROR, "%0300d\n", 1);
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(4, gDBGLogCtrl->logFilePosition);
  DbgLog_DumptoLog(DBGLOG_ERROR, "dropped\n");

  DbgLog_ChangeLogSettings(kAllLevels);  // opens the file, whose end is beyond the limit
  EXPECT_NE(nullptr, gDBGLogCtrl->logFile);
  EXPECT_FALSE(On());
  EXPECT_EQ(4u, HeaderPosition());
}

TEST_F(LoggerFaults, AWrapThatCannotPositionTheFileLeavesItsHeaderAndTheOutputOn) {
  Start(300);
  DbgLog_DumptoLog(DBGLOG_ERROR, "first\n");
  const uint32_t position = HeaderPosition();
  {
    const Fault fault(Call::kFseek, 1);
    DbgLog_DumptoLog(DBGLOG_ERROR, "%0300d\n", 1);
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_NE(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(4, gDBGLogCtrl->logFilePosition);
  EXPECT_EQ(position, HeaderPosition());
  EXPECT_TRUE(On());
}

TEST_F(LoggerFaults, AHeaderThatCannotBeWrittenLeavesTheLine) {
  Start();
  for (const int error : {ENOSPC, 0}) {
    const Fault fault(Call::kPwrite, 1, error);
    DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
    EXPECT_TRUE(fault.fired());
    EXPECT_EQ("line\n", Log().substr(Log().size() - 5));
    EXPECT_EQ(Log().size(), static_cast<size_t>(gDBGLogCtrl->logFilePosition));
  }
  DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
  EXPECT_EQ(Log().size(), HeaderPosition());
}

TEST_F(LoggerFaults, ALineThatCannotBeWrittenIsLost) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "one\n");
  const std::string before = Log();
  {
    const Fault fault(Call::kFwrite, 1, ENOSPC);
    DbgLog_DumptoLog(DBGLOG_ERROR, "lost\n");
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_EQ(before, Log());
  {
    const Fault fault(Call::kFwrite, 1, 0);  // half of it fits
    DbgLog_DumptoLog(DBGLOG_ERROR, "half\n");
  }
  EXPECT_EQ(Log().size(), HeaderPosition());
  DbgLog_DumptoLog(DBGLOG_ERROR, "two\n");
  EXPECT_EQ("two\n", Log().substr(Log().size() - 4));
  EXPECT_EQ(Log().size(), HeaderPosition());
}

TEST_F(LoggerFaults, AnUnknownPositionLeavesTheHeader) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "one\n");
  const uint32_t position = HeaderPosition();
  {
    const Fault fault(Call::kFtell, 1);
    DbgLog_DumptoLog(DBGLOG_ERROR, "two\n");
  }
  EXPECT_EQ(position, HeaderPosition());
  EXPECT_EQ("two\n", Log().substr(Log().size() - 4));
  DbgLog_DumptoLog(DBGLOG_ERROR, "three\n");
  EXPECT_EQ(Log().size(), HeaderPosition());
}

TEST_F(LoggerFaults, AClockThatFailsStampsZero) {
  Start();
  const Fault fault(Call::kClockGettime, 1, EINVAL, Reach::kFromThen);
  DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + " (0)]line\n", LogText());
  char text[30];
  EXPECT_STREQ("0", GetCurrentTimeAsString(text, sizeof text));
}

TEST_F(LoggerFaults, OutputAllocatesNothing) {
  StartWithConsole();
  const uint8_t data[100] = {};
  const Fault count(Call::kMemory, 0);
  for (int i = 0; i < 10; ++i) {
    DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]%s %d\n", "module", 1, "text", i);
    DbgLog_DumptoStdError(DBGLOG_ERROR, "[%s:%d]%s %d\n", "module", 1, "text", i);
    DbgLog_DumptoLogTrace(DBGLOG_ERROR, data, sizeof data);
    DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, data, sizeof data, "label", i);
  }
  EXPECT_EQ(0, count.calls());
}

/// A logger's whole life: a start, lines, a wrap, its revival, a second start.
void Live(const std::string &settings, const std::string &log) {
  const uint8_t data[100] = {};
  for (int start = 0; start < 2; ++start) {
    if (DbgLog_InitDebugLogger(settings.c_str(), log.c_str(), 500, DBGLOG_ERROR) == 0) continue;
    for (int i = 0; i < 6; ++i) {
      DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]%s %d\n", "module", 1, "some text", i);
      DbgLog_DumptoStdError(DBGLOG_ERROR, "[%s:%d]%s %d\n", "module", 1, "some text", i);
      DbgLog_DumptoLogTrace(DBGLOG_ERROR, data, sizeof data);
      DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, data, sizeof data, "label", i);
      DbgLog_ChangeLogSettings(kAllLevels);
    }
    DbgLog_DeInitDebugLogger();
  }
}

class LoggerFaultLoop : public LoggerFaults,
                        public testing::WithParamInterface<std::tuple<Call, int, Reach>> {};

TEST_P(LoggerFaultLoop, LosesNoDescriptorAndKeepsTheFileReadable) {
  const auto [call, error, reach] = GetParam();
  Settings("LOGLEVEL: 1023\nCONSOLE: true\n");
  const long descriptors = OpenDescriptors();
  long injected = 0;
  for (long k = 1;; ++k) {
    SCOPED_TRACE(k);
    std::filesystem::remove(LogPath());
    Fault fault(call, k, error, reach);
    Live(SettingsPath(), LogPath());
    ASSERT_EQ(nullptr, gDBGLogCtrl);
    ASSERT_EQ(descriptors, OpenDescriptors());
    // Only a header that could not be written may be a hole.
    if (Log().size() >= 4 && call != Call::kPwrite) {
      ASSERT_GE(HeaderPosition(), 4u);
    }
    console_.Take();
    if (!fault.fired()) break;
    ++injected;
  }
  RecordProperty("injected", static_cast<int>(injected));

  // With everything working again, so does the logger.
  std::filesystem::remove(LogPath());
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "well\n");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]well\n", WithoutStamp(LogText()));
}

INSTANTIATE_TEST_SUITE_P(
    EachCall, LoggerFaultLoop,
    testing::Combine(testing::Values(Call::kMemory, Call::kFopen, Call::kFclose, Call::kFread,
                                     Call::kFwrite, Call::kFflush, Call::kFseek, Call::kFtell,
                                     Call::kPwrite, Call::kStat, Call::kClockGettime),
                     testing::Values(EIO, 0), testing::Values(Reach::kOnce, Reach::kFromThen)));

}  // namespace
