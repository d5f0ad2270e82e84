#include "include/rfvalues.h"

#include <stdlib.h>
#include <string.h>

#include "internal/owned.hpp"
#include "json/record_list.hpp"
#include "json/value_text.hpp"

namespace {

/// Whether the walk refuses the token it stands at, because it is not of the type that the array
/// holds.
bool IsRefused(const JsonWalkContext &context, JsonTokenType wanted) {
  if (context.strictTypes == 0) return false;
  return context.tokens == nullptr || context.current >= context.tokenCount ||
         context.tokens[context.current].type != wanted;
}

/// The element at `index`. Without memory the array is released and left empty.
template <typename Array>
cu::ElementOf<Array> *ElementOrRelease(Array &array, uint32_t index, void (*release)(Array *)) {
  auto *const element = cu::ElementAt(array, index);
  if (element == nullptr) {
    release(&array);
    cu::Forget(array);
  }
  return element;
}

/// Stores a text. One that cannot be read leaves the text that was there, with length 0.
int32_t StoreText(const char *json, int32_t start, int32_t end, rfStringElement &element) {
  const int32_t result = cu::ReadString(json, start, end, &element.text);
  element.length = result != 0 ? static_cast<uint32_t>(strlen(element.text)) : 0;
  return result;
}

/// Room for one more element. Whether it is the first is told by the pointer, not by the count.
template <typename Array>
cu::ElementOf<Array> *Append(Array &array, void (*release)(Array *)) {
  if (array.list == nullptr) array.count = 0;
  if (array.count == UINT32_MAX) return nullptr;
  // An array that was emptied by hand keeps its list.
  if (cu::GrowToIndex(array.count, array.list, array.count)) return &array.list[array.count - 1];
  release(&array);
  cu::Forget(array);
  return nullptr;
}

}  // namespace

int32_t deserialize_rfStringArray(JsonWalkContext *context, int32_t start, int32_t end,
                                  const char *, uint32_t index, void *array) {
  if (context == nullptr || array == nullptr) return 0;
  rfStringElement *const element =
      ElementOrRelease(*static_cast<rfStringArray *>(array), index, free_rfStringArray);
  if (element == nullptr) return 0;
  if (IsRefused(*context, JSON_TOKEN_STRING)) {
    *element = {0, nullptr};
    return 0;
  }
  return StoreText(context->json, start, end, *element);
}

int32_t deserialize_rfIntArray(JsonWalkContext *context, int32_t start, int32_t end, const char *,
                               uint32_t index, void *array) {
  if (context == nullptr || array == nullptr) return 0;
  if (IsRefused(*context, JSON_TOKEN_PRIMITIVE)) return 0;
  int64_t *const element =
      ElementOrRelease(*static_cast<rfIntArray *>(array), index, free_rfIntArray);
  return element == nullptr ? 0 : parseRfInteger(context->json, start, end, element);
}

int32_t deserialize_rfNumberArray(JsonWalkContext *context, int32_t start, int32_t end,
                                  const char *, uint32_t index, void *array) {
  if (context == nullptr || array == nullptr) return 0;
  if (IsRefused(*context, JSON_TOKEN_PRIMITIVE)) return 0;
  float *const element =
      ElementOrRelease(*static_cast<rfNumberArray *>(array), index, free_rfNumberArray);
  return element == nullptr ? 0 : parseRfFloat(context->json, start, end, element);
}

int32_t parseRfCharArray(const char *json, int32_t start, int32_t end, rfCharArray *array,
                         uint32_t index) {
  if (array == nullptr) return 0;
  rfStringElement *const element = ElementOrRelease(*array, index, free_rfStringArray);
  return element == nullptr ? 0 : StoreText(json, start, end, *element);
}

int32_t parseRfStringArray(const char *json, int32_t start, int32_t end, rfStringArray *array,
                           uint32_t index) {
  return parseRfCharArray(json, start, end, array, index);
}

int32_t parseRfLinkArray(const char *json, int32_t start, int32_t end, rfLinkArray *array,
                         uint32_t index) {
  if (array == nullptr) return 0;
  rfStringElement *const element = cu::ElementAt(*array, index);
  if (element == nullptr) {
    cu::Forget(*array);  // the old links are lost here, where the other arrays release theirs
    return 0;
  }
  return StoreText(json, start, end, *element);
}

int32_t AddStringToRfCharArray(const char *s, rfCharArray *array) {
  if (s == nullptr || array == nullptr) return 0;
  cu::Owned<char> copy = cu::CopyString(s);
  if (!copy) return 0;
  rfStringElement *const element = Append(*array, free_rfStringArray);
  if (element == nullptr) return 0;
  *element = {static_cast<uint32_t>(strlen(s)), copy.release()};
  return 1;
}

int32_t AddValueToRfIntArray(int64_t value, rfIntArray *array) {
  int64_t *const element = array == nullptr ? nullptr : Append(*array, free_rfIntArray);
  if (element == nullptr) return 0;
  *element = value;
  return 1;
}

int32_t AddNumberToRfNumberArray(rfNumberArray *array, float value) {
  float *const element = array == nullptr ? nullptr : Append(*array, free_rfNumberArray);
  if (element == nullptr) return 0;
  *element = value;
  return 1;
}

int32_t ValidNumberInArray(const rfNumberArray *array, float *firstBad, float min, float max) {
  if (array == nullptr) return 0;
  for (uint32_t i = 0; array->list != nullptr && i < array->count; ++i) {
    const float value = array->list[i];
    if (value < min || value > max) {
      if (firstBad != nullptr) *firstBad = value;
      return 0;
    }
  }
  return 1;
}

int32_t ValidIntegerInArray(const rfIntArray *array, int32_t min, int32_t max, int32_t *firstBad) {
  if (array == nullptr) return 0;
  for (uint32_t i = 0; array->list != nullptr && i < array->count; ++i) {
    const int64_t value = array->list[i];
    if (value < min || value > max) {
      if (firstBad != nullptr) *firstBad = static_cast<int32_t>(value);
      return 0;
    }
  }
  return 1;
}

void free_rfStringArray(rfStringArray *array) {
  cu::ReleaseList(
      array, +[](rfStringElement *element) { free(element->text); });
}

void free_rfIntArray(rfIntArray *array) {
  if (array != nullptr) free(array->list);
}

void free_rfNumberArray(rfNumberArray *array) {
  if (array != nullptr) free(array->list);
}
