// The watchdog of the tests with threads bites those that stand still, and no others.
#include "support/watchdog.hpp"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/threads.hpp"

namespace {

using cu_test::Watchdog;
using std::chrono::milliseconds;

constexpr double kMost = 0.25;  // seconds

#if CU_OWN_SPEED

TEST(Watchdog, FailsATestWhoseThreadsAllSleep) {
  EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(
      {
        const Watchdog watchdog([] { return 7L; }, kMost);
        EXPECT_TRUE(cu_test::Eventually([&] { return watchdog.has_bitten(); }));
      },
      "no step for 0.25 s, after 7");
}

TEST(Watchdog, FailsATestWhoseThreadsSpin) {
  EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(
      {
        const Watchdog watchdog([] { return 7L; }, kMost);
        while (!watchdog.has_bitten()) {
        }
      },
      "no step for 0.25 s, after 7");
}

#endif

TEST(Watchdog, LeavesATestAloneThatGetsOn) {
  std::atomic<long> steps{0};
  const Watchdog watchdog([&] { return steps.load(); }, kMost);
  for (int i = 0; i < 100; ++i) {
    std::this_thread::sleep_for(milliseconds(10));
    ++steps;
  }
}

}  // namespace
