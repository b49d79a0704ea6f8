#include "Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>

#include "Fit.h"
#include "Work.h"

namespace Bench {

namespace {

double at(std::vector<double> const& ascending, double fraction) {
  return ascending[static_cast<std::size_t>(fraction * static_cast<double>(ascending.size() - 1))];
}

/// Half the distance between the quartiles, as a part of the median.
double spread(std::vector<double> const& ascending) {
  return (at(ascending, 0.75) - at(ascending, 0.25)) / 2 / at(ascending, 0.5);
}

/// The name alone can be that of several generations.
std::string processor() {
  std::map<std::string, std::string> facts;
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line) && !line.empty();) {
    std::size_t const colon = line.find(": ");
    if (colon != std::string::npos) {
      facts[line.substr(0, line.find('\t'))] = line.substr(colon + 2);
    }
  }
  if (!facts.contains("model name")) return "unknown processor";
  return fmt::format("{} (family {}, model {})", facts["model name"], facts["cpu family"],
                     facts["model"]);
}

std::string compiler() {
#ifdef __clang__
  return "clang++ " __clang_version__;
#else
  return "g++ " __VERSION__;
#endif
}

/// Three significant digits.
std::string figure(std::optional<double> value) {
  if (!value) return "-";
  double const size = std::abs(*value);
  if (size >= 1e6) return fmt::format("{:.3g}M", *value * 1e-6);
  if (size >= 1e4) return fmt::format("{:.3g}k", *value * 1e-3);
  return fmt::format("{:.{}f}", *value, size < 10 ? 2 : size < 100 ? 1 : 0);
}

std::string verdict(double compared, Goal const& goal) {
  if (compared <= goal.goal) return "ok";
  return compared <= goal.bound ? "over" : "missed";
}

/// Which of the peers that share a demand were not there to set it.
std::string without(Work const& work, Work::Beside const& beside) {
  std::string missing;
  for (std::string const& peer : beside.peers) {
    if (!measures().contains(work.benchmarkName(peer))) missing += " (without " + peer + ")";
  }
  return missing;
}

std::string demand(double value, bool isDifference) {
  return fmt::format("{}{:g}", isDifference ? "+" : "", value);
}

}  // namespace

void Report::ReportRuns(std::vector<Run> const& runs) {
  for (Run const& run : runs) {
    if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
    std::string const& name = run.run_name.function_name;
    Measure const measure = measures().at(name);
    repetitions_[name].push_back(measure == Measure::time      ? run.GetAdjustedCPUTime()
                                 : measure == Measure::ownTime ? run.GetAdjustedRealTime()
                                                               : run.counters.at("bytes").value);
  }
}

void Report::Finalize() {
  if (repetitions_.empty()) return;
  for (auto& [name, values] : repetitions_) std::sort(values.begin(), values.end());
  printNoise();
  printWorks();
  printGrowths();
}

std::optional<double> Report::median(std::string const& benchmarkName) const {
  auto const found = repetitions_.find(benchmarkName);
  if (found == repetitions_.end()) return std::nullopt;
  return at(found->second, 0.5);
}

void Report::printNoise() const {
  std::vector<double> spreads;
  std::size_t most = 0;
  for (auto const& [name, values] : repetitions_) {
    if (values.size() > 1) spreads.push_back(spread(values));
    most = std::max(most, values.size());
  }
  std::sort(spreads.begin(), spreads.end());
  fmt::print("{}, {} cores; {}; {} repetitions", processor(), benchmark::CPUInfo::Get().num_cpus,
             compiler(), most);
  if (!spreads.empty()) {
    fmt::print(", half the quartile distance {:.1f}% of the median (worst tenth from {:.1f}%)",
               100 * at(spreads, 0.5), 100 * at(spreads, 0.9));
  }
  fmt::print("\n");
}

void Report::printWorks() const {
  constexpr char const* row = "{:44} {:>9}  {:27} {:>9} {:>7} {:>5} {:>5}  {}\n";
  fmt::print("\n");
  fmt::print(row, "work, ns (heap: B)", "ours", "beside", "it", "ratio", "goal", "bound", "");
  for (Work const& work : works()) {
    auto const valueOf = [&](std::string const& label) {
      auto const value = median(work.benchmarkName(label));
      return value ? std::optional(*value / work.per) : std::nullopt;
    };
    auto const ours = valueOf(work.ours);
    if (!ours) continue;
    for (Work::Beside const& beside : work.beside) {
      auto const faster = [&](std::string const& one, std::string const& other) {
        return valueOf(one).value_or(HUGE_VAL) < valueOf(other).value_or(HUGE_VAL);
      };
      auto const fastest = std::min_element(beside.peers.begin(), beside.peers.end(), faster);
      for (std::string const& peer : beside.peers) {
        auto const its = valueOf(peer);
        bool const decides = its && peer == *fastest && beside.goal.bound > 0;
        std::string ratio = "-";
        std::string outcome = its                                             ? ""
                              : measures().contains(work.benchmarkName(peer)) ? "not run"
                                                                              : "not installed";
        if (its) {
          double const compared = work.isDifference ? *ours - *its : *ours / *its;
          ratio = fmt::format("{}{:.2f}", work.isDifference && compared >= 0 ? "+" : "", compared);
          if (decides) outcome = verdict(compared, beside.goal) + without(work, beside);
        }
        fmt::print(row, work.name, figure(ours), peer, figure(its), ratio,
                   decides ? demand(beside.goal.goal, work.isDifference) : "",
                   decides ? demand(beside.goal.bound, work.isDifference) : "", outcome);
      }
    }
  }
}

void Report::printGrowths() const {
  constexpr char const* row = "{:56} {:>28} {:>12} {:>6}  {}\n";
  bool begun = false;
  for (Growth const& growth : growths()) {
    std::vector<Point> points;
    for (double const x : growth.points) {
      if (auto const y = median(growth.benchmarkName(x)))
        points.push_back({x, growth.valueOf(*y, x)});
    }
    if (points.size() < 2) continue;
    if (!begun) {
      fmt::print("\n");
      fmt::print(row, "growth, ns or B", "slope", "at 0", "worst", "at each point");
      begun = true;
    }
    Line const line = fit(points);
    std::string each;
    for (Point const& point : points) each += fmt::format(" {:g}: {}", point.x, figure(point.y));
    fmt::print(row, growth.name, fmt::format("{:.4g} {}", line.slope, growth.unit),
               figure(line.atZero), fmt::format("{:.0f}%", 100 * line.worst), each.substr(1));
    if (growth.beyond == 0) continue;
    double const expected = line.atZero + line.slope * growth.beyond;
    fmt::print("    drawn on to {:g}: {}", growth.beyond, figure(expected));
    if (auto const there = median(growth.benchmarkName(growth.beyond))) {
      double const measured = growth.valueOf(*there, growth.beyond);
      fmt::print("; measured there: {}, {:.2f} of that", figure(measured), measured / expected);
    }
    fmt::print("\n");
  }
}

}  // namespace Bench
