// Logging in forked children.
#include <sys/wait.h>

#include <thread>

#include "logging/logging_fixture.hpp"

namespace {

using namespace cu_test;

class LoggerFork : public LoggingTest {
 protected:
  /// Forks, runs a function in the child, and returns the child's id once it has ended well.
  template <typename Body>
  static pid_t InChild(Body body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      body();
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    return child;
  }

  static std::string LineOf(pid_t pid, pid_t tid, const std::string &text) {
    return "[" + std::to_string(pid) + " : " + std::to_string(tid) + " ERROR]" + text;
  }

  /// The lines of the log, without their stamps.
  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    const std::string text = LogText();
    for (size_t at = 0; at < text.size();) {
      const size_t end = text.find('\n', at);
      lines.push_back(WithoutStamp(text.substr(at, end - at)));
      at = end + 1;
    }
    return lines;
  }
};

TEST_F(LoggerFork, AChildLogsUnderItsOwnIds) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "parent\n");
  const pid_t child = InChild([] { DbgLog_DumptoLog(DBGLOG_ERROR, "child\n"); });
  DbgLog_DumptoLog(DBGLOG_ERROR, "parent\n");
  const std::string parent = Tag(DBGLOG_ERROR) + "]parent";
  EXPECT_EQ((std::vector<std::string>{parent, LineOf(child, child, "child"), parent}), Lines());
}

TEST_F(LoggerFork, AChildOfAChildLogsUnderItsOwnIds) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "parent\n");
  int ids[2];
  ASSERT_EQ(0, pipe(ids));
  const pid_t child = InChild([&] {
    DbgLog_DumptoLog(DBGLOG_ERROR, "child\n");
    const pid_t grandchild = InChild([] { DbgLog_DumptoLog(DBGLOG_ERROR, "grandchild\n"); });
    DbgLog_DumptoLog(DBGLOG_ERROR, "child\n");
    if (write(ids[1], &grandchild, sizeof grandchild) < 0) _exit(1);
  });
  pid_t grandchild = 0;
  ASSERT_EQ(static_cast<ssize_t>(sizeof grandchild), read(ids[0], &grandchild, sizeof grandchild));
  close(ids[0]);
  close(ids[1]);
  EXPECT_EQ((std::vector<std::string>{Tag(DBGLOG_ERROR) + "]parent", LineOf(child, child, "child"),
                                      LineOf(grandchild, grandchild, "grandchild"),
                                      LineOf(child, child, "child")}),
            Lines());
}

TEST_F(LoggerFork, AThreadsChildLogsUnderItsOwnIds) {
  Start();
  DbgLog_DumptoLog(DBGLOG_ERROR, "main\n");
  pid_t child = 0;
  std::string thread_tag;
  std::thread([&] {
    thread_tag = Tag(DBGLOG_ERROR);
    DbgLog_DumptoLog(DBGLOG_ERROR, "thread\n");
    child = InChild([] { DbgLog_DumptoLog(DBGLOG_ERROR, "child\n"); });
  }).join();
  EXPECT_EQ((std::vector<std::string>{Tag(DBGLOG_ERROR) + "]main", thread_tag + "]thread",
                                      LineOf(child, child, "child")}),
            Lines());
}

TEST_F(LoggerFork, AChildWhoseLoggerWasInstalledLogsUnderItsOwnIds) {
  Start();
  DBGLogCtrl *const block = gDBGLogCtrl;
  gDBGLogCtrl = nullptr;
  ASSERT_EQ(1, DbgLog_SetEnabledLogger(block));
  DbgLog_DumptoLog(DBGLOG_ERROR, "parent\n");
  const pid_t child = InChild([] { DbgLog_DumptoLog(DBGLOG_ERROR, "child\n"); });
  EXPECT_EQ(LineOf(child, child, "child"), Lines().back());
}

TEST_F(LoggerFork, AChildPrintsItsOwnIdsOnStandardError) {
  StartWithConsole();
  DbgLog_DumptoStdError(DBGLOG_ERROR, "parent");
  console_.Take();
  const pid_t child = InChild([] { DbgLog_DumptoStdError(DBGLOG_ERROR, "child"); });
  EXPECT_EQ(LineOf(child, child, "child\n"), console_.Take());
}

TEST_F(LoggerFork, ParentAndChildKeepTheirLinesWholeInOneFile) {
  Start();
  fflush(nullptr);
  const pid_t child = fork();
  for (int i = 0; i < 200; ++i) {
    DbgLog_DumptoLog(DBGLOG_ERROR, "line %d %s\n", i, std::string(50, 'x').c_str());
  }
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(400u, lines.size());
  int of_parent = 0, of_child = 0;
  for (const std::string &line : lines) {
    const bool from_child = line.substr(1, line.find(' ') - 1) == std::to_string(child);
    int &count = from_child ? of_child : of_parent;
    ASSERT_EQ("]line " + std::to_string(count++) + " " + std::string(50, 'x'),
              line.substr(line.find(']')));
  }
}

TEST_F(LoggerFork, AChildLogsAlthoughAnotherThreadHeldTheLockAtTheFork) {
  Start();
  pthread_mutex_t &lock = gDBGLogCtrl->lock;
  int ready[2], done[2];
  ASSERT_EQ(0, pipe(ready));
  ASSERT_EQ(0, pipe(done));
  std::thread holder([&] {
    pthread_mutex_lock(&lock);
    char byte = 0;
    EXPECT_EQ(1, write(ready[1], &byte, 1));
    EXPECT_EQ(1, read(done[0], &byte, 1));
    pthread_mutex_unlock(&lock);
  });
  char byte = 0;
  ASSERT_EQ(1, read(ready[0], &byte, 1));
  const pid_t child = InChild([] {
    DbgLog_DumptoLog(DBGLOG_ERROR, "child\n");
    DbgLog_DumptoLog(DBGLOG_ERROR, "child\n");
  });
  EXPECT_EQ(1, write(done[1], &byte, 1));
  holder.join();
  DbgLog_DumptoLog(DBGLOG_ERROR, "parent\n");
  EXPECT_EQ((std::vector<std::string>{LineOf(child, child, "child"), LineOf(child, child, "child"),
                                      Tag(DBGLOG_ERROR) + "]parent"}),
            Lines());
  for (const int fd : {ready[0], ready[1], done[0], done[1]}) close(fd);
}

TEST_F(LoggerFork, AForkWithoutALoggerIsHarmless) {
  Start();
  DbgLog_DeInitDebugLogger();
  InChild([] { EXPECT_EQ(nullptr, gDBGLogCtrl); });
}

}  // namespace
