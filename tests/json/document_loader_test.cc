// parseJson(), parseJsonBuffer(), realloc_it() and realloc_char().
#include <commonutilities/jsonparser.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "support/files.hpp"
#include "support/leaks.hpp"

namespace {

using cu_test::OpenDescriptors;
using cu_test::TempDir;

/// What a loader gave its callback.
struct Loaded {
  int32_t answer = 0;  // what the callback returns

  int calls = 0;
  std::optional<std::string> text;
  bool has_tokens = false;
  std::vector<jsmntok_t> tokens;
  const char *label = nullptr;
};

int32_t Take(const char *json, jsmntok_t *tokens, const char *label, uint32_t count, void *user) {
  Loaded &loaded = *static_cast<Loaded *>(user);
  ++loaded.calls;
  if (json != nullptr) loaded.text = json;
  loaded.has_tokens = tokens != nullptr;
  if (tokens != nullptr) loaded.tokens.assign(tokens, tokens + count);
  loaded.label = label;
  return loaded.answer;
}

class ParseJson : public testing::Test {
 protected:
  /// Loads a file with this content.
  int32_t Load(const std::string &content) {
    loaded_ = {};
    cu_test::WriteFile(path_, content);
    return parseJson(path_.c_str(), "label", Take, &loaded_);
  }

  TempDir dir_;
  std::string path_ = dir_.file("document.json");
  Loaded loaded_;
};

int32_t LoadBuffer(const std::string &text, Loaded &loaded, int32_t label = 0) {
  return parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), label, Take, &loaded);
}

void ExpectToken(const jsmntok_t &token, int type, int start, int end, int size, int parent) {
  EXPECT_EQ(token.type, type);
  EXPECT_EQ(token.start, start);
  EXPECT_EQ(token.end, end);
  EXPECT_EQ(token.size, size);
  EXPECT_EQ(token.parent, parent);
}

/// An array of so many zeros: one token more than elements.
std::string ArrayOf(size_t elements) {
  std::string text = "[";
  for (size_t i = 0; i < elements; ++i) text += i == 0 ? "0" : ",0";
  return text + "]";
}

// ---- documents that load ------------------------------------------------------------------------

TEST_F(ParseJson, CallsTheCallbackOnceWithTextTokensLabelCountAndUser) {
  const char *const label = "config";
  cu_test::WriteFile(path_, R"({"a":[1]})");
  EXPECT_EQ(parseJson(path_.c_str(), label, Take, &loaded_), 1);
  EXPECT_EQ(loaded_.calls, 1);
  EXPECT_EQ(loaded_.text, R"({"a":[1]})");
  EXPECT_EQ(loaded_.label, label);
  EXPECT_EQ(loaded_.tokens.size(), 4u);
}

TEST_F(ParseJson, PassesANullLabelAndANullUserOn) {
  cu_test::WriteFile(path_, "{}");
  const auto callback = [](const char *, jsmntok_t *, const char *label, uint32_t, void *user) {
    EXPECT_EQ(label, nullptr);
    EXPECT_EQ(user, nullptr);
    return 0;
  };
  EXPECT_EQ(parseJson(path_.c_str(), nullptr, callback, nullptr), 1);
}

TEST_F(ParseJson, FillsTokensWithTypeOffsetsSizeAndParent) {
  ASSERT_EQ(Load(R"({"k": [true, "s"], "o": {}})"), 1);
  ASSERT_EQ(loaded_.tokens.size(), 7u);
  ExpectToken(loaded_.tokens[0], JSMN_OBJECT, 0, 27, 2, -1);
  ExpectToken(loaded_.tokens[1], JSMN_STRING, 2, 3, 1, 0);
  ExpectToken(loaded_.tokens[2], JSMN_ARRAY, 6, 17, 2, 1);
  ExpectToken(loaded_.tokens[3], JSMN_PRIMITIVE, 7, 11, 0, 2);
  ExpectToken(loaded_.tokens[4], JSMN_STRING, 14, 15, 0, 2);
  ExpectToken(loaded_.tokens[5], JSMN_STRING, 20, 21, 1, 0);
  ExpectToken(loaded_.tokens[6], JSMN_OBJECT, 24, 26, 0, 5);
}

TEST_F(ParseJson, IgnoresWhatTheCallbackReturns) {
  cu_test::WriteFile(path_, "[]");
  for (int32_t answer : {0, 1, -1, 77}) {
    loaded_.answer = answer;
    EXPECT_EQ(parseJson(path_.c_str(), "l", Take, &loaded_), 1);
  }
}

TEST_F(ParseJson, ReadsFilesOfEveryLengthAroundItsSteps) {
  for (size_t length : {2u, 255u, 256u, 257u, 511u, 512u, 513u, 4095u, 4096u, 4097u, 70000u}) {
    SCOPED_TRACE(length);
    const std::string text = "[" + std::string(length - 2, ' ') + "]";
    EXPECT_EQ(Load(text), 1);
    EXPECT_EQ(loaded_.text, text);
    ASSERT_EQ(loaded_.tokens.size(), 1u);
    EXPECT_EQ(loaded_.tokens[0].end, static_cast<int32_t>(length));
  }
}

TEST_F(ParseJson, ReadsDocumentsOfMoreTokensThanItBeginsWith) {
  for (size_t tokens : {1u, 15u, 16u, 17u, 31u, 32u, 33u, 64u, 65u, 1000u}) {
    SCOPED_TRACE(tokens);
    EXPECT_EQ(Load(ArrayOf(tokens - 1)), 1);
    ASSERT_EQ(loaded_.tokens.size(), tokens);
    EXPECT_EQ(loaded_.tokens[0].size, static_cast<int32_t>(tokens) - 1);
    for (size_t i = 1; i < tokens; ++i) {
      const int32_t start = static_cast<int32_t>(2 * i - 1);
      ExpectToken(loaded_.tokens[i], JSMN_PRIMITIVE, start, start + 1, 0, 0);
    }
  }
}

// Whatever token the array ran out at, the tokens are those of an array that never ran out.
TEST_F(ParseJson, GoesOnWhereTheTokensRanOut) {
  const std::string element = R"({"a":"x","b":[true,{"c":-1}],"d":{}})";
  std::string inner = element;
  for (int i = 0; i < 40; ++i) inner += "," + element;
  for (const char *lead : {"", "1,", "1,2,", "1,2,3,", "1,2,3,4,", "1,2,3,4,5,", "\"a\",[],"}) {
    const std::string text = std::string("[") + lead + inner + "]";
    EXPECT_EQ(Load(text), 1);
    Loaded from_buffer;  // doubles from another size
    EXPECT_EQ(LoadBuffer(text, from_buffer), 1);
    ASSERT_EQ(loaded_.tokens.size(), from_buffer.tokens.size());
    for (size_t i = 0; i < loaded_.tokens.size(); ++i) {
      const jsmntok_t &other = from_buffer.tokens[i];
      ExpectToken(loaded_.tokens[i], other.type, other.start, other.end, other.size, other.parent);
    }
  }
}

TEST_F(ParseJson, ClosesTheFileOfADocumentThatLoads) {
  Load("{}");
  const long before = OpenDescriptors();
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Load(ArrayOf(100)), 1);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(ParseJson, GivesANullTextAndNoTokensForAnEmptyFile) {
  EXPECT_EQ(Load(""), 1);
  EXPECT_EQ(loaded_.calls, 1);
  EXPECT_FALSE(loaded_.text.has_value());
  EXPECT_TRUE(loaded_.has_tokens);
  EXPECT_EQ(loaded_.tokens.size(), 0u);
}

TEST_F(ParseJson, GivesTheTextAndNoTokensForABlankFile) {
  EXPECT_EQ(Load(" \t\r\n"), 1);
  EXPECT_EQ(loaded_.calls, 1);
  EXPECT_EQ(loaded_.text, " \t\r\n");
  EXPECT_EQ(loaded_.tokens.size(), 0u);
}

TEST_F(ParseJson, TakesANulByteForTheEndOfTheText) {
  EXPECT_EQ(Load(std::string("[1,2]\0garbage{", 14)), 1);
  EXPECT_EQ(loaded_.text, "[1,2]");
  EXPECT_EQ(loaded_.tokens.size(), 3u);
}

// jsmn's leniency reaches callbacks: keys without or with several values, missing commas.
TEST_F(ParseJson, TakesWhatJsmnTakes) {
  for (const char *text :
       {R"({"a"})", R"({"a":})", R"({"a" "b"})", R"({"a":"b":"c"})", R"({"a":1 "b":2})", "[1 2]",
        "[1,]", R"({"a":[1,]})", "{}{}", ":", ",", R"({"a":nul})", R"({"a":1:2})", "[,]",
        R"("text")", "[tru]", "[--1]", "[1.2.3]"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Load(text), 1);
    EXPECT_EQ(loaded_.calls, 1);
  }
}

// ---- documents that do not ----------------------------------------------------------------------

TEST_F(ParseJson, RefusesNullAndMissingFiles) {
  EXPECT_EQ(parseJson(nullptr, "l", Take, &loaded_), 0);
  EXPECT_EQ(parseJson(dir_.file("missing").c_str(), "l", Take, &loaded_), 0);
  EXPECT_EQ(parseJson("", "l", Take, &loaded_), 0);
  cu_test::WriteFile(path_, "{}");
  EXPECT_EQ(parseJson(path_.c_str(), "l", nullptr, &loaded_), 0);
  EXPECT_EQ(loaded_.calls, 0);
}

constexpr const char *kWithTrailingComma[] = {
    R"({"a":1,})",           R"({"a":1 , })",        "{\"a\":1,\t\r\n }", R"({,})",
    R"([{"a":{"b":1,}}])",   R"({"a":[1],"b":{},})", R"({"a":"x",})",     R"({"a":{,}})",
    R"([{"a":1},{"b":2,}])", R"({"a":1,"b":2,,})",   R"({"a":[1,],})",    R"({"a",})"};

TEST_F(ParseJson, RefusesATrailingCommaInAnyObjectAndReleasesEverything) {
  Load("{}");
  const long before = OpenDescriptors();
  for (const char *text : kWithTrailingComma) {
    EXPECT_EQ(Load(text), 0) << text;
    EXPECT_EQ(loaded_.calls, 0) << text;
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(ParseJson, TakesCommasInTextsAndArraysBeforeABrace) {
  for (const char *text : {R"({"a":","})", R"({"a":"1,}"})", R"({"a,":"},"})", R"([{"a":[1,]},])"})
    EXPECT_EQ(Load(text), 1) << text;
}

constexpr const char *kBadCharacter[] = {
    "{]",           "[}",      "}",   "]", "x", "[+1]", "{1:2}", R"(["\x"])", R"(["\u12g4"])",
    "{\"a\":\x01}", "[1\x7f]", "{{}}"};
constexpr const char *kCutOff[] = {"{",       "[", R"(["a)", R"({"a":)",  R"({"a":1)", "[1",
                                   R"(["a\)", "7", "true",   R"(["\u12)", "[[[[[["};

TEST_F(ParseJson, RefusesWhatJsmnRefuses) {
  const cu_test::MayLeak lost;
  for (const char *text : kBadCharacter) {
    EXPECT_EQ(Load(text), 0) << text;
    EXPECT_EQ(loaded_.calls, 0) << text;
  }
  for (const char *text : kCutOff) {
    EXPECT_EQ(Load(text), 0) << text;
    EXPECT_EQ(loaded_.calls, 0) << text;
  }
}

// A daemon that reads malformed files again and again runs out of descriptors: documents that may
// be malformed are to be checked with parseJsonBuffer().
TEST_F(ParseJson, LeavesOneDescriptorOpenForEachMalformedFile) {
  const cu_test::MayLeak lost;
  Load("{}");
  for (const char *text : {"{]", R"(["a)"}) {
    const long before = OpenDescriptors();
    for (int i = 1; i <= 5; ++i) {
      EXPECT_EQ(Load(text), 0);
      EXPECT_EQ(OpenDescriptors(), before + i) << text;
    }
  }
}

TEST_F(ParseJson, KeepsTheTokensOfEachMalformedFile) {
  if (!cu_test::CountsAllocatedBytes()) GTEST_SKIP() << "this build does not count allocations";
  const cu_test::MayLeak lost;
  Load("]");
  for (const std::string &text : {"[" + ArrayOf(10000), ArrayOf(10000) + "]"}) {
    const size_t before = cu_test::AllocatedBytes();
    EXPECT_EQ(Load(text), 0);
    // 16384 tokens of 20 bytes; the text of 20 KB is released, the stream's buffer of 4 KB is not.
    const size_t lost_bytes = cu_test::AllocatedBytes() - before;
    EXPECT_GT(lost_bytes, 16384u * 20);
    EXPECT_LT(lost_bytes, 16384u * 20 + 15000);
  }
}

// A daemon that goes on and reloads a malformed file loses this much each time, and nothing
// besides.
TEST_F(ParseJson, LosesAStreamAndItsTokensToTheByteWithEachReloadOfAMalformedFile) {
  if (!cu_test::CountsAllocatedBytes()) GTEST_SKIP() << "this build does not count allocations";
  const cu_test::MayLeak lost;
  constexpr int kReloads = 100;
  cu_test::WriteFile(path_, R"({"a":[1,2,3)");
  const auto bytes_of = [](auto work) {
    for (int i = 0; i < 10; ++i) work();  // takes what former tests left free
    const size_t before = cu_test::AllocatedBytes();
    for (int i = 0; i < kReloads; ++i) work();
    return cu_test::AllocatedBytes() - before;
  };
  const size_t expected = bytes_of([this] {
    FILE *const stream = fopen(path_.c_str(), "re");
    EXPECT_EQ('{', getc(stream));
    EXPECT_NE(nullptr, calloc(16, sizeof(jsmntok_t)));
  });
  const long before = OpenDescriptors();
  const size_t bytes = bytes_of([this] { parseJson(path_.c_str(), "label", Take, &loaded_); });
  EXPECT_EQ(expected, bytes);
  EXPECT_EQ(before + 10 + kReloads, OpenDescriptors());
  EXPECT_EQ(0, loaded_.calls);
}

TEST_F(ParseJson, LosesNothingOnDocumentsThatLoadOrEndInACommaOrAreMissing) {
  if (!cu_test::CountsAllocatedBytes()) GTEST_SKIP() << "this build does not count allocations";
  const auto load_all = [this] {
    Load(ArrayOf(10000));
    Load("[" + ArrayOf(10000) + R"(,{"a":1,}])");
    Load("");
    loaded_ = {};
  };
  load_all();
  const size_t before = cu_test::AllocatedBytes();
  for (int i = 0; i < 3; ++i) load_all();
  EXPECT_LE(cu_test::AllocatedBytes(), before + 1000);
}

TEST_F(ParseJson, SurvivesADirectory) {
  EXPECT_LE(parseJson(dir_.path().c_str(), "l", Take, &loaded_), 1);
  EXPECT_EQ(loaded_.tokens.size(), 0u);
}

// A file that has a length and cannot be read is no empty document.
TEST_F(ParseJson, RefusesAFileWhoseReadFails) {
  const char *const path = "/sys/class/net/lo/speed";  // the loopback device has none
  const int file = open(path, O_RDONLY);
  char byte;
  if (file < 0 || lseek(file, 0, SEEK_END) <= 0 || pread(file, &byte, 1, 0) >= 0) {
    if (file >= 0) close(file);
    GTEST_SKIP() << "there is no such file here";
  }
  close(file);
  const long descriptors = cu_test::OpenDescriptors();
  EXPECT_EQ(parseJson(path, "l", Take, &loaded_), 0);
  EXPECT_EQ(loaded_.calls, 0);
  EXPECT_EQ(cu_test::OpenDescriptors(), descriptors);
}

TEST_F(ParseJson, SurvivesFilesWhoseLengthCannotBeTold) {
  const std::string fifo = dir_.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const int writer = open(fifo.c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(write(writer, "{}", 2), 2);
  EXPECT_EQ(parseJson(fifo.c_str(), "l", Take, &loaded_), 0);
  close(writer);
}

TEST_F(ParseJson, ReadsFilesThatSayLengthZeroAsEmpty) {
  for (const char *path : {"/dev/zero", "/dev/null", "/proc/self/status"}) {
    SCOPED_TRACE(path);
    loaded_ = {};
    EXPECT_EQ(parseJson(path, "l", Take, &loaded_), 1);
    EXPECT_FALSE(loaded_.text.has_value());
    EXPECT_EQ(loaded_.tokens.size(), 0u);
  }
}

// Every prefix of a document is refused, except those that are documents themselves.
TEST_F(ParseJson, RefusesEveryPrefixOfAnObject) {
  const cu_test::MayLeak lost;
  const std::string text = R"({"a":[1,"b",{"c":null}],"d":-1.5e3})";
  EXPECT_EQ(Load(text), 1);
  for (size_t length = 1; length < text.size(); ++length) {
    EXPECT_EQ(Load(text.substr(0, length)), 0) << length;
    EXPECT_EQ(loaded_.calls, 0) << length;
  }
}

// ---- buffers ------------------------------------------------------------------------------------

TEST(ParseJsonBuffer, CallsTheCallbackOnceWithATerminatedCopy) {
  const char unterminated[] = {'[', '1', ']', 'x', 'y'};
  Loaded loaded;
  EXPECT_EQ(parseJsonBuffer(unterminated, 3, 0, Take, &loaded), 1);
  EXPECT_EQ(loaded.calls, 1);
  EXPECT_EQ(loaded.text, "[1]");
  EXPECT_EQ(loaded.tokens.size(), 2u);
}

TEST(ParseJsonBuffer, PassesTheLabelOnUnchanged) {
  for (int32_t label : {0, 1, -1, INT32_MAX, INT32_MIN}) {
    Loaded loaded;
    EXPECT_EQ(LoadBuffer("{}", loaded, label), 1);
    EXPECT_EQ(static_cast<int32_t>(reinterpret_cast<intptr_t>(loaded.label)), label);
  }
}

TEST(ParseJsonBuffer, IsOneOnlyWhenTheCallbackReturnsZero) {
  for (int32_t answer : {1, -1, 2, INT32_MIN}) {
    Loaded loaded;
    loaded.answer = answer;
    EXPECT_EQ(LoadBuffer("{}", loaded), 0) << answer;
    EXPECT_EQ(loaded.calls, 1);
  }
  Loaded loaded;
  EXPECT_EQ(LoadBuffer("{}", loaded), 1);
}

TEST(ParseJsonBuffer, ReadsDocumentsOfMoreTokensThanItBeginsWith) {
  for (size_t tokens : {1u, 2u, 3u, 4u, 5u, 8u, 9u, 100u}) {
    Loaded loaded;
    EXPECT_EQ(LoadBuffer(ArrayOf(tokens - 1), loaded), 1);
    EXPECT_EQ(loaded.tokens.size(), tokens);
  }
}

TEST(ParseJsonBuffer, GivesAnEmptyTextForNoBytes) {
  Loaded loaded;
  EXPECT_EQ(parseJsonBuffer("x", 0, 0, Take, &loaded), 1);
  EXPECT_EQ(loaded.text, "");
  EXPECT_EQ(loaded.tokens.size(), 0u);
}

TEST(ParseJsonBuffer, TakesANulByteForTheEndOfTheText) {
  Loaded loaded;
  EXPECT_EQ(LoadBuffer(std::string("[1]\0{{{", 7), loaded), 1);
  EXPECT_EQ(loaded.text, "[1]");
  EXPECT_EQ(loaded.tokens.size(), 2u);
}

TEST(ParseJsonBuffer, RefusesMalformedTextsAndLosesNothing) {
  const long before = OpenDescriptors();
  Loaded loaded;
  for (const char *text : kBadCharacter) EXPECT_EQ(LoadBuffer(text, loaded), 0) << text;
  for (const char *text : kCutOff) EXPECT_EQ(LoadBuffer(text, loaded), 0) << text;
  for (const char *text : kWithTrailingComma) EXPECT_EQ(LoadBuffer(text, loaded), 0) << text;
  EXPECT_EQ(loaded.calls, 0);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(ParseJsonBuffer, RefusesNullArgumentsAndLengthsBeyondItsOffsets) {
  Loaded loaded;
  EXPECT_EQ(parseJsonBuffer(nullptr, 2, 0, Take, &loaded), 0);
  EXPECT_EQ(parseJsonBuffer("{}", 2, 0, nullptr, &loaded), 0);
  EXPECT_EQ(parseJsonBuffer("{}", UINT32_MAX, 0, Take, &loaded), 0);
  EXPECT_EQ(parseJsonBuffer("{}", static_cast<uint32_t>(INT32_MAX) + 1, 0, Take, &loaded), 0);
  EXPECT_EQ(loaded.calls, 0);
}

// ---- growing ------------------------------------------------------------------------------------

TEST(ReallocIt, MakesAZeroedArrayFromNull) {
  jsmntok_t *const tokens = realloc_it(nullptr, 3);
  ASSERT_NE(tokens, nullptr);
  const jsmntok_t zeros[3] = {};
  EXPECT_EQ(memcmp(tokens, zeros, sizeof zeros), 0);
  free(tokens);
}

TEST(ReallocIt, KeepsTheTokensThatFit) {
  jsmntok_t *tokens = realloc_it(nullptr, 2);
  tokens[1] = {JSMN_STRING, 1, 2, 3, 4};
  tokens = realloc_it(tokens, 1000);
  ASSERT_NE(tokens, nullptr);
  ExpectToken(tokens[1], JSMN_STRING, 1, 2, 3, 4);
  memset(tokens, 0, 1000 * sizeof *tokens);  // all of it is there
  tokens = realloc_it(tokens, 1);
  ASSERT_NE(tokens, nullptr);
  free(tokens);
}

TEST(ReallocIt, FreesTheArrayForACountOfZero) {
  EXPECT_EQ(realloc_it(realloc_it(nullptr, 2), 0), nullptr);
}

TEST(ReallocIt, RefusesCountsWhoseSizeOverflows) {
  if (sizeof(size_t) > 4) GTEST_SKIP() << "no count overflows here";
  EXPECT_EQ(realloc_it(nullptr, UINT32_MAX), nullptr);
  EXPECT_EQ(realloc_it(realloc_it(nullptr, 2), 214748365), nullptr);  // 20 times it is 4
}

TEST(ReallocChar, MakesAZeroedBufferFromNull) {
  char *const buffer = realloc_char(nullptr, 5);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(std::string(buffer, 5), std::string(5, '\0'));
  free(buffer);
}

TEST(ReallocChar, KeepsTheBytesThatFit) {
  char *buffer = realloc_char(nullptr, 3);
  memcpy(buffer, "abc", 3);
  buffer = realloc_char(buffer, 5000);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(std::string(buffer, 3), "abc");
  buffer[4999] = 'x';
  free(buffer);
}

TEST(ReallocChar, FreesTheBufferForASizeOfZero) {
  EXPECT_EQ(realloc_char(realloc_char(nullptr, 2), 0), nullptr);
}

}  // namespace
