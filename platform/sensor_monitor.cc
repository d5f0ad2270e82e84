#include "include/boardtopology.h"

#include <stddef.h>

#include "json/field_table.hpp"
#include "json/value_text.hpp"

#ifdef __arm__
static_assert(sizeof(rfAESensorMonitor) == 24);
static_assert(sizeof(rfAESensorMonitorRule) == 16);
#endif

namespace {

using cu::FieldKind;

/// The names of the sensor types, each at its number.
constexpr char kTypeNames[][11] = {"gpio", "ipmisensor"};

/// The first name that agrees with the text as far as the shorter of the two goes.
void ReadSensorType(const char *json, int32_t start, int32_t end, void *field) {
  const auto text = cu::ValueText(json, start, end);
  if (!text) return;
  uint32_t type = SENSOR_TYPE_GPIO;
  while (type < SENSOR_TYPE_UNKNOWN && !cu::AgreeOverShorter(*text, kTypeNames[type])) ++type;
  *static_cast<uint32_t *>(field) = type;
}

constexpr cu::Field kMonitorFields[] = {
    {"sensorType", ReadSensorType, offsetof(rfAESensorMonitor, sensorType)},
    {"sensorName", FieldKind::kString, offsetof(rfAESensorMonitor, sensorName)},
    {"id", FieldKind::kInteger, offsetof(rfAESensorMonitor, id)},
    {"activeLow", FieldKind::kBoolean, offsetof(rfAESensorMonitor, activeLow)},
};

constexpr cu::Field kRuleFields[] = {
    {"enableRule", FieldKind::kString, offsetof(rfAESensorMonitorRule, enableRule)},
    {"disableRule", FieldKind::kString, offsetof(rfAESensorMonitorRule, disableRule)},
    {"sensors", deserialize_rfAESensorMonitorArray, offsetof(rfAESensorMonitorRule, sensors)},
};

}  // namespace

int32_t deserialize_rfAESensorMonitor(JsonWalkContext *context, int32_t start, int32_t end,
                                      const char *key, uint32_t, void *record) {
  return cu::ReadField(kMonitorFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAESensorMonitorArray(JsonWalkContext *context, int32_t start, int32_t end,
                                           const char *key, uint32_t index, void *array) {
  return cu::ReadElementField<rfAESensorMonitorArray>(kMonitorFields, {context, start, end, key},
                                                      index, array, free_rfAESensorMonitorArray);
}

int32_t deserialize_rfAESensorMonitorRule(JsonWalkContext *context, int32_t start, int32_t end,
                                          const char *key, uint32_t, void *record) {
  return cu::ReadField(kRuleFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAESensorMonitorRuleArray(JsonWalkContext *context, int32_t start, int32_t end,
                                               const char *key, uint32_t index, void *array) {
  return cu::ReadElementField<rfAESensorMonitorRuleArray>(
      kRuleFields, {context, start, end, key}, index, array, free_rfAESensorMonitorRuleArray);
}

void free_rfAESensorMonitor(rfAESensorMonitor *record) {
  if (record == nullptr) return;
  free_rfString(record->sensorName);
}

void free_rfAESensorMonitorArray(rfAESensorMonitorArray *array) {
  cu::ReleaseList(array, free_rfAESensorMonitor);
}

// A rule's sensors stay with the daemon.
void free_rfAESensorMonitorRule(rfAESensorMonitorRule *record) {
  if (record == nullptr) return;
  free_rfString(record->enableRule);
  free_rfString(record->disableRule);
}

void free_rfAESensorMonitorRuleArray(rfAESensorMonitorRuleArray *array) {
  cu::ReleaseList(array, free_rfAESensorMonitorRule);
}
