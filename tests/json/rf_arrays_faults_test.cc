// Typed values and arrays while memory runs out.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/rfvalues.h"
#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;

constexpr const char *kText = "value";

TEST(ParseRfStringUnderFaults, GivesZeroAndANullText) {
  char guard = 0;
  char *text = &guard;
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(parseRfString(kText, 0, 5, &text), 0);
  EXPECT_EQ(text, nullptr);
}

TEST(ParseRfTimestampUnderFaults, GivesZeroAndANullText) {
  char guard = 0;
  char *text = &guard;
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(parseRfTimestamp(kText, 0, 5, &text), 0);
  EXPECT_EQ(text, nullptr);
}

TEST(DeserializeRfLinkRefUnderFaults, GivesZeroAndLengthZero) {
  rfLink link = {9, nullptr};
  JsonWalkContext context = {kText, nullptr, 0, 0, 0, 0};
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(deserialize_rfLinkRef(&context, 0, 5, "@odata.id", 0, &link), 0);
  EXPECT_EQ(link.length, 0u);
  EXPECT_EQ(link.odataId, nullptr);
}

TEST(ParseRfIntegerUnderFaults, GivesZeroForALongText) {
  const std::string digits(1000, '1');
  int64_t value = 5;
  float number = 5;
  Fault fault(Call::kMemory, 1, ENOMEM, cu_test::Reach::kFromThen);
  EXPECT_EQ(parseRfInteger(digits.c_str(), 0, 1000, &value), 0);
  EXPECT_EQ(parseRfFloat(digits.c_str(), 0, 1000, &number), 0);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(number, 5);
}

// Without memory for growth the old elements are released: LeakSanitizer would tell.
TEST(StringArrayUnderFaults, IsEmptiedAndReleased) {
  using Parse = int32_t (*)(const char *, int32_t, int32_t, rfStringArray *, uint32_t);
  constexpr Parse kByWalk = [](const char *json, int32_t start, int32_t end, rfStringArray *array,
                               uint32_t index) {
    JsonWalkContext context = {json, nullptr, 0, 0, 0, 0};
    return deserialize_rfStringArray(&context, start, end, nullptr, index, array);
  };
  for (Parse parse : {kByWalk, Parse(parseRfCharArray), Parse(parseRfStringArray)}) {
    for (uint32_t held = 0; held < 3; ++held) {
      rfStringArray array = {};
      for (uint32_t i = 0; i < held; ++i) ASSERT_EQ(parse(kText, 0, 5, &array, i), 1);
      Fault fault(Call::kMemory, 1);
      EXPECT_EQ(parse(kText, 0, 5, &array, held), 0);
      EXPECT_EQ(array.count, 0u);
      EXPECT_EQ(array.list, nullptr);
    }
  }
}

TEST(StringArrayUnderFaults, GivesAnElementWithoutTextWhenTheTextHasNoMemory) {
  rfStringArray array = {};
  Fault fault(Call::kMemory, 2);
  EXPECT_EQ(parseRfCharArray(kText, 0, 5, &array, 0), 0);
  ASSERT_EQ(array.count, 1u);
  EXPECT_EQ(array.list[0].length, 0u);
  EXPECT_EQ(array.list[0].text, nullptr);
  free_rfStringArray(&array);
}

TEST(LinkArrayUnderFaults, IsEmptiedAndLosesItsOldElements) {
  rfLinkArray array = {};
  ASSERT_EQ(parseRfLinkArray(kText, 0, 5, &array, 0), 1);
  const rfLinkArray before = array;
  {
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(parseRfLinkArray(kText, 0, 5, &array, 1), 0);
  }
  EXPECT_EQ(array.count, 0u);
  EXPECT_EQ(array.list, nullptr);
  EXPECT_STREQ(before.list[0].text, kText);  // still allocated
  free(before.list[0].text);
  free(before.list);
}

TEST(IntArrayUnderFaults, IsEmptiedAndReleased) {
  JsonWalkContext context = {"7", nullptr, 0, 0, 0, 0};
  for (uint32_t held = 0; held < 3; ++held) {
    rfIntArray array = {};
    for (uint32_t i = 0; i < held; ++i)
      ASSERT_EQ(deserialize_rfIntArray(&context, 0, 1, nullptr, i, &array), 1);
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(deserialize_rfIntArray(&context, 0, 1, nullptr, held, &array), 0);
    EXPECT_EQ(array.count, 0u);
    EXPECT_EQ(array.list, nullptr);
  }
}

TEST(NumberArrayUnderFaults, IsEmptiedAndReleased) {
  JsonWalkContext context = {"7", nullptr, 0, 0, 0, 0};
  for (uint32_t held = 0; held < 3; ++held) {
    rfNumberArray array = {};
    for (uint32_t i = 0; i < held; ++i)
      ASSERT_EQ(deserialize_rfNumberArray(&context, 0, 1, nullptr, i, &array), 1);
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(deserialize_rfNumberArray(&context, 0, 1, nullptr, held, &array), 0);
    EXPECT_EQ(array.count, 0u);
    EXPECT_EQ(array.list, nullptr);
  }
}

TEST(AppendersUnderFaults, ReturnZeroAndReleaseTheArray) {
  rfCharArray strings = {};
  rfIntArray integers = {};
  rfNumberArray numbers = {};
  AddStringToRfCharArray("a", &strings);
  AddValueToRfIntArray(1, &integers);
  AddNumberToRfNumberArray(&numbers, 1);
  {
    Fault fault(Call::kMemory, 2);  // the copy, then the list
    EXPECT_EQ(AddStringToRfCharArray("b", &strings), 0);
  }
  {
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(AddValueToRfIntArray(2, &integers), 0);
  }
  {
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(AddNumberToRfNumberArray(&numbers, 2), 0);
  }
  EXPECT_EQ(strings.count, 0u);
  EXPECT_EQ(strings.list, nullptr);
  EXPECT_EQ(integers.count, 0u);
  EXPECT_EQ(integers.list, nullptr);
  EXPECT_EQ(numbers.count, 0u);
  EXPECT_EQ(numbers.list, nullptr);
  EXPECT_EQ(AddStringToRfCharArray("c", &strings), 1);  // and go on with memory
  EXPECT_EQ(strings.count, 1u);
  free_rfStringArray(&strings);
}

TEST(AppendersUnderFaults, LeaveTheArrayAloneWithoutMemoryForTheCopiedText) {
  rfCharArray array = {};
  AddStringToRfCharArray("a", &array);
  {
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(AddStringToRfCharArray("b", &array), 0);
  }
  ASSERT_EQ(array.count, 1u);
  EXPECT_STREQ(array.list[0].text, "a");
  free_rfStringArray(&array);
}

// An array that cannot grow to a huge index is released like any other.
TEST(StringArray, SurvivesTheGreatestIndex) {
  rfStringArray array = {};
  parseRfCharArray(kText, 0, 5, &array, 0);
  EXPECT_EQ(parseRfCharArray(kText, 0, 5, &array, UINT32_MAX), 0);
  EXPECT_EQ(array.count, 0u);
  EXPECT_EQ(array.list, nullptr);
}

// A walk whose long key cannot be copied goes on with a null key.
TEST(ProcessObjectUnderFaults, GivesANullKeyWithoutMemoryForIt) {
  const std::string key(1000, 'k');
  const std::string json = R"({")" + key + R"(":1})";
  jsmntok_t tokens[] = {{JSON_TOKEN_OBJECT, 0, 1006, 1, -1},
                        {JSON_TOKEN_STRING, 2, 1002, 1, 0},
                        {JSON_TOKEN_PRIMITIVE, 1004, 1005, 0, 1}};
  JsonWalkContext context = {json.c_str(), tokens, 0, 0, 3, 0};
  struct Record {
    int calls = 0;
    bool null_key = false;
  } record;
  const rfDeserializeFn deserializer = [](JsonWalkContext *, int32_t, int32_t, const char *name,
                                          uint32_t, void *user) {
    auto &seen = *static_cast<Record *>(user);
    ++seen.calls;
    seen.null_key = name == nullptr;
    return 1;
  };
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(processObject(&context, "l", 0, 1006, 0, &record, deserializer), 1);
  EXPECT_EQ(record.calls, 1);
  EXPECT_TRUE(record.null_key);
}

}  // namespace
