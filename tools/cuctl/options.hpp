// Checks of option values, with messages for people.
#ifndef CUCTL_OPTIONS_HPP
#define CUCTL_OPTIONS_HPP

#include <CLI/CLI.hpp>
#include <string>

namespace cuctl {

/// A whole number of at least 0.
inline CLI::Validator NotNegative() {
  return CLI::Validator(
      [](std::string &text) {
        const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
        return digits ? std::string() : "\"" + text + "\" is not a number of at least 0";
      },
      "");
}

}  // namespace cuctl

#endif
