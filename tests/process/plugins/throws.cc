// A plug-in whose method ends with an exception.
#include <stdint.h>

extern "C" uint32_t throwTheFirst(uint32_t first, uint32_t, void *) {
  throw first;
}
