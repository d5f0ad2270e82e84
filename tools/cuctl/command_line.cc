// The command line: global options, the commands, and what a failure says.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <link.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

#include "tools/cuctl/cuctl.hpp"
#include "tools/cuctl/output.hpp"

namespace {

/// The linker's build id of this program, as debuggers and core files name it.
int FindBuildId(dl_phdr_info *info, size_t, void *out) {
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr) &header = info->dlpi_phdr[i];
    if (header.p_type != PT_NOTE) continue;
    const auto *at = reinterpret_cast<const char *>(info->dlpi_addr + header.p_vaddr);
    const auto *const end = at + header.p_memsz;
    while (at + sizeof(ElfW(Nhdr)) <= end) {
      ElfW(Nhdr) note;
      std::memcpy(&note, at, sizeof note);
      const char *const name = at + sizeof note;
      const char *const content = name + ((note.n_namesz + 3U) & ~3U);
      if (note.n_type == NT_GNU_BUILD_ID) {
        *static_cast<std::string *>(out) = cuctl::Hex(content, note.n_descsz);
        return 1;
      }
      at = content + ((note.n_descsz + 3U) & ~3U);
    }
  }
  return 1;  // the program itself comes first; look no further
}

std::string Version() {
  std::string build_id = "none";
  dl_iterate_phdr(FindBuildId, &build_id);
  return fmt::format("cuctl {}, libcommonutilities.so.{}, build id {}", CUCTL_VERSION,
                     CUCTL_SOVERSION, build_id);
}

/// Whether all output has gone where it should.
bool Written() {
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

/// What the command line's error was, and where help is.
std::string UsageText(const CLI::App *app, const CLI::Error &error) {
  const std::vector<std::string> unknown = app->remaining(true);
  std::string command = app->get_name();
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    command += " " + app->get_name();
  }
  // A word that is no subcommand is reported as a missing one.
  const std::string what = app->get_require_subcommand_min() != 0 && !unknown.empty()
                               ? fmt::format("no command \"{}\"", unknown.front())
                               : error.what();
  return fmt::format("{}; see {} --help", what, command);
}

}  // namespace

namespace cuctl {

int Run(int argc, const char *const *argv) {
  CLI::App app(
      "Opens the files that libcommonutilities writes, and tries its documents and "
      "expressions.\nA file may be \"-\" for standard input.");
  app.name("cuctl");
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", Version());

  Options options;
  app.add_flag("--json", options.json, "One JSON object a line, for scripts");
  app.add_flag("--utc", options.utc, "Times in UTC instead of local time");
  app.add_flag("--raw", options.raw, "Show control bytes as they are");
  app.footer(
      "Exit codes: 0 yes or done, 1 no, not found or check failed, 2 usage, 3 input or system "
      "error, 4 damaged file.");

  AddLogCommands(app, options);
  AddStoreCommands(app, options);
  AddMsgqCommands(app, options);
  AddConfCommands(app, options);
  AddJsonCommands(app, options);
  AddRpnCommands(app, options);
  AddShmCommands(app, options);
  AddGpioCommands(app, options);
  AddActionCommands(app, options);
  AddTopoCommands(app, options);
  AddCrcCommands(app, options);

  try {
    app.parse(argc, argv);
    if (Written()) return options.exit_code;
    Complain(options, fmt::format("standard output: {}", strerror(errno)));
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() == 0) {
      app.exit(error);
      return Written() ? kYes : kSystem;
    }
    Complain(options, UsageText(&app, error));
    return kUsage;
  } catch (const Failure &failure) {
    Complain(options, failure.message);
    return failure.exit_code;
  } catch (const std::bad_alloc &) {
    Complain(options, "not enough memory");
  } catch (const std::system_error &error) {
    Complain(options, fmt::format("standard output: {}", error.code().message()));
  }
  return kSystem;
}

}  // namespace cuctl
