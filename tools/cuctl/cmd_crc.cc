// cuctl crc32|crc8 FILE: checksums as the library computes them.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "include/pluginchecksum.h"
#include "text/crc32_engine.hpp"
#include "tools/cuctl/input.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

void Print(const std::string &path, const char *kind, uint32_t value, int digits, uint64_t size,
           const Options &options) {
  const std::string hex = fmt::format("{:0{}x}", value, digits);
  if (options.json)
    PrintJson({{"file", path}, {"checksum", kind}, {"value", hex}, {"size", size}});
  else
    fmt::print("{}  {}\n", hex, Shown(path, options));
}

}  // namespace

void AddCrcCommands(CLI::App &app, Options &options) {
  // Both go on from what they have: CRC-32 from the value itself, CRC-8, whose state is the value,
  // with the value added to the next byte.
  const auto crc32 = [](uint32_t value, std::vector<uint8_t> &bytes) {
    return cu::Crc32Continue(value, bytes.data(), bytes.size());
  };
  const auto crc8 = [](uint32_t value, std::vector<uint8_t> &bytes) {
    bytes[0] ^= static_cast<uint8_t>(value);
    return PluginCalculateCRC8(bytes.data(), static_cast<uint32_t>(bytes.size()));
  };
  const auto add = [&](const char *name, const char *help, int digits, auto step) {
    CLI::App *const command = app.add_subcommand(name, help);
    auto path = std::make_shared<std::string>();
    command->add_option("FILE", *path, "The file, or - for standard input")->required();
    command->callback([=, &options] {
      // The functions of the library take a length of 32 bits.
      constexpr uint64_t kMost = std::numeric_limits<uint32_t>::max();
      Input input(*path);
      std::optional<Progress> progress(std::in_place, "reading", input.size());
      uint32_t value = 0;
      uint64_t size = 0;
      bool whole = false;
      while (!whole) {
        std::vector<uint8_t> bytes = input.ReadUpTo(size_t{1} << 20, &whole);
        if (bytes.empty()) break;
        size += bytes.size();
        if (size > kMost) throw Failure{kSystem, fmt::format("{}: more than 4 GiB", *path)};
        value = step(value, bytes);
        progress->At(size);
      }
      progress.reset();
      Print(*path, name, value, digits, size, options);
    });
  };
  add("crc32", "CRC-32 of a file, as PluginCalculateCRC32 gives it", 8, crc32);
  add("crc8", "CRC-8 of a file, as PluginCalculateCRC8 gives it", 2, crc8);
}

}  // namespace cuctl
