// Logging where the process has no memory to be told of forks: the wrapper below refuses it, for
// the whole program, since the library asks once.
#include <errno.h>
#include <sys/wait.h>

#include "logging/logging_fixture.hpp"

namespace {
int g_refused = 0;
}

extern "C" int __wrap_pthread_atfork(void (*)(), void (*)(), void (*)()) {
  ++g_refused;
  return ENOMEM;
}

namespace {

using namespace cu_test;

class LoggerWithoutForkHandler : public LoggingTest {};

TEST_F(LoggerWithoutForkHandler, TellsTheIdsOfParentAndChildAllTheSame) {
  Start();
  ASSERT_EQ(1, g_refused);
  DbgLog_DumptoLog(DBGLOG_ERROR, "parent\n");
  DbgLog_DumptoLog(DBGLOG_ERROR, "parent\n");
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    DbgLog_DumptoLog(DBGLOG_ERROR, "child\n");
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
  std::vector<std::string> lines;
  const std::string text = LogText();
  for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
    lines.push_back(WithoutStamp(text.substr(at, text.find('\n', at) - at)));
  }
  const std::string parent = Tag(DBGLOG_ERROR) + "]parent";
  const std::string id = std::to_string(child);
  EXPECT_EQ((std::vector<std::string>{parent, parent, "[" + id + " : " + id + " ERROR]child"}),
            lines);
}

}  // namespace
