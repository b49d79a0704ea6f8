#pragma once

namespace Bench {

/// How often each benchmark runs, unless the options say otherwise.
constexpr int repetitions = 20;

/// Runs the library and the two other programs through one history and raises
/// `std::runtime_error`, which says where, when they do not send the same commands or end in the
/// same tables.
void checkSameOutcome();

// One for each group, in a file of its own.
void registerPtrBenchmarks();
void registerDeliveryBenchmarks();
void registerMapBenchmarks();
void registerBitmapBenchmarks();
void registerCommandBenchmarks();
void registerTraceBenchmarks();
void registerAccessBenchmarks();
void registerEventBenchmarks();
void registerStartupBenchmarks();

}  // namespace Bench
