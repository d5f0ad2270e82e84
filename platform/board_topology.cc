#include "include/boardtopology.h"

#include <stddef.h>

#include <type_traits>

#include "json/field_table.hpp"

static_assert(std::is_standard_layout_v<rfAEBoardTopology>);
#ifdef __arm__
static_assert(sizeof(rfAEBoardTopology) == 24);
static_assert(sizeof(rfAEBoardSegmentTopology) == 20);
static_assert(sizeof(rfAEBoardTopologyAEBus) == 24);
static_assert(sizeof(rfAEBoardTopologyAEBUSSegment) == 48);
static_assert(sizeof(rfAEBoardTopologyAEDevice) == 28);
static_assert(sizeof(rfAEBoardTopologyAESensor) == 40);
#endif

namespace {

using cu::FieldKind;

constexpr cu::Field kBoardFields[] = {
    {"AEBus", deserialize_rfAEBoardTopologyAEBusArray, offsetof(rfAEBoardTopology, AEBus)},
    {"TopologyName", FieldKind::kString, offsetof(rfAEBoardTopology, TopologyName)},
    {"platformid", FieldKind::kString, offsetof(rfAEBoardTopology, platformid)},
    {"devicefiles", FieldKind::kStringArray, offsetof(rfAEBoardTopology, devicefiles)},
};

constexpr cu::Field kSegmentBoardFields[] = {
    {"AEBusSegment", deserialize_rfAEBoardTopologyAEBUSSegmentArray,
     offsetof(rfAEBoardSegmentTopology, AEBusSegment)},
    {"TopologyName", FieldKind::kString, offsetof(rfAEBoardSegmentTopology, TopologyName)},
    {"platformid", FieldKind::kString, offsetof(rfAEBoardSegmentTopology, platformid)},
    {"bus", FieldKind::kUint32, offsetof(rfAEBoardSegmentTopology, bus)},
};

constexpr cu::Field kBusFields[] = {
    {"AEBUSSegment", deserialize_rfAEBoardTopologyAEBUSSegmentArray,
     offsetof(rfAEBoardTopologyAEBus, AEBUSSegment)},
    {"Name", FieldKind::kString, offsetof(rfAEBoardTopologyAEBus, Name)},
    {"bus", FieldKind::kString, offsetof(rfAEBoardTopologyAEBus, bus)},
    {"id", FieldKind::kUint32, offsetof(rfAEBoardTopologyAEBus, id)},
    {"protocol", FieldKind::kString, offsetof(rfAEBoardTopologyAEBus, protocol)},
};

constexpr cu::Field kSegmentFields[] = {
    {"AEDevice", deserialize_rfAEBoardTopologyAEDeviceArray,
     offsetof(rfAEBoardTopologyAEBUSSegment, AEDevice)},
    {"AESegmentDevice", deserialize_rfAEBoardTopologyAEDevice,
     offsetof(rfAEBoardTopologyAEBUSSegment, AESegmentDevice)},
    {"aebusid", FieldKind::kUint32, offsetof(rfAEBoardTopologyAEBUSSegment, aebusid)},
    {"segmentpath", FieldKind::kString, offsetof(rfAEBoardTopologyAEBUSSegment, segmentpath)},
    {"powerstate", FieldKind::kString, offsetof(rfAEBoardTopologyAEBUSSegment, powerstate)},
};

constexpr cu::Field kDeviceFields[] = {
    {"ClassID", FieldKind::kUint16, offsetof(rfAEBoardTopologyAEDevice, ClassID)},
    {"InstanceID", FieldKind::kUint16, offsetof(rfAEBoardTopologyAEDevice, InstanceID)},
    {"Name", FieldKind::kString, offsetof(rfAEBoardTopologyAEDevice, Name)},
    {"Type", FieldKind::kString, offsetof(rfAEBoardTopologyAEDevice, Type)},
    {"address", FieldKind::kHexUint8, offsetof(rfAEBoardTopologyAEDevice, address)},
    {"length", FieldKind::kUint8, offsetof(rfAEBoardTopologyAEDevice, length)},
    {"value", FieldKind::kUint32, offsetof(rfAEBoardTopologyAEDevice, value)},
    {"SensorList", deserialize_rfAEBoardTopologyAESensorArray,
     offsetof(rfAEBoardTopologyAEDevice, SensorList)},
};

constexpr cu::Field kSensorFields[] = {
    {"ClassID", FieldKind::kUint16, offsetof(rfAEBoardTopologyAESensor, ClassID)},
    {"InstanceID", FieldKind::kUint16, offsetof(rfAEBoardTopologyAESensor, InstanceID)},
    {"Name", FieldKind::kString, offsetof(rfAEBoardTopologyAESensor, Name)},
    {"Type", FieldKind::kString, offsetof(rfAEBoardTopologyAESensor, Type)},
    {"Lun", FieldKind::kInteger, offsetof(rfAEBoardTopologyAESensor, Lun)},
    {"Sensorid", FieldKind::kInteger, offsetof(rfAEBoardTopologyAESensor, Sensorid)},
    {"Cacheable", FieldKind::kBoolean, offsetof(rfAEBoardTopologyAESensor, Cacheable)},
    {"DisableOnUpdate", FieldKind::kBoolean, offsetof(rfAEBoardTopologyAESensor, DisableOnUpdate)},
};

}  // namespace

int32_t deserialize_rfAEBoardTopology(JsonWalkContext *context, int32_t start, int32_t end,
                                      const char *key, uint32_t, void *record) {
  return cu::ReadField(kBoardFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAEBoardTopologyArray(JsonWalkContext *context, int32_t start, int32_t end,
                                           const char *key, uint32_t index, void *array) {
  return cu::ReadElementField<rfAEBoardTopologyArray>(kBoardFields, {context, start, end, key},
                                                      index, array, free_rfAEBoardTopologyArray);
}

int32_t deserialize_rfAEBoardSegmentTopology(JsonWalkContext *context, int32_t start, int32_t end,
                                             const char *key, uint32_t, void *record) {
  return cu::ReadField(kSegmentBoardFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAEBoardSegmentTopologyArray(JsonWalkContext *context, int32_t start,
                                                  int32_t end, const char *key, uint32_t index,
                                                  void *array) {
  return cu::ReadElementField<rfAEBoardSegmentTopologyArray>(
      kSegmentBoardFields, {context, start, end, key}, index, array,
      free_rfAEBoardSegmentTopologyArray);
}

int32_t deserialize_rfAEBoardTopologyAEBus(JsonWalkContext *context, int32_t start, int32_t end,
                                           const char *key, uint32_t, void *record) {
  return cu::ReadField(kBusFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAEBoardTopologyAEBusArray(JsonWalkContext *context, int32_t start,
                                                int32_t end, const char *key, uint32_t index,
                                                void *array) {
  return cu::ReadElementField<rfAEBoardTopologyAEBusArray>(
      kBusFields, {context, start, end, key}, index, array, free_rfAEBoardTopologyAEBusArray);
}

int32_t deserialize_rfAEBoardTopologyAEBUSSegment(JsonWalkContext *context, int32_t start,
                                                  int32_t end, const char *key, uint32_t,
                                                  void *record) {
  return cu::ReadField(kSegmentFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAEBoardTopologyAEBUSSegmentArray(JsonWalkContext *context, int32_t start,
                                                       int32_t end, const char *key, uint32_t index,
                                                       void *array) {
  return cu::ReadElementField<rfAEBoardTopologyAEBUSSegmentArray>(
      kSegmentFields, {context, start, end, key}, index, array,
      free_rfAEBoardTopologyAEBUSSegmentArray);
}

int32_t deserialize_rfAEBoardTopologyAEDevice(JsonWalkContext *context, int32_t start, int32_t end,
                                              const char *key, uint32_t, void *record) {
  return cu::ReadField(kDeviceFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAEBoardTopologyAEDeviceArray(JsonWalkContext *context, int32_t start,
                                                   int32_t end, const char *key, uint32_t index,
                                                   void *array) {
  return cu::ReadElementField<rfAEBoardTopologyAEDeviceArray>(
      kDeviceFields, {context, start, end, key}, index, array, free_rfAEBoardTopologyAEDeviceArray);
}

int32_t deserialize_rfAEBoardTopologyAESensor(JsonWalkContext *context, int32_t start, int32_t end,
                                              const char *key, uint32_t, void *record) {
  return cu::ReadField(kSensorFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAEBoardTopologyAESensorArray(JsonWalkContext *context, int32_t start,
                                                   int32_t end, const char *key, uint32_t index,
                                                   void *array) {
  return cu::ReadElementField<rfAEBoardTopologyAESensorArray>(
      kSensorFields, {context, start, end, key}, index, array, free_rfAEBoardTopologyAESensorArray);
}

// The releases are partial where the header says so: a device's sensors and a segment's own device
// stay with the daemon, which may have taken them over.

void free_rfAEBoardTopology(rfAEBoardTopology *record) {
  if (record == nullptr) return;
  free_rfAEBoardTopologyAEBusArray(&record->AEBus);
  free_rfString(record->TopologyName);
  free_rfString(record->platformid);
  free_rfStringArray(&record->devicefiles);
}

void free_rfAEBoardTopologyArray(rfAEBoardTopologyArray *array) {
  cu::ReleaseList(array, free_rfAEBoardTopology);
}

void free_rfAEBoardSegmentTopology(rfAEBoardSegmentTopology *record) {
  if (record == nullptr) return;
  free_rfAEBoardTopologyAEBUSSegmentArray(&record->AEBusSegment);
  free_rfString(record->TopologyName);
  free_rfString(record->platformid);
}

void free_rfAEBoardSegmentTopologyArray(rfAEBoardSegmentTopologyArray *array) {
  cu::ReleaseList(array, free_rfAEBoardSegmentTopology);
}

void free_rfAEBoardTopologyAEBus(rfAEBoardTopologyAEBus *record) {
  if (record == nullptr) return;
  free_rfAEBoardTopologyAEBUSSegmentArray(&record->AEBUSSegment);
  free_rfString(record->Name);
  free_rfString(record->bus);
  free_rfString(record->protocol);
}

void free_rfAEBoardTopologyAEBusArray(rfAEBoardTopologyAEBusArray *array) {
  cu::ReleaseList(array, free_rfAEBoardTopologyAEBus);
}

void free_rfAEBoardTopologyAEBUSSegment(rfAEBoardTopologyAEBUSSegment *record) {
  if (record == nullptr) return;
  free_rfAEBoardTopologyAEDeviceArray(&record->AEDevice);
  free_rfString(record->segmentpath);
  free_rfString(record->powerstate);
}

void free_rfAEBoardTopologyAEBUSSegmentArray(rfAEBoardTopologyAEBUSSegmentArray *array) {
  cu::ReleaseList(array, free_rfAEBoardTopologyAEBUSSegment);
}

void free_rfAEBoardTopologyAEDevice(rfAEBoardTopologyAEDevice *record) {
  if (record == nullptr) return;
  free_rfString(record->Name);
  free_rfString(record->Type);
}

void free_rfAEBoardTopologyAEDeviceArray(rfAEBoardTopologyAEDeviceArray *array) {
  cu::ReleaseList(array, free_rfAEBoardTopologyAEDevice);
}

void free_rfAEBoardTopologyAESensor(rfAEBoardTopologyAESensor *record) {
  if (record == nullptr) return;
  free_rfString(record->Name);
  free_rfString(record->Type);
}

void free_rfAEBoardTopologyAESensorArray(rfAEBoardTopologyAESensorArray *array) {
  cu::ReleaseList(array, free_rfAEBoardTopologyAESensor);
}
