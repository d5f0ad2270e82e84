// The record store: saving one 256-byte record, a full save, and start-up with loading.
#include <fcntl.h>
#include <lmdb.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/frame.hpp"
#include "include/AmbrelDataStorage.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

constexpr uint32_t kPayload = 256;
constexpr int kInARow = 40;

std::string g_folder;
uint8_t g_payload[kPayload];

void MustBe(bool condition, const char *what) {
  if (condition) return;
  std::fprintf(stderr, "storage bench: %s failed\n", what);
  std::exit(1);
}

/// A store of `count` records, as a full save leaves it.
AmbrelStorageEngine *MakeStore(const std::string &name, int count) {
  AmbrelStorageEngine *engine = nullptr;
  InitializeAmbrelStorageEngine(&engine, name.c_str(), (g_folder + "/p").c_str(),
                                (g_folder + "/b").c_str());
  for (int i = 0; i < count; ++i) {
    AmbrelStorageEntry *entry = nullptr;
    MustBe(AddAndCreateAmbrelStorageEntryInArray(engine, &entry, 0) != 0, "create");
    entry->payload = static_cast<uint8_t *>(malloc(kPayload));
    memcpy(entry->payload, g_payload, kPayload);
    entry->length = kPayload;
    if (i == 0) MustBe(saveAmbrelStorageDeviceUpdateEntry(engine, entry, 0, 0) != 0, "save");
  }
  MustBe(saveAllAmbrelStorageEntries(engine, 0) != 0, "full save");
  return engine;
}

/// Saves 40 new records and takes the store back to what it was: entries and file.
uint64_t SaveInARow(AmbrelStorageEngine *engine, uint32_t refresh, off_t size) {
  const uint16_t held = engine->entryCount;
  for (int i = 0; i < kInARow; ++i) {
    AmbrelStorageEntry *entry = nullptr;
    AddAndCreateAmbrelStorageEntryInArray(engine, &entry, 0);
    entry->payload = static_cast<uint8_t *>(malloc(kPayload));
    memcpy(entry->payload, g_payload, kPayload);
    entry->length = kPayload;
    MustBe(saveAmbrelStorageDeviceUpdateEntry(engine, entry, 0, refresh) != 0, "save");
  }
  for (uint16_t i = held; i < engine->entryCount; ++i) {
    FreeAmbrelStorageEntry(engine->entries[i]);
    free(engine->entries[i]);
  }
  engine->entryCount = held;
  engine->nextRecordId = held;
  MustBe(
      truncate((std::string(engine->primaryDirectory) + "/" + engine->fileName).c_str(), size) == 0,
      "truncate");
  return kInARow;
}

/// What a load has to come to: records on the heap, each with a copy of its payload.
class Records {
 public:
  ~Records() {
    for (AmbrelStorageEntry *record : held_) {
      free(record->payload);
      free(record);
    }
  }
  void Add(const void *payload, size_t size) {
    auto *const record = static_cast<AmbrelStorageEntry *>(calloc(1, sizeof(AmbrelStorageEntry)));
    record->payload = static_cast<uint8_t *>(malloc(size));
    memcpy(record->payload, payload, size);
    record->length = static_cast<uint32_t>(size);
    held_.push_back(record);
  }
  size_t count() const { return held_.size(); }

 private:
  std::vector<AmbrelStorageEntry *> held_;
};

class Sqlite {
 public:
  Sqlite(const std::string &name, int count) : path_(g_folder + "/" + name) {
    Open();
    Run("CREATE TABLE r(id INTEGER PRIMARY KEY, v BLOB)");
    sqlite3_prepare_v2(db_, "INSERT INTO r(v) VALUES(?)", -1, &insert_, nullptr);
    Run("BEGIN");
    for (int i = 0; i < count; ++i) Insert();
    Run("COMMIT");
  }
  ~Sqlite() { Close(); }
  void Run(const char *sql) { MustBe(sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == 0, sql); }
  void Insert() {
    sqlite3_bind_blob(insert_, 1, g_payload, kPayload, SQLITE_STATIC);
    MustBe(sqlite3_step(insert_) == SQLITE_DONE, "insert");
    sqlite3_reset(insert_);
  }
  uint64_t ReopenAndLoad() {
    Close();
    Open();
    Run("PRAGMA quick_check");
    sqlite3_stmt *select = nullptr;
    sqlite3_prepare_v2(db_, "SELECT v FROM r", -1, &select, nullptr);
    Records records;
    while (sqlite3_step(select) == SQLITE_ROW) {
      const void *const payload = sqlite3_column_blob(select, 0);
      records.Add(payload, static_cast<size_t>(sqlite3_column_bytes(select, 0)));
    }
    sqlite3_finalize(select);
    return records.count();
  }

 private:
  void Open() {
    sqlite3_open(path_.c_str(), &db_);
    Run("PRAGMA synchronous=OFF");
  }
  void Close() {
    sqlite3_finalize(insert_);
    insert_ = nullptr;
    sqlite3_close(db_);
  }
  std::string path_;
  sqlite3 *db_ = nullptr;
  sqlite3_stmt *insert_ = nullptr;
};

class Lmdb {
 public:
  explicit Lmdb(const std::string &name) : path_(g_folder + "/" + name) { Open(); }
  ~Lmdb() { mdb_env_close(env_); }
  void Rewrite(int count) {
    MDB_txn *txn = nullptr;
    mdb_txn_begin(env_, nullptr, 0, &txn);
    mdb_drop(txn, dbi_, 0);
    for (uint32_t i = 0; i < static_cast<uint32_t>(count); ++i) {
      MDB_val key{sizeof i, &i}, value{kPayload, g_payload};
      MustBe(mdb_put(txn, dbi_, &key, &value, MDB_APPEND) == 0, "mdb_put");
    }
    mdb_txn_commit(txn);
  }
  /// One record in a transaction of its own, and 40 of them taken out again in one.
  void Append(uint32_t key) {
    MDB_txn *txn = nullptr;
    mdb_txn_begin(env_, nullptr, 0, &txn);
    MDB_val id{sizeof key, &key}, value{kPayload, g_payload};
    MustBe(mdb_put(txn, dbi_, &id, &value, MDB_APPEND) == 0, "mdb_put");
    mdb_txn_commit(txn);
  }
  void RemoveFrom(uint32_t key, int count) {
    MDB_txn *txn = nullptr;
    mdb_txn_begin(env_, nullptr, 0, &txn);
    for (int i = 0; i < count; ++i, ++key) {
      MDB_val id{sizeof key, &key};
      MustBe(mdb_del(txn, dbi_, &id, nullptr) == 0, "mdb_del");
    }
    mdb_txn_commit(txn);
  }
  uint64_t ReopenAndLoad() {
    mdb_env_close(env_);
    Open();
    MDB_txn *txn = nullptr;
    mdb_txn_begin(env_, nullptr, MDB_RDONLY, &txn);
    MDB_cursor *cursor = nullptr;
    mdb_cursor_open(txn, dbi_, &cursor);
    MDB_val key, value;
    Records records;
    while (mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == 0)
      records.Add(value.mv_data, value.mv_size);
    mdb_cursor_close(cursor);
    mdb_txn_abort(txn);
    return records.count();
  }

 private:
  void Open() {
    mdb_env_create(&env_);
    mdb_env_set_mapsize(env_, 64U << 20);
    MustBe(mdb_env_open(env_, path_.c_str(), MDB_NOSYNC | MDB_NOSUBDIR, 0600) == 0, "mdb_env_open");
    MDB_txn *txn = nullptr;
    mdb_txn_begin(env_, nullptr, 0, &txn);
    mdb_dbi_open(txn, nullptr, MDB_INTEGERKEY, &dbi_);
    mdb_txn_commit(txn);
  }
  std::string path_;
  MDB_env *env_ = nullptr;
  MDB_dbi dbi_ = 0;
};

/// Into memory that is there already: the floor is the read alone.
const std::vector<uint8_t> &ReadAll(const std::string &path) {
  static std::vector<uint8_t> bytes;
  struct stat info {};
  const int fd = open(path.c_str(), O_RDONLY);
  fstat(fd, &info);
  bytes.resize(static_cast<size_t>(info.st_size));
  MustBe(read(fd, bytes.data(), bytes.size()) == info.st_size, "read");
  close(fd);
  return bytes;
}

void AddSaves(cu_bench::Family &family, int count) {
  const std::string name = "store" + std::to_string(count);
  const std::string path = g_folder + "/p/" + name;
  AmbrelStorageEngine *const engine = MakeStore(name, count);
  struct stat info {};
  stat(path.c_str(), &info);
  const off_t size = info.st_size;
  auto sqlite = std::make_shared<Sqlite>("sqlite" + std::to_string(count), count);
  auto lmdb = std::make_shared<Lmdb>("lmdb" + std::to_string(count));
  lmdb->Rewrite(count);
  for (const uint32_t refresh : {0U, 1U}) {
    auto &workload = family.AddWorkload("40 saves into " + std::to_string(count) +
                                        (refresh ? ", checksum refreshed" : ""));
    workload.Add(Role::kLibrary, "save one", [=] { return SaveInARow(engine, refresh, size); });
    workload.Add(Role::kPeer, "SQLite, a transaction each", [=]() -> uint64_t {
      for (int i = 0; i < kInARow; ++i) sqlite->Insert();
      sqlite->Run(("DELETE FROM r WHERE id > " + std::to_string(count)).c_str());
      return kInARow;
    });
    // An index makes it a search and no scan, which the file format does not have.
    workload.Add(Role::kReported, "LMDB, a transaction each", [=]() -> uint64_t {
      for (int i = 0; i < kInARow; ++i) lmdb->Append(static_cast<uint32_t>(count + i));
      lmdb->RemoveFrom(static_cast<uint32_t>(count), kInARow);
      return kInARow;
    });
    if (refresh == 0) {
      workload.Add(
          Role::kFloor, "read(2) of the file",
          [=]() -> uint64_t {
            for (int i = 0; i < kInARow; ++i) cu_bench::Keep(ReadAll(path).size());
            return 0;
          },
          Check::kNone);
    } else {
      workload.Add(
          Role::kFloor, "read(2) + zlib crc32",
          [=]() -> uint64_t {
            for (int i = 0; i < kInARow; ++i) {
              const std::vector<uint8_t> &bytes = ReadAll(path);
              cu_bench::Keep(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
            }
            return 0;
          },
          Check::kNone);
    }
  }
}

void AddScans(cu_bench::Family &family) {
  constexpr int kCount = 10000;
  AmbrelStorageEngine *const engine = MakeStore("full", kCount);
  const std::string path = g_folder + "/p/full";
  auto sqlite = std::make_shared<Sqlite>("sqlitefull", kCount);
  auto lmdb = std::make_shared<Lmdb>("lmdbfull");
  lmdb->Rewrite(kCount);

  auto &save = family.AddWorkload("full save of 10,000");
  save.Add(Role::kLibrary, "saveAll", [=]() -> uint64_t {
    MustBe(saveAllAmbrelStorageEntries(engine, 0) != 0, "full save");
    return kCount;
  });
  save.Add(Role::kPeer, "SQLite, one transaction", [=]() -> uint64_t {
    sqlite->Run("BEGIN");
    sqlite->Run("DELETE FROM r");
    for (int i = 0; i < kCount; ++i) sqlite->Insert();
    sqlite->Run("COMMIT");
    return kCount;
  });
  save.Add(Role::kPeer, "LMDB, one transaction", [=]() -> uint64_t {
    lmdb->Rewrite(kCount);
    return kCount;
  });
  const std::vector<uint8_t> bytes = ReadAll(path);
  save.Add(
      Role::kFloor, "zlib crc32 + one write(2)",
      [=]() -> uint64_t {
        cu_bench::Keep(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
        const int fd = open((g_folder + "/floor").c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        MustBe(write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
               "write");
        close(fd);
        return 0;
      },
      Check::kNone);

  auto loaded = std::make_shared<Sqlite>("sqliteload", kCount);
  auto &load = family.AddWorkload("start-up check, load and release of 10,000");
  load.Add(Role::kLibrary, "Initialize + loadAll + DeInitialize", []() -> uint64_t {
    AmbrelStorageEngine *started = nullptr;
    InitializeAmbrelStorageEngine(&started, "full", (g_folder + "/p").c_str(),
                                  (g_folder + "/b").c_str());
    loadAllAmbrelStorageEntries(started);
    const uint64_t count = started->entryCount;
    DeInitializeAmbrelStorageEngine(started);
    return count;
  });
  load.Add(Role::kPeer, "SQLite open + quick_check + SELECT",
           [=] { return loaded->ReopenAndLoad(); });
  load.Add(Role::kPeer, "LMDB open + copy", [=] { return lmdb->ReopenAndLoad(); });
  load.Add(
      Role::kFloor, "read(2) of the file", [=]() -> uint64_t { return ReadAll(path).size() * 0; },
      Check::kNone);
}

}  // namespace

int main(int argc, char **argv) {
  const char *const base = getenv("TMPDIR") == nullptr ? "/dev/shm" : getenv("TMPDIR");
  std::string pattern = std::string(base) + "/bench-storage-XXXXXX";
  g_folder = mkdtemp(pattern.data());
  std::filesystem::create_directory(g_folder + "/p");
  std::filesystem::create_directory(g_folder + "/b");
  for (size_t i = 0; i < kPayload; ++i) g_payload[i] = static_cast<uint8_t>(i * 7);

  cu_bench::Family family("storage", cu_bench::Clock::kWall);
  AddSaves(family, 100);
  AddSaves(family, 10000);
  AddScans(family);
  const int status = family.Main(argc, argv);
  std::filesystem::remove_all(g_folder);
  return status;
}
