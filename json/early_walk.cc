// processObject1(), the walk of earlier releases. It looks ahead to the value of each key instead
// of keeping counters, and knows nothing of arrays of objects.
#include "include/rfvalues.h"

#include <stdio.h>

#include "json/value_text.hpp"

namespace {

constexpr size_t kKeyRoom = 48;

class EarlyWalk {
 public:
  EarlyWalk(JsonWalkContext &context, int32_t end, void *record, rfDeserializeFn deserializer)
      : context_(context), end_(end), record_(record), deserializer_(deserializer) {}

  void Run() {
    while (!AtEnd()) {
      if (BeyondEnd()) return StepBack();
      switch (Token().type) {
        case JSON_TOKEN_OBJECT:
          ++context_.current;
          break;
        case JSON_TOKEN_STRING:
          key_.Assign(cu::StringText(context_.json, &Token()));
          ++context_.current;
          if (!DeliverValue()) return;
          break;
        case JSON_TOKEN_PRIMITIVE:
          key_.Assign(cu::StringText(context_.json, &context_.tokens[0]));
          ++context_.current;
          if (!Deliver(0)) return;
          break;
        default:
          return;  // an array without a key is not passed over
      }
    }
  }

 private:
  const jsmntok_t &Token() const { return context_.tokens[context_.current]; }
  bool AtEnd() const { return context_.current >= context_.tokenCount; }
  bool BeyondEnd() const { return Token().start > end_; }

  void StepBack() {
    if (context_.current > 0) --context_.current;
  }

  /// Hands on what a key names: each element of an array, anything else as it is. False when the
  /// walk is over, here and below.
  bool DeliverValue() {
    if (AtEnd()) return false;
    const int32_t size = Token().size;
    if (Token().type == JSON_TOKEN_ARRAY) {
      ++context_.current;
      for (int32_t i = 0; i < size; ++i)
        if (!Deliver(static_cast<uint32_t>(i))) return false;
      return true;
    }
    if (Token().type == JSON_TOKEN_OBJECT && size <= 0) {
      fputs("we have an empty object", stdout);
      ++context_.current;
      return true;
    }
    return Deliver(0);
  }

  bool Deliver(uint32_t index) {
    if (AtEnd()) return false;
    const uint32_t value = context_.current;
    deserializer_(&context_, Token().start, Token().end, key_.get(), index, record_);
    ++context_.current;
    // A deserializer that moves back does not keep the walk going for ever.
    if (context_.current <= value || AtEnd()) return false;
    if (!BeyondEnd()) return true;
    --context_.current;
    return false;
  }

  JsonWalkContext &context_;
  const int32_t end_;
  void *const record_;
  const rfDeserializeFn deserializer_;
  cu::ScratchText<kKeyRoom> key_;
};

}  // namespace

int32_t processObject1(JsonWalkContext *context, const char *, int32_t end, uint32_t, void *record,
                       rfDeserializeFn deserializer) {
  if (context == nullptr || context->json == nullptr || context->tokens == nullptr) return 0;
  if (record == nullptr || deserializer == nullptr) return 0;
  EarlyWalk(*context, end, record, deserializer).Run();
  return 1;
}
