#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <random>

#include "Checks.h"

namespace Simulation {

namespace {

U64 volatile seedInWork = 0;

/// Histories that are run with a kill at every write: all but the large ones of some seeds.
bool killsEverywhere(U64 seed, History const& history) {
  return seed % 24 == 0 &&
         std::ranges::none_of(history, [](Step const& step) { return step.kind == Kind::fill; });
}

/// Which rule the history breaks, found in a process of its own, which may as well die.
std::optional<std::string> brokenBy(History const& history, U64 seed, bool killEverywhere) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category());
  std::fflush(nullptr);
  pid_t const child = fork();
  if (child == 0) {
    std::signal(SIGABRT, SIG_DFL);
    std::signal(SIGSEGV, SIG_DFL);
    alarm(120);
    try {
      Counts counts;
      run(history, seed, killEverywhere, counts);
      _exit(0);
    } catch (Broken const& rule) {
      std::string const text = rule.what();
      _exit(write(ends[1], text.data(), text.size()) < 0 ? 2 : 1);
    }
  }
  close(ends[1]);
  std::string text;
  std::array<char, 256> buffer;
  for (ssize_t got; (got = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return std::nullopt;
  return text.empty() ? "the process dies" : text;
}

/// Leaves out whatever can be left out: halves first, single steps last, then faults.
History shrunk(History history, U64 seed, bool killEverywhere) {
  for (std::size_t chunk = history.size() / 2; chunk > 0;) {
    bool smaller = false;
    for (std::size_t at = 0; at + chunk <= history.size();) {
      History fewer = history;
      auto const from = fewer.begin() + static_cast<std::ptrdiff_t>(at);
      fewer.erase(from, from + static_cast<std::ptrdiff_t>(chunk));
      if (brokenBy(fewer, seed, killEverywhere)) {
        history = std::move(fewer);
        smaller = true;
      } else {
        at += chunk;
      }
    }
    if (chunk > 1 || !smaller) chunk /= 2;
  }
  for (Step& step : history) {
    Fault const fault = std::exchange(step.fault, Fault::none);
    if (fault != Fault::none && !brokenBy(history, seed, killEverywhere)) step.fault = fault;
  }
  return history;
}

int report(U64 seed, std::string const& rule, bool killEverywhere) {
  fmt::print("broken with seed {}: {}\nshrinking ...\n", seed, rule);
  History const history = shrunk(historyOf(seed), seed, killEverywhere);
  auto const last = brokenBy(history, seed, killEverywhere);
  fmt::print("# seed {}: {}\n{}{}", seed, last.value_or("not any more"), scenarioOf(history),
             killEverywhere ? "# killed at one of its writes, and started again\n" : "");
  return 1;
}

/// What one seed decides. Returns the exit status.
int live(U64 seed, Counts& counts) {
  seedInWork = seed;
  History const history = historyOf(seed);
  bool const killEverywhere = killsEverywhere(seed, history);
  try {
    run(history, seed, killEverywhere, counts);
    return 0;
  } catch (Broken const& rule) {
    return report(seed, rule.what(), killEverywhere);
  }
}

int replay(U64 seed) {
  History const history = historyOf(seed);
  bool const killEverywhere = killsEverywhere(seed, history);
  if (auto const rule = brokenBy(history, seed, killEverywhere)) {
    return report(seed, *rule, killEverywhere);
  }
  fmt::print("{}# seed {}: no rule is broken\n", scenarioOf(history), seed);
  return 0;
}

void summary(Counts const& counts) {
  fmt::print(
      "{} histories, {} steps, {} writes, {} starts, {} kills, {} failures, {} more "
      "and {} deaths in processes of their own\n",
      counts.histories, World::steps, World::writes, World::starts, counts.kills, World::faults,
      counts.failures, counts.deaths);
}

int soak(U64 first, double minutes) {
  using Clock = std::chrono::steady_clock;
  Counts counts;
  auto const begin = Clock::now();
  auto shown = begin;
  for (U64 seed = first;; ++seed) {
    if (int const status = live(seed, counts)) return status;
    auto const now = Clock::now();
    std::chrono::duration<double> const lived = now - begin;
    bool const isEnd = minutes > 0 && lived.count() > 60 * minutes;
    if (isEnd || now - shown > std::chrono::seconds(10)) {
      shown = now;
      fmt::print("seeds {} to {}, {:.0f} steps per second: ", first, seed,
                 static_cast<double>(World::steps) / lived.count());
      summary(counts);
      std::fflush(nullptr);
    }
    if (isEnd) return 0;
  }
}

void scenarios(std::string const& directory, Counts& counts) {
  for (auto const& file : std::filesystem::directory_iterator(directory)) {
    if (file.path().extension() != ".scn") continue;
    try {
      History const history = historyIn(file.path());
      run(history, 1, true, counts);
      throwEverywhere(history, counts);
    } catch (Broken const& rule) {
      throw Broken(file.path().string() + ": " + rule.what());
    }
  }
}

/// The same every time. A world in which little happens proves little.
int fixed(std::string const& directory) {
  Counts counts;
  failEverywhere();
  scenarios(directory, counts);
  for (U64 seed = 1; seed <= 1200; ++seed) {
    if (int const status = live(seed, counts)) return status;
  }
  summary(counts);
  bool const isEnough = counts.histories > 1200 && World::steps > 250'000 && counts.kills > 8'000 &&
                        World::faults > 350 && counts.failures > 80 && counts.deaths > 15;
  if (!isEnough) fmt::print("that is less than there should be\n");
  return isEnough ? 0 : 1;
}

int runProgram(int argc, char** argv) {
  CLI::App app("Runs the library in a simulated world and judges all that happens.");
  std::optional<U64> seed;
  U64 first = std::random_device{}();
  double minutes = 0;
  bool isSoak = false;
  std::string directory = MACSECPROXY_EXAMPLES;
  app.add_option("--seed", seed, "replay the history of one seed");
  app.add_flag("--soak", isSoak, "random histories until stopped");
  app.add_option("--minutes", minutes, "end the soak after so many minutes");
  app.add_option("--from", first, "the first seed of the soak");
  app.add_option("--scenarios", directory, "where the scenarios are");
  CLI11_PARSE(app, argc, argv);
  if (seed) return replay(*seed);
  if (isSoak) return soak(first, minutes);
  return fixed(directory);
}

void tellSeed(int signal) {
  std::array<char, 96> text;
  auto const end = fmt::format_to_n(text.data(), text.size(), "dies in the history of seed {}\n",
                                    U64{seedInWork});
  if (write(STDERR_FILENO, text.data(), end.size) < 0) _exit(2);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace

}  // namespace Simulation

int main(int argc, char** argv) {
  std::signal(SIGABRT, Simulation::tellSeed);
  std::signal(SIGSEGV, Simulation::tellSeed);
  try {
    return Simulation::runProgram(argc, argv);
  } catch (std::exception const& error) {
    fmt::print("broken: {}\n", error.what());
    return 1;
  }
}
