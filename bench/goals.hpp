// What the library has to reach, family by family: every goal is a row of the one table in
// goals.cc.
#ifndef COMMONUTILITIES_BENCH_GOALS_HPP
#define COMMONUTILITIES_BENCH_GOALS_HPP

#include <span>
#include <string_view>

namespace cu_bench {

/// The peer with the smallest median, whichever it is on this machine.
inline constexpr std::string_view kBestPeer = "best peer";

/// In a workload, the case `name` takes at most `limit` times what the case `against` takes. Where
/// the workload counts instead of timing, `against` is the metric and `limit` its largest value.
struct Goal {
  std::string_view family, workload, name, against;
  double limit;
};

std::span<const Goal> Goals();

}  // namespace cu_bench

#endif
