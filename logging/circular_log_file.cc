#include "logging/circular_log_file.hpp"

#include <stdio.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "logging/log_format.hpp"
#include "logging/stored_path.hpp"

namespace cu {
namespace {

/// The stream is unbuffered: a line is one write, nothing is ever left behind in a buffer, and what
/// others print to the block's stream lands between the lines where they printed it. The descriptor
/// is not handed on to programs that the daemon runs.
FILE *OpenStream(const char *path, const char *mode) {
  FILE *const stream = fopen(path, mode);
  if (stream != nullptr) setvbuf(stream, nullptr, _IONBF, 0);
  return stream;
}

FILE *OpenForUpdate(const StoredPath &path) {
  return OpenStream(path.c_str(), "r+e");
}

FILE *CreateOrOpen(const StoredPath &path) {
  if (path.exists()) return OpenForUpdate(path);
  fprintf(stderr, "Created LogFile %s\n", path.c_str());
  return OpenStream(path.c_str(), "we");
}

int32_t ReadPosition(FILE *file) {
  LogHeader header;
  if (fseek(file, 0, SEEK_SET) != 0) return kFirstLogPosition;
  if (fread(header.data(), 1, header.size(), file) != header.size()) return kFirstLogPosition;
  return DecodeLogHeader(header);
}

/// Writes the position into the header and leaves the stream, now at `offset`, at the position. A
/// positioned write does not move the stream, so that nothing more is to do after an ordinary line.
void WriteHeader(DBGLogCtrl &block, long offset) {
  block.logFilePosition = std::max(block.logFilePosition, kFirstLogPosition);
  const LogHeader header = EncodeLogHeader(block.logFilePosition);
  const int descriptor = fileno(block.logFile);
  if (descriptor >= 0) {
    [[maybe_unused]] const ssize_t ignored = pwrite(descriptor, header.data(), header.size(), 0);
  } else if (fseek(block.logFile, 0, SEEK_SET) == 0) {  // a caller's stream in memory
    offset = static_cast<long>(fwrite(header.data(), 1, header.size(), block.logFile));
  }
  if (offset != block.logFilePosition) fseek(block.logFile, block.logFilePosition, SEEK_SET);
}

/// The limit is compared as a signed number, so that a limit of 0, and one of 2 GiB + 1 or more, is
/// always reached. Daemons rely on it.
bool LimitReached(const DBGLogCtrl &block) {
  return block.logFilePosition >= static_cast<int32_t>(block.maxLogFileSize - 1U);
}

/// Goes back to the beginning of the file and switches all output off until the settings are
/// changed again. When the file cannot be opened or positioned any more, its header stays as it is
/// and the output stays on.
void StartOver(DBGLogCtrl &block) {
  fclose(std::exchange(block.logFile, nullptr));
  block.logFile = OpenForUpdate(StoredPath(block.logFilePath));
  block.logFilePosition = kFirstLogPosition;
  if (block.logFile == nullptr) return;
  if (fseek(block.logFile, kFirstLogPosition, SEEK_SET) != 0) return;
  __atomic_store_n(&block.loggingEnabled, uint8_t{0}, __ATOMIC_RELAXED);
  WriteHeader(block, kFirstLogPosition);
}

}  // namespace

void FinishLogWriteLocked(DBGLogCtrl &block) {
  if (block.logFile == nullptr) return;
  // The library's own stream holds nothing back. A flush for nothing would make it forget where it
  // is, and cost a system call to find out.
  if (__fpending(block.logFile) != 0) fflush(block.logFile);
  const long offset = ftell(block.logFile);
  if (offset < 0) return;  // a pipe or a terminal: it has no position to keep
  block.logFilePosition = static_cast<int32_t>(std::min<long>(offset, INT32_MAX));
  if (LimitReached(block)) {
    StartOver(block);
  } else {
    WriteHeader(block, offset);
  }
}

void OpenLogFileLocked(DBGLogCtrl &block) {
  block.logFile = CreateOrOpen(StoredPath(block.logFilePath));
  if (block.logFile == nullptr) return;
  block.logFilePosition = ReadPosition(block.logFile);
  // Writing goes on at the end of the file, whatever position the header gives.
  if (fseek(block.logFile, 0, SEEK_END) != 0) return;
  FinishLogWriteLocked(block);
}

}  // namespace cu
