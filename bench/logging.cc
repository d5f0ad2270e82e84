// A pair of log calls: one line into a file that is flushed for each line, with the console off; by
// 1, 2 and 4 threads; and a level that is off.
#include <glib.h>
#include <glog/logging.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/frame.hpp"
#include "include/dbglog.h"

namespace {

using cu_bench::Check;
using cu_bench::Role;

constexpr char kName[] = "fans.c";
constexpr int kLinesAUnit = 2000;  // so that starting threads does not count

std::string g_folder;

void LibraryPair(uint32_t level, int value) {
  DbgLog_DumptoLog(level, "[%s:%d]Sensor %s reads %d of %d\n", kName, 17, "inlet", value, 100);
  DbgLog_DumptoStdError(static_cast<int32_t>(level), "[%s:%d]Sensor %s reads %d of %d\n", kName, 17,
                        "inlet", value, 100);
}

void StartLibrary() {
  const std::string settings = g_folder + "/logenable";
  FILE *const file = fopen(settings.c_str(), "w");
  fputs("LOGLEVEL: 127\nCONSOLE: false\nSYSLOG: false\n", file);
  fclose(file);
  DbgLog_InitDebugLogger(settings.c_str(), (g_folder + "/library.log").c_str(), 0x7fffffff, 127);
}

std::shared_ptr<spdlog::logger> StartSpdlog() {
  auto logger = spdlog::basic_logger_mt("bench", g_folder + "/spdlog.log", true);
  logger->flush_on(spdlog::level::info);
  logger->set_level(spdlog::level::info);
  return logger;
}

void StartGlog() {
  FLAGS_log_dir = g_folder;
  FLAGS_logbufsecs = 0;
  FLAGS_minloglevel = 0;
  FLAGS_stderrthreshold = 4;
  google::InitGoogleLogging("bench");
}

FILE *g_glib_file = nullptr;

GLogWriterOutput WriteGlib(GLogLevelFlags level, const GLogField *fields, gsize count, gpointer) {
  if (level == G_LOG_LEVEL_DEBUG) return G_LOG_WRITER_HANDLED;  // a level that is off
  gchar *const text = g_log_writer_format_fields(level, fields, count, FALSE);
  flockfile(g_glib_file);  // a line is two calls
  fputs(text, g_glib_file);
  fputc('\n', g_glib_file);
  fflush(g_glib_file);
  funlockfile(g_glib_file);
  g_free(text);
  return G_LOG_WRITER_HANDLED;
}

void GlibLine(GLogLevelFlags level, int value) {
  g_log_structured("bench", level, "MESSAGE", "[%s:%d]Sensor %s reads %d of %d", kName, 17, "inlet",
                   value, 100);
}

FILE *g_plain_file = nullptr;
std::mutex g_plain_mutex;

void PlainLine(int value) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::lock_guard<std::mutex> lock(g_plain_mutex);
  fprintf(g_plain_file, "[%d : %d INFO (%lld%09ld)][%s:%d]Sensor %s reads %d of %d\n", getpid(),
          gettid(), static_cast<long long>(now.tv_sec), now.tv_nsec, kName, 17, "inlet", value,
          100);
  fflush(g_plain_file);
}

std::string ReadFile(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

int g_floor_fd = -1;

void FloorLine() {
  static constexpr char kLine[] =
      "[12345 : 12345 INFO (1700000000000000000)][fans.c:17]Sensor inlet reads 42 of 100\n";
  if (write(g_floor_fd, kLine, sizeof kLine - 1) < 0) abort();
}

/// Reading the lines back would count: only the check run does.
bool g_checking = true;

/// The sum of the messages that a unit of work adds to a file, whatever stands before them in their
/// lines and in which order threads wrote them.
cu_bench::Work Checked(const char *name, cu_bench::Work work) {
  return [path = g_folder + "/" + name, work]() -> uint64_t {
    if (!g_checking) return work();
    const std::string before = ReadFile(path);
    work();
    std::istringstream added(ReadFile(path).substr(before.size()));
    uint64_t sum = 0;
    for (std::string line; std::getline(added, line);) {
      const size_t begin = line.find("[fans.c:17]");
      if (begin != std::string::npos) sum += std::hash<std::string>()(line.substr(begin));
    }
    return sum;
  };
}

template <typename Line>
cu_bench::Work Threads(int threads, Line line) {
  return [=]() -> uint64_t {
    const auto body = [=] {
      for (int i = 0; i < kLinesAUnit; ++i) line(i);
    };
    if (threads == 1) {
      body();
      return 0;
    }
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) running.emplace_back(body);
    for (std::thread &one : running) one.join();
    return 0;
  };
}

// Called through a pointer, so that the compiler cannot drop it.
void EmptyCall(int) {}
void (*volatile g_empty_call)(int) = EmptyCall;

}  // namespace

int main(int argc, char **argv) {
  const char *const base = getenv("TMPDIR") == nullptr ? "/dev/shm" : getenv("TMPDIR");
  std::string pattern = std::string(base) + "/bench-logging-XXXXXX";
  g_folder = mkdtemp(pattern.data());
  StartLibrary();
  const auto spdlog_logger = StartSpdlog();
  StartGlog();
  g_glib_file = fopen((g_folder + "/glib.log").c_str(), "w");
  g_log_set_writer_func(WriteGlib, nullptr, nullptr);
  g_plain_file = fopen((g_folder + "/plain.log").c_str(), "w");
  g_floor_fd = open((g_folder + "/floor.log").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);

  cu_bench::Family family("logging", cu_bench::Clock::kWall);
  const auto named = [&](std::string what, int threads) -> cu_bench::Workload & {
    return family.AddWorkload(what + std::to_string(threads) +
                              (threads == 1 ? " thread" : " threads"));
  };
  for (const int threads : {1, 2, 4}) {
    auto &workload = named("a flushed line, ", threads);
    const auto add = [&](Role role, const char *name, const char *file, auto line) {
      workload.Add(role, name, Checked(file, Threads(threads, line)));
    };
    add(Role::kLibrary, "logging pair", "library.log", [](int i) { LibraryPair(DBGLOG_INFO, i); });
    add(Role::kPeer, "spdlog", "spdlog.log", [spdlog_logger](int i) {
      spdlog_logger->info("[{}:{}]Sensor {} reads {} of {}", kName, 17, "inlet", i, 100);
    });
    add(Role::kPeer, "glog", "bench.INFO", [](int i) {
      LOG(INFO) << "[" << kName << ":" << 17 << "]Sensor "
                << "inlet"
                << " reads " << i << " of " << 100;
    });
    add(Role::kPeer, "GLib", "glib.log", [](int i) { GlibLine(G_LOG_LEVEL_INFO, i); });
    add(Role::kPeer, "mutex + fprintf + fflush", "plain.log", PlainLine);
    workload.Add(Role::kFloor, "write(2)", Threads(threads, [](int) { FloorLine(); }),
                 Check::kNone);
  }
  for (const int threads : {1, 2}) {
    auto &workload = named("a level that is off, ", threads);
    const auto add = [&](Role role, const char *name, const char *file, auto line) {
      workload.Add(role, name, Checked(file, Threads(threads, [line](int i) {
                                         for (int n = 0; n < 10; ++n) line(i);
                                       })));
    };
    add(Role::kLibrary, "logging pair", "library.log", [](int i) { LibraryPair(DBGLOG_DEBUG, i); });
    add(Role::kPeer, "spdlog", "spdlog.log", [spdlog_logger](int i) {
      spdlog_logger->debug("[{}:{}]Sensor {} reads {} of {}", kName, 17, "inlet", i, 100);
    });
    add(Role::kPeer, "glog", "bench.INFO", [](int i) {
      VLOG(1) << "[" << kName << ":" << 17 << "]Sensor "
              << "inlet"
              << " reads " << i << " of " << 100;
    });
    add(Role::kPeer, "GLib", "glib.log", [](int i) { GlibLine(G_LOG_LEVEL_DEBUG, i); });
    add(Role::kFloor, "an empty call", "floor.log", [](int i) { g_empty_call(i); });
  }
  family.AfterCheck([] { g_checking = false; }, [] { g_checking = true; });
  const int status = family.Main(argc, argv);
  DbgLog_DeInitDebugLogger();
  if (std::system(("rm -rf " + g_folder).c_str()) != 0) return 1;
  return status;
}
