#include "tools/cuctl/document.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

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

}  // namespace

std::string Document::Place(size_t offset) const {
  const std::string_view before = std::string_view(text).substr(0, std::min(offset, text.size()));
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const size_t line_start = before.rfind('\n');
  const size_t column =
      before.size() - (line_start == std::string_view::npos ? 0 : line_start + 1) + 1;
  return fmt::format("{}:{}:{}", path, line, column);
}

Document ReadDocument(const std::string &path) {
  Document document;
  document.path = path;
  const std::vector<uint8_t> bytes = ReadInput(path, 64U << 20);
  document.text.assign(bytes.begin(), bytes.end());
  document.loaded =
      parseJsonBuffer(document.text.data(), static_cast<uint32_t>(document.text.size()), 0,
                      KeepTokens, &document.tokens) != 0;
  return document;
}

void MustBeLoaded(const Document &document) {
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
  if (nlohmann::json::sax_parse(document.text, &catcher)) return "";
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
