// The number base that a text's second character tells.
#ifndef COMMONUTILITIES_TEXT_NUMBER_BASE_HPP
#define COMMONUTILITIES_TEXT_NUMBER_BASE_HPP

namespace cu {

inline int NumberBaseOf(const char *text) {
  if (text == nullptr || text[0] == '\0' || text[1] == '\0' || text[2] == '\0') return 10;
  switch (text[1]) {
    case 'x':
    case 'X':
      return 16;
    case 'b':
    case 'B':
      return 2;
    default:
      return 10;
  }
}

}  // namespace cu

#endif
