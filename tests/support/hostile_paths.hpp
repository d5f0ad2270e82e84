// Paths at which something else stands than what is expected there, and a user to whom files are
// closed: root opens everything.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_HOSTILE_PATHS_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_HOSTILE_PATHS_HPP

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>

#include "support/child.hpp"
#include "support/files.hpp"

namespace cu_test {

/// Makes this process, a child, one of user and group 65534. False where the system refuses that.
inline bool BecomeOtherUser() {
  constexpr uid_t kNobody = 65534;
  if (setgroups(0, nullptr) != 0 || setresgid(kNobody, kNobody, kNobody) != 0 ||
      setresuid(kNobody, kNobody, kNobody) != 0) {
    return false;
  }
  return prctl(PR_SET_DUMPABLE, 1) == 0;  // as before: it may look at its own descriptors
}

/// Whether there is another user. Without one, who runs the tests plays that user, gives up what
/// passes over the modes of files, and the modes alone close files to him.
inline bool HasOtherUser() {
  static const bool has = Child([] { return BecomeOtherUser() ? 0 : 1; }).Wait().status() == 0;
  return has;
}

/// Runs a piece of a test, with its expectations, as the other user.
template <typename Body>
void AsOtherUser(Body body) {
  const bool has = HasOtherUser();
  Child child([&] {
    if (has) {
      BecomeOtherUser();
    } else {
      __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
      __user_cap_data_struct none[2] = {};
      syscall(SYS_capset, &header, none);
    }
    body();
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(0, child.Wait().status()) << child.out() << child.err();
}

/// Lets the other user own a file or folder.
inline void GiveToOtherUser(const std::string &path) {
  constexpr uid_t kNobody = 65534;
  if (HasOtherUser()) {
    EXPECT_EQ(0, lchown(path.c_str(), kNobody, kNobody)) << path;
  }
}

/// Makes a file or folder one that the other user may not use.
inline void CloseToOtherUser(const std::string &path) {
  struct stat status;
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_EQ(0, chown(path.c_str(), geteuid(), getegid()));
  const mode_t mine = S_ISDIR(status.st_mode) ? 0700 : 0600;
  EXPECT_EQ(0, chmod(path.c_str(), HasOtherUser() ? mine : 0));
}

inline mode_t ModeOf(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// What can stand at a path.
enum class Hostile { kLink, kDanglingLink, kCircle, kDirectory, kPipe, kStrangers };

constexpr Hostile kAllHostile[] = {Hostile::kLink,   Hostile::kDanglingLink,
                                   Hostile::kCircle, Hostile::kDirectory,
                                   Hostile::kPipe,   Hostile::kStrangers};

inline std::string NameOf(Hostile kind) {
  constexpr const char *kNames[] = {"a link",      "a dangling link", "a link to itself",
                                    "a directory", "a pipe",          "a stranger's file"};
  return kNames[static_cast<int>(kind)];
}

/// Puts one of them at a path. A link leads to `target`, which is only made by who follows it.
class HostilePath {
 public:
  HostilePath(Hostile kind, const std::string &path, const std::string &target) {
    switch (kind) {
      case Hostile::kLink:
      case Hostile::kDanglingLink:
        std::filesystem::create_symlink(target, path);
        break;
      case Hostile::kCircle:
        std::filesystem::create_symlink(path, path);
        break;
      case Hostile::kDirectory:
        std::filesystem::create_directory(path);
        break;
      case Hostile::kPipe:
        EXPECT_EQ(0, mkfifo(path.c_str(), 0666));
        // With an end open, nobody waits for the other one.
        pipe_ = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        break;
      case Hostile::kStrangers:
        WriteFile(path, kStrangersContent);
        CloseToOtherUser(path);
        break;
    }
    if (kind != Hostile::kStrangers) GiveToOtherUser(path);
  }
  ~HostilePath() {
    if (pipe_ >= 0) close(pipe_);
  }
  HostilePath(const HostilePath &) = delete;
  HostilePath &operator=(const HostilePath &) = delete;

  /// Whether nothing waits in the pipe; true for all others.
  bool IsEmptyPipe() const {
    char byte;
    return pipe_ < 0 || read(pipe_, &byte, 1) < 0;
  }

  static constexpr char kStrangersContent[] = "somebody else's";

 private:
  int pipe_ = -1;
};

/// Everything below a folder, with the content of files; other things are named only.
inline std::map<std::string, std::string> TreeOf(const std::string &folder) {
  std::map<std::string, std::string> tree;
  std::error_code ignored;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(folder, ignored)) {
    const std::string name = entry.path().lexically_relative(folder).string();
    const bool is_file = entry.symlink_status().type() == std::filesystem::file_type::regular;
    tree[name] = is_file ? ReadFile(entry.path().string()) : "not a file";
  }
  return tree;
}

}  // namespace cu_test

#endif
