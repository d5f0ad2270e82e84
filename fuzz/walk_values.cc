// Any text, walked with both walks by a deserializer that takes each value as the type that its
// key's first character names. What was read is compared with the text.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "fuzz/walk.hpp"
#include "include/jsonwriter.h"

namespace {

struct Record {
  rfString string;
  rfTimestamp timestamp;
  rfLink link, reference;
  rfInteger integer;
  rfFloat number;
  rfBoolean boolean;
  uint64_t hex;
  rfStringArray strings, texts;
  rfCharArray chars;
  rfLinkArray links;
  rfIntArray integers;
  rfNumberArray numbers;
  int depth;
};

/// The text of a value as a string.
std::string TextOf(const char *json, int32_t start, int32_t end) {
  return start < 0 ? "" : std::string(json + start, json + end).c_str();
}

/// A reader forgets what its destination held.
void Clear(char *&text) {
  free(text);
  text = nullptr;
}

/// The same of the element that will be stored at `index`.
void Clear(const rfStringArray &array, uint32_t index) {
  if (index < array.count) Clear(array.list[index].text);
}

void LookAt(const rfStringArray &array) {
  for (uint32_t i = 0; i < array.count; ++i) {
    const rfStringElement &element = array.list[i];
    if (element.length != (element.text == nullptr ? 0 : strlen(element.text))) abort();
  }
}

int32_t TakeText(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                 uint32_t index, void *array) {
  Clear(*static_cast<rfStringArray *>(array), index);
  return deserialize_rfStringArray(context, start, end, key, index, array);
}

int32_t TakeLink(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                 uint32_t index, void *link) {
  Clear(static_cast<rfLink *>(link)->odataId);
  return deserialize_rfLinkRef(context, start, end, key, index, link);
}

/// Walks into a value with a deserializer of arrays.
template <typename Array>
int32_t Nested(JsonWalkContext *context, int32_t start, int32_t end, Array &array,
               rfDeserializeFn element, void (*release)(Array *)) {
  // A second list in place of the first: it grows from the start.
  release(&array);
  array = {};
  return processObject(context, "", start, end, 0, &array, element);
}

int32_t Take(JsonWalkContext *context, int32_t start, int32_t end, const char *key, uint32_t index,
             void *user) {
  Record &record = *static_cast<Record *>(user);
  const char *const json = context->json;
  // Without a key a value may be the array that is being walked.
  const int32_t type = context->tokens[context->current].type;
  const bool container = type == JSON_TOKEN_OBJECT || type == JSON_TOKEN_ARRAY;
  switch (key == nullptr ? "sifxcnl"[index % 7] : *key) {
    case 's':
      Clear(record.string);
      return parseRfString(json, start, end, &record.string);
    case 't':
      Clear(record.timestamp);
      return parseRfTimestamp(json, start, end, &record.timestamp);
    case 'i':
      if (!parseRfInteger(json, start, end, &record.integer)) return 0;
      if (record.integer != strtoll(TextOf(json, start, end).c_str(), nullptr, 10)) abort();
      return 1;
    case 'f': {
      if (!parseRfFloat(json, start, end, &record.number)) return 0;
      const float expected = strtof(TextOf(json, start, end).c_str(), nullptr);
      if (memcmp(&record.number, &expected, sizeof expected) != 0) abort();
      return 1;
    }
    case 'b':
      if (getBoolean(json, start, end, &record.boolean) == 0 && record.boolean > 1) abort();
      return parseRfBoolean(json, start, end, &record.boolean);
    case 'x':
      return parseRfHexString(json, start, end, &record.hex);
    case '@':
      return TakeLink(context, start, end, key, index, &record.link);
    case 'c':
      Clear(record.chars, index);
      return parseRfCharArray(json, start, end, &record.chars, index);
    case 'n':
      Clear(record.texts, index);
      return parseRfStringArray(json, start, end, &record.texts, index);
    case 'l':
      Clear(record.links, index);
      return parseRfLinkArray(json, start, end, &record.links, index);
    case 'S':
      return Nested(context, start, end, record.strings, TakeText, free_rfStringArray);
    case 'I':
      return Nested(context, start, end, record.integers, deserialize_rfIntArray, free_rfIntArray);
    case 'F':
      return Nested(context, start, end, record.numbers, deserialize_rfNumberArray,
                    free_rfNumberArray);
    case 'R':
      return processObject(context, key, start, end, index, &record.reference, TakeLink);
    case 'o':
    case 'p': {
      if (!container || key == nullptr || record.depth > 50) break;
      ++record.depth;
      const int32_t result = *key == 'o'
                                 ? processObject(context, key, start, end, index, &record, Take)
                                 : processObject1(context, key, end, index, &record, Take);
      --record.depth;
      return result;
    }
    default:
      break;
  }
  // An unknown value is passed over, as rfvalues.h tells.
  if (key == nullptr || !container) return 0;
  context->current += static_cast<uint32_t>(dump(json, &context->tokens[context->current],
                                                 context->tokenCount - context->current, 0)) -
                      1;
  return 0;
}

/// Adds to the arrays, checks and writes them.
void Use(Record &record) {
  for (const rfStringArray *texts : {&record.strings, &record.texts, &record.chars, &record.links})
    LookAt(*texts);
  AddStringToRfCharArray(record.string, &record.texts);
  AddStringToRfCharArray(record.timestamp, &record.chars);
  AddValueToRfIntArray(record.integer, &record.integers);
  AddNumberToRfNumberArray(&record.numbers, record.number);
  LookAt(record.texts);

  float bad_number = 0;
  if (!ValidNumberInArray(&record.numbers, &bad_number, -1, 100) && bad_number >= -1 &&
      bad_number <= 100)
    abort();
  int32_t bad_integer = 0;
  if (ValidIntegerInArray(&record.integers, -1, 100, &bad_integer) !=
      ValidIntegerInArray(&record.integers, -1, 100, nullptr))
    abort();

  rfCharArray copy = {};
  if (!CloneRfCharArray(&record.chars, &copy) || copy.count > record.chars.count) abort();
  LookAt(copy);
  JsonBox box = {};
  serialize_rfStringArray(&record, "key", &copy, 0, &box);
  serializeRFCharArray(&record.links, "key", &box, 1);
  JsonFreeBox(&box);
  free_rfStringArray(&copy);
}

/// An element too far releases an array, but loses the links.
void Overflow(Record &record, const cu_fuzz::Document &text) {
  JsonWalkContext context = {text.json, text.tokens, 0, 0, text.count, 0};
  rfLinkArray links = record.links;
  deserialize_rfStringArray(&context, 0, 1, "", UINT32_MAX, &record.strings);
  deserialize_rfIntArray(&context, 0, 1, "", UINT32_MAX, &record.integers);
  deserialize_rfNumberArray(&context, 0, 1, "", UINT32_MAX, &record.numbers);
  parseRfCharArray(text.json, 0, 1, &record.chars, UINT32_MAX);
  parseRfStringArray(text.json, 0, 1, &record.texts, UINT32_MAX);
  parseRfLinkArray(text.json, 0, 1, &record.links, UINT32_MAX);
  free_rfStringArray(&links);
}

void Release(Record &record) {
  free_rfString(record.string);
  free_rfTimestamp(record.timestamp);
  free_rfLink(&record.link);
  free_rfLink(&record.reference);
  for (rfStringArray *texts : {&record.strings, &record.texts, &record.chars, &record.links})
    free_rfStringArray(texts);
  free_rfIntArray(&record.integers);
  free_rfNumberArray(&record.numbers);
}

void Read(const cu_fuzz::Document &text) {
  for (const uint8_t strict : {0, 1}) {
    Record record = {};
    text.Read(Take, &record, strict);
    Use(record);
    Release(record);
  }
  Record record = {};
  JsonWalkContext context = {text.json, text.tokens, 0, 0, text.count, 0};
  processObject1(&context, "", text.end, 0, &record, Take);
  Use(record);
  Overflow(record, text);
  Release(record);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  // The earlier walk tells of empty objects on standard output.
  return freopen("/dev/null", "w", stdout) == nullptr;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  cu_fuzz::ReadDocument(data, size, Read);
  return 0;
}
