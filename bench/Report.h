#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Bench {

/// Collects the repetitions of all benchmarks and prints, when all have run, what they say about
/// each `Work` and each `Growth`. Figures are medians over the repetitions.
class Report : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(Context const&) override { return true; }
  void ReportRuns(std::vector<Run> const& runs) override;
  void Finalize() override;

  /// Whether anything was measured.
  bool hasAny() const { return !repetitions_.empty(); }
  /// The median of that benchmark, nothing when it did not run.
  std::optional<double> median(std::string const& benchmarkName) const;

 private:
  void printNoise() const;
  void printWorks() const;
  void printGrowths() const;

  /// The repetitions, by the benchmark's name, in ascending order once all have run.
  std::map<std::string, std::vector<double>> repetitions_;
};

}  // namespace Bench
