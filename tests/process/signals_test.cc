// Arrival of signals: what is printed, which callback runs, how the process goes on or ends.
#include "include/AmbrelSignalHndlr.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/child.hpp"
#include "support/leaks.hpp"

namespace {

using cu_test::Child;

constexpr int kGoesOn = 42;  // the exit status of a child that outlived its signal
constexpr uint32_t Bit(int signal) {
  return 1U << signal;
}

void PrintArgument(void *argument) {
  printf("%s\n", static_cast<const char *>(argument));
}
char kFirst[] = "first", kSecond[] = "second", kThird[] = "third";

std::string Arrival(int signal) {
  return "Sig#: " + std::to_string(signal) + "\n";
}
std::string Found(int signal) {
  return "Sig# found: " + std::to_string(signal) + "\n";
}

/// A child that installs the handler of one signal, registers a callback for it and takes it.
std::string OutputOf(int signal, int expected_status) {
  Child child([signal] {
    AmbrelInitSignals(Bit(signal));
    InitSignalsWithCallback(PrintArgument, Bit(signal), kFirst);
    raise(signal);
    return kGoesOn;
  });
  EXPECT_EQ(expected_status, child.Wait().status());
  return child.out();
}

struct PlainSignal {
  int number;
  const char *name;
};
constexpr PlainSignal kPlainSignals[] = {
    {2, "SIGINT"},   {3, "SIGQUIT"},    {4, "SIGILL"},   {5, "SIGTRAP"},   {6, "SIGABRT"},
    {8, "SIGFPE"},   {10, "SIGUSR1"},   {11, "SIGSEGV"}, {12, "SIGUSR2"},  {13, "SIGPIPE"},
    {14, "SIGALRM"}, {21, "SIGTTIN"},   {22, "SIGTTOU"}, {23, "SIGURG"},   {24, "SIGXCPU"},
    {25, "SIGXFSZ"}, {26, "SIGVTALRM"}, {27, "SIGPROF"}, {28, "SIGWINCH"}, {29, "SIGIO"},
    {30, "SIGPWR"}};

class EachPlainSignal : public testing::TestWithParam<PlainSignal> {};

TEST_P(EachPlainSignal, IsTracedAndCallsItsCallback) {
  const int n = GetParam().number;
  EXPECT_EQ(Arrival(n) + Found(n) + Found(n) + "first\n", OutputOf(n, kGoesOn));
}

TEST_P(EachPlainSignal, WithoutACallbackPrintsItsArrivalAlone) {
  const int n = GetParam().number;
  Child child([n] {
    AmbrelInitSignals(Bit(n));
    raise(n);
    return kGoesOn;
  });
  EXPECT_EQ(kGoesOn, child.Wait().status());
  EXPECT_EQ(Arrival(n), child.out());
}

INSTANTIATE_TEST_SUITE_P(Signals, EachPlainSignal, testing::ValuesIn(kPlainSignals),
                         [](const auto &row) { return row.param.name; });

TEST(SignalHandler, OfSigtermPrintsItsLineBeforeTheDispatch) {
  EXPECT_EQ("Received SIGTERM\n" + Arrival(15) + Found(15) + Found(15) + "first\n",
            OutputOf(SIGTERM, kGoesOn));
}

TEST(SignalHandler, OfSigtstpPrintsItsIndentedLineAfterTheDispatchAndDoesNotStop) {
  EXPECT_EQ(Arrival(20) + Found(20) + Found(20) + "first\n" + "  Received SIGTSTP\n",
            OutputOf(SIGTSTP, kGoesOn));
}

TEST(SignalHandler, OfSigcontDoesNothing) {
  EXPECT_EQ("", OutputOf(SIGCONT, kGoesOn));
}

TEST(SignalHandler, OfSigbusCallsTheCallbackAndExitsWithStatus255) {
  EXPECT_EQ(Arrival(7) + Found(7) + Found(7) + "first\n", OutputOf(SIGBUS, 255));
}

TEST(SignalHandler, OfSigbusRunsTheExitHandlers) {
  Child child([] {
    atexit([] {
      puts("exit handler");
      _exit(255);  // the rest of the handlers are the test framework's
    });
    AmbrelInitSignals(Bit(SIGBUS));
    raise(SIGBUS);
    return kGoesOn;
  });
  EXPECT_EQ(255, child.Wait().status());
  EXPECT_EQ(Arrival(7) + "exit handler\n", child.out());
}

TEST(SignalHandler, LeavesErrnoAsItWas) {
  Child child([] {
    AmbrelInitSignals(Bit(SIGUSR1) | Bit(SIGURG));
    InitSignalsWithCallback([](void *) { errno = EBADF; }, ~0U, nullptr);
    errno = ENOENT;
    raise(SIGUSR1);
    raise(SIGURG);
    return errno == ENOENT ? 0 : 1;
  });
  EXPECT_EQ(0, child.Wait().status());
}

TEST(Sigurg, CalledDirectlyDispatchesSignal23) {
  Child child([] {
    AmbrelInitSignals(0);
    InitSignalsWithCallback(PrintArgument, Bit(23), kFirst);
    sigurg();
    return kGoesOn;
  });
  EXPECT_EQ(kGoesOn, child.Wait().status());
  EXPECT_EQ(Arrival(23) + Found(23) + Found(23) + "first\n", child.out());
}

// ---- real faults --------------------------------------------------------------------------------

[[gnu::noinline]] void Fault() {
  int *volatile nowhere = nullptr;
  __asm__ volatile("" ::: "memory");
  raise(SIGCONT);  // keeps the store below from being moved
  *const_cast<volatile int *>(reinterpret_cast<int *>(reinterpret_cast<uintptr_t>(nowhere) + 64)) =
      1;
}

void ExpectToLoopForEver(Child &child, int signal) {
  EXPECT_TRUE(child.WaitForOutput(Arrival(signal) + Arrival(signal) + Arrival(signal)));
  EXPECT_FALSE(child.HasEnded());
}

TEST(RealFault, OfSigsegvRepeatsForEverWithoutACallbackThatEndsTheProcess) {
  Child child([] {
    InitSignals();
    Fault();
    return kGoesOn;
  });
  ExpectToLoopForEver(child, SIGSEGV);
}

TEST(RealFault, OfSigillRepeatsForEverWithoutACallbackThatEndsTheProcess) {
  Child child([] {
    InitSignals();
#if defined(__arm__)
    __asm__ volatile("udf #0");
#else
    __asm__ volatile("ud2");
#endif
    return kGoesOn;
  });
  ExpectToLoopForEver(child, SIGILL);
}

#if defined(__x86_64__) || defined(__i386__)
TEST(RealFault, OfSigfpeRepeatsForEverWithoutACallbackThatEndsTheProcess) {
  Child child([] {
    InitSignals();
    int quotient = 1, remainder = 0;
    __asm__ volatile("idivl %2" : "+a"(quotient), "+d"(remainder) : "r"(0));
    return kGoesOn;
  });
  ExpectToLoopForEver(child, SIGFPE);
}
#endif

TEST(RealFault, EndsTheProcessThroughACallbackThatDoes) {
  Child child([] {
    InitSignals();
    InitSignalsWithCallback([](void *) { _exit(3); }, Bit(SIGSEGV), nullptr);
    Fault();
    return kGoesOn;
  });
  EXPECT_EQ(3, child.Wait().status());
  EXPECT_EQ(Arrival(11) + Found(11) + Found(11), child.out());
}

#if !CU_ADDRESS_SANITIZER  // which moves locals to the heap, where no stack overflows
[[gnu::noinline]] int Overflow(volatile int *caller) {
  volatile int mine[1000];
  mine[0] = *caller + 1;
  return mine[0] == 0 ? 0 : Overflow(mine) + mine[0];
}

TEST(RealFault, OfAnOverflowedStackKillsTheProcessWithoutATrace) {
  Child child([] {
    const rlimit small = {1 << 20, 1 << 20};
    setrlimit(RLIMIT_STACK, &small);
    InitSignals();
    InitSignalsWithCallback([](void *) { _exit(3); }, Bit(SIGSEGV), nullptr);
    int start = 0;
    return Overflow(&start);
  });
  EXPECT_EQ(-SIGSEGV, child.Wait().status());
  EXPECT_EQ("", child.out());
}
#endif

TEST(RealFault, OfAbortIsHandledOnceAndThenKillsTheProcess) {
  Child child([] {
    InitSignals();
    InitSignalsWithCallback(PrintArgument, Bit(SIGABRT), kFirst);
    abort();
    return kGoesOn;
  });
  EXPECT_EQ(-SIGABRT, child.Wait().status());
  EXPECT_EQ(Arrival(6) + Found(6) + Found(6) + "first\n", child.out());
}

// ---- the callback table -------------------------------------------------------------------------

/// What a child prints that handles SIGUSR1 after a piece of set-up.
template <typename SetUp>
std::string OutputOfUsr1After(SetUp set_up) {
  Child child([set_up] {
    AmbrelInitSignals(Bit(SIGUSR1));
    set_up();
    raise(SIGUSR1);
    return kGoesOn;
  });
  EXPECT_EQ(kGoesOn, child.Wait().status());
  return child.out();
}

TEST(InitSignalsWithCallback, OfTwoMatchingSlotsCallsTheFirstAlone) {
  Child child([] {
    AmbrelInitSignals(Bit(SIGTERM));
    InitSignalsWithCallback(PrintArgument, Bit(15), kFirst);
    InitSignalsWithCallback(PrintArgument, Bit(15), kSecond);
    raise(SIGTERM);
    return kGoesOn;
  });
  EXPECT_EQ(kGoesOn, child.Wait().status());
  EXPECT_EQ("Received SIGTERM\n" + Arrival(15) + Found(15) + Found(15) + "first\n", child.out());
}

TEST(InitSignalsWithCallback, PrintsALineForEachSlotLookedAtAndOneForTheMatch) {
  EXPECT_EQ(Arrival(10) + Found(10) + Found(10) + Found(10) + Found(10) + "third\n",
            OutputOfUsr1After([] {
              InitSignalsWithCallback(PrintArgument, Bit(12), kFirst);
              InitSignalsWithCallback(PrintArgument, 0, kSecond);
              InitSignalsWithCallback(PrintArgument, Bit(10), kThird);
              InitSignalsWithCallback(PrintArgument, Bit(10), kFirst);
            }));
}

TEST(InitSignalsWithCallback, WithoutAMatchPrintsALineForEachOccupiedSlot) {
  EXPECT_EQ(Arrival(10) + Found(10) + Found(10), OutputOfUsr1After([] {
              InitSignalsWithCallback(PrintArgument, ~Bit(10), kFirst);
              InitSignalsWithCallback(PrintArgument, Bit(12), kSecond);
            }));
}

TEST(InitSignalsWithCallback, ServesSeveralSignalsWithOneRegistration) {
  Child child([] {
    InitSignals();
    InitSignalsWithCallback(PrintArgument, Bit(2) | Bit(30), kFirst);
    raise(SIGINT);
    raise(SIGPWR);
    return kGoesOn;
  });
  EXPECT_EQ(kGoesOn, child.Wait().status());
  EXPECT_EQ(Arrival(2) + Found(2) + Found(2) + "first\n" +  //
                Arrival(30) + Found(30) + Found(30) + "first\n",
            child.out());
}

TEST(InitSignalsWithCallback, TakesANullCallbackAsASlotThatCallsNothing) {
  EXPECT_EQ(Arrival(10) + Found(10) + Found(10), OutputOfUsr1After([] {
              InitSignalsWithCallback(nullptr, Bit(10), kFirst);
              InitSignalsWithCallback(PrintArgument, Bit(10), kSecond);
            }));
}

TEST(InitSignalsWithCallback, GivesTheIndexOfTheFirstFreeSlotAndZeroForAFullTable) {
  AmbrelInitSignals(0);
  for (int32_t index = 0; index < AMBREL_SIGNAL_CALLBACKS; ++index) {
    EXPECT_EQ(index, InitSignalsWithCallback(PrintArgument, Bit(10), kFirst));
  }
  EXPECT_EQ(0, InitSignalsWithCallback(PrintArgument, Bit(12), kSecond));
  RemoveSignalCallback(5);
  RemoveSignalCallback(8);
  EXPECT_EQ(4, InitSignalsWithCallback(PrintArgument, Bit(10), kFirst));
  EXPECT_EQ(7, InitSignalsWithCallback(PrintArgument, Bit(10), kFirst));
  EXPECT_EQ(0, InitSignalsWithCallback(PrintArgument, Bit(10), kFirst));
  AmbrelInitSignals(0);
}

TEST(InitSignalsWithCallback, RegistersNothingInAFullTable) {
  std::string expected = Arrival(10);
  for (int i = 0; i < AMBREL_SIGNAL_CALLBACKS; ++i) expected += Found(10);
  EXPECT_EQ(expected, OutputOfUsr1After([] {
              for (int i = 0; i < AMBREL_SIGNAL_CALLBACKS; ++i) {
                InitSignalsWithCallback(PrintArgument, Bit(12), kFirst);
              }
              InitSignalsWithCallback(PrintArgument, Bit(10), kSecond);
            }));
}

TEST(RemoveSignalCallback, WithOneClearsTheSlotAtIndexZero) {
  EXPECT_EQ(Arrival(10) + Found(10) + Found(10) + "second\n", OutputOfUsr1After([] {
              InitSignalsWithCallback(PrintArgument, Bit(10), kFirst);
              InitSignalsWithCallback(PrintArgument, Bit(10), kSecond);
              RemoveSignalCallback(1);
            }));
}

TEST(RemoveSignalCallback, WithARegistrationsResultClearsTheSlotBeforeIt) {
  EXPECT_EQ(Arrival(10) + Found(10) + Found(10) + "second\n", OutputOfUsr1After([] {
              InitSignalsWithCallback(PrintArgument, Bit(10), kFirst);
              const int32_t second = InitSignalsWithCallback(PrintArgument, Bit(10), kSecond);
              RemoveSignalCallback(static_cast<uint32_t>(second));
            }));
}

TEST(RemoveSignalCallback, WithTheFirstRegistrationsResultRemovesNothing) {
  EXPECT_EQ(Arrival(10) + Found(10) + Found(10) + "first\n", OutputOfUsr1After([] {
              const int32_t first = InitSignalsWithCallback(PrintArgument, Bit(10), kFirst);
              RemoveSignalCallback(static_cast<uint32_t>(first));
            }));
}

TEST(RemoveSignalCallback, WithAnIdThatNoSlotHasRemovesNothing) {
  EXPECT_EQ(Arrival(10) + Found(10) + Found(10) + "first\n", OutputOfUsr1After([] {
              InitSignalsWithCallback(PrintArgument, Bit(10), kFirst);
              RemoveSignalCallback(2);
              RemoveSignalCallback(11);
              RemoveSignalCallback(0xFFFFFFFFU);
            }));
}

TEST(RemoveSignalCallback, LeavesAFreedSlotUnvisited) {
  EXPECT_EQ(Arrival(10), OutputOfUsr1After([] {
              InitSignalsWithCallback(PrintArgument, Bit(10), kFirst);
              RemoveSignalCallback(1);
            }));
}

TEST(InitSignals, RemovesEveryCallback) {
  EXPECT_EQ(Arrival(10), OutputOfUsr1After([] {
              for (int i = 0; i < 10; ++i) InitSignalsWithCallback(PrintArgument, ~0U, kFirst);
              InitSignals();
            }));
}

TEST(AmbrelInitSignals, RemovesEveryCallback) {
  EXPECT_EQ(Arrival(10), OutputOfUsr1After([] {
              for (int i = 0; i < 10; ++i) InitSignalsWithCallback(PrintArgument, ~0U, kFirst);
              AmbrelInitSignals(0);
            }));
}

// ---- what is installed --------------------------------------------------------------------------

/// The signals from 1 to 31 that are not at their default after a piece of set-up, in a child; each
/// of them has to be installed restartable and with itself alone blocked.
template <typename SetUp>
std::string InstalledBy(SetUp set_up) {
  Child child([set_up] {
    for (int signal = 1; signal < 32; ++signal) ::signal(signal, SIG_DFL);
    if (set_up() != 0) return 1;
    for (int signal = 1; signal < 32; ++signal) {
      struct sigaction action = {};
      sigaction(signal, nullptr, &action);
      if ((action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL) continue;
      printf("%d ", signal);
      if ((action.sa_flags & ~0x04000000) != SA_RESTART) printf("(flags %x) ", action.sa_flags);
      for (int other = 1; other < 32; ++other) {
        if (sigismember(&action.sa_mask, other) != (other == signal)) printf("(mask %d) ", other);
      }
    }
    return 0;
  });
  EXPECT_EQ(0, child.Wait().status());
  return child.out();
}

TEST(InitSignals, InstallsTheWholeListButSigwinch) {
  EXPECT_EQ("2 3 4 5 6 7 8 10 11 12 13 14 15 18 20 21 22 23 24 25 26 27 29 30 ",
            InstalledBy([] { return InitSignals(); }));
}

TEST(AmbrelInitSignals, WithEveryBitInstallsSigwinchToo) {
  EXPECT_EQ("2 3 4 5 6 7 8 10 11 12 13 14 15 18 20 21 22 23 24 25 26 27 28 29 30 ",
            InstalledBy([] { return AmbrelInitSignals(~0U); }));
}

TEST(AmbrelInitSignals, InstallsTheSignalsOfTheMaskAlone) {
  EXPECT_EQ("2 11 28 ", InstalledBy([] { return AmbrelInitSignals(Bit(2) | Bit(11) | Bit(28)); }));
}

TEST(AmbrelInitSignals, IgnoresBitsWithoutASignalOfTheList) {
  for (const int signal : {0, 1, 9, 16, 17, 19, 31}) {
    EXPECT_EQ("", InstalledBy([signal] { return AmbrelInitSignals(Bit(signal)); })) << signal;
  }
}

TEST(AmbrelInitSignals, WithAnEmptyMaskInstallsNothing) {
  EXPECT_EQ("", InstalledBy([] { return AmbrelInitSignals(0); }));
}

TEST(AmbrelInitSignals, MakesSigurgTheHandlerOfItsSignal) {
  Child child([] {
    AmbrelInitSignals(Bit(SIGURG));
    struct sigaction action = {};
    sigaction(SIGURG, nullptr, &action);
    return reinterpret_cast<void *>(action.sa_handler) == reinterpret_cast<void *>(sigurg) ? 0 : 1;
  });
  EXPECT_EQ(0, child.Wait().status());
}

}  // namespace
