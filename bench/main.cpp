#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <span>
#include <string_view>
#include <vector>

#include "Bench.h"
#include "Report.h"
#include "Work.h"

namespace {

/// Whether there is room for the largest chassis, twice: in service and about to start.
bool hasMemoryForLargest() {
  constexpr double wanted = 6e9;
  double const there =
      static_cast<double>(sysconf(_SC_AVPHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
  if (there >= wanted) return true;
  std::fprintf(stderr, "the largest is left out: it needs %g bytes of memory\n", wanted);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  // What is compared runs in turns, so that a busy machine falls on all alike. Options that are
  // given win over these.
  std::vector<char const*> options{argv[0], "--benchmark_repetitions=9",
                                   "--benchmark_enable_random_interleaving=true",
                                   "--benchmark_min_time=0.02"};
  for (char const* const option : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
    if (option == std::string_view("--largest")) {
      Bench::measuresBeyond = hasMemoryForLargest();
    } else {
      options.push_back(option);
    }
  }
  int count = static_cast<int>(options.size());
  benchmark::Initialize(&count, const_cast<char**>(options.data()));
  if (benchmark::ReportUnrecognizedArguments(count, const_cast<char**>(options.data()))) return 2;
  try {
    Bench::checkSameOutcome();
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
  } catch (std::exception const& failure) {
    std::fprintf(stderr, "macsecproxy-bench: %s\n", failure.what());
    return 1;
  }
}
