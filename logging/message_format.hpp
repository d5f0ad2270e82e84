// The message of a log line.
#ifndef COMMONUTILITIES_LOGGING_MESSAGE_FORMAT_HPP
#define COMMONUTILITIES_LOGGING_MESSAGE_FORMAT_HPP

#include <stdarg.h>
#include <stddef.h>

namespace cu {

/// Formats as vsnprintf() does, into `room` bytes that are not none, and ends the message at a NUL
/// that it prints. Returns its length; the rest of a longer message is dropped.
size_t FormatMessage(char *dst, size_t room, const char *format, va_list arguments);

}  // namespace cu

#endif
