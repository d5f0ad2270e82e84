// Writing the records of a configuration document as JSON text, finalised and freed. Every writer
// gets C strings, as the records hold them, and writes the same document in a layout of its own;
// the check compares what it says.
#include <cjson/cJSON.h>
#include <glib.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <yajl/yajl_gen.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/config_records.hpp"
#include "bench/frame.hpp"
#include "include/jsonwriter.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

struct Row {
  std::string name, type, value;
};

struct Block {
  std::string name;
  std::vector<Row> rows;
};

std::vector<Block> MakeBlocks(int groups) {
  std::vector<Block> blocks;
  char name[40];
  int parameter = 0;
  for (int group = 0; group < groups; ++group) {
    snprintf(name, sizeof name, "SensorGroup%05d", group);
    Block block{name, {}};
    for (int i = 0; i < 8; ++i, ++parameter) {
      snprintf(name, sizeof name, "Threshold_%06d", parameter);
      block.rows.push_back(
          {name, cu_bench::kTypeNames[parameter % 10], cu_bench::kTypeSamples[parameter % 10]});
    }
    blocks.push_back(std::move(block));
  }
  return blocks;
}

/// The text without its layout, which every writer chooses differently; 0 when it is no JSON.
uint64_t Content(const char *text) {
  cJSON *const root = cJSON_Parse(text);
  if (root == nullptr) return 0;
  char *const plain = cJSON_PrintUnformatted(root);
  const uint64_t hash = std::hash<std::string_view>()(plain);
  free(plain);
  cJSON_Delete(root);
  return hash;
}

/// Looking at every byte would cost as much as writing it: only the check run does.
bool g_checking = true;
uint64_t Result(const char *text) {
  cu_bench::Keep(text);
  return g_checking ? Content(text) : 0;
}

uint64_t WithLibrary(const std::vector<Block> &blocks) {
  JsonBox box = {};
  JsonStartObject(nullptr, &box);
  JsonAddStringElement(&box, "ipcName", "/boardd");
  JsonAddIntegerElement(&box, "logFileSize", 65536);
  JsonStartArray("ConfigObj", &box);
  for (const Block &block : blocks) {
    JsonStartObject(nullptr, &box);
    JsonAddStringElement(&box, "parameterGroup", block.name.c_str());
    JsonStartArray("ConfigParam", &box);
    for (const Row &row : block.rows) {
      JsonStartObject(nullptr, &box);
      JsonAddStringElement(&box, "parameterName", row.name.c_str());
      JsonAddStringElement(&box, "type", row.type.c_str());
      JsonAddStringElement(&box, "parameterValue", row.value.c_str());
      JsonEndObject(&box);
    }
    JsonEndArray(&box);
    JsonEndObject(&box);
  }
  JsonEndArray(&box);
  JsonEndObject(&box);
  JsonFinalize(&box);
  const uint64_t result = Result(box.data);
  JsonFreeBox(&box);
  return result;
}

uint64_t WithRapidjson(const std::vector<Block> &blocks) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  const auto string = [&](const char *key, const std::string &value) {
    writer.Key(key);
    writer.String(value.c_str());
  };
  writer.StartObject();
  writer.Key("ipcName");
  writer.String("/boardd");
  writer.Key("logFileSize");
  writer.Int(65536);
  writer.Key("ConfigObj");
  writer.StartArray();
  for (const Block &block : blocks) {
    writer.StartObject();
    string("parameterGroup", block.name);
    writer.Key("ConfigParam");
    writer.StartArray();
    for (const Row &row : block.rows) {
      writer.StartObject();
      string("parameterName", row.name);
      string("type", row.type);
      string("parameterValue", row.value);
      writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
  return Result(buffer.GetString());
}

uint64_t WithGString(const std::vector<Block> &blocks) {
  GString *const text = g_string_new("{\n\"ipcName\" : \"/boardd\",\n\"logFileSize\" : 65536,\n");
  g_string_append(text, "\"ConfigObj\" : [\n");
  const char *before_group = "";
  for (const Block &block : blocks) {
    g_string_append_printf(text, "%s{\n\"parameterGroup\" : \"%s\",\n\"ConfigParam\" : [\n",
                           before_group, block.name.c_str());
    before_group = ",\n";
    const char *before_row = "";
    for (const Row &row : block.rows) {
      g_string_append_printf(
          text,
          "%s{\n\"parameterName\" : \"%s\",\n\"type\" : \"%s\",\n\"parameterValue\" : \"%s\"\n}",
          before_row, row.name.c_str(), row.type.c_str(), row.value.c_str());
      before_row = ",\n";
    }
    g_string_append(text, " ]\n}");
  }
  g_string_append(text, " ]\n}");
  const uint64_t result = Result(text->str);
  g_string_free(text, TRUE);
  return result;
}

uint64_t WithYajl(const std::vector<Block> &blocks) {
  yajl_gen generator = yajl_gen_alloc(nullptr);
  const auto string = [&](const char *text, size_t length) {
    yajl_gen_string(generator, reinterpret_cast<const unsigned char *>(text), length);
  };
  const auto member = [&](const char *key, const std::string &value) {
    string(key, strlen(key));
    string(value.c_str(), strlen(value.c_str()));
  };
  yajl_gen_map_open(generator);
  member("ipcName", "/boardd");
  string("logFileSize", 11);
  yajl_gen_integer(generator, 65536);
  string("ConfigObj", 9);
  yajl_gen_array_open(generator);
  for (const Block &block : blocks) {
    yajl_gen_map_open(generator);
    member("parameterGroup", block.name);
    string("ConfigParam", 11);
    yajl_gen_array_open(generator);
    for (const Row &row : block.rows) {
      yajl_gen_map_open(generator);
      member("parameterName", row.name);
      member("type", row.type);
      member("parameterValue", row.value);
      yajl_gen_map_close(generator);
    }
    yajl_gen_array_close(generator);
    yajl_gen_map_close(generator);
  }
  yajl_gen_array_close(generator);
  yajl_gen_map_close(generator);
  const unsigned char *text = nullptr;
  size_t length = 0;
  yajl_gen_get_buf(generator, &text, &length);
  const uint64_t result = Result(reinterpret_cast<const char *>(text));
  yajl_gen_free(generator);
  return result;
}

uint64_t WithCjson(const std::vector<Block> &blocks) {
  cJSON *const root = cJSON_CreateObject();
  cJSON_AddStringToObject(root, "ipcName", "/boardd");
  cJSON_AddNumberToObject(root, "logFileSize", 65536);
  cJSON *const list = cJSON_AddArrayToObject(root, "ConfigObj");
  for (const Block &block : blocks) {
    cJSON *const group = cJSON_CreateObject();
    cJSON_AddItemToArray(list, group);
    cJSON_AddStringToObject(group, "parameterGroup", block.name.c_str());
    cJSON *const rows = cJSON_AddArrayToObject(group, "ConfigParam");
    for (const Row &row : block.rows) {
      cJSON *const item = cJSON_CreateObject();
      cJSON_AddItemToArray(rows, item);
      cJSON_AddStringToObject(item, "parameterName", row.name.c_str());
      cJSON_AddStringToObject(item, "type", row.type.c_str());
      cJSON_AddStringToObject(item, "parameterValue", row.value.c_str());
    }
  }
  char *const text = cJSON_PrintUnformatted(root);
  const uint64_t result = Result(text);
  free(text);
  cJSON_Delete(root);
  return result;
}

}  // namespace

int main(int argc, char **argv) {
  struct Size {
    const char *name;
    int groups;
  };
  static constexpr Size kSizes[] = {{"0.8 KB", 1}, {"23 KB", 28}, {"731 KB", 888}};
  static std::vector<std::vector<Block>> all;
  all.reserve(3);
  cu_bench::Family family("json_writer", cu_bench::Clock::kCpu);
  for (const Size &size : kSizes) {
    all.push_back(MakeBlocks(size.groups));
    const std::vector<Block> *const blocks = &all.back();
    auto &workload = family.AddWorkload(size.name);
    workload.Add(Role::kLibrary, "JsonAdd...Element", [=] { return WithLibrary(*blocks); });
    workload.Add(Role::kPeer, "RapidJSON Writer", [=] { return WithRapidjson(*blocks); });
    workload.Add(Role::kPeer, "GString printf", [=] { return WithGString(*blocks); });
    workload.Add(Role::kPeer, "yajl_gen", [=] { return WithYajl(*blocks); });
    workload.Add(Role::kPeer, "cJSON", [=] { return WithCjson(*blocks); });
  }
  family.AfterCheck([] { g_checking = false; }, [] { g_checking = true; });
  return family.Main(argc, argv);
}
