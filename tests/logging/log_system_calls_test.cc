// What a log call costs in system calls, counted by tracing a child.
#include <errno.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "logging/logging_fixture.hpp"

namespace {

using namespace cu_test;

constexpr int kCalls = 50;

class SystemCalls : public LoggingTest {
 protected:
  /// The system calls of `kCalls` calls of a function, after one that is not counted. Negative
  /// where processes cannot be traced.
  template <typename Body>
  static long Count(Body body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(1);
      body();
      raise(SIGSTOP);
      syscall(SYS_getppid);  // marks the beginning and the end of what is counted
      for (int i = 0; i < kCalls; ++i) body();
      syscall(SYS_getppid);
      _exit(0);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return -1;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD);
    long counted = 0;
    int marks = 0;
    while (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 &&
           waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
      __ptrace_syscall_info info = {};
      ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
      if (info.op != PTRACE_SYSCALL_INFO_ENTRY) continue;
      if (info.entry.nr == SYS_getppid) {
        ++marks;
      } else if (marks == 1) {
        ++counted;
      }
    }
    EXPECT_EQ(2, marks);
    EXPECT_EQ(0, status);
    return counted;
  }
};

#define EXPECT_SYSTEM_CALLS(expected, ...)                              \
  do {                                                                  \
    const long counted = Count([&] { __VA_ARGS__; });                   \
    if (counted < 0) GTEST_SKIP() << "processes cannot be traced here"; \
    EXPECT_EQ((expected)*kCalls, counted);                              \
  } while (0)

TEST_F(SystemCalls, AreTwoForALineInTheFile) {
  Start();
  EXPECT_SYSTEM_CALLS(2, DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]text %d\n", "module", 1, 2));
}

TEST_F(SystemCalls, AreTwoForTheLongestLine) {
  Start();
  const std::string text(3000, 'x');
  EXPECT_SYSTEM_CALLS(2, DbgLog_DumptoLog(DBGLOG_ERROR, "%s\n", text.c_str()));
}

TEST_F(SystemCalls, AreTwoForAPairWhileTheConsoleIsOff) {
  Start();
  EXPECT_SYSTEM_CALLS(2, DbgLog_DumptoLog(DBGLOG_ERROR, "text\n");
                      DbgLog_DumptoStdError(DBGLOG_ERROR, "text\n"));
}

TEST_F(SystemCalls, AreTwoForALineInAFileThatIsContinued) {
  WriteFile(LogPath(), Header(104) + std::string(100, 'o'));
  Start();
  EXPECT_SYSTEM_CALLS(2, DbgLog_DumptoLog(DBGLOG_ERROR, "text\n"));
}

TEST_F(SystemCalls, AreTwoForALineAfterAWrap) {
  Start(1000);
  DbgLog_DumptoLog(DBGLOG_ERROR, "%01000d\n", 1);
  DbgLog_ChangeLogSettings(kAllLevels);
  gDBGLogCtrl->maxLogFileSize = kNoLimit;
  EXPECT_SYSTEM_CALLS(2, DbgLog_DumptoLog(DBGLOG_ERROR, "text\n"));
}

TEST_F(SystemCalls, AreTwoForAShortDumpInTheFile) {
  Start();
  const uint8_t data[64] = {};
  EXPECT_SYSTEM_CALLS(2, DbgLog_DumptoLogTrace(DBGLOG_ERROR, data, sizeof data));
}

TEST_F(SystemCalls, AreOneForALineOnStandardError) {
  StartWithConsole();
  EXPECT_SYSTEM_CALLS(1, DbgLog_DumptoStdError(DBGLOG_ERROR, "text"));
}

TEST_F(SystemCalls, AreOneForAShortDumpOnStandardError) {
  StartWithConsole();
  const uint8_t data[64] = {};
  EXPECT_SYSTEM_CALLS(1, DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, data, sizeof data, "label", 1));
}

TEST_F(SystemCalls, AreNoneForALevelThatIsOff) {
  StartWithConsole();
  DbgLog_ChangeLogSettings(0);
  const uint8_t byte = 1;
  EXPECT_SYSTEM_CALLS(0, DbgLog_DumptoLog(DBGLOG_ERROR, "text\n");
                      DbgLog_DumptoStdError(DBGLOG_ERROR, "text\n");
                      DbgLog_DumptoLogTrace(DBGLOG_ERROR, &byte, 1);
                      DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, &byte, 1, "label", 1));
}

}  // namespace
