#include <gtest/gtest.h>

#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "include/jsonnode.h"
#include "json/document_tokens.hpp"

namespace {

using cu_test::Document;

/// A tree that is released at the end of its scope, when the document is gone already.
class Tree {
 public:
  explicit Tree(const std::string &json) : Tree(Document(json)) {}
  explicit Tree(const Document &document) {
    used_ =
        CreateDictionary(document.text.c_str(), document.tokens.data(), document.count(), &root);
    count_ = static_cast<int32_t>(document.count());
  }
  ~Tree() { AmbrelFreeJsonNode(&root); }
  Tree(const Tree &) = delete;
  Tree &operator=(const Tree &) = delete;

  bool complete() const { return used_ == count_ && used_ > 0; }
  int32_t used() const { return used_; }

  JsonNode root = {};

 private:
  int32_t used_ = 0;
  int32_t count_ = 0;
};

/// A tree written out: {key:...}, [...], "text" and text for strings and primitives, nothing for a
/// value without text.
std::string Show(const JsonNode *node) {
  if (node == nullptr) return "null";
  std::string out;
  if (node->kind == JSON_NODE_OBJECT) {
    MapIter iter = map_iter_();
    while (const void *key = map_next_(&node->body.map, &iter)) {
      JsonNode *child;
      memcpy(&child, iter.node->value, sizeof child);
      EXPECT_STREQ(child->key, static_cast<const char *>(key));
      out += (out.empty() ? "" : ",") + std::string(child->key) + ":" + Show(child);
    }
    return "{" + out + "}";
  }
  if (node->kind == JSON_NODE_ARRAY) {
    for (uint32_t i = 0; i < stack_get_size_(&node->body.stack); ++i) {
      const auto *const child = static_cast<JsonNode *>(stack_get_(&node->body.stack, i));
      EXPECT_EQ(child->key, nullptr);
      out += (i == 0 ? "" : ",") + Show(child);
    }
    return "[" + out + "]";
  }
  const char *const text = node->body.value.text;
  if (text == nullptr) return "";
  return node->body.value.origin == 0 ? '"' + std::string(text) + '"' : text;
}

TEST(CreateDictionary, MakesAValueOfAString) {
  const Tree tree("\"text\"");
  EXPECT_EQ(tree.used(), 1);
  EXPECT_EQ(tree.root.kind, 0u);
  EXPECT_EQ(tree.root.key, nullptr);
  EXPECT_STREQ(tree.root.body.value.text, "text");
  EXPECT_EQ(tree.root.body.value.origin, 0u);
  EXPECT_EQ(tree.root.body.value.word, 0u);
  EXPECT_EQ(tree.root.body.value.zero, 0u);
}

TEST(CreateDictionary, MakesAValueOfAPrimitive) {
  const Tree tree("[true,-1.5e3,null]");
  EXPECT_EQ(Show(&tree.root), "[true,-1.5e3,null]");
  const auto *const value = static_cast<JsonNode *>(stack_get_(&tree.root.body.stack, 0));
  EXPECT_EQ(value->kind, 0u);
  EXPECT_EQ(value->body.value.origin, 8u);
}

TEST(CreateDictionary, KeepsEscapesAsWritten) {
  const Tree tree(R"({"a\"b":"line\nA"})");
  EXPECT_EQ(Show(&tree.root), R"({a\"b:"line\nA"})");
}

TEST(CreateDictionary, MakesAnObjectAMapOfItsMembers) {
  const Tree tree(R"({"a":1,"b":"x","c":{"d":[]}})");
  EXPECT_TRUE(tree.complete());
  EXPECT_EQ(tree.root.kind, 1u);
  EXPECT_EQ(tree.root.key, nullptr);
  EXPECT_EQ(tree.root.body.map.nnodes, 3u);
  EXPECT_EQ(tree.root.body.map.keyType, static_cast<uint32_t>(MAP_KEY_STRING));
  const void *const stored = map_get_(&tree.root.body.map, "c");
  ASSERT_NE(stored, nullptr);
  JsonNode *child;
  memcpy(&child, stored, sizeof child);
  EXPECT_STREQ(child->key, "c");
  EXPECT_EQ(Show(child), "{d:[]}");
  EXPECT_EQ(tree.root.inserting, child);  // the member added last
}

TEST(CreateDictionary, MakesAnArrayAStackOfItsElements) {
  const Tree tree(R"([1,"x",[2,3],{"a":4},[],{}])");
  EXPECT_TRUE(tree.complete());
  EXPECT_EQ(tree.root.kind, 2u);
  EXPECT_EQ(Show(&tree.root), R"([1,"x",[2,3],{a:4},[],{}])");
  EXPECT_EQ(tree.root.lastElement, stack_get_(&tree.root.body.stack, 5));
  EXPECT_EQ(tree.root.inserting, nullptr);
}

TEST(CreateDictionary, KeepsLargeArraysInOrder) {
  std::string json = "[0";
  for (int i = 1; i < 1000; ++i) json += "," + std::to_string(i);
  json += "]";
  const Tree tree(json);
  EXPECT_TRUE(tree.complete());
  EXPECT_EQ(Show(&tree.root), json);
}

TEST(CreateDictionary, TakesTextsAndKeysOfAnyLength) {
  const std::string key(100000, 'k'), text(200000, 't');
  const Tree tree("{\"" + key + "\":\"" + text + "\",\"\":\"\"}");
  EXPECT_TRUE(tree.complete());
  JsonNode *node = nullptr;
  ASSERT_EQ(AmbrelFindJsonNode(const_cast<JsonNode *>(&tree.root), key.c_str(), nullptr, &node), 1);
  EXPECT_EQ(AmbrelGetValueFromElement(node), text);
  ASSERT_EQ(AmbrelFindJsonNode(const_cast<JsonNode *>(&tree.root), "/", nullptr, &node), 1);
  EXPECT_STREQ(node->key, "");
  EXPECT_STREQ(AmbrelGetValueFromElement(node), "");
}

TEST(CreateDictionary, LetsTheLastOfRepeatedNamesCount) {
  const Tree tree(R"({"a":{"x":[1,2]},"b":0,"a":[3],"a":4})");
  EXPECT_TRUE(tree.complete());
  EXPECT_EQ(tree.root.body.map.nnodes, 2u);
  JsonNode *node = nullptr;
  ASSERT_EQ(AmbrelFindJsonNode(const_cast<JsonNode *>(&tree.root), "a", nullptr, &node), 1);
  EXPECT_EQ(Show(node), "4");  // and the leak checker sees the replaced ones released
}

TEST(CreateDictionary, LetsTheLastOfManyRepeatedNamesCount) {
  std::string json = "{";
  for (int i = 0; i < 20000; ++i) json += (i == 0 ? "" : ",") + ("\"k\":" + std::to_string(i));
  const Tree tree(json + "}");
  EXPECT_TRUE(tree.complete());
  EXPECT_EQ(Show(&tree.root), "{k:19999}");
}

TEST(CreateDictionary, MakesAnEmptyObjectOfAMemberWithoutValue) {
  const Tree tree(R"({"a","b":1})");
  EXPECT_TRUE(tree.complete());
  JsonNode *node = nullptr;
  ASSERT_EQ(AmbrelFindJsonNode(const_cast<JsonNode *>(&tree.root), "a", nullptr, &node), 1);
  EXPECT_EQ(node->kind, 1u);
  EXPECT_EQ(node->body.map.nnodes, 0u);
  EXPECT_EQ(map_get_(&node->body.map, "x"), nullptr);
}

// What jsmn accepts though it is no JSON. Members and elements are counted by the tokens' sizes.
TEST(CreateDictionary, BuildsLenientDocumentsWithoutReadingTooFar) {
  for (const char *json :
       {R"({"a"})", R"({"a":})", R"({"a" "b"})", R"({"a":"b":"c"})", R"({"a":1 "b":2})", "[1 2]",
        "[1,]", "{}{}", R"({"a":nul})", R"({"a":1:2})", "[[1,2],[3]]", R"({"a":{"b"}})",
        R"([{"a":1:2},3])", R"({"a":[1:2]})"}) {
    SCOPED_TRACE(json);
    const Tree tree(json);
    EXPECT_GT(tree.used(), 0);
    Show(&tree.root);
  }
}

TEST(CreateDictionary, UsesOneTreeOfSeveral) {
  const Document document("{}[1,2]");
  JsonNode first = {}, second = {};
  EXPECT_EQ(
      CreateDictionary(document.text.c_str(), document.tokens.data(), document.count(), &first), 1);
  EXPECT_EQ(CreateDictionary(document.text.c_str(), document.tokens.data() + 1,
                             document.count() - 1, &second),
            3);
  EXPECT_EQ(Show(&second), "[1,2]");
  AmbrelFreeJsonNode(&first);
  AmbrelFreeJsonNode(&second);
}

TEST(CreateDictionary, RefusesNullArgumentsBeforeAnythingElse) {
  const Document document("[1]");
  JsonNode node = {};
  EXPECT_EQ(CreateDictionary(nullptr, document.tokens.data(), 2, &node), -1);
  EXPECT_EQ(CreateDictionary("[1]", nullptr, 2, &node), -1);
  EXPECT_EQ(CreateDictionary("[1]", document.tokens.data(), 2, nullptr), -1);
  EXPECT_EQ(CreateDictionary(nullptr, nullptr, 0, nullptr), -1);
}

TEST(CreateDictionary, GivesZeroWithoutTokensAndForUnknownTypes) {
  const Document document("[1]");
  JsonNode node = {};
  EXPECT_EQ(CreateDictionary("[1]", document.tokens.data(), 0, &node), 0);
  for (const int type : {0, 3, 12, 16, -1}) {
    jsmntok_t token = document.tokens[0];
    token.type = type;
    EXPECT_EQ(CreateDictionary("[1]", &token, 1, &node), 0) << type;
  }
  const JsonNode empty = {};
  EXPECT_EQ(memcmp(&node, &empty, sizeof node), 0);
}

/// The tree of the first `count` tokens of a document.
std::string ShowCut(const std::string &json, uint32_t count, int32_t used) {
  Document document(json);
  document.tokens.resize(count);
  document.tokens.shrink_to_fit();
  JsonNode root = {};
  EXPECT_EQ(CreateDictionary(document.text.c_str(), document.tokens.data(), count, &root), used);
  std::string shown = Show(&root);
  AmbrelFreeJsonNode(&root);
  return shown;
}

TEST(CreateDictionary, LeavesWhatIsCutOffEmpty) {
  // An empty element stands for each one that is missing.
  EXPECT_EQ(ShowCut("[1,2,3]", 4, 4), "[1,2,3]");
  EXPECT_EQ(ShowCut("[1,2,3]", 3, 3), "[1,2,]");
  EXPECT_EQ(ShowCut("[1,2,3]", 1, 1), "[,,]");
  EXPECT_EQ(ShowCut("[[1,2],3]", 3, 3), "[[1,],]");
  // A member whose value is missing is an empty object; one whose name is missing is not there.
  EXPECT_EQ(ShowCut(R"({"a":1,"b":2})", 4, 4), "{a:1,b:{}}");
  EXPECT_EQ(ShowCut(R"({"a":1,"b":2})", 3, 3), "{a:1}");
  EXPECT_EQ(ShowCut(R"({"a":1,"b":2})", 2, 2), "{a:{}}");
  EXPECT_EQ(ShowCut(R"({"a":1,"b":2})", 1, 1), "{}");
  EXPECT_EQ(ShowCut(R"({"a":{"b":[1]}})", 4, 4), "{a:{b:{}}}");
}

TEST(CreateDictionary, BuildsEveryPrefixOfItsTokens) {
  const std::string json = R"({"a":[1,{"b":[[],{}]},"x"],"c":{"d":{"e":1,"f"}},"a":2})";
  const uint32_t all = Document(json).count();
  for (uint32_t count = 1; count <= all; ++count) {
    Document document(json);
    document.tokens.resize(count);
    document.tokens.shrink_to_fit();
    JsonNode root = {};
    const int32_t used =
        CreateDictionary(document.text.c_str(), document.tokens.data(), count, &root);
    EXPECT_EQ(used, static_cast<int32_t>(count));
    Show(&root);
    AmbrelFreeJsonNode(&root);
  }
}

TEST(CreateDictionary, TakesTokensThatWereNeverFilled) {
  // As the tokenizer hands them out: start and end -1. And an end before the start.
  jsmntok_t tokens[4] = {};
  tokens[0].type = JSMN_ARRAY;
  tokens[0].size = 3;
  for (int i = 1; i < 4; ++i) tokens[i].start = tokens[i].end = -1;
  tokens[1].type = JSMN_STRING;
  tokens[2].type = JSMN_PRIMITIVE;
  tokens[2].start = 5;
  tokens[2].end = 2;
  JsonNode root = {};
  // The third element's token has no type: it is not used.
  EXPECT_EQ(CreateDictionary("[1,2,3]", tokens, 4, &root), 3);
  EXPECT_EQ(Show(&root), "[\"\",,]");
  AmbrelFreeJsonNode(&root);
  tokens[0].type = JSMN_OBJECT;
  tokens[0].size = 1;
  tokens[1].size = 1;
  EXPECT_EQ(CreateDictionary("[1,2,3]", tokens, 4, &root), 3);
  EXPECT_EQ(Show(&root), "{:}");
  AmbrelFreeJsonNode(&root);
}

TEST(CreateDictionary, TakesNoTextForATokenThatBeginsBeforeTheDocument) {
  const jsmntok_t token = {JSON_TOKEN_PRIMITIVE, -1, 2, 0, -1};
  const char text[] = "[1,2,3]";
  JsonNode root = {};
  EXPECT_EQ(CreateDictionary(text + 1, &token, 1, &root), 1);
  EXPECT_STREQ(AmbrelGetValueFromElement(&root), "");
  AmbrelFreeJsonNode(&root);
}

TEST(CreateDictionary, EndsStringsAtANulByte) {
  const char json[] = "{\"a\0b\":\"x\0y\"}";
  const jsmntok_t tokens[] = {{JSON_TOKEN_OBJECT, 0, 11, 1, -1},
                              {JSON_TOKEN_STRING, 2, 5, 1, 0},
                              {JSON_TOKEN_STRING, 8, 11, 0, 1}};
  JsonNode root = {};
  EXPECT_EQ(CreateDictionary(json, tokens, 3, &root), 3);
  EXPECT_EQ(Show(&root), "{a:\"x\"}");
  AmbrelFreeJsonNode(&root);
}

TEST(CreateDictionary, TakesANegativeSizeAsEmpty) {
  jsmntok_t token = {};
  token.type = JSMN_ARRAY;
  token.size = -5;
  JsonNode root = {};
  EXPECT_EQ(CreateDictionary("[]", &token, 1, &root), 1);
  EXPECT_EQ(Show(&root), "[]");
  AmbrelFreeJsonNode(&root);
}

TEST(CreateDictionary, BuildsAndReleasesAnyTokens) {
  std::mt19937 random(33);
  const std::string text = "{\"key\":[1,22,\"text\"],\"key\":{\"a\":null}}";
  const int32_t types[] = {0, 1, 1, 1, 2, 2, 2, 4, 4, 4, 8, 8, 3, 16, -1};
  const auto offset = [&] { return static_cast<int32_t>(random() % (text.size() + 2)) - 1; };
  for (int i = 0; i < 20000; ++i) {
    std::vector<jsmntok_t> tokens(1 + random() % 30);
    for (jsmntok_t &token : tokens) {
      token.type = types[random() % std::size(types)];
      token.start = offset();
      token.end = offset();
      token.size = static_cast<int32_t>(random() % 7) - 1;
      token.parent = static_cast<int32_t>(random() % 32) - 1;
    }
    const auto count = static_cast<uint32_t>(tokens.size());
    JsonNode root = {};
    const int32_t used = CreateDictionary(text.c_str(), tokens.data(), count, &root);
    ASSERT_GE(used, 0);
    ASSERT_LE(used, static_cast<int32_t>(count));
    Show(&root);
    AmbrelFreeJsonNode(&root);
  }
}

TEST(NestedDocuments, AreWhatTheTokenizerMakes) {
  for (const Document &made : {cu_test::NestedArrays(30), cu_test::NestedObjects(30)}) {
    const Document read(made.text);
    ASSERT_EQ(read.count(), made.count());
    EXPECT_EQ(memcmp(read.tokens.data(), made.tokens.data(), made.count() * sizeof(jsmntok_t)), 0);
  }
}

TEST(CreateDictionary, BuildsDocumentsUpToItsDepth) {
  for (const int depth : {512, JSON_NODE_MAX_DEPTH}) {
    EXPECT_TRUE(Tree(cu_test::NestedArrays(depth)).complete());
    EXPECT_TRUE(Tree(cu_test::NestedObjects(depth)).complete());
  }
}

TEST(CreateDictionary, RefusesDeeperDocumentsWithNothingLeftBehind) {
  for (const int depth : {JSON_NODE_MAX_DEPTH + 1, 1000000}) {
    for (const Document &document : {cu_test::NestedArrays(depth), cu_test::NestedObjects(depth)}) {
      const Tree tree(document);
      EXPECT_EQ(tree.used(), 0);
      EXPECT_EQ(tree.root.kind, 0u);
      EXPECT_EQ(tree.root.body.value.text, nullptr);
    }
  }
}

TEST(FreeJsonNode, AcceptsNullEmptyAndReleasedNodes) {
  EXPECT_EQ(AmbrelFreeJsonNode(nullptr), 1);
  JsonNode node = {};
  EXPECT_EQ(AmbrelFreeJsonNode(&node), 1);
  const Document document(R"({"a":[1,{"b":"x"}]})");
  ASSERT_GT(
      CreateDictionary(document.text.c_str(), document.tokens.data(), document.count(), &node), 0);
  EXPECT_EQ(AmbrelFreeJsonNode(&node), 1);
  const JsonNode empty = {};
  EXPECT_EQ(memcmp(&node, &empty, sizeof node), 0);
  EXPECT_EQ(AmbrelFreeJsonNode(&node), 1);
}

TEST(FreeJsonNode, ReleasesAPartBeforeTheWhole) {
  Tree tree(R"({"a":{"b":[1,2]},"c":"text","d":[{"e":5}]})");
  for (const char *path : {"a", "c", "d"}) {
    JsonNode *node = nullptr;
    ASSERT_EQ(AmbrelFindJsonNode(&tree.root, path, nullptr, &node), 1);
    EXPECT_EQ(AmbrelFreeJsonNode(node), 1);
    EXPECT_EQ(Show(node), "");
  }
}

TEST(FreeJsonNode, ReleasesStringsThatTheCallerPutIn) {
  Tree tree(R"({"a":"x"})");
  JsonNode *node = nullptr;
  ASSERT_EQ(AmbrelFindJsonNode(&tree.root, "a", nullptr, &node), 1);
  node->body.value.text = strdup("replaced");
  tree.root.key = strdup("root");
}

TEST(FreeJsonNode, ReleasesChildrenThatTheCallerAdded) {
  Tree tree(R"({"a":[]})");
  JsonNode *array = nullptr;
  ASSERT_EQ(AmbrelFindJsonNode(&tree.root, "a", nullptr, &array), 1);
  auto *const element = static_cast<JsonNode *>(calloc(1, sizeof(JsonNode)));
  element->body.value.text = strdup("text");
  stack_push_(&array->body.stack, element, sizeof *element);
  stack_push_(&array->body.stack, nullptr, sizeof *element);
  auto *const member = static_cast<JsonNode *>(calloc(1, sizeof(JsonNode)));
  member->key = strdup("b");
  member->body.value.text = strdup("text");
  map_set_(&tree.root.body.map, "b", &member, sizeof member);
  JsonNode *const none = nullptr;
  map_set_(&tree.root.body.map, "c", &none, sizeof none);
  JsonNode *node = nullptr;
  EXPECT_EQ(AmbrelFindJsonNode(&tree.root, "b", "text", &node), 1);
  EXPECT_EQ(AmbrelFindJsonNode(&tree.root, "c", nullptr, &node), 0);
}

}  // namespace
