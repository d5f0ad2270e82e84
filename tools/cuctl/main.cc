// cuctl: opens the files that the library writes, and tries its documents and expressions.
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <link.h>

#include <cstring>

#include "tools/cuctl/cuctl.hpp"
#include "tools/cuctl/output.hpp"

namespace {

using cuctl::Options;

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

}  // namespace

int main(int argc, char **argv) {
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

  cuctl::AddLogCommands(app, options);
  cuctl::AddStoreCommands(app, options);
  cuctl::AddMsgqCommands(app, options);
  cuctl::AddConfCommands(app, options);
  cuctl::AddJsonCommands(app, options);
  cuctl::AddRpnCommands(app, options);
  cuctl::AddShmCommands(app, options);
  cuctl::AddGpioCommands(app, options);
  cuctl::AddActionCommands(app, options);
  cuctl::AddTopoCommands(app, options);
  cuctl::AddCrcCommands(app, options);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? cuctl::kYes : cuctl::kUsage;
  } catch (const cuctl::Failure &failure) {
    std::fflush(stdout);
    fmt::print(stderr, "cuctl: {}\n", failure.message);
    return failure.exit_code;
  }
  return std::fflush(stdout) == 0 ? options.exit_code : cuctl::kSystem;
}
