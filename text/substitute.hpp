// Filling a template's placeholders: "{name}" with named arguments, "<name>" with parameters.
#ifndef COMMONUTILITIES_TEXT_SUBSTITUTE_HPP
#define COMMONUTILITIES_TEXT_SUBSTITUTE_HPP

#include <string.h>

#include <string_view>

#include "internal/owned.hpp"
#include "text/text_builder.hpp"
#include "text/tokenizer.hpp"

namespace cu {

/// A new string: `text` with each placeholder, from `open` to `close`, replaced by what `find`
/// returns for the name between them; null stands for nothing. Null when there is no memory.
///
/// The text is cut at `close` as strtok_safe() cuts, and in each piece the name goes from the first
/// `open` to the end. So `close` is dropped also where it closes nothing, and at the end of the
/// text it may be missing.
template <typename Find>
Owned<char> Substitute(std::string_view text, char open, char close, Find find) {
  TextBuilder result(text.size());
  PieceWalk walk(text, close);
  for (std::string_view piece; walk.Next(piece);) {
    const size_t before = piece.find(open);
    if (before == std::string_view::npos) {
      result.Append(piece);
      continue;
    }
    result.Append({piece.data(), before});
    const char *const value =
        find(std::string_view(piece.data() + before + 1, piece.size() - before - 1));
    if (value != nullptr) result.Append(std::string_view(value));
  }
  return result.Take();
}

}  // namespace cu

#endif
