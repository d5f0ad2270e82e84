// A heap string that is put together piece by piece.
#ifndef COMMONUTILITIES_TEXT_TEXT_BUILDER_HPP
#define COMMONUTILITIES_TEXT_TEXT_BUILDER_HPP

#include <stddef.h>
#include <string.h>

#include <string_view>

#include "internal/grow.hpp"
#include "internal/owned.hpp"

namespace cu {

/// Appends to one block that grows in linear time. Once memory has run out it holds nothing, takes
/// nothing more, and Take() gives null: a caller need only look at the end.
class TextBuilder {
 public:
  /// Begins with room for a text of `expected_length`.
  explicit TextBuilder(size_t expected_length) { Resize(RoundedSize(expected_length + 1)); }

  /// Appends a piece, which must not be part of the text itself.
  void Append(std::string_view piece) {
    if (piece.size() > room_ - length_ && !Grow(piece.size())) return;
    if (!piece.empty()) memcpy(text_.get() + length_, piece.data(), piece.size());
    length_ += piece.size();
  }

  void Append(char character) { Append(std::string_view(&character, 1)); }

  /// Whether memory has run out.
  bool failed() const { return !text_; }

  /// The terminated text, or null when memory ran out.
  Owned<char> Take() {
    if (text_) text_.get()[length_] = '\0';
    return std::move(text_);
  }

 private:
  // Text and piece are both in memory, so the sum of their sizes cannot overflow.
  bool Grow(size_t more) { return text_ && Resize(RoundedSize(length_ + more + 1)); }

  bool Resize(size_t size) {
    auto *const resized = static_cast<char *>(realloc(text_.get(), size));
    if (resized == nullptr) {
      text_.reset();
      length_ = room_ = 0;
      return false;
    }
    (void)text_.release();
    text_.reset(resized);
    room_ = size - 1;
    return true;
  }

  Owned<char> text_;
  size_t length_ = 0;
  size_t room_ = 0;
};

}  // namespace cu

#endif
