// The configuration document of the benchmarks, and the records that every JSON library fills from
// it: heap strings, as the library's own records hold them.
#ifndef COMMONUTILITIES_BENCH_CONFIG_RECORDS_HPP
#define COMMONUTILITIES_BENCH_CONFIG_RECORDS_HPP

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

namespace cu_bench {

inline constexpr const char *kTypeNames[10] = {
    "string", "unsigned integer", "integer", "float", "long", "boolean",
    "uint8",  "uint16",           "uint64",  "blob"};
inline constexpr const char *kTypeSamples[10] = {"carrier board",
                                                 "4294967295",
                                                 "-2147483648",
                                                 "3.25",
                                                 "123456789",
                                                 "true",
                                                 "200",
                                                 "0xBEEF",
                                                 "18446744073709551615",
                                                 "00112233445566778899"};

/// Four header fields and `groups` groups of eight parameters, pretty-printed.
inline std::string MakeConfigDocument(int groups) {
  std::string text =
      "{\n  \"ipcName\": \"/boardd\",\n  \"logCtrlFile\": \"/etc/boardd.logenable\",\n"
      "  \"logfile\": \"/var/log/boardd.log\",\n  \"logFileSize\": 65536,\n  \"ConfigObj\": [\n";
  char line[160];
  int parameter = 0;
  for (int group = 0; group < groups; ++group) {
    snprintf(line, sizeof line,
             "    {\n      \"parameterGroup\": \"SensorGroup%05d\",\n      \"ConfigParam\": [\n",
             group);
    text += line;
    for (int i = 0; i < 8; ++i, ++parameter) {
      snprintf(line, sizeof line, "        {\n          \"parameterName\": \"Threshold_%06d\",\n",
               parameter);
      text += line;
      text += std::string("          \"type\": \"") + kTypeNames[parameter % 10] + "\",\n";
      text += std::string("          \"parameterValue\": \"") + kTypeSamples[parameter % 10] +
              "\"\n        }" + (i < 7 ? ",\n" : "\n");
    }
    text += std::string("      ]\n    }") + (group + 1 < groups ? ",\n" : "\n");
  }
  return text + "  ]\n}\n";
}

struct Parameter {
  char *name = nullptr;
  char *value = nullptr;
  uint64_t type = 0;
};

struct Group {
  char *name = nullptr;
  Parameter *parameters = nullptr;
  uint32_t count = 0;
};

struct Config {
  char *ipc_name = nullptr;
  char *log_ctrl_file = nullptr;
  char *log_file = nullptr;
  int64_t log_file_size = 0;
  Group *groups = nullptr;
  uint32_t count = 0;
};

inline uint64_t TypeNumber(const char *name) {
  for (uint64_t i = 0; i < 10; ++i)
    if (strcmp(kTypeNames[i], name) == 0) return i;
  return 5;
}

inline Group *AddGroup(Config &config) {
  config.groups = static_cast<Group *>(realloc(config.groups, (config.count + 1) * sizeof(Group)));
  return new (&config.groups[config.count++]) Group;
}

inline Parameter *AddParameter(Group &group) {
  group.parameters =
      static_cast<Parameter *>(realloc(group.parameters, (group.count + 1) * sizeof(Parameter)));
  return new (&group.parameters[group.count++]) Parameter;
}

inline void Release(Config &config) {
  for (uint32_t i = 0; i < config.count; ++i) {
    for (uint32_t j = 0; j < config.groups[i].count; ++j) {
      free(config.groups[i].parameters[j].name);
      free(config.groups[i].parameters[j].value);
    }
    free(config.groups[i].parameters);
    free(config.groups[i].name);
  }
  free(config.groups);
  free(config.ipc_name);
  free(config.log_ctrl_file);
  free(config.log_file);
}

/// A sum over every string and number of the records; cheap beside reading them.
class Checksum {
 public:
  void Add(const char *text) {
    const size_t length = text == nullptr ? 0 : strlen(text);
    Add(length);
    if (length != 0) Add(static_cast<uint64_t>(static_cast<unsigned char>(text[length - 1])));
  }
  void Add(uint64_t number) { sum_ = (sum_ ^ number) * 0x100000001B3ULL; }
  uint64_t value() const { return sum_; }

 private:
  uint64_t sum_ = 0xCBF29CE484222325ULL;
};

inline uint64_t ChecksumOf(const Config &config) {
  Checksum sum;
  sum.Add(config.ipc_name);
  sum.Add(config.log_ctrl_file);
  sum.Add(config.log_file);
  sum.Add(static_cast<uint64_t>(config.log_file_size));
  for (uint32_t i = 0; i < config.count; ++i) {
    sum.Add(config.groups[i].name);
    for (uint32_t j = 0; j < config.groups[i].count; ++j) {
      sum.Add(config.groups[i].parameters[j].name);
      sum.Add(config.groups[i].parameters[j].value);
      sum.Add(config.groups[i].parameters[j].type);
    }
  }
  return sum.value();
}

/// One value of a tree with its name; a tree's sum is the same whatever the order of its members.
inline uint64_t Leaf(std::string_view name, std::string_view text) {
  return std::hash<std::string_view>()(name) * 31 + std::hash<std::string_view>()(text);
}

inline std::string ReadWhole(const char *path) {
  FILE *file = fopen(path, "rb");
  fseek(file, 0, SEEK_END);
  std::string text(static_cast<size_t>(ftell(file)), '\0');
  rewind(file);
  if (fread(text.data(), 1, text.size(), file) != text.size()) text.clear();
  fclose(file);
  return text;
}

}  // namespace cu_bench

#endif
