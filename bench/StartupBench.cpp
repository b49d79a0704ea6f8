#include <benchmark/benchmark.h>
#include <malloc.h>

#include <string>

#include "Bench.h"
#include "LibraryProgram.h"
#include "PlainProgram.h"

namespace Bench {

namespace {

/// How large, and whether over what a run that was killed has left.
struct Case {
  U32 ports;
  U32 perPort;
  bool restart;

  double subIntfs() const { return double{1} * ports * perPort; }
};

/// What is allocated from the heap now, with the allocator's own overhead.
double heapBytes() {
  struct mallinfo2 const heap = mallinfo2();
  return static_cast<double>(heap.uordblks) + static_cast<double>(heap.hblkhd);
}

/// Brings `program`, which is not running, to where a start is to be measured.
template <class Program>
void prepare(Program& program, Case const& what) {
  program.tablesDelAll();
  if (what.restart) {
    program.start();
    program.crash();
  }
  freshDriver();
}

void perSubIntf(benchmark::State& state, Case const& what) {
  state.counters["per sub-intf"] = benchmark::Counter(
      what.subIntfs(), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Program>
void startup(benchmark::State& state, Case what) {
  Program program;
  fill(program, what.ports, what.perPort);
  double bytes = 0;
  for (auto _ : state) {
    prepare(program, what);
    double const before = heapBytes();
    state.SetIterationTime(secondsOf([&] { program.start(); }));
    // What the driver keeps is not the program's.
    freshDriver();
    bytes = heapBytes() - before;
    program.stop();
  }
  perSubIntf(state, what);
  // A restart takes the place of what was left, so that its heap says nothing.
  if (!what.restart) state.counters["bytes/sub-intf"] = bytes / what.subIntfs();
}

void startupOfDriver(benchmark::State& state, Case what) {
  PlainProgram program;
  fill(program, what.ports, what.perPort);
  prepare(program, what);
  auto const commands = commandsOf([&] { program.start(); });
  for (auto _ : state) {
    freshDriver();
    state.SetIterationTime(secondsOf([&] {
      for (auto const& command : commands) send(command);
    }));
  }
  perSubIntf(state, what);
}

}  // namespace

void registerStartupBenchmarks() {
  using benchmark::RegisterBenchmark;
  // The small ones come before the large ones have been over the heap.
  for (Case const what :
       {Case{64, 100, false}, Case{64, 100, true}, Case{64, 2047, false}, Case{64, 2047, true}}) {
    std::string const name = (what.restart ? "restart, " : "start-up, ") +
                             std::to_string(what.ports) + " x " + std::to_string(what.perPort) +
                             '/';
    for (auto* const registered :
         {RegisterBenchmark((name + "library").c_str(), startup<LibraryProgram>, what),
          RegisterBenchmark((name + "plain").c_str(), startup<PlainProgram>, what),
          RegisterBenchmark((name + "driver").c_str(), startupOfDriver, what)}) {
      registered->UseManualTime()->Unit(benchmark::kMillisecond);
      registered->Iterations(what.perPort > 1000 ? 5 : 20);
    }
  }
}

}  // namespace Bench
