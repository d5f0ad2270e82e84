#include "include/filedictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "support/files.hpp"
#include "support/leaks.hpp"
#include "support/records.hpp"

namespace {

using cu_test::Give;
using cu_test::MayLeak;
using cu_test::OpenDescriptors;
using cu_test::ReadText;
using cu_test::TempDir;
using cu_test::WriteFile;

constexpr JsonTokenType kPrimitive = JSON_TOKEN_PRIMITIVE;

// ---- loading ------------------------------------------------------------------------------------

class Loading : public testing::Test {
 protected:
  /// A directory text as the loaders want it, with a "/" at its end.
  std::string Directory() const { return dir_.path() + "/"; }
  void Put(const std::string &file, const std::string &text) { WriteFile(dir_.file(file), text); }

  TempDir dir_;
};

const std::string kDictionary = R"({
  "version": "7", "src_root_path": "/from/", "dest_root_path": "/to/",
  "forceRecoveryFile": "/flag",
  "filelist": [
    { "filename": [ "a", "b*" ], "fileNameExclude": [ "b1" ], "action": "merge",
      "restoredefault": "remove", "preserve": "preserve", "grouping": [ "net", "core" ],
      "always": true, "isdirectory": false },
    { "filename": [ "dir" ], "isdirectory": true } ] })";

void ExpectTheDictionary(const rfAEFileDictionary &dictionary) {
  EXPECT_STREQ("7", dictionary.version);
  EXPECT_STREQ("/from/", dictionary.src_root_path);
  EXPECT_STREQ("/to/", dictionary.dest_root_path);
  EXPECT_STREQ("/flag", dictionary.forceRecoveryFile);
  ASSERT_EQ(2U, dictionary.filelist.count);
  const rfAEFileActionList &first = dictionary.filelist.list[0];
  ASSERT_EQ(2U, first.filename.count);
  EXPECT_STREQ("a", first.filename.list[0].text);
  EXPECT_STREQ("b*", first.filename.list[1].text);
  ASSERT_EQ(1U, first.fileNameExclude.count);
  EXPECT_STREQ("b1", first.fileNameExclude.list[0].text);
  EXPECT_EQ(2, first.action);
  EXPECT_EQ(3, first.restoredefault);
  EXPECT_EQ(1, first.preserve);
  ASSERT_EQ(2U, first.grouping.count);
  EXPECT_STREQ("core", first.grouping.list[1].text);
  EXPECT_EQ(1, first.always);
  EXPECT_EQ(0, first.isdirectory);
  const rfAEFileActionList &second = dictionary.filelist.list[1];
  EXPECT_EQ(1U, second.filename.count);
  EXPECT_EQ(0U, second.fileNameExclude.count);
  EXPECT_EQ(0, second.action);
  EXPECT_EQ(0, second.always);
  EXPECT_EQ(1, second.isdirectory);
}

TEST_F(Loading, OfADictionaryReadsEveryKey) {
  Put("files.json", kDictionary);
  rfAEFileDictionary dictionary;
  memset(&dictionary, 0x55, sizeof dictionary);
  ASSERT_EQ(1, ParserJSONFileDictionary(Directory().c_str(), "files.json", &dictionary));
  ExpectTheDictionary(dictionary);
  free_rfAEFileDictionary(&dictionary);
}

TEST_F(Loading, JoinsTheTextsWithoutASeparator) {
  Put("files.json", kDictionary);
  rfAEFileDictionary dictionary;
  EXPECT_EQ(0, ParserJSONFileDictionary(dir_.path().c_str(), "files.json", &dictionary));
  ASSERT_EQ(1, ParserJSONFileDictionary((dir_.path() + "/fil").c_str(), "es.json", &dictionary));
  EXPECT_EQ(2U, dictionary.filelist.count);
  free_rfAEFileDictionary(&dictionary);
}

TEST_F(Loading, OfAMissingFileGivesZeroAndAClearedRecord) {
  rfAEFileDictionary dictionary;
  const rfAEFileDictionary zeroed = {};
  memset(&dictionary, 0x55, sizeof dictionary);
  EXPECT_EQ(0, ParserJSONFileDictionary(Directory().c_str(), "none.json", &dictionary));
  EXPECT_EQ(0, memcmp(&dictionary, &zeroed, sizeof dictionary));
}

TEST_F(Loading, OfAMalformedFileGivesZeroAndLosesADescriptor) {
  const MayLeak may_leak;
  Put("files.json", "{ \"version\": }}");
  rfAEFileDictionary dictionary;
  const long before = OpenDescriptors();
  EXPECT_EQ(0, ParserJSONFileDictionary(Directory().c_str(), "files.json", &dictionary));
  EXPECT_EQ(before + 1, OpenDescriptors());
}

TEST_F(Loading, OfAnEmptyFileSucceedsWithAnEmptyRecord) {
  Put("files.json", "");
  rfAEFileDictionary dictionary;
  EXPECT_EQ(1, ParserJSONFileDictionary(Directory().c_str(), "files.json", &dictionary));
  EXPECT_EQ(0U, dictionary.filelist.count);
  EXPECT_EQ(nullptr, dictionary.version);
}

TEST_F(Loading, WithoutAnArgumentGivesMinusOneAndLeavesTheRecord) {
  rfAEFileDictionary dictionary, untouched;
  memset(&dictionary, 0x55, sizeof dictionary);
  memset(&untouched, 0x55, sizeof untouched);
  EXPECT_EQ(-1, ParserJSONFileDictionary(nullptr, "files.json", &dictionary));
  EXPECT_EQ(-1, ParserJSONFileDictionary(Directory().c_str(), nullptr, &dictionary));
  EXPECT_EQ(-1, ParserJSONFileDictionary(Directory().c_str(), "files.json", nullptr));
  EXPECT_EQ(-1, ParserJSONFileDictionaryArray(nullptr, "files.json", &dictionary));
  EXPECT_EQ(-1, ParserJSONFileDictionaryArray(Directory().c_str(), nullptr, &dictionary));
  EXPECT_EQ(-1, ParserJSONFileDictionaryArray(Directory().c_str(), "files.json", nullptr));
  EXPECT_EQ(0, memcmp(&dictionary, &untouched, sizeof dictionary));
}

TEST_F(Loading, OfAnArrayReadsItsObjects) {
  Put("all.json", "{ \"objects\": [ " + kDictionary + ", { \"version\": \"8\" }, " + kDictionary +
                      " ], \"unknown\": 1 }");
  rfAEFileDictionaryArray dictionaries;
  ASSERT_EQ(1, ParserJSONFileDictionaryArray(Directory().c_str(), "all.json", &dictionaries));
  ASSERT_EQ(3U, dictionaries.count);
  ExpectTheDictionary(dictionaries.list[0]);
  EXPECT_STREQ("8", dictionaries.list[1].version);
  EXPECT_EQ(0U, dictionaries.list[1].filelist.count);
  ExpectTheDictionary(dictionaries.list[2]);
  free_rfAEFileDictionaryArray(&dictionaries);
}

TEST_F(Loading, OfAnArrayWithoutObjectsLeavesAnEmptyList) {
  for (const std::string &text : {kDictionary, std::string("{}"), std::string("{\"object\":[{}]}"),
                                  std::string("[]"), std::string("")}) {
    Put("all.json", text);
    rfAEFileDictionaryArray dictionaries;
    memset(&dictionaries, 0x55, sizeof dictionaries);
    EXPECT_EQ(1, ParserJSONFileDictionaryArray(Directory().c_str(), "all.json", &dictionaries));
    EXPECT_EQ(0U, dictionaries.count) << text;
    EXPECT_EQ(nullptr, dictionaries.list) << text;
  }
}

TEST_F(Loading, OfAnArrayClears24Bytes) {
  EXPECT_EQ(24U, sizeof(rfAEFileDictionaryArray));
  unsigned char area[32];
  memset(area, 0x55, sizeof area);
  EXPECT_EQ(0, ParserJSONFileDictionaryArray(Directory().c_str(), "none.json", area));
  for (size_t i = 0; i < sizeof area; ++i) EXPECT_EQ(i < 24 ? 0 : 0x55, area[i]) << i;
}

TEST(DocumentCallbacks, GiveOneWithoutAnArgument) {
  rfAEFileDictionaryArray record = {};
  jsmntok_t token = {JSON_TOKEN_OBJECT, 0, 2, 0, -1};
  for (const JsonDocumentCallback callback :
       {ParserJSONFileDictionaryMethod, ParserJSONFileDictionaryArrayMethod}) {
    EXPECT_EQ(1, callback(nullptr, &token, "dictionary", 1, &record));
    EXPECT_EQ(1, callback("{}", nullptr, "dictionary", 1, &record));
    EXPECT_EQ(1, callback("{}", &token, nullptr, 1, &record));
    EXPECT_EQ(1, callback("{}", &token, "dictionary", 1, nullptr));
    EXPECT_EQ(0, callback("{}", &token, "dictionary", 1, &record));
  }
}

TEST(DocumentCallbacks, GiveZeroWhateverTheWalkGives) {
  const std::string text = R"({"unknown":1})";
  rfAEFileDictionary dictionary = {};
  jsmntok_t tokens[] = {{JSON_TOKEN_OBJECT, 0, 13, 1, -1},
                        {JSON_TOKEN_STRING, 2, 9, 1, 0},
                        {kPrimitive, 11, 12, 0, 1}};
  EXPECT_EQ(0, ParserJSONFileDictionaryMethod(text.c_str(), tokens, "x", 3, &dictionary));
}

// ---- actions ------------------------------------------------------------------------------------

const struct {
  std::string text;
  uint8_t action;
} kActions[] = {{"overwrite", 0},  {"preserve", 1}, {"merge", 2},  {"remove", 3},
                {"Merge", 4},      {"MERGE", 4},    {"", 4},       {"merg", 4},
                {"merged", 4},     {"merge ", 4},   {"null", 4},   {std::string(1 << 20, 'm'), 4},
                {"overwrites", 4}, {"remov", 4},    {" merge", 4}, {std::string("merge\0", 6), 4}};

TEST(FiledataTypeActionToEnum, StoresTheNumberOfTheExactTextAndGivesZero) {
  for (const auto &row : kActions) {
    uint8_t action = 99;
    EXPECT_EQ(0, filedataTypeActionToEnum(row.text.c_str(), 0,
                                          static_cast<int32_t>(row.text.size()), &action));
    EXPECT_EQ(row.action, action) << row.text.substr(0, 20);
  }
}

TEST(FiledataTypeActionToEnum, ReadsBetweenItsOffsets) {
  uint8_t action = 99;
  EXPECT_EQ(0, filedataTypeActionToEnum("xxremovexx", 2, 8, &action));
  EXPECT_EQ(3, action);
}

TEST(FiledataTypeActionToEnum, SurvivesBadArguments) {
  uint8_t action = 99;
  EXPECT_EQ(0, filedataTypeActionToEnum("merge", 0, 5, nullptr));
  EXPECT_EQ(0, filedataTypeActionToEnum(nullptr, 0, 5, &action));
  EXPECT_EQ(0, filedataTypeActionToEnum("merge", -1, -1, &action));
  EXPECT_EQ(0, filedataTypeActionToEnum("merge", 5, 0, &action));
}

TEST(FileActionList, GivesZeroForItsActionKeysAlsoWhenStored) {
  for (const auto &row : kActions) {
    rfAEFileActionList entry = {};
    EXPECT_EQ(0, Give(deserialize_rfAEFileActionList, &entry, "action", row.text));
    EXPECT_EQ(0, Give(deserialize_rfAEFileActionList, &entry, "restoredefault", row.text));
    EXPECT_EQ(0, Give(deserialize_rfAEFileActionList, &entry, "preserve", row.text));
    EXPECT_EQ(row.action, entry.action);
    EXPECT_EQ(row.action, entry.restoredefault);
    EXPECT_EQ(row.action, entry.preserve);
  }
}

// ---- key handlers -------------------------------------------------------------------------------

TEST(FileActionList, GivesTheResultOfTheReaderOfEachOtherKey) {
  rfAEFileActionList entry = {};
  for (const char *const key : {"filename", "fileNameExclude", "grouping"}) {
    EXPECT_NE(0, Give(deserialize_rfAEFileActionList, &entry, key, "[]", JSON_TOKEN_ARRAY)) << key;
  }
  for (const char *const key : {"always", "isdirectory"}) {
    EXPECT_EQ(1, Give(deserialize_rfAEFileActionList, &entry, key, "true", kPrimitive)) << key;
  }
  EXPECT_EQ(1, entry.always);
  EXPECT_EQ(1, entry.isdirectory);
}

TEST(FileActionList, KeepsItsTwoBooleansApart) {
  rfAEFileActionList entry = {};
  Give(deserialize_rfAEFileActionList, &entry, "isdirectory", "true", kPrimitive);
  EXPECT_EQ(0, entry.always);
  EXPECT_EQ(1, entry.isdirectory);
  Give(deserialize_rfAEFileActionList, &entry, "always", "true", kPrimitive);
  Give(deserialize_rfAEFileActionList, &entry, "isdirectory", "false", kPrimitive);
  EXPECT_EQ(1, entry.always);
  EXPECT_EQ(0, entry.isdirectory);
}

TEST(FileActionList, TakesABooleanThatIsAbsentForFalse) {
  const struct {
    const char *text;
    uint8_t always, isdirectory;
  } rows[] = {{R"({"filename":["a"]})", 0, 0},
              {R"({"filename":["a"],"always":true})", 1, 0},
              {R"({"filename":["a"],"isdirectory":true})", 0, 1},
              {R"({"always":true,"isdirectory":true})", 1, 1}};
  for (const auto &row : rows) {
    rfAEFileActionList entry = {};
    ASSERT_EQ(1, ReadText(row.text, deserialize_rfAEFileActionList, &entry)) << row.text;
    EXPECT_EQ(row.always, entry.always) << row.text;
    EXPECT_EQ(row.isdirectory, entry.isdirectory) << row.text;
    free_rfAEFileActionObj(&entry);
  }
}

TEST(FileDictionary, GivesTheResultOfTheReaderOfEachKey) {
  rfAEFileDictionary dictionary = {};
  for (const char *const key :
       {"version", "src_root_path", "dest_root_path", "forceRecoveryFile"}) {
    EXPECT_EQ(0, Give(deserialize_rfAEFileDictionary, &dictionary, key, "")) << key;
    EXPECT_EQ(1, Give(deserialize_rfAEFileDictionary, &dictionary, key, key)) << key;
  }
  EXPECT_NE(0,
            Give(deserialize_rfAEFileDictionary, &dictionary, "filelist", "[]", JSON_TOKEN_ARRAY));
  EXPECT_STREQ("src_root_path", dictionary.src_root_path);
  free_rfAEFileDictionary(&dictionary);
}

struct Reader {
  const char *name;
  rfDeserializeFn read;
  const char *key;
};

class EachReader : public testing::TestWithParam<Reader> {
 protected:
  union Record {
    Record() { memset(static_cast<void *>(this), 0, sizeof *this); }
    rfAEFileActionList entry;
    rfAEFileDictionary dictionary;
    rfAEFileDictionaryArray array;
  };
  MayLeak may_leak_;
};

TEST_P(EachReader, GivesZeroForAnUnknownKey) {
  for (const char *const key : {"", "Filename", "object", "objectss", "Version", "ACTION"}) {
    Record record;
    EXPECT_EQ(0, Give(GetParam().read, &record, key, "x")) << key;
  }
}

TEST_P(EachReader, GivesZeroWithoutAnArgument) {
  Record record;
  jsmntok_t token = {JSON_TOKEN_STRING, 0, 1, 0, -1};
  JsonWalkContext context = {"x", &token, 0, 0, 1, 0};
  JsonWalkContext no_tokens = {"x", nullptr, 0, 0, 1, 0};
  EXPECT_EQ(0, GetParam().read(nullptr, 0, 1, GetParam().key, 0, &record));
  EXPECT_EQ(0, GetParam().read(&no_tokens, 0, 1, GetParam().key, 0, &record));
  EXPECT_EQ(0, GetParam().read(&context, 0, 1, GetParam().key, 0, nullptr));
  EXPECT_EQ(0, GetParam().read(&context, 0, 1, nullptr, 0, &record));
}

TEST_P(EachReader, SurvivesEveryWrongType) {
  const char *const values[] = {"\"text\"",
                                "\"\"",
                                "0",
                                "-1",
                                "true",
                                "null",
                                "{}",
                                "[]",
                                "[[]]",
                                "[{}]",
                                "[1,2,3]",
                                "[\"a\",\"b\"]",
                                "{\"other\":1}",
                                "[[1,2],[3]]",
                                "[{},{},{\"other\":1}]",
                                "{\"other\":{\"other\":{}}}",
                                "[null,{\"other\":\"x\"},[],\"y\"]"};
  const char *const keys[] = {
      "filename", "fileNameExclude", "action",         "restoredefault", "preserve",
      "grouping", "always",          "isdirectory",    "filelist",       "version",
      "objects",  "src_root_path",   "dest_root_path", "unknown",        "forceRecoveryFile"};
  for (const std::string key : keys) {
    for (const std::string value : values) {
      for (const std::string &text :
           {"{\"" + key + "\":" + value + "}", "[{\"" + key + "\":" + value + "}," + value + "]",
            "{\"objects\":[{\"" + key + "\":" + value + "},{\"" + key + "\":[" + value + "]}]}",
            "{\"filelist\":[{\"" + key + "\":" + value + "}],\"" + key + "\"}",
            "{\"" + key + "\":{\"" + key + "\"}}"}) {
        SCOPED_TRACE(text);
        Record record;
        ReadText(text, GetParam().read, &record);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Readers, EachReader,
    testing::Values(Reader{"Entry", deserialize_rfAEFileActionList, "always"},
                    Reader{"Entries", deserialize_rfAEFileActionListArray, "always"},
                    Reader{"Dictionary", deserialize_rfAEFileDictionary, "version"},
                    Reader{"Dictionaries", deserialize_rfAEFileDictionaryArray, "version"},
                    Reader{"Document", deserialize_rfDictionaryArray, "objects"}),
    [](const auto &row) { return row.param.name; });

TEST(DictionaryArray, TakesTheKeyObjectsAlone) {
  rfAEFileDictionaryArray array = {};
  EXPECT_EQ(0, Give(deserialize_rfDictionaryArray, &array, "filelist", "[]", JSON_TOKEN_ARRAY));
  EXPECT_NE(0, Give(deserialize_rfDictionaryArray, &array, "objects", "[]", JSON_TOKEN_ARRAY));
  EXPECT_EQ(0U, array.count);
}

// ---- lists --------------------------------------------------------------------------------------

TEST(FileActionListArray, GrowsByZeroedElementsToAnyIndex) {
  rfAEFileActionListArray entries = {};
  EXPECT_EQ(1, Give(deserialize_rfAEFileActionListArray, &entries, "always", "1", kPrimitive));
  EXPECT_EQ(1U, entries.count);
  EXPECT_EQ(1, Give(deserialize_rfAEFileActionListArray, &entries, "always", "1", kPrimitive, 1));
  EXPECT_EQ(2U, entries.count);
  EXPECT_EQ(1, Give(deserialize_rfAEFileActionListArray, &entries, "always", "1", kPrimitive, 4));
  ASSERT_EQ(5U, entries.count);
  EXPECT_EQ(1, entries.list[1].always);
  EXPECT_EQ(0, entries.list[2].always);
  EXPECT_EQ(0U, entries.list[3].filename.count);
  EXPECT_EQ(1, entries.list[4].always);
  free_rfAEFileActionListArray(&entries);
}

TEST(FileDictionaryArray, GivesEmptyElementsAnIndexAllTheSame) {
  rfAEFileDictionaryArray array = {};
  ASSERT_EQ(1, ReadText(R"({"objects":[{},{"version":"b"},{},{"version":"d"}]})",
                        deserialize_rfDictionaryArray, &array));
  ASSERT_EQ(4U, array.count);
  EXPECT_EQ(nullptr, array.list[0].version);
  EXPECT_STREQ("b", array.list[1].version);
  EXPECT_EQ(nullptr, array.list[2].version);
  EXPECT_STREQ("d", array.list[3].version);
  free_rfAEFileDictionaryArray(&array);
}

TEST(FileActionListArray, ReadsThousandsOfEntries) {
  std::string text = R"({"filelist":[)";
  for (int i = 0; i < 3000; ++i) {
    text += (i == 0 ? "" : ",") + std::string(R"({"filename":["a","b"],"action":"remove"})");
  }
  text += R"(],"version":"big"})";
  rfAEFileDictionary dictionary = {};
  ASSERT_EQ(1, ReadText(text, deserialize_rfAEFileDictionary, &dictionary));
  ASSERT_EQ(3000U, dictionary.filelist.count);
  EXPECT_EQ(2U, dictionary.filelist.list[2999].filename.count);
  EXPECT_EQ(3, dictionary.filelist.list[2999].action);
  EXPECT_STREQ("big", dictionary.version);
  free_rfAEFileDictionary(&dictionary);
}

TEST(FileDictionary, KeepsTheLastOfARepeatedKeyAndLosesTheEarlier) {
  rfAEFileDictionary dictionary = {};
  Give(deserialize_rfAEFileDictionary, &dictionary, "version", "1");
  char *const first = dictionary.version;
  Give(deserialize_rfAEFileDictionary, &dictionary, "version", "2");
  EXPECT_STREQ("2", dictionary.version);
  EXPECT_STREQ("1", first);
  free(first);
  free_rfAEFileDictionary(&dictionary);
}

// ---- releases -----------------------------------------------------------------------------------

TEST(FreeFileDictionary, AcceptsNullAndZeroedRecords) {
  rfAEFileActionList entry = {};
  rfAEFileActionListArray entries = {};
  rfAEFileDictionary dictionary = {};
  rfAEFileDictionaryArray dictionaries = {};
  free_rfAEFileActionObj(nullptr);
  free_rfAEFileActionObj(&entry);
  free_rfAEFileActionListArray(nullptr);
  free_rfAEFileActionListArray(&entries);
  free_rfAEFileDictionary(nullptr);
  free_rfAEFileDictionary(&dictionary);
  free_rfAEFileDictionaryArray(nullptr);
  free_rfAEFileDictionaryArray(&dictionaries);
}

TEST(FreeFileDictionary, FreesEverythingAndResetsNothing) {
  // What is not freed here is reported by the leak detector.
  rfAEFileDictionaryArray dictionaries = {};
  ASSERT_EQ(1, ReadText("{\"objects\":[" + kDictionary + "," + kDictionary + "]}",
                        deserialize_rfDictionaryArray, &dictionaries));
  const void *const list = dictionaries.list;
  free_rfAEFileDictionaryArray(&dictionaries);
  EXPECT_EQ(2U, dictionaries.count);
  EXPECT_EQ(list, dictionaries.list);
}

// ---- the example document -----------------------------------------------------------------------

TEST(ExampleDocument, FileDictionaryHasItsEntries) {
  rfAEFileDictionary dictionary;
  ASSERT_EQ(1, ParserJSONFileDictionary(EXAMPLE_DOCUMENTS "/", "filedictionary.json", &dictionary));
  EXPECT_STREQ("1.2", dictionary.version);
  EXPECT_STREQ("/flash/backup/", dictionary.src_root_path);
  EXPECT_STREQ("/etc/", dictionary.dest_root_path);
  EXPECT_STREQ("/flash/recovery.flag", dictionary.forceRecoveryFile);
  ASSERT_EQ(9U, dictionary.filelist.count);
  for (uint32_t i = 0; i < dictionary.filelist.count; ++i) {
    const rfAEFileActionList &entry = dictionary.filelist.list[i];
    EXPECT_GT(entry.filename.count, 0U);
    EXPECT_GT(entry.grouping.count, 0U);
    EXPECT_LT(entry.action, FILE_ACTION_UNKNOWN);
    EXPECT_LT(entry.restoredefault, FILE_ACTION_UNKNOWN);
    EXPECT_LT(entry.preserve, FILE_ACTION_UNKNOWN);
  }
  EXPECT_EQ(2U, dictionary.filelist.list[0].filename.count);
  EXPECT_STREQ("network/*.bak", dictionary.filelist.list[0].fileNameExclude.list[0].text);
  EXPECT_EQ(1, dictionary.filelist.list[3].isdirectory);
  EXPECT_EQ(FILE_ACTION_REMOVE, dictionary.filelist.list[8].action);
  EXPECT_EQ(1, dictionary.filelist.list[8].always);
  free_rfAEFileDictionary(&dictionary);
}

}  // namespace
