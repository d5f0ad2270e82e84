// Any sequence of calls of the JSON writer; when texts need no escaping and containers are closed,
// a tolerant count of brackets and quotes must come out even.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/jsonparser.h"
#include "include/jsonwriter.h"

namespace {

int32_t Accept(const char *, jsmntok_t *, const char *, uint32_t, void *) {
  return 0;
}

/// Texts that may stand in a JSON string as they are.
std::string Plain(std::string text) {
  for (char &c : text)
    if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == '}' || c == ',')
      c = '_';
  return text;
}

/// Well-formed calls: the library's own loader takes what they write.
void WellFormed(FuzzedDataProvider &input) {
  JsonBox box = {};
  std::string closers;
  JsonStartObject(nullptr, &box);
  for (int step = 0; step < 100 && input.remaining_bytes() > 0; ++step) {
    const bool in_array = !closers.empty() && closers.back() == ']';
    const std::string name = "m" + Plain(input.ConsumeRandomLengthString(8));
    const char *const key = in_array ? nullptr : name.c_str();
    switch (input.ConsumeIntegralInRange(0, 5)) {
      case 0:
        JsonStartObject(key, &box);
        closers += '}';
        break;
      case 1:
        JsonStartArray(key, &box);
        closers += ']';
        break;
      case 2:
        if (closers.empty()) break;
        closers.back() == '}' ? JsonEndObject(&box) : JsonEndArray(&box);
        closers.pop_back();
        break;
      case 3:
        JsonAddStringElement(&box, key, Plain(input.ConsumeRandomLengthString(64)).c_str());
        break;
      case 4:
        JsonAddIntegerElement(&box, key, input.ConsumeIntegral<int32_t>());
        break;
      default:
        JsonAddUnsignedIntegerElement(&box, key, input.ConsumeIntegral<uint64_t>());
        break;
    }
  }
  for (; !closers.empty(); closers.pop_back())
    closers.back() == '}' ? JsonEndObject(&box) : JsonEndArray(&box);
  JsonEndObject(&box);
  if (!JsonFinalize(&box)) abort();
  if (!parseJsonBuffer(box.data, static_cast<uint32_t>(strlen(box.data)), 1, Accept, nullptr))
    abort();
  JsonFreeBox(&box);
}

void AnyCalls(FuzzedDataProvider &input) {
  JsonBox box = {};
  for (int step = 0; step < 100 && input.remaining_bytes() > 0; ++step) {
    const std::string text = input.ConsumeRandomLengthString(32);
    rfStringElement element = {static_cast<uint32_t>(strlen(text.c_str())),
                               const_cast<char *>(text.c_str())};
    const rfStringArray array = {input.ConsumeIntegralInRange<uint32_t>(0, 4), &element};
    switch (input.ConsumeIntegralInRange(0, 9)) {
      case 0:
        JsonStartObject(text.c_str(), &box);
        break;
      case 1:
        JsonEndObject(&box);
        break;
      case 2:
        JsonEndArray(&box);
        break;
      case 3:
        JsonAddStringElement(&box, nullptr, text.c_str());
        break;
      case 4:
        JsonAddFloatElement(&box, text.c_str(), input.ConsumeIntegral<uint32_t>(),
                            input.ConsumeFloatingPoint<float>());
        break;
      case 5:
        JsonFinalize(&box);
        break;
      case 6:
        JsonCleanup(&box);
        break;
      case 7:
        serializeRFCharArray(&array, text.c_str(), &box, 1);
        break;
      case 8:
        serialize_rfStringArray(&array, text.c_str(), &array, 0, &box);
        break;
      default:
        jsonAppendString(&box, text.data(), static_cast<uint32_t>(text.size()));
        break;
    }
    if (box.data != nullptr &&
        (box.length >= box.capacity || strnlen(box.data, box.capacity) == box.capacity))
      abort();
  }
  JsonFreeBox(&box);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider input(data, size);
  if (input.ConsumeBool())
    WellFormed(input);
  else
    AnyCalls(input);
  return 0;
}
