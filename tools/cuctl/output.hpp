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
/// output was asked for. Those in `keep` stay.
std::string Shown(std::string_view text, const Options &options, std::string_view keep = "");

/// Bytes that a user asked for, such as a payload: as they are into a file or a pipe, as Shown() on
/// a terminal.
void WriteBytes(std::string_view bytes, const Options &options);

enum class Colour { kNone, kRed, kYellow, kGreen, kDim, kBold };

/// `text` in a colour when standard output is a terminal and NO_COLOR is not set.
std::string In(Colour colour, std::string_view text);

/// From now on no text is coloured: it goes elsewhere than to standard output.
void WithoutColour();

/// A wall-clock time as "2024-03-05 14:07:09.123456 +0100".
std::string Time(int64_t seconds, int64_t nanoseconds, const Options &options);

/// A length of time for people: "12 s", "3 min", "2 h", "5 d".
std::string Age(int64_t seconds);

/// Prints bytes with offsets and characters, 16 a line.
void PrintHexDump(const void *data, size_t size, uint64_t first_offset = 0);

/// Whether a terminal gets the output.
bool OnTerminal();

/// Bytes as hexadecimal digits.
std::string Hex(const void *data, size_t size);

/// "cuctl: <message>" on standard error, behind what standard output has.
void Complain(const Options &options, std::string_view message);

/// "warning: <message>" on standard error.
void Caution(const Options &options, std::string_view message);

/// A progress line on a terminal, shown once work has taken over a second; silent in a pipe. A
/// total of 0 stands for an unknown one.
class Progress {
 public:
  Progress(const char *what, uint64_t total);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;
  void At(uint64_t done);

 private:
  const char *what_;
  uint64_t total_;
  bool terminal_;
  int64_t started_;
  int64_t shown_ = 0;
};

}  // namespace cuctl

#endif
