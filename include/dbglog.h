/**
 * @file dbglog.h
 * @brief The process-wide debug logger: its control block, settings file and output functions.
 *
 * A process has one logger. A daemon creates it with DbgLog_InitDebugLogger(), logs through the pair
 * DbgLog_DumptoLog() / DbgLog_DumptoStdError(), and releases it with DbgLog_DeInitDebugLogger().
 * A plug-in shares the daemon's logger with DbgLog_GetEnabledLogger() / DbgLog_SetEnabledLogger().
 *
 * @code
 * DbgLog_InitDebugLogger("/etc/demo.logenable", "/var/log/demo.log", 65536, DBGLOG_INFO);
 * DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]Fan %d stopped\n", "fans", __LINE__, fan);
 * DbgLog_DumptoStdError(DBGLOG_ERROR, "[%s:%d]Fan %d stopped\n", "fans", __LINE__, fan);
 * DbgLog_DeInitDebugLogger();
 * @endcode
 *
 * **Thread safety.** Any thread may log at any time. Creating, sharing and releasing the logger is
 * not locked: do it while one thread uses the logger.
 *
 * **What surprises users.** When the log file reaches its size limit, it starts over at its
 * beginning and all output of the process stops until DbgLog_ChangeLogSettings() is called again; a
 * daemon that wants to go on logging calls it from time to time. Messages are written as they are:
 * line breaks and escape sequences in them reach the log.
 */
#ifndef COMMONUTILITIES_DBGLOG_H
#define COMMONUTILITIES_DBGLOG_H

#include <pthread.h>
#include <stdio.h>

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** Log levels. Levels 0 to 7 are the syslog priorities LOG_EMERG to LOG_DEBUG. */
enum DbgLogLevel {
  DBGLOG_EMERGENCY = 0,
  DBGLOG_ALERT = 1,
  DBGLOG_CRITICAL = 2,
  DBGLOG_ERROR = 3,
  DBGLOG_WARNING = 4,
  DBGLOG_NOTICE = 5,
  DBGLOG_INFO = 6,
  DBGLOG_DEBUG = 7,
  DBGLOG_TRACE = 8,
  DBGLOG_TRACEDEBUG = 9
};

/** The value of DBGLogCtrl::magic in every valid block. */
#define DBGLOG_MAGIC 0xABCDEFU

/** The logger's control block; one a process, reached through gDBGLogCtrl. */
typedef struct DBGLogCtrl {
  uint32_t magic;              /**< DBGLOG_MAGIC */
  uint32_t reserved;           /**< zero */
  uint32_t logLevelMask;       /**< bit n set: level n is on */
  char logEnableFilePath[255]; /**< settings file; a path of 255 characters has no terminator */
  char logFilePath[255];       /**< log file; a path of 255 characters has no terminator */
  uint8_t syslogEnabled;       /**< DbgLog_DumptoStdError() also calls syslog() */
  uint32_t maxLogFileSize;     /**< size limit of the log file in bytes */
  int32_t logFilePosition;     /**< write position in the log file, as in its header */
  uint8_t loggingEnabled;      /**< master switch of all output; cleared by each wrap */
  uint8_t consoleEnabled;      /**< switch of the standard-error functions */
  uint8_t pwrFlag1;            /**< kept for the users of the block */
  uint8_t pwrFlag2;            /**< kept for the users of the block */
  uint32_t pwrValue;           /**< kept for the users of the block */
  FILE *logFile;               /**< the open log file, or null */
  pthread_mutex_t lock;        /**< guards the fields above and every write to the file */
  uint16_t refCount;           /**< initialisations not yet matched by a release */
  uint8_t spare;               /**< zero */
} DBGLogCtrl;

/** The installed block, or null while there is no logger. */
extern CU_API DBGLogCtrl *gDBGLogCtrl;

/**
 * @brief Creates the process's logger, or adds a reference to the one that exists.
 *
 * The first call creates the block and tells so on standard error. Then, at every call, the settings
 * file is read: with it, logging is switched on and the log file opened; without it, the logger
 * exists but stays silent.
 *
 * @param logEnableFile path of the settings file: lines "LOGLEVEL: <mask>", "CONSOLE: true" and
 *                      "SYSLOG: true". At most 255 characters.
 * @param logFile       path of the circular log file. At most 255 characters.
 * @param maxSize       size limit of the log file in bytes.
 * @param level         with a readable settings file, the mask of levels to enable unless the file
 *                      gives one; without one, the single level to enable. Pass a mask when you ship
 *                      a settings file, a level when you do not.
 * @return 1, or 0 for a null or overlong path or when there is no memory.
 *
 * @note A later call keeps the first call's paths, size and mask, and needs a
 *       DbgLog_DeInitDebugLogger() of its own. If the settings file cannot be read then, the log
 *       file that was open is forgotten: its descriptor stays open for good.
 */
CU_API int DbgLog_InitDebugLogger(const char *logEnableFile, const char *logFile, uint32_t maxSize,
                                  int32_t level);

/**
 * @brief DbgLog_InitDebugLogger(), which on success also stores three values in the block.
 *
 * The library itself reads none of them.
 *
 * @return as DbgLog_InitDebugLogger().
 */
CU_API int DbgLog_InitDebugLoggerPWR(const char *logEnableFile, const char *logFile,
                                     uint32_t maxSize, int32_t level, uint8_t pwrFlag1,
                                     uint8_t pwrFlag2, uint32_t pwrValue);

/**
 * @brief Releases one reference; the last one closes the log file and frees the block.
 *
 * Does nothing without a logger. Never release the last reference while other threads log.
 */
CU_API void DbgLog_DeInitDebugLogger(void);

/** @brief The installed block, to be handed to a module that shares the logger; null without one. */
CU_API DBGLogCtrl *DbgLog_GetEnabledLogger(void);

/**
 * @brief Installs a block that another module got from DbgLog_GetEnabledLogger().
 *
 * Also applies the block's own level mask with DbgLog_ChangeLogSettings(). The block's reference
 * count is left alone.
 *
 * @return 1; 0 when @p ctrl is null, when a block is installed already, or when the block's magic is
 *         wrong. In that last case the block stays installed nevertheless.
 */
CU_API int DbgLog_SetEnabledLogger(DBGLogCtrl *ctrl);

/**
 * @brief Replaces the level mask, switches logging on, and opens the log file if it is not open.
 *
 * This is also the way to go on after the log file has wrapped. Does nothing without a logger. An
 * existing file is continued at its end; if that end is at the limit already, the file wraps at once
 * and logging is off again.
 *
 * @param mask bit n set enables level n.
 */
CU_API void DbgLog_ChangeLogSettings(uint32_t mask);

/**
 * @brief Reads the settings file into @p mask and the block's console and syslog switches.
 *
 * "CONSOLE: TRUE" switches the console on; "SYSLOG: TRUE" does not switch syslog on, because that
 * value is case-sensitive. A "LOGLEVEL: " line is the mask itself.
 *
 * @param mask receives the mask when the file has one; otherwise left alone.
 * @return 1, or 0 when the file is missing or cannot be opened.
 */
CU_API int DbgLog_GetLogSettingsFromFile(uint32_t *mask);

/** @brief 1 when @p level is 0 to 9 and its bit is set in the mask; else 0, also without a logger. */
CU_API int loggingLevelEnabled(uint32_t level);

/**
 * @brief Writes one line to the log file: "[pid : tid LEVEL (time)]" and the message as it is.
 *
 * The file member of the logging pair. A line is at most 2047 bytes; the rest of a longer one is
 * dropped. Nothing is written while the level, the logger or the file is off. Allocates nothing.
 *
 * @param level  0 to 9.
 * @param format printf-like; end it with "\n", since nothing is added.
 */
CU_API void DbgLog_DumptoLog(uint32_t level, const char *format, ...) CU_PRINTF(2, 3);

/**
 * @brief Writes one line to standard error, and to syslog when that is switched on.
 *
 * The console member of the logging pair: "[pid : tid LEVEL]", the message, and a line break of its
 * own. Nothing is written while the level, the logger or its console is off. Lines of different
 * threads may mix on standard error.
 *
 * @param level  0 to 9; also the syslog priority, passed unchanged.
 * @param format printf-like.
 */
CU_API void DbgLog_DumptoStdError(int32_t level, const char *format, ...) CU_PRINTF(2, 3);

/**
 * @brief Writes a header and a hex dump ("0x0a 0xff \n") of a buffer to the log file.
 *
 * @param length bytes to dump; 0 or less writes nothing.
 */
CU_API void DbgLog_DumptoLogTrace(uint32_t level, const uint8_t *data, int32_t length);

/**
 * @brief Writes a header with a label and a number, a line break and a hex dump to standard error.
 *
 * @param length bytes to dump; 0 or less, or a null @p data, writes nothing.
 * @param label  any text; the whole header is at most 127 bytes.
 * @param number any number.
 */
CU_API void DbgLog_DumptoStdErrTrace(uint32_t level, const uint8_t *data, int32_t length,
                                     const char *label, int32_t number);

/**
 * @brief Writes each byte as "0x%02x " and then a line break to a stream.
 *
 * @return what writing the line break gave: negative or EOF on failure.
 */
CU_API int logprintHexString(FILE *stream, const uint8_t *data, uint32_t length);

/**
 * @brief Writes the wall clock as one decimal number of nanoseconds since 1970.
 *
 * @param dst  receives at most @p size bytes with the terminator; nothing when @p size is 0.
 * @return @p dst.
 */
CU_API char *GetCurrentTimeAsString(char *dst, uint32_t size);

CU_END_DECLS

#endif
