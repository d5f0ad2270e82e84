// What daemons do with each family, one scenario each, for the loops in torture_test.cc.
#ifndef COMMONUTILITIES_TESTS_TORTURE_SCENARIOS_HPP
#define COMMONUTILITIES_TESTS_TORTURE_SCENARIOS_HPP

#include <string>
#include <vector>

namespace cu_test {

struct Scenario {
  const char *name;
  /// Does the work and releases everything, whatever the results; with nothing failing, always
  /// gives the same text. Files are made in `folder`, which is empty.
  std::string (*run)(const std::string &folder);
  /// What the interface loses when a call fails: elements of lists that cannot grow, the earlier
  /// values of members that a walk then tells twice, and the tokens and the descriptor of a
  /// document whose text came up short.
  bool loses_memory = false;
  bool loses_descriptors = false;
};

/// Scenarios that allocate.
const std::vector<Scenario> &MemoryScenarios();
/// Scenarios that make file and system calls.
const std::vector<Scenario> &SystemScenarios();

}  // namespace cu_test

#endif
