// What every command of cuctl shares: exit codes, global options, and the way to add a command.
//
// A command lives in a file of its own, cmd_<name>.cc, and is added by one function:
//
//   void AddCrcCommands(CLI::App &app, Options &options) {
//     CLI::App *const crc32 = app.add_subcommand("crc32", "CRC-32 of a file");
//     auto *const path = ...;
//     crc32->callback([=, &options] { options.exit_code = Crc32(*path, options); });
//   }
#ifndef CUCTL_CUCTL_HPP
#define CUCTL_CUCTL_HPP

#include <string>

namespace CLI {
class App;
}

namespace cuctl {

/// Exit codes; scripts rely on them.
enum ExitCode {
  kYes = 0,      // done, found, passed
  kNo = 1,       // not found, a check failed
  kUsage = 2,    // the command line
  kSystem = 3,   // input or system error: a file that cannot be read, no such segment
  kDamaged = 4,  // the file is not what it should be
};

/// The options of every command, and its result.
struct Options {
  bool json = false;  // one JSON object a line instead of text
  bool utc = false;   // times in UTC instead of local time
  bool raw = false;   // control bytes as they are
  int exit_code = kYes;
};

void AddActionCommands(CLI::App &app, Options &options);
void AddConfCommands(CLI::App &app, Options &options);
void AddCrcCommands(CLI::App &app, Options &options);
void AddGpioCommands(CLI::App &app, Options &options);
void AddJsonCommands(CLI::App &app, Options &options);
void AddLogCommands(CLI::App &app, Options &options);
void AddMsgqCommands(CLI::App &app, Options &options);
void AddRpnCommands(CLI::App &app, Options &options);
void AddShmCommands(CLI::App &app, Options &options);
void AddStoreCommands(CLI::App &app, Options &options);
void AddTopoCommands(CLI::App &app, Options &options);

/// Runs one command line; the exit code.
int Run(int argc, const char *const *argv);

/// A failure that ends a command: what main() prints after "cuctl: ", and the exit code.
struct Failure {
  int exit_code;
  std::string message;
};

}  // namespace cuctl

#endif
