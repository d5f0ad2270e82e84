#include <gtest/gtest.h>

#include "config/param.hpp"
#include "include/configparams.h"

using cu_test::ParamList;

namespace {

using ParamLookup = int (*)(const rfAECommonConfigConfigParamArray *, const char *,
                            rfAECommonConfigConfigParam **);
using GroupLookup = int (*)(const rfAECommonConfigConfigObjArray *, const char *,
                            rfAECommonConfigConfigObj **);

class ParamLookups : public testing::TestWithParam<ParamLookup> {
 protected:
  /// The parameter found, or null.
  rfAECommonConfigConfigParam *Find(const ParamList &list, const char *name) {
    rfAECommonConfigConfigParam *found = nullptr;
    const int result = GetParam()(&list.array, name, &found);
    EXPECT_EQ(result, found == nullptr ? 0 : 1);
    return found;
  }
};

INSTANTIATE_TEST_SUITE_P(, ParamLookups,
                         testing::Values(getAEParameterinGroup, getAEParameterinArray,
                                         getAEModifyParameterinArray));

TEST_P(ParamLookups, FindAParameterByItsName) {
  ParamList list = {{"Speed", "1"}, {"Limit", "2"}};
  EXPECT_EQ(Find(list, "Speed"), list.at(0));
  EXPECT_EQ(Find(list, "Limit"), list.at(1));
}

TEST_P(ParamLookups, CompareTheWholeName) {
  ParamList list = {{"SpeedMax", "1"}, {"Speed", "2"}};
  EXPECT_EQ(Find(list, "Speed"), list.at(1));
  EXPECT_EQ(Find(list, "SpeedMax"), list.at(0));
  EXPECT_EQ(Find(list, "Spee"), nullptr);
  EXPECT_EQ(Find(list, "SpeedMaxi"), nullptr);
  EXPECT_EQ(Find(list, "speed"), nullptr);
  EXPECT_EQ(Find(list, ""), nullptr);
}

TEST_P(ParamLookups, FindTheFirstOfEqualNames) {
  ParamList list = {{"a", "1"}, {"a", "2"}};
  EXPECT_EQ(Find(list, "a"), list.at(0));
}

TEST_P(ParamLookups, SkipParametersWithoutAName) {
  ParamList list = {{nullptr, "1"}, {"a", "2"}};
  EXPECT_EQ(Find(list, "a"), list.at(1));
}

TEST_P(ParamLookups, KnowAnEmptyName) {
  ParamList list = {{"a", "1"}, {"", "2"}};
  EXPECT_EQ(Find(list, ""), list.at(1));
}

TEST_P(ParamLookups, LeaveOutAloneWhenNothingIsFound) {
  ParamList list = {{"a", "1"}};
  rfAECommonConfigConfigParam *out = list.at(0);
  EXPECT_EQ(GetParam()(&list.array, "b", &out), 0);
  EXPECT_EQ(GetParam()(nullptr, "a", &out), 0);
  EXPECT_EQ(GetParam()(&list.array, nullptr, &out), 0);
  EXPECT_EQ(out, list.at(0));
  EXPECT_EQ(GetParam()(&list.array, "a", nullptr), 0);
}

TEST_P(ParamLookups, FindNothingInAnEmptyList) {
  const rfAECommonConfigConfigParamArray empty = {0, nullptr};
  const rfAECommonConfigConfigParamArray broken = {5, nullptr};
  rfAECommonConfigConfigParam *out = nullptr;
  EXPECT_EQ(GetParam()(&empty, "a", &out), 0);
  EXPECT_EQ(GetParam()(&broken, "a", &out), 0);
}

TEST_P(ParamLookups, TakeTheCountAsASignedNumber) {
  ParamList list = {{"a", "1"}};
  list.array.count = 0x80000001;
  EXPECT_EQ(Find(list, "a"), nullptr);
}

TEST_P(ParamLookups, TakeAGroupForItsParameterList) {
  ParamList list = {{"a", "1"}};
  rfAECommonConfigConfigObj group = {};
  group.ConfigParam = list.array;
  rfAECommonConfigConfigParam *out = nullptr;
  EXPECT_EQ(
      GetParam()(reinterpret_cast<const rfAECommonConfigConfigParamArray *>(&group), "a", &out), 1);
  EXPECT_EQ(out, list.at(0));
}

class GroupLookups : public testing::TestWithParam<GroupLookup> {
 protected:
  char net_[4] = "net";
  char network_[8] = "network";
  rfAECommonConfigConfigObj groups_[4] = {{{0, nullptr}, nullptr},
                                          {{0, nullptr}, network_},
                                          {{0, nullptr}, net_},
                                          {{0, nullptr}, net_}};
  rfAECommonConfig config_ = {{4, groups_}, nullptr, nullptr, nullptr, 0};
};

INSTANTIATE_TEST_SUITE_P(, GroupLookups,
                         testing::Values(getAEParameterGroup, getAEParameterGroupFromArray));

TEST_P(GroupLookups, FindTheFirstGroupWithExactlyTheName) {
  rfAECommonConfigConfigObj *out = nullptr;
  EXPECT_EQ(GetParam()(&config_.ConfigObj, "net", &out), 1);
  EXPECT_EQ(out, &groups_[2]);
  EXPECT_EQ(GetParam()(&config_.ConfigObj, "network", &out), 1);
  EXPECT_EQ(out, &groups_[1]);
}

TEST_P(GroupLookups, LeaveOutAloneWhenNothingIsFound) {
  rfAECommonConfigConfigObj *out = groups_;
  EXPECT_EQ(GetParam()(&config_.ConfigObj, "ne", &out), 0);
  EXPECT_EQ(GetParam()(&config_.ConfigObj, "nets", &out), 0);
  EXPECT_EQ(GetParam()(&config_.ConfigObj, "", &out), 0);
  EXPECT_EQ(GetParam()(nullptr, "net", &out), 0);
  EXPECT_EQ(GetParam()(&config_.ConfigObj, nullptr, &out), 0);
  EXPECT_EQ(out, groups_);
  EXPECT_EQ(GetParam()(&config_.ConfigObj, "net", nullptr), 0);
}

TEST_P(GroupLookups, TakeTheCountAsASignedNumber) {
  config_.ConfigObj.count = 0xFFFFFFFF;
  rfAECommonConfigConfigObj *out = nullptr;
  EXPECT_EQ(GetParam()(&config_.ConfigObj, "net", &out), 0);
}

TEST_P(GroupLookups, TakeAConfigurationForItsGroupList) {
  rfAECommonConfigConfigObj *out = nullptr;
  EXPECT_EQ(
      GetParam()(reinterpret_cast<const rfAECommonConfigConfigObjArray *>(&config_), "net", &out),
      1);
  EXPECT_EQ(out, &groups_[2]);
}

}  // namespace
