// Files beside the primary: the backup that a full save leaves.
#ifndef COMMONUTILITIES_STORAGE_STORE_BACKUP_HPP
#define COMMONUTILITIES_STORAGE_STORE_BACKUP_HPP

#include "include/AmbrelDataStorage.h"
#include "storage/store_format.hpp"

namespace cu::store {

/// Where a full save leaves the former file.
struct BackupPath {
  explicit BackupPath(const AmbrelStorageEngine &engine);
  char text[kBackupPathSize];
};

}  // namespace cu::store

#endif
