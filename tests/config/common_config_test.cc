// The common configuration document: loading, its records, releasing.
#include <commonutilities/commonconfig.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "support/files.hpp"
#include "support/leaks.hpp"

namespace {

/// A configuration read from a text, released at the end.
class Configuration {
 public:
  explicit Configuration(const std::string &text) {
    loaded_ = parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 1,
                              ProcessDecoderDefinitions, &config_) == 1;
    EXPECT_TRUE(loaded_) << text;
  }
  ~Configuration() { aeFreeConfiguration(&config_); }
  Configuration(const Configuration &) = delete;
  Configuration &operator=(const Configuration &) = delete;

  const rfAECommonConfig *operator->() const { return &config_; }
  const rfAECommonConfigConfigObj &group(uint32_t i) const { return config_.ConfigObj.list[i]; }
  const rfAECommonConfigConfigParam &param(uint32_t i, uint32_t j) const {
    return group(i).ConfigParam.list[j];
  }

 private:
  rfAECommonConfig config_ = {};
  bool loaded_ = false;
};

constexpr const char *kDocument = R"({
  "ipcName": "/boardd",
  "logCtrlFile": "/etc/boardd.logenable",
  "logfile": "/var/log/boardd.log",
  "logFileSize": 65536,
  "ConfigObj": [
    { "parameterGroup": "net",
      "ConfigParam": [
        { "parameterName": "mtu", "type": "uint16", "parameterValue": "1500" },
        { "parameterName": "host", "type": "string", "parameterValue": "bmc" },
        { "parameterName": "ratio", "type": "float", "parameterValue": "0.5" } ] },
    { "parameterGroup": "fans",
      "ConfigParam": [
        { "parameterName": "count", "type": "unsigned integer", "parameterValue": "0x10" },
        { "parameterName": "quiet", "type": "boolean", "parameterValue": "true" } ] } ]
})";

void ExpectDocument(const rfAECommonConfig &config) {
  EXPECT_STREQ(config.ipcName, "/boardd");
  EXPECT_STREQ(config.logCtrlFile, "/etc/boardd.logenable");
  EXPECT_STREQ(config.logfile, "/var/log/boardd.log");
  EXPECT_EQ(config.logFileSize, 65536);
  ASSERT_EQ(config.ConfigObj.count, 2u);
  const rfAECommonConfigConfigObj &net = config.ConfigObj.list[0];
  EXPECT_STREQ(net.parameterGroup, "net");
  ASSERT_EQ(net.ConfigParam.count, 3u);
  EXPECT_STREQ(net.ConfigParam.list[0].parameterName, "mtu");
  EXPECT_STREQ(net.ConfigParam.list[0].parameterValue, "1500");
  EXPECT_EQ(net.ConfigParam.list[0].type, 7u);
  EXPECT_EQ(net.ConfigParam.list[0].reserved, 0u);
  EXPECT_STREQ(net.ConfigParam.list[1].parameterName, "host");
  EXPECT_EQ(net.ConfigParam.list[1].type, 0u);
  EXPECT_STREQ(net.ConfigParam.list[2].parameterName, "ratio");
  EXPECT_EQ(net.ConfigParam.list[2].type, 3u);
  const rfAECommonConfigConfigObj &fans = config.ConfigObj.list[1];
  EXPECT_STREQ(fans.parameterGroup, "fans");
  ASSERT_EQ(fans.ConfigParam.count, 2u);
  EXPECT_STREQ(fans.ConfigParam.list[0].parameterName, "count");
  EXPECT_EQ(fans.ConfigParam.list[0].type, 1u);
  EXPECT_STREQ(fans.ConfigParam.list[1].parameterValue, "true");
  EXPECT_EQ(fans.ConfigParam.list[1].type, 5u);
}

// ---- loading ------------------------------------------------------------------------------------

class AeloadConfiguration : public testing::Test {
 protected:
  std::string Write(const std::string &content) {
    cu_test::WriteFile(path_, content);
    return path_;
  }

  cu_test::TempDir dir_;
  std::string path_ = dir_.file("config.json");
  rfAECommonConfig config_ = {};
};

TEST_F(AeloadConfiguration, ReadsAWholeDocument) {
  EXPECT_EQ(aeloadConfiguration(Write(kDocument).c_str(), &config_), 1);
  ExpectDocument(config_);
  aeFreeConfiguration(&config_);
}

TEST_F(AeloadConfiguration, ClearsTheRecordFirst) {
  memset(&config_, 0x55, sizeof config_);
  EXPECT_EQ(aeloadConfiguration(Write("{}").c_str(), &config_), 1);
  const rfAECommonConfig cleared = {};
  EXPECT_EQ(memcmp(&config_, &cleared, sizeof config_), 0);
}

TEST_F(AeloadConfiguration, ClearsTheRecordAlsoWhenThereIsNoFile) {
  memset(&config_, 0x55, sizeof config_);
  EXPECT_EQ(aeloadConfiguration(dir_.file("missing").c_str(), &config_), 0);
  EXPECT_EQ(config_.ConfigObj.count, 0u);
  EXPECT_EQ(config_.ConfigObj.list, nullptr);
  EXPECT_EQ(config_.ipcName, nullptr);
  EXPECT_EQ(config_.logFileSize, 0);
  aeFreeConfiguration(&config_);
}

TEST_F(AeloadConfiguration, LeavesTheRecordAloneForANullPath) {
  config_.logFileSize = 7;
  EXPECT_EQ(aeloadConfiguration(nullptr, &config_), 0);
  EXPECT_EQ(config_.logFileSize, 7);
  EXPECT_EQ(aeloadConfiguration(Write("{}").c_str(), nullptr), 0);
}

TEST_F(AeloadConfiguration, ReturnsZeroForAMalformedFile) {
  const cu_test::MayLeak lost;
  for (const char *text : {"{", R"({"ipcName":"x",})", R"({"ipcName":"x")", "nonsense"}) {
    memset(&config_, 0x55, sizeof config_);
    EXPECT_EQ(aeloadConfiguration(Write(text).c_str(), &config_), 0) << text;
    EXPECT_EQ(config_.ipcName, nullptr) << text;
  }
}

TEST_F(AeloadConfiguration, ReturnsOneForAnEmptyFile) {
  EXPECT_EQ(aeloadConfiguration(Write("").c_str(), &config_), 1);
  EXPECT_EQ(config_.ConfigObj.count, 0u);
}

TEST_F(AeloadConfiguration, ReturnsOneWhateverPropertiesAreEmptyOrUnknown) {
  EXPECT_EQ(aeloadConfiguration(Write(R"({"ipcName":"","x":1,"logfile":"L"})").c_str(), &config_),
            1);
  EXPECT_EQ(config_.ipcName, nullptr);
  EXPECT_STREQ(config_.logfile, "L");
  aeFreeConfiguration(&config_);
}

// A record that is loaded again without a release loses what it held.
TEST_F(AeloadConfiguration, LosesTheEarlierConfiguration) {
  Write(R"({"ipcName":"first"})");
  aeloadConfiguration(path_.c_str(), &config_);
  char *const first = config_.ipcName;
  aeloadConfiguration(path_.c_str(), &config_);
  EXPECT_NE(config_.ipcName, first);
  EXPECT_STREQ(first, "first");
  free(first);
  aeFreeConfiguration(&config_);
}

TEST_F(AeloadConfiguration, LoadsAgainAfterARelease) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(aeloadConfiguration(Write(kDocument).c_str(), &config_), 1);
    ExpectDocument(config_);
    aeFreeConfiguration(&config_);
  }
}

TEST_F(AeloadConfiguration, LoadsADocumentOfManyGroups) {
  std::string text = R"({"ConfigObj":[)";
  for (int i = 0; i < 200; ++i) {
    text += i == 0 ? "" : ",";
    text += R"({"parameterGroup":"g)" + std::to_string(i) + R"(","ConfigParam":[)";
    for (int j = 0; j < 10; ++j)
      text += std::string(j == 0 ? "" : ",") + R"({"parameterName":"p)" + std::to_string(j) +
              R"(","type":"integer","parameterValue":")" + std::string(40, '1') + "\"}";
    text += "]}";
  }
  EXPECT_EQ(aeloadConfiguration(Write(text + "]}").c_str(), &config_), 1);
  ASSERT_EQ(config_.ConfigObj.count, 200u);
  for (uint32_t i = 0; i < 200; ++i) {
    EXPECT_EQ(config_.ConfigObj.list[i].parameterGroup, "g" + std::to_string(i));
    ASSERT_EQ(config_.ConfigObj.list[i].ConfigParam.count, 10u);
    EXPECT_STREQ(config_.ConfigObj.list[i].ConfigParam.list[9].parameterName, "p9");
  }
  aeFreeConfiguration(&config_);
}

// ---- reading ------------------------------------------------------------------------------------

TEST(ProcessDecoderDefinitions, ReadsADocument) {
  const Configuration config(kDocument);
  ExpectDocument(*config.operator->());
}

TEST(ProcessDecoderDefinitions, DoesNotClearTheRecord) {
  rfAECommonConfig config = {};
  config.logFileSize = 7;
  const std::string text = R"({"logfile":"L"})";
  parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 1, ProcessDecoderDefinitions,
                  &config);
  EXPECT_EQ(config.logFileSize, 7);
  EXPECT_STREQ(config.logfile, "L");
  aeFreeConfiguration(&config);
}

TEST(ProcessDecoderDefinitions, ReturnsOneForNullArgumentsAndZeroOtherwise) {
  rfAECommonConfig config = {};
  jsmntok_t token = {JSMN_OBJECT, 0, 2, 0, -1};
  EXPECT_EQ(ProcessDecoderDefinitions("{}", &token, "l", 1, &config), 0);
  EXPECT_EQ(ProcessDecoderDefinitions(nullptr, &token, "l", 1, &config), 1);
  EXPECT_EQ(ProcessDecoderDefinitions("{}", nullptr, "l", 1, &config), 1);
  EXPECT_EQ(ProcessDecoderDefinitions("{}", &token, nullptr, 1, &config), 1);
  EXPECT_EQ(ProcessDecoderDefinitions("{}", &token, "l", 1, nullptr), 1);
}

// A buffer's label of 0 is a null label, which the callback refuses.
TEST(ProcessDecoderDefinitions, WantsABufferLabelThatIsNotZero) {
  rfAECommonConfig config = {};
  EXPECT_EQ(parseJsonBuffer("{}", 2, 0, ProcessDecoderDefinitions, &config), 0);
  EXPECT_EQ(parseJsonBuffer("{}", 2, 1, ProcessDecoderDefinitions, &config), 1);
}

TEST(Configuration, HasNoGroupsWithoutConfigObj) {
  const Configuration config(R"({"ipcName":"q"})");
  EXPECT_STREQ(config->ipcName, "q");
  EXPECT_EQ(config->ConfigObj.count, 0u);
  EXPECT_EQ(config->ConfigObj.list, nullptr);
}

TEST(Configuration, KeepsGroupsAndParametersInDocumentOrder) {
  const Configuration config(
      R"({"ConfigObj":[{"parameterGroup":"b"},{"parameterGroup":"a"},{"parameterGroup":"c"}]})");
  ASSERT_EQ(config->ConfigObj.count, 3u);
  EXPECT_STREQ(config.group(0).parameterGroup, "b");
  EXPECT_STREQ(config.group(1).parameterGroup, "a");
  EXPECT_STREQ(config.group(2).parameterGroup, "c");
}

TEST(Configuration, TakesKeysInAnyOrder) {
  const Configuration config(R"({"ConfigObj":[{"ConfigParam":[{"type":"blob","parameterValue":"v",)"
                             R"("parameterName":"n"}],"parameterGroup":"g"}],"logFileSize":5})");
  EXPECT_EQ(config->logFileSize, 5);
  ASSERT_EQ(config->ConfigObj.count, 1u);
  EXPECT_STREQ(config.group(0).parameterGroup, "g");
  ASSERT_EQ(config.group(0).ConfigParam.count, 1u);
  EXPECT_STREQ(config.param(0, 0).parameterName, "n");
  EXPECT_STREQ(config.param(0, 0).parameterValue, "v");
  EXPECT_EQ(config.param(0, 0).type, 9u);
}

TEST(Configuration, ComparesKeysExactly) {
  const Configuration config(
      R"({"IpcName":"a","ipcname":"b","ipcNames":"c","ipcNam":"d","logFile":"e","LOGFILE":"f"})");
  EXPECT_EQ(config->ipcName, nullptr);
  EXPECT_EQ(config->logfile, nullptr);
}

TEST(Configuration, GivesAParameterWithoutATypeTheTypeString) {
  const Configuration config(R"({"ConfigObj":[{"ConfigParam":[{"parameterName":"n"}]}]})");
  EXPECT_EQ(config.param(0, 0).type, 0u);
  EXPECT_EQ(config.param(0, 0).parameterValue, nullptr);
}

TEST(Configuration, ReadsTypesByTheirNames) {
  const Configuration config(
      R"({"ConfigObj":[{"ConfigParam":[{"type":"Integer"},{"type":"uint"},{"type":""},)"
      R"({"type":"float32"},{"type":7}]}]})");
  ASSERT_EQ(config.group(0).ConfigParam.count, 5u);
  EXPECT_EQ(config.param(0, 0).type, 5u);
  EXPECT_EQ(config.param(0, 1).type, 6u);
  EXPECT_EQ(config.param(0, 2).type, 0u);
  EXPECT_EQ(config.param(0, 3).type, 3u);
  EXPECT_EQ(config.param(0, 4).type, 5u);
}

TEST(Configuration, ReadsTheLogFileSizeFromTextsToo) {
  EXPECT_EQ(Configuration(R"({"logFileSize":"100"})")->logFileSize, 100);
  EXPECT_EQ(Configuration(R"({"logFileSize":-1})")->logFileSize, -1);
  EXPECT_EQ(Configuration(R"({"logFileSize":99999999999})")->logFileSize, 99999999999);
  EXPECT_EQ(Configuration(R"({"logFileSize":true})")->logFileSize, 0);
  EXPECT_EQ(Configuration(R"({"logFileSize":""})")->logFileSize, 0);
}

TEST(Configuration, LeavesEmptyStringsNull) {
  const Configuration config(
      R"({"ipcName":"","ConfigObj":[{"parameterGroup":"","ConfigParam":[{"parameterName":"",)"
      R"("parameterValue":""}]}]})");
  EXPECT_EQ(config->ipcName, nullptr);
  EXPECT_EQ(config.group(0).parameterGroup, nullptr);
  EXPECT_EQ(config.param(0, 0).parameterName, nullptr);
  EXPECT_EQ(config.param(0, 0).parameterValue, nullptr);
}

TEST(Configuration, KeepsEscapesAsWritten) {
  const Configuration config(R"({"ipcName":"a\"b\\c\u00e9"})");
  EXPECT_STREQ(config->ipcName, R"(a\"b\\c\u00e9)");
}

// Members of an object under an unknown key are taken for the configuration's own.
TEST(Configuration, TakesMembersOfUnknownObjectsForItsOwn) {
  const Configuration config(R"({"extra":{"ipcName":"evil"},"logfile":"L"})");
  EXPECT_STREQ(config->ipcName, "evil");
  EXPECT_STREQ(config->logfile, "L");
}

TEST(Configuration, MissesWhatFollowsAnUnknownArrayOfOddLength) {
  EXPECT_STREQ(Configuration(R"({"u":[1,2],"ipcName":"q"})")->ipcName, "q");
  EXPECT_EQ(Configuration(R"({"u":[1,2,3],"ipcName":"q"})")->ipcName, nullptr);
}

// Repeated keys lose the earlier value's memory.
TEST(Configuration, TakesTheLastValueOfARepeatedKey) {
  const cu_test::MayLeak lost;
  const Configuration config(R"({"ipcName":"first","ipcName":"second"})");
  EXPECT_STREQ(config->ipcName, "second");
}

// A repeated list begins at its first element again, over the elements that are there.
TEST(Configuration, FillsARepeatedListOverTheFirst) {
  const cu_test::MayLeak lost;
  const Configuration config(R"({"ConfigObj":[{"parameterGroup":"a"},{"parameterGroup":"b"}],)"
                             R"("ConfigObj":[{"parameterGroup":"c"}]})");
  ASSERT_EQ(config->ConfigObj.count, 2u);
  EXPECT_STREQ(config.group(0).parameterGroup, "c");
  EXPECT_STREQ(config.group(1).parameterGroup, "b");
}

TEST(Configuration, GivesEmptyElementsTheirPlace) {
  const Configuration config(R"({"ConfigObj":[{},{"parameterGroup":"b"},{},{},)"
                             R"({"ConfigParam":[{},{"parameterName":"n"}]}]})");
  ASSERT_EQ(config->ConfigObj.count, 5u);
  EXPECT_EQ(config.group(0).parameterGroup, nullptr);
  EXPECT_STREQ(config.group(1).parameterGroup, "b");
  EXPECT_EQ(config.group(2).parameterGroup, nullptr);
  ASSERT_EQ(config.group(4).ConfigParam.count, 2u);
  EXPECT_EQ(config.param(4, 0).parameterName, nullptr);
  EXPECT_STREQ(config.param(4, 1).parameterName, "n");
}

TEST(Configuration, TakesASingleObjectForAListOfOne) {
  const Configuration config(R"({"ConfigObj":{"parameterGroup":"g"},"ipcName":"q"})");
  ASSERT_EQ(config->ConfigObj.count, 1u);
  EXPECT_STREQ(config.group(0).parameterGroup, "g");
  EXPECT_STREQ(config->ipcName, "q");
}

TEST(Configuration, MakesEmptyGroupsForPrimitivesInTheList) {
  const Configuration config(R"({"ConfigObj":[1,true],"ipcName":"q"})");
  EXPECT_EQ(config->ConfigObj.count, 2u);
  EXPECT_STREQ(config->ipcName, "q");
}

// ---- deserializers ------------------------------------------------------------------------------

constexpr rfDeserializeFn kRecordDeserializers[] = {deserialize_rfAECommonConfig,
                                                    deserialize_rfAECommonConfigConfigObj,
                                                    deserialize_rfAECommonConfigConfigParam};
constexpr rfDeserializeFn kArrayDeserializers[] = {deserialize_rfAECommonConfigArray,
                                                   deserialize_rfAECommonConfigConfigObjArray,
                                                   deserialize_rfAECommonConfigConfigParamArray};

/// A text that is one string, with its context.
struct Value {
  explicit Value(const char *value) : text(value) {
    token = {JSMN_STRING, 0, static_cast<int32_t>(text.size()), 0, -1};
    context = {text.c_str(), &token, 0, 0, 1, 0};
  }

  int32_t Give(rfDeserializeFn deserializer, const char *key, void *record, uint32_t index = 0) {
    return deserializer(&context, token.start, token.end, key, index, record);
  }

  std::string text;
  jsmntok_t token;
  JsonWalkContext context;
};

TEST(ConfigDeserializers, ReturnZeroForNullArgumentsAndUnknownKeys) {
  Value value("v");
  alignas(8) char record[64] = {};
  for (rfDeserializeFn deserializer : kRecordDeserializers) {
    EXPECT_EQ(deserializer(nullptr, 0, 1, "ipcName", 0, record), 0);
    EXPECT_EQ(value.Give(deserializer, "ipcName", nullptr), 0);
    EXPECT_EQ(value.Give(deserializer, nullptr, record), 0);
    EXPECT_EQ(value.Give(deserializer, "unknown", record), 0);
    EXPECT_EQ(value.Give(deserializer, "", record), 0);
  }
  for (rfDeserializeFn deserializer : kArrayDeserializers)
    EXPECT_EQ(value.Give(deserializer, "ipcName", nullptr), 0);
}

TEST(ConfigDeserializers, ReturnTheReadersResult) {
  Value value("5");
  Value empty("");
  rfAECommonConfig config = {};
  for (const char *key : {"ipcName", "logCtrlFile", "logfile", "logFileSize"})
    EXPECT_EQ(value.Give(deserialize_rfAECommonConfig, key, &config), 1) << key;
  EXPECT_EQ(empty.Give(deserialize_rfAECommonConfig, "ipcName", &config), 0);
  free_rfAECommonConfig(&config);
}

TEST(ConfigDeserializers, AlwaysReturnZeroForAType) {
  Value value("float");
  rfAECommonConfigConfigParam param = {};
  EXPECT_EQ(value.Give(deserialize_rfAECommonConfigConfigParam, "type", &param), 0);
  EXPECT_EQ(param.type, 3u);
}

TEST(ConfigDeserializers, StoreATypeInTheLowHalfOfItsWord) {
  Value value("float");
  rfAECommonConfigConfigParam param = {nullptr, nullptr, 0xAAAAAAAABBBBBBBB, 0x55};
  value.Give(deserialize_rfAECommonConfigConfigParam, "type", &param);
  EXPECT_EQ(param.type, 0xAAAAAAAA00000003u);
  EXPECT_EQ(param.reserved, 0x55u);
}

TEST(ConfigDeserializers, GrowArraysOfWholeConfigurationsWithZeroedElements) {
  rfAECommonConfigArray configs = {};
  Value value("q");
  EXPECT_EQ(value.Give(deserialize_rfAECommonConfigArray, "ipcName", &configs, 0), 1);
  EXPECT_EQ(value.Give(deserialize_rfAECommonConfigArray, "logfile", &configs, 1), 1);
  ASSERT_EQ(configs.count, 2u);
  EXPECT_STREQ(configs.list[0].ipcName, "q");
  EXPECT_EQ(configs.list[1].ipcName, nullptr);
  EXPECT_STREQ(configs.list[1].logfile, "q");
  EXPECT_EQ(configs.list[1].ConfigObj.count, 0u);
  free_rfAECommonConfigArray(&configs);
}

TEST(ConfigDeserializers, ReadADocumentThatIsAnArrayOfConfigurations) {
  const std::string text =
      R"([{"ipcName":"a","ConfigObj":[{"parameterGroup":"g"}]},{"ipcName":"b","logFileSize":3}])";
  const JsonDocumentCallback callback = [](const char *json, jsmntok_t *tokens, const char *label,
                                           uint32_t count, void *user) {
    JsonWalkContext context = {json, tokens, 0, 0, count, 0};
    processObject(&context, label, 0, static_cast<int32_t>(strlen(json)), 0, user,
                  deserialize_rfAECommonConfigArray);
    return 0;
  };
  rfAECommonConfigArray configs = {};
  EXPECT_EQ(parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 1, callback, &configs),
            1);
  ASSERT_EQ(configs.count, 2u);
  EXPECT_STREQ(configs.list[0].ipcName, "a");
  ASSERT_EQ(configs.list[0].ConfigObj.count, 1u);
  EXPECT_STREQ(configs.list[0].ConfigObj.list[0].parameterGroup, "g");
  EXPECT_STREQ(configs.list[1].ipcName, "b");
  EXPECT_EQ(configs.list[1].logFileSize, 3);
  free_rfAECommonConfigArray(&configs);
}

// ---- releasing ----------------------------------------------------------------------------------

TEST(ConfigReleases, AcceptNull) {
  aeFreeConfiguration(nullptr);
  free_rfAECommonConfig(nullptr);
  free_rfAECommonConfigArray(nullptr);
  free_rfAECommonConfigConfigObj(nullptr);
  free_rfAECommonConfigConfigObjArray(nullptr);
  free_rfAECommonConfigConfigParam(nullptr);
  free_rfAECommonConfigConfigParamArray(nullptr);
}

TEST(ConfigReleases, AcceptEmptyAndHalfBuiltRecords) {
  rfAECommonConfig config = {};
  aeFreeConfiguration(&config);
  config.ConfigObj.count = 3;  // as a failed growth cannot leave it, but a caller may
  aeFreeConfiguration(&config);
}

// Nothing is reset: a second release would free twice, so a record is loaded again before reuse.
TEST(ConfigReleases, LeaveCountsAndPointersAlone) {
  rfAECommonConfig config = {};
  parseJsonBuffer(kDocument, static_cast<uint32_t>(strlen(kDocument)), 1, ProcessDecoderDefinitions,
                  &config);
  const rfAECommonConfig before = config;
  aeFreeConfiguration(&config);
  EXPECT_EQ(memcmp(&config, &before, sizeof config), 0);
}

// A pointer to a record serves as a pointer to the list that it begins with.
TEST(ConfigRecords, BeginWithTheirLists) {
  EXPECT_EQ(offsetof(rfAECommonConfig, ConfigObj), 0u);
  EXPECT_EQ(offsetof(rfAECommonConfigConfigObj, ConfigParam), 0u);
  EXPECT_EQ(sizeof(rfAECommonConfigConfigParam::type), 8u);
}

}  // namespace
