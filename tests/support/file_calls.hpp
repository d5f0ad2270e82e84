// Watches the file calls of the library: their order, a moment to end the process at, and a rename
// or a clock of the test's own. For programs built with
//
//   cu_add_test(... INTERNAL LIBRARIES commonutilities_file_calls)
#ifndef COMMONUTILITIES_TESTS_SUPPORT_FILE_CALLS_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_FILE_CALLS_HPP

#include <sys/time.h>
#include <time.h>

#include <functional>
#include <string>
#include <vector>

namespace cu_test {

/// While it lives, calls of the library are recorded as texts: "fopen rb+ NAME", "fclose",
/// "fwrite", "rename NAME NAME", "mkstemp NAME" and the like, with names as the last part of paths.
/// One at a time.
class FileCalls {
 public:
  FileCalls();
  ~FileCalls();
  FileCalls(const FileCalls &) = delete;
  FileCalls &operator=(const FileCalls &) = delete;

  /// All calls so far.
  const std::vector<std::string> &all() const { return all_; }

  /// The calls that change what is open or where it is, with "write" for each run of writes,
  /// flushes, seeks and reads that wrote something.
  std::vector<std::string> order() const;

  /// Called before each call.
  std::function<void()> before;

  /// Used instead of the real calls when set.
  std::function<int(const char *, const char *)> rename;
  std::function<int(timeval *)> gettimeofday;
  std::function<int(clockid_t, timespec *)> clock_gettime;
  std::function<unsigned(unsigned)> sleep;

  void Add(std::string call);

 private:
  std::vector<std::string> all_;
};

}  // namespace cu_test

#endif
