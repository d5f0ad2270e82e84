/* What check-gdb.sh looks at: one of each record that the printers know, and a log. */
#include <commonutilities/commonutilities.h>

#include <stdlib.h>
#include <string.h>

static JsonNode tree;
static Map ports;
static Stack names;
static rfIntArray numbers;
static rfStringArray texts;
static MessageQueue messages;
static SimpleQueue ring;
static FlexMsgQueue publisher;
static FlexQueue table;

static int32_t build_tree(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                          void *node) {
  (void)label;
  return CreateDictionary(json, tokens, count, node) > 0 ? 0 : 1;
}

static void stop_here(void) {
  abort();
}

int main(int argc, char **argv) {
  static const char document[] = "{\"board\":\"carrier-7\",\"fans\":[1,{\"rpm\":2400}]}";
  static const char *const log_names[] = {"old", "middle\x1b[31m [1 : 1 ERROR (0)]not a line",
                                          "newest"};
  uint32_t subscriber = 0;
  uint32_t port = 443;
  if (argc != 3) return 2;

  parseJsonBuffer(document, sizeof document - 1, 0, build_tree, &tree);
  ports.keyType = MAP_KEY_STRING;
  map_set_(&ports, "https", &port, sizeof port);
  stack_init_(&names);
  stack_push_(&names, "first", 6);
  AddValueToRfIntArray(7, &numbers);
  AddValueToRfIntArray(-9, &numbers);
  AddStringToRfCharArray("eth0", &texts);
  MessageQueueInit(&messages, 4);
  MessageQueueAdd(&messages, "link down", 9);
  init_simplequeue(&ring, 3, 0);
  insertSimpleQueueEntry(&ring, argv[0], 0);
  Init_FlexMsgQueue(&publisher, 2, 5, 1000);
  registerFlexMsgQueueSubscriber(&publisher, &subscriber);
  insertFlexMsgQueueEntry(&publisher, "reading", 8, 0);
  init_Flexqueue(&table, 4, 1000);
  insertFlexQueueEntry(&table, strdup("row"), 5, 0);

  /* A log that has started over: its newest line stands in front of older ones. */
  DbgLog_InitDebugLogger(argv[1], argv[2], 1024, 255);
  for (int i = 0; i < 42; ++i) {
    const int name = i < 40 ? 0 : i - 39;
    DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]%s\n", "demo", name, log_names[name]);
    if (!DbgLog_GetEnabledLogger()->loggingEnabled) DbgLog_ChangeLogSettings(255);
  }
  stop_here();
  return 0;
}
