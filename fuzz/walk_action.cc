// Any text as a custom-action document.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "include/customaction.h"

namespace {

int32_t Read(const char *json, jsmntok_t *tokens, const char *label, uint32_t count, void *record) {
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  processObject(&context, label, 0, static_cast<int32_t>(strlen(json)), 0, record,
                deserialize_AmbrelJsonCustomActionArray);
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  AmbrelJsonCustomActionArray actions = {};
  parseJsonBuffer(reinterpret_cast<const char *>(data), static_cast<uint32_t>(size), 1, Read,
                  &actions);
  for (uint32_t i = 0; i < actions.count; ++i) free(actions.list[i].action);
  free_AmbrelJsonCustomActionArray(&actions);
  return 0;
}
