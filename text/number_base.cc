#include "text/number_base.hpp"

#include "include/valueformat.h"

int AmbrelGetParameterBaseOfString(const char *text) {
  return cu::NumberBaseOf(text);
}
