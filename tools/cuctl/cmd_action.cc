// cuctl action check DOC: would this custom action run, and could a stranger make it run his code?
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "include/customaction.h"
#include "tools/cuctl/document.hpp"
#include "tools/cuctl/elf_symbols.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

int32_t ReadAction(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                   void *record) {
  if (json == nullptr) return 1;
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  // A document holds one action, or an array of them.
  const bool array = count != 0 && tokens[0].type == JSON_TOKEN_ARRAY;
  AmbrelJsonCustomActionArray one = {
      1, static_cast<AmbrelJsonCustomAction *>(calloc(1, sizeof(AmbrelJsonCustomAction)))};
  auto *const actions = static_cast<AmbrelJsonCustomActionArray *>(record);
  if (!array && one.list != nullptr) *actions = one;
  if (array) free(one.list);
  processObject(
      &context, label, 0, static_cast<int32_t>(strlen(json)), 0,
      array ? static_cast<void *>(actions) : static_cast<void *>(actions->list),
      array ? deserialize_AmbrelJsonCustomActionArray : deserialize_AmbrelJsonCustomAction);
  return 0;
}

/// Who else than root could change what stands at a name; empty for nobody.
std::string OwnerProblem(const std::string &at, const struct stat &info) {
  if (info.st_uid != 0) return fmt::format("{} owned by user {}", at, info.st_uid);
  // In a sticky folder nobody can move or remove what is root's.
  if (S_ISLNK(info.st_mode) || (S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX) != 0)) return "";
  if ((info.st_mode & S_IWOTH) != 0) return fmt::format("{} writable by others", at);
  if ((info.st_mode & S_IWGRP) != 0) return fmt::format("{} writable by group", at);
  return "";
}

/// Looks at each component of a path, and at those that its links lead over.
std::string OwnershipProblem(const std::string &path) {
  std::string rest = path, at;
  if (path.empty() || path[0] != '/') {
    const std::unique_ptr<char, decltype(&free)> folder(getcwd(nullptr, 0), free);
    rest = (folder ? folder.get() : "") + ("/" + path);
  }
  constexpr int kMostLinks = 40;
  int links = 0;
  for (;;) {
    struct stat info {};
    const std::string here = at.empty() ? "/" : at;
    if (lstat(here.c_str(), &info) != 0) return fmt::format("{}: {}", here, strerror(errno));
    if (std::string problem = OwnerProblem(here, info); !problem.empty()) return problem;
    if (S_ISLNK(info.st_mode)) {
      char target[PATH_MAX];
      const ssize_t length = readlink(here.c_str(), target, sizeof target);
      if (length < 0) return fmt::format("{}: {}", here, strerror(errno));
      if (++links > kMostLinks) return fmt::format("{}: {}", path, strerror(ELOOP));
      rest = std::string(target, static_cast<size_t>(length)) + "/" + rest;
      at = target[0] == '/' ? "" : at.substr(0, at.rfind('/'));
    }
    const size_t begin = rest.find_first_not_of('/');
    if (begin == std::string::npos) return "";
    const size_t end = std::min(rest.find('/', begin), rest.size());
    const std::string name = rest.substr(begin, end - begin);
    rest.erase(0, end);
    if (name == "..")
      at.erase(std::min(at.rfind('/'), at.size()));
    else if (name != ".")
      at += "/" + name;
  }
}

std::string Problem(const AmbrelJsonCustomAction &action) {
  if (action.pluginpath == nullptr) return "no \"pluginpath\": it cannot be loaded";
  if (action.plugin == nullptr) return "no \"plugin\": it cannot be loaded";
  if (action.methodname == nullptr) return "no \"methodname\"";
  const std::string path = std::string(action.pluginpath) + "/" + action.plugin;
  if (path.size() > 1023) return "the plug-in's path is longer than 1023 characters";
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return fmt::format("{}: {}", path, strerror(errno));
  if (!S_ISREG(info.st_mode)) return fmt::format("{} is not a file", path);
  try {
    if (const std::string problem = ExportProblem(Input(path), action.methodname); !problem.empty())
      return fmt::format("{}: {}", path, problem);
  } catch (const Failure &failure) {
    return failure.message;
  }
  return OwnershipProblem(path);
}

int CheckAction(const std::string &path, const Options &options) {
  const Document document = ReadDocument(path);
  MustBeLoaded(document);
  AmbrelJsonCustomActionArray actions = {};
  RunCallback(document, ReadAction, &actions);
  bool all_ok = actions.count != 0;
  if (!all_ok) Complain(options, fmt::format("{}: no action in it", path));
  for (uint32_t i = 0; i < actions.count; ++i) {
    const AmbrelJsonCustomAction &action = actions.list[i];
    const std::string name = action.action == nullptr ? "(no name)" : action.action;
    const std::string problem = Problem(action);
    all_ok = all_ok && problem.empty();
    if (options.json)
      PrintJson({{"action", name}, {"ok", problem.empty()}, {"problem", problem}});
    else
      fmt::print(
          "{}: {}\n", Shown(name, options),
          problem.empty() ? In(Colour::kGreen, "ok") : In(Colour::kRed, Shown(problem, options)));
  }
  for (uint32_t i = 0; i < actions.count; ++i) free(actions.list[i].action);
  free_AmbrelJsonCustomActionArray(&actions);
  return all_ok ? kYes : kNo;
}

}  // namespace

void AddActionCommands(CLI::App &app, Options &options) {
  CLI::App *const action = app.add_subcommand("action", "Custom actions in plug-ins");
  action->require_subcommand(1);
  CLI::App *const check =
      action->add_subcommand("check", "Plug-in there, right machine, method exported, root-owned");
  auto path = std::make_shared<std::string>();
  check->add_option("DOC", *path, "The action document, or -")->required();
  check->callback([=, &options] { options.exit_code = CheckAction(*path, options); });
}

}  // namespace cuctl
