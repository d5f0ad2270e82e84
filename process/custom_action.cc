#include "include/customaction.h"

#include <stddef.h>

#include <type_traits>

#include "json/field_table.hpp"

static_assert(std::is_standard_layout_v<AmbrelJsonCustomAction>);
static_assert(sizeof(void *) != 4 || sizeof(AmbrelJsonCustomAction) == 44);

namespace {

using cu::FieldKind;

constexpr cu::Field kActionFields[] = {
    {"action", FieldKind::kString, offsetof(AmbrelJsonCustomAction, action)},
    {"ExecutionState", FieldKind::kStringArray, offsetof(AmbrelJsonCustomAction, ExecutionState)},
    {"pluginpath", FieldKind::kString, offsetof(AmbrelJsonCustomAction, pluginpath)},
    {"plugin", FieldKind::kString, offsetof(AmbrelJsonCustomAction, plugin)},
    {"methodname", FieldKind::kString, offsetof(AmbrelJsonCustomAction, methodname)},
    {"InputParameterList", deserialize_rfAECommonConfigConfigParamArray,
     offsetof(AmbrelJsonCustomAction, InputParameterList)},
    {"OutputParameterList", deserialize_rfAECommonConfigConfigParamArray,
     offsetof(AmbrelJsonCustomAction, OutputParameterList)},
};

}  // namespace

int32_t deserialize_AmbrelJsonCustomAction(JsonWalkContext *context, int32_t start, int32_t end,
                                           const char *key, uint32_t, void *action) {
  return cu::ReadField(kActionFields, {context, start, end, key}, action);
}

int32_t deserialize_AmbrelJsonCustomActionArray(JsonWalkContext *context, int32_t start,
                                                int32_t end, const char *key, uint32_t index,
                                                void *array) {
  return cu::ReadElementField<AmbrelJsonCustomActionArray>(
      kActionFields, {context, start, end, key}, index, array, free_AmbrelJsonCustomActionArray);
}

// The action's name is not released: daemons keep it.
void free_AmbrelJsonCustomAction(AmbrelJsonCustomAction *action) {
  if (action == nullptr) return;
  free_rfAECommonConfigConfigParamArray(&action->InputParameterList);
  free_rfAECommonConfigConfigParamArray(&action->OutputParameterList);
  free_rfStringArray(&action->ExecutionState);
  free_rfString(action->methodname);
  free_rfString(action->plugin);
  free_rfString(action->pluginpath);
  free_rfString(action->text);
}

void free_AmbrelJsonCustomActionArray(AmbrelJsonCustomActionArray *array) {
  cu::ReleaseList(array, free_AmbrelJsonCustomAction);
}
