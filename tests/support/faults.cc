#include "support/faults.hpp"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <string>

extern "C" {
FILE *__real_fopen(const char *path, const char *mode);
int __real_fclose(FILE *stream);
}

namespace cu_test {
namespace {

std::atomic<int> g_call{-1};
std::atomic<long> g_k{0};
std::atomic<long> g_calls{0};
std::atomic<bool> g_fired{false};
std::atomic<int> g_error{0};
std::atomic<bool> g_from_then{false};

/// What was injected since the program began: faults that struck, the calls that they failed, and
/// the scenarios, which are the tests that went on from the first call to later ones. At the end a
/// line with these is appended to the file that CU_FAULTS_FILE names. A forked child that ends by
/// _exit() is not counted.
class Tally {
 public:
  ~Tally() {
    const char *const path = getenv("CU_FAULTS_FILE");
    if (path == nullptr) return;
    FILE *const file = __real_fopen(path, "a");
    if (file == nullptr) return;
    fprintf(file, "%s memory %ld %ld other %ld %ld scenarios %zu %zu\n",
            program_invocation_short_name, memory_.faults.load(), memory_.calls.load(),
            other_.faults.load(), other_.calls.load(), memory_.scenarios.size(),
            other_.scenarios.size());
    __real_fclose(file);
  }

  void AddCall(Call call) { ++Of(call).calls; }
  void AddFault(Call call) { ++Of(call).faults; }
  /// From the thread that runs the tests.
  void AddStep(Call call, long k) {
    const testing::TestInfo *const test = testing::UnitTest::GetInstance()->current_test_info();
    if (test == nullptr || k == 0) return;
    const std::string name = std::string(test->test_suite_name()) + '.' + test->name();
    if (k == 1) Of(call).begun = name;
    if (k > 1 && Of(call).begun == name) Of(call).scenarios.insert(name);
  }

 private:
  struct Counts {
    std::atomic<long> faults{0}, calls{0};
    std::string begun;
    std::set<std::string> scenarios;
  };
  Counts &Of(Call call) { return call == Call::kMemory ? memory_ : other_; }

  Counts memory_, other_;
} g_tally;

/// Counts a call and tells whether it is to fail, with errno set when it is.
bool Fails(Call call) {
  if (g_call.load(std::memory_order_acquire) != static_cast<int>(call)) return false;
  const long n = g_calls.fetch_add(1) + 1;
  const long k = g_k;
  if (k == 0 || n < k || (n > k && !g_from_then)) return false;
  if (!g_fired.exchange(true)) g_tally.AddFault(call);
  g_tally.AddCall(call);
  if (g_error != 0) errno = g_error;
  return true;
}

bool IsShort() {
  return g_error == 0;
}

}  // namespace

Fault::Fault(Call call, long k, int error, Reach reach) {
  g_k = k;
  g_calls = 0;
  g_fired = false;
  g_error = call == Call::kMemory ? ENOMEM : error;
  g_from_then = reach == Reach::kFromThen;
  g_tally.AddStep(call, k);
  g_call.store(static_cast<int>(call), std::memory_order_release);
}

Fault::~Fault() {
  g_call.store(-1, std::memory_order_release);
}

bool Fault::fired() const {
  return g_fired;
}
long Fault::calls() const {
  return g_calls;
}

}  // namespace cu_test

using cu_test::Call;
using cu_test::Fails;
using cu_test::IsShort;

#define CU_DECLARE(result, name, parameters) result __real_##name parameters;
#define CU_REAL(name) __real_##name
#define CU_WRAPPED(name) __wrap_##name
#define CU_FAILS(call) Fails(call)
#include "support/fault_calls.inc"
