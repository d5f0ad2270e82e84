/* Reading a document into records, with nothing in it that reaches a record by mistake. */
#include <commonutilities/rfvalues.h>

#include <inttypes.h>
#include <stdio.h>
#include <string.h>

enum { MAX_FANS = 4 };
struct fan {
  rfString name;
  rfInteger speed;
};

/* Passes over a value: the members of an unknown object would be told as the record's own. */
static int32_t skip(JsonWalkContext *context) {
  context->current += (uint32_t)dump(context->json, &context->tokens[context->current],
                                     context->tokenCount - context->current, 0) -
                      1;
  return 0;
}

static int32_t read_fan(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                        uint32_t index, void *record) {
  struct fan *fans = record;
  if (key == NULL || index >= MAX_FANS) return skip(context);
  /* A key that repeats would lose the first text's memory. */
  if (strcmp(key, "name") == 0 && fans[index].name == NULL)
    return parseRfString(context->json, start, end, &fans[index].name);
  if (strcmp(key, "speed") != 0) return skip(context);
  return parseRfInteger(context->json, start, end, &fans[index].speed);
}

static int32_t read_board(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
                          uint32_t index, void *record) {
  /* Never walk into a value without a key: it may be the array that is being walked. */
  if (key == NULL || strcmp(key, "fans") != 0) return skip(context);
  return processObject(context, key, start, end, index, record, read_fan);
}

static int32_t on_document(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                           void *user) {
  if (json == NULL || count == 0 || (int)tokens[0].type != JSON_TOKEN_OBJECT) return 1;
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  return processObject(&context, label, 0, (int32_t)strlen(json), 0, user, read_board) ? 0 : 1;
}

int main(void) {
  char text[4096];
  FILE *file = fopen("fans.json", "rb");
  const size_t size = file == NULL ? 0 : fread(text, 1, sizeof text, file);
  if (file != NULL) fclose(file);
  struct fan fans[MAX_FANS] = {{NULL, 0}};
  /* From memory, since a malformed document that parseJson() refuses costs a descriptor. */
  if (!parseJsonBuffer(text, (uint32_t)size, 0, on_document, fans)) return 1;
  for (int i = 0; i < MAX_FANS; ++i) {
    if (fans[i].name != NULL) printf("%s runs at %" PRId64 "\n", fans[i].name, fans[i].speed);
    free_rfString(fans[i].name);
  }
  return 0;
}
