#pragma once

namespace Bench {

/// Runs the library and the plain program through one history and raises `std::runtime_error`,
/// which says where, when they do not send the same commands or end in the same tables.
void checkSameOutcome();

/// Benchmarks are named WORK/PEER; the peers of one work are "library", "plain" and, for the part
/// of both that is the driver's own, "driver".
void registerEventBenchmarks();
void registerStartupBenchmarks();

}  // namespace Bench
