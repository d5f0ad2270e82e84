// What a power cut can leave of a store's files. Nothing is forced to the medium, so names may be
// those of an earlier moment than the data, and each sector of a file may be that of an earlier
// moment than the next. Every such state can be started on, and only a file that a completed
// refresh of the checksum had left is taken for sound.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "support/file_calls.hpp"
#include "support/power_cut.hpp"

namespace cu_test {
namespace {

/// A file as far as a start reads it: a record header that is cut counts for nothing.
std::string Read(const std::string &file) {
  std::vector<Record> records;
  StartCrc(file, &records);
  size_t size = kFileHeader;
  for (const Record &record : records) size += kRecordHeader + record.payload.size();
  return file.substr(0, size);
}

class PowerCutTest : public StoreTest {
 protected:
  std::string Payload() { return std::string(1 + random_() % 1200, static_cast<char>(random_())); }

  /// A life of saves and full saves, with each moment of it taken down.
  void Live(History &history) {
    Place(ThreeRecordFile());
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    ++store_->nextRecordId;
    FileCalls calls;
    calls.before = [&] { history.Note({primary(), backup()}); };
    for (int step = 0; step < 12; ++step) {
      switch (random_() % 4) {
        case 0:
          Save(Create(Payload()));
          break;
        case 1:
          SetPayload(store_->entries[random_() % store_->entryCount], Payload());
          Save(Create(Payload()));
          break;
        case 2: {
          AmbrelStorageEntry *const entry = store_->entries[random_() % store_->entryCount];
          SetPayload(entry, std::string(entry->length + 1, 'c'));
          Save(entry);
          break;
        }
        default:
          FullSave();
      }
    }
    Stop();
    history.Note({primary(), backup()});
  }

  std::mt19937 random_;
};

TEST_F(PowerCutTest, LeavesAStoreThatStartsWithWhatARefreshHadLeft) {
  const unsigned seed = PowerCutSeed();
  const long states = PowerCutStates();
  random_.seed(seed);
  long accepted = 0, restored = 0;
  History history;
  std::set<std::string> contents;
  for (long state = 0; state < states && !HasFailure(); ++state) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", state " + std::to_string(state));
    if (state % 50 == 0) {
      Stop();
      std::filesystem::remove_all(primary_directory());
      std::filesystem::remove_all(backup_directory());
      history = History();
      Live(history);
      contents = history.contents();
      ASSERT_GT(history.moments(), 12U);
    }
    Stop();
    std::filesystem::remove(primary());
    std::filesystem::remove(backup());
    std::string left, left_backup;
    for (const auto &[name, content] : history.Cut(random_, 3)) {
      WriteFile(name, content);
      (name == primary() ? left : left_backup) = content;
    }

    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(Start());
    loadAllAmbrelStorageEntries(store_);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    const bool sound = ChecksOut(left);
    EXPECT_EQ(sound ? left : HeaderBytes(0, kPlaceholder), File());
    EXPECT_EQ(left_backup, Backup()) << "a start leaves the backup alone";
    if (sound) {
      ++accepted;
      EXPECT_EQ(1U, contents.count(Read(left))) << "no mixture passes for a sound file";
    } else if (ChecksOut(left_backup)) {
      ++restored;
    }
    // Whatever was left, the store works from then on.
    Create("afterwards");
    EXPECT_EQ(1U, FullSave());
    EXPECT_TRUE(ChecksOut(File()));
  }
  printf("[  note    ] seed %u: %ld states, %ld accepted, %ld with a sound backup alone\n", seed,
         states, accepted, restored);
  EXPECT_GT(accepted, 0);
  EXPECT_LT(accepted, states);
}

}  // namespace
}  // namespace cu_test
