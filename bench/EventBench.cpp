#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <stdexcept>
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
/// for a few more on each. `world` tells apart several of one size.
template <class Program>
class InService {
 public:
  InService(U32 ports, U32 perPort, U32 world)
      : perPort_(perPort), one_(world), random_(world + 1) {
    freshDriver();
    fill(program_, ports, perPort);
    for (U32 port = 0; port < ports; ++port) {
      for (U32 number = 0; number < perPort + others; ++number) {
        SubIntf const next = subIntf(port, number);
        program_.portIs(next.client, fmt::format("dev{}_{}", port, number));
        (number < perPort ? present_ : absent_).push_back(next);
      }
    }
    for (U32 number = 0; number < inTurn; ++number) {
      ones_.push_back(subIntf(ports / 2, perPort + others + number));
      program_.portIs(ones_.back().client, "one");
    }
    program_.start();
    program_.configDel(present_[gap_].proxy);
  }

  /// Has `warm` change another one from now on: some have others in their way in the tables. Worlds
  /// in turn go through different ones, a world by itself through all.
  void nextOne() { one_ = (one_ + Turn::worlds) % inTurn; }
  /// The same one until `nextOne`.
  void warm() {
    program_.configIs(ones_[one_]);
    program_.configDel(ones_[one_].proxy);
  }
  /// One drawn from those configured, and one drawn from those that are not, on the port that lost
  /// one the time before: all ports stay as full as they are.
  void cold() {
    std::size_t const gone = (gap_ + 1 + random_() % (present_.size() - 1)) % present_.size();
    SubIntf& come = absent_[gap_ / perPort_ * others + random_() % others];
    program_.configDel(present_[gone].proxy);
    program_.configIs(come);
    std::swap(present_[gap_], come);
    gap_ = gone;
  }
  /// Cold events that are not counted, so many that what other worlds left in the caches is not
  /// measured.
  void coldFirst() {
    for (std::size_t time = 0; time < std::min(present_.size(), std::size_t{20000}); ++time) cold();
  }

 private:
  static constexpr U32 others = 40;
  /// One for each repetition at least, unless others are asked for.
  static constexpr U32 inTurn = repetitions + 1;
  static_assert(std::gcd(inTurn, Turn::worlds) == 1);

  Program program_;
  U32 perPort_;
  std::vector<SubIntf> ones_;
  std::size_t one_;
  /// Both by port. In the gap stands one that is not configured.
  std::vector<SubIntf> present_;
  std::size_t gap_ = 0;
  std::vector<SubIntf> absent_;
  std::minstd_rand random_;
};

/// One sub-interface configured and one removed; each sends one command.
template <class Program>
void event(benchmark::State& state, U32 ports, U32 perPort, bool warm, U32 number) {
  auto& world = worldOf<InService<Program>>(ports, perPort, number);
  if (!warm) world.coldFirst();
  freshDriver();
  if (warm) {
    world.nextOne();
    for (auto _ : state) world.warm();
  } else {
    for (auto _ : state) world.cold();
  }
  U64 const sent = Pesk::Driver::instance().commands();
  U64 const expected = 2 * static_cast<U64>(state.iterations());
  if (sent != expected) {
    throw std::runtime_error(fmt::format("events sent {} commands, not {}", sent, expected));
  }
}

template <class Program>
Contender contenderOf(char const* label, U32 ports, U32 perPort, bool warm) {
  return {label, [=, turn = Turn()](benchmark::State& state) mutable {
            event<Program>(state, ports, perPort, warm, turn.next(ports * perPort));
          }};
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
  // Series have worlds apart from those that are compared.
  constexpr U32 ofSeries = ~U32{0};
  auto const measure = [warm](benchmark::State& state, U32 ports, U32 perPort) {
    event<LibraryProgram>(state, ports, perPort, warm, ofSeries);
  };
  constexpr U32 ports = 8;
  registerGrowth({.name = name + "sub-interfaces in service on 8 ports",
                  .unit = "ns a sub-interface",
                  .points = {80, 800, 4000, 8000, 16000}},
                 [=](benchmark::State& state, double all) {
                   measure(state, ports, static_cast<U32>(all) / ports);
                 });
  // An event is two changes; each passes over the registration of every machine but one.
  registerGrowth(
      {.name = name + "ports with 10 on each, a change",
       .unit = "ns a machine",
       .per = 2,
       .points = {1, 8, 64, 192, 576}},
      [=](benchmark::State& state, double count) { measure(state, static_cast<U32>(count), 10); });
  registerGrowth({.name = name + "ports with 2,000 on each",
                  .unit = "ns a port",
                  .points = {4, 16, 32, 64, 96},
                  .beyond = 576},
                 [=](benchmark::State& state, double count) {
                   measure(state, static_cast<U32>(count), 2000);
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
