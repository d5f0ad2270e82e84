// Reading and executing custom actions while allocations and dlopen() fail.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "include/customaction.h"
#include "support/faults.hpp"
#include "support/records.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;
using cu_test::Give;
using cu_test::Reach;
using cu_test::ReadText;

TEST(WithoutMemory, ActionsAreReadInPartAndReleasedWhole) {
  for (const Reach reach : {Reach::kOnce, Reach::kFromThen}) {
    long k = 1;
    for (bool fired = true; fired; ++k) {
      AmbrelJsonCustomActionArray actions = {};
      {
        Fault fault(Call::kMemory, k, ENOMEM, reach);
        ReadText(R"([ { "plugin": "a", "ExecutionState": [ "x", "y" ],
                        "OutputParameterList": [ { "parameterName": "p" } ] },
                      { "pluginpath": "b", "methodname": "m" } ])",
                 deserialize_AmbrelJsonCustomActionArray, &actions);
        fired = fault.fired();
      }
      free_AmbrelJsonCustomActionArray(&actions);
    }
    EXPECT_GT(k, 10);
  }
}

TEST(FailedGrowth, ReleasesTheActionsAndGivesZero) {
  AmbrelJsonCustomActionArray actions = {};
  ASSERT_EQ(1, Give(deserialize_AmbrelJsonCustomActionArray, &actions, "plugin", "first"));
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(0, Give(deserialize_AmbrelJsonCustomActionArray, &actions, "plugin", "second",
                    JSON_TOKEN_STRING, 1));
  EXPECT_TRUE(fault.fired());
  EXPECT_EQ(0U, actions.count);
  EXPECT_EQ(nullptr, actions.list);
}

TEST(FailedGrowth, OfAnEmptyListGivesZero) {
  AmbrelJsonCustomActionArray actions = {};
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(0, Give(deserialize_AmbrelJsonCustomActionArray, &actions, "plugin", "first"));
  EXPECT_EQ(0U, actions.count);
  EXPECT_EQ(nullptr, actions.list);
}

class Executing : public testing::Test {
 protected:
  Executing() {
    action_.pluginpath = directory_.data();
    action_.plugin = file_.data();
    action_.methodname = method_.data();
    action_.OutputParameterList = {1, &declared_};
  }

  std::string directory_ = std::filesystem::path(ACTIONS_PLUGIN).parent_path();
  std::string file_ = std::filesystem::path(ACTIONS_PLUGIN).filename();
  std::string method_ = "addArguments", name_ = "name", value_ = "value";
  rfAECommonConfigConfigParam declared_ = {name_.data(), value_.data(), CONFIG_TYPE_STRING, 0};
  AmbrelJsonCustomAction action_ = {};
  rfAECommonConfigConfigParamArray output_ = {};
};

TEST_F(Executing, WithoutMemoryForTheCopyGivesZeroAndLosesNothing) {
  long k = 1;
  for (bool fired = true; fired; ++k) {
    uint32_t result = 99;
    {
      Fault fault(Call::kMemory, k);
      result = executeAmbrelCustomAction(&action_, 2, 3, &output_);
      fired = fault.fired();
    }
    EXPECT_EQ(fired ? 0U : 5U, result);
    EXPECT_EQ(nullptr, dlopen(ACTIONS_PLUGIN, RTLD_LAZY | RTLD_NOLOAD)) << "it is still loaded";
    free_rfAECommonConfigConfigParamArray(&output_);
    output_ = {};
  }
  EXPECT_GT(k, 2);
}

TEST_F(Executing, WithASecondArgumentOfZeroLoadsNoPlugInAndLeavesTheList) {
  const Fault loads(Call::kDlopen, 0);
  EXPECT_EQ(0U, executeAmbrelCustomAction(&action_, 2, 0, &output_));
  EXPECT_EQ(0, loads.calls());
  EXPECT_EQ(0U, output_.count);
  EXPECT_EQ(nullptr, output_.list);
  EXPECT_EQ(5U, executeAmbrelCustomAction(&action_, 2, 3, &output_));
  EXPECT_EQ(1, loads.calls());
  free_rfAECommonConfigConfigParamArray(&output_);
}

TEST_F(Executing, WhenDlopenFailsGivesZero) {
  Fault fault(Call::kDlopen, 1);
  EXPECT_EQ(0U, executeAmbrelCustomAction(&action_, 2, 3, &output_));
  EXPECT_TRUE(fault.fired());
  EXPECT_EQ(0U, output_.count);
}

}  // namespace
