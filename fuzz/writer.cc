// Any sequence of calls of the JSON writer. Well-formed sequences, of texts that need no escaping,
// are read back by a strict parser and must give the values that were written.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "include/jsonwriter.h"

namespace {

using nlohmann::json;

/// Texts that may stand in a JSON string as they are.
std::string Plain(std::string text) {
  for (char &c : text)
    if (c == '"' || c == '\\' || !(c >= ' ' && c < 0x7F)) c = '_';
  return text;
}

/// The document as the strict parser is to see it, beside the calls that write it.
class Expected {
 public:
  bool in_array() const { return open_.back()->is_array(); }
  bool nested() const { return open_.size() > 1; }

  json &Add(const std::string &key, json value) {
    json &parent = *open_.back();
    if (parent.is_array()) return parent.emplace_back(std::move(value));
    return parent[key] = std::move(value);
  }
  /// Parents do not grow while a child is open, so the pointers hold.
  void Open(const std::string &key, json container) {
    open_.push_back(&Add(key, std::move(container)));
  }
  void Close() { open_.pop_back(); }
  const json &root() const { return root_; }

 private:
  json root_ = json::object();
  std::vector<json *> open_ = {&root_};
};

void End(const Expected &expected, JsonBox &box) {
  expected.in_array() ? JsonEndArray(&box) : JsonEndObject(&box);
}

void WellFormed(FuzzedDataProvider &input) {
  JsonBox box = {};
  Expected expected;
  JsonStartObject(nullptr, &box);
  for (int step = 0; step < 100 && input.remaining_bytes() > 0; ++step) {
    const std::string name = std::to_string(step) + Plain(input.ConsumeRandomLengthString(8));
    const char *const key = expected.in_array() ? nullptr : name.c_str();
    switch (input.ConsumeIntegralInRange(0, 6)) {
      case 0:
        JsonStartObject(key, &box);
        expected.Open(name, json::object());
        break;
      case 1:
        JsonStartArray(key, &box);
        expected.Open(name, json::array());
        break;
      case 2:
        if (!expected.nested()) break;
        End(expected, box);
        expected.Close();
        break;
      case 3: {
        const std::string text = Plain(input.ConsumeRandomLengthString(64));
        JsonAddStringElement(&box, key, text.c_str());
        expected.Add(name, text);
        break;
      }
      case 4: {
        const auto value = input.ConsumeIntegral<int32_t>();
        JsonAddIntegerElement(&box, key, value);
        expected.Add(name, value);
        break;
      }
      case 5: {
        const bool value = input.ConsumeBool();
        JsonAddBooleanElement(&box, key, value ? 1 : 0);
        expected.Add(name, value);
        break;
      }
      default: {
        const auto value = input.ConsumeIntegral<uint64_t>();
        JsonAddUnsignedIntegerElement(&box, key, value);
        expected.Add(name, value);
        break;
      }
    }
  }
  for (; expected.nested(); expected.Close()) End(expected, box);
  JsonEndObject(&box);
  if (!JsonFinalize(&box)) abort();
  if (json::parse(box.data, nullptr, false) != expected.root()) abort();
  JsonFreeBox(&box);
}

void AnyCalls(FuzzedDataProvider &input) {
  JsonBox box = {};
  for (int step = 0; step < 100 && input.remaining_bytes() > 0; ++step) {
    const std::string text = input.ConsumeRandomLengthString(32);
    rfStringElement element = {static_cast<uint32_t>(strlen(text.c_str())),
                               const_cast<char *>(text.c_str())};
    // One element is read whatever the count is, but a copy reads as many as that.
    const rfStringArray array = {input.ConsumeIntegralInRange<uint32_t>(0, 4), &element};
    switch (input.ConsumeIntegralInRange(0, 12)) {
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
      case 10: {
        rfCharArray copy = {};
        const rfCharArray one = {array.count == 0 ? 0U : 1U, &element};
        CloneRfCharArray(&one, &copy);
        free_rfStringArray(&copy);
        break;
      }
      case 11: {
        char *copy = nullptr;
        if (!SetJsonStringValue(text.c_str(), &copy)) abort();
        JsonAddStringElement(&box, text.c_str(), copy);
        free(copy);
        break;
      }
      case 12:
        JsonAddHexElement(&box, nullptr, input.ConsumeIntegral<uint64_t>());
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
