// cuctl msgq dump FILE: streams of a message queue.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "messaging/message_queue_stream.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

int Dump(const std::string &path, const Options &options) {
  const std::vector<uint8_t> bytes = ReadInput(path);
  size_t at = 0, number = 0;
  while (bytes.size() - at >= cu::kRecordHeaderSize) {
    const cu::RecordHeader header = cu::ReadRecordHeader(bytes.data() + at);
    const size_t left = bytes.size() - at - cu::kRecordHeaderSize;
    if (header.length > left) {
      std::fflush(stdout);
      fmt::print(stderr, "cuctl: {}: record #{} at offset {} claims {} bytes, {} are left\n", path,
                 number + 1, at, header.length, left);
      return kDamaged;
    }
    std::string_view text(reinterpret_cast<const char *>(bytes.data()) + at + cu::kRecordHeaderSize,
                          header.length);
    if (!text.empty() && text.back() == '\0') text.remove_suffix(1);
    ++number;
    if (options.json)
      PrintJson({{"number", number},
                 {"type", header.type},
                 {"length", header.length},
                 {"references", header.reference_count},
                 {"text", std::string(text)}});
    else
      fmt::print("#{} type {} len {} \"{}\"\n", number, header.type, header.length,
                 Shown(text, options));
    at += cu::kRecordHeaderSize + header.length;
  }
  if (at != bytes.size()) {
    std::fflush(stdout);
    fmt::print(stderr, "cuctl: {}: {} bytes at the end are no record\n", path, bytes.size() - at);
    return kDamaged;
  }
  if (number != 0 && bytes.size() < cu::kShortestLoadableStream) {
    std::fflush(stdout);
    fmt::print(stderr, "cuctl: {}: a queue does not load streams of fewer than {} bytes\n", path,
               cu::kShortestLoadableStream);
    return kNo;
  }
  return kYes;
}

}  // namespace

void AddMsgqCommands(CLI::App &app, Options &options) {
  CLI::App *const msgq = app.add_subcommand("msgq", "Streams of message queues");
  msgq->require_subcommand(1);
  CLI::App *const dump = msgq->add_subcommand("dump", "Show the records");
  auto path = std::make_shared<std::string>();
  dump->add_option("FILE", *path, "The stream, or -")->required();
  dump->callback([=, &options] { options.exit_code = Dump(*path, options); });
}

}  // namespace cuctl
