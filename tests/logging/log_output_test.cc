// The output functions: the form of lines and dumps, and which switch silences which of them.
#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdlib.h>
#include <time.h>

#include "logging/logging_fixture.hpp"

namespace {

/// Calls of syslog(), which this program has in the place of the real one.
struct SyslogCall {
  int priority;
  std::string format;
  std::string text;
  bool lock_held;
};
std::vector<SyslogCall> g_syslog;

void KeepSyslog(int priority, const char *format, va_list arguments) {
  char text[4096];
  vsnprintf(text, sizeof text, format, arguments);
  const bool free = pthread_mutex_trylock(&gDBGLogCtrl->lock) == 0;
  if (free) pthread_mutex_unlock(&gDBGLogCtrl->lock);
  g_syslog.push_back({priority, format, text, !free});
}

}  // namespace

extern "C" void syslog(int priority, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  KeepSyslog(priority, format, arguments);
  va_end(arguments);
}

extern "C" void __syslog_chk(int priority, int, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  KeepSyslog(priority, format, arguments);
  va_end(arguments);
}

namespace {

using namespace cu_test;

class OutputTest : public LoggingTest {
 protected:
  OutputTest() { g_syslog.clear(); }

  void StartWithAllChannels() {
    StartWithConsole();
    gDBGLogCtrl->syslogEnabled = 1;
  }

  void CallEveryOutput(uint32_t level) {
    const uint8_t byte = 1;
    DbgLog_DumptoLog(level, "text\n");
    DbgLog_DumptoStdError(static_cast<int32_t>(level), "text\n");
    DbgLog_DumptoLogTrace(level, &byte, 1);
    DbgLog_DumptoStdErrTrace(level, &byte, 1, "label", 1);
  }

  void ExpectSilence() {
    EXPECT_EQ("", LogText());
    EXPECT_EQ("", console_.Take());
    EXPECT_EQ(0u, g_syslog.size());
  }
};

using Outputs = OutputTest;
using DumptoLog = OutputTest;
using DumptoStdError = OutputTest;
using DumptoLogTrace = OutputTest;
using DumptoStdErrTrace = OutputTest;
using PrintHexString = OutputTest;

// --- every output ------------------------------------------------------------------------------

TEST_F(Outputs, AreSilentForALevelThatIsOff) {
  StartWithAllChannels();
  for (uint32_t level = 0; level < 10; ++level) {
    DbgLog_ChangeLogSettings(kAllLevels & ~(1u << level));
    CallEveryOutput(level);
  }
  ExpectSilence();
}

TEST_F(Outputs, AreSilentForLevelsThatDoNotExist) {
  StartWithAllChannels();
  DbgLog_ChangeLogSettings(0xFFFFFFFF);
  for (const uint32_t level : {10u, 31u, 32u, 64u, 0x80000000u, 0xFFFFFFFFu})
    CallEveryOutput(level);
  ExpectSilence();
}

TEST_F(Outputs, AreSilentWhileLoggingIsOff) {
  StartWithAllChannels();
  gDBGLogCtrl->loggingEnabled = 0;
  CallEveryOutput(DBGLOG_ERROR);
  ExpectSilence();
}

TEST_F(Outputs, AreSilentWithoutALogger) {
  CallEveryOutput(DBGLOG_ERROR);
  EXPECT_EQ("", console_.Take());
  EXPECT_EQ(0u, g_syslog.size());
}

TEST_F(Outputs, LeaveErrnoAsItWas) {
  StartWithAllChannels();
  fclose(gDBGLogCtrl->logFile);
  gDBGLogCtrl->logFile = fopen("/dev/full", "r+");  // every write fails
  errno = ERANGE;
  CallEveryOutput(DBGLOG_ERROR);
  EXPECT_EQ(ERANGE, errno);
}

TEST_F(Outputs, AreNoCancellationPointWhileTheyHoldTheLock) {
  StartWithAllChannels();
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(
                   &thread, nullptr,
                   [](void *) -> void * {
                     pthread_cancel(pthread_self());
                     DbgLog_DumptoLog(DBGLOG_ERROR, "of a cancelled thread\n");
                     const uint8_t byte = 1;
                     DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, 1);
                     pthread_testcancel();
                     return nullptr;
                   },
                   nullptr));
  void *result = nullptr;
  ASSERT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
  EXPECT_EQ(0, pthread_mutex_trylock(&gDBGLogCtrl->lock));
  pthread_mutex_unlock(&gDBGLogCtrl->lock);
  EXPECT_NE(std::string::npos, LogText().find("of a cancelled thread\n"));
  EXPECT_EQ(Log().size(), HeaderPosition());
}

// --- DbgLog_DumptoLog --------------------------------------------------------------------------

TEST_F(DumptoLog, WritesALineForEachLevel) {
  Start();
  for (uint32_t level = 0; level < 10; ++level) {
    const size_t before = LogText().size();
    DbgLog_DumptoLog(level, "[%s:%d]text\n", "module", 12);
    EXPECT_EQ(Tag(level) + "][module:12]text\n", WithoutStamp(LogText().substr(before)));
  }
  EXPECT_EQ("", console_.Take());
}

TEST_F(DumptoLog, StampsALineWithTheWallClockInNanoseconds) {
  Start();
  timespec before, after;
  clock_gettime(CLOCK_REALTIME, &before);
  DbgLog_DumptoLog(DBGLOG_ERROR, "text\n");
  clock_gettime(CLOCK_REALTIME, &after);
  const size_t open = LogText().find('(');
  const uint64_t stamp = strtoull(LogText().c_str() + open + 1, nullptr, 10);
  EXPECT_GE(stamp, static_cast<uint64_t>(before.tv_sec) * 1000000000u +
                       static_cast<uint64_t>(before.tv_nsec));
  EXPECT_LE(stamp, static_cast<uint64_t>(after.tv_sec) * 1000000000u +
                       static_cast<uint64_t>(after.tv_nsec));
}

TEST_F(DumptoLog, DoesNotCareForTheConsoleSwitch) {
  Start();
  for (const uint8_t console : {0, 1}) {
    gDBGLogCtrl->consoleEnabled = console;
    const size_t before = LogText().size();
    DbgLog_DumptoLog(DBGLOG_ERROR, "text\n");
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]text\n", WithoutStamp(LogText().substr(before)));
  }
  EXPECT_EQ("", console_.Take());
  EXPECT_EQ(0u, g_syslog.size());
}

TEST_F(DumptoLog, FormatsAsPrintfDoes) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "%d %-5s|%5.2f|%c|%lld|%x|%%|%p\n", -1, "ab", 3.14159, 'c',
                   1LL << 40, 255u, nullptr);
  char expected[200];
  snprintf(expected, sizeof expected, "%d %-5s|%5.2f|%c|%lld|%x|%%|%p\n", -1, "ab", 3.14159, 'c',
           1LL << 40, 255u, nullptr);
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]" + expected, WithoutStamp(LogText()));
}

TEST_F(DumptoLog, PassesManyArguments) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "%d %d %d %d %d %d %d %d %f %f %f %f %f %f %f %f %f %s\n", 1, 2, 3,
                   4, 5, 6, 7, 8, 1., 2., 3., 4., 5., 6., 7., 8., 9., "end");
  EXPECT_EQ(Tag(DBGLOG_ERROR) +
                "]1 2 3 4 5 6 7 8 1.000000 2.000000 3.000000 4.000000 5.000000 6.000000 "
                "7.000000 8.000000 9.000000 end\n",
            WithoutStamp(LogText()));
}

TEST_F(DumptoLog, GivesTheCallersErrnoToItsMessage) {
  Start();
  errno = ENOENT;
  DbgLog_DumptoLog(DBGLOG_ERROR, "%m\n");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]" + strerror(ENOENT) + "\n", WithoutStamp(LogText()));
}

TEST_F(DumptoLog, CutsALineAt2047Characters) {
  Start();
  const size_t header = (Tag(DBGLOG_ERROR) + " (1700000000000000000)]").size();
  for (const size_t size : {2046u, 2047u, 2048u, 2049u, 5000u, 100000u}) {
    SCOPED_TRACE(size);
    const size_t before = LogText().size();
    DbgLog_DumptoLog(DBGLOG_ERROR, "%s\n", std::string(size - header - 1, 'x').c_str());
    const std::string line = LogText().substr(before);
    ASSERT_EQ(std::min<size_t>(size, 2047), line.size());
    EXPECT_EQ(size <= 2047 ? '\n' : 'x', line.back());
    EXPECT_EQ(Log().size(), HeaderPosition());
  }
}

TEST_F(DumptoLog, EndsALineAtANulThatTheMessagePrints) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "before%cafter\n", 0);
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]before", WithoutStamp(LogText()));
  EXPECT_EQ(Log().size(), HeaderPosition());
}

TEST_F(DumptoLog, WritesTheBytesOfAMessageAsTheyAre) {
  // A message can forge lines: what comes from outside is to be cleaned before it is logged.
  Start();
  const char forged[] = "a\n[1 : 1 ERROR (1700000000000000000)]forged\n\x1b[2J\x80\xff\r";
  DbgLog_DumptoLog(DBGLOG_ERROR, "%s", forged);
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]" + forged, WithoutStamp(LogText()));
}

TEST_F(DumptoLog, WritesTheHeaderAloneForAnEmptyMessage) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "%s", "");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]", WithoutStamp(LogText()));
}

TEST_F(DumptoLog, KeepsWhatCouldBeFormattedOfAMessageThatCannot) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "%s%ls\n", "x", L"\u00e4");  // no such character in this locale
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]x", WithoutStamp(LogText()));
  EXPECT_EQ(Log().size(), HeaderPosition());
}

TEST_F(DumptoLog, WritesNothingForANullFormat) {
  StartWithAllChannels();
  const char *const none = nullptr;
  DbgLog_DumptoLog(DBGLOG_ERROR, none);
  DbgLog_DumptoStdError(DBGLOG_ERROR, none);
  ExpectSilence();
}

TEST_F(DumptoLog, DropsALineWhileNoFileIsOpen) {
  Start();
  FILE *const stream = gDBGLogCtrl->logFile;
  gDBGLogCtrl->logFile = nullptr;
  DbgLog_DumptoLog(DBGLOG_ERROR, "dropped\n");
  EXPECT_EQ(4, gDBGLogCtrl->logFilePosition);
  gDBGLogCtrl->logFile = stream;
  EXPECT_EQ("", LogText());
}

// --- DbgLog_DumptoStdError ---------------------------------------------------------------------

TEST_F(DumptoStdError, PrintsALineForEachLevel) {
  StartWithConsole();
  for (uint32_t level = 0; level < 10; ++level) {
    DbgLog_DumptoStdError(static_cast<int32_t>(level), "[%s:%d]text %d", "module", 12, 34);
    EXPECT_EQ(Tag(level) + "][module:12]text 34\n", console_.Take());
  }
  EXPECT_EQ("", LogText());
}

TEST_F(DumptoStdError, AddsALineBreakToOneThatIsThere) {
  StartWithConsole();
  DbgLog_DumptoStdError(DBGLOG_ERROR, "text\n");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]text\n\n", console_.Take());
}

TEST_F(DumptoStdError, IsSilentWhileTheConsoleIsOff) {
  Start();
  gDBGLogCtrl->syslogEnabled = 1;
  DbgLog_DumptoStdError(DBGLOG_ERROR, "text");
  ExpectSilence();
}

TEST_F(DumptoStdError, KnowsNoNegativeLevel) {
  StartWithAllChannels();
  DbgLog_ChangeLogSettings(0xFFFFFFFF);
  for (const int32_t level : {-1, -32, INT_MIN}) DbgLog_DumptoStdError(level, "text");
  ExpectSilence();
}

TEST_F(DumptoStdError, CutsALineAt2047CharactersAndItsLineBreak) {
  StartWithConsole();
  for (const size_t size : {2046u, 2047u, 2048u, 100000u}) {
    SCOPED_TRACE(size);
    DbgLog_DumptoStdError(DBGLOG_ERROR, "%s",
                          std::string(size - Tag(DBGLOG_ERROR).size() - 1, 'x').c_str());
    const std::string line = console_.Take();
    EXPECT_EQ(std::min<size_t>(size, 2047) + 1, line.size());
    EXPECT_EQ("x\n", line.substr(line.size() - 2));
  }
}

TEST_F(DumptoStdError, EndsALineAtANulThatTheMessagePrints) {
  StartWithConsole();
  DbgLog_DumptoStdError(DBGLOG_ERROR, "before%cafter", 0);
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]before\n", console_.Take());
}

TEST_F(DumptoStdError, AlsoReachesSyslogWhenThatIsOn) {
  StartWithAllChannels();
  for (uint32_t level = 0; level < 10; ++level) {
    g_syslog.clear();
    DbgLog_DumptoStdError(static_cast<int32_t>(level), "100%% of %s\n", "%d");
    EXPECT_EQ(Tag(level) + "]100% of %d\n\n", console_.Take());
    ASSERT_EQ(1u, g_syslog.size());
    EXPECT_EQ(static_cast<int>(level), g_syslog[0].priority);  // 8 and 9 as they are, too
    EXPECT_EQ("%s", g_syslog[0].format);
    EXPECT_EQ(Tag(level) + "]100% of %d\n", g_syslog[0].text);
    EXPECT_TRUE(g_syslog[0].lock_held);
  }
}

TEST_F(DumptoStdError, DoesNotReachSyslogOtherwise) {
  StartWithConsole();
  DbgLog_DumptoStdError(DBGLOG_ERROR, "text");
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "]text\n", console_.Take());
  EXPECT_EQ(0u, g_syslog.size());
}

TEST_F(DumptoStdError, PrintsOutsideTheLock) {
  StartWithConsole();
  FILE *const captured = stderr;
  static bool free;
  free = false;
  cookie_io_functions_t functions = {};
  functions.write = [](void *, const char *, size_t size) -> ssize_t {
    free = pthread_mutex_trylock(&gDBGLogCtrl->lock) == 0;
    if (free) pthread_mutex_unlock(&gDBGLogCtrl->lock);
    return static_cast<ssize_t>(size);
  };
  stderr = fopencookie(nullptr, "w", functions);
  setvbuf(stderr, nullptr, _IONBF, 0);
  DbgLog_DumptoStdError(DBGLOG_ERROR, "text");
  EXPECT_TRUE(free);
  free = false;
  const uint8_t byte = 1;
  DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 1, "label", 1);
  EXPECT_TRUE(free);
  fclose(stderr);
  stderr = captured;
}

// --- DbgLog_DumptoLogTrace ---------------------------------------------------------------------

TEST_F(DumptoLogTrace, WritesAHeaderAndADump) {
  StartWithConsole();
  const uint8_t data[] = {0x00, 0x01, 0x0A, 0x7F, 0x80, 0xFF};
  for (uint32_t level = 0; level < 10; ++level) {
    const size_t before = LogText().size();
    DbgLog_DumptoLogTrace(level, data, 6);
    EXPECT_EQ(Tag(level) + "]0x00 0x01 0x0a 0x7f 0x80 0xff \n",
              WithoutStamp(LogText().substr(before)));
  }
  EXPECT_EQ("", console_.Take());
}

TEST_F(DumptoLogTrace, WritesNothingForNoBytes) {
  Start();
  const uint8_t byte = 1;
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, 0);
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, -1);
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, INT_MIN);
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, nullptr, 5);
  EXPECT_EQ(Header(4), Log());
}

TEST_F(DumptoLogTrace, DoesNotCutADump) {
  Start();
  for (const size_t size : {1u, 395u, 396u, 397u, 398u, 409u, 410u, 1000u, 65536u}) {
    SCOPED_TRACE(size);
    std::vector<uint8_t> data(size);
    std::string expected;
    for (size_t i = 0; i < size; ++i) {
      data[i] = static_cast<uint8_t>(i * 7);
      char text[8];
      snprintf(text, sizeof text, "0x%02x ", data[i]);
      expected += text;
    }
    const size_t before = LogText().size();
    DbgLog_DumptoLogTrace(DBGLOG_ERROR, data.data(), static_cast<int32_t>(size));
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "]" + expected + "\n", WithoutStamp(LogText().substr(before)));
    EXPECT_EQ(Log().size(), HeaderPosition());
  }
}

TEST_F(DumptoLogTrace, WrapsTheFile) {
  Start(1000);
  const std::vector<uint8_t> data(300, 0xAB);
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, data.data(), 300);
  EXPECT_EQ(4u, HeaderPosition());
  EXPECT_EQ(0, gDBGLogCtrl->loggingEnabled);
  EXPECT_GT(Log().size(), 1500u);
}

// --- DbgLog_DumptoStdErrTrace ------------------------------------------------------------------

TEST_F(DumptoStdErrTrace, PrintsAHeaderLineAndADump) {
  StartWithAllChannels();
  const uint8_t data[] = {0x0A, 0xFF};
  for (uint32_t level = 0; level < 10; ++level) {
    DbgLog_DumptoStdErrTrace(level, data, 2, "frame", 42);
    EXPECT_EQ(Tag(level) + "] [frame : 42]\n0x0a 0xff \n", console_.Take());
  }
  EXPECT_EQ("", LogText());
  EXPECT_EQ(0u, g_syslog.size());
}

TEST_F(DumptoStdErrTrace, PrintsAnyNumber) {
  StartWithConsole();
  const uint8_t byte = 0;
  for (const int32_t number : {0, -1, INT32_MAX, INT32_MIN}) {
    DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 1, "n", number);
    EXPECT_EQ(Tag(DBGLOG_ERROR) + "] [n : " + std::to_string(number) + "]\n0x00 \n",
              console_.Take());
  }
}

TEST_F(DumptoStdErrTrace, CutsItsHeaderAt127Characters) {
  StartWithConsole();
  const uint8_t byte = 0;
  const size_t rest = (Tag(DBGLOG_ERROR) + "] [ : 7]").size();
  for (const size_t size : {126u, 127u, 128u, 200u, 10000u}) {
    SCOPED_TRACE(size);
    const std::string label(size - rest, 'l');
    DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 1, label.c_str(), 7);
    const std::string header = Tag(DBGLOG_ERROR) + "] [" + label + " : 7]";
    EXPECT_EQ(header.substr(0, 127) + "\n0x00 \n", console_.Take());
  }
}

TEST_F(DumptoStdErrTrace, PrintsNothingForNoBytes) {
  StartWithConsole();
  const uint8_t byte = 1;
  DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 0, "label", 1);
  DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, -1, "label", 1);
  DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, INT_MIN, "label", 1);
  DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, nullptr, 1, "label", 1);
  EXPECT_EQ("", console_.Take());
}

TEST_F(DumptoStdErrTrace, IsSilentWhileTheConsoleIsOff) {
  Start();
  const uint8_t byte = 1;
  DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 1, "label", 1);
  ExpectSilence();
}

TEST_F(DumptoStdErrTrace, TakesANullLabel) {
  StartWithConsole();
  const uint8_t byte = 1;
  DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 1, nullptr, 1);
  EXPECT_EQ(Tag(DBGLOG_ERROR) + "] [(null) : 1]\n0x01 \n", console_.Take());
}

TEST_F(DumptoStdErrTrace, DoesNotCutADump) {
  StartWithConsole();
  const std::vector<uint8_t> data(5000, 0xC3);
  // Headers and dumps that end at, before and behind every border of a buffer.
  for (size_t label = 0; label < 10; ++label) {
    for (const int32_t size : {390, 395, 396, 397, 398, 399, 400, 401, 402, 403, 404, 405, 5000}) {
      DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, data.data(), size, std::string(label, 'l').c_str(), 1);
      std::string expected = Tag(DBGLOG_ERROR) + "] [" + std::string(label, 'l') + " : 1]\n";
      for (int32_t i = 0; i < size; ++i) expected += "0xc3 ";
      ASSERT_EQ(expected + "\n", console_.Take());
    }
  }
}

// --- logprintHexString -------------------------------------------------------------------------

/// What a call writes to a stream.
std::string HexText(const std::vector<uint8_t> &data) {
  char *text = nullptr;
  size_t size = 0;
  FILE *const stream = open_memstream(&text, &size);
  EXPECT_EQ('\n', logprintHexString(stream, data.data(), static_cast<uint32_t>(data.size())));
  fclose(stream);
  const std::string result(text, size);
  free(text);
  return result;
}

TEST_F(PrintHexString, WritesEachByteAndALineBreak) {
  EXPECT_EQ("0x0a 0xff \n", HexText({0x0A, 0xFF}));
  EXPECT_EQ("0x00 \n", HexText({0}));
  EXPECT_EQ("\n", HexText({}));
}

TEST_F(PrintHexString, WritesEveryByteInTwoLowerCaseDigits) {
  std::vector<uint8_t> data;
  std::string expected;
  for (int byte = 0; byte < 256; ++byte) {
    char text[8];
    snprintf(text, sizeof text, "0x%02x ", byte);
    data.push_back(static_cast<uint8_t>(byte));
    expected += text;
  }
  EXPECT_EQ(expected + "\n", HexText(data));
}

TEST_F(PrintHexString, NeedsNoLogger) {
  EXPECT_EQ(nullptr, gDBGLogCtrl);
  const uint8_t byte = 7;
  EXPECT_EQ('\n', logprintHexString(stderr, &byte, 1));
  EXPECT_EQ("0x07 \n", console_.Take());
}

TEST_F(PrintHexString, ReportsAStreamThatCannotBeWritten) {
  const uint8_t byte = 7;
  FILE *const full = fopen("/dev/full", "w");
  setvbuf(full, nullptr, _IONBF, 0);
  EXPECT_EQ(EOF, logprintHexString(full, &byte, 1));
  fclose(full);
  FILE *const read_only = fopen("/dev/null", "r");
  EXPECT_EQ(EOF, logprintHexString(read_only, &byte, 1));
  fclose(read_only);
}

TEST_F(PrintHexString, RefusesNullArguments) {
  const uint8_t byte = 7;
  EXPECT_EQ(EOF, logprintHexString(nullptr, &byte, 1));
  EXPECT_EQ(EOF, logprintHexString(stderr, nullptr, 1));
  EXPECT_EQ("", console_.Take());
  EXPECT_EQ('\n', logprintHexString(stderr, nullptr, 0));
  EXPECT_EQ("\n", console_.Take());
}

// --- GetCurrentTimeAsString --------------------------------------------------------------------

TEST(CurrentTimeAsString, IsTheWallClockInNanoseconds) {
  char text[256];
  uint64_t last = 0;
  for (int i = 0; i < 1000; ++i) {
    timespec before;
    clock_gettime(CLOCK_REALTIME, &before);
    EXPECT_EQ(text, GetCurrentTimeAsString(text, sizeof text));
    ASSERT_EQ(19u, strlen(text));
    ASSERT_EQ(19u, strspn(text, "0123456789"));
    const uint64_t stamp = strtoull(text, nullptr, 10);
    ASSERT_GE(stamp, static_cast<uint64_t>(before.tv_sec) * 1000000000u +
                         static_cast<uint64_t>(before.tv_nsec));
    ASSERT_GE(stamp, last);
    last = stamp;
  }
}

TEST(CurrentTimeAsString, FitsItsTextIntoTheSize) {
  for (uint32_t size = 0; size <= 24; ++size) {
    SCOPED_TRACE(size);
    char text[32];
    memset(text, '#', sizeof text);
    EXPECT_EQ(text, GetCurrentTimeAsString(text, size));
    if (size > 0) {
      EXPECT_EQ(std::min<size_t>(size - 1, 19), strlen(text));
    }
    EXPECT_EQ('#', text[size]);
  }
}

TEST(CurrentTimeAsString, TakesNoPlaceToWriteTo) {
  EXPECT_EQ(nullptr, GetCurrentTimeAsString(nullptr, 0));
  EXPECT_EQ(nullptr, GetCurrentTimeAsString(nullptr, 20));
}

}  // namespace
