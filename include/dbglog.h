/**
 * @file dbglog.h
 * @brief The process-wide debug logger: its control block, settings file and output functions.
 *
 * A process has one logger. A daemon creates it with DbgLog_InitDebugLogger(), logs through the
 * pair DbgLog_DumptoLog() / DbgLog_DumptoStdError(), and releases it with
 * DbgLog_DeInitDebugLogger(). A plug-in shares the daemon's logger with DbgLog_GetEnabledLogger() /
 * DbgLog_SetEnabledLogger().
 *
 * @code
 * DbgLog_InitDebugLogger("/etc/demo.logenable", "/var/log/demo.log", 65536, 0xFF);
 * DbgLog_DumptoLog(DBGLOG_ERROR, "[%s:%d]Fan %d stopped\n", "fans", __LINE__, fan);
 * DbgLog_DumptoStdError(DBGLOG_ERROR, "[%s:%d]Fan %d stopped\n", "fans", __LINE__, fan);
 * DbgLog_DeInitDebugLogger();
 * @endcode
 *
 * **Thread safety.** Any thread may log at any time, and change or read the settings. Creating,
 * sharing and releasing the logger is not locked: do it while one thread uses the logger, and never
 * release it while others may log. Log calls are no cancellation points while they hold the lock,
 * and leave errno as it was. They are not for signal handlers: one that interrupts a log call of
 * its own thread waits for that call's lock for ever.
 *
 * **Forked children** log under their own process and thread ids, into the same file; lines stay
 * whole, but each process writes into the header how far it got itself, and compares that alone
 * with the limit, which the file can then exceed.
 *
 * **What surprises users.**
 * - When the log file reaches its size limit, it wraps: it starts over at its beginning, and all
 *   output of the process stops until DbgLog_ChangeLogSettings() is called again. A daemon that
 *   wants to go on logging calls it from time to time. A file that is full already wraps as soon
 *   as it is opened, so such a daemon starts mute. If the file cannot be opened again at a wrap,
 *   only the console goes on.
 * - A file that is opened again is continued at its end, not at the position in its header, so the
 *   order of the text is not the order of time. Lines tell their time themselves.
 * - Messages are written as they are: line breaks and escape sequences in them reach the log, and
 *   can forge lines. Clean what comes from outside.
 * - Log and settings paths follow symbolic links, and a new log file has the mode that the umask
 *   leaves: keep both files in directories that only root can write to.
 *
 * The layout of the log file is told in docs/format-circular-log.md.
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

/**
 * The logger's control block; one a process, reached through gDBGLogCtrl.
 *
 * A module may read and change fields, and print to `logFile` itself, while it holds `lock`. Do not
 * call a function of this header meanwhile: the lock is not recursive. What was printed to the
 * stream is counted when the next line is logged.
 */
typedef struct DBGLogCtrl {
  uint32_t magic;              /**< DBGLOG_MAGIC */
  uint32_t reserved;           /**< zero */
  uint32_t logLevelMask;       /**< bit n set: level n is on */
  char logEnableFilePath[255]; /**< settings file; a path of 255 characters has no terminator */
  char logFilePath[255];       /**< log file; a path of 255 characters has no terminator */
  uint8_t syslogEnabled;       /**< DbgLog_DumptoStdError() also calls syslog() */
  uint32_t maxLogFileSize;     /**< size limit of the log file, see DbgLog_InitDebugLogger() */
  int32_t logFilePosition;     /**< write position in the log file, as in its header */
  uint8_t loggingEnabled;      /**< master switch of all output; cleared by each wrap */
  uint8_t consoleEnabled;      /**< switch of the standard-error functions */
  uint8_t pwrFlag1;            /**< kept for the users of the block */
  uint8_t pwrFlag2;            /**< kept for the users of the block */
  uint32_t pwrValue;           /**< kept for the users of the block */
  FILE *logFile;               /**< the open log file, unbuffered, or null */
  pthread_mutex_t lock;        /**< guards the fields above and every write to the file */
  uint16_t refCount;           /**< initialisations not yet matched by a release */
  uint8_t spare;               /**< zero */
} DBGLogCtrl;

/** The installed block, or null while there is no logger. A plain pointer, read without a lock. */
extern CU_API DBGLogCtrl *gDBGLogCtrl;

/**
 * @brief Creates the process's logger, or adds a reference to the one that exists.
 *
 * The first call creates the block and tells so on standard error. Then, at every call, the
 * settings file is read: with it, logging is switched on and the log file opened; without it, the
 * logger exists but stays silent.
 *
 * @param logEnableFile path of the settings file, see DbgLog_GetLogSettingsFromFile(). At most 255
 *                      characters.
 * @param logFile       path of the circular log file. At most 255 characters.
 * @param maxSize       size limit of the log file in bytes: once a line ends at offset
 *                      @p maxSize - 1 or behind it, the file starts over at its beginning, so it
 *                      can be longer than the limit by a line. With 0, and with more than
 *                      2147483648 (2 GiB), it starts over after every line.
 * @param level         with a readable settings file, the mask of levels to enable unless the file
 *                      gives one; without one, the single level to enable, where anything outside 0
 *                      to 31 enables none. Pass a mask when you ship a settings file, a level when
 *                      you do not.
 * @return 1, also when the settings or the log file cannot be opened; 0 for a null path (with a
 *         message on standard error), for an overlong one, or when there is no memory.
 *
 * @note A later call keeps the first call's paths and size, and its mask unless the settings file
 *       gives one, and needs a DbgLog_DeInitDebugLogger() of its own. If the settings file cannot
 *       be read then, the log file that was open is forgotten: its descriptor stays open for good.
 */
CU_API int DbgLog_InitDebugLogger(const char *logEnableFile, const char *logFile, uint32_t maxSize,
                                  int32_t level);

/**
 * @brief DbgLog_InitDebugLogger(), which on success also stores three values in the block.
 *
 * The library itself reads none of them.
 *
 * @param logEnableFile as for DbgLog_InitDebugLogger().
 * @param logFile       as for DbgLog_InitDebugLogger().
 * @param maxSize       as for DbgLog_InitDebugLogger().
 * @param level         as for DbgLog_InitDebugLogger().
 * @param pwrFlag1      stored.
 * @param pwrFlag2      stored.
 * @param pwrValue      stored.
 * @return as DbgLog_InitDebugLogger().
 */
CU_API int DbgLog_InitDebugLoggerPWR(const char *logEnableFile, const char *logFile,
                                     uint32_t maxSize, int32_t level, uint8_t pwrFlag1,
                                     uint8_t pwrFlag2, uint32_t pwrValue);

/**
 * @brief Releases one reference; the last one closes the log file and frees the block.
 *
 * Does nothing without a logger. Never release the last reference while other threads log. The
 * count has 16 bits: 65536 references are none.
 */
CU_API void DbgLog_DeInitDebugLogger(void);

/** @brief For a module that shares the logger. @return the installed block; null without one. */
CU_API DBGLogCtrl *DbgLog_GetEnabledLogger(void);

/**
 * @brief Installs a block that another module got from DbgLog_GetEnabledLogger().
 *
 * Also applies the block's own level mask with DbgLog_ChangeLogSettings(). The block's reference
 * count is left alone: let the module that created the logger release it, and no module log then.
 *
 * @param ctrl the block.
 * @return 1; 0 when @p ctrl is null, when a block is installed already, or when the block has a
 *         wrong magic. In that last case the block stays installed nevertheless: check its magic
 *         before, or set gDBGLogCtrl back to null.
 */
CU_API int DbgLog_SetEnabledLogger(DBGLogCtrl *ctrl);

/**
 * @brief Replaces the level mask, switches logging on, and opens the log file if it is not open.
 *
 * This is also the way to go on after the log file has started over. Does nothing without a logger.
 *
 * A log file that does not exist is created, with a message on standard error. An existing one is
 * continued at its end; if that end is at the limit already, the file starts over at once and
 * logging is off again: call this function once more. When the file cannot be opened, each later
 * call tries again.
 *
 * @param mask bit n set enables level n.
 */
CU_API void DbgLog_ChangeLogSettings(uint32_t mask);

/**
 * @brief Reads the settings file into @p mask and the block's console and syslog switches.
 *
 * The file is text with one setting a line, in any order; a later line overrides an earlier one,
 * and lines without a key are ignored:
 *
 *     LOGLEVEL: 255
 *     CONSOLE: true
 *     SYSLOG: false
 *
 * - The blank belongs to the key: "LOGLEVEL:5" is no setting. A key counts wherever it stands in a
 *   line, also behind a "#". Its value is what follows the first ':' of the line.
 * - LOGLEVEL is the mask itself in decimal: 255 enables levels 0 to 7. Text without a digit is 0,
 *   and a number beyond 4294967295 is that number.
 * - "CONSOLE: TRUE" switches the console on; "SYSLOG: TRUE" does not switch syslog on, because that
 *   value is case-sensitive. Any other text switches off.
 * - A line has at most 254 characters; the rest of a longer one is the next line.
 *
 * The mask is only read: DbgLog_ChangeLogSettings() applies it. When the file exists but cannot be
 * opened, logging is switched off. Failures are told on standard error.
 *
 * @param mask receives the mask when the file has one; otherwise left alone.
 * @return 1, or 0 when there is no logger, @p mask is null, or the file is missing or cannot be
 *         opened.
 */
CU_API int DbgLog_GetLogSettingsFromFile(uint32_t *mask);

/**
 * @brief Tells whether a message of a level would be written.
 *
 * Takes no lock, and does not look at the master switch. Ask it before composing costly arguments.
 *
 * @param level the level.
 * @return 1 when @p level is 0 to 9 and its bit is set in the mask; else 0, also without a logger.
 */
CU_API int loggingLevelEnabled(uint32_t level);

/**
 * @brief Writes one line to the log file: "[pid : tid LEVEL (time)]" and the message as it is.
 *
 * The file member of the logging pair. The time is that of GetCurrentTimeAsString(). A line is at
 * most 2047 bytes; the rest of a longer one is dropped, its line break too. Nothing is written
 * while the level, the logger or the file is off, and failures to write are not reported. Allocates
 * nothing, and costs two system calls; a level that is off costs none and takes no lock.
 *
 * @param level  0 to 9.
 * @param format printf-like; end it with "\n", since nothing is added.
 */
CU_API void DbgLog_DumptoLog(uint32_t level, const char *format, ...) CU_PRINTF(2, 3);

/**
 * @brief Writes one line to standard error, and to syslog when that is switched on.
 *
 * The console member of the logging pair: "[pid : tid LEVEL]", the message, and a line break of its
 * own, so that a message that ends in one is followed by an empty line. At most 2047 bytes and the
 * line break. Nothing is written, to syslog neither, while the level, the logger or its console is
 * off. Lines of different threads may mix on standard error.
 *
 * @param level  0 to 9; also the syslog priority, passed unchanged.
 * @param format printf-like.
 */
CU_API void DbgLog_DumptoStdError(int32_t level, const char *format, ...) CU_PRINTF(2, 3);

/**
 * @brief Writes a header and a hex dump of a buffer to the log file, as one line of any length:
 *        "[pid : tid LEVEL (time)]0x0a 0xff ".
 *
 * @param level  0 to 9.
 * @param data   the buffer; null writes nothing.
 * @param length bytes to dump; 0 or less writes nothing.
 */
CU_API void DbgLog_DumptoLogTrace(uint32_t level, const uint8_t *data, int32_t length);

/**
 * @brief Writes "[pid : tid LEVEL] [label : number]" and a hex dump, as two lines, to standard
 *        error.
 *
 * Silent while the console is off, as DbgLog_DumptoStdError() is; never reaches syslog.
 *
 * @param level  0 to 9.
 * @param data   the buffer; null writes nothing.
 * @param length bytes to dump; 0 or less writes nothing.
 * @param label  any text; the whole header is cut at 127 bytes.
 * @param number any number.
 */
CU_API void DbgLog_DumptoStdErrTrace(uint32_t level, const uint8_t *data, int32_t length,
                                     const char *label, int32_t number);

/**
 * @brief Writes each byte as "0x%02x ", the last one too, and then a line break to a stream.
 *
 * Needs no logger.
 *
 * @param stream where to write.
 * @param data   the bytes.
 * @param length how many.
 * @return what writing the line break gave: '\n', or EOF on failure and for null arguments.
 */
CU_API int logprintHexString(FILE *stream, const uint8_t *data, uint32_t length);

/**
 * @brief Writes the wall clock as one decimal number of nanoseconds since 1970.
 *
 * @param dst  receives at most @p size bytes with the terminator; nothing when @p size is 0. The
 *             whole text takes 20 bytes until the year 2286, and never more than 21.
 * @param size size of @p dst.
 * @return @p dst.
 */
CU_API char *GetCurrentTimeAsString(char *dst, uint32_t size);

CU_END_DECLS

#endif
