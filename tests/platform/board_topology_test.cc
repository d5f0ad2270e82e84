#include "include/boardtopology.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/leaks.hpp"
#include "support/records.hpp"

namespace {

using cu_test::Give;
using cu_test::MayLeak;
using cu_test::ReadDocument;
using cu_test::ReadText;

constexpr JsonTokenType kPrimitive = JSON_TOKEN_PRIMITIVE;

std::string Text(const char *text) {
  return text == nullptr ? "(null)" : text;
}

// ---- every key of every record ------------------------------------------------------------------

TEST(BoardTopology, ReadsEveryKey) {
  rfAEBoardTopology board = {};
  ASSERT_EQ(1, ReadText(R"({ "AEBus": [ { "Name": "a" }, { "Name": "b" } ],
                            "TopologyName": "carrier", "platformid": "0x07",
                            "devicefiles": [ "/dev/i2c-0", "/dev/i2c-1" ] })",
                        deserialize_rfAEBoardTopology, &board));
  ASSERT_EQ(2U, board.AEBus.count);
  EXPECT_STREQ("a", board.AEBus.list[0].Name);
  EXPECT_STREQ("b", board.AEBus.list[1].Name);
  EXPECT_STREQ("carrier", board.TopologyName);
  EXPECT_STREQ("0x07", board.platformid);
  ASSERT_EQ(2U, board.devicefiles.count);
  EXPECT_STREQ("/dev/i2c-0", board.devicefiles.list[0].text);
  EXPECT_EQ(10U, board.devicefiles.list[1].length);
  free_rfAEBoardTopology(&board);
}

TEST(BoardSegmentTopology, ReadsEveryKey) {
  rfAEBoardSegmentTopology board = {};
  ASSERT_EQ(1, ReadText(R"({ "AEBusSegment": [ { "segmentpath": "0" }, { "segmentpath": "1" } ],
                            "TopologyName": "carrier", "platformid": "0x07", "bus": 3 })",
                        deserialize_rfAEBoardSegmentTopology, &board));
  ASSERT_EQ(2U, board.AEBusSegment.count);
  EXPECT_STREQ("1", board.AEBusSegment.list[1].segmentpath);
  EXPECT_STREQ("carrier", board.TopologyName);
  EXPECT_STREQ("0x07", board.platformid);
  EXPECT_EQ(3U, board.bus);
  free_rfAEBoardSegmentTopology(&board);
}

TEST(BoardTopologyAEBus, ReadsEveryKey) {
  rfAEBoardTopologyAEBus bus = {};
  ASSERT_EQ(1, ReadText(R"({ "AEBUSSegment": [ { "segmentpath": "0" }, { "segmentpath": "1" } ],
                            "Name": "thermal", "bus": "/dev/i2c-0", "id": 4, "protocol": "i2c" })",
                        deserialize_rfAEBoardTopologyAEBus, &bus));
  ASSERT_EQ(2U, bus.AEBUSSegment.count);
  EXPECT_STREQ("0", bus.AEBUSSegment.list[0].segmentpath);
  EXPECT_STREQ("thermal", bus.Name);
  EXPECT_STREQ("/dev/i2c-0", bus.bus);
  EXPECT_EQ(4U, bus.id);
  EXPECT_STREQ("i2c", bus.protocol);
  free_rfAEBoardTopologyAEBus(&bus);
}

TEST(BoardTopologyAEBUSSegment, ReadsEveryKey) {
  rfAEBoardTopologyAEBUSSegment segment = {};
  ASSERT_EQ(1, ReadText(R"({ "AEDevice": [ { "Name": "a" }, { "Name": "b" } ],
                            "AESegmentDevice": { "Name": "mux", "address": "0x70", "value": 4 },
                            "aebusid": 2, "segmentpath": "0/mux", "powerstate": "on" })",
                        deserialize_rfAEBoardTopologyAEBUSSegment, &segment));
  ASSERT_EQ(2U, segment.AEDevice.count);
  EXPECT_STREQ("b", segment.AEDevice.list[1].Name);
  EXPECT_STREQ("mux", segment.AESegmentDevice.Name);
  EXPECT_EQ(0x70, segment.AESegmentDevice.address);
  EXPECT_EQ(4U, segment.AESegmentDevice.value);
  EXPECT_EQ(2U, segment.aebusid);
  EXPECT_STREQ("0/mux", segment.segmentpath);
  EXPECT_STREQ("on", segment.powerstate);
  free_rfAEBoardTopologyAEDevice(&segment.AESegmentDevice);
  free_rfAEBoardTopologyAEBUSSegment(&segment);
}

TEST(BoardTopologyAEDevice, ReadsEveryKey) {
  rfAEBoardTopologyAEDevice device = {};
  ASSERT_EQ(1, ReadText(R"({ "ClassID": 1, "InstanceID": 2, "Name": "psu", "Type": "power-supply",
                            "address": "0x58", "length": 32, "value": 65536,
                            "SensorList": [ { "Name": "Vin" }, { "Name": "Vout" } ] })",
                        deserialize_rfAEBoardTopologyAEDevice, &device));
  EXPECT_EQ(1, device.ClassID);
  EXPECT_EQ(2, device.InstanceID);
  EXPECT_STREQ("psu", device.Name);
  EXPECT_STREQ("power-supply", device.Type);
  EXPECT_EQ(0x58, device.address);
  EXPECT_EQ(32, device.length);
  EXPECT_EQ(65536U, device.value);
  ASSERT_EQ(2U, device.SensorList.count);
  EXPECT_STREQ("Vout", device.SensorList.list[1].Name);
  free_rfAEBoardTopologyAESensorArray(&device.SensorList);
  free_rfAEBoardTopologyAEDevice(&device);
}

TEST(BoardTopologyAESensor, ReadsEveryKey) {
  rfAEBoardTopologyAESensor sensor = {};
  ASSERT_EQ(1, ReadText(R"({ "ClassID": 1, "InstanceID": 2, "Name": "Vin", "Type": "voltage",
                            "Lun": -3, "Sensorid": 81985529216486895, "Cacheable": true,
                            "DisableOnUpdate": true })",
                        deserialize_rfAEBoardTopologyAESensor, &sensor));
  EXPECT_EQ(1, sensor.ClassID);
  EXPECT_EQ(2, sensor.InstanceID);
  EXPECT_STREQ("Vin", sensor.Name);
  EXPECT_STREQ("voltage", sensor.Type);
  EXPECT_EQ(-3, sensor.Lun);
  EXPECT_EQ(0x0123456789ABCDEF, sensor.Sensorid);
  EXPECT_EQ(1, sensor.Cacheable);
  EXPECT_EQ(1, sensor.DisableOnUpdate);
  free_rfAEBoardTopologyAESensor(&sensor);
}

TEST(SensorMonitor, ReadsEveryKey) {
  rfAESensorMonitor monitor = {};
  ASSERT_EQ(1, ReadText(R"({ "sensorType": "ipmisensor", "sensorName": "Inlet Temp",
                            "id": -9000000000, "activeLow": true })",
                        deserialize_rfAESensorMonitor, &monitor));
  EXPECT_EQ(1U, monitor.sensorType);
  EXPECT_STREQ("Inlet Temp", monitor.sensorName);
  EXPECT_EQ(-9000000000, monitor.id);
  EXPECT_EQ(1, monitor.activeLow);
  free_rfAESensorMonitor(&monitor);
}

TEST(SensorMonitorRule, ReadsEveryKey) {
  rfAESensorMonitorRule rule = {};
  ASSERT_EQ(1, ReadText(R"({ "enableRule": "%1 1 ==", "disableRule": "%1 0 ==",
                            "sensors": [ { "id": 1 }, { "id": 2 } ] })",
                        deserialize_rfAESensorMonitorRule, &rule));
  EXPECT_STREQ("%1 1 ==", rule.enableRule);
  EXPECT_STREQ("%1 0 ==", rule.disableRule);
  ASSERT_EQ(2U, rule.sensors.count);
  EXPECT_EQ(2, rule.sensors.list[1].id);
  free_rfAESensorMonitorArray(&rule.sensors);
  free_rfAESensorMonitorRule(&rule);
}

// ---- results of the key handlers ----------------------------------------------------------------

/// The largest record, zeroed, to be read as any of them.
union AnyRecord {
  AnyRecord() { memset(static_cast<void *>(this), 0, sizeof *this); }
  rfAEBoardTopology board;
  rfAEBoardSegmentTopology segment_board;
  rfAEBoardTopologyAEBus bus;
  rfAEBoardTopologyAEBUSSegment segment;
  rfAEBoardTopologyAEDevice device;
  rfAEBoardTopologyAESensor sensor;
  rfAESensorMonitor monitor;
  rfAESensorMonitorRule rule;
};

/// How a property is written, and which of its releases a record's text needs.
enum class Kind { kText, kNumber, kHex, kBoolean, kType, kList, kObject };

struct Property {
  const char *key;
  Kind kind;
};

struct Schema {
  const char *name;
  size_t size;  // of the record
  rfDeserializeFn read;
  rfDeserializeFn read_array;
  std::vector<Property> properties;
};

const std::vector<Schema> &Schemas() {
  static const std::vector<Schema> schemas = {
      {"Board",
       sizeof(rfAEBoardTopology),
       deserialize_rfAEBoardTopology,
       deserialize_rfAEBoardTopologyArray,
       {{"AEBus", Kind::kList},
        {"TopologyName", Kind::kText},
        {"platformid", Kind::kText},
        {"devicefiles", Kind::kList}}},
      {"SegmentBoard",
       sizeof(rfAEBoardSegmentTopology),
       deserialize_rfAEBoardSegmentTopology,
       deserialize_rfAEBoardSegmentTopologyArray,
       {{"AEBusSegment", Kind::kList},
        {"TopologyName", Kind::kText},
        {"platformid", Kind::kText},
        {"bus", Kind::kNumber}}},
      {"Bus",
       sizeof(rfAEBoardTopologyAEBus),
       deserialize_rfAEBoardTopologyAEBus,
       deserialize_rfAEBoardTopologyAEBusArray,
       {{"AEBUSSegment", Kind::kList},
        {"Name", Kind::kText},
        {"bus", Kind::kText},
        {"id", Kind::kNumber},
        {"protocol", Kind::kText}}},
      {"Segment",
       sizeof(rfAEBoardTopologyAEBUSSegment),
       deserialize_rfAEBoardTopologyAEBUSSegment,
       deserialize_rfAEBoardTopologyAEBUSSegmentArray,
       {{"AEDevice", Kind::kList},
        {"AESegmentDevice", Kind::kObject},
        {"aebusid", Kind::kNumber},
        {"segmentpath", Kind::kText},
        {"powerstate", Kind::kText}}},
      {"Device",
       sizeof(rfAEBoardTopologyAEDevice),
       deserialize_rfAEBoardTopologyAEDevice,
       deserialize_rfAEBoardTopologyAEDeviceArray,
       {{"ClassID", Kind::kNumber},
        {"InstanceID", Kind::kNumber},
        {"Name", Kind::kText},
        {"Type", Kind::kText},
        {"address", Kind::kHex},
        {"length", Kind::kNumber},
        {"value", Kind::kNumber},
        {"SensorList", Kind::kList}}},
      {"Sensor",
       sizeof(rfAEBoardTopologyAESensor),
       deserialize_rfAEBoardTopologyAESensor,
       deserialize_rfAEBoardTopologyAESensorArray,
       {{"ClassID", Kind::kNumber},
        {"InstanceID", Kind::kNumber},
        {"Name", Kind::kText},
        {"Type", Kind::kText},
        {"Lun", Kind::kNumber},
        {"Sensorid", Kind::kNumber},
        {"Cacheable", Kind::kBoolean},
        {"DisableOnUpdate", Kind::kBoolean}}},
      {"Monitor",
       sizeof(rfAESensorMonitor),
       deserialize_rfAESensorMonitor,
       deserialize_rfAESensorMonitorArray,
       {{"sensorType", Kind::kType},
        {"sensorName", Kind::kText},
        {"id", Kind::kNumber},
        {"activeLow", Kind::kBoolean}}},
      {"Rule",
       sizeof(rfAESensorMonitorRule),
       deserialize_rfAESensorMonitorRule,
       deserialize_rfAESensorMonitorRuleArray,
       {{"enableRule", Kind::kText}, {"disableRule", Kind::kText}, {"sensors", Kind::kList}}}};
  return schemas;
}

class EachRecord : public testing::TestWithParam<Schema> {
 protected:
  // Texts that land in the records below stay there: which ones a release frees is told by tests of
  // their own.
  MayLeak may_leak_;
};

TEST_P(EachRecord, GivesTheResultOfTheReaderOfEachKey) {
  for (const Property &property : GetParam().properties) {
    SCOPED_TRACE(property.key);
    AnyRecord record;
    const auto give = [&](const char *value, JsonTokenType type = JSON_TOKEN_STRING) {
      return Give(GetParam().read, &record, property.key, value, type);
    };
    switch (property.kind) {
      case Kind::kText:
        EXPECT_EQ(1, give("text"));
        EXPECT_EQ(0, give(""));
        break;
      case Kind::kHex:
        EXPECT_EQ(1, give("0x1F"));
        EXPECT_EQ(1, give("1"));
        EXPECT_EQ(0, give(""));
        break;
      case Kind::kNumber:
        EXPECT_EQ(1, give("17", kPrimitive));
        EXPECT_EQ(1, give("no number"));
        break;
      case Kind::kBoolean:
        EXPECT_EQ(1, give("true", kPrimitive));
        EXPECT_EQ(1, give("false", kPrimitive));
        EXPECT_EQ(1, give(""));
        break;
      case Kind::kType:
        EXPECT_EQ(0, give("gpio"));
        EXPECT_EQ(0, give("no type"));
        break;
      case Kind::kList:
        EXPECT_NE(0, give("[]", JSON_TOKEN_ARRAY));
        break;
      case Kind::kObject:
        EXPECT_NE(0, give("{}", JSON_TOKEN_OBJECT));
        break;
    }
  }
}

TEST_P(EachRecord, GivesZeroForAnUnknownKey) {
  AnyRecord record, untouched;
  for (const char *const key : {"", "name", "NAME", "Unknown", "AEBUS", "ClassIDs", "ClassI"}) {
    EXPECT_EQ(0, Give(GetParam().read, &record, key, "1")) << key;
  }
  EXPECT_EQ(0, memcmp(&record, &untouched, sizeof record));
}

TEST_P(EachRecord, GivesZeroWithoutAnArgument) {
  AnyRecord record;
  const char *const key = GetParam().properties.back().key;
  const rfDeserializeFn read = GetParam().read, read_array = GetParam().read_array;
  jsmntok_t token = {JSON_TOKEN_STRING, 0, 1, 0, -1};
  JsonWalkContext context = {"1", &token, 0, 0, 1, 0};
  JsonWalkContext no_tokens = {"1", nullptr, 0, 0, 1, 0};
  for (const rfDeserializeFn function : {read, read_array}) {
    EXPECT_EQ(0, function(nullptr, 0, 1, key, 0, &record));
    EXPECT_EQ(0, function(&no_tokens, 0, 1, key, 0, &record));
    EXPECT_EQ(0, function(&context, 0, 1, key, 0, nullptr));
    EXPECT_EQ(0, function(&context, 0, 1, nullptr, 0, &record));
  }
}

/// Any (count, list) pair.
struct Pair {
  uint32_t count = 0;
  void *list = nullptr;
};

/// While it lives, what malloc() gives is not zero by chance.
class DirtyHeap {
 public:
  DirtyHeap() { mallopt(M_PERTURB, 0x5A); }
  ~DirtyHeap() { mallopt(M_PERTURB, 0); }
};

/// Whether every element of a list is zeroed, down to its last byte.
bool IsZeroed(const Pair &pair, size_t record_size) {
  const auto *const bytes = static_cast<const unsigned char *>(pair.list);
  return std::all_of(bytes, bytes + pair.count * record_size,
                     [](unsigned char b) { return b == 0; });
}

TEST_P(EachRecord, GrowsItsListByZeroedElements) {
  const DirtyHeap dirty;
  Pair pair;
  const rfDeserializeFn read_array = GetParam().read_array;
  EXPECT_EQ(0, Give(read_array, &pair, "Unknown", "x"));
  EXPECT_EQ(1U, pair.count);
  EXPECT_EQ(0, Give(read_array, &pair, "Unknown", "x", JSON_TOKEN_STRING, 1));
  EXPECT_EQ(2U, pair.count);
  EXPECT_EQ(0, Give(read_array, &pair, "Unknown", "x", JSON_TOKEN_STRING, 1));
  EXPECT_EQ(0, Give(read_array, &pair, "Unknown", "x", JSON_TOKEN_STRING, 0));
  ASSERT_EQ(2U, pair.count);
  EXPECT_TRUE(IsZeroed(pair, GetParam().size));
  free(pair.list);
}

TEST_P(EachRecord, GrowsItsListToAnIndexBeyondTheCount) {
  const DirtyHeap dirty;
  Pair pair;
  EXPECT_EQ(0, Give(GetParam().read_array, &pair, "Unknown", "x", JSON_TOKEN_STRING, 5));
  ASSERT_EQ(6U, pair.count);
  EXPECT_TRUE(IsZeroed(pair, GetParam().size));
  free(pair.list);
}

/// Documents that give a key a value of each type, alone and in containers.
std::vector<std::string> DocumentsFor(const std::string &key) {
  const char *const values[] = {"\"text\"",
                                "\"\"",
                                "0",
                                "-1",
                                "1e99",
                                "18446744073709551616",
                                "true",
                                "null",
                                "{}",
                                "[]",
                                "[[]]",
                                "[{}]",
                                "[1]",
                                "[1,2,3]",
                                "[\"a\",\"b\",\"c\"]",
                                "{\"other\":1}",
                                "[[1,2],[3]]",
                                "[{},{},{\"other\":1}]",
                                "{\"other\":{\"other\":{}}}",
                                "[{\"other\":[{\"other\":[]}]}]",
                                "[null,{\"other\":\"x\"},[],\"y\"]"};
  std::vector<std::string> documents;
  for (const std::string value : values) {
    documents.push_back("{\"" + key + "\":" + value + "}");
    documents.push_back("{\"other\":1,\"" + key + "\":" + value + ",\"another\":[1,2]}");
    documents.push_back("[{\"" + key + "\":" + value + "},{\"" + key + "\":" + value + "}]");
    documents.push_back("{\"" + key + "\":[{\"" + key + "\":" + value + "}]}");
    documents.push_back("{\"" + key + "\"}");
    documents.push_back("{\"" + key + "\":}");
    documents.push_back("{\"" + key + "\" " + value + "}");
    documents.push_back("{\"" + key + "\":{\"" + key + "\"}}");
  }
  return documents;
}

TEST_P(EachRecord, SurvivesEveryWrongType) {
  for (const Schema &schema : Schemas()) {  // keys of other records as well
    for (const Property &property : schema.properties) {
      for (const std::string &document : DocumentsFor(property.key)) {
        SCOPED_TRACE(document);
        AnyRecord record;
        ReadText(document, GetParam().read, &record);
        Pair pair;
        ReadText(document, GetParam().read_array, &pair);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Records, EachRecord, testing::ValuesIn(Schemas()),
                         [](const auto &row) { return row.param.name; });

// ---- conversions --------------------------------------------------------------------------------

TEST(BoardTopologyAEDevice, CutsNumbersToTheirFields) {
  rfAEBoardTopologyAEDevice device = {};
  ASSERT_EQ(1, ReadText(R"({ "ClassID": 65537, "InstanceID": -1, "length": 258,
                            "value": 4294967298 })",
                        deserialize_rfAEBoardTopologyAEDevice, &device));
  EXPECT_EQ(1, device.ClassID);
  EXPECT_EQ(0xFFFF, device.InstanceID);
  EXPECT_EQ(2, device.length);
  EXPECT_EQ(2U, device.value);
}

TEST(BoardTopologyAESensor, CutsItsIdsToTheirFields) {
  rfAEBoardTopologyAESensor sensor = {};
  Give(deserialize_rfAEBoardTopologyAESensor, &sensor, "ClassID", "65538");
  Give(deserialize_rfAEBoardTopologyAESensor, &sensor, "InstanceID", "-2");
  EXPECT_EQ(2, sensor.ClassID);
  EXPECT_EQ(0xFFFE, sensor.InstanceID);
}

TEST(BoardTopology, CutsIdsTo32Bits) {
  rfAEBoardSegmentTopology board = {};
  Give(deserialize_rfAEBoardSegmentTopology, &board, "bus", "4294967299");
  EXPECT_EQ(3U, board.bus);
  rfAEBoardTopologyAEBus bus = {};
  Give(deserialize_rfAEBoardTopologyAEBus, &bus, "id", "-1");
  EXPECT_EQ(0xFFFFFFFFU, bus.id);
  rfAEBoardTopologyAEBUSSegment segment = {};
  Give(deserialize_rfAEBoardTopologyAEBUSSegment, &segment, "aebusid", "4294967300");
  EXPECT_EQ(4U, segment.aebusid);
}

TEST(BoardTopologyAEDevice, ReadsItsAddressFromHexadecimalText) {
  const struct {
    const char *text;
    uint8_t address;
  } rows[] = {{"0x1ff", 0xff},  {"0x58", 0x58},
              {"0X7A", 0x7a},   {"0x1-2", 0x12},
              {"0x0100", 0x00}, {"0x1", 0},
              {"58", 0},        {"1F00", 0},
              {"", 0},          {"0x12345678901234567", 0x67}};
  for (const auto &row : rows) {
    rfAEBoardTopologyAEDevice device = {};
    Give(deserialize_rfAEBoardTopologyAEDevice, &device, "address", row.text);
    EXPECT_EQ(row.address, device.address) << row.text;
  }
}

TEST(BoardTopologyAEDevice, ClearsItsAddressForATextTooShortToConvert) {
  rfAEBoardTopologyAEDevice device = {};
  Give(deserialize_rfAEBoardTopologyAEDevice, &device, "address", "0x58");
  EXPECT_EQ(1, Give(deserialize_rfAEBoardTopologyAEDevice, &device, "address", "0x7"));
  EXPECT_EQ(0, device.address);
}

TEST(BoardTopology, TellsTheTwoKindsOfBusApart) {
  rfAEBoardTopologyAEBus bus = {};
  Give(deserialize_rfAEBoardTopologyAEBus, &bus, "bus", "12");
  EXPECT_STREQ("12", bus.bus);
  free(bus.bus);
  rfAEBoardSegmentTopology board = {};
  Give(deserialize_rfAEBoardSegmentTopology, &board, "bus", "12");
  EXPECT_EQ(12U, board.bus);
}

TEST(BoardTopologyAEBus, GivesZeroForAKeyThatItsRecordDoesNotList) {
  rfAEBoardTopologyAEBus bus = {};
  EXPECT_EQ(0, Give(deserialize_rfAEBoardTopologyAEBus, &bus, "AEDevice", "1"));
  EXPECT_EQ(0, Give(deserialize_rfAEBoardTopologyAEBus, &bus, "AEBusSegment", "1"));
}

TEST(BoardTopologyAESensor, ReadsBooleansByTheRuleOfDocuments) {
  const struct {
    const char *text;
    uint8_t value;
  } rows[] = {{"true", 1}, {"false", 0}, {"False", 1}, {"0", 1}, {"null", 1}, {"fals", 1}};
  for (const auto &row : rows) {
    rfAEBoardTopologyAESensor sensor = {};
    Give(deserialize_rfAEBoardTopologyAESensor, &sensor, "Cacheable", row.text);
    EXPECT_EQ(row.value, sensor.Cacheable) << row.text;
    EXPECT_EQ(0, sensor.DisableOnUpdate);
  }
}

TEST(BoardTopology, MissingKeysLeaveZero) {
  rfAEBoardTopologyAESensorArray sensors = {};
  ASSERT_EQ(1, ReadText(R"([ { "Sensorid": 1 } ])", deserialize_rfAEBoardTopologyAESensorArray,
                        &sensors));
  ASSERT_EQ(1U, sensors.count);
  EXPECT_EQ(nullptr, sensors.list[0].Name);
  EXPECT_EQ(0, sensors.list[0].Lun);
  EXPECT_EQ(0, sensors.list[0].Cacheable);
  free_rfAEBoardTopologyAESensorArray(&sensors);
}

TEST(SensorMonitor, ReadsItsTypeByTheShorterText) {
  const struct {
    const char *text;
    uint32_t type;
  } rows[] = {{"gpio", 0}, {"gpiochip", 0}, {"g", 0},          {"gp", 0},          {"", 0},
              {"ipmi", 1}, {"i", 1},        {"ipmisensor", 1}, {"ipmisensors", 1}, {"adc", 2},
              {"GPIO", 2}, {" gpio", 2},    {"gpx", 2},        {"ipmisensox", 2},  {"null", 2},
              {"7", 2}};
  for (const auto &row : rows) {
    rfAESensorMonitor monitor = {};
    monitor.sensorType = 99;
    EXPECT_EQ(0, Give(deserialize_rfAESensorMonitor, &monitor, "sensorType", row.text)) << row.text;
    EXPECT_EQ(row.type, monitor.sensorType) << row.text;
  }
}

TEST(SensorMonitor, ComparesATypeOfAnyLength) {
  rfAESensorMonitor monitor = {};
  Give(deserialize_rfAESensorMonitor, &monitor, "sensorType", "gpio" + std::string(1 << 20, 'x'));
  EXPECT_EQ(0U, monitor.sensorType);
  Give(deserialize_rfAESensorMonitor, &monitor, "sensorType", std::string(1 << 20, 'x'));
  EXPECT_EQ(2U, monitor.sensorType);
}

TEST(SensorMonitor, WithoutATypeIsAGpio) {
  rfAESensorMonitor monitor = {};
  ASSERT_EQ(1, ReadText(R"({ "id": 1 })", deserialize_rfAESensorMonitor, &monitor));
  EXPECT_EQ(static_cast<uint32_t>(SENSOR_TYPE_GPIO), monitor.sensorType);
}

// ---- lists --------------------------------------------------------------------------------------

TEST(BoardTopologyArray, ReadsBoardsInTheirOrder) {
  rfAEBoardTopologyArray boards = {};
  ASSERT_EQ(1, ReadText(R"([ { "TopologyName": "a", "AEBus": [ { "id": 1 } ] },
                            { "AEBus": [ { "id": 2 }, { "id": 3 } ], "TopologyName": "b" } ])",
                        deserialize_rfAEBoardTopologyArray, &boards));
  ASSERT_EQ(2U, boards.count);
  EXPECT_STREQ("a", boards.list[0].TopologyName);
  EXPECT_EQ(1U, boards.list[0].AEBus.count);
  EXPECT_STREQ("b", boards.list[1].TopologyName);
  ASSERT_EQ(2U, boards.list[1].AEBus.count);
  EXPECT_EQ(3U, boards.list[1].AEBus.list[1].id);
  free_rfAEBoardTopologyArray(&boards);
}

TEST(BoardTopologyArray, GivesEmptyElementsAnIndexAllTheSame) {
  rfAEBoardTopologyAEBusArray buses = {};
  ASSERT_EQ(1, ReadText(R"([ { "id": 1 }, {}, {}, { "id": 4 } ])",
                        deserialize_rfAEBoardTopologyAEBusArray, &buses));
  ASSERT_EQ(4U, buses.count);
  EXPECT_EQ(1U, buses.list[0].id);
  EXPECT_EQ(0U, buses.list[1].id);
  EXPECT_EQ(0U, buses.list[2].id);
  EXPECT_EQ(4U, buses.list[3].id);
  free_rfAEBoardTopologyAEBusArray(&buses);
}

TEST(BoardTopologyArray, StartsAtTheFirstElementThatIsNotEmpty) {
  rfAEBoardTopologyAEBusArray buses = {};
  ASSERT_EQ(1, ReadText(R"([ {}, { "id": 2 } ])", deserialize_rfAEBoardTopologyAEBusArray, &buses));
  ASSERT_EQ(2U, buses.count);
  EXPECT_EQ(0U, buses.list[0].id);
  EXPECT_EQ(2U, buses.list[1].id);
  free_rfAEBoardTopologyAEBusArray(&buses);
}

TEST(BoardTopologyArray, ReadsThousandsOfNestedSegments) {
  constexpr uint32_t kSegments = 5000;
  std::string text = R"({ "AEBus": [ { "AEBUSSegment": [ )";
  for (uint32_t i = 0; i < kSegments; ++i) {
    if (i != 0) text += ",";
    text += R"({ "aebusid": )" + std::to_string(i) + R"(, "AEDevice": [ { "value": )" +
            std::to_string(i) + R"( }, { "Name": "d" } ], "segmentpath": "p" })";
  }
  text += R"( ], "id": 7 } ], "TopologyName": "wide" })";
  rfAEBoardTopology board = {};
  ASSERT_EQ(1, ReadText(text, deserialize_rfAEBoardTopology, &board));
  ASSERT_EQ(1U, board.AEBus.count);
  EXPECT_EQ(7U, board.AEBus.list[0].id);
  EXPECT_STREQ("wide", board.TopologyName);
  const rfAEBoardTopologyAEBUSSegmentArray &segments = board.AEBus.list[0].AEBUSSegment;
  ASSERT_EQ(kSegments, segments.count);
  for (uint32_t i = 0; i < kSegments; ++i) {
    ASSERT_EQ(i, segments.list[i].aebusid);
    ASSERT_EQ(2U, segments.list[i].AEDevice.count);
    ASSERT_EQ(i, segments.list[i].AEDevice.list[0].value);
    ASSERT_STREQ("p", segments.list[i].segmentpath);
  }
  free_rfAEBoardTopology(&board);
}

TEST(BoardTopology, SurvivesKeysThatNestInThemselves) {
  const MayLeak may_leak;
  for (const std::string open :
       {R"({"AEBus":)", R"({"AEBUSSegment":)", R"({"AEDevice":)", R"({"SensorList":)",
        R"({"AEBus":[{"AEBUSSegment":[{"AEDevice":[{"SensorList":[)"}) {
    std::string text;
    for (int i = 0; i < 500; ++i) text += open;
    text += "1";
    for (size_t at = text.size(); at-- > 0;) {  // close what is open, innermost first
      if (text[at] == '{') text += '}';
      if (text[at] == '[') text += ']';
    }
    rfAEBoardTopology board = {};
    ReadText(text, deserialize_rfAEBoardTopology, &board);
    free_rfAEBoardTopology(&board);
  }
}

TEST(BoardTopology, KeepsTheLastOfARepeatedKeyAndLosesTheEarlier) {
  rfAEBoardTopology board = {};
  ASSERT_EQ(1, Give(deserialize_rfAEBoardTopology, &board, "TopologyName", "first"));
  char *const first = board.TopologyName;
  ASSERT_EQ(1, Give(deserialize_rfAEBoardTopology, &board, "TopologyName", "second"));
  EXPECT_STREQ("second", board.TopologyName);
  EXPECT_STREQ("first", first);  // nobody has freed it, nor will
  free(first);
  free_rfAEBoardTopology(&board);
}

TEST(BoardTopology, AppendsToTheListOfARepeatedKeyByIndex) {
  rfAEBoardTopology board = {};
  ASSERT_EQ(1,
            ReadText(R"({ "AEBus": [ { "id": 1 } ], "AEBus": [ { "Name": "x" }, { "id": 2 } ] })",
                     deserialize_rfAEBoardTopology, &board));
  ASSERT_EQ(2U, board.AEBus.count);
  EXPECT_EQ(1U, board.AEBus.list[0].id);
  EXPECT_STREQ("x", board.AEBus.list[0].Name);
  EXPECT_EQ(2U, board.AEBus.list[1].id);
  free_rfAEBoardTopology(&board);
}

TEST(BoardTopology, TakesMembersOfUnknownObjectsForItsOwn) {
  rfAEBoardTopology board = {};
  ASSERT_EQ(1, ReadText(R"({ "extra": { "TopologyName": "forged" } })",
                        deserialize_rfAEBoardTopology, &board));
  EXPECT_STREQ("forged", board.TopologyName);
  free_rfAEBoardTopology(&board);
}

// ---- releases -----------------------------------------------------------------------------------

rfAEBoardTopologyAEDevice DeviceWithASensor() {
  rfAEBoardTopologyAEDevice device = {};
  EXPECT_EQ(1, ReadText(R"({ "Name": "n", "Type": "t", "SensorList": [ { "Name": "s" } ] })",
                        deserialize_rfAEBoardTopologyAEDevice, &device));
  return device;
}

TEST(FreeBoardTopologyAEDevice, FreesNameAndTypeButNotTheSensors) {
  rfAEBoardTopologyAEDevice device = DeviceWithASensor();
  free_rfAEBoardTopologyAEDevice(&device);
  ASSERT_EQ(1U, device.SensorList.count);
  EXPECT_STREQ("s", device.SensorList.list[0].Name);
  free_rfAEBoardTopologyAESensorArray(&device.SensorList);
}

TEST(FreeBoardTopologyAEDeviceArray, LosesTheSensorsOfEachDevice) {
  rfAEBoardTopologyAEDeviceArray devices = {};
  ASSERT_EQ(1, ReadText(R"([ { "SensorList": [ { "Name": "s" } ] } ])",
                        deserialize_rfAEBoardTopologyAEDeviceArray, &devices));
  rfAEBoardTopologyAESensorArray sensors = devices.list[0].SensorList;
  free_rfAEBoardTopologyAEDeviceArray(&devices);
  EXPECT_STREQ("s", sensors.list[0].Name);
  free_rfAEBoardTopologyAESensorArray(&sensors);
}

TEST(FreeBoardTopologyAEBUSSegment, FreesItsListAndTextsButNotTheDeviceInPlace) {
  rfAEBoardTopologyAEBUSSegment segment = {};
  ASSERT_EQ(1, ReadText(R"({ "AEDevice": [ { "Name": "a", "Type": "b" } ], "segmentpath": "p",
                            "powerstate": "on", "AESegmentDevice": { "Name": "mux",
                            "Type": "multiplexer" } })",
                        deserialize_rfAEBoardTopologyAEBUSSegment, &segment));
  free_rfAEBoardTopologyAEBUSSegment(&segment);
  EXPECT_STREQ("mux", segment.AESegmentDevice.Name);
  EXPECT_STREQ("multiplexer", segment.AESegmentDevice.Type);
  free_rfAEBoardTopologyAEDevice(&segment.AESegmentDevice);
}

TEST(FreeBoardTopologyAEBUSSegmentArray, LeavesTheDeviceInPlaceOfEachSegment) {
  rfAEBoardTopologyAEBUSSegmentArray segments = {};
  ASSERT_EQ(1, ReadText(R"([ { "segmentpath": "p", "AEDevice": [ { "Name": "a" } ] },
                             { "powerstate": "on", "AESegmentDevice": { "Name": "mux" } } ])",
                        deserialize_rfAEBoardTopologyAEBUSSegmentArray, &segments));
  ASSERT_EQ(2U, segments.count);
  rfAEBoardTopologyAEDevice device = segments.list[1].AESegmentDevice;
  free_rfAEBoardTopologyAEBUSSegmentArray(&segments);
  EXPECT_STREQ("mux", device.Name);
  free_rfAEBoardTopologyAEDevice(&device);
}

TEST(FreeSensorMonitorRule, FreesTheRulesButNotTheSensors) {
  rfAESensorMonitorRule rule = {};
  ASSERT_EQ(1, ReadText(R"({ "enableRule": "e", "disableRule": "d",
                            "sensors": [ { "sensorName": "s" } ] })",
                        deserialize_rfAESensorMonitorRule, &rule));
  free_rfAESensorMonitorRule(&rule);
  ASSERT_EQ(1U, rule.sensors.count);
  EXPECT_STREQ("s", rule.sensors.list[0].sensorName);
  free_rfAESensorMonitorArray(&rule.sensors);
}

TEST(FreeSensorMonitorRuleArray, LosesTheSensorsOfEachRule) {
  rfAESensorMonitorRuleArray rules = {};
  ASSERT_EQ(1, ReadText(R"([ { "enableRule": "e", "sensors": [ { "sensorName": "s" } ] } ])",
                        deserialize_rfAESensorMonitorRuleArray, &rules));
  rfAESensorMonitorArray sensors = rules.list[0].sensors;
  free_rfAESensorMonitorRuleArray(&rules);
  EXPECT_STREQ("s", sensors.list[0].sensorName);
  free_rfAESensorMonitorArray(&sensors);
}

TEST(FreeBoardTopology, FreesEverythingElseThroughAllLevels) {
  // What is not freed here is reported by the leak detector.
  rfAEBoardTopologyArray boards = {};
  ASSERT_EQ(1, ReadText(R"([ { "TopologyName": "t", "platformid": "p", "devicefiles": [ "d", "e" ],
      "AEBus": [ { "Name": "n", "bus": "b", "protocol": "i2c", "AEBUSSegment": [
        { "segmentpath": "s", "powerstate": "on", "AEDevice": [ { "Name": "n", "Type": "t" } ] }
      ] } ] } ])",
                        deserialize_rfAEBoardTopologyArray, &boards));
  free_rfAEBoardTopologyArray(&boards);

  rfAEBoardSegmentTopologyArray segment_boards = {};
  ASSERT_EQ(1, ReadText(R"([ { "TopologyName": "t", "platformid": "p", "AEBusSegment": [
        { "segmentpath": "s", "powerstate": "on", "AEDevice": [ { "Name": "n", "Type": "t" } ] }
      ] } ])",
                        deserialize_rfAEBoardSegmentTopologyArray, &segment_boards));
  free_rfAEBoardSegmentTopologyArray(&segment_boards);

  rfAESensorMonitorArray monitors = {};
  ASSERT_EQ(1, ReadText(R"([ { "sensorName": "a" }, { "sensorName": "b" } ])",
                        deserialize_rfAESensorMonitorArray, &monitors));
  free_rfAESensorMonitorArray(&monitors);

  rfAESensorMonitorRuleArray rules = {};
  ASSERT_EQ(1, ReadText(R"([ { "enableRule": "a", "disableRule": "b" } ])",
                        deserialize_rfAESensorMonitorRuleArray, &rules));
  free_rfAESensorMonitorRuleArray(&rules);
}

TEST(FreeBoardTopology, AcceptsNullAndZeroedRecords) {
  AnyRecord record;
#define EXPECT_RELEASABLE(name)                   \
  free_##name(nullptr);                           \
  free_##name##Array(nullptr);                    \
  free_##name(reinterpret_cast<name *>(&record)); \
  free_##name##Array(reinterpret_cast<name##Array *>(&record))
  EXPECT_RELEASABLE(rfAEBoardTopology);
  EXPECT_RELEASABLE(rfAEBoardSegmentTopology);
  EXPECT_RELEASABLE(rfAEBoardTopologyAEBus);
  EXPECT_RELEASABLE(rfAEBoardTopologyAEBUSSegment);
  EXPECT_RELEASABLE(rfAEBoardTopologyAEDevice);
  EXPECT_RELEASABLE(rfAEBoardTopologyAESensor);
  EXPECT_RELEASABLE(rfAESensorMonitor);
  EXPECT_RELEASABLE(rfAESensorMonitorRule);
#undef EXPECT_RELEASABLE
}

TEST(FreeBoardTopology, ResetsNothing) {
  rfAEBoardTopologyAEBusArray buses = {};
  ASSERT_EQ(1, ReadText(R"([ { "id": 1 } ])", deserialize_rfAEBoardTopologyAEBusArray, &buses));
  const void *const list = buses.list;
  free_rfAEBoardTopologyAEBusArray(&buses);
  EXPECT_EQ(1U, buses.count);
  EXPECT_EQ(list, buses.list);
}

// ---- the example documents ----------------------------------------------------------------------

const std::string kDocuments = EXAMPLE_DOCUMENTS;

TEST(ExampleDocument, BoardHasItsBusesDevicesAndSensors) {
  rfAEBoardTopology board = {};
  ASSERT_EQ(1, ReadDocument(kDocuments + "/board.json", deserialize_rfAEBoardTopology, &board));
  EXPECT_STREQ("carrier-7", board.TopologyName);
  EXPECT_STREQ("0x07", board.platformid);
  EXPECT_EQ(4U, board.devicefiles.count);
  ASSERT_EQ(4U, board.AEBus.count);

  uint32_t segments = 0, multiplexed = 0, devices = 0, sensors = 0;
  int64_t last_sensor = 0;
  for (uint32_t b = 0; b < board.AEBus.count; ++b) {
    const rfAEBoardTopologyAEBus &bus = board.AEBus.list[b];
    EXPECT_EQ(b, bus.id);
    EXPECT_EQ("/dev/i2c-" + std::to_string(b), Text(bus.bus));
    for (uint32_t s = 0; s < bus.AEBUSSegment.count; ++s) {
      rfAEBoardTopologyAEBUSSegment &segment = bus.AEBUSSegment.list[s];
      ++segments;
      EXPECT_EQ(b, segment.aebusid);
      if (segment.AESegmentDevice.Name != nullptr) {
        ++multiplexed;
        EXPECT_EQ("multiplexer", Text(segment.AESegmentDevice.Type));
        EXPECT_EQ(0x70 + b, segment.AESegmentDevice.address);
        free_rfAEBoardTopologyAEDevice(&segment.AESegmentDevice);
      }
      devices += segment.AEDevice.count;
      for (uint32_t d = 0; d < segment.AEDevice.count; ++d) {
        rfAEBoardTopologyAEDevice &device = segment.AEDevice.list[d];
        EXPECT_NE(nullptr, device.Name);
        EXPECT_NE(nullptr, device.Type);
        EXPECT_NE(0, device.address);
        EXPECT_NE(0, device.ClassID);
        for (uint32_t n = 0; n < device.SensorList.count; ++n) {
          EXPECT_EQ(++last_sensor, device.SensorList.list[n].Sensorid);
          EXPECT_NE(nullptr, device.SensorList.list[n].Name);
          ++sensors;
        }
        free_rfAEBoardTopologyAESensorArray(&device.SensorList);
      }
    }
  }
  EXPECT_EQ(18U, segments);
  EXPECT_EQ(14U, multiplexed);
  EXPECT_EQ(60U, devices);
  EXPECT_EQ(150U, sensors);
  free_rfAEBoardTopology(&board);
}

TEST(ExampleDocument, MonitorHasItsRulesAndSensors) {
  rfAESensorMonitorRuleArray rules = {};
  ASSERT_EQ(1, ReadDocument(kDocuments + "/monitor.json", deserialize_rfAESensorMonitorRuleArray,
                            &rules));
  ASSERT_EQ(3U, rules.count);
  const uint32_t expected[] = {5, 18, 9};
  for (uint32_t r = 0; r < rules.count; ++r) {
    rfAESensorMonitorRule &rule = rules.list[r];
    EXPECT_NE(nullptr, rule.enableRule);
    EXPECT_NE(nullptr, rule.disableRule);
    EXPECT_EQ(expected[r], rule.sensors.count);
    EXPECT_EQ(static_cast<uint32_t>(SENSOR_TYPE_GPIO), rule.sensors.list[0].sensorType);
    const rfAESensorMonitor &last = rule.sensors.list[rule.sensors.count - 1];
    EXPECT_EQ(static_cast<uint32_t>(SENSOR_TYPE_IPMISENSOR), last.sensorType);
    EXPECT_GT(last.id, 0);
    free_rfAESensorMonitorArray(&rule.sensors);
  }
  free_rfAESensorMonitorRuleArray(&rules);
}

}  // namespace
