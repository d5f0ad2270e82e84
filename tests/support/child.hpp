// Runs a piece of a test in a child process of its own: for what ends a process, blocks it, or
// changes it as a whole. What the child writes and how it ends can be looked at.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_CHILD_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_CHILD_HPP

#include <signal.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>

namespace cu_test {

class Child {
 public:
  /// Starts a child that runs `body`, a callable, and ends with the int that it returns. Its
  /// standard output and standard error are unbuffered and kept.
  template <typename Body>
  explicit Child(Body body) {
    fflush(nullptr);
    pid_ = fork();
    if (pid_ != 0) return;
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    dup2(out_, STDOUT_FILENO);
    dup2(err_, STDERR_FILENO);
    setvbuf(stdout, nullptr, _IONBF, 0);
    _exit(body());
  }

  ~Child() {
    if (!ended_) {
      Kill(SIGKILL);
      Wait();
    }
    close(out_);
    close(err_);
  }

  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  pid_t pid() const { return pid_; }
  void Kill(int signal) const { kill(pid_, signal); }

  /// Waits for the child's end; one that lasts four minutes is killed.
  Child &Wait() {
    for (int ms = 0; !HasEnded(); ++ms) {
      if (ms == 240000) Kill(SIGKILL);
      Pause();
    }
    return *this;
  }

  /// Whether the child has ended by now.
  bool HasEnded() {
    if (!ended_ && waitpid(pid_, &status_, WNOHANG) == pid_) ended_ = true;
    return ended_;
  }

  /// Waits, for at most a minute, until the child has printed a text on standard output.
  bool WaitForOutput(const std::string &text) {
    for (int ms = 0; ms < 60000; ++ms) {
      if (out().find(text) != std::string::npos) return true;
      if (HasEnded()) return out().find(text) != std::string::npos;
      Pause();
    }
    return false;
  }

  /// How the child ended: its exit status, or the negative number of the signal that killed it.
  int status() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_); }
  /// What it has written so far.
  std::string out() const { return Content(out_); }
  std::string err() const { return Content(err_); }

 private:
  static void Pause() {
    const timespec ms = {0, 1000000};
    nanosleep(&ms, nullptr);
  }

  static std::string Content(int file) {
    std::string text;
    char buffer[4096];
    for (off_t at = 0;;) {
      const ssize_t count = pread(file, buffer, sizeof buffer, at);
      if (count <= 0) return text;
      text.append(buffer, static_cast<size_t>(count));
      at += count;
    }
  }

  int out_ = memfd_create("out", MFD_CLOEXEC);
  int err_ = memfd_create("err", MFD_CLOEXEC);
  pid_t pid_ = -1;
  int status_ = 0;
  bool ended_ = false;
};

}  // namespace cu_test

#endif
