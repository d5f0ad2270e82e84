#include "include/stringutils.h"

namespace {

/// Where to begin: a new string only while nothing is saved, else the saved position.
char *StartOf(char *string, char *saved) {
  if (string != nullptr) return saved == nullptr ? string : nullptr;
  return saved;
}

}  // namespace

char *strtok_safe(char *string, const char *delimiters, char **save) {
  if (delimiters == nullptr || save == nullptr) return nullptr;
  char *token = StartOf(string, *save);
  if (token == nullptr || *token == '\0') return nullptr;

  // The delimiters are tried in order at each byte. After a leading delimiter is skipped they are
  // not tried from the first again, so what follows it is tested against the later ones alone.
  const char *delimiter = delimiters;
  for (char *at = token;;) {
    if (*delimiter == '\0') {
      if (at[0] == '\0') {  // nothing but delimiters: the saved position is the end itself
        *save = at;
        return token;
      }
      if (at[1] == '\0') {
        *save = at + 1;
        return token;
      }
      ++at;
      delimiter = delimiters;
      continue;
    }
    if (*at == *delimiter++) {
      if (at != token) {
        *at = '\0';
        *save = at + 1;
        return token;
      }
      token = ++at;
    }
  }
}
