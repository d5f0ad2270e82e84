// The time stamp of a log line: nanoseconds since 1970 as one decimal number.
#ifndef COMMONUTILITIES_LOGGING_TIME_STAMP_HPP
#define COMMONUTILITIES_LOGGING_TIME_STAMP_HPP

#include <stddef.h>
#include <time.h>

namespace cu {

/// The longest stamp: 2^64 - 1 has 20 digits.
constexpr size_t kTimeStampSize = 20;

/// Writes a time as a stamp, at most kTimeStampSize digits without a terminator, and returns the
/// end.
char *AppendTimeStamp(char *dst, const timespec &time);

/// The wall clock's stamp.
char *AppendTimeStamp(char *dst);

}  // namespace cu

#endif
