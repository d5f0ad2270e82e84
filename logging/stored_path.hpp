// The paths in the control block: a path of 255 characters fills its field and has no terminator
// there, so every use works on a terminated copy.
#ifndef COMMONUTILITIES_LOGGING_STORED_PATH_HPP
#define COMMONUTILITIES_LOGGING_STORED_PATH_HPP

#include <string.h>
#include <sys/stat.h>

#include "include/dbglog.h"

namespace cu {

constexpr size_t kStoredPathSize = sizeof(DBGLogCtrl::logFilePath);
static_assert(kStoredPathSize == sizeof(DBGLogCtrl::logEnableFilePath));

class StoredPath {
 public:
  explicit StoredPath(const char (&field)[kStoredPathSize]) {
    memcpy(text_, field, kStoredPathSize);
    text_[kStoredPathSize] = '\0';
  }

  const char *c_str() const { return text_; }
  bool empty() const { return text_[0] == '\0'; }

  bool exists() const {
    struct stat status;
    return stat(text_, &status) == 0;
  }

 private:
  char text_[kStoredPathSize + 1];
};

}  // namespace cu

#endif
