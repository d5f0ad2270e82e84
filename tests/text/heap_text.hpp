// New strings of the library as std::string, released on the way.
#ifndef COMMONUTILITIES_TESTS_TEXT_HEAP_TEXT_HPP
#define COMMONUTILITIES_TESTS_TEXT_HEAP_TEXT_HPP

#include <stdlib.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "include/stringutils.h"

namespace cu_test {

struct FreeIt {
  void operator()(void *memory) const { free(memory); }
};

/// A block that the library handed out.
template <typename T>
using Heap = std::unique_ptr<T, FreeIt>;

/// The text of a new string, which is released; "(null)" for null.
inline std::string Taken(char *string) {
  if (string == nullptr) return "(null)";
  const Heap<char> owner(string);
  return string;
}

/// The bytes of a new block, which is released.
inline std::string TakenBytes(char *block, size_t size) {
  const Heap<char> owner(block);
  return {block, size};
}

/// A list's tokens. The list is released.
inline std::vector<std::string> Taken(TokenList &list) {
  std::vector<std::string> tokens;
  if (list.tokens != nullptr) tokens.assign(list.tokens, list.tokens + list.count);
  FreeTokens(&list);
  return tokens;
}

}  // namespace cu_test

#endif
