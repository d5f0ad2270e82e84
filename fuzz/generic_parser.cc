// Any document through the generic parser, with a callback that moves the walk about.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "include/genericparser.h"

namespace {

const uint8_t *g_moves;
size_t g_moves_left;
int g_calls;

int Value(const char *, jsmntok_t *, CounterObject *table, uint8_t depth, const char *parent_key,
          const char *key, int32_t *index, uint32_t, void *) {
  getCounterObjectIndex(table, depth, *index);
  if (key != nullptr && strlen(key) > 1000000) abort();
  if (parent_key != nullptr && strlen(parent_key) > 1000000) abort();
  // Now and then somewhere else, backwards too; in the end straight on, so that the walk ends.
  if (g_moves_left == 0 || ++g_calls > 2000) return 0;
  --g_moves_left;
  const int move = static_cast<int8_t>(*g_moves++);
  if (move > 96) *index += move - 96;
  if (move < -120) *index -= -120 - move;
  return 0;
}

void *Next(void *record) {
  return record;
}

int32_t Walk(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *user) {
  return GenericParser(json, tokens, "label", static_cast<int32_t>(count), user, Next, Value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const size_t moves = data[0] % size;
  g_moves = data + 1;
  g_moves_left = moves;
  g_calls = 0;
  int record = 0;
  parseJsonBuffer(reinterpret_cast<const char *>(data + 1 + moves),
                  static_cast<uint32_t>(size - 1 - moves), 1, Walk, &record);
  return 0;
}
