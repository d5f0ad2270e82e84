// Cutting terminated text into tokens in place, by the rule of strtok_safe() for one delimiter,
// with a delimiter that may change from token to token.
#ifndef COMMONUTILITIES_INTERNAL_CUT_TOKEN_HPP
#define COMMONUTILITIES_INTERNAL_CUT_TOKEN_HPP

#include <stddef.h>

#include <string_view>

namespace cu {

struct IgnoreByte {
  void operator()(char) const {}
};

/// Cuts the next token off the text at `cursor` and moves the cursor behind it and its delimiter.
/// False at the end of the text.
///
/// One delimiter in front of the token is skipped. The byte behind it belongs to the token whatever
/// it is; at the end of the text the token is empty. `on_byte` sees each byte of the token.
template <typename OnByte = IgnoreByte>
inline bool CutToken(const char *&cursor, char delimiter, std::string_view &token,
                     OnByte on_byte = {}) {
  if (*cursor == '\0') return false;
  const char *const begin = cursor + (*cursor == delimiter ? 1 : 0);
  const char *end = begin;
  if (*end != '\0') {
    do {
      on_byte(*end);
      ++end;
    } while (*end != '\0' && *end != delimiter);
  }
  cursor = end + (*end == '\0' ? 0 : 1);
  token = {begin, static_cast<size_t>(end - begin)};
  return true;
}

}  // namespace cu

#endif
