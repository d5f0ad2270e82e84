#include "include/valueformat.h"

#include <string.h>

namespace {

constexpr size_t kLongestText = 256;

}  // namespace

int compareUUID(const uint8_t *a, const uint8_t *b) {
  return a != nullptr && b != nullptr && memcmp(a, b, UUID_BINARY_SIZE) == 0;
}

int convertUUIDToUniformFormat(const char *uuid, char *destination, uint32_t maximum) {
  if (uuid == nullptr || destination == nullptr) return 0;
  uint32_t copied = 0;
  for (size_t i = 0; i < kLongestText && uuid[i] != '\0' && copied <= maximum; ++i) {
    if (uuid[i] != '-') destination[copied++] = uuid[i];
  }
  return 1;
}
