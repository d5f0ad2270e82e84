// Any text as a board topology, a segment topology, a list of sensor-monitor rules, and each of
// their parts.
#include <stdint.h>
#include <stdlib.h>

#include "fuzz/walk.hpp"
#include "include/boardtopology.h"

namespace {

// What the releases leave to a daemon, which may have taken it over.

void Free(rfAEBoardTopologyAEDeviceArray &devices) {
  for (uint32_t i = 0; devices.list != nullptr && i < devices.count; ++i)
    free_rfAEBoardTopologyAESensorArray(&devices.list[i].SensorList);
}

void Free(rfAEBoardTopologyAEBUSSegmentArray &segments) {
  for (uint32_t i = 0; segments.list != nullptr && i < segments.count; ++i) {
    Free(segments.list[i].AEDevice);
    free_rfAEBoardTopologyAESensorArray(&segments.list[i].AESegmentDevice.SensorList);
    free_rfAEBoardTopologyAEDevice(&segments.list[i].AESegmentDevice);
  }
}

void Free(rfAEBoardTopologyAEBusArray &buses) {
  for (uint32_t i = 0; buses.list != nullptr && i < buses.count; ++i)
    Free(buses.list[i].AEBUSSegment);
}

void Free(rfAEBoardTopology &board) {
  Free(board.AEBus);
}

void Free(rfAEBoardSegmentTopology &board) {
  Free(board.AEBusSegment);
}

void Free(rfAESensorMonitorRule &rule) {
  for (uint32_t i = 0; rule.sensors.list != nullptr && i < rule.sensors.count; ++i)
    if (rule.sensors.list[i].sensorType > SENSOR_TYPE_UNKNOWN) abort();
  free_rfAESensorMonitorArray(&rule.sensors);
}

template <typename Array>
void FreeEach(Array &array) {
  for (uint32_t i = 0; array.list != nullptr && i < array.count; ++i) Free(array.list[i]);
}

void Read(const cu_fuzz::Document &text) {
  text.Read(deserialize_rfAEBoardTopology, free_rfAEBoardTopology, [](auto &r) { Free(r); });
  text.Read(deserialize_rfAEBoardSegmentTopology, free_rfAEBoardSegmentTopology,
            [](auto &r) { Free(r); });
  text.Read(deserialize_rfAEBoardTopologyAEBus, free_rfAEBoardTopologyAEBus,
            [](auto &r) { Free(r.AEBUSSegment); });
  text.Read(deserialize_rfAEBoardTopologyAEBUSSegment, free_rfAEBoardTopologyAEBUSSegment,
            [](auto &r) {
              rfAEBoardTopologyAEBUSSegmentArray one = {1, &r};
              Free(one);
            });
  text.Read(deserialize_rfAEBoardTopologyAEDevice, free_rfAEBoardTopologyAEDevice,
            [](auto &r) { free_rfAEBoardTopologyAESensorArray(&r.SensorList); });
  text.Read(deserialize_rfAEBoardTopologyAESensor, free_rfAEBoardTopologyAESensor);
  text.Read(deserialize_rfAESensorMonitor, free_rfAESensorMonitor);
  text.Read(deserialize_rfAESensorMonitorRule, free_rfAESensorMonitorRule,
            [](auto &r) { Free(r); });

  text.ReadList(deserialize_rfAEBoardTopologyArray, free_rfAEBoardTopologyArray,
                [](auto &list) { FreeEach(list); });
  text.ReadList(deserialize_rfAEBoardSegmentTopologyArray, free_rfAEBoardSegmentTopologyArray,
                [](auto &list) { FreeEach(list); });
  text.ReadList(deserialize_rfAEBoardTopologyAEBusArray, free_rfAEBoardTopologyAEBusArray,
                [](auto &list) { Free(list); });
  text.ReadList(deserialize_rfAEBoardTopologyAEBUSSegmentArray,
                free_rfAEBoardTopologyAEBUSSegmentArray, [](auto &list) { Free(list); });
  text.ReadList(deserialize_rfAEBoardTopologyAEDeviceArray, free_rfAEBoardTopologyAEDeviceArray,
                [](auto &list) { Free(list); });
  text.ReadList(deserialize_rfAEBoardTopologyAESensorArray, free_rfAEBoardTopologyAESensorArray);
  text.ReadList(deserialize_rfAESensorMonitorArray, free_rfAESensorMonitorArray);
  text.ReadList(deserialize_rfAESensorMonitorRuleArray, free_rfAESensorMonitorRuleArray,
                [](auto &list) { FreeEach(list); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  cu_fuzz::ReadDocument(data, size, Read);
  return 0;
}
