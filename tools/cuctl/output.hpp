// Text for people and JSON lines for scripts.
#ifndef CUCTL_OUTPUT_HPP
#define CUCTL_OUTPUT_HPP

#include <cstdint>
#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cuctl/cuctl.hpp"

namespace cuctl {

/// One JSON object on a line of its own. Invalid UTF-8 is replaced.
std::string JsonLine(const nlohmann::ordered_json &object);
void PrintJson(const nlohmann::ordered_json &object);

/// Text from a file as it may be shown: control bytes and invalid UTF-8 as "\x1b", unless raw
/// output was asked for.
std::string Shown(std::string_view text, const Options &options);

enum class Colour { kNone, kRed, kYellow, kGreen, kDim, kBold };

/// `text` in a colour when standard output is a terminal and NO_COLOR is not set.
std::string In(Colour colour, std::string_view text);

/// From now on no text is coloured: it goes elsewhere than to standard output.
void WithoutColour();

/// A wall-clock time as "2024-03-05 14:07:09.123456 +0100".
std::string Time(int64_t seconds, int64_t nanoseconds, const Options &options);

/// A length of time for people: "12 s", "3 min", "2 h", "5 d".
std::string Age(int64_t seconds);

/// A hex dump with offsets and characters, 16 bytes a line.
std::string HexDump(const void *data, size_t size, uint64_t first_offset = 0);

/// Bytes as hexadecimal digits.
std::string Hex(const void *data, size_t size);

/// A whole file, or standard input for "-"; throws Failure. Files of more than `most` bytes are
/// refused with kSystem.
std::vector<uint8_t> ReadInput(const std::string &path, size_t most = 256U << 20);

/// A progress line on a terminal, shown once work has taken over a second; silent in a pipe.
class Progress {
 public:
  Progress(const char *what, uint64_t total);
  ~Progress();
  void At(uint64_t done);

 private:
  const char *what_;
  uint64_t total_;
  int64_t started_;
  int64_t shown_ = 0;
};

}  // namespace cuctl

#endif
