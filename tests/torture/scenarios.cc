#include "torture/scenarios.hpp"

#include <fcntl.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>

#include "include/commonutilities.h"
#include "support/files.hpp"
#include "support/records.hpp"

namespace cu_test {
namespace {

const std::string kDocuments = EXAMPLE_DOCUMENTS;

/// What a call gave, for the text of a scenario; takes over heap strings.
class Results {
 public:
  Results &operator<<(long long number) {
    text_ += std::to_string(number) + ' ';
    return *this;
  }
  Results &operator<<(const char *text) {
    text_ += text == nullptr ? "null " : std::string(text) + ' ';
    return *this;
  }
  /// Adds a heap string and frees it.
  Results &Take(char *text) {
    *this << text;
    free(text);
    return *this;
  }
  const std::string &text() const { return text_; }

 private:
  std::string text_;
};

/// Memory that free() accepts and no fault takes away.
void *Data(const void *bytes, size_t size) {
  void *data = nullptr;
  if (posix_memalign(&data, sizeof(void *), size) != 0) abort();
  memcpy(data, bytes, size);
  return data;
}

// --- text
// -----------------------------------------------------------------------------------------

std::string Words(int count) {
  std::string words;
  for (int i = 0; i < count; ++i) words += "word " + std::to_string(i) + ",";
  return words;
}

std::string Tokens(const std::string &) {
  Results results;
  TokenList tokens = {};
  results << tokenizeString(Words(120).c_str(), ",", &tokens);
  results << tokenizeStringWithNoSpaces(Words(120).c_str(), ",", &tokens);
  if (tokens.tokens != nullptr && tokens.count > 130) results << tokens.tokens[130];
  FreeTokens(&tokens);
  return results.text();
}

std::string Paths(const std::string &) {
  Results results;
  results.Take(joinPath("/etc", "hosts")).Take(concatStrings("a", "b"));
  results.Take(toLower("UPPER")).Take(get_until("key=value", "="));
  results.Take(ambrelCloneString("clone", 5)).Take(AmbrelSetStringValue("set"));
  results << str_ncontains("Haystack", "STACK");
  results.Take(createAmbrelFileToOpen("/var/", "file"));
  return results.text();
}

std::string Numbers(const std::string &) {
  Results results;
  for (const int value : {0, -7, 123456789}) {
    char *text = nullptr;
    results << getIntegerAsString(value, &text);
    free(text);
    results << getUnsignedIntegerAsString(7u, &text);
    free(text);
    results << getLongAsString(value, &text);
    free(text);
    results << getUnsignedLongAsString(1u, &text);
    free(text);
    results << getShortAsString(-3, &text);
    free(text);
    results << getUnsignedShortAsString(3, &text);
    free(text);
    results << getInteger8AsString(-8, &text);
    free(text);
    results << getUnsignedInteger8AsStringPad(8, &text);
    free(text);
    results << getBooleanAsString(1, &text);
    free(text);
    results << getFloatAsString(3, &text, 2.5F);
    free(text);
    results << getDoubleAsString(3, &text, 1e300);
    free(text);
    results << getDoubleAsIntOrDoubleString(3, &text, value);
    free(text);
  }
  return results.text();
}

std::string Bytes(const std::string &) {
  Results results;
  char *text = nullptr;
  results << convertByteArraytoString("bytes", 5, &text);
  results.Take(text);
  uint8_t *bytes = nullptr;
  uint32_t length = 0;
  results << convertStringToByteArray("text", &bytes, &length) << length;
  free(bytes);
  BufferBox box = {};
  for (int i = 0; i < 60; ++i) results << AddDataToBufferBox(&box, "0123456789", 10);
  results << box.length;
  free(box.data);
  return results.text();
}

int Format(char **out, const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int length = ambrel_vsnprintf(format, args, out);
  va_end(args);
  return length;
}

std::string Templates(const std::string &) {
  Results results;
  char *text = nullptr;
  results << CreateStringWithArgs("%d and %s, %f %x %c %%", &text, 4, 5, "text", 2.5, 1);
  results.Take(text);
  text = nullptr;
  const NamedArg args[] = {{"name", "fan"}, {"unit", "rpm"}};
  results << ambrel_createstring_namedargs("{name} in {unit}, {other}", 2, args, &text);
  results.Take(text);
  text = nullptr;
  results << Format(&text, "%s %d", std::string(3000, 'x').c_str(), 7);
  free(text);
  text = nullptr;
  results << aeCreateTemporaryName("tmp-", 8, &text);
  free(text);
  return results.text();
}

// --- JSON
// -----------------------------------------------------------------------------------------

int32_t CountTokens(const char *, jsmntok_t *, const char *, uint32_t count, void *user) {
  *static_cast<uint32_t *>(user) = count;
  return 0;
}

constexpr const char *kNames[] = {"boardd.json", "monitor.json", "filedictionary.json",
                                  "action.json"};

std::string ParsedFiles(const std::string &) {
  Results results;
  for (const char *const name : kNames) {
    uint32_t count = 0;
    results << parseJson((kDocuments + "/" + name).c_str(), "label", CountTokens, &count) << count;
  }
  return results.text();
}

std::string ParsedBuffers(const std::string &) {
  Results results;
  for (const char *const name : kNames) {
    const std::string text = ReadFile(kDocuments + "/" + name);
    uint32_t count = 0;
    results << parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, CountTokens,
                               &count)
            << count;
  }
  return results.text();
}

int32_t BuildTree(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *user) {
  auto &results = *static_cast<Results *>(user);
  JsonNode root = {};
  results << CreateDictionary(json, tokens, count, &root);
  JsonNode *node = nullptr;
  results << AmbrelFindJsonNode(&root, "filelist", nullptr, &node);
  results << AmbrelFindJsonNode(&root, "thermal/warnTemperature/parameterValue", "78.5", &node);
  uint32_t cursor = 0;
  if (node != nullptr) {
    while (AmbrelGetNextElementInArray(node, &cursor) != nullptr) results << cursor;
  }
  results << AmbrelFreeJsonNode(&root);
  return 0;
}

template <int kDocument>
std::string Tree(const std::string &) {
  const std::string text = ReadFile(kDocuments + "/" + kNames[kDocument]);
  Results results;
  results << parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, BuildTree,
                             &results);
  return results.text();
}

std::string WideTree(const std::string &) {
  std::string text = "{";
  for (int i = 0; i < 60; ++i) {
    const std::string number = std::to_string(i);
    text += "\"key" + number + "\":{\"list\":[" + number + ",\"" + number + "\"]},";
  }
  text.back() = '}';
  Results results;
  results << parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, BuildTree,
                             &results);
  return results.text();
}

std::string TypedValues(const std::string &) {
  Results results;
  const uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  for (uint32_t type = JSON_TYPE_UINT8; type <= JSON_TYPE_HEX; ++type) {
    JsonTypedValue value = {}, array = {}, other = {};
    char *text = nullptr;
    results << aeConvertDataBytesToJsonDataType(type, bytes, sizeof bytes, &value);
    results << getJsonDataTypeAsString(&value, &text);
    free(text);
    results << aeStoreJsonDataTypeInAEByteArray(&value, &array);
    free(array.value.bytes);
    if (type == JSON_TYPE_STRING || type == JSON_TYPE_HEX) {
      results << aeConvertJsonDateTypeToJsonDataType(&value, type, &other);
      if (other.type == JSON_TYPE_STRING || other.type == JSON_TYPE_HEX) free(other.value.bytes);
      free(value.value.bytes);
    }
  }
  return results.text();
}

std::string NodeValues(const std::string &) {
  const std::string text = ReadFile(kDocuments + "/monitor.json");
  Results results;
  results << parseJsonBuffer(
      text.data(), static_cast<uint32_t>(text.size()), 0,
      [](const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *user) {
        auto &values = *static_cast<Results *>(user);
        JsonNode root = {};
        values << CreateDictionary(json, tokens, count, &root);
        uint32_t cursor = 0;
        while (JsonNode *const rule = AmbrelGetNextElementInArray(&root, &cursor)) {
          JsonNode *node = nullptr;
          if (AmbrelFindJsonNode(rule, "enableRule", nullptr, &node) != 0) {
            values << AmbrelGetValueFromElement(node);
          }
        }
        return AmbrelFreeJsonNode(&root) - 1;
      },
      &results);
  return results.text();
}

std::string DeepTree(const std::string &) {
  std::string text;
  for (int i = 0; i < 60; ++i) text += R"({"x":[1,)";
  text += "2";
  for (int i = 0; i < 60; ++i) text += "]}";
  Results results;
  results << parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, BuildTree,
                             &results);
  return results.text();
}

int32_t WalkGenerically(const char *json, jsmntok_t *tokens, const char *, uint32_t count,
                        void *user) {
  GenericParser(
      json, tokens, "label", static_cast<int32_t>(count), user, [](void *record) { return record; },
      [](const char *, jsmntok_t *, CounterObject *, uint8_t depth, const char *, const char *key,
         int32_t *, uint32_t element, void *record) {
        *static_cast<Results *>(record) << depth << key << element;
        return 0;
      });
  return 0;
}

std::string GenericWalk(const std::string &) {
  Results results;
  for (const char *const name : kNames) {
    const std::string text = ReadFile(kDocuments + "/" + name);
    parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, WalkGenerically, &results);
  }
  return results.text();
}

std::string WrittenDocument(const std::string &) {
  Results results;
  JsonBox box = {};
  results << JsonStartObject(nullptr, &box);
  for (int i = 0; i < 20; ++i) {
    const std::string key = "key" + std::to_string(i);
    results << JsonAddStringElement(&box, key.c_str(), "value")
            << JsonAddIntegerElement(&box, key.c_str(), i)
            << JsonAddUnsignedIntegerElement(&box, key.c_str(), 1)
            << JsonAddHexElement(&box, key.c_str(), 255)
            << JsonAddFloatElement(&box, key.c_str(), 2, 0.5F)
            << JsonAddBooleanElement(&box, key.c_str(), 1);
    results << JsonStartArray("array", &box) << JsonAddIntegerElement(&box, nullptr, i)
            << JsonEndArray(&box);
  }
  results << JsonEndObject(&box) << JsonFinalize(&box) << JsonCleanup(&box) << box.data;
  JsonFreeBox(&box);
  char *copy = nullptr;
  results << SetJsonStringValue("value", &copy);
  free(copy);
  return results.text();
}

std::string ListOf(const char *element, int count) {
  std::string text = "[";
  for (int i = 0; i < count; ++i) text += std::string(element) + ",";
  text.back() = ']';
  return text;
}

std::string ValueArrays(const std::string &) {
  Results results;
  rfStringArray strings = {};
  results << ReadText(ListOf("\"text\"", 60), deserialize_rfStringArray, &strings) << strings.count;
  rfCharArray copy = {};
  results << CloneRfCharArray(&strings, &copy) << AddStringToRfCharArray("more", &copy);
  JsonBox box = {};
  results << serializeRFCharArray(&copy, "key", &box, 1);
  JsonFreeBox(&box);
  free_rfStringArray(&copy);
  free_rfStringArray(&strings);
  rfIntArray integers = {};
  results << ReadText("{\"k\":" + ListOf("17", 60) + "}", deserialize_rfIntArray, &integers)
          << AddValueToRfIntArray(3, &integers) << integers.count;
  free_rfIntArray(&integers);
  rfNumberArray numbers = {};
  results << ReadText("{\"k\":" + ListOf("1.5", 60) + "}", deserialize_rfNumberArray, &numbers)
          << AddNumberToRfNumberArray(&numbers, 3) << numbers.count;
  free_rfNumberArray(&numbers);
  rfLink link = {};
  results << ReadText(R"({"@odata.id":"/a/b"})", deserialize_rfLinkRef, &link);
  free_rfLink(&link);
  return results.text();
}

std::string ElementByElement(const std::string &) {
  Results results;
  rfStringArray strings = {};
  rfLinkArray links = {};
  for (const uint32_t index : {0, 1, 5, 20}) {
    results << parseRfStringArray("a text", 0, 6, &strings, index) << strings.count;
    results << parseRfLinkArray("/a/link", 0, 7, &links, index) << links.count;
  }
  free_rfStringArray(&strings);
  free_rfStringArray(&links);
  return results.text();
}

// --- containers, expressions
// ----------------------------------------------------------------------

template <typename Key>
void FillMap(Results &results, uint32_t type) {
  Map map = {};
  map.keyType = type;
  for (Key key = 0; key < 60; ++key) results << map_set_(&map, &key, &key, sizeof key);
  uint32_t count = 0;
  void **const keys = map_get_keys_(&map, &count);
  results << count;
  for (uint32_t i = 0; keys != nullptr && i < count; ++i) free(keys[i]);
  free(keys);
  const Key gone = 7;
  map_remove_(&map, &gone);
  results << map_get_numElements_(&map);
  map_deinit_(&map);
}

std::string Maps(const std::string &) {
  Results results;
  FillMap<uint32_t>(results, MAP_KEY_U32);
  FillMap<uint64_t>(results, MAP_KEY_U64);
  FillMap<uint16_t>(results, MAP_KEY_U16);
  Map map = {};
  map.keyType = MAP_KEY_STRING;
  for (int i = 0; i < 60; ++i) {
    results << map_set_(&map, ("key " + std::to_string(i)).c_str(), &i, sizeof i);
  }
  results << map_get_numElements_(&map);
  map_deinit_(&map);
  return results.text();
}

std::string StringMap(const std::string &) {
  Results results;
  Map map = {};
  map.keyType = MAP_KEY_STRING;
  for (int i = 0; i < 20; ++i) {
    results << map_set_(&map, ("a key longer than a word " + std::to_string(i)).c_str(), &i,
                        sizeof i);
  }
  uint32_t count = 0;
  void **const keys = map_get_keys_(&map, &count);
  for (uint32_t i = 0; keys != nullptr && i < count; ++i) {
    results.Take(static_cast<char *>(keys[i]));
  }
  free(keys);
  map_deinit_(&map);
  return results.text();
}

std::string Stacks(const std::string &) {
  Results results;
  Stack stack = {};
  results << (stack_init_(&stack) != nullptr);
  for (int i = 0; i < 95; ++i) {
    void *const item = Data(&i, sizeof i);
    const int pushed = stack_push_(&stack, item, sizeof i);
    results << pushed;
    if (pushed == 0) free(item);
  }
  results << stack_get_size_(&stack);
  free(stack_pop_(&stack));
  stack_deinit_(&stack, 1);
  return results.text();
}

std::string RingQueue(const std::string &) {
  Results results;
  Queue queue = {};
  results << init_queue(&queue, 12, 0);
  for (uint32_t i = 0; i < 20; ++i) {
    void *const data = Data(&i, sizeof i);
    const int inserted = insertQueueEntry(&queue, data, i, 0);
    results << inserted;
    if (inserted == 0) free(data);
    if (i % 3 == 0) {
      QueueEntry *const entry = deQueueEntry(&queue, 0);
      if (entry != nullptr) results << entry->tag;
      FreeQueueEntry(entry, 0);
    }
  }
  deinit_queue(&queue);
  return results.text();
}

std::string Expressions(const std::string &) {
  Results results;
  std::string deep = "%" + std::string(70, '0') + "1 " + std::string(80, '0') + "1";
  for (int i = 0; i < 100; ++i) deep += " 1";
  for (int i = 0; i < 101; ++i) deep += " +";
  char five[] = "5";
  char *parameters[] = {five};
  double result = 0;
  results << doRPN(deep.c_str(), parameters, 1, &result) << static_cast<long long>(result);
  for (const uint8_t keep : {0, 1}) {
    RpnExtendedContext context = {};
    context.expression = "%1 2 * 3 + 4 5 max -";
    context.keepTokens = keep;
    context.getParameter = [](uint32_t, void *, double *out) {
      *out = 5;
      return 1;
    };
    context.getParameterCount = [](void *) { return 1U; };
    results << doRPNExtended(&context, &result) << static_cast<long long>(result);
    results << doRPNExtended(&context, &result);
    FreeTokens(&context.tokens);
  }
  return results.text();
}

std::string ExpressionValues(const std::string &) {
  Results results;
  for (uint32_t type = 0; type < 12; ++type) {
    RpnDataValue value = {};
    char *text = nullptr;
    results << convertRPNFloatToDataType(type, &value, 42.5);
    results << getRPMDataTypeAsString(&value, &text, 2);
    results.Take(text);
  }
  return results.text();
}

// --- configuration, platform
// ----------------------------------------------------------------------

std::string Configuration(const std::string &) {
  Results results;
  rfAECommonConfig config;
  results << aeloadConfiguration((kDocuments + "/boardd.json").c_str(), &config);
  results << config.ConfigObj.count;
  rfAECommonConfigConfigObj *group = nullptr;
  if (getAEParameterGroup(&config.ConfigObj, "thermal", &group) != 0) {
    rfAECommonConfigConfigParamArray copy = {};
    results << cloneAmbrelCommonConfigParamList(&group->ConfigParam, &copy) << copy.count;
    rfAECommonConfigConfigParam *param = nullptr;
    if (getAEParameterinArray(&copy, "warnTemperature", &param) != 0) {
      char *const old = param->parameterValue;
      results << setAEFloatParameterValue(param, 81.5F);
      if (param->parameterValue != old) free(old);
    }
    char *text = nullptr;
    results << SubAmbrelCommonConfigParamListIntoTokenString("at <warnTemperature> or <x>", &copy,
                                                             &text);
    results.Take(text);
    free_rfAECommonConfigConfigParamArray(&copy);
  }
  aeFreeConfiguration(&config);
  return results.text();
}

/// Parameters of the list's own, each given another value of each kind.
std::string Parameters(const std::string &) {
  Results results;
  rfAECommonConfigConfigParamArray parameters = {};
  results << ReadText(R"([{"parameterName":"a","parameterValue":"1","type":"int32"},)"
                      R"({"parameterName":"b","parameterValue":"2","type":"string"}])",
                      deserialize_rfAECommonConfigConfigParamArray, &parameters);
  for (uint32_t i = 0; parameters.list != nullptr && i < parameters.count; ++i) {
    rfAECommonConfigConfigParam &parameter = parameters.list[i];
    for (int kind = 0; kind < 3; ++kind) {
      char *const old = parameter.parameterValue;
      results << (kind == 0   ? setAEParameterValue(&parameter, "text", 4)
                  : kind == 1 ? setAEIntegerParameterValue(&parameter, -7)
                              : setAEFloatParameterValue(&parameter, 2.5F));
      if (parameter.parameterValue != old) free(old);
      results << parameter.parameterValue;
    }
  }
  free_rfAECommonConfigConfigParamArray(&parameters);
  return results.text();
}

std::string ListOfConfigurations(const std::string &) {
  Results results;
  const std::string one = ReadFile(kDocuments + "/boardd.json");
  rfAECommonConfigArray configurations = {};
  results << ReadText("[" + one + "," + one + "]", deserialize_rfAECommonConfigArray,
                      &configurations);
  results << configurations.count;
  free_rfAECommonConfigArray(&configurations);
  return results.text();
}

std::string ListOfActions(const std::string &) {
  Results results;
  const std::string one = ReadFile(kDocuments + "/action.json");
  AmbrelJsonCustomActionArray actions = {};
  results << ReadText("[" + one + "," + one + "," + one + "]",
                      deserialize_AmbrelJsonCustomActionArray, &actions);
  results << actions.count;
  for (uint32_t i = 0; actions.list != nullptr && i < actions.count; ++i) {
    free(actions.list[i].action);
    actions.list[i].action = nullptr;
  }
  free_AmbrelJsonCustomActionArray(&actions);
  return results.text();
}

std::string ListOfFiles(const std::string &folder) {
  Results results;
  const std::string one = ReadFile(kDocuments + "/filedictionary.json");
  WriteFile(folder + "/list.json", "[" + one + "," + one + "]");
  rfAEFileDictionaryArray dictionaries = {};
  results << ParserJSONFileDictionaryArray((folder + "/").c_str(), "list.json", &dictionaries);
  results << dictionaries.count;
  free_rfAEFileDictionaryArray(&dictionaries);
  return results.text();
}

template <typename Record>
std::string Document(const char *name, rfDeserializeFn read, void (*release)(Record *)) {
  Results results;
  Record record = {};
  results << ReadDocument(kDocuments + "/" + name, read, &record);
  release(&record);
  return results.text();
}

/// What is not released with a record: a segment's own device, and a device's and a rule's sensors.
void ReleaseBoard(rfAEBoardTopology *board) {
  for (uint32_t bus = 0; bus < board->AEBus.count; ++bus) {
    auto &segments = board->AEBus.list[bus].AEBUSSegment;
    for (uint32_t i = 0; i < segments.count; ++i) {
      rfAEBoardTopologyAEBUSSegment &segment = segments.list[i];
      for (uint32_t device = 0; device < segment.AEDevice.count; ++device) {
        free_rfAEBoardTopologyAESensorArray(&segment.AEDevice.list[device].SensorList);
      }
      free_rfAEBoardTopologyAESensorArray(&segment.AESegmentDevice.SensorList);
      free_rfAEBoardTopologyAEDevice(&segment.AESegmentDevice);
    }
  }
  free_rfAEBoardTopology(board);
}

void ReleaseRules(rfAESensorMonitorRuleArray *rules) {
  for (uint32_t i = 0; i < rules->count; ++i) {
    free_rfAESensorMonitorArray(&rules->list[i].sensors);
  }
  free_rfAESensorMonitorRuleArray(rules);
}

std::string Board(const std::string &) {
  return Document("board.json", deserialize_rfAEBoardTopology, ReleaseBoard);
}

std::string Rules(const std::string &) {
  return Document("monitor.json", deserialize_rfAESensorMonitorRuleArray, ReleaseRules);
}

std::string Files(const std::string &) {
  Results results;
  rfAEFileDictionary dictionary = {};
  results << ParserJSONFileDictionary((kDocuments + "/").c_str(), "filedictionary.json",
                                      &dictionary);
  results << dictionary.filelist.count;
  free_rfAEFileDictionary(&dictionary);
  return results.text();
}

std::string Actions(const std::string &) {
  return Document(
      "action.json", deserialize_AmbrelJsonCustomAction, +[](AmbrelJsonCustomAction *action) {
        free(action->action);
        action->action = nullptr;
        rfAECommonConfigConfigParamArray output = {};
        executeAmbrelCustomAction(action, 1, 1, &output);
        free_rfAECommonConfigConfigParamArray(&output);
        free_AmbrelJsonCustomAction(action);
      });
}

// --- threads, messages
// ----------------------------------------------------------------------------

std::string Semaphores(const std::string &) {
  Results results;
  for (const uint8_t posix : {0, 1}) {
    AmbrelSemaphore semaphore = {};
    semaphore.usePosixSem = posix;
    results << AmbrelSemaphoreInit(&semaphore, 1);
    results << AmbrelSemphoreSignal(&semaphore, 0);
    results << AmbrelSemaphoreDestroy(&semaphore);
  }
  AmbrelTimeMonitor monitor = {};
  AmbrelSemaphore waiting[20] = {};
  for (AmbrelSemaphore &semaphore : waiting) {
    results << AmbrelRegisterSemaphore(&monitor, &semaphore);
  }
  for (AmbrelSemaphore &semaphore : waiting) {
    results << AmbrelDeRegisterSemaphore(&monitor, &semaphore);
  }
  free(monitor.semaphores);
  return results.text();
}

std::string FlexQueues(const std::string &) {
  Results results;
  FlexQueue queue = {};
  results << init_Flexqueue(&queue, 12, 0);
  queue.broadcastMode = 0;
  results << initSubscribers(&queue);
  for (int i = 0; i < 8; ++i) {
    uint32_t slot = 0;
    results << registerSubscriber(&queue, &slot);
  }
  for (uint32_t i = 0; i < 20; ++i) {
    void *const data = Data(&i, sizeof i);
    const int inserted = insertFlexQueueEntry(&queue, data, i, 0);
    results << inserted;
    if (inserted == 0) free(data);
    if (i % 3 == 0) {
      FlexQueueIter iter = {};
      getFlexQueueIter(&queue, &iter, 0);
      FreeFlexQueueEntry(deQueueFlexEntry(&iter, 0), 0);
    }
  }
  results << queue.count;
  deinit_Flexqueue(&queue);
  return results.text();
}

std::string PublishedMessages(const std::string &) {
  Results results;
  FlexMsgQueue queue = {};
  results << Init_FlexMsgQueue(&queue, 4, 8, 0);
  for (int i = 0; i < 6; ++i) {
    uint32_t sub = 0;
    results << registerFlexMsgQueueSubscriber(&queue, &sub);
  }
  for (uint32_t i = 0; i < 12; ++i) {
    results << insertFlexMsgQueueEntry(&queue, &i, sizeof i, 0);
    if (i % 4 != 0) continue;
    FlexMsgEntry *const entry = DeQueueMsgFlexEntry(&queue, 1, 0);
    results << (entry != nullptr);
    FreeFlexMsgQueueEntry(entry, 0);
  }
  for (uint32_t sub = 0; queue.subs != nullptr && sub < queue.subCount; ++sub) {
    if (queue.subs[sub] == nullptr) continue;
    while (void *const item = deQueueSimpleEntry(&queue.subs[sub]->queue, 0)) {
      FreeFlexMsgQueueEntry(static_cast<FlexMsgEntry *>(item), 1);
    }
  }
  DeInit_FlexMsgQueue(&queue);
  free(queue.subs);
  return results.text();
}

/// More subscribers than there is room for at first, half of them with a filter, some of them gone.
std::string Subscribers(const std::string &) {
  Results results;
  FlexMsgQueue queue = {};
  results << Init_FlexMsgQueue(&queue, 2, 4, 0);
  int odd = 1;
  for (int i = 0; i < 12; ++i) {
    uint32_t sub = 0;
    results << (i % 2 == 0 ? registerFlexMsgQueueSubscriber(&queue, &sub)
                           : registerFlexMsgQueueSubscriberWMatch(
                                 &queue, &odd, [](void *, void *) { return 1; }, &sub));
    if (i % 3 == 0) results << deRegisterFlexMsgQueueSubscriber(&queue, sub);
  }
  DeInit_FlexMsgQueue(&queue);
  free(queue.subs);
  return results.text();
}

std::string MessageEntries(const std::string &) {
  Results results;
  FlexMsgEntry *copy = nullptr;
  char text[] = "a message";
  results << createQueueEntry(text, sizeof text, &copy, nullptr);
  FreeFlexMsgQueueEntry(copy, 1);
  MessageQueue queue;
  results << MessageQueueInit(&queue, 4);
  results << MessageQueueAdd(&queue, text, sizeof text - 1);
  MessageQueueIter iter = {};
  MessageEntry *entry = nullptr, *clone = nullptr;
  if (MessageQueueGetIter(&queue, &iter) == 0 && MessageQueueGetMessage(&iter, &entry) == 0) {
    results << MessageQueueCloneEntry(entry, &clone);
    if (clone != nullptr && MessageQueueAddEntry(&queue, clone) != 0) FreeMessageEntry(clone);
    FreeMessageEntry(entry);
  }
  results << ClearMessageQueue(&queue);
  MessageQueueDeInit(&queue);
  return results.text();
}

std::string SimpleQueues(const std::string &) {
  Results results;
  for (const uint32_t capacity : {1, 8}) {
    SimpleQueue queue = {};
    results << init_simplequeue(&queue, capacity, 0);
    int item = 0;
    for (int i = 0; i < 4; ++i) results << insertSimpleQueueEntry(&queue, &item, 0);
    while (deQueueSimpleEntry(&queue, 0) != nullptr) results << 1;
    results << deinit_simplequeue(&queue);
  }
  return results.text();
}

std::string StoredMessages(const std::string &) {
  Results results;
  MessageQueue queue;
  results << MessageQueueInit(&queue, 16);
  for (int i = 0; i < 20; ++i) {
    results << MessageQueueAdd(&queue, "some text", 9);
    MessageQueueAddWithParameters(&queue, "%s number %d", "message", i);
  }
  void *stream = nullptr;
  uint32_t length = 0;
  results << SerializeMsgQueue(&queue, &stream, &length) << length;
  MessageQueue copy;
  results << MessageQueueInit(&copy, 16);
  results << DeSerializeMsgQueue(&copy, stream, static_cast<int32_t>(length));
  free(stream);
  MessageQueueIter iter = {};
  results << MessageQueueGetIter(&copy, &iter);
  for (;;) {
    MessageEntry *entry = nullptr;
    if (MessageQueueGetMessage(&iter, &entry) != 0) break;
    results << entry->length;
    FreeMessageEntry(entry);
  }
  MessageQueueDeInit(&copy);
  MessageQueueDeInit(&queue);
  return results.text();
}

// --- files
// ----------------------------------------------------------------------------------------

void SetPayload(AmbrelStorageEntry *entry, size_t size) {
  const std::string bytes(size, 'p');
  FreeAmbrelStorageEntry(entry);
  entry->payload = static_cast<uint8_t *>(Data(bytes.data(), size));
  entry->length = static_cast<uint32_t>(size);
}

/// A store with records, each of another length.
template <uint32_t kRecords>
std::string Store(const std::string &folder) {
  Results results;
  const std::string primary = folder + "/primary", backup = folder + "/backup";
  for (int life = 0; life < 2; ++life) {
    AmbrelStorageEngine *store = nullptr;
    InitializeAmbrelStorageEngine(&store, "events", primary.c_str(), backup.c_str());
    results << (store != nullptr);
    if (store == nullptr) continue;
    results << loadAllAmbrelStorageEntries(store) << store->entryCount;
    if (store->entryCount != 0) ++store->nextRecordId;
    for (uint32_t i = 0; i < kRecords; ++i) {
      AmbrelStorageEntry *entry = nullptr;
      results << AddAndCreateAmbrelStorageEntryInArray(store, &entry, 0);
      if (entry == nullptr) continue;
      SetPayload(entry, 10 + kRecords * static_cast<size_t>(life) + i);
      if (i % 2 == 0) results << saveAmbrelStorageDeviceUpdateEntry(store, entry, 0, 1);
    }
    results << saveAllAmbrelStorageEntries(store, 0);
    if (life == 1) results << compressAmbrelStorageEntries(store, 0, 0, 0, 0);
    AmbrelStorageEntry key = {}, *found = nullptr;
    key.id = 1;
    results << FindAmbrelStorageRecord(store, &key, &found) << (found != nullptr);
    results << DeInitializeAmbrelStorageEngine(store);
  }
  // What a failed remove leaves behind.
  for (const auto &file : std::filesystem::directory_iterator("/var")) {
    if (file.path().filename().string().rfind("ambrelstoragetmp-", 0) == 0) {
      std::error_code ignored;
      std::filesystem::remove(file.path(), ignored);
    }
  }
  return results.text();
}

std::string CopiedFile(const std::string &folder) {
  Results results;
  const std::string from = folder + "/from", to = folder + "/to";
  WriteFile(from, std::string(5000, 'x'));
  results << copyAmbrelFileAndVerify(from.c_str(), to.c_str());
  results << aecheckANDCreateDir((folder + "/new").c_str());
  results << checkForFileDirExistance(to.c_str(), 0);
  results << static_cast<long long>(ReadFile(to).size());
  return results.text();
}

/// A start, lines, wraps and revivals, a second start.
std::string Log(const std::string &folder) {
  Results results;
  const std::string settings = folder + "/enable", log = folder + "/log";
  WriteFile(settings, "LOGLEVEL: 1023\nCONSOLE: true\n");
  const uint8_t data[100] = {};
  for (int start = 0; start < 2; ++start) {
    const int started = DbgLog_InitDebugLogger(settings.c_str(), log.c_str(), 500, DBGLOG_ERROR);
    results << started;
    if (started == 0) continue;
    for (int i = 0; i < 6; ++i) {
      DbgLog_DumptoLog(DBGLOG_ERROR, "some text %d\n", i);
      DbgLog_DumptoStdError(DBGLOG_ERROR, "some text %d\n", i);
      DbgLog_DumptoLogTrace(DBGLOG_ERROR, data, sizeof data);
      DbgLog_DumptoStdErrTrace(DBGLOG_ERROR, data, sizeof data, "label", i);
      DbgLog_ChangeLogSettings(0x3FF);
    }
    DbgLog_DeInitDebugLogger();
  }
  return results.text();
}

std::string SharedMemory(const std::string &) {
  Results results;
  const std::string number = std::to_string(getpid());
  char name[16] = {};
  snprintf(name, sizeof name, "/cu.%s", number.c_str());
  const std::string lock = "cu.torture." + number;
  SharedMemorySegment *segment = nullptr;
  results << aeInitializeSharedMemory(name, lock.c_str(), 1, 1, 64, &segment);
  if (segment != nullptr) {
    char bytes[64] = "text";
    results << aeLockSharedMemory(segment, 2) << aeWriteSharedMemory(segment, bytes, sizeof bytes);
    results << aeReadSharedMemory(segment, bytes, sizeof bytes) << bytes;
    results << aeUnLockSharedMemory(segment);
    aeClearSharedMemoryObjects(segment);
    aeDeInitializeSharedMemory(segment);
    free(segment);
  }
  shm_unlink(name);
  sem_unlink(("/" + lock).c_str());
  return results.text();
}

std::string TimeMonitor(const std::string &) {
  Results results;
  timespec time = {};
  results << AmbrelGetWaitTime(5, &time) << AmbrelGetWaitTimeMonotonic(5, &time);
  results << (getCurrentMonitonicTimeInSeconds() >= 0);
  FlexQueue queue = {};
  results << init_Flexqueue(&queue, 2, 0) << lockFlexQueue(&queue, 5) << unlockFlexQueue(&queue);
  results << waitOnFlexQueue(&queue, 0, 1);
  deinit_Flexqueue(&queue);
  return results.text();
}

}  // namespace

const std::vector<Scenario> &MemoryScenarios() {
  static const std::vector<Scenario> scenarios = {
      {"Tokens", Tokens},
      {"Paths", Paths},
      {"Numbers", Numbers},
      {"Bytes", Bytes},
      {"Templates", Templates},
      {"ParsedFiles", ParsedFiles},
      {"ParsedBuffers", ParsedBuffers},
      {"TreeOfAConfiguration", Tree<0>},
      {"TreeOfMonitors", Tree<1>},
      {"TreeOfFiles", Tree<2>},
      {"TreeOfAnAction", Tree<3>},
      {"WideTree", WideTree},
      {"DeepTree", DeepTree},
      {"NodeValues", NodeValues},
      {"TypedValues", TypedValues},
      {"GenericWalk", GenericWalk},
      {"WrittenDocument", WrittenDocument},
      {"ValueArrays", ValueArrays},
      {"ElementByElement", ElementByElement, true},
      {"Maps", Maps},
      {"StringMap", StringMap},
      {"Stacks", Stacks},
      {"RingQueue", RingQueue},
      {"Expressions", Expressions},
      {"ExpressionValues", ExpressionValues},
      {"Parameters", Parameters, true},
      {"Configuration", Configuration, true},
      {"ListOfConfigurations", ListOfConfigurations, true},
      {"Board", Board, true},
      {"Rules", Rules, true},
      {"Files", Files, true},
      {"ListOfFiles", ListOfFiles, true},
      {"Actions", Actions, true},
      {"ListOfActions", ListOfActions, true},
      {"Semaphores", Semaphores},
      {"FlexQueues", FlexQueues, true},
      {"PublishedMessages", PublishedMessages, true},
      {"Subscribers", Subscribers, true},
      {"MessageEntries", MessageEntries},
      {"SimpleQueues", SimpleQueues},
      {"StoredMessages", StoredMessages},
      {"SmallStore", Store<3>},
      {"Store", Store<40>},
      {"Log", Log},
      {"SharedMemory", SharedMemory},
  };
  return scenarios;
}

const std::vector<Scenario> &SystemScenarios() {
  static const std::vector<Scenario> scenarios = {
      {"ParsedFiles", ParsedFiles, true, true},
      {"Configuration", Configuration, true, true},
      {"Board", Board, true, true},
      {"Rules", Rules, true, true},
      {"Files", Files, true, true},
      {"ListOfFiles", ListOfFiles, true, true},
      {"Actions", Actions, true, true},
      {"SmallStore", Store<3>},
      {"Store", Store<12>},
      {"CopiedFile", CopiedFile},
      {"Log", Log},
      {"SharedMemory", SharedMemory},
      {"Semaphores", Semaphores},
      {"TimeMonitor", TimeMonitor},
  };
  return scenarios;
}

}  // namespace cu_test
