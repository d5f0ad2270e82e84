// cuctl shm info|read|watch|unlock NAME SEM: shared-memory segments.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/cuctl/input.hpp"
#include "tools/cuctl/options.hpp"
#include "tools/cuctl/output.hpp"
#include "tools/cuctl/stop_signal.hpp"

namespace cuctl {
namespace {

std::string WithSlash(const std::string &name) {
  return name.rfind('/', 0) == 0 ? name : "/" + name;
}

/// A segment opened for reading alone.
class Segment {
 public:
  explicit Segment(const std::string &name) : name_(WithSlash(name)) {
    fd_ = shm_open(name_.c_str(), O_RDONLY | O_CLOEXEC, 0);
    if (fd_ < 0) throw Failure{kSystem, fmt::format("{}: {}", name_, strerror(errno))};
    if (fstat(fd_, &info_) != 0) info_ = {};
  }
  ~Segment() { close(fd_); }
  Segment(const Segment &) = delete;
  Segment &operator=(const Segment &) = delete;

  const struct stat &info() const { return info_; }

  /// A copy of some of the content: reading, unlike a mapping, cannot fault when the object
  /// shrinks.
  std::vector<uint8_t> Content(off_t offset, size_t size) const {
    std::vector<uint8_t> bytes(size);
    const ssize_t got = pread(fd_, bytes.data(), bytes.size(), offset);
    if (got < 0) throw Failure{kSystem, fmt::format("{}: {}", name_, strerror(errno))};
    bytes.resize(static_cast<size_t>(got));
    return bytes;
  }
  /// What watching compares: all of a segment of the usual size.
  std::vector<uint8_t> Content() const {
    return Content(0, static_cast<size_t>(std::min<off_t>(info_.st_size, kMostBytes)));
  }

 private:
  std::string name_;
  int fd_ = -1;
  struct stat info_ {};
};

/// The value of a lock; none when there is no such semaphore or it may not be opened.
std::optional<int> LockValue(const std::string &name) {
  sem_t *const sem = sem_open(WithSlash(name).c_str(), 0);
  if (sem == SEM_FAILED) return std::nullopt;
  int value = 0;
  sem_getvalue(sem, &value);
  sem_close(sem);
  return value;
}

const char *LockState(int value) {
  return value <= 0 ? "held" : value == 1 ? "free" : "posted too often";
}

int Info(const std::string &name, const std::string &lock, const Options &options) {
  const Segment segment(name);
  const std::optional<int> value = LockValue(lock);
  const struct stat &info = segment.info();
  if (options.json) {
    nlohmann::ordered_json object = {{"name", WithSlash(name)},
                                     {"size", info.st_size},
                                     {"uid", info.st_uid},
                                     {"mode", fmt::format("{:04o}", info.st_mode & 07777)},
                                     {"lock", nullptr}};
    if (value) object["lock"] = *value;
    PrintJson(object);
  } else {
    fmt::print("size {} uid {} mode {:04o} ", info.st_size, info.st_uid, info.st_mode & 07777);
    if (value)
      fmt::print("sem {} ({})\n", *value, LockState(*value));
    else
      fmt::print("sem missing\n");
  }
  return value ? kYes : kNo;
}

int Read(const std::string &name, const Options &options) {
  constexpr size_t kStep = 65536;
  const Segment segment(name);
  std::optional<Progress> progress;
  if (!OnTerminal()) progress.emplace("reading", static_cast<uint64_t>(segment.info().st_size));
  bool any = false;
  for (off_t offset = 0; offset < segment.info().st_size || !any; offset += kStep) {
    const std::vector<uint8_t> bytes = segment.Content(offset, kStep);
    if (bytes.empty() && any) break;
    any = true;
    if (options.json)
      PrintJson({{"name", WithSlash(name)},
                 {"size", segment.info().st_size},
                 {"offset", offset},
                 {"data", Hex(bytes.data(), bytes.size())}});
    else
      PrintHexDump(bytes.data(), bytes.size(), static_cast<uint64_t>(offset));
    if (progress) progress->At(static_cast<uint64_t>(offset));
  }
  return kYes;
}

int Watch(const std::string &name, long for_seconds, const Options &options) {
  const StopSignal stop;
  std::vector<uint8_t> before = Segment(name).Content();
  for (long rounds = for_seconds * 10; !stop.Received() && (for_seconds == 0 || rounds-- > 0);) {
    usleep(100000);
    const std::vector<uint8_t> now = Segment(name).Content();
    const size_t size = std::max(now.size(), before.size());
    const auto differs = [&](size_t i) {
      return i >= now.size() || i >= before.size() || now[i] != before[i];
    };
    for (size_t i = 0; i < size; ++i) {
      if (!differs(i)) continue;
      size_t end = i;
      while (end < size && differs(end)) ++end;
      const size_t shown = std::min(end, now.size());
      const std::string hex = shown > i ? Hex(now.data() + i, std::min<size_t>(shown - i, 64)) : "";
      if (options.json)
        PrintJson({{"offset", i}, {"length", end - i}, {"data", hex}});
      else
        fmt::print("{:08x} {:>6} bytes  {}\n", i, end - i, hex);
      i = end;
    }
    std::fflush(stdout);
    before = now;
  }
  return kYes;
}

int Unlock(const std::string &lock, bool yes, const Options &options) {
  sem_t *const sem = sem_open(WithSlash(lock).c_str(), 0);
  if (sem == SEM_FAILED)
    throw Failure{kSystem, fmt::format("{}: {}", WithSlash(lock), strerror(errno))};
  int value = 0;
  sem_getvalue(sem, &value);
  int result = kNo;
  std::string text = fmt::format("{} is not held; nothing to do", WithSlash(lock));
  if (value <= 0 && !yes) {
    text = "held; post it with --yes once you know that its holder is gone";
  } else if (value <= 0) {
    sem_post(sem);
    text = "unlocked";
    result = kYes;
  }
  sem_close(sem);
  if (options.json)
    PrintJson({{"lock", WithSlash(lock)}, {"value", value}, {"text", text}});
  else
    fmt::print("{}\n", text);
  return result;
}

}  // namespace

void AddShmCommands(CLI::App &app, Options &options) {
  CLI::App *const shm = app.add_subcommand("shm", "Shared-memory segments");
  shm->require_subcommand(1);
  struct Arguments {
    std::string name, lock;
    long seconds = 0;
    bool yes = false;
  };
  const auto add = [&](const char *command_name, const char *help, auto run) {
    CLI::App *const command = shm->add_subcommand(command_name, help);
    auto arguments = std::make_shared<Arguments>();
    command->add_option("NAME", arguments->name, "The segment's name")->required();
    command->add_option("SEM", arguments->lock, "The lock's name")->required();
    command->callback([=, &options] { options.exit_code = run(*arguments); });
    return std::pair(command, arguments);
  };
  add("info", "Size, owner, mode, and whether the lock is held",
      [&options](const Arguments &a) { return Info(a.name, a.lock, options); });
  add("read", "A hex dump of the content",
      [&options](const Arguments &a) { return Read(a.name, options); });
  const auto [watch, watch_arguments] =
      add("watch", "Show what changes, every 100 ms",
          [&options](const Arguments &a) { return Watch(a.name, a.seconds, options); });
  watch->add_option("--for", watch_arguments->seconds, "End after so many seconds")
      ->check(NotNegative());
  const auto [unlock, unlock_arguments] =
      add("unlock", "Post a lock that a dead process left held",
          [&options](const Arguments &a) { return Unlock(a.lock, a.yes, options); });
  unlock->add_flag("--yes", unlock_arguments->yes, "Do it");
}

}  // namespace cuctl
