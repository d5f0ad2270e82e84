// The time-change monitor: one pass after the other, as its descriptor calls go, and its registry.
#include "include/ambrelthreadutils.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/files.hpp"
#include "support/interposed.hpp"
#include "support/logger.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::Eventually;
using cu_test::Interposed;
using cu_test::Logger;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kNoTimer[] = "CRITICAL [ambrelthreadutils]Unable to Initialize fd for TimeMonitor";
constexpr char kNoChange[] = "INFO [ambrelthreadutils]Failed to get time change";
constexpr char kChange[] =
    "INFO [ambrelthreadutils]Time Changed on the system -> reseting semaphores";

/// A monitor that is stopped at the beginning of pass `passes`, and the calls that it makes.
class MonitorRun : public testing::Test {
 protected:
  void SetUp() override {
    calls_.timerfd_create = [this](int clock, int flags) {
      EXPECT_EQ(CLOCK_REALTIME, clock);
      EXPECT_EQ(0, flags);
      if (--passes_ == 0) monitor_.stop = 1;
      Note("create");
      errno = EMFILE;
      return created_;
    };
    calls_.timerfd_settime = [this](int fd, int flags, const itimerspec *next, itimerspec *old) {
      EXPECT_EQ(TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, flags);
      EXPECT_EQ(0x7FFFFFFF, next->it_value.tv_sec);
      EXPECT_EQ(0, next->it_value.tv_nsec);
      EXPECT_EQ(0, next->it_interval.tv_sec);
      EXPECT_EQ(0, next->it_interval.tv_nsec);
      EXPECT_EQ(nullptr, old);
      Note("settime", fd);
      return armed_;
    };
    calls_.read = [this](int fd, void *, size_t size) -> ssize_t {
      if (fd != created_) return read(fd, nullptr, 0);
      EXPECT_EQ(8u, size);
      Note("read", fd);
      return read_;
    };
    calls_.close = [this](int fd) {
      if (fd != created_) return close(fd);
      Note("close", fd);
      return 0;
    };
  }

  void Note(const std::string &call, int fd = -2) {
    made_.push_back(fd == -2 ? call : call + " " + std::to_string(fd));
  }

  AmbrelTimeMonitor monitor_ = {};
  int passes_ = 1;
  int created_ = 1234;
  int armed_ = 0;
  ssize_t read_ = -1;
  std::vector<std::string> made_;
  Interposed calls_;
};

TEST_F(MonitorRun, CreatesArmsAndClosesATimerOnEachPassWithoutReadingIt) {
  const Logger logger;
  passes_ = 3;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  EXPECT_THAT(made_, ElementsAre("create", "settime 1234", "close 1234",  //
                                 "create", "settime 1234", "close 1234",  //
                                 "create", "settime 1234", "close 1234"));
  EXPECT_THAT(logger.lines(), IsEmpty());
}

TEST_F(MonitorRun, TakesDescriptorZeroForAValidOne) {
  created_ = 0;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  EXPECT_THAT(made_, ElementsAre("create", "settime 0", "close 0"));
}

TEST_F(MonitorRun, LogsATimerThatCannotBeArmedAndClosesIt) {
  const Logger logger;
  armed_ = -1;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  EXPECT_THAT(made_, ElementsAre("create", "settime 1234", "close 1234"));
  EXPECT_THAT(logger.lines(), ElementsAre(kNoTimer));
}

TEST_F(MonitorRun, LogsThreeLinesAPassWhenNoTimerCanBeMade) {
  const Logger logger;
  passes_ = 2;
  created_ = -1;
  armed_ = -1;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  EXPECT_THAT(made_, ElementsAre("create", "settime -1", "read -1",  //
                                 "create", "settime -1", "read -1"));
  EXPECT_THAT(logger.lines(), ElementsAre(kNoTimer, kNoTimer, kNoChange,  //
                                          kNoTimer, kNoTimer, kNoChange));
}

TEST_F(MonitorRun, TakesOnlyAReadOfExactlyOneForAChange) {
  for (const ssize_t result : {-1, 0, 2, 8}) {
    SCOPED_TRACE(result);
    const Logger logger;
    monitor_.stop = 0;
    passes_ = 1;
    created_ = -1;
    read_ = result;
    EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
    EXPECT_THAT(logger.lines(), ElementsAre(kNoTimer, kNoChange));
  }
}

TEST_F(MonitorRun, SignalsEverySemaphoreInOrderWhenAChangeIsRead) {
  AmbrelSemaphore first = {}, second = {}, third = {};
  for (AmbrelSemaphore *semaphore : {&first, &second, &third}) {
    AmbrelSemaphoreInit(semaphore, 0);
    AmbrelRegisterSemaphore(&monitor_, semaphore);
  }
  monitor_.semaphores[1] = nullptr;
  std::vector<const pthread_cond_t *> signalled;
  calls_.pthread_cond_signal = [&](pthread_cond_t *condition) {
    signalled.push_back(condition);
    EXPECT_EQ(1, monitor_.timeChanged);
    return 0;
  };
  calls_.pthread_cond_broadcast = [](pthread_cond_t *) {
    ADD_FAILURE() << "one waiter is to be woken";
    return 0;
  };
  const Logger logger;
  created_ = -1;
  read_ = 1;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  EXPECT_THAT(signalled, ElementsAre(&first.cond, &third.cond));
  EXPECT_EQ(0, monitor_.timeChanged);
  EXPECT_THAT(logger.lines(), ElementsAre(kNoTimer, kChange));
  free(monitor_.semaphores);
  for (AmbrelSemaphore *semaphore : {&first, &second, &third}) AmbrelSemaphoreDestroy(semaphore);
}

TEST_F(MonitorRun, SurvivesAChangeWithoutAnySemaphore) {
  created_ = -1;
  read_ = 1;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  monitor_.stop = 0;
  passes_ = 1;
  monitor_.count = 5;  // of an array that a failed growth took away
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
}

TEST_F(MonitorRun, ClearsTheChangeFlagAlsoWithAValidDescriptor) {
  monitor_.timeChanged = 1;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  EXPECT_EQ(0, monitor_.timeChanged);
}

TEST_F(MonitorRun, ReturnsAtOnceWhenItIsStoppedAlready) {
  monitor_.stop = 1;
  monitor_.timeChanged = 1;
  EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor_));
  EXPECT_THAT(made_, IsEmpty());
  EXPECT_EQ(1, monitor_.timeChanged);
}

TEST(AmbrelMonitorTimeChange, ReturnsAtOnceForNull) {
  EXPECT_EQ(0, AmbrelMonitorTimeChange(nullptr));
}

TEST(AmbrelMonitorTimeChange, NeverBlocksAndLeavesNoDescriptorBehind) {
  const long before = cu_test::OpenDescriptors();
  AmbrelTimeMonitor monitor = {};
  std::atomic<long> passes{0};
  Interposed calls;
  calls.timerfd_create = [&](int clock, int flags) {
    ++passes;
    return timerfd_create(clock, flags);
  };
  std::thread loop([&] { EXPECT_EQ(0, AmbrelMonitorTimeChange(&monitor)); });
  EXPECT_TRUE(Eventually([&] { return passes > 1000; }));
  __atomic_store_n(&monitor.stop, 1, __ATOMIC_RELAXED);
  loop.join();
  EXPECT_EQ(before, cu_test::OpenDescriptors());
}

/// The registry's semaphores are never touched: registration keeps pointers.
class Registry : public testing::Test {
 protected:
  void TearDown() override { free(monitor_.semaphores); }

  std::vector<AmbrelSemaphore *> entries() const {
    return {monitor_.semaphores, monitor_.semaphores + monitor_.count};
  }

  AmbrelTimeMonitor monitor_ = {};
  AmbrelSemaphore a_ = {}, b_ = {}, c_ = {};
};

TEST_F(Registry, RefusesNulls) {
  EXPECT_EQ(0, AmbrelRegisterSemaphore(nullptr, &a_));
  EXPECT_EQ(0, AmbrelRegisterSemaphore(&monitor_, nullptr));
  EXPECT_EQ(0, AmbrelDeRegisterSemaphore(nullptr, &a_));
  EXPECT_EQ(0, AmbrelDeRegisterSemaphore(&monitor_, nullptr));
  EXPECT_EQ(0u, monitor_.count);
}

TEST_F(Registry, AppendsInOrderAndKeepsDuplicates) {
  EXPECT_EQ(1, AmbrelRegisterSemaphore(&monitor_, &a_));
  EXPECT_THAT(entries(), ElementsAre(&a_));
  EXPECT_EQ(1, AmbrelRegisterSemaphore(&monitor_, &b_));
  EXPECT_EQ(1, AmbrelRegisterSemaphore(&monitor_, &a_));
  EXPECT_THAT(entries(), ElementsAre(&a_, &b_, &a_));
}

TEST_F(Registry, StartsAtOneWhenThereIsNoArray) {
  monitor_.count = 7;
  EXPECT_EQ(1, AmbrelRegisterSemaphore(&monitor_, &a_));
  EXPECT_THAT(entries(), ElementsAre(&a_));
}

TEST_F(Registry, GrowsAnArrayThatTheOwnerMade) {
  monitor_.semaphores = static_cast<AmbrelSemaphore **>(malloc(sizeof(AmbrelSemaphore *)));
  monitor_.semaphores[0] = &a_;
  monitor_.count = 1;
  for (int i = 0; i < 100; ++i) EXPECT_EQ(1, AmbrelRegisterSemaphore(&monitor_, &b_));
  EXPECT_EQ(101u, monitor_.count);
  EXPECT_EQ(&a_, monitor_.semaphores[0]);
  EXPECT_EQ(&b_, monitor_.semaphores[100]);
}

TEST_F(Registry, IsEmptiedWhenItsCountCannotGrow) {
  monitor_.semaphores = static_cast<AmbrelSemaphore **>(malloc(sizeof(AmbrelSemaphore *)));
  monitor_.count = UINT32_MAX;
  EXPECT_EQ(0, AmbrelRegisterSemaphore(&monitor_, &a_));
  EXPECT_EQ(nullptr, monitor_.semaphores);
  EXPECT_EQ(0u, monitor_.count);
}

TEST_F(Registry, DeregistersTheFirstEntryAndKeepsTheOrder) {
  for (AmbrelSemaphore *semaphore : {&a_, &b_, &c_, &b_})
    AmbrelRegisterSemaphore(&monitor_, semaphore);
  EXPECT_EQ(1, AmbrelDeRegisterSemaphore(&monitor_, &b_));
  EXPECT_THAT(entries(), ElementsAre(&a_, &c_, &b_));
  EXPECT_EQ(1, AmbrelDeRegisterSemaphore(&monitor_, &b_));
  EXPECT_THAT(entries(), ElementsAre(&a_, &c_));
}

TEST_F(Registry, DropsNullEntriesAtADeregistration) {
  for (AmbrelSemaphore *semaphore : {&a_, &b_, &c_}) AmbrelRegisterSemaphore(&monitor_, semaphore);
  monitor_.semaphores[0] = nullptr;
  EXPECT_EQ(1, AmbrelDeRegisterSemaphore(&monitor_, &b_));
  EXPECT_THAT(entries(), ElementsAre(&c_));
}

TEST_F(Registry, DoesNotDeregisterWhatIsNotThere) {
  EXPECT_EQ(0, AmbrelDeRegisterSemaphore(&monitor_, &a_));
  AmbrelRegisterSemaphore(&monitor_, &a_);
  EXPECT_EQ(0, AmbrelDeRegisterSemaphore(&monitor_, &b_));
  EXPECT_THAT(entries(), ElementsAre(&a_));
}

TEST_F(Registry, IsEmptyAfterTheOnlySemaphoreAndCanBeUsedAgain) {
  AmbrelRegisterSemaphore(&monitor_, &a_);
  EXPECT_EQ(1, AmbrelDeRegisterSemaphore(&monitor_, &a_));
  EXPECT_EQ(0u, monitor_.count);
  EXPECT_EQ(0, AmbrelDeRegisterSemaphore(&monitor_, &a_));
  EXPECT_EQ(1, AmbrelRegisterSemaphore(&monitor_, &b_));
  EXPECT_THAT(entries(), ElementsAre(&b_));
}

TEST_F(Registry, ReleasesItsArrayWithTheLastSemaphore) {
  AmbrelRegisterSemaphore(&monitor_, &a_);
  AmbrelRegisterSemaphore(&monitor_, &b_);
  AmbrelDeRegisterSemaphore(&monitor_, &a_);
  AmbrelDeRegisterSemaphore(&monitor_, &b_);
  EXPECT_EQ(nullptr, monitor_.semaphores);
}

}  // namespace
