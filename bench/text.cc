// Number formatting and tokenizing, each result on the heap and freed.
#include <glib.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/frame.hpp"
#include "include/stringutils.h"
#include "include/valueformat.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

constexpr int kNumbers = 1000;

uint64_t Sum(const char *text) {
  return strlen(text) * 131 + static_cast<unsigned char>(*text);
}

/// Mixed magnitudes that no formatter cuts.
std::vector<int32_t> Integers() {
  std::mt19937 random(1);
  std::vector<int32_t> numbers;
  for (int i = 0; i < kNumbers; ++i) {
    const int32_t limit = static_cast<int32_t>(10 << (random() % 23));
    const int32_t value = static_cast<int32_t>(random() % static_cast<uint32_t>(limit));
    numbers.push_back(random() % 4 == 0 ? -value : value);
  }
  return numbers;
}

std::vector<float> Floats() {
  std::mt19937 random(2);
  std::vector<float> numbers;
  for (int i = 0; i < kNumbers; ++i)
    numbers.push_back(static_cast<float>(static_cast<int32_t>(random())) /
                      static_cast<float>(1U << (random() % 24 + 8)));
  return numbers;
}

template <typename T, typename Format>
cu_bench::Work ForEach(const std::vector<T> &numbers, Format format) {
  return [&numbers, format]() -> uint64_t {
    uint64_t sum = 0;
    for (const T number : numbers) {
      char *const text = format(number);
      sum += Sum(text);
      free(text);
    }
    return sum;
  };
}

uint64_t AllocationFloor() {
  for (int i = 0; i < kNumbers; ++i) {
    void *const memory = malloc(11);
    cu_bench::Keep(memory);
    free(memory);
  }
  return 0;
}

void AddFormatting(cu_bench::Family &family) {
  static const std::vector<int32_t> integers = Integers();
  static const std::vector<float> floats = Floats();

  auto &integer = family.AddWorkload("1000 integers");
  integer.Add(Role::kLibrary, "getIntegerAsString", ForEach(integers, [](int32_t n) {
                char *text = nullptr;
                return getIntegerAsString(n, &text);
              }));
  integer.Add(Role::kPeer, "std::to_chars + strdup", ForEach(integers, [](int32_t n) {
                char buffer[12];
                *std::to_chars(buffer, buffer + 11, n).ptr = '\0';
                return strdup(buffer);
              }));
  integer.Add(Role::kPeer, "asprintf", ForEach(integers, [](int32_t n) {
                char *text = nullptr;
                if (asprintf(&text, "%d", n) < 0) abort();
                return text;
              }));
  integer.Add(Role::kPeer, "g_strdup_printf",
              ForEach(integers, [](int32_t n) { return g_strdup_printf("%d", n); }));
  integer.Add(Role::kFloor, "malloc + free", AllocationFloor, Check::kNone);

  auto &decimal = family.AddWorkload("1000 floats, 3 decimals");
  decimal.Add(Role::kLibrary, "getFloatAsString", ForEach(floats, [](float n) {
                char *text = nullptr;
                return getFloatAsString(3, &text, n);
              }));
  decimal.Add(Role::kPeer, "std::to_chars + strdup", ForEach(floats, [](float n) {
                char buffer[64];
                *std::to_chars(buffer, buffer + 63, static_cast<double>(n),
                               std::chars_format::fixed, 3)
                     .ptr = '\0';
                return strdup(buffer);
              }));
  decimal.Add(Role::kPeer, "asprintf", ForEach(floats, [](float n) {
                char *text = nullptr;
                if (asprintf(&text, "%.3f", static_cast<double>(n)) < 0) abort();
                return text;
              }));
  decimal.Add(Role::kPeer, "g_strdup_printf", ForEach(floats, [](float n) {
                return g_strdup_printf("%.3f", static_cast<double>(n));
              }));
  decimal.Add(Role::kFloor, "malloc + free", AllocationFloor, Check::kNone);
}

std::string Line(int tokens) {
  std::string line;
  for (int i = 0; i < tokens; ++i)
    line += (i == 0 ? "" : ",") + std::string("token") + std::to_string(i * 37);
  return line;
}

void AddTokens(cu_bench::Family &family, int count) {
  static std::vector<std::string> lines;
  lines.reserve(8);
  lines.push_back(Line(count));
  const char *const line = lines.back().c_str();

  auto &workload = family.AddWorkload("a line of " + std::to_string(count) + " tokens");
  workload.Add(Role::kLibrary, "tokenizeString", [=]() -> uint64_t {
    TokenList tokens = {};
    tokenizeString(line, ",", &tokens);
    uint64_t sum = 0;
    for (unsigned i = 0; i < tokens.count; ++i) sum += Sum(tokens.tokens[i]);
    FreeTokens(&tokens);
    return sum;
  });
  workload.Add(Role::kPeer, "strtok_r + strdup", [=]() -> uint64_t {
    char *const copy = strdup(line);
    char **tokens = nullptr;
    size_t held = 0;
    char *save = nullptr;
    for (char *one = strtok_r(copy, ",", &save); one != nullptr;
         one = strtok_r(nullptr, ",", &save)) {
      tokens = static_cast<char **>(realloc(tokens, (held + 1) * sizeof(char *)));
      tokens[held++] = strdup(one);
    }
    uint64_t sum = 0;
    for (size_t i = 0; i < held; ++i) {
      sum += Sum(tokens[i]);
      free(tokens[i]);
    }
    free(tokens);
    free(copy);
    return sum;
  });
  workload.Add(Role::kPeer, "g_strsplit", [=]() -> uint64_t {
    gchar **const tokens = g_strsplit(line, ",", -1);
    uint64_t sum = 0;
    for (gchar **one = tokens; *one != nullptr; ++one) sum += Sum(*one);
    g_strfreev(tokens);
    return sum;
  });
  workload.Add(
      Role::kFloor, "malloc + free a token",  // all tokens are there before the first is freed
      [=]() -> uint64_t {
        void *memory[100];
        for (int i = 0; i < count; ++i) {
          memory[i] = malloc(9);
          cu_bench::Keep(memory[i]);
        }
        for (int i = 0; i < count; ++i) free(memory[i]);
        return 0;
      },
      Check::kNone);
}

}  // namespace

int main(int argc, char **argv) {
  cu_bench::Family family("text", cu_bench::Clock::kCpu);
  AddFormatting(family);
  AddTokens(family, 3);
  AddTokens(family, 10);
  AddTokens(family, 100);
  return family.Main(argc, argv);
}
