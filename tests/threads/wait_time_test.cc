// Deadlines and sleeps, at the seams of their arithmetic: the clocks and the sleep are the test's.
#include "include/ambrelthreadutils.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <vector>

#include "support/interposed.hpp"

// Found by argument-dependent lookup, for comparisons and for messages.
static bool operator==(const timespec &a, const timespec &b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}
static std::ostream &operator<<(std::ostream &out, const timespec &time) {
  return out << "{" << time.tv_sec << ", " << time.tv_nsec << "}";
}

namespace {

using cu_test::Interposed;

constexpr timespec kStale = {77, 88};
constexpr time_t kLastSecond = std::numeric_limits<time_t>::max();

struct Conversion {
  int32_t ms;
  timespec expected;
};
constexpr Conversion kConversions[] = {
    {0, {0, 0}},
    {1, {0, 1000000}},
    {999, {0, 999000000}},
    {1000, {1, 0}},
    {1001, {1, 1000000}},
    {1500, {1, 500000000}},
    {1999, {1, 999000000}},
    {2000, {2, 0}},
    {INT32_MAX, {2147483, 647000000}},
    // Every negative value is one second, also where its nanoseconds would wrap to a small number.
    {-1, {1, 0}},
    {-5, {1, 0}},
    {-999, {1, 0}},
    {-1000, {1, 0}},
    {-4000, {1, 0}},
    {-4295, {1, 0}},
    {INT32_MIN, {1, 0}},
};

TEST(AmbrelConvertWaitTime, SplitsMillisecondsAndMakesNegativesOneSecond) {
  for (const Conversion &row : kConversions) {
    SCOPED_TRACE(row.ms);
    timespec out = kStale;
    EXPECT_EQ(1, AmbrelConvertWaitTime(row.ms, &out));
    EXPECT_EQ(row.expected, out);
  }
}

TEST(AmbrelConvertWaitTime, ReadsNoClock) {
  Interposed calls;
  int reads = 0;
  calls.clock_gettime = [&](clockid_t, timespec *) {
    ++reads;
    return -1;
  };
  timespec out;
  EXPECT_EQ(1, AmbrelConvertWaitTime(1500, &out));
  EXPECT_EQ(0, reads);
}

TEST(AmbrelConvertWaitTime, RefusesANullOutput) {
  EXPECT_EQ(0, AmbrelConvertWaitTime(1500, nullptr));
}

using DeadlineFunction = int (*)(int32_t, timespec *);
struct Clock {
  const char *name;
  DeadlineFunction function;
  clockid_t clock;
};
void PrintTo(const Clock &clock, std::ostream *out) {
  *out << clock.name;
}

class Deadline : public testing::TestWithParam<Clock> {
 protected:
  int Compute(const timespec &now, int32_t ms, timespec *out) {
    Interposed calls;
    calls.clock_gettime = [&](clockid_t clock, timespec *time) {
      clocks_.push_back(clock);
      *time = now;
      return 0;
    };
    return GetParam().function(ms, out);
  }

  std::vector<clockid_t> clocks_;
};

INSTANTIATE_TEST_SUITE_P(On, Deadline,
                         testing::Values(Clock{"Realtime", AmbrelGetWaitTime, CLOCK_REALTIME},
                                         Clock{"Monotonic", AmbrelGetWaitTimeMonotonic,
                                               CLOCK_MONOTONIC}),
                         [](const auto &tested) { return tested.param.name; });

struct DeadlineRow {
  timespec now;
  int32_t ms;
  timespec expected;
};
constexpr DeadlineRow kDeadlines[] = {
    {{100, 0}, 0, {100, 0}},
    {{100, 0}, 1, {100, 1000000}},
    {{100, 0}, 2500, {102, 500000000}},
    {{100, 1}, 999, {100, 999000001}},
    // The last nanosecond that is kept, and the first that rounds the deadline up.
    {{100, 999999}, 999, {100, 999999999}},
    {{100, 1000000}, 999, {101, 0}},
    {{100, 900000000}, 250, {101, 0}},
    {{100, 999999999}, 0, {100, 999999999}},
    {{100, 999999999}, 1, {101, 0}},
    {{100, 999999999}, 1999, {102, 0}},
    {{100, 500000000}, 1500, {102, 0}},
    {{100, 123456789}, -5, {101, 123456789}},
    {{100, 123456789}, -4000, {101, 123456789}},
    {{100, 123456789}, INT32_MIN, {101, 123456789}},
    {{100, 0}, INT32_MAX, {2147583, 647000000}},
};

TEST_P(Deadline, IsNowAndTheIntervalWithACarriedSecondTakenWhole) {
  for (const DeadlineRow &row : kDeadlines) {
    SCOPED_TRACE(testing::Message() << row.ms << " ms from " << row.now);
    timespec out = kStale;
    EXPECT_EQ(1, Compute(row.now, row.ms, &out));
    EXPECT_EQ(row.expected, out);
  }
}

TEST_P(Deadline, ReadsItsClockOnce) {
  timespec out;
  Compute({100, 0}, 250, &out);
  EXPECT_EQ(std::vector<clockid_t>{GetParam().clock}, clocks_);
}

TEST_P(Deadline, IsZeroAndTheResultZeroWhenTheClockCannotBeRead) {
  Interposed calls;
  calls.clock_gettime = [](clockid_t, timespec *time) {
    *time = {5, 5};  // what a failed read leaves behind is not used
    errno = EINVAL;
    return -1;
  };
  timespec out = kStale;
  EXPECT_EQ(0, GetParam().function(250, &out));
  EXPECT_EQ((timespec{0, 0}), out);
}

TEST_P(Deadline, StopsAtTheEndOfTime) {
  timespec out = kStale;
  EXPECT_EQ(1, Compute({kLastSecond - 1, 0}, 5000, &out));
  EXPECT_EQ((timespec{kLastSecond, 0}), out);
  EXPECT_EQ(1, Compute({kLastSecond, 999999999}, 1, &out));
  EXPECT_EQ((timespec{kLastSecond, 0}), out);
}

TEST_P(Deadline, RefusesANullOutput) {
  EXPECT_EQ(0, GetParam().function(250, nullptr));
}

TEST_P(Deadline, LiesAheadOnTheRealClock) {
  timespec before, out, after;
  ASSERT_EQ(0, clock_gettime(GetParam().clock, &before));
  ASSERT_EQ(1, GetParam().function(5000, &out));
  ASSERT_EQ(0, clock_gettime(GetParam().clock, &after));
  EXPECT_GE(out.tv_sec, before.tv_sec + 5);
  EXPECT_LE(out.tv_sec, after.tv_sec + 6);
}

struct Sleep {
  uint64_t us;
  timespec expected;
};
constexpr Sleep kSleeps[] = {
    {0, {0, 0}},
    {1, {0, 1000}},
    {1000, {0, 1000000}},
    {999999, {0, 999999000}},
    // From a second on: the whole seconds and one more, without a fraction.
    {1000000, {2, 0}},
    {1500000, {2, 0}},
    {1999999, {2, 0}},
    {2000000, {3, 0}},
    {60000000, {61, 0}},
    {uint64_t{4294967296000000}, {kLastSecond == INT32_MAX ? kLastSecond : time_t(4294967297), 0}},
    // The product is one of 64 bits: it wraps to 384 nanoseconds.
    {uint64_t{18446744073709552}, {0, 384}},
};

TEST(Ambrelusleep, SleepsOnceForTheFractionOrForWholeSecondsAndOneMore) {
  for (const Sleep &row : kSleeps) {
    SCOPED_TRACE(row.us);
    std::vector<timespec> slept;
    Interposed calls;
    calls.nanosleep = [&](const timespec *duration, timespec *) {
      slept.push_back(*duration);
      return 0;
    };
    EXPECT_EQ(0, ambrelusleep(row.us));
    EXPECT_EQ(std::vector{row.expected}, slept);
  }
}

TEST(Ambrelusleep, IsNotResumedAfterASignal) {
  int sleeps = 0;
  Interposed calls;
  calls.nanosleep = [&](const timespec *, timespec *rest) {
    ++sleeps;
    if (rest != nullptr) *rest = {0, 500};
    errno = EINTR;
    return -1;
  };
  EXPECT_EQ(-1, ambrelusleep(1000));
  EXPECT_EQ(EINTR, errno);
  EXPECT_EQ(1, sleeps);
}

TEST(GetCurrentMonitonicTimeInSeconds, IsTheMonotonicClocksSecond) {
  Interposed calls;
  calls.clock_gettime = [](clockid_t clock, timespec *time) {
    *time = {clock == CLOCK_MONOTONIC ? 4711 : 1, 999999999};
    return 0;
  };
  EXPECT_EQ(4711, getCurrentMonitonicTimeInSeconds());
}

TEST(GetCurrentMonitonicTimeInSeconds, IsMinusOneWhenTheClockCannotBeRead) {
  Interposed calls;
  calls.clock_gettime = [](clockid_t, timespec *) { return -1; };
  EXPECT_EQ(-1, getCurrentMonitonicTimeInSeconds());
}

}  // namespace
