#include "include/valueformat.h"

int AmbrelGetParameterBaseOfString(const char *text) {
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
