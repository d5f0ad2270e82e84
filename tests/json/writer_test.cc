#include "include/jsonwriter.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

/// A box that frees its text.
class Box {
 public:
  Box() = default;
  ~Box() { free(box_.data); }
  Box(const Box &) = delete;
  Box &operator=(const Box &) = delete;
  JsonBox *operator&() { return &box_; }
  JsonBox *operator->() { return &box_; }
  std::string text() const { return box_.data == nullptr ? "(null)" : box_.data; }

 private:
  JsonBox box_ = {};
};

/// After an append that grew, the capacity is the length and a terminator.
void ExpectText(Box &box, const std::string &text) {
  EXPECT_EQ(box.text(), text);
  EXPECT_EQ(box->length, text.size());
  EXPECT_EQ(box->capacity, text.size() + 1);
}

TEST(JsonAppendString, AppendsBytesAndKeepsTheTextTerminated) {
  Box box;
  EXPECT_EQ(jsonAppendString(&box, "abcdef", 3), 1);
  ExpectText(box, "abc");
  EXPECT_EQ(jsonAppendString(&box, "xy", 2), 1);
  ExpectText(box, "abcxy");
}

TEST(JsonAppendString, ANullArgumentGivesZero) {
  Box box;
  EXPECT_EQ(jsonAppendString(nullptr, "a", 1), 0);
  EXPECT_EQ(jsonAppendString(&box, nullptr, 1), 0);
  EXPECT_EQ(box.text(), "(null)");
}

TEST(JsonAppendString, NoBytesMakeAnEmptyText) {
  Box box;
  EXPECT_EQ(jsonAppendString(&box, "", 0), 1);
  ExpectText(box, "");
}

TEST(JsonAppendString, CanAppendTheBoxsOwnText) {
  Box box;
  ASSERT_EQ(jsonAppendString(&box, "0123456789", 10), 1);
  ASSERT_EQ(jsonAppendString(&box, box->data + 2, 8), 1);
  ExpectText(box, "012345678923456789");
}

TEST(JsonAppendString, ALengthBeyond32BitsIsAFailedGrowth) {
  Box box;
  ASSERT_EQ(jsonAppendString(&box, "ab", 2), 1);
  EXPECT_EQ(jsonAppendString(&box, box->data, UINT32_MAX - 1), 0);
  EXPECT_EQ(box->data, nullptr);
  EXPECT_EQ(box->capacity, 0U);
  EXPECT_EQ(JsonAddBooleanElement(&box, nullptr, 1), 1) << "a box that lost its text starts anew";
  ExpectText(box, "true,\n");
}

TEST(JsonStartObject, WritesTheKeyAndTheBracket) {
  Box box;
  EXPECT_EQ(JsonStartObject("Name", &box), 1);
  ExpectText(box, "\"Name\" : {\n");
}

TEST(JsonStartObject, ANullKeyIsLeftOut) {
  Box box;
  EXPECT_EQ(JsonStartObject(nullptr, &box), 1);
  ExpectText(box, "{\n");
}

TEST(JsonStartArray, WritesTheKeyAndTheBracket) {
  Box box;
  EXPECT_EQ(JsonStartArray("List", &box), 1);
  ExpectText(box, "\"List\" : [\n");
  EXPECT_EQ(JsonStartArray(nullptr, &box), 1);
  ExpectText(box, "\"List\" : [\n[\n");
}

TEST(JsonEndObject, TurnsTheLastSeparatorIntoABlank) {
  Box box;
  JsonStartObject(nullptr, &box);
  JsonAddIntegerElement(&box, "A", 1);
  EXPECT_EQ(JsonEndObject(&box), 1);
  ExpectText(box, "{\n\"A\" : 1 \n},\n");
}

TEST(JsonEndObject, LeavesABracketWithoutElementsAlone) {
  Box box;
  JsonStartObject(nullptr, &box);
  JsonEndObject(&box);
  ExpectText(box, "{\n},\n");
}

TEST(JsonEndArray, TurnsTheLastSeparatorIntoABlank) {
  Box box;
  JsonStartArray(nullptr, &box);
  JsonAddBooleanElement(&box, nullptr, 0);
  EXPECT_EQ(JsonEndArray(&box), 1);
  ExpectText(box, "[\nfalse \n],\n");
}

TEST(JsonEndObject, TouchesNothingBeforeAShortText) {
  for (const char *const text : {"", "x"}) {
    Box box;
    ASSERT_EQ(jsonAppendString(&box, text, static_cast<uint32_t>(strlen(text))), 1);
    EXPECT_EQ(JsonEndObject(&box), 1);
    ExpectText(box, std::string(text) + "},\n");
  }
  Box none;
  EXPECT_EQ(JsonEndArray(&none), 1);
  ExpectText(none, "],\n");
}

TEST(JsonEndObject, BlanksTheSeparatorOfATextThatIsNothingElse) {
  Box box;
  ASSERT_EQ(jsonAppendString(&box, ",\n", 2), 1);
  EXPECT_EQ(JsonEndObject(&box), 1);
  ExpectText(box, " \n},\n");
}

TEST(JsonWriter, ANullBoxGivesZero) {
  rfStringElement element = {1, const_cast<char *>("x")};
  const rfStringArray array = {1, &element};
  EXPECT_EQ(JsonStartObject("k", nullptr), 0);
  EXPECT_EQ(JsonStartArray("k", nullptr), 0);
  EXPECT_EQ(JsonEndObject(nullptr), 0);
  EXPECT_EQ(JsonEndArray(nullptr), 0);
  EXPECT_EQ(JsonAddStringElement(nullptr, "k", "v"), 0);
  EXPECT_EQ(JsonAddBooleanElement(nullptr, "k", 1), 0);
  EXPECT_EQ(JsonAddIntegerElement(nullptr, "k", 1), 0);
  EXPECT_EQ(JsonAddUnsignedIntegerElement(nullptr, "k", 1), 0);
  EXPECT_EQ(JsonAddHexElement(nullptr, "k", 1), 0);
  EXPECT_EQ(JsonAddFloatElement(nullptr, "k", 1, 1), 0);
  EXPECT_EQ(serializeRFCharArray(&array, "k", nullptr, 1), 0);
  EXPECT_EQ(serialize_rfStringArray(&array, "k", &array, 0, nullptr), 0);
  EXPECT_EQ(JsonFinalize(nullptr), 0);
  EXPECT_EQ(JsonCleanup(nullptr), 1);
  EXPECT_EQ(JsonFreeBox(nullptr), 0);
}

TEST(JsonAddStringElement, WritesTheValueInQuotes) {
  Box box;
  EXPECT_EQ(JsonAddStringElement(&box, "Name", "x"), 1);
  ExpectText(box, "\"Name\" : \"x\",\n");
  EXPECT_EQ(JsonAddStringElement(&box, nullptr, ""), 1);
  ExpectText(box, "\"Name\" : \"x\",\n\"\",\n");
}

TEST(JsonAddStringElement, ANullValueGivesZeroAndWritesNothing) {
  Box box;
  EXPECT_EQ(JsonAddStringElement(&box, "Name", nullptr), 0);
  EXPECT_EQ(box.text(), "(null)");
}

TEST(JsonAddStringElement, EscapesNothing) {
  Box box;
  JsonAddStringElement(&box, "k", "a\"b\\c\nd");
  ExpectText(box, "\"k\" : \"a\"b\\c\nd\",\n");
}

TEST(JsonAddBooleanElement, WritesTheWord) {
  Box box;
  EXPECT_EQ(JsonAddBooleanElement(&box, nullptr, 1), 1);
  ExpectText(box, "true,\n");
  EXPECT_EQ(JsonAddBooleanElement(&box, "off", 0), 1);
  ExpectText(box, "true,\n\"off\" : false,\n");
  Box any;
  JsonAddBooleanElement(&any, nullptr, 200);
  ExpectText(any, "true,\n");
}

TEST(JsonAddIntegerElement, WritesEveryDigit) {
  struct Row {
    int32_t value;
    const char *text;
  };
  for (const Row &row : {Row{0, "0"}, Row{5, "5"}, Row{-1, "-1"}, Row{INT32_MAX, "2147483647"},
                         Row{INT32_MIN, "-2147483648"}}) {
    Box box;
    EXPECT_EQ(JsonAddIntegerElement(&box, "Id", row.value), 1);
    ExpectText(box, "\"Id\" : " + std::string(row.text) + ",\n");
  }
}

TEST(JsonAddUnsignedIntegerElement, WritesAll64Bits) {
  Box box;
  EXPECT_EQ(JsonAddUnsignedIntegerElement(&box, nullptr, UINT64_MAX), 1);
  ExpectText(box, "18446744073709551615,\n");
}

TEST(JsonAddHexElement, WritesDecimalDigits) {
  Box box;
  EXPECT_EQ(JsonAddHexElement(&box, "Id", 255), 1);
  ExpectText(box, "\"Id\" : 255,\n");
}

TEST(JsonAddFloatElement, WritesAsManyDecimalsAsAsked) {
  struct Row {
    uint32_t precision;
    float value;
    const char *text;
  };
  for (const Row &row :
       {Row{0, 2.6F, "3"}, Row{2, 2.5F, "2.50"}, Row{9, 0.5F, "0.500000000"},
        Row{20, 0.5F, "0.500000000"}, Row{3, -1.0F, "-1.000"}, Row{256, 2.6F, "3"}}) {
    Box box;
    EXPECT_EQ(JsonAddFloatElement(&box, "f", row.precision, row.value), 1);
    ExpectText(box, "\"f\" : " + std::string(row.text) + ",\n");
  }
}

TEST(JsonAddFloatElement, IsCutLikeTheFormatter) {
  Box box;
  JsonAddFloatElement(&box, nullptr, 0, 1e20F);
  ExpectText(box, "100000002,\n");
}

TEST(JsonAddFloatElement, WritesInfinityAndNanAsWords) {
  Box box;
  JsonAddFloatElement(&box, nullptr, 1, std::numeric_limits<float>::infinity());
  JsonAddFloatElement(&box, nullptr, 1, -std::numeric_limits<float>::infinity());
  ExpectText(box, "inf,\n-inf,\n");
}

/// Three elements with unlike texts.
struct ThreeTexts {
  std::string texts[3] = {"a", "bb", "ccc"};
  rfStringElement elements[3] = {{1, texts[0].data()}, {2, texts[1].data()}, {3, texts[2].data()}};
  rfStringArray array = {3, elements};
};

TEST(SerializeRFCharArray, RepeatsTheFirstElementAndClosesAnObject) {
  ThreeTexts three;
  Box box;
  EXPECT_EQ(serializeRFCharArray(&three.array, "List", &box, 1), 1);
  ExpectText(box, "\"List\":[\"a\",\"a\",\"a\"]}");
}

TEST(SerializeRFCharArray, WritesNothingWithoutTheFlagOrElements) {
  ThreeTexts three;
  Box box;
  EXPECT_EQ(serializeRFCharArray(&three.array, "List", &box, 0), 0);
  EXPECT_EQ(serializeRFCharArray(&three.array, nullptr, &box, 1), 0);
  EXPECT_EQ(serializeRFCharArray(nullptr, "List", &box, 1), 0);
  three.array.count = 0;
  EXPECT_EQ(serializeRFCharArray(&three.array, "List", &box, 1), 0);
  EXPECT_EQ(box.text(), "(null)");
}

TEST(SerializeRFCharArray, DropsTheBracketWhenTheFirstTextIsMissing) {
  ThreeTexts three;
  three.elements[0] = {0, nullptr};
  Box box;
  EXPECT_EQ(serializeRFCharArray(&three.array, "List", &box, 1), 1);
  ExpectText(box, "\"List\":]}");
}

TEST(SerializeRFCharArray, WritesAsManyBytesAsTheElementHas) {
  ThreeTexts three;
  three.elements[0] = {2, three.texts[2].data()};
  Box box;
  serializeRFCharArray(&three.array, "L", &box, 1);
  ExpectText(box, "\"L\":[\"cc\",\"cc\",\"cc\"]}");
}

TEST(SerializeRFCharArray, WritesAnEmptyTextForNoBytes) {
  ThreeTexts three;
  three.elements[0].length = 0;
  Box box;
  EXPECT_EQ(serializeRFCharArray(&three.array, "L", &box, 1), 1);
  ExpectText(box, "\"L\":[\"\",\"\",\"\"]}");
}

TEST(SerializeRFCharArray, ALengthBeyond32BitsIsAFailedGrowth) {
  ThreeTexts three;
  three.array.count = UINT32_MAX;  // the first element alone is read
  for (const bool closes : {true, false}) {
    Box box;
    ASSERT_EQ(jsonAppendString(&box, "ab", 2), 1);
    EXPECT_EQ(closes ? serializeRFCharArray(&three.array, "L", &box, 1)
                     : serialize_rfStringArray(&three, "L", &three.array, 0, &box),
              1);
    EXPECT_EQ(box->data, nullptr);
    EXPECT_EQ(box->capacity, 0U);
  }
}

TEST(SerializeRFCharArray, TakesAnArrayWithoutListAsEmpty) {
  const rfStringArray array = {3, nullptr};
  Box box;
  EXPECT_EQ(serializeRFCharArray(&array, "L", &box, 1), 0);
  EXPECT_EQ(serialize_rfStringArray(&array, "L", &array, 0, &box), 0);
  EXPECT_EQ(box.text(), "(null)");
}

TEST(SerializeRfStringArray, RepeatsTheFirstElement) {
  ThreeTexts three;
  Box box;
  EXPECT_EQ(serialize_rfStringArray(&three, "List", &three.array, 7, &box), 1);
  ExpectText(box, "\"List\":[\"a\",\"a\",\"a\"],");
  EXPECT_EQ(serialize_rfStringArray(nullptr, "List", &three.array, 7, &box), 0);
  EXPECT_EQ(serialize_rfStringArray(&three, nullptr, &three.array, 7, &box), 0);
  EXPECT_EQ(serialize_rfStringArray(&three, "List", nullptr, 7, &box), 0);
  three.array.count = 0;
  EXPECT_EQ(serialize_rfStringArray(&three, "List", &three.array, 7, &box), 0);
}

TEST(JsonFinalize, EndsTheExampleOfTheHeader) {
  Box box;
  JsonStartObject(nullptr, &box);
  JsonAddStringElement(&box, "Name", "x");
  JsonAddIntegerElement(&box, "Id", 5);
  JsonEndObject(&box);
  EXPECT_EQ(JsonFinalize(&box), 1);
  EXPECT_EQ(box.text(), "{\n\"Name\" : \"x\",\n\"Id\" : 5 \n}");
}

TEST(JsonFinalize, GivesZeroForShortTexts) {
  Box none, one, two;
  EXPECT_EQ(JsonFinalize(&none), 0);
  jsonAppendString(&one, "}", 1);
  EXPECT_EQ(JsonFinalize(&one), 0);
  jsonAppendString(&two, "{}", 2);
  EXPECT_EQ(JsonFinalize(&two), 1);
  EXPECT_EQ(two.text(), "") << "the bracket stood where the separator is taken to be";
  EXPECT_EQ(two->length, 0U);
}

TEST(JsonFinalize, LeavesALengthOneBelowTheTextWhenItCutsRightBehindTheLastBracket) {
  Box box;
  jsonAppendString(&box, "{}\n", 3);
  EXPECT_EQ(JsonFinalize(&box), 1);
  EXPECT_EQ(box.text(), "{}");
  EXPECT_EQ(box->length, 1U);
}

TEST(JsonFinalize, TakesTheBracketThatSerializeRfCharArrayWroteLast) {
  char text[] = "x";
  rfStringElement element = {1, text};
  const rfCharArray array = {1, &element};
  for (const bool cleanup : {false, true}) {
    Box box;
    JsonStartObject(nullptr, &box);
    serializeRFCharArray(&array, "List", &box, 1);
    cleanup ? JsonCleanup(&box) : JsonFinalize(&box);
    EXPECT_EQ(box.text(), cleanup ? "{\n\"List\":[\"x\"]}" : "");
  }
}

TEST(JsonFinalize, CutsTheSeparatorBehindTheLastBracket) {
  Box box;
  JsonStartObject(nullptr, &box);
  JsonEndObject(&box);
  EXPECT_EQ(JsonFinalize(&box), 1);
  EXPECT_EQ(box.text(), "{\n}");
  EXPECT_EQ(box->length, 3U);
}

TEST(JsonFinalize, TakesTheLastCharacterWithASeparatorBeforeIt) {
  Box box;
  jsonAppendString(&box, "{,}", 3);
  EXPECT_EQ(JsonFinalize(&box), 1);
  EXPECT_EQ(box.text(), "") << "the bracket was the last character: none is left to keep";
  EXPECT_EQ(box->length, 0U);
}

TEST(JsonFinalize, ATextWithoutAnyBracketIsEmptied) {
  Box box;
  JsonAddBooleanElement(&box, "a", 1);
  EXPECT_EQ(JsonFinalize(&box), 1);
  EXPECT_EQ(box.text(), "");
  EXPECT_EQ(box->length, 0U);
}

TEST(JsonFinalize, KeepsTheCapacity) {
  Box box;
  JsonStartObject(nullptr, &box);
  JsonEndObject(&box);
  const uint32_t capacity = box->capacity;
  JsonFinalize(&box);
  EXPECT_EQ(box->capacity, capacity);
}

TEST(JsonCleanup, CutsWhatFollowsTheLastBracket) {
  Box box;
  jsonAppendString(&box, "{\"a\" : 1}\n,", 11);
  EXPECT_EQ(JsonCleanup(&box), 1);
  EXPECT_EQ(box.text(), "{\"a\" : 1}");
  EXPECT_EQ(box->length, 9U);
}

TEST(JsonCleanup, LeavesATextThatEndsWithABracketAlone) {
  Box box;
  jsonAppendString(&box, "{}}", 3);
  EXPECT_EQ(JsonCleanup(&box), 1);
  ExpectText(box, "{}}");
}

TEST(JsonCleanup, ABoxWithoutTextGivesOne) {
  Box box;
  EXPECT_EQ(JsonCleanup(&box), 1);
}

TEST(JsonFreeBox, FreesTheTextAndLeavesTheNumbers) {
  Box box;
  jsonAppendString(&box, "abc", 3);
  EXPECT_EQ(JsonFreeBox(&box), 1);
  EXPECT_EQ(box->data, nullptr);
  EXPECT_EQ(box->length, 3U);
  EXPECT_EQ(box->capacity, 4U);
  EXPECT_EQ(JsonFreeBox(&box), 0);
}

TEST(JsonFreeBox, TheBoxCanBeUsedAgain) {
  Box box;
  jsonAppendString(&box, "abc", 3);
  JsonFreeBox(&box);
  jsonAppendString(&box, "x", 1);
  ExpectText(box, "x");
}

TEST(SetJsonStringValue, MakesACopy) {
  char *copy = nullptr;
  EXPECT_EQ(SetJsonStringValue("text", &copy), 1);
  EXPECT_STREQ(copy, "text");
  free(copy);
  EXPECT_EQ(SetJsonStringValue(nullptr, &copy), 0);
  EXPECT_EQ(SetJsonStringValue("text", nullptr), 0);
}

TEST(CloneRfCharArray, AppendsEveryText) {
  ThreeTexts three;
  rfCharArray copy = {};
  EXPECT_EQ(CloneRfCharArray(&three.array, &copy), 1);
  EXPECT_EQ(CloneRfCharArray(&three.array, &copy), 1);
  ASSERT_EQ(copy.count, 6U);
  EXPECT_STREQ(copy.list[2].text, "ccc");
  EXPECT_EQ(copy.list[2].length, 3U);
  EXPECT_STREQ(copy.list[3].text, "a");
  EXPECT_NE(copy.list[0].text, three.elements[0].text);
  free_rfStringArray(&copy);
  EXPECT_EQ(CloneRfCharArray(nullptr, &copy), 0);
  EXPECT_EQ(CloneRfCharArray(&three.array, nullptr), 0);
}

TEST(CloneRfCharArray, PassesOverMissingTexts) {
  ThreeTexts three;
  three.elements[1] = {0, nullptr};
  rfCharArray copy = {};
  EXPECT_EQ(CloneRfCharArray(&three.array, &copy), 1);
  ASSERT_EQ(copy.count, 2U);
  EXPECT_STREQ(copy.list[1].text, "ccc");
  free_rfStringArray(&copy);
  const rfCharArray none = {3, nullptr};
  rfCharArray empty = {};
  EXPECT_EQ(CloneRfCharArray(&none, &empty), 1);
  EXPECT_EQ(empty.count, 0U);
}

TEST(CloneRfCharArray, AppendsAnArrayToItself) {
  rfCharArray array = {};
  for (const char *const text : {"a", "b", "c"}) AddStringToRfCharArray(text, &array);
  EXPECT_EQ(CloneRfCharArray(&array, &array), 1);
  ASSERT_EQ(array.count, 6U);
  for (uint32_t i = 0; i < 3; ++i) EXPECT_STREQ(array.list[i + 3].text, array.list[i].text);
  free_rfStringArray(&array);
}

}  // namespace
