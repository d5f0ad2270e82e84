// Any bytes as the logger's settings file, and any bytes as an existing log file.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/scratch_file.hpp"
#include "include/dbglog.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const size_t settings_size = data[0] % size;
  const uint32_t limit = data[1] * 16U;
  const std::string settings = cu_fuzz::WriteScratchFile("logenable", data + 1, settings_size);
  const std::string log =
      cu_fuzz::WriteScratchFile("log", data + 1 + settings_size, size - 1 - settings_size);
  DbgLog_InitDebugLogger(settings.c_str(), log.c_str(), limit, 255);
  DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]line %zu\n", "fuzz", __LINE__, size);
  DbgLog_DumptoLogTrace(DBGLOG_ERROR, data, static_cast<int32_t>(size));
  DbgLog_ChangeLogSettings(255);
  DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]line %zu\n", "fuzz", __LINE__, size);
  if (gDBGLogCtrl->logFile != nullptr && gDBGLogCtrl->logFilePosition < 4) abort();
  DbgLog_DeInitDebugLogger();
  return 0;
}
