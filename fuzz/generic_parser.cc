// Any document through the generic parser, with a callback that moves the walk about.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "include/genericparser.h"

namespace {

const uint8_t *g_moves;
size_t g_moves_left;
int g_calls;

ConversionTable g_tables[3];

int Converted(uint32_t value, uint32_t second, uint32_t third, uint32_t first_parameter,
              uint32_t second_parameter) {
  if (value != 1 || second != 2 || third != 3 || first_parameter != second_parameter) abort();
  return 7;
}

/// Tables whose names are pieces of the text; the last is full, and its names are not terminated.
void FillTables(const uint8_t *text, size_t size) {
  g_tables[0].fn = g_tables[2].fn = Converted;
  g_tables[0].count = 4;
  g_tables[2].count = UINT8_MAX;
  for (size_t i = 0; i < 4; ++i) {
    const size_t begin = i * 5 < size ? i * 5 : size;
    const size_t length = size - begin < 1 + i ? size - begin : 1 + i;
    memset(g_tables[0].names[i], 0, sizeof g_tables[0].names[i]);
    if (length != 0) memcpy(g_tables[0].names[i], text + begin, length);
    g_tables[0].first[i] = g_tables[0].second[i] = static_cast<uint32_t>(i);
  }
  static const bool filled = memset(g_tables[2].names, 'x', sizeof g_tables[2].names) != nullptr;
  if (!filled) abort();
}

int Value(const char *, jsmntok_t *tokens, CounterObject *table, uint8_t depth,
          const char *parent_key, const char *key, int32_t *index, uint32_t, void *) {
  getCounterObjectIndex(table, depth, *index);
  if (key != nullptr && strlen(key) > 1000000) abort();
  if (parent_key != nullptr && strlen(parent_key) > 1000000) abort();
  if (g_calls < 16) {
    const int result = callConversionCallback(g_tables, 3, 1, 2, 3, key);
    if (result != 7 && result != 1) abort();
  }
  // Now and then somewhere else, backwards too; in the end straight on, so that the walk ends.
  if (g_moves_left == 0 || ++g_calls > 2000) return 0;
  --g_moves_left;
  const int move = static_cast<int8_t>(*g_moves++);
  if (move > 88 && move <= 96) isBackAtParent(table, depth, tokens[*index].parent + move - 92);
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
  FillTables(data + 1 + moves, size - 1 - moves);
  int record = 0;
  parseJsonBuffer(reinterpret_cast<const char *>(data + 1 + moves),
                  static_cast<uint32_t>(size - 1 - moves), 1, Walk, &record);
  return 0;
}
