// Paired benchmarks: one program runs the library, its peers and the physical floor in one process,
// round by round, so that all of them meet the same minute of the machine. Only ratios taken within
// a round are judged; a lone time says little on a shared machine.
//
//   cu_bench::Family family("text_format", cu_bench::Clock::kCpu);
//   auto &size = family.Workload("1000 mixed numbers");
//   size.Add(Role::kLibrary, "getIntegerAsString", [] { ... return checksum; });
//   size.Add(Role::kPeer, "asprintf", [] { ... return checksum; });
//   size.Add(Role::kFloor, "malloc + free", [] { ... return 0; }, Check::kNone);
//   size.Goal("getIntegerAsString", "asprintf", 0.38);
//   return family.Main(argc, argv);
#ifndef COMMONUTILITIES_BENCH_FRAME_HPP
#define COMMONUTILITIES_BENCH_FRAME_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cu_bench {

enum class Clock {
  kCpu,   // process CPU time: single-threaded work
  kWall,  // monotonic time: files, threads
};

enum class Role { kLibrary, kPeer, kFloor };

/// Whether a case's checksum must equal the first checked case's: all cases do the same work.
enum class Check { kSameResult, kNone };

/// One unit of the work; returns a checksum of what it produced.
using Work = std::function<uint64_t()>;

struct Case {
  Role role;
  std::string name;
  Work work;
  Check check;
  uint64_t batch = 1;               // units a round
  std::vector<double> nanoseconds;  // a unit, one entry a round
};

/// Cases that do the same work and are compared with each other.
class Workload {
 public:
  explicit Workload(std::string name) : name_(std::move(name)) {}
  void Add(Role role, std::string name, Work work, Check check = Check::kSameResult);
  /// The library's `name` takes at most `limit` times what `against` takes. A limit of 0 reports
  /// the ratio without judging it.
  void Goal(std::string name, std::string against, double limit);

 private:
  friend class Family;
  struct Aim {
    std::string name, against;
    double limit;
  };
  std::string name_;
  std::vector<Case> cases_;
  std::vector<Aim> aims_;
};

class Family {
 public:
  Family(std::string name, Clock clock) : name_(std::move(name)), clock_(clock) {}
  Workload &AddWorkload(std::string name);
  /// Runs between a workload's check and its rounds, and after them: for results that are too dear
  /// to compute in every round.
  void AfterCheck(std::function<void()> begin_rounds, std::function<void()> end_rounds) {
    begin_rounds_ = std::move(begin_rounds);
    end_rounds_ = std::move(end_rounds);
  }
  /// Checks, measures and prints; --json FILE appends one JSON object a ratio, --rounds N sets the
  /// rounds (15), --filter TEXT keeps the workloads whose name contains it. Returns 0, or 1 when
  /// results differ. Missed goals are shown, not failed: the machine may be busy.
  int Main(int argc, char **argv);

 private:
  double Now() const;
  double Measure(Case &one, uint64_t units) const;
  void Calibrate(Case &one) const;
  bool SameResults(const Workload &workload) const;
  void Report(const Workload &workload, const std::string &json_path) const;

  std::string name_;
  Clock clock_;
  std::vector<std::unique_ptr<Workload>> workloads_;
  std::function<void()> begin_rounds_ = [] {};
  std::function<void()> end_rounds_ = [] {};
};

/// Keeps a value that a benchmark computed from being optimised away.
template <typename T>
inline void Keep(T const &value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace cu_bench

#endif
