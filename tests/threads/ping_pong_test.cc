// Two threads that hand a turn to each other through a pair of semaphores, up to a million times.
#include "include/ambrelthreadutils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/interposed.hpp"
#include "support/threads.hpp"
#include "support/watchdog.hpp"

namespace {

constexpr uint8_t kCondition = 0;
constexpr uint8_t kPosix = 1;
constexpr long kTurns = 1'000'000;

/// A million turns at the full size; on other days what fits into seconds.
long Turns(long everyday) {
  return cu_test::Rounds(kTurns, everyday);
}

/// The players wait for `turn` to come to them; the semaphores only say when to look.
class PingPong {
 public:
  PingPong(uint8_t variant, uint32_t timeout_ms) {
    for (AmbrelSemaphore &semaphore : semaphores_) {
      semaphore.usePosixSem = variant;
      AmbrelSemaphoreInit(&semaphore, timeout_ms);
    }
  }
  ~PingPong() {
    for (AmbrelSemaphore &semaphore : semaphores_) AmbrelSemaphoreDestroy(&semaphore);
  }

  /// Plays `turns` turns; how many were played.
  long Play(long turns) {
    const cu_test::Watchdog watchdog([this] { return turn_.load(); });
    std::thread other([&] { PlayAs(1, turns); });
    PlayAs(0, turns);
    other.join();
    return played_;
  }

 private:
  void PlayAs(long player, long turns) {
    for (long turn = player; turn < turns; turn += 2) {
      while (turn_.load() != turn) AmbrelSemphoreTimedWait(&semaphores_[player]);
      ++played_;  // guarded by the turn
      turn_.store(turn + 1);
      AmbrelSemphoreSignal(&semaphores_[1 - player], 0);
    }
  }

  AmbrelSemaphore semaphores_[2] = {};
  std::atomic<long> turn_{0};
  long played_ = 0;
};

TEST(PingPong, PosixSemaphoresLoseNoTurn) {
  const long turns = Turns(kTurns);
  EXPECT_EQ(turns, PingPong(kPosix, 0).Play(turns));
}

TEST(PingPong, PosixSemaphoresWithALimitLoseNoTurn) {
  const long turns = Turns(kTurns / 4);
  EXPECT_EQ(turns, PingPong(kPosix, 1000).Play(turns));
}

TEST(PingPong, ConditionSemaphoresLoseSignalsButNoTurn) {
  // Each lost signal costs a wait of a millisecond.
  const long turns = Turns(kTurns / 10);
  EXPECT_EQ(turns, PingPong(kCondition, 1).Play(turns));
}

TEST(PingPong, PosixSemaphoresGoOnWhileTheWallClockIsSetBackAndForth) {
  cu_test::Interposed calls;
  std::atomic<long> reads{0};
  calls.clock_gettime = [&](clockid_t clock, timespec *now) {
    const int result = clock_gettime(clock, now);
    if (clock == CLOCK_REALTIME) now->tv_sec += ++reads % 2 == 0 ? 3600 : -3600;
    return result;
  };
  const long turns = Turns(kTurns / 10);
  EXPECT_EQ(turns, PingPong(kPosix, 100).Play(turns));
  EXPECT_GT(reads, 0);
}

TEST(PingPong, ConditionSemaphoresDoNotCareForTheWallClock) {
  cu_test::Interposed calls;
  std::atomic<long> reads{0};
  calls.clock_gettime = [&](clockid_t clock, timespec *now) {
    if (clock == CLOCK_REALTIME) ++reads;
    return clock_gettime(clock, now);
  };
  const long turns = Turns(kTurns / 10);
  EXPECT_EQ(turns, PingPong(kCondition, 1).Play(turns));
  EXPECT_EQ(0, reads);
}

}  // namespace
