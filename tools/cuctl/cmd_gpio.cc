// cuctl gpio get|set|watch N: GPIO lines through sysfs.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "include/ae-gpio.h"
#include "tools/cuctl/options.hpp"
#include "tools/cuctl/output.hpp"
#include "tools/cuctl/stop_signal.hpp"

namespace cuctl {
namespace {

void MustHaveSysfs() {
  if (access("/sys/class/gpio", F_OK) == 0) return;
  throw Failure{kSystem,
                "no /sys/class/gpio: the kernel lacks CONFIG_GPIO_SYSFS (deprecated since Linux "
                "4.8); use gpiod's gpioget, gpioset and gpiomon"};
}

std::string Direction(int line) {
  std::ifstream file(fmt::format("/sys/class/gpio/gpio{}/direction", line));
  std::string direction;
  file >> direction;
  return direction.empty() ? "?" : direction;
}

void Print(int line, uint32_t value, const Options &options) {
  if (options.json)
    PrintJson({{"line", line}, {"direction", Direction(line)}, {"value", value}});
  else
    fmt::print("gpio{} {} value {}\n", line, Direction(line), value);
}

/// Exports a line that is not exported yet.
void Export(int line) {
  if (access(fmt::format("/sys/class/gpio/gpio{}", line).c_str(), F_OK) == 0) return;
  if (gpio_export(line) != 0)
    throw Failure{kSystem, fmt::format("gpio{} cannot be exported: no such line, or in use", line)};
}

int Get(int line, const Options &options) {
  MustHaveSysfs();
  Export(line);
  uint32_t value = 0;
  if (gpio_get_value(line, &value) != 0)
    throw Failure{kSystem, fmt::format("gpio{} cannot be read", line)};
  Print(line, value, options);
  return kYes;
}

int Set(int line, uint32_t value, const Options &options) {
  MustHaveSysfs();
  Export(line);
  if (gpio_set_dir(line, 1) != 0 || gpio_set_value(line, value) != 0)
    throw Failure{kSystem, fmt::format("gpio{} cannot be set", line)};
  Print(line, value != 0, options);
  return kYes;
}

int Watch(int line, const Options &options) {
  MustHaveSysfs();
  uint32_t fired = 0;
  const int fd = gpio_intr_init(line, &fired, "both");
  if (fd < 0) throw Failure{kSystem, fmt::format("gpio{} cannot be watched", line)};
  const StopSignal stop;
  while (!stop.Received()) {
    pollfd waiting{fd, POLLPRI, 0};
    if (poll(&waiting, 1, 1000) <= 0) continue;
    if (gpio_intr_check(fd, &fired) == 1) Get(line, options);
    std::fflush(stdout);
  }
  gpio_fd_close(fd, &fired);
  return kYes;
}

}  // namespace

void AddGpioCommands(CLI::App &app, Options &options) {
  CLI::App *const gpio = app.add_subcommand("gpio", "GPIO lines through sysfs");
  gpio->require_subcommand(1);
  const auto add = [&](const char *name, const char *help) {
    CLI::App *const command = gpio->add_subcommand(name, help);
    auto line = std::make_shared<int>(0);
    command->add_option("N", *line, "The kernel's line number")->required()->check(NotNegative());
    return std::pair(command, line);
  };
  const auto [get, get_line] = add("get", "Read a line");
  get->callback([line = get_line, &options] { options.exit_code = Get(*line, options); });
  const auto [set, set_line] = add("set", "Make a line an output and drive it");
  auto value = std::make_shared<uint32_t>(0);
  set->add_option("VALUE", *value, "0 or 1")->required()->check(CLI::Range(0, 1));
  set->callback(
      [line = set_line, value, &options] { options.exit_code = Set(*line, *value, options); });
  const auto [watch, watch_line] = add("watch", "Show each change");
  watch->callback([line = watch_line, &options] { options.exit_code = Watch(*line, options); });
}

}  // namespace cuctl
