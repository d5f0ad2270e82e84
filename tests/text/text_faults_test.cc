// Every allocation of the text functions fails once.
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "include/stringtemplate.h"
#include "include/stringutils.h"
#include "include/valueformat.h"
#include "support/faults.hpp"
#include "text/heap_text.hpp"

using cu_test::Call;
using cu_test::Fault;
using cu_test::Taken;

namespace {

/// Runs `scenario` with its k-th allocation failing, for every k. It is told whether one has
/// failed, through the fault, and checks its result. Returns how many allocations it makes.
template <typename Scenario>
long FailEachAllocation(Scenario scenario) {
  for (long k = 1;; ++k) {
    SCOPED_TRACE("allocation " + std::to_string(k));
    const Fault fault(Call::kMemory, k);
    scenario(fault);
    if (!fault.fired()) return k - 1;
  }
}

TEST(TextWithoutMemory, NewStringsAreNull) {
  char *(*const makers[])() = {
      [] { return concatStrings("a", "b"); },     [] { return joinPath("a", "b"); },
      [] { return get_until("a=b", "="); },       [] { return toLower("ABC"); },
      [] { return ambrelCloneString("abc", 3); }, [] { return AmbrelSetStringValue("abc"); },
  };
  for (const auto make : makers) {
    const long allocations = FailEachAllocation([=](const Fault &fault) {
      char *const string = make();
      EXPECT_EQ(string == nullptr, fault.fired());
      free(string);
    });
    EXPECT_EQ(allocations, 1);
  }
}

template <typename Format>
void ExpectNullWithoutMemory(Format format) {
  const long allocations = FailEachAllocation([=](const Fault &fault) {
    char kept[] = "kept";
    char *out = kept;
    const bool failed = format(&out) == nullptr;
    EXPECT_EQ(failed, fault.fired());
    EXPECT_NE(out, kept);
    EXPECT_EQ(out == nullptr, fault.fired());
    free(out);
  });
  EXPECT_EQ(allocations, 1);
}

TEST(TextWithoutMemory, FormattersStoreAndReturnNull) {
  ExpectNullWithoutMemory([](char **out) { return getIntegerAsString(-5, out); });
  ExpectNullWithoutMemory([](char **out) { return getUnsignedIntegerAsString(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getLongAsString(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getUnsignedLongAsString(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getShortAsString(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getUnsignedShortAsString(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getInteger8AsString(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getUnsignedInteger8AsString(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getUnsignedInteger8AsStringPad(5, out); });
  ExpectNullWithoutMemory([](char **out) { return getBooleanAsString(1, out); });
  ExpectNullWithoutMemory([](char **out) { return getFloatAsString(2, out, 2.5F); });
  ExpectNullWithoutMemory([](char **out) { return getDoubleAsString(2, out, 2.5); });
  ExpectNullWithoutMemory([](char **out) { return getDoubleAsIntOrDoubleString(2, out, 2.5); });
  ExpectNullWithoutMemory([](char **out) { return getDoubleAsIntOrDoubleString(2, out, 2); });
}

TEST(TextWithoutMemory, ByteConversionsGive0AndNull) {
  FailEachAllocation([](const Fault &fault) {
    char *out = nullptr;
    const int result = convertByteArraytoString("abc", 3, &out);
    EXPECT_EQ(result, fault.fired() ? 0 : 1);
    EXPECT_EQ(out == nullptr, fault.fired());
    free(out);
  });
  FailEachAllocation([](const Fault &fault) {
    uint8_t *out = nullptr;
    uint32_t length = 99;
    const int result = convertStringToByteArray("abc", &out, &length);
    EXPECT_EQ(result, fault.fired() ? 0 : 1);
    EXPECT_EQ(out == nullptr, fault.fired());
    EXPECT_EQ(length, fault.fired() ? 0U : 3U);
    free(out);
  });
}

TEST(TextWithoutMemory, TokenizersGive0AndReleaseTheList) {
  // Nine tokens need the array twice.
  for (const char *const delimiters : {",", ",;"}) {
    for (const auto tokenize : {tokenizeString, tokenizeStringWithNoSpaces}) {
      const long allocations = FailEachAllocation([=](const Fault &fault) {
        TokenList list = {};
        const int result = tokenize("a,b,c,d,e,f,g,h,i", delimiters, &list);
        EXPECT_EQ(result, fault.fired() ? 0 : 1);
        EXPECT_EQ(list.tokens == nullptr, fault.fired());
        FreeTokens(&list);
      });
      EXPECT_GE(allocations, 11);
    }
  }
}

TEST(TextWithoutMemory, ATokenizerThatFailsReleasesEarlierTokensToo) {
  for (long k = 1;; ++k) {
    TokenList list = {};
    ASSERT_EQ(tokenizeString("earlier", ",", &list), 1);
    const Fault fault(Call::kMemory, k);
    const int result = tokenizeString("a,b", ",", &list);
    EXPECT_EQ(result, fault.fired() ? 0 : 1);
    EXPECT_EQ(list.tokens == nullptr, fault.fired());
    FreeTokens(&list);
    if (!fault.fired()) return;
  }
}

TEST(TextWithoutMemory, ATokenizerWithoutItsWorkingCopyLeavesTheListAlone) {
  TokenList list = {};
  ASSERT_EQ(tokenizeString("earlier", ",", &list), 1);
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(tokenizeString("a,b", ",;", &list), 0);
  }
  EXPECT_EQ(list.count, 1);
  EXPECT_EQ(Taken(list), std::vector<std::string>{"earlier"});
}

TEST(TextWithoutMemory, CreateStringWithArgsGives0AndLeavesOutAlone) {
  const std::string text(500, 't');
  const long allocations = FailEachAllocation([&](const Fault &fault) {
    char *out = nullptr;
    const int result =
        CreateStringWithArgs("%s,%d,%f,%c,%s", &out, 5, text.c_str(), 1, 2.5, 'c', "end");
    EXPECT_EQ(result, fault.fired() ? 0 : 1);
    EXPECT_EQ(out == nullptr, fault.fired());
    EXPECT_EQ(Taken(out), fault.fired() ? "(null)" : text + ",1,2.5000,c,end");
  });
  EXPECT_GE(allocations, 2);
}

TEST(TextWithoutMemory, CreateStringWithArgsSaysNothingOnceItHasFailed) {
  const std::string format = "%s%q" + std::string(500, 't') + "%q";
  char *out = nullptr;
  testing::internal::CaptureStdout();
  for (long call = 1; call <= 2; ++call) {
    const Fault fault(Call::kMemory, call);
    EXPECT_EQ(CreateStringWithArgs(format.c_str(), &out, 0, std::string(2000, 's').c_str()), 0);
  }
  {
    // The growth is for the characters before the conversion.
    const Fault fault(Call::kMemory, 2);
    const std::string plain(1000, 't');
    EXPECT_EQ(CreateStringWithArgs(("%s" + plain + "%q").c_str(), &out, 1, plain.c_str()), 0);
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(out, nullptr);
}

TEST(TextWithoutMemory, AFailedGrowthEmptiesTheBox) {
  BufferBox box = {};
  FailEachAllocation([&](const Fault &fault) {
    const bool added = AddDataToBufferBox(&box, "abc", 3) == 1 &&
                       AddDataToBufferBox(&box, std::string(300, 'x').data(), 300) == 1;
    EXPECT_EQ(added, !fault.fired());
    EXPECT_EQ(box.data == nullptr, fault.fired());
    EXPECT_EQ(box.length, fault.fired() ? 0U : 303U);
    EXPECT_EQ(box.capacity, fault.fired() ? 0U : 304U);
    free(box.data);
    box = {};
  });
}

TEST(TextWithoutMemory, NamedArgsGive0AndLeaveOutAlone) {
  const std::string value(500, 'v');
  const NamedArg args[] = {{"v", value.c_str()}};
  const long allocations = FailEachAllocation([&](const Fault &fault) {
    char *out = nullptr;
    const int result = ambrel_createstring_namedargs("x{v}y", 1, args, &out);
    EXPECT_EQ(result, fault.fired() ? 0 : 1);
    EXPECT_EQ(out == nullptr, fault.fired());
    EXPECT_EQ(Taken(out), fault.fired() ? "(null)" : "x" + value + "y");
  });
  EXPECT_EQ(allocations, 2);
}

int Print(char **out, const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int length = ambrel_vsnprintf(format, args, out);
  va_end(args);
  return length;
}

TEST(TextWithoutMemory, VsnprintfGivesMinus1AndNull) {
  for (const int width : {5, 500}) {
    FailEachAllocation([=](const Fault &fault) {
      char kept[] = "kept";
      char *out = kept;
      const int result = Print(&out, "%*d", width, 1);
      EXPECT_EQ(result, fault.fired() ? -1 : width);
      EXPECT_NE(out, kept);
      EXPECT_EQ(out == nullptr, fault.fired());
      free(out);
    });
  }
}

TEST(TextWithoutMemory, TemporaryNameIsNullAndTheResultStill1) {
  FailEachAllocation([](const Fault &fault) {
    char kept[] = "kept";
    char *out = kept;
    EXPECT_EQ(aeCreateTemporaryName("p", 4, &out), 1);
    EXPECT_EQ(out == nullptr, fault.fired());
    free(out);
  });
}

}  // namespace
