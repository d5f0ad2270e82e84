// The parsers of single values and their releases.
#include <commonutilities/rfvalues.h>
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

int32_t Length(const std::string &text) {
  return static_cast<int32_t>(text.size());
}

TEST(ParseRfString, GivesANewTerminatedString) {
  char *text = nullptr;
  EXPECT_NE(parseRfString(R"({"a":"value"})", 6, 11, &text), 0);
  EXPECT_STREQ(text, "value");
  free_rfString(text);
}

TEST(ParseRfString, RefusesAnEmptyValueAndLeavesTheDestinationAlone) {
  char guard = 0;
  char *text = &guard;
  EXPECT_EQ(parseRfString("abc", 1, 1, &text), 0);
  EXPECT_EQ(text, &guard);
}

TEST(ParseRfString, KeepsEscapesAsWritten) {
  const std::string json = R"(line\nA\"\\)";
  char *text = nullptr;
  EXPECT_NE(parseRfString(json.c_str(), 0, Length(json), &text), 0);
  EXPECT_EQ(text, json);
  free_rfString(text);
}

TEST(ParseRfString, RefusesNullAndImpossibleArguments) {
  char *text = nullptr;
  EXPECT_EQ(parseRfString(nullptr, 0, 2, &text), 0);
  EXPECT_EQ(parseRfString("ab", 0, 2, nullptr), 0);
  EXPECT_EQ(parseRfString("ab", 2, 1, &text), 0);
  EXPECT_EQ(parseRfString("ab", -1, 1, &text), 0);
  EXPECT_EQ(text, nullptr);
}

// Repeated keys lose the earlier value: the destination is not looked at.
TEST(ParseRfString, DoesNotReleaseWhatWasThere) {
  char *text = nullptr;
  EXPECT_NE(parseRfString("ab", 0, 1, &text), 0);
  char *const first = text;
  EXPECT_NE(parseRfString("ab", 1, 2, &text), 0);
  EXPECT_STREQ(first, "a");
  EXPECT_STREQ(text, "b");
  free_rfString(first);
  free_rfString(text);
}

TEST(ParseRfTimestamp, KeepsTheTextAsWritten) {
  const std::string json = "2024-02-30T25:61:00Z";
  char *text = nullptr;
  EXPECT_EQ(parseRfTimestamp(json.c_str(), 0, Length(json), &text), 1);
  EXPECT_EQ(text, json);
  free_rfTimestamp(text);
}

TEST(ParseRfTimestamp, GivesAnEmptyStringForAnEmptyValue) {
  char *text = nullptr;
  EXPECT_EQ(parseRfTimestamp("abc", 2, 2, &text), 1);
  EXPECT_STREQ(text, "");
  free_rfTimestamp(text);
}

TEST(ParseRfTimestamp, RefusesNullAndImpossibleArguments) {
  char *text = nullptr;
  EXPECT_EQ(parseRfTimestamp(nullptr, 0, 2, &text), 0);
  EXPECT_EQ(parseRfTimestamp("ab", 0, 2, nullptr), 0);
  EXPECT_EQ(parseRfTimestamp("ab", 2, 1, &text), 0);
}

TEST(DeserializeRfLinkRef, TakesTheLinkAndItsLength) {
  rfLink link = {};
  JsonWalkContext context = {"/redfish/v1", nullptr, 0, 0, 0, 0};
  EXPECT_EQ(deserialize_rfLinkRef(&context, 0, 11, "@odata.id", 0, &link), 1);
  EXPECT_STREQ(link.odataId, "/redfish/v1");
  EXPECT_EQ(link.length, 11u);
  free_rfLink(&link);
}

TEST(DeserializeRfLinkRef, IgnoresEveryOtherKey) {
  rfLink link = {3, nullptr};
  JsonWalkContext context = {"abc", nullptr, 0, 0, 0, 0};
  for (const char *key : {"@odata.type", "@odata.i", "@odata.id ", "@Odata.id", "odata.id", ""})
    EXPECT_EQ(deserialize_rfLinkRef(&context, 0, 3, key, 0, &link), 0) << key;
  EXPECT_EQ(deserialize_rfLinkRef(&context, 0, 3, nullptr, 0, &link), 0);
  EXPECT_EQ(link.odataId, nullptr);
  EXPECT_EQ(link.length, 3u);
}

TEST(DeserializeRfLinkRef, GivesNoTextAndLengthZeroForAnEmptyLink) {
  rfLink link = {9, nullptr};
  JsonWalkContext context = {"abc", nullptr, 0, 0, 0, 0};
  EXPECT_EQ(deserialize_rfLinkRef(&context, 1, 1, "@odata.id", 0, &link), 0);
  EXPECT_EQ(link.odataId, nullptr);
  EXPECT_EQ(link.length, 0u);
}

TEST(DeserializeRfLinkRef, RefusesNullArguments) {
  rfLink link = {};
  JsonWalkContext context = {"abc", nullptr, 0, 0, 0, 0};
  EXPECT_EQ(deserialize_rfLinkRef(nullptr, 0, 3, "@odata.id", 0, &link), 0);
  EXPECT_EQ(deserialize_rfLinkRef(&context, 0, 3, "@odata.id", 0, nullptr), 0);
  context.json = nullptr;
  EXPECT_EQ(deserialize_rfLinkRef(&context, 0, 3, "@odata.id", 0, &link), 0);
}

TEST(ParseRfInteger, ReadsSigned64BitDecimals) {
  struct Row {
    const char *text;
    int64_t value;
  };
  constexpr Row kRows[] = {{"0", 0},
                           {"-5", -5},
                           {"9223372036854775807", INT64_MAX},
                           {"-9223372036854775808", INT64_MIN},
                           {"99999999999999999999", INT64_MAX},
                           {"12x", 12},
                           {"1.9", 1},
                           {"0x10", 0},
                           {"null", 0},
                           {"", 0}};
  for (const Row &row : kRows) {
    int64_t value = 77;
    EXPECT_EQ(parseRfInteger(row.text, 0, Length(row.text), &value), 1) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

TEST(ParseRfInteger, RefusesNullArguments) {
  int64_t value = 7;
  EXPECT_EQ(parseRfInteger(nullptr, 0, 1, &value), 0);
  EXPECT_EQ(parseRfInteger("1", 0, 1, nullptr), 0);
  EXPECT_EQ(value, 7);
}

TEST(ParseRfFloat, ReadsWhatAtofReads) {
  struct Row {
    const char *text;
    float value;
  };
  constexpr Row kRows[] = {{"0", 0},    {"-2.5", -2.5f}, {"1e3", 1000}, {"0.1", 0.1f},
                           {"true", 0}, {"", 0},         {"3.5x", 3.5}};
  for (const Row &row : kRows) {
    float value = 77;
    EXPECT_EQ(parseRfFloat(row.text, 0, Length(row.text), &value), 1) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
  float value = 77;
  EXPECT_EQ(parseRfFloat("1e99", 0, 4, &value), 1);
  EXPECT_TRUE(isinf(value));
}

TEST(ParseRfFloat, RefusesNullArguments) {
  float value = 7;
  EXPECT_EQ(parseRfFloat(nullptr, 0, 1, &value), 0);
  EXPECT_EQ(parseRfFloat("1", 0, 1, nullptr), 0);
  EXPECT_EQ(value, 7);
}

TEST(GetBoolean, IsZeroForExactlyFalse) {
  uint8_t value = 9;
  EXPECT_EQ(getBoolean("false", 0, 5, &value), 0);
  EXPECT_EQ(value, 0);
}

// getPrimitive() takes every prefix of "false" for false, this one does not.
TEST(GetBoolean, IsOneForAnyOtherText) {
  for (const char *text : {"true", "False", "FALSE", "0", "null", "fals", "f", "falsey", ""}) {
    uint8_t value = 9;
    EXPECT_EQ(getBoolean(text, 0, Length(text), &value), 0) << text;
    EXPECT_EQ(value, 1) << text;
  }
}

TEST(GetBoolean, IsOneWithoutStoringForNullArguments) {
  uint8_t value = 9;
  EXPECT_EQ(getBoolean(nullptr, 0, 1, &value), 1);
  EXPECT_EQ(getBoolean("1", 0, 1, nullptr), 1);
  EXPECT_EQ(getBoolean("1", 1, 0, &value), 1);
  EXPECT_EQ(value, 9);
}

TEST(ParseRfBoolean, TurnsTheResultRound) {
  uint8_t value = 9;
  EXPECT_EQ(parseRfBoolean("false", 0, 5, &value), 1);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(parseRfBoolean("False", 0, 5, &value), 1);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(parseRfBoolean(nullptr, 0, 5, &value), 0);
}

TEST(ParseRfHexString, ReadsFromTheThirdCharacterOn) {
  struct Row {
    const char *text;
    uint64_t value;
  };
  constexpr Row kRows[] = {{"0x1F", 31},
                           {"0X1f", 31},
                           {"0z1F", 31},  // the second character is not looked at
                           {"0\"1F", 31},
                           {"0x00", 0},
                           {"0x1-2", 0x12},  // what is no digit takes no place
                           {"0x--", 0},
                           {"0xgG1", 1},
                           {"0xaBcDeF", 0xABCDEF},
                           {"0x0123456789", 0x0123456789},
                           {"0xFFFFFFFFFFFFFFFF", UINT64_MAX},
                           {"0x1FFFFFFFFFFFFFFFF", UINT64_MAX},  // modulo 2^64
                           {"0x123456789ABCDEF01", 0x23456789ABCDEF01}};
  for (const Row &row : kRows) {
    uint64_t value = 77;
    EXPECT_EQ(parseRfHexString(row.text, 0, Length(row.text), &value), 1) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

TEST(ParseRfHexString, LeavesTheDestinationAloneForShortTextsAndThoseWithoutALeadingZero) {
  for (const char *text : {"0x1", "0x", "0", "12", "1F00", "x0x1F", " 0x1F"}) {
    uint64_t value = 77;
    EXPECT_EQ(parseRfHexString(text, 0, Length(text), &value), 1) << text;
    EXPECT_EQ(value, 77u) << text;
  }
}

TEST(ParseRfHexString, RefusesAnEmptyText) {
  uint64_t value = 77;
  EXPECT_EQ(parseRfHexString("0x1F", 2, 2, &value), 0);
  EXPECT_EQ(value, 77u);
}

TEST(ParseRfHexString, RefusesNullAndImpossibleArguments) {
  uint64_t value = 77;
  EXPECT_EQ(parseRfHexString(nullptr, 0, 4, &value), 0);
  EXPECT_EQ(parseRfHexString("0x1F", 0, 4, nullptr), 0);
  EXPECT_EQ(parseRfHexString("0x1F", 3, 1, &value), 0);
  EXPECT_EQ(value, 77u);
}

TEST(FreeRfString, AcceptsNull) {
  free_rfString(nullptr);
  free_rfTimestamp(nullptr);
}

TEST(FreeRfLink, ClearsTheLengthAndLeavesThePointer) {
  rfLink link = {1, static_cast<char *>(calloc(2, 1))};
  char *const text = link.odataId;
  free_rfLink(&link);
  EXPECT_EQ(link.length, 0u);
  EXPECT_EQ(link.odataId, text);
}

TEST(FreeRfLink, AcceptsNullAndAnEmptyLink) {
  free_rfLink(nullptr);
  rfLink link = {};
  free_rfLink(&link);
}

}  // namespace
