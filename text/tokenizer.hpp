// The cutting rule of strtok_safe() for one delimiter, over text that stays as it is.
#ifndef COMMONUTILITIES_TEXT_TOKENIZER_HPP
#define COMMONUTILITIES_TEXT_TOKENIZER_HPP

#include <string.h>

#include <string_view>

namespace cu {

/// Walks the pieces that strtok_safe() cuts a text into with the one delimiter `delimiter`:
///
///   cu::PieceWalk walk(text, '/');
///   for (std::string_view piece; walk.Next(piece);) ...
///
/// One delimiter in front of a piece is skipped. The byte behind it belongs to the piece, whatever
/// it is, so a text of two delimiters is one piece that holds the second. A delimiter at the end
/// adds no piece, but a text that is one delimiter alone is one empty piece.
class PieceWalk {
 public:
  PieceWalk(std::string_view text, char delimiter)
      : next_(text.data()), end_(text.data() + text.size()), delimiter_(delimiter) {}

  bool Next(std::string_view &piece) {
    if (next_ == end_) return false;
    const char *const begin = next_ + (*next_ == delimiter_ ? 1 : 0);
    const char *stop = nullptr;
    if (begin != end_) {
      const char *const second = begin + 1;
      stop =
          static_cast<const char *>(memchr(second, delimiter_, static_cast<size_t>(end_ - second)));
    }
    next_ = stop == nullptr ? end_ : stop + 1;
    piece = {begin, static_cast<size_t>((stop == nullptr ? end_ : stop) - begin)};
    return true;
  }

 private:
  const char *next_;
  const char *end_;
  char delimiter_;
};

}  // namespace cu

#endif
