// Looking a parameter up by name and reading it as an integer.
#include <glib.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/frame.hpp"
#include "include/configparams.h"

namespace {

using cu_bench::Role;

void Add(cu_bench::Family &family, int count) {
  static std::vector<std::unique_ptr<std::vector<std::string>>> all_names;
  static std::vector<std::unique_ptr<std::vector<rfAECommonConfigConfigParam>>> all_params;
  all_names.push_back(std::make_unique<std::vector<std::string>>());
  all_params.push_back(std::make_unique<std::vector<rfAECommonConfigConfigParam>>());
  std::vector<std::string> *const names = all_names.back().get();
  std::vector<rfAECommonConfigConfigParam> &params = *all_params.back();
  static char value[] = "123456";
  GKeyFile *const keys = g_key_file_new();
  auto tree = std::make_shared<std::map<std::string, std::string>>();
  char name[32];
  for (int i = 0; i < count; ++i) {
    snprintf(name, sizeof name, "Threshold_%06d", i);
    names->emplace_back(name);
    g_key_file_set_string(keys, "group", name, value);
    (*tree)[name] = value;
  }
  for (std::string &one : *names) {
    rfAECommonConfigConfigParam param = {};
    param.parameterName = one.data();
    param.parameterValue = value;
    param.type = 2;
    params.push_back(param);
  }
  static std::vector<std::unique_ptr<rfAECommonConfigConfigParamArray>> lists;
  lists.push_back(std::make_unique<rfAECommonConfigConfigParamArray>());
  lists.back()->count = static_cast<uint32_t>(count);
  lists.back()->list = params.data();
  const rfAECommonConfigConfigParamArray *const list = lists.back().get();

  auto &workload = family.AddWorkload("every one of " + std::to_string(count) + " parameters");
  workload.Add(Role::kLibrary, "getAEParameterinArray", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const std::string &wanted : *names) {
      rfAECommonConfigConfigParam *param = nullptr;
      int32_t number = 0;
      if (getAEParameterinArray(list, wanted.c_str(), &param) &&
          getAEParameterAsInteger(param, &number))
        sum += static_cast<uint64_t>(number);
    }
    return sum;
  });
  workload.Add(Role::kPeer, "GKeyFile", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const std::string &wanted : *names)
      sum += static_cast<uint64_t>(g_key_file_get_integer(keys, "group", wanted.c_str(), nullptr));
    return sum;
  });
  workload.Add(Role::kPeer, "std::map + strtol", [=]() -> uint64_t {
    uint64_t sum = 0;
    for (const std::string &wanted : *names)
      if (const auto found = tree->find(wanted); found != tree->end())
        sum += static_cast<uint64_t>(strtol(found->second.c_str(), nullptr, 10));
    return sum;
  });
}

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("parameters", cu_bench::Clock::kCpu);
  Add(family, 8);
  Add(family, 100);
  return family.Main(argc, argv);
}
