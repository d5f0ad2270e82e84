// A daemon reads, changes and uses the parameters of its configuration document.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "include/configparams.h"
#include "support/files.hpp"

namespace {

constexpr char kDocument[] = R"({
  "ipcName": "/board",
  "ConfigObj": [
    {"parameterGroup": "fan",
     "ConfigParam": [
       {"parameterName": "name", "type": "string", "parameterValue": "left"},
       {"parameterName": "maxRpm", "type": "unsigned integer", "parameterValue": "0x4000"},
       {"parameterName": "offset", "type": "integer", "parameterValue": "-12"},
       {"parameterName": "gain", "type": "float", "parameterValue": "0.75"},
       {"parameterName": "uptime", "type": "long", "parameterValue": "99999999999"},
       {"parameterName": "enabled", "type": "boolean", "parameterValue": "True"},
       {"parameterName": "pole", "type": "uint8", "parameterValue": "2"},
       {"parameterName": "port", "type": "uint16", "parameterValue": "8080"},
       {"parameterName": "serial", "type": "uint64", "parameterValue": "0xFFFFFFFFFFFFFFFF"},
       {"parameterName": "unset", "type": "uint16"}
     ]},
    {"parameterGroup": "empty", "ConfigParam": []}
  ]
})";

class LoadedDocument : public testing::Test {
 protected:
  void SetUp() override {
    cu_test::WriteFile(dir_.file("board.json"), kDocument);
    ASSERT_EQ(aeloadConfiguration(dir_.file("board.json").c_str(), &config_), 1);
    ASSERT_EQ(getAEParameterGroup(&config_.ConfigObj, "fan", &fan_), 1);
  }
  void TearDown() override { aeFreeConfiguration(&config_); }

  rfAECommonConfigConfigParam *Param(const char *name) {
    rfAECommonConfigConfigParam *param = nullptr;
    EXPECT_EQ(getAEParameterinGroup(&fan_->ConfigParam, name, &param), 1) << name;
    return param;
  }

  template <typename Value>
  Value Read(int (*get)(const rfAECommonConfigConfigParam *, Value *), const char *name) {
    Value value{};
    EXPECT_EQ(get(Param(name), &value), 1) << name;
    return value;
  }

  cu_test::TempDir dir_;
  rfAECommonConfig config_;
  rfAECommonConfigConfigObj *fan_ = nullptr;
};

TEST_F(LoadedDocument, ReadsEachParameterAsItsType) {
  EXPECT_EQ(Read(getAEParameterAsUnsignedInteger, "maxRpm"), 0x4000U);
  EXPECT_EQ(Read(getAEParameterAsInteger, "offset"), -12);
  EXPECT_EQ(Read(getAEParameterAsFloat, "gain"), 0.75F);
  EXPECT_EQ(Read(getAEParameterAsInteger64, "uptime"), INT64_C(99999999999));
  EXPECT_EQ(Read(getAEParameterAsBoolean, "enabled"), 1);
  EXPECT_EQ(Read(getAEParameterAsUnsignedInteger8, "pole"), 2);
  EXPECT_EQ(Read(getAEParameterAsUnsignedInteger16, "port"), 8080);
  EXPECT_EQ(Read(getAEParameterAsUnsignedInteger64, "serial"), UINT64_MAX);
  EXPECT_EQ(Read(getAEParameterAsUnsignedInteger16, "unset"), 0);
}

TEST_F(LoadedDocument, GivesAWrittenValueBack) {
  rfAECommonConfigConfigParam *const port = Param("port");
  char *const old = port->parameterValue;
  ASSERT_EQ(setAEIntegerParameterValue(port, 9090), 1);
  free(old);
  EXPECT_EQ(Read(getAEParameterAsUnsignedInteger16, "port"), 9090);
}

TEST_F(LoadedDocument, FillsATemplate) {
  char *out = nullptr;
  ASSERT_EQ(SubAmbrelCommonConfigParamListIntoTokenString("fan <name>: <maxRpm> at <port>",
                                                          &fan_->ConfigParam, &out),
            1);
  EXPECT_STREQ(out, "fan left: 0x4000 at 8080");
  free(out);
}

TEST_F(LoadedDocument, ClonesAGroupThatOutlivesIt) {
  rfAECommonConfigConfigParamArray copy = {};
  ASSERT_EQ(cloneAmbrelCommonConfigParamList(&fan_->ConfigParam, &copy), 1);
  ASSERT_EQ(copy.count, 10U);
  EXPECT_STREQ(copy.list[0].parameterValue, "left");
  EXPECT_EQ(copy.list[7].type, CONFIG_TYPE_UINT16);
  EXPECT_EQ(copy.list[9].parameterValue, nullptr);
  free_rfAECommonConfigConfigParamArray(&copy);
}

TEST_F(LoadedDocument, FindsNothingInAnEmptyGroup) {
  rfAECommonConfigConfigObj *group = nullptr;
  ASSERT_EQ(getAEParameterGroup(&config_.ConfigObj, "empty", &group), 1);
  rfAECommonConfigConfigParam *param = nullptr;
  EXPECT_EQ(getAEParameterinArray(&group->ConfigParam, "name", &param), 0);
}

}  // namespace
