/* A plug-in that ends the process when it is loaded. */
#include <unistd.h>

__attribute__((constructor)) static void end_the_process(void) {
  _exit(9);
}
