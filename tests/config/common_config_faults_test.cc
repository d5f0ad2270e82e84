// Loading configurations while memory runs out.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/commonconfig.h"
#include "support/faults.hpp"
#include "support/files.hpp"
#include "support/leaks.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;

constexpr const char *kDocument =
    R"({"ipcName":"q","ConfigObj":[{"parameterGroup":"a","ConfigParam":[)"
    R"({"parameterName":"n","parameterValue":"1"},{"parameterName":"m"}]},)"
    R"({"parameterGroup":"b"},{"parameterGroup":"c"}],"logfile":"L"})";

// Whatever allocation fails, the rest of the document is read, and the record can be released.
TEST(ConfigurationUnderFaults, KeepsTheRecordReleasableWhereverMemoryRunsOut) {
  const cu_test::MayLeak lost;  // the elements of a list that cannot grow
  cu_test::TempDir dir;
  const std::string path = dir.file("config.json");
  cu_test::WriteFile(path, kDocument);
  for (const auto reach : {cu_test::Reach::kOnce, cu_test::Reach::kFromThen}) {
    for (long k = 1;; ++k) {
      rfAECommonConfig config;
      memset(&config, 0x55, sizeof config);
      Fault fault(Call::kMemory, k, ENOMEM, reach);
      aeloadConfiguration(path.c_str(), &config);
      const bool fired = fault.fired();
      for (uint32_t i = 0; i < config.ConfigObj.count; ++i)
        EXPECT_NE(config.ConfigObj.list, nullptr) << k;
      aeFreeConfiguration(&config);
      if (!fired) break;
    }
  }
}

/// A walk over one value under a key, the k-th allocation of which fails.
int32_t GiveWithoutMemory(rfDeserializeFn deserializer, const char *key, uint32_t index,
                          void *record, long k = 1) {
  jsmntok_t token = {JSON_TOKEN_STRING, 0, 1, 0, -1};
  JsonWalkContext context = {"v", &token, 0, 0, 1, 0};
  Fault fault(Call::kMemory, k);
  return deserializer(&context, 0, 1, key, index, record);
}

TEST(ConfigurationUnderFaults, EmptiesAListThatCannotGrowAndLosesItsElements) {
  rfAECommonConfigConfigParamArray params = {};
  jsmntok_t token = {JSON_TOKEN_STRING, 0, 1, 0, -1};
  JsonWalkContext context = {"v", &token, 0, 0, 1, 0};
  ASSERT_EQ(
      deserialize_rfAECommonConfigConfigParamArray(&context, 0, 1, "parameterName", 0, &params), 1);
  rfAECommonConfigConfigParamArray before = params;
  EXPECT_EQ(
      GiveWithoutMemory(deserialize_rfAECommonConfigConfigParamArray, "parameterName", 1, &params),
      0);
  EXPECT_EQ(params.count, 0u);
  EXPECT_EQ(params.list, nullptr);
  EXPECT_STREQ(before.list[0].parameterName, "v");  // not released
  free_rfAECommonConfigConfigParamArray(&before);
}

TEST(ConfigurationUnderFaults, EmptiesEveryListInTheSameWay) {
  for (uint32_t index : {0u, 1u}) {
    rfAECommonConfigConfigObjArray groups = {};
    rfAECommonConfigArray configs = {};
    EXPECT_EQ(GiveWithoutMemory(deserialize_rfAECommonConfigConfigObjArray, "parameterGroup", index,
                                &groups),
              0);
    EXPECT_EQ(GiveWithoutMemory(deserialize_rfAECommonConfigArray, "ipcName", index, &configs), 0);
    EXPECT_EQ(groups.count, 0u);
    EXPECT_EQ(groups.list, nullptr);
    EXPECT_EQ(configs.count, 0u);
    EXPECT_EQ(configs.list, nullptr);
  }
}

TEST(ConfigurationUnderFaults, LeavesAFieldNullWithoutMemoryForItsText) {
  rfAECommonConfigConfigObjArray groups = {};
  EXPECT_EQ(GiveWithoutMemory(deserialize_rfAECommonConfigConfigObjArray, "parameterGroup", 0,
                              &groups, 2),
            0);
  ASSERT_EQ(groups.count, 1u);
  EXPECT_EQ(groups.list[0].parameterGroup, nullptr);
  free_rfAECommonConfigConfigObjArray(&groups);
}

}  // namespace
