#include "tools/cuctl/output.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
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

bool UseColour(int fd) {
  const char *const refused = std::getenv("NO_COLOR");
  return isatty(fd) != 0 && (refused == nullptr || *refused == '\0');
}

bool &ColourOnOutput() {
  static bool use = UseColour(STDOUT_FILENO);
  return use;
}

constexpr const char *kCodes[] = {"", "\x1b[31m", "\x1b[33m", "\x1b[32m", "\x1b[2m", "\x1b[1m"};

/// A progress line stands on the terminal.
bool g_progress = false;

void ClearProgress() {
  if (g_progress) fmt::print(stderr, "\r\x1b[K");
  g_progress = false;
}

void PrintError(Colour colour, const char *label, std::string_view message,
                const Options &options) {
  static const bool use = UseColour(STDERR_FILENO);
  std::fflush(stdout);
  ClearProgress();
  fmt::print(stderr, "{}{}:{} {}\n", use ? kCodes[static_cast<size_t>(colour)] : "", label,
             use ? "\x1b[0m" : "", Shown(message, options));
}

int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

std::string JsonLine(const nlohmann::ordered_json &object) {
  // A terminal gets ASCII alone: some control characters lie beyond it.
  return object.dump(-1, ' ', OnTerminal(), nlohmann::ordered_json::error_handler_t::replace) +
         "\n";
}

void PrintJson(const nlohmann::ordered_json &object) {
  const std::string line = JsonLine(object);
  std::fwrite(line.data(), 1, line.size(), stdout);
}

std::string Shown(std::string_view text, const Options &options, std::string_view keep) {
  if (options.raw) return std::string(text);
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    const size_t length = Utf8Length(text);
    const uint8_t first = static_cast<uint8_t>(text[0]);
    const bool control = first < 0x20 || first == 0x7F ||
                         (length == 2 && first == 0xC2 && static_cast<uint8_t>(text[1]) < 0xA0);
    if ((length == 0 || control) && keep.find(text[0]) == std::string_view::npos) {
      shown += fmt::format("\\x{:02x}", first);
      text.remove_prefix(1);
    } else {
      shown += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return shown;
}

bool OnTerminal() {
  static const bool terminal = isatty(STDOUT_FILENO) != 0;
  return terminal;
}

void WriteBytes(std::string_view bytes, const Options &options) {
  const std::string shown = OnTerminal() ? Shown(bytes, options, "\n\t") : "";
  const std::string_view out = OnTerminal() ? shown : bytes;
  std::fwrite(out.data(), 1, out.size(), stdout);
}

void Complain(const Options &options, std::string_view message) {
  PrintError(Colour::kRed, "cuctl", message, options);
}

void Caution(const Options &options, std::string_view message) {
  PrintError(Colour::kYellow, "warning", message, options);
}

std::string In(Colour colour, std::string_view text) {
  if (!ColourOnOutput() || colour == Colour::kNone) return std::string(text);
  return fmt::format("{}{}\x1b[0m", kCodes[static_cast<size_t>(colour)], text);
}

void WithoutColour() {
  ColourOnOutput() = false;
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

void PrintHexDump(const void *data, size_t size, uint64_t first_offset) {
  const auto *const bytes = static_cast<const uint8_t *>(data);
  for (size_t line = 0; line < size; line += 16) {
    std::string numbers, characters;
    for (size_t i = line; i < line + 16; ++i) {
      numbers += i < size ? " " + Hex(bytes + i, 1) : "   ";
      if (i < size)
        characters += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
    }
    fmt::print("{:08x} {}  {}\n", first_offset + line, numbers, characters);
  }
}

std::string Hex(const void *data, size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const auto *const bytes = static_cast<const uint8_t *>(data);
  std::string digits(size * 2, '0');
  for (size_t i = 0; i < size; ++i) {
    digits[2 * i] = kDigits[bytes[i] >> 4];
    digits[2 * i + 1] = kDigits[bytes[i] & 15];
  }
  return digits;
}

Progress::Progress(const char *what, uint64_t total)
    : what_(what), total_(total), terminal_(isatty(STDERR_FILENO) != 0), started_(Now()) {}

Progress::~Progress() {
  ClearProgress();
}

void Progress::At(uint64_t done) {
  if (!terminal_) return;
  const int64_t now = Now();
  if (now - started_ < 1000 || now - shown_ < 200) return;
  shown_ = now;
  g_progress = true;
  if (total_ != 0)
    fmt::print(stderr, "\r{} {}%", what_, done * 100 / total_);
  else
    fmt::print(stderr, "\r{} {} MiB", what_, done >> 20);
  std::fflush(stderr);
}

}  // namespace cuctl
