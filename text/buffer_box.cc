#include "include/stringtemplate.h"

#include <stdlib.h>
#include <string.h>

#include "internal/grow.hpp"

static_assert(sizeof(void *) != 4 || (sizeof(BufferBox) == 12 && sizeof(NamedArg) == 8));

int AddDataToBufferBox(BufferBox *box, const void *bytes, uint32_t count) {
  if (box == nullptr || bytes == nullptr || count == 0) return 0;
  if (box->data == nullptr) *box = {};

  uint32_t length = 0;
  const bool fits = !__builtin_add_overflow(box->length, count, &length) && length != UINT32_MAX;
  if (length >= box->capacity || !fits) {
    // The capacity counts exactly what is needed; the block is a little larger.
    void *const grown = fits ? cu::ReallocRounded(box->data, size_t{length} + 1) : nullptr;
    if (grown == nullptr) {
      free(box->data);
      *box = {};
      return 0;
    }
    box->data = static_cast<char *>(grown);
    box->capacity = length + 1;
  }
  memcpy(box->data + box->length, bytes, count);
  box->length = length;
  box->data[length] = '\0';
  return 1;
}
