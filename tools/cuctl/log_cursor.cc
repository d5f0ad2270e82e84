#include "tools/cuctl/log_cursor.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace cuctl {
namespace {

constexpr size_t kMostBlocks = 256;
constexpr int kVersion = 1;

constexpr uint64_t kFnvStart = 0xcbf29ce484222325U;

uint64_t Fnv(uint64_t sum, const void *data, size_t size) {
  const auto *const bytes = static_cast<const uint8_t *>(data);
  for (size_t i = 0; i < size; ++i) sum = (sum ^ bytes[i]) * 0x100000001b3U;
  return sum;
}

uint64_t Fnv(uint64_t sum, uint64_t number) {
  return Fnv(sum, &number, sizeof number);
}

/// What tells a line from every other one that stood or will stand in the file; never 0. The first
/// line of the message alone: what seems to follow it can be the rest of an overwritten one.
uint64_t Identity(const LogLine &line) {
  uint64_t sum = Fnv(kFnvStart, line.offset);
  sum = Fnv(sum, line.nanoseconds);
  sum = Fnv(sum, static_cast<uint64_t>(static_cast<uint32_t>(line.pid)) << 32 |
                     static_cast<uint32_t>(line.tid));
  sum = Fnv(sum, static_cast<uint64_t>(line.level));
  return Fnv(sum, line.text.data(), std::min(line.text.find('\n'), line.text.size())) | 1;
}

/// The same of a line that may still be growing.
uint64_t WholeIdentity(const LogLine &line) {
  return Fnv(Identity(line), line.text.data(), line.text.size());
}

std::vector<const LogLine *> InOrderOfPlace(const LogFile &log) {
  std::vector<const LogLine *> lines;
  lines.reserve(log.lines.size());
  for (const LogLine &line : log.lines) lines.push_back(&line);
  std::sort(lines.begin(), lines.end(),
            [](const LogLine *a, const LogLine *b) { return a->offset < b->offset; });
  return lines;
}

/// Neighbouring lines, as Save() tells them.
struct Block {
  uint64_t first, last;  // their offsets
  size_t count;
  uint64_t sum;
};

}  // namespace

std::vector<const LogLine *> LogCursor::New(const LogFile &log) {
  std::vector<const LogLine *> fresh;
  std::unordered_set<uint64_t> left;
  for (const LogLine &line : log.lines) {
    if (shown_.count(Identity(line)) != 0) continue;
    const uint64_t whole = WholeIdentity(line);
    if (line.offset >= log.position && left_.count(whole) == 0)
      left.insert(whole);
    else
      fresh.push_back(&line);
  }
  left_ = std::move(left);
  return fresh;
}

void LogCursor::Take(const LogFile &log) {
  // What was overwritten leaves the set, so that it stays as small as the file.
  shown_.clear();
  newest_ = 0;
  const LogLine *newest = nullptr;
  for (const LogLine &line : log.lines) {
    if (left_.count(WholeIdentity(line)) != 0) continue;
    const uint64_t identity = Identity(line);
    shown_.insert(identity);
    // The line in front of the position is the newest, whatever its time; after a wrap none is in
    // front of it, and the time has to tell.
    const bool in_front = line.offset < log.position;
    const bool best_in_front = newest != nullptr && newest->offset < log.position;
    if (newest == nullptr || (in_front && (!best_in_front || line.offset > newest->offset)) ||
        (!in_front && !best_in_front && line.nanoseconds >= newest->nanoseconds)) {
      newest = &line;
      newest_ = identity;
    }
  }
}

bool LogCursor::Overtaken(const LogFile &log) const {
  return newest_ != 0 && std::none_of(log.lines.begin(), log.lines.end(), [&](const LogLine &line) {
           return Identity(line) == newest_;
         });
}

std::string LogCursor::Save(const LogFile &log) const {
  const std::vector<const LogLine *> lines = InOrderOfPlace(log);
  const size_t most = lines.size() / (kMostBlocks - 2) + 1;
  nlohmann::ordered_json blocks = nlohmann::ordered_json::array();
  Block block{0, 0, 0, kFnvStart};
  const auto finish = [&] {
    if (block.count != 0) blocks.push_back({block.first, block.last, block.count, block.sum});
    block = {0, 0, 0, kFnvStart};
  };
  for (const LogLine *const line : lines) {
    const uint64_t identity = Identity(*line);
    // The writer goes on at the position: the lines on its two sides do not share a block.
    if (block.count == most ||
        (block.count != 0 && block.last < log.position && line->offset >= log.position))
      finish();
    if (shown_.count(identity) == 0) {
      finish();
      continue;
    }
    if (block.count++ == 0) block.first = line->offset;
    block.last = line->offset;
    block.sum = Fnv(block.sum, identity);
  }
  finish();
  return nlohmann::ordered_json{{"cursor", kVersion}, {"newest", newest_}, {"blocks", blocks}}
             .dump() +
         "\n";
}

bool LogCursor::Load(const std::string &text, const LogFile &log) {
  std::vector<Block> blocks;
  try {
    const auto document = nlohmann::json::parse(text);
    if (document.at("cursor").get<int>() != kVersion) return false;
    newest_ = document.at("newest").get<uint64_t>();
    for (const auto &block : document.at("blocks"))
      blocks.push_back({block.at(0).get<uint64_t>(), block.at(1).get<uint64_t>(),
                        block.at(2).get<size_t>(), block.at(3).get<uint64_t>()});
  } catch (const nlohmann::json::exception &) {
    newest_ = 0;
    return false;
  }
  const std::vector<const LogLine *> lines = InOrderOfPlace(log);
  for (const Block &block : blocks) {
    auto line = std::lower_bound(
        lines.begin(), lines.end(), block.first,
        [](const LogLine *candidate, uint64_t offset) { return candidate->offset < offset; });
    std::vector<uint64_t> identities;
    uint64_t sum = kFnvStart;
    for (; line != lines.end() && (*line)->offset <= block.last; ++line) {
      identities.push_back(Identity(**line));
      sum = Fnv(sum, identities.back());
    }
    if (identities.size() == block.count && sum == block.sum)
      shown_.insert(identities.begin(), identities.end());
  }
  return true;
}

}  // namespace cuctl
