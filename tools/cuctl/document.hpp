// JSON documents as the library sees them, with the place of every token for messages.
#ifndef CUCTL_DOCUMENT_HPP
#define CUCTL_DOCUMENT_HPP

#include <string>
#include <string_view>
#include <vector>

#include "include/jsonparser.h"

namespace cuctl {

struct Document {
  std::string path;
  std::string text;
  bool loaded = false;            // the library accepts it
  std::vector<jsmntok_t> tokens;  // the library's

  std::string_view Text(const jsmntok_t &token) const {
    return std::string_view(text).substr(static_cast<size_t>(token.start),
                                         static_cast<size_t>(token.end - token.start));
  }
  /// "path:line:column" of an offset in the text.
  std::string Place(size_t offset) const;
  mutable std::vector<size_t> line_starts;  // made by the first Place()
};

/// The children of each token, in order. Token 0, which is nobody's child, stands for "none".
class TokenTree {
 public:
  explicit TokenTree(const std::vector<jsmntok_t> &tokens);
  size_t First(size_t token) const { return first_[token]; }
  size_t Next(size_t token) const { return next_[token]; }

 private:
  std::vector<uint32_t> first_, next_;
};

/// Reads a document, or standard input for "-"; throws Failure when it cannot be read.
Document ReadDocument(const std::string &path);

/// Throws Failure(kDamaged) unless the library accepts the document.
void MustBeLoaded(const Document &document);

/// Runs a document callback over the document, as a daemon's loader does.
bool RunCallback(const Document &document, JsonDocumentCallback callback, void *record);

/// What a strict reader says; empty when the document is valid. `offset` is where.
std::string StrictProblem(const Document &document, size_t *offset);

}  // namespace cuctl

#endif
