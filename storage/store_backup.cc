#include "include/AmbrelDataStorage.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "include/stringutils.h"
#include "internal/owned.hpp"
#include "storage/store_backup.hpp"

namespace cu::store {

BackupPath::BackupPath(const AmbrelStorageEngine &engine) {
  char path[kPathSize];
  concatPath(path, engine.backupDirectory, engine.fileName, sizeof path);
  snprintf(text, sizeof text, "%s%s", path, kBackupSuffix);
}

}  // namespace cu::store

namespace {

void CopyBytes(FILE *from, FILE *to) {
  char chunk[BUFSIZ];
  size_t size = 0;
  do {
    size = fread(chunk, 1, sizeof chunk, from);
  } while (size != 0 && fwrite(chunk, 1, size, to) == size);
}

}  // namespace

uint32_t aecheckANDCreateDir(const char *path) {
  if (path == nullptr) return 0;
  struct stat found;
  if (stat(path, &found) == 0) return 1;
  if (errno == ENOENT && mkdir(path, 0777) == 0) return 1;
  return errno != ENOTDIR;
}

char *createAmbrelFileToOpen(const char *first, const char *second) {
  if (first == nullptr || second == nullptr) return nullptr;
  const size_t first_length = strlen(first);
  const size_t second_length = strlen(second);
  char *const text = static_cast<char *>(calloc(first_length + second_length + 3, 1));
  if (text == nullptr) return nullptr;
  memcpy(text, first, first_length);
  memcpy(text + first_length, second, second_length);
  return text;
}

uint32_t copyAmbrelFileAndVerify(const char *from, const char *to) {
  if (from == nullptr || to == nullptr) return 0;
  // First the source: a missing one must not cost the file that is to be replaced.
  const cu::Stream source(fopen(from, "rb"));
  if (!source) return 0;
  const cu::Stream destination(fopen(to, "wb"));
  if (!destination) return 0;
  CopyBytes(source.get(), destination.get());
  fseek(source.get(), 0, SEEK_END);
  fseek(destination.get(), 0, SEEK_END);
  return 1;
}
