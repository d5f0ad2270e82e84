#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>

#include <algorithm>

#include "include/stringutils.h"
#include "storage/store_lock.hpp"
#include "storage/store_stream.hpp"

namespace cu::store {
namespace {

/// What fopen() takes for each Mode.
constexpr char kOpenModes[][4] = {"rb", "rb+", "wb"};

}  // namespace

PrimaryPath::PrimaryPath(const AmbrelStorageEngine &engine) {
  concatPath(text, engine.primaryDirectory, engine.fileName, sizeof text);
}

int32_t StreamOffset(FILE *stream) {
  return static_cast<int32_t>(std::min<int64_t>(ftell(stream), INT32_MAX));
}

bool SeekTo(FILE *stream, int64_t offset) {
  return offset <= INT32_MAX && fseek(stream, static_cast<long>(offset), SEEK_SET) == 0;
}

int32_t MeasureSize(FILE *stream) {
  struct stat file;
  if (fstat(fileno(stream), &file) != 0) return 0;
  return static_cast<int32_t>(std::min<int64_t>(file.st_size, INT32_MAX));
}

bool OpenPrimary(AmbrelStorageEngine &engine, Mode mode) {
  engine.file = fopen(PrimaryPath(engine).text, kOpenModes[static_cast<int>(mode)]);
  // What reads does so in blocks of its own; a buffer would only be filled anew at every seek.
  if (engine.file != nullptr && mode == Mode::kRead) setvbuf(engine.file, nullptr, _IONBF, 0);
  engine.open = engine.file != nullptr;
  engine.writable = engine.open != 0 && mode == Mode::kUpdate;
  return engine.open != 0;
}

void ClosePrimary(AmbrelStorageEngine &engine) {
  if (engine.file != nullptr) fclose(engine.file);
  engine.file = nullptr;
  engine.open = 0;
  engine.writable = 0;
}

bool OpenForUpdate(AmbrelStorageEngine &engine) {
  if (engine.writable != 0) return true;
  ClosePrimary(engine);
  return OpenPrimary(engine, Mode::kUpdate);
}

bool Resync(AmbrelStorageEngine &engine) {
  if (!HasStream(engine)) return false;
  const int32_t offset = StreamOffset(engine.file);
  // What an update in place has added may not be written yet.
  engine.fileSize = std::max(MeasureSize(engine.file), offset);
  // An offset that cannot be had counts as the end of the file, where every walk stops.
  engine.position = offset < 0 ? engine.fileSize : offset;
  ClosePrimary(engine);
  if (!OpenPrimary(engine, Mode::kRead)) return false;
  if (SeekTo(engine.file, engine.position)) return true;
  // Whoever reads on must not read from the start again, for ever.
  ClosePrimary(engine);
  return false;
}

bool ReadFileHeader(AmbrelStorageEngine &engine) {
  if (!HasStream(engine) || !SeekTo(engine.file, 0)) return false;
  return fread(&engine.header, 1, kFileHeaderSize, engine.file) == kFileHeaderSize &&
         engine.header.format == kFormat;
}

bool WriteFileHeader(AmbrelStorageEngine &engine) {
  if (!HasStream(engine) || !OpenForUpdate(engine)) return false;
  const bool written = SeekTo(engine.file, 0) &&
                       fwrite(&engine.header, 1, kFileHeaderSize, engine.file) == kFileHeaderSize;
  const bool flushed = fflush(engine.file) == 0;
  ClosePrimary(engine);
  engine.position = 0;
  return OpenPrimary(engine, Mode::kRead) && written && flushed;
}

}  // namespace cu::store

uint32_t updateAmbrelFileHandlerInfo(AmbrelStorageEngine *engine, uint32_t held) {
  if (engine == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::Resync(*engine);
}

uint32_t getAmbrelFileHeader(AmbrelStorageEngine *engine, uint32_t held) {
  if (engine == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::ReadFileHeader(*engine);
}

uint32_t updateAmbrelHeaderInfile(AmbrelStorageEngine *engine, uint32_t held) {
  if (engine == nullptr) return 0;
  const cu::store::StoreLock lock(*engine, held);
  return lock && cu::store::WriteFileHeader(*engine);
}
