// Compaction keeps a temporary file in /var. Programs that include this file see a /var of their
// own, where the system lets them, so that tests need no rights there, leave nothing behind and do
// not see each other's files.
#ifndef COMMONUTILITIES_TESTS_STORAGE_PRIVATE_VAR_HPP
#define COMMONUTILITIES_TESTS_STORAGE_PRIVATE_VAR_HPP

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "support/files.hpp"

namespace cu_test {

/// A file system namespace of the process's own, in which it may mount; needs a user namespace when
/// the process has no rights. False where the system refuses both.
inline bool EnterMountNamespace() {
  static const bool entered = [] {
    if (unshare(CLONE_NEWNS) != 0) {
      const std::string user = "0 " + std::to_string(geteuid()) + " 1";
      const std::string group = "0 " + std::to_string(getegid()) + " 1";
      if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
      WriteFile("/proc/self/setgroups", "deny");
      WriteFile("/proc/self/uid_map", user);
      WriteFile("/proc/self/gid_map", group);
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  }();
  return entered;
}

/// A small file system of its own on a folder, until the end of its scope.
class MountedTmpfs {
 public:
  MountedTmpfs(const std::string &where, const std::string &options)
      : where_(where),
        mounted_(EnterMountNamespace() &&
                 mount("tmpfs", where.c_str(), "tmpfs", 0, options.c_str()) == 0) {}
  ~MountedTmpfs() {
    if (mounted_) umount2(where_.c_str(), MNT_DETACH);
  }
  MountedTmpfs(const MountedTmpfs &) = delete;
  MountedTmpfs &operator=(const MountedTmpfs &) = delete;

  explicit operator bool() const { return mounted_; }
  bool MakeReadOnly() const {
    return mount("tmpfs", where_.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

 private:
  std::string where_;
  bool mounted_;
};

/// The temporary files of compactions that are in /var now.
inline std::set<std::string> TemporaryStoreFiles() {
  std::set<std::string> found;
  for (const auto &file : std::filesystem::directory_iterator("/var")) {
    const std::string name = file.path().filename().string();
    if (name.rfind("ambrelstoragetmp-", 0) == 0) found.insert(file.path().string());
  }
  return found;
}

/// Whether compaction can work here at all.
inline bool CanWriteVar() {
  return access("/var", W_OK | X_OK) == 0;
}

class PrivateVar : public testing::Environment {
  void SetUp() override {
    if (!EnterMountNamespace() || mount("tmpfs", "/var", "tmpfs", 0, "mode=755") != 0) {
      puts("[  note    ] no /var of its own for this program: using the system's");
    }
  }
};

inline testing::Environment *const kPrivateVar = testing::AddGlobalTestEnvironment(new PrivateVar);

}  // namespace cu_test

#endif
