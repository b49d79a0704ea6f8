#include "Life.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <memory>
#include <set>
#include <thread>

#include "Kiv/Delivery.h"

namespace Simulation {

namespace {

/// Names in old records whose entries have others by now, changed while the agent was down. A port
/// takes them out of service at its start, also where another port has them.
std::set<IntfId> lostNames(Agent::Snapshot const& kept) {
  std::set<IntfId> lost;
  for (auto const& [key, record] : kept.records) {
    for (auto const& [configured, entry] : kept.config) {
      if (configured != key) continue;
      if (entry->patchSubIntfId() != record->patchSubIntfId())
        lost.insert(record->patchSubIntfId());
      if (entry->clientIntfId() != record->clientIntfId()) lost.insert(record->clientIntfId());
    }
  }
  return lost;
}

/// An agent that starts on what another one left must have what a fresh start on the same
/// configuration has.
void startAgain(Left const& left) {
  std::set<IntfId> const lost = lostNames(left.kept);
  Left clean;
  clean.kept.config = left.kept.config;
  clean.kept.eth = left.kept.eth;
  clean.kept.devices = left.kept.devices;
  SimulatedAgent fresh(clean);
  fresh.perform({"start"});
  Tables const wanted = tablesOf(fresh.left());

  SimulatedAgent agent(left);
  agent.perform({"start"});
  Tables const there = tablesOf(agent.left());
  require(agent.isRunning() == fresh.isRunning(), "a restart succeeds like a fresh start");
  if (!agent.isRunning()) return;
  require(agent.view() == fresh.view(), "a restart has the machines of a fresh start");
  // What is not compared: names with several claims.
  std::set<std::string> disputed;
  for (auto const& [subIntf, claims] : agent.ledger.encapClaims) {
    if (lost.contains(subIntf) && claims.size() > 1) disputed.insert("encap " + textOf(subIntf));
  }
  for (auto const& [client, claims] : agent.ledger.clientClaims) {
    // A disable needs no name of the port, an enable does: a port that the driver cannot be told of
    // takes the client from the others that serve it.
    bool const allKnown = std::ranges::all_of(
        claims, [&](IntfId subIntf) { return !agent.knownName(parentOf(subIntf)).empty(); });
    if (claims.size() > 1 && (lost.contains(client) || !allKnown)) {
      disputed.insert("steered " + agent.knownName(client));
    }
  }
  for (auto const& [what, said] : wanted) {
    if (what == "steered " || disputed.contains(what)) continue;
    auto const found = there.find(what);
    require(found != there.end() && found->second == said, "a restart ends as a fresh start", what);
  }
  agent.perform({"stop"});
}

/// Starts an agent on what a killed one left, compares with a fresh start, and stops it; and once
/// more with the configuration changed while it was down: at names that the seed draws, and at two
/// that are configured.
void judgeRestart(Left const& left, U64 seed) {
  Pesk::Driver const outer = Pesk::Driver::instance();
  startAgain(left);
  Left changed;
  {
    SimulatedAgent down(left);
    for (Step const& step : changesOf(seed)) down.perform(step);
    if (auto const& config = left.kept.config; !config.empty()) {
      auto const& [removed, entry] = config[seed % config.size()];
      down.perform({"proxy remove " + textOf(removed)});
      down.perform({"proxy set " + textOf(config[(seed + 1) % config.size()].first) + " et99.1 " +
                    textOf(entry->clientIntfId())});
    }
    changed = down.left();
  }
  startAgain(changed);
  Pesk::Driver::instance() = outer;
}

/// Where the history stands in a process of its own, and where that process says what it breaks.
SimulatedAgent* living = nullptr;
std::FILE* verdict = nullptr;
enum Outcome { fine, broken, died };

[[noreturn]] void end(Outcome outcome, char const* rule) {
  std::fputs(rule, verdict);
  std::fflush(verdict);
  _exit(outcome);
}

/// A driver that throws in a teardown ends the process there. What the platform keeps of it is for
/// the next start, in another thread, since a delivery is under way in this one.
[[noreturn]] void judgeDeath() {
  if (living == nullptr || !living->mayDie()) end(broken, "the process dies");
  std::thread([] {
    try {
      living->kills = nullptr;
      judgeRestart(living->left(), 1);
    } catch (std::exception const& rule) {
      end(broken, (std::string("after a death, ") + rule.what()).c_str());
    }
  }).join();
  end(died, "");
}

}  // namespace

void live(History const& history, U64 seed, bool killEverywhere) {
  ++SimulatedAgent::counts.histories;
  Kiv::Delivery::orderIs(Kiv::Delivery::Order::registration);
  Tables tables;
  bool disturbed =
      std::ranges::any_of(history, [](Step const& step) { return step.fault != Fault::none; });
  {
    std::vector<Left> kills;
    SimulatedAgent agent;
    living = &agent;
    if (killEverywhere) agent.kills = &kills;
    for (Step const& step : history) {
      agent.perform(step);
      disturbed |= agent.ledger.disturbed;
      for (Left const& left : kills) judgeRestart(left, seed);
      SimulatedAgent::counts.kills += kills.size();
      kills.clear();
    }
    agent.kills = nullptr;
    tables = tablesOf(agent.left());
    ++SimulatedAgent::counts.kills;
    judgeRestart(agent.left(), seed);
    agent.perform({"stop"});
    if (!disturbed) startAgain(agent.left());
  }
  for (char const* const order : {"order reverse", "order drawn 1"}) {
    if (disturbed) break;
    SimulatedAgent agent;
    agent.perform({order}, false);
    for (Step const& step : history) {
      if (!step.text.starts_with("order")) agent.perform(step, false);
    }
    // Which of several ports that share a client was told last is a matter of the order.
    auto const isSame = [](auto const& one, auto const& other) {
      return one == other || (one.first == other.first && one.first.starts_with("steered"));
    };
    require(std::ranges::equal(tables, tablesOf(agent.left()), isSame),
            "the order of delivery does not matter");
  }
  requireNothingLives(false);
}

std::string brokenBy(History const& history, U64 seed, bool killEverywhere) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::tmpfile(), &std::fclose);
  verdict = file.get();
  std::fflush(nullptr);
  pid_t const child = fork();
  if (child == 0) {
    std::set_terminate(judgeDeath);
    alarm(120);
    try {
      live(history, seed, killEverywhere);
      end(fine, "");
    } catch (std::exception const& rule) {
      end(broken, rule.what());
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::array<char, 512> rule{};
  std::rewind(verdict);
  std::fread(rule.data(), 1, rule.size() - 1, verdict);
  SimulatedAgent::counts.deaths += WIFEXITED(status) && WEXITSTATUS(status) == died;
  bool const isBroken =
      !WIFEXITED(status) || (WEXITSTATUS(status) != fine && WEXITSTATUS(status) != died);
  return !isBroken ? "" : rule[0] != 0 ? rule.data() : "the process dies";
}

void failEverywhere() {
  // Two ports, three clients of which one is shared, and a record of an earlier run.
  History before;
  for (std::string const port : {"et1", "et2", "et5", "et6"}) {
    before.push_back({"eth set " + port + " dev" + port + "\ndevice set " + port + " a"});
  }
  before.push_back(
      {"left record et1.2 et8.1 et6 7 8\nproxy set et1.1 et8.1 et5\n"
       "proxy set et1.2 et8.2 et6\nproxy set et2.1 et9.1 et5"});
  for (char const* const text :
       {"start", "proxy set et1.3 et8.3 et2", "proxy set et3.1 et8.3 et6",
        "proxy set et1.1 et8.4 et6", "proxy remove et1.1", "device set et1 b", "device set et5 b",
        "call machine et1 handleProxyConfig et1.1",
        "call machine et1 addProxySubIntfStatus et1.1 et8.1",
        "set machine et1 macsecTag 0 4094 clear",
        "call machine et1 deleteProxySubIntfStatus et1.1\ncall machine et1 handleProxyConfig et1.1",
        "call machine et1 cleanup\ncall machine et1 handleInitialized",
        "set coordinator macsecProxyIntfSm et4 config status encaps ethernet driver devices"}) {
    // Also where the first port comes.
    for (auto const& [fault, first] :
         {std::pair(Fault::driver, before), {Fault::allocation, before}, {Fault::allocation, {}}}) {
      U64 faultsBefore = 0;
      for (Step step{text, fault, 1}; step.at == 1 || SimulatedAgent::counts.faults > faultsBefore;
           ++step.at) {
        faultsBefore = SimulatedAgent::counts.faults;
        History history = first;
        if (step.text != "start") history.push_back({"start"});
        for (Step const& each : {step, Step{"stop"}, Step{"start"}}) history.push_back(each);
        live(history, step.at, false);
      }
    }
  }
}

void throwEverywhere(History const& scenario) {
  std::vector<std::size_t> commands;
  {
    SimulatedAgent agent;
    for (Step const& step : scenario) {
      Pesk::Driver::instance().logDelAll();
      agent.perform(step);
      commands.push_back(Pesk::Driver::instance().log().size());
    }
  }
  for (std::size_t at = 0; at < scenario.size(); ++at) {
    for (U32 command = 1; command <= commands[at]; ++command) {
      History history = scenario;
      history[at].fault = Fault::deadly;
      history[at].at = command;
      std::string const rule = brokenBy(history, command, false);
      require(rule.empty(), rule, "the driver throws in: " + history[at].text);
    }
  }
}

}  // namespace Simulation
