#include <benchmark/benchmark.h>

#include <string>

#include "Bench.h"
#include "LibraryProgram.h"
#include "PlainProgram.h"

namespace Bench {

namespace {

constexpr U32 inService = 100;

/// A sub-interface that is not configured is added and removed again, with `inService` others on
/// each port.
template <class Program>
struct AddAndRemove {
  explicit AddAndRemove(U32 ports) : one(subIntf(ports / 2, inService)) {
    freshDriver();
    fill(program, ports, inService);
    program.portIs(one.client, "dev");
    program.start();
  }
  void once() {
    program.configIs(one);
    program.configDel(one.proxy);
  }

  Program program;
  SubIntf one;
};

template <class Program>
void addAndRemove(benchmark::State& state, U32 ports) {
  AddAndRemove<Program> work(ports);
  for (auto _ : state) work.once();
}

void addAndRemoveOfDriver(benchmark::State& state, U32 ports) {
  AddAndRemove<PlainProgram> work(ports);
  auto const commands = commandsOf([&] { work.once(); });
  for (auto _ : state) {
    for (auto const& command : commands) send(command);
  }
}

/// What a change costs a machine that it does not concern: the same change with and without 63
/// further ports in use, taken in turns, and the difference divided by their number.
template <class Program>
void foreignKey(benchmark::State& state) {
  constexpr U32 others = 63;
  constexpr int batch = 200;
  AddAndRemove<Program> alone(1);
  AddAndRemove<Program> among(1);
  fill(among.program, 1 + others, 1);
  auto const timed = [](AddAndRemove<Program>& work) {
    return secondsOf([&] {
      for (int time = 0; time < batch; ++time) work.once();
    });
  };
  double secondsAlone = 0;
  double secondsAmong = 0;
  for (auto _ : state) {
    secondsAlone += timed(alone);
    double const seconds = timed(among);
    secondsAmong += seconds;
    state.SetIterationTime(seconds / batch);
  }
  double const heard = 2.0 * batch * others * static_cast<double>(state.iterations());
  state.counters["ns/machine"] = (secondsAmong - secondsAlone) * 1e9 / heard;
}

}  // namespace

void registerEventBenchmarks() {
  using benchmark::RegisterBenchmark;
  for (U32 const ports : {1U, 8U, 64U}) {
    std::string const name = "add and remove one, ports " + std::to_string(ports) + '/';
    RegisterBenchmark((name + "library").c_str(), addAndRemove<LibraryProgram>, ports);
    RegisterBenchmark((name + "plain").c_str(), addAndRemove<PlainProgram>, ports);
    RegisterBenchmark((name + "driver").c_str(), addAndRemoveOfDriver, ports);
  }
  for (auto* const registered :
       {RegisterBenchmark("foreign key/library", foreignKey<LibraryProgram>),
        RegisterBenchmark("foreign key/plain", foreignKey<PlainProgram>)}) {
    registered->UseManualTime()->Iterations(1000);
  }
}

}  // namespace Bench
