/* Asking a document of unknown shape: paths through objects, and elements of arrays. */
#include <commonutilities/jsonnode.h>

#include <stdio.h>
#include <string.h>

static const char DOCUMENT[] =
    "{ \"board\": { \"name\": \"carrier-7\", \"serial\": 1042,"
    "  \"rails\": [ { \"name\": \"3V3\", \"state\": \"ok\" },"
    "               { \"name\": \"12V\", \"state\": \"failed\" } ],"
    "  \"slots\": [ 4, 7, 9 ] } }";

/* The tree keeps copies, so it outlives the text and its tokens. */
static int32_t build(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                     void *root) {
  (void)label;
  return json != NULL && CreateDictionary(json, tokens, count, root) > 0 ? 0 : 1;
}

/* The text at a path, or a default: what a document lacks must not end the daemon. */
static const char *text_at(JsonNode *root, const char *path, const char *otherwise) {
  JsonNode *node = NULL;
  if (!AmbrelFindJsonNode(root, path, NULL, &node)) return otherwise;
  const char *text = AmbrelGetValueFromElement(node);
  return text != NULL ? text : otherwise;
}

int main(void) {
  JsonNode root;
  memset(&root, 0, sizeof root);
  if (!parseJsonBuffer(DOCUMENT, sizeof DOCUMENT - 1, 0, build, &root)) return 1;
  printf("board %s, serial %s, owner %s\n", text_at(&root, "board/name", "?"),
         text_at(&root, "board/serial", "?"), text_at(&root, "board/owner", "nobody"));

  /* A path goes through objects alone; from an array on, it is a walk. */
  JsonNode *rails = NULL;
  uint32_t cursor = 0;
  JsonNode *rail;
  if (AmbrelFindJsonNode(&root, "board/rails", NULL, &rails))
    while ((rail = AmbrelGetNextElementInArray(rails, &cursor)) != NULL)
      if (strcmp(text_at(rail, "state", "unknown"), "ok") != 0)
        printf("rail %s is %s\n", text_at(rail, "name", "?"), text_at(rail, "state", "unknown"));

  JsonNode *slots = NULL;
  if (AmbrelFindJsonNode(&root, "board/slots", NULL, &slots))
    printf("slot 7 is %s\n", AmbrelFindElementInArray(slots, "", "7") != NULL ? "used" : "free");

  AmbrelFreeJsonNode(&root);
  return 0;
}
