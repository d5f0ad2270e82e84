// A process locale with another decimal point, made for the test: machines have no such locale
// until somebody installs one.
#ifndef COMMONUTILITIES_TESTS_SUPPORT_LOCALE_HPP
#define COMMONUTILITIES_TESTS_SUPPORT_LOCALE_HPP

#include <locale.h>
#include <stdlib.h>

#include <string>

#include "support/files.hpp"

namespace cu_test {

/// The process locale while it lives. `charmap` is what localedef calls the character set.
class DecimalPointLocale {
 public:
  explicit DecimalPointLocale(const std::string &point,
                              const std::string &charmap = "ANSI_X3.4-1968") {
    WriteFile(dir_.file("source"), "LC_NUMERIC\ndecimal_point \"" + point +
                                       "\"\nthousands_sep \"\"\ngrouping -1\n"
                                       "END LC_NUMERIC\n");
    const std::string command = "localedef -c --no-archive -i " + dir_.file("source") + " -f " +
                                charmap + " " + dir_.file("point") + " >/dev/null 2>&1";
    (void)!system(command.c_str());
    setenv("LOCPATH", dir_.path().c_str(), 1);
    works_ = setlocale(LC_NUMERIC, "point") != nullptr;
  }
  ~DecimalPointLocale() {
    setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
  }
  bool works() const { return works_; }

 private:
  TempDir dir_;
  bool works_ = false;
};

}  // namespace cu_test

#endif
