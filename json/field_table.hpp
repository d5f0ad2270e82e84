// Record readers driven by tables. A record that a JSON object is read into is described by one
// constexpr table of its fields, and its exported functions are one line each:
//
//   constexpr cu::Field kFanFields[] = {
//       {"name", cu::FieldKind::kString, offsetof(Fan, name)},
//       {"speed", cu::FieldKind::kUint16, offsetof(Fan, speed)},
//       {"mode", ReadFanMode, offsetof(Fan, mode)},                  // an enumeration
//       {"blades", deserialize_BladeArray, offsetof(Fan, blades)},   // a (count, list) pair
//       {"motor", deserialize_Motor, offsetof(Fan, motor)},          // a record held in place
//   };
//
//   int32_t deserialize_Fan(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
//                           uint32_t, void *fan) {
//     return cu::ReadField(kFanFields, {context, start, end, key}, fan);
//   }
//
//   int32_t deserialize_FanArray(JsonWalkContext *context, int32_t start, int32_t end,
//                                const char *key, uint32_t index, void *fans) {
//     return cu::ReadElementField<FanArray>(kFanFields, {context, start, end, key}, index, fans);
//   }
//
//   void free_FanArray(FanArray *fans) { cu::ReleaseList(fans, free_Fan); }
//
// What a release frees differs from record to record on purpose, so releases are written out, not
// taken from the table. A list that cannot grow is emptied; pass its release to ReadElementField()
// where the old elements are to be released then, and nothing where they are lost.
//
// An enumeration is read by a function that stores into the field; the property then counts as not
// taken (result 0) whatever was stored. AgreeOverShorter() of value_text.hpp is how most of them
// compare names.
//
// Tables live in read-only data. Keys are kept in the entries and only nested fields and
// enumerations hold a pointer, so a table costs few relocations.
#ifndef COMMONUTILITIES_JSON_FIELD_TABLE_HPP
#define COMMONUTILITIES_JSON_FIELD_TABLE_HPP

#include <stddef.h>
#include <stdint.h>

#include <span>

#include "include/rfvalues.h"
#include "json/property_walk.hpp"
#include "json/record_list.hpp"

namespace cu {

/// How a field's value is read, and what the field is.
enum class FieldKind : uint8_t {
  kString,       // rfString
  kInteger,      // int64_t
  kUint8,        // an integer, of which the low bits are kept
  kUint16,       //
  kUint32,       //
  kHexUint8,     // a text such as "0x1F", of which the low bits are kept
  kBoolean,      // uint8_t, 0 or 1
  kStringArray,  // rfStringArray
  kNested,       // a record or a list, read by walking into the value
  kEnumeration   // read by a function
};

/// Reads an enumeration's value from the text between two offsets into its field.
using EnumerationReader = void (*)(const char *json, int32_t start, int32_t end, void *field);

/// A field of a record: its key in the document, its kind and its place.
struct Field {
  static constexpr size_t kKeyRoom = 20;

  template <size_t kSize>
  constexpr Field(const char (&name)[kSize], FieldKind field_kind, size_t field_offset)
      : kind(field_kind), offset(static_cast<uint16_t>(field_offset)), nested(nullptr) {
    SetKey(name);
  }
  template <size_t kSize>
  constexpr Field(const char (&name)[kSize], rfDeserializeFn deserializer, size_t field_offset)
      : kind(FieldKind::kNested),
        offset(static_cast<uint16_t>(field_offset)),
        nested(deserializer) {
    SetKey(name);
  }
  template <size_t kSize>
  constexpr Field(const char (&name)[kSize], EnumerationReader reader, size_t field_offset)
      : kind(FieldKind::kEnumeration),
        offset(static_cast<uint16_t>(field_offset)),
        enumeration(reader) {
    SetKey(name);
  }

  char key[kKeyRoom] = {};
  FieldKind kind;
  uint16_t offset;
  union {
    rfDeserializeFn nested;
    EnumerationReader enumeration;
  };

 private:
  template <size_t kSize>
  constexpr void SetKey(const char (&name)[kSize]) {
    static_assert(kSize > 1 && kSize <= kKeyRoom, "the key does not fit its entry");
    for (size_t i = 0; i < kSize; ++i) key[i] = name[i];
  }
};

/// A property as a deserializer is told it.
struct Property {
  JsonWalkContext *context;
  int32_t start;
  int32_t end;
  const char *key;
};

/// Reads a property into the field that it names, in a record with these fields. Every entry of the
/// table is compared, so a key that stands in it twice is read twice.
///
/// Returns the reader's result, of the last entry that matched; 0 for an unknown key, for an
/// enumeration, and for a null context, token array, key or record.
int32_t ReadField(std::span<const Field> fields, const Property &property, void *record);

/// How many elements the array has that the walk stands in, told by its token; 0 when it stands in
/// none.
uint32_t ElementsOfArray(const JsonWalkContext *context);

/// ReadField() on element `index` of a (count, list) pair, which grows to reach it. Without memory
/// the result is 0 and the list is empty; its old elements are released with `release`, or lost.
template <typename Pair>
int32_t ReadElementField(std::span<const Field> fields, const Property &property, uint32_t index,
                         void *list, void (*release)(Pair *) = nullptr) {
  if (list == nullptr) return 0;
  Pair &pair = *static_cast<Pair *>(list);
  const uint32_t expected = index < pair.count ? 0 : ElementsOfArray(property.context);
  auto *const element = ElementAt(pair, index, expected);
  if (element != nullptr) return ReadField(fields, property, element);
  if (release != nullptr) release(&pair);
  Forget(pair);
  return 0;
}

}  // namespace cu

#endif
