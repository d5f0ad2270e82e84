// Backtraces in the log: of a call, of a real fault and of a real abort.
#include "include/AmbrelSignalHndlr.h"

#include <execinfo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/child.hpp"
#include "support/leaks.hpp"
#include "support/logger.hpp"

// Frames of the backtraces below. Their names are looked up in the program's dynamic symbols, so
// they are neither static nor inlined, and a statement after each call keeps it from being a jump.
#define FRAME extern "C" [[gnu::noinline, gnu::used, gnu::visibility("default")]]

namespace {
volatile int g_after_call;
}

FRAME void FrameThatCallsPrintTrace() {
  print_trace();
  g_after_call = 1;
}

FRAME void FrameThatFaults(volatile int *address) {
  *address = 1;
  g_after_call = 1;
}

// Through a pointer: after a call that cannot return the compiler puts nothing, and the return
// address then is in the function that follows.
FRAME void FrameThatAborts() {
  void (*volatile abort_here)() = abort;
  abort_here();
  g_after_call = 1;
}

FRAME void FrameThatRaises(int signal) {
  raise(signal);
  g_after_call = 1;
}

FRAME void FrameThatRecurses(int depth) {
  if (depth > 0) FrameThatRecurses(depth - 1);
  if (depth == 0) print_trace();
  g_after_call = depth;
}

// A name of 640 characters.
#define JOIN(a, b) JOIN_EXPANDED(a, b)
#define JOIN_EXPANDED(a, b) a##b
#define NAME_OF_40 FrameOfManyCharacters_012345678901234567
#define NAME_OF_80 JOIN(NAME_OF_40, NAME_OF_40)
#define NAME_OF_160 JOIN(NAME_OF_80, NAME_OF_80)
#define NAME_OF_320 JOIN(NAME_OF_160, NAME_OF_160)
#define NAME_OF_640 JOIN(NAME_OF_320, NAME_OF_320)
FRAME void NAME_OF_640() {
  print_trace();
  g_after_call = 1;
}

namespace {

using cu_test::Child;
using cu_test::Logger;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// AddressSanitizer stands between a program and backtrace() with a frame of its own, which is the
// one that is left out then.
#if CU_ADDRESS_SANITIZER
constexpr bool kSeesPrintTrace = true;
#else
constexpr bool kSeesPrintTrace = false;
#endif

/// The frames from the caller of print_trace() outwards.
std::vector<std::string> FramesIn(const Logger &logger) {
  std::vector<std::string> lines = logger.lines();
  if (kSeesPrintTrace && !lines.empty()) lines.erase(lines.begin());
  return lines;
}

std::string LineStart(long thread) {
  return "CRITICAL [AmbrelSignalHndlr]bt:" + std::to_string(thread) + ": ";
}

int *Nowhere() {
  static volatile uintptr_t address = 64;
  return reinterpret_cast<int *>(address);
}

TEST(PrintTrace, LogsAFrameALineFromItsCallerOutwards) {
  Logger logger;
  FrameThatCallsPrintTrace();
  const std::vector<std::string> lines = FramesIn(logger);
  ASSERT_FALSE(lines.empty());
  EXPECT_THAT(lines, Each(StartsWith(LineStart(getpid()))));
  EXPECT_THAT(lines[0], HasSubstr("(FrameThatCallsPrintTrace+"));
  EXPECT_THAT(lines, Not(Contains(HasSubstr("print_trace"))));
}

TEST(PrintTrace, NamesTheThreadThatCallsIt) {
  Logger logger;
  long thread_id = 0;
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(
                   &thread, nullptr,
                   [](void *id) -> void * {
                     *static_cast<long *>(id) = syscall(SYS_gettid);
                     FrameThatCallsPrintTrace();
                     return nullptr;
                   },
                   &thread_id));
  pthread_join(thread, nullptr);
  EXPECT_NE(getpid(), thread_id);
  EXPECT_THAT(logger.lines(), Not(IsEmpty()));
  EXPECT_THAT(logger.lines(), Each(StartsWith(LineStart(thread_id))));
}

TEST(PrintTrace, LogsThirtyOneFramesOfADeepStack) {
  Logger logger;
  FrameThatRecurses(100);
  EXPECT_EQ(31U, logger.lines().size());
  EXPECT_THAT(FramesIn(logger), Each(HasSubstr("(FrameThatRecurses+")));
}

TEST(PrintTrace, CutsALineAt511Characters) {
  Logger logger;
  NAME_OF_640();
  const std::vector<std::string> lines = FramesIn(logger);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(511 + std::string("CRITICAL [AmbrelSignalHndlr]").size(), lines[0].size());
  EXPECT_THAT(lines[0], HasSubstr("(FrameOfManyCharacters_012345678901234567Frame"));
}

TEST(PrintTrace, LogsNothingWhileItsLevelIsOff) {
  Logger logger(0x3FF & ~(1U << DBGLOG_CRITICAL));
  FrameThatCallsPrintTrace();
  EXPECT_THAT(logger.lines(), IsEmpty());
}

TEST(PrintTrace, DoesNothingWithoutALogger) {
  FrameThatCallsPrintTrace();
  EXPECT_EQ(nullptr, DbgLog_GetEnabledLogger());
}

TEST(RealFault, OfSigsegvLeavesTheFaultingFunctionInTheLog) {
  Logger logger;
  Child child([] {
    InitSignals();
    InitSignalsWithCallback([](void *) { _exit(3); }, 1U << SIGSEGV, nullptr);
    FrameThatFaults(Nowhere());
    return 0;
  });
  EXPECT_EQ(3, child.Wait().status());
  EXPECT_THAT(logger.lines(), Contains(HasSubstr("(FrameThatFaults+")));
  EXPECT_THAT(logger.lines(), Each(StartsWith(LineStart(child.pid()))));
}

/// Whether backtrace() itself gets through abort(): in some builds of libc for 32-bit ARM that one
/// function has no unwind table, and every backtrace from within ends there.
bool AbortCanBeUnwound() {
  Child child([] {
    signal(SIGABRT, [](int) {
      void *addresses[32];
      backtrace_symbols_fd(addresses, backtrace(addresses, 32), STDOUT_FILENO);
    });
    FrameThatAborts();
    return 0;
  });
  return child.Wait().out().find("(FrameThatAborts+") != std::string::npos;
}

TEST(RealFault, OfARaisedSigabrtLeavesTheRaisingFunctionInTheLog) {
  Logger logger;
  Child child([] {
    InitSignals();
    FrameThatRaises(SIGABRT);
    return 5;
  });
  EXPECT_EQ(5, child.Wait().status());
  EXPECT_THAT(logger.lines(), Contains(HasSubstr("(FrameThatRaises+")));
}

TEST(RealFault, OfAbortLeavesABacktraceInTheLog) {
  Logger logger;
  Child child([] {
    InitSignals();
    FrameThatAborts();
    return 0;
  });
  EXPECT_EQ(-SIGABRT, child.Wait().status());
  EXPECT_THAT(logger.lines(), Contains(HasSubstr("libc.so")));
  EXPECT_THAT(logger.lines(), Each(StartsWith(LineStart(child.pid()))));
}

TEST(RealFault, OfAbortLeavesTheAbortingFunctionInTheLog) {
  if (!AbortCanBeUnwound()) GTEST_SKIP() << "abort() of this libc has no unwind table";
  Logger logger;
  Child child([] {
    InitSignals();
    FrameThatAborts();
    return 0;
  });
  EXPECT_EQ(-SIGABRT, child.Wait().status());
  EXPECT_THAT(logger.lines(), Contains(HasSubstr("(FrameThatAborts+")));
  EXPECT_THAT(logger.lines(), Each(StartsWith(LineStart(child.pid()))));
}

TEST(RealFault, OfARaisedSigabrtLogsItsBacktraceBeforeTheCallbackRuns) {
  Logger logger;
  Child child([] {
    InitSignals();
    InitSignalsWithCallback(
        [](void *) { DbgLog_DumptoLog(DBGLOG_INFO, "[%s:%d]callback\n", "test", __LINE__); },
        1U << SIGABRT, nullptr);
    FrameThatRaises(SIGABRT);
    return 5;
  });
  EXPECT_EQ(5, child.Wait().status());
  const std::vector<std::string> lines = logger.lines();
  ASSERT_GT(lines.size(), 1U);
  EXPECT_EQ("INFO [test]callback", lines.back());
}

TEST(RealFault, LogsItsBacktraceBeforeTheCallbackRuns) {
  Logger logger;
  Child child([] {
    InitSignals();
    InitSignalsWithCallback(
        [](void *) {
          DbgLog_DumptoLog(DBGLOG_INFO, "[%s:%d]callback\n", "test", __LINE__);
          _exit(3);
        },
        1U << SIGSEGV, nullptr);
    FrameThatFaults(Nowhere());
    return 0;
  });
  EXPECT_EQ(3, child.Wait().status());
  const std::vector<std::string> lines = logger.lines();
  ASSERT_GT(lines.size(), 1U);
  EXPECT_EQ("INFO [test]callback", lines.back());
}

TEST(RealFault, OfOtherSignalsLeavesNoBacktrace) {
  for (const int signal : {SIGILL, SIGFPE, SIGBUS, SIGTRAP, SIGTERM}) {
    Logger logger;
    Child child([signal] {
      InitSignals();
      InitSignalsWithCallback([](void *) { _exit(3); }, ~0U, nullptr);
      raise(signal);
      return 0;
    });
    EXPECT_EQ(3, child.Wait().status());
    EXPECT_THAT(logger.lines(), IsEmpty()) << signal;
  }
}

TEST(RealFault, InsideTheLoggerHangsTheProcess) {
  Logger logger;
  Child child([] {
    InitSignals();
    InitSignalsWithCallback([](void *) { _exit(3); }, 1U << SIGSEGV, nullptr);
    pthread_mutex_lock(&gDBGLogCtrl->lock);  // as if the fault came while a line was written
    puts("about to fault");
    FrameThatFaults(Nowhere());
    return 0;
  });
  ASSERT_TRUE(child.WaitForOutput("about to fault"));
  usleep(200000);
  EXPECT_FALSE(child.HasEnded());
}

}  // namespace
