// cuctl json check|get|tree DOC: any document, through the library's loader and node tree.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "include/jsonnode.h"
#include "tools/cuctl/document.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

/// A node tree of a document, released at the end.
class Tree {
 public:
  explicit Tree(const Document &document) {
    MustBeLoaded(document);
    const int32_t consumed =
        CreateDictionary(document.text.c_str(), document.tokens.data(),
                         static_cast<uint32_t>(document.tokens.size()), &root_);
    if (consumed <= 0 && !document.tokens.empty())
      throw Failure{kDamaged, fmt::format("{}: nested too deeply for a node tree", document.path)};
  }
  ~Tree() { AmbrelFreeJsonNode(&root_); }
  Tree(const Tree &) = delete;
  Tree &operator=(const Tree &) = delete;
  JsonNode *root() { return &root_; }

 private:
  JsonNode root_{};
};

int Check(const std::string &path, const Options &options) {
  const Document document = ReadDocument(path);
  size_t offset = 0;
  const std::string problem = StrictProblem(document, &offset);
  const bool empty = document.text.empty();
  const char *const library = document.loaded || empty ? "accepted" : "refused";
  const size_t nul = document.text.find('\0');
  if (options.json) {
    nlohmann::ordered_json object = {{"file", path},
                                     {"strict", problem.empty() ? "ok" : "error"},
                                     {"library", library},
                                     {"tokens", document.tokens.size()}};
    if (!problem.empty()) {
      object["problem"] = problem;
      object["offset"] = offset;
    }
    PrintJson(object);
  } else if (problem.empty() && document.loaded) {
    fmt::print("ok\n");
  } else {
    fmt::print("{}: {} (strict: {}, library: {})\n", document.Place(offset),
               problem.empty() ? "valid" : Shown(problem, options),
               problem.empty() ? "ok" : "error", library);
    if (nul != std::string::npos)
      fmt::print("{}: a NUL byte; the library reads no further\n", document.Place(nul));
  }
  return problem.empty() && document.loaded ? kYes : kNo;
}

/// The text of a container as it stands in the document, for output of a whole node.
void PrintTree(const Document &document, size_t index, std::string indent, const Options &options) {
  // An explicit list of what is to come: documents may be nested deeply.
  struct Pending {
    size_t token;
    size_t depth;
    std::string label;
  };
  const auto &tokens = document.tokens;
  std::vector<std::vector<size_t>> children(tokens.size());
  for (size_t i = 0; i < tokens.size(); ++i)
    if (tokens[i].parent >= 0) children[static_cast<size_t>(tokens[i].parent)].push_back(i);
  std::vector<Pending> pending = {{index, 0, ""}};
  while (!pending.empty()) {
    const Pending now = std::move(pending.back());
    pending.pop_back();
    const jsmntok_t &token = tokens[now.token];
    const std::string margin = indent + std::string(now.depth * 2, ' ') + now.label;
    if (token.type == JSON_TOKEN_OBJECT) {
      fmt::print("{}object of {}\n", margin, token.size);
      const auto &keys = children[now.token];
      for (auto key = keys.rbegin(); key != keys.rend(); ++key) {
        const std::string label = Shown(document.Text(tokens[*key]), options) + ": ";
        if (children[*key].empty())
          pending.push_back({*key, now.depth + 1, "key without a value: "});
        else
          pending.push_back({children[*key].front(), now.depth + 1, label});
      }
    } else if (token.type == JSON_TOKEN_ARRAY) {
      fmt::print("{}array of {}\n", margin, token.size);
      const auto &elements = children[now.token];
      for (size_t i = elements.size(); i > 0; --i)
        pending.push_back({elements[i - 1], now.depth + 1, fmt::format("[{}] ", i - 1)});
    } else {
      const char *const quote = token.type == JSON_TOKEN_STRING ? "\"" : "";
      fmt::print("{}{}{}{}\n", margin, quote, Shown(document.Text(token), options), quote);
    }
  }
}

int Get(const std::string &path, const std::string &query, const Options &options) {
  const Document document = ReadDocument(path);
  Tree tree(document);
  JsonNode *node = nullptr;
  if (!AmbrelFindJsonNode(tree.root(), query.c_str(), nullptr, &node)) {
    fmt::print(stderr, "cuctl: {}: no {}\n", path, query);
    return kNo;
  }
  static constexpr const char *kKinds[] = {"value", "object", "array"};
  const char *const value = AmbrelGetValueFromElement(node);
  if (options.json) {
    nlohmann::ordered_json object = {
        {"file", path}, {"path", query}, {"kind", kKinds[node->kind % 3]}};
    if (value != nullptr) object["value"] = value;
    PrintJson(object);
  } else if (value != nullptr) {
    fmt::print("{}\n", Shown(value, options));
  } else {
    fmt::print("{}\n", kKinds[node->kind % 3]);
    uint32_t cursor = 0;
    while (const JsonNode *const element = AmbrelGetNextElementInArray(node, &cursor)) {
      const char *const text = AmbrelGetValueFromElement(element);
      fmt::print("  {}\n", text != nullptr ? Shown(text, options) : kKinds[element->kind % 3]);
    }
  }
  return kYes;
}

int Show(const std::string &path, const Options &options) {
  const Document document = ReadDocument(path);
  MustBeLoaded(document);
  for (size_t i = 0; i < document.tokens.size(); ++i)
    if (document.tokens[i].parent < 0) PrintTree(document, i, "", options);
  return kYes;
}

}  // namespace

void AddJsonCommands(CLI::App &app, Options &options) {
  CLI::App *const json = app.add_subcommand("json", "Any JSON document");
  json->require_subcommand(1);
  struct Arguments {
    std::string path, query;
  };
  const auto add = [&](const char *name, const char *help) {
    CLI::App *const command = json->add_subcommand(name, help);
    auto arguments = std::make_shared<Arguments>();
    command->add_option("DOC", arguments->path, "The document, or -")->required();
    return std::pair(command, arguments);
  };
  const auto [check, check_arguments] =
      add("check", "What a strict reader says, and what the library does");
  check->callback([a = check_arguments, &options] { options.exit_code = Check(a->path, options); });
  const auto [get, get_arguments] = add("get", "The node at a path");
  get->add_option("PATH", get_arguments->query, "Names with / between them")->required();
  get->callback(
      [a = get_arguments, &options] { options.exit_code = Get(a->path, a->query, options); });
  const auto [tree, tree_arguments] = add("tree", "The document as an indented tree");
  tree->callback([a = tree_arguments, &options] { options.exit_code = Show(a->path, options); });
}

}  // namespace cuctl
