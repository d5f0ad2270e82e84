#include "tools/cuctl/log_loader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "tools/cuctl/input.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

std::string_view View(const std::vector<uint8_t> &bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

LogFile FindLines(std::string_view content) {
  Progress progress("looking for lines", content.size());
  return ReadLog(content, [&progress](uint64_t done) { progress.At(done); });
}

}  // namespace

LoadedLog LoadLog(const std::string &path) {
  Input input(path);
  LoadedLog loaded;
  if (!input.regular() || input.size() <= kMostBytes) {
    bool whole = false;
    Progress progress("reading", input.size());
    loaded.bytes = input.ReadUpTo(kMostBytes, &whole, &progress);
    if (!whole && PositionIn(View(loaded.bytes)) >= kLogHeaderSize)
      throw Failure{kSystem, fmt::format("{}: more than {} MiB, and no file to read them from",
                                         path, kMostBytes >> 20)};
    loaded.log = FindLines(View(loaded.bytes));
    return loaded;
  }

  // A file made of the header, what was written up to the position, and the end of the file, which
  // was written before that.
  loaded.bytes = input.ReadAt(0, kLogHeaderSize);
  const uint32_t position =
      loaded.bytes.size() == kLogHeaderSize ? PositionIn(View(loaded.bytes)) : 0;
  const bool valid = position >= kLogHeaderSize && position <= input.size();
  const uint64_t seam = valid ? position : input.size();
  const uint64_t front = std::min<uint64_t>(seam - kLogHeaderSize, kMostBytes);
  const uint64_t back = std::min<uint64_t>(input.size() - seam, kMostBytes - front);
  loaded.bytes.reserve(kLogHeaderSize + kMostBytes);
  for (const auto &[from, size] :
       {std::pair(seam - front, front), std::pair(input.size() - back, back)}) {
    const std::vector<uint8_t> part = input.ReadAt(from, static_cast<size_t>(size));
    loaded.bytes.insert(loaded.bytes.end(), part.begin(), part.end());
  }
  const uint32_t middle = static_cast<uint32_t>(kLogHeaderSize + front);
  for (unsigned i = 0; i < kLogHeaderSize; ++i)
    loaded.bytes[i] = static_cast<uint8_t>(middle >> (8 * i));
  loaded.log = FindLines(View(loaded.bytes));
  LogFile &log = loaded.log;
  log.position = position;
  log.header_valid = valid;
  log.size = input.size();
  for (LogLine &line : log.lines)
    line.offset +=
        line.offset < middle ? seam - front - kLogHeaderSize : input.size() - back - middle;
  return loaded;
}

}  // namespace cuctl
