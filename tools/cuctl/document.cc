#include "tools/cuctl/document.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/cuctl/input.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

int32_t KeepTokens(const char *, jsmntok_t *tokens, const char *, uint32_t count, void *user) {
  static_cast<std::vector<jsmntok_t> *>(user)->assign(tokens, tokens + count);
  return 0;
}

/// Takes every event and keeps the first error.
struct ErrorCatcher : nlohmann::json_sax<nlohmann::json> {
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t &) override { return true; }
  bool string(string_t &) override { return true; }
  bool binary(binary_t &) override { return true; }
  bool start_object(size_t) override { return true; }
  bool key(string_t &) override { return true; }
  bool end_object() override { return true; }
  bool start_array(size_t) override { return true; }
  bool end_array() override { return true; }
  bool parse_error(size_t position, const std::string &last,
                   const nlohmann::detail::exception &error) override {
    offset = position == 0 ? 0 : position - 1;
    token = last;
    message = error.what();
    return false;
  }
  size_t offset = 0;
  std::string token, message;
};

/// Whether the library would take more than a moment to make tokens of a text: the tokenizer walks,
/// for each closing bracket, over all that were closed right before it.
bool TooCostly(std::string_view text) {
  constexpr uint64_t kMostSteps = 40'000'000;
  uint64_t steps = 0, run = 0;
  bool in_string = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (in_string && c == '\\') {
      ++i;
    } else if (c == '"') {
      in_string = !in_string;
      run = 0;
    } else if (!in_string && (c == ']' || c == '}')) {
      steps += ++run;
      if (steps > kMostSteps) return true;
    } else if (!in_string && std::string_view(" \t\r\n,:").find(c) == std::string_view::npos) {
      run = 0;
    }
  }
  return false;
}

}  // namespace

std::string Document::Place(size_t offset) const {
  if (line_starts.empty()) {
    line_starts.push_back(0);
    for (size_t i = 0; i < text.size(); ++i)
      if (text[i] == '\n') line_starts.push_back(i + 1);
  }
  offset = std::min(offset, text.size());
  const auto next = std::upper_bound(line_starts.begin(), line_starts.end(), offset);
  return fmt::format("{}:{}:{}", path, next - line_starts.begin(), offset - *(next - 1) + 1);
}

TokenTree::TokenTree(const std::vector<jsmntok_t> &tokens)
    : first_(tokens.size()), next_(tokens.size()) {
  for (size_t i = tokens.size(); i-- > 1;) {
    if (tokens[i].parent < 0) continue;
    const size_t parent = static_cast<size_t>(tokens[i].parent);
    next_[i] = first_[parent];
    first_[parent] = static_cast<uint32_t>(i);
  }
}

Document ReadDocument(const std::string &path) {
  Document document;
  document.path = path;
  bool whole = false;
  {
    Input input(path);
    Progress progress("reading", input.size());
    const std::vector<uint8_t> bytes = input.ReadUpTo(kMostBytes, &whole, &progress);
    document.text.assign(bytes.begin(), bytes.end());
  }
  // What a strict reader refuses in a file of this size is no document: the library is not asked to
  // make tokens of all of it.
  constexpr size_t kLarge = 1U << 20;
  size_t offset = 0;
  if (document.text.size() > kLarge && !StrictProblem(document, &offset).empty() &&
      (whole || offset + 1 < document.text.size()))
    return document;
  if (!whole) throw Failure{kSystem, fmt::format("{}: more than {} MiB", path, kMostBytes >> 20)};
  if (TooCostly(document.text)) throw Failure{kDamaged, fmt::format("{}: nested too deeply", path)};
  document.loaded =
      parseJsonBuffer(document.text.data(), static_cast<uint32_t>(document.text.size()), 0,
                      KeepTokens, &document.tokens) != 0;
  return document;
}

void MustBeLoaded(const Document &document) {
  if (document.loaded && document.tokens.empty() && !document.text.empty() &&
      document.text.find('\0') != std::string::npos)
    throw Failure{kDamaged, fmt::format("{}: nothing in front of a NUL byte", document.Place(0))};
  if (document.loaded) return;
  size_t offset = 0;
  const std::string problem = StrictProblem(document, &offset);
  throw Failure{kDamaged, fmt::format("{}: {}", document.Place(offset),
                                      problem.empty() ? "refused by the library" : problem)};
}

bool RunCallback(const Document &document, JsonDocumentCallback callback, void *record) {
  // A callback wants a label that is not null; the label of a buffer is an integer.
  return parseJsonBuffer(document.text.data(), static_cast<uint32_t>(document.text.size()), 1,
                         callback, record) != 0;
}

std::string StrictProblem(const Document &document, size_t *offset) {
  ErrorCatcher catcher;
  if (nlohmann::json::sax_parse(document.text, &catcher)) {
    // The reader takes a NUL for the end.
    *offset = document.text.find('\0');
    return *offset == std::string::npos ? "" : "a NUL byte";
  }
  *offset = catcher.offset;
  // The place of a comma that nothing follows is that of the bracket after it: point at the comma.
  const std::string &text = document.text;
  size_t at = std::min(catcher.offset, text.empty() ? 0 : text.size() - 1);
  if (at < text.size() && (text[at] == '}' || text[at] == ']')) {
    size_t comma = at;
    while (comma > 0 && std::string_view(" \t\r\n").find(text[comma - 1]) != std::string_view::npos)
      --comma;
    if (comma > 0 && text[comma - 1] == ',') {
      *offset = comma - 1;
      return "trailing comma";
    }
  }
  // "[json.exception.parse_error.101] parse error at line 1, column 2: <what>"
  const size_t colon = catcher.message.find(": ");
  return colon == std::string::npos ? catcher.message : catcher.message.substr(colon + 2);
}

}  // namespace cuctl
