// Every allocation and file call of the parameter functions fails once.
#include <gtest/gtest.h>

#include <string>

#include "config/param.hpp"
#include "include/configparams.h"
#include "support/faults.hpp"

using cu_test::Call;
using cu_test::Fault;
using cu_test::Param;
using cu_test::ParamList;

namespace {

TEST(SetAEParameterValue, KeepsTheValueWithoutMemory) {
  Param param(CONFIG_TYPE_STRING, "old");
  const Fault fault(Call::kMemory, 1);
  EXPECT_EQ(setAEParameterValue(&param, "new", 3), 0);
  EXPECT_STREQ(param.parameterValue, "old");
}

TEST(SetAEIntegerParameterValue, StoresNullWithoutMemory) {
  for (const uint64_t type :
       {CONFIG_TYPE_UNSIGNED_INTEGER, CONFIG_TYPE_INTEGER, CONFIG_TYPE_LONG, CONFIG_TYPE_BOOLEAN,
        CONFIG_TYPE_UINT8, CONFIG_TYPE_UINT16, CONFIG_TYPE_UINT64}) {
    Param param(type, "old");
    char *const old = param.parameterValue;
    {
      const Fault fault(Call::kMemory, 1);
      EXPECT_EQ(setAEIntegerParameterValue(&param, 5), 0) << "type " << type;
    }
    EXPECT_EQ(param.parameterValue, nullptr);
    EXPECT_STREQ(old, "old");
    free(old);
  }
}

TEST(SetAEFloatParameterValue, StoresNullWithoutMemory) {
  Param param(CONFIG_TYPE_FLOAT, "old");
  char *const old = param.parameterValue;
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(setAEFloatParameterValue(&param, 2.5F), 0);
  }
  EXPECT_EQ(param.parameterValue, nullptr);
  free(old);
}

TEST(CloneAmbrelCommonConfigParamList, LeavesTheCopyAloneAndLosesNothingWithoutMemory) {
  ParamList source = {{"a", "1"}, {"b", nullptr}, {"c", "3"}};
  for (long k = 1;; ++k) {
    rfAECommonConfigConfigParamArray copy = {7, nullptr};
    const Fault fault(Call::kMemory, k);
    const int result = cloneAmbrelCommonConfigParamList(&source.array, &copy);
    EXPECT_EQ(result, fault.fired() ? 0 : 1);
    EXPECT_EQ(copy.count, fault.fired() ? 7U : 3U);
    if (!fault.fired()) {
      free_rfAECommonConfigConfigParamArray(&copy);
      EXPECT_EQ(k, 7);  // the list, three names and two values, and then none
      return;
    }
    EXPECT_EQ(copy.list, nullptr);
  }
}

TEST(SubAmbrelCommonConfigParamListIntoTokenString, Gives0WithoutMemory) {
  const std::string value(500, 'v');
  ParamList params = {{"v", value.c_str()}};
  for (long k = 1;; ++k) {
    char kept[] = "kept";
    char *out = kept;
    const Fault fault(Call::kMemory, k);
    const int result = SubAmbrelCommonConfigParamListIntoTokenString("a<v>b", &params.array, &out);
    EXPECT_EQ(result, fault.fired() ? 0 : 1);
    if (!fault.fired()) {
      EXPECT_EQ(out, "a" + value + "b");
      free(out);
      return;
    }
    EXPECT_EQ(out, kept);
  }
}

TEST(CheckForFileDirExistance, TakesAnyFailureOfStatAsMissing) {
  const Fault fault(Call::kStat, 1, EACCES);
  EXPECT_EQ(checkForFileDirExistance("/", 1), 0);
}

}  // namespace
