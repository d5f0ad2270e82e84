// The settings file: its keys, how values are found, and what an unreadable file does.
#include <sys/socket.h>
#include <sys/un.h>

#include "logging/logging_fixture.hpp"

namespace {

using namespace cu_test;

constexpr uint32_t kUntouched = 0xA5A5A5A5;
constexpr uint8_t kSwitchUntouched = 7;

class GetLogSettingsFromFile : public LoggingTest {
 protected:
  struct Read {
    int result;
    uint32_t mask;
    uint8_t console;
    uint8_t syslog;
    bool operator==(const Read &) const = default;
  };

  GetLogSettingsFromFile() { Start(); }

  /// What a settings file with this text gives.
  Read Try(const std::string &text) {
    Settings(text);
    gDBGLogCtrl->consoleEnabled = kSwitchUntouched;
    gDBGLogCtrl->syslogEnabled = kSwitchUntouched;
    uint32_t mask = kUntouched;
    const int result = DbgLog_GetLogSettingsFromFile(&mask);
    return {result, mask, gDBGLogCtrl->consoleEnabled, gDBGLogCtrl->syslogEnabled};
  }

  uint32_t Mask(const std::string &text) { return Try(text).mask; }
  int Console(const std::string &text) { return Try(text).console; }
  int Syslog(const std::string &text) { return Try(text).syslog; }
};

TEST_F(GetLogSettingsFromFile, ReadsTheThreeKeys) {
  EXPECT_EQ((Read{1, 255, 1, 0}), Try("LOGLEVEL: 255\nCONSOLE: true\nSYSLOG: false\n"));
  EXPECT_EQ((Read{1, 8, 0, 1}), Try("SYSLOG: true\nLOGLEVEL: 8\nCONSOLE: false\n"));
  EXPECT_EQ("", console_.Take());
}

TEST_F(GetLogSettingsFromFile, WritesTheMaskWhereItWasAsked) {
  Try("LOGLEVEL: 1\n");
  EXPECT_EQ(kAllLevels, gDBGLogCtrl->logLevelMask);
  EXPECT_EQ(1, DbgLog_GetLogSettingsFromFile(&gDBGLogCtrl->logLevelMask));
  EXPECT_EQ(1u, gDBGLogCtrl->logLevelMask);
}

TEST_F(GetLogSettingsFromFile, LeavesAloneWhatTheFileDoesNotName) {
  EXPECT_EQ((Read{1, kUntouched, kSwitchUntouched, kSwitchUntouched}), Try(""));
  EXPECT_EQ((Read{1, kUntouched, kSwitchUntouched, kSwitchUntouched}),
            Try("# nothing\n\n:\n: 5\n"));
  EXPECT_EQ((Read{1, 5, kSwitchUntouched, kSwitchUntouched}), Try("LOGLEVEL: 5\n"));
  EXPECT_EQ((Read{1, kUntouched, 1, kSwitchUntouched}), Try("CONSOLE: true\n"));
  EXPECT_EQ((Read{1, kUntouched, kSwitchUntouched, 1}), Try("SYSLOG: true\n"));
}

TEST_F(GetLogSettingsFromFile, TakesADecimalMask) {
  const struct {
    const char *line;
    uint32_t mask;
  } kRows[] = {
      {"LOGLEVEL: 0", 0},
      {"LOGLEVEL: 255", 255},
      {"LOGLEVEL: 0255", 255},
      {"LOGLEVEL:     7", 7},
      {"LOGLEVEL: 12abc", 12},
      {"LOGLEVEL: 1 2", 1},
      {"LOGLEVEL: 0x1F", 0},
      {"LOGLEVEL: abc", 0},
      {"LOGLEVEL: ", 0},
      {"LOGLEVEL: -5", 0},
      {"LOGLEVEL: +5", 0},
      {"LOGLEVEL: \t5", 0},
      {"LOGLEVEL: 4294967295", 0xFFFFFFFF},
      {"LOGLEVEL: 4294967296", 0xFFFFFFFF},
      {"LOGLEVEL: 99999999999999999999999999999999", 0xFFFFFFFF},
  };
  for (const auto &row : kRows) {
    EXPECT_EQ(row.mask, Mask(row.line)) << row.line;
    EXPECT_EQ(row.mask, Mask(row.line + std::string("\n"))) << row.line;
    EXPECT_EQ(row.mask, Mask(row.line + std::string("\r\n"))) << row.line;
  }
}

TEST_F(GetLogSettingsFromFile, KnowsAKeyOnlyWithItsBlank) {
  EXPECT_EQ(kUntouched, Mask("LOGLEVEL:5\n"));
  EXPECT_EQ(kUntouched, Mask("LOGLEVEL:\t5\n"));
  EXPECT_EQ(kUntouched, Mask("LOGLEVEL : 5\n"));
  EXPECT_EQ(kUntouched, Mask("loglevel: 5\n"));
  EXPECT_EQ(kSwitchUntouched, Console("CONSOLE:true\n"));
  EXPECT_EQ(kSwitchUntouched, Syslog("SYSLOG:true\n"));
}

TEST_F(GetLogSettingsFromFile, KnowsAKeyAnywhereInALine) {
  EXPECT_EQ(5u, Mask("#  LOGLEVEL: 5\n"));
  EXPECT_EQ(1, Console("MYCONSOLE: true\n"));
  EXPECT_EQ(1, Syslog("  SYSLOG: true\n"));
}

TEST_F(GetLogSettingsFromFile, TakesTheConsoleInAnyCase) {
  for (const char *on : {"true", "TRUE", "True", "tRuE", "truely", "TRUE false"}) {
    EXPECT_EQ(1, Console(std::string("CONSOLE: ") + on + "\n")) << on;
  }
  for (const char *off : {"false", "tru", "yes", "1", "", " true", "\ttrue", "on"}) {
    EXPECT_EQ(0, Console(std::string("CONSOLE: ") + off + "\n")) << off;
  }
}

TEST_F(GetLogSettingsFromFile, TakesSyslogInLowerCaseOnly) {
  for (const char *on : {"true", "truely", "true FALSE"}) {
    EXPECT_EQ(1, Syslog(std::string("SYSLOG: ") + on + "\n")) << on;
  }
  for (const char *off : {"TRUE", "True", "truE", "false", "tru", "", " true", "1"}) {
    EXPECT_EQ(0, Syslog(std::string("SYSLOG: ") + off + "\n")) << off;
  }
}

TEST_F(GetLogSettingsFromFile, FindsTheValueAfterTheFirstColonOfTheLine) {
  EXPECT_EQ(7u, Mask("limit: 7 LOGLEVEL: 5\n"));
  EXPECT_EQ(7u, Mask("x:7 LOGLEVEL: 5\n"));
  EXPECT_EQ(0u, Mask("note: LOGLEVEL: 5\n"));
  EXPECT_EQ(1, Console("x: true CONSOLE: false\n"));
  EXPECT_EQ(1, Console("x:true CONSOLE: false\n"));
  EXPECT_EQ(0, Console("x: CONSOLE: true\n"));
  EXPECT_EQ(1, Syslog("x:true SYSLOG: false\n"));
}

TEST_F(GetLogSettingsFromFile, AppliesEveryKeyOfALine) {
  EXPECT_EQ((Read{1, 0, 1, 1}), Try("SYSLOG: true CONSOLE: false LOGLEVEL: 9\n"));
  EXPECT_EQ((Read{1, 255, 0, 0}), Try("LOGLEVEL: 255 CONSOLE: true SYSLOG: true\n"));
  EXPECT_EQ((Read{1, 0, 1, 0}), Try("CONSOLE: TRUE SYSLOG: true LOGLEVEL: 3\n"));
}

TEST_F(GetLogSettingsFromFile, LetsALaterLineOverrideAnEarlierOne) {
  EXPECT_EQ((Read{1, 2, 0, 1}), Try("LOGLEVEL: 1\nCONSOLE: true\nSYSLOG: false\n"
                                    "LOGLEVEL: 2\nCONSOLE: false\nSYSLOG: true\n"));
}

TEST_F(GetLogSettingsFromFile, ReadsAFileWithoutAFinalLineBreak) {
  EXPECT_EQ((Read{1, 5, kSwitchUntouched, kSwitchUntouched}), Try("# x\nLOGLEVEL: 5"));
}

TEST_F(GetLogSettingsFromFile, CutsLinesAt254Characters) {
  // The rest of a longer line is the next line, with a first colon of its own.
  const std::string filler = "a: 1 " + std::string(249, 'x');
  ASSERT_EQ(254u, filler.size());
  EXPECT_EQ(9u, Mask(filler + "LOGLEVEL: 9\n"));
  EXPECT_EQ(1u, Mask(filler.substr(0, 244) + "LOGLEVEL: 9\n"));  // the key ends the first piece
  EXPECT_EQ(kUntouched, Mask(filler.substr(0, 245) + "LOGLEVEL: 9\n"));  // cut before its blank
  EXPECT_EQ(kUntouched, Mask(filler.substr(0, 250) + "LOGLEVEL: 9\n"));
  EXPECT_EQ(9u, Mask(filler + filler + filler + "LOGLEVEL: 9\n"));
}

TEST_F(GetLogSettingsFromFile, CutsAValueAt254CharactersToo) {
  const std::string pad(254 - 9 - 4, ' ');
  EXPECT_EQ(1, Console(pad + "CONSOLE: true\n"));
  EXPECT_EQ(0, Console(pad + " CONSOLE: true\n"));
  EXPECT_EQ(0, Console(pad + "    CONSOLE: true\n"));  // nothing of the value is left
  const std::string digits(254 - 10 - 2, ' ');
  EXPECT_EQ(12u, Mask(digits + "LOGLEVEL: 123\n"));
  EXPECT_EQ(0u, Mask(digits + "  LOGLEVEL: 123\n"));
}

TEST_F(GetLogSettingsFromFile, EndsALineAtANul) {
  EXPECT_EQ(kUntouched, Mask(std::string("\0LOGLEVEL: 5\n", 13)));
  EXPECT_EQ(6u, Mask(std::string("\0LOGLEVEL: 5\nLOGLEVEL: 6\n", 25)));
  EXPECT_EQ(0, Console(std::string("CONSOLE: tr\0ue\n", 15)));
}

TEST_F(GetLogSettingsFromFile, ReadsRandomFilesWithoutHarm) {
  srand(7);
  static constexpr char kPieces[][12] = {"LOGLEVEL: ", "CONSOLE: ", "SYSLOG: ", ":", " ",
                                         "\n",         "true",      "255",      "x", "\xff"};
  for (int round = 0; round < 300; ++round) {
    std::string text;
    for (int i = rand() % 200; i > 0; --i) {
      text +=
          i % 7 == 0 ? std::string(static_cast<size_t>(rand() % 260), 'y') : kPieces[rand() % 10];
    }
    EXPECT_EQ(1, Try(text).result);
    EXPECT_TRUE(gDBGLogCtrl->consoleEnabled <= 1 ||
                gDBGLogCtrl->consoleEnabled == kSwitchUntouched);
  }
}

TEST_F(GetLogSettingsFromFile, FailsForAMissingFileAndLeavesLoggingOn) {
  std::filesystem::remove(SettingsPath());
  uint32_t mask = kUntouched;
  EXPECT_EQ(0, DbgLog_GetLogSettingsFromFile(&mask));
  EXPECT_EQ("Unable to open logenable file " + SettingsPath() + "\n", console_.Take());
  EXPECT_EQ(kUntouched, mask);
  EXPECT_EQ(1, gDBGLogCtrl->loggingEnabled);
}

TEST_F(GetLogSettingsFromFile, FailsForAnEmptyPathAndLeavesLoggingOn) {
  gDBGLogCtrl->logEnableFilePath[0] = '\0';
  uint32_t mask = kUntouched;
  EXPECT_EQ(0, DbgLog_GetLogSettingsFromFile(&mask));
  EXPECT_EQ("Unable to open logenable file\n", console_.Take());
  EXPECT_EQ(kUntouched, mask);
  EXPECT_EQ(1, gDBGLogCtrl->loggingEnabled);
}

TEST_F(GetLogSettingsFromFile, FailsWithoutALoggerAsWithAnEmptyPath) {
  DbgLog_DeInitDebugLogger();
  uint32_t mask = kUntouched;
  EXPECT_EQ(0, DbgLog_GetLogSettingsFromFile(&mask));
  EXPECT_EQ("Unable to open logenable file\n", console_.Take());
  EXPECT_EQ(kUntouched, mask);
}

TEST_F(GetLogSettingsFromFile, SwitchesLoggingOffWhenTheFileCannotBeOpened) {
  // A socket exists, but cannot be opened, by root neither.
  std::filesystem::remove(SettingsPath());
  const int server = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  SettingsPath().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(0, bind(server, reinterpret_cast<const sockaddr *>(&address), sizeof address));

  uint32_t mask = kUntouched;
  EXPECT_EQ(0, DbgLog_GetLogSettingsFromFile(&mask));
  EXPECT_EQ("Unable to open log file " + SettingsPath() + "\n", console_.Take());
  EXPECT_EQ(kUntouched, mask);
  EXPECT_EQ(0, gDBGLogCtrl->loggingEnabled);
  EXPECT_NE(nullptr, gDBGLogCtrl->logFile);
  close(server);
}

TEST_F(GetLogSettingsFromFile, FollowsASymbolicLink) {
  const std::string target = dir_.file("target");
  WriteFile(target, "LOGLEVEL: 5\n");
  std::filesystem::remove(SettingsPath());
  std::filesystem::create_symlink(target, SettingsPath());
  uint32_t mask = kUntouched;
  EXPECT_EQ(1, DbgLog_GetLogSettingsFromFile(&mask));
  EXPECT_EQ(5u, mask);
}

TEST_F(GetLogSettingsFromFile, ReadsNothingFromADirectory) {
  std::filesystem::remove(SettingsPath());
  std::filesystem::create_directory(SettingsPath());
  uint32_t mask = kUntouched;
  EXPECT_EQ(1, DbgLog_GetLogSettingsFromFile(&mask));
  EXPECT_EQ(kUntouched, mask);
}

TEST_F(GetLogSettingsFromFile, FailsWithoutAPlaceForTheMask) {
  EXPECT_EQ(0, DbgLog_GetLogSettingsFromFile(nullptr));
  EXPECT_EQ("", console_.Take());
}

TEST_F(GetLogSettingsFromFile, ClosesTheFileAndReleasesTheLock) {
  const long descriptors = OpenDescriptors();
  Try("LOGLEVEL: 5\n");
  EXPECT_EQ(descriptors, OpenDescriptors());
  EXPECT_EQ(0, pthread_mutex_trylock(&gDBGLogCtrl->lock));
  pthread_mutex_unlock(&gDBGLogCtrl->lock);
}

}  // namespace
