/**
 * @file AmbrelDataStorage.h
 * @brief A store of opaque records that survive a restart, in one checksummed file.
 *
 * A store keeps its records twice: as entries in memory, and in a file `PRIMARY/NAME`. Starting it
 * checks the file, loading reads the records, saving writes one record, and a full save rewrites
 * the file from memory after moving the former file to `BACKUP/NAME.bkc`.
 *
 * @code
 * AmbrelStorageEngine *store = NULL;
 * if (!InitializeAmbrelStorageEngine(&store, "events", "/data/board", "/data/board/backup")) {
 *   DeInitializeAmbrelStorageEngine(store);   // it exists even when its file could not be created
 *   return -1;
 * }
 * loadAllAmbrelStorageEntries(store);         // returns 0 at a normal end: look at entryCount
 * if (store->entryCount != 0) ++store->nextRecordId;   // see below
 * // ... start a thread that calls AmbrelStorageEngineContollerMaintenance(store) ...
 *
 * AmbrelStorageEntry *event = NULL;
 * if (ambrelStorageLock(store, 0)) {          // 0 when another thread kept the lock too long
 *   if (AddAndCreateAmbrelStorageEntryInArray(store, &event, 1)) {
 *     event->payload = (uint8_t *)strdup("fan 3 failed");   // malloc memory; the entry owns it now
 *     event->length = event->payload ? 12 : 0;
 *     saveAmbrelStorageDeviceUpdateEntry(store, event, 1, 1);
 *   }
 *   ambrelStorageUnLock(store, 0);
 * }
 * @endcode
 *
 * **Conventions.** Functions return 1 for success and 0 for failure, also for a null engine, entry
 * or reference, unless their comment says otherwise. A `held` argument of 0 lets the function take
 * the engine's lock itself and wait for it up to `lockTimeoutMs`; when that time passes, it returns
 * 0 and has done nothing. Not 0 says that the caller holds the lock already (ambrelStorageLock()).
 * The lock is not recursive: never pass 0 while you hold it. Messages are logged at DBGLOG_DEBUG
 * with the module name "AmbrelDataStorage".
 *
 * **Thread safety.** Any thread may call any function that takes `held`, and the loading and
 * finding functions, on one store at the same time. The functions without it, except those two,
 * expect the lock to be held or one thread to use the store. Starting and stopping belong to one
 * thread. An entry that a function hands out is not guarded: change it under the lock.
 *
 * **What surprises users.**
 * - Saving an entry again whose payload kept its length writes the payload over the stored copy's
 *   header, not after it. Until the next full save repairs the file, a restart discards all of it.
 *   Change a stored record by letting its length differ, or change it in memory and call
 *   saveAllAmbrelStorageEntries().
 * - Loading sets the next record id to the id of the last record, so the first record created
 *   afterwards repeats that id, and saving it may do just the above. Add 1 to `nextRecordId`
 *   after a load that found records, as in the example.
 * - A file that fails its check at start is replaced by an empty one. The backup is not read, and
 *   the first full save, a minute later, moves the empty file over it. Restore the backup before
 *   the daemon starts.
 * - The check passes only after a save with `refreshCrc` or a full save, and only if at least one
 *   record has a payload. Anything else comes back empty.
 * - Compaction leaves the file as it is. It needs a writable "/var" for its temporary file.
 * - Both directories must be on one file system, or every full save fails. They are made with mode
 *   0777 less the umask, and symbolic links are followed: keep them out of strangers' reach.
 * - Nothing is forced to the medium (fsync): after a power cut the file may be an earlier one, or
 *   damaged and then replaced. See docs/format-record-store.md.
 * - An entry that is no longer valid is dropped from the file by the next full save, but stays in
 *   memory until the entries are freed. Ids are 16 bits wide and start over at 65,536.
 * - Names keep their first 255 characters, and the file name should leave room for ".bkc" within
 *   the 255 characters that a file system allows.
 *
 * **Limits.** 65,535 entries, files below 2 GiB. Finding a record is a linear scan, in memory as in
 * the file.
 *
 * **Shared arguments.**
 * - `engine`: the store.
 * - `held`: 0: the function takes the lock; not 0: the caller holds it.
 */
#ifndef COMMONUTILITIES_AMBRELDATASTORAGE_H
#define COMMONUTILITIES_AMBRELDATASTORAGE_H

#include <pthread.h>
#include <stdio.h>

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** The format byte of store files and of their records. */
#define AMBREL_STORAGE_FORMAT 4

/** What stands in a file header's checksum field while there is no checksum. */
#define AMBREL_STORAGE_CRC_PLACEHOLDER 0x32445712U

/** The 16 bytes at the start of a store file, in the host's byte order. */
typedef struct AmbrelStorageFileHeader {
  uint8_t format;            /**< AMBREL_STORAGE_FORMAT */
  uint8_t reserved[3];       /**< zero in a new file, otherwise carried over */
  uint16_t headerSize;       /**< 16 */
  uint16_t recordHeaderSize; /**< 32 */
  uint32_t recordCount;      /**< records written at the last rewrite; no reader relies on it */
  uint32_t crc;              /**< CRC-32 of the file with this field at its placeholder */
} AmbrelStorageFileHeader;

/**
 * One record. The fields before `payload` are its 32-byte header in the file; the payload's bytes
 * follow it there.
 */
typedef struct AmbrelStorageEntry {
  uint8_t format;       /**< AMBREL_STORAGE_FORMAT */
  uint8_t reserved1[3]; /**< zero */
  uint32_t id;          /**< key of the record; the engine gives 16-bit numbers */
  uint8_t valid;        /**< 1: live; 0: superseded, not written by a full save */
  uint8_t reserved2[3]; /**< zero */
  uint32_t length;      /**< bytes of payload; may be 0 */
#if defined(__GNUC__)
  __attribute__((aligned(8)))
#endif
  int64_t wallStamp;         /**< creation: (int32_t)(seconds * 100000) + microseconds */
  uint32_t monotonicSeconds; /**< creation on CLOCK_MONOTONIC */
  uint32_t reserved3;        /**< zero */
  uint8_t *payload;          /**< malloc memory of `length` bytes, owned by the entry, or null */
} AmbrelStorageEntry;

/**
 * @brief Tells whether an entry is the one that a key asks for.
 *
 * Called by FindAmbrelStorageRecord() on its thread, under the engine's lock, once for each entry
 * until it accepts one. It must not call functions that take that lock.
 *
 * @return not 0 to accept the entry; FindAmbrelStorageRecord() returns that value.
 */
typedef uint32_t (*AmbrelStorageCompareFunction)(AmbrelStorageEntry *entry,
                                                 AmbrelStorageEntry *key);

/** A store; made by InitializeAmbrelStorageEngine(). */
typedef struct AmbrelStorageEngine {
  AmbrelStorageFileHeader header; /**< the file's header as last read or about to be written */
  pthread_mutex_t mutex;          /**< guards the engine; default attributes, not recursive */
  uint32_t lockTimeoutMs;         /**< how long a function waits for the lock: 1000 */
  FILE *file;                     /**< the open primary file, or null */
  uint8_t open;                   /**< 1 while `file` is open */
  uint8_t writable;               /**< 1 while `file` is open for update */
  uint16_t nextRecordId;          /**< id of the next entry to be created */
  int32_t fileSize;               /**< the file's size when last measured */
  int32_t position;               /**< offset of the next read */
  uint16_t loadedCount;           /**< entries known after start or load */
  uint64_t retention;             /**< seconds: 604800; compaction by maintenance takes 32 bits */
  uint32_t limit;                 /**< 100; read by nothing */
  char fileName[256];             /**< the store's file name */
  char primaryDirectory[256];     /**< directory of the live file */
  char backupDirectory[256];      /**< directory of the backup that a full save leaves */
  uint16_t entryCount;            /**< slots of `entries` */
  AmbrelStorageEntry **entries; /**< in file and creation order; null, also in slots, when freed */
  AmbrelStorageCompareFunction compare; /**< used by FindAmbrelStorageRecord(); may be replaced */
} AmbrelStorageEngine;

/* ---- life of a store ------------------------------------------------------------------------- */

/**
 * @brief Starts a store: accepts its file if that checks out, else creates an empty one.
 *
 * Creates the last component of both directories if they are missing. A file is accepted when its
 * header is whole, its format is 4, and its checksum is right; it then stays open for reading, and
 * `loadedCount` and `nextRecordId` are the record count of its header. Load the records next with
 * loadAllAmbrelStorageEntries(). A file that fails the checksum is logged as "Recover msgdb file
 * from backup", but no backup is read.
 *
 * @param engine           receives the store; null when there is no memory or an argument is null.
 * @param fileName         name of the file.
 * @param primaryDirectory directory of the file.
 * @param backupDirectory  directory of the backup; on the same file system.
 * @return the store; null when the file could not be created. In that case `*engine` is a store
 *         without a file: release it with DeInitializeAmbrelStorageEngine().
 */
CU_API AmbrelStorageEngine *InitializeAmbrelStorageEngine(AmbrelStorageEngine **engine,
                                                          const char *fileName,
                                                          const char *primaryDirectory,
                                                          const char *backupDirectory);

/**
 * @brief Closes the file, frees all entries and the store. Saves nothing.
 *
 * The lock must be free and stay free: no other thread may use the store any more, the maintenance
 * loop included.
 *
 * @return 1; 0 for no store.
 */
CU_API uint32_t DeInitializeAmbrelStorageEngine(AmbrelStorageEngine *engine);

/**
 * @brief Reads every record of the file, superseded copies too, into new entries at the end of the
 *        array.
 *
 * Call it once after the start. `loadedCount` becomes `entryCount`, and `nextRecordId` the id of
 * the last entry, so that the next created entry repeats it; 0 when there is none. Takes the lock
 * itself.
 *
 * @return what the last read gave: 0 after reading up to the end of the file. It is 0 on failure
 *         too (no file, no lock, no memory, a record that ends early): compare `entryCount`.
 *         Without memory for the array all entries are freed. Records beyond 65,535 entries are
 *         not read, and the result is 1.
 */
CU_API uint32_t loadAllAmbrelStorageEntries(AmbrelStorageEngine *engine);

/**
 * @brief Runs the store's housekeeping for ever; call it on a thread of its own.
 *
 * Every 60 seconds a full save; instead of every 1440th one a compaction. A minute in which the
 * lock could not be had does not count. The lock is held during each full save and compaction. To
 * end it, take the lock, then cancel or end the thread while it sleeps; it has no stop flag.
 *
 * @param engine the store; for null it returns at once.
 */
CU_API void AmbrelStorageEngineContollerMaintenance(AmbrelStorageEngine *engine);

/* ---- records --------------------------------------------------------------------------------- */

/**
 * @brief Creates an entry at the end of the array.
 *
 * The entry is valid, has the next id, the present time and no payload, and is not in the file yet:
 * attach a payload from malloc(), set `length`, and save it. The header's record count in memory
 * grows by one.
 *
 * @param entry receives the entry, which the store owns; left alone on failure.
 * @param held  0: waits for the lock without limit.
 * @return 1; 0 when there is no memory, or when there are 65,535 entries.
 *
 * @note When the array cannot grow, all entries are freed, as by FreeAllAmbrelStorageEntries().
 *       In the other failures nothing has changed.
 */
CU_API uint32_t AddAndCreateAmbrelStorageEntryInArray(AmbrelStorageEngine *engine,
                                                      AmbrelStorageEntry **entry, uint32_t held);

/**
 * @brief Writes one entry to the file.
 *
 * Writes as writeAmbrelRecord() does, then either refreshes the file's checksum or just flushes and
 * reopens the file for reading. Without `refreshCrc` a restart discards the file unless a refresh
 * or a full save comes in between.
 *
 * @param entry      the entry, which stays the store's.
 * @param refreshCrc not 0: the whole file is read and its checksum stored in its header.
 * @return 1; 0 when the file could not be opened for update, written or checked. A file in which no
 *         record has a payload cannot be checked.
 */
CU_API uint32_t saveAmbrelStorageDeviceUpdateEntry(AmbrelStorageEngine *engine,
                                                   AmbrelStorageEntry *entry, uint32_t held,
                                                   uint32_t refreshCrc);

/**
 * @brief Finds the first entry in memory that the store's compare function accepts.
 *
 * Takes the lock itself and waits for it without limit.
 *
 * @param key entry-shaped; with the default compare function its id is what counts.
 * @param out receives the entry, which stays the store's; left alone when there is none.
 * @return what the compare function returned; 0 when no entry was accepted.
 */
CU_API uint32_t FindAmbrelStorageRecord(AmbrelStorageEngine *engine, AmbrelStorageEntry *key,
                                        AmbrelStorageEntry **out);

/**
 * @brief Full save: moves the file to the backup and writes a new one with all valid entries.
 *
 * Needs the array, which loading or creating makes. When an entry cannot be written, the former
 * file is moved back. When the former file cannot be moved, nothing changes.
 *
 * @return 1; 0 on failure, also when the new file could not be checked (no entry has a payload): it
 *         is then in place but a restart discards it.
 */
CU_API uint32_t saveAllAmbrelStorageEntries(AmbrelStorageEngine *engine, uint32_t held);

/**
 * @brief Compaction: writes a copy of the file without old and superseded records, then tries to
 *        put it in the file's place.
 *
 * On an ordinary file system the last step fails: the file is to be renamed to a name beneath
 * itself. The temporary file "/var/ambrelstoragetmp-XXXXXX" is removed again. Call it if you rely
 * on it changing nothing; to shrink a file, use saveAllAmbrelStorageEntries().
 *
 * @param unused    ignored.
 * @param now       seconds of CLOCK_MONOTONIC.
 * @param retention seconds. The age test multiplies it by 1000000 in 32 bits.
 * @return 0; 1 where the file system could rename the file.
 */
CU_API uint32_t compressAmbrelStorageEntries(AmbrelStorageEngine *engine, uint32_t unused,
                                             uint64_t now, uint32_t retention, uint8_t held);

/**
 * @brief Frees every entry with its payload, and the array.
 *
 * `entries` is null afterwards; `entryCount` stays as it was, so an entry created later gets the
 * slot behind the former ones.
 *
 * @return 1; 0 for no store, or when the lock could not be had.
 */
CU_API uint32_t FreeAllAmbrelStorageEntries(AmbrelStorageEngine *engine, uint32_t held);

/**
 * @brief Frees an entry's payload and clears its reference. The entry stays, and so does `length`.
 *
 * A full save fails while a valid entry has a length but no payload: set `valid` or `length` to 0
 * too.
 *
 * @param entry the entry, which stays its owner's.
 * @return 1; 0 for null.
 */
CU_API uint32_t FreeAmbrelStorageEntry(AmbrelStorageEntry *entry);

/**
 * @brief Sets the format byte of an entry, its first byte, to AMBREL_STORAGE_FORMAT.
 *
 * @param entry the first byte of an entry.
 * @return 1; 0 for null.
 */
CU_API uint32_t InitializeAmbrelStorageDeviceEntry(uint8_t *entry);

/**
 * @brief The compare function of a new store: same id, and live.
 *
 * @param entry an entry of the store.
 * @param key   what FindAmbrelStorageRecord() was given.
 * @return 0 if either argument is null or the ids differ; else the entry's `valid` byte.
 */
CU_API uint32_t AmbrelStorageDefaultCompareFunction(AmbrelStorageEntry *entry,
                                                    AmbrelStorageEntry *key);

/* ---- the lock -------------------------------------------------------------------------------- */

/**
 * @brief Takes the store's lock unless it is held already.
 *
 * @return @p held itself when it is not 0; else 1, or 0 when `lockTimeoutMs` passed. The deadline
 *         is on the wall clock.
 */
CU_API uint32_t ambrelStorageLock(AmbrelStorageEngine *engine, uint32_t held);

/** @brief Releases the store's lock; does nothing when @p held is not 0. */
CU_API void ambrelStorageUnLock(AmbrelStorageEngine *engine, uint32_t held);

/* ---- the file: headers and records ----------------------------------------------------------- */

/**
 * @brief Reads the file's header into `engine->header`.
 *
 * @return 1 only if all 16 bytes could be read and the format is 4; what could be read is in
 *         `header` either way.
 */
CU_API uint32_t getAmbrelFileHeader(AmbrelStorageEngine *engine, uint32_t held);

/**
 * @brief Re-syncs the stream: measures the file, closes it and reopens it for reading at the same
 *        offset.
 *
 * Sets `position` and `fileSize`.
 *
 * @return 1; 0 when there is no stream or it could not be reopened. The store then has no stream,
 *         and every later operation fails.
 */
CU_API uint32_t updateAmbrelFileHandlerInfo(AmbrelStorageEngine *engine, uint32_t held);

/**
 * @brief Writes `engine->header` to the file and reopens the file for reading.
 *
 * Opens the file for update first if it is not. `position` is 0 afterwards.
 *
 * @return 1; 0 when there is no stream, or it could not be opened or written.
 */
CU_API uint32_t updateAmbrelHeaderInfile(AmbrelStorageEngine *engine, uint32_t held);

/**
 * @brief Computes the file's checksum and stores it in the file's header.
 *
 * @return 1; 0 on failure. When the checksum cannot be computed, the file is left as it was.
 */
CU_API uint32_t updateAmbrelStorageCRC(AmbrelStorageEngine *engine, uint32_t held);

/**
 * @brief Reads one record header at the stream's present offset.
 *
 * @param buffer receives 32 bytes.
 * @return 1, with `position` behind the header; 0, with `position` 0, when it could not be read
 *         whole.
 */
CU_API uint32_t readAmbrelRecordHeader(AmbrelStorageEngine *engine, uint32_t held, void *buffer);

/**
 * @brief Reads one record at the stream's present offset.
 *
 * @param entry receives the header, and a new payload of malloc memory; a payload that it had is
 *              forgotten. Release it with FreeAmbrelStorageEntry(), on failure too.
 * @return 1, with `position` behind the record. 0 when the header could not be read whole (the
 *         stream is rewound and `position` 0), when the record says that it is longer than the rest
 *         of the file, when there is no memory, or when the payload could not be read whole.
 */
CU_API uint32_t readAmbrelRecord(AmbrelStorageEngine *engine, uint32_t held,
                                 AmbrelStorageEntry *entry);

/**
 * @brief Reads the next record as readAmbrelRecord() does, then re-syncs the stream.
 *
 * @param entry as for readAmbrelRecord().
 * @param last  receives 1 if, before reading, less than a record header was left, else 0.
 * @return what reading gave.
 */
CU_API uint32_t getNextAmbrelStorageEntry(AmbrelStorageEngine *engine, AmbrelStorageEntry *entry,
                                          uint32_t held, uint8_t *last);

/**
 * @brief Finds the first record with an id in the file, live or not; the lock must be held.
 *
 * @param id the id to look for.
 * @return 1, with the stream and `position` at the record; 0 when the id is absent or nothing is
 *         open.
 */
CU_API uint32_t getAmbrelFileLocationForRecord(AmbrelStorageEngine *engine, uint32_t id);

/**
 * @brief Stores one entry in the file, which must be open for update.
 *
 * - No record with its id in the file: the entry is appended.
 * - The first record with its id has another length: that record is marked superseded and the entry
 *   appended.
 * - The first record with its id has the same length: the payload is written to that record's
 *   offset, over its header. The file is no longer sound until a full save.
 *
 * @param entry the entry, which stays its owner's.
 * @return 1 when the payload was written, and always in the third case; 0 when it was not, as on a
 *         disk that is full. Where the stream does not even take the record's header, for example
 *         one that is open for reading: 1 if a record with its id was there, else 0. 0 also for
 *         an entry with a length but no payload; then nothing was written.
 */
CU_API uint32_t writeAmbrelRecord(AmbrelStorageEngine *engine, uint32_t held,
                                  AmbrelStorageEntry *entry);

/* ---- checksums ------------------------------------------------------------------------------- */

/**
 * @brief Computes the checksum of the file: of its header with the placeholder in place of the
 *        checksum, and of all its records.
 *
 * Reads the file's header into `engine->header`. If the checksum can be computed, its field there
 * is the file's; if not, it is the placeholder.
 *
 * @param crc in: what to start from, 0 for the file's own checksum; out: the result, left alone on
 *            failure.
 * @return 1; 0 when a record's format is not 4, when the last payload ends early, or when no record
 *         has a payload.
 */
CU_API uint32_t calcAmbrelFileCRC(AmbrelStorageEngine *engine, uint32_t held, uint32_t *crc);

/**
 * @brief Continues a CRC-32 (IEEE 802.3, as zlib's crc32()) with @p length bytes.
 *
 * @param data   the bytes; for null nothing is done.
 * @param length how many.
 * @param crc    in: 0 to begin, or the value so far; out: the value with these bytes. "123456789"
 *               gives 0xCBF43926.
 */
CU_API void ambrelstoragecrc32(const void *data, uint32_t length, uint32_t *crc);

/**
 * @brief Entry @p i of the table that defines the checksum.
 *
 * With it, `crc = table[(crc ^ byte) & 0xFF] ^ crc >> 8` continues a CRC-32 that begins at 0.
 * ambrel_crc32_for_byte(0) is 0xD202EF8D, ambrel_crc32_for_byte(255) 0xFF000000.
 *
 * @param i 0 to 255.
 * @return the entry.
 */
CU_API uint32_t ambrel_crc32_for_byte(uint32_t i);

/* ---- files beside the store ------------------------------------------------------------------ */

/**
 * @brief Creates a directory unless its path exists; only the last component is created.
 *
 * @param path the directory.
 * @return 1; 0 when a component of the path is not a directory. Other failures also give 1.
 */
CU_API uint32_t aecheckANDCreateDir(const char *path);

/**
 * @brief Puts two strings together.
 *
 * @param first  the beginning.
 * @param second the end.
 * @return a new string, which the caller frees; null without memory.
 */
CU_API CU_MUST_USE char *createAmbrelFileToOpen(const char *first, const char *second);

/**
 * @brief Copies a file over another. Despite the name, nothing is verified.
 *
 * @param from the file to read.
 * @param to   the file to write; what it held is lost.
 * @return 1, also when the disk was full; 0 when @p from could not be opened (then @p to is left
 *         alone) or @p to could not be created.
 */
CU_API uint32_t copyAmbrelFileAndVerify(const char *from, const char *to);

CU_END_DECLS

#endif
