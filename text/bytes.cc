#include "include/valueformat.h"

#include <string.h>

#include <algorithm>

#include "internal/owned.hpp"

namespace {

/// '0' to '9' and 'a' to 'f' of either case to 0 to 15, and anything else to some value.
unsigned HexDigitValue(char digit) {
  return ((static_cast<unsigned>(digit) & 0x1F) + 9) % 25;
}

}  // namespace

int convertHexStringToByteArray(const char *hex, uint32_t length, uint8_t *destination,
                                uint32_t count) {
  if (hex == nullptr || destination == nullptr || length != uint64_t{count} * 2) return 0;
  for (const char *const end = hex + length; hex != end; hex += 2) {
    *destination++ = static_cast<uint8_t>(HexDigitValue(hex[0]) * 16 + HexDigitValue(hex[1]));
  }
  return 1;
}

int convertByteArraytoString(const void *bytes, uint32_t length, char **out) {
  if (bytes == nullptr || out == nullptr) return 0;
  *out = cu::CopyString(static_cast<const char *>(bytes), length).release();
  return *out != nullptr;
}

int convertStringToByteArray(const char *string, uint8_t **out, uint32_t *outLength) {
  if (string == nullptr || out == nullptr || outLength == nullptr) return 0;
  const size_t length = strlen(string);
  // malloc(0) may give null, which would look like a failure.
  *out = static_cast<uint8_t *>(malloc(std::max<size_t>(length, 1)));
  *outLength = *out == nullptr ? 0 : static_cast<uint32_t>(length);
  if (*out == nullptr) return 0;
  memcpy(*out, string, length);
  return 1;
}

int byteCompare(const void *a, uint32_t lengthA, const void *b, uint32_t lengthB) {
  if (a == nullptr || b == nullptr) return 0;
  if (memcmp(a, b, std::min(lengthA, lengthB)) != 0) return -1;
  return lengthA != lengthB;
}
