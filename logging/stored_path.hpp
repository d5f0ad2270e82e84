// The paths in the control block: a path of 255 characters fills its field and has no terminator
// there, so every use works on a terminated copy.
#ifndef COMMONUTILITIES_LOGGING_STORED_PATH_HPP
#define COMMONUTILITIES_LOGGING_STORED_PATH_HPP

#include <sys/stat.h>

#include "include/dbglog.h"
#include "internal/terminated.hpp"

namespace cu {

constexpr size_t kStoredPathSize = sizeof(DBGLogCtrl::logFilePath);
static_assert(kStoredPathSize == sizeof(DBGLogCtrl::logEnableFilePath));

class StoredPath : public Terminated<kStoredPathSize> {
 public:
  using Terminated::Terminated;

  bool empty() const { return *c_str() == '\0'; }

  bool exists() const {
    struct stat status;
    return stat(c_str(), &status) == 0;
  }
};

}  // namespace cu

#endif
