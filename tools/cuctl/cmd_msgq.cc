// cuctl msgq dump FILE: streams of a message queue.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "messaging/message_queue_stream.hpp"
#include "tools/cuctl/input.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

/// Reads a stream record by record: only one is held at a time.
class Stream {
 public:
  Stream(const std::string &path, const Options &options)
      : path_(path), options_(options), input_(path) {}

  int Run() {
    Progress progress("reading", input_.size());
    std::vector<uint8_t> bytes;
    while (Take(bytes, cu::kRecordHeaderSize)) {
      if (number_ == kMostRecords)
        return Damaged(fmt::format("more than {} records: no queue holds them", kMostRecords));
      const cu::RecordHeader header = cu::ReadRecordHeader(bytes.data());
      const uint64_t offset = at_ - cu::kRecordHeaderSize;
      const bool too_long = input_.regular() && header.length > input_.size() - at_;
      if (header.length > kMostBytes && !too_long)
        return Damaged(fmt::format("record #{} at offset {} claims {} bytes", number_ + 1, offset,
                                   header.length));
      if (too_long || !Take(bytes, header.length))
        return Damaged(fmt::format("record #{} at offset {} claims {} bytes, {} are left",
                                   number_ + 1, offset, header.length,
                                   too_long ? input_.size() - at_ : bytes.size()));
      ++number_;
      Print(header, bytes);
      if (!OnTerminal() && number_ % 256 == 0) progress.At(at_);
    }
    if (!bytes.empty())
      return Damaged(fmt::format("{} bytes at the end are no record", bytes.size()));
    if (number_ == 0 || at_ >= cu::kShortestLoadableStream) return kYes;
    Complain(options_, fmt::format("{}: a queue does not load streams of fewer than {} bytes",
                                   path_, cu::kShortestLoadableStream));
    return kNo;
  }

 private:
  /// A queue's capacity has 16 bits.
  static constexpr size_t kMostRecords = 65535;
  static constexpr size_t kMostShown = 1U << 20;

  /// The next `size` bytes; false when fewer are left.
  bool Take(std::vector<uint8_t> &bytes, size_t size) {
    bytes.resize(size);
    size_t held = 0;
    while (held < size) {
      if (next_ == held_.size()) {
        bool whole = false;
        held_ = input_.ReadUpTo(65536, &whole);
        next_ = 0;
        if (held_.empty()) break;
      }
      const size_t count = std::min(size - held, held_.size() - next_);
      std::copy_n(held_.begin() + static_cast<std::ptrdiff_t>(next_), count,
                  bytes.begin() + static_cast<std::ptrdiff_t>(held));
      held += count;
      next_ += count;
    }
    at_ += held;
    bytes.resize(held);
    return held == size;
  }

  void Print(const cu::RecordHeader &header, const std::vector<uint8_t> &bytes) const {
    std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    if (!text.empty() && text.back() == '\0') text.remove_suffix(1);
    text = text.substr(0, kMostShown);
    if (options_.json)
      PrintJson({{"number", number_},
                 {"type", header.type},
                 {"length", header.length},
                 {"references", header.reference_count},
                 {"text", std::string(text)}});
    else
      fmt::print("#{} type {} len {} \"{}\"\n", number_, header.type, header.length,
                 Shown(text, options_));
  }

  int Damaged(const std::string &what) const {
    Complain(options_, fmt::format("{}: {}", path_, what));
    return kDamaged;
  }

  std::string path_;
  const Options &options_;
  Input input_;
  std::vector<uint8_t> held_;
  size_t next_ = 0;
  uint64_t at_ = 0;
  size_t number_ = 0;
};

}  // namespace

void AddMsgqCommands(CLI::App &app, Options &options) {
  CLI::App *const msgq = app.add_subcommand("msgq", "Streams of message queues");
  msgq->require_subcommand(1);
  CLI::App *const dump = msgq->add_subcommand("dump", "Show the records");
  auto path = std::make_shared<std::string>();
  dump->add_option("FILE", *path, "The stream, or -")->required();
  dump->callback([=, &options] { options.exit_code = Stream(*path, options).Run(); });
}

}  // namespace cuctl
