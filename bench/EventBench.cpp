#include <fmt/format.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Bench.h"
#include "DirectProgram.h"
#include "LibraryProgram.h"
#include "Work.h"

namespace Bench {

namespace {

/// A running program with `perPort` sub-interfaces in service on each of `ports` ports, and names
/// for a few more on each.
template <class Program>
class InService {
 public:
  InService(U32 ports, U32 perPort) : one_(subIntf(ports / 2, perPort + others)) {
    freshDriver();
    fill(program_, ports, perPort);
    for (U32 port = 0; port < ports; ++port) {
      for (U32 number = 0; number < perPort + others; ++number) {
        SubIntf const next = subIntf(port, number);
        program_.portIs(next.client, fmt::format("dev{}_{}", port, number));
        (number < perPort ? present_ : absent_).push_back(next);
      }
    }
    program_.portIs(one_.client, "one");
    program_.start();
  }

  /// Always the same one.
  void warm() {
    program_.configIs(one_);
    program_.configDel(one_.proxy);
  }
  /// One drawn from those configured, and one drawn from those that are not.
  void cold() {
    SubIntf& gone = present_[random_() % present_.size()];
    SubIntf& come = absent_[random_() % absent_.size()];
    program_.configDel(gone.proxy);
    program_.configIs(come);
    std::swap(gone, come);
  }

 private:
  static constexpr U32 others = 40;

  Program program_;
  SubIntf one_;
  std::vector<SubIntf> present_;
  std::vector<SubIntf> absent_;
  std::minstd_rand random_;
};

/// One sub-interface configured and one removed; each sends one command.
template <class Program>
void event(benchmark::State& state, U32 ports, U32 perPort, bool warm) {
  auto& world = worldOf<InService<Program>>(ports, perPort);
  freshDriver();
  if (warm) {
    for (auto _ : state) world.warm();
  } else {
    for (auto _ : state) world.cold();
  }
  if (Pesk::Driver::instance().commands() != 2 * static_cast<U64>(state.iterations())) {
    state.SkipWithError("commands are missing");
  }
}

template <class Program>
Contender contenderOf(char const* label, U32 ports, U32 perPort, bool warm) {
  return {label, [=](benchmark::State& state) { event<Program>(state, ports, perPort, warm); }};
}

Goal besidePlain(U32 ports, U32 perPort) {
  if (ports < 64) return {0.35, 0.45};
  return perPort > 1000 ? Goal{0.4, 0.6} : Goal{0.6, 0.9};
}

void registerEvent(U32 ports, U32 perPort, bool warm) {
  Registration({.name = fmt::format("an event, {}, {} x {} in service", warm ? "warm" : "cold",
                                    ports, perPort)},
               contenderOf<LibraryProgram>("library", ports, perPort, warm))
      .beside({1.5, 2}, {contenderOf<FloorProgram>("floor", ports, perPort, warm)})
      .beside(besidePlain(ports, perPort),
              {contenderOf<PlainProgram>("plain", ports, perPort, warm)});
}

void registerGrowths(bool warm) {
  std::string const name = warm ? "event, warm, by " : "event, cold, by ";
  constexpr U32 ports = 8;
  registerGrowth({.name = name + "sub-interfaces in service on 8 ports",
                  .unit = "ns a sub-interface",
                  .points = {80, 800, 4000, 8000, 16000}},
                 [=](benchmark::State& state, double all) {
                   event<LibraryProgram>(state, ports, static_cast<U32>(all) / ports, warm);
                 });
  // An event is two changes; each passes over the registration of every machine but one.
  registerGrowth({.name = name + "ports with 10 on each, a change",
                  .unit = "ns a machine",
                  .per = 2,
                  .points = {1, 8, 64, 192, 576}},
                 [=](benchmark::State& state, double count) {
                   event<LibraryProgram>(state, static_cast<U32>(count), 10, warm);
                 });
  registerGrowth({.name = name + "ports with 2,000 on each",
                  .unit = "ns a port",
                  .points = {4, 16, 32, 64, 96},
                  .beyond = 576},
                 [=](benchmark::State& state, double count) {
                   event<LibraryProgram>(state, static_cast<U32>(count), 2000, warm);
                 });
}

}  // namespace

void registerEventBenchmarks() {
  for (bool const warm : {true, false}) {
    for (U32 const ports : {1U, 8U, 64U}) {
      for (U32 const perPort : {100U, 2000U}) registerEvent(ports, perPort, warm);
    }
    registerGrowths(warm);
  }
}

}  // namespace Bench
