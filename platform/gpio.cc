#include "include/ae-gpio.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "internal/log_pair.hpp"
#include "internal/owned.hpp"

namespace {

constexpr char kLogModule[] = "ae-gpio";

/// The path of one of a line's files.
class LinePath {
 public:
  LinePath(int line, const char *attribute) {
    snprintf(text_, sizeof text_, "/sys/class/gpio/gpio%d/%s", line, attribute);
  }
  const char *c_str() const { return text_; }

 private:
  char text_[64];
};

cu::UniqueFd Open(const char *path, int flags) {
  return cu::UniqueFd(open(path, flags | O_CLOEXEC));
}

/// What is logged, each text a line of its own; an empty one: nothing.
struct WriteMessages {
  char done[24];
  char failed[32];
  char unopened[24];
};

// Log readers know these texts: one lacks a blank, and a missing unexport file is told as "export".
constexpr WriteMessages kExport = {"gpio/export success", "gpio/export write failed",
                                   "gpio/exportfailed"};
constexpr WriteMessages kUnexport = {"", "gpio/unexport write failed", "gpio/export fail"};
constexpr WriteMessages kSetDirection = {"gpio/set dir success", "gpio/set dir write failed",
                                         "gpio/set dir fail"};
constexpr WriteMessages kSetValue = {"", "gpio/set-value write failed", "gpio/set-value"};
constexpr WriteMessages kSetEdge = {"", "gpio/set-edge write failed", "gpio/set-edge"};

/// Opens a file, writes once, closes it. `enough` is the least count that the kernel has to take.
int WriteFile(const char *path, const char *data, size_t size, ssize_t enough,
              const WriteMessages &messages) {
  const cu::UniqueFd file = Open(path, O_WRONLY);
  const bool done = file && write(file.get(), data, size) >= enough;
  const char *const message = done ? messages.done : file ? messages.failed : messages.unopened;
  if (*message != '\0') CU_LOG(DBGLOG_DEBUG, "%s\n", message);
  return done ? 0 : -1;
}

/// Writes a line's number, without a terminator, to one of the two files that take numbers.
int WriteLineNumber(const char *path, int line, const WriteMessages &messages) {
  char text[64];
  const int size = snprintf(text, sizeof text, "%d", line);
  return WriteFile(path, text, static_cast<size_t>(size), size, messages);
}

constexpr ssize_t kAnyCount = 0;

}  // namespace

int gpio_export(int line) {
  return WriteLineNumber("/sys/class/gpio/export", line, kExport);
}

int gpio_unexport(int line) {
  return WriteLineNumber("/sys/class/gpio/unexport", line, kUnexport);
}

// The attribute files get their values with the terminator.

int gpio_set_dir(int line, uint32_t output) {
  const char *const direction = output != 0 ? "out" : "in";
  return WriteFile(LinePath(line, "direction").c_str(), direction, strlen(direction) + 1, kAnyCount,
                   kSetDirection);
}

int gpio_set_value(int line, uint32_t value) {
  return WriteFile(LinePath(line, "value").c_str(), value != 0 ? "1" : "0", 2, 2, kSetValue);
}

int gpio_set_edge(int line, const char *edge) {
  if (edge == nullptr) return -1;
  return WriteFile(LinePath(line, "edge").c_str(), edge, strlen(edge) + 1, kAnyCount, kSetEdge);
}

int gpio_get_value(int line, uint32_t *value) {
  if (value == nullptr) return -1;

  const cu::UniqueFd file = Open(LinePath(line, "value").c_str(), O_RDONLY);
  if (!file) {
    CU_LOG(DBGLOG_DEBUG, "gpio/get-value\n");
    return -1;
  }
  char level = '0';
  if (read(file.get(), &level, 1) != 1) {
    CU_LOG(DBGLOG_DEBUG, "gpio/get-value read failed\n");
    return -1;
  }
  *value = level != '0';
  return 0;
}

int gpio_fd_open(int line) {
  cu::UniqueFd file = Open(LinePath(line, "value").c_str(), O_RDONLY | O_NONBLOCK);
  if (!file) CU_LOG(DBGLOG_DEBUG, "GPIO fd_open error\n");
  return file.release();
}

int gpio_fd_close(int fd, uint32_t *fired) {
  if (fired != nullptr) *fired = 0;
  return close(fd);
}

int gpio_intr_init(int line, uint32_t *fired, const char *edge) {
  if (fired == nullptr || edge == nullptr) return -1;

  // A line may be exported and set up already: only opening its file tells whether it is usable.
  gpio_export(line);
  gpio_set_dir(line, 0);
  gpio_set_edge(line, edge);
  const int fd = gpio_fd_open(line);
  *fired = 0;
  return fd;
}

int gpio_intr_check(int fd, uint32_t *fired) {
  if (fired == nullptr) return -1;
  *fired = 0;

  pollfd interrupt = {fd, POLLPRI, 0};
  const int ready = poll(&interrupt, 1, 0);
  if (ready < 0) {
    CU_LOG(DBGLOG_DEBUG, "%s: Failed[rc=%d]:  Interrupt polling failed\n", "gpio_intr_check",
           ready);
    return -1;
  }
  if ((interrupt.revents & POLLPRI) == 0) return 0;

  char value[63];
  lseek(fd, 0, SEEK_SET);
  if (read(fd, value, sizeof value) < 0) {  // re-arms the kernel's notification
    CU_LOG(DBGLOG_DEBUG, "%s: Failed to read GPIO interrupt\n", "gpio_intr_check");
    return -1;
  }
  *fired = 1;
  return 1;
}
