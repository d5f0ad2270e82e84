#include "include/jsonwriter.h"

#include <string_view>

#include "json/writer_box.hpp"
#include "text/digits.hpp"
#include "text/float_format.hpp"

namespace {

using cu::KeyPieces;

constexpr std::string_view kEnd = ",\n";

int Add(JsonBox *box, const char *key, std::string_view value) {
  if (box == nullptr) return 0;
  const KeyPieces pieces(key);
  cu::AppendPieces(*box, {pieces.open, pieces.name, pieces.close, value, kEnd});
  return 1;
}

int Open(JsonBox *box, const char *key, std::string_view bracket) {
  if (box == nullptr) return 0;
  const KeyPieces pieces(key);
  cu::AppendPieces(*box, {pieces.open, pieces.name, pieces.close, bracket});
  return 1;
}

/// Turns the separator of a container's last element into a blank.
void DropLastSeparator(JsonBox &box) {
  if (box.data == nullptr) return;
  if (box.length < box.capacity && box.data[box.length] == '\0') box.data[box.length] = ' ';
  if (box.length >= 2 && box.data[box.length - 2] == ',') box.data[box.length - 2] = ' ';
}

int Close(JsonBox *box, std::string_view bracket) {
  if (box == nullptr) return 0;
  DropLastSeparator(*box);
  cu::AppendPieces(*box, {bracket, kEnd});
  return 1;
}

}  // namespace

int JsonStartObject(const char *key, JsonBox *box) {
  return Open(box, key, "{\n");
}

int JsonStartArray(const char *key, JsonBox *box) {
  return Open(box, key, "[\n");
}

int JsonEndObject(JsonBox *box) {
  return Close(box, "}");
}

int JsonEndArray(JsonBox *box) {
  return Close(box, "]");
}

int JsonAddStringElement(JsonBox *box, const char *key, const char *value) {
  if (box == nullptr || value == nullptr) return 0;
  const KeyPieces pieces(key);
  cu::AppendPieces(*box, {pieces.open, pieces.name, pieces.close, "\"", value, "\",\n"});
  return 1;
}

int JsonAddBooleanElement(JsonBox *box, const char *key, uint8_t flag) {
  return Add(box, key, flag != 0 ? "true" : "false");
}

int JsonAddIntegerElement(JsonBox *box, const char *key, int32_t value) {
  char text[cu::kLongestSigned32];
  char *const end = text + sizeof text;
  const char *const first = cu::SignedDigitsBefore(end, value);
  return Add(box, key, {first, static_cast<size_t>(end - first)});
}

int JsonAddUnsignedIntegerElement(JsonBox *box, const char *key, uint64_t value) {
  char text[cu::kLongestUnsigned64];
  char *const end = text + sizeof text;
  const char *const first = cu::DigitsBefore(end, value);
  return Add(box, key, {first, static_cast<size_t>(end - first)});
}

int JsonAddHexElement(JsonBox *box, const char *key, uint64_t value) {
  // Decimal, as readers of these documents have always found it.
  return JsonAddUnsignedIntegerElement(box, key, value);
}

int JsonAddFloatElement(JsonBox *box, const char *key, uint32_t precision, float value) {
  const auto low_bits = static_cast<uint8_t>(precision);
  const uint8_t decimals = low_bits < cu::kMostDecimals ? low_bits : cu::kMostDecimals;
  char text[cu::kLargestFloatText];
  return Add(box, key, {text, cu::FormatFloat(text, decimals, value)});
}
