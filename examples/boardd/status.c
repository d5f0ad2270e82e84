#include "status.h"

#include <commonutilities/jsonnode.h>
#include <commonutilities/jsonparser.h>
#include <commonutilities/jsonwriter.h>

#include <string.h>

/* The writer escapes nothing: only texts without quotes, backslashes and control characters may go
 * into a document. */
static int is_plain(const char *text) {
  for (; *text != '\0'; ++text)
    if (*text == '"' || *text == '\\' || (unsigned char)*text < 0x20) return 0;
  return 1;
}

int status_write(const char *path, const struct settings *settings, struct readings *readings,
                 const struct rules *rules) {
  JsonBox box = {0};
  JsonStartObject(NULL, &box);
  JsonAddStringElement(&box, "board",
                       is_plain(settings->board_name) ? settings->board_name : "unnamed");
  JsonAddUnsignedIntegerElement(&box, "serial", settings->serial);
  JsonAddBooleanElement(&box, "fanControl", settings->fan_control);
  JsonStartObject("thermal", &box);
  JsonAddFloatElement(&box, "warn", 1, settings->warn_temperature);
  JsonStartArray("sensors", &box);
  for (int i = 0; i < READINGS_SENSORS; ++i)
    JsonAddFloatElement(&box, NULL, 2, (float)readings_last(readings, i));
  JsonEndArray(&box);
  JsonEndObject(&box);
  JsonStartObject("rules", &box);
  for (unsigned i = 0; i < rules->count; ++i)
    if (is_plain(rules->rules[i].name))
      JsonAddFloatElement(&box, rules->rules[i].name, 3, (float)rules->rules[i].value);
  JsonEndObject(&box);
  JsonEndObject(&box);
  JsonFinalize(&box);

  FILE *file = box.data == NULL ? NULL : fopen(path, "w");
  int ok = file != NULL && fprintf(file, "%s\n", box.data) > 0;
  if (file != NULL && fclose(file) != 0) ok = 0;
  JsonFreeBox(&box);
  return ok ? 0 : -1;
}

static int32_t build_tree(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                          void *root) {
  (void)label;
  return json != NULL && CreateDictionary(json, tokens, count, root) > 0 ? 0 : 1;
}

int status_query(FILE *out, const char *path, const char *const *queries, int count) {
  JsonNode root;
  memset(&root, 0, sizeof root);
  if (!parseJson(path, "status", build_tree, &root)) return -1;
  int missing = 0;
  for (int i = 0; i < count; ++i) {
    JsonNode *node = NULL;
    if (!AmbrelFindJsonNode(&root, queries[i], NULL, &node)) {
      fprintf(out, "    %-24s is missing\n", queries[i]);
      ++missing;
      continue;
    }
    const char *value = AmbrelGetValueFromElement(node);
    if (value != NULL) {
      fprintf(out, "    %-24s %s\n", queries[i], value);
      continue;
    }
    fprintf(out, "    %-24s", queries[i]);
    uint32_t cursor = 0;
    const JsonNode *element;
    while ((element = AmbrelGetNextElementInArray(node, &cursor)) != NULL)
      fprintf(out, " %s", AmbrelGetValueFromElement(element));
    fprintf(out, "\n");
  }
  AmbrelFreeJsonNode(&root);
  return missing == 0 ? 0 : -1;
}
