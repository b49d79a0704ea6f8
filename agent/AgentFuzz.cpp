#include <cstdint>
#include <cstdio>
#include <exception>
#include <regex>
#include <sstream>
#include <string>

#include "Commands.h"
#include "Kiv/Delivery.h"
#include "Kiv/Trace.h"
#include "Library.h"
#include "Pesk/Driver.h"
#include "Printer.h"
#include "Session.h"

// The agent on an input of any bytes, as `main` would run it: each line is carried out or refused
// in words.

namespace {

/// Whether a line may be carried out here. A driver that throws in a teardown ends the process, by
/// contract; large numbers only make a line slow.
bool isFit(std::string const& line) {
  static std::regex const unfit("throw|[0-9]{5}|repeat.*[0-9]{3}",
                                std::regex::optimize | std::regex::nosubs);
  return line.size() < 500 && !std::regex_search(line, unfit);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  Agent::Library::load(Agent::Library::defaultFile());
  return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
  Agent::Printer printer(size % 2 == 0, true);
  {
    Agent::Session session(printer);
    std::istringstream input(std::string(bytes, bytes + size));
    Agent::Place place{"<fuzz>", 0, 1};
    for (std::string text; std::getline(input, text);) {
      ++place.line;
      if (!isFit(text)) continue;
      try {
        Agent::Line line(place, text);
        if (line.hasMore()) session.carryOut(Agent::orderIn(std::move(line)));
      } catch (Agent::Fault const&) {
        // Unlike a batch, go on: the next lines meet whatever this one has left.
      }
      printer.flush();
    }
  }
  Pesk::Driver::instance().reset();
  Kiv::Delivery::orderIs(Kiv::Delivery::Order::registration);
  Kiv::Trace::levelIs("MacsecProxySm", 8, false);
  return 0;
}
