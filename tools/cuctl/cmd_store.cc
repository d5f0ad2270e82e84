// cuctl store verify|list|get|dump|load|restore: record stores.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "tools/cuctl/output.hpp"
#include "tools/cuctl/store_reader.hpp"

namespace cuctl {
namespace {

struct FileTimes {
  bool there = false;
  off_t size = 0;
  timespec modified{};
};

FileTimes TimesOf(const std::string &path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return {};
  return {true, info.st_size, info.st_mtim};
}

/// Reads a store; `changing` tells that somebody wrote to it meanwhile, so that a bad checksum says
/// nothing.
StoreFile Read(const std::string &path, bool *changing = nullptr) {
  const FileTimes before = TimesOf(path);
  StoreFile store = ReadStore(ReadInput(path));
  const FileTimes after = TimesOf(path);
  if (changing != nullptr)
    *changing = before.there != after.there || before.size != after.size ||
                before.modified.tv_sec != after.modified.tv_sec ||
                before.modified.tv_nsec != after.modified.tv_nsec;
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
  constexpr int64_t kSecond = 1000000;  // microseconds
  constexpr int64_t kClockSlack = 50000;
  timespec wall{}, monotonic{};
  clock_gettime(CLOCK_REALTIME, &wall);
  clock_gettime(CLOCK_MONOTONIC, &monotonic);
  const int64_t age = monotonic.tv_sec * kSecond + monotonic.tv_nsec / 1000 -
                      record.header.monotonic_seconds * kSecond;
  if (age < 0) return "";
  // The monotonic stamp has whole seconds: the record was made within the second that begins here.
  const int64_t earliest = wall.tv_sec * kSecond + wall.tv_nsec / 1000 - age - kClockSlack;
  const int64_t latest = earliest + kSecond + 2 * kClockSlack;
  for (int64_t seconds = earliest / kSecond - 1; seconds <= latest / kSecond; ++seconds) {
    const int64_t base =
        static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(seconds) * 100000U));
    const int64_t microseconds = record.header.wall_stamp - base;
    const int64_t moment = seconds * kSecond + microseconds;
    if (microseconds >= 0 && microseconds < kSecond && moment >= earliest && moment <= latest)
      return Time(seconds, microseconds * 1000, options);
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
  return store.accepted() ? "OK" : "REFUSED";
}

std::string CrcText(const StoreFile &store) {
  if (!store.header_ok) return store.problem;
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
                                   {"size", store.bytes.size()},
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
      const int64_t older = TimesOf(path).modified.tv_sec - TimesOf(backup_path).modified.tv_sec;
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
    if (!store.accepted() && !store.problem.empty() && store.header_ok)
      offset = fmt::format("; last good offset {}", store.last_good_offset);
    const std::string detail =
        !store.accepted() && store.crc_known && !store.problem.empty() ? "; " + store.problem : "";
    fmt::print("{}  {}; {} records walkable{}{}{}\n",
               In(store.accepted() ? Colour::kGreen : Colour::kRed, verdict), CrcText(store),
               store.walkable(), detail, offset, backup_text);
  }
  if (changing) return kNo;
  return store.accepted() ? kYes : kDamaged;
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
  if (!store.header_ok || (!store.problem.empty() && !store.crc_known && !store.records.empty())) {
    std::fflush(stdout);
    fmt::print(stderr, "cuctl: {}: {}\n", path, store.problem);
    return kDamaged;
  }
  return kYes;
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
      std::fflush(stdout);
      fmt::print(stderr, "cuctl: {}: no valid record {}\n", path, id);
      missing = true;
    } else if (options.json) {
      nlohmann::ordered_json object = Describe(*found, options);
      object["payload"] = Hex(found->payload, found->header.length);
      PrintJson(object);
    } else if (hex) {
      fmt::print("{}", HexDump(found->payload, found->header.length));
    } else {
      std::fwrite(found->payload, 1, found->header.length, stdout);
    }
  }
  if (!store.header_ok) {
    fmt::print(stderr, "cuctl: {}: {}\n", path, store.problem);
    return kDamaged;
  }
  return missing ? kNo : kYes;
}

int Dump(const std::string &path) {
  const StoreFile store = Read(path);
  if (!store.header_ok) throw Failure{kDamaged, fmt::format("{}: {}", path, store.problem)};
  size_t count = 0;
  fmt::print("ambrelstorage 4\n");
  for (const StoreRecord &record : store.records) {
    if (!record.whole) continue;
    ++count;
    fmt::print("record {} {} {} {} {} {}\n", record.header.id, record.header.valid,
               record.header.length,
               record.header.length == 0 ? "-" : Hex(record.payload, record.header.length),
               record.header.wall_stamp, record.header.monotonic_seconds);
  }
  fmt::print("end {}\n", count);
  if (store.walkable() == store.records.size() && (store.crc_known || store.records.empty()))
    return kYes;
  std::fflush(stdout);
  fmt::print(stderr, "cuctl: {}: {}\n", path, store.problem);
  return kDamaged;
}

int Nibble(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Writes a file under a temporary name beside its own, forces it out, and renames it.
void Replace(const std::string &path, const std::vector<uint8_t> &bytes) {
  std::string temporary = path + ".XXXXXX";
  const int fd = mkstemp(temporary.data());
  const auto fail = [&] {
    const int error = errno;
    if (fd >= 0) close(fd);
    unlink(temporary.c_str());
    throw Failure{kSystem, fmt::format("{}: {}", path, strerror(error))};
  };
  if (fd < 0) fail();
  size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = write(fd, bytes.data() + written, bytes.size() - written);
    if (count < 0) fail();
    written += static_cast<size_t>(count);
  }
  if (fchmod(fd, 0644) != 0 || fsync(fd) != 0 || rename(temporary.c_str(), path.c_str()) != 0)
    fail();
  close(fd);
}

int Load(const std::string &out, const std::string &in) {
  const std::vector<uint8_t> bytes = ReadInput(in);
  std::string text(bytes.begin(), bytes.end());
  std::vector<StoreRecord> records;
  std::vector<std::unique_ptr<std::vector<uint8_t>>> payloads;
  bool begun = false, ended = false, any_payload = false;
  size_t line_number = 0;
  const auto bad = [&](const std::string &what) {
    throw Failure{kDamaged, fmt::format("{}:{}: {}", in, line_number, what)};
  };
  for (size_t at = 0; at < text.size();) {
    size_t stop = text.find('\n', at);
    if (stop == std::string::npos) stop = text.size();
    const std::string line = text.substr(at, stop - at);
    at = stop + 1;
    ++line_number;
    if (line.empty() || line[0] == '#') continue;
    if (ended) bad("text after the end");
    if (!begun) {
      if (line != "ambrelstorage 4") bad("not a dump of a store");
      begun = true;
      continue;
    }
    unsigned long id = 0, valid = 0, length = 0, monotonic = 0, count = 0;
    long long wall = 0;
    int hex_at = 0, hex_end = 0;
    if (std::sscanf(line.c_str(), "end %lu", &count) == 1) {
      if (count != records.size()) bad("the number of records differs");
      ended = true;
      continue;
    }
    if (std::sscanf(line.c_str(), "record %lu %lu %lu %n%*s%n %lld %lu", &id, &valid, &length,
                    &hex_at, &hex_end, &wall, &monotonic) < 3 ||
        hex_end == 0)
      bad("not a record");
    const std::string hex =
        line.substr(static_cast<size_t>(hex_at), static_cast<size_t>(hex_end - hex_at));
    auto payload = std::make_unique<std::vector<uint8_t>>();
    if (hex != "-")
      for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        const int high = Nibble(hex[i]), low = Nibble(hex[i + 1]);
        if (high < 0 || low < 0) bad("not hexadecimal");
        payload->push_back(static_cast<uint8_t>(high * 16 + low));
      }
    if (payload->size() != length || (hex != "-" && hex.size() % 2 != 0))
      bad("the payload has another length");
    StoreRecord record;
    std::memset(&record.header, 0, sizeof record.header);
    record.header.format = cu::store::kFormat;
    record.header.id = static_cast<uint32_t>(id);
    record.header.valid = static_cast<uint8_t>(valid);
    record.header.length = static_cast<uint32_t>(length);
    record.header.wall_stamp = wall;
    record.header.monotonic_seconds = static_cast<uint32_t>(monotonic);
    any_payload = any_payload || length != 0;
    payloads.push_back(std::move(payload));
    record.payload = payloads.back()->data();
    records.push_back(record);
  }
  if (!ended) bad("the dump breaks off");
  Replace(out, WriteStore(records));
  fmt::print("{} records\n", records.size());
  if (!any_payload) {
    fmt::print(stderr, "cuctl: {}: no record has a payload, so a daemon starts it empty\n", out);
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

int Restore(const std::string &primary, const std::string &backup_path, bool force,
            const Options &options) {
  const bool there = access(primary.c_str(), F_OK) == 0;
  bool changing = false;
  const StoreFile store = there ? Read(primary, &changing) : StoreFile{};
  if (changing) throw Failure{kSystem, fmt::format("{} is being written", primary)};
  const auto say = [&](const std::string &text, size_t records) {
    if (options.json)
      PrintJson({{"file", primary}, {"records", records}, {"text", text}});
    else
      fmt::print("{}\n", text);
  };
  if (there && store.accepted()) {
    say(fmt::format("{} is accepted; nothing to do", primary), store.walkable());
    return kYes;
  }

  std::vector<uint8_t> content;
  size_t restored = 0;
  std::string source, newer;
  const std::string bad_path = primary + ".bad";
  StoreFile backup;
  try {
    backup = Read(backup_path);
  } catch (const Failure &failure) {
    if (!force) throw;
  }
  if (backup.accepted() && !force) {
    content = backup.bytes;
    restored = backup.walkable();
    source = backup_path;
    newer = there ? NewerRecords(store, backup, bad_path) : "";
  } else if (force) {
    std::vector<StoreRecord> records;
    for (const StoreRecord &record : store.records)
      if (record.whole && record.header.valid != 0) records.push_back(record);
    restored = records.size();
    content = WriteStore(records);
    source = primary;
    if (!ReadStore(content).accepted())
      throw Failure{kNo, fmt::format("{}: nothing to salvage", primary)};
  } else {
    throw Failure{kNo, fmt::format("{} would be refused too; --force salvages what can be walked",
                                   backup_path)};
  }
  if (there && rename(primary.c_str(), bad_path.c_str()) != 0)
    throw Failure{kSystem, fmt::format("{}: {}", bad_path, strerror(errno))};
  Replace(primary, content);
  say(fmt::format("restored {} records{}{}{}", restored, force ? "" : " from " + BaseName(source),
                  there ? "; damaged file kept as " + BaseName(bad_path) : "", newer),
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
        [arguments = arguments, &options] { options.exit_code = Dump(arguments->path); });
  }
  {
    const auto [command, arguments] = add("load", "Make a store from a dump");
    command->add_option("OUT", arguments->path, "The store to write")->required();
    arguments->backup = "-";
    command->add_option("DUMP", arguments->backup, "The dump; standard input when left out");
    command->callback([arguments = arguments, &options] {
      options.exit_code = Load(arguments->path, arguments->backup);
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
