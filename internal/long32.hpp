// strtol() and strtoul() as they are where long has 32 bits, on every host: out-of-range text
// saturates at the 32-bit limits with errno ERANGE, and strtoul() of a negative text negates modulo
// 2^32.
#ifndef COMMONUTILITIES_INTERNAL_LONG32_HPP
#define COMMONUTILITIES_INTERNAL_LONG32_HPP

#include <ctype.h>
#include <errno.h>
#include <stdint.h>
#include <stdlib.h>

namespace cu {

inline int32_t StrToL32(const char *text, char **end, int base) {
  const long value = strtol(text, end, base);
  if constexpr (sizeof(long) > sizeof(int32_t)) {
    if (value > INT32_MAX || value < INT32_MIN) {
      errno = ERANGE;
      return value < 0 ? INT32_MIN : INT32_MAX;
    }
  }
  return static_cast<int32_t>(value);
}

inline uint32_t StrToUL32(const char *text, char **end, int base) {
  if constexpr (sizeof(unsigned long) == sizeof(uint32_t)) {
    return static_cast<uint32_t>(strtoul(text, end, base));
  } else {
    const int saved_errno = errno;
    errno = 0;
    const unsigned long value = strtoul(text, end, base);
    if (errno == ERANGE) return UINT32_MAX;
    const char *sign = text;
    while (isspace(static_cast<unsigned char>(*sign))) ++sign;
    const unsigned long magnitude = *sign == '-' ? 0UL - value : value;
    if (magnitude > UINT32_MAX) {
      errno = ERANGE;
      return UINT32_MAX;
    }
    if (errno == 0) errno = saved_errno;
    return static_cast<uint32_t>(value);
  }
}

}  // namespace cu

#endif
