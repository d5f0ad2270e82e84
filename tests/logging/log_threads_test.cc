// Many threads and one log.
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <sstream>
#include <thread>

#include "logging/logging_fixture.hpp"
#include "support/threads.hpp"
#include "support/watchdog.hpp"

namespace {

using namespace cu_test;

constexpr int kThreads = 8;

class LoggerThreads : public LoggingTest {
 protected:
  /// Runs a function on every thread, so many times, each with its number and that of the round.
  template <typename Body>
  static void OnEachThread(long rounds, Body body) {
    std::atomic<long> done{0};
    const Watchdog watchdog([&] { return done.load(); });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        for (long i = 0; i < rounds; ++i) {
          body(thread, i);
          done.fetch_add(1, std::memory_order_relaxed);
        }
      });
    }
    for (std::thread &thread : threads) thread.join();
  }

  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    std::istringstream text(LogText());
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  }
};

TEST_F(LoggerThreads, LeaveEachLineWholeAndInTheirOrder) {
  Start();
  const long rounds = Rounds(50000);
  std::array<long, kThreads> tids = {};
  OnEachThread(rounds, [&](int thread, long i) {
    if (i == 0) tids[static_cast<size_t>(thread)] = syscall(SYS_gettid);
    const std::string filler(static_cast<size_t>(10 + thread * 13),
                             static_cast<char>('a' + thread));
    DbgLog_DumptoLog(DBGLOG_INFO, "[%s:%d]%d %ld %s\n", "worker", 1, thread, i, filler.c_str());
  });

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(static_cast<size_t>(kThreads * rounds), lines.size());
  std::array<long, kThreads> next = {};
  std::string last_stamp;
  for (const std::string &line : lines) {
    const size_t close = line.find(")]");
    ASSERT_NE(std::string::npos, close) << line;
    const size_t thread = static_cast<size_t>(line[close + 12] - '0');
    ASSERT_LT(thread, next.size()) << line;
    const std::string expected =
        "[" + std::to_string(getpid()) + " : " + std::to_string(tids[thread]) + " INFO][worker:1]" +
        std::to_string(thread) + " " + std::to_string(next[thread]++) + " " +
        std::string(10 + thread * 13, static_cast<char>('a' + thread));
    ASSERT_EQ(expected, WithoutStamp(line));
    const std::string stamp = line.substr(line.find('('), 20);
    ASSERT_LE(last_stamp, stamp);  // lines stand in the order of their stamps
    last_stamp = stamp;
  }
  EXPECT_EQ(Log().size(), HeaderPosition());
}

TEST_F(LoggerThreads, DumpWithoutMixing) {
  Start();
  const long rounds = Rounds(5000);
  OnEachThread(rounds, [&](int thread, long) {
    const std::vector<uint8_t> data(600, static_cast<uint8_t>(thread));
    DbgLog_DumptoLogTrace(DBGLOG_TRACE, data.data(), static_cast<int32_t>(data.size()));
  });
  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(static_cast<size_t>(kThreads * rounds), lines.size());
  for (const std::string &line : lines) {
    const size_t dump = line.find("]") + 1;
    const std::string byte = line.substr(dump, 5);
    std::string expected;
    for (int i = 0; i < 600; ++i) expected += byte;
    ASSERT_EQ(expected, line.substr(dump));
  }
}

TEST_F(LoggerThreads, MayUseEveryFunctionAtOnce) {
  Settings("LOGLEVEL: 1023\nCONSOLE: true\nSYSLOG: false\n");
  ASSERT_EQ(1, Init(20000));
  OnEachThread(Rounds(2000), [&](int thread, long i) {
    const uint8_t data[] = {1, 2, 3};
    switch ((i + thread) % 8) {
      case 0:
        DbgLog_ChangeLogSettings(kAllLevels);
        break;
      case 1: {
        uint32_t mask = 0;
        DbgLog_GetLogSettingsFromFile(&mask);
        break;
      }
      case 2:
        DbgLog_GetLogSettingsFromFile(&DbgLog_GetEnabledLogger()->logLevelMask);
        break;
      case 3:
        DbgLog_DumptoLogTrace(DBGLOG_TRACE, data, 3);
        break;
      case 4:
        DbgLog_DumptoStdErrTrace(DBGLOG_TRACE, data, 3, "label", thread);
        break;
      case 5:
        loggingLevelEnabled(static_cast<uint32_t>(thread));
        break;
      default:
        DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]%d %ld\n", "worker", 1, thread, i);
        DbgLog_DumptoStdError(DBGLOG_ERROR, "[%s:%d]%d %ld\n", "worker", 1, thread, i);
    }
  });
  EXPECT_GE(HeaderPosition(), 4u);
  EXPECT_LT(HeaderPosition(), 20000u);
  EXPECT_LT(Log().size(), 20000u + 2047u);
  EXPECT_EQ(0, pthread_mutex_trylock(&gDBGLogCtrl->lock));
  pthread_mutex_unlock(&gDBGLogCtrl->lock);
}

TEST_F(LoggerThreads, WrapAndGoOnWithoutATornLine) {
  constexpr int32_t kLimit = 8000;
  Start(kLimit);
  OnEachThread(Rounds(5000), [&](int thread, long i) {
    DbgLog_DumptoLog(DBGLOG_ERROR, "%d %ld\n", thread, i);
    if (thread == 0) DbgLog_ChangeLogSettings(kAllLevels);
  });
  // Up to the position every line is whole. Behind it one old line may be cut at its beginning.
  const std::string text = Log().substr(0, HeaderPosition());
  std::istringstream stream(text.substr(4));
  for (std::string line; std::getline(stream, line);) {
    EXPECT_EQ("[" + std::to_string(getpid()) + " : ", line.substr(0, line.find(":") + 2));
    EXPECT_NE(std::string::npos, line.find(" ERROR ("));
  }
  EXPECT_TRUE(text.size() == 4 || text.back() == '\n');
}

TEST_F(LoggerThreads, StartWithTheirOwnId) {
  // Threads that follow one another often get the memory of those that ended.
  Start();
  for (int i = 0; i < 20; ++i) {
    std::thread([&] {
      const size_t before = LogText().size();
      DbgLog_DumptoLog(DBGLOG_ERROR, "text\n");
      EXPECT_EQ(Tag(DBGLOG_ERROR) + "]text\n", WithoutStamp(LogText().substr(before)));
    }).join();
  }
}

TEST_F(LoggerThreads, WaitForNoLockForALevelThatIsOff) {
  Start();
  DbgLog_ChangeLogSettings(1u << DBGLOG_ERROR);
  const uint8_t byte = 1;
  pthread_mutex_lock(&gDBGLogCtrl->lock);
  DbgLog_DumptoLog(DBGLOG_DEBUG, "off\n");
  DbgLog_DumptoStdError(DBGLOG_DEBUG, "off\n");
  DbgLog_DumptoLogTrace(DBGLOG_DEBUG, &byte, 1);
  DbgLog_DumptoStdErrTrace(DBGLOG_DEBUG, &byte, 1, "off", 1);
  EXPECT_EQ(0, loggingLevelEnabled(DBGLOG_DEBUG));
  EXPECT_EQ(1, loggingLevelEnabled(DBGLOG_ERROR));
  pthread_mutex_unlock(&gDBGLogCtrl->lock);
}

TEST_F(LoggerThreads, WaitForNoLockInTheFileOutputsWhileLoggingIsOff) {
  Start();
  gDBGLogCtrl->loggingEnabled = 0;
  const uint8_t byte = 1;
  pthread_mutex_lock(&gDBGLogCtrl->lock);
  DbgLog_DumptoLog(DBGLOG_ERROR, "off\n");
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, 1);
  pthread_mutex_unlock(&gDBGLogCtrl->lock);
}

TEST_F(LoggerThreads, WaitForTheLockBeforeTheyWriteALine) {
  Start();
  std::atomic<bool> written = false;
  pthread_mutex_lock(&gDBGLogCtrl->lock);
  std::thread writer([&] {
    DbgLog_DumptoLog(DBGLOG_ERROR, "late\n");
    written = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(written);
  EXPECT_EQ("", LogText());
  pthread_mutex_unlock(&gDBGLogCtrl->lock);
  writer.join();
  EXPECT_EQ(Log().size(), HeaderPosition());
}

}  // namespace
