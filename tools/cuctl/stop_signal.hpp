// How the commands that go on until they are told to stop are told.
#ifndef CUCTL_STOP_SIGNAL_HPP
#define CUCTL_STOP_SIGNAL_HPP

#include <csignal>

namespace cuctl {

/// From its construction on, SIGINT and SIGTERM interrupt system calls and ask the command to end.
class StopSignal {
 public:
  StopSignal() {
    struct sigaction action {};
    action.sa_handler = [](int) { received_ = 1; };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
  }
  bool Received() const { return received_ != 0; }

 private:
  static inline volatile std::sig_atomic_t received_ = 0;
};

}  // namespace cuctl

#endif
