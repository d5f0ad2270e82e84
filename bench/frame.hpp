// Paired benchmarks: one program runs the library, its peers and the physical floor in one process,
// round by round, so that all of them meet the same minute of the machine. Only ratios taken within
// a round are judged; a lone time says little on a shared machine.
//
//   cu_bench::Family family("text_format", cu_bench::Clock::kCpu);
//   auto &numbers = family.AddWorkload("1000 mixed numbers");
//   numbers.Add(Role::kLibrary, "getIntegerAsString", [] { ... return checksum; });
//   numbers.Add(Role::kPeer, "asprintf", [] { ... return checksum; });
//   numbers.Add(Role::kFloor, "malloc + free", [] { ... return 0; }, Check::kNone);
//   return family.Main(argc, argv);
//
// What the library has to reach stands in goals.cc.
#ifndef COMMONUTILITIES_BENCH_FRAME_HPP
#define COMMONUTILITIES_BENCH_FRAME_HPP

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace cu_bench {

enum class Clock {
  kCpu,   // process CPU time: single-threaded work
  kWall,  // monotonic time: files, threads
};

enum class Role {
  kLibrary,
  kPeer,
  kReported,  // shown beside the peers but never the best of them: another class of machine or API
  kFloor,     // what the work costs physically
};

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
  Workload(std::string name, Clock clock) : name_(std::move(name)), clock_(clock) {}
  void Add(Role role, std::string name, Work work, Check check = Check::kSameResult);

 private:
  friend class Family;
  std::string name_;
  Clock clock_;
  std::vector<Case> cases_;
};

/// A number that is not a time: a count, or a ratio that was taken in a way of its own.
struct Figure {
  Role role;
  std::string name;
  std::string metric;
  double value;
};

class Family {
 public:
  Family(std::string name, Clock clock) : name_(std::move(name)), clock_(clock) {}
  Workload &AddWorkload(std::string name) { return AddWorkload(std::move(name), clock_); }
  /// A workload with a clock other than its family's.
  Workload &AddWorkload(std::string name, Clock clock);
  /// A workload that measures by itself, in `rounds` rounds, and returns figures.
  void AddFigures(std::string workload, std::function<std::vector<Figure>(int rounds)> measure);
  /// Runs between a workload's check and its rounds, and after them: for results that are too dear
  /// to compute in every round.
  void AfterCheck(std::function<void()> begin_rounds, std::function<void()> end_rounds) {
    begin_rounds_ = std::move(begin_rounds);
    end_rounds_ = std::move(end_rounds);
  }
  /// Checks, measures and prints; --json FILE appends one JSON object a case, figure and goal,
  /// --rounds N sets the rounds (15), --filter TEXT keeps the workloads whose name contains it.
  /// Under callgrind, --instructions as the first argument dumps the instructions of every case
  /// instead. Returns 0, or 1 when results differ or a goal names no case. Missed goals are shown,
  /// not failed: the machine may be busy.
  int Main(int argc, char **argv);

 private:
  struct Measured {
    std::string workload;
    std::function<std::vector<Figure>(int rounds)> measure;
  };

  bool GoalsNameCases() const;
  void CountInstructions(const Workload &workload) const;
  bool SameResults(const Workload &workload) const;
  void Run(Workload &workload, int rounds, std::ostream *json) const;
  void Report(const Workload &workload, std::ostream *json) const;
  void Report(const Measured &measured, int rounds, std::ostream *json) const;

  std::string name_;
  Clock clock_;
  std::vector<std::unique_ptr<Workload>> workloads_;
  std::vector<Measured> figures_;
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
