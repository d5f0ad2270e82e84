// What is behind the exported names: the pair that the library itself logs with, time stamps of
// chosen moments, the header's codec.
#include <limits.h>
#include <stdlib.h>

#include <algorithm>

#include "internal/log_pair.hpp"
#include "logging/log_format.hpp"
#include "logging/logging_fixture.hpp"
#include "logging/time_stamp.hpp"

namespace {

using namespace cu_test;

constexpr char kLogModule[] = "pairmodule";

using LogPair = LoggingTest;

TEST_F(LogPair, WritesToTheFileAndThenToTheConsole) {
  StartWithConsole();
  CU_LOG(DBGLOG_WARNING, "fan %d of %s\n", 3, "rack");
  const int line = __LINE__ - 1;
  const std::string text = "][pairmodule:" + std::to_string(line) + "]fan 3 of rack\n";
  EXPECT_EQ(Tag(DBGLOG_WARNING) + text, WithoutStamp(LogText()));
  EXPECT_EQ(Tag(DBGLOG_WARNING) + text + "\n", console_.Take());
  EXPECT_EQ(Log().size(), HeaderPosition());
}

TEST_F(LogPair, TakesATextWithoutArguments) {
  StartWithConsole();
  CU_LOG(DBGLOG_ERROR, "no memory\n");
  EXPECT_NE(std::string::npos, LogText().find("]no memory\n"));
  EXPECT_NE(std::string::npos, console_.Take().find("]no memory\n\n"));
}

TEST_F(LogPair, ReachesTheFileAloneWhileTheConsoleIsOff) {
  Start();
  CU_LOG(DBGLOG_ERROR, "text\n");
  EXPECT_NE(std::string::npos, LogText().find("]text\n"));
  EXPECT_EQ("", console_.Take());
}

TEST_F(LogPair, ReachesTheConsoleAloneWhileNoFileIsOpen) {
  StartWithConsole();
  fclose(gDBGLogCtrl->logFile);
  gDBGLogCtrl->logFile = nullptr;
  CU_LOG(DBGLOG_ERROR, "text\n");
  EXPECT_NE(std::string::npos, console_.Take().find("]text\n"));
}

TEST_F(LogPair, IsSilentWhileLoggingIsOff) {
  StartWithConsole();
  gDBGLogCtrl->loggingEnabled = 0;
  CU_LOG(DBGLOG_ERROR, "text\n");
  EXPECT_EQ("", LogText());
  EXPECT_EQ("", console_.Take());
}

TEST_F(LogPair, IsSilencedForTheConsoleByAWrapOfTheFile) {
  Settings("LOGLEVEL: 1023\nCONSOLE: true\n");
  ASSERT_EQ(1, Init(100));
  console_.Take();
  CU_LOG(DBGLOG_ERROR, "%0100d\n", 1);
  EXPECT_EQ(4u, HeaderPosition());
  EXPECT_EQ("", console_.Take());
}

TEST_F(LogPair, EvaluatesItsArgumentsOnceAndOnlyForALevelThatIsOn) {
  int evaluated = 0;
  CU_LOG(DBGLOG_ERROR, "%d\n", ++evaluated);  // no logger
  EXPECT_EQ(0, evaluated);
  Start();
  CU_LOG(DBGLOG_ERROR, "%d\n", ++evaluated);
  EXPECT_EQ(1, evaluated);
  DbgLog_ChangeLogSettings(kAllLevels & ~(1u << DBGLOG_ERROR));
  CU_LOG(DBGLOG_ERROR, "%d\n", ++evaluated);
  EXPECT_EQ(1, evaluated);
}

TEST_F(LogPair, IsOneStatement) {
  Start();
  bool other = false;
  if (gDBGLogCtrl == nullptr)
    CU_LOG(DBGLOG_ERROR, "text\n");
  else
    other = true;
  EXPECT_TRUE(other);
  EXPECT_EQ("", LogText());
}

/// The stamp of a moment.
std::string StampOf(time_t seconds, long nanoseconds) {
  timespec moment = {};
  moment.tv_sec = seconds;
  moment.tv_nsec = nanoseconds;
  char text[cu::kTimeStampSize];
  char *const end = cu::AppendTimeStamp(text, moment);
  return {text, static_cast<size_t>(end - text)};
}

TEST(TimeStamp, IsOneNumberOfNanoseconds) {
  EXPECT_EQ("1700000000123456789", StampOf(1700000000, 123456789));
  EXPECT_EQ("1700000000000000000", StampOf(1700000000, 0));
  EXPECT_EQ("1700000000000000001", StampOf(1700000000, 1));
  EXPECT_EQ("1999999999", StampOf(1, 999999999));
  EXPECT_EQ("1000000000", StampOf(1, 0));
  EXPECT_EQ("2147483647999999999", StampOf(INT32_MAX, 999999999));
}

TEST(TimeStamp, HasNoLeadingZerosInTheFirstSecond) {
  EXPECT_EQ("0", StampOf(0, 0));
  EXPECT_EQ("7", StampOf(0, 7));
  EXPECT_EQ("999999999", StampOf(0, 999999999));
}

TEST(TimeStamp, IsUnsignedForEveryClock) {
  EXPECT_EQ("18446744072709551616", StampOf(-1, 0));
  if (sizeof(time_t) > 4) {
    EXPECT_EQ("4294967295999999999", StampOf(static_cast<time_t>(4294967295LL), 999999999));
    EXPECT_EQ("4294967296000000000", StampOf(static_cast<time_t>(4294967296LL), 0));
    EXPECT_EQ("18446744073000000000", StampOf(static_cast<time_t>(18446744073LL), 0));
  }
}

TEST(TimeStamp, EqualsThePrintedNumberForRandomMoments) {
  srand(1);
  for (int i = 0; i < 20000; ++i) {
    const time_t seconds = i % 3 == 0 ? rand() % 100 : rand();
    const long nanoseconds = i % 5 == 0 ? rand() % 1000 : rand() % 1000000000;
    char expected[32];
    snprintf(expected, sizeof expected, "%llu",
             static_cast<unsigned long long>(seconds) * 1000000000ULL +
                 static_cast<unsigned long long>(nanoseconds));
    ASSERT_EQ(expected, StampOf(seconds, nanoseconds));
  }
}

TEST(LogHeader, IsALittleEndianNumber) {
  EXPECT_EQ((cu::LogHeader{4, 0, 0, 0}), cu::EncodeLogHeader(4));
  EXPECT_EQ((cu::LogHeader{0x78, 0x56, 0x34, 0x12}), cu::EncodeLogHeader(0x12345678));
  EXPECT_EQ((cu::LogHeader{0xFF, 0xFF, 0xFF, 0x7F}), cu::EncodeLogHeader(INT32_MAX));
  for (const int32_t position : {4, 255, 256, 65536, 0x12345678, INT32_MAX, -1, INT32_MIN}) {
    EXPECT_EQ(position, cu::DecodeLogHeader(cu::EncodeLogHeader(position)));
  }
}

}  // namespace
