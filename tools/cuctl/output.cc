#include "tools/cuctl/output.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>

namespace cuctl {
namespace {

/// Bytes of the UTF-8 sequence at the start of `text`, 0 when it is not valid.
size_t Utf8Length(std::string_view text) {
  const auto byte = [text](size_t i) {
    return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0};
  };
  const uint8_t first = byte(0);
  if (first < 0x80) return 1;
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return 0;
  for (size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  // Overlong forms, surrogates, and code points beyond the last one.
  if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
      (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F))
    return 0;
  return length;
}

bool &UseColour() {
  static bool use = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
  return use;
}

int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

std::string JsonLine(const nlohmann::ordered_json &object) {
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void PrintJson(const nlohmann::ordered_json &object) {
  const std::string line = JsonLine(object);
  std::fwrite(line.data(), 1, line.size(), stdout);
}

std::string Shown(std::string_view text, const Options &options) {
  if (options.raw) return std::string(text);
  std::string shown;
  while (!text.empty()) {
    const size_t length = Utf8Length(text);
    const uint8_t first = static_cast<uint8_t>(text[0]);
    const bool control = first < 0x20 || first == 0x7F ||
                         (length == 2 && first == 0xC2 && static_cast<uint8_t>(text[1]) < 0xA0);
    if (length == 0 || control) {
      shown += fmt::format("\\x{:02x}", first);
      text.remove_prefix(1);
    } else {
      shown += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return shown;
}

std::string In(Colour colour, std::string_view text) {
  static constexpr const char *kCodes[] = {"",         "\x1b[31m", "\x1b[33m",
                                           "\x1b[32m", "\x1b[2m",  "\x1b[1m"};
  if (!UseColour() || colour == Colour::kNone) return std::string(text);
  return fmt::format("{}{}\x1b[0m", kCodes[static_cast<size_t>(colour)], text);
}

void WithoutColour() {
  UseColour() = false;
}

std::string Time(int64_t seconds, int64_t nanoseconds, const Options &options) {
  const time_t when = static_cast<time_t>(seconds);
  tm parts{};
  const bool known = when == seconds && (options.utc ? gmtime_r(&when, &parts)
                                                     : localtime_r(&when, &parts)) != nullptr;
  if (!known) return fmt::format("{}.{:09}", seconds, nanoseconds);
  char date[32], zone[8];
  strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &parts);
  strftime(zone, sizeof zone, "%z", &parts);
  return fmt::format("{}.{:06} {}", date, nanoseconds / 1000, zone);
}

std::string Age(int64_t seconds) {
  if (seconds < 120) return fmt::format("{} s", seconds);
  if (seconds < 7200) return fmt::format("{} min", seconds / 60);
  if (seconds < 172800) return fmt::format("{} h", seconds / 3600);
  return fmt::format("{} d", seconds / 86400);
}

std::string HexDump(const void *data, size_t size, uint64_t first_offset) {
  const auto *const bytes = static_cast<const uint8_t *>(data);
  std::string dump;
  for (size_t line = 0; line < size; line += 16) {
    dump += fmt::format("{:08x} ", first_offset + line);
    std::string characters;
    for (size_t i = line; i < line + 16; ++i) {
      if (i >= size) {
        dump += "   ";
        continue;
      }
      dump += fmt::format(" {:02x}", bytes[i]);
      characters += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
    }
    dump += "  " + characters + "\n";
  }
  return dump;
}

std::string Hex(const void *data, size_t size) {
  const auto *const bytes = static_cast<const uint8_t *>(data);
  std::string digits;
  for (size_t i = 0; i < size; ++i) digits += fmt::format("{:02x}", bytes[i]);
  return digits;
}

std::vector<uint8_t> ReadInput(const std::string &path, size_t most) {
  const std::unique_ptr<FILE, int (*)(FILE *)> opened(
      path == "-" ? nullptr : std::fopen(path.c_str(), "rbe"), std::fclose);
  FILE *const file = path == "-" ? stdin : opened.get();
  if (file == nullptr) throw Failure{kSystem, fmt::format("{}: {}", path, strerror(errno))};
  std::vector<uint8_t> bytes;
  size_t held = 0;
  for (;;) {
    bytes.resize(held + 65536);
    const size_t got = std::fread(bytes.data() + held, 1, 65536, file);
    held += got;
    if (held > most) throw Failure{kSystem, fmt::format("{}: more than {} MiB", path, most >> 20)};
    if (got < 65536) break;
  }
  if (std::ferror(file)) throw Failure{kSystem, fmt::format("{}: {}", path, strerror(errno))};
  bytes.resize(held);
  return bytes;
}

Progress::Progress(const char *what, uint64_t total)
    : what_(what), total_(total), started_(Now()) {}

Progress::~Progress() {
  if (shown_ != 0) fmt::print(stderr, "\r\x1b[K");
}

void Progress::At(uint64_t done) {
  const int64_t now = Now();
  if (isatty(STDERR_FILENO) == 0 || now - started_ < 1000 || now - shown_ < 200) return;
  shown_ = now;
  fmt::print(stderr, "\r{} {}%", what_, total_ == 0 ? 0 : done * 100 / total_);
  std::fflush(stderr);
}

}  // namespace cuctl
