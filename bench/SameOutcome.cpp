#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Bench.h"
#include "DirectProgram.h"
#include "LibraryProgram.h"

namespace Bench {

namespace {

using Commands = std::vector<Pesk::Driver::Command>;

bool sameCommand(Pesk::Driver::Command const& one, Pesk::Driver::Command const& other) {
  return one.buffer == other.buffer && one.bufferLength == other.bufferLength &&
         one.argument3 == other.argument3 && one.argument4 == other.argument4 &&
         one.argument5 == other.argument5;
}

template <class Program>
bool sameTables(LibraryProgram const& library, Program const& program) {
  auto const& records = library.status().proxySubIntfStatus();
  auto const& encaps = library.encaps().encap();
  auto const& marks = library.status().proxyIntf();
  bool same = records.size() == program.records().size() &&
              encaps.size() == program.encaps().size() && marks.size() == program.marks().size();
  std::vector<Velto::IntfId> order;
  for (auto walk = records.iteratorConst(); walk; ++walk) order.push_back(walk.key());
  same = same && order == program.records().keys();
  program.records().forEach([&](Velto::IntfId key, auto const& wanted) {
    auto const record = records.value(key);
    same = same && record && record->patchSubIntfId() == wanted.patch &&
           record->clientIntfId() == wanted.client &&
           record->encryptTag().value() == wanted.encryptTag &&
           record->clientTag().value() == wanted.encryptTag + 1U;
  });
  program.encaps().forEach(
      [&](Velto::IntfId key, U16 wanted) { same = same && encaps.value(key).value() == wanted; });
  program.marks().forEach([&](Velto::IntfId key, bool wanted) {
    same = same && marks.has(key) && marks.value(key) == wanted;
  });
  return same;
}

/// All three programs, side by side.
struct Programs {
  LibraryProgram library;
  PlainProgram plain;
  FloorProgram floor;

  template <class Event>
  void all(std::string const& name, Event event) {
    Commands const wanted = commandsOf([&] { event(library); });
    auto const compare = [&](auto& program, std::string const& its) {
      Commands const sent = commandsOf([&] { event(program); });
      auto const [one, other] =
          std::mismatch(wanted.begin(), wanted.end(), sent.begin(), sent.end(), sameCommand);
      if (one != wanted.end() || other != sent.end()) {
        throw std::runtime_error(
            fmt::format("in {}, command {}, the library sends \"{}\" and the {} program \"{}\"",
                        name, one - wanted.begin() + 1, one != wanted.end() ? one->text : "", its,
                        other != sent.end() ? other->text : ""));
      }
      if (!sameTables(library, program)) {
        throw std::runtime_error(fmt::format(
            "after {}, the tables of the library and of the {} program differ", name, its));
      }
    };
    compare(plain, "plain");
    compare(floor, "floor");
  }
};

}  // namespace

void checkSameOutcome() {
  Programs full;
  full.all("filling", [](auto& program) { fill(program, 2, 2047); });
  full.all("start-up with full ports", [](auto& program) { program.start(); });
  full.all("crash", [](auto& program) { program.crash(); });
  full.all("restart with full ports", [](auto& program) { program.start(); });
  full.all("stop", [](auto& program) { program.stop(); });

  // Few of everything, so that ports come and go and sub-interfaces share patches and clients.
  constexpr int steps = 3000;
  Programs few;
  std::mt19937 random(1);
  auto const below = [&](U32 count) { return static_cast<U32>(random() % count); };
  for (int step = 0; step < steps; ++step) {
    SubIntf one = subIntf(below(4), below(3));
    one.patch = subIntf(0, below(9)).patch;
    one.client = below(5) == 0 ? Velto::IntfId() : subIntf(0, below(6)).client;
    Velto::IntfId const port = below(2) == 0 ? portId(below(4)) : subIntf(0, below(6)).client;
    std::string const device = fmt::format("dev{}", below(3));
    U32 const what = below(100);
    few.all(fmt::format("step {}", step), [&](auto& program) {
      if (what < 40) {
        program.configIs(one);
      } else if (what < 70) {
        program.configDel(one.proxy);
      } else if (what < 85) {
        program.portIs(port, device);
      } else if (what < 90) {
        program.portDel(port);
      } else if (!program.running()) {
        program.start();
      } else if (what < 92) {
        program.stop();
      } else if (what < 94) {
        program.crash();
      }
    });
  }
}

}  // namespace Bench
