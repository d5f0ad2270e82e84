// Reads circular log files into memory.
#ifndef CUCTL_LOG_LOADER_HPP
#define CUCTL_LOG_LOADER_HPP

#include <cstdint>
#include <string>
#include <vector>

#include "tools/cuctl/log_reader.hpp"

namespace cuctl {

/// A log with the bytes that its lines refer to.
struct LoadedLog {
  std::vector<uint8_t> bytes;
  LogFile log;
};

/// Reads a log, or of one that is larger than what a command holds, what was written last. Throws
/// Failure.
LoadedLog LoadLog(const std::string &path);

}  // namespace cuctl

#endif
