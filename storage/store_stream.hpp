// The stream of a store: the primary file, open for reading between operations and for update
// during one, and the file header at its start. The caller holds the store's lock.
#ifndef COMMONUTILITIES_STORAGE_STORE_STREAM_HPP
#define COMMONUTILITIES_STORAGE_STORE_STREAM_HPP

#include <stdint.h>
#include <stdio.h>

#include "include/AmbrelDataStorage.h"
#include "storage/store_format.hpp"

namespace cu::store {

enum class Mode { kRead, kUpdate, kCreate };

/// Where the live file is.
struct PrimaryPath {
  explicit PrimaryPath(const AmbrelStorageEngine &engine);
  char text[kPathSize];
};

inline bool HasStream(const AmbrelStorageEngine &engine) {
  return engine.file != nullptr && engine.open != 0;
}

/// The stream's offset, which the engine keeps in 32 bits; -1 when it cannot be had.
int32_t StreamOffset(FILE *stream);

/// Seeks to an offset from the start; false beyond the 2 GiB that a store's offsets reach.
bool SeekTo(FILE *stream, int64_t offset);

/// Size of the file, without what its stream has not written yet; 0 when it cannot be had.
int32_t MeasureSize(FILE *stream);

/// Opens the primary, which is not open. On failure the store has no stream, and every operation
/// that needs one fails.
bool OpenPrimary(AmbrelStorageEngine &engine, Mode mode);

/// Closes the stream if there is one.
void ClosePrimary(AmbrelStorageEngine &engine);

/// Makes sure that the stream is open for update.
bool OpenForUpdate(AmbrelStorageEngine &engine);

/// Measures the file and reopens it for reading at the present offset.
bool Resync(AmbrelStorageEngine &engine);

/// Reads the file's header into the engine. What could be read stays there on failure too.
bool ReadFileHeader(AmbrelStorageEngine &engine);

/// Writes the engine's header to the file, which is open for reading afterwards.
bool WriteFileHeader(AmbrelStorageEngine &engine);

}  // namespace cu::store

#endif
