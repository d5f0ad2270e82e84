#include "include/dbglog.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>

#include "internal/owned.hpp"
#include "logging/logger_lock.hpp"
#include "logging/stored_path.hpp"

namespace {

constexpr char kLevelKey[] = "LOGLEVEL: ";
constexpr char kConsoleKey[] = "CONSOLE: ";
constexpr char kSyslogKey[] = "SYSLOG: ";
constexpr char kOn[] = "true";

/// A line holds 254 characters at most; what follows is the next line.
constexpr int kLineSize = 255;

bool Contains(const char *line, const char *key) {
  return strstr(line, key) != nullptr;
}

/// The value of a line stands after its first ':', whichever key the line was found by.
const char *AfterColon(const char *line) {
  return strchr(line, ':') + 1;
}

/// A decimal number after blanks; 0 without a digit, and the greatest mask for a number beyond it.
uint32_t ParseMask(const char *text) {
  while (*text == ' ') ++text;
  uint64_t value = 0;
  for (; *text >= '0' && *text <= '9' && value <= UINT32_MAX; ++text) {
    value = value * 10 + static_cast<uint64_t>(*text - '0');
  }
  return value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(value);
}

/// One blank at most stands between the ':' and the text of a switch.
const char *SwitchValue(const char *line) {
  const char *const value = AfterColon(line);
  return *value == ' ' ? value + 1 : value;
}

void ApplyLine(const char *line, uint32_t *mask, DBGLogCtrl &block) {
  if (Contains(line, kLevelKey)) {
    __atomic_store_n(mask, ParseMask(AfterColon(line)), __ATOMIC_RELAXED);
  }
  // The console's value may be in any case, syslog's must be in lower case: the difference is kept,
  // settings files in the field are written for it.
  if (Contains(line, kConsoleKey)) {
    block.consoleEnabled = strncasecmp(SwitchValue(line), kOn, strlen(kOn)) == 0;
  }
  if (Contains(line, kSyslogKey)) {
    block.syslogEnabled = strncmp(SwitchValue(line), kOn, strlen(kOn)) == 0;
  }
}

}  // namespace

int DbgLog_GetLogSettingsFromFile(uint32_t *mask) {
  if (mask == nullptr) return 0;
  if (gDBGLogCtrl == nullptr || gDBGLogCtrl->logEnableFilePath[0] == '\0') {
    fputs("Unable to open logenable file\n", stderr);
    return 0;
  }
  DBGLogCtrl &block = *gDBGLogCtrl;
  const cu::StoredPath path(block.logEnableFilePath);
  if (!path.exists()) {
    fprintf(stderr, "Unable to open logenable file %s\n", path.c_str());
    return 0;
  }
  const cu::Stream file(fopen(path.c_str(), "re"));
  const cu::LoggerLock lock(block);
  if (!file) {
    fprintf(stderr, "Unable to open log file %s\n", path.c_str());
    __atomic_store_n(&block.loggingEnabled, uint8_t{0}, __ATOMIC_RELAXED);
    return 0;
  }
  char line[kLineSize];
  while (fgets(line, kLineSize, file.get()) != nullptr) ApplyLine(line, mask, block);
  return 1;
}
