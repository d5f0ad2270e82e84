#include "logging/message_format.hpp"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "text/digits.hpp"

namespace cu {
namespace {

/// Text that is put together in a buffer; nothing more goes in once something did not fit.
class Room {
 public:
  Room(char *begin, char *end) : next_(begin), end_(end) {}

  bool Append(const char *text, size_t length) {
    if (static_cast<size_t>(end_ - next_) < length) return false;
    memcpy(next_, text, length);
    next_ += length;
    return true;
  }
  char *next() const { return next_; }

 private:
  char *next_;
  char *const end_;
};

bool AppendString(Room &room, const char *text) {
  return text != nullptr && room.Append(text, strlen(text));
}

bool AppendInteger(Room &room, int32_t value) {
  char digits[kLongestSigned32];
  char *const end = digits + sizeof digits;
  const char *const first = SignedDigitsBefore(end, value);
  return room.Append(first, static_cast<size_t>(end - first));
}

bool AppendUnsigned(Room &room, uint32_t value) {
  char digits[kLongestUnsigned32];
  char *const end = digits + sizeof digits;
  const char *const first = DigitsBefore(end, value);
  return room.Append(first, static_cast<size_t>(end - first));
}

/// The end of a message whose conversions are "%s", "%d" and "%u" alone, as those of most log lines
/// are: a third of what vsnprintf() takes for it. Null for every other message, for a null string
/// and for one that does not fit.
char *FormatPlain(Room room, const char *format, va_list arguments) {
  for (;;) {
    const char *const percent = strchrnul(format, '%');
    if (!room.Append(format, static_cast<size_t>(percent - format))) return nullptr;
    if (*percent == '\0') return room.next();
    bool fits = false;
    switch (percent[1]) {
      case 's':
        fits = AppendString(room, va_arg(arguments, const char *));
        break;
      case 'd':
        fits = AppendInteger(room, va_arg(arguments, int));
        break;
      case 'u':
        fits = AppendUnsigned(room, va_arg(arguments, unsigned));
        break;
      default:
        break;
    }
    if (!fits) return nullptr;
    format = percent + 2;
  }
}

}  // namespace

size_t FormatMessage(char *dst, size_t room, const char *format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  char *const end = FormatPlain(Room(dst, dst + room - 1), format, again);
  va_end(again);
  if (end != nullptr) {
    *end = '\0';
    return static_cast<size_t>(end - dst);
  }
  *dst = '\0';
  vsnprintf(dst, room, format, arguments);
  return strnlen(dst, room - 1);
}

}  // namespace cu
