#include "include/jsonwriter.h"

#include <string.h>

#include <string_view>

#include "json/writer_box.hpp"
#include "text/digits.hpp"
#include "text/float_format.hpp"

namespace {

using cu::Put;

/// An element's key as it stands before the value; nothing for a null key.
class KeyText {
 public:
  explicit KeyText(const char *key) : key_(key), length_(key == nullptr ? 0 : strlen(key)) {}

  uint64_t size() const { return key_ == nullptr ? 0 : uint64_t{length_} + sizeof "\"\" : " - 1; }

  char *PutAt(char *at) const {
    if (key_ == nullptr) return at;
    return Put(Put(Put(at, "\""), {key_, length_}), "\" : ");
  }

 private:
  const char *key_;
  size_t length_;
};

/// Adds a key and a fixed text.
template <size_t Size>
void AddFixed(JsonBox &box, const char *key, const char (&text)[Size]) {
  const KeyText key_text(key);
  char *const at = cu::ExtendBox(box, key_text.size() + Size - 1);
  if (at != nullptr) Put(key_text.PutAt(at), text);
}

/// Adds a key and a number's text.
void AddNumber(JsonBox &box, const char *key, std::string_view number) {
  const KeyText key_text(key);
  char *const at = cu::ExtendBox(box, key_text.size() + number.size() + 2);
  if (at != nullptr) Put(Put(key_text.PutAt(at), number), ",\n");
}

/// Ends an object or array: what was the separator of its last element becomes a blank.
template <size_t Size>
int End(JsonBox *box, const char (&text)[Size]) {
  if (box == nullptr) return 0;
  if (box->data != nullptr && box->length >= 2 && box->data[box->length - 2] == ',') {
    box->data[box->length - 2] = ' ';
  }
  AddFixed(*box, nullptr, text);
  return 1;
}

}  // namespace

int JsonStartObject(const char *key, JsonBox *box) {
  if (box == nullptr) return 0;
  AddFixed(*box, key, "{\n");
  return 1;
}

int JsonStartArray(const char *key, JsonBox *box) {
  if (box == nullptr) return 0;
  AddFixed(*box, key, "[\n");
  return 1;
}

int JsonEndObject(JsonBox *box) {
  return End(box, "},\n");
}

int JsonEndArray(JsonBox *box) {
  return End(box, "],\n");
}

int JsonAddStringElement(JsonBox *box, const char *key, const char *value) {
  if (box == nullptr || value == nullptr) return 0;
  const KeyText key_text(key);
  const std::string_view text(value);
  char *const at = cu::ExtendBox(*box, key_text.size() + text.size() + sizeof "\"\",\n" - 1);
  if (at != nullptr) Put(Put(Put(key_text.PutAt(at), "\""), text), "\",\n");
  return 1;
}

int JsonAddBooleanElement(JsonBox *box, const char *key, uint8_t flag) {
  if (box == nullptr) return 0;
  if (flag != 0) {
    AddFixed(*box, key, "true,\n");
  } else {
    AddFixed(*box, key, "false,\n");
  }
  return 1;
}

int JsonAddIntegerElement(JsonBox *box, const char *key, int32_t value) {
  if (box == nullptr) return 0;
  char digits[cu::kLongestSigned32];
  char *const end = digits + sizeof digits;
  const char *const first = cu::SignedDigitsBefore(end, value);
  AddNumber(*box, key, {first, static_cast<size_t>(end - first)});
  return 1;
}

int JsonAddUnsignedIntegerElement(JsonBox *box, const char *key, uint64_t value) {
  if (box == nullptr) return 0;
  char digits[cu::kLongestUnsigned64];
  char *const end = digits + sizeof digits;
  const char *const first = cu::DigitsBefore(end, value);
  AddNumber(*box, key, {first, static_cast<size_t>(end - first)});
  return 1;
}

int JsonAddHexElement(JsonBox *box, const char *key, uint64_t value) {
  // Decimal, as readers of these documents have always found it.
  return JsonAddUnsignedIntegerElement(box, key, value);
}

int JsonAddFloatElement(JsonBox *box, const char *key, uint32_t precision, float value) {
  if (box == nullptr) return 0;
  const auto low_bits = static_cast<uint8_t>(precision);
  const uint8_t decimals = low_bits < cu::kMostDecimals ? low_bits : cu::kMostDecimals;
  char text[cu::kLargestFloatText];
  const size_t length = cu::FormatFloat(text, decimals, value);
  AddNumber(*box, key, {text, length});
  return 1;
}
