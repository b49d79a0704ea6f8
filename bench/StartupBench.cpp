#include <fmt/format.h>
#include <malloc.h>

#include <string>

#include "Bench.h"
#include "DirectProgram.h"
#include "LibraryProgram.h"
#include "Work.h"

namespace Bench {

namespace {

/// A program that has its configuration and does not run.
template <class Program>
struct Configured {
  Configured(U32 ports, U32 perPort) { fill(program, ports, perPort); }
  Program program;
};

/// What is allocated from the heap now, with the allocator's own overhead.
double heapBytes() {
  struct mallinfo2 const heap = mallinfo2();
  return static_cast<double>(heap.uordblks) + static_cast<double>(heap.hblkhd);
}

/// Measures a start over tables that `prepare` has filled.
template <class Program, class Prepare>
void start(benchmark::State& state, U32 ports, U32 perPort, Prepare prepare) {
  auto& program = worldOf<Configured<Program>>(ports, perPort).program;
  for (auto _ : state) {
    program.tablesDelAll();
    freshDriver();
    prepare(program);
    double const before = heapBytes();
    state.SetIterationTime(secondsOf([&] { program.start(); }));
    state.counters["heap"] = heapBytes() - before;
    program.stop();
  }
}

constexpr auto fresh = [](auto&) {};
constexpr auto killed = [](auto& program) {
  program.start();
  program.crash();
};

template <class Program>
struct Startup {
  static void run(benchmark::State& state, U32 ports, U32 perPort) {
    start<Program>(state, ports, perPort, fresh);
  }
};

template <class Program>
struct Restart {
  static void run(benchmark::State& state, U32 ports, U32 perPort) {
    start<Program>(state, ports, perPort, killed);
  }
};

/// What a start adds to the heap.
template <class Program>
struct Heap {
  static void run(benchmark::State& state, U32 ports, U32 perPort) {
    start<Program>(state, ports, perPort, fresh);
    state.counters["bytes"] = state.counters["heap"];
  }
};

template <template <class> class Job>
void registerJob(char const* what, U32 ports, U32 perPort, Goal besideFloor, Goal besidePlain,
                 Measure measure = Measure::ownTime) {
  Registration({.name = fmt::format("{}, {} x {}", what, ports, perPort),
                .per = double{1} * ports * perPort,
                .measure = measure},
               contender<Job, LibraryProgram>("library", ports, perPort))
      .beside(besideFloor, {contender<Job, FloorProgram>("floor", ports, perPort)})
      .beside(besidePlain, {contender<Job, PlainProgram>("plain", ports, perPort)});
}

void registerGrowths() {
  constexpr U32 ports = 64;
  std::vector<double> const sizes{6400, 16000, 32000, 64000, 96000, 131008};
  registerGrowth({.name = "start-up, by sub-interfaces on 64 ports",
                  .unit = "ns a sub-interface",
                  .measure = Measure::ownTime,
                  .points = sizes},
                 [](benchmark::State& state, double all) {
                   Startup<LibraryProgram>::run(state, ports, static_cast<U32>(all) / ports);
                 });
  constexpr U32 all = 34560;
  registerGrowth({.name = "start-up of 34,560, a sub-interface, by ports",
                  .unit = "ns a port",
                  .per = all,
                  .measure = Measure::ownTime,
                  .points = {18, 64, 144, 288, 576}},
                 [](benchmark::State& state, double count) {
                   auto const spread = static_cast<U32>(count);
                   Startup<LibraryProgram>::run(state, spread, all / spread);
                 });
  registerGrowth({.name = "restart of 8 x 100, by stale records",
                  .unit = "ns a record",
                  .measure = Measure::ownTime,
                  .points = {0, 8000, 16000, 32000, 64000}},
                 [](benchmark::State& state, double records) {
                   start<LibraryProgram>(state, 8, 100, [=](LibraryProgram& program) {
                     program.leave(static_cast<U32>(records), 0);
                   });
                 });
  registerGrowth({.name = "restart of 8 x 100, by stale marks",
                  .unit = "ns a mark",
                  .measure = Measure::ownTime,
                  .points = {0, 8000, 16000, 32000, 64000}},
                 [](benchmark::State& state, double marks) {
                   start<LibraryProgram>(state, 8, 100, [=](LibraryProgram& program) {
                     program.leave(0, static_cast<U32>(marks));
                   });
                 });
  registerGrowth({.name = "heap, by sub-interfaces in service on 64 ports",
                  .unit = "B a sub-interface",
                  .measure = Measure::bytes,
                  .points = sizes},
                 [](benchmark::State& state, double count) {
                   Heap<LibraryProgram>::run(state, ports, static_cast<U32>(count) / ports);
                 });
}

}  // namespace

void registerStartupBenchmarks() {
  registerJob<Startup>("start-up", 64, 100, {1.4, 1.75}, {0.55, 0.75});
  registerJob<Startup>("start-up", 64, 2047, {1.4, 1.75}, {0.2, 0.3});
  registerJob<Restart>("restart after a kill", 64, 100, {}, {});
  registerJob<Restart>("restart after a kill", 64, 2047, {}, {});
  registerJob<Heap>("heap bytes in service", 64, 2047, {}, {0.7, 1.0}, Measure::bytes);
  registerJob<Heap>("heap bytes in service", 48, 1500, {}, {0.8, 1.1}, Measure::bytes);
  registerGrowths();
}

}  // namespace Bench
