// Reading custom actions from documents, and executing them with plug-ins that this test's build
// has made.
#include "include/customaction.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <string>

#include "include/configparams.h"
#include "support/leaks.hpp"
#include "support/records.hpp"

namespace {

using cu_test::Give;
using cu_test::MayLeak;
using cu_test::ReadDocument;
using cu_test::ReadText;
using testing::HasSubstr;

const std::string kPlugin = ACTIONS_PLUGIN;  // its path
const std::string kDirectory = std::filesystem::path(kPlugin).parent_path();
const std::string kFile = std::filesystem::path(kPlugin).filename();

// ---- reading ------------------------------------------------------------------------------------

constexpr char kDocument[] = R"({
  "action": "measure", "ExecutionState": [ "running", "standby" ],
  "pluginpath": "/usr/lib/demo", "plugin": "libfans.so", "methodname": "measureFans",
  "InputParameterList": [ { "parameterName": "samples", "type": "uint8",
                            "parameterValue": "4" } ],
  "OutputParameterList": [ { "parameterName": "rpm", "type": "unsigned integer",
                             "parameterValue": "0" },
                           { "parameterName": "text" } ] })";

TEST(CustomAction, ReadsEveryKey) {
  AmbrelJsonCustomAction action = {};
  ASSERT_EQ(1, ReadText(kDocument, deserialize_AmbrelJsonCustomAction, &action));
  EXPECT_STREQ("measure", action.action);
  EXPECT_EQ(nullptr, action.text);
  ASSERT_EQ(2U, action.ExecutionState.count);
  EXPECT_STREQ("running", action.ExecutionState.list[0].text);
  EXPECT_STREQ("standby", action.ExecutionState.list[1].text);
  EXPECT_STREQ("/usr/lib/demo", action.pluginpath);
  EXPECT_STREQ("libfans.so", action.plugin);
  EXPECT_STREQ("measureFans", action.methodname);
  ASSERT_EQ(1U, action.InputParameterList.count);
  EXPECT_STREQ("samples", action.InputParameterList.list[0].parameterName);
  EXPECT_STREQ("4", action.InputParameterList.list[0].parameterValue);
  EXPECT_EQ(static_cast<uint64_t>(CONFIG_TYPE_UINT8), action.InputParameterList.list[0].type);
  ASSERT_EQ(2U, action.OutputParameterList.count);
  EXPECT_STREQ("rpm", action.OutputParameterList.list[0].parameterName);
  EXPECT_STREQ("text", action.OutputParameterList.list[1].parameterName);
  free(action.action);
  free_AmbrelJsonCustomAction(&action);
}

TEST(CustomAction, NeedsNoKey) {
  AmbrelJsonCustomAction action = {};
  ASSERT_EQ(1,
            ReadText(R"({ "plugin": "libfans.so" })", deserialize_AmbrelJsonCustomAction, &action));
  EXPECT_STREQ("libfans.so", action.plugin);
  EXPECT_EQ(nullptr, action.pluginpath);
  EXPECT_EQ(nullptr, action.action);
  EXPECT_EQ(0U, action.OutputParameterList.count);
  free_AmbrelJsonCustomAction(&action);
}

TEST(CustomAction, GivesTheResultOfTheReaderOfEachKey) {
  AmbrelJsonCustomAction action = {};
  for (const char *const key : {"action", "pluginpath", "plugin", "methodname"}) {
    EXPECT_EQ(0, Give(deserialize_AmbrelJsonCustomAction, &action, key, "")) << key;
    EXPECT_EQ(1, Give(deserialize_AmbrelJsonCustomAction, &action, key, key)) << key;
  }
  for (const char *const key : {"ExecutionState", "InputParameterList", "OutputParameterList"}) {
    EXPECT_NE(0, Give(deserialize_AmbrelJsonCustomAction, &action, key, "[]", JSON_TOKEN_ARRAY))
        << key;
  }
  free(action.action);
  free_AmbrelJsonCustomAction(&action);
}

TEST(CustomAction, KeepsTheLastOfARepeatedKeyAndLosesTheEarlier) {
  AmbrelJsonCustomAction action = {};
  Give(deserialize_AmbrelJsonCustomAction, &action, "plugin", "first");
  char *const first = action.plugin;
  Give(deserialize_AmbrelJsonCustomAction, &action, "plugin", "second");
  EXPECT_STREQ("second", action.plugin);
  EXPECT_STREQ("first", first);  // nobody has freed it, nor will
  free(first);
  free_AmbrelJsonCustomAction(&action);
}

TEST(CustomAction, GivesZeroForAnUnknownKey) {
  AmbrelJsonCustomAction action = {};
  for (const char *const key : {"", "Action", "text", "executionstate", "pluginPath", "method"}) {
    EXPECT_EQ(0, Give(deserialize_AmbrelJsonCustomAction, &action, key, "x")) << key;
  }
  EXPECT_EQ(nullptr, action.action);
}

TEST(CustomAction, GivesZeroWithoutAnArgument) {
  const MayLeak may_leak;
  AmbrelJsonCustomAction action = {};
  AmbrelJsonCustomActionArray array = {};
  jsmntok_t token = {JSON_TOKEN_STRING, 0, 1, 0, -1};
  JsonWalkContext context = {"x", &token, 0, 0, 1, 0};
  JsonWalkContext no_tokens = {"x", nullptr, 0, 0, 1, 0};
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomAction(&context, 0, 1, "plugin", 0, nullptr));
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomAction(&context, 0, 1, nullptr, 0, &action));
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomAction(&no_tokens, 0, 1, "plugin", 0, &action));
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomAction(nullptr, 0, 1, "plugin", 0, &action));
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomActionArray(&context, 0, 1, "plugin", 0, nullptr));
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomActionArray(&context, 0, 1, nullptr, 0, &array));
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomActionArray(&no_tokens, 0, 1, "plugin", 0, &array));
  EXPECT_EQ(0, deserialize_AmbrelJsonCustomActionArray(nullptr, 0, 1, "plugin", 0, &array));
}

TEST(CustomActionArray, ReadsActionsInTheirOrder) {
  AmbrelJsonCustomActionArray actions = {};
  ASSERT_EQ(1, ReadText(R"([ { "plugin": "a", "ExecutionState": [ "x" ] }, { "plugin": "b" },
                            { "plugin": "c", "OutputParameterList": [ { "parameterName": "p" } ] } ])",
                        deserialize_AmbrelJsonCustomActionArray, &actions));
  ASSERT_EQ(3U, actions.count);
  EXPECT_STREQ("a", actions.list[0].plugin);
  EXPECT_EQ(1U, actions.list[0].ExecutionState.count);
  EXPECT_STREQ("b", actions.list[1].plugin);
  EXPECT_EQ(0U, actions.list[1].ExecutionState.count);
  EXPECT_STREQ("c", actions.list[2].plugin);
  EXPECT_EQ(1U, actions.list[2].OutputParameterList.count);
  free_AmbrelJsonCustomActionArray(&actions);
}

TEST(CustomActionArray, GrowsByZeroedElementsToAnyIndex) {
  AmbrelJsonCustomActionArray actions = {};
  EXPECT_EQ(1, Give(deserialize_AmbrelJsonCustomActionArray, &actions, "plugin", "a"));
  EXPECT_EQ(1, Give(deserialize_AmbrelJsonCustomActionArray, &actions, "plugin", "b",
                    JSON_TOKEN_STRING, 1));
  EXPECT_EQ(2U, actions.count);
  EXPECT_EQ(0, Give(deserialize_AmbrelJsonCustomActionArray, &actions, "unknown", "c",
                    JSON_TOKEN_STRING, 4));
  ASSERT_EQ(5U, actions.count);
  EXPECT_STREQ("b", actions.list[1].plugin);
  for (int i = 2; i < 5; ++i) EXPECT_EQ(nullptr, actions.list[i].plugin);
  free_AmbrelJsonCustomActionArray(&actions);
}

TEST(CustomAction, SurvivesEveryWrongType) {
  const MayLeak may_leak;
  const char *const values[] = {"\"text\"",
                                "\"\"",
                                "0",
                                "true",
                                "null",
                                "{}",
                                "[]",
                                "[[]]",
                                "[{}]",
                                "[1,2,3]",
                                "[\"a\"]",
                                "{\"other\":1}",
                                "[[1,2],[3]]",
                                "{\"plugin\":{\"plugin\":{}}}",
                                "[{},{},{\"parameterName\":{}}]"};
  const char *const keys[] = {"action",     "ExecutionState",     "pluginpath",          "plugin",
                              "methodname", "InputParameterList", "OutputParameterList", "unknown"};
  for (const std::string key : keys) {
    for (const std::string value : values) {
      for (const std::string &text :
           {"{\"" + key + "\":" + value + "}", "[{\"" + key + "\":" + value + "}," + value + "]",
            "{\"" + key + "\":[{\"" + key + "\":" + value + "}],\"" + key + "\"}",
            "{\"" + key + "\":{\"" + key + "\"}}", "{\"" + key + "\":}"}) {
        SCOPED_TRACE(text);
        AmbrelJsonCustomAction action = {};
        AmbrelJsonCustomActionArray actions = {};
        ReadText(text, deserialize_AmbrelJsonCustomAction, &action);
        ReadText(text, deserialize_AmbrelJsonCustomActionArray, &actions);
        free_AmbrelJsonCustomAction(&action);
        free_AmbrelJsonCustomActionArray(&actions);
      }
    }
  }
}

// ---- releasing ----------------------------------------------------------------------------------

TEST(FreeCustomAction, FreesEverythingButTheName) {
  AmbrelJsonCustomAction action = {};
  ASSERT_EQ(1, ReadText(kDocument, deserialize_AmbrelJsonCustomAction, &action));
  action.text = strdup("released all the same");
  free_AmbrelJsonCustomAction(&action);  // what it forgets is reported by the leak detector
  EXPECT_STREQ("measure", action.action);
  free(action.action);
}

TEST(FreeCustomActionArray, LosesTheNameOfEachAction) {
  AmbrelJsonCustomActionArray actions = {};
  ASSERT_EQ(1, ReadText(std::string("[") + kDocument + "]", deserialize_AmbrelJsonCustomActionArray,
                        &actions));
  char *const name = actions.list[0].action;
  free_AmbrelJsonCustomActionArray(&actions);
  EXPECT_STREQ("measure", name);
  free(name);
}

TEST(FreeCustomAction, AcceptsNullAndZeroedRecords) {
  AmbrelJsonCustomAction action = {};
  AmbrelJsonCustomActionArray actions = {};
  free_AmbrelJsonCustomAction(nullptr);
  free_AmbrelJsonCustomAction(&action);
  free_AmbrelJsonCustomActionArray(nullptr);
  free_AmbrelJsonCustomActionArray(&actions);
}

// ---- executing ----------------------------------------------------------------------------------

class Executing : public testing::Test {
 protected:
  Executing() {
    action_.pluginpath = directory_.data();
    action_.plugin = file_.data();
    action_.OutputParameterList = {3, declared_};
  }
  ~Executing() override { free_rfAECommonConfigConfigParamArray(&output_); }

  /// Executes with a method; gives its result. Nothing may be said on standard error.
  uint32_t Execute(std::string method, uint32_t first = 1, uint32_t second = 1) {
    action_.methodname = method.data();
    testing::internal::CaptureStderr();
    const uint32_t result = executeAmbrelCustomAction(&action_, first, second, &output_);
    complaint_ = testing::internal::GetCapturedStderr();
    action_.methodname = nullptr;
    return result;
  }

  static bool PluginIsLoaded() {
    void *const handle = dlopen(kPlugin.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
  }

  /// The value of an output parameter.
  std::string Output(const char *name) const {
    rfAECommonConfigConfigParam *param = nullptr;
    if (getAEParameterinArray(&output_, name, &param) == 0) return "(none)";
    return param->parameterValue == nullptr ? "(null)" : param->parameterValue;
  }

  std::string directory_ = kDirectory, file_ = kFile;
  char mean_[5] = "mean", report_[7] = "report", spare_[6] = "spare", zero_[2] = "0",
       kept_[5] = "kept";
  rfAECommonConfigConfigParam declared_[3] = {{mean_, zero_, CONFIG_TYPE_FLOAT, 0},
                                              {report_, nullptr, CONFIG_TYPE_STRING, 0},
                                              {spare_, kept_, CONFIG_TYPE_STRING, 7}};
  AmbrelJsonCustomAction action_ = {};
  rfAECommonConfigConfigParamArray output_ = {};
  std::string complaint_;
};

TEST_F(Executing, CallsTheMethodWithBothArgumentsAndGivesItsResult) {
  EXPECT_EQ(12U, Execute("addArguments", 5, 7));
  EXPECT_EQ("", complaint_);
}

TEST_F(Executing, GivesEveryResultOfTheMethod) {
  EXPECT_EQ(0U, Execute("returnZero"));
  free_rfAECommonConfigConfigParamArray(&output_);
  EXPECT_EQ(0xFFFFFFFFU, Execute("returnAllBits", 0, 0xFFFFFFFFU));
}

TEST_F(Executing, HandsTheMethodACopyOfTheOutputParameters) {
  EXPECT_EQ(1U, Execute("fillOutputs"));
  ASSERT_EQ(3U, output_.count);
  EXPECT_EQ("36.500000", Output("mean"));
  EXPECT_EQ("all well", Output("report"));
  EXPECT_EQ("kept", Output("spare"));
  EXPECT_EQ(7U, output_.list[2].reserved);
  EXPECT_EQ(static_cast<uint64_t>(CONFIG_TYPE_FLOAT), output_.list[0].type);
  EXPECT_STREQ("0", action_.OutputParameterList.list[0].parameterValue);
  EXPECT_EQ(nullptr, action_.OutputParameterList.list[1].parameterValue);
}

TEST_F(Executing, LeavesTheCopyWithTheCallerAlsoWhenTheMethodFails) {
  EXPECT_EQ(0U, Execute("returnZero"));
  EXPECT_EQ(3U, output_.count);
  EXPECT_EQ("kept", Output("spare"));
}

TEST_F(Executing, HandsTheMethodNoInputParameters) {
  action_.InputParameterList = {2, declared_};
  EXPECT_EQ(103U, Execute("countOutputs"));
}

TEST_F(Executing, WithoutOutputParametersHandsTheMethodTheCallersListAsItIs) {
  action_.OutputParameterList = {0, nullptr};
  output_.list =
      static_cast<rfAECommonConfigConfigParam *>(calloc(2, sizeof(rfAECommonConfigConfigParam)));
  output_.count = 2;
  const void *const list = output_.list;
  EXPECT_EQ(102U, Execute("countOutputs"));
  EXPECT_EQ(list, output_.list);
}

TEST_F(Executing, OverwritesAListThatTheCallerHasNotReleased) {
  auto *const earlier =
      static_cast<rfAECommonConfigConfigParam *>(calloc(1, sizeof(rfAECommonConfigConfigParam)));
  earlier->type = 5;
  output_ = {1, earlier};
  EXPECT_EQ(103U, Execute("countOutputs"));
  EXPECT_NE(earlier, output_.list);
  EXPECT_EQ(5U, earlier->type);  // nobody has freed it, nor will
  free(earlier);
}

TEST_F(Executing, LetsTheMethodReplaceTheList) {
  EXPECT_EQ(1U, Execute("replaceList"));
  EXPECT_EQ(0U, output_.count);
  EXPECT_EQ(nullptr, output_.list);
}

TEST_F(Executing, UnloadsThePlugInAfterwards) {
  EXPECT_NE(0U, Execute("addArguments"));
  EXPECT_FALSE(PluginIsLoaded());
  Execute("noSuchMethod");
  EXPECT_FALSE(PluginIsLoaded());
}

TEST_F(Executing, LeavesATextOfThePlugInsOwnBehindUnmapped) {
  EXPECT_EQ(1U, Execute("returnConstantText"));
  EXPECT_FALSE(PluginIsLoaded());
  output_.list[0].parameterValue = nullptr;  // points to where the plug-in was
}

TEST_F(Executing, LetsAnExceptionOfTheMethodThroughAndLeavesThePlugInLoaded) {
  const std::string plugin = THROWING_PLUGIN;
  file_ = std::filesystem::path(plugin).filename();
  action_.plugin = file_.data();
  char method[] = "throwTheFirst";
  action_.methodname = method;
  EXPECT_THROW(static_cast<void>(executeAmbrelCustomAction(&action_, 5, 1, &output_)), uint32_t);
  EXPECT_EQ("kept", Output("spare"));
  void *const handle = dlopen(plugin.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  ASSERT_NE(nullptr, handle);
  dlclose(handle);
  dlclose(handle);  // what the call has not done
}

TEST_F(Executing, AgainAndAgainLoadsThePlugInAnew) {
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(1U, Execute("fillOutputs"));
    free_rfAECommonConfigConfigParamArray(&output_);
    output_ = {};
  }
  EXPECT_FALSE(PluginIsLoaded());
}

TEST_F(Executing, OfAMissingMethodGivesZeroSilentlyAndLeavesTheList) {
  EXPECT_EQ(0U, Execute("noSuchMethod"));
  EXPECT_EQ("", complaint_);
  EXPECT_EQ(0U, output_.count);
  EXPECT_EQ(0U, Execute(""));
}

TEST_F(Executing, WithoutAMethodNameGivesZeroSilently) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(0U, executeAmbrelCustomAction(&action_, 1, 1, &output_));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_FALSE(PluginIsLoaded());
}

TEST_F(Executing, OfAMissingPlugInGivesZeroAndTheReason) {
  file_ = "libnone.so";
  action_.plugin = file_.data();
  EXPECT_EQ(0U, Execute("addArguments"));
  EXPECT_THAT(complaint_, HasSubstr(kDirectory + "/libnone.so: cannot open shared object file"));
  EXPECT_EQ(0U, output_.count);
}

TEST_F(Executing, WithoutADirectoryGivesZeroSilently) {
  AmbrelJsonCustomAction action = {};
  ASSERT_EQ(1, ReadText(R"({ "plugin": "libfans.so", "methodname": "m" })",
                        deserialize_AmbrelJsonCustomAction, &action));
  testing::internal::CaptureStderr();
  EXPECT_EQ(0U, executeAmbrelCustomAction(&action, 1, 1, &output_));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  free_AmbrelJsonCustomAction(&action);
}

TEST_F(Executing, WithoutAPlugInNameGivesZeroSilently) {
  action_.plugin = nullptr;
  EXPECT_EQ(0U, Execute("addArguments"));
  EXPECT_EQ("", complaint_);
}

TEST_F(Executing, WithASecondArgumentOfZeroTouchesNoFile) {
  file_ = "libnone.so";
  action_.plugin = file_.data();
  EXPECT_EQ(0U, Execute("addArguments", 1, 0));
  EXPECT_EQ("", complaint_);
}

TEST_F(Executing, WithoutAnActionOrAListTouchesNoFile) {
  file_ = "libnone.so";
  action_.plugin = file_.data();
  testing::internal::CaptureStderr();
  EXPECT_EQ(0U, executeAmbrelCustomAction(nullptr, 1, 1, &output_));
  EXPECT_EQ(0U, executeAmbrelCustomAction(&action_, 1, 1, nullptr));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(Executing, OfAPathLongerThanItsBufferGivesZeroSilently) {
  directory_ = kDirectory + std::string(2000, '/');
  action_.pluginpath = directory_.data();
  EXPECT_EQ(0U, Execute("addArguments"));
  EXPECT_EQ("", complaint_);
}

// ---- the example document -----------------------------------------------------------------------

TEST(ExampleDocument, ActionHasItsPlugInAndParameters) {
  AmbrelJsonCustomAction action = {};
  ASSERT_EQ(1, ReadDocument(EXAMPLE_DOCUMENTS "/action.json", deserialize_AmbrelJsonCustomAction,
                            &action));
  EXPECT_STREQ("measureBoard", action.action);
  EXPECT_EQ(2U, action.ExecutionState.count);
  EXPECT_STREQ("plugins", action.pluginpath);
  EXPECT_STREQ("libboardaction.so", action.plugin);
  EXPECT_STREQ("measureBoard", action.methodname);
  EXPECT_EQ(2U, action.InputParameterList.count);
  ASSERT_EQ(4U, action.OutputParameterList.count);
  EXPECT_STREQ("report", action.OutputParameterList.list[3].parameterName);
  free(action.action);
  free_AmbrelJsonCustomAction(&action);
}

}  // namespace
