#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>
#include <vector>

#include "Bench.h"
#include "Report.h"

int main(int argc, char** argv) {
  // What is compared runs in turns, so that a busy machine falls on all alike. Options that are
  // given win over these.
  std::vector<char const*> options{argv[0], "--benchmark_repetitions=9",
                                   "--benchmark_enable_random_interleaving=true",
                                   "--benchmark_min_time=0.02"};
  options.insert(options.end(), argv + 1, argv + argc);
  int count = static_cast<int>(options.size());
  benchmark::Initialize(&count, const_cast<char**>(options.data()));
  if (benchmark::ReportUnrecognizedArguments(count, const_cast<char**>(options.data()))) return 2;
  try {
    Bench::checkSameOutcome();
  } catch (std::exception const& difference) {
    std::fprintf(stderr, "macsecproxy-bench: %s\n", difference.what());
    return 1;
  }
  Bench::registerPtrBenchmarks();
  Bench::registerDeliveryBenchmarks();
  Bench::registerMapBenchmarks();
  Bench::registerBitmapBenchmarks();
  Bench::registerCommandBenchmarks();
  Bench::registerTraceBenchmarks();
  Bench::registerAccessBenchmarks();
  Bench::registerEventBenchmarks();
  Bench::registerStartupBenchmarks();
  Bench::Report report;
  benchmark::RunSpecifiedBenchmarks(&report);
}
