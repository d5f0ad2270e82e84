// The text of a token: where it lies in the document, and short-lived terminated copies of it.
#ifndef COMMONUTILITIES_JSON_VALUE_TEXT_HPP
#define COMMONUTILITIES_JSON_VALUE_TEXT_HPP

#include <stdint.h>
#include <string.h>

#include <optional>
#include <string_view>

#include "include/jsonparser.h"
#include "internal/owned.hpp"

namespace cu {

/// The text between two offsets; empty for a token that was never filled, whose offsets are both
/// -1, and none where there cannot be a text.
inline std::optional<std::string_view> ValueText(const char *json, int32_t start, int32_t end) {
  if (json == nullptr || end < start) return std::nullopt;
  if (start == end) return std::string_view("");
  if (start < 0) return std::nullopt;
  return std::string_view(json + start, static_cast<size_t>(end - start));
}

/// The text of a string token; none for a token of another type.
inline std::optional<std::string_view> StringText(const char *json, const jsmntok_t *token) {
  if (token == nullptr || token->type != JSON_TOKEN_STRING) return std::nullopt;
  return ValueText(json, token->start, token->end);
}

/// Whether a text begins with another. string_view's own starts_with() refers to the C++ runtime
/// where it is not inlined.
constexpr bool StartsWith(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  return std::string_view(text.data(), prefix.size()) == prefix;
}

/// Whether a text and a name agree over the length of the shorter one: the rule by which documents
/// name types. The empty text agrees with every name.
constexpr bool AgreeOverShorter(std::string_view text, const char *name) {
  for (const char c : text) {
    if (*name == '\0') return true;
    if (*name++ != c) return false;
  }
  return true;
}

/// A new string from a value's text: the reader behind every text of every record. An empty value
/// gives 0 and leaves `dst` as it was; without memory `dst` is null.
inline int32_t ReadString(const char *json, int32_t start, int32_t end, char **dst) {
  const auto text = ValueText(json, start, end);
  if (!text || text->empty() || dst == nullptr) return 0;
  *dst = CopyString(text->data(), text->size()).release();
  return *dst != nullptr ? 1 : 0;
}

/// A terminated copy of a text that nobody keeps: in its own room, or on the heap when the text is
/// long.
template <size_t kRoom>
class ScratchText {
 public:
  ScratchText() = default;
  ScratchText(const ScratchText &) = delete;
  ScratchText &operator=(const ScratchText &) = delete;

  /// Takes a new text in place of the old one. False, holding nothing, when there is none or no
  /// memory.
  bool Assign(std::optional<std::string_view> text) {
    heap_.reset();
    text_ = nullptr;
    if (!text) return false;
    char *copy = room_;
    if (text->size() >= kRoom) {
      heap_ = NewString(text->size());
      copy = heap_.get();
      if (copy == nullptr) return false;
    }
    memcpy(copy, text->data(), text->size());
    copy[text->size()] = '\0';
    text_ = copy;
    return true;
  }

  /// The text, or null when none is held.
  const char *get() const { return text_; }

 private:
  const char *text_ = nullptr;
  Owned<char> heap_;
  char room_[kRoom];
};

}  // namespace cu

#endif
