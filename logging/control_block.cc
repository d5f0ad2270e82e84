#include "include/dbglog.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <type_traits>
#include <utility>

#include "internal/log_pair.hpp"
#include "logging/circular_log_file.hpp"
#include "logging/log_format.hpp"
#include "logging/logger_lock.hpp"
#include "logging/stored_path.hpp"
#include "logging/thread_tag.hpp"

static_assert(std::is_standard_layout_v<DBGLogCtrl>);
static_assert(offsetof(DBGLogCtrl, logEnableFilePath) == 12);
static_assert(offsetof(DBGLogCtrl, logFilePath) == 267);
static_assert(offsetof(DBGLogCtrl, syslogEnabled) == 522);
static_assert(offsetof(DBGLogCtrl, maxLogFileSize) == 524);
static_assert(offsetof(DBGLogCtrl, loggingEnabled) == 532);
static_assert(offsetof(DBGLogCtrl, pwrValue) == 536);
static_assert(sizeof(void *) != 4 ||
              (offsetof(DBGLogCtrl, logFile) == 540 && offsetof(DBGLogCtrl, lock) == 544 &&
               offsetof(DBGLogCtrl, refCount) == 568 && sizeof(DBGLogCtrl) == 572));

DBGLogCtrl *gDBGLogCtrl = nullptr;

namespace {

using cu::kStoredPathSize;

DBGLogCtrl *CreateBlock(const char *settings_path, const char *log_path, uint32_t max_size,
                        int32_t level) {
  auto *const block = static_cast<DBGLogCtrl *>(calloc(1, sizeof(DBGLogCtrl)));
  if (block == nullptr) return nullptr;
  pthread_mutex_init(&block->lock, nullptr);
  memcpy(block->logEnableFilePath, settings_path, strlen(settings_path));
  memcpy(block->logFilePath, log_path, strlen(log_path));
  block->magic = DBGLOG_MAGIC;
  block->maxLogFileSize = max_size;
  block->logLevelMask = static_cast<uint32_t>(level);
  block->refCount = 1;
  block->logFilePosition = cu::kFirstLogPosition;
  return block;
}

/// The mask of one level; no level at all when there is no such bit.
uint32_t SingleLevelMask(int32_t level) {
  return level >= 0 && level < 32 ? 1U << level : 0;
}

/// The state of a logger whose settings cannot be read: silent, ready for one level. A stream that
/// was open is forgotten, not closed: another module may still hold it.
void SwitchOff(DBGLogCtrl &block, int32_t level) {
  const cu::LoggerLock lock(block);
  __atomic_store_n(&block.loggingEnabled, uint8_t{0}, __ATOMIC_RELAXED);
  block.logFile = nullptr;
  __atomic_store_n(&block.logLevelMask, SingleLevelMask(level), __ATOMIC_RELAXED);
}

}  // namespace

int DbgLog_InitDebugLogger(const char *logEnableFile, const char *logFile, uint32_t maxSize,
                           int32_t level) {
  if (logEnableFile == nullptr || logFile == nullptr) {
    fputs("Failed to Enable logger\n", stderr);
    return 0;
  }
  if (strlen(logEnableFile) > kStoredPathSize || strlen(logFile) > kStoredPathSize) return 0;
  if (gDBGLogCtrl != nullptr) {
    ++gDBGLogCtrl->refCount;
  } else {
    fprintf(stderr, "Enable logger for %s\n", logFile);
    gDBGLogCtrl = CreateBlock(logEnableFile, logFile, maxSize, level);
    if (gDBGLogCtrl == nullptr) return 0;
    cu::WatchForks();
    fprintf(stderr, "Enabled logger for %s complete\n", logFile);
  }
  if (DbgLog_GetLogSettingsFromFile(&gDBGLogCtrl->logLevelMask) == 0) {
    SwitchOff(*gDBGLogCtrl, level);
  } else {
    DbgLog_ChangeLogSettings(gDBGLogCtrl->logLevelMask);
  }
  return 1;
}

int DbgLog_InitDebugLoggerPWR(const char *logEnableFile, const char *logFile, uint32_t maxSize,
                              int32_t level, uint8_t pwrFlag1, uint8_t pwrFlag2,
                              uint32_t pwrValue) {
  if (DbgLog_InitDebugLogger(logEnableFile, logFile, maxSize, level) == 0) return 0;
  const cu::LoggerLock lock(*gDBGLogCtrl);
  gDBGLogCtrl->pwrFlag1 = pwrFlag1;
  gDBGLogCtrl->pwrFlag2 = pwrFlag2;
  gDBGLogCtrl->pwrValue = pwrValue;
  return 1;
}

void DbgLog_DeInitDebugLogger(void) {
  if (gDBGLogCtrl == nullptr || --gDBGLogCtrl->refCount != 0) return;
  DBGLogCtrl *const block = std::exchange(gDBGLogCtrl, nullptr);
  if (block->logFile != nullptr) fclose(block->logFile);
  pthread_mutex_destroy(&block->lock);
  free(block);
}

DBGLogCtrl *DbgLog_GetEnabledLogger(void) {
  return gDBGLogCtrl;
}

int DbgLog_SetEnabledLogger(DBGLogCtrl *ctrl) {
  if (ctrl == nullptr || gDBGLogCtrl != nullptr) return 0;
  // A block that is refused for its magic stays installed all the same; modules rely on it.
  gDBGLogCtrl = ctrl;
  if (ctrl->magic != DBGLOG_MAGIC) return 0;
  cu::WatchForks();
  DbgLog_ChangeLogSettings(ctrl->logLevelMask);
  return 1;
}

void DbgLog_ChangeLogSettings(uint32_t mask) {
  if (gDBGLogCtrl == nullptr) return;
  DBGLogCtrl &block = *gDBGLogCtrl;
  const cu::LoggerLock lock(block);
  __atomic_store_n(&block.logLevelMask, mask, __ATOMIC_RELAXED);
  __atomic_store_n(&block.loggingEnabled, uint8_t{1}, __ATOMIC_RELAXED);
  if (block.logFile == nullptr) cu::OpenLogFileLocked(block);
}

int loggingLevelEnabled(uint32_t level) {
  return cu::LogLevelEnabled(level) ? 1 : 0;
}
