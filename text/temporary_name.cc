#include "include/stringtemplate.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "internal/owned.hpp"

namespace {

constexpr char kAlphabet[AE_RANDOM_CHARS + 1] =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

}  // namespace

char ae_random_char(uint32_t index) {
  return index < AE_RANDOM_CHARS ? kAlphabet[index] : '\0';
}

int aeCreateTemporaryName(const char *prefix, uint32_t count, char **out) {
  // Seeding at each call makes names repeat within a second. Callers know it.
  srand(static_cast<unsigned>(time(nullptr)));
  if (out == nullptr) return 1;
  const size_t length = prefix == nullptr ? 0 : strlen(prefix);
  size_t size = 0;
  const bool fits = !__builtin_add_overflow(length, size_t{count}, &size);
  cu::Owned<char> name = fits ? cu::NewString(size) : nullptr;
  if (name) {
    if (length != 0) memcpy(name.get(), prefix, length);
    for (size_t i = length; i != size; ++i) {
      name.get()[i] = ae_random_char(static_cast<uint32_t>(rand()) % AE_RANDOM_CHARS);
    }
  }
  *out = name.release();
  return 1;
}
