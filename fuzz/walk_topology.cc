// Any text as a board topology, a segment topology and a list of sensor-monitor rules.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "include/boardtopology.h"

namespace {

rfDeserializeFn g_root;

int32_t Read(const char *json, jsmntok_t *tokens, const char *label, uint32_t count, void *record) {
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  processObject(&context, label, 0, static_cast<int32_t>(strlen(json)), 0, record, g_root);
  return 0;
}

void ReadAs(rfDeserializeFn root, const uint8_t *data, size_t size, void *record) {
  g_root = root;
  parseJsonBuffer(reinterpret_cast<const char *>(data), static_cast<uint32_t>(size), 1, Read,
                  record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  rfAEBoardTopology board = {};
  ReadAs(deserialize_rfAEBoardTopology, data, size, &board);
  free_rfAEBoardTopology(&board);

  rfAEBoardSegmentTopology segments = {};
  ReadAs(deserialize_rfAEBoardSegmentTopology, data, size, &segments);
  free_rfAEBoardSegmentTopology(&segments);

  rfAESensorMonitorRuleArray rules = {};
  ReadAs(deserialize_rfAESensorMonitorRuleArray, data, size, &rules);
  free_rfAESensorMonitorRuleArray(&rules);
  return 0;
}
