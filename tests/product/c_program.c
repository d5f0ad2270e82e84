/* A C99 program that calls every family once: what compiles and links here does so for a daemon. */
#include <commonutilities/commonutilities.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures;

static void expect(int condition, const char *what) {
  if (condition) return;
  fprintf(stderr, "wrong: %s\n", what);
  ++failures;
}

static void text_family(void) {
  TokenList tokens = {0};
  char *text = NULL;
  expect(tokenizeString("a,b", ",", &tokens) == 1 && tokens.count == 2, "tokenizeString");
  FreeTokens(&tokens);
  expect(getDoubleAsString(2, &text, 2.5) != NULL && strcmp(text, "2.50") == 0,
         "getDoubleAsString");
  free(text);
  text = NULL;
  expect(CreateStringWithArgs("%d-%s", &text, 2, 7, "x") == 1 && strcmp(text, "7-x") == 0,
         "CreateStringWithArgs");
  free(text);
}

static void log_family(void) {
  expect(DbgLog_GetEnabledLogger() == NULL && gDBGLogCtrl == NULL, "no logger yet");
  expect(loggingLevelEnabled(DBGLOG_ERROR) == 0, "loggingLevelEnabled");
}

static int32_t count_tokens(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                            void *user) {
  (void)json;
  (void)label;
  expect(tokens[0].type == 1, "the root is an object");
  *(uint32_t *)user = count;
  return 0;
}

static void json_family(void) {
  static const char document[] = "{\"name\":\"fan\"}";
  uint32_t count = 0;
  expect(parseJsonBuffer(document, sizeof document - 1, 0, count_tokens, &count) == 1 && count == 3,
         "parseJsonBuffer");
}

static void config_family(void) {
  rfAECommonConfig config;
  expect(aeloadConfiguration("/nonexistent/config.json", &config) == 0, "aeloadConfiguration");
  aeFreeConfiguration(&config);
}

int main(void) {
  log_family();
  text_family();
  json_family();
  config_family();
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
