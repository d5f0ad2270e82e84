// The JSON node tree: text to tree to release, and lookups by path.
#define JSMN_STATIC
#define JSMN_STRICT
#define JSMN_PARENT_LINKS
#include <cjson/cJSON.h>
#include <jansson.h>
#include <jsmn.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/config_records.hpp"
#include "bench/frame.hpp"
#include "bench/json_c_peer.hpp"
#include "include/jsonnode.h"
#include "include/jsonparser.h"
#include "include/stackmap.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

int32_t BuildTree(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *user) {
  CreateDictionary(json, tokens, count, static_cast<JsonNode *>(user));
  return 0;
}

uint64_t JsmnFloor(const std::string &text) {
  unsigned capacity = 16;
  jsmntok_t *tokens = static_cast<jsmntok_t *>(malloc(capacity * sizeof(jsmntok_t)));
  jsmn_parser parser;
  jsmn_init(&parser);
  while (jsmn_parse(&parser, text.data(), text.size(), tokens, capacity) == JSMN_ERROR_NOMEM) {
    capacity *= 2;
    tokens = static_cast<jsmntok_t *>(realloc(tokens, capacity * sizeof(jsmntok_t)));
  }
  free(tokens);
  return parser.toknext;
}

/// Walking a tree would count as much as building it: only the check run does.
bool g_checking = true;

uint64_t Leaves(const JsonNode &node) {
  uint64_t sum = 0;
  switch (node.kind) {
    case JSON_NODE_OBJECT: {
      MapIter iter = map_iter_();
      while (map_next_(&node.body.map, &iter) != nullptr) {
        const JsonNode *member;
        memcpy(&member, iter.node->value, sizeof member);
        sum += Leaves(*member);
      }
      return sum;
    }
    case JSON_NODE_ARRAY: {
      uint32_t cursor = 0;
      while (const JsonNode *const element = AmbrelGetNextElementInArray(&node, &cursor))
        sum += Leaves(*element);
      return sum;
    }
    default:
      return cu_bench::Leaf(node.key == nullptr ? "" : node.key, node.body.value.text);
  }
}

uint64_t Leaves(const cJSON *node) {
  const char *const name = node->string == nullptr ? "" : node->string;
  if (cJSON_IsString(node)) return cu_bench::Leaf(name, node->valuestring);
  if (cJSON_IsNumber(node)) return cu_bench::Leaf(name, std::to_string(node->valueint));
  uint64_t sum = 0;
  const cJSON *child = nullptr;
  cJSON_ArrayForEach(child, node) sum += Leaves(child);
  return sum;
}

uint64_t Leaves(json_t *node, const char *name) {
  if (json_is_string(node)) return cu_bench::Leaf(name, json_string_value(node));
  if (json_is_integer(node)) return cu_bench::Leaf(name, std::to_string(json_integer_value(node)));
  uint64_t sum = 0;
  size_t i = 0;
  const char *key = nullptr;
  json_t *child = nullptr;
  json_object_foreach(node, key, child) sum += Leaves(child, key);
  json_array_foreach(node, i, child) sum += Leaves(child, "");
  return sum;
}

void AddBuild(cu_bench::Family &family, const char *name, int groups) {
  static std::vector<std::unique_ptr<std::string>> documents;
  documents.push_back(std::make_unique<std::string>(cu_bench::MakeConfigDocument(groups)));
  const std::string *const text = documents.back().get();
  auto &workload = family.AddWorkload(std::string("build and release, ") + name);
  workload.Add(Role::kLibrary, "CreateDictionary", [=]() -> uint64_t {
    JsonNode root = {};
    parseJsonBuffer(text->data(), static_cast<uint32_t>(text->size()), 0, BuildTree, &root);
    const uint64_t sum = g_checking ? Leaves(root) : 0;
    AmbrelFreeJsonNode(&root);
    return sum;
  });
  workload.Add(Role::kPeer, "cJSON", [=]() -> uint64_t {
    cJSON *const root = cJSON_ParseWithLength(text->data(), text->size());
    const uint64_t sum = g_checking ? Leaves(root) : 0;
    cJSON_Delete(root);
    return sum;
  });
  workload.Add(Role::kPeer, "json-c",
               [=]() -> uint64_t { return cu_bench::BuildTreeWithJsonC(*text, g_checking); });
  workload.Add(Role::kPeer, "jansson", [=]() -> uint64_t {
    json_t *const root = json_loadb(text->data(), text->size(), 0, nullptr);
    const uint64_t sum = g_checking ? Leaves(root, "") : 0;
    json_decref(root);
    return sum;
  });
  workload.Add(
      Role::kFloor, "jsmn tokens", [=] { return JsmnFloor(*text); }, Check::kNone);
}

std::string NestedDocument() {
  std::string text = "{";
  for (int i = 0; i < 10; ++i) {
    text += (i == 0 ? "\"s" : ",\"s") + std::to_string(i) + "\":{";
    for (int j = 0; j < 10; ++j) {
      text += (j == 0 ? "\"g" : ",\"g") + std::to_string(j) + "\":{";
      for (int k = 0; k < 10; ++k)
        text += (k == 0 ? "\"p" : ",\"p") + std::to_string(k) + "\":\"" +
                std::to_string(i * 100 + j * 10 + k) + "\"";
      text += "}";
    }
    text += "}";
  }
  return text + "}";
}

void AddLookup(cu_bench::Family &family) {
  static const std::string text = NestedDocument();
  static std::vector<std::string> paths, pointers;
  for (int n = 0; n < 1000; ++n) {
    char path[32];
    snprintf(path, sizeof path, "s%d/g%d/p%d", n / 100, n / 10 % 10, n % 10);
    paths.emplace_back(path);
  }
  std::shuffle(paths.begin(), paths.end(), std::mt19937(5));
  for (const std::string &path : paths) pointers.push_back("/" + path);

  static JsonNode root = {};
  parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, BuildTree, &root);
  cJSON *const cjson = cJSON_Parse(text.c_str());
  void *const jsonc = cu_bench::ParseWithJsonC(text);
  json_t *const jansson = json_loads(text.c_str(), 0, nullptr);
  auto rapid = std::make_shared<rapidjson::Document>();
  rapid->Parse(text.c_str());

  auto &workload = family.AddWorkload("1000 lookups by path");
  workload.Add(Role::kLibrary, "AmbrelFindJsonNode", []() -> uint64_t {
    uint64_t sum = 0;
    for (const std::string &path : paths) {
      JsonNode *found = nullptr;
      if (AmbrelFindJsonNode(&root, path.c_str(), nullptr, &found))
        sum += strlen(AmbrelGetValueFromElement(found));
    }
    return sum;
  });
  workload.Add(Role::kPeer, "jansson + strtok_r", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const std::string &path : paths) {
      char copy[32];
      strcpy(copy, path.c_str());
      char *save = nullptr;
      json_t *node = jansson;
      for (char *one = strtok_r(copy, "/", &save); one != nullptr && node != nullptr;
           one = strtok_r(nullptr, "/", &save))
        node = json_object_get(node, one);
      sum += strlen(json_string_value(node));
    }
    return sum;
  });
  workload.Add(Role::kPeer, "cJSON + strtok_r", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const std::string &path : paths) {
      char copy[32];
      strcpy(copy, path.c_str());
      char *save = nullptr;
      cJSON *node = cjson;
      for (char *one = strtok_r(copy, "/", &save); one != nullptr && node != nullptr;
           one = strtok_r(nullptr, "/", &save))
        node = cJSON_GetObjectItemCaseSensitive(node, one);
      sum += strlen(node->valuestring);
    }
    return sum;
  });
  workload.Add(Role::kPeer, "json_pointer_get",
               [=]() -> uint64_t { return cu_bench::FindPathsWithJsonC(jsonc, pointers); });
  workload.Add(Role::kPeer, "RapidJSON Pointer", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const std::string &pointer : pointers)
      if (const auto *const node = rapidjson::Pointer(pointer.c_str()).Get(*rapid))
        sum += strlen(node->GetString());
    return sum;
  });
  workload.Add(
      Role::kFloor, "FNV-1a of the segments",
      []() -> uint64_t {
        uint64_t sum = 0;
        for (const std::string &path : paths) {
          uint64_t hash = 0xCBF29CE484222325ULL;
          for (const char c : path) {
            if (c == '/') {
              sum += hash;
              hash = 0xCBF29CE484222325ULL;
            } else {
              hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
            }
          }
          sum += hash;
        }
        return sum;
      },
      Check::kNone);
}

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("node_tree", cu_bench::Clock::kCpu);
  AddBuild(family, "1 KB", 1);
  AddBuild(family, "32 KB", 28);
  AddBuild(family, "1 MB", 888);
  AddLookup(family);
  family.AfterCheck([] { g_checking = false; }, [] { g_checking = true; });
  return family.Main(argc, argv);
}
