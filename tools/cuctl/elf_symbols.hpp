// The exported symbols of a shared library, read from the file: nothing is loaded, so no
// constructor of a stranger runs.
#ifndef CUCTL_ELF_SYMBOLS_HPP
#define CUCTL_ELF_SYMBOLS_HPP

#include <string>

#include "tools/cuctl/input.hpp"

namespace cuctl {

/// Why a file is not a shared library of this machine that exports a method; empty when it is.
std::string ExportProblem(const Input &file, const std::string &method);

}  // namespace cuctl

#endif
