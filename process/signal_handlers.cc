#include "include/AmbrelSignalHndlr.h"

#include <errno.h>
#include <execinfo.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include "process/signal_table.hpp"

namespace {

// In the order of installation. A daemon can be stopped from the keyboard until the very last.
constexpr uint8_t kSignals[] = {3,  4,  5,  6,  7,  8,  10, 11, 12, 13, 14, 18, 20,
                                21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 15, 2};

static_assert(SIGBUS == 7 && SIGUSR1 == 10 && SIGCONT == 18 && SIGTSTP == 20 && SIGURG == 23 &&
                  SIGWINCH == 28 && SIGPWR == 30,
              "the signal numbers of Linux on ARM and x86");

constexpr uint32_t kAllButWindowChange = ~(1U << SIGWINCH);

void HandleSignal(int signal) {
  const int saved_errno = errno;
  switch (signal) {
    case SIGABRT:
    case SIGSEGV:
      print_trace();
      cu::DispatchSignal(signal);
      break;
    case SIGBUS:
      cu::DispatchSignal(signal);
      exit(-1);
    case SIGTERM:
      puts("Received SIGTERM");
      cu::DispatchSignal(signal);
      break;
    case SIGTSTP:
      cu::DispatchSignal(signal);
      puts("  Received SIGTSTP");
      break;
    case SIGCONT:
      break;
    default:
      cu::DispatchSignal(signal);
      break;
  }
  errno = saved_errno;
}

int Install(int signal) {
  struct sigaction action = {};
  // sigurg() takes no argument; the one that the kernel passes goes unread.
  action.sa_handler = signal == SIGURG ? reinterpret_cast<void (*)(int)>(sigurg) : HandleSignal;
  sigemptyset(&action.sa_mask);
  sigaddset(&action.sa_mask, signal);
  action.sa_flags = SA_RESTART;
  const int result = sigaction(signal, &action, nullptr);
  if (result != 0) printf("Cannot catch signal SigNum %d\n", signal);
  return result;
}

}  // namespace

int32_t InitSignals() {
  return AmbrelInitSignals(kAllButWindowChange);
}

int32_t AmbrelInitSignals(uint32_t mask) {
  // The first backtrace() of a process loads the unwinder and allocates; a handler must not.
  void *frame = nullptr;
  backtrace(&frame, 1);

  cu::ClearSignalTable();
  int result = 0;
  for (const uint8_t signal : kSignals) {
    if ((mask >> signal & 1U) != 0) result = Install(signal);
  }
  return result;
}

void sigurg() {
  const int saved_errno = errno;
  cu::DispatchSignal(SIGURG);
  errno = saved_errno;
}
