#include "include/valueformat.h"

#include <stdlib.h>
#include <string.h>

#include "internal/owned.hpp"
#include "text/digits.hpp"
#include "text/number_format.hpp"

namespace {

/// Room in which a number is written from the back, with zero bytes behind it, so that one copy of
/// a fixed size makes the zero-filled string.
template <size_t kBytes>
struct Scratch {
  char text[cu::kLongestUnsigned64 + kBytes] = {};

  char *end() { return text + cu::kLongestUnsigned64; }
};

/// Stores a new string of kBytes bytes with what was written from `first` on; characters beyond
/// kKept are cut.
template <size_t kBytes, size_t kKept>
char *NewString(const char *first, char **out) {
  static_assert(kKept < kBytes);
  *out = static_cast<char *>(malloc(kBytes));
  if (*out == nullptr) return nullptr;
  memcpy(*out, first, kBytes);
  memset(*out + kKept, 0, kBytes - kKept);
  return *out;
}

template <size_t kBytes, size_t kKept>
char *FormatSigned(int32_t value, char **out) {
  if (out == nullptr) return nullptr;
  Scratch<kBytes> scratch;
  return NewString<kBytes, kKept>(cu::SignedDigitsBefore(scratch.end(), value), out);
}

template <size_t kBytes, size_t kKept, typename Unsigned>
char *FormatUnsigned(Unsigned value, char **out) {
  if (out == nullptr) return nullptr;
  Scratch<kBytes> scratch;
  return NewString<kBytes, kKept>(cu::DigitsBefore(scratch.end(), value), out);
}

}  // namespace

// The sizes are part of the interface: where they cut a value, daemons know the cut text.

char *getIntegerAsString(int32_t value, char **out) {
  return FormatSigned<11, cu::kIntegerCharactersKept>(value, out);
}

char *getUnsignedIntegerAsString(uint32_t value, char **out) {
  return FormatUnsigned<11, cu::kIntegerCharactersKept>(value, out);
}

char *getLongAsString(int32_t value, char **out) {
  return FormatSigned<21, 20>(value, out);
}

char *getUnsignedLongAsString(uint64_t value, char **out) {
  return FormatUnsigned<21, 20>(value, out);
}

char *getShortAsString(int16_t value, char **out) {
  return FormatSigned<7, 6>(value, out);
}

char *getUnsignedShortAsString(uint16_t value, char **out) {
  return FormatUnsigned<7, 6>(uint32_t{value}, out);
}

char *getInteger8AsString(int8_t value, char **out) {
  return FormatSigned<4, 3>(value, out);
}

char *getUnsignedInteger8AsString(uint8_t value, char **out) {
  return FormatUnsigned<4, 3>(uint32_t{value}, out);
}

char *getUnsignedInteger8AsStringPad(uint8_t value, char **out) {
  if (out == nullptr) return nullptr;
  Scratch<4> scratch;
  return NewString<4, 3>(cu::PaddedDigitsBefore(scratch.end(), value, 3), out);
}

char *getBooleanAsString(uint8_t value, char **out) {
  if (out == nullptr) return nullptr;
  *out = cu::CopyString(value != 0 ? "true" : "false").release();
  return *out;
}
