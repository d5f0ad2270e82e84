// The steps of strtok_safe(), transcribed one by one with checked indices: the reference that the
// tokenizers are compared with.
#ifndef COMMONUTILITIES_TESTS_TEXT_STRTOK_STEPS_HPP
#define COMMONUTILITIES_TESTS_TEXT_STRTOK_STEPS_HPP

#include <string>
#include <vector>

namespace cu_test {

/// All tokens of `text` at any byte of `delimiters`.
inline std::vector<std::string> TokensByTheSteps(const std::string &text,
                                                 const std::string &delimiters) {
  const auto character = [&](size_t i) { return i == text.size() ? '\0' : text.at(i); };
  const auto delimiter = [&](size_t i) { return i == delimiters.size() ? '\0' : delimiters.at(i); };
  std::vector<std::string> tokens;
  size_t save = 0;
  // A saved position one past the terminator is the end of the sequence, too.
  while (save < text.size()) {
    size_t t = save;
    size_t p = save;
    size_t k = 0;
    for (;;) {
      const char d = delimiter(k);
      const char c = character(p);
      if (d != '\0') {
        if (c == d && t != p) {
          tokens.push_back(text.substr(t, p - t));
          save = p + 1;
          break;
        }
        if (c == d) {
          ++t;
          ++p;
        }
        ++k;
        continue;
      }
      if (c == '\0' || character(p + 1) == '\0') {
        save = p + 1;
        tokens.push_back(text.substr(t));
        break;
      }
      ++p;
      k = 0;
    }
  }
  return tokens;
}

}  // namespace cu_test

#endif
