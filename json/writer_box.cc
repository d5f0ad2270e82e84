#include "json/writer_box.hpp"

#include <stdlib.h>

#include <type_traits>

#include "internal/grow.hpp"

static_assert(std::is_standard_layout_v<JsonBox> && offsetof(JsonBox, capacity) == sizeof(void *) &&
              offsetof(JsonBox, length) == sizeof(void *) + 4);

namespace cu {

char *GrowBox(JsonBox &box, uint64_t capacity) {
  char *const data =
      capacity > UINT32_MAX
          ? nullptr
          : static_cast<char *>(ReallocRounded(box.data, static_cast<size_t>(capacity)));
  if (data == nullptr) [[unlikely]] {
    free(box.data);
    box.data = nullptr;
    box.capacity = 0;
    return nullptr;
  }
  data[capacity - 1] = '\0';
  box.data = data;
  box.capacity = static_cast<uint32_t>(capacity);
  return data;
}

}  // namespace cu

int jsonAppendString(JsonBox *box, const char *bytes, uint32_t count) {
  if (box == nullptr || bytes == nullptr) return 0;
  // The bytes may be the box's own: they move with it.
  const bool own = box->data != nullptr && bytes >= box->data && bytes < box->data + box->capacity;
  const size_t offset = own ? static_cast<size_t>(bytes - box->data) : 0;
  char *const at = cu::ExtendBox(*box, count);
  if (at == nullptr) return 0;
  if (count != 0) memmove(at, own ? box->data + offset : bytes, count);
  return 1;
}

int JsonFinalize(JsonBox *box) {
  if (box == nullptr || box->data == nullptr || box->length < 2) return 0;
  // The last two characters are taken for a separator whatever they are.
  char *const separator = box->data + box->length - 2;
  if (separator[0] == ',') separator[0] = ' ';
  separator[1] = '\0';
  box->length -= 2;
  return JsonCleanup(box);
}

int JsonCleanup(JsonBox *box) {
  if (box == nullptr || box->data == nullptr) return 1;
  const char *const last = strrchr(box->data, '}');
  const size_t end = last == nullptr ? 0 : static_cast<size_t>(last - box->data) + 1;
  if (box->data[end] == '\0') return 1;
  box->data[end] = '\0';
  box->length = static_cast<uint32_t>(end);
  return 1;
}

int JsonFreeBox(JsonBox *box) {
  if (box == nullptr || box->data == nullptr) return 0;
  free(box->data);
  box->data = nullptr;
  return 1;
}
