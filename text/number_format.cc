#include "include/valueformat.h"

#include <stdlib.h>
#include <string.h>

#include "internal/owned.hpp"
#include "text/digits.hpp"
#include "text/number_format.hpp"

namespace {

/// Stores a new zero-filled string of kBytes bytes with a number of which kKept characters are
/// kept.
template <size_t kBytes, size_t kKept, typename Unsigned>
char *NewNumber(bool negative, Unsigned magnitude, char **out) {
  static_assert(kKept < kBytes);
  if (out == nullptr) return nullptr;
  *out = static_cast<char *>(malloc(kBytes));
  if (*out == nullptr) return nullptr;
  memset(*out, 0, kBytes);
  if (negative) **out = '-';
  size_t length = negative + cu::CountDigits(magnitude);
  for (; length > kKept; --length) magnitude /= 10;
  cu::DigitsBefore(*out + length, magnitude);
  return *out;
}

template <size_t kBytes, size_t kKept>
char *NewSigned(int32_t value, char **out) {
  return NewNumber<kBytes, kKept>(value < 0, cu::MagnitudeOf(value), out);
}

template <size_t kBytes, size_t kKept>
char *NewUnsigned(uint32_t value, char **out) {
  return NewNumber<kBytes, kKept>(false, value, out);
}

}  // namespace

// The sizes are part of the interface: where they cut a value, daemons know the cut text.

char *getIntegerAsString(int32_t value, char **out) {
  return NewSigned<11, cu::kIntegerCharactersKept>(value, out);
}

char *getUnsignedIntegerAsString(uint32_t value, char **out) {
  return NewUnsigned<11, cu::kIntegerCharactersKept>(value, out);
}

char *getLongAsString(int32_t value, char **out) {
  return NewSigned<21, 20>(value, out);
}

char *getUnsignedLongAsString(uint64_t value, char **out) {
  return NewNumber<21, 20>(false, value, out);
}

char *getShortAsString(int16_t value, char **out) {
  return NewSigned<7, 6>(value, out);
}

char *getUnsignedShortAsString(uint16_t value, char **out) {
  return NewUnsigned<7, 6>(value, out);
}

char *getInteger8AsString(int8_t value, char **out) {
  return NewSigned<4, 3>(value, out);
}

char *getUnsignedInteger8AsString(uint8_t value, char **out) {
  return NewUnsigned<4, 3>(value, out);
}

char *getUnsignedInteger8AsStringPad(uint8_t value, char **out) {
  if (out == nullptr) return nullptr;
  *out = cu::NewString(3).release();
  if (*out != nullptr) cu::PaddedDigitsBefore(*out + 3, value, 3);
  return *out;
}

char *getBooleanAsString(uint8_t value, char **out) {
  if (out == nullptr) return nullptr;
  *out = cu::CopyString(value != 0 ? "true" : "false").release();
  return *out;
}
