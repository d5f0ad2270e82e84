#include "include/stringutils.h"

#include <string.h>

#include <algorithm>

#include "internal/owned.hpp"

int ext_match(const char *a, const char *b) {
  if (a == nullptr || b == nullptr) return 1;
  const size_t shorter = std::min(strlen(a), strlen(b));
  return shorter != 0 && memcmp(a, b, shorter - 1) != 0 ? 1 : 0;
}

uint32_t get_index_of(const char *haystack, const char *needle) {
  if (haystack == nullptr || needle == nullptr) return STRING_INDEX_NONE;
  const char *const found = strstr(haystack, needle);
  return found == nullptr ? STRING_INDEX_NONE : static_cast<uint32_t>(found - haystack);
}

int32_t get_last_index_of(const char *string, const char *substring) {
  if (string == nullptr || substring == nullptr) return -1;
  const size_t wanted = strlen(substring);
  // Both ends count down to 0. A mismatch does not move `left` back to the substring's end: what it
  // makes the search miss is what callers know.
  size_t left = wanted;
  size_t matched = 0;
  for (size_t i = strlen(string); i != 0 && left != 0; --i) {
    if (string[i - 1] != substring[left - 1]) {
      matched = 0;
      continue;
    }
    if (++matched == wanted) return static_cast<int32_t>(i - 1);
    --left;
  }
  return -1;
}

int str_contains(const char *haystack, const char *needle) {
  return haystack != nullptr && needle != nullptr && strstr(haystack, needle) != nullptr;
}

int str_ncontains(const char *haystack, const char *needle) {
  return haystack != nullptr && needle != nullptr && strcasestr(haystack, needle) != nullptr;
}

char *get_until(const char *string, const char *delimiter) {
  if (string == nullptr || delimiter == nullptr) return nullptr;
  const char *const found = strstr(string, delimiter);
  if (found == nullptr) return nullptr;
  return cu::CopyString(string, static_cast<size_t>(found - string)).release();
}

uint32_t minlen(uint32_t a, uint32_t b) {
  return std::min(a, b);
}

uint32_t maxlen(const char *a, const char *b) {
  const size_t length_a = a == nullptr ? 0 : strlen(a);
  const size_t length_b = b == nullptr ? 0 : strlen(b);
  return static_cast<uint32_t>(std::max(length_a, length_b));
}
