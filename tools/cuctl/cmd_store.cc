// cuctl store verify|list|get|dump|load|restore: record stores.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "internal/owned.hpp"
#include "tools/cuctl/input.hpp"
#include "tools/cuctl/output.hpp"
#include "tools/cuctl/store_reader.hpp"

namespace cuctl {
namespace {

/// What tells that a file was written to, or replaced.
struct FileState {
  bool there = false;
  ino_t file = 0;
  off_t size = 0;
  time_t seconds = 0;
  long nanoseconds = 0;
  bool operator==(const FileState &) const = default;
};

FileState StateOf(const std::string &path) {
  struct stat info {};
  if (path == "-" || stat(path.c_str(), &info) != 0) return {};
  return {true, info.st_ino, info.st_size, info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
}

StoreFile ReadOnce(const std::string &path) {
  Input input(path);
  bool whole = false;
  Progress progress("reading", input.size());
  std::vector<uint8_t> bytes = input.ReadUpTo(kMostBytes, &whole, &progress);
  const uint64_t size = whole             ? bytes.size()
                        : input.regular() ? input.size()
                                          : std::numeric_limits<uint64_t>::max();
  StoreFile store = ReadStore(std::move(bytes), size);
  if (store.too_large)
    throw Failure{kSystem, fmt::format("{}: a store of more than {} MiB", path, kMostBytes >> 20)};
  return store;
}

/// Reads a store; `changing` tells that somebody wrote to it meanwhile, so that a bad checksum says
/// nothing.
StoreFile Read(const std::string &path, bool *changing = nullptr) {
  const FileState before = StateOf(path);
  StoreFile store = ReadOnce(path);
  if (changing == nullptr) return store;
  *changing = !(before == StateOf(path));
  if (*changing || !before.there || store.refusal().empty()) return store;
  // Two writes within one tick of the file system's clock leave the same time: look once more
  // before a file is called damaged.
  usleep(30000);
  *changing = !(before == StateOf(path)) || ReadOnce(path).bytes != store.bytes;
  return store;
}

std::string BaseName(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

/// The record's creation as a date, told from its age on the monotonic clock and confirmed by its
/// wall stamp; empty when the two do not agree, as after a reboot or on another machine. The stamp
/// alone fits many moments: it counts a second as a tenth of one and wraps within half a day.
std::string DateOf(const StoreRecord &record, const Options &options) {
  constexpr int64_t kSecondInUs = 1000000;
  constexpr int64_t kClockSlack = 50000;
  timespec wall{}, monotonic{};
  clock_gettime(CLOCK_REALTIME, &wall);
  clock_gettime(CLOCK_MONOTONIC, &monotonic);
  const int64_t age = monotonic.tv_sec * kSecondInUs + monotonic.tv_nsec / 1000 -
                      record.header.monotonic_seconds * kSecondInUs;
  if (age < 0) return "";
  // The monotonic stamp has whole seconds: the record was made within the second that begins here.
  const int64_t earliest = wall.tv_sec * kSecondInUs + wall.tv_nsec / 1000 - age - kClockSlack;
  const int64_t latest = earliest + kSecondInUs + 2 * kClockSlack;
  for (int64_t seconds = earliest / kSecondInUs - 1; seconds <= latest / kSecondInUs; ++seconds) {
    const int64_t base =
        static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(seconds) * 100000U));
    int64_t microseconds = 0;  // the stamp may be any number
    if (__builtin_sub_overflow(record.header.wall_stamp, base, &microseconds)) continue;
    if (microseconds < 0 || microseconds >= kSecondInUs) continue;
    const int64_t moment = seconds * kSecondInUs + microseconds;
    if (moment >= earliest && moment <= latest) return Time(seconds, microseconds * 1000, options);
  }
  return "";
}

nlohmann::ordered_json Describe(const StoreRecord &record, const Options &options) {
  nlohmann::ordered_json object = {{"id", record.header.id},
                                   {"valid", record.header.valid != 0},
                                   {"length", record.header.length},
                                   {"wall_stamp", record.header.wall_stamp},
                                   {"monotonic_seconds", record.header.monotonic_seconds},
                                   {"offset", record.offset},
                                   {"whole", record.whole}};
  if (const std::string date = DateOf(record, options); !date.empty()) object["date"] = date;
  return object;
}

std::string Verdict(const StoreFile &store, bool changing) {
  if (changing) return "changing";
  if (store.fresh()) return "EMPTY";
  return store.accepted() ? "OK" : "REFUSED";
}

std::string CrcText(const StoreFile &store) {
  if (!store.header_ok) return store.problem;
  if (store.fresh()) return "a new store that has no record yet";
  if (!store.crc_known)
    return fmt::format("crc stored {:08x}, none computed: {}", store.header.crc, store.problem);
  if (store.accepted()) return fmt::format("crc {:08x}", store.crc);
  return fmt::format("crc stored {:08x} computed {:08x}", store.header.crc, store.crc);
}

nlohmann::ordered_json VerdictJson(const std::string &path, const StoreFile &store, bool changing) {
  nlohmann::ordered_json object = {{"file", path},
                                   {"verdict", Verdict(store, changing)},
                                   {"accepted", store.accepted()},
                                   {"walkable", store.walkable()},
                                   {"last_good_offset", store.last_good_offset},
                                   {"size", store.size},
                                   {"crc_stored", fmt::format("{:08x}", store.header.crc)}};
  if (store.crc_known) object["crc_computed"] = fmt::format("{:08x}", store.crc);
  if (!store.problem.empty()) object["problem"] = store.problem;
  return object;
}

int Verify(const std::string &path, const std::string &backup_path, const Options &options) {
  bool changing = false;
  const StoreFile store = Read(path, &changing);
  std::string backup_text;
  nlohmann::ordered_json object = VerdictJson(path, store, changing);
  if (!backup_path.empty()) {
    try {
      bool backup_changing = false;
      const StoreFile backup = Read(backup_path, &backup_changing);
      const int64_t older = StateOf(path).seconds - StateOf(backup_path).seconds;
      backup_text = fmt::format("; backup {} {}, {} records, {} {}", BaseName(backup_path),
                                Verdict(backup, backup_changing), backup.walkable(),
                                Age(older < 0 ? -older : older), older < 0 ? "newer" : "older");
      object["backup"] = VerdictJson(backup_path, backup, backup_changing);
      object["backup"]["older_seconds"] = older;
    } catch (const Failure &) {
      backup_text = fmt::format("; backup {} cannot be read", BaseName(backup_path));
      object["backup"] = nullptr;
    }
  }
  if (options.json) {
    PrintJson(object);
  } else {
    const std::string verdict = Verdict(store, changing);
    std::string offset;
    if (!store.refusal().empty() && store.header_ok)
      offset = fmt::format("; last good offset {}", store.last_good_offset);
    const std::string detail =
        !store.accepted() && store.crc_known && !store.problem.empty() ? "; " + store.problem : "";
    fmt::print("{}  {}; {} records walkable{}{}{}\n",
               In(changing                  ? Colour::kYellow
                  : store.refusal().empty() ? Colour::kGreen
                                            : Colour::kRed,
                  verdict),
               CrcText(store), store.walkable(), detail, offset, backup_text);
  }
  if (changing) return kNo;
  return store.refusal().empty() ? kYes : kDamaged;
}

/// The exit code of a command that has shown what can be read of a store.
int Conclude(const std::string &path, const StoreFile &store, const Options &options) {
  const std::string refusal = store.refusal();
  if (refusal.empty()) return kYes;
  Complain(options, fmt::format("{}: refused: {}", path, refusal));
  return kDamaged;
}

int List(const std::string &path, bool all, const Options &options) {
  const StoreFile store = Read(path);
  for (const StoreRecord &record : store.records) {
    if (!all && (record.header.valid == 0 || !record.whole)) continue;
    if (options.json) {
      PrintJson(Describe(record, options));
      continue;
    }
    const std::string date = DateOf(record, options);
    fmt::print("id {:<5} {:<10} len {:<6} mono {}s  wall {}{}  off {}{}\n", record.header.id,
               record.header.valid != 0 ? "valid" : "superseded", record.header.length,
               record.header.monotonic_seconds, record.header.wall_stamp,
               date.empty() ? "" : " (" + date + ")", record.offset,
               record.whole ? "" : "  cut short");
  }
  return Conclude(path, store, options);
}

int Get(const std::string &path, const std::vector<uint32_t> &ids, bool hex,
        const Options &options) {
  const StoreFile store = Read(path);
  bool missing = false;
  for (const uint32_t id : ids) {
    const StoreRecord *found = nullptr;
    for (const StoreRecord &record : store.records)
      if (record.header.id == id && record.header.valid != 0 && record.whole && found == nullptr)
        found = &record;
    if (found == nullptr) {
      if (store.header_ok) Complain(options, fmt::format("{}: no valid record {}", path, id));
      missing = true;
    } else if (options.json) {
      nlohmann::ordered_json object = Describe(*found, options);
      object["payload"] = Hex(found->payload, found->header.length);
      PrintJson(object);
    } else if (hex) {
      PrintHexDump(found->payload, found->header.length);
    } else {
      WriteBytes({reinterpret_cast<const char *>(found->payload), found->header.length}, options);
    }
  }
  const int verdict = Conclude(path, store, options);
  return verdict == kYes && missing ? kNo : verdict;
}

int Dump(const std::string &path, const Options &options) {
  const StoreFile store = Read(path);
  size_t count = 0;
  if (store.header_ok && !options.json) fmt::print("ambrelstorage 4\n");
  for (const StoreRecord &record : store.records) {
    if (!record.whole) continue;
    ++count;
    const std::string payload = Hex(record.payload, record.header.length);
    if (options.json) {
      nlohmann::ordered_json object = Describe(record, options);
      object["payload"] = payload;
      PrintJson(object);
    } else {
      fmt::print("record {} {} {} {} {} {}\n", record.header.id, record.header.valid,
                 record.header.length, payload.empty() ? "-" : payload, record.header.wall_stamp,
                 record.header.monotonic_seconds);
    }
  }
  if (store.header_ok && !options.json) fmt::print("end {}\n", count);
  return Conclude(path, store, options);
}

/// The length of a row of hexadecimal digit pairs, appended to `out`; none when it is no such row.
std::optional<size_t> TakeHex(std::string_view digits, std::vector<uint8_t> &out) {
  if (digits == "-") return 0;
  const auto nibble = [](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (digits.size() % 2 != 0) return std::nullopt;
  for (size_t i = 0; i < digits.size(); i += 2) {
    const int high = nibble(digits[i]), low = nibble(digits[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    out.push_back(static_cast<uint8_t>(high * 16 + low));
  }
  return digits.size() / 2;
}

/// Takes the words of a line off its front, one after the other.
class Words {
 public:
  explicit Words(std::string_view line) : rest_(line) {}

  std::string_view Next() {
    const size_t begin = std::min(rest_.find_first_not_of(' '), rest_.size());
    rest_.remove_prefix(begin);
    const std::string_view word = rest_.substr(0, rest_.find(' '));
    rest_.remove_prefix(word.size());
    return word;
  }

  /// A whole number that fits.
  template <typename Number>
  bool Next(Number &number) {
    const std::string_view word = Next();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size() && !word.empty();
  }

  bool AtEnd() const { return rest_.find_first_not_of(' ') == std::string_view::npos; }

 private:
  std::string_view rest_;
};

/// Reads a dump line by line.
class Loader {
 public:
  Loader(const std::string &path, std::string_view text) : path_(path) {
    payloads_.reserve(text.size() / 2 + 1);  // the records refer to it: it must not move
    for (size_t at = 0; at < text.size();) {
      const size_t stop = std::min(text.find('\n', at), text.size());
      std::string_view line = text.substr(at, stop - at);
      at = stop + 1;
      ++line_;
      if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
      if (!line.empty() && line[0] != '#') Take(line);
    }
    if (!ended_) Bad("the dump breaks off");
  }
  const std::deque<StoreRecord> &records() const { return records_; }

 private:
  [[noreturn]] void Bad(const char *what) const {
    throw Failure{kDamaged, fmt::format("{}:{}: {}", path_, line_, what)};
  }

  void Take(std::string_view line) {
    Words words(line);
    const std::string_view kind = words.Next();
    if (ended_) Bad("text after the end");
    if (!begun_) {
      uint32_t format = 0;
      if (kind != "ambrelstorage" || !words.Next(format) || format != cu::store::kFormat ||
          !words.AtEnd())
        Bad("not a dump of a store");
      begun_ = true;
    } else if (kind == "end") {
      size_t count = 0;
      if (!words.Next(count) || !words.AtEnd()) Bad("no number of records");
      if (count != records_.size()) Bad("the number of records differs");
      ended_ = true;
    } else if (kind == "record") {
      TakeRecord(words);
    } else {
      Bad("not a record");
    }
  }

  void TakeRecord(Words &words) {
    StoreRecord record;
    std::memset(&record.header, 0, sizeof record.header);
    record.header.format = cu::store::kFormat;
    uint32_t length = 0;
    if (!words.Next(record.header.id) || !words.Next(record.header.valid) || !words.Next(length))
      Bad("id, validity and length are not numbers that fit");
    const size_t held = payloads_.size();
    const std::optional<size_t> taken = TakeHex(words.Next(), payloads_);
    if (!taken) Bad("the payload is not hexadecimal");
    if (*taken != length) Bad("the payload has another length");
    record.header.length = length;
    record.payload = payloads_.data() + held;
    // The stamps may be left out.
    int64_t wall = 0;
    if (!words.AtEnd() && (!words.Next(wall) || !words.Next(record.header.monotonic_seconds)))
      Bad("the stamps are not numbers that fit");
    if (!words.AtEnd()) Bad("text behind the record");
    record.header.wall_stamp = wall;
    records_.push_back(record);
  }

  std::string path_;
  size_t line_ = 0;
  bool begun_ = false, ended_ = false;
  std::vector<uint8_t> payloads_;
  std::deque<StoreRecord> records_;
};

/// Where a name leads to: a link is kept, and what it points to is replaced.
std::string Resolved(const std::string &path) {
  const cu::Owned<char> real(realpath(path.c_str(), nullptr));
  return real ? real.get() : path;
}

/// Writes a file under a temporary name beside its own, forces it out, and renames it. It gets the
/// owner and the mode of `like`, where that is: a daemon that is not root must be able to open what
/// root has restored.
void Replace(const std::string &path, const std::vector<uint8_t> &bytes, const std::string &like) {
  std::string temporary = path + ".XXXXXX";
  const cu::UniqueFd file(mkstemp(temporary.data()));
  const auto fail = [&] {
    const int error = errno;
    if (file) unlink(temporary.c_str());
    throw Failure{kSystem, fmt::format("{}: {}", path, strerror(error))};
  };
  if (!file) fail();
  for (size_t written = 0; written < bytes.size();) {
    const ssize_t count = write(file.get(), bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail();
    written += static_cast<size_t>(count);
  }
  struct stat info {};
  mode_t mode = 0;
  if (stat(like.c_str(), &info) == 0) {
    mode = info.st_mode & 0777;
    // Whoever may not give files away is their owner already, or cannot be helped.
    if (fchown(file.get(), info.st_uid, info.st_gid) != 0 && errno != EPERM) fail();
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    mode = 0666 & ~mask;
  }
  if (fchmod(file.get(), mode) != 0 || fsync(file.get()) != 0 ||
      rename(temporary.c_str(), path.c_str()) != 0)
    fail();
  // The new name is on the medium once the folder is.
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const cu::UniqueFd directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory) fsync(directory.get());
}

int Load(const std::string &out, const std::string &in, const Options &options) {
  const std::vector<uint8_t> bytes = ReadInput(in);
  const Loader loader(in, {reinterpret_cast<const char *>(bytes.data()), bytes.size()});
  const std::vector<uint8_t> store = WriteStore(loader.records());
  const size_t count = loader.records().size();
  if (out == "-") {
    std::fwrite(store.data(), 1, store.size(), stdout);
  } else {
    const std::string path = Resolved(out);
    Replace(path, store, path);
    if (options.json)
      PrintJson({{"file", out}, {"records", count}});
    else
      fmt::print("{} records\n", count);
  }
  if (count == 0 || !ReadStore(store, store.size()).crc_known) {
    Complain(options, fmt::format("{}: no record has a payload, so a daemon starts it empty", out));
    return kNo;
  }
  return kYes;
}

std::string NewerRecords(const StoreFile &damaged, const StoreFile &backup,
                         const std::string &bad_path) {
  std::set<uint32_t> held;
  for (const StoreRecord &record : backup.records) held.insert(record.header.id);
  std::string ids;
  size_t count = 0;
  for (const StoreRecord &record : damaged.records)
    if (record.whole && record.header.valid != 0 && held.insert(record.header.id).second) {
      ids += fmt::format(" {}", record.header.id);
      ++count;
    }
  if (count == 0) return "";
  return fmt::format("; {} newer records readable: cuctl store get {}{}", count, bad_path, ids);
}

int Restore(const std::string &name, const std::string &backup_path, bool force,
            const Options &options) {
  const std::string primary = Resolved(name);
  const bool there = access(primary.c_str(), F_OK) == 0;
  bool changing = false;
  const StoreFile store = there ? Read(primary, &changing) : StoreFile{};
  if (changing) throw Failure{kSystem, fmt::format("{} is being written", name)};
  const auto say = [&](const std::string &text, size_t records) {
    if (options.json)
      PrintJson({{"file", name}, {"records", records}, {"text", text}});
    else
      fmt::print("{}\n", text);
  };
  if (there && store.accepted()) {
    say(fmt::format("{} is accepted; nothing to do", name), store.walkable());
    return kYes;
  }

  std::vector<uint8_t> content;
  size_t restored = 0;
  std::string source, newer;
  const std::string bad_path = primary + ".bad";
  StoreFile backup;
  try {
    backup = Read(backup_path);
  } catch (const Failure &) {
    if (!force) throw;
  }
  if (backup.accepted() && !force) {
    content = backup.bytes;
    restored = backup.walkable();
    source = backup_path;
    newer = there ? NewerRecords(store, backup, bad_path) : "";
  } else if (force) {
    std::deque<StoreRecord> records;
    for (const StoreRecord &record : store.records)
      if (record.whole && record.header.valid != 0) records.push_back(record);
    restored = records.size();
    content = WriteStore(records);
    if (!ReadStore(content, content.size()).accepted())
      throw Failure{kNo, fmt::format("{}: nothing to salvage", name)};
  } else {
    throw Failure{kNo, fmt::format("{} would be refused too; --force salvages what can be walked",
                                   backup_path)};
  }
  // With a second name the bad file stays in place until the rename; not every file system has
  // them.
  const bool keep = there && !store.fresh();
  if (keep) {
    unlink(bad_path.c_str());
    if (link(primary.c_str(), bad_path.c_str()) != 0 &&
        rename(primary.c_str(), bad_path.c_str()) != 0)
      throw Failure{kSystem, fmt::format("{}: {}", bad_path, strerror(errno))};
  }
  Replace(primary, content, there ? (keep ? bad_path : primary) : backup_path);
  say(fmt::format("restored {} records{}{}{}", restored, force ? "" : " from " + BaseName(source),
                  keep ? "; damaged file kept as " + BaseName(bad_path) : "", newer),
      restored);
  return kYes;
}

}  // namespace

void AddStoreCommands(CLI::App &app, Options &options) {
  CLI::App *const store = app.add_subcommand("store", "Record stores");
  store->require_subcommand(1);
  struct Arguments {
    std::string path, backup;
    std::vector<uint32_t> ids;
    bool flag = false;
  };
  const auto add = [&](const char *name, const char *help) {
    CLI::App *const command = store->add_subcommand(name, help);
    return std::pair(command, std::make_shared<Arguments>());
  };

  {
    const auto [command, arguments] = add("verify", "Would a daemon accept this file?");
    command->add_option("FILE", arguments->path, "The store")->required();
    command->add_option("--backup", arguments->backup, "Look at this backup too");
    command->callback([arguments = arguments, &options] {
      options.exit_code = Verify(arguments->path, arguments->backup, options);
    });
  }
  {
    const auto [command, arguments] = add("list", "The records, a line each");
    command->add_option("FILE", arguments->path, "The store")->required();
    command->add_flag("--all", arguments->flag, "Superseded and broken records too");
    command->callback([arguments = arguments, &options] {
      options.exit_code = List(arguments->path, arguments->flag, options);
    });
  }
  {
    const auto [command, arguments] = add("get", "Write the payload of records");
    command->add_option("FILE", arguments->path, "The store")->required();
    command->add_option("ID", arguments->ids, "Record ids")->required();
    command->add_flag("--hex", arguments->flag, "As a hex dump");
    command->callback([arguments = arguments, &options] {
      options.exit_code = Get(arguments->path, arguments->ids, arguments->flag, options);
    });
  }
  {
    const auto [command, arguments] = add("dump", "Write the records in a portable text form");
    command->add_option("FILE", arguments->path, "The store")->required();
    command->callback(
        [arguments = arguments, &options] { options.exit_code = Dump(arguments->path, options); });
  }
  {
    const auto [command, arguments] = add("load", "Make a store from a dump");
    command->add_option("OUT", arguments->path, "The store to write")->required();
    arguments->backup = "-";
    command->add_option("DUMP", arguments->backup, "The dump; standard input when left out");
    command->callback([arguments = arguments, &options] {
      options.exit_code = Load(arguments->path, arguments->backup, options);
    });
  }
  {
    const auto [command, arguments] =
        add("restore",
            "Put the backup in place of a store that would be refused; for the unit file, "
            "before the daemon starts");
    command->add_option("PRIMARY", arguments->path, "The store")->required();
    command->add_option("BACKUP", arguments->backup, "Its backup, .bkc")->required();
    command->add_flag("--force", arguments->flag,
                      "Salvage every record of PRIMARY that can be walked instead");
    command->callback([arguments = arguments, &options] {
      options.exit_code = Restore(arguments->path, arguments->backup, arguments->flag, options);
    });
  }
}

}  // namespace cuctl
