// A process killed at any moment of starting, creating, saving, full saves and compactions, and
// what the next start finds: the file of before, the file of after, or, when neither can be read,
// an empty store and a sound backup.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "storage/store_model.hpp"
#include "support/child.hpp"
#include "support/file_calls.hpp"
#include "support/logger.hpp"
#include "support/sanitizers.hpp"
#if CU_HAVE_CUCTL
#include "tools/cuctl/cuctl.hpp"
#endif

namespace cu_test {
namespace {

using testing::AnyOf;
using testing::Contains;

/// Record as text, without the times, which no two runs share.
std::vector<std::string> Texts(const std::string &file) {
  std::vector<Record> records;
  StartCrc(file, &records);
  std::vector<std::string> texts;
  for (const Record &record : records) {
    texts.push_back(std::to_string(record.id) + (record.valid ? " " : " old ") + record.payload);
  }
  return texts;
}

/// A sequence of operations that a seed determines, done on a store or on its model. No payload has
/// the length of another, so that none is written in place, and every save refreshes the checksum.
class Script {
 public:
  explicit Script(unsigned seed, size_t records) : random_(seed), payload_size_(1) {
    for (size_t i = 0; i < records; ++i) first_.push_back(NextPayload());
  }

  /// Where the sequence begins: some records and two full saves.
  void Begin(AmbrelStorageEngine *store) {
    for (const std::string &payload : first_) SetPayload(Add(store), payload);
    saveAllAmbrelStorageEntries(store, 0);
    saveAllAmbrelStorageEntries(store, 0);
  }
  void Begin(StoreModel &model) {
    for (const std::string &payload : first_) Add(model).payload = payload;
    model.FullSave();
    model.FullSave();
  }

  struct Step {
    enum Kind { kCreate, kChange, kInvalidate, kFullSave, kCompact } kind;
    size_t entry;
    std::string payload;
  };
  Step Next(size_t entries) {
    const unsigned pick = static_cast<unsigned>(random_()) % 10;
    const size_t entry = static_cast<size_t>(random_()) % entries;
    const std::string payload = NextPayload();
    const Step::Kind kind = pick < 4   ? Step::kCreate
                            : pick < 6 ? Step::kChange
                            : pick < 7 ? Step::kInvalidate
                            : pick < 9 ? Step::kFullSave
                                       : Step::kCompact;
    // The first entry stays valid: a store without a valid payload has no checksum.
    return {kind == Step::kInvalidate && entry == 0 ? Step::kChange : kind, entry, payload};
  }

  static bool Do(const Step &step, AmbrelStorageEngine *store) {
    AmbrelStorageEntry *entry = store->entries[step.entry];
    switch (step.kind) {
      case Step::kFullSave:
        return saveAllAmbrelStorageEntries(store, 0) == 1;
      case Step::kCompact:
        return compressAmbrelStorageEntries(store, 0, 1, 604800, 0) == 0;
      case Step::kInvalidate:
        entry->valid = 0;
        break;
      case Step::kCreate:
        entry = Add(store);
        break;
      case Step::kChange:
        break;
    }
    SetPayload(entry, step.payload);
    return saveAmbrelStorageDeviceUpdateEntry(store, entry, 0, 1) == 1;
  }
  static void Do(const Step &step, StoreModel &model) {
    Record *entry = &*model.entries[step.entry];
    switch (step.kind) {
      case Step::kFullSave:
        model.FullSave();
        return;
      case Step::kCompact:
        model.Compact();
        return;
      case Step::kInvalidate:
        entry->valid = 0;
        break;
      case Step::kCreate:
        entry = &Add(model);
        break;
      case Step::kChange:
        break;
    }
    entry->payload = step.payload;
    model.Save(*entry, true);
  }

 private:
  static AmbrelStorageEntry *Add(AmbrelStorageEngine *store) {
    AmbrelStorageEntry *entry = nullptr;
    AddAndCreateAmbrelStorageEntryInArray(store, &entry, 0);
    return entry;
  }
  static Record &Add(StoreModel &model) {
    model.Create({});
    return *model.entries.back();
  }
  std::string NextPayload() {
    std::string payload(++payload_size_, '.');
    for (char &byte : payload) byte = static_cast<char>('a' + random_() % 26);
    return payload;
  }

  std::mt19937 random_;
  size_t payload_size_;
  std::vector<std::string> first_;
};

class KilledStoreTest : public StoreTest {
 protected:
  void SetUp() override {
    if (!CanWriteVar()) GTEST_SKIP() << "needs a writable /var";
    before_ = TemporaryStoreFiles();
  }
  ~KilledStoreTest() override { RemoveTemporaryFiles(); }

  /// What killed compactions left behind.
  void RemoveTemporaryFiles() {
    for (const std::string &file : TemporaryStoreFiles()) {
      if (before_.count(file) == 0) std::filesystem::remove(file);
    }
  }

  void Clear() {
    Stop();
    std::filesystem::remove_all(primary_directory());
    std::filesystem::remove_all(backup_directory());
  }

  /// Looks at what a kill left, between the model's states `before` and `after`.
  void ExpectRecovery(const StoreModel &before, const StoreModel &after) {
    const bool there = std::filesystem::exists(primary());
    const std::string file = File(), backup = Backup();
    const bool sound = ChecksOut(file);
    if (sound) {
      EXPECT_THAT(Texts(file), AnyOf(Texts(before.file), Texts(after.file)));
    } else {
      ASSERT_TRUE(ChecksOut(backup)) << "the file or the backup is sound";
      EXPECT_THAT(Texts(backup), AnyOf(Texts(before.backup.value()), Texts(after.backup.value()),
                                       Texts(before.file)));
      ++refused_;
    }

    Logger log;
    const StartTime time;
    ASSERT_TRUE(Start());
    time.ExpectShort();
    if (sound) {
      EXPECT_EQ(0U, log.lines().size());
      EXPECT_TRUE(file == File());
    } else {
      EXPECT_EQ(HeaderBytes(0, kPlaceholder), File());
      if (file.size() >= kFileHeader && file[0] == 4) {
        EXPECT_THAT(log.lines(),
                    Contains("DEBUG [AmbrelDataStorage]Recover msgdb file from backup"));
      }
    }
    loadAllAmbrelStorageEntries(store_);
    EXPECT_EQ(sound ? Texts(file).size() : 0, store_->entryCount);
    EXPECT_TRUE(backup == Backup()) << "a start leaves the backup alone";
    Stop();

    // The same kill, but with a restore before the daemon starts.
    if (sound) {
      if (++sound_ % kSoundRestored == 0) Restore(there, file, file, " is accepted; nothing to do");
    } else {
      Restore(there, file, backup, "restored " + std::to_string(Texts(backup).size()) + " records");
    }
  }

  /// Puts back what a kill left and restores the store; its bytes must then be `restored`.
  void Restore(bool there, const std::string &file, const std::string &restored,
               [[maybe_unused]] const std::string &said) {
    std::filesystem::remove(primary());
    if (there) WriteFile(primary(), file);
    const std::string bad = primary() + ".bad";
    std::filesystem::remove(bad);
#if CU_HAVE_CUCTL
    const std::string primary_path = primary(), backup_path = backup();
    const char *const arguments[] = {"cuctl", "store", "restore", primary_path.c_str(),
                                     backup_path.c_str()};
    Child cuctl([&] { return cuctl::Run(std::size(arguments), arguments); });
    EXPECT_EQ(0, cuctl.Wait().status()) << cuctl.err();
    EXPECT_THAT(cuctl.out(), testing::HasSubstr(said));
    const bool keeps = there && file != restored && file != HeaderBytes(0, kPlaceholder);
    EXPECT_EQ(keeps, std::filesystem::exists(bad));
    EXPECT_TRUE(!keeps || file == ReadFile(bad)) << "the damaged file is kept";
#else
    WriteFile(primary(), restored);
#endif
    EXPECT_TRUE(restored == File());
    ASSERT_TRUE(Start());
    EXPECT_TRUE(restored == File());
    Stop();
  }

  static constexpr long kSoundRestored = 8;  ///< each so many sound files are restored, too
  long refused_ = 0, sound_ = 0;
  std::set<std::string> before_;
};

/// Does one step again and again, killed at its first, second, ... file call, or at each
/// `stride`th.
class KilledAtEachCallTest : public KilledStoreTest {
 protected:
  void KillAtEachCall(Script::Step::Kind kind, size_t records, long at_least, long stride = 1) {
    long k = 1;
    for (bool killed = true; killed && !HasFailure(); k += stride) {
      SCOPED_TRACE("file call " + std::to_string(k));
      Clear();
      Script script(1, records);
      ASSERT_TRUE(Start());
      loadAllAmbrelStorageEntries(store_);
      script.Begin(store_);
      StoreModel before;
      before.Start();
      before.Load();
      Script(1, records).Begin(before);
      StoreModel after = before;
      const Script::Step step = {kind, records / 2, std::string(records + 100, 'x')};
      Script::Do(step, after);

      Child child([&] {
        FileCalls calls;
        long count = 0;
        calls.before = [&] {
          if (++count == k) kill(getpid(), SIGKILL);
        };
        return Script::Do(step, store_) ? 0 : 1;
      });
      const int status = child.Wait().status();
      killed = status == -SIGKILL;
      EXPECT_TRUE(killed || status == 0) << status;
      ExpectRecovery(before, after);
      RemoveTemporaryFiles();
    }
    EXPECT_GE(k, at_least);
  }
};

/// Of many records, each call where there is time for it.
constexpr long kHundredsStride = CU_OWN_SPEED ? 1 : 7;

TEST_F(KilledAtEachCallTest, OfASaveOfANewRecord) {
  KillAtEachCall(Script::Step::kCreate, 3, 10);
  KillAtEachCall(Script::Step::kCreate, 100, 10, kHundredsStride);
}

TEST_F(KilledAtEachCallTest, OfASaveThatSupersedesACopy) {
  KillAtEachCall(Script::Step::kChange, 3, 10);
}

TEST_F(KilledAtEachCallTest, OfASaveThatInvalidatesACopy) {
  KillAtEachCall(Script::Step::kInvalidate, 3, 10);
}

TEST_F(KilledAtEachCallTest, OfAFullSave) {
  KillAtEachCall(Script::Step::kFullSave, 3, 10);
  KillAtEachCall(Script::Step::kFullSave, 100, 10, kHundredsStride);
}

TEST_F(KilledAtEachCallTest, OfAFullSaveOfAThousandRecords) {
  const bool all = getenv("CU_TEST_FULL") != nullptr;
  if (!CU_OWN_SPEED && !all) GTEST_SKIP() << "a minute here; CU_TEST_FULL=1 runs it";
  KillAtEachCall(Script::Step::kFullSave, 1000, 10, all ? 1 : 5);
}

TEST_F(KilledAtEachCallTest, OfACompaction) {
  KillAtEachCall(Script::Step::kCompact, 3, 10);
}

TEST_F(KilledStoreTest, AtEachCallOfAStartTheFileStaysOrBecomesEmpty) {
  for (const std::string &file : {ThreeRecordFile(), std::string("damaged"), std::string()}) {
    bool killed = true;
    for (long k = 1; killed && !HasFailure(); ++k) {
      Clear();
      if (!file.empty()) Place(file);
      Child child([&] {
        FileCalls calls;
        long count = 0;
        calls.before = [&] {
          if (++count == k) kill(getpid(), SIGKILL);
        };
        return Start() != nullptr ? 0 : 1;
      });
      const int status = child.Wait().status();
      killed = status == -SIGKILL;
      EXPECT_TRUE(killed || status == 0);
      const std::string left = File();
      EXPECT_TRUE(left == file || left.empty() || left == HeaderBytes(0, kPlaceholder));
      ASSERT_TRUE(Start());
      EXPECT_EQ(ChecksOut(file) ? file : HeaderBytes(0, kPlaceholder), File());
    }
  }
}

/// Shared with the child: how far it is.
struct Progress {
  std::atomic<bool> ready{false};
  std::atomic<unsigned> completed{0};
  std::atomic<bool> failed{false};
};

TEST_F(KilledStoreTest, AtRandomMomentsTheFileOrTheBackupIsSound) {
  const char *const seed_text = getenv("CU_SEED");
  const char *const kills_text = getenv("CU_KILLS");
  const unsigned seed = seed_text != nullptr ? static_cast<unsigned>(atoi(seed_text)) : 20240607;
  const int kills = kills_text != nullptr ? atoi(kills_text) : CU_OWN_SPEED ? 300 : 60;
  auto *const progress = static_cast<Progress *>(
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  std::mt19937 random(seed);
  unsigned steps = 0;
  for (int i = 0; i < kills && !HasFailure(); ++i) {
    const unsigned script_seed = static_cast<unsigned>(random());
    const size_t records = 1 + random() % 60;
    const auto delay = std::chrono::microseconds(random() % 4000);
    SCOPED_TRACE("kill " + std::to_string(i) + ", script " + std::to_string(script_seed));
    Clear();
    new (progress) Progress;
    {
      Child child([&] {
        Script script(script_seed, records);
        if (Start() == nullptr) return 1;
        loadAllAmbrelStorageEntries(store_);
        script.Begin(store_);
        progress->ready = true;
        while (Script::Do(script.Next(store_->entryCount), store_)) ++progress->completed;
        progress->failed = true;
        return 1;
      });
      while (!progress->ready && !child.HasEnded()) std::this_thread::yield();
      std::this_thread::sleep_for(delay);
      child.Kill(SIGKILL);
      EXPECT_EQ(-SIGKILL, child.Wait().status()) << child.err();
    }
    ASSERT_FALSE(progress->failed) << "step " << progress->completed;

    Script script(script_seed, records);
    StoreModel before;
    before.Start();
    before.Load();
    script.Begin(before);
    for (unsigned step = 0; step < progress->completed; ++step) {
      Script::Do(script.Next(before.entries.size()), before);
    }
    StoreModel after = before;
    Script::Do(script.Next(after.entries.size()), after);
    ExpectRecovery(before, after);
    RemoveTemporaryFiles();
    steps += progress->completed;
  }
  munmap(progress, sizeof(Progress));
  printf("[  note    ] seed %u: %d kills, %u whole steps before them, %ld refused files\n", seed,
         kills, steps, refused_);
}

}  // namespace
}  // namespace cu_test
