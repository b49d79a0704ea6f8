#include <fmt/format.h>
#include <malloc.h>

#include <string>

#include "Bench.h"
#include "DirectProgram.h"
#include "Kiv/MemoryPool.h"
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

/// What is in use of the heap now, the allocator's own overhead included and the pool's idle blocks
/// left out.
double heapBytes() {
  struct mallinfo2 const heap = mallinfo2();
  return static_cast<double>(heap.uordblks) + static_cast<double>(heap.hblkhd) -
         static_cast<double>(Kiv::MemoryPool::idleBytes());
}

/// Measures a start over tables that `prepare` has filled.
template <class Program, class Prepare>
void start(benchmark::State& state, U32 ports, U32 perPort, Prepare prepare, Measure measure) {
  auto& program = worldOf<Configured<Program>>(ports, perPort).program;
  for (auto _ : state) {
    program.tablesDelAll();
    freshDriver();
    prepare(program);
    // Asking goes through the idle memory, which would be at hand for the start then.
    double const before = measure == Measure::bytes ? heapBytes() : 0;
    state.SetIterationTime(secondsOf([&] { program.start(); }));
    if (measure == Measure::bytes) state.counters["bytes"] = heapBytes() - before;
    if (program.records().size() != std::size_t{ports} * perPort) {
      throw std::runtime_error("a start leaves sub-interfaces out of service");
    }
    program.stop();
  }
}

constexpr auto fresh = [](auto&) {};
constexpr auto killed = [](auto& program) {
  program.start();
  program.crash();
};

template <class Program, class Prepare>
Contender contenderOf(char const* label, U32 ports, U32 perPort, Prepare prepare, Measure measure) {
  return {label, [=](benchmark::State& state) {
            start<Program>(state, ports, perPort, prepare, measure);
          }};
}

template <class Prepare>
void registerJob(char const* what, U32 ports, U32 perPort, Goal besideFloor, Goal besidePlain,
                 Prepare prepare, Measure measure = Measure::ownTime) {
  Registration({.name = fmt::format("{}, {} x {}", what, ports, perPort),
                .per = double{1} * ports * perPort,
                .measure = measure},
               contenderOf<LibraryProgram>("library", ports, perPort, prepare, measure))
      .beside(besideFloor, {contenderOf<FloorProgram>("floor", ports, perPort, prepare, measure)})
      .beside(besidePlain, {contenderOf<PlainProgram>("plain", ports, perPort, prepare, measure)});
}

void registerGrowths() {
  constexpr U32 ports = 64;
  constexpr U32 full = 2047;
  std::vector<double> const sizes{6400, 16000, 32000, 64000, 96000, 131008};
  for (Measure const measure : {Measure::ownTime, Measure::bytes}) {
    auto const on64Ports = [measure](benchmark::State& state, double all) {
      start<LibraryProgram>(state, ports, static_cast<U32>(all) / ports, fresh, measure);
    };
    auto const onFullPorts = [measure](benchmark::State& state, double count) {
      start<LibraryProgram>(state, static_cast<U32>(count), full, fresh, measure);
    };
    bool const isHeap = measure == Measure::bytes;
    std::string const what = isHeap ? "heap" : "start-up";
    registerGrowth({.name = what + ", by sub-interfaces on 64 ports",
                    .unit = isHeap ? "B a sub-interface" : "ns a sub-interface",
                    .measure = measure,
                    .points = sizes},
                   on64Ports);
    registerGrowth({.name = what + " a sub-interface, by ports with 2,047 on each",
                    .unit = isHeap ? "B a port" : "ns a port",
                    .per = full,
                    .isShare = true,
                    .measure = measure,
                    .points = {4, 16, 32, 64, 96},
                    .beyond = 576},
                   onFullPorts);
  }
  auto const after = [](auto leave) {
    return [=](benchmark::State& state, double count) {
      start<LibraryProgram>(
          state, 8, 100, [=](LibraryProgram& program) { leave(program, static_cast<U32>(count)); },
          Measure::ownTime);
    };
  };
  std::vector<double> const stale{0, 8000, 16000, 32000, 64000};
  registerGrowth({.name = "restart of 8 x 100, by stale records",
                  .unit = "ns a record",
                  .measure = Measure::ownTime,
                  .points = stale},
                 after([](LibraryProgram& program, U32 count) { program.leave(count, 0); }));
  registerGrowth({.name = "restart of 8 x 100, by stale marks",
                  .unit = "ns a mark",
                  .measure = Measure::ownTime,
                  .points = stale},
                 after([](LibraryProgram& program, U32 count) { program.leave(0, count); }));
}

}  // namespace

void registerStartupBenchmarks() {
  registerJob("start-up", 64, 100, {1.4, 1.75}, {0.55, 0.75}, fresh);
  registerJob("start-up", 64, 2047, {1.4, 1.75}, {0.2, 0.3}, fresh);
  registerJob("restart after a kill", 64, 100, {}, {}, killed);
  registerJob("restart after a kill", 64, 2047, {}, {}, killed);
  registerJob("heap bytes in service", 64, 2047, {}, {0.7, 1.0}, fresh, Measure::bytes);
  registerJob("heap bytes in service", 48, 1500, {}, {0.8, 1.1}, fresh, Measure::bytes);
  registerGrowths();
}

}  // namespace Bench
