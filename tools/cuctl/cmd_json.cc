// cuctl json check|get|tree DOC: any document, through the library's loader and node tree.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "include/jsonnode.h"
#include "internal/cut_token.hpp"
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

int CheckDocument(const std::string &path, const Options &options) {
  const Document document = ReadDocument(path);
  size_t offset = 0;
  const std::string problem = StrictProblem(document, &offset);
  // An empty file is accepted, as a document without tokens.
  const bool accepted = document.loaded || document.text.empty();
  const char *const library = accepted ? "accepted" : "refused";
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
    if (nul != std::string::npos) object["nul"] = nul;
    PrintJson(object);
  } else if (problem.empty() && document.loaded) {
    fmt::print("{}\n", In(Colour::kGreen, "ok"));
  } else {
    fmt::print("{}: {} (strict: {}, library: {})\n", Shown(document.Place(offset), options),
               problem.empty() ? "valid" : Shown(problem, options),
               problem.empty() ? "ok" : "error", library);
    if (nul != std::string::npos)
      fmt::print("{}: a NUL byte; the library reads no further\n",
                 Shown(document.Place(nul), options));
  }
  if (!accepted) return kDamaged;
  return problem.empty() ? kYes : kNo;
}

/// Prints the nodes of a document from one token on.
class TreePrinter {
 public:
  TreePrinter(const Document &document, const Options &options)
      : document_(document), options_(options), children_(document.tokens) {}

  void Print(size_t token) {
    // An explicit list of what is to come: documents may be nested deeply.
    pending_.push_back({token, 0, -1, ""});
    while (!pending_.empty()) {
      const Pending now = std::move(pending_.back());
      pending_.pop_back();
      const jsmntok_t &here = document_.tokens[now.token];
      if (now.no_value) {
        Line(now, "key without a value", document_.Text(here));
      } else if (here.type == JSON_TOKEN_OBJECT || here.type == JSON_TOKEN_ARRAY) {
        const int id = Line(now, here.type == JSON_TOKEN_OBJECT ? "object" : "array", std::nullopt);
        Children(now, id, here.type == JSON_TOKEN_OBJECT);
      } else {
        Line(now, here.type == JSON_TOKEN_STRING ? "string" : "primitive", document_.Text(here));
      }
    }
  }

 private:
  struct Pending {
    size_t token;
    size_t depth;
    int parent;
    std::string name;
    bool no_value = false;
  };

  void Children(const Pending &now, int id, bool object) {
    const size_t first = pending_.size();
    size_t index = 0;
    for (size_t child = children_.First(now.token); child != 0; child = children_.Next(child)) {
      const size_t value = object ? children_.First(child) : child;
      std::string name = object ? std::string(document_.Text(document_.tokens[child]))
                                : fmt::format("[{}]", index++);
      pending_.push_back(
          {value == 0 ? child : value, now.depth + 1, id, std::move(name), value == 0});
    }
    std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(first), pending_.end());
  }

  int Line(const Pending &now, std::string_view kind, std::optional<std::string_view> value) {
    const int id = next_++;
    const int32_t size = document_.tokens[now.token].size;
    if (options_.json) {
      nlohmann::ordered_json object = {
          {"id", id}, {"parent", now.parent}, {"name", now.name}, {"kind", std::string(kind)}};
      if (value)
        object["value"] = std::string(*value);
      else
        object["size"] = size;
      PrintJson(object);
      return id;
    }
    std::string margin(now.depth * 2, ' ');
    const bool element = !now.name.empty() && now.name[0] == '[' && kind != "key without a value";
    if (now.no_value)
      margin += "key without a value: ";
    else if (now.depth != 0)
      margin += Shown(now.name, options_) + (element ? " " : ": ");
    const char *const quote = kind == "string" ? "\"" : "";
    if (value)
      fmt::print("{}{}{}{}\n", margin, quote, Shown(*value, options_), quote);
    else
      fmt::print("{}{} of {}\n", margin, kind, size);
    return id;
  }

  const Document &document_;
  const Options &options_;
  TokenTree children_;
  std::vector<Pending> pending_;
  int next_ = 0;
};

int Get(const std::string &path, const std::string &query, const Options &options) {
  const Document document = ReadDocument(path);
  Tree tree(document);
  JsonNode *node = nullptr;
  if (!AmbrelFindJsonNode(tree.root(), query.c_str(), nullptr, &node)) {
    Complain(options, fmt::format("{}: no {}", path, query));
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

/// The token of the node at a path; none where a name is not found. As in a node tree, the latest
/// of several equal names counts.
std::optional<size_t> TokenAt(const Document &document, const std::string &query) {
  const TokenTree children(document.tokens);
  size_t token = 0;
  const char *cursor = query.c_str();
  for (std::string_view name; cu::CutToken(cursor, '/', name);) {
    if (document.tokens[token].type != JSON_TOKEN_OBJECT) return std::nullopt;
    size_t found = 0;
    for (size_t key = children.First(token); key != 0; key = children.Next(key))
      if (document.Text(document.tokens[key]) == name && children.First(key) != 0)
        found = children.First(key);
    if (found == 0) return std::nullopt;
    token = found;
  }
  return token;
}

int Show(const std::string &path, const std::string &query, const Options &options) {
  const Document document = ReadDocument(path);
  const Tree tree(document);  // says what cannot be a tree
  if (document.tokens.empty()) return kYes;
  const std::optional<size_t> token = TokenAt(document, query);
  if (!token) {
    Complain(options, fmt::format("{}: no {}", path, query));
    return kNo;
  }
  TreePrinter printer(document, options);
  printer.Print(*token);
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
  check->callback(
      [a = check_arguments, &options] { options.exit_code = CheckDocument(a->path, options); });
  const auto [get, get_arguments] = add("get", "The node at a path");
  get->add_option("PATH", get_arguments->query, "Names with / between them; left out: the whole");
  get->callback(
      [a = get_arguments, &options] { options.exit_code = Get(a->path, a->query, options); });
  const auto [tree, tree_arguments] = add("tree", "The document as an indented tree");
  tree->add_option("PATH", tree_arguments->query, "From the node at this path on");
  tree->callback(
      [a = tree_arguments, &options] { options.exit_code = Show(a->path, a->query, options); });
}

}  // namespace cuctl
