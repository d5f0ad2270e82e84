// A document's text and tokens, kept beyond the loader's call for tests of what reads them.
#ifndef COMMONUTILITIES_TESTS_JSON_DOCUMENT_HPP
#define COMMONUTILITIES_TESTS_JSON_DOCUMENT_HPP

#include <commonutilities/jsonparser.h>

#include <string>
#include <string_view>
#include <vector>

namespace cu_test {

class Document {
 public:
  explicit Document(std::string_view text) {
    loaded_ = parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, Keep, this) == 1;
  }

  bool loaded() const { return loaded_; }
  const char *json() const { return json_.c_str(); }
  jsmntok_t *tokens() { return tokens_.data(); }
  const jsmntok_t *token(size_t index) const { return &tokens_.at(index); }
  uint32_t count() const { return static_cast<uint32_t>(tokens_.size()); }
  std::string text(int32_t start, int32_t end) const {
    return json_.substr(static_cast<size_t>(start), static_cast<size_t>(end - start));
  }

 private:
  static int32_t Keep(const char *json, jsmntok_t *tokens, const char *, uint32_t count,
                      void *user) {
    Document &self = *static_cast<Document *>(user);
    self.json_ = json;
    self.tokens_.assign(tokens, tokens + count);
    return 0;
  }

  std::string json_;
  std::vector<jsmntok_t> tokens_;
  bool loaded_ = false;
};

}  // namespace cu_test

#endif
