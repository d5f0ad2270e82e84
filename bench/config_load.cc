// Loading a configuration document: open, read, fill records with heap strings, free all.
#define JSMN_STATIC
#define JSMN_STRICT
#define JSMN_PARENT_LINKS
#include <cjson/cJSON.h>
#include <jansson.h>
#include <jsmn.h>
#include <rapidjson/document.h>
#include <simdjson.h>
#include <yajl/yajl_parse.h>

#include <cstdlib>
#include <new>
#include <nlohmann/json.hpp>
#include <string>

#include "bench/config_records.hpp"
#include "bench/frame.hpp"
#include "bench/json_c_peer.hpp"

// The library's token record would meet jsmn's own; the floor needs jsmn itself.
#include "include/commonconfig.h"

namespace {

using cu_bench::AddGroup;
using cu_bench::AddParameter;
using cu_bench::Checksum;
using cu_bench::ChecksumOf;
using cu_bench::Config;
using cu_bench::Group;
using cu_bench::Parameter;
using cu_bench::ReadWhole;
using cu_bench::Role;
using cu_bench::TypeNumber;

uint64_t WithLibrary(const char *path) {
  rfAECommonConfig config;
  aeloadConfiguration(path, &config);
  Checksum sum;
  sum.Add(config.ipcName);
  sum.Add(config.logCtrlFile);
  sum.Add(config.logfile);
  sum.Add(static_cast<uint64_t>(config.logFileSize));
  for (uint32_t i = 0; i < config.ConfigObj.count; ++i) {
    const rfAECommonConfigConfigObj &group = config.ConfigObj.list[i];
    sum.Add(group.parameterGroup);
    for (uint32_t j = 0; j < group.ConfigParam.count; ++j) {
      sum.Add(group.ConfigParam.list[j].parameterName);
      sum.Add(group.ConfigParam.list[j].parameterValue);
      sum.Add(group.ConfigParam.list[j].type);
    }
  }
  aeFreeConfiguration(&config);
  return sum.value();
}

uint64_t Finish(Config &config) {
  const uint64_t sum = ChecksumOf(config);
  Release(config);
  return sum;
}

char *Copy(const char *text) {
  return text == nullptr ? nullptr : strdup(text);
}

uint64_t WithCjson(const char *path) {
  const std::string text = ReadWhole(path);
  cJSON *const root = cJSON_ParseWithLength(text.data(), text.size());
  const auto member = [](const cJSON *object, const char *name) {
    return cJSON_GetObjectItemCaseSensitive(object, name);
  };
  Config config;
  config.ipc_name = Copy(member(root, "ipcName")->valuestring);
  config.log_ctrl_file = Copy(member(root, "logCtrlFile")->valuestring);
  config.log_file = Copy(member(root, "logfile")->valuestring);
  config.log_file_size = static_cast<int64_t>(member(root, "logFileSize")->valuedouble);
  const cJSON *object = nullptr;
  cJSON_ArrayForEach(object, member(root, "ConfigObj")) {
    Group &group = *AddGroup(config);
    group.name = Copy(member(object, "parameterGroup")->valuestring);
    const cJSON *item = nullptr;
    cJSON_ArrayForEach(item, member(object, "ConfigParam")) {
      Parameter &parameter = *AddParameter(group);
      parameter.name = Copy(member(item, "parameterName")->valuestring);
      parameter.value = Copy(member(item, "parameterValue")->valuestring);
      parameter.type = TypeNumber(member(item, "type")->valuestring);
    }
  }
  cJSON_Delete(root);
  return Finish(config);
}

uint64_t WithJansson(const char *path) {
  const std::string text = ReadWhole(path);
  json_t *const root = json_loadb(text.data(), text.size(), 0, nullptr);
  const auto string = [](const json_t *object, const char *name) {
    return json_string_value(json_object_get(object, name));
  };
  Config config;
  config.ipc_name = Copy(string(root, "ipcName"));
  config.log_ctrl_file = Copy(string(root, "logCtrlFile"));
  config.log_file = Copy(string(root, "logfile"));
  config.log_file_size = json_integer_value(json_object_get(root, "logFileSize"));
  size_t i = 0, j = 0;
  json_t *object = nullptr, *item = nullptr;
  json_array_foreach(json_object_get(root, "ConfigObj"), i, object) {
    Group &group = *AddGroup(config);
    group.name = Copy(string(object, "parameterGroup"));
    json_array_foreach(json_object_get(object, "ConfigParam"), j, item) {
      Parameter &parameter = *AddParameter(group);
      parameter.name = Copy(string(item, "parameterName"));
      parameter.value = Copy(string(item, "parameterValue"));
      parameter.type = TypeNumber(string(item, "type"));
    }
  }
  json_decref(root);
  return Finish(config);
}

uint64_t WithRapidjson(const char *path) {
  std::string text = ReadWhole(path);
  rapidjson::Document root;
  root.ParseInsitu(text.data());
  Config config;
  config.ipc_name = Copy(root["ipcName"].GetString());
  config.log_ctrl_file = Copy(root["logCtrlFile"].GetString());
  config.log_file = Copy(root["logfile"].GetString());
  config.log_file_size = root["logFileSize"].GetInt64();
  for (const auto &object : root["ConfigObj"].GetArray()) {
    Group &group = *AddGroup(config);
    group.name = Copy(object["parameterGroup"].GetString());
    for (const auto &item : object["ConfigParam"].GetArray()) {
      Parameter &parameter = *AddParameter(group);
      parameter.name = Copy(item["parameterName"].GetString());
      parameter.value = Copy(item["parameterValue"].GetString());
      parameter.type = TypeNumber(item["type"].GetString());
    }
  }
  return Finish(config);
}

uint64_t WithNlohmann(const char *path) {
  const nlohmann::json root = nlohmann::json::parse(ReadWhole(path));
  const auto copy = [](const nlohmann::json &object, const char *name) {
    return strdup(object.at(name).get_ref<const std::string &>().c_str());
  };
  Config config;
  config.ipc_name = copy(root, "ipcName");
  config.log_ctrl_file = copy(root, "logCtrlFile");
  config.log_file = copy(root, "logfile");
  config.log_file_size = root.at("logFileSize").get<int64_t>();
  for (const nlohmann::json &object : root.at("ConfigObj")) {
    Group &group = *AddGroup(config);
    group.name = copy(object, "parameterGroup");
    for (const nlohmann::json &item : object.at("ConfigParam")) {
      Parameter &parameter = *AddParameter(group);
      parameter.name = copy(item, "parameterName");
      parameter.value = copy(item, "parameterValue");
      parameter.type = TypeNumber(item.at("type").get_ref<const std::string &>().c_str());
    }
  }
  return Finish(config);
}

uint64_t WithSimdjson(const char *path) {
  static simdjson::dom::parser parser;
  const simdjson::padded_string text = simdjson::padded_string::load(path);
  const simdjson::dom::element root = parser.parse(text);
  const auto copy = [](const simdjson::dom::element &object, const char *name) {
    return strdup(object[name].get_c_str());
  };
  Config config;
  config.ipc_name = copy(root, "ipcName");
  config.log_ctrl_file = copy(root, "logCtrlFile");
  config.log_file = copy(root, "logfile");
  config.log_file_size = root["logFileSize"].get_int64();
  for (const simdjson::dom::element object : root["ConfigObj"].get_array()) {
    Group &group = *AddGroup(config);
    group.name = copy(object, "parameterGroup");
    for (const simdjson::dom::element item : object["ConfigParam"].get_array()) {
      Parameter &parameter = *AddParameter(group);
      parameter.name = copy(item, "parameterName");
      parameter.value = copy(item, "parameterValue");
      parameter.type = TypeNumber(item["type"].get_c_str());
    }
  }
  return Finish(config);
}

/// yajl calls back as it reads; the state is the last key.
struct YajlState {
  Config config;
  std::string key;
};

bool KeyIs(const YajlState &state, const char *name) {
  return state.key == name;
}

int OnKey(void *context, const unsigned char *text, size_t length) {
  static_cast<YajlState *>(context)->key.assign(reinterpret_cast<const char *>(text), length);
  return 1;
}

int OnStart(void *context) {
  YajlState &state = *static_cast<YajlState *>(context);
  if (KeyIs(state, "ConfigObj")) {
    AddGroup(state.config);
    state.key = "Group";
  } else if (KeyIs(state, "ConfigParam") || KeyIs(state, "Parameter")) {
    AddParameter(state.config.groups[state.config.count - 1]);
  }
  return 1;
}

int OnArrayEnd(void *context) {
  static_cast<YajlState *>(context)->key = "ParameterListEnd";
  return 1;
}

int OnString(void *context, const unsigned char *text, size_t length) {
  YajlState &state = *static_cast<YajlState *>(context);
  char *const copy = strndup(reinterpret_cast<const char *>(text), length);
  Config &config = state.config;
  if (KeyIs(state, "ipcName")) {
    config.ipc_name = copy;
  } else if (KeyIs(state, "logCtrlFile")) {
    config.log_ctrl_file = copy;
  } else if (KeyIs(state, "logfile")) {
    config.log_file = copy;
  } else {
    Group &group = config.groups[config.count - 1];
    if (KeyIs(state, "parameterGroup")) {
      group.name = copy;
      return 1;
    }
    Parameter &parameter = group.parameters[group.count - 1];
    if (KeyIs(state, "parameterName")) {
      parameter.name = copy;
    } else if (KeyIs(state, "parameterValue")) {
      parameter.value = copy;
    } else {
      parameter.type = TypeNumber(copy);
      free(copy);
    }
  }
  return 1;
}

int OnInteger(void *context, long long value) {
  static_cast<YajlState *>(context)->config.log_file_size = value;
  return 1;
}

/// An object that ends leaves "Parameter" behind for the next parameter of the list; the end of a
/// list turns it so that the next object is a group.
int OnObjectEnd(void *context) {
  YajlState &state = *static_cast<YajlState *>(context);
  state.key = KeyIs(state, "ParameterListEnd") ? "ConfigObj" : "Parameter";
  return 1;
}

uint64_t WithYajl(const char *path) {
  const std::string text = ReadWhole(path);
  YajlState state;
  static const yajl_callbacks callbacks = {nullptr,     nullptr,  OnInteger, nullptr,
                                           nullptr,     OnString, OnStart,   OnKey,
                                           OnObjectEnd, nullptr,  OnArrayEnd};
  yajl_handle handle = yajl_alloc(&callbacks, nullptr, &state);
  yajl_parse(handle, reinterpret_cast<const unsigned char *>(text.data()), text.size());
  yajl_complete_parse(handle);
  yajl_free(handle);
  return Finish(state.config);
}

uint64_t Floor(const char *path) {
  const std::string text = ReadWhole(path);
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

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("config_load", cu_bench::Clock::kCpu);
  const char *const folder = getenv("TMPDIR") == nullptr ? "/dev/shm" : getenv("TMPDIR");
  struct Size {
    const char *name;
    int groups;
  };
  static constexpr Size kSizes[] = {{"1 KB", 1}, {"32 KB", 28}, {"1 MB", 888}};
  std::string paths[3];
  for (size_t i = 0; i < 3; ++i) {
    paths[i] = std::string(folder) + "/bench-config-" + std::to_string(kSizes[i].groups) + ".json";
    const std::string text = cu_bench::MakeConfigDocument(kSizes[i].groups);
    FILE *const file = fopen(paths[i].c_str(), "wb");
    if (file == nullptr || fwrite(text.data(), 1, text.size(), file) != text.size()) return 1;
    fclose(file);

    const char *const path = paths[i].c_str();
    auto &workload = family.AddWorkload(kSizes[i].name);
    workload.Add(Role::kLibrary, "aeloadConfiguration", [=] { return WithLibrary(path); });
    workload.Add(Role::kPeer, "cJSON", [=] { return WithCjson(path); });
    workload.Add(Role::kPeer, "yajl", [=] { return WithYajl(path); });
    workload.Add(Role::kPeer, "jansson", [=] { return WithJansson(path); });
    workload.Add(Role::kPeer, "json-c", [=] { return cu_bench::LoadConfigWithJsonC(path); });
    workload.Add(Role::kReported, "RapidJSON in situ", [=] { return WithRapidjson(path); });
    workload.Add(Role::kReported, "simdjson", [=] { return WithSimdjson(path); });
    workload.Add(Role::kReported, "nlohmann", [=] { return WithNlohmann(path); });
    workload.Add(
        Role::kFloor, "fread + jsmn", [=] { return Floor(path); }, cu_bench::Check::kNone);
  }
  const int status = family.Main(argc, argv);
  for (const std::string &path : paths) remove(path.c_str());
  return status;
}
