#include <gtest/gtest.h>

#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "include/jsonnode.h"
#include "json/document_tokens.hpp"
#include "include/stringutils.h"

namespace {

using cu_test::Document;

class NodeTreeTest : public testing::Test {
 protected:
  ~NodeTreeTest() override { AmbrelFreeJsonNode(&root_); }

  void Build(const std::string &json) {
    AmbrelFreeJsonNode(&root_);
    const Document document(json);
    ASSERT_EQ(
        CreateDictionary(document.text.c_str(), document.tokens.data(), document.count(), &root_),
        static_cast<int32_t>(document.count()));
  }

  /// The node at a path, or null with the output untouched.
  JsonNode *Find(const std::string &path, const char *expected = nullptr) {
    JsonNode untouched;
    JsonNode *out = &untouched;
    const int found = AmbrelFindJsonNode(&root_, path.c_str(), expected, &out);
    EXPECT_EQ(found, out == &untouched ? 0 : 1) << path;
    return found != 0 ? out : nullptr;
  }

  std::string Text(const std::string &path) {
    const char *const text = AmbrelGetValueFromElement(Find(path));
    return text == nullptr ? "(none)" : text;
  }

  JsonNode root_ = {};
};

using FindJsonNode = NodeTreeTest;

TEST_F(FindJsonNode, FollowsTheNamesOfAPath) {
  Build(R"({"a":{"b":"x","c":{"d":5}}})");
  EXPECT_EQ(Text("a/b"), "x");
  EXPECT_EQ(Text("a/c/d"), "5");
  ASSERT_NE(Find("a"), nullptr);
  EXPECT_EQ(Find("a")->kind, 1u);
  EXPECT_EQ(Find("b"), nullptr);
  EXPECT_EQ(Find("a/x"), nullptr);
  EXPECT_EQ(Find("A/b"), nullptr);
  EXPECT_EQ(Find("a/bb"), nullptr);
}

TEST_F(FindJsonNode, ComparesTheTextOfAValueWithTheExpectedOne) {
  Build(R"({"a":{"b":"x","n":5}})");
  EXPECT_NE(Find("a/b", "x"), nullptr);
  EXPECT_EQ(Find("a/b", "y"), nullptr);
  EXPECT_EQ(Find("a/b", ""), nullptr);
  EXPECT_EQ(Find("a/b", "xx"), nullptr);
  EXPECT_NE(Find("a/n", "5"), nullptr);
}

TEST_F(FindJsonNode, ExpectsNothingOfObjectsArraysAndMissingTexts) {
  Build(R"({"a":{},"b":[],"c"})");
  EXPECT_NE(Find("a", "y"), nullptr);
  EXPECT_NE(Find("b", "y"), nullptr);
  EXPECT_NE(Find("c", "y"), nullptr);
  AmbrelFreeJsonNode(&root_);
  EXPECT_EQ(Find("", "y"), &root_);
}

TEST_F(FindJsonNode, FindsTheRootByAnEmptyPath) {
  Build("\"text\"");
  EXPECT_EQ(Find(""), &root_);
  EXPECT_EQ(Find("", "text"), &root_);
  EXPECT_EQ(Find("", "other"), nullptr);
  Build("[]");
  EXPECT_EQ(Find(""), &root_);
}

TEST_F(FindJsonNode, EndsAtArraysAndValuesBeforeTheLastName) {
  Build(R"({"a":[{"b":1}],"v":"x"})");
  EXPECT_EQ(Find("a/b"), nullptr);
  EXPECT_EQ(Find("a/0/b"), nullptr);
  EXPECT_EQ(Find("v/x"), nullptr);
  EXPECT_EQ(Find("a/b/c"), nullptr);
  Build("[1]");
  EXPECT_EQ(Find("a"), nullptr);
  Build("\"1\"");
  EXPECT_EQ(Find("a"), nullptr);
}

TEST_F(FindJsonNode, EndsAtNodesOfNoKind) {
  root_.kind = 7;
  EXPECT_EQ(Find("a"), nullptr);
  EXPECT_EQ(Find(""), &root_);
  root_.kind = 0;
}

TEST_F(FindJsonNode, SplitsAPathAsTheTokenizerDoes) {
  Build(R"({"a":{"b":1,"":2,"/b":3},"/a":{"b":4},"":5})");
  EXPECT_EQ(Text("/a/b"), "1");      // one "/" in front is skipped
  EXPECT_EQ(Text("a/b/"), "1");      // one at the end adds nothing
  EXPECT_EQ(Text("a//b"), "1");      // a second one between names is skipped
  EXPECT_EQ(Text("a///b"), "3");     // a third belongs to the name
  EXPECT_EQ(Text("//a/b"), "4");     // after one in front the next belongs to the name
  EXPECT_EQ(Text("a//"), "2");       // two at the end are an empty name
  EXPECT_EQ(Text("/"), "5");         // and so is one alone
  EXPECT_EQ(Find("///a"), nullptr);  // the name "//a"
}

TEST_F(FindJsonNode, TakesPathsOfAtMost255Names) {
  std::string json, path;
  for (int i = 0; i < 256; ++i) {
    json += "{\"n\":";
    path += i == 0 ? "n" : "/n";
  }
  Build(json + "1" + std::string(256, '}'));
  EXPECT_EQ(Find(path), nullptr);
  path.resize(path.size() - 2);
  ASSERT_NE(Find(path), nullptr);
  EXPECT_EQ(Find(path)->kind, 1u);
}

TEST_F(FindJsonNode, RefusesNullArguments) {
  Build(R"({"a":1})");
  JsonNode *out = nullptr;
  EXPECT_EQ(AmbrelFindJsonNode(nullptr, "a", nullptr, &out), 0);
  EXPECT_EQ(AmbrelFindJsonNode(&root_, nullptr, nullptr, &out), 0);
  EXPECT_EQ(AmbrelFindJsonNode(&root_, "a", nullptr, nullptr), 0);
  EXPECT_EQ(out, nullptr);
}

/// The search by its steps: all names first, then one look-up after the other.
JsonNode *FindByTokens(JsonNode *root, const char *path) {
  TokenList names = {};
  if (tokenizeString(path, "/", &names) == 0) return nullptr;
  JsonNode *node = root;
  for (int i = 0; node != nullptr && i < names.count; ++i) {
    const void *const stored =
        node->kind == JSON_NODE_OBJECT ? map_get_(&node->body.map, names.tokens[i]) : nullptr;
    node = nullptr;
    if (stored != nullptr) memcpy(&node, stored, sizeof node);
  }
  FreeTokens(&names);
  return node;
}

TEST_F(FindJsonNode, AgreesWithATokenListOverRandomPaths) {
  Build(R"({"a":{"b":1,"":{"a":2},"/b":3,"ab":{"":{"":4}}},"/a":{"b":4},"":{"b":5,"/":6},"b":[1],
          "/":{"/":{"a":7}},"//":8,"ab":"text"})");
  std::mt19937 random(31);
  int found = 0;
  for (int i = 0; i < 100000; ++i) {
    std::string path;
    const size_t length = random() % 9;
    while (path.size() < length) path += "ab///"[random() % 5];
    JsonNode *const expected = FindByTokens(&root_, path.c_str());
    ASSERT_EQ(Find(path), expected) << path;
    found += expected != nullptr;
  }
  EXPECT_GT(found, 10000);
}

using NextElement = NodeTreeTest;

TEST_F(NextElement, GivesTheElementsInDocumentOrderAndThenNull) {
  Build(R"([1,"x",[2]])");
  uint32_t cursor = 0;
  EXPECT_STREQ(AmbrelGetValueFromElement(AmbrelGetNextElementInArray(&root_, &cursor)), "1");
  EXPECT_STREQ(AmbrelGetValueFromElement(AmbrelGetNextElementInArray(&root_, &cursor)), "x");
  EXPECT_EQ(AmbrelGetNextElementInArray(&root_, &cursor)->kind, 2u);
  EXPECT_EQ(cursor, 3u);
  EXPECT_EQ(AmbrelGetNextElementInArray(&root_, &cursor), nullptr);
  EXPECT_EQ(AmbrelGetNextElementInArray(&root_, &cursor), nullptr);
  EXPECT_EQ(cursor, 3u);
}

TEST_F(NextElement, GivesNullForOtherNodesAndNull) {
  uint32_t cursor = 0;
  Build(R"({"a":1})");
  EXPECT_EQ(AmbrelGetNextElementInArray(&root_, &cursor), nullptr);
  Build("\"1\"");
  EXPECT_EQ(AmbrelGetNextElementInArray(&root_, &cursor), nullptr);
  Build("[1]");
  EXPECT_EQ(AmbrelGetNextElementInArray(nullptr, &cursor), nullptr);
  EXPECT_EQ(AmbrelGetNextElementInArray(&root_, nullptr), nullptr);
  cursor = UINT32_MAX;
  EXPECT_EQ(AmbrelGetNextElementInArray(&root_, &cursor), nullptr);
}

using ValueFromElement = NodeTreeTest;

TEST_F(ValueFromElement, GivesTheTextOfValuesAlone) {
  Build(R"({"s":"x","p":5,"o":{},"a":[]})");
  EXPECT_STREQ(AmbrelGetValueFromElement(Find("s")), "x");
  EXPECT_STREQ(AmbrelGetValueFromElement(Find("p")), "5");
  EXPECT_EQ(AmbrelGetValueFromElement(Find("o")), nullptr);
  EXPECT_EQ(AmbrelGetValueFromElement(Find("a")), nullptr);
  EXPECT_EQ(AmbrelGetValueFromElement(nullptr), nullptr);
}

using FindElementInArray = NodeTreeTest;

TEST_F(FindElementInArray, GivesTheFirstNodeFoundInAnElement) {
  Build(R"([{"name":"fan1","rpm":1},{"name":"fan2","rpm":2},{"name":"fan2","rpm":3}])");
  JsonNode *const found = AmbrelFindElementInArray(&root_, "name", "fan2");
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(found->key, "name");
  const auto *const second = static_cast<JsonNode *>(stack_get_(&root_.body.stack, 1));
  JsonNode *direct = nullptr;
  AmbrelFindJsonNode(const_cast<JsonNode *>(second), "name", nullptr, &direct);
  EXPECT_EQ(found, direct);
  EXPECT_EQ(AmbrelFindElementInArray(&root_, "name", "fan9"), nullptr);
  EXPECT_EQ(AmbrelFindElementInArray(&root_, "none", nullptr), nullptr);
}

TEST_F(FindElementInArray, GivesTheElementItselfForAnEmptyPath) {
  Build(R"(["a","b"])");
  EXPECT_EQ(AmbrelFindElementInArray(&root_, "", "b"), stack_get_(&root_.body.stack, 1));
  EXPECT_EQ(AmbrelFindElementInArray(&root_, "", nullptr), stack_get_(&root_.body.stack, 0));
}

TEST_F(FindElementInArray, PassesOverElementsThatThePathDoesNotFit) {
  Build(R"([1,[],{"a":5},"x",{"a":{"b":6}}])");
  EXPECT_STREQ(AmbrelGetValueFromElement(AmbrelFindElementInArray(&root_, "a/b", nullptr)), "6");
}

TEST_F(FindElementInArray, GivesNullForOtherNodesAndNull) {
  Build(R"({"a":1})");
  EXPECT_EQ(AmbrelFindElementInArray(&root_, "a", nullptr), nullptr);
  EXPECT_EQ(AmbrelFindElementInArray(nullptr, "a", nullptr), nullptr);
  Build("[1]");
  EXPECT_EQ(AmbrelFindElementInArray(&root_, nullptr, nullptr), nullptr);
}

}  // namespace
