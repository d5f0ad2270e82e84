// The hot paths as fixed workloads without peers, for bench/guard.py: it counts their instructions
// under callgrind, their system calls under strace and the sleeps of their waits, and compares them
// with what was recorded. None of the three depends on how fast the machine is.
//
//   valgrind --tool=callgrind guard --instructions   one dump a workload
//   strace guard --system-calls                      one write(-1, NAME) before each path, and
//   after guard --sleeps                                   a line "NAME<tab>sleeps a message" a
//   queue
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/config_records.hpp"
#include "bench/frame.hpp"
#include "include/AmbrelDataStorage.h"
#include "include/ambrelthreadutils.h"
#include "include/commonconfig.h"
#include "include/configparams.h"
#include "include/dbglog.h"
#include "include/flexmsgqueue.h"
#include "include/flexqueue.h"
#include "include/jsonnode.h"
#include "include/jsonparser.h"
#include "include/jsonwriter.h"
#include "include/notifyqueue.h"
#include "include/pluginchecksum.h"
#include "include/rpn.h"
#include "include/stackmap.h"
#include "include/stringutils.h"
#include "include/valueformat.h"

namespace {

std::string g_folder;

void MustBe(bool condition, const char *what) {
  if (condition) return;
  fprintf(stderr, "guard: %s failed\n", what);
  exit(EXIT_FAILURE);
}

/// The paths in the order in which they were added, each a unit of work.
struct Path {
  std::string name;
  cu_bench::Work work;
};
using Paths = std::vector<Path>;

void Repeat(Paths &paths, std::string name, int times, std::function<uint64_t(int)> body) {
  paths.push_back({std::move(name), [times, body = std::move(body)]() -> uint64_t {
                     uint64_t sum = 0;
                     for (int i = 0; i < times; ++i) sum += body(i);
                     return sum;
                   }});
}

void LogPair(uint32_t level, int value) {
  DbgLog_DumptoLog(level, "[%s:%d]Sensor %s reads %d of %d\n", "fans.c", 17, "inlet", value, 100);
  DbgLog_DumptoStdError(static_cast<int32_t>(level), "[%s:%d]Sensor %s reads %d of %d\n", "fans.c",
                        17, "inlet", value, 100);
}

void StartLogger() {
  const std::string settings = g_folder + "/logenable";
  FILE *const file = fopen(settings.c_str(), "w");
  MustBe(file != nullptr, "fopen");
  fputs("LOGLEVEL: 127\nCONSOLE: false\nSYSLOG: false\n", file);
  fclose(file);
  DbgLog_InitDebugLogger(settings.c_str(), (g_folder + "/log").c_str(), 0x7fffffff, 127);
}

void AddLogging(Paths &paths) {
  Repeat(paths, "a log line that is off", 100, [](int i) {
    LogPair(DBGLOG_DEBUG, i);
    return 0;
  });
  Repeat(paths, "a log line", 100, [](int i) {
    LogPair(DBGLOG_INFO, i);
    return 0;
  });
}

int32_t BuildTree(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *user) {
  CreateDictionary(json, tokens, count, static_cast<JsonNode *>(user));
  return 0;
}

uint64_t WriteConfig(int groups) {
  JsonBox box = {};
  char name[32];
  JsonStartObject(nullptr, &box);
  JsonAddStringElement(&box, "ipcName", "/boardd");
  JsonAddIntegerElement(&box, "logFileSize", 65536);
  JsonStartArray("ConfigObj", &box);
  for (int group = 0; group < groups; ++group) {
    JsonStartObject(nullptr, &box);
    snprintf(name, sizeof name, "SensorGroup%05d", group);
    JsonAddStringElement(&box, "parameterGroup", name);
    JsonStartArray("ConfigParam", &box);
    for (int i = 0; i < 8; ++i) {
      JsonStartObject(nullptr, &box);
      JsonAddStringElement(&box, "parameterName", "Threshold_000042");
      JsonAddStringElement(&box, "type", cu_bench::kTypeNames[i]);
      JsonAddStringElement(&box, "parameterValue", cu_bench::kTypeSamples[i]);
      JsonEndObject(&box);
    }
    JsonEndArray(&box);
    JsonEndObject(&box);
  }
  JsonEndArray(&box);
  JsonEndObject(&box);
  MustBe(JsonFinalize(&box) != 0, "JsonFinalize");
  const uint64_t length = box.length;
  JsonFreeBox(&box);
  return length;
}

void AddDocuments(Paths &paths) {
  static const std::string text = cu_bench::MakeConfigDocument(28);
  static const std::string path = g_folder + "/config.json";
  FILE *const file = fopen(path.c_str(), "wb");
  MustBe(file != nullptr && fwrite(text.data(), 1, text.size(), file) == text.size(), "fwrite");
  fclose(file);

  Repeat(paths, "configuration load, 32 KB", 1, [](int) -> uint64_t {
    rfAECommonConfig config;
    MustBe(aeloadConfiguration(path.c_str(), &config) != 0, "aeloadConfiguration");
    const uint64_t count = config.ConfigObj.count;
    aeFreeConfiguration(&config);
    return count;
  });
  Repeat(paths, "JSON writer, 23 KB", 1, [](int) { return WriteConfig(28); });
  Repeat(paths, "node tree build and release, 32 KB", 1, [](int) -> uint64_t {
    JsonNode root = {};
    parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, BuildTree, &root);
    MustBe(root.kind == JSON_NODE_OBJECT, "CreateDictionary");
    const uint64_t members = root.body.map.nnodes;
    AmbrelFreeJsonNode(&root);
    return members;
  });

  static const std::string nested =
      R"({"a":{"b":{"c":"1","d":"2"},"e":{"c":"3"}},"f":{"g":{"h":"4"},"i":{"j":"5"}}})";
  static JsonNode tree = {};
  parseJsonBuffer(nested.data(), static_cast<uint32_t>(nested.size()), 0, BuildTree, &tree);
  Repeat(paths, "node tree lookup", 100, [](int i) -> uint64_t {
    static constexpr const char *kPaths[] = {"a/b/c", "a/b/d", "a/e/c", "f/g/h", "f/i/j", "f/i/x"};
    JsonNode *found = nullptr;
    return static_cast<uint64_t>(AmbrelFindJsonNode(&tree, kPaths[i % 6], nullptr, &found));
  });
}

void AddText(Paths &paths) {
  static uint8_t data[4096];
  for (size_t i = 0; i < sizeof data; ++i) data[i] = static_cast<uint8_t>(i * 131 + i / 7);
  for (const uint32_t size : {16U, 4096U}) {
    const std::string bytes = std::to_string(size) + " bytes";
    const int times = size == 16 ? 100 : 10;
    Repeat(paths, "CRC-32 of " + bytes, times,
           [size](int) -> uint64_t { return PluginCalculateCRC32(data, size); });
    Repeat(paths, "CRC-8 of " + bytes, times,
           [size](int) -> uint64_t { return PluginCalculateCRC8(data, size); });
  }
  Repeat(paths, "a line of 10 tokens", 20, [](int) -> uint64_t {
    TokenList tokens = {};
    tokenizeString("one,two,three,four,five,six,seven,eight,nine,ten", ",", &tokens);
    const uint64_t count = tokens.count;
    FreeTokens(&tokens);
    return count;
  });
  const auto free_text = [](char *text) -> uint64_t {
    const uint64_t length = strlen(text);
    free(text);
    return length;
  };
  Repeat(paths, "an integer as text", 100, [=](int i) {
    char *text = nullptr;
    return free_text(getIntegerAsString(i * 7919 - 300000, &text));
  });
  Repeat(paths, "a float as text", 100, [=](int i) {
    char *text = nullptr;
    return free_text(getFloatAsString(3, &text, static_cast<float>(i) * 13.37F - 500.0F));
  });
}

void AddMaps(Paths &paths) {
  constexpr uint32_t kKeys = 1000;
  static std::vector<std::string> held, absent;
  static Map strings = {}, numbers = {};
  strings.keyType = MAP_KEY_STRING;
  numbers.keyType = MAP_KEY_U32;
  char name[32];
  for (uint32_t i = 0; i < kKeys; ++i) {
    snprintf(name, sizeof name, "Threshold_%06u", i);
    held.emplace_back(name);
    snprintf(name, sizeof name, "Missing___%06u", i);
    absent.emplace_back(name);
    MustBe(map_set_(&strings, held.back().c_str(), &i, sizeof i) == 0, "map_set_");
    MustBe(map_set_(&numbers, &i, &i, sizeof i) == 0, "map_set_");
  }
  const auto look_up = [&](const char *what, const Map &map, std::function<const void *(int)> key,
                           bool found) {
    const Map *const in = &map;
    Repeat(paths, what, kKeys, [=](int i) -> uint64_t {
      const bool hit = map_get_(in, key(i)) != nullptr;
      MustBe(hit == found, "map_get_");
      return hit;
    });
  };
  const auto nth = [](const std::vector<std::string> &keys) {
    return [&keys](int i) -> const void * { return keys[static_cast<size_t>(i)].c_str(); };
  };
  const auto number = [](uint32_t base) {
    return [base](int i) -> const void * {
      static uint32_t key;
      key = base + static_cast<uint32_t>(i);
      return &key;
    };
  };
  look_up("map hit, string", strings, nth(held), true);
  look_up("map miss, string", strings, nth(absent), false);
  look_up("map hit, 32-bit", numbers, number(0), true);
  look_up("map miss, 32-bit", numbers, number(kKeys), false);
  Repeat(paths, "map fill and release, string", 1, [](int) -> uint64_t {
    Map map = {};
    map.keyType = MAP_KEY_STRING;
    uint32_t value = 0;
    for (const std::string &key : held) map_set_(&map, key.c_str(), &++value, sizeof value);
    const uint64_t count = map.nnodes;
    map_deinit_(&map);
    return count;
  });
}

int GetParameter(uint32_t index, void *, double *out) {
  static constexpr double kValues[] = {42, 17};
  if (index >= 2) return 0;
  *out = kValues[index];
  return 1;
}

uint32_t GetParameterCount(void *) {
  return 2;
}

void AddRules(Paths &paths) {
  static constexpr const char *kShort = "%1 9 * 5 / 32 + %2 -";
  static constexpr const char *kLong = "%1 2.5 * %2 + 3 / 10 + %1 %2 * 100 / - 4 max 2 * 0.125 +";
  const auto from_text = [](const char *rule) {
    return [rule](int) -> uint64_t {
      static char first[] = "42", second[] = "17";
      char *parameters[] = {first, second};
      double result = 0;
      doRPN(rule, parameters, 2, &result);
      return static_cast<uint64_t>(result);
    };
  };
  Repeat(paths, "RPN text, conditional", 100, from_text("%1 5 >= ? 1 : 0"));
  Repeat(paths, "RPN text, 9 tokens", 100, from_text(kShort));
  Repeat(paths, "RPN text, 21 tokens", 100, from_text(kLong));
  static RpnExtendedContext contexts[2];
  const char *const rules[] = {kShort, kLong};
  for (int i = 0; i < 2; ++i) {
    contexts[i] = {};
    contexts[i].expression = rules[i];
    contexts[i].getParameter = GetParameter;
    contexts[i].getParameterCount = GetParameterCount;
    contexts[i].keepTokens = 1;
    RpnExtendedContext *const context = &contexts[i];
    Repeat(paths, i == 0 ? "RPN kept tokens, 9" : "RPN kept tokens, 21", 100,
           [context](int) -> uint64_t {
             double result = 0;
             doRPNExtended(context, &result);
             return static_cast<uint64_t>(result);
           });
  }
}

constexpr size_t kPayload = 64;

void *NewPayload() {
  void *const payload = malloc(kPayload);
  MustBe(payload != nullptr, "malloc");
  memset(payload, 1, kPayload);
  return payload;
}

bool ReceiveFromRing(Queue &queue) {
  QueueEntry *const entry = deQueueEntry(&queue, 0);
  if (entry != nullptr) FreeQueueEntry(entry, 0);
  return entry != nullptr;
}

bool ReceiveFromFlex(FlexQueue &queue) {
  lockFlexQueue(&queue, 0);
  FlexQueueIter iter = {};
  getFlexQueueIter(&queue, &iter, 1);
  FlexEntry *const peeked = peekFlexQueueEntry(&iter, 1);
  FlexEntry *const entry = peeked == nullptr ? nullptr : deQueueFlexEntry(&iter, 1);
  unlockFlexQueue(&queue);
  if (peeked != nullptr) FreeFlexQueueEntry(peeked, 0);
  if (entry != nullptr) FreeFlexQueueEntry(entry, 0);
  return peeked != nullptr;
}

bool ReceiveMessage(FlexMsgQueue &queue, uint32_t sub) {
  FlexMsgEntry *const entry = DeQueueMsgFlexEntry(&queue, sub, 0);
  if (entry != nullptr) FreeFlexMsgQueueEntry(entry, 0);
  return entry != nullptr;
}

Queue g_ring = {};
FlexQueue g_flex = {};
FlexMsgQueue g_messages = {};
uint32_t g_subscriber = 0;

void StartQueues() {
  MustBe(init_queue(&g_ring, 1024, 1000) != 0, "init_queue");
  MustBe(init_Flexqueue(&g_flex, 1024, 60000) != 0, "init_Flexqueue");
  MustBe(Init_FlexMsgQueue(&g_messages, 1, 1024, 1000) != 0, "Init_FlexMsgQueue");
  registerFlexMsgQueueSubscriber(&g_messages, &g_subscriber);
}

void SendToRing() {
  MustBe(insertQueueEntry(&g_ring, NewPayload(), 0, 0) != 0, "insertQueueEntry");
}

void SendToFlex() {
  MustBe(insertFlexQueueEntry(&g_flex, NewPayload(), 0, 0) != 0, "insertFlexQueueEntry");
}

void Publish() {
  char payload[kPayload] = {1};
  MustBe(insertFlexMsgQueueEntry(&g_messages, payload, sizeof payload, 0) != 0,
         "insertFlexMsgQueueEntry");
}

void AddQueues(Paths &paths) {
  Repeat(paths, "notifying queue, send and receive", 100, [](int) -> uint64_t {
    SendToRing();
    return ReceiveFromRing(g_ring);
  });
  Repeat(paths, "flex queue, send and receive", 100, [](int) -> uint64_t {
    SendToFlex();
    return ReceiveFromFlex(g_flex);
  });
  Repeat(paths, "flex message queue, send and receive", 100, [](int) -> uint64_t {
    Publish();
    return ReceiveMessage(g_messages, g_subscriber);
  });
}

constexpr uint32_t kRecord = 256;

void AddRecord(AmbrelStorageEngine *engine, AmbrelStorageEntry **entry) {
  MustBe(AddAndCreateAmbrelStorageEntryInArray(engine, entry, 0) != 0, "create");
  (*entry)->payload = static_cast<uint8_t *>(calloc(1, kRecord));
  (*entry)->length = kRecord;
}

/// A store of 100 records, as a full save leaves it.
AmbrelStorageEngine *MakeStore() {
  AmbrelStorageEngine *engine = nullptr;
  InitializeAmbrelStorageEngine(&engine, "store", (g_folder + "/p").c_str(),
                                (g_folder + "/b").c_str());
  for (int i = 0; i < 100; ++i) {
    AmbrelStorageEntry *entry = nullptr;
    AddRecord(engine, &entry);
    if (i == 0) MustBe(saveAmbrelStorageDeviceUpdateEntry(engine, entry, 0, 0) != 0, "save");
  }
  MustBe(saveAllAmbrelStorageEntries(engine, 0) != 0, "full save");
  return engine;
}

/// Saves ten new records and takes the store back to what it was: entries and file.
uint64_t SaveNewRecords(AmbrelStorageEngine *engine, uint32_t refresh) {
  const std::string path = g_folder + "/p/store";
  const auto size = std::filesystem::file_size(path);
  const uint16_t held = engine->entryCount;
  for (int i = 0; i < 10; ++i) {
    AmbrelStorageEntry *entry = nullptr;
    AddRecord(engine, &entry);
    MustBe(saveAmbrelStorageDeviceUpdateEntry(engine, entry, 0, refresh) != 0, "save");
  }
  const auto grown = std::filesystem::file_size(path) - size;
  for (uint16_t i = held; i < engine->entryCount; ++i) {
    FreeAmbrelStorageEntry(engine->entries[i]);
    free(engine->entries[i]);
  }
  engine->entryCount = held;
  engine->nextRecordId = held;
  std::filesystem::resize_file(path, size);
  return grown;
}

void AddStore(Paths &paths) {
  static AmbrelStorageEngine *const engine = MakeStore();
  for (const uint32_t refresh : {0U, 1U})
    Repeat(paths, refresh ? "store save, checksum refreshed" : "store save", 1,
           [refresh](int) { return SaveNewRecords(engine, refresh); });
  Repeat(paths, "store full save, 100 records", 1, [](int) -> uint64_t {
    MustBe(saveAllAmbrelStorageEntries(engine, 0) != 0, "full save");
    return 1;
  });
  Repeat(paths, "store check and load, 100 records", 1, [](int) -> uint64_t {
    AmbrelStorageEngine *started = nullptr;
    InitializeAmbrelStorageEngine(&started, "store", (g_folder + "/p").c_str(),
                                  (g_folder + "/b").c_str());
    loadAllAmbrelStorageEntries(started);
    const uint64_t count = started->entryCount;
    MustBe(count == 100, "load");
    DeInitializeAmbrelStorageEngine(started);
    return count;
  });
}

void AddParameters(Paths &paths) {
  static std::vector<std::string> names;
  static std::vector<rfAECommonConfigConfigParam> params;
  static char value[] = "123456";
  for (int i = 0; i < 100; ++i) names.push_back("Threshold_" + std::to_string(100000 + i));
  for (std::string &name : names) {
    rfAECommonConfigConfigParam param = {};
    param.parameterName = name.data();
    param.parameterValue = value;
    param.type = 2;
    params.push_back(param);
  }
  static rfAECommonConfigConfigParamArray list = {};
  list.count = static_cast<uint32_t>(params.size());
  list.list = params.data();
  Repeat(paths, "parameter lookup, 100", 100, [](int i) -> uint64_t {
    rfAECommonConfigConfigParam *param = nullptr;
    int32_t number = 0;
    MustBe(getAEParameterinArray(&list, names[static_cast<size_t>(i)].c_str(), &param) != 0,
           "getAEParameterinArray");
    getAEParameterAsInteger(param, &number);
    return static_cast<uint64_t>(number);
  });
}

/// A write to no file, which strace shows with its text.
void Mark(const std::string &text) {
  if (write(-1, text.data(), text.size()) >= 0) abort();
}

void MarkSystemCalls(const Paths &paths) {
  for (const Path &path : paths) {
    path.work();
    Mark(path.name);
    path.work();
    Mark("end");
  }
}

uint64_t Nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

/// Voluntary context switches a message of a consumer that is asleep in a timed wait: the least of
/// five rounds.
double Sleeps(void (*send)(), const std::function<bool()> &receive,
              const std::function<void()> &wait) {
  constexpr int kRounds = 5, kMessages = 300;
  double least = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    long sleeps = 0;
    std::thread consumer([&] {
      rusage before{}, after{};
      getrusage(RUSAGE_THREAD, &before);
      for (int received = 0; received < kMessages;) {
        if (receive())
          ++received;
        else
          wait();
      }
      getrusage(RUSAGE_THREAD, &after);
      sleeps = after.ru_nvcsw - before.ru_nvcsw;
    });
    for (int i = 0; i < kMessages; ++i) {
      const uint64_t next = Nanoseconds() + 150000;
      while (Nanoseconds() < next) std::this_thread::yield();
      send();
    }
    consumer.join();
    least = std::min(least, static_cast<double>(sleeps) / kMessages);
  }
  return least;
}

void PrintSleeps() {
  constexpr int32_t kMs = 1000;
  printf("notifying queue\t%.3f\n", Sleeps(
                                        SendToRing, [] { return ReceiveFromRing(g_ring); },
                                        [] { waitOnQueue(&g_ring, kMs); }));
  printf("flex queue\t%.3f\n", Sleeps(
                                   SendToFlex, [] { return ReceiveFromFlex(g_flex); },
                                   [] { waitOnFlexQueue(&g_flex, 0, kMs); }));
  printf("flex message queue\t%.3f\n",
         Sleeps(
             Publish, [] { return ReceiveMessage(g_messages, g_subscriber); },
             [] { waitOnFlexMsgQueue(&g_messages, g_subscriber, kMs); }));
}

}  // namespace

int main(int argc, char **argv) {
  const char *const base = getenv("TMPDIR") == nullptr ? "/dev/shm" : getenv("TMPDIR");
  std::string pattern = std::string(base) + "/guard-XXXXXX";
  MustBe(mkdtemp(pattern.data()) != nullptr, "mkdtemp");
  g_folder = pattern;
  std::filesystem::create_directory(g_folder + "/p");
  std::filesystem::create_directory(g_folder + "/b");
  StartLogger();
  StartQueues();

  Paths paths;
  AddLogging(paths);
  AddDocuments(paths);
  AddText(paths);
  AddMaps(paths);
  AddRules(paths);
  AddQueues(paths);
  AddStore(paths);
  AddParameters(paths);

  int status = EXIT_SUCCESS;
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--system-calls") {
    MarkSystemCalls(paths);
  } else if (mode == "--sleeps") {
    PrintSleeps();
  } else {
    cu_bench::Family family("guard", cu_bench::Clock::kCpu);
    for (const Path &path : paths)
      family.AddWorkload(path.name).Add(cu_bench::Role::kLibrary, "library", path.work);
    status = family.Main(argc, argv);
  }
  DbgLog_DeInitDebugLogger();
  std::filesystem::remove_all(g_folder);
  return status;
}
