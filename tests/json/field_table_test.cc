// Records read by tables of their fields.
#include "json/field_table.hpp"

#include <gtest/gtest.h>
#include <malloc.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "json/value_text.hpp"
#include "support/faults.hpp"

namespace {

using cu::FieldKind;
using cu_test::Call;
using cu_test::Fault;

struct Blade {
  int64_t length;
  char *name;
};

struct BladeArray {
  uint32_t count;
  Blade *list;
};

struct Fan {
  char *name;
  int64_t wide;
  uint8_t narrow8;
  uint16_t narrow16;
  uint32_t narrow32;
  uint8_t address;
  uint8_t enabled;
  uint32_t mode;
  rfStringArray tags;
  BladeArray blades;
  Blade spare;
};

struct FanArray {
  uint32_t count;
  Fan *list;
};

int32_t DeserializeBlade(JsonWalkContext *, int32_t, int32_t, const char *, uint32_t, void *);
int32_t DeserializeBladeArray(JsonWalkContext *, int32_t, int32_t, const char *, uint32_t, void *);

void ReadMode(const char *json, int32_t start, int32_t end, void *field) {
  const auto text = cu::ValueText(json, start, end);
  *static_cast<uint32_t *>(field) = text && cu::AgreeOverShorter(*text, "silent") ? 1 : 2;
}

constexpr cu::Field kBladeFields[] = {
    {"length", FieldKind::kInteger, offsetof(Blade, length)},
    {"name", FieldKind::kString, offsetof(Blade, name)},
};

constexpr cu::Field kFanFields[] = {
    {"name", FieldKind::kString, offsetof(Fan, name)},
    {"wide", FieldKind::kInteger, offsetof(Fan, wide)},
    {"narrow8", FieldKind::kUint8, offsetof(Fan, narrow8)},
    {"narrow16", FieldKind::kUint16, offsetof(Fan, narrow16)},
    {"narrow32", FieldKind::kUint32, offsetof(Fan, narrow32)},
    {"address", FieldKind::kHexUint8, offsetof(Fan, address)},
    {"enabled", FieldKind::kBoolean, offsetof(Fan, enabled)},
    {"mode", ReadMode, offsetof(Fan, mode)},
    {"tags", FieldKind::kStringArray, offsetof(Fan, tags)},
    {"blades", DeserializeBladeArray, offsetof(Fan, blades)},
    {"spare", DeserializeBlade, offsetof(Fan, spare)},
};

int32_t DeserializeBlade(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                         uint32_t, void *blade) {
  return cu::ReadField(kBladeFields, {context, start, end, key}, blade);
}

int32_t DeserializeBladeArray(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                              uint32_t index, void *blades) {
  return cu::ReadElementField<BladeArray>(kBladeFields, {context, start, end, key}, index, blades);
}

int32_t DeserializeFan(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                       uint32_t, void *fan) {
  return cu::ReadField(kFanFields, {context, start, end, key}, fan);
}

void FreeBlade(Blade *blade) {
  free(blade->name);
}
void FreeBladeArray(BladeArray *blades) {
  cu::ReleaseList(blades, FreeBlade);
}

void FreeFan(Fan &fan) {
  free(fan.name);
  free_rfStringArray(&fan.tags);
  FreeBladeArray(&fan.blades);
  FreeBlade(&fan.spare);
}

int32_t ReadFan(const char *json, jsmntok_t *tokens, const char *label, uint32_t count, void *fan) {
  return cu::WalkDocument(json, tokens, label, count, fan, DeserializeFan);
}

Fan FanOf(const std::string &text) {
  Fan fan = {};
  EXPECT_EQ(parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 1, ReadFan, &fan), 1);
  return fan;
}

// ---- kinds --------------------------------------------------------------------------------------

TEST(FieldTable, ReadsEveryKind) {
  Fan fan = FanOf(R"({"name":"left","wide":-5000000000,"narrow8":200,"narrow16":60000,)"
                  R"("narrow32":4000000000,"address":"0x2f","enabled":true,"mode":"silent",)"
                  R"("tags":["a","b"],"blades":[{"length":1},{"length":2,"name":"x"}],)"
                  R"("spare":{"name":"s","length":3}})");
  EXPECT_STREQ(fan.name, "left");
  EXPECT_EQ(fan.wide, -5000000000);
  EXPECT_EQ(fan.narrow8, 200);
  EXPECT_EQ(fan.narrow16, 60000);
  EXPECT_EQ(fan.narrow32, 4000000000u);
  EXPECT_EQ(fan.address, 0x2f);
  EXPECT_EQ(fan.enabled, 1);
  EXPECT_EQ(fan.mode, 1u);
  ASSERT_EQ(fan.tags.count, 2u);
  EXPECT_STREQ(fan.tags.list[1].text, "b");
  ASSERT_EQ(fan.blades.count, 2u);
  EXPECT_EQ(fan.blades.list[0].length, 1);
  EXPECT_EQ(fan.blades.list[0].name, nullptr);
  EXPECT_EQ(fan.blades.list[1].length, 2);
  EXPECT_STREQ(fan.blades.list[1].name, "x");
  EXPECT_STREQ(fan.spare.name, "s");
  EXPECT_EQ(fan.spare.length, 3);
  FreeFan(fan);
}

TEST(FieldTable, KeepsTheLowBitsOfIntegersThatDoNotFit) {
  const Fan fan = FanOf(R"({"narrow8":258,"narrow16":-1,"narrow32":8589934593,)"
                        R"("address":"0x1ff"})");
  EXPECT_EQ(fan.narrow8, 2);
  EXPECT_EQ(fan.narrow16, 0xFFFF);
  EXPECT_EQ(fan.narrow32, 1u);
  EXPECT_EQ(fan.address, 0xff);
}

TEST(FieldTable, WritesNothingBesideANarrowField) {
  struct {
    uint8_t before, field, after;
  } record = {0x55, 0, 0x55};
  constexpr cu::Field kFields[] = {{"f", FieldKind::kUint8, 1}};
  jsmntok_t token = {JSON_TOKEN_PRIMITIVE, 0, 5, 0, -1};
  JsonWalkContext context = {"65535", &token, 0, 0, 1, 0};
  EXPECT_EQ(cu::ReadField(kFields, {&context, 0, 5, "f"}, &record), 1);
  EXPECT_EQ(record.before, 0x55);
  EXPECT_EQ(record.field, 0xFF);
  EXPECT_EQ(record.after, 0x55);
}

TEST(FieldTable, LeavesZeroForAHexTextTooShortToConvert) {
  EXPECT_EQ(FanOf(R"({"address":"0x1"})").address, 0);
}

// ---- results ------------------------------------------------------------------------------------

/// The result of reading one value, which is the whole text, under a key.
int32_t ResultOf(const char *key, const char *value, Fan &fan) {
  jsmntok_t token = {JSON_TOKEN_STRING, 0, static_cast<int32_t>(strlen(value)), 0, -1};
  JsonWalkContext context = {value, &token, 0, 0, 1, 0};
  return DeserializeFan(&context, token.start, token.end, key, 0, &fan);
}

TEST(FieldTable, ReturnsTheReadersResult) {
  Fan fan = {};
  for (const char *key : {"name", "wide", "narrow8", "narrow16", "narrow32", "address", "enabled"})
    EXPECT_EQ(ResultOf(key, "7", fan), 1) << key;
  EXPECT_EQ(ResultOf("name", "", fan), 0);
  EXPECT_EQ(ResultOf("address", "", fan), 0);
  FreeFan(fan);
}

TEST(FieldTable, ReturnsZeroForAnEnumerationThatWasStored) {
  Fan fan = {};
  EXPECT_EQ(ResultOf("mode", "loud", fan), 0);
  EXPECT_EQ(fan.mode, 2u);
  EXPECT_EQ(ResultOf("mode", "sil", fan), 0);
  EXPECT_EQ(fan.mode, 1u);
}

TEST(FieldTable, ReturnsZeroForUnknownKeys) {
  Fan fan = {};
  for (const char *key : {"", "n", "nam", "names", "Name", "narrow", "narrow81", "unknown"})
    EXPECT_EQ(ResultOf(key, "7", fan), 0) << key;
  const std::string long_key(1000, 'n');
  EXPECT_EQ(ResultOf(long_key.c_str(), "7", fan), 0);
  const Fan untouched = {};
  EXPECT_EQ(memcmp(&fan, &untouched, sizeof fan), 0);
}

TEST(FieldTable, ReturnsZeroForNullArguments) {
  Fan fan = {};
  jsmntok_t token = {JSON_TOKEN_STRING, 0, 1, 0, -1};
  JsonWalkContext context = {"7", &token, 0, 0, 1, 0};
  JsonWalkContext without_tokens = {"7", nullptr, 0, 0, 1, 0};
  JsonWalkContext without_text = {nullptr, &token, 0, 0, 1, 0};
  EXPECT_EQ(DeserializeFan(&context, 0, 1, nullptr, 0, &fan), 0);
  EXPECT_EQ(DeserializeFan(&context, 0, 1, "name", 0, nullptr), 0);
  EXPECT_EQ(DeserializeFan(nullptr, 0, 1, "name", 0, &fan), 0);
  EXPECT_EQ(DeserializeFan(&without_tokens, 0, 1, "name", 0, &fan), 0);
  for (const char *key :
       {"name", "wide", "narrow8", "address", "enabled", "mode", "tags", "blades", "spare"})
    EXPECT_EQ(DeserializeFan(&without_text, 0, 1, key, 0, &fan), 0) << key;
  EXPECT_EQ(DeserializeBladeArray(&context, 0, 1, "name", 0, nullptr), 0);
}

TEST(FieldTable, ReadsAKeyThatStandsInItTwiceTwice) {
  static int reads = 0;
  constexpr cu::EnumerationReader kCount = [](const char *, int32_t, int32_t, void *) { ++reads; };
  const cu::Field fields[] = {{"k", kCount, 0}, {"x", kCount, 0}, {"k", kCount, 0}};
  jsmntok_t token = {JSON_TOKEN_STRING, 0, 1, 0, -1};
  JsonWalkContext context = {"7", &token, 0, 0, 1, 0};
  int record = 0;
  EXPECT_EQ(cu::ReadField(fields, {&context, 0, 1, "k"}, &record), 0);
  EXPECT_EQ(reads, 2);
}

TEST(FieldTable, ReadsARepeatedKeyIntoTheSameField) {
  const Fan fan = FanOf(R"({"wide":1,"wide":2})");
  EXPECT_EQ(fan.wide, 2);
}

// ---- lists --------------------------------------------------------------------------------------

TEST(FieldTable, GrowsAListToAnIndexBeyondItsCount) {
  Fan fan = FanOf(R"({"blades":[{},{},{"length":7},{}]})");
  ASSERT_EQ(fan.blades.count, 3u);
  EXPECT_EQ(fan.blades.list[0].length, 0);
  EXPECT_EQ(fan.blades.list[1].name, nullptr);
  EXPECT_EQ(fan.blades.list[2].length, 7);
  FreeFan(fan);
}

// Elements are made for whatever comes in a list, also for primitives, which have no key.
TEST(FieldTable, GrowsAListForElementsWithoutAKey) {
  Fan fan = FanOf(R"({"blades":[1,2]})");
  EXPECT_EQ(fan.blades.count, 2u);
  FreeFan(fan);
}

TEST(FieldTable, GoesOnBehindNestedValues) {
  Fan fan = FanOf(R"({"blades":[{"length":1}],"spare":{"length":2},"tags":[],"wide":3})");
  EXPECT_EQ(fan.wide, 3);
  FreeFan(fan);
}

// Short lists do not move: the first element takes room for what the document's array announces.
TEST(FieldTable, TakesRoomForTheElementsThatTheArrayAnnounces) {
  jsmntok_t tokens[] = {{JSON_TOKEN_ARRAY, 0, 1, 4, -1},
                        {JSON_TOKEN_OBJECT, 0, 1, 1, 0},
                        {JSON_TOKEN_STRING, 0, 1, 1, 1},
                        {JSON_TOKEN_PRIMITIVE, 0, 1, 0, 2}};
  JsonWalkContext context = {"7", tokens, 3, 0, 4, 0};
  BladeArray blades = {};
  EXPECT_EQ(DeserializeBladeArray(&context, 0, 1, "length", 0, &blades), 1);
  EXPECT_EQ(blades.count, 1u);
  EXPECT_GE(malloc_usable_size(blades.list), 4 * sizeof(Blade));
  FreeBladeArray(&blades);
}

TEST(FieldTable, FillsListsThatAreFarLongerThanTheRoomTakenAtOnce) {
  std::string text = R"({"blades":[{"length":0})";
  for (int i = 1; i < 500; ++i) text += R"(,{"length":)" + std::to_string(i) + "}";
  Fan fan = FanOf(text + "]}");
  ASSERT_EQ(fan.blades.count, 500u);
  for (int i = 0; i < 500; ++i) EXPECT_EQ(fan.blades.list[i].length, i);
  FreeFan(fan);
}

TEST(ElementsOfArray, IsTheSizeOfTheArrayAroundTheObjectOfTheProperty) {
  // 0 array, 1 object, 2 "a", 3 1, 4 object, 5 "b", 6 [2], 7 2
  jsmntok_t tokens[] = {{JSON_TOKEN_ARRAY, 0, 9, 2, -1}, {JSON_TOKEN_OBJECT, 1, 3, 1, 0},
                        {JSON_TOKEN_STRING, 1, 2, 1, 1}, {JSON_TOKEN_PRIMITIVE, 2, 3, 0, 2},
                        {JSON_TOKEN_OBJECT, 4, 9, 1, 0}, {JSON_TOKEN_STRING, 5, 6, 1, 4},
                        {JSON_TOKEN_ARRAY, 6, 8, 1, 5},  {JSON_TOKEN_PRIMITIVE, 7, 8, 0, 6}};
  constexpr uint32_t kExpected[] = {0, 0, 0, 2, 0, 0, 2, 0};
  JsonWalkContext context = {"", tokens, 0, 0, 8, 0};
  for (uint32_t i = 0; i < 8; ++i) {
    context.current = i;
    EXPECT_EQ(cu::ElementsOfArray(&context), kExpected[i]) << i;
  }
  context.current = 8;
  EXPECT_EQ(cu::ElementsOfArray(&context), 0u);
  EXPECT_EQ(cu::ElementsOfArray(nullptr), 0u);
}

TEST(ElementsOfArray, IsZeroWhereTheLinksLeadAstray) {
  for (int32_t link : {-1, INT32_MIN, 4, INT32_MAX}) {
    for (int broken = 1; broken < 4; ++broken) {
      jsmntok_t tokens[] = {{JSON_TOKEN_ARRAY, 0, 9, 2, -1},
                            {JSON_TOKEN_OBJECT, 1, 3, 1, 0},
                            {JSON_TOKEN_STRING, 1, 2, 1, 1},
                            {JSON_TOKEN_PRIMITIVE, 2, 3, 0, 2}};
      tokens[broken].parent = link;
      JsonWalkContext context = {"", tokens, 3, 0, 4, 0};
      EXPECT_EQ(cu::ElementsOfArray(&context), 0u);
    }
  }
  jsmntok_t negative[] = {{JSON_TOKEN_ARRAY, 0, 9, -7, -1},
                          {JSON_TOKEN_OBJECT, 1, 3, 1, 0},
                          {JSON_TOKEN_STRING, 1, 2, 1, 1},
                          {JSON_TOKEN_PRIMITIVE, 2, 3, 0, 2}};
  JsonWalkContext context = {"", negative, 3, 0, 4, 0};
  EXPECT_EQ(cu::ElementsOfArray(&context), 0u);
}

TEST(GrowToIndex, TakesNoMoreThanAFewElementsAhead) {
  uint32_t count = 0;
  char *list = nullptr;
  ASSERT_TRUE(cu::GrowToIndex(count, list, 0, UINT32_MAX));
  EXPECT_EQ(count, 1u);
  EXPECT_LT(malloc_usable_size(list), 100u);
  free(list);
}

template <typename Release>
BladeArray GrownWithoutMemory(BladeArray blades, Release release) {
  jsmntok_t token = {JSON_TOKEN_PRIMITIVE, 0, 1, 0, -1};
  JsonWalkContext context = {"7", &token, 0, 0, 1, 0};
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(cu::ReadElementField<BladeArray>(kBladeFields, {&context, 0, 1, "length"}, blades.count,
                                             &blades, release),
            0);
  return blades;
}

BladeArray OneBlade() {
  return {1, static_cast<Blade *>(calloc(1, sizeof(Blade)))};
}

TEST(FieldTable, LosesTheElementsOfAListThatCannotGrow) {
  const BladeArray before = OneBlade();
  const BladeArray after = GrownWithoutMemory(before, nullptr);
  EXPECT_EQ(after.count, 0u);
  EXPECT_EQ(after.list, nullptr);
  before.list->length = 1;  // still there
  free(before.list);
}

TEST(FieldTable, ReleasesTheElementsOfAListThatCannotGrowWhereARecordWantsIt) {
  BladeArray blades = OneBlade();
  blades.list->name = strdup("x");
  const BladeArray after = GrownWithoutMemory(blades, FreeBladeArray);
  EXPECT_EQ(after.count, 0u);
  EXPECT_EQ(after.list, nullptr);  // LeakSanitizer would tell
}

TEST(FieldTable, LeavesAnEmptyListEmptyWithoutMemory) {
  for (auto release : {static_cast<void (*)(BladeArray *)>(nullptr), FreeBladeArray}) {
    const BladeArray after = GrownWithoutMemory({0, nullptr}, release);
    EXPECT_EQ(after.count, 0u);
    EXPECT_EQ(after.list, nullptr);
  }
}

TEST(ReleaseList, AcceptsNullAndEmptyLists) {
  FreeBladeArray(nullptr);
  BladeArray blades = {4, nullptr};
  FreeBladeArray(&blades);
}

TEST(ElementAt, BeginsANewListForACountOfZero) {
  Blade stale;
  BladeArray blades = {0, &stale};
  Blade *const element = cu::ElementAt(blades, 0);
  ASSERT_NE(element, nullptr);
  EXPECT_NE(element, &stale);
  EXPECT_EQ(blades.count, 1u);
  free(blades.list);
}

// ---- comparing over the shorter text ------------------------------------------------------------

TEST(AgreeOverShorter, ComparesAsFarAsBothGo) {
  EXPECT_TRUE(cu::AgreeOverShorter("", "name"));
  EXPECT_TRUE(cu::AgreeOverShorter("n", "name"));
  EXPECT_TRUE(cu::AgreeOverShorter("name", "name"));
  EXPECT_TRUE(cu::AgreeOverShorter("names", "name"));
  EXPECT_TRUE(cu::AgreeOverShorter("x", ""));
  EXPECT_FALSE(cu::AgreeOverShorter("Name", "name"));
  EXPECT_FALSE(cu::AgreeOverShorter("nane", "name"));
  EXPECT_FALSE(cu::AgreeOverShorter("nx", "name"));
}

// ---- whole documents ----------------------------------------------------------------------------

TEST(WalkDocument, ReturnsOneForNullArgumentsAndZeroOtherwise) {
  jsmntok_t token = {JSON_TOKEN_OBJECT, 0, 2, 0, -1};
  Fan fan = {};
  EXPECT_EQ(ReadFan("{}", &token, "l", 1, &fan), 0);
  EXPECT_EQ(ReadFan(nullptr, &token, "l", 1, &fan), 1);
  EXPECT_EQ(ReadFan("{}", nullptr, "l", 1, &fan), 1);
  EXPECT_EQ(ReadFan("{}", &token, nullptr, 1, &fan), 1);
  EXPECT_EQ(ReadFan("{}", &token, "l", 1, nullptr), 1);
}

}  // namespace
