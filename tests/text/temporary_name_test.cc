#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cctype>
#include <string>

#include "include/stringtemplate.h"
#include "text/heap_text.hpp"

using cu_test::Taken;
using cu_test::TakenBytes;

namespace {

TEST(AeRandomChar, IndexesLettersThenDigits) {
  const std::string alphabet = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  ASSERT_EQ(alphabet.size(), 62U);
  for (uint32_t i = 0; i < 62; ++i) EXPECT_EQ(ae_random_char(i), alphabet[i]);
  EXPECT_EQ(ae_random_char(61), '9');
}

TEST(AeRandomChar, Gives0From62On) {
  EXPECT_EQ(ae_random_char(62), '\0');
  EXPECT_EQ(ae_random_char(63), '\0');
  EXPECT_EQ(ae_random_char(0xFFFFFFFF), '\0');
}

std::string Name(const char *prefix, uint32_t count) {
  char *out = nullptr;
  EXPECT_EQ(aeCreateTemporaryName(prefix, count, &out), 1);
  return Taken(out);
}

/// A name together with the second in which it was made, which is the same before and after.
struct TimedName {
  time_t second;
  std::string name;
};

TimedName NameWithinASecond(const char *prefix, uint32_t count) {
  for (;;) {
    const time_t before = time(nullptr);
    std::string name = Name(prefix, count);
    if (time(nullptr) == before) return {before, name};
  }
}

TEST(AeCreateTemporaryName, AppendsCharactersOfTheAlphabetToThePrefix) {
  const std::string name = Name("/tmp/x-", 200);
  ASSERT_EQ(name.size(), 207U);
  EXPECT_EQ(name.substr(0, 7), "/tmp/x-");
  for (size_t i = 7; i < name.size(); ++i) EXPECT_TRUE(isalnum(name[i])) << name;
}

TEST(AeCreateTemporaryName, DrawsWithRandSeededByTheSecond) {
  const TimedName made = NameWithinASecond("p", 20);
  srand(static_cast<unsigned>(made.second));
  std::string expected = "p";
  for (int i = 0; i < 20; ++i) expected += ae_random_char(static_cast<uint32_t>(rand() % 62));
  EXPECT_EQ(made.name, expected);
}

TEST(AeCreateTemporaryName, GivesTheSameNameTwiceWithinASecond) {
  for (;;) {
    const TimedName first = NameWithinASecond("p", 10);
    const TimedName second = NameWithinASecond("p", 10);
    if (first.second != second.second) continue;
    EXPECT_EQ(first.name, second.name);
    return;
  }
}

TEST(AeCreateTemporaryName, ReseedsTheProcesssGenerator) {
  for (;;) {
    const time_t before = time(nullptr);
    srand(12345);
    (void)Name("", 0);
    const int drawn = rand();
    if (time(nullptr) != before) continue;
    srand(static_cast<unsigned>(before));
    EXPECT_EQ(drawn, rand());
    return;
  }
}

TEST(AeCreateTemporaryName, MakesThePrefixAloneForACountOf0) {
  EXPECT_EQ(Name("prefix", 0), "prefix");
  EXPECT_EQ(Name("", 0), "");
}

TEST(AeCreateTemporaryName, CountsANullPrefixAsEmpty) {
  EXPECT_EQ(Name(nullptr, 5).size(), 5U);
}

#if UINTPTR_MAX == UINT32_MAX
TEST(AeCreateTemporaryName, GivesNullWhereTheNameWouldPassTheAddressSpace) {
  char kept[] = "kept";
  char *out = kept;
  EXPECT_EQ(aeCreateTemporaryName("p", 0xFFFFFFFF, &out), 1);
  EXPECT_EQ(out, nullptr);
}
#endif

TEST(AeCreateTemporaryName, Gives1ForANullOut) {
  EXPECT_EQ(aeCreateTemporaryName("p", 3, nullptr), 1);
}

}  // namespace
