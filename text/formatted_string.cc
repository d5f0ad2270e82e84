#include "include/stringtemplate.h"

#include <stdio.h>
#include <string.h>

#include "internal/owned.hpp"

int ambrel_vsnprintf(const char *format, va_list args, char **out) {
  if (format == nullptr || out == nullptr) return -1;
  *out = nullptr;
  // Most texts fit here, so most are formatted once; the others need the arguments again.
  char text[128];
  va_list again;
  va_copy(again, args);
  const int length = vsnprintf(text, sizeof text, format, args);
  if (length >= 0) {
    const auto size = static_cast<size_t>(length);
    cu::Owned<char> string = size < sizeof text ? cu::CopyString(text, size) : cu::NewString(size);
    if (string && size >= sizeof text) vsnprintf(string.get(), size + 1, format, again);
    *out = string.release();
  }
  va_end(again);
  return *out == nullptr ? -1 : length;
}
