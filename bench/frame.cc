#include "bench/frame.hpp"

#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>

#include "bench/goals.hpp"

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

/// The ratios of two cases, round by round: both met the same moment of the machine.
std::vector<double> PairedRatios(const Case &one, const Case &other) {
  std::vector<double> ratios;
  for (size_t i = 0; i < one.nanoseconds.size(); ++i)
    ratios.push_back(one.nanoseconds[i] / other.nanoseconds[i]);
  return ratios;
}

double Median(const std::vector<double> &values) {
  return Quantile(values, 0.5);
}

const char *RoleName(Role role) {
  switch (role) {
    case Role::kLibrary:
      return "library";
    case Role::kPeer:
      return "peer";
    case Role::kReported:
      return "reported";
    default:
      return "floor";
  }
}

double Now(Clock clock) {
  timespec now{};
  clock_gettime(clock == Clock::kCpu ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double Measure(Case &one, uint64_t units, Clock clock) {
  const double start = Now(clock);
  for (uint64_t i = 0; i < units; ++i) Keep(one.work());
  return Now(clock) - start;
}

/// Finds the batch that takes long enough to be measured and short enough to meet one moment.
void Calibrate(Case &one, Clock clock) {
  one.batch = 1;
  for (;;) {
    const double taken = Measure(one, one.batch, clock);
    if (taken >= kShortestBatch) break;
    const double wanted = taken > 0 ? (kShortestBatch + kLongestBatch) / 3 / taken : 16;
    one.batch = std::max(one.batch + 1, static_cast<uint64_t>(static_cast<double>(one.batch) *
                                                              std::min(wanted, 16.0)));
  }
}

const char *Verdict(double value, double limit) {
  return value <= limit ? "met" : "MISSED";
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

/// A ratio with two digits after the point, or as many as a small one needs.
std::string Ratio(double ratio) {
  char text[32];
  snprintf(text, sizeof text, ratio < 0.1 ? "%.3f" : "%.2f", ratio);
  return text;
}

}  // namespace

void Workload::Add(Role role, std::string name, Work work, Check check) {
  cases_.push_back({role, std::move(name), std::move(work), check, 1, {}});
}

Workload &Family::AddWorkload(std::string name, Clock clock) {
  workloads_.push_back(std::make_unique<Workload>(std::move(name), clock));
  return *workloads_.back();
}

void Family::AddFigures(std::string workload,
                        std::function<std::vector<Figure>(int rounds)> measure) {
  figures_.push_back({std::move(workload), std::move(measure)});
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

bool Family::GoalsNameCases() const {
  bool all = true;
  for (const Goal &goal : Goals()) {
    if (goal.family != name_) continue;
    const auto has = [&](const Workload &workload, std::string_view name) {
      return std::any_of(workload.cases_.begin(), workload.cases_.end(),
                         [&](const Case &one) { return one.name == name; });
    };
    const bool found =
        std::any_of(workloads_.begin(), workloads_.end(),
                    [&](const auto &workload) {
                      return workload->name_ == goal.workload && has(*workload, goal.name) &&
                             (goal.against == kBestPeer || has(*workload, goal.against));
                    }) ||
        std::any_of(figures_.begin(), figures_.end(),
                    [&](const Measured &one) { return one.workload == goal.workload; });
    if (found) continue;
    std::printf("%s: no such case: %s, %s / %s\n", name_.c_str(), goal.workload.data(),
                goal.name.data(), goal.against.data());
    all = false;
  }
  return all;
}

void Family::Report(const Workload &workload, std::ostream *json) const {
  std::map<std::string_view, const Case *> by_name;
  const Case *best_peer = nullptr, *floor = nullptr;
  for (const Case &one : workload.cases_) {
    by_name[one.name] = &one;
    if (one.role == Role::kFloor && floor == nullptr) floor = &one;
    if (one.role == Role::kPeer &&
        (best_peer == nullptr || Median(one.nanoseconds) < Median(best_peer->nanoseconds)))
      best_peer = &one;
  }
  by_name[kBestPeer] = best_peer;

  std::printf("  %-8s %-34s %11s %25s %9s %9s\n", "", "", "median", "p10 .. p90", "/floor",
              "/best peer");
  for (const Case &one : workload.cases_) {
    const double median = Median(one.nanoseconds), p10 = Quantile(one.nanoseconds, 0.1),
                 p90 = Quantile(one.nanoseconds, 0.9);
    nlohmann::json row = {{"family", name_},     {"workload", workload.name_},
                          {"case", one.name},    {"role", RoleName(one.role)},
                          {"median_ns", median}, {"p10_ns", p10},
                          {"p90_ns", p90},       {"best_peer", &one == best_peer},
                          {"of_floor", nullptr}, {"of_best_peer", nullptr}};
    const auto column = [&](const Case *other, const char *key) {
      if (other == nullptr) return std::string("-");
      const double ratio = Median(PairedRatios(one, *other));
      row[key] = ratio;
      return Ratio(ratio);
    };
    const std::string of_floor = column(floor, "of_floor");
    const std::string of_best_peer = column(best_peer, "of_best_peer");
    std::printf("  %-8s %-34s %11s %25s %9s %9s\n", RoleName(one.role), one.name.c_str(),
                Duration(median).c_str(), (Duration(p10) + " .. " + Duration(p90)).c_str(),
                of_floor.c_str(), of_best_peer.c_str());
    if (json != nullptr) *json << row << '\n';
  }
  for (const Goal &goal : Goals()) {
    if (goal.family != name_ || goal.workload != workload.name_) continue;
    const Case *const other = by_name.at(goal.against);
    const std::vector<double> ratios = PairedRatios(*by_name.at(goal.name), *other);
    const double ratio = Median(ratios), p10 = Quantile(ratios, 0.1), p90 = Quantile(ratios, 0.9);
    std::printf("  goal     %s / %s = %s (%s .. %s), at most %s: %s\n", goal.name.data(),
                other->name.c_str(), Ratio(ratio).c_str(), Ratio(p10).c_str(), Ratio(p90).c_str(),
                Ratio(goal.limit).c_str(), Verdict(ratio, goal.limit));
    if (json != nullptr)
      *json << nlohmann::json{{"family", name_},
                              {"workload", workload.name_},
                              {"case", goal.name},
                              {"against", other->name},
                              {"value", ratio},
                              {"p10", p10},
                              {"p90", p90},
                              {"goal", goal.limit},
                              {"verdict", Verdict(ratio, goal.limit)}}
            << '\n';
  }
}

void Family::Report(const Measured &measured, int rounds, std::ostream *json) const {
  for (const Figure &figure : measured.measure(rounds)) {
    std::printf("  %-8s %-34s %9.2f %s", RoleName(figure.role), figure.name.c_str(), figure.value,
                figure.metric.c_str());
    nlohmann::json row = {{"family", name_},         {"workload", measured.workload},
                          {"case", figure.name},     {"role", RoleName(figure.role)},
                          {"metric", figure.metric}, {"value", figure.value}};
    for (const Goal &goal : Goals()) {
      if (goal.family != name_ || goal.workload != measured.workload || goal.name != figure.name ||
          goal.against != figure.metric)
        continue;
      row["goal"] = goal.limit;
      row["against"] = figure.metric;
      row["verdict"] = Verdict(figure.value, goal.limit);
      std::printf(", at most %s: %s", Ratio(goal.limit).c_str(), Verdict(figure.value, goal.limit));
    }
    std::printf("\n");
    if (json != nullptr) *json << row << '\n';
  }
}

void Family::Run(Workload &workload, int rounds, std::ostream *json) const {
  begin_rounds_();
  std::vector<Case> &cases = workload.cases_;
  for (Case &one : cases) Calibrate(one, workload.clock_);
  for (int round = 0; round < rounds; ++round) {
    for (size_t i = 0; i < cases.size(); ++i) {
      Case &one = cases[(i + static_cast<size_t>(round)) % cases.size()];
      one.nanoseconds.push_back(Measure(one, one.batch, workload.clock_) /
                                static_cast<double>(one.batch));
    }
  }
  end_rounds_();
  Report(workload, json);
}

/// Each case is run thrice: to warm up, twice to be counted. Callgrind has to start without
/// collecting.
void Family::CountInstructions(const Workload &workload) const {
  begin_rounds_();
  for (const Case &one : workload.cases_) {
    Keep(one.work());
    CALLGRIND_TOGGLE_COLLECT;
    Keep(one.work());
    Keep(one.work());
    CALLGRIND_TOGGLE_COLLECT;
    const std::string label = name_ + " | " + workload.name_ + " | " + one.name;
    CALLGRIND_DUMP_STATS_AT(label.c_str());
  }
  end_rounds_();
}

int Family::Main(int argc, char **argv) {
  int rounds = 15;
  std::string filter;
  std::ofstream file;
  const bool counting = argc > 1 && std::strcmp(argv[1], "--instructions") == 0;
  for (int i = counting ? 2 : 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--rounds") == 0) rounds = std::max(1, std::atoi(argv[i + 1]));
    if (std::strcmp(argv[i], "--json") == 0) file.open(argv[i + 1], std::ios::app);
    if (std::strcmp(argv[i], "--filter") == 0) filter = argv[i + 1];
  }
  std::ostream *const json = file.is_open() ? &file : nullptr;
  bool good = GoalsNameCases();
  for (const auto &workload : workloads_) {
    if (workload->name_.find(filter) == std::string::npos) continue;
    if (counting) {
      CountInstructions(*workload);
      continue;
    }
    std::printf("%s: %s\n", name_.c_str(), workload->name_.c_str());
    if (SameResults(*workload))
      Run(*workload, rounds, json);
    else
      good = false;  // times of different work are not compared
    std::fflush(stdout);
  }
  for (const Measured &figures : figures_) {
    if (counting || figures.workload.find(filter) == std::string::npos) continue;
    std::printf("%s: %s\n", name_.c_str(), figures.workload.c_str());
    Report(figures, rounds, json);
    std::fflush(stdout);
  }
  return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace cu_bench
