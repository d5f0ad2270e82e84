// Installing handlers and tracing where the system refuses: sigaction(), backtrace() and
// backtrace_symbols() are this program's own.
#include "include/AmbrelSignalHndlr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "support/logger.hpp"

namespace {

std::vector<int> g_installed;
uint32_t g_refused = 0;
int g_backtraces = 0;
size_t g_installed_by_then = 0;
bool g_no_symbols = false;
int32_t g_slot_taken_meanwhile = -1;

}  // namespace

extern "C" {

int __real_backtrace(void **frames, int size);
char **__real_backtrace_symbols(void *const *frames, int size);

int __wrap_sigaction(int signal, const struct sigaction *, struct sigaction *) {
  g_installed.push_back(signal);
  g_slot_taken_meanwhile = InitSignalsWithCallback(nullptr, 0, nullptr);
  return (g_refused >> signal & 1U) != 0 ? -1 : 0;
}

int __wrap_backtrace(void **frames, int size) {
  ++g_backtraces;
  g_installed_by_then = g_installed.size();
  return __real_backtrace(frames, size);
}

char **__wrap_backtrace_symbols(void *const *frames, int size) {
  return g_no_symbols ? nullptr : __real_backtrace_symbols(frames, size);
}

}  // extern "C"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Installing : public testing::Test {
 protected:
  void SetUp() override {
    g_installed.clear();
    g_refused = 0;
    g_backtraces = 0;
    g_no_symbols = false;
  }

  /// What an installer prints.
  template <typename Install>
  std::string OutputOf(Install install) {
    testing::internal::CaptureStdout();
    install();
    return testing::internal::GetCapturedStdout();
  }
};

TEST_F(Installing, TakesTheWholeListInItsOrder) {
  EXPECT_EQ(0, InitSignals());
  EXPECT_THAT(g_installed, ElementsAre(3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 18, 20, 21, 22, 23, 24,
                                       25, 26, 27, 29, 30, 15, 2));
}

TEST_F(Installing, TakesAMaskInTheSameOrderWithSigwinch) {
  EXPECT_EQ(0, AmbrelInitSignals(~0U));
  EXPECT_THAT(g_installed, ElementsAre(3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 18, 20, 21, 22, 23, 24,
                                       25, 26, 27, 28, 29, 30, 15, 2));
}

TEST_F(Installing, TellsARefusedHandlerAndGoesOn) {
  g_refused = 1U << SIGUSR1 | 1U << SIGTERM;
  EXPECT_EQ("Cannot catch signal SigNum 10\nCannot catch signal SigNum 15\n",
            OutputOf([] { EXPECT_EQ(0, InitSignals()); }));
  EXPECT_EQ(24U, g_installed.size());
}

TEST_F(Installing, TellsEveryRefusedHandler) {
  g_refused = ~0U;
  std::string expected;
  for (const int signal :
       {3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14, 18, 20, 21, 22, 23, 24, 25, 26, 27, 29, 30, 15, 2}) {
    expected += "Cannot catch signal SigNum " + std::to_string(signal) + "\n";
  }
  EXPECT_EQ(expected, OutputOf([] { EXPECT_EQ(-1, InitSignals()); }));
}

TEST_F(Installing, GivesTheResultOfTheLastHandlerAlone) {
  g_refused = 1U << SIGINT;
  OutputOf([] {
    EXPECT_EQ(-1, InitSignals());
    EXPECT_EQ(-1, AmbrelInitSignals(1U << SIGINT | 1U << SIGTERM));
    EXPECT_EQ(0, AmbrelInitSignals(1U << SIGTERM | 1U << SIGPWR));
  });
  g_refused = ~(1U << SIGINT);
  OutputOf([] {
    EXPECT_EQ(0, InitSignals());
    EXPECT_EQ(-1, AmbrelInitSignals(1U << SIGTERM | 1U << SIGPWR));
  });
}

TEST_F(Installing, RemovesCallbacksBeforeTheFirstHandler) {
  for (int i = 0; i < AMBREL_SIGNAL_CALLBACKS; ++i) InitSignalsWithCallback(nullptr, 0, nullptr);
  AmbrelInitSignals(1U << SIGTERM | 1U << SIGPWR);
  EXPECT_EQ(1, g_slot_taken_meanwhile);
  EXPECT_EQ(2, InitSignalsWithCallback(nullptr, 0, nullptr));
  AmbrelInitSignals(0);
}

TEST_F(Installing, LoadsTheUnwinderBeforeAHandlerNeedsIt) {
  InitSignals();
  EXPECT_EQ(1, g_backtraces);
  EXPECT_EQ(0U, g_installed_by_then);
  g_installed.clear();
  AmbrelInitSignals(1U << SIGSEGV);
  EXPECT_EQ(2, g_backtraces);
  EXPECT_EQ(0U, g_installed_by_then);
}

TEST_F(Installing, PrintTraceLogsNothingWithoutMemoryForTheFrames) {
  cu_test::Logger logger;
  g_no_symbols = true;
  print_trace();
  EXPECT_THAT(logger.lines(), IsEmpty());
}

TEST_F(Installing, PrintTraceWalksNoStackWhileItsLevelIsOff) {
  cu_test::Logger logger(0x3FF & ~(1U << DBGLOG_CRITICAL));
  print_trace();
  EXPECT_EQ(0, g_backtraces);
}

}  // namespace
