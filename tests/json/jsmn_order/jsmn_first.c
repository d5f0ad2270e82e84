/* A program that uses jsmn.h itself and includes it first shares its token record. */
#define JSMN_PARENT_LINKS
#define JSMN_STATIC
#include <jsmn.h>

#include <commonutilities/jsonparser.h>

static int32_t callback(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                        void *user) {
  jsmn_parser parser;
  jsmntok_t own[8];
  (void)label;
  (void)user;
  jsmn_init(&parser);
  if (jsmn_parse(&parser, json, 2, own, 8) < 0 || count == 0) return 1;
  own[0] = tokens[0];
  return (int)own[0].type == JSON_TOKEN_OBJECT && own[0].parent == -1 ? 0 : 1;
}

int load_with_own_jsmn(void);
int load_with_own_jsmn(void) {
  return parseJsonBuffer("{}", 2, 0, callback, NULL);
}
