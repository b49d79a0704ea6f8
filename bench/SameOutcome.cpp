#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Bench.h"
#include "LibraryProgram.h"
#include "PlainProgram.h"

namespace Bench {

namespace {

using Commands = std::vector<Pesk::Driver::Command>;

bool sameCommand(Pesk::Driver::Command const& one, Pesk::Driver::Command const& other) {
  return one.buffer == other.buffer && one.bufferLength == other.bufferLength &&
         one.argument3 == other.argument3 && one.argument4 == other.argument4 &&
         one.argument5 == other.argument5;
}

bool sameTables(LibraryProgram const& library, PlainProgram const& plain) {
  auto const& records = library.status().proxySubIntfStatus();
  auto const& encaps = library.encaps().encap();
  auto const& marks = library.status().proxyIntf();
  auto const sameSize = [](auto const& one, auto const& other) {
    return one.size() == other.size();
  };
  auto const all = [](auto const& table, auto same) {
    return std::all_of(table.begin(), table.end(), same);
  };
  return sameSize(records, plain.records()) && sameSize(encaps, plain.encaps()) &&
         sameSize(marks, plain.marks()) &&
         all(plain.records(),
             [&](auto const& member) {
               auto const& [key, wanted] = member;
               auto const record = records.value(key);
               return record && record->patchSubIntfId() == wanted.patch &&
                      record->clientIntfId() == wanted.client &&
                      record->encryptTag().value() == wanted.encryptTag &&
                      record->clientTag().value() == wanted.clientTag;
             }) &&
         all(plain.encaps(),
             [&](auto const& member) {
               return encaps.value(member.first).value() == member.second;
             }) &&
         all(plain.marks(), [&](auto const& member) {
           return marks.has(member.first) && marks.value(member.first) == member.second;
         });
}

/// Both programs, side by side.
struct Pair {
  LibraryProgram library;
  PlainProgram plain;

  template <class Event>
  void both(std::string const& name, Event event) {
    Commands const ofLibrary = commandsOf([&] { event(library); });
    Commands const ofPlain = commandsOf([&] { event(plain); });
    auto const [one, other] = std::mismatch(ofLibrary.begin(), ofLibrary.end(), ofPlain.begin(),
                                            ofPlain.end(), sameCommand);
    if (one != ofLibrary.end() || other != ofPlain.end()) {
      throw std::runtime_error(
          "in " + name + ", command " + std::to_string(one - ofLibrary.begin() + 1) +
          ", the library sends \"" + (one != ofLibrary.end() ? one->text : "") +
          "\" and the plain program \"" + (other != ofPlain.end() ? other->text : "") + '"');
    }
    if (!sameTables(library, plain)) {
      throw std::runtime_error("after " + name + ", the tables of the two programs differ");
    }
  }
};

}  // namespace

void checkSameOutcome() {
  Pair full;
  full.both("filling", [](auto& program) { fill(program, 2, 2047); });
  full.both("start-up with full ports", [](auto& program) { program.start(); });
  full.both("crash", [](auto& program) { program.crash(); });
  full.both("restart with full ports", [](auto& program) { program.start(); });
  full.both("stop", [](auto& program) { program.stop(); });

  // Few of everything, so that ports come and go and sub-interfaces share patches and clients.
  constexpr int steps = 3000;
  Pair pair;
  std::mt19937 random(1);
  auto const below = [&](U32 count) { return static_cast<U32>(random() % count); };
  for (int step = 0; step < steps; ++step) {
    SubIntf one = subIntf(below(4), below(3));
    one.patch = subIntf(0, below(9)).patch;
    one.client = below(5) == 0 ? Velto::IntfId() : subIntf(0, below(6)).client;
    Velto::IntfId const port = below(2) == 0 ? portId(below(4)) : subIntf(0, below(6)).client;
    std::string const device = "dev" + std::to_string(below(3));
    U32 const what = below(100);
    pair.both("step " + std::to_string(step), [&](auto& program) {
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
