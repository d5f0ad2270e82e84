// The exported symbols of a shared library, read from the file: nothing is loaded, so no
// constructor of a stranger runs.
#ifndef CUCTL_ELF_SYMBOLS_HPP
#define CUCTL_ELF_SYMBOLS_HPP

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace cuctl {

struct ElfSymbols {
  std::string problem;          // empty for a shared library of this machine
  std::set<std::string> names;  // defined, global or weak
};

ElfSymbols ReadElfSymbols(const std::vector<uint8_t> &file);

}  // namespace cuctl

#endif
