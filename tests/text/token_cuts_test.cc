// The fast ways of cutting at one delimiter against the general one, strtok_safe().
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "text/heap_text.hpp"
#include "text/token_list.hpp"
#include "text/tokenizer.hpp"

using cu_test::Taken;

namespace {

constexpr char kDelimiter = '/';
constexpr char kDelimiters[] = {kDelimiter, '\0'};

using Tokens = std::vector<std::string>;

std::vector<std::string> RandomTexts() {
  std::mt19937 random(1);
  std::vector<std::string> texts;
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % (round % 100 == 0 ? 400 : 12), ' ');
    for (char &c : text) c = "a/b"[random() % 3];
    texts.push_back(text);
  }
  return texts;
}

Tokens CutBySteps(const std::string &text) {
  std::string copy = text;
  Tokens tokens;
  char *save = nullptr;
  for (char *token = strtok_safe(copy.data(), kDelimiters, &save); token != nullptr;
       token = strtok_safe(nullptr, kDelimiters, &save)) {
    tokens.emplace_back(token);
  }
  return tokens;
}

TEST(PieceWalk, CutsAsStrtokSafeDoesOnRandomTexts) {
  for (const std::string &text : RandomTexts()) {
    // A block of the text's own size, so that a sanitizer sees any read past it.
    const std::vector<char> exact(text.begin(), text.end());
    cu::PieceWalk walk({exact.data(), exact.size()}, kDelimiter);
    Tokens pieces;
    for (std::string_view piece; walk.Next(piece);) pieces.emplace_back(piece);
    ASSERT_EQ(pieces, CutBySteps(text)) << text;
  }
}

cu::Owned<char> Copy(const char *token, size_t length) {
  return cu::CopyString(token, length);
}

TEST(AppendTokensCutAtOne, MakesTheListOfAppendTokensCutAtAny) {
  for (const std::string &text : RandomTexts()) {
    TokenList one = {};
    TokenList any = {};
    const bool one_fits = cu::AppendTokensCutAtOne(text.c_str(), kDelimiter, one, Copy);
    const bool any_fits = cu::AppendTokensCutAtAny(text.c_str(), kDelimiters, any, Copy);
    ASSERT_EQ(one_fits, any_fits) << text;
    ASSERT_EQ(one.count, any.count) << text;
    ASSERT_EQ(Taken(one), Taken(any)) << text;
  }
}

}  // namespace
