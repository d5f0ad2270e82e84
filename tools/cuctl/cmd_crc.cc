// cuctl crc32|crc8 FILE: checksums as the library computes them.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "include/pluginchecksum.h"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

void Print(const std::string &path, const char *kind, uint32_t value, int digits, size_t size,
           const Options &options) {
  const std::string hex = fmt::format("{:0{}x}", value, digits);
  if (options.json)
    PrintJson({{"file", path}, {"checksum", kind}, {"value", hex}, {"size", size}});
  else
    fmt::print("{}  {}\n", hex, path);
}

}  // namespace

void AddCrcCommands(CLI::App &app, Options &options) {
  const auto add = [&](const char *name, const char *help, auto run) {
    CLI::App *const command = app.add_subcommand(name, help);
    auto path = std::make_shared<std::string>();
    command->add_option("FILE", *path, "The file, or - for standard input")->required();
    command->callback([=, &options] { run(*path, options); });
  };
  add("crc32", "CRC-32 of a file, as PluginCalculateCRC32 gives it",
      [](const std::string &path, const Options &shown) {
        const auto bytes = ReadInput(path);
        Print(path, "crc32",
              PluginCalculateCRC32(bytes.data(), static_cast<uint32_t>(bytes.size())), 8,
              bytes.size(), shown);
      });
  add("crc8", "CRC-8 of a file, as PluginCalculateCRC8 gives it",
      [](const std::string &path, const Options &shown) {
        const auto bytes = ReadInput(path);
        Print(path, "crc8", PluginCalculateCRC8(bytes.data(), static_cast<uint32_t>(bytes.size())),
              2, bytes.size(), shown);
      });
}

}  // namespace cuctl
