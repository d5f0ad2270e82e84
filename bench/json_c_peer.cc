#include "bench/json_c_peer.hpp"

#include <json-c/json.h>
#include <json-c/json_pointer.h>

#include <cstring>

#include "bench/config_records.hpp"

namespace cu_bench {

uint64_t LoadConfigWithJsonC(const char *path) {
  const std::string text = ReadWhole(path);
  json_object *const root = json_tokener_parse(text.c_str());
  const auto string = [](json_object *object, const char *name) {
    return json_object_get_string(json_object_object_get(object, name));
  };
  Config config;
  config.ipc_name = strdup(string(root, "ipcName"));
  config.log_ctrl_file = strdup(string(root, "logCtrlFile"));
  config.log_file = strdup(string(root, "logfile"));
  config.log_file_size = json_object_get_int64(json_object_object_get(root, "logFileSize"));
  json_object *const objects = json_object_object_get(root, "ConfigObj");
  for (size_t i = 0; i < json_object_array_length(objects); ++i) {
    json_object *const object = json_object_array_get_idx(objects, i);
    Group &group = *AddGroup(config);
    group.name = strdup(string(object, "parameterGroup"));
    json_object *const items = json_object_object_get(object, "ConfigParam");
    for (size_t j = 0; j < json_object_array_length(items); ++j) {
      json_object *const item = json_object_array_get_idx(items, j);
      Parameter &parameter = *AddParameter(group);
      parameter.name = strdup(string(item, "parameterName"));
      parameter.value = strdup(string(item, "parameterValue"));
      parameter.type = TypeNumber(string(item, "type"));
    }
  }
  json_object_put(root);
  const uint64_t sum = ChecksumOf(config);
  Release(config);
  return sum;
}

namespace {

uint64_t Leaves(json_object *node, const char *name) {
  uint64_t sum = 0;
  switch (json_object_get_type(node)) {
    case json_type_object: {
      json_object_object_foreach(node, key, member) sum += Leaves(member, key);
      return sum;
    }
    case json_type_array:
      for (size_t i = 0; i < json_object_array_length(node); ++i)
        sum += Leaves(json_object_array_get_idx(node, i), "");
      return sum;
    default:
      return Leaf(name, json_object_get_string(node));
  }
}

}  // namespace

uint64_t BuildTreeWithJsonC(const std::string &text, bool sum_wanted) {
  json_object *const root = json_tokener_parse(text.c_str());
  const uint64_t sum = sum_wanted ? Leaves(root, "") : 0;
  json_object_put(root);
  return sum;
}

void *ParseWithJsonC(const std::string &text) {
  return json_tokener_parse(text.c_str());
}

uint64_t FindPathsWithJsonC(void *root, const std::vector<std::string> &pointers) {
  uint64_t sum = 0;
  for (const std::string &pointer : pointers) {
    json_object *node = nullptr;
    if (json_pointer_get(static_cast<json_object *>(root), pointer.c_str(), &node) == 0)
      sum += strlen(json_object_get_string(node));
  }
  return sum;
}

}  // namespace cu_bench
