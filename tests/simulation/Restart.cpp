#include <algorithm>

#include "Checks.h"
#include "Kiv/AllocTrackTypeInfo.h"
#include "Kiv/Delivery.h"

namespace Simulation {

namespace {

/// What a started agent has must be what a fresh start on the same configuration has. When a record
/// disagrees with the entry that replaced it while the agent was down, the port that it belongs to
/// takes the old names out of service at its start, also where another port has them by now; so
/// names with several claims are not compared then.
void compare(World const& world, World const& fresh, bool exact) {
  bool const runs = world.coordinator != nullptr;
  require(runs == (fresh.coordinator != nullptr), "a restart succeeds like a fresh start");
  if (!runs) return;
  for (auto const& [key, record] : membersOf(fresh.status->proxySubIntfStatus())) {
    auto const present = world.status->proxySubIntfStatus(key);
    require(present && present->encryptTag() == record->encryptTag(),
            "a restart gives the tags of a fresh start", key);
  }
  for (auto const& [key, encap] : membersOf(fresh.encaps->encap())) {
    if (!exact && world.ledger.encapClaims.at(key).size() > 1) continue;
    require(world.encaps->encap(key) == encap, "a restart sets what a fresh start sets", key);
  }
  for (auto const& [port, machine] : membersOf(fresh.coordinator->macsecProxyIntfSm())) {
    require(membersOf(world.coordinator->macsecProxyIntfSm(port)->clientIntf()) ==
                membersOf(machine->clientIntf()),
            "a restart knows the clients of a fresh start", port);
  }
}

bool agree(Left const& left) {
  return std::ranges::all_of(left.records, [&](auto const& old) {
    auto const entry =
        std::ranges::find(left.config, old.first, [](auto const& each) { return each.first; });
    return entry == left.config.end() ||
           (entry->second->patchSubIntfId() == old.second->patchSubIntfId() &&
            entry->second->clientIntfId() == old.second->clientIntfId());
  });
}

void startAgain(Left const& left) {
  Left const clean = left.fresh();
  World fresh(clean);
  fresh.start();
  Pesk::Driver const freshDriver = fresh.driver;
  World world(left);
  world.start();
  // There is but one driver, so its two states are compared here.
  bool const exact = agree(left);
  compare(world, fresh, exact);
  if (world.coordinator) {
    for (auto const& [device, on] : freshDriver.proxyMode()) {
      require(world.driver.proxyMode().contains(device), "a restart switches on", intf(device));
    }
    for (auto const& [client, claims] : world.ledger.clientClaims) {
      auto const steered = freshDriver.steering().find(world.knownName(client));
      if (steered == freshDriver.steering().end() || steered->first.empty()) continue;
      // A disable needs no name of the port, an enable does: a port that the driver cannot be told
      // of takes the client from the others that serve it.
      bool const allKnown = std::ranges::all_of(claims, [&](IntfId subIntf) {
        return !world.knownName(world.interfaceOf(subIntf)).empty();
      });
      if (claims.size() > 1 && !(exact && allKnown)) continue;
      auto const present = world.driver.steering().find(steered->first);
      require(present != world.driver.steering().end() && present->second == steered->second,
              "a restart steers like a fresh start", client);
    }
  }
  world.perform({Kind::stop});
}

}  // namespace

void judgeRestart(Left const& left, U64 seed) {
  Pesk::Driver const outer = Pesk::Driver::instance();
  startAgain(left);
  Left changed;
  {
    World down(left);
    for (Step const& step : changesOf(seed)) down.perform(step);
    changed = down.capture();
  }
  startAgain(changed);
  Pesk::Driver::instance() = outer;
}

namespace {

void runOnce(World& world, History const& history, U64 seed, bool killEverywhere, Counts& counts) {
  std::vector<Left> kills;
  if (killEverywhere) world.killsAre(&kills);
  for (Step const& step : history) {
    world.perform(step);
    for (Left const& left : kills) judgeRestart(left, seed);
    counts.kills += kills.size();
    kills.clear();
  }
  world.killsAre(nullptr);
}

}  // namespace

void run(History const& history, U64 seed, bool killEverywhere, Counts& counts) {
  ++counts.histories;
  Kiv::Delivery::orderIs(Kiv::Delivery::Order::registration);
  Pesk::Driver::instance().reset();
  std::string tables;
  bool disturbed = false;
  {
    World world;
    runOnce(world, history, seed, killEverywhere, counts);
    tables = world.tables();
    disturbed = std::ranges::any_of(history, [](Step const& step) {
      return step.fault != Fault::none || (step.kind == Kind::generic && step.number >= 10);
    });
    ++counts.kills;
    judgeRestart(world.capture(), seed);
    world.perform({Kind::stop});
    if (!disturbed) startAgain(world.capture());
  }
  for (auto const order : {Kiv::Delivery::Order::reverse, Kiv::Delivery::Order::drawn}) {
    if (disturbed) break;
    Pesk::Driver::instance().reset();
    World world;
    for (Step step : history) {
      step.isQuiet = true;
      if (step.kind == Kind::order)
        Kiv::Delivery::orderIs(order, step.number);
      else
        world.perform(step);
    }
    require(world.tables() == tables, "the order of delivery does not matter");
  }
  for (auto const* type = Kiv::AllocTrackTypeInfo::first(); type; type = type->next()) {
    require(type->live() == 0, type->className());
  }
}

}  // namespace Simulation
