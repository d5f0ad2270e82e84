#include "json/property_walk.hpp"

#include <string.h>

#include "include/rfvalues.h"
#include "json/value_text.hpp"

static_assert(sizeof(void *) != 4 || sizeof(JsonWalkContext) == 24);

namespace {

/// Keys up to this length are copied into the walk's frame. Walks nest with the document, so the
/// frame stays small.
constexpr size_t kKeyRoom = 48;
using Key = cu::ScratchText<kKeyRoom>;

/// One call of processObject().
///
/// The walk knows containers by their sizes alone: it takes the array or object at its position,
/// remembers how many elements and properties it promises, and steps through what follows. It does
/// not return to an enclosing container, so the members of an object that no deserializer consumed
/// pass for properties of the record being read, and the counters of nested arrays replace those
/// around them. Documents are read with exactly this behaviour, daemons rely on it, and none of it
/// is to be mended here.
class PropertyWalk {
 public:
  PropertyWalk(JsonWalkContext &context, int32_t end, void *record, rfDeserializeFn deserializer)
      : context_(context),
        end_(end),
        record_(record),
        deserializer_(deserializer),
        position_(context.current) {}

  int32_t Run() {
    do {
      array_left_ = 0;
      uint32_t index = 0;
      do {
        object_left_ = 0;
        do {
          if (!Step(index)) return result_;
        } while (object_left_ > 0);
        --array_left_;
        ++index;
      } while (array_left_ > 0);
    } while (context_.current < context_.tokenCount);
    return 1;
  }

 private:
  const jsmntok_t &Token(uint32_t at) const { return context_.tokens[at]; }
  bool AtEnd() const { return position_ >= context_.tokenCount; }
  bool At(JsonTokenType type) const { return !AtEnd() && Token(position_).type == type; }
  bool BeyondEnd() const { return Token(position_).start > end_; }

  /// Reads one property or element. False when the walk is over, with its result.
  bool Step(uint32_t index) {
    const uint32_t begin = position_;
    if (AtEnd()) return RunOut();
    if (BeyondEnd()) return StepBack();
    if (At(JSON_TOKEN_ARRAY)) {
      in_array_ = true;
      if (!Enter(array_left_)) return true;
    }
    if (At(JSON_TOKEN_OBJECT)) {
      in_object_ = true;
      if (!Enter(object_left_)) return true;
    }
    if (AtEnd()) return RunOut();
    TakeKey();

    const uint32_t value = in_array_ && !in_object_ ? position_ - 1 : position_;
    if (value >= context_.tokenCount) return RunOut();
    const uint8_t step_result = Deliver(value, index);
    if (step_result == 0) return Stop(0);

    position_ = ++context_.current;
    if (object_left_ > 0) --object_left_;
    const int32_t result = key_.get() != nullptr ? step_result : 1;
    if (AtEnd()) return Stop(result);
    if (BeyondEnd()) {
      // Back to the last token of the value, behind which the enclosing walk goes on.
      context_.current = position_ - 1;
      return Stop(result);
    }
    // A token of no known type is not passed over, and a deserializer may have moved back.
    return position_ > begin ? true : RunOut();
  }

  /// Passes the container at the position and takes its size into a counter. False for an empty
  /// one, which ends the element and leaves the counter of the elements around it alone.
  bool Enter(int32_t &left) {
    const int32_t size = Token(position_++).size;
    if (size > 0) {
      left = size;
      return true;
    }
    context_.current = position_;
    object_left_ = 0;
    return false;
  }

  /// Strings are keys. A primitive's key is the text of the document's first token, which for any
  /// document with a container at its root means no key.
  void TakeKey() {
    if (At(JSON_TOKEN_STRING))
      key_.Assign(cu::StringText(context_.json, &Token(position_++)));
    else if (At(JSON_TOKEN_PRIMITIVE)) {
      key_.Assign(cu::StringText(context_.json, &Token(0)));
      ++position_;
    }
  }

  /// Hands a value to the deserializer. 0 only where its failure ends the walk.
  uint8_t Deliver(uint32_t value, uint32_t index) {
    context_.current = value;
    const jsmntok_t &token = Token(value);
    const int32_t result =
        deserializer_(&context_, token.start, token.end, key_.get(), index, record_);
    return static_cast<uint8_t>(result | (context_.strictTypes == 0 ? 1 : 0));
  }

  bool Stop(int32_t result) {
    result_ = result;
    return false;
  }

  /// The tokens ended where a key or a value was due, as in {"a"}.
  bool RunOut() {
    context_.current = context_.tokenCount;
    return Stop(1);
  }

  bool StepBack() {
    if (context_.current > 0) --context_.current;
    return Stop(1);
  }

  JsonWalkContext &context_;
  const int32_t end_;
  void *const record_;
  const rfDeserializeFn deserializer_;
  uint32_t position_;
  int32_t array_left_ = 0;   // elements of the array that was entered last
  int32_t object_left_ = 0;  // properties of the object that was entered last
  bool in_array_ = false;    // an array was entered, ever; neither flag is cleared again
  bool in_object_ = false;
  int32_t result_ = 1;
  Key key_;
};

bool IsUsable(const JsonWalkContext *context) {
  return context != nullptr && context->json != nullptr && context->tokens != nullptr;
}

}  // namespace

int32_t cu::WalkProperties(JsonWalkContext *context, int32_t end, void *record,
                           rfDeserializeFn deserializer) {
  if (!IsUsable(context) || record == nullptr || deserializer == nullptr) return 0;
  return PropertyWalk(*context, end, record, deserializer).Run();
}

int32_t cu::WalkDocument(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                         void *record, rfDeserializeFn deserializer) {
  if (json == nullptr || tokens == nullptr || label == nullptr || record == nullptr) return 1;
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  WalkProperties(&context, static_cast<int32_t>(strlen(json)), record, deserializer);
  return 0;
}

int32_t processObject(JsonWalkContext *context, const char *, int32_t, int32_t end, uint32_t,
                      void *record, rfDeserializeFn deserializer) {
  return cu::WalkProperties(context, end, record, deserializer);
}
