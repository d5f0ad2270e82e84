// The two ways of filling a token list, which give the same lists.
#ifndef COMMONUTILITIES_TEXT_TOKEN_LIST_HPP
#define COMMONUTILITIES_TEXT_TOKEN_LIST_HPP

#include <stddef.h>

#include "include/stringutils.h"
#include "internal/owned.hpp"

namespace cu {

/// Makes the heap string that a list keeps of a token; null when there is no memory.
using CopyToken = Owned<char> (*)(const char *token, size_t length);

/// Cuts with strtok_safe(), at any of `delimiters`, in a working copy.
bool AppendTokensCutAtAny(const char *string, const char *delimiters, TokenList &list,
                          CopyToken copy);

/// Cuts at one delimiter, by searching the string itself: no working copy, and memchr() instead of
/// a byte at a time.
bool AppendTokensCutAtOne(const char *string, char delimiter, TokenList &list, CopyToken copy);

}  // namespace cu

#endif
