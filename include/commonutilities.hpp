/**
 * @file commonutilities.hpp
 * @brief Optional C++17 layer: owning handles over the init and deinit pairs, views over the lists.
 *
 * Header-only, nothing to link besides the library. A handle owns one thing, can be moved and not
 * copied, and releases it in its destructor in the way that leaves nothing behind. It is empty when
 * making it failed: test it as you test a pointer. One that was moved from may be assigned to or
 * destroyed.
 *
 * @code
 * namespace cu = commonutilities;
 *
 * cu::Configuration config("/etc/demo/config.json");
 * if (!config) return 1;
 * cu::Logger log(config->logCtrlFile, config->logfile, config->logFileSize, 0xFF);
 * const uint16_t mtu = config.get<uint16_t>("net", "mtu").value_or(1500);
 * for (const auto &group : cu::view(config->ConfigObj)) puts(group.parameterGroup);
 *
 * cu::RecordStore store("events.db", "/data/board", "/data/board/backup");
 * store.append("fan 3 failed", 13);
 * @endcode
 *
 * **What lies below** is reached with get() or ->, and every function of the C headers takes it.
 * Do not release it with them.
 *
 * **Exceptions.** None crosses a C function: callables that the library calls back have to be
 * noexcept, which is checked at compile time. The layer itself throws nothing but what std::string
 * throws without memory, and works with -fno-exceptions and -fno-rtti.
 *
 * **Addresses.** Queues and locks keep their records on the heap, so moving a handle moves no
 * record that other threads use. Entries and subscriptions must go before their queue.
 *
 * **Thread safety** is that of the C functions. A handle itself belongs to one thread at a time.
 */
#ifndef COMMONUTILITIES_COMMONUTILITIES_HPP
#define COMMONUTILITIES_COMMONUTILITIES_HPP

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "commonutilities.h"

namespace commonutilities {

/* ---- memory and views ------------------------------------------------------------------------ */

/** Gives memory back to free(). */
struct Free {
  void operator()(void *memory) const noexcept { std::free(memory); }
};

/** A string that the library made for the caller. */
using Text = std::unique_ptr<char, Free>;

/** A (count, list) pair as a range; valid as long as the list is neither changed nor released. */
template <class T>
class ListView {
 public:
  ListView(T *list, std::size_t count) noexcept : list_(list), count_(list ? count : 0) {}
  T *begin() const noexcept { return list_; }
  T *end() const noexcept { return list_ + count_; }
  std::size_t size() const noexcept { return count_; }
  bool empty() const noexcept { return count_ == 0; }
  T &operator[](std::size_t index) const noexcept { return list_[index]; }

 private:
  T *list_;
  std::size_t count_;
};

/** A view over any record with the fields `count` and `list`; of a constant one, constant. */
template <class List, class T = std::remove_pointer_t<decltype(std::declval<List &>().list)>>
ListView<std::conditional_t<std::is_const_v<List>, const T, T>> view(List &array) noexcept {
  return {array.list, array.count};
}
/** The tokens of a list. */
inline ListView<const char *const> view(const TokenList &list) noexcept {
  return {list.tokens, list.count};
}

/** A text that may be null as a view; null is empty. */
inline std::string_view text(const char *string) noexcept {
  return string != nullptr ? std::string_view(string) : std::string_view();
}

/**
 * A zero-filled record with the function that releases what it owns. For every record of the
 * library that may be moved:
 *
 * @code
 * cu::Record<rfStringArray, free_rfStringArray> names;
 * AddStringToRfCharArray("fan 3", names.get());
 * @endcode
 */
template <class T, auto Release>
class Record {
 public:
  Record() noexcept = default;
  Record(Record &&other) noexcept : value_(std::exchange(other.value_, T{})) {}
  Record &operator=(Record &&other) noexcept {
    if (this != &other) {
      reset();
      value_ = std::exchange(other.value_, T{});
    }
    return *this;
  }
  ~Record() { Release(&value_); }

  T *get() noexcept { return &value_; }
  const T *get() const noexcept { return &value_; }
  T *operator->() noexcept { return &value_; }
  const T *operator->() const noexcept { return &value_; }
  T &operator*() noexcept { return value_; }
  const T &operator*() const noexcept { return value_; }

  /** Releases what the record owns and zero-fills it: ready for another load. */
  void reset() noexcept {
    Release(&value_);
    value_ = T{};
  }

 private:
  T value_{};
};

/** A flag that moves: the handle that was moved from is empty. */
class Flag {
 public:
  explicit Flag(bool set = false) noexcept : set_(set) {}
  Flag(Flag &&other) noexcept : set_(std::exchange(other.set_, false)) {}
  Flag &operator=(Flag &&other) noexcept {
    set_ = std::exchange(other.set_, false);
    return *this;
  }
  explicit operator bool() const noexcept { return set_; }

 private:
  bool set_;
};

/** @name Releases that free what the C ones leave to the caller
 *  @{ */
inline void releaseDevice(rfAEBoardTopologyAEDevice &device) noexcept {
  free_rfAEBoardTopologyAESensorArray(&device.SensorList);
  device.SensorList = {};
}
inline void releaseBoard(rfAEBoardTopology *board) noexcept {
  for (auto &bus : view(board->AEBus))
    for (auto &segment : view(bus.AEBUSSegment)) {
      for (auto &device : view(segment.AEDevice)) releaseDevice(device);
      releaseDevice(segment.AESegmentDevice);
      free_rfAEBoardTopologyAEDevice(&segment.AESegmentDevice);
    }
  free_rfAEBoardTopology(board);
}
inline void releaseSensorRule(rfAESensorMonitorRule *rule) noexcept {
  free_rfAESensorMonitorArray(&rule->sensors);
  free_rfAESensorMonitorRule(rule);
}
inline void releaseAction(AmbrelJsonCustomAction *action) noexcept {
  std::free(action->action);
  free_AmbrelJsonCustomAction(action);
}
/** @} */

/** A board's description, with its sensors. */
using Board = Record<rfAEBoardTopology, releaseBoard>;
/** A rule, with its sensors. */
using SensorRule = Record<rfAESensorMonitorRule, releaseSensorRule>;
/** A custom action, with its name. */
using CustomAction = Record<AmbrelJsonCustomAction, releaseAction>;
/** A file dictionary; fill it with ParserJSONFileDictionary(). */
using FileDictionary = Record<rfAEFileDictionary, free_rfAEFileDictionary>;
/** A list of parameters. */
using Parameters = Record<rfAECommonConfigConfigParamArray, free_rfAECommonConfigConfigParamArray>;
/** Growing arrays. */
using StringArray = Record<rfStringArray, free_rfStringArray>;
/** @copydoc StringArray */
using IntArray = Record<rfIntArray, free_rfIntArray>;
/** @copydoc StringArray */
using NumberArray = Record<rfNumberArray, free_rfNumberArray>;

/** The tokens of a string. */
class Tokens : public Record<TokenList, FreeTokens> {
 public:
  Tokens() noexcept = default;
  Tokens(const char *string, const char *delimiters) noexcept {
    tokenizeString(string, delimiters, get());
  }
  explicit operator bool() const noexcept { return get()->tokens != nullptr; }
};

/* ---- the logger ------------------------------------------------------------------------------ */

/** One reference to the process's logger. Make and release it while one thread runs. */
class Logger {
 public:
  Logger() noexcept = default;
  /** See DbgLog_InitDebugLogger(); @p mask is one where the settings file is shipped. */
  Logger(const char *settings, const char *file, std::uint32_t size, std::int32_t mask) noexcept
      : held_(DbgLog_InitDebugLogger(settings, file, size, mask) == 1) {
    keepAlive();
  }
  Logger(Logger &&other) noexcept : held_(std::exchange(other.held_, false)) {}
  Logger &operator=(Logger &&other) noexcept {
    std::swap(held_, other.held_);
    return *this;
  }
  ~Logger() {
    if (held_) DbgLog_DeInitDebugLogger();
  }
  explicit operator bool() const noexcept { return held_; }

  /** Switches output on again after the file has started over. For the main loop. */
  static void keepAlive() noexcept {
    DBGLogCtrl *block = DbgLog_GetEnabledLogger();
    if (block == nullptr || __atomic_load_n(&block->loggingEnabled, __ATOMIC_RELAXED)) return;
    if (!hasFile(*block)) return; /* it is its settings that keep it silent */
    DbgLog_ChangeLogSettings(__atomic_load_n(&block->logLevelMask, __ATOMIC_RELAXED));
  }

 private:
  /* Other threads close and open the file under the lock. */
  static bool hasFile(DBGLogCtrl &block) noexcept {
    pthread_mutex_lock(&block.lock);
    const bool open = block.logFile != nullptr;
    pthread_mutex_unlock(&block.lock);
    return open;
  }

  bool held_ = false;
};

/* ---- configuration --------------------------------------------------------------------------- */

/** A loaded configuration document. */
class Configuration : public Record<rfAECommonConfig, aeFreeConfiguration> {
 public:
  Configuration() noexcept = default;
  explicit Configuration(const char *path) noexcept { load(path); }
  explicit operator bool() const noexcept { return bool(loaded_); }

  /** Loads a document in place of the one that it holds; false, and empty, when that fails. */
  bool load(const char *path) noexcept {
    reset();
    loaded_ = Flag(aeloadConfiguration(path, get()) == 1);
    if (!loaded_) reset();
    return bool(loaded_);
  }
  /** Releases the document: empty, and ready for another load(). */
  void reset() noexcept {
    Record::reset();
    loaded_ = Flag();
  }

  /** A parameter, or null. */
  rfAECommonConfigConfigParam *find(const char *group, const char *name) const noexcept {
    rfAECommonConfigConfigObj *found = nullptr;
    rfAECommonConfigConfigParam *param = nullptr;
    if (!getAEParameterGroup(&get()->ConfigObj, group, &found)) return nullptr;
    return getAEParameterinArray(&found->ConfigParam, name, &param) ? param : nullptr;
  }

  /**
   * A parameter's value by the getter of its type; nothing when it is missing or has another type.
   * T is one of the fixed-width integers that have a getter, float, bool or std::string_view.
   */
  template <class T>
  std::optional<T> get(const char *group, const char *name) const noexcept {
    const rfAECommonConfigConfigParam *param = find(group, name);
    if (param == nullptr) return std::nullopt;
    if constexpr (std::is_same_v<T, std::string_view>) {
      if (param->type != CONFIG_TYPE_STRING) return std::nullopt;
      return text(param->parameterValue);
    } else if constexpr (std::is_same_v<T, bool>) {
      std::uint8_t flag = 0;
      return getAEParameterAsBoolean(param, &flag) ? std::optional<T>(flag != 0) : std::nullopt;
    } else {
      T value{};
      return read(param, &value) ? std::optional<T>(value) : std::nullopt;
    }
  }
  using Record::get;

 private:
  static int read(const rfAECommonConfigConfigParam *p, std::uint8_t *v) noexcept {
    return getAEParameterAsUnsignedInteger8(p, v);
  }
  static int read(const rfAECommonConfigConfigParam *p, std::uint16_t *v) noexcept {
    return getAEParameterAsUnsignedInteger16(p, v);
  }
  static int read(const rfAECommonConfigConfigParam *p, std::uint32_t *v) noexcept {
    return getAEParameterAsUnsignedInteger(p, v);
  }
  static int read(const rfAECommonConfigConfigParam *p, std::uint64_t *v) noexcept {
    return getAEParameterAsUnsignedInteger64(p, v);
  }
  static int read(const rfAECommonConfigConfigParam *p, std::int32_t *v) noexcept {
    return getAEParameterAsInteger(p, v);
  }
  static int read(const rfAECommonConfigConfigParam *p, std::int64_t *v) noexcept {
    return getAEParameterAsInteger64(p, v);
  }
  static int read(const rfAECommonConfigConfigParam *p, float *v) noexcept {
    return getAEParameterAsFloat(p, v);
  }

  Flag loaded_;
};

/* ---- JSON ------------------------------------------------------------------------------------ */

/**
 * Parses a text and calls `callable(const char *json, jsmntok_t *tokens, uint32_t count)`, which
 * says whether it took the document and is noexcept. False for a refused document, too.
 */
template <class Callable>
bool parseText(std::string_view document, Callable &&callable) noexcept {
  using F = std::remove_reference_t<Callable>;
  static_assert(std::is_nothrow_invocable_r_v<bool, F &, const char *, jsmntok_t *, std::uint32_t>,
                "the callable is called by C code: make it noexcept");
  struct Bridge {
    static std::int32_t call(const char *json, jsmntok_t *tokens, const char *, std::uint32_t count,
                             void *user) noexcept {
      return json != nullptr && (**static_cast<F **>(user))(json, tokens, count) ? 0 : 1;
    }
  };
  F *address = std::addressof(callable);
  return document.size() < 0x7FFFFFFEU &&
         parseJsonBuffer(document.data(), static_cast<std::uint32_t>(document.size()), 0,
                         Bridge::call, &address) == 1;
}

/** The elements of an array node as a range of JsonNode references. */
class JsonElements {
 public:
  class iterator {
   public:
    iterator(const JsonNode *array, JsonNode *node, std::uint32_t cursor) noexcept
        : array_(array), node_(node), cursor_(cursor) {}
    JsonNode &operator*() const noexcept { return *node_; }
    JsonNode *operator->() const noexcept { return node_; }
    iterator &operator++() noexcept {
      node_ = AmbrelGetNextElementInArray(array_, &cursor_);
      return *this;
    }
    bool operator!=(const iterator &other) const noexcept { return node_ != other.node_; }

   private:
    const JsonNode *array_;
    JsonNode *node_;
    std::uint32_t cursor_;
  };
  explicit JsonElements(const JsonNode *array) noexcept : array_(array) {}
  iterator begin() const noexcept { return ++iterator(array_, nullptr, 0); }
  iterator end() const noexcept { return iterator(array_, nullptr, 0); }

 private:
  const JsonNode *array_;
};

/** A document as a tree of nodes. */
class JsonTree : public Record<JsonNode, AmbrelFreeJsonNode> {
 public:
  JsonTree() noexcept = default;
  explicit JsonTree(std::string_view document) noexcept { load(document); }
  explicit operator bool() const noexcept { return bool(built_); }

  /** Builds a document's tree in place of the one that it holds; false, and empty, on failure. */
  bool load(std::string_view document) noexcept {
    reset();
    const auto build = [this](const char *json, jsmntok_t *tokens, std::uint32_t count) noexcept {
      return CreateDictionary(json, tokens, count, get()) > 0;
    };
    built_ = Flag(parseText(document, build));
    if (!built_) reset();
    return bool(built_);
  }
  /** Releases the tree: empty, and ready for another load(). */
  void reset() noexcept {
    Record::reset();
    built_ = Flag();
  }

  /** The node at a path, or null. */
  JsonNode *find(const char *path) noexcept {
    JsonNode *node = nullptr;
    return AmbrelFindJsonNode(get(), path, nullptr, &node) ? node : nullptr;
  }
  /** The text of the value at a path; nothing when there is no value. */
  std::optional<std::string_view> value(const char *path) noexcept {
    const char *found = AmbrelGetValueFromElement(find(path));
    return found ? std::optional<std::string_view>(found) : std::nullopt;
  }
  /** The elements of the array at a path; none when there is no array. */
  JsonElements elements(const char *path) noexcept { return JsonElements(find(path)); }

 private:
  Flag built_;
};

/** Writes a document. Texts are escaped, unlike by the C functions. */
class JsonWriter : public Record<JsonBox, JsonFreeBox> {
 public:
  /** Closes an object or an array at the end of its scope; the writer must stay where it is. */
  class [[nodiscard]] Scope {
   public:
    Scope(JsonBox *box, int (*close)(JsonBox *)) noexcept : box_(box), close_(close) {}
    Scope(const Scope &) = delete;
    Scope &operator=(const Scope &) = delete;
    ~Scope() { close_(box_); }

   private:
    JsonBox *box_;
    int (*close_)(JsonBox *);
  };

  Scope object(const char *key = nullptr) noexcept {
    JsonStartObject(key, get());
    return {get(), JsonEndObject};
  }
  Scope array(const char *key = nullptr) noexcept {
    JsonStartArray(key, get());
    return {get(), JsonEndArray};
  }
  void add(const char *key, std::string_view value) {
    JsonAddStringElement(get(), key, escaped(value).c_str());
  }
  void add(const char *key, const char *value) { add(key, text(value)); }
  template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
  void add(const char *key, T value) noexcept {
    if constexpr (std::is_same_v<T, bool>) {
      JsonAddBooleanElement(get(), key, value ? 1 : 0);
    } else if constexpr (std::is_unsigned_v<T>) {
      JsonAddUnsignedIntegerElement(get(), key, value);
    } else {
      static_assert(std::is_integral_v<T> && sizeof(T) <= 4,
                    "the writer has signed integers of up to 32 bits; for numbers with decimals "
                    "call addNumber()");
      JsonAddIntegerElement(get(), key, value);
    }
  }
  void addNumber(const char *key, float value, std::uint32_t decimals) noexcept {
    JsonAddFloatElement(get(), key, decimals, value);
  }
  /** Ends the text; empty when memory ran out on the way. Call it once, outside all scopes. */
  std::string_view finish() noexcept {
    return get()->data != nullptr && JsonFinalize(get()) ? text(get()->data) : std::string_view();
  }

  /** A text as it may stand between quotes. */
  static std::string escaped(std::string_view plain) {
    std::string out;
    out.reserve(plain.size());
    for (const char c : plain) {
      if (static_cast<unsigned char>(c) < 0x20) {
        char code[7];
        std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
        out += code;
        continue;
      }
      if (c == '"' || c == '\\') out += '\\';
      out += c;
    }
    return out;
  }
};

/* ---- containers ------------------------------------------------------------------------------ */

/** A map from Key (std::string, or an unsigned integer of 16, 32 or 64 bits) to copies of T. */
template <class Key, class T>
class ValueMap : public Record<Map, map_deinit_> {
  static_assert(std::is_trivially_copyable_v<T>, "values are copied byte by byte");
  static_assert(std::is_same_v<Key, std::string> || std::is_same_v<Key, std::uint16_t> ||
                    std::is_same_v<Key, std::uint32_t> || std::is_same_v<Key, std::uint64_t>,
                "the map has no such keys");
  static constexpr bool kTexts = std::is_same_v<Key, std::string>;

 public:
  /** What a key is given as. */
  using Argument = std::conditional_t<kTexts, const char *, Key>;

  ValueMap() noexcept {
    get()->keyType = kTexts             ? MAP_KEY_STRING
                     : sizeof(Key) == 2 ? MAP_KEY_U16
                     : sizeof(Key) == 4 ? MAP_KEY_U32
                                        : MAP_KEY_U64;
  }
  /** Removes all entries. */
  void reset() noexcept { map_deinit_(get()); }
  bool set(Argument key, const T &value) noexcept {
    return map_set_(get(), address(key), &value, sizeof value) == 0;
  }
  std::optional<T> find(Argument key) const noexcept {
    const void *stored = map_get_(Record::get(), address(key));
    if (stored == nullptr) return std::nullopt;
    T value;
    std::memcpy(&value, stored, sizeof value);
    return value;
  }
  void remove(Argument key) noexcept { map_remove_(get(), address(key)); }
  std::size_t size() const noexcept { return map_get_numElements_(get()); }
  /** Calls `callable(key, value)` for each entry; it must not change the map. */
  template <class Callable>
  void each(Callable &&callable) const {
    MapIter iter = map_iter_();
    while (const void *stored = map_next_(get(), &iter)) {
      T value;
      std::memcpy(&value, iter.node->value, sizeof value);
      if constexpr (kTexts) {
        callable(static_cast<const char *>(stored), value);
      } else {
        Key key;
        std::memcpy(&key, stored, sizeof key);
        callable(key, value);
      }
    }
  }

 private:
  static const void *address(const Argument &key) noexcept {
    if constexpr (kTexts) {
      return key;
    } else {
      return &key;
    }
  }
};

inline void releaseStack(Stack *stack) noexcept {
  stack_deinit_(stack, 0);
}

/** A stack of pointers to T, which stay their owner's. */
template <class T>
class PointerStack : public Record<Stack, releaseStack> {
 public:
  PointerStack() noexcept { stack_init_(get()); }
  bool push(T *item) noexcept { return stack_push_(get(), item, 1) == 1; }
  T *pop() noexcept { return static_cast<T *>(stack_pop_(get())); }
  T *at(std::uint32_t index) const noexcept { return static_cast<T *>(stack_get_(get(), index)); }
  std::size_t size() const noexcept { return stack_get_size_(get()); }
};

/* ---- locks ----------------------------------------------------------------------------------- */

/** A record on the heap, at one address until it is released. */
template <class T, auto Release>
struct Unpin {
  void operator()(T *record) const noexcept {
    Release(record);
    delete record;
  }
};
/** @copydoc Unpin */
template <class T, auto Release>
using Pinned = std::unique_ptr<T, Unpin<T, Release>>;

/** A mutex for std::lock_guard. */
class Mutex {
 public:
  Mutex() noexcept : mutex_(new (std::nothrow) AmbrelMutex()) { ambrel_mutex_init(get()); }
  explicit operator bool() const noexcept { return mutex_ && mutex_->initialised; }
  void lock() noexcept { ambrel_mutex_lock(get()); }
  bool try_lock() noexcept { return ambrel_mutex_trylock(get()) == 0; }
  void unlock() noexcept { ambrel_mutex_unlock(get()); }
  AmbrelMutex *get() const noexcept { return mutex_.get(); }

 private:
  Pinned<AmbrelMutex, ambrel_mutex_destroy> mutex_;
};

/** A semaphore that counts: a signal that nobody waits for is kept. */
class Semaphore {
 public:
  /** @param timeoutMs what wait() waits at most; 0: without limit. */
  explicit Semaphore(std::uint32_t timeoutMs) noexcept
      : semaphore_(new (std::nothrow) AmbrelSemaphore()) {
    if (semaphore_) semaphore_->usePosixSem = 1;
    if (!AmbrelSemaphoreInit(semaphore_.get(), timeoutMs)) semaphore_.reset();
  }
  explicit operator bool() const noexcept { return semaphore_ != nullptr; }
  /** True when woken. */
  bool wait() noexcept { return AmbrelSemphoreTimedWait(get()) == 0; }
  void signal() noexcept { AmbrelSemphoreSignal(get(), 0); }
  AmbrelSemaphore *get() const noexcept { return semaphore_.get(); }

 private:
  Pinned<AmbrelSemaphore, AmbrelSemaphoreDestroy> semaphore_;
};

/* ---- queues ---------------------------------------------------------------------------------- */

/** Releases an entry that was taken out of its queue. */
template <class T, void (*Release)(T *, int)>
struct DropEntry {
  void operator()(T *entry) const noexcept { Release(entry, 0); }
};
/** An entry of a notify queue; frees its data, too. */
using NotifyEntry = std::unique_ptr<QueueEntry, DropEntry<QueueEntry, FreeQueueEntry>>;
/** An entry of a flex queue; frees its data, too. */
using TableEntry = std::unique_ptr<FlexEntry, DropEntry<FlexEntry, FreeFlexQueueEntry>>;
/** A subscriber's copy of a message. */
using PublishedMessage =
    std::unique_ptr<FlexMsgEntry, DropEntry<FlexMsgEntry, FreeFlexMsgQueueEntry>>;
/** A copy of a message of a message log. */
struct DropMessage {
  void operator()(MessageEntry *message) const noexcept { FreeMessageEntry(message); }
};
/** @copydoc DropMessage */
using LoggedMessage = std::unique_ptr<MessageEntry, DropMessage>;

/** A bounded queue of malloc memory. */
class NotifyQueue {
 public:
  NotifyQueue(std::uint32_t capacity, std::uint32_t delayMs) noexcept
      : queue_(new (std::nothrow) Queue()) {
    if (queue_ && !init_queue(get(), capacity, delayMs)) queue_.reset();
  }
  explicit operator bool() const noexcept { return queue_ != nullptr; }
  /** Takes @p data over on success; leaves it alone when the queue is full. */
  template <class T>
  bool insert(std::unique_ptr<T, Free> &data, std::uint32_t tag = 0) noexcept {
    if (!insertQueueEntry(get(), data.get(), tag, 0)) return false;
    data.release();
    return true;
  }
  /** The oldest entry, or null. */
  NotifyEntry take() noexcept { return NotifyEntry(deQueueEntry(get(), 0)); }
  /** The oldest entry, waiting for one once: take first, since a signal to nobody is lost. */
  NotifyEntry take(std::int32_t ms) noexcept {
    NotifyEntry entry = take();
    if (entry) return entry;
    waitOnQueue(get(), ms);
    return take();
  }
  Queue *get() const noexcept { return queue_.get(); }

 private:
  Pinned<Queue, deinit_queue> queue_;
};

/** A table of entries of malloc memory, in broadcast mode. */
class TableQueue {
 public:
  explicit TableQueue(std::uint32_t capacity) noexcept : queue_(new (std::nothrow) FlexQueue()) {
    init_Flexqueue(get(), capacity, 0);
    /* Without memory for its arrays it is a queue all the same, but one that takes nothing. */
    if (queue_ && (queue_->slots == nullptr || queue_->subscribers == nullptr)) queue_.reset();
  }
  explicit operator bool() const noexcept { return queue_ != nullptr; }
  /** Takes @p data over on success; leaves it alone when the table is full. */
  template <class T>
  bool insert(std::unique_ptr<T, Free> &data, std::uint32_t tag = 0) noexcept {
    if (!insertFlexQueueEntry(get(), data.get(), tag, 0)) return false;
    data.release();
    return true;
  }
  /** Takes the first entry out of the table; null when there is none. */
  TableEntry take() noexcept {
    if (!queue_) return nullptr;
    FlexQueueIter walk = {};
    lockFlexQueue(get(), 0);
    getFlexQueueIter(get(), &walk, 1);
    FlexEntry *entry = peekFlexQueueEntry(&walk, 1);
    if (entry != nullptr) {
      deQueueFlexEntry(&walk, 1);
      FreeFlexQueueEntry(entry, 1); /* the peek's reference; the queue's is now the handle's */
    }
    unlockFlexQueue(get());
    return TableEntry(entry);
  }
  bool wait(std::int32_t ms) noexcept { return waitOnFlexQueue(get(), 0, ms) != 0; }
  FlexQueue *get() const noexcept { return queue_.get(); }

 private:
  Pinned<FlexQueue, deinit_Flexqueue> queue_;
};

/** Publish and subscribe. */
class Publisher {
 public:
  /** A registration; drains its slot before it leaves it, so that nobody inherits its messages. */
  class Subscription {
   public:
    Subscription() noexcept = default;
    Subscription(FlexMsgQueue *queue, std::uint32_t slot) noexcept : queue_(queue), slot_(slot) {}
    Subscription(Subscription &&other) noexcept
        : queue_(std::exchange(other.queue_, nullptr)), slot_(other.slot_) {}
    Subscription &operator=(Subscription &&other) noexcept {
      std::swap(queue_, other.queue_);
      std::swap(slot_, other.slot_);
      return *this;
    }
    ~Subscription() {
      if (queue_ == nullptr) return;
      while (take()) {
      }
      deRegisterFlexMsgQueueSubscriber(queue_, slot_);
    }
    explicit operator bool() const noexcept { return queue_ != nullptr; }
    /** The oldest message, or null. */
    PublishedMessage take() noexcept {
      return PublishedMessage(DeQueueMsgFlexEntry(queue_, slot_, 0));
    }
    /** True when there may be a message. */
    bool wait(std::int32_t ms) noexcept { return waitOnFlexMsgQueue(queue_, slot_, ms) == 1; }
    std::uint32_t slot() const noexcept { return slot_; }

   private:
    FlexMsgQueue *queue_ = nullptr;
    std::uint32_t slot_ = 0;
  };

  /** @param capacity messages that each subscriber's queue holds. */
  explicit Publisher(std::uint32_t capacity, bool dropOldest = true) noexcept
      : queue_(new (std::nothrow) FlexMsgQueue()) {
    Init_FlexMsgQueue(get(), 0, capacity, 0);
    if (queue_) queue_->autopurge = dropOldest ? 1 : 0;
  }
  explicit operator bool() const noexcept { return queue_ != nullptr; }
  /** Publishes a copy of @p size bytes. */
  void publish(void *data, std::uint32_t size) noexcept {
    insertFlexMsgQueueEntry(get(), data, size, 0);
  }
  Subscription subscribe() noexcept {
    std::uint32_t slot = 0;
    if (!registerFlexMsgQueueSubscriber(get(), &slot)) return {};
    return {get(), slot};
  }
  /**
   * A subscription of the messages for which `filter(const void *)` is true. The filter must be
   * noexcept, outlive the subscription, and not call back into the queue.
   */
  template <class Filter>
  Subscription subscribe(Filter &filter) noexcept {
    static_assert(std::is_nothrow_invocable_r_v<bool, Filter &, const void *>,
                  "the filter is called by C code: make it noexcept");
    struct Bridge {
      static int call(void *context, void *data) noexcept {
        return (*static_cast<Filter *>(context))(static_cast<const void *>(data)) ? 1 : 0;
      }
    };
    void *context = const_cast<void *>(static_cast<const void *>(std::addressof(filter)));
    std::uint32_t slot = 0;
    if (!registerFlexMsgQueueSubscriberWMatch(get(), context, Bridge::call, &slot)) return {};
    return {get(), slot};
  }
  FlexMsgQueue *get() const noexcept { return queue_.get(); }

 private:
  /* The C release leaves half of what is still queued, and the array. */
  static void release(FlexMsgQueue *queue) noexcept {
    for (std::uint32_t i = 0; queue->subs != nullptr && i < queue->subCount; ++i)
      while (void *left = deQueueSimpleEntry(&queue->subs[i]->queue, 0))
        FreeFlexMsgQueueEntry(static_cast<FlexMsgEntry *>(left), 0);
    DeInit_FlexMsgQueue(queue);
    std::free(queue->subs);
  }
  Pinned<FlexMsgQueue, release> queue_;
};

/** A circular log of messages in memory. */
class MessageLog {
 public:
  explicit MessageLog(std::uint16_t capacity) noexcept : queue_(new (std::nothrow) MessageQueue()) {
    if (queue_ && MessageQueueInit(get(), capacity) != 0) queue_.reset();
  }
  explicit operator bool() const noexcept { return queue_ != nullptr; }
  /** Adds a text; false when it is longer than a message can be. */
  bool add(const char *message) noexcept {
    const std::size_t length = std::strlen(message);
    return length < 0xFFFF &&
           MessageQueueAdd(get(), message, static_cast<std::uint16_t>(length)) == 0;
  }
  /** Calls `callable(const MessageEntry &)` for each message since the last wrap. */
  template <class Callable>
  void each(Callable &&callable) const {
    MessageQueueIter iter;
    MessageEntry *message = nullptr;
    if (MessageQueueGetIter(get(), &iter) != 0) return;
    while (MessageQueueGetMessage(&iter, &message) == 0) {
      const LoggedMessage owner(message);
      callable(static_cast<const MessageEntry &>(*owner));
    }
  }
  MessageQueue *get() const noexcept { return queue_.get(); }

 private:
  Pinned<MessageQueue, MessageQueueDeInit> queue_;
};

/* ---- storage, shared memory, plug-ins -------------------------------------------------------- */

/** A record store, started and loaded. Stop its maintenance thread before it goes. */
class RecordStore {
 public:
  /** A held lock. */
  class [[nodiscard]] Lock {
   public:
    explicit Lock(AmbrelStorageEngine *engine) noexcept
        : engine_(engine != nullptr && ambrelStorageLock(engine, 0) ? engine : nullptr) {}
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
    ~Lock() {
      if (engine_ != nullptr) ambrelStorageUnLock(engine_, 0);
    }
    /** False when the lock could not be had in time. */
    explicit operator bool() const noexcept { return engine_ != nullptr; }

   private:
    AmbrelStorageEngine *engine_;
  };

  RecordStore(const char *file, const char *directory, const char *backup) noexcept {
    AmbrelStorageEngine *engine = nullptr;
    const bool started = InitializeAmbrelStorageEngine(&engine, file, directory, backup) != nullptr;
    engine_.reset(engine);
    if (!started) {
      engine_.reset();
      return;
    }
    loadAllAmbrelStorageEntries(engine);
    /* Otherwise the first new record would repeat the last id. */
    if (engine->entryCount != 0) ++engine->nextRecordId;
  }
  explicit operator bool() const noexcept { return engine_ != nullptr; }
  Lock lock() noexcept { return Lock(get()); }
  /** Creates a record with a copy of @p size bytes, and saves it with a fresh checksum. */
  bool append(const void *data, std::uint32_t size) noexcept {
    const Lock held(get());
    AmbrelStorageEntry *entry = nullptr;
    if (!held || size == 0) return false;
    std::unique_ptr<std::uint8_t, Free> copy(static_cast<std::uint8_t *>(std::malloc(size)));
    if (!copy || !AddAndCreateAmbrelStorageEntryInArray(get(), &entry, 1)) return false;
    std::memcpy(copy.get(), data, size);
    entry->payload = copy.release();
    entry->length = size;
    return saveAmbrelStorageDeviceUpdateEntry(get(), entry, 1, 1) != 0;
  }
  /**
   * The entries in memory; superseded ones, too. Use them under the lock. Elements are null where
   * FreeAllAmbrelStorageEntries() or a lack of memory has cost the entries before them.
   */
  ListView<AmbrelStorageEntry *> entries() const noexcept {
    if (!engine_) return {nullptr, 0};
    return {engine_->entries, engine_->entryCount};
  }
  bool saveAll() noexcept { return saveAllAmbrelStorageEntries(get(), 0) != 0; }
  AmbrelStorageEngine *get() const noexcept { return engine_.get(); }

 private:
  struct Stop {
    void operator()(AmbrelStorageEngine *engine) const noexcept {
      DeInitializeAmbrelStorageEngine(engine);
    }
  };
  std::unique_ptr<AmbrelStorageEngine, Stop> engine_;
};

/** A segment of shared memory that holds one T. */
template <class T>
class SharedRecord {
  static_assert(std::is_trivially_copyable_v<T>, "other processes see its bytes");

 public:
  /** A held lock. */
  class [[nodiscard]] Lock {
   public:
    Lock(SharedMemorySegment *segment, std::uint32_t attempts) noexcept
        : segment_(aeLockSharedMemory(segment, attempts) ? segment : nullptr) {}
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
    ~Lock() {
      if (segment_ != nullptr) aeUnLockSharedMemory(segment_);
    }
    /** False when somebody else kept it. */
    explicit operator bool() const noexcept { return segment_ != nullptr; }

   private:
    SharedMemorySegment *segment_;
  };

  /** Makes the segment and owns its names. Names are literals: clean-up removes files by them. */
  template <std::size_t N>
  static SharedRecord create(const char (&name)[N], const char *lock) noexcept {
    return SharedRecord(padded(name).data(), lock, 1);
  }
  /** Opens what another process made. */
  template <std::size_t N>
  static SharedRecord open(const char (&name)[N], const char *lock) noexcept {
    return SharedRecord(padded(name).data(), lock, 0);
  }
  explicit operator bool() const noexcept { return segment_ != nullptr; }
  /** Waits for the lock some @p attempts milliseconds: a dead process keeps its lock. */
  Lock lock(std::uint32_t attempts) noexcept { return Lock(get(), attempts); }
  /** Copies out; hold the lock. */
  std::optional<T> read() const noexcept {
    T value;
    if (!aeReadSharedMemory(get(), &value, sizeof value)) return std::nullopt;
    return value;
  }
  /** Copies in; hold the lock. */
  bool write(const T &value) noexcept {
    return aeWriteSharedMemory(get(), &value, sizeof value) != 0;
  }
  SharedMemorySegment *get() const noexcept { return segment_.get(); }

 private:
  template <std::size_t N>
  static std::array<char, 16> padded(const char (&name)[N]) noexcept {
    static_assert(N <= 16, "a name has at most 15 characters");
    std::array<char, 16> buffer = {};
    std::memcpy(buffer.data(), name, N);
    return buffer;
  }
  SharedRecord(const char *name, const char *lock, std::uint8_t create) noexcept {
    SharedMemorySegment *segment = nullptr;
    if (!aeInitializeSharedMemory(name, lock, create, 1, sizeof(T), &segment)) return;
    segment_.reset(segment);
    if (segment->base == MAP_FAILED) segment_.reset(); /* told by the base alone */
  }
  struct Close {
    void operator()(SharedMemorySegment *segment) const noexcept {
      aeDeInitializeSharedMemory(segment);
      std::free(segment);
    }
  };
  std::unique_ptr<SharedMemorySegment, Close> segment_;
};

/** A plug-in library. */
class PlugIn {
 public:
  PlugIn(const char *directory, const char *file) noexcept {
    void *handle = nullptr;
    if (AmbrelLoadChildLibrary(directory, file, &handle)) handle_.reset(handle);
  }
  explicit operator bool() const noexcept { return handle_ != nullptr; }
  /** For dlsym(). */
  void *get() const noexcept { return handle_.get(); }

 private:
  struct Unload {
    void operator()(void *handle) const noexcept { AmbrelUnloadChildLibrary(handle); }
  };
  std::unique_ptr<void, Unload> handle_;
};

}  // namespace commonutilities

#endif
