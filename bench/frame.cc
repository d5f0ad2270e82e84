#include "bench/frame.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>

namespace cu_bench {
namespace {

constexpr double kShortestBatch = 5e6;  // nanoseconds
constexpr double kLongestBatch = 30e6;

double Quantile(std::vector<double> values, double q) {
  std::sort(values.begin(), values.end());
  const double position = q * static_cast<double>(values.size() - 1);
  const size_t below = static_cast<size_t>(position);
  const size_t above = std::min(below + 1, values.size() - 1);
  const double part = position - static_cast<double>(below);
  return values[below] * (1 - part) + values[above] * part;
}

/// The median over the rounds of one case's time divided by another's.
double PairedRatio(const Case &one, const Case &other) {
  std::vector<double> ratios;
  for (size_t i = 0; i < one.nanoseconds.size(); ++i)
    ratios.push_back(one.nanoseconds[i] / other.nanoseconds[i]);
  return Quantile(ratios, 0.5);
}

const char *RoleName(Role role) {
  return role == Role::kLibrary ? "library" : role == Role::kPeer ? "peer" : "floor";
}

std::string Duration(double nanoseconds) {
  char text[32];
  if (nanoseconds < 1e4)
    snprintf(text, sizeof text, "%.1f ns", nanoseconds);
  else if (nanoseconds < 1e7)
    snprintf(text, sizeof text, "%.1f us", nanoseconds / 1e3);
  else
    snprintf(text, sizeof text, "%.1f ms", nanoseconds / 1e6);
  return text;
}

}  // namespace

void Workload::Add(Role role, std::string name, Work work, Check check) {
  cases_.push_back({role, std::move(name), std::move(work), check, 1, {}});
}

void Workload::Goal(std::string name, std::string against, double limit) {
  aims_.push_back({std::move(name), std::move(against), limit});
}

Workload &Family::AddWorkload(std::string name) {
  workloads_.push_back(std::make_unique<Workload>(std::move(name)));
  return *workloads_.back();
}

double Family::Now() const {
  timespec now{};
  clock_gettime(clock_ == Clock::kCpu ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double Family::Measure(Case &one, uint64_t units) const {
  const double start = Now();
  for (uint64_t i = 0; i < units; ++i) Keep(one.work());
  return Now() - start;
}

void Family::Calibrate(Case &one) const {
  one.batch = 1;
  for (;;) {
    const double taken = Measure(one, one.batch);
    if (taken >= kShortestBatch) break;
    const double wanted = taken > 0 ? (kShortestBatch + kLongestBatch) / 3 / taken : 16;
    one.batch = std::max(one.batch + 1, static_cast<uint64_t>(static_cast<double>(one.batch) *
                                                              std::min(wanted, 16.0)));
  }
}

bool Family::SameResults(const Workload &workload) const {
  const Case *first = nullptr;
  uint64_t expected = 0;
  bool same = true;
  for (const Case &one : workload.cases_) {
    if (one.check == Check::kNone) continue;
    const uint64_t result = one.work();
    if (first == nullptr) {
      first = &one;
      expected = result;
    } else if (result != expected) {
      std::printf("  %s gives another result than %s\n", one.name.c_str(), first->name.c_str());
      same = false;
    }
  }
  return same;
}

void Family::Report(const Workload &workload, const std::string &json_path) const {
  std::map<std::string, const Case *> by_name;
  const Case *best_peer = nullptr;
  for (const Case &one : workload.cases_) {
    by_name[one.name] = &one;
    std::printf("  %-8s %-34s %12s  (p10 %s, p90 %s)\n", RoleName(one.role), one.name.c_str(),
                Duration(Quantile(one.nanoseconds, 0.5)).c_str(),
                Duration(Quantile(one.nanoseconds, 0.1)).c_str(),
                Duration(Quantile(one.nanoseconds, 0.9)).c_str());
    if (one.role == Role::kPeer &&
        (best_peer == nullptr ||
         Quantile(one.nanoseconds, 0.5) < Quantile(best_peer->nanoseconds, 0.5)))
      best_peer = &one;
  }
  FILE *json = json_path.empty() ? nullptr : std::fopen(json_path.c_str(), "a");
  for (const Workload::Aim &aim : workload.aims_) {
    const Case *const one = by_name.at(aim.name);
    const Case *const other = aim.against == "best peer" ? best_peer : by_name.at(aim.against);
    const double ratio = PairedRatio(*one, *other);
    const char *const verdict = aim.limit == 0 ? "reported" : ratio <= aim.limit ? "met" : "MISSED";
    std::printf("  ratio    %s / %s = %.2f", one->name.c_str(), other->name.c_str(), ratio);
    if (aim.limit != 0) std::printf(", goal %.2f", aim.limit);
    std::printf(": %s\n", verdict);
    if (json != nullptr)
      std::fprintf(json,
                   "{\"family\":\"%s\",\"workload\":\"%s\",\"case\":\"%s\",\"against\":\"%s\","
                   "\"ratio\":%.4f,\"goal\":%.4f,\"verdict\":\"%s\"}\n",
                   name_.c_str(), workload.name_.c_str(), one->name.c_str(), other->name.c_str(),
                   ratio, aim.limit, verdict);
  }
  if (json != nullptr) std::fclose(json);
}

int Family::Main(int argc, char **argv) {
  int rounds = 15;
  std::string json_path, filter;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--rounds") == 0) rounds = std::atoi(argv[i + 1]);
    if (std::strcmp(argv[i], "--json") == 0) json_path = argv[i + 1];
    if (std::strcmp(argv[i], "--filter") == 0) filter = argv[i + 1];
  }
  bool same = true;
  for (const auto &workload : workloads_) {
    if (workload->name_.find(filter) == std::string::npos) continue;
    std::printf("%s: %s\n", name_.c_str(), workload->name_.c_str());
    same = SameResults(*workload) && same;
    begin_rounds_();
    std::vector<Case> &cases = workload->cases_;
    for (Case &one : cases) Calibrate(one);
    for (int round = 0; round < rounds; ++round) {
      for (size_t i = 0; i < cases.size(); ++i) {
        Case &one = cases[(i + static_cast<size_t>(round)) % cases.size()];
        one.nanoseconds.push_back(Measure(one, one.batch) / static_cast<double>(one.batch));
      }
    }
    end_rounds_();
    Report(*workload, json_path);
    std::fflush(stdout);
  }
  return same ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace cu_bench
