// Each scenario with its first, second, ... allocation or system call failing, alone and with all
// that follow: nothing crashes or leaks beyond what the interface loses, and the same work with
// nothing failing gives what it gave before.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/faults.hpp"
#include "support/files.hpp"
#include "support/leaks.hpp"
#include "torture/scenarios.hpp"

namespace cu_test {
namespace {

/// Scratch folders in memory, where there is such a file system.
const bool kScratchInMemory = access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;

class Torture : public testing::TestWithParam<Scenario> {
 protected:
  Torture() {
    // The messages of the library about each fault.
    kept_ = dup(STDERR_FILENO);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    fflush(stdout);
    stdout_ = dup(STDOUT_FILENO);
    dup2(null, STDOUT_FILENO);
    if (!CheckedForLeaks()) dup2(null, STDERR_FILENO);
    close(null);
  }
  ~Torture() override {
    fflush(stdout);
    dup2(stdout_, STDOUT_FILENO);
    dup2(kept_, STDERR_FILENO);
    close(stdout_);
    close(kept_);
  }

  /// A sanitizer reports on standard error.
  static bool CheckedForLeaks() {
#if CU_ADDRESS_SANITIZER
    return true;
#else
    return false;
#endif
  }

  static std::set<int> Descriptors() {
    std::set<int> open;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      const int fd = atoi(entry.path().filename().c_str());
      if (std::filesystem::exists(std::filesystem::symlink_status(entry))) open.insert(fd);
    }
    // The one that the folder was read through.
    std::erase_if(open, [](int fd) { return fcntl(fd, F_GETFD) < 0; });
    return open;
  }

  std::string RunInEmptyFolder() {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directory(folder_);
    return GetParam().run(folder_);
  }

  /// Every call, but where each step is emulated, unless CU_TEST_FULL is set in the environment.
  static long Stride() {
#if defined(__arm__)
    return getenv("CU_TEST_FULL") != nullptr ? 1 : 7;
#else
    return 1;
#endif
  }

  /// The number of faults until the scenario makes fewer calls.
  long FailEach(Call call, int error, Reach reach) {
    long faults = 0;
    for (long k = 1;; k += Stride()) {
      SCOPED_TRACE("call " + std::to_string(k) + ", error " + std::to_string(error) +
                   (reach == Reach::kOnce ? ", alone" : ", and all that follow"));
      const std::set<int> before = Descriptors();
      std::filesystem::remove_all(folder_);
      std::filesystem::create_directory(folder_);
      bool fired = false;
      {
        std::optional<MayLeak> may_leak;
        if (GetParam().loses_memory) may_leak.emplace();
        Fault fault(call, k, error, reach);
        GetParam().run(folder_);
        fired = fault.fired();
      }
      for (const int fd : Descriptors()) {
        if (before.count(fd) != 0) continue;
        EXPECT_TRUE(GetParam().loses_descriptors) << "descriptor " << fd << " is still open";
        close(fd);
      }
      EXPECT_EQ(expected_, RunInEmptyFolder()) << "with nothing failing";
      if (!fired || HasFailure()) return faults;
      ++faults;
    }
  }

  TempDir dir_;
  const std::string folder_ = dir_.file("work");
  std::string expected_;

 private:
  int kept_ = -1, stdout_ = -1;
};

std::string NameOf(const testing::TestParamInfo<Scenario> &test) {
  return test.param.name;
}

class OutOfMemory : public Torture {};

TEST_P(OutOfMemory, IsSurvivedAtEachAllocation) {
  expected_ = RunInEmptyFolder();
  ASSERT_EQ(expected_, RunInEmptyFolder());
  for (const Reach reach : {Reach::kOnce, Reach::kFromThen}) {
    EXPECT_GT(FailEach(Call::kMemory, ENOMEM, reach), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Scenario, OutOfMemory, testing::ValuesIn(MemoryScenarios()), NameOf);

class SystemCallFails : public Torture {};

TEST_P(SystemCallFails, IsSurvivedAtEachCall) {
  const struct {
    Call call;
    std::vector<int> errors;
  } rows[] = {
      {Call::kFopen, {EMFILE, EACCES, EROFS, EIO}},
      {Call::kFdopen, {ENOMEM}},
      {Call::kFclose, {EIO, ENOSPC}},
      {Call::kFread, {EIO, 0}},
      {Call::kFwrite, {ENOSPC, EIO, 0}},
      {Call::kFflush, {ENOSPC, EIO}},
      {Call::kFseek, {EIO, EINVAL}},
      {Call::kFtell, {EIO}},
      {Call::kOpen, {EMFILE, EACCES, EINTR}},
      {Call::kClose, {EIO, EINTR}},
      {Call::kRead, {EIO, EINTR, 0}},
      {Call::kWrite, {EIO, EINTR, ENOSPC, 0}},
      {Call::kPwrite, {EIO, ENOSPC, 0}},
      {Call::kLseek, {EIO}},
      {Call::kFtruncate, {EIO, ENOSPC}},
      {Call::kRename, {EXDEV, EACCES, ENOSPC}},
      {Call::kRemove, {EACCES}},
      {Call::kUnlink, {EACCES}},
      {Call::kMkstemp, {EACCES, ENOSPC, EMFILE}},
      {Call::kMkdir, {EACCES, ENOSPC, EROFS}},
      {Call::kStat, {EACCES, ENOENT}},
      {Call::kPoll, {EINTR, ENOMEM}},
      {Call::kMmap, {ENOMEM, EACCES}},
      {Call::kShmOpen, {EMFILE, EACCES}},
      {Call::kSemOpen, {EMFILE, EACCES}},
      {Call::kSemInit, {ENOSPC}},
      {Call::kDlopen, {ENOENT}},
      {Call::kClockGettime, {EINVAL}},
      {Call::kTimerfdCreate, {EMFILE}},
  };
  expected_ = RunInEmptyFolder();
  ASSERT_EQ(expected_, RunInEmptyFolder());
  long faults = 0;
  for (const auto &row : rows) {
    for (const int error : row.errors) {
      for (const Reach reach : {Reach::kOnce, Reach::kFromThen}) {
        SCOPED_TRACE("kind " + std::to_string(static_cast<int>(row.call)));
        faults += FailEach(row.call, error, reach);
        ASSERT_FALSE(HasFailure());
      }
    }
  }
  EXPECT_GT(faults, 0);
}

INSTANTIATE_TEST_SUITE_P(Scenario, SystemCallFails, testing::ValuesIn(SystemScenarios()), NameOf);

}  // namespace
}  // namespace cu_test
