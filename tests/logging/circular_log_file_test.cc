// The circular log file, byte by byte: header and lines, wraps, and what an existing file becomes.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "logging/logging_fixture.hpp"

namespace {

using namespace cu_test;

class CircularLogFile : public LoggingTest {
 protected:
  /// Makes the log file what it is before the logger starts.
  void Existing(const std::string &content) { WriteFile(LogPath(), content); }

  /// Logs a line that takes exactly `size` bytes of the file. The thread's header is of one length.
  void LogLineOf(size_t size) {
    const size_t header = (Tag(DBGLOG_ERROR) + " (1700000000000000000)]").size();
    ASSERT_GE(size, header);
    DbgLog_DumptoLog(DBGLOG_ERROR, "%s", std::string(size - header, 'x').c_str());
  }

  /// Logs a line that ends at offset `end` of the file.
  void LogUpTo(int32_t end) { LogLineOf(static_cast<size_t>(end - gDBGLogCtrl->logFilePosition)); }

  static bool On() { return gDBGLogCtrl->loggingEnabled != 0; }
  static int32_t RecordPosition() { return gDBGLogCtrl->logFilePosition; }
};

TEST_F(CircularLogFile, HoldsOnlyTheHeaderAtFirst) {
  Start();
  EXPECT_EQ(std::string("\x04\0\0\0", 4), Log());
  EXPECT_EQ(4, RecordPosition());
}

TEST_F(CircularLogFile, HoldsTheHeaderAndTheLinesAfterEachCall) {
  Start();
  std::string lines;
  for (int i = 0; i < 300; ++i) {
    const size_t before = Log().size();
    DbgLog_DumptoLog(static_cast<uint32_t>(i) % 10, "[%s:%d]Sensor %d\n", "sensors", 17, i);
    const std::string log = Log();
    const std::string line = log.substr(before);
    ASSERT_EQ(
        Tag(static_cast<uint32_t>(i) % 10) + "][sensors:17]Sensor " + std::to_string(i) + "\n",
        WithoutStamp(line));
    lines += line;
    ASSERT_EQ(Header(static_cast<uint32_t>(log.size())) + lines, log);
    ASSERT_EQ(log.size(), static_cast<size_t>(RecordPosition()));
  }
}

TEST_F(CircularLogFile, WritesItsHeaderInLittleEndian) {
  Start();
  LogUpTo(0x0201);
  EXPECT_EQ(std::string("\x01\x02\0\0", 4), Log().substr(0, 4));
  while (RecordPosition() < 0x01FE00) LogLineOf(2047);
  LogUpTo(0x020304);
  EXPECT_EQ(std::string("\x04\x03\x02\0", 4), Log().substr(0, 4));
}

TEST_F(CircularLogFile, AddsNothingToALine) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "a");
  DbgLog_DumptoLog(DBGLOG_ERROR, "b\n");
  EXPECT_NE(std::string::npos, LogText().find(")]a[" + std::to_string(getpid())));
  EXPECT_EQ(")]b\n", LogText().substr(LogText().size() - 4));
}

TEST_F(CircularLogFile, HoldsADumpAfterATraceCall) {
  Start();
  const uint8_t data[] = {0x0A, 0xFF};
  DbgLog_DumptoLogTrace(DBGLOG_TRACE, data, 2);
  EXPECT_EQ(Tag(DBGLOG_TRACE) + "]0x0a 0xff \n", WithoutStamp(LogText()));
  EXPECT_EQ(Log().size(), HeaderPosition());
  EXPECT_EQ(Log().size(), static_cast<size_t>(RecordPosition()));
}

TEST_F(CircularLogFile, GoesOnBelowItsLimit) {
  Start(1000);
  LogUpTo(998);
  EXPECT_EQ(998, RecordPosition());
  EXPECT_EQ(998u, HeaderPosition());
  EXPECT_TRUE(On());
}

TEST_F(CircularLogFile, StartsOverAtItsLimitAndSwitchesAllOutputOff) {
  for (const int32_t end : {999, 1000, 1001, 1500}) {
    SCOPED_TRACE(end);
    std::filesystem::remove(LogPath());
    Start(1000);
    LogUpTo(600);
    LogUpTo(end);
    EXPECT_EQ(4, RecordPosition());
    EXPECT_EQ(Header(4), Log().substr(0, 4));
    EXPECT_EQ(static_cast<size_t>(end), Log().size());  // never truncated
    EXPECT_FALSE(On());
    EXPECT_NE(nullptr, gDBGLogCtrl->logFile);

    const std::string full = Log();
    const uint8_t byte = 1;
    gDBGLogCtrl->consoleEnabled = 1;
    DbgLog_DumptoLog(DBGLOG_ERROR, "mute\n");
    DbgLog_DumptoStdError(DBGLOG_ERROR, "mute\n");
    DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, 1);
    DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 1, "mute", 1);
    EXPECT_EQ(full, Log());
    EXPECT_EQ("", console_.Take());
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(CircularLogFile, GoesOnAtItsBeginningOnceSettingsAreChanged) {
  Start(1000);
  LogUpTo(500);
  LogUpTo(1003);
  ASSERT_FALSE(On());
  const std::string full = Log();

  DbgLog_ChangeLogSettings(kAllLevels);
  EXPECT_TRUE(On());
  EXPECT_EQ(full, Log());
  LogUpTo(104);
  const std::string log = Log();
  EXPECT_EQ(Header(104), log.substr(0, 4));
  EXPECT_EQ(Tag(DBGLOG_ERROR), log.substr(4, Tag(DBGLOG_ERROR).size()));
  EXPECT_EQ(full.substr(104), log.substr(104));  // old text stays until it is overwritten
  EXPECT_EQ(104, RecordPosition());
}

TEST_F(CircularLogFile, WrapsAgainAndAgain) {
  Start(1000);
  for (int round = 0; round < 5; ++round) {
    SCOPED_TRACE(round);
    DbgLog_ChangeLogSettings(kAllLevels);
    LogUpTo(400);
    LogUpTo(998);
    EXPECT_TRUE(On());
    LogLineOf(100);
    EXPECT_FALSE(On());
    EXPECT_EQ(4u, HeaderPosition());
    EXPECT_EQ(1098u, Log().size());
  }
}

TEST_F(CircularLogFile, IsOpenedAnewAtItsPathByAWrap) {
  Start(1000);
  const std::string moved = dir_.file("moved");
  std::filesystem::rename(LogPath(), moved);
  WriteFile(LogPath(), std::string(300, 'n'));
  LogUpTo(1000);
  EXPECT_EQ(1000u, ReadFile(moved).size());
  EXPECT_EQ(Header(4) + std::string(296, 'n'), Log());
}

TEST_F(CircularLogFile, IsGivenUpByAWrapThatCannotOpenIt) {
  Start(1000);
  const long descriptors = OpenDescriptors();
  std::filesystem::remove(LogPath());
  LogUpTo(1000);
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  EXPECT_EQ(4, RecordPosition());
  EXPECT_EQ(descriptors - 1, OpenDescriptors());
  EXPECT_FALSE(std::filesystem::exists(LogPath()));

  const uint8_t byte = 1;
  DbgLog_DumptoLog(DBGLOG_ERROR, "dropped\n");
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, 1);
  console_.Take();
  DbgLog_ChangeLogSettings(kAllLevels);
  EXPECT_EQ("Created LogFile " + LogPath() + "\n", console_.Take());
  EXPECT_EQ(Header(4), Log());
  DbgLog_DumptoLog(DBGLOG_ERROR, "kept\n");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]kept\n", WithoutStamp(LogText()));
}

TEST_F(CircularLogFile, WrapsAtEveryWriteWithALimitOfZero) {
  Start(0);
  EXPECT_FALSE(On());
  EXPECT_EQ(Header(4), Log());
  for (int i = 0; i < 3; ++i) {
    DbgLog_ChangeLogSettings(kAllLevels);
    EXPECT_TRUE(On());
    DbgLog_DumptoLog(DBGLOG_ERROR, "line %d\n", i);
    EXPECT_FALSE(On());
    EXPECT_EQ(4, RecordPosition());
    EXPECT_EQ(4u, HeaderPosition());
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]line " + std::to_string(i) + "\n", WithoutStamp(LogText()));
  }
}

TEST_F(CircularLogFile, ComparesItsLimitAsASignedNumber) {
  const struct {
    uint32_t max_size;
    bool wraps;
  } kRows[] = {{0x7FFFFFFF, false},
               {0x80000000, false},
               {0x80000001, true},
               {0xC0000000, true},
               {0xFFFFFFFF, true}};
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.max_size);
    Start(row.max_size);
    DbgLog_ChangeLogSettings(kAllLevels);
    DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
    EXPECT_EQ(row.wraps, !On());
    EXPECT_EQ(row.wraps ? 4u : Log().size(), HeaderPosition());
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(CircularLogFile, StartsMuteWhenANewFileIsAtItsLimitAlready) {
  // A new file ends at offset 0, which is at the limit of 0 or 1 bytes.
  for (const uint32_t max_size : {0u, 1u, 2u, 3u, 4u, 5u}) {
    SCOPED_TRACE(max_size);
    std::filesystem::remove(LogPath());
    Start(max_size);
    EXPECT_EQ(max_size > 1, On());
    EXPECT_EQ(Header(4), Log());
    EXPECT_EQ(4, RecordPosition());
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(CircularLogFile, GoesOnAtItsEndWhateverItsHeaderSays) {
  for (const uint32_t position : {0u, 1u, 4u, 10u, 50u, 104u, 105u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    SCOPED_TRACE(position);
    const std::string text(100, 'o');
    Existing(Header(position) + text);
    Start(1000);
    EXPECT_EQ("", console_.Take());  // nothing was created
    EXPECT_EQ(Header(104) + text, Log());
    EXPECT_EQ(104, RecordPosition());
    DbgLog_DumptoLog(DBGLOG_ERROR, "new\n");
    EXPECT_EQ(text, LogText().substr(0, 100));
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]new\n", WithoutStamp(LogText().substr(100)));
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(CircularLogFile, GoesOnAtItsEndAfterAWrapInAFormerRun) {
  Start(1000);
  LogUpTo(400);
  LogUpTo(1000);
  DbgLog_ChangeLogSettings(kAllLevels);
  LogUpTo(200);
  DbgLog_DeInitDebugLogger();
  ASSERT_EQ(200u, HeaderPosition());

  Start(2000);  // with a higher limit, so that the end is not at the limit
  EXPECT_EQ(1000u, HeaderPosition());
  DbgLog_DumptoLog(DBGLOG_ERROR, "next run\n");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]next run\n", WithoutStamp(LogText().substr(996)));
}

TEST_F(CircularLogFile, StartsMuteWhenItIsFull) {
  for (const size_t size : {999u, 1000u, 5000u}) {
    SCOPED_TRACE(size);
    Existing(Header(500) + std::string(size - 4, 'f'));
    Start(1000);
    EXPECT_FALSE(On());
    EXPECT_EQ(Header(4) + std::string(size - 4, 'f'), Log());
    EXPECT_EQ(4, RecordPosition());

    DbgLog_DumptoLog(DBGLOG_ERROR, "mute\n");
    EXPECT_EQ(Header(4) + std::string(size - 4, 'f'), Log());
    DbgLog_ChangeLogSettings(kAllLevels);
    DbgLog_DumptoLog(DBGLOG_ERROR, "revived\n");
    EXPECT_EQ(HeaderPosition(), Log().find('f', 4));
    DbgLog_DeInitDebugLogger();
  }
  Existing(Header(4) + std::string(994, 'f'));  // ends at 998: one byte is left
  Start(1000);
  EXPECT_TRUE(On());
}

TEST_F(CircularLogFile, GetsAWholeHeaderWhenItIsShorterThanOne) {
  for (size_t size = 0; size <= 3; ++size) {
    SCOPED_TRACE(size);
    Existing(std::string(size, '\xEE'));
    Start(1000);
    EXPECT_EQ(Header(4), Log());
    EXPECT_EQ(4, RecordPosition());
    EXPECT_TRUE(On());
    DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]line\n", WithoutStamp(LogText()));
    EXPECT_EQ(Log().size(), HeaderPosition());
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(CircularLogFile, ComparesTheEndOfAShortFileBeforeItsHeaderGrows) {
  Existing("abc");
  Start(5);  // 3 is below the limit of 4
  EXPECT_TRUE(On());
  EXPECT_EQ(Header(4), Log());
  DbgLog_DeInitDebugLogger();
  Existing("abc");
  Start(4);  // 3 is at the limit of 3
  EXPECT_FALSE(On());
  EXPECT_EQ(Header(4), Log());
}

TEST_F(CircularLogFile, KeepsWhatFollowsAHeaderAtOnce) {
  for (size_t size = 4; size <= 8; ++size) {
    Existing(Header(0) + std::string(size - 4, 'k'));
    Start(1000);
    EXPECT_EQ(Header(static_cast<uint32_t>(size)) + std::string(size - 4, 'k'), Log());
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(CircularLogFile, SurvivesEveryTruncationAndEveryChangedHeaderByte) {
  Start(1000);
  LogUpTo(300);
  LogUpTo(999);
  DbgLog_DeInitDebugLogger();
  const std::string whole = Log();
  const auto restart = [&](const std::string &content) {
    Existing(content);
    ASSERT_EQ(1, Init(1000));
    ASSERT_EQ(content.size() >= 999 ? 4 : std::max<size_t>(content.size(), 4), HeaderPosition());
    DbgLog_DeInitDebugLogger();
  };
  for (size_t size = 0; size <= whole.size(); ++size) restart(whole.substr(0, size));
  for (size_t i = 0; i < 4; ++i) {
    std::string changed = whole.substr(0, 500);
    for (int flip = 1; flip < 256; flip <<= 1) {
      changed[i] = static_cast<char>(whole[i] ^ flip);
      restart(changed);
    }
  }
}

TEST_F(CircularLogFile, CountsAFileBeyondTheLargestPositionAsFull) {
  Existing(Header(4));
  const uint64_t size = 3ull << 30;
  std::error_code failed;
  std::filesystem::resize_file(LogPath(), size, failed);
  if (failed) GTEST_SKIP() << "no sparse file of 3 GiB here";
  Start();
  if (sizeof(long) > 4) {
    EXPECT_FALSE(On());
    EXPECT_EQ(4, RecordPosition());
  } else if (gDBGLogCtrl->logFile != nullptr) {  // a kernel of 32 bits refuses to open it
    EXPECT_EQ(4, RecordPosition());
    EXPECT_TRUE(On());
  }
}

TEST_F(CircularLogFile, IsReachedThroughASymbolicLink) {
  const std::string target = dir_.file("target");
  WriteFile(target, Header(4));
  std::filesystem::create_symlink(target, LogPath());
  Start(1000);
  LogUpTo(1000);
  EXPECT_TRUE(std::filesystem::is_symlink(LogPath()));
  EXPECT_EQ(1000u, ReadFile(target).size());
}

TEST_F(CircularLogFile, IsCreatedWithTheModeThatTheUmaskLeaves) {
  const mode_t umask_before = umask(027);
  Start();
  umask(umask_before);
  struct stat status;
  ASSERT_EQ(0, stat(LogPath().c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 0777);
}

TEST_F(CircularLogFile, IsNotHandedOnToOtherPrograms) {
  Start(1000);
  EXPECT_NE(0, fcntl(fileno(gDBGLogCtrl->logFile), F_GETFD) & FD_CLOEXEC);
  LogUpTo(1000);
  EXPECT_NE(0, fcntl(fileno(gDBGLogCtrl->logFile), F_GETFD) & FD_CLOEXEC);
}

TEST_F(CircularLogFile, IsNoFileWhenItsPathIsADirectory) {
  std::filesystem::create_directory(LogPath());
  Start();
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
  DbgLog_DumptoLog(DBGLOG_ERROR, "dropped\n");
  DbgLog_ChangeLogSettings(kAllLevels);
  EXPECT_EQ(nullptr, gDBGLogCtrl->logFile);
}

TEST_F(CircularLogFile, MayBeADevice) {
  Settings("LOGLEVEL: 1023\n");
  for (const char *device : {"/dev/null", "/dev/full", "/dev/zero"}) {
    ASSERT_EQ(1, DbgLog_InitDebugLogger(SettingsPath().c_str(), device, 1000, 0));
    for (int i = 0; i < 50; ++i) DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
    EXPECT_GE(RecordPosition(), 4);
    DbgLog_DeInitDebugLogger();
  }
}

TEST_F(CircularLogFile, GivesAPipeTheLinesAlone) {
  ASSERT_EQ(0, mkfifo(LogPath().c_str(), 0600));
  const int reader = open(LogPath().c_str(), O_RDWR | O_NONBLOCK);
  Start(1000);
  EXPECT_TRUE(On());
  for (int i = 0; i < 30; ++i) {
    DbgLog_DumptoLog(DBGLOG_ERROR, "line %d\n", i);
    char text[200] = {};
    ASSERT_GT(read(reader, text, sizeof text - 1), 0);
    ASSERT_EQ(Tag(DBGLOG_ERROR) + "]line " + std::to_string(i) + "\n", WithoutStamp(text));
  }
  close(reader);
}

// Daemons reach the stream through the control block, too.

TEST_F(CircularLogFile, CoversWhatOthersPrintToItsStream) {
  Start(1000);
  DbgLog_DumptoLog(DBGLOG_ERROR, "one\n");
  pthread_mutex_lock(&gDBGLogCtrl->lock);
  fprintf(gDBGLogCtrl->logFile, "own %s\n", "text");
  const uint8_t data[] = {1, 2};
  logprintHexString(gDBGLogCtrl->logFile, data, 2);
  pthread_mutex_unlock(&gDBGLogCtrl->lock);
  DbgLog_DumptoLog(DBGLOG_ERROR, "two\n");

  const std::string text = LogText();
  EXPECT_NE(std::string::npos, text.find(")]one\nown text\n0x01 0x02 \n["));
  EXPECT_EQ("two\n", text.substr(text.size() - 4));
  EXPECT_EQ(Log().size(), HeaderPosition());
  EXPECT_EQ(Log().size(), static_cast<size_t>(RecordPosition()));
}

TEST_F(CircularLogFile, CoversWhatOthersFlushToItsStream) {
  Start(1000);
  for (int i = 0; i < 3; ++i) {
    fputs("own\n", gDBGLogCtrl->logFile);
    fflush(gDBGLogCtrl->logFile);
    DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
    EXPECT_EQ(Log().size(), HeaderPosition());
    EXPECT_EQ("line\n", Log().substr(Log().size() - 5));
  }
}

TEST_F(CircularLogFile, WrapsForWhatOthersPrintedAtTheNextLine) {
  Start(1000);
  fputs(std::string(995, 'p').c_str(), gDBGLogCtrl->logFile);
  EXPECT_TRUE(On());
  DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
  EXPECT_FALSE(On());
  EXPECT_EQ(4u, HeaderPosition());
}

TEST_F(CircularLogFile, GoesOnWhereOthersPositionedItsStream) {
  Existing(Header(4) + std::string(500, 'o'));
  Start(1000);
  fseek(gDBGLogCtrl->logFile, 100, SEEK_SET);
  LogLineOf(100);
  EXPECT_EQ(200u, HeaderPosition());
  EXPECT_EQ(200, RecordPosition());
  EXPECT_EQ("[", Log().substr(100, 1));
  EXPECT_EQ("xo", Log().substr(199, 2));
}

TEST_F(CircularLogFile, LetsOthersReadItThroughItsStream) {
  Existing(Header(4) + "old\n");
  Start(1000);
  FILE *const stream = gDBGLogCtrl->logFile;
  const long end = ftell(stream);
  EXPECT_EQ(8, end);
  char text[9] = {};
  fseek(stream, 0, SEEK_SET);
  EXPECT_EQ(8u, fread(text, 1, 8, stream));
  EXPECT_EQ(Header(8) + "old\n", std::string(text, 8));
  fseek(stream, end, SEEK_SET);
  DbgLog_DumptoLog(DBGLOG_ERROR, "new\n");
  EXPECT_EQ("old\n[", LogText().substr(0, 5));
  EXPECT_EQ(Log().size(), HeaderPosition());
  EXPECT_EQ(static_cast<long>(Log().size()), ftell(stream));
}

TEST_F(CircularLogFile, WorksWithABufferedStreamOfTheUser) {
  Start(1000);
  fclose(gDBGLogCtrl->logFile);
  const std::string other = dir_.file("other");
  gDBGLogCtrl->logFile = fopen(other.c_str(), "w+");
  fseek(gDBGLogCtrl->logFile, 4, SEEK_SET);
  for (int i = 0; i < 3; ++i) {
    fputs("own\n", gDBGLogCtrl->logFile);
    DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
    const std::string log = ReadFile(other);
    EXPECT_EQ(log.size(), Position(log));
    EXPECT_EQ("line\n", log.substr(log.size() - 5));
  }
}

TEST_F(CircularLogFile, WorksWithAStreamInMemory) {
  Start(1000);
  fclose(gDBGLogCtrl->logFile);
  char memory[500] = {};
  gDBGLogCtrl->logFile = fmemopen(memory, sizeof memory, "w+");
  fseek(gDBGLogCtrl->logFile, 4, SEEK_SET);
  for (int i = 0; i < 3; ++i) DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
  fflush(gDBGLogCtrl->logFile);
  const std::string log(memory, static_cast<size_t>(RecordPosition()));
  EXPECT_EQ(log.size(), Position(log));
  EXPECT_EQ("line\n", log.substr(log.size() - 5));
  EXPECT_EQ('\0', memory[log.size()]);
}

TEST_F(CircularLogFile, FollowsAPathThatTheUserChanged) {
  Start(1000);
  const std::string other = dir_.file("other");
  WriteFile(other, Header(4));
  memcpy(gDBGLogCtrl->logFilePath, other.c_str(), other.size() + 1);
  LogUpTo(1000);
  DbgLog_ChangeLogSettings(kAllLevels);
  DbgLog_DumptoLog(DBGLOG_ERROR, "line\n");
  EXPECT_EQ(ReadFile(other).size(), Position(ReadFile(other)));
  EXPECT_GT(ReadFile(other).size(), 4u);
}

}  // namespace
