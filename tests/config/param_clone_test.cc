#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/param.hpp"
#include "include/configparams.h"

using cu_test::ParamList;

namespace {

/// A clone, released at the end.
struct Clone : rfAECommonConfigConfigParamArray {
  Clone() : rfAECommonConfigConfigParamArray{} {}
  ~Clone() {
    if (list != nullptr) free_rfAECommonConfigConfigParamArray(this);
  }
  Clone(const Clone &) = delete;
  Clone &operator=(const Clone &) = delete;
};

TEST(CloneAmbrelCommonConfigParamList, CopiesNamesValuesTypesAndTheFurtherWord) {
  ParamList source = {{"a", "1"}, {"b", "2"}};
  source.at(0)->type = CONFIG_TYPE_UINT16;
  source.at(1)->type = UINT64_C(0x123456789);
  source.at(1)->reserved = UINT64_C(0xABCDEF0123456789);
  Clone copy;
  ASSERT_EQ(cloneAmbrelCommonConfigParamList(&source.array, &copy), 1);
  ASSERT_EQ(copy.count, 2U);
  EXPECT_STREQ(copy.list[0].parameterName, "a");
  EXPECT_STREQ(copy.list[0].parameterValue, "1");
  EXPECT_EQ(copy.list[0].type, CONFIG_TYPE_UINT16);
  EXPECT_EQ(copy.list[0].reserved, 0U);
  EXPECT_STREQ(copy.list[1].parameterName, "b");
  EXPECT_EQ(copy.list[1].type, UINT64_C(0x123456789));
  EXPECT_EQ(copy.list[1].reserved, UINT64_C(0xABCDEF0123456789));
}

TEST(CloneAmbrelCommonConfigParamList, SharesNoTextWithItsSource) {
  ParamList source = {{"a", "1"}};
  Clone copy;
  ASSERT_EQ(cloneAmbrelCommonConfigParamList(&source.array, &copy), 1);
  EXPECT_NE(copy.list, source.array.list);
  EXPECT_NE(copy.list[0].parameterName, source.at(0)->parameterName);
  EXPECT_NE(copy.list[0].parameterValue, source.at(0)->parameterValue);
}

TEST(CloneAmbrelCommonConfigParamList, CopiesNullTextsAsNull) {
  ParamList source = {{"a", nullptr}, {nullptr, "2"}, {"c", ""}};
  Clone copy;
  ASSERT_EQ(cloneAmbrelCommonConfigParamList(&source.array, &copy), 1);
  ASSERT_EQ(copy.count, 3U);
  EXPECT_EQ(copy.list[0].parameterValue, nullptr);
  EXPECT_EQ(copy.list[1].parameterName, nullptr);
  EXPECT_STREQ(copy.list[1].parameterValue, "2");
  EXPECT_STREQ(copy.list[2].parameterValue, "");
}

TEST(CloneAmbrelCommonConfigParamList, LeavesTheCopyAloneForAnEmptySource) {
  const rfAECommonConfigConfigParamArray empty = {0, nullptr};
  rfAECommonConfigConfigParam kept = {};
  rfAECommonConfigConfigParamArray copy = {7, &kept};
  EXPECT_EQ(cloneAmbrelCommonConfigParamList(&empty, &copy), 1);
  EXPECT_EQ(copy.count, 7U);
  EXPECT_EQ(copy.list, &kept);
}

TEST(CloneAmbrelCommonConfigParamList, WritesOverWhatTheCopyHeld) {
  ParamList source = {{"a", "1"}};
  Clone copy;
  copy.count = 99;
  ASSERT_EQ(cloneAmbrelCommonConfigParamList(&source.array, &copy), 1);
  EXPECT_EQ(copy.count, 1U);
}

TEST(CloneAmbrelCommonConfigParamList, CopiesListsOfMoreThan255Whole) {
  std::vector<std::string> names;
  for (int i = 0; i < 700; ++i) names.push_back("name" + std::to_string(i));
  std::vector<rfAECommonConfigConfigParam> params(names.size());
  for (size_t i = 0; i < names.size(); ++i) params[i].parameterName = names[i].data();
  const rfAECommonConfigConfigParamArray source = {700, params.data()};
  Clone copy;
  ASSERT_EQ(cloneAmbrelCommonConfigParamList(&source, &copy), 1);
  ASSERT_EQ(copy.count, 700U);
  for (size_t i = 0; i < names.size(); ++i) EXPECT_EQ(copy.list[i].parameterName, names[i]);
}

TEST(CloneAmbrelCommonConfigParamList, Gives0ForNull) {
  ParamList source = {{"a", "1"}};
  rfAECommonConfigConfigParamArray copy = {7, nullptr};
  EXPECT_EQ(cloneAmbrelCommonConfigParamList(nullptr, &copy), 0);
  EXPECT_EQ(cloneAmbrelCommonConfigParamList(&source.array, nullptr), 0);
  EXPECT_EQ(copy.count, 7U);
}

}  // namespace
