#include "SimulatedAgent.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "../Allocations.h"
#include "Kiv/Store.h"
#include "agent/Commands.h"

namespace Simulation {

namespace {

constexpr auto noRoom = "VlanId::value < 1 or > 4094 not allowed";

/// Generic access may do what no configuration explains; what it raises then is no surprise.
bool isAccess(std::string const& text) {
  return text.starts_with("call") || text.starts_with("set") || text.starts_with("del");
}
bool isMeddling(std::string const& text) {
  auto const has = [&](char const* part) { return text.find(part) != text.npos; };
  bool const isHandler = text.starts_with("call machine") && (has(" handle") || has(" true"));
  return isAccess(text) && !isHandler && !has("macsecTag 0 4094 clear");
}

}  // namespace

SimulatedAgent::SimulatedAgent(Left const& left) : session_(printer_, left.kept.entities()) {
  ++alive;
  driver_ = left.driver;
}
SimulatedAgent::~SimulatedAgent() { --alive; }

Left SimulatedAgent::left() const {
  Left left{Agent::Snapshot(entities()), driver_};
  left.driver.throwAtIs(0);
  return left;
}

bool SimulatedAgent::mayFail(Step const& step) const {
  if (step.fault == Fault::none) return false;
  if (step.fault == Fault::deadly || step.text == "start") return true;
  std::string verb, noun, name;
  std::istringstream(step.text) >> verb >> noun >> name;
  if (!isRunning() || verb == "repeat") return false;
  if (verb != "proxy") return verb == "device" || verb == "set" || step.text.starts_with("call m");
  IntfId const subIntf{Kiv::String(name.c_str())};
  return (noun == "set" && !entities().config->proxyConfigHas(subIntf)) ||
         Agent::Generic::read<U32>(session_.world.coordinator(), "proxySubIntfCnt",
                                   {parentOf(subIntf)}) > 1;
}

std::optional<std::string> SimulatedAgent::attempt(Step const& step) {
  std::vector<Agent::Order> orders;
  std::istringstream lines(step.text);
  for (std::string text; std::getline(lines, text);) {
    Agent::Line line({step.text, 1, 1}, text);
    if (line.hasMore()) orders.push_back(Agent::orderIn(std::move(line)));
    if (!orders.empty() && orders.back().role == Agent::Role::query) orders.pop_back();
  }
  std::optional<std::string> raised;
  arms_ = !orders.empty() && mayFail(step);
  mayDie_ = step.fault == Fault::deadly && !mayFail({step.text, Fault::driver});
  if (arms_ && step.fault == Fault::allocation) Allocations::failAt = step.at;
  if (arms_ && step.fault != Fault::allocation) driver_.throwAtIs(step.at);
  try {
    for (Agent::Order const& order : orders) {
      session_.perform(order);
      raised = session_.raised().value_or("");
      if (!raised->empty()) break;
    }
  } catch (Agent::Fault const&) {
    // Not now.
  } catch (std::bad_alloc const& error) {
    raised = error.what();
  }
  failed_ = arms_ && Allocations::failAt + driver_.throwAt() == 0;
  Allocations::failAt = 0;
  driver_.throwAtIs(0);
  counts.faults += failed_;
  bool const ofMemory = step.fault == Fault::allocation;
  // Of many rounds, only the last one's error is kept.
  if (step.text.starts_with("repeat")) return raised;
  // A collection that cannot grow does without, and the step is as good as any.
  failed_ &= !ofMemory || raised != "";
  require(
      !failed_ || (raised && raised->starts_with(ofMemory ? "std::bad_alloc" : "driver refused")),
      "what fails inside is known to the caller", step.text);
  return raised;
}

void SimulatedAgent::seeWrite(Step const& step) {
  // Among thousands of sub-interfaces, the writes are much the same, and a restart takes long.
  U64 const size = entities().config->proxyConfig().size();
  if (writesOfStep_++ % (1 + size * size / 2500) != 0) return;
  std::size_t const failAt = std::exchange(Allocations::failAt, 0);
  kills->push_back(left());
  if (!ledger.disturbed && !arms_ && !isMeddling(step.text) && untold_.empty()) {
    untold_ = untold(step.text == "start");
  }
  Allocations::failAt = failAt;
}

void SimulatedAgent::perform(Step const& step, bool isJudged) {
  bool const wasRunning = isRunning(), wasInLine = wasRunning && !ledger.disturbed;
  bool const isStarting = !wasRunning && step.text == "start";
  bool const isWatched = kills != nullptr && step.text != "crash" && (wasRunning || isStarting);
  if (isStarting) openLedger();
  Agent::Snapshot const before(entities());
  driver_.logDelAll();
  writesOfStep_ = 0;
  if (isWatched) Kiv::Store::observerIs([&] { seeWrite(step); });
  auto const raised = attempt(step);
  Kiv::Store::observerIs(nullptr);
  if (!raised) return;

  ++counts.steps;
  require(untold_.empty(), untold_);
  bool const heard = follow(before);
  if (isStarting) {
    std::map<IntfId, U32> sizes;
    bool fits = true;
    for (auto const& [key, entry] : before.config) fits &= ++sizes[parentOf(key)] <= pairsOfAPort;
    require(failed_ || raised->empty() == fits, "a start fails exactly when a pool is too small");
  }
  if (!raised->empty()) {
    require(failed_ || ledger.disturbed || *raised == noRoom || isAccess(step.text),
            "no error without a reason", *raised);
    ledger.disturbed |= isStarting || isAccess(step.text);
  }
  ledger.disturbed |= failed_ || isMeddling(step.text);
  bool const mayTell =
      heard || ledger.disturbed || wasRunning != isRunning() || isStarting || isAccess(step.text);
  require(mayTell || driver_.log().empty(), "a no-op change sends nothing", step.text);
  if (wasInLine && isRunning() && !isMeddling(step.text)) {
    for (auto walk = entities().status->proxySubIntfStatus().iteratorConst(); walk; ++walk) {
      require(entities().config->proxyConfigHas(walk.key()) || step.fault == Fault::allocation,
              "a driver that refuses keeps nothing in service", walk.key());
    }
    auto const portOf = [](auto const& count) { return count.first; };
    require(std::ranges::equal(view().proxySubIntfCnt, view().machines, {}, portOf,
                               &Agent::Library::Machine::intfId),
            "a machine that is there is counted", step.text);
  }
  if (isJudged) judge(wasRunning && step.text == "stop");
}

}  // namespace Simulation
