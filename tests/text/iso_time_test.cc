#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cstring>
#include <limits>
#include <string>

#include "include/stringtemplate.h"

namespace {

/// Sets the process's time zone for a test.
class TimeZone {
 public:
  explicit TimeZone(const char *zone) {
    const char *const before = getenv("TZ");
    had_one_ = before != nullptr;
    if (had_one_) before_ = before;
    setenv("TZ", zone, 1);
  }
  ~TimeZone() {
    if (had_one_) {
      setenv("TZ", before_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  bool had_one_;
  std::string before_;
};

constexpr time_t kAfternoon = 1709644029;  // 2024-03-05 13:07:09 UTC

std::string Extended(time_t t) {
  char text[64] = "";
  EXPECT_EQ(getExtendedISOTime(text, sizeof text, &t), 1);
  return text;
}

TEST(GetExtendedIsoTime, WritesLocalTimeWithAColonInTheOffset) {
  const TimeZone zone("CET-1");
  EXPECT_EQ(Extended(kAfternoon), "2024-03-05T14:07:09+01:00");
}

TEST(GetExtendedIsoTime, WritesUtcAsAZeroOffset) {
  const TimeZone zone("UTC0");
  EXPECT_EQ(Extended(kAfternoon), "2024-03-05T13:07:09+00:00");
  EXPECT_EQ(Extended(0), "1970-01-01T00:00:00+00:00");
}

TEST(GetExtendedIsoTime, WritesNegativeAndOddOffsets) {
  {
    const TimeZone zone("NST3:30");
    EXPECT_EQ(Extended(kAfternoon), "2024-03-05T09:37:09-03:30");
  }
  const TimeZone zone("IST-5:30");
  EXPECT_EQ(Extended(kAfternoon), "2024-03-05T18:37:09+05:30");
}

TEST(GetExtendedIsoTime, NoticesAChangedTimeZone) {
  const TimeZone first("UTC0");
  EXPECT_EQ(Extended(kAfternoon), "2024-03-05T13:07:09+00:00");
  const TimeZone second("XYZ-2");
  EXPECT_EQ(Extended(kAfternoon), "2024-03-05T15:07:09+02:00");
}

TEST(GetExtendedIsoTime, NeedsASizeOf26) {
  const TimeZone zone("CET-1");
  char text[32];
  for (const uint32_t size : {0U, 1U, 20U, 24U, 25U}) {
    memset(text, '#', sizeof text);
    EXPECT_EQ(getExtendedISOTime(text, size, &kAfternoon), 0) << size;
    EXPECT_EQ(text[0], '#') << size;
  }
  memset(text, '#', sizeof text);
  EXPECT_EQ(getExtendedISOTime(text, 26, &kAfternoon), 1);
  EXPECT_STREQ(text, "2024-03-05T14:07:09+01:00");
  EXPECT_EQ(text[26], '#');
}

TEST(GetExtendedIsoTime, Gives0ForATimeWithoutALocalForm) {
  if (sizeof(time_t) == 4) GTEST_SKIP() << "every 32-bit time has a local form";
  char text[64];
  const time_t too_late = std::numeric_limits<time_t>::max();
  EXPECT_EQ(getExtendedISOTime(text, sizeof text, &too_late), 0);
}

TEST(GetExtendedIsoTime, WritesYearsOfMoreDigits) {
  if (sizeof(time_t) == 4) GTEST_SKIP() << "32-bit times end in 2038";
  const TimeZone zone("UTC0");
  EXPECT_EQ(Extended(static_cast<time_t>(253402300800LL)), "10000-01-01T00:00:00+00:00");
}

TEST(GetExtendedIsoTime, Gives0ForNull) {
  char text[64] = "kept";
  EXPECT_EQ(getExtendedISOTime(nullptr, 64, &kAfternoon), 0);
  EXPECT_EQ(getExtendedISOTime(text, 64, nullptr), 0);
  EXPECT_STREQ(text, "kept");
}

}  // namespace
