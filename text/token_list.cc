#include "text/token_list.hpp"

#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "text/tokenizer.hpp"

namespace cu {
namespace {

constexpr size_t kMostTokens = UINT8_MAX;
constexpr size_t kGrowthStep = 8;

/// Appends to a list, in steps of kGrowthStep entries. How many entries a caller's array has is not
/// recorded, so the first growth always asks realloc().
class TokenAppender {
 public:
  explicit TokenAppender(TokenList &list) : list_(list) {}

  /// False without memory, or when the list is full; the list is then released.
  bool Append(Owned<char> token) {
    const size_t held = list_.tokens == nullptr ? 0 : list_.count;
    if (!token || held == kMostTokens || !MakeRoomFor(held + 1)) {
      FreeTokens(&list_);
      return false;
    }
    list_.tokens[held] = token.release();
    list_.count = static_cast<uint8_t>(held + 1);
    return true;
  }

 private:
  bool MakeRoomFor(size_t count) {
    if (count <= room_) return true;
    const size_t room = (count + kGrowthStep - 1) / kGrowthStep * kGrowthStep;
    void *const grown = realloc(list_.tokens, room * sizeof(char *));
    if (grown == nullptr) return false;
    // An array that was just made holds nothing yet, whatever the count said.
    if (list_.tokens == nullptr) list_.count = 0;
    list_.tokens = static_cast<char **>(grown);
    room_ = room;
    return true;
  }

  TokenList &list_;
  size_t room_ = 0;
};

Owned<char> CopyWithoutBlanks(const char *token, size_t length) {
  Owned<char> copy = CopyString(token, length);
  if (copy) *std::remove(copy.get(), copy.get() + length, ' ') = '\0';
  return copy;
}

int Tokenize(const char *string, const char *delimiters, TokenList *list, CopyToken copy) {
  if (string == nullptr || delimiters == nullptr || list == nullptr) return 0;
  const bool has_one_delimiter = delimiters[0] != '\0' && delimiters[1] == '\0';
  return has_one_delimiter ? AppendTokensCutAtOne(string, delimiters[0], *list, copy)
                           : AppendTokensCutAtAny(string, delimiters, *list, copy);
}

}  // namespace

bool AppendTokensCutAtAny(const char *string, const char *delimiters, TokenList &list,
                          CopyToken copy) {
  const Owned<char> working_copy = CopyString(string);
  if (!working_copy) return false;
  TokenAppender appender(list);
  char *save = nullptr;
  for (char *token = strtok_safe(working_copy.get(), delimiters, &save); token != nullptr;
       token = strtok_safe(nullptr, delimiters, &save)) {
    if (!appender.Append(copy(token, strlen(token)))) return false;
  }
  return true;
}

bool AppendTokensCutAtOne(const char *string, char delimiter, TokenList &list, CopyToken copy) {
  TokenAppender appender(list);
  PieceWalk walk(string, delimiter);
  for (std::string_view token; walk.Next(token);) {
    if (!appender.Append(copy(token.data(), token.size()))) return false;
  }
  return true;
}

}  // namespace cu

int tokenizeString(const char *string, const char *delimiters, TokenList *list) {
  return cu::Tokenize(string, delimiters, list, cu::CopyString);
}

int tokenizeStringWithNoSpaces(const char *string, const char *delimiters, TokenList *list) {
  return cu::Tokenize(string, delimiters, list, cu::CopyWithoutBlanks);
}

void FreeTokens(TokenList *list) {
  if (list == nullptr || list->tokens == nullptr) return;
  char **const tokens = list->tokens;
  char **const end = tokens + list->count;
  for (char **token = tokens; token != end; ++token) free(*token);
  free(tokens);
  list->tokens = nullptr;
}
