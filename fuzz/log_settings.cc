// Any bytes as the logger's settings file, and any bytes as an existing log file.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "fuzz/scratch_file.hpp"
#include "include/dbglog.h"

namespace {

/// A file that exists but cannot be opened.
const std::string &Socket() {
  static const std::string path = [] {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string made = cu_fuzz::ScratchFolder() + "/socket";
    made.copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) abort();
    close(fd);
    return made;
  }();
  return path;
}

std::string Settings(uint8_t kind, const uint8_t *data, size_t size) {
  switch (kind) {
    case 1:
      return "";
    case 2:
      return cu_fuzz::ScratchFolder() + "/missing";
    case 3:
      return Socket();
    default:
      return cu_fuzz::WriteScratchFile("logenable", data, size);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const size_t settings_size = data[0] % size;
  const uint32_t limit = data[1] * 16U;
  const std::string settings = Settings(data[1] % 16, data + 1, settings_size);
  const std::string log =
      cu_fuzz::WriteScratchFile("log", data + 1 + settings_size, size - 1 - settings_size);
  DbgLog_InitDebugLogger(settings.c_str(), log.c_str(), limit, 255);
  DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]line %zu\n", "fuzz", __LINE__, size);
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, data, static_cast<int32_t>(size));
  uint32_t mask = 0;
  const int read = DbgLog_GetLogSettingsFromFile(&mask);
  if (DbgLog_GetLogSettingsFromFile(nullptr) || (read && data[1] % 16 - 1U < 3)) abort();
  DbgLog_ChangeLogSettings(255);
  DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]line %zu\n", "fuzz", __LINE__, size);
  if (gDBGLogCtrl->logFile != nullptr && gDBGLogCtrl->logFilePosition < 4) abort();
  DbgLog_DeInitDebugLogger();
  return 0;
}
