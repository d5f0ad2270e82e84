#include "include/stringtemplate.h"

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "text/digits.hpp"
#include "text/float_format.hpp"
#include "text/number_format.hpp"
#include "text/text_builder.hpp"

namespace {

constexpr uint8_t kDecimals = 4;

void AppendInteger(cu::TextBuilder &text, int32_t value, size_t most) {
  char digits[cu::kLongestSigned32];
  char *const end = digits + sizeof digits;
  const char *const first = cu::SignedDigitsBefore(end, value);
  text.Append({first, std::min(static_cast<size_t>(end - first), most)});
}

void AppendDouble(cu::TextBuilder &text, double value) {
  char characters[cu::DoubleTextSize(kDecimals)];
  text.Append({characters, cu::FormatDouble(characters, kDecimals, value)});
}

/// Appends what a conversion stands for. Returns whether it counts as one with an argument.
bool Convert(cu::TextBuilder &text, char conversion, va_list &args) {
  switch (conversion) {
    case '%':
      text.Append('%');
      return false;
    case 'c':
      text.Append(static_cast<char>(va_arg(args, int)));
      return true;
    case 's': {
      const char *const string = va_arg(args, const char *);
      if (string != nullptr) text.Append(std::string_view(string));
      return string != nullptr;
    }
    case 'f':
      AppendDouble(text, va_arg(args, double));
      return true;
    case 'd':
    case 'i':
      AppendInteger(text, va_arg(args, int32_t), cu::kIntegerCharactersKept);
      return true;
    case 'l':  // the conversion is this one letter: a "d" behind it is plain text
      AppendInteger(text, va_arg(args, int32_t), cu::kLongestSigned32);
      return true;
    default:
      fputs("Not implemented", stdout);
      return false;
  }
}

}  // namespace

int CreateStringWithArgs(const char *format, char **out, uint32_t expectedArgs, ...) {
  if (format == nullptr || out == nullptr) return 0;
  cu::TextBuilder text(strlen(format));
  uint32_t used_args = 0;
  va_list args;
  va_start(args, expectedArgs);
  while (*format != '\0') {
    const size_t plain = strcspn(format, "%");
    text.Append({format, plain});
    format += plain;
    if (*format == '\0' || *++format == '\0') break;  // a "%" at the end stands for nothing
    const bool counts = !text.failed() && Convert(text, *format++, args);
    if (text.failed()) break;
    if (counts && ++used_args > expectedArgs) puts("We have more args than we expected");
  }
  va_end(args);
  cu::Owned<char> string = text.Take();
  if (!string) return 0;
  *out = string.release();
  return 1;
}
