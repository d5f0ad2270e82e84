#include "tools/cuctl/hand_over.hpp"

#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "tools/cuctl/cuctl.hpp"

namespace cuctl {
namespace {

using std::chrono::seconds;

constexpr size_t kLinesAtOnce = 500;
constexpr size_t kFullBytes = 1U << 20;
constexpr seconds kLongestRetry{30};

/// A file in memory, read from its start: unlike a pipe it never fills up.
int FileOf(const std::deque<std::string> &lines, size_t count) {
  const int file = memfd_create("lines", MFD_CLOEXEC);
  if (file < 0) return -1;
  std::string text;
  for (size_t i = 0; i < count; ++i) text += lines[i];
  size_t written = 0;
  while (written < text.size()) {
    const ssize_t now = write(file, text.data() + written, text.size() - written);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) {
      close(file);
      return -1;
    }
    written += static_cast<size_t>(now);
  }
  lseek(file, 0, SEEK_SET);
  return file;
}

}  // namespace

HandOver::HandOver(std::string command, seconds every)
    : command_(std::move(command)), every_(every) {
  // A child that ends wakes the caller out of poll().
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGCHLD, &action, nullptr);
}

HandOver::~HandOver() {
  if (child_ <= 0) return;
  kill(-child_, SIGTERM);
  for (int i = 0; i < 20 && waitpid(child_, nullptr, WNOHANG) == 0; ++i) {
    if (i == 19) {
      kill(-child_, SIGKILL);
      waitpid(child_, nullptr, 0);
      break;
    }
    poll(nullptr, 0, 100);
  }
}

void HandOver::Add(std::string line) {
  bytes_ += line.size();
  ++added_;
  lines_.push_back(std::move(line));
}

bool HandOver::Full() const {
  return bytes_ >= kFullBytes;
}

void HandOver::Step() {
  if (child_ > 0) {
    int status = 0;
    if (waitpid(child_, &status, WNOHANG) != child_) return;
    child_ = -1;
    Ended(status);
  }
  if (!lines_.empty() && Clock::now() >= due_) Start();
}

void HandOver::Start() {
  offered_ = std::min(lines_.size(), kLinesAtOnce);
  const int input = FileOf(lines_, offered_);
  const pid_t child = input < 0 ? -1 : fork();
  if (child == 0) {
    setpgid(0, 0);
    dup2(input, STDIN_FILENO);
    for (const int number : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE}) signal(number, SIG_DFL);
    execl("/bin/sh", "sh", "-c", command_.c_str(), static_cast<char *>(nullptr));
    _exit(127);
  }
  const int error = errno;
  if (input >= 0) close(input);
  if (child < 0) {
    fmt::print(stderr, "cuctl: the command cannot be started: {}\n", strerror(error));
    due_ = Clock::now() + retry_;
    return;
  }
  // Both sides set it, so that it is set whoever comes first.
  setpgid(child, child);
  child_ = child;
}

void HandOver::Ended(int status) {
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    for (size_t i = 0; i < offered_; ++i) {
      bytes_ -= lines_.front().size();
      lines_.pop_front();
    }
    retry_ = seconds(1);
    // What did not fit into one go follows at once.
    due_ = Clock::now() + (lines_.size() >= kLinesAtOnce ? seconds(0) : every_);
    return;
  }
  fmt::print(stderr, "cuctl: the command {} {}; {} lines are kept and offered again in {} s\n",
             WIFEXITED(status) ? "ended with" : "was ended by signal",
             WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status), lines_.size(),
             retry_.count());
  due_ = Clock::now() + retry_;
  retry_ = std::min(retry_ * 2, kLongestRetry);
}

}  // namespace cuctl
