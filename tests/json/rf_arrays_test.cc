// Arrays of strings, links, integers and numbers: filling by index, appending, checking, releasing.
#include <commonutilities/rfvalues.h>
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "json/document.hpp"

namespace {

using cu_test::Document;

/// A walk over the value of the first key of a document.
int32_t ReadArray(const char *text, void *array, rfDeserializeFn deserializer, uint8_t strict = 0) {
  Document document(text);
  EXPECT_TRUE(document.loaded()) << text;
  JsonWalkContext context = {document.json(), document.tokens(), 2, 0, document.count(), strict};
  return processObject(&context, "k", document.token(2)->start, document.token(2)->end, 0, array,
                       deserializer);
}

void ExpectElement(const rfStringElement &element, uint32_t length, const char *text) {
  EXPECT_EQ(element.length, length);
  EXPECT_STREQ(element.text, text);
}

// ---- filled by a walk ---------------------------------------------------------------------------

TEST(DeserializeRfStringArray, TakesEachTextAndItsLength) {
  rfStringArray array = {};
  EXPECT_EQ(ReadArray(R"({"k":["a","","longer"],"z":1})", &array, deserialize_rfStringArray), 1);
  ASSERT_EQ(array.count, 3u);
  ExpectElement(array.list[0], 1, "a");
  ExpectElement(array.list[1], 0, nullptr);
  ExpectElement(array.list[2], 6, "longer");
  free_rfStringArray(&array);
}

TEST(DeserializeRfStringArray, TakesPrimitivesAsTexts) {
  rfStringArray array = {};
  ReadArray(R"({"k":[1,true]})", &array, deserialize_rfStringArray);
  ASSERT_EQ(array.count, 2u);
  ExpectElement(array.list[0], 1, "1");
  ExpectElement(array.list[1], 4, "true");
  free_rfStringArray(&array);
}

TEST(DeserializeRfStringArray, StoresAnEmptyElementForAWrongTypeUnderStrictTypes) {
  rfStringArray array = {};
  EXPECT_EQ(ReadArray(R"({"k":["a",7,"b"]})", &array, deserialize_rfStringArray, 1), 0);
  ASSERT_EQ(array.count, 2u);
  ExpectElement(array.list[0], 1, "a");
  ExpectElement(array.list[1], 0, nullptr);
  free_rfStringArray(&array);
}

TEST(DeserializeRfStringArray, EmptiesAnElementOfAWrongTypeUnderStrictTypesThatWasThereBefore) {
  char old_text[] = "old";
  rfStringElement list[1] = {{3, old_text}};
  rfStringArray array = {1, list};
  EXPECT_EQ(ReadArray(R"({"k":[7]})", &array, deserialize_rfStringArray, 1), 0);
  EXPECT_EQ(array.count, 1u);
  ExpectElement(array.list[0], 0, nullptr);
}

TEST(DeserializeRfIntArray, TakesEachInteger) {
  rfIntArray array = {};
  EXPECT_EQ(ReadArray(R"({"k":[1,-9223372036854775808,"7",null]})", &array, deserialize_rfIntArray),
            1);
  ASSERT_EQ(array.count, 4u);
  const int64_t expected[] = {1, INT64_MIN, 7, 0};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(array.list[i], expected[i]);
  free_rfIntArray(&array);
}

TEST(DeserializeRfNumberArray, TakesEachNumber) {
  rfNumberArray array = {};
  EXPECT_EQ(ReadArray(R"({"k":[1,-2.5,1e2,"0.5",null]})", &array, deserialize_rfNumberArray), 1);
  ASSERT_EQ(array.count, 5u);
  const float expected[] = {1, -2.5, 100, 0.5, 0};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(array.list[i], expected[i]);
  free_rfNumberArray(&array);
}

TEST(DeserializeRfIntArray, RefusesAWrongTypeUnderStrictTypesAndStoresNothing) {
  rfIntArray array = {};
  EXPECT_EQ(ReadArray(R"({"k":[1,"2",3]})", &array, deserialize_rfIntArray, 1), 0);
  ASSERT_EQ(array.count, 1u);
  EXPECT_EQ(array.list[0], 1);
  free_rfIntArray(&array);
}

TEST(DeserializeRfNumberArray, RefusesAWrongTypeUnderStrictTypesAndStoresNothing) {
  rfNumberArray array = {};
  EXPECT_EQ(ReadArray(R"({"k":["2",3]})", &array, deserialize_rfNumberArray, 1), 0);
  EXPECT_EQ(array.count, 0u);
  EXPECT_EQ(array.list, nullptr);
}

TEST(DeserializeRfStringArray, GrowsToAnIndexBeyondItsCountWithZeroedElements) {
  rfStringArray array = {};
  EXPECT_NE(ReadArray(R"({"k":[{},{},{"a":"x"}]})", &array, deserialize_rfStringArray), 0);
  ASSERT_EQ(array.count, 3u);
  ExpectElement(array.list[0], 0, nullptr);
  ExpectElement(array.list[1], 0, nullptr);
  ExpectElement(array.list[2], 1, "x");
  free_rfStringArray(&array);
}

TEST(DeserializeRfIntArray, GrowsToAnIndexBeyondItsCountWithZeroedElements) {
  rfIntArray array = {};
  ReadArray(R"({"k":[{"a":5},{},{},{"a":6}]})", &array, deserialize_rfIntArray);
  ASSERT_EQ(array.count, 4u);
  const int64_t expected[] = {5, 0, 0, 6};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(array.list[i], expected[i]);
  free_rfIntArray(&array);
}

TEST(DeserializeRfIntArray, TakesAThousandElements) {
  std::string text = R"({"k":[0)";
  for (int i = 1; i < 1000; ++i) text += "," + std::to_string(i);
  rfIntArray array = {};
  ReadArray((text + "]}").c_str(), &array, deserialize_rfIntArray);
  ASSERT_EQ(array.count, 1000u);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(array.list[i], i);
  free_rfIntArray(&array);
}

TEST(DeserializeRfArrays, ReturnZeroForNullArguments) {
  rfStringArray strings = {};
  rfIntArray integers = {};
  rfNumberArray numbers = {};
  JsonWalkContext context = {"1", nullptr, 0, 0, 0, 0};
  EXPECT_EQ(deserialize_rfStringArray(&context, 0, 1, "k", 0, nullptr), 0);
  EXPECT_EQ(deserialize_rfIntArray(&context, 0, 1, "k", 0, nullptr), 0);
  EXPECT_EQ(deserialize_rfNumberArray(&context, 0, 1, "k", 0, nullptr), 0);
  EXPECT_EQ(deserialize_rfStringArray(nullptr, 0, 1, "k", 0, &strings), 0);
  EXPECT_EQ(deserialize_rfIntArray(nullptr, 0, 1, "k", 0, &integers), 0);
  EXPECT_EQ(deserialize_rfNumberArray(nullptr, 0, 1, "k", 0, &numbers), 0);
  EXPECT_EQ(strings.count + integers.count + numbers.count, 0u);
}

TEST(DeserializeRfArrays, LookAtNoTokenBeyondTheLastUnderStrictTypes) {
  jsmntok_t token = {JSMN_PRIMITIVE, 0, 1, 0, -1};
  JsonWalkContext context = {"1", &token, 1, 0, 1, 1};
  rfIntArray integers = {};
  rfStringArray strings = {};
  EXPECT_EQ(deserialize_rfIntArray(&context, 0, 1, "k", 0, &integers), 0);
  EXPECT_EQ(deserialize_rfStringArray(&context, 0, 1, "k", 0, &strings), 0);
  context.tokens = nullptr;
  EXPECT_EQ(deserialize_rfIntArray(&context, 0, 1, "k", 0, &integers), 0);
  free_rfStringArray(&strings);
}

// ---- filled one by one --------------------------------------------------------------------------

using ElementParser = int32_t (*)(const char *, int32_t, int32_t, rfStringArray *, uint32_t);
constexpr ElementParser kElementParsers[] = {parseRfCharArray, parseRfStringArray,
                                             parseRfLinkArray};

TEST(ParseRfCharArray, AndItsLikesStoreAtTheIndex) {
  for (ElementParser parse : kElementParsers) {
    rfStringArray array = {};
    EXPECT_EQ(parse("abcdef", 0, 1, &array, 0), 1);
    EXPECT_EQ(parse("abcdef", 1, 3, &array, 1), 1);
    EXPECT_EQ(parse("abcdef", 3, 6, &array, 2), 1);
    ASSERT_EQ(array.count, 3u);
    ExpectElement(array.list[0], 1, "a");
    ExpectElement(array.list[1], 2, "bc");
    ExpectElement(array.list[2], 3, "def");
    free_rfStringArray(&array);
  }
}

TEST(ParseRfCharArray, AndItsLikesOverwriteAnExistingElementAndLoseItsText) {
  for (ElementParser parse : kElementParsers) {
    rfStringArray array = {};
    parse("abc", 0, 1, &array, 0);
    char *const first = array.list[0].text;
    EXPECT_EQ(parse("abc", 1, 3, &array, 0), 1);
    ASSERT_EQ(array.count, 1u);
    ExpectElement(array.list[0], 2, "bc");
    free(first);
    free_rfStringArray(&array);
  }
}

TEST(ParseRfCharArray, AndItsLikesGiveANewElementNoTextForAnEmptyValue) {
  for (ElementParser parse : kElementParsers) {
    rfStringArray array = {};
    EXPECT_EQ(parse("abc", 1, 1, &array, 0), 0);
    EXPECT_EQ(parse("abc", 1, 1, &array, 1), 0);
    ASSERT_EQ(array.count, 2u);
    ExpectElement(array.list[0], 0, nullptr);
    ExpectElement(array.list[1], 0, nullptr);
    free_rfStringArray(&array);
  }
}

TEST(ParseRfCharArray, AndItsLikesKeepAnOldTextWithLengthZeroForAnEmptyValue) {
  for (ElementParser parse : kElementParsers) {
    rfStringArray array = {};
    parse("abc", 0, 3, &array, 0);
    EXPECT_EQ(parse("abc", 1, 1, &array, 0), 0);
    ASSERT_EQ(array.count, 1u);
    ExpectElement(array.list[0], 0, "abc");
    free_rfStringArray(&array);
  }
}

TEST(ParseRfCharArray, AndItsLikesGrowToAnIndexBeyondTheCount) {
  for (ElementParser parse : kElementParsers) {
    rfStringArray array = {};
    EXPECT_EQ(parse("abc", 0, 3, &array, 4), 1);
    ASSERT_EQ(array.count, 5u);
    for (int i = 0; i < 4; ++i) ExpectElement(array.list[i], 0, nullptr);
    ExpectElement(array.list[4], 3, "abc");
    free_rfStringArray(&array);
  }
}

TEST(ParseRfCharArray, AndItsLikesReturnZeroForANullArray) {
  for (ElementParser parse : kElementParsers) EXPECT_EQ(parse("abc", 0, 3, nullptr, 0), 0);
}

TEST(ParseRfCharArray, AndItsLikesReturnZeroForANullText) {
  for (ElementParser parse : kElementParsers) {
    rfStringArray array = {};
    EXPECT_EQ(parse(nullptr, 0, 3, &array, 0), 0);
    free_rfStringArray(&array);
  }
}

// A release leaves count and pointer as they were; with the count cleared the array can be filled
// again, whatever its pointer.
TEST(ParseRfCharArray, BeginsANewListForACountOfZero) {
  rfStringArray array = {};
  parseRfCharArray("abc", 0, 3, &array, 0);
  free_rfStringArray(&array);
  array.count = 0;
  EXPECT_EQ(parseRfCharArray("xyz", 0, 3, &array, 0), 1);
  ASSERT_EQ(array.count, 1u);
  ExpectElement(array.list[0], 3, "xyz");
  free_rfStringArray(&array);
}

// ---- appended -----------------------------------------------------------------------------------

TEST(AddStringToRfCharArray, AppendsACopy) {
  rfCharArray array = {};
  char text[] = "first";
  EXPECT_EQ(AddStringToRfCharArray(text, &array), 1);
  text[0] = '#';
  EXPECT_EQ(AddStringToRfCharArray("", &array), 1);
  EXPECT_EQ(AddStringToRfCharArray("third", &array), 1);
  ASSERT_EQ(array.count, 3u);
  ExpectElement(array.list[0], 5, "first");
  ExpectElement(array.list[1], 0, "");
  ExpectElement(array.list[2], 5, "third");
  free_rfStringArray(&array);
}

TEST(AddValueToRfIntArray, AppendsAValue) {
  rfIntArray array = {};
  for (int64_t i = 0; i < 100; ++i) EXPECT_EQ(AddValueToRfIntArray(i - INT64_MAX, &array), 1);
  ASSERT_EQ(array.count, 100u);
  for (int64_t i = 0; i < 100; ++i) EXPECT_EQ(array.list[i], i - INT64_MAX);
  free_rfIntArray(&array);
}

TEST(AddNumberToRfNumberArray, AppendsAValue) {
  rfNumberArray array = {};
  EXPECT_EQ(AddNumberToRfNumberArray(&array, 1.5f), 1);
  EXPECT_EQ(AddNumberToRfNumberArray(&array, -2.5f), 1);
  ASSERT_EQ(array.count, 2u);
  EXPECT_EQ(array.list[0], 1.5f);
  EXPECT_EQ(array.list[1], -2.5f);
  free_rfNumberArray(&array);
}

TEST(Appenders, ReturnZeroForNullArguments) {
  rfCharArray array = {};
  EXPECT_EQ(AddStringToRfCharArray("a", nullptr), 0);
  EXPECT_EQ(AddStringToRfCharArray(nullptr, &array), 0);
  EXPECT_EQ(AddValueToRfIntArray(1, nullptr), 0);
  EXPECT_EQ(AddNumberToRfNumberArray(nullptr, 1), 0);
  EXPECT_EQ(array.count, 0u);
}

TEST(Appenders, StartAtOneForANullPointerWithACount) {
  rfCharArray strings = {7, nullptr};
  rfIntArray integers = {7, nullptr};
  rfNumberArray numbers = {7, nullptr};
  EXPECT_EQ(AddStringToRfCharArray("a", &strings), 1);
  EXPECT_EQ(AddValueToRfIntArray(1, &integers), 1);
  EXPECT_EQ(AddNumberToRfNumberArray(&numbers, 1), 1);
  EXPECT_EQ(strings.count, 1u);
  EXPECT_EQ(integers.count, 1u);
  EXPECT_EQ(numbers.count, 1u);
  free_rfStringArray(&strings);
  free_rfIntArray(&integers);
  free_rfNumberArray(&numbers);
}

// It is the pointer that tells the first element: a list without elements is grown on.
TEST(Appenders, GrowAListWhoseCountIsZero) {
  rfIntArray array = {};
  AddValueToRfIntArray(1, &array);
  array.count = 0;
  EXPECT_EQ(AddValueToRfIntArray(2, &array), 1);
  ASSERT_EQ(array.count, 1u);
  EXPECT_EQ(array.list[0], 2);
  free_rfIntArray(&array);  // LeakSanitizer would tell of a second list
}

TEST(Appenders, GoOnBehindWhatAWalkFilled) {
  rfIntArray array = {};
  ReadArray(R"({"k":[1,2]})", &array, deserialize_rfIntArray);
  AddValueToRfIntArray(3, &array);
  ASSERT_EQ(array.count, 3u);
  EXPECT_EQ(array.list[2], 3);
  free_rfIntArray(&array);
}

// ---- checked ------------------------------------------------------------------------------------

TEST(ValidNumberInArray, IsOneWhenAllLieWithin) {
  float values[] = {1, 2.5, 4};
  const rfNumberArray array = {3, values};
  float bad = 77;
  EXPECT_EQ(ValidNumberInArray(&array, &bad, 1, 4), 1);  // the bounds lie within
  EXPECT_EQ(bad, 77);
}

TEST(ValidNumberInArray, StoresTheFirstOneOutside) {
  float values[] = {1, 5, 0};
  const rfNumberArray array = {3, values};
  float bad = 77;
  EXPECT_EQ(ValidNumberInArray(&array, &bad, 1, 4), 0);
  EXPECT_EQ(bad, 5);
  EXPECT_EQ(ValidNumberInArray(&array, &bad, 0.5f, 9), 0);
  EXPECT_EQ(bad, 0);
}

TEST(ValidNumberInArray, LetsNanPass) {
  float values[] = {NAN, 2, NAN};
  const rfNumberArray array = {3, values};
  float bad = 77;
  EXPECT_EQ(ValidNumberInArray(&array, &bad, 1, 4), 1);
}

TEST(ValidIntegerInArray, ComparesAll64Bits) {
  int64_t values[] = {-3, 0x100000001, 9};
  const rfIntArray array = {3, values};
  int32_t bad = 77;
  EXPECT_EQ(ValidIntegerInArray(&array, -3, 9, &bad), 0);
  EXPECT_EQ(bad, 1);  // the low 32 bits
  EXPECT_EQ(ValidIntegerInArray(&array, -2, 9, &bad), 0);
  EXPECT_EQ(bad, -3);
}

TEST(ValidIntegerInArray, IsOneWhenAllLieWithin) {
  int64_t values[] = {INT32_MIN, 0, INT32_MAX};
  const rfIntArray array = {3, values};
  int32_t bad = 77;
  EXPECT_EQ(ValidIntegerInArray(&array, INT32_MIN, INT32_MAX, &bad), 1);
  EXPECT_EQ(bad, 77);
}

TEST(Validators, AreOneForAnEmptyArrayAndZeroForNull) {
  const rfNumberArray numbers = {};
  const rfIntArray integers = {};
  float bad_number = 7;
  int32_t bad_integer = 7;
  EXPECT_EQ(ValidNumberInArray(&numbers, &bad_number, 1, 0), 1);
  EXPECT_EQ(ValidIntegerInArray(&integers, 1, 0, &bad_integer), 1);
  EXPECT_EQ(ValidNumberInArray(nullptr, &bad_number, 0, 1), 0);
  EXPECT_EQ(ValidIntegerInArray(nullptr, 0, 1, &bad_integer), 0);
  EXPECT_EQ(bad_number, 7);
  EXPECT_EQ(bad_integer, 7);
}

TEST(Validators, SurviveACountWithoutAListAndANowhereToStore) {
  const rfNumberArray numbers = {3, nullptr};
  const rfIntArray integers = {3, nullptr};
  EXPECT_EQ(ValidNumberInArray(&numbers, nullptr, 0, 1), 1);
  EXPECT_EQ(ValidIntegerInArray(&integers, 0, 1, nullptr), 1);
  float value = 9;
  int64_t integer = 9;
  const rfNumberArray one_number = {1, &value};
  const rfIntArray one_integer = {1, &integer};
  EXPECT_EQ(ValidNumberInArray(&one_number, nullptr, 0, 1), 0);
  EXPECT_EQ(ValidIntegerInArray(&one_integer, 0, 1, nullptr), 0);
}

// ---- released -----------------------------------------------------------------------------------

TEST(FreeRfArrays, LeaveCountAndPointerAlone) {
  rfStringArray strings = {};
  rfIntArray integers = {};
  rfNumberArray numbers = {};
  AddStringToRfCharArray("a", &strings);
  AddValueToRfIntArray(1, &integers);
  AddNumberToRfNumberArray(&numbers, 1);
  const rfStringArray strings_before = strings;
  const rfIntArray integers_before = integers;
  const rfNumberArray numbers_before = numbers;
  free_rfStringArray(&strings);
  free_rfIntArray(&integers);
  free_rfNumberArray(&numbers);
  EXPECT_EQ(strings.count, 1u);
  EXPECT_EQ(strings.list, strings_before.list);
  EXPECT_EQ(integers.count, 1u);
  EXPECT_EQ(integers.list, integers_before.list);
  EXPECT_EQ(numbers.count, 1u);
  EXPECT_EQ(numbers.list, numbers_before.list);
}

TEST(FreeRfArrays, AcceptNullAndEmptyAndHalfBuiltArrays) {
  free_rfStringArray(nullptr);
  free_rfIntArray(nullptr);
  free_rfNumberArray(nullptr);
  rfStringArray strings = {5, nullptr};
  rfIntArray integers = {5, nullptr};
  rfNumberArray numbers = {5, nullptr};
  free_rfStringArray(&strings);
  free_rfIntArray(&integers);
  free_rfNumberArray(&numbers);
}

}  // namespace
