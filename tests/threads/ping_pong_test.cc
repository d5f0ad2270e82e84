// Two threads that hand a turn to each other through a pair of semaphores, up to a million times.
#include "include/ambrelthreadutils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/interposed.hpp"
#include "support/threads.hpp"

namespace {

constexpr uint8_t kCondition = 0;
constexpr uint8_t kPosix = 1;
const long kTurns = cu_test::Rounds(1'000'000);

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
  EXPECT_EQ(kTurns, PingPong(kPosix, 0).Play(kTurns));
}

TEST(PingPong, PosixSemaphoresWithALimitLoseNoTurn) {
  EXPECT_EQ(kTurns / 4, PingPong(kPosix, 1000).Play(kTurns / 4));
}

TEST(PingPong, ConditionSemaphoresLoseSignalsButNoTurn) {
  // Each lost signal costs a wait of a millisecond.
  EXPECT_EQ(kTurns / 10, PingPong(kCondition, 1).Play(kTurns / 10));
}

TEST(PingPong, PosixSemaphoresGoOnWhileTheWallClockIsSetBackAndForth) {
  cu_test::Interposed calls;
  std::atomic<long> reads{0};
  calls.clock_gettime = [&](clockid_t clock, timespec *now) {
    const int result = clock_gettime(clock, now);
    if (clock == CLOCK_REALTIME) now->tv_sec += ++reads % 2 == 0 ? 3600 : -3600;
    return result;
  };
  EXPECT_EQ(kTurns / 10, PingPong(kPosix, 100).Play(kTurns / 10));
  EXPECT_GT(reads, 0);
}

TEST(PingPong, ConditionSemaphoresDoNotCareForTheWallClock) {
  cu_test::Interposed calls;
  std::atomic<long> reads{0};
  calls.clock_gettime = [&](clockid_t clock, timespec *now) {
    if (clock == CLOCK_REALTIME) ++reads;
    return clock_gettime(clock, now);
  };
  EXPECT_EQ(kTurns / 10, PingPong(kCondition, 1).Play(kTurns / 10));
  EXPECT_EQ(0, reads);
}

}  // namespace
