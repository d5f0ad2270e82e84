// cuctl: opens the files that the library writes, and tries its documents and expressions.
#include "tools/cuctl/cuctl.hpp"

int main(int argc, char **argv) {
  return cuctl::Run(argc, argv);
}
