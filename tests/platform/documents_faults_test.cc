// Reading platform documents while allocations fail: nothing crashes, and nothing is lost but what
// the lists of file dictionaries lose.
#include <gtest/gtest.h>

#include <string>

#include "include/boardtopology.h"
#include "include/filedictionary.h"
#include "support/faults.hpp"
#include "support/leaks.hpp"
#include "support/records.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;
using cu_test::Give;
using cu_test::MayLeak;
using cu_test::Reach;
using cu_test::ReadText;

/// Reads a document with the k-th allocation failing, and then with every one from the k-th on, for
/// each k.
template <typename Record>
void ReadWithEachAllocationFailing(const std::string &text, rfDeserializeFn read,
                                   void (*release)(Record *)) {
  for (const Reach reach : {Reach::kOnce, Reach::kFromThen}) {
    long k = 1;
    for (bool fired = true; fired; ++k) {
      Record record = {};
      {
        Fault fault(Call::kMemory, k, ENOMEM, reach);
        ReadText(text, read, &record);
        fired = fault.fired();
      }
      release(&record);
    }
    EXPECT_GT(k, 10);
  }
}

TEST(WithoutMemory, ABoardIsReadInPartAndReleasedWhole) {
  ReadWithEachAllocationFailing(
      R"([ { "TopologyName": "t", "platformid": "p", "devicefiles": [ "d", "e" ],
             "AEBus": [ { "Name": "n", "AEBUSSegment": [
               { "segmentpath": "s", "AEDevice": [ { "Name": "n", "ClassID": 1 }, { "Type": "t" } ] },
               { "segmentpath": "s", "AEDevice": [ { "Name": "n" }, { "address": "0x12" } ] } ] },
               { "bus": "b" } ] }, { "TopologyName": "u" } ])",
      deserialize_rfAEBoardTopologyArray, free_rfAEBoardTopologyArray);
}

TEST(WithoutMemory, ASegmentBoardIsReadInPartAndReleasedWhole) {
  ReadWithEachAllocationFailing(
      R"([ { "TopologyName": "t", "AEBusSegment": [ { "segmentpath": "s" }, { "powerstate": "p" } ] },
           { "platformid": "p", "bus": 1 } ])",
      deserialize_rfAEBoardSegmentTopologyArray, free_rfAEBoardSegmentTopologyArray);
}

TEST(WithoutMemory, SensorsAreReadInPartAndReleasedWhole) {
  ReadWithEachAllocationFailing(
      R"([ { "Name": "a", "Type": "b", "Lun": 1 }, { "Name": "c" }, { "Type": "d" } ])",
      deserialize_rfAEBoardTopologyAESensorArray, free_rfAEBoardTopologyAESensorArray);
}

TEST(WithoutMemory, MonitorsAreReadInPartAndReleasedWhole) {
  ReadWithEachAllocationFailing(
      R"([ { "sensorName": "a", "sensorType": "gpio" }, { "sensorName": "b" }, { "id": 3 } ])",
      deserialize_rfAESensorMonitorArray, free_rfAESensorMonitorArray);
}

TEST(WithoutMemory, RulesAreReadInPartAndReleasedWhole) {
  ReadWithEachAllocationFailing(
      R"([ { "enableRule": "a", "disableRule": "b" }, { "enableRule": "c" } ])",
      deserialize_rfAESensorMonitorRuleArray, free_rfAESensorMonitorRuleArray);
}

TEST(WithoutMemory, FileEntriesAreReadInPartAndReleasedWhole) {
  ReadWithEachAllocationFailing(
      R"([ { "filename": [ "a", "b" ], "grouping": [ "c" ], "action": "merge" },
           { "fileNameExclude": [ "d" ] }, { "filename": [ "e" ] } ])",
      deserialize_rfAEFileActionListArray, free_rfAEFileActionListArray);
}

TEST(WithoutMemory, FileDictionariesAreReadInPart) {
  const MayLeak may_leak;  // of the dictionaries read before a failed growth
  ReadWithEachAllocationFailing(
      R"({ "objects": [ { "version": "1", "filelist": [ { "filename": [ "a" ] } ] },
                        { "version": "2", "filelist": [ { "filename": [ "b" ] } ] } ] })",
      deserialize_rfDictionaryArray, free_rfAEFileDictionaryArray);
}

/// Makes a growth from one element to two fail; gives the handler's result.
template <typename Array>
int32_t FailToGrow(Array &array, rfDeserializeFn read, const char *key) {
  EXPECT_EQ(1, Give(read, &array, key, "first"));
  EXPECT_EQ(1U, array.count);
  Fault fault(Call::kMemory, 1);
  const int32_t result = Give(read, &array, key, "second", JSON_TOKEN_STRING, 1);
  EXPECT_TRUE(fault.fired());
  EXPECT_EQ(0U, array.count);
  EXPECT_EQ(nullptr, array.list);
  return result;
}

template <typename Array>
int32_t FailToStart(Array &array, rfDeserializeFn read, const char *key) {
  Fault fault(Call::kMemory, 1);
  const int32_t result = Give(read, &array, key, "first");
  EXPECT_TRUE(fault.fired());
  EXPECT_EQ(0U, array.count);
  EXPECT_EQ(nullptr, array.list);
  return result;
}

TEST(FailedGrowth, ReleasesAnEmptiedListAndGivesZero) {
  // What is not released is reported by the leak detector.
#define EXPECT_EMPTIED(record, key)                                     \
  do {                                                                  \
    record##Array array = {};                                           \
    EXPECT_EQ(0, FailToStart(array, deserialize_##record##Array, key)); \
    EXPECT_EQ(0, FailToGrow(array, deserialize_##record##Array, key));  \
  } while (0)
  EXPECT_EMPTIED(rfAEBoardTopology, "platformid");
  EXPECT_EMPTIED(rfAEBoardSegmentTopology, "platformid");
  EXPECT_EMPTIED(rfAEBoardTopologyAEBus, "Name");
  EXPECT_EMPTIED(rfAEBoardTopologyAEBUSSegment, "segmentpath");
  EXPECT_EMPTIED(rfAEBoardTopologyAEDevice, "Name");
  EXPECT_EMPTIED(rfAEBoardTopologyAESensor, "Name");
  EXPECT_EMPTIED(rfAESensorMonitor, "sensorName");
  EXPECT_EMPTIED(rfAESensorMonitorRule, "enableRule");
#undef EXPECT_EMPTIED
}

TEST(FailedGrowth, ReleasesFileEntries) {
  rfAEFileActionListArray entries = {};
  EXPECT_EQ(0, FailToStart(entries, deserialize_rfAEFileActionListArray, "always"));
  ASSERT_EQ(1, ReadText(R"([ { "filename": [ "a", "b" ] } ])", deserialize_rfAEFileActionListArray,
                        &entries));
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(
      0, Give(deserialize_rfAEFileActionListArray, &entries, "always", "1", JSON_TOKEN_STRING, 1));
  EXPECT_EQ(0U, entries.count);
  EXPECT_EQ(nullptr, entries.list);
}

TEST(FailedGrowth, LosesFileDictionaries) {
  rfAEFileDictionaryArray array = {};
  EXPECT_EQ(0, FailToStart(array, deserialize_rfAEFileDictionaryArray, "version"));
  ASSERT_EQ(1, Give(deserialize_rfAEFileDictionaryArray, &array, "version", "first"));
  rfAEFileDictionaryArray lost = array;
  {
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(0, Give(deserialize_rfAEFileDictionaryArray, &array, "version", "second",
                      JSON_TOKEN_STRING, 1));
  }
  EXPECT_EQ(0U, array.count);
  EXPECT_EQ(nullptr, array.list);
  EXPECT_STREQ("first", lost.list[0].version);  // nobody has freed it, nor will
  free_rfAEFileDictionaryArray(&lost);
}

TEST(Loading, WithoutMemoryForThePathGivesMinusOneAndLeavesTheRecord) {
  rfAEFileDictionary dictionary = {};
  dictionary.version = const_cast<char *>("as it was");
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(-1, ParserJSONFileDictionary("/etc/", "files.json", &dictionary));
  EXPECT_STREQ("as it was", dictionary.version);
}

}  // namespace
