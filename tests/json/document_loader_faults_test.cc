// The loaders while memory runs out and file calls fail.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/jsonparser.h"
#include "support/faults.hpp"
#include "support/files.hpp"

namespace {

using cu_test::Call;
using cu_test::Fault;

/// The callback's calls and the last document's tokens.
struct Seen {
  int calls = 0;
  uint32_t tokens = 0;
  bool has_text = false;
};

int32_t See(const char *json, jsmntok_t *, const char *, uint32_t count, void *user) {
  Seen &seen = *static_cast<Seen *>(user);
  ++seen.calls;
  seen.tokens = count;
  seen.has_text = json != nullptr;
  return 0;
}

const std::string &LongArray() {
  static const std::string text = [] {
    std::string array = "[0";
    for (int i = 0; i < 998; ++i) array += ",0";
    return array + "]";
  }();
  return text;
}

class LoadingUnderFaults : public testing::Test {
 protected:
  void SetUp() override { cu_test::WriteFile(path_, LongArray()); }
  int32_t Load(Seen &seen) { return parseJson(path_.c_str(), "l", See, &seen); }

  cu_test::TempDir dir_;
  std::string path_ = dir_.file("array.json");
};

TEST_F(LoadingUnderFaults, AFileIsRefusedAndReleasedWhereverMemoryRunsOut) {
  const long descriptors = cu_test::OpenDescriptors();
  long k = 1;
  for (;; ++k) {
    Seen seen;
    Fault fault(Call::kMemory, k);
    const int32_t result = Load(seen);
    if (!fault.fired()) {
      EXPECT_EQ(result, 1);
      EXPECT_EQ(seen.tokens, 1000u);
      break;
    }
    EXPECT_EQ(result, 0) << k;
    EXPECT_EQ(seen.calls, 0) << k;
  }
  // The tokens from 16 to 1024, and the text at least once.
  EXPECT_GT(k - 1, 7);
  EXPECT_EQ(cu_test::OpenDescriptors(), descriptors);
}

TEST_F(LoadingUnderFaults, ABufferIsRefusedAndReleasedWhereverMemoryRunsOut) {
  const std::string &text = LongArray();
  long k = 1;
  for (;; ++k) {
    Seen seen;
    Fault fault(Call::kMemory, k);
    const int32_t result =
        parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, See, &seen);
    if (!fault.fired()) {
      EXPECT_EQ(result, 1);
      break;
    }
    EXPECT_EQ(result, 0) << k;
    EXPECT_EQ(seen.calls, 0) << k;
  }
  EXPECT_EQ(k - 1, 1 + 1 + 9);  // the copy, and the tokens 2, 4, ... 1024
}

/// An array of so many tokens, itself included.
std::string ArrayOfTokens(int tokens) {
  std::string array = "[0";
  for (int i = 2; i < tokens; ++i) array += ",0";
  return array + "]";
}

// The room for tokens begins at 16 for a file and at 2 for a buffer, and doubles.
TEST_F(LoadingUnderFaults, AFileTakesRoomForMoreTokensAtTheSeventeenthAndAtEachDoubling) {
  const auto allocations = [&](int tokens) {
    cu_test::WriteFile(path_, ArrayOfTokens(tokens));
    Seen seen;
    const Fault fault(Call::kMemory, 0);
    EXPECT_EQ(Load(seen), 1);
    EXPECT_EQ(seen.tokens, static_cast<uint32_t>(tokens));
    return fault.calls();
  };
  const long without_growth = allocations(2);
  EXPECT_EQ(allocations(16), without_growth);
  EXPECT_EQ(allocations(17), without_growth + 1);
  EXPECT_EQ(allocations(32), without_growth + 1);
  EXPECT_EQ(allocations(33), without_growth + 2);
}

TEST_F(LoadingUnderFaults, ABufferTakesRoomForMoreTokensAtTheThirdAndAtEachDoubling) {
  const auto allocations = [](int tokens) {
    const std::string text = ArrayOfTokens(tokens);
    Seen seen;
    const Fault fault(Call::kMemory, 0);
    EXPECT_EQ(parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 0, See, &seen), 1);
    EXPECT_EQ(seen.tokens, static_cast<uint32_t>(tokens));
    return fault.calls();
  };
  const long without_growth = allocations(2);
  EXPECT_EQ(allocations(3), without_growth + 1);
  EXPECT_EQ(allocations(4), without_growth + 1);
  EXPECT_EQ(allocations(5), without_growth + 2);
}

TEST_F(LoadingUnderFaults, AFileThatCannotBeOpenedOrMeasuredIsRefused) {
  const long descriptors = cu_test::OpenDescriptors();
  for (Call call : {Call::kFopen, Call::kFseek, Call::kFtell}) {
    for (long k = 1;; ++k) {
      Seen seen;
      Fault fault(call, k, EIO);
      const int32_t result = Load(seen);
      if (!fault.fired()) break;
      EXPECT_EQ(result, 0);
      EXPECT_EQ(seen.calls, 0);
    }
  }
  EXPECT_EQ(cu_test::OpenDescriptors(), descriptors);
}

// A read that gives nothing is the end of the file: what there is is the document.
TEST_F(LoadingUnderFaults, AReadThatGivesNothingEndsTheText) {
  Seen seen;
  {
    Fault fault(Call::kFread, 1, EIO);
    EXPECT_EQ(Load(seen), 1);
  }
  EXPECT_EQ(seen.tokens, 0u);
  EXPECT_FALSE(seen.has_text);

  cu_test::WriteFile(path_, "[1]" + std::string(1000, ' '));
  Fault fault(Call::kFread, 2, EIO);
  EXPECT_EQ(Load(seen), 1);
  EXPECT_EQ(seen.tokens, 2u);
}

TEST_F(LoadingUnderFaults, ShortReadsOnlyTakeMoreSteps) {
  for (long k = 1; k < 9; ++k) {
    Seen seen;
    Fault fault(Call::kFread, k, 0);
    EXPECT_EQ(Load(seen), 1);
    EXPECT_EQ(seen.tokens, 1000u);
  }
}

TEST_F(LoadingUnderFaults, AFailedCloseIsNoFailure) {
  Seen seen;
  Fault fault(Call::kFclose, 1, EIO);
  EXPECT_EQ(Load(seen), 1);
  EXPECT_TRUE(fault.fired());
}

TEST(ReallocUnderFaults, FreesTheOldArrayAndTheOldBuffer) {
  jsmntok_t *const tokens = realloc_it(nullptr, 4);
  char *const buffer = realloc_char(nullptr, 4);
  Fault fault(Call::kMemory, 1, ENOMEM, cu_test::Reach::kFromThen);
  EXPECT_EQ(realloc_it(tokens, 8), nullptr);  // LeakSanitizer would tell
  EXPECT_EQ(realloc_char(buffer, 8), nullptr);
  EXPECT_EQ(realloc_it(nullptr, 8), nullptr);
  EXPECT_EQ(realloc_char(nullptr, 8), nullptr);
}

TEST(GetPrimitiveUnderFaults, IsOneWithoutMemoryForALongText) {
  const std::string digits(1000, '1');
  uint32_t value = 5;
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(getPrimitive(digits.c_str(), 0, 1000, &value, JSON_PRIMITIVE_UINT32), 1);
  EXPECT_EQ(value, 5u);
}

TEST(GetJsonKeyAllocUnderFaults, GivesANullText) {
  const jsmntok_t token = {JSON_TOKEN_STRING, 0, 3, 0, -1};
  char guard = 0;
  char *key = &guard;
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(getJsonKeyAlloc("abc", &token, &key), 0);
  EXPECT_EQ(key, nullptr);
}

TEST(DumpUnderFaults, IsZeroWithoutMemoryForADeepNesting) {
  jsmntok_t tokens[200];
  for (jsmntok_t &token : tokens) token = {JSON_TOKEN_ARRAY, 0, 1, 2, -1};
  Fault fault(Call::kMemory, 1);
  EXPECT_EQ(dump("", tokens, 200, 0), 0);
  EXPECT_EQ(dump("", tokens, 200, 0), 200);
}

TEST(DumpUnderFaults, IsZeroWithoutMemoryForAContainerInPlaceOfAKey) {
  for (const int type : {JSON_TOKEN_ARRAY, JSON_TOKEN_OBJECT}) {
    // 32 levels fit; the key of the last one has a value, and is a container itself.
    jsmntok_t tokens[40];
    for (jsmntok_t &token : tokens) token = {JSON_TOKEN_ARRAY, 0, 1, 2, -1};
    tokens[31].type = JSON_TOKEN_OBJECT;
    tokens[32] = {static_cast<decltype(tokens[0].type)>(type), 0, 1, 1, -1};
    Fault fault(Call::kMemory, 1);
    EXPECT_EQ(dump("", tokens, 40, 0), 0);
    EXPECT_TRUE(fault.fired());
  }
}

}  // namespace
