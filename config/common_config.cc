#include "include/commonconfig.h"

#include <stddef.h>
#include <stdlib.h>

#include <type_traits>

#include "json/field_table.hpp"

static_assert(std::is_standard_layout_v<rfAECommonConfig>);
static_assert(offsetof(rfAECommonConfig, ConfigObj) == 0);
static_assert(offsetof(rfAECommonConfigConfigObj, ConfigParam) == 0);
#ifdef __arm__
static_assert(sizeof(rfAECommonConfig) == 32 && offsetof(rfAECommonConfig, logFileSize) == 24);
static_assert(sizeof(rfAECommonConfigConfigObj) == 12);
static_assert(sizeof(rfAECommonConfigConfigParam) == 24);
static_assert(offsetof(rfAECommonConfigConfigParam, type) == 8);
#endif

namespace {

using cu::FieldKind;

/// The type goes into the lower half of its word.
void ReadType(const char *json, int32_t start, int32_t end, void *field) {
  uint64_t &type = *static_cast<uint64_t *>(field);
  uint32_t low = static_cast<uint32_t>(type);
  dataTypeToEnum(json, start, end, &low);
  type = (type & ~uint64_t{UINT32_MAX}) | low;
}

constexpr cu::Field kParamFields[] = {
    {"parameterName", FieldKind::kString, offsetof(rfAECommonConfigConfigParam, parameterName)},
    {"parameterValue", FieldKind::kString, offsetof(rfAECommonConfigConfigParam, parameterValue)},
    {"type", ReadType, offsetof(rfAECommonConfigConfigParam, type)},
};

constexpr cu::Field kGroupFields[] = {
    {"ConfigParam", deserialize_rfAECommonConfigConfigParamArray,
     offsetof(rfAECommonConfigConfigObj, ConfigParam)},
    {"parameterGroup", FieldKind::kString, offsetof(rfAECommonConfigConfigObj, parameterGroup)},
};

constexpr cu::Field kConfigFields[] = {
    {"ConfigObj", deserialize_rfAECommonConfigConfigObjArray,
     offsetof(rfAECommonConfig, ConfigObj)},
    {"ipcName", FieldKind::kString, offsetof(rfAECommonConfig, ipcName)},
    {"logCtrlFile", FieldKind::kString, offsetof(rfAECommonConfig, logCtrlFile)},
    {"logfile", FieldKind::kString, offsetof(rfAECommonConfig, logfile)},
    {"logFileSize", FieldKind::kInteger, offsetof(rfAECommonConfig, logFileSize)},
};

}  // namespace

int32_t aeloadConfiguration(const char *path, rfAECommonConfig *config) {
  if (path == nullptr || config == nullptr) return 0;
  *config = {};
  return parseJson(path, "config", ProcessDecoderDefinitions, config);
}

void aeFreeConfiguration(rfAECommonConfig *config) {
  free_rfAECommonConfig(config);
}

int32_t ProcessDecoderDefinitions(const char *json, jsmntok_t *tokens, const char *label,
                                  uint32_t tokenCount, void *config) {
  return cu::WalkDocument(json, tokens, label, tokenCount, config, deserialize_rfAECommonConfig);
}

int32_t deserialize_rfAECommonConfig(JsonWalkContext *context, int32_t start, int32_t end,
                                     const char *key, uint32_t, void *config) {
  return cu::ReadField(kConfigFields, {context, start, end, key}, config);
}

int32_t deserialize_rfAECommonConfigArray(JsonWalkContext *context, int32_t start, int32_t end,
                                          const char *key, uint32_t index, void *array) {
  return cu::ReadElementField<rfAECommonConfigArray>(kConfigFields, {context, start, end, key},
                                                     index, array);
}

int32_t deserialize_rfAECommonConfigConfigObj(JsonWalkContext *context, int32_t start, int32_t end,
                                              const char *key, uint32_t, void *group) {
  return cu::ReadField(kGroupFields, {context, start, end, key}, group);
}

int32_t deserialize_rfAECommonConfigConfigObjArray(JsonWalkContext *context, int32_t start,
                                                   int32_t end, const char *key, uint32_t index,
                                                   void *array) {
  return cu::ReadElementField<rfAECommonConfigConfigObjArray>(
      kGroupFields, {context, start, end, key}, index, array);
}

int32_t deserialize_rfAECommonConfigConfigParam(JsonWalkContext *context, int32_t start,
                                                int32_t end, const char *key, uint32_t,
                                                void *param) {
  return cu::ReadField(kParamFields, {context, start, end, key}, param);
}

int32_t deserialize_rfAECommonConfigConfigParamArray(JsonWalkContext *context, int32_t start,
                                                     int32_t end, const char *key, uint32_t index,
                                                     void *array) {
  return cu::ReadElementField<rfAECommonConfigConfigParamArray>(
      kParamFields, {context, start, end, key}, index, array);
}

void free_rfAECommonConfig(rfAECommonConfig *config) {
  if (config == nullptr) return;
  free_rfAECommonConfigConfigObjArray(&config->ConfigObj);
  free(config->ipcName);
  free(config->logCtrlFile);
  free(config->logfile);
}

void free_rfAECommonConfigArray(rfAECommonConfigArray *array) {
  cu::ReleaseList(array, free_rfAECommonConfig);
}

void free_rfAECommonConfigConfigObj(rfAECommonConfigConfigObj *group) {
  if (group == nullptr) return;
  free_rfAECommonConfigConfigParamArray(&group->ConfigParam);
  free(group->parameterGroup);
}

void free_rfAECommonConfigConfigObjArray(rfAECommonConfigConfigObjArray *array) {
  cu::ReleaseList(array, free_rfAECommonConfigConfigObj);
}

void free_rfAECommonConfigConfigParam(rfAECommonConfigConfigParam *param) {
  if (param == nullptr) return;
  free(param->parameterName);
  free(param->parameterValue);
}

void free_rfAECommonConfigConfigParamArray(rfAECommonConfigConfigParamArray *array) {
  cu::ReleaseList(array, free_rfAECommonConfigConfigParam);
}
