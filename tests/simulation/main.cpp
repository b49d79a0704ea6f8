#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <random>

#include "Life.h"

namespace Simulation {

namespace {

Counts const& counts = SimulatedAgent::counts;

/// Every other history is run with a kill at every write, but for the large ones.
bool killsEverywhere(U64 seed, History const& history) {
  return seed % 2 == 0 && std::ranges::none_of(history, [](Step const& step) {
           return step.text.starts_with("repeat");
         });
}

/// Leaves out whatever can be left out: faults, then steps, from the last one on, until none can.
History shrunk(History history, U64 seed, bool kills) {
  auto const isBroken = [&](History const& steps) { return !brokenBy(steps, seed, kills).empty(); };
  for (Step& step : history) {
    Fault const fault = std::exchange(step.fault, Fault::none);
    if (fault != Fault::none && !isBroken(history)) step.fault = fault;
  }
  for (std::size_t before = 0; before != history.size();) {
    before = history.size();
    for (std::size_t at = before; at-- > 0;) {
      History fewer = history;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(at));
      if (isBroken(fewer)) history = std::move(fewer);
    }
  }
  return history;
}

int report(U64 seed, std::string const& rule, History history, bool kills) {
  alarm(0);  // shrinking takes as long as it takes
  fmt::print("# broken with seed {}: {}\n# shrinking ...\n", seed, rule);
  std::fflush(stdout);
  history = shrunk(history, seed, kills);
  fmt::print("# seed {}: {}\n{}{}", seed, brokenBy(history, seed, kills), scenarioOf(history),
             kills ? "# killed at one of its writes, and started again\n" : "");
  return 1;
}

int replay(U64 seed) {
  History const history = historyOf(seed);
  bool const kills = killsEverywhere(seed, history);
  std::string const rule = brokenBy(history, seed, kills);
  if (!rule.empty()) return report(seed, rule, history, kills);
  fmt::print("{}# seed {}: no rule is broken\n", scenarioOf(history), seed);
  return 0;
}

/// Runs the histories of the seeds `from` on, for as long as `goesOn` wants. A process that dies
/// says which seed brought it there, to be replayed.
template <class GoesOn>
int runAll(U64 from, GoesOn goesOn) {
  static U64 seed;
  for (int const signal : {SIGABRT, SIGALRM, SIGSEGV}) {
    std::signal(signal, [](int number) {
      fmt::print("dies with seed {}\n", seed);
      std::fflush(stdout);
      _exit(128 + number);
    });
  }
  for (seed = from; goesOn(seed); ++seed) {
    History const history = historyOf(seed);
    bool const kills = killsEverywhere(seed, history);
    alarm(120);
    try {
      live(history, seed, kills);
    } catch (std::exception const& rule) {
      return report(seed, rule.what(), history, kills);
    }
  }
  return 0;
}

void printCounts() {
  fmt::print("{} histories, {} steps, {} kills, {} faults, {} deaths\n", counts.histories,
             counts.steps, counts.kills, counts.faults, counts.deaths);
  std::fflush(stdout);
}

int soak(U64 first, double minutes) {
  using Seconds = std::chrono::duration<double>;
  auto const begin = std::chrono::steady_clock::now();
  Seconds shown{0};
  return runAll(first, [&](U64 seed) {
    Seconds const lived = std::chrono::steady_clock::now() - begin;
    bool const isEnd = minutes > 0 && lived.count() > 60 * minutes;
    if (isEnd || lived - shown > std::chrono::seconds(10)) {
      shown = lived;
      fmt::print("seeds {} to {}, {:.0f} steps per second: ", first, seed,
                 static_cast<double>(counts.steps) / lived.count());
      printCounts();
    }
    return !isEnd;
  });
}

/// The same every time. A world in which little happens proves little.
int fixed(U64 histories) {
  // Processes of their own are made first, while this one is small.
  for (auto const& file : std::filesystem::directory_iterator(MACSECPROXY_EXAMPLES)) {
    if (file.path().extension() != ".scn") continue;
    History const history = historyIn(file.path());
    fmt::print("{}\n", file.path().string());
    throwEverywhere(history);
    live(history, 1, true);
  }
  failEverywhere();
  int const status = runAll(1, [&](U64 seed) { return seed <= histories; });
  printCounts();
  require(status != 0 || (counts.histories > 300 + histories && counts.steps > 300 * histories &&
                          counts.kills > 1000 + 100 * histories &&
                          counts.faults > 280 + histories / 4 && counts.deaths > 20),
          "that is less than there should be");
  return status;
}

}  // namespace

}  // namespace Simulation

int main(int argc, char** argv) {
  CLI::App app("Runs the library in a simulated world and judges all that happens.");
  std::optional<U64> seed;
  U64 first = std::random_device{}();
  double minutes = 0;
  bool soaks = false;
  U64 histories = 200;
  app.add_option("--seed", seed, "Replay the history of one seed");
  app.add_flag("--soak", soaks, "Run random histories until stopped");
  app.add_option("--minutes", minutes, "End the soak after so many minutes");
  app.add_option("--histories", histories, "How many histories there are beside the fixed ones");
  CLI11_PARSE(app, argc, argv);
  try {
    Agent::Library::load(Agent::Library::defaultFile());
    if (seed) return Simulation::replay(*seed);
    return soaks ? Simulation::soak(first, minutes) : Simulation::fixed(histories);
  } catch (std::exception const& error) {
    fmt::print("broken: {}\n", error.what());
    return 1;
  }
}
