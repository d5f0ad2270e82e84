// The generic parser without memory: a key that cannot be copied is null, and the walk goes on.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "include/genericparser.h"
#include "json/document_tokens.hpp"
#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Document;
using cu_test::Fault;
using cu_test::Reach;

using Calls = std::vector<std::string>;

std::string OrDash(const char *text) {
  return text == nullptr ? "-" : text;
}

/// The parent keys and keys that a walk reports while its k-th allocation fails.
Calls KeysOf(const std::string &json, long k, Reach reach, bool *fired) {
  Document document(json);
  Calls calls;
  const Fault fault(Call::kMemory, k, 0, reach);
  EXPECT_EQ(GenericParser(
                document.text.c_str(), document.tokens.data(), "label",
                static_cast<int32_t>(document.count()), &calls,
                [](void *record) {
                  static_cast<Calls *>(record)->push_back("next");
                  return record;
                },
                [](const char *, jsmntok_t *, CounterObject *, uint8_t, const char *parent_key,
                   const char *key, int32_t *, uint32_t, void *record) {
                  static_cast<Calls *>(record)->push_back(OrDash(parent_key) + " " + OrDash(key));
                  return 0;
                }),
            0);
  *fired = fault.fired();
  return calls;
}

TEST(GenericParserFaults, AKeyThatCannotBeCopiedIsNull) {
  const std::string json = R"({"Top":[{"a":1},{"b":2}]})";
  const Calls expected[] = {
      {"- a", "next", "- b"},      // the parent key, and with it the one kept for later elements
      {"Top a", "next", "Top b"},  // the one kept: the parent key stays as it is
      {"Top -", "next", "Top b"},  // a key
      {"Top a", "next", "- b"},    // the parent key of a later element
      {"Top a", "next", "Top -"},  // and its key
      {"Top a", "next", "Top b"},  // none
  };
  bool fired = true;
  for (long k = 1; fired; ++k) {
    ASSERT_LE(k, static_cast<long>(std::size(expected)));
    EXPECT_EQ(KeysOf(json, k, Reach::kOnce, &fired), expected[k - 1]) << k;
    EXPECT_EQ(fired, k < static_cast<long>(std::size(expected)));
  }
}

TEST(GenericParserFaults, WithoutAnyMemoryAllKeysAreNull) {
  bool fired = false;
  EXPECT_EQ(KeysOf(R"({"Top":[{"l":[{"a":1}]},{"b":2}]})", 1, Reach::kFromThen, &fired),
            (Calls{"- -", "next", "- -"}));
  EXPECT_TRUE(fired);
}

}  // namespace
