// Any text as a custom-action document, and as a single action.
#include <stdint.h>
#include <stdlib.h>

#include "fuzz/walk.hpp"
#include "include/customaction.h"

namespace {

void FreeNames(AmbrelJsonCustomActionArray &actions) {
  // The release leaves them to a daemon.
  for (uint32_t i = 0; i < actions.count; ++i) free(actions.list[i].action);
}

void Read(const cu_fuzz::Document &text) {
  text.ReadList(deserialize_AmbrelJsonCustomActionArray, free_AmbrelJsonCustomActionArray,
                FreeNames);
  text.Read(deserialize_AmbrelJsonCustomAction, free_AmbrelJsonCustomAction,
            [](AmbrelJsonCustomAction &action) { free(action.action); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  cu_fuzz::ReadDocument(data, size, Read);
  return 0;
}
