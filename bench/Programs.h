#pragma once

#include <fmt/format.h>

#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "Kiv/Integers.h"
#include "Kiv/String.h"
#include "Pesk/Driver.h"
#include "Velto/IntfId.h"

namespace Bench {

inline Velto::IntfId intfId(std::string const& text) {
  return Velto::IntfId(Kiv::String(text.c_str()));
}

/// One proxy sub-interface as it is configured. Each has a client of its own here, so that each
/// costs the driver a command.
struct SubIntf {
  Velto::IntfId proxy;
  Velto::IntfId patch;
  Velto::IntfId client;
};

inline Velto::IntfId portId(U32 port) { return intfId(fmt::format("et{}", port)); }

inline SubIntf subIntf(U32 port, U32 number) {
  std::string const name = fmt::format("{}.{}", port, number);
  return {intfId("et" + name), intfId("pt" + name), intfId("cl" + name)};
}

/// Gives `program` the names and the configuration of `perPort` sub-interfaces on each of `ports`
/// ports. What it has already stays.
template <class Program>
void fill(Program& program, U32 ports, U32 perPort) {
  for (U32 port = 0; port < ports; ++port) {
    program.portIs(portId(port), fmt::format("dev{}", port));
    for (U32 number = 0; number < perPort; ++number) {
      SubIntf const one = subIntf(port, number);
      program.portIs(one.client, fmt::format("dev{}_{}", port, number));
      program.configIs(one);
    }
  }
}

/// A driver just made, which only counts commands: what it would do with them is its own work.
inline void freshDriver() {
  Pesk::Driver::instance().reset();
  Pesk::Driver::instance().hasLogIs(false);
  Pesk::Driver::instance().hasStateIs(false);
}

/// The commands that `work` sends; the driver then keeps no log.
template <class Work>
std::vector<Pesk::Driver::Command> commandsOf(Work work) {
  Pesk::Driver& driver = Pesk::Driver::instance();
  driver.logDelAll();
  driver.hasLogIs(true);
  work();
  std::vector<Pesk::Driver::Command> commands = driver.log();
  driver.hasLogIs(false);
  driver.logDelAll();
  return commands;
}

/// The one `World` made from these sizes, made on first use: worlds take longer to make than to
/// measure.
template <class World, class... Sizes>
World& worldOf(Sizes... sizes) {
  static std::map<std::tuple<Sizes...>, World> worlds;
  return worlds.try_emplace({sizes...}, sizes...).first->second;
}

/// The worlds of one size, by number, that the repetitions of a benchmark go through in turn. They
/// lie in different places, which moves most figures by a tenth and some by more; of large ones,
/// which take long to make, there is one. Copies have the turn in common.
class Turn {
 public:
  static constexpr U32 worlds = 5;

  U32 next(U32 members) { return members > 20000 ? 0 : (*time_)++ % worlds; }

 private:
  std::shared_ptr<U32> time_ = std::make_shared<U32>(0);
};

/// The processor time that `work` takes, so that a busy machine does not count.
template <class Work>
double secondsOf(Work work) {
  auto const now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  double const begin = now();
  work();
  return now() - begin;
}

}  // namespace Bench
