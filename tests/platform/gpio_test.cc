// GPIO lines on a tree of files that stands over /sys in a mount namespace of this program's own.
#include "include/ae-gpio.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/faults.hpp"
#include "support/files.hpp"
#include "support/logger.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;
using cu_test::OpenDescriptors;
using cu_test::ReadFile;
using cu_test::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kRoot[] = "/sys/class/gpio/";

/// Takes this process to a mount namespace of its own: as root, or else as the root of a user
/// namespace.
bool EnterNamespace() {
  if (unshare(CLONE_NEWNS) == 0) return true;
  const std::string user = std::to_string(getuid()), group = std::to_string(getgid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  WriteFile("/proc/self/setgroups", "deny");
  WriteFile("/proc/self/uid_map", "0 " + user + " 1");
  WriteFile("/proc/self/gid_map", "0 " + group + " 1");
  return true;
}

/// Puts an empty file system over /sys, for this process alone. Why that cannot be, or null.
const char *EnterTreeOfOurOwn() {
  if (!EnterNamespace()) return "this kernel gives us no mount namespace";
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", "/sys", "tmpfs", 0, nullptr) != 0) {
    return "mounting is refused here";
  }
  return nullptr;
}

class Gpio : public testing::Test {
 protected:
  static void SetUpTestSuite() { refusal_ = EnterTreeOfOurOwn(); }

  void SetUp() override {
    if (refusal_ != nullptr) GTEST_SKIP() << refusal_;
    std::filesystem::remove_all("/sys/class");
    std::filesystem::create_directories(std::string(kRoot) + "gpio17");
    descriptors_ = OpenDescriptors();
  }

  void TearDown() override {
    if (refusal_ != nullptr) return;
    EXPECT_EQ(descriptors_, OpenDescriptors()) << "a descriptor leaks";
  }

  static void Put(const std::string &file, const std::string &content) {
    WriteFile(kRoot + file, content);
  }
  static std::string Get(const std::string &file) { return ReadFile(kRoot + file); }
  static void Link(const std::string &file, const std::string &target) {
    std::filesystem::create_symlink(target, kRoot + file);
  }

  /// What an action logs.
  template <typename Action>
  static std::vector<std::string> Logged(Action action) {
    cu_test::Logger logger;
    action();
    return logger.lines();
  }

 private:
  static const char *refusal_;
  long descriptors_ = 0;
};

const char *Gpio::refusal_ = nullptr;

// Files hold more than is written, so that what a call leaves of them shows: nothing is truncated.
const std::string kOld = "----------------";
const std::string kNul(1, '\0');

// ---- export and unexport ------------------------------------------------------------------------

TEST_F(Gpio, ExportWritesTheNumberWithoutATerminator) {
  Put("export", kOld);
  EXPECT_THAT(Logged([] { EXPECT_EQ(0, gpio_export(17)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/export success"));
  EXPECT_EQ("17" + kOld.substr(2), Get("export"));
}

TEST_F(Gpio, ExportWritesAnyInt) {
  for (const int line : {0, 511, INT_MAX, -1, INT_MIN}) {
    Put("export", "");
    EXPECT_EQ(0, gpio_export(line));
    EXPECT_EQ(std::to_string(line), Get("export"));
  }
}

TEST_F(Gpio, ExportOfALineThatTheKernelRefusesFails) {
  Put("export", "");
  EXPECT_THAT(Logged([] {
                Fault busy(Call::kWrite, 1, EBUSY);
                EXPECT_EQ(-1, gpio_export(17));
              }),
              ElementsAre("DEBUG [ae-gpio]gpio/export write failed"));
}

TEST_F(Gpio, ExportOntoAFullDeviceFails) {
  Link("export", "/dev/full");
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_export(17)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/export write failed"));
}

TEST_F(Gpio, ExportThatIsWrittenInPartFails) {
  Put("export", "");
  EXPECT_THAT(Logged([] {
                Fault part(Call::kWrite, 1, 0);
                EXPECT_EQ(-1, gpio_export(17));
              }),
              ElementsAre("DEBUG [ae-gpio]gpio/export write failed"));
}

TEST_F(Gpio, ExportWithoutItsFileFailsAndCreatesNone) {
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_export(17)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/exportfailed"));
  EXPECT_FALSE(std::filesystem::exists(std::string(kRoot) + "export"));
}

TEST_F(Gpio, UnexportWritesTheNumberAndLogsNothing) {
  Put("unexport", kOld);
  EXPECT_THAT(Logged([] { EXPECT_EQ(0, gpio_unexport(17)); }), IsEmpty());
  EXPECT_EQ("17" + kOld.substr(2), Get("unexport"));
}

TEST_F(Gpio, UnexportThatIsWrittenInPartFails) {
  Put("unexport", "");
  EXPECT_THAT(Logged([] {
                Fault part(Call::kWrite, 1, 0);
                EXPECT_EQ(-1, gpio_unexport(17));
              }),
              ElementsAre("DEBUG [ae-gpio]gpio/unexport write failed"));
}

TEST_F(Gpio, UnexportWithoutItsFileSaysExport) {
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_unexport(17)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/export fail"));
}

// ---- direction ----------------------------------------------------------------------------------

TEST_F(Gpio, SetDirWritesOutWithItsTerminator) {
  for (const uint32_t output : {1U, 7U, 0xFFFFFFFFU}) {
    Put("gpio17/direction", kOld);
    EXPECT_THAT(Logged([output] { EXPECT_EQ(0, gpio_set_dir(17, output)); }),
                ElementsAre("DEBUG [ae-gpio]gpio/set dir success"));
    EXPECT_EQ("out" + kNul + kOld.substr(4), Get("gpio17/direction"));
  }
}

TEST_F(Gpio, SetDirWritesInWithItsTerminator) {
  Put("gpio17/direction", kOld);
  EXPECT_THAT(Logged([] { EXPECT_EQ(0, gpio_set_dir(17, 0)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/set dir success"));
  EXPECT_EQ("in" + kNul + kOld.substr(3), Get("gpio17/direction"));
}

TEST_F(Gpio, SetDirTakesAPartialWriteForSuccess) {
  Put("gpio17/direction", "");
  EXPECT_THAT(Logged([] {
                Fault part(Call::kWrite, 1, 0);
                EXPECT_EQ(0, gpio_set_dir(17, 1));
              }),
              ElementsAre("DEBUG [ae-gpio]gpio/set dir success"));
}

TEST_F(Gpio, SetDirThatCannotWriteFails) {
  Link("gpio17/direction", "/dev/full");
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_set_dir(17, 1)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/set dir write failed"));
}

TEST_F(Gpio, SetDirOfALineThatIsNotExportedFails) {
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_set_dir(18, 1)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/set dir fail"));
}

// ---- value --------------------------------------------------------------------------------------

TEST_F(Gpio, SetValueWritesOneForAnyNonZeroValue) {
  for (const uint32_t value : {1U, 7U, 0x80000000U}) {
    Put("gpio17/value", kOld);
    EXPECT_THAT(Logged([value] { EXPECT_EQ(0, gpio_set_value(17, value)); }), IsEmpty());
    EXPECT_EQ("1" + kNul + kOld.substr(2), Get("gpio17/value"));
  }
}

TEST_F(Gpio, SetValueWritesZero) {
  Put("gpio17/value", kOld);
  EXPECT_EQ(0, gpio_set_value(17, 0));
  EXPECT_EQ("0" + kNul + kOld.substr(2), Get("gpio17/value"));
}

TEST_F(Gpio, SetValueThatIsWrittenInPartFails) {
  Put("gpio17/value", "");
  EXPECT_THAT(Logged([] {
                Fault part(Call::kWrite, 1, 0);
                EXPECT_EQ(-1, gpio_set_value(17, 1));
              }),
              ElementsAre("DEBUG [ae-gpio]gpio/set-value write failed"));
}

TEST_F(Gpio, SetValueThatCannotWriteFails) {
  Link("gpio17/value", "/dev/full");
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_set_value(17, 1)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/set-value write failed"));
}

TEST_F(Gpio, SetValueOfALineThatIsNotExportedFails) {
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_set_value(18, 1)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/set-value"));
}

TEST_F(Gpio, GetValueReadsTheFirstByteAlone) {
  const struct {
    std::string content;
    uint32_t value;
  } rows[] = {{"1\n", 1}, {"0\n", 0}, {" ", 1}, {"01", 0}, {"10", 1}, {"x", 1}, {kNul, 1}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.content);
    Put("gpio17/value", row.content);
    uint32_t value = 99;
    EXPECT_EQ(0, gpio_get_value(17, &value));
    EXPECT_EQ(row.value, value);
    EXPECT_EQ(row.content, Get("gpio17/value"));
  }
}

TEST_F(Gpio, GetValueLogsNothingOnSuccess) {
  Put("gpio17/value", "1\n");
  uint32_t value = 0;
  EXPECT_THAT(Logged([&] { gpio_get_value(17, &value); }), IsEmpty());
}

TEST_F(Gpio, GetValueWithoutAResultTouchesNoFile) {
  Put("gpio17/value", "1\n");
  Fault count(Call::kOpen, 0);
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_get_value(17, nullptr)); }), IsEmpty());
  EXPECT_EQ(0, count.calls());
}

TEST_F(Gpio, GetValueOfAnEmptyFileFailsAndLeavesTheResult) {
  Put("gpio17/value", "");
  uint32_t value = 99;
  EXPECT_THAT(Logged([&] { EXPECT_EQ(-1, gpio_get_value(17, &value)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/get-value read failed"));
  EXPECT_EQ(99U, value);
}

TEST_F(Gpio, GetValueOfADirectoryFails) {
  std::filesystem::create_directory(std::string(kRoot) + "gpio17/value");
  uint32_t value = 99;
  EXPECT_THAT(Logged([&] { EXPECT_EQ(-1, gpio_get_value(17, &value)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/get-value read failed"));
}

TEST_F(Gpio, GetValueOfALineThatIsNotExportedFails) {
  uint32_t value = 99;
  EXPECT_THAT(Logged([&] { EXPECT_EQ(-1, gpio_get_value(18, &value)); }),
              ElementsAre("DEBUG [ae-gpio]gpio/get-value"));
  EXPECT_EQ(99U, value);
}

// ---- edge ---------------------------------------------------------------------------------------

TEST_F(Gpio, SetEdgeWritesTheTextWithItsTerminatorAndLogsNothing) {
  for (const std::string edge : {"none", "rising", "falling", "both", ""}) {
    Put("gpio17/edge", kOld);
    EXPECT_THAT(Logged([&] { EXPECT_EQ(0, gpio_set_edge(17, edge.c_str())); }), IsEmpty());
    EXPECT_EQ(edge + kNul + kOld.substr(edge.size() + 1), Get("gpio17/edge"));
  }
}

TEST_F(Gpio, SetEdgeTakesAPartialWriteForSuccess) {
  Put("gpio17/edge", "");
  Fault part(Call::kWrite, 1, 0);
  EXPECT_EQ(0, gpio_set_edge(17, "both"));
}

TEST_F(Gpio, SetEdgeThatCannotWriteFails) {
  Link("gpio17/edge", "/dev/full");
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_set_edge(17, "both")); }),
              ElementsAre("DEBUG [ae-gpio]gpio/set-edge write failed"));
}

TEST_F(Gpio, SetEdgeOfALineThatIsNotExportedFails) {
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_set_edge(18, "both")); }),
              ElementsAre("DEBUG [ae-gpio]gpio/set-edge"));
}

TEST_F(Gpio, SetEdgeWithoutATextFails) {
  EXPECT_EQ(-1, gpio_set_edge(17, nullptr));
}

// ---- the value file's descriptor ----------------------------------------------------------------

TEST_F(Gpio, FdOpenGivesANonBlockingDescriptorThatAChildProgramDoesNotInherit) {
  Put("gpio17/value", "1\n");
  const int fd = gpio_fd_open(17);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(O_RDONLY | O_NONBLOCK, fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK));
  EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD));
  EXPECT_EQ(0, gpio_fd_close(fd, nullptr));
}

TEST_F(Gpio, FdOpenOfALineThatIsNotExportedFails) {
  EXPECT_THAT(Logged([] { EXPECT_EQ(-1, gpio_fd_open(18)); }),
              ElementsAre("DEBUG [ae-gpio]GPIO fd_open error"));
}

TEST_F(Gpio, FdCloseClearsTheFlagAndCloses) {
  Put("gpio17/value", "1\n");
  uint32_t fired = 1;
  const int fd = gpio_fd_open(17);
  EXPECT_EQ(0, gpio_fd_close(fd, &fired));
  EXPECT_EQ(0U, fired);
  EXPECT_EQ(-1, fcntl(fd, F_GETFD));
}

TEST_F(Gpio, FdCloseOfABadDescriptorClearsTheFlagAndFails) {
  uint32_t fired = 1;
  EXPECT_EQ(-1, gpio_fd_close(-1, &fired));
  EXPECT_EQ(0U, fired);
}

// ---- interrupts ---------------------------------------------------------------------------------

TEST_F(Gpio, IntrInitSetsTheLineUpAndGivesItsDescriptor) {
  Put("export", "");
  Put("gpio17/direction", "");
  Put("gpio17/edge", "");
  Put("gpio17/value", "1\n");
  uint32_t fired = 1;
  int fd = -1;
  EXPECT_THAT(
      Logged([&] { fd = gpio_intr_init(17, &fired, "falling"); }),
      ElementsAre("DEBUG [ae-gpio]gpio/export success", "DEBUG [ae-gpio]gpio/set dir success"));
  ASSERT_GE(fd, 0);
  EXPECT_EQ(0U, fired);
  EXPECT_EQ("17", Get("export"));
  EXPECT_EQ("in" + kNul, Get("gpio17/direction"));
  EXPECT_EQ("falling" + kNul, Get("gpio17/edge"));
  EXPECT_EQ(0, gpio_fd_close(fd, &fired));
}

TEST_F(Gpio, IntrInitIgnoresWhatTheFirstThreeStepsGive) {
  Put("gpio17/value", "1\n");
  uint32_t fired = 1;
  int fd = -1;
  EXPECT_THAT(Logged([&] { fd = gpio_intr_init(17, &fired, "both"); }),
              ElementsAre("DEBUG [ae-gpio]gpio/exportfailed", "DEBUG [ae-gpio]gpio/set dir fail",
                          "DEBUG [ae-gpio]gpio/set-edge"));
  ASSERT_GE(fd, 0);
  EXPECT_EQ(0U, fired);
  gpio_fd_close(fd, &fired);
}

TEST_F(Gpio, IntrInitWithoutAValueFileFailsAndClearsTheFlag) {
  Put("export", "");
  uint32_t fired = 1;
  EXPECT_THAT(Logged([&] { EXPECT_EQ(-1, gpio_intr_init(18, &fired, "both")); }),
              ElementsAre("DEBUG [ae-gpio]gpio/export success", "DEBUG [ae-gpio]gpio/set dir fail",
                          "DEBUG [ae-gpio]gpio/set-edge", "DEBUG [ae-gpio]GPIO fd_open error"));
  EXPECT_EQ(0U, fired);
}

TEST_F(Gpio, IntrInitWithoutAnArgumentTouchesNoFile) {
  Put("export", kOld);
  uint32_t fired = 1;
  EXPECT_EQ(-1, gpio_intr_init(17, nullptr, "both"));
  EXPECT_EQ(-1, gpio_intr_init(17, &fired, nullptr));
  EXPECT_EQ(kOld, Get("export"));
}

/// A line whose value file tells a mount as the kernel's tells an edge: poll() gives POLLPRI and
/// POLLERR until the change has been seen.
class Interrupt : public Gpio {
 protected:
  void SetUp() override {
    Gpio::SetUp();
    if (IsSkipped()) return;
    Link("gpio17/value", "/proc/self/mounts");
    fd_ = gpio_intr_init(17, &fired_, "both");
    ASSERT_GE(fd_, 0);
    fired_ = 99;
  }

  void TearDown() override {
    if (fd_ >= 0) gpio_fd_close(fd_, &fired_);
    if (mounted_) umount("/sys/class");
    Gpio::TearDown();
  }

  void Trigger() {
    mounted_ = mount("none", "/sys/class", "tmpfs", 0, nullptr) == 0;
    ASSERT_TRUE(mounted_);
  }

  int fd_ = -1;
  uint32_t fired_ = 99;

 private:
  bool mounted_ = false;
};

TEST_F(Interrupt, CheckWithNothingPendingGivesZeroAtOnce) {
  EXPECT_THAT(Logged([this] { EXPECT_EQ(0, gpio_intr_check(fd_, &fired_)); }), IsEmpty());
  EXPECT_EQ(0U, fired_);
}

TEST_F(Interrupt, CheckTellsAnInterruptOnce) {
  Trigger();
  EXPECT_THAT(Logged([this] { EXPECT_EQ(1, gpio_intr_check(fd_, &fired_)); }), IsEmpty());
  EXPECT_EQ(1U, fired_);
  EXPECT_EQ(0, gpio_intr_check(fd_, &fired_));
  EXPECT_EQ(0U, fired_);
}

TEST_F(Interrupt, CheckReadsAtMost63BytesFromTheStart) {
  Trigger();
  ASSERT_EQ(5, lseek(fd_, 5, SEEK_SET));
  EXPECT_EQ(1, gpio_intr_check(fd_, &fired_));
  EXPECT_EQ(63, lseek(fd_, 0, SEEK_CUR));
}

TEST_F(Interrupt, CheckIgnoresAFailedSeek) {
  Trigger();
  Fault seek(Call::kLseek, 1, ESPIPE);
  EXPECT_EQ(1, gpio_intr_check(fd_, &fired_));
  EXPECT_TRUE(seek.fired());
  EXPECT_EQ(1U, fired_);
}

TEST_F(Interrupt, CheckThatCannotReadFails) {
  Trigger();
  EXPECT_THAT(Logged([this] {
                Fault unreadable(Call::kRead, 1, EIO);
                EXPECT_EQ(-1, gpio_intr_check(fd_, &fired_));
              }),
              ElementsAre("DEBUG [ae-gpio]gpio_intr_check: Failed to read GPIO interrupt"));
  EXPECT_EQ(0U, fired_);
}

TEST_F(Interrupt, CheckThatCannotPollFails) {
  Trigger();
  EXPECT_THAT(
      Logged([this] {
        Fault unpollable(Call::kPoll, 1, EINTR);
        EXPECT_EQ(-1, gpio_intr_check(fd_, &fired_));
      }),
      ElementsAre("DEBUG [ae-gpio]gpio_intr_check: Failed[rc=-1]:  Interrupt polling failed"));
  EXPECT_EQ(0U, fired_);
}

TEST_F(Interrupt, CheckWithoutAFlagFails) {
  EXPECT_EQ(-1, gpio_intr_check(fd_, nullptr));
}

/// What a check gives for a descriptor; its flag has to be clear.
int Check(int fd) {
  uint32_t fired = 99;
  const int result = gpio_intr_check(fd, &fired);
  EXPECT_EQ(0U, fired);
  return result;
}

TEST_F(Gpio, IntrCheckOfADescriptorThatIsNotOpenGivesZero) {
  EXPECT_EQ(0, Check(-1));
  EXPECT_EQ(0, Check(INT_MIN));
  EXPECT_EQ(0, Check(1000000));
}

TEST_F(Gpio, IntrCheckTakesAnErrorOrAHangUpAloneForNothing) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  close(ends[0]);
  EXPECT_EQ(0, Check(ends[1]));  // POLLERR
  close(ends[1]);
  ASSERT_EQ(0, pipe(ends));
  close(ends[1]);
  EXPECT_EQ(0, Check(ends[0]));  // POLLHUP
  close(ends[0]);
}

TEST_F(Gpio, IntrCheckOfReadableDataGivesZero) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  ASSERT_EQ(1, write(ends[1], "x", 1));
  EXPECT_EQ(0, Check(ends[0]));
  close(ends[0]);
  close(ends[1]);
}

// ---- failures and descriptors -------------------------------------------------------------------

TEST_F(Gpio, NoFailureLeaksADescriptor) {
  for (const char *const file : {"export", "unexport"}) Put(file, "");
  for (const char *const file : {"direction", "value", "edge"})
    Put(std::string("gpio17/") + file, "");
  const long before = OpenDescriptors();
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kRead, Call::kClose}) {
    for (long k = 1;; ++k) {
      Fault fault(call, k, EIO);
      uint32_t value = 0;
      gpio_export(17);
      gpio_unexport(17);
      gpio_set_dir(17, 1);
      gpio_set_value(17, 1);
      gpio_set_edge(17, "both");
      gpio_get_value(17, &value);
      const int fd = gpio_intr_init(17, &value, "both");
      if (fd >= 0) gpio_fd_close(fd, &value);
      EXPECT_EQ(before, OpenDescriptors());
      if (!fault.fired()) break;
    }
  }
}

}  // namespace
