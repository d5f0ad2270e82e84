#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "include/stringtemplate.h"
#include "text/heap_text.hpp"

using cu_test::Taken;

namespace {

CU_PRINTF(2, 3) int Print(char **out, const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int length = ambrel_vsnprintf(format, args, out);
  va_end(args);
  return length;
}

TEST(AmbrelVsnprintf, FormatsIntoANewStringAndReturnsItsLength) {
  char *out = nullptr;
  EXPECT_EQ(Print(&out, "%s=%d", "fan", 42), 6);
  EXPECT_EQ(Taken(out), "fan=42");
}

TEST(AmbrelVsnprintf, FormatsTextsOfEveryLength) {
  for (int width = 1; width <= 300; ++width) {
    char *out = nullptr;
    ASSERT_EQ(Print(&out, "%*d%s", width, 7, "end"), width + 3);
    ASSERT_EQ(Taken(out), std::string(static_cast<size_t>(width) - 1, ' ') + "7end");
  }
}

TEST(AmbrelVsnprintf, TakesEveryArgumentAnewForALongText) {
  const std::string text(1000, 't');
  char *out = nullptr;
  EXPECT_EQ(Print(&out, "%d %s %.2f %lld", 1, text.c_str(), 2.5, 3LL), 1009);
  EXPECT_EQ(Taken(out), "1 " + text + " 2.50 3");
}

TEST(AmbrelVsnprintf, FormatsAnEmptyText) {
  char *out = nullptr;
  EXPECT_EQ(Print(&out, "%s", ""), 0);
  EXPECT_EQ(Taken(out), "");
}

int CallWith(const char *format, char **out, ...) {
  va_list args;
  va_start(args, out);
  const int length = ambrel_vsnprintf(format, args, out);
  va_end(args);
  return length;
}

TEST(AmbrelVsnprintf, GivesMinus1ForANullFormat) {
  char kept[] = "kept";
  char *out = kept;
  EXPECT_EQ(CallWith(nullptr, &out), -1);
  EXPECT_EQ(out, kept);
}

TEST(AmbrelVsnprintf, GivesMinus1ForANullOut) {
  EXPECT_EQ(CallWith("a", nullptr), -1);
}

TEST(AmbrelVsnprintf, GivesMinus1ForWhatVsnprintfRefuses) {
  char kept[] = "kept";
  char *out = kept;
  const wchar_t unencodable[] = {0x10FFFF, 0};
  EXPECT_EQ(Print(&out, "%ls", unencodable), -1);  // the "C" locale has no such character
  EXPECT_EQ(out, nullptr);
}

}  // namespace
