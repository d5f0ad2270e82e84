// jsoneq(), getJsonKey(), getJsonKeyAlloc(), getString() and getPrimitive().
#include <commonutilities/jsonparser.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

#include "json/document.hpp"
#include "support/locale.hpp"

namespace {

using cu_test::Document;

jsmntok_t StringToken(int32_t start, int32_t end) {
  return {JSON_TOKEN_STRING, start, end, 0, -1};
}

TEST(Token, IsFiveSigned32BitNumbers) {
  static_assert(sizeof(jsmntok_t) == 20);
  EXPECT_EQ(offsetof(jsmntok_t, type), 0u);
  EXPECT_EQ(offsetof(jsmntok_t, start), 4u);
  EXPECT_EQ(offsetof(jsmntok_t, end), 8u);
  EXPECT_EQ(offsetof(jsmntok_t, size), 12u);
  EXPECT_EQ(offsetof(jsmntok_t, parent), 16u);
}

TEST(Token, TypesAreSingleBits) {
  EXPECT_EQ(JSMN_UNDEFINED, 0);
  EXPECT_EQ(JSMN_OBJECT, 1);
  EXPECT_EQ(JSMN_ARRAY, 2);
  EXPECT_EQ(JSMN_STRING, 4);
  EXPECT_EQ(JSMN_PRIMITIVE, 8);
}

TEST(Jsoneq, IsZeroForTheExactText) {
  const Document document(R"({"ipcName":1})");
  EXPECT_EQ(jsoneq(document.json(), document.token(1), "ipcName"), 0);
}

TEST(Jsoneq, RefusesAKeyThatIsAPrefixOfTheText) {
  const Document document(R"({"ipcName":1})");
  EXPECT_EQ(jsoneq(document.json(), document.token(1), "ipc"), -1);
  EXPECT_EQ(jsoneq(document.json(), document.token(1), ""), -1);
}

TEST(Jsoneq, RefusesATextThatIsAPrefixOfTheKey) {
  const Document document(R"({"ipcName":1})");
  EXPECT_EQ(jsoneq(document.json(), document.token(1), "ipcNames"), -1);
}

TEST(Jsoneq, IsCaseSensitive) {
  const Document document(R"({"ipcName":1})");
  EXPECT_EQ(jsoneq(document.json(), document.token(1), "ipcname"), -1);
  EXPECT_EQ(jsoneq(document.json(), document.token(1), "IPCNAME"), -1);
}

TEST(Jsoneq, FindsTheEmptyText) {
  const Document document(R"({"":1})");
  EXPECT_EQ(jsoneq(document.json(), document.token(1), ""), 0);
  EXPECT_EQ(jsoneq(document.json(), document.token(1), "a"), -1);
}

TEST(Jsoneq, RefusesEveryTokenThatIsNoString) {
  const Document document(R"({"a":12,"b":[12]})");
  EXPECT_EQ(jsoneq(document.json(), document.token(0), R"({"a":12,"b":[12]})"), -1);
  EXPECT_EQ(jsoneq(document.json(), document.token(2), "12"), -1);
  EXPECT_EQ(jsoneq(document.json(), document.token(4), "[12]"), -1);
}

TEST(Jsoneq, RefusesNullArguments) {
  const Document document(R"({"a":1})");
  EXPECT_EQ(jsoneq(nullptr, document.token(1), "a"), -1);
  EXPECT_EQ(jsoneq(document.json(), nullptr, "a"), -1);
  EXPECT_EQ(jsoneq(document.json(), document.token(1), nullptr), -1);
}

TEST(Jsoneq, ReadsNothingForOffsetsThatNameNoText) {
  const jsmntok_t backwards = StringToken(5, 2);
  const jsmntok_t negative = StringToken(-1, 3);
  EXPECT_EQ(jsoneq("{}", &backwards, "a"), -1);
  EXPECT_EQ(jsoneq("{}", &negative, "a"), -1);
}

TEST(GetJsonKey, CopiesAndTerminates) {
  const Document document(R"({"logfile":"x"})");
  char key[8];
  memset(key, '#', sizeof key);
  EXPECT_EQ(getJsonKey(document.json(), document.token(1), key), 0);
  EXPECT_STREQ(key, "logfile");
}

TEST(GetJsonKey, WritesEndLessStartPlusOneBytesAndNoMore) {
  const Document document(R"({"abc":1})");
  char key[5] = {'#', '#', '#', '#', '#'};
  EXPECT_EQ(getJsonKey(document.json(), document.token(1), key), 0);
  EXPECT_EQ(std::string(key, 5), std::string("abc\0#", 5));
}

TEST(GetJsonKey, CopiesAKeyOfAnyLength) {
  const std::string name(10'000, 'k');
  const Document document("{\"" + name + "\":1}");
  std::string key(name.size() + 1, '#');
  EXPECT_EQ(getJsonKey(document.json(), document.token(1), key.data()), 0);
  EXPECT_STREQ(key.c_str(), name.c_str());
}

TEST(GetJsonKey, RefusesATokenThatIsNoStringAndWritesNothing) {
  const Document document(R"({"abc":1})");
  char key[4] = "xyz";
  EXPECT_EQ(getJsonKey(document.json(), document.token(2), key), -1);
  EXPECT_EQ(getJsonKey(document.json(), document.token(0), key), -1);
  EXPECT_STREQ(key, "xyz");
}

TEST(GetJsonKey, KeepsEscapesAsWritten) {
  const Document document(R"({"a\"\u0041":1})");
  char key[32];
  EXPECT_EQ(getJsonKey(document.json(), document.token(1), key), 0);
  EXPECT_STREQ(key, R"(a\"\u0041)");
}

TEST(GetJsonKey, RefusesNullArgumentsAndImpossibleOffsets) {
  const Document document(R"({"abc":1})");
  char key[8] = "x";
  EXPECT_EQ(getJsonKey(document.json(), document.token(1), nullptr), -1);
  EXPECT_EQ(getJsonKey(document.json(), nullptr, key), -1);
  EXPECT_EQ(getJsonKey(nullptr, document.token(1), key), -1);
  const jsmntok_t backwards = StringToken(5, 2);
  EXPECT_EQ(getJsonKey(document.json(), &backwards, key), -1);
  EXPECT_STREQ(key, "x");
}

TEST(GetJsonKey, GivesTheEmptyTextForATokenThatWasNeverFilled) {
  const jsmntok_t unfilled = StringToken(-1, -1);
  char key[2] = "x";
  EXPECT_EQ(getJsonKey("{}", &unfilled, key), 0);
  EXPECT_STREQ(key, "");
}

TEST(GetJsonKeyAlloc, GivesANewString) {
  const Document document(R"({"logfile":"x"})");
  char *key = nullptr;
  EXPECT_EQ(getJsonKeyAlloc(document.json(), document.token(1), &key), 0);
  EXPECT_STREQ(key, "logfile");
  free(key);
}

TEST(GetJsonKeyAlloc, GivesAnEmptyStringForAnEmptyKey) {
  const Document document(R"({"":1})");
  char *key = nullptr;
  EXPECT_EQ(getJsonKeyAlloc(document.json(), document.token(1), &key), 0);
  EXPECT_STREQ(key, "");
  free(key);
}

TEST(GetJsonKeyAlloc, LeavesTheOutputAloneForATokenThatIsNoString) {
  const Document document(R"({"a":[1]})");
  char guard = 0;
  char *key = &guard;
  EXPECT_EQ(getJsonKeyAlloc(document.json(), document.token(0), &key), -1);
  EXPECT_EQ(getJsonKeyAlloc(document.json(), document.token(2), &key), -1);
  EXPECT_EQ(getJsonKeyAlloc(document.json(), document.token(3), &key), -1);
  EXPECT_EQ(key, &guard);
}

TEST(GetJsonKeyAlloc, RefusesNullArguments) {
  const Document document(R"({"a":1})");
  char *key = nullptr;
  EXPECT_EQ(getJsonKeyAlloc(nullptr, document.token(1), &key), -1);
  EXPECT_EQ(getJsonKeyAlloc(document.json(), nullptr, &key), -1);
  EXPECT_EQ(getJsonKeyAlloc(document.json(), document.token(1), nullptr), -1);
}

TEST(GetString, CopiesTheTextBetweenTheOffsets) {
  char dst[4];
  memset(dst, '#', sizeof dst);
  EXPECT_EQ(getString("abcdef", 2, 4, dst), 0);
  EXPECT_EQ(std::string(dst, 4), std::string("cd\0#", 4));
}

TEST(GetString, CopiesATextOfAnyLength) {
  const std::string text(10'000, 't');
  std::string copy(text.size() + 1, '#');
  EXPECT_EQ(getString(text.c_str(), 0, static_cast<int32_t>(text.size()), copy.data()), 0);
  EXPECT_STREQ(copy.c_str(), text.c_str());
}

TEST(GetString, GivesTheEmptyStringForAnEmptyText) {
  char dst[2] = "#";
  EXPECT_EQ(getString("abc", 1, 1, dst), 0);
  EXPECT_STREQ(dst, "");
}

TEST(GetString, IsOneForANullDestination) {
  EXPECT_EQ(getString("abc", 0, 1, nullptr), 1);
}

TEST(GetString, RefusesTextsThatCannotBe) {
  char dst[2] = "#";
  EXPECT_EQ(getString(nullptr, 0, 1, dst), 1);
  EXPECT_EQ(getString("abc", 2, 1, dst), 1);
  EXPECT_EQ(getString("abc", -1, 1, dst), 1);
  EXPECT_STREQ(dst, "#");
}

// What is stored at an 8-byte destination filled with 0x55, as a hex text of its bytes.
std::string StoredBy(const std::string &text, uint32_t kind, int32_t *result = nullptr) {
  unsigned char bytes[8];
  memset(bytes, 0x55, sizeof bytes);
  const int32_t given =
      getPrimitive(text.c_str(), 0, static_cast<int32_t>(text.size()), bytes, kind);
  if (result != nullptr) *result = given;
  std::string hex;
  for (unsigned char byte : bytes) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", byte);
    hex += digits;
  }
  return hex;
}

struct NumberRow {
  uint32_t kind;
  const char *text;
  const char *stored;  // little-endian; the bytes behind the kind's width stay 55
};

constexpr NumberRow kNumberRows[] = {
    {JSON_PRIMITIVE_UINT8, "0", "0055555555555555"},
    {JSON_PRIMITIVE_UINT8, "255", "ff55555555555555"},
    {JSON_PRIMITIVE_UINT8, "300", "2c55555555555555"},         // 44, the low 8 bits
    {JSON_PRIMITIVE_UINT8, "4294967296", "ff55555555555555"},  // saturates at 32 bits first
    {JSON_PRIMITIVE_UINT8, "-1", "ff55555555555555"},
    {JSON_PRIMITIVE_UINT8, "", "0055555555555555"},
    {JSON_PRIMITIVE_UINT8, "null", "0055555555555555"},
    {JSON_PRIMITIVE_UINT16, "65535", "ffff555555555555"},
    {JSON_PRIMITIVE_UINT16, "65536", "0000555555555555"},
    {JSON_PRIMITIVE_UINT16, "70000", "7011555555555555"},
    {JSON_PRIMITIVE_UINT32, "4294967295", "ffffffff55555555"},
    {JSON_PRIMITIVE_UINT32, "4294967296", "ffffffff55555555"},
    {JSON_PRIMITIVE_UINT32, "-1", "ffffffff55555555"},  // negated modulo 2^32
    {JSON_PRIMITIVE_UINT32, "-2", "feffffff55555555"},
    {JSON_PRIMITIVE_UINT32, "12ab", "0c00000055555555"},
    {JSON_PRIMITIVE_UINT64, "18446744073709551615", "ffffffffffffffff"},
    {JSON_PRIMITIVE_UINT64, "18446744073709551616", "ffffffffffffffff"},
    {JSON_PRIMITIVE_UINT64, "4294967296", "0000000001000000"},
    {JSON_PRIMITIVE_INT8, "-1", "ff55555555555555"},
    {JSON_PRIMITIVE_INT8, "128", "8055555555555555"},
    {JSON_PRIMITIVE_INT8, "2147483648", "ff55555555555555"},   // INT32_MAX
    {JSON_PRIMITIVE_INT8, "-2147483649", "0055555555555555"},  // INT32_MIN
    {JSON_PRIMITIVE_INT16, "-32768", "0080555555555555"},
    {JSON_PRIMITIVE_INT16, "65537", "0100555555555555"},
    {JSON_PRIMITIVE_INT32, "-2147483648", "0000008055555555"},
    {JSON_PRIMITIVE_INT32, "2147483648", "ffffff7f55555555"},
    {JSON_PRIMITIVE_INT32, "-99999999999", "0000008055555555"},
    {JSON_PRIMITIVE_INT32, "1e3", "0100000055555555"},
    {JSON_PRIMITIVE_INT32, "0x10", "0000000055555555"},  // base 10
    {JSON_PRIMITIVE_INT32, "010", "0a00000055555555"},
    {JSON_PRIMITIVE_INT64, "-9223372036854775808", "0000000000000080"},
    {JSON_PRIMITIVE_INT64, "9223372036854775808", "ffffffffffffff7f"},
    {JSON_PRIMITIVE_INT64, "true", "0000000000000000"},
    {JSON_PRIMITIVE_FLOAT, "1.5", "0000c03f55555555"},
    {JSON_PRIMITIVE_FLOAT, "-2e1", "0000a0c155555555"},
    {JSON_PRIMITIVE_FLOAT, "1e99", "0000807f55555555"},  // infinity
    {JSON_PRIMITIVE_FLOAT, "x", "0000000055555555"},
    {JSON_PRIMITIVE_DOUBLE, "1.5", "000000000000f83f"},
    {JSON_PRIMITIVE_DOUBLE, "", "0000000000000000"},
};

TEST(GetPrimitive, StoresEachKindInItsWidth) {
  for (const NumberRow &row : kNumberRows) {
    SCOPED_TRACE(std::string(row.text) + " as kind " + std::to_string(row.kind));
    int32_t result = -1;
    EXPECT_EQ(StoredBy(row.text, row.kind, &result), row.stored);
    EXPECT_EQ(result, 0);
  }
}

TEST(GetPrimitive, BooleanIsZeroForEveryPrefixOfFalse) {
  for (const char *text : {"", "f", "fa", "fal", "fals", "false"})
    EXPECT_EQ(StoredBy(text, JSON_PRIMITIVE_BOOLEAN), "0055555555555555") << text;
}

TEST(GetPrimitive, BooleanIsOneForAnythingElse) {
  for (const char *text : {"true", "1", "0", "null", "False", "FALSE", "falsey", "alse", "x"})
    EXPECT_EQ(StoredBy(text, JSON_PRIMITIVE_BOOLEAN), "0155555555555555") << text;
}

TEST(GetPrimitive, RefusesKindsAboveTenAndStoresNothing) {
  for (uint32_t kind : {11u, 12u, 255u, UINT32_MAX}) {
    int32_t result = 0;
    EXPECT_EQ(StoredBy("7", kind, &result), "5555555555555555") << kind;
    EXPECT_EQ(result, 1) << kind;
  }
}

TEST(GetPrimitive, ReadsOnlyBetweenTheOffsets) {
  int32_t value = 0;
  EXPECT_EQ(getPrimitive("123456", 1, 3, &value, JSON_PRIMITIVE_INT32), 0);
  EXPECT_EQ(value, 23);
}

TEST(GetPrimitive, ReadsTextsLongerThanAnyNumber) {
  const std::string zeros(5000, '0');
  uint32_t value = 0;
  EXPECT_EQ(getPrimitive((zeros + "42").c_str(), 0, 5002, &value, JSON_PRIMITIVE_UINT32), 0);
  EXPECT_EQ(value, 42u);
  for (int32_t length : {62, 63, 64, 65}) {
    const std::string digits(static_cast<size_t>(length), '9');
    EXPECT_EQ(getPrimitive(digits.c_str(), 0, length, &value, JSON_PRIMITIVE_UINT32), 0);
    EXPECT_EQ(value, UINT32_MAX) << length;
  }
}

TEST(GetPrimitive, RefusesNullAndImpossibleArguments) {
  uint32_t value = 9;
  EXPECT_EQ(getPrimitive("1", 0, 1, nullptr, JSON_PRIMITIVE_UINT32), 1);
  EXPECT_EQ(getPrimitive(nullptr, 0, 1, &value, JSON_PRIMITIVE_UINT32), 1);
  EXPECT_EQ(getPrimitive("1", 1, 0, &value, JSON_PRIMITIVE_UINT32), 1);
  EXPECT_EQ(getPrimitive("1", -4, 1, &value, JSON_PRIMITIVE_UINT32), 1);
  EXPECT_EQ(value, 9u);
}

TEST(GetPrimitive, StoresAtUnalignedPlaces) {
  alignas(8) unsigned char bytes[9] = {};
  EXPECT_EQ(getPrimitive("1.5", 0, 3, bytes + 1, JSON_PRIMITIVE_DOUBLE), 0);
  double value = 0;
  memcpy(&value, bytes + 1, sizeof value);
  EXPECT_EQ(value, 1.5);
}

// The decimal sign is the locale's: a process that calls setlocale() reads "1.5" as 1.
TEST(GetPrimitive, FollowsTheLocaleOfTheProcess) {
  const cu_test::DecimalPointLocale locale(",");
  if (!locale.works()) GTEST_SKIP() << "no locale with a decimal comma can be made here";
  double value = 0;
  EXPECT_EQ(getPrimitive("1,5", 0, 3, &value, JSON_PRIMITIVE_DOUBLE), 0);
  EXPECT_EQ(value, 1.5);
  EXPECT_EQ(getPrimitive("1.5", 0, 3, &value, JSON_PRIMITIVE_DOUBLE), 0);
  EXPECT_EQ(value, 1);
}

}  // namespace
