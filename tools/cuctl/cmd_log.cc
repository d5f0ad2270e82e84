// cuctl log cat|follow|info FILE: circular log files.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <regex.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <compare>
#include <cstring>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "tools/cuctl/hand_over.hpp"
#include "tools/cuctl/input.hpp"
#include "tools/cuctl/log_cursor.hpp"
#include "tools/cuctl/log_loader.hpp"
#include "tools/cuctl/log_reader.hpp"
#include "tools/cuctl/options.hpp"
#include "tools/cuctl/output.hpp"
#include "tools/cuctl/stop_signal.hpp"

namespace cuctl {
namespace {

constexpr uint64_t kSecondInNs = 1000000000;

/// An extended regular expression of the C library: it matches lines of any length and content.
class Pattern {
 public:
  explicit Pattern(const std::string &text)
      : good_(regcomp(&compiled_, text.c_str(), REG_EXTENDED | REG_NOSUB) == 0) {}
  ~Pattern() {
    if (good_) regfree(&compiled_);
  }
  Pattern(const Pattern &) = delete;
  Pattern &operator=(const Pattern &) = delete;

  bool good() const { return good_; }
  bool Matches(std::string_view text) const {
    regmatch_t range{};
    range.rm_eo = static_cast<regoff_t>(text.size());
    // An empty view may have no address.
    return regexec(&compiled_, text.empty() ? "" : text.data(), 0, &range, REG_STARTEND) == 0;
  }

 private:
  regex_t compiled_{};
  bool good_;
};

struct Filter {
  long last = -1;  // lines; -1 for all
  std::optional<uint64_t> since, until;
  std::optional<int> level;  // this one and the more urgent ones
  std::optional<int> pid;
  std::shared_ptr<const Pattern> pattern;
};

/// The command line's texts for a Filter.
struct FilterTexts {
  long last = -1;
  std::string since, until, level, pattern;
  int pid = 0;
};

/// "2024-03-05 14:07:09", "2024-03-05", "14:07" of today, "@1709647629", "-10min" before now,
/// "now".
std::optional<uint64_t> ParseTime(const std::string &text, const Options &options) {
  const int64_t now = static_cast<int64_t>(time(nullptr));
  if (text == "now") return static_cast<uint64_t>(now) * kSecondInNs;
  if (text.size() > 1 && (text[0] == '@' || text[0] == '-')) {
    // Seconds up to here do not overflow as nanoseconds.
    constexpr uint64_t kLatest = UINT64_MAX / kSecondInNs;
    uint64_t amount = 0;
    const char *const begin = text.data() + 1, *const stop = text.data() + text.size();
    const auto [end, error] = std::from_chars(begin, stop, amount);
    if (error != std::errc() || amount > kLatest) return std::nullopt;
    const std::string_view unit(end, static_cast<size_t>(stop - end));
    if (text[0] == '@') return unit.empty() ? std::optional(amount * kSecondInNs) : std::nullopt;
    static constexpr std::pair<std::string_view, uint64_t> kUnits[] = {
        {"", 1},     {"s", 1},     {"sec", 1},   {"m", 60},     {"min", 60},
        {"h", 3600}, {"hr", 3600}, {"d", 86400}, {"day", 86400}};
    for (const auto &[name, seconds] : kUnits)
      if (unit == name)
        return amount > static_cast<uint64_t>(now) / seconds
                   ? 0
                   : (static_cast<uint64_t>(now) - amount * seconds) * kSecondInNs;
    return std::nullopt;
  }
  const time_t today = now;
  for (const char *const format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M",
                                   "%Y-%m-%d", "%H:%M:%S", "%H:%M"}) {
    tm parts{};
    if (format[1] == 'H') {
      options.utc ? gmtime_r(&today, &parts) : localtime_r(&today, &parts);
      parts.tm_sec = 0;
    }
    const char *const end = strptime(text.c_str(), format, &parts);
    if (end == nullptr || *end != '\0') continue;
    parts.tm_isdst = -1;
    const time_t when = options.utc ? timegm(&parts) : mktime(&parts);
    if (when >= 0) return static_cast<uint64_t>(when) * kSecondInNs;
  }
  return std::nullopt;
}

Filter MakeFilter(const FilterTexts &texts, const Options &options) {
  Filter filter;
  filter.last = texts.last;
  const auto time_of = [&](const std::string &text) -> std::optional<uint64_t> {
    if (text.empty()) return std::nullopt;
    const auto when = ParseTime(text, options);
    if (!when) throw Failure{kUsage, fmt::format("\"{}\" is not a time", text)};
    return when;
  };
  filter.since = time_of(texts.since);
  filter.until = time_of(texts.until);
  if (!texts.level.empty()) {
    filter.level = LevelFromText(texts.level);
    if (!filter.level) throw Failure{kUsage, fmt::format("\"{}\" is not a level", texts.level)};
  }
  if (texts.pid != 0) filter.pid = texts.pid;
  if (!texts.pattern.empty()) {
    filter.pattern = std::make_shared<Pattern>(texts.pattern);
    if (!filter.pattern->good())
      throw Failure{kUsage, fmt::format("\"{}\" is not a regular expression", texts.pattern)};
  }
  return filter;
}

bool Passes(const LogLine &line, const Filter &filter) {
  if (filter.since && line.nanoseconds < *filter.since) return false;
  if (filter.until && line.nanoseconds > *filter.until) return false;
  if (filter.level && line.level > *filter.level) return false;
  if (filter.pid && line.pid != *filter.pid) return false;
  return !filter.pattern || filter.pattern->Matches(line.text);
}

Colour ColourOf(int level) {
  if (level <= 3) return Colour::kRed;
  if (level == 4) return Colour::kYellow;
  return level >= 7 ? Colour::kDim : Colour::kNone;
}

/// The continuation lines of a message stand below its first.
std::string ShownMessage(std::string_view text, const Options &options) {
  std::string shown;
  for (;;) {
    const size_t line_break = text.find('\n');
    shown += Shown(text.substr(0, line_break), options);
    if (line_break == std::string_view::npos) return shown;
    shown += "\n    ";
    text.remove_prefix(line_break + 1);
  }
}

/// What is shown of a line, with its line break.
std::string LineText(const LogLine &line, const Options &options) {
  const int64_t seconds = static_cast<int64_t>(line.nanoseconds / kSecondInNs);
  const int64_t rest = static_cast<int64_t>(line.nanoseconds % kSecondInNs);
  if (options.json)
    return JsonLine({{"time", line.nanoseconds},
                     {"date", Time(seconds, rest, options)},
                     {"pid", line.pid},
                     {"tid", line.tid},
                     {"level", line.level},
                     {"name", LevelName(line.level)},
                     {"text", std::string(line.text)}});
  return fmt::format("{}  {}:{} {} {}\n", Time(seconds, rest, options), line.pid, line.tid,
                     In(ColourOf(line.level), fmt::format("{:<10}", LevelName(line.level))),
                     ShownMessage(line.text, options));
}

void PrintLine(const LogLine &line, const Options &options) {
  const std::string text = LineText(line, options);
  std::fwrite(text.data(), 1, text.size(), stdout);
}

/// Why a file is no sound log; empty for one.
std::string Problem(const LogFile &log) {
  if (!log.header_valid && log.size < 4) return "shorter than a log's header";
  if (!log.header_valid)
    return fmt::format("the header's position {} lies outside the file of {} bytes", log.position,
                       log.size);
  return log.lines.empty() && log.size > 4 ? "no log lines in it" : "";
}

/// The first line to show when the last ones are asked for.
size_t FirstOf(const LogFile &log, const Filter &filter) {
  if (filter.last < 0) return 0;
  size_t first = log.lines.size();
  for (long left = filter.last; left > 0 && first > 0; --first)
    left -= Passes(log.lines[first - 1], filter) ? 1 : 0;
  return first;
}

int Cat(const std::string &path, const Filter &filter, const Options &options) {
  const LoadedLog loaded = LoadLog(path);
  const LogFile &log = loaded.log;
  if (log.looked_at < log.size)
    Caution(options, fmt::format("{}: {} MiB; the latest {} MiB are shown", path, log.size >> 20,
                                 log.looked_at >> 20));
  std::optional<Progress> progress;
  if (!OnTerminal()) progress.emplace("writing", log.lines.size());
  bool any = filter.last == 0 && !log.lines.empty();
  for (size_t i = FirstOf(log, filter); i < log.lines.size(); ++i) {
    if (!Passes(log.lines[i], filter)) continue;
    PrintLine(log.lines[i], options);
    any = true;
    if (progress && i % 256 == 0) progress->At(i);
  }
  progress.reset();
  if (const std::string problem = Problem(log); !problem.empty()) {
    Complain(options, fmt::format("{}: {}", path, problem));
    return kDamaged;
  }
  return any ? kYes : kNo;
}

int Info(const std::string &path, std::optional<uint32_t> limit, const Options &options) {
  const LoadedLog loaded = LoadLog(path);
  const LogFile &log = loaded.log;
  // A daemon that opens the file continues at its end; a limit that is reached there wraps at once.
  const bool mute = limit && static_cast<int64_t>(log.size) >= static_cast<int32_t>(*limit - 1);
  const char *const next = !limit ? nullptr : mute ? "starts over, mute" : "writes at end";
  std::array<size_t, 10> by_level{};
  for (const LogLine &line : log.lines) ++by_level[static_cast<size_t>(line.level)];
  const auto date = [&](const LogLine &line) {
    return Time(static_cast<int64_t>(line.nanoseconds / kSecondInNs),
                static_cast<int64_t>(line.nanoseconds % kSecondInNs), options);
  };
  if (options.json) {
    nlohmann::ordered_json object = {{"file", path},
                                     {"position", log.position},
                                     {"size", log.size},
                                     {"looked_at", log.looked_at},
                                     {"lines", log.lines.size()},
                                     {"pieces", log.pieces},
                                     {"torn_lines", log.torn_lines},
                                     {"torn_bytes", log.torn_bytes},
                                     {"header_valid", log.header_valid}};
    if (!log.lines.empty()) {
      object["first_time"] = log.lines.front().nanoseconds;
      object["last_time"] = log.lines.back().nanoseconds;
    }
    for (int level = 0; level < 10; ++level)
      object["levels"][std::string(LevelName(level))] = by_level[static_cast<size_t>(level)];
    if (limit) object["next_open_mute"] = mute;
    PrintJson(object);
  } else {
    fmt::print("position {} of {}, {} lines, {} torn{}{}\n", log.position, log.size,
               log.lines.size(), log.torn_lines, next ? ", next open: " : "", next ? next : "");
    if (log.looked_at < log.size) fmt::print("looked at the latest {} bytes\n", log.looked_at);
    if (!log.lines.empty())
      fmt::print("first  {}\nlast   {}\n", date(log.lines.front()), date(log.lines.back()));
    fmt::print("pieces {}\n", log.pieces);
    if (log.torn_bytes != 0) fmt::print("torn   {} bytes\n", log.torn_bytes);
    for (int level = 0; level < 10; ++level)
      if (by_level[static_cast<size_t>(level)] != 0)
        fmt::print("{} {}\n", In(ColourOf(level), fmt::format("{:<10}", LevelName(level))),
                   by_level[static_cast<size_t>(level)]);
  }
  const std::string problem = Problem(log);
  if (!problem.empty()) Complain(options, fmt::format("{}: {}", path, problem));
  return problem.empty() ? kYes : kDamaged;
}

struct FollowTexts {
  FilterTexts filter;
  std::string path;
  std::string cursor;  // file that keeps what was shown
  std::string to;      // command that takes the lines
  long every = 1;      // seconds between two runs of it
  long for_seconds = 0;
};

constexpr long kFirstLines = 10;

/// Follows a log over writes, wraps, replacement and deletion.
class Follower {
 public:
  Follower(const FollowTexts &texts, const Options &options)
      : path_(texts.path),
        cursor_path_(texts.cursor),
        filter_(MakeFilter(texts.filter, options)),
        options_(options) {
    if (texts.to.empty()) return;
    hand_over_.emplace(texts.to, std::chrono::seconds(texts.every));
    WithoutColour();
  }

  int Run(long for_seconds) {
    const StopSignal stop;
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(for_seconds);
    First();
    while (!stop.Received() && (for_seconds == 0 || std::chrono::steady_clock::now() < end)) {
      if (watch >= 0) inotify_add_watch(watch, path_.c_str(), IN_MODIFY);
      pollfd waiting{watch, POLLIN, 0};
      // The poll's own time covers files that inotify does not see.
      poll(&waiting, watch >= 0 ? 1 : 0, 250);
      char events[4096];
      while (watch >= 0 && read(watch, events, sizeof events) > 0) {
      }
      // What the command does not take yet waits in the log.
      if (!hand_over_ || !hand_over_->Full()) Look();
      if (!Deliver()) break;
    }
    if (watch >= 0) close(watch);
    return !stop.Received() && hand_over_ && !hand_over_->Done() ? kNo : kYes;
  }

 private:
  /// What changes with every line that is written.
  struct Stamp {
    ino_t file = 0;
    off_t size = 0;
    int64_t seconds = 0, nanoseconds = 0;
    uint32_t position = 0;
    auto operator<=>(const Stamp &) const = default;
  };

  std::optional<Stamp> ReadStamp() const {
    const int file = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return std::nullopt;
    struct stat status {};
    uint8_t header[4] = {};
    const bool read = fstat(file, &status) == 0 && pread(file, header, sizeof header, 0) >= 0;
    close(file);
    if (!read) return std::nullopt;
    return Stamp{status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec,
                 PositionIn({reinterpret_cast<const char *>(header), sizeof header})};
  }

  void First() {
    struct stat info {};
    if (stat(path_.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
      throw Failure{kSystem, fmt::format("{}: not a regular file", path_)};
    // A log that is not there yet is shown from its start once it comes.
    if (access(path_.c_str(), R_OK) != 0) return;
    there_ = true;
    Look(cursor_path_.empty() ? kFirstLines : -1);
    Deliver();
  }

  /// Shows what is new, of that the last `most` lines; -1 for all.
  void Look(long most = -1) {
    const std::optional<Stamp> stamp = ReadStamp();
    if (!stamp) {
      if (there_) Say("-- log removed, waiting for a new one --");
      there_ = false;
      return;
    }
    if (there_ && loaded_ && *stamp == stamp_ && !cursor_.HasLeft()) {
      if (stamp->position == 4 && stamp->size > 4 && !said_wrapped_ &&
          std::chrono::steady_clock::now() - changed_ > std::chrono::seconds(5)) {
        Say("-- log wrapped, output is off until the daemon calls DbgLog_ChangeLogSettings --");
        said_wrapped_ = true;
      }
      return;
    }
    if (!there_) Say("-- log is there --");
    bool overtaken = there_;
    there_ = true;
    if (*stamp != stamp_) {
      stamp_ = *stamp;
      changed_ = std::chrono::steady_clock::now();
      said_wrapped_ = false;
    }
    if (!loaded_) Load();
    const std::optional<LoadedLog> loaded = Read();
    if (!loaded) return;
    const LogFile &log = loaded->log;
    overtaken = cursor_.Overtaken(log) && overtaken;
    if (overtaken) Say("-- the log went round since the last look, lines may be missing --");
    const std::vector<const LogLine *> fresh = cursor_.New(log);
    std::vector<const LogLine *> shown;
    for (const LogLine *const line : fresh)
      if (Passes(*line, filter_)) shown.push_back(line);
    const size_t skip = most >= 0 && shown.size() > static_cast<size_t>(most)
                            ? shown.size() - static_cast<size_t>(most)
                            : 0;
    for (size_t i = skip; i < shown.size(); ++i) Put(LineText(*shown[i], options_));
    if (fresh.empty() && !overtaken) return;
    cursor_.Take(log);
    if (!cursor_path_.empty())
      latest_ = Mark{hand_over_ ? hand_over_->added() : 0, cursor_.Save(log)};
  }

  /// The cursor as the file has it, against the log as it is.
  void Load() {
    loaded_ = true;
    const std::optional<LoadedLog> loaded = Read();
    if (!loaded) return;
    const LogFile &log = loaded->log;
    const std::optional<std::string> saved = ReadCursor();
    if (saved && !cursor_.Load(*saved, log))
      Complain(options_,
               fmt::format("{}: not a cursor; beginning with the oldest line", cursor_path_));
    // A line that is being written is told from old ones by a second look.
    cursor_.New(log);
    poll(nullptr, 0, 20);
  }

  std::optional<LoadedLog> Read() const {
    try {
      return LoadLog(path_);
    } catch (const Failure &) {
      return std::nullopt;  // removed meanwhile, or being made: the next look tells
    }
  }

  void Say(const char *text) {
    Put(options_.json ? JsonLine({{"notice", text}}) : In(Colour::kBold, text) + "\n");
  }

  void Put(std::string line) {
    if (hand_over_)
      hand_over_->Add(std::move(line));
    else
      std::fwrite(line.data(), 1, line.size(), stdout);
  }

  /// Sends what was put on its way, and keeps the cursor of what has arrived. False when nobody
  /// reads any more.
  bool Deliver() {
    if (hand_over_)
      hand_over_->Step();
    else if (std::fflush(stdout) != 0)
      return false;
    const uint64_t arrived = hand_over_ ? hand_over_->taken() : 0;
    if (!waiting_) waiting_ = std::exchange(latest_, std::nullopt);
    if (!waiting_ || arrived < waiting_->lines) return true;
    // Lines in a file must not be lost by a power cut that the cursor survives.
    if (!hand_over_) fdatasync(STDOUT_FILENO);
    WriteCursor(waiting_->text);
    waiting_.reset();
    return true;
  }

  std::optional<std::string> ReadCursor() const {
    if (cursor_path_.empty()) return std::nullopt;
    if (access(cursor_path_.c_str(), F_OK) != 0 && errno == ENOENT) return std::nullopt;
    const std::vector<uint8_t> bytes = ReadInput(cursor_path_, 1U << 20);
    return std::string(bytes.begin(), bytes.end());
  }

  /// Replaces the file at once, so that a power cut leaves the old cursor or the new one.
  void WriteCursor(const std::string &text) const {
    const std::string temporary = cursor_path_ + ".new";
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(temporary.c_str(), "we"),
                                                      std::fclose);
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fflush(file.get()) != 0 || fsync(fileno(file.get())) != 0 ||
        std::rename(temporary.c_str(), cursor_path_.c_str()) != 0)
      throw Failure{kSystem, fmt::format("{}: {}", cursor_path_, strerror(errno))};
  }

  std::string path_;
  std::string cursor_path_;
  Filter filter_;
  const Options &options_;
  std::optional<HandOver> hand_over_;
  LogCursor cursor_;
  /// A cursor, which holds once so many lines have arrived.
  struct Mark {
    uint64_t lines;
    std::string text;
  };
  // Lines may never stop coming: the cursor that waits for its lines, and the newest one behind it.
  std::optional<Mark> waiting_, latest_;
  bool there_ = false;
  bool loaded_ = false;
  Stamp stamp_;
  std::chrono::steady_clock::time_point changed_ = std::chrono::steady_clock::now();
  bool said_wrapped_ = false;
};

void AddFilterOptions(CLI::App *command, FilterTexts &texts) {
  command->add_option("-p,--priority", texts.level,
                      "This level and the more urgent ones: a name or 0 to 9");
  command->add_option("--pid", texts.pid, "This process alone");
  command->add_option("-g,--grep", texts.pattern,
                      "Lines whose message matches (extended regular expression)");
}

}  // namespace

void AddLogCommands(CLI::App &app, Options &options) {
  CLI::App *const log = app.add_subcommand("log", "Circular log files");
  log->require_subcommand(1);

  CLI::App *const cat = log->add_subcommand("cat", "Show the lines in the order of time");
  auto path = std::make_shared<std::string>();
  auto texts = std::make_shared<FilterTexts>();
  cat->add_option("FILE", *path, "The log file, or -")->required();
  cat->add_option("-n,--lines", texts->last, "The last so many lines")->check(NotNegative());
  cat->add_option("--since", texts->since,
                  "From this time: \"2024-03-05 14:07\", 14:07, -10min, @1709647629");
  cat->add_option("--until", texts->until, "To this time");
  AddFilterOptions(cat, *texts);
  cat->callback(
      [=, &options] { options.exit_code = Cat(*path, MakeFilter(*texts, options), options); });

  CLI::App *const follow = log->add_subcommand("follow", "Show the last ten lines, then new ones");
  auto followed = std::make_shared<FollowTexts>();
  follow->add_option("FILE", followed->path, "The log file")->required();
  follow->add_option("--for", followed->for_seconds, "End after so many seconds")
      ->check(NotNegative());
  follow->add_option("--cursor", followed->cursor,
                     "Go on where this file says, and keep there what has arrived");
  CLI::Option *const to = follow->add_option(
      "--to", followed->to,
      "Hand the lines to this shell command, again and again until it ends with 0");
  follow->add_option("--every", followed->every, "Seconds between two runs of the command, 1")
      ->check(NotNegative())
      ->needs(to);
  AddFilterOptions(follow, followed->filter);
  follow->callback([=, &options] {
    if (followed->path == "-") throw Failure{kUsage, "standard input cannot be followed"};
    options.exit_code = Follower(*followed, options).Run(followed->for_seconds);
  });

  CLI::App *const info = log->add_subcommand("info", "Position, lines, times, levels");
  auto info_path = std::make_shared<std::string>();
  auto limit = std::make_shared<uint32_t>(0);
  info->add_option("FILE", *info_path, "The log file, or -")->required();
  CLI::Option *const size = info->add_option(
      "--size", *limit, "The daemon's size limit: tells what opening the file now does");
  info->callback([=, &options] {
    options.exit_code = Info(
        *info_path, size->count() != 0 ? std::optional<uint32_t>(*limit) : std::nullopt, options);
  });
}

}  // namespace cuctl
