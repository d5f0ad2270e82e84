// The process's logger, writing into a scratch folder, and what was logged through it.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_LOGGER_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_LOGGER_HPP

#include <sstream>
#include <string>
#include <vector>

#include "include/dbglog.h"
#include "support/files.hpp"

namespace cu_test {

/// While it lives, the process has a logger with the levels of a mask on and its console off.
class Logger {
 public:
  explicit Logger(uint32_t mask = 0x3FF) {
    WriteFile(dir_.file("enable"),
              "LOGLEVEL: " + std::to_string(mask) + "\nCONSOLE: false\nSYSLOG: false\n");
    std::FILE *const quiet = stderr;
    stderr = fopen("/dev/null", "w");
    DbgLog_InitDebugLogger(dir_.file("enable").c_str(), dir_.file("log").c_str(), 1 << 20,
                           static_cast<int32_t>(mask));
    fclose(stderr);
    stderr = quiet;
  }
  ~Logger() { DbgLog_DeInitDebugLogger(); }
  Logger(const Logger &) = delete;
  Logger &operator=(const Logger &) = delete;

  /// The lines logged so far, each as "LEVEL [module]text": what varies from run to run (ids, time,
  /// line of the source) is left out.
  std::vector<std::string> lines() const {
    std::vector<std::string> result;
    const std::string file = ReadFile(dir_.file("log"));
    std::istringstream text(file.size() > 4 ? file.substr(4) : "");
    for (std::string line; std::getline(text, line);) result.push_back(Stable(line));
    return result;
  }

 private:
  /// "[pid : tid LEVEL (time)][module:line]text" as "LEVEL [module]text"; other lines as they are.
  static std::string Stable(const std::string &line) {
    const size_t tag = line.find(")][");
    if (tag == std::string::npos || line[0] != '[') return line;
    const size_t colon = line.find(':', tag), close = line.find(']', tag + 2);
    std::istringstream head(line);
    std::string pid, separator, tid, level;
    head >> pid >> separator >> tid >> level;
    if (colon == std::string::npos || close == std::string::npos || colon > close) return line;
    return level + " " + line.substr(tag + 2, colon - tag - 2) + line.substr(close);
  }

  TempDir dir_;
};

}  // namespace cu_test

#endif
