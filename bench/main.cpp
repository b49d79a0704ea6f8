#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>

#include "Bench.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  try {
    Bench::checkSameOutcome();
  } catch (std::exception const& difference) {
    std::fprintf(stderr, "macsecproxy-bench: %s\n", difference.what());
    return 1;
  }
  Bench::registerEventBenchmarks();
  Bench::registerStartupBenchmarks();
  benchmark::RunSpecifiedBenchmarks();
}
