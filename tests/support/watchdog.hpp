// Watches that a test with many threads gets on: none of its work may stand still for five seconds.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_WATCHDOG_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_WATCHDOG_HPP

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "support/sanitizers.hpp"

namespace cu_test {

/// While it lives, a thread of its own looks every few milliseconds at a number that grows with
/// each step of the test, on whatever thread. Five seconds without a step fail the test, a minute
/// ends the program. The longest time without a step becomes the test's property
/// "longest_standstill_ms".
///
/// Only time in which the program could have made a step counts, so that a busy machine fails no
/// test: while a thread waits for a processor or for a disk, that is the processor time that the
/// program got; while all of them sleep, the whole time; and of a look that comes late no more than
/// ten milliseconds.
///
/// It does nothing where a sanitizer or an emulator decides the speed.
class Watchdog {
 public:
  using Steps = std::function<long()>;

#if !CU_OWN_SPEED
  explicit Watchdog(Steps, double = 0) {}
  ~Watchdog() {}
#else
  explicit Watchdog(Steps steps, double most_seconds = 5)
      : steps_(std::move(steps)), most_(most_seconds), thread_([this] { Watch(); }) {}
  ~Watchdog() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    wake_.notify_one();
    thread_.join();
    testing::Test::RecordProperty("longest_standstill_ms", static_cast<int>(longest_ * 1000));
  }
  bool has_bitten() const {
    return has_bitten_;
  }
#endif
  Watchdog(const Watchdog &) = delete;
  Watchdog &operator=(const Watchdog &) = delete;

#if CU_OWN_SPEED
 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kLook{5};
  static constexpr double kHang = 60;  // seconds

  void Watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    long last = steps_();
    double standing = 0, used = ProcessorTime();
    Clock::time_point then = Clock::now();
    while (!wake_.wait_for(lock, kLook, [this] { return done_; })) {
      const Clock::time_point now = Clock::now();
      const double seconds =
          std::chrono::duration<double>(std::min<Clock::duration>(now - then, 2 * kLook)).count();
      const double used_now = ProcessorTime();
      const long steps = steps_();
      if (steps != last) {
        standing = 0;
      } else {
        const double before = standing;
        standing += AnyThreadWaits() ? std::min(seconds, used_now - used) : seconds;
        longest_ = std::max(longest_, standing);
        if (before < most_ && standing >= most_) {
          ADD_FAILURE() << "no step for " << most_ << " s, after " << steps;
          has_bitten_ = true;
        }
        if (standing >= kHang) abort();
      }
      last = steps;
      then = now;
      used = used_now;
    }
  }

  /// Seconds that the program's threads have run.
  static double ProcessorTime() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
  }

  /// Whether a thread besides this one runs or would if it could, or waits for a disk.
  static bool AnyThreadWaits() {
    DIR *const tasks = opendir("/proc/self/task");
    if (tasks == nullptr) return true;
    const std::string self = std::to_string(syscall(SYS_gettid));
    bool waits = false;
    while (const dirent *const task = readdir(tasks)) {
      if (task->d_name[0] == '.' || self == task->d_name) continue;
      const char state = StateOf(task->d_name);
      if (state == 'R' || state == 'D') waits = true;
    }
    closedir(tasks);
    return waits;
  }

  /// The letter behind the name in a thread's stat file.
  static char StateOf(const std::string &thread) {
    FILE *const file = fopen(("/proc/self/task/" + thread + "/stat").c_str(), "re");
    if (file == nullptr) return '-';  // it has ended
    char line[128] = "";
    const bool read = fgets(line, sizeof line, file) != nullptr;
    fclose(file);
    const char *const name_end = read ? strrchr(line, ')') : nullptr;
    return name_end != nullptr && strlen(name_end) > 2 ? name_end[2] : '-';
  }

  const Steps steps_;
  const double most_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool done_ = false;
  std::atomic<bool> has_bitten_{false};
  double longest_ = 0;  // seconds
  std::thread thread_;
#endif
};

}  // namespace cu_test

#endif
