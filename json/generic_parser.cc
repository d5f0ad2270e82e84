#include "include/genericparser.h"

#include <stddef.h>
#include <string.h>

#include <algorithm>
#include <type_traits>
#include <utility>

#include "internal/owned.hpp"

static_assert(std::is_standard_layout_v<CounterObject> && sizeof(CounterObject) == 12);
static_assert(std::is_standard_layout_v<ConversionTable>);
static_assert(offsetof(ConversionTable, first) == 4096 &&
              offsetof(ConversionTable, second) == 4352 &&
              offsetof(ConversionTable, count) == 4608 && offsetof(ConversionTable, word) == 4612 &&
              offsetof(ConversionTable, fn) == 4616);
static_assert(sizeof(void *) != 4 || sizeof(ConversionTable) == 4620);

namespace {

constexpr uint32_t kMostEntries = GENERIC_PARSER_CONTAINERS;
constexpr uint32_t kNamesATable = 64;
constexpr size_t kNameSize = 64;

/// Position of a token among the first `depth` entries, or -1. The library's own walks can have 256
/// entries, one more than the exported functions' 8-bit depth can tell.
int FindEntry(const CounterObject *table, uint32_t depth, int32_t token) {
  for (uint32_t i = 0; i < depth; ++i)
    if (table[i].tokenIndex == token) return static_cast<int>(i);
  return -1;
}

bool LeaveInnerContainer(CounterObject *table, uint32_t depth, int32_t token) {
  const int found = FindEntry(table, depth, token);
  if (found < 0 || static_cast<uint32_t>(found) + 1 >= depth) return false;
  table[found + 1].tokenIndex = -1;
  return true;
}

class Walk {
 public:
  Walk(const char *json, jsmntok_t *tokens, int32_t count, void *record,
       GenericNextRecord next_record, GenericValueCallback value_callback)
      : json_(json),
        tokens_(tokens),
        count_(count),
        record_(record),
        next_record_(next_record),
        value_callback_(value_callback) {}

  /// False when the document needs too many containers.
  bool Run() {
    while (index_ >= 0 && index_ < count_) {
      switch (EnterToken()) {
        case Entered::kAgain:
          continue;
        case Entered::kTooDeep:
          return false;
        case Entered::kProperty:
          break;
      }
      Report();
      if (index_ == INT32_MAX) break;
      ++index_;
    }
    return true;
  }

 private:
  enum class Entered { kProperty, kAgain, kTooDeep };

  bool Exists(int32_t index) const { return index >= 0 && index < count_; }

  /// The type of a token; undefined where there is none.
  int32_t TypeAt(int32_t index) const {
    return Exists(index) ? tokens_[index].type : int32_t{JSON_TOKEN_UNDEFINED};
  }

  static bool IsContainer(int32_t type) {
    return type == JSON_TOKEN_OBJECT || type == JSON_TOKEN_ARRAY;
  }

  cu::Owned<char> KeyAt(int32_t index) const {
    char *key = nullptr;
    if (Exists(index)) getJsonKeyAlloc(json_, &tokens_[index], &key);
    return cu::Owned<char>(key);
  }

  static cu::Owned<char> Copy(const cu::Owned<char> &text) {
    return text ? cu::CopyString(text.get()) : nullptr;
  }

  bool Track(int32_t token) {
    if (depth_ == kMostEntries) return false;
    table_[depth_++] = {token, 0, 0};
    return true;
  }

  /// Works out what stands at the current token, up to where a property may begin.
  Entered EnterToken() {
    const int32_t begin = index_;
    const int32_t parent = tokens_[begin].parent;
    int32_t type = TypeAt(begin);
    next_type_ = TypeAt(begin + 1);
    if (parent == top_parent_) {
      if (saved_top_key_) parent_key_ = Copy(saved_top_key_);
      if (next_record_ != nullptr) record_ = next_record_(record_);
      object_opened_ = true;
      array_entered_ = false;
    } else if ((object_opened_ || array_entered_) && IsContainer(next_type_)) {
      --index_;
      type = next_type_;
      object_opened_ = array_entered_ = false;
    }

    if (type == JSON_TOKEN_OBJECT && array_entered_) return EnterElement(parent);
    if (type == JSON_TOKEN_OBJECT && object_opened_) {
      ++index_;
      array_entered_ = false;
      return Entered::kAgain;
    }
    return IsContainer(type) ? EnterContainer(begin) : Entered::kProperty;
  }

  /// An object that is an element of a tracked array.
  Entered EnterElement(int32_t array) {
    if (LeaveInnerContainer(table_, depth_, array)) {
      --depth_;
      CounterObject &enclosing = table_[depth_ - 1];
      ++enclosing.counter;
      parent_key_ = KeyAt(array - 1);
      element_counter_ = enclosing.counter;
    } else if (const int found = FindEntry(table_, depth_, array); found >= 0) {
      ++table_[found].counter;
    } else if (!Track(index_)) {
      return Entered::kTooDeep;
    }
    ++index_;
    next_type_ = TypeAt(index_ + 1);
    return Entered::kProperty;
  }

  /// A container with its key, and the first container inside.
  Entered EnterContainer(int32_t begin) {
    ++index_;
    parent_key_.reset();
    if (TypeAt(index_) == JSON_TOKEN_STRING) {
      parent_key_ = KeyAt(index_);
      ++index_;
    }
    if (TypeAt(index_) == JSON_TOKEN_ARRAY) {
      if (!Track(index_)) return Entered::kTooDeep;
      TakeOneFromSize(tokens_[index_]);
      ++index_;
      array_entered_ = true;
    }
    if (TypeAt(index_) == JSON_TOKEN_OBJECT) {
      if (std::exchange(first_object_, false)) {
        if (parent_key_) saved_top_key_ = Copy(parent_key_);
        top_parent_ = tokens_[index_].parent;
      }
      TakeOneFromSize(tokens_[index_]);
      ++index_;
      object_opened_ = true;
    }
    next_type_ = TypeAt(index_ + 1);
    if (next_type_ != JSON_TOKEN_OBJECT || !object_opened_) return Entered::kProperty;
    // Stepping back to an element of the top-level container would begin it anew, for ever.
    if (index_ - 1 == begin && tokens_[begin].parent == top_parent_) return Entered::kProperty;
    --index_;
    object_opened_ = false;
    return Entered::kAgain;
  }

  static void TakeOneFromSize(jsmntok_t &token) {
    token.size = static_cast<int32_t>(static_cast<uint32_t>(token.size) - 1U);
  }

  /// Reports the property whose key is the current token, if its value is a scalar.
  void Report() {
    const cu::Owned<char> key = KeyAt(index_);
    if (next_type_ != JSON_TOKEN_STRING && next_type_ != JSON_TOKEN_PRIMITIVE) return;
    ++index_;
    value_callback_(json_, tokens_, table_, static_cast<uint8_t>(depth_), parent_key_.get(),
                    key.get(), &index_, element_counter_, record_);
  }

  const char *const json_;
  jsmntok_t *const tokens_;
  const int32_t count_;
  void *record_;
  const GenericNextRecord next_record_;
  const GenericValueCallback value_callback_;

  int32_t index_ = 0;
  int32_t next_type_ = JSON_TOKEN_UNDEFINED;
  cu::Owned<char> parent_key_;
  cu::Owned<char> saved_top_key_;
  int32_t top_parent_ = 0;
  bool first_object_ = true;
  bool object_opened_ = false;
  bool array_entered_ = false;
  uint32_t element_counter_ = 0;
  uint32_t depth_ = 0;
  CounterObject table_[kMostEntries];
};

}  // namespace

int GenericParser(const char *json, jsmntok_t *tokens, const char *label, int32_t tokenCount,
                  void *record, GenericNextRecord nextRecord, GenericValueCallback valueCallback) {
  if (label == nullptr || record == nullptr) return 1;
  if (tokenCount <= 0) return 0;
  if (json == nullptr || tokens == nullptr || valueCallback == nullptr) return 1;
  return Walk(json, tokens, tokenCount, record, nextRecord, valueCallback).Run() ? 0 : 1;
}

int callConversionCallback(const ConversionTable *tables, uint32_t tableCount, uint32_t value,
                           uint32_t second, uint32_t third, const char *name) {
  if (tables == nullptr || name == nullptr) return 1;
  const size_t length = strlen(name);
  for (const ConversionTable *table = tables; table != tables + tableCount; ++table) {
    if (table->fn == nullptr) continue;
    const uint32_t count = std::min<uint32_t>(table->count, kNamesATable);
    for (uint32_t i = 0; i < count; ++i)
      if (strnlen(table->names[i], kNameSize) == length &&
          memcmp(table->names[i], name, length) == 0)
        return table->fn(value, second, third, table->first[i], table->second[i]);
  }
  return 1;
}

int getCounterObjectIndex(const CounterObject *table, uint8_t depth, int32_t tokenIndex) {
  return table == nullptr ? -1 : FindEntry(table, depth, tokenIndex);
}

int isBackAtParent(CounterObject *table, uint8_t depth, int32_t tokenIndex) {
  return table != nullptr && LeaveInnerContainer(table, depth, tokenIndex) ? 1 : 0;
}
