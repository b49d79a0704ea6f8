#include <benchmark/benchmark.h>
#include <cstdio>
#include <exception>
#include <fstream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Bench.h"
#include "Report.h"
#include "Work.h"

namespace {

/// Whether there is room for the largest chassis, twice: in service and about to start.
bool hasMemoryForLargest() {
  constexpr long wanted = 6000;  // MB
  std::ifstream info("/proc/meminfo");
  std::string name;
  for (long kiB = 0; info >> name >> kiB; info.ignore(80, '\n')) {
    if (name != "MemAvailable:") continue;
    if (kiB / 1000 >= wanted) return true;
    std::fprintf(stderr, "the largest needs %ld MB of memory, and %ld are available\n", wanted,
                 kiB / 1000);
    return false;
  }
  std::fprintf(stderr, "how much memory is available is not known\n");
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  // What is compared runs in turns, many and short ones, so that what else the machine does falls
  // on all alike. Options that are given win over these.
  std::string const repetitions = "--benchmark_repetitions=" + std::to_string(Bench::repetitions);
  std::vector<char const*> options{argv[0], repetitions.c_str(),
                                   "--benchmark_enable_random_interleaving=true",
                                   "--benchmark_min_time=0.01"};
  for (char const* const option : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
    if (option == std::string_view("--largest")) {
      if (!hasMemoryForLargest()) return 2;
      Bench::measuresBeyond = true;
    } else {
      options.push_back(option);
    }
  }
  int count = static_cast<int>(options.size());
  benchmark::Initialize(&count, const_cast<char**>(options.data()));
  if (benchmark::ReportUnrecognizedArguments(count, const_cast<char**>(options.data()))) return 2;
  Bench::Report report;
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
    benchmark::RunSpecifiedBenchmarks(&report);
  } catch (std::exception const& failure) {
    report.Finalize();
    std::fprintf(stderr, "macsecproxy-bench: %s\n", failure.what());
    return 1;
  }
  if (report.hasAny()) return 0;
  std::fprintf(stderr, "macsecproxy-bench: nothing is named like that\n");
  return 2;
}
