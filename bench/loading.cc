// What a process pays for having a library loaded, before it calls anything: private dirty memory.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/frame.hpp"

namespace {

using cu_bench::Role;

struct Library {
  Role role;
  const char *name;
  std::string file;
};

/// Bytes that loading adds, or 0 when it cannot be loaded.
double Loaded(const std::filesystem::path &folder, const std::string &file,
              const char *first = "") {
  const std::string command = (folder / "load_library").string() + " '" + file + "' " + first;
  FILE *const output = popen(command.c_str(), "r");
  long bytes = 0;
  if (output == nullptr || fscanf(output, "%ld", &bytes) != 1) bytes = 0;
  if (output != nullptr) pclose(output);
  return static_cast<double>(bytes);
}

std::vector<cu_bench::Figure> Memory(int) {
  const std::filesystem::path folder =
      std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::vector<Library> libraries = {
      {Role::kLibrary, "commonutilities", folder.parent_path() / "libcommonutilities.so.13"},
      {Role::kPeer, "json-c", "libjson-c.so.5"},
      {Role::kPeer, "cJSON", "libcjson.so.1"},
      {Role::kPeer, "GLib", "libglib-2.0.so.0"},
      {Role::kPeer, "SQLite", "libsqlite3.so.0"},
      {Role::kReported, "libstdc++", "libstdc++.so.6"},
      {Role::kReported, "spdlog", "libspdlog.so.1.10"}};
  sync();  // pages of a file just built count as dirty until they are written
  const double json_c = Loaded(folder, "libjson-c.so.5");
  std::vector<cu_bench::Figure> figures;
  for (const Library &library : libraries) {
    const double bytes = Loaded(folder, library.file);
    if (bytes <= 0 || json_c <= 0) continue;
    figures.push_back({library.role, library.name, "KB", bytes / 1024});
    figures.push_back({library.role, library.name, "KB where libm is loaded already",
                       Loaded(folder, library.file, "libm.so.6") / 1024});
    figures.push_back({library.role, library.name, "of json-c's", bytes / json_c});
  }
  return figures;
}

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("loading", cu_bench::Clock::kCpu);
  family.AddFigures("private memory of a loaded library", Memory);
  return family.Main(argc, argv);
}
