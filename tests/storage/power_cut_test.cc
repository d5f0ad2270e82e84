// What a power cut can leave of a store's files. Nothing is forced to the medium, so names may be
// those of an earlier moment than the data, and each sector of a file may be that of an earlier
// moment than the next. Every such state can be started on, and only a file that a completed
// refresh of the checksum had left is taken for sound.
#include "include/AmbrelDataStorage.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "storage/file_calls.hpp"
#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"

namespace cu_test {
namespace {

constexpr size_t kSector = 512;

/// What files held over time: which file had each name, and what each file contained.
class History {
 public:
  /// Takes down a moment, unless nothing has changed.
  void Note(const std::vector<std::string> &names) {
    Moment moment;
    for (const std::string &name : names) {
      struct stat status;
      if (stat(name.c_str(), &status) != 0) continue;
      const size_t file = FileOf(status.st_ino);
      moment.names[name] = file;
      const std::string content = ReadFile(name);
      if (versions_[file].empty() || versions_[file].back() != content) {
        versions_[file].push_back(content);
      }
    }
    for (size_t file = 0; file < versions_.size(); ++file) {
      moment.latest.push_back(versions_[file].size() - 1);
    }
    // A file without a name is gone: its number may be given to another.
    std::erase_if(files_, [&](const auto &entry) {
      return std::none_of(moment.names.begin(), moment.names.end(),
                          [&](const auto &name) { return name.second == entry.second; });
    });
    if (moments_.empty() || moments_.back().names != moment.names ||
        moments_.back().latest != moment.latest) {
      moments_.push_back(moment);
    }
  }

  /// Files as a power cut at some moment may leave them: by name.
  std::map<std::string, std::string> Cut(std::mt19937 &random) const {
    const Moment &reached = moments_[random() % moments_.size()];
    const size_t index = static_cast<size_t>(&reached - moments_.data());
    const Moment &named = moments_[index - random() % (std::min<size_t>(index, 6) + 1)];
    std::map<std::string, std::string> left;
    for (const auto &[name, file] : named.names) {
      left[name] = Torn(versions_[file], reached.latest[file], random);
    }
    return left;
  }

  /// Every content that a file has had.
  std::set<std::string> contents() const {
    std::set<std::string> all;
    for (const auto &versions : versions_) all.insert(versions.begin(), versions.end());
    return all;
  }
  size_t moments() const { return moments_.size(); }

 private:
  struct Moment {
    std::map<std::string, size_t> names;
    std::vector<size_t> latest;  // version of each file
  };

  size_t FileOf(ino_t inode) {
    const auto [at, is_new] = files_.try_emplace(inode, versions_.size());
    if (is_new) versions_.emplace_back();
    return at->second;
  }

  /// Sectors of the latest version and of one before it; a new file may have got none.
  static std::string Torn(const std::vector<std::string> &versions, size_t latest,
                          std::mt19937 &random) {
    const std::string &after = versions[latest];
    const size_t steps = random() % 4;
    const std::string before = steps > latest ? std::string() : versions[latest - steps];
    std::string left((random() & 1) != 0 ? after.size() : before.size(), '\0');
    for (size_t at = 0; at < left.size(); at += kSector) {
      const std::string &from = (random() & 1) != 0 ? after : before;
      if (at < from.size()) from.copy(&left[at], std::min(kSector, left.size() - at), at);
    }
    return left;
  }

  std::map<ino_t, size_t> files_;
  std::vector<std::vector<std::string>> versions_;
  std::vector<Moment> moments_;
};

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
  const char *const seed_text = getenv("CU_SEED");
  const char *const states_text = getenv("CU_STATES");
  const unsigned seed = seed_text != nullptr ? static_cast<unsigned>(atoi(seed_text)) : 20240607;
  const long states = states_text != nullptr ? atol(states_text) : 500;
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
    for (const auto &[name, content] : history.Cut(random_)) {
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
