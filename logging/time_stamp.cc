#include "include/dbglog.h"

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "logging/time_stamp.hpp"
#include "text/digits.hpp"

namespace cu {
namespace {

constexpr uint64_t kNanosecondsPerSecond = 1'000'000'000;

}  // namespace

char *AppendTimeStamp(char *dst, const timespec &time) {
  char *const end = dst + kTimeStampSize;
  if (!std::in_range<uint32_t>(time.tv_sec) || time.tv_sec == 0) {
    const uint64_t seconds = static_cast<uint64_t>(time.tv_sec);
    const uint64_t nanoseconds = static_cast<uint64_t>(time.tv_nsec);
    return std::to_chars(dst, end, seconds * kNanosecondsPerSecond + nanoseconds).ptr;
  }
  // The digits of the seconds and nine of the nanoseconds are those of the product and sum, without
  // a 64-bit division for each of them.
  const auto seconds = static_cast<uint32_t>(time.tv_sec);
  dst += CountDigits(seconds);
  DigitsBefore(dst, seconds);
  PaddedDigitsBefore(dst + 9, static_cast<uint32_t>(time.tv_nsec), 9);
  return dst + 9;
}

char *AppendTimeStamp(char *dst) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return AppendTimeStamp(dst, now);
}

}  // namespace cu

char *GetCurrentTimeAsString(char *dst, uint32_t size) {
  if (dst == nullptr || size == 0) return dst;
  char stamp[cu::kTimeStampSize];
  const size_t length = static_cast<size_t>(cu::AppendTimeStamp(stamp) - stamp);
  const size_t count = std::min<size_t>(length, size - 1);
  memcpy(dst, stamp, count);
  dst[count] = '\0';
  return dst;
}
