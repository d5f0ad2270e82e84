// Any bytes as what cuctl reads: the first byte selects the command line.
#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/scratch_file.hpp"
#include "tools/cuctl/cuctl.hpp"
#include "tools/cuctl/elf_symbols.hpp"
#include "tools/cuctl/input.hpp"

namespace {

using cuctl::Options;
using Add = void (*)(CLI::App &, Options &);

/// A command line that is parsed anew for each input. A command that ends in a failure throws.
class Command {
 public:
  Command(Add add, std::vector<std::string> words) : words_(std::move(words)) {
    app_.add_flag("--json", options_.json);
    app_.fallthrough();
    add(app_, options_);
  }

  int Run(const std::string &last = "") {
    std::vector<std::string> words(words_.rbegin(), words_.rend());  // as CLI11 wants them
    if (!last.empty()) words.insert(words.begin(), last);
    options_.exit_code = cuctl::kYes;
    try {
      app_.parse(words);
    } catch (const cuctl::Failure &failure) {
      return failure.exit_code;
    } catch (const CLI::ParseError &) {
      return cuctl::kUsage;
    }
    return options_.exit_code;
  }

 private:
  CLI::App app_;
  Options options_;
  std::vector<std::string> words_;
};

const std::string &Scratch() {
  static const std::string path = cu_fuzz::ScratchFolder() + "/input";
  return path;
}

using Row = std::vector<std::unique_ptr<Command>>;

constexpr size_t kStores = 1, kExpressions = 6;

/// The command lines, those of a kind of input in a row.
std::vector<Row> Commands() {
  const std::string in = Scratch(), out = cu_fuzz::ScratchFolder() + "/output";
  std::vector<Row> all;
  const auto row = [&](Add add, const std::vector<std::vector<std::string>> &lines) {
    all.emplace_back();
    for (const auto &words : lines) all.back().push_back(std::make_unique<Command>(add, words));
  };
  row(cuctl::AddLogCommands, {{"log", "cat", "-g", "a.*b|[0-9]+", in},
                              {"--json", "log", "cat", "-n", "3", "-p", "4", in},
                              {"log", "info", "--size", "100", in}});
  row(cuctl::AddStoreCommands, {{"store", "list", "--all", in},
                                {"--json", "store", "dump", in},
                                {"store", "get", "--hex", in, "0", "1"},
                                {"store", "verify", "-"}});
  row(cuctl::AddStoreCommands, {{"store", "load", out, in}});
  row(cuctl::AddMsgqCommands, {{"msgq", "dump", in}, {"--json", "msgq", "dump", in}});
  row(cuctl::AddConfCommands, {{"conf", "check", in},
                               {"--json", "conf", "list", in},
                               {"conf", "get", in, "net", "mtu"},
                               {"conf", "render", in, "<mtu> and <vlan>"}});
  row(cuctl::AddJsonCommands, {{"json", "check", in},
                               {"json", "tree", in},
                               {"--json", "json", "tree", in, "a/b"},
                               {"json", "get", in, "a/b"}});
  row(cuctl::AddRpnCommands, {{"rpn", "eval", "--trace", "--type", "3", "--"},
                              {"--json", "rpn", "eval", "--trace", "--"}});
  row(cuctl::AddTopoCommands, {{"topo", "show", in}, {"topo", "show", "--dot", in}});
  row(cuctl::AddTopoCommands, {{"--json", "filedict", "show", in}, {"filedict", "show", in}});
  row(cuctl::AddActionCommands, {{"action", "check", in}});
  row(cuctl::AddCrcCommands, {{"crc8", in}, {"crc32", in}});
  return all;
}

/// What a dump of an accepted store makes is accepted again.
void DumpAndLoad() {
  const std::string dumped = cu_fuzz::ScratchFolder() + "/dump";
  const std::string loaded = cu_fuzz::ScratchFolder() + "/loaded";
  static Command dump(cuctl::AddStoreCommands, {"store", "dump", Scratch()});
  static Command load(cuctl::AddStoreCommands, {"store", "load", loaded, dumped});
  static Command list(cuctl::AddStoreCommands, {"store", "list", loaded});
  FILE *const nowhere = stdout;
  stdout = fopen(dumped.c_str(), "w");
  if (stdout == nullptr) abort();
  const int dump_code = dump.Run();
  fclose(stdout);
  stdout = nowhere;
  if (dump_code != cuctl::kYes) return;
  const int load_code = load.Run();
  if (load_code == cuctl::kYes ? list.Run() != cuctl::kYes : load_code != cuctl::kNo) abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  // Reports go to descriptor 2 itself.
  stdout = fopen("/dev/null", "w");
  stderr = fopen("/dev/null", "w");
  return stdout == nullptr || stderr == nullptr;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static auto commands = Commands();
  if (size == 0) return 0;
  const size_t kinds = commands.size() + 1;
  const size_t kind = data[0] % kinds, line = data[0] / kinds;
  cu_fuzz::WriteScratchFile("input", data + 1, size - 1);

  if (kind == commands.size()) {
    cuctl::ExportProblem(cuctl::Input(Scratch()), "measureBoard");
    return 0;
  }
  // Standard input is the file too.
  const int fd = open(Scratch().c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || dup2(fd, STDIN_FILENO) < 0) abort();
  close(fd);
  // An expression is an argument, which ends at its first NUL. Its trace shows the stack at each
  // step, and so takes the square of its length.
  constexpr size_t kLongestTraced = 100;
  const std::string text(reinterpret_cast<const char *>(data + 1),
                         std::min(size - 1, kLongestTraced));
  const Row &row = commands[kind];
  const size_t choice = line % (row.size() + (kind == kStores ? 1 : 0));
  if (choice == row.size())
    DumpAndLoad();
  else
    row[choice]->Run(kind == kExpressions ? " " + std::string(text.c_str()) : "");
  return 0;
}
