#include "logging/message_format.hpp"

#include <gtest/gtest.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

/// Formats into a field of `room` bytes and expects it to hold what vsnprintf() leaves there.
void ExpectAsPrintf(size_t room, const char *format, ...) {
  std::string expected(room + 8, '#'), field(room + 8, '#');
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(expected.data(), room, format, arguments);
  va_end(arguments);
  va_start(arguments, format);
  const size_t length = cu::FormatMessage(field.data(), room, format, arguments);
  va_end(arguments);
  EXPECT_STREQ(expected.c_str(), field.c_str()) << format << " in " << room;
  EXPECT_EQ(std::min(strlen(expected.c_str()), room - 1), length) << format << " in " << room;
  EXPECT_EQ("########", field.substr(room)) << format << " in " << room;
}

TEST(FormatMessage, PrintsStringsAndNumbersAsPrintf) {
  ExpectAsPrintf(200, "");
  ExpectAsPrintf(200, "no conversion\n");
  ExpectAsPrintf(200, "[%s:%d]Sensor %s reads %d of %u\n", "fans.c", 17, "inlet", -42, 100U);
  for (const int value : {0, 1, -1, 9, 10, -10, INT_MAX, INT_MIN}) {
    ExpectAsPrintf(200, "%d", value);
    ExpectAsPrintf(200, "%u%d", static_cast<unsigned>(value), value);
  }
  ExpectAsPrintf(200, "%s%s", "", "");
}

TEST(FormatMessage, PrintsEveryOtherConversionAsPrintf) {
  ExpectAsPrintf(200, "%d%% of %5d, %-4d|%04d", 5, 6, 7, 8);
  ExpectAsPrintf(200, "%s %.2s %8s %p", "a", "bcd", "e", nullptr);
  ExpectAsPrintf(200, "%d %ld %lld %hhd %zu", 1, 2L, 3LL, 4, sizeof(int));
  ExpectAsPrintf(200, "%s %x %c %f %g", "text", 255, 'c', 1.5, 2.5);
  ExpectAsPrintf(200, "%2$s %1$d", 5, "behind");
  // Read from variables: a compiler would tell that these are strange.
  const char *const lone = "%d %";
  const char *const unknown = "%s %!";
  ExpectAsPrintf(200, lone, 1);
  ExpectAsPrintf(200, unknown, "text");
}

TEST(FormatMessage, PrintsANullStringAsPrintf) {
  const char *volatile null = nullptr;
  ExpectAsPrintf(200, "name %s of %d\n", null, 3);
}

TEST(FormatMessage, EndsAtANulThatIsPrinted) {
  char field[40];
  const auto format = [&](const char *text, ...) {
    va_list arguments;
    va_start(arguments, text);
    const size_t length = cu::FormatMessage(field, sizeof field, text, arguments);
    va_end(arguments);
    return length;
  };
  EXPECT_EQ(3u, format("%s%c%s", "abc", 0, "def"));
  EXPECT_STREQ("abc", field);
}

TEST(FormatMessage, DropsWhatDoesNotFit) {
  for (size_t room = 1; room < 40; ++room) {
    ExpectAsPrintf(room, "plain text of some length");
    ExpectAsPrintf(room, "%s and %d", "a string", INT_MIN);
    ExpectAsPrintf(room, "%u", UINT_MAX);
    ExpectAsPrintf(room, "%.3f and %s", 1.25, "more");
  }
}

TEST(FormatMessage, PrintsRandomMessagesAsPrintf) {
  std::mt19937 random(20261121);
  static constexpr const char *kPieces[] = {"%d", "%d", "%u", "%d ", "text ",
                                            "",   "%%", "%x", "%5d"};
  for (int i = 0; i < 20000; ++i) {
    std::string format;
    int conversions = 0;
    while (conversions < 4) {
      const char *const piece = kPieces[random() % std::size(kPieces)];
      conversions += piece[0] == '%' && piece[1] != '%';
      format += piece;
    }
    const auto number = [&] { return static_cast<int>(random() >> random() % 32); };
    ExpectAsPrintf(1 + random() % 64, format.c_str(), number(), number(), number(), number());
  }
}

}  // namespace
