#include "include/stringtemplate.h"
#include "include/stringutils.h"

#include <ctype.h>
#include <string.h>

#include <algorithm>

#include "internal/owned.hpp"

int ambrelFindandReplace(uint8_t *buffer, uint32_t length, uint8_t from, uint8_t to) {
  if (buffer == nullptr) return 0;
  std::replace(buffer, buffer + length, from, to);
  return 1;
}

char *toLower(const char *string) {
  if (string == nullptr) return nullptr;
  const size_t length = strlen(string);
  cu::Owned<char> copy = cu::NewString(length);
  if (!copy) return nullptr;
  std::transform(string, string + length, copy.get(),
                 [](char c) { return static_cast<char>(tolower(static_cast<unsigned char>(c))); });
  return copy.release();
}

void copyOptionValue(char *destination, const char *source, uint32_t length) {
  if (destination == nullptr || source == nullptr || length == 0) return;
  const uint32_t blank = *source == ' ' ? 1 : 0;
  memmove(destination, source + blank, length - blank);
}

char *ambrelCloneString(const char *source, uint32_t length) {
  if (source == nullptr || source[length] != '\0') return nullptr;
  return cu::CopyString(source, length).release();
}

char *AmbrelSetStringValue(const char *string) {
  return string == nullptr ? nullptr : cu::CopyString(string).release();
}
