// The walk of the generic parser, written out: for each document every call of the two callbacks,
// in order and with all arguments.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdio.h>
#include <string.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "include/genericparser.h"
#include "json/document_tokens.hpp"

namespace {

using cu_test::Document;

/// Stands for an argument that is null.
std::string OrDash(const char *text) {
  return text == nullptr ? "-" : text;
}

/// Runs a walk and writes its calls down. Records are numbered, and each next one is one more.
class Walk {
 public:
  explicit Walk(Document document) : document_(std::move(document)) {}
  explicit Walk(const std::string &json) : Walk(Document(json)) {}

  int Run(int32_t count) {
    current = this;
    result = GenericParser(document_.text.c_str(), document_.tokens.data(), "label", count,
                           &records_[0], NextRecord, Value);
    return result;
  }
  int Run() { return Run(static_cast<int32_t>(document_.count())); }

  Document &document() { return document_; }

  std::vector<std::string> calls;
  int result = -1;
  /// What a value callback makes of its index.
  std::function<int32_t(int32_t)> move = [](int32_t index) { return index; };

 private:
  static int NumberOf(const void *record) {
    return static_cast<int>(static_cast<const char *>(record) - current->records_);
  }

  static void *NextRecord(void *record) {
    const int number = NumberOf(record) + 1;
    current->calls.push_back("next " + std::to_string(number));
    return &current->records_[number];
  }

  static int Value(const char *json, jsmntok_t *tokens, CounterObject *table, uint8_t depth,
                   const char *parent_key, const char *key, int32_t *index,
                   uint32_t element_counter, void *record) {
    EXPECT_EQ(json, current->document_.text.c_str());
    EXPECT_EQ(tokens, current->document_.tokens.data());
    std::string line = "value " + OrDash(parent_key) + " " + OrDash(key) + " at " +
                       std::to_string(*index) + " record " + std::to_string(NumberOf(record)) +
                       " counter " + std::to_string(element_counter) + " [";
    for (uint32_t i = 0; i < depth; ++i) {
      line += (i == 0 ? "" : " ") + std::to_string(table[i].tokenIndex) + ":" +
              std::to_string(table[i].counter);
    }
    current->calls.push_back(line + "]");
    *index = current->move(*index);
    return 77;  // not looked at
  }

  static Walk *current;
  Document document_;
  char records_[2000] = {};
};

Walk *Walk::current = nullptr;

using Calls = std::vector<std::string>;

struct Trace {
  const char *json;
  Calls calls;
};

class GenericParserTrace : public testing::TestWithParam<Trace> {};

TEST_P(GenericParserTrace, IsExactlyThis) {
  Walk walk(GetParam().json);
  EXPECT_EQ(walk.Run(), 0);
  EXPECT_EQ(walk.calls, GetParam().calls);
}

// "value PARENT KEY at TOKEN record R counter E [TABLE]": the table is token:counter of each
// tracked container. "next R" gives the record to fill from then on.
const Trace kTraces[] = {
    {R"({})", {}},
    {R"([])", {}},
    {R"("x")", {}},
    {R"({"a":1})", {}},
    {R"({"a":"x"})", {}},
    {R"({"Top":{"a":1}})", {"value Top a at 4 record 0 counter 0 []"}},
    {R"({"Top":{"a":1,"b":"x"}})",
     {"value Top a at 4 record 0 counter 0 []", "value Top b at 6 record 0 counter 0 []"}},
    {R"({"Top":{"a":1},"Next":{"b":2}})",
     {"value Top a at 4 record 0 counter 0 []", "value Next b at 8 record 0 counter 0 []"}},
    {R"({"a":1,"b":2})", {"value a - at 3 record 0 counter 0 []"}},
    {R"({"a":1,"b":{"c":2}})", {"value a - at 3 record 0 counter 0 []"}},
    {R"({"Top":[{"a":1}]})", {"value Top a at 5 record 0 counter 0 [2:0]"}},
    {R"({"Top":[{"a":1,"b":2},{"a":3,"b":4}]})",
     {"value Top a at 5 record 0 counter 0 [2:0]", "value Top b at 7 record 0 counter 0 [2:0]",
      "next 1", "value Top a at 10 record 1 counter 0 [2:0]",
      "value Top b at 12 record 1 counter 0 [2:0]"}},
    {R"({"Top":[{"a":1},{"a":2},{"a":3}]})",
     {"value Top a at 5 record 0 counter 0 [2:0]", "next 1",
      "value Top a at 8 record 1 counter 0 [2:0]", "next 2",
      "value Top a at 11 record 2 counter 0 [2:0]"}},
    {R"({"Top":[]})", {}},
    {R"({"Top":{}})", {}},
    {R"({"Top":[{}]})", {}},
    {R"({"Top":[{},{"a":1}]})", {"value Top - at 5 record 0 counter 0 [2:0]"}},
    {R"({"Top":[1,2]})", {"value Top - at 4 record 0 counter 0 [2:0]"}},
    {R"({"Top":["x","y"]})", {"value Top x at 4 record 0 counter 0 [2:0]"}},
    {R"([{"a":1}])", {"value - a at 3 record 0 counter 0 []"}},
    {R"([{"a":1},{"a":2}])",
     {"value - a at 3 record 0 counter 0 []", "next 1", "value - a at 6 record 1 counter 0 []"}},
    {R"([1,2])", {"value - - at 2 record 0 counter 0 []"}},
    {R"([[1,2],[3]])", {"value - - at 3 record 0 counter 0 [1:0]", "next 1"}},
    {R"({"Top":{"sub":{"a":1}}})", {"next 1", "value sub a at 6 record 1 counter 0 []"}},
    {R"({"Top":{"sub":{"a":1},"b":2}})",
     {"next 1", "value sub a at 6 record 1 counter 0 []",
      "value sub b at 8 record 1 counter 0 []"}},
    {R"({"Top":{"b":2,"sub":{"a":1}}})",
     {"value Top b at 4 record 0 counter 0 []", "value sub a at 8 record 0 counter 0 []"}},
    {R"({"Top":{"list":[{"a":1},{"a":2}]}})",
     {"value - a at 7 record 0 counter 0 [4:0]", "value - a at 10 record 0 counter 0 [4:1]"}},
    {R"({"Top":[{"list":[{"a":1},{"a":2}]},{"list":[{"a":3}]}]})",
     {"value - a at 8 record 0 counter 0 [2:0 5:0]", "value - a at 11 record 0 counter 0 [2:0 5:1]",
      "next 1", "value list a at 17 record 1 counter 0 [2:0 5:1 14:0]"}},
    {R"({"Top":[{"n":"x","list":[{"a":1},{"a":2}]},{"n":"y","list":[{"a":3}]}]})",
     {"value Top n at 5 record 0 counter 0 [2:0]",
      "value list a at 10 record 0 counter 0 [2:0 7:0]",
      "value list a at 13 record 0 counter 0 [2:0 7:1]", "next 1",
      "value Top n at 16 record 1 counter 0 [2:0 7:1]",
      "value list a at 21 record 1 counter 0 [2:0 7:1 18:0]"}},
    {R"({"Top":[{"n":"x","list":[{"a":1},{"a":2}],"m":5}]})",
     {"value Top n at 5 record 0 counter 0 [2:0]",
      "value list a at 10 record 0 counter 0 [2:0 7:0]",
      "value list a at 13 record 0 counter 0 [2:0 7:1]",
      "value list m at 15 record 0 counter 0 [2:0 7:1]"}},
    {R"({"Top":[{"list":[{"in":[{"a":1},{"a":2}]},{"in":[{"a":3}]}]}]})",
     {"value - a at 11 record 0 counter 0 [2:0 5:0 8:0]",
      "value - a at 14 record 0 counter 0 [2:0 5:0 8:1]",
      "value - a at 20 record 0 counter 1 [2:0 5:1 17:0]"}},
    // Back in "l" over two levels: the entry behind it is marked as left, and only the last
    // dropped.
    {R"({"T":[{"x":1,"l":[{"y":1,"m":[{"z":1,"n":[{"w":1}]}]},{"y":2},{"y":3},{"y":4}]}]})",
     {"value T x at 5 record 0 counter 0 [2:0]", "value l y at 10 record 0 counter 0 [2:0 7:0]",
      "value m z at 15 record 0 counter 0 [2:0 7:0 12:0]",
      "value n w at 20 record 0 counter 0 [2:0 7:0 12:0 17:0]",
      "value l y at 23 record 0 counter 1 [2:0 7:0 -1:1]",
      "value l y at 26 record 0 counter 1 [2:0 7:1]",
      "value l y at 29 record 0 counter 1 [2:0 7:2]"}},
    {R"({"Top":[{"a":1},[5,{"b":2}]]})",
     {"value Top a at 5 record 0 counter 0 [2:0]", "next 1",
      "value - b at 10 record 1 counter 0 [2:0]"}},
    {R"({"Top":[{"list":[1,2],"b":3}]})",
     {"value - - at 7 record 0 counter 0 [2:0]", "value - b at 9 record 0 counter 0 [2:0]"}},
    {R"({"Top":[{"o":{"a":1},"b":2}]})",
     {"next 1", "value o a at 7 record 1 counter 0 [2:0]",
      "value o b at 9 record 1 counter 0 [2:0]"}},
    {R"({"Top":[{"o":{"p":{"a":1}},"b":2},{"c":3}]})",
     {"next 1", "value p a at 9 record 1 counter 0 [2:0]",
      "value p b at 11 record 1 counter 0 [2:0]", "next 2",
      "value Top c at 14 record 2 counter 0 [2:0]"}},
    {R"({"v":1,"Top":[{"a":1},{"a":2}]})",
     {"value v - at 3 record 0 counter 0 []", "value - a at 7 record 0 counter 0 []", "next 1",
      "value - a at 10 record 1 counter 0 []"}},
    {R"({"Top":[{"a":1}],"v":2})",
     {"value Top a at 5 record 0 counter 0 [2:0]", "value Top v at 7 record 0 counter 0 [2:0]"}},
    {R"({"Top":[{"a":1}],"Bottom":[{"b":2},{"b":3}]})",
     {"value Top a at 5 record 0 counter 0 [2:0]",
      "value Bottom b at 10 record 0 counter 0 [2:0 7:0]",
      "value Bottom b at 13 record 0 counter 0 [2:0 7:1]"}},
    {R"({"Top":[{"a":null},{"b":true}]})",
     {"value Top a at 5 record 0 counter 0 [2:0]", "next 1",
      "value Top b at 8 record 1 counter 0 [2:0]"}},
    {R"({"Top":[{"list":["x","y"],"b":3},{"b":4}]})",
     {"value x y at 8 record 0 counter 0 [2:0]", "next 1",
      "value Top b at 12 record 1 counter 0 [2:0]"}},
    {R"({"a"})", {}},
    {R"({"Top":[{"a"}]})", {}},
    {R"({"Top":[[{"a":1}],[{"a":2}]]})",
     {"value Top a at 6 record 0 counter 0 [2:0 4:0]",
      "value - a at 10 record 0 counter 0 [2:0 4:0 7:0]"}},
    {R"({"Top":[{"list":[]},{"a":1}]})", {"value - a at 8 record 0 counter 0 [2:0 5:0]"}},
    {R"({"A":{"B":{"C":{"D":{"a":1}}}}})", {"next 1", "value D a at 10 record 1 counter 0 []"}},
};

INSTANTIATE_TEST_SUITE_P(Documents, GenericParserTrace, testing::ValuesIn(kTraces));

TEST(GenericParser, ReportsNothingWithoutTokens) {
  Walk walk(R"({"Top":{"a":1}})");
  EXPECT_EQ(walk.Run(0), 0);
  EXPECT_EQ(walk.Run(-1), 0);
  EXPECT_TRUE(walk.calls.empty());
}

TEST(GenericParser, ReadsNoTokenAtOrPastTheCount) {
  const Calls all = {"value Top a at 5 record 0 counter 0 [2:0]", "next 1",
                     "value Top a at 8 record 1 counter 0 [2:0]"};
  const size_t calls[] = {0, 0, 0, 0, 0, 0, 1, 2, 2, 3};
  for (size_t count = 0; count < std::size(calls); ++count) {
    Document cut(R"({"Top":[{"a":1},{"a":2}]})");
    cut.tokens.resize(count);
    cut.tokens.shrink_to_fit();  // AddressSanitizer watches
    Walk walk(std::move(cut));
    EXPECT_EQ(walk.Run(), 0);
    EXPECT_EQ(walk.calls, Calls(all.begin(), all.begin() + static_cast<long>(calls[count])));
  }
}

int RunWith(const char *label, void *record) {
  static int calls;
  calls = 0;
  Document document(R"({"Top":[{"a":1},{"a":2}]})");
  const int result = GenericParser(
      document.text.c_str(), document.tokens.data(), label, static_cast<int32_t>(document.count()),
      record,
      [](void *current) {
        ++calls;
        return current;
      },
      [](const char *, jsmntok_t *, CounterObject *, uint8_t, const char *, const char *, int32_t *,
         uint32_t, void *) { return ++calls; });
  EXPECT_EQ(calls == 0, result != 0);
  return result;
}

TEST(GenericParser, GivesOneAndCallsNothingForANullLabelOrRecord) {
  int record = 0;
  EXPECT_EQ(RunWith("label", &record), 0);
  EXPECT_EQ(RunWith(nullptr, &record), 1);
  EXPECT_EQ(RunWith("label", nullptr), 1);
}

TEST(GenericParser, RefusesNullArgumentsAndKeepsTheRecordWithoutACallbackForTheNext) {
  Document document(R"({"Top":[{"a":1},{"a":2}]})");
  const char *const json = document.text.c_str();
  jsmntok_t *const tokens = document.tokens.data();
  const auto count = static_cast<int32_t>(document.count());
  const GenericValueCallback value = [](const char *, jsmntok_t *, CounterObject *, uint8_t,
                                        const char *, const char *, int32_t *, uint32_t,
                                        void *record) { return ++*static_cast<int *>(record); };
  int calls = 0;
  EXPECT_EQ(GenericParser(nullptr, tokens, "label", count, &calls, nullptr, value), 1);
  EXPECT_EQ(GenericParser(json, nullptr, "label", count, &calls, nullptr, value), 1);
  EXPECT_EQ(GenericParser(json, tokens, "label", count, &calls, nullptr, nullptr), 1);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(GenericParser(json, tokens, "label", count, &calls, nullptr, value), 0);
  EXPECT_EQ(calls, 2);
}

/// The tokens whose size a walk has lowered, by one each.
std::vector<size_t> LoweredSizes(const std::string &json) {
  const Document before(json);
  Walk walk(json);
  walk.Run();
  std::vector<size_t> lowered;
  for (size_t i = 0; i < before.tokens.size(); ++i) {
    const int32_t size = walk.document().tokens[i].size;
    if (size == before.tokens[i].size) continue;
    EXPECT_EQ(size, before.tokens[i].size - 1);
    lowered.push_back(i);
  }
  return lowered;
}

TEST(GenericParser, LowersTheSizesOfTheContainersThatItEnters) {
  EXPECT_EQ(LoweredSizes(R"({"Top":[{"a":1,"b":2},{"a":3}]})"), (std::vector<size_t>{2, 3}));
  EXPECT_EQ(LoweredSizes(R"({"Top":{"a":1,"list":[{"b":1}]}})"), (std::vector<size_t>{2, 6, 7}));
}

// The counter that the callback gets follows an array whose elements end with arrays of objects. Of
// any other array it is 0, and the position stands in the array's entry in the table.
TEST(GenericParser, GivesThePositionOfAnElementThatFollowsANestedArray) {
  Walk walk(R"({"Top":[{"x":1,"list":[{"n":1,"in":[{"a":1}]},{"n":2,"in":[{"a":2}]},{"n":3}]}]})");
  EXPECT_EQ(walk.Run(), 0);
  const Calls expected = {
      "value Top x at 5 record 0 counter 0 [2:0]",
      "value list n at 10 record 0 counter 0 [2:0 7:0]",
      "value in a at 15 record 0 counter 0 [2:0 7:0 12:0]",
      "value list n at 18 record 0 counter 1 [2:0 7:1]",
      "value in a at 23 record 0 counter 1 [2:0 7:1 20:0]",
      "value list n at 26 record 0 counter 2 [2:0 7:2]",
  };
  EXPECT_EQ(walk.calls, expected);
}

TEST(GenericParser, GivesTheKeyOfAnArrayOfObjectsAndKeepsThePositionInItsTable) {
  Walk walk(R"({"Top":{"x":1,"list":[{"a":1},{"a":2},{"a":3}]}})");
  EXPECT_EQ(walk.Run(), 0);
  const Calls expected = {
      "value Top x at 4 record 0 counter 0 []",
      "value list a at 9 record 0 counter 0 [6:0]",
      "value list a at 12 record 0 counter 0 [6:1]",
      "value list a at 15 record 0 counter 0 [6:2]",
  };
  EXPECT_EQ(walk.calls, expected);
}

TEST(GenericParser, CountsElementsInEightBits) {
  std::string json = R"({"Top":{"x":1,"list":[{"a":1})";
  for (int i = 1; i < 300; ++i) json += R"(,{"a":1})";
  Walk walk(json + "]}}");
  EXPECT_EQ(walk.Run(), 0);
  ASSERT_EQ(walk.calls.size(), 301u);
  EXPECT_EQ(walk.calls[256], "value list a at 774 record 0 counter 0 [6:255]");
  EXPECT_EQ(walk.calls[257], "value list a at 777 record 0 counter 0 [6:0]");
}

TEST(GenericParser, CountsElementsThatItComesBackToInEightBits) {
  std::string json = R"({"Top":[{"list":[{"in":[{"a":1}]})";
  for (int i = 1; i < 300; ++i) json += R"(,{"in":[{"a":1}]})";
  Walk walk(json + "]}]}");
  EXPECT_EQ(walk.Run(), 0);
  ASSERT_EQ(walk.calls.size(), 300u);
  EXPECT_THAT(walk.calls[255], testing::HasSubstr(" counter 255 [2:0 5:255 "));
  EXPECT_THAT(walk.calls[256], testing::HasSubstr(" counter 0 [2:0 5:0 "));
}

/// `depth` arrays inside of each other, each the member "L" of an element with a scalar before it.
std::string NestedLists(int depth) {
  std::string json = R"({"L":[)";
  for (int i = 1; i < depth; ++i) json += R"({"n":1,"L":[)";
  json += R"({"n":1})";
  for (int i = 0; i < depth; ++i) json += "]}";
  return json;
}

TEST(GenericParser, TracksUpTo256Containers) {
  for (const int depth : {1, 255, 256}) {
    Walk walk(NestedLists(depth));
    EXPECT_EQ(walk.Run(), 0);
    EXPECT_EQ(walk.calls.size(), static_cast<size_t>(depth));
  }
}

TEST(GenericParser, ShowsADepthOf256AsZero) {
  Walk walk(NestedLists(256));
  walk.Run();
  EXPECT_EQ(walk.calls.back(), "value L n at 1280 record 0 counter 0 []");
}

TEST(GenericParser, RefusesADocumentOfMoreContainers) {
  for (const int depth : {257, 400}) {
    Walk walk(NestedLists(depth));
    EXPECT_EQ(walk.Run(), 1);
    EXPECT_EQ(walk.calls.size(), 256u);  // what came before was reported
  }
}

TEST(GenericParser, GoesOnBehindTheIndexThatTheCallbackSets) {
  Walk walk(R"({"Top":[{"a":1,"b":2},{"a":3,"b":4}]})");
  walk.move = [](int32_t index) { return index == 5 ? 7 : index; };
  EXPECT_EQ(walk.Run(), 0);
  EXPECT_EQ(walk.calls, (Calls{"value Top a at 5 record 0 counter 0 [2:0]", "next 1",
                               "value Top a at 10 record 1 counter 0 [2:0]",
                               "value Top b at 12 record 1 counter 0 [2:0]"}));
}

TEST(GenericParser, EndsWhereTheCallbackLeavesTheTokens) {
  for (const int32_t target : {12, 13, 1000, INT32_MAX, -2, INT32_MIN}) {
    Walk walk(R"({"Top":[{"a":1,"b":2},{"a":3,"b":4}]})");
    walk.move = [target](int32_t) { return target; };
    EXPECT_EQ(walk.Run(), 0) << target;
    EXPECT_EQ(walk.calls, Calls{"value Top a at 5 record 0 counter 0 [2:0]"}) << target;
  }
}

/// The walk by its steps, one after the other as they are described.
class Model {
 public:
  Model(Document document, std::function<int32_t(int32_t)> move)
      : document_(std::move(document)), move_(std::move(move)) {}

  int Run() {
    const auto count = static_cast<int32_t>(document_.count());
    std::string parent_key = kNull, saved = kNull;
    int32_t index = 0, top_parent = 0;
    bool first = true, opened = false, entered = false;
    uint32_t element_counter = 0;
    int record = 0;
    while (index >= 0 && index < count) {
      const int32_t begin = index, parent = document_.tokens[static_cast<size_t>(index)].parent;
      int type = Type(index), next = Type(index + 1);
      if (parent == top_parent) {
        if (saved != kNull) parent_key = saved;
        calls.push_back("next " + std::to_string(++record));
        opened = true;
        entered = false;
      } else if ((opened || entered) && IsContainer(next)) {
        --index;
        type = next;
        opened = entered = false;
      }
      if (type == JSON_TOKEN_OBJECT && entered) {
        const int at = Entry(parent);
        if (at >= 0 && at + 1 < static_cast<int>(table_.size())) {
          table_[static_cast<size_t>(at) + 1].tokenIndex = -1;
          ++table_[table_.size() - 2].counter;
          table_.pop_back();
          parent_key = Text(parent - 1);
          element_counter = table_.back().counter;
        } else if (at >= 0) {
          ++table_[static_cast<size_t>(at)].counter;
        } else if (!Append(index)) {
          return 1;
        }
        ++index;
        next = Type(index + 1);
      } else if (type == JSON_TOKEN_OBJECT && opened) {
        ++index;
        entered = false;
        continue;
      } else if (IsContainer(type)) {
        ++index;
        parent_key = Text(index);
        if (parent_key != kNull) ++index;
        if (Type(index) == JSON_TOKEN_ARRAY) {
          if (!Append(index)) return 1;
          ++index;
          entered = true;
        }
        if (Type(index) == JSON_TOKEN_OBJECT) {
          if (first) {
            saved = parent_key;
            top_parent = document_.tokens[static_cast<size_t>(index)].parent;
          }
          ++index;
          first = false;
          opened = true;
        }
        next = Type(index + 1);
        if (next == JSON_TOKEN_OBJECT && opened && !(index - 1 == begin && parent == top_parent)) {
          --index;
          opened = false;
          continue;
        }
      }
      const std::string key = Text(index);
      if (next == JSON_TOKEN_STRING || next == JSON_TOKEN_PRIMITIVE) {
        ++index;
        std::string line = "value " + parent_key + " " + key + " at " + std::to_string(index) +
                           " record " + std::to_string(record) + " counter " +
                           std::to_string(element_counter) + " [";
        for (size_t i = 0; i < table_.size() % 256; ++i) {
          line += (i == 0 ? "" : " ") + std::to_string(table_[i].tokenIndex) + ":" +
                  std::to_string(table_[i].counter);
        }
        calls.push_back(line + "]");
        index = move_(index);
      }
      ++index;
    }
    return 0;
  }

  Calls calls;

 private:
  static constexpr const char *kNull = "-";

  static bool IsContainer(int type) {
    return type == JSON_TOKEN_OBJECT || type == JSON_TOKEN_ARRAY;
  }

  int Type(int32_t index) const {
    return index >= 0 && index < static_cast<int32_t>(document_.count())
               ? document_.tokens[static_cast<size_t>(index)].type
               : 0;
  }

  std::string Text(int32_t index) const {
    if (Type(index) != JSON_TOKEN_STRING) return kNull;
    const jsmntok_t &token = document_.tokens[static_cast<size_t>(index)];
    return document_.text.substr(static_cast<size_t>(token.start),
                                 static_cast<size_t>(token.end - token.start));
  }

  int Entry(int32_t token) const {
    for (size_t i = 0; i < table_.size(); ++i) {
      if (table_[i].tokenIndex == token) return static_cast<int>(i);
    }
    return -1;
  }

  bool Append(int32_t token) {
    if (table_.size() == 256) return false;
    table_.push_back({token, 0, 0});
    return true;
  }

  Document document_;
  std::function<int32_t(int32_t)> move_;
  std::vector<CounterObject> table_;
};

std::string RandomValue(std::mt19937 &random, int depth) {
  const uint32_t kind = random() % (depth > 5 ? 2 : 6);
  if (kind == 0) return std::to_string(random() % 100);
  if (kind == 1) return "\"s\"";
  const bool object = kind % 2 == 0;
  std::string json;
  const uint32_t children = random() % 4;
  for (uint32_t i = 0; i < children; ++i) {
    json += i == 0 ? "" : ",";
    if (object) json += "\"" + std::string(1, static_cast<char>('a' + random() % 4)) + "\":";
    json += RandomValue(random, depth + 1);
  }
  return (object ? "{" : "[") + json + (object ? "}" : "]");
}

TEST(GenericParser, AgreesWithItsStepsOverRandomDocuments) {
  std::mt19937 random(32);
  size_t calls = 0;
  for (int i = 0; i < 20000; ++i) {
    // The shape that daemons use, with anything inside, and anything at all.
    const std::string inside = RandomValue(random, 0) + "," + RandomValue(random, 0);
    const std::string json = random() % 2 == 0 ? "{\"Top\":[" + inside + "]}" : "[" + inside + "]";
    const uint32_t skip = random() % 3;
    const auto move = [skip](int32_t index) {
      return skip == 0 ? index : index + (index % 5 == 0 ? static_cast<int32_t>(skip) : 0);
    };
    Walk walk(json);
    walk.move = move;
    Model model(walk.document(), move);
    const int expected = model.Run();
    ASSERT_EQ(walk.Run(), expected) << json;
    ASSERT_EQ(walk.calls, model.calls) << json;
    calls += walk.calls.size();
  }
  EXPECT_GT(calls, 50000u);
}

}  // namespace
