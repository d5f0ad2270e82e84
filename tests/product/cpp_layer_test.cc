// The C++ layer: every handle makes, moves and releases what it owns, and leaves nothing behind.
#include <commonutilities/commonutilities.hpp>

#include <gtest/gtest.h>

#include <dirent.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>

namespace {

namespace cu = commonutilities;

template <class T>
constexpr bool kMovesOnly =
    std::is_nothrow_move_constructible_v<T> &&std::is_nothrow_move_assignable_v<T> &&
    !std::is_copy_constructible_v<T>;
static_assert(kMovesOnly<cu::StringArray> && kMovesOnly<cu::IntArray> &&
              kMovesOnly<cu::NumberArray>);
static_assert(kMovesOnly<cu::Board> && kMovesOnly<cu::SensorRule> && kMovesOnly<cu::CustomAction>);
static_assert(kMovesOnly<cu::FileDictionary> && kMovesOnly<cu::Parameters> &&
              kMovesOnly<cu::Tokens>);
static_assert(kMovesOnly<cu::Logger> && kMovesOnly<cu::Configuration> && kMovesOnly<cu::JsonTree>);
static_assert(kMovesOnly<cu::JsonWriter> && kMovesOnly<cu::ValueMap<std::string, int>>);
static_assert(kMovesOnly<cu::PointerStack<int>> && kMovesOnly<cu::Mutex> &&
              kMovesOnly<cu::Semaphore>);
static_assert(kMovesOnly<cu::NotifyQueue> && kMovesOnly<cu::TableQueue> &&
              kMovesOnly<cu::Publisher>);
static_assert(kMovesOnly<cu::Publisher::Subscription> && kMovesOnly<cu::MessageLog>);
static_assert(kMovesOnly<cu::RecordStore> && kMovesOnly<cu::SharedRecord<int>> &&
              kMovesOnly<cu::PlugIn>);

class Layer : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/cpp-layer-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(name));
    folder = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder); }
  std::string path(const char *name) const { return folder + "/" + name; }
  std::string write(const char *name, const std::string &text) const {
    std::ofstream(path(name)) << text;
    return path(name);
  }
  std::string folder;
};

int openDescriptors() {
  int count = 0;
  DIR *const list = opendir("/proc/self/fd");
  while (readdir(list) != nullptr) ++count;
  closedir(list);
  return count;
}

std::unique_ptr<int, cu::Free> number(int value) {
  std::unique_ptr<int, cu::Free> box(static_cast<int *>(std::malloc(sizeof(int))));
  *box = value;
  return box;
}

TEST(Record, MovesWhatItOwns) {
  cu::StringArray names;
  AddStringToRfCharArray("front", names.get());
  AddStringToRfCharArray("rear", names.get());
  cu::StringArray taken = std::move(names);
  EXPECT_EQ(0U, names->count);
  EXPECT_TRUE(cu::view(*names).empty());
  ASSERT_EQ(2U, cu::view(*taken).size());
  EXPECT_STREQ("rear", cu::view(*taken)[1].text);
  names = std::move(taken);
  names.reset();
  EXPECT_EQ(nullptr, names->list);
  AddStringToRfCharArray("again", names.get());
  EXPECT_EQ(1U, names->count);
}

TEST(View, IsConstantOverAConstantRecord) {
  cu::IntArray values;
  for (int i = 1; i <= 4; ++i) AddValueToRfIntArray(i, values.get());
  for (int64_t &value : cu::view(*values)) value *= 10;
  const rfIntArray &constant = *values;
  static_assert(std::is_const_v<std::remove_reference_t<decltype(cu::view(constant)[0])>>);
  int64_t sum = 0;
  for (const int64_t value : cu::view(constant)) sum += value;
  EXPECT_EQ(100, sum);
  cu::NumberArray numbers;
  AddNumberToRfNumberArray(numbers.get(), 2.5F);
  EXPECT_EQ(2.5F, cu::view(*numbers)[0]);
}

TEST(Tokens, AreARange) {
  cu::Tokens fields("fan1,fan2,fan3", ",");
  ASSERT_TRUE(fields);
  std::string all;
  for (const char *field : cu::view(*fields)) all += std::string(field) + ";";
  EXPECT_EQ("fan1;fan2;fan3;", all);
  fields.reset();
  EXPECT_FALSE(fields);
  EXPECT_TRUE(cu::view(*fields).empty());
}

int32_t boardDocument(const char *json, jsmntok_t *tokens, const char *, uint32_t count,
                      void *user) {
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  processObject(&context, nullptr, 0, static_cast<int32_t>(std::strlen(json)), 0, user,
                deserialize_rfAEBoardTopology);
  return 0;
}

TEST(Board, ReleasesItsSensors) {
  const std::string document =
      R"({"TopologyName":"demo","AEBus":[{"Name":"i2c0","AEBUSSegment":[{"segmentpath":"0",)"
      R"("AESegmentDevice":{"Name":"mux0","SensorList":[{"Name":"muxtemp"}]},)"
      R"("AEDevice":[{"Name":"temp0","SensorList":[{"Name":"inlet"},{"Name":"outlet"}]}]}]}]})";
  cu::Board board;
  ASSERT_EQ(1, parseJsonBuffer(document.data(), static_cast<uint32_t>(document.size()), 0,
                               boardDocument, board.get()));
  cu::Board moved = std::move(board);
  ASSERT_EQ(1U, moved->AEBus.count);
  const auto &segment = cu::view(cu::view(moved->AEBus)[0].AEBUSSegment)[0];
  EXPECT_EQ(2U, cu::view(cu::view(segment.AEDevice)[0].SensorList).size());
  EXPECT_EQ(1U, cu::view(segment.AESegmentDevice.SensorList).size());
}

TEST(Board, AndTheOtherRecordsMayBeEmpty) {
  const cu::SensorRule rule;
  const cu::CustomAction action;
  const cu::FileDictionary dictionary;
  const cu::Parameters parameters;
  EXPECT_EQ(0U, parameters->count);
}

TEST(CustomAction, ReleasesItsName) {
  cu::CustomAction action;
  action->action = strdup("measure");
  action->plugin = strdup("libfans.so");
  cu::SensorRule rule;
  rule->enableRule = strdup("%1 1 ==");
  rule->sensors.list = static_cast<rfAESensorMonitor *>(std::calloc(1, sizeof(rfAESensorMonitor)));
  rule->sensors.count = 1;
  rule->sensors.list[0].sensorName = strdup("button");
}

TEST_F(Layer, LoggerHoldsOneReference) {
  const std::string settings = write("demo.logenable", "LOGLEVEL: 255\nCONSOLE: false\n");
  const int before = openDescriptors();
  {
    cu::Logger log(settings.c_str(), path("demo.log").c_str(), 65536, 0xFF);
    ASSERT_TRUE(log);
    cu::Logger moved = std::move(log);
    EXPECT_FALSE(log);
    ASSERT_NE(nullptr, DbgLog_GetEnabledLogger());
    EXPECT_EQ(1U, DbgLog_GetEnabledLogger()->refCount);
    DbgLog_DumptoLog(DBGLOG_INFO, "from the %s\n", "layer");
  }
  EXPECT_EQ(nullptr, DbgLog_GetEnabledLogger());
  EXPECT_EQ(before, openDescriptors());
  std::ifstream file(path("demo.log"));
  EXPECT_NE(std::string::npos,
            std::string(std::istreambuf_iterator<char>(file), {}).find("from the layer"));
}

TEST_F(Layer, LoggerSpeaksAgainAfterItsFileStartedOver) {
  const std::string settings = write("demo.logenable", "LOGLEVEL: 255\nCONSOLE: false\n");
  cu::Logger log(settings.c_str(), path("demo.log").c_str(), 1024, 0xFF);
  for (int i = 0; i < 100 && DbgLog_GetEnabledLogger()->loggingEnabled; ++i)
    DbgLog_DumptoLog(DBGLOG_INFO, "line %d\n", i);
  ASSERT_EQ(0, DbgLog_GetEnabledLogger()->loggingEnabled);
  cu::Logger::keepAlive();
  EXPECT_EQ(1, DbgLog_GetEnabledLogger()->loggingEnabled);
}

TEST_F(Layer, LoggerStaysSilentWithoutItsSettings) {
  const cu::Logger log(path("none.logenable").c_str(), path("demo.log").c_str(), 1024, DBGLOG_INFO);
  ASSERT_TRUE(log);
  cu::Logger::keepAlive();
  EXPECT_EQ(0, DbgLog_GetEnabledLogger()->loggingEnabled);
  EXPECT_EQ(nullptr, DbgLog_GetEnabledLogger()->logFile);
}

// The file starts over every few lines, each time by another thread.
TEST_F(Layer, LoggerIsKeptAliveWhileOthersLog) {
  const std::string settings = write("demo.logenable", "LOGLEVEL: 255\nCONSOLE: false\n");
  const cu::Logger log(settings.c_str(), path("demo.log").c_str(), 256, 0xFF);
  std::atomic<int> logging{2};
  const auto write_lines = [&logging] {
    for (int i = 0; i < 500; ++i) {
      DbgLog_DumptoLog(DBGLOG_INFO, "line %d\n", i);
      DbgLog_ChangeLogSettings(0xFF);
    }
    --logging;
  };
  std::thread one(write_lines), two(write_lines);
  while (logging != 0) cu::Logger::keepAlive();
  one.join();
  two.join();
  cu::Logger::keepAlive();
  EXPECT_EQ(1, __atomic_load_n(&DbgLog_GetEnabledLogger()->loggingEnabled, __ATOMIC_RELAXED));
}

TEST_F(Layer, ConfigurationReadsByType) {
  const std::string document = write("config.json", R"({"ipcName":"/demo","ConfigObj":[
    {"parameterGroup":"net","ConfigParam":[
      {"parameterName":"mtu","type":"uint16","parameterValue":"9000"},
      {"parameterName":"vlan","type":"uint8","parameterValue":"42"},
      {"parameterName":"address","type":"unsigned integer","parameterValue":"0x10"},
      {"parameterName":"serial","type":"uint64","parameterValue":"77"},
      {"parameterName":"offset","type":"integer","parameterValue":"-3"},
      {"parameterName":"limit","type":"float","parameterValue":"81.5"},
      {"parameterName":"up","type":"boolean","parameterValue":"true"},
      {"parameterName":"name","type":"string","parameterValue":"eth0"}]}]})");
  cu::Configuration loaded(document.c_str());
  ASSERT_TRUE(loaded);
  const cu::Configuration config = std::move(loaded);
  EXPECT_FALSE(loaded);
  ASSERT_TRUE(config);
  EXPECT_EQ("/demo", cu::text(config->ipcName));
  EXPECT_EQ(9000, config.get<uint16_t>("net", "mtu"));
  EXPECT_EQ(42, config.get<uint8_t>("net", "vlan"));
  EXPECT_EQ(16U, config.get<uint32_t>("net", "address"));
  EXPECT_EQ(77U, config.get<uint64_t>("net", "serial"));
  EXPECT_EQ(-3, config.get<int32_t>("net", "offset"));
  EXPECT_EQ(81.5F, config.get<float>("net", "limit"));
  EXPECT_EQ(true, config.get<bool>("net", "up"));
  EXPECT_EQ("eth0", config.get<std::string_view>("net", "name"));
  EXPECT_FALSE(config.get<uint32_t>("net", "offset")) << "an integer is not unsigned";
  EXPECT_FALSE(config.get<std::string_view>("net", "mtu"));
  EXPECT_FALSE(config.get<uint16_t>("net", "absent"));
  EXPECT_FALSE(config.get<uint16_t>("absent", "mtu"));
  std::size_t parameters = 0;
  for (const auto &group : cu::view(config->ConfigObj))
    parameters += cu::view(group.ConfigParam).size();
  EXPECT_EQ(8U, parameters);
  EXPECT_FALSE(cu::Configuration(path("absent.json").c_str()));
}

TEST_F(Layer, ConfigurationIsEmptyBetweenTwoLoads) {
  const std::string first = write("first.json", R"({"ipcName":"/first"})");
  const std::string second = write("second.json", R"({"ipcName":"/second"})");
  cu::Configuration config(first.c_str());
  config.reset();
  EXPECT_FALSE(config);
  EXPECT_EQ("", cu::text(config->ipcName));
  EXPECT_TRUE(config.load(first.c_str()));
  EXPECT_TRUE(config.load(second.c_str()));
  EXPECT_TRUE(config);
  EXPECT_EQ("/second", cu::text(config->ipcName));
  EXPECT_FALSE(config.load(path("absent.json").c_str()));
  EXPECT_FALSE(config);
  EXPECT_EQ("", cu::text(config->ipcName));
}

TEST(JsonTree, FindsAndWalks) {
  cu::JsonTree built(R"({"board":{"name":"carrier","slots":[{"id":4},{"id":7}]}})");
  ASSERT_TRUE(built);
  cu::JsonTree tree = std::move(built);
  EXPECT_FALSE(built);
  EXPECT_EQ("carrier", tree.value("board/name"));
  EXPECT_FALSE(tree.value("board/absent"));
  EXPECT_FALSE(tree.value("board"));
  std::string ids;
  for (JsonNode &slot : tree.elements("board/slots")) {
    JsonNode *id = nullptr;
    ASSERT_EQ(1, AmbrelFindJsonNode(&slot, "id", nullptr, &id));
    ids += AmbrelGetValueFromElement(id);
  }
  EXPECT_EQ("47", ids);
  for (const JsonNode &none : tree.elements("board/name")) FAIL() << none.kind;
  EXPECT_FALSE(cu::JsonTree(R"({"a":)"));
}

TEST(JsonTree, IsEmptyBetweenTwoLoads) {
  cu::JsonTree tree(R"({"a":1})");
  tree.reset();
  EXPECT_FALSE(tree);
  EXPECT_EQ(nullptr, tree.find("a"));
  EXPECT_TRUE(tree.load(R"({"a":1})"));
  EXPECT_TRUE(tree.load(R"({"b":2})"));
  EXPECT_TRUE(tree);
  EXPECT_FALSE(tree.value("a"));
  EXPECT_EQ("2", tree.value("b"));
  EXPECT_FALSE(tree.load(R"({"c":)"));
  EXPECT_FALSE(tree);
  EXPECT_EQ(nullptr, tree.find("b"));
}

TEST(ParseText, GivesTheCallablesAnswer) {
  uint32_t tokens = 0;
  const auto count = [&tokens](const char *, jsmntok_t *, uint32_t n) noexcept {
    tokens = n;
    return n == 3;
  };
  EXPECT_TRUE(cu::parseText(R"({"a":1})", count));
  EXPECT_EQ(3U, tokens);
  EXPECT_FALSE(cu::parseText("[1,2,3]", count));
  EXPECT_EQ(4U, tokens);
}

TEST(JsonWriter, WritesWhatTheTreeReads) {
  cu::JsonWriter writer;
  {
    const auto root = writer.object();
    writer.add("name", "a \"b\" \\ \n");
    writer.add("ok", true);
    writer.add("serial", uint64_t{1042});
    writer.add("offset", -3);
    writer.addNumber("celsius", 41.5F, 2);
    const auto list = writer.array("fans");
    writer.add(nullptr, "front");
    writer.add(nullptr, "rear");
  }
  const std::string_view written = writer.finish();
  ASSERT_FALSE(written.empty());
  cu::JsonTree tree(written);
  ASSERT_TRUE(tree) << written;
  EXPECT_EQ(R"(a \"b\" \\ \u000a)", tree.value("name"));
  EXPECT_EQ("true", tree.value("ok"));
  EXPECT_EQ("1042", tree.value("serial"));
  EXPECT_EQ("-3", tree.value("offset"));
  EXPECT_EQ("41.50", tree.value("celsius"));
  std::string fans;
  for (const JsonNode &fan : tree.elements("fans")) fans += AmbrelGetValueFromElement(&fan);
  EXPECT_EQ("frontrear", fans);
}

template <class Key>
void fillAndRead(Key one, Key two) {
  cu::ValueMap<Key, double> made;
  EXPECT_TRUE(made.set(one, 1.5));
  EXPECT_TRUE(made.set(two, 2.5));
  cu::ValueMap<Key, double> map = std::move(made);
  EXPECT_EQ(2U, map.size());
  EXPECT_EQ(2.5, map.find(two));
  EXPECT_TRUE(map.set(two, 3.5));
  double sum = 0;
  Key keys = 0;
  map.each([&](Key key, double value) {
    keys = static_cast<Key>(keys + key);
    sum += value;
  });
  EXPECT_EQ(5.0, sum);
  EXPECT_EQ(one + two, keys);
  map.remove(one);
  EXPECT_FALSE(map.find(one));
}

TEST(ValueMap, HasKeysOfEachType) {
  fillAndRead<uint16_t>(1, 0xFFF0);
  fillAndRead<uint32_t>(1, 0xFFFFFFF0U);
  fillAndRead<uint64_t>(1, 0xFFFFFFFFFFFFFFF0U);
  cu::ValueMap<std::string, uint32_t> limits;
  EXPECT_TRUE(limits.set("cpu", 85));
  EXPECT_EQ(85U, limits.find("cpu"));
  EXPECT_FALSE(limits.find("gpu"));
  std::string keys;
  limits.each([&](const char *key, uint32_t) { keys += key; });
  EXPECT_EQ("cpu", keys);
}

template <class Key>
void emptyAndRefill(typename cu::ValueMap<Key, int>::Argument one,
                    typename cu::ValueMap<Key, int>::Argument two, uint32_t keyType) {
  cu::ValueMap<Key, int> map;
  EXPECT_TRUE(map.set(one, 1));
  map.reset();
  EXPECT_EQ(keyType, map->keyType);
  EXPECT_EQ(0U, map.size());
  EXPECT_FALSE(map.find(one));
  EXPECT_TRUE(map.set(one, 2));
  EXPECT_TRUE(map.set(two, 3));
  EXPECT_EQ(2, map.find(one));
  EXPECT_EQ(3, map.find(two));
}

TEST(ValueMap, KeepsItsTypeOfKeysWhenItIsEmptied) {
  emptyAndRefill<uint16_t>(1, 0xFFF0, MAP_KEY_U16);
  emptyAndRefill<uint32_t>(1, 0xFFFFFFF0U, MAP_KEY_U32);
  emptyAndRefill<uint64_t>(1, 0x100000001U, MAP_KEY_U64);  // the same low halves
  emptyAndRefill<std::string>("a", "b", MAP_KEY_STRING);
}

TEST(PointerStack, HandsBackWhatWasPushed) {
  int a = 1, b = 2;
  cu::PointerStack<int> made;
  EXPECT_TRUE(made.push(&a));
  EXPECT_TRUE(made.push(&b));
  cu::PointerStack<int> stack = std::move(made);
  EXPECT_EQ(2U, stack.size());
  EXPECT_EQ(&a, stack.at(0));
  EXPECT_EQ(&b, stack.pop());
  EXPECT_EQ(&a, stack.pop());
  EXPECT_EQ(nullptr, stack.pop());
}

TEST(Mutex, IsLockable) {
  cu::Mutex made;
  cu::Mutex mutex = std::move(made);
  ASSERT_TRUE(mutex);
  EXPECT_FALSE(made);
  {
    const std::lock_guard<cu::Mutex> held(mutex);
    EXPECT_FALSE(mutex.try_lock());
  }
  EXPECT_TRUE(mutex.try_lock());
  mutex.unlock();
}

TEST(Semaphore, KeepsASignal) {
  cu::Semaphore wake(5);
  ASSERT_TRUE(wake);
  EXPECT_FALSE(wake.wait());
  wake.signal();
  EXPECT_TRUE(wake.wait());
}

TEST(NotifyQueue, TakesOverWhatItAccepts) {
  cu::NotifyQueue made(2, 5);
  cu::NotifyQueue queue = std::move(made);
  ASSERT_TRUE(queue);
  auto first = number(1), second = number(2), third = number(3);
  EXPECT_TRUE(queue.insert(first, 7));
  EXPECT_EQ(nullptr, first);
  EXPECT_TRUE(queue.insert(second));
  EXPECT_FALSE(queue.insert(third)) << "full";
  EXPECT_NE(nullptr, third) << "still the caller's";
  const cu::NotifyEntry entry = queue.take();
  ASSERT_TRUE(entry);
  EXPECT_EQ(7U, entry->tag);
  EXPECT_EQ(1, *static_cast<int *>(entry->data));
  EXPECT_TRUE(queue.take(5));
  EXPECT_FALSE(queue.take(5));
  EXPECT_TRUE(queue.insert(third)) << "released with the queue";
}

TEST(TableQueue, TakesOverWhatItAccepts) {
  cu::TableQueue queue(2);
  ASSERT_TRUE(queue);
  auto first = number(1), second = number(2), third = number(3);
  EXPECT_TRUE(queue.insert(first, 7));
  EXPECT_TRUE(queue.insert(second));
  EXPECT_FALSE(queue.insert(third));
  EXPECT_TRUE(queue.wait(5));
  const cu::TableEntry entry = queue.take();
  ASSERT_TRUE(entry);
  EXPECT_EQ(7U, entry->tag);
  EXPECT_EQ(1, entry->refCount);
  EXPECT_TRUE(queue.take());
  EXPECT_FALSE(queue.take());
  EXPECT_TRUE(queue.insert(third)) << "released with the queue";
}

TEST(Publisher, GivesEachSubscriberItsMessages) {
  const auto hot = [](const void *data) noexcept { return *static_cast<const int *>(data) > 60; };
  cu::Publisher made(8);
  cu::Publisher publisher = std::move(made);
  ASSERT_TRUE(publisher);
  cu::Publisher::Subscription everything = publisher.subscribe();
  cu::Publisher::Subscription alarms = publisher.subscribe(hot);
  ASSERT_TRUE(everything && alarms);
  for (int celsius : {50, 61, 62}) publisher.publish(&celsius, sizeof celsius);
  EXPECT_TRUE(alarms.wait(5));
  const cu::PublishedMessage first = alarms.take();
  ASSERT_TRUE(first);
  EXPECT_EQ(61, *static_cast<int *>(first->data));
  EXPECT_TRUE(alarms.take());
  EXPECT_FALSE(alarms.take());

  const uint32_t slot = everything.slot();
  everything = cu::Publisher::Subscription();
  cu::Publisher::Subscription next = publisher.subscribe();
  EXPECT_EQ(slot, next.slot());
  EXPECT_FALSE(next.take()) << "nothing inherited";
  int left = 1;
  publisher.publish(&left, sizeof left);
}

TEST(MessageLog, IsWalked) {
  cu::MessageLog made(8);
  cu::MessageLog log = std::move(made);
  ASSERT_TRUE(log);
  EXPECT_TRUE(log.add("fan 3 stopped"));
  EXPECT_TRUE(log.add("fan 3 runs"));
  EXPECT_FALSE(log.add(std::string(70000, 'x').c_str()));
  std::string all;
  log.each([&](const MessageEntry &message) {
    all += static_cast<char *>(message.data) + std::string(";");
  });
  EXPECT_EQ("fan 3 stopped;fan 3 runs;", all);
  EXPECT_FALSE(cu::MessageLog(0));
}

TEST_F(Layer, RecordStoreSurvivesARestart) {
  const int before = openDescriptors();
  for (int run = 0; run < 3; ++run) {
    cu::RecordStore made("events.db", path("store").c_str(), path("backup").c_str());
    cu::RecordStore store = std::move(made);
    ASSERT_TRUE(store);
    EXPECT_EQ(static_cast<std::size_t>(run), store.entries().size());
    EXPECT_TRUE(store.append("event", 6));
    EXPECT_FALSE(store.append("", 0));
    EXPECT_TRUE(run != 1 || store.saveAll());
    const auto held = store.lock();
    ASSERT_TRUE(held);
    for (const AmbrelStorageEntry *entry : store.entries())
      EXPECT_STREQ("event", reinterpret_cast<const char *>(entry->payload));
    EXPECT_EQ(static_cast<uint32_t>(run), store.entries()[static_cast<std::size_t>(run)]->id);
  }
  EXPECT_EQ(before, openDescriptors());
  const cu::RecordStore none("events.db", path("no/such").c_str(), path("backup").c_str());
  EXPECT_FALSE(none);
  EXPECT_TRUE(none.entries().empty());
}

TEST_F(Layer, RecordStoreHasEmptyPlacesForEntriesThatWereFreed) {
  cu::RecordStore store("events.db", path("store").c_str(), path("backup").c_str());
  ASSERT_TRUE(store.append("event", 6));
  ASSERT_EQ(1U, FreeAllAmbrelStorageEntries(store.get(), 0));
  EXPECT_TRUE(store.entries().empty());
  ASSERT_TRUE(store.append("other", 6));
  ASSERT_EQ(2U, store.entries().size());
  EXPECT_EQ(nullptr, store.entries()[0]);
  EXPECT_STREQ("other", reinterpret_cast<const char *>(store.entries()[1]->payload));
}

TEST(SharedRecord, IsSeenThroughASecondHandle) {
  struct Readings {
    uint32_t sequence;
    double celsius;
  };
  char name[16];
  std::snprintf(name, sizeof name, "/layer.%d", static_cast<int>(getpid()) % 10000000);
  const std::string lock = std::string("layer.") + std::to_string(getpid());
  auto made = cu::SharedRecord<Readings>::create(name, lock.c_str());
  auto owner = std::move(made);
  ASSERT_TRUE(owner);
  auto reader = cu::SharedRecord<Readings>::open(name, lock.c_str());
  ASSERT_TRUE(reader);
  {
    const auto held = owner.lock(50);
    ASSERT_TRUE(held);
    EXPECT_FALSE(reader.lock(2));
    EXPECT_TRUE(owner.write({7, 41.5}));
  }
  const auto held = reader.lock(50);
  ASSERT_TRUE(held);
  ASSERT_TRUE(reader.read());
  EXPECT_EQ(7U, reader.read()->sequence);
  EXPECT_EQ(41.5, reader.read()->celsius);
  EXPECT_FALSE(cu::SharedRecord<Readings>::open("/layer.none", lock.c_str()));
}

TEST(PlugIn, IsOpenedAndClosed) {
  Dl_info libc;
  ASSERT_NE(0, dladdr(reinterpret_cast<void *>(&getppid), &libc));
  const std::filesystem::path file = libc.dli_fname;
  cu::PlugIn made(file.parent_path().c_str(), file.filename().c_str());
  const cu::PlugIn plugin = std::move(made);
  ASSERT_TRUE(plugin) << file;
  EXPECT_NE(nullptr, dlsym(plugin.get(), "getppid"));
  const cu::PlugIn missing("/nonexistent", "lib.so");
  EXPECT_FALSE(missing);
}

}  // namespace
