#include "include/stringutils.h"

#include <string.h>

#include <algorithm>

#include "internal/owned.hpp"

namespace {

/// A new string of three parts, with `spare` further zero bytes behind its terminator.
char *Join(const char *a, const char *between, const char *b, size_t spare) {
  const size_t length_a = strlen(a);
  const size_t length_between = strlen(between);
  const size_t length_b = strlen(b);
  size_t length = 0;
  if (__builtin_add_overflow(length_a, length_b, &length)) return nullptr;
  size_t size = 0;
  if (__builtin_add_overflow(length, length_between + 1 + spare, &size)) return nullptr;
  char *const joined = static_cast<char *>(malloc(size));
  if (joined == nullptr) return nullptr;
  memcpy(joined, a, length_a);
  memcpy(joined + length_a, between, length_between);
  memcpy(joined + length_a + length_between, b, length_b);
  memset(joined + size - 1 - spare, 0, 1 + spare);
  return joined;
}

}  // namespace

char *concatStrings(const char *a, const char *b) {
  return a == nullptr || b == nullptr ? nullptr : Join(a, "", b, 0);
}

char *joinPath(const char *directory, const char *name) {
  if (directory == nullptr || name == nullptr) return nullptr;
  const size_t length = strlen(directory);
  const bool has_slash = length != 0 && directory[length - 1] == '/';
  // The block has three bytes more than the two texts: callers may append one character.
  return has_slash ? Join(directory, "", name, 2) : Join(directory, "/", name, 1);
}

char *concatPath(char *destination, const char *directory, const char *name, uint32_t size) {
  if (destination == nullptr || directory == nullptr || name == nullptr) return nullptr;
  if (size == 0) return destination;
  const size_t room = size - 1;
  size_t length = std::min(strlen(directory), room);
  memmove(destination, directory, length);
  // The '/' is inserted after a directory that ends in one, too.
  if (length < room) destination[length++] = '/';
  const size_t rest = std::min(strlen(name), room - length);
  memmove(destination + length, name, rest);
  destination[length + rest] = '\0';
  return destination;
}
