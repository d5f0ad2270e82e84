// What a power cut can leave of files to which nothing is forced: names may be those of an earlier
// moment than the data, and each sector of a file may be that of an earlier moment than the next.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_POWER_CUT_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_POWER_CUT_HPP

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/files.hpp"

namespace cu_test {

/// The seed of the states, and how many there are: CU_SEED and CU_STATES in the environment.
inline unsigned PowerCutSeed() {
  const char *const text = getenv("CU_SEED");
  return text != nullptr ? static_cast<unsigned>(atoi(text)) : 20240607;
}
inline long PowerCutStates() {
  const char *const text = getenv("CU_STATES");
  return text != nullptr ? atol(text) : 500;
}

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

  /// Files as a power cut at some moment may leave them: by name. Their sectors are of that moment
  /// or up to `depth` changes older.
  std::map<std::string, std::string> Cut(std::mt19937 &random, size_t depth) const {
    const Moment &reached = moments_[random() % moments_.size()];
    const size_t index = static_cast<size_t>(&reached - moments_.data());
    const Moment &named = moments_[index - random() % (std::min<size_t>(index, 6) + 1)];
    std::map<std::string, std::string> left;
    for (const auto &[name, file] : named.names) {
      left[name] = Torn(versions_[file], reached.latest[file], random() % (depth + 1), random);
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
  static constexpr size_t kSector = 512;

  struct Moment {
    std::map<std::string, size_t> names;
    std::vector<size_t> latest;  // version of each file
  };

  size_t FileOf(ino_t inode) {
    const auto [at, is_new] = files_.try_emplace(inode, versions_.size());
    if (is_new) versions_.emplace_back();
    return at->second;
  }

  /// Each sector, and the size, of some version of the last `steps` + 1; a new file may have got
  /// nothing.
  static std::string Torn(const std::vector<std::string> &versions, size_t latest, size_t steps,
                          std::mt19937 &random) {
    const std::string nothing;
    const auto some_version = [&]() -> const std::string & {
      const size_t back = random() % (steps + 1);
      return back > latest ? nothing : versions[latest - back];
    };
    std::string left(some_version().size(), '\0');
    for (size_t at = 0; at < left.size(); at += kSector) {
      const std::string &from = some_version();
      if (at < from.size()) from.copy(&left[at], std::min(kSector, left.size() - at), at);
    }
    return left;
  }

  std::map<ino_t, size_t> files_;
  std::vector<std::vector<std::string>> versions_;
  std::vector<Moment> moments_;
};

}  // namespace cu_test

#endif
