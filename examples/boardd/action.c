#include "action.h"

#include <commonutilities/customaction.h>
#include <commonutilities/jsonparser.h>

#include <stdlib.h>
#include <string.h>

static int32_t read_action(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                           void *record) {
  if (json == NULL) return 1;
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  processObject(&context, label, 0, (int32_t)strlen(json), 0, record,
                deserialize_AmbrelJsonCustomAction);
  return 0;
}

int action_run(FILE *out, const char *document) {
  AmbrelJsonCustomAction action;
  memset(&action, 0, sizeof action);
  if (!parseJson(document, "action", read_action, &action)) return -1;

  /* The document names the library that runs in this process: it must come from a trusted place. */
  rfAECommonConfigConfigParamArray output = {0, NULL};
  const uint32_t result = executeAmbrelCustomAction(&action, 1, 1, &output);
  fprintf(out, "    %s gave %u\n", action.action, result);
  for (uint32_t i = 0; i < output.count; ++i)
    fprintf(out, "    %-16s %s\n", output.list[i].parameterName, output.list[i].parameterValue);

  free_rfAECommonConfigConfigParamArray(&output);
  free(action.action); /* the release leaves the name to us */
  free_AmbrelJsonCustomAction(&action);
  return result != 0 ? 0 : -1;
}
