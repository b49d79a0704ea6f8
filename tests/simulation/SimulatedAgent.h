#pragma once

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Pesk/Driver.h"
#include "Step.h"
#include "agent/Library.h"
#include "agent/Session.h"
#include "agent/Snapshot.h"

namespace Simulation {

using Velto::IntfId;

/// A rule that does not hold.
struct Broken : std::runtime_error {
  using std::runtime_error::runtime_error;
};
void require(bool holds, std::string const& rule, std::string const& about = "");
void require(bool holds, char const* rule, IntfId about);
/// Requires that all objects are gone, or all of those that a run of the library makes.
void requireNothingLives(bool onlyOfRun);

std::string textOf(IntfId intfId);
IntfId parentOf(IntfId intfId);

/// How many proxy sub-interfaces of a port there is room for.
constexpr U32 pairsOfAPort = 2047;

/// What an agent that ends leaves: the configuration, the directories, and what it wrote.
struct Left {
  Agent::Snapshot kept;
  Pesk::Driver driver;
};

/// The tables and what the driver holds, each thing with what is said of it.
using Tables = std::map<std::string, std::string>;
Tables tablesOf(Left const& left);

/// The tag with which a client is served, by the client and the proxy sub-interface that serves it.
using Services = std::map<std::pair<IntfId, IntfId>, U32>;

/// What the rules remember of a history beside the present state: who has laid claim to a name, and
/// what there is that no rule demands, with a reason.
struct Ledger {
  /// An error was raised, or a call did what no configuration explains: until the next start only
  /// safety is demanded.
  bool disturbed = false;
  /// The configured sub-interfaces that found their port's pool full.
  Agent::Snapshot::Members<Kiv::Ptr<MacsecProxy::ProxyConfig const>> unserved;
  /// By the sub-interface that carries an encapsulation, and by client: the proxy sub-interfaces
  /// that have named it since the last start, or in a record that this start found. A proxy
  /// sub-interface that another one names as its patch has several, too.
  std::map<IntfId, std::set<std::pair<IntfId, bool>>> encapClaims;
  std::map<IntfId, std::set<IntfId>> clientClaims;
  /// Interfaces whose present device name the machines were told of, at a start or by an event.
  std::set<IntfId> announced;
  /// What an earlier run left and nothing that it recorded tells of; devices that were renamed
  /// while the driver held something for them.
  std::set<IntfId> oldEncaps;
  std::set<std::string> oldModes, oldSteering;

  void claim(IntfId proxySubIntf, IntfId patch, IntfId client);
};

/// How much was done in this process. Deaths are those of teardowns that raised.
struct Counts {
  U64 histories = 0, steps = 0, kills = 0, faults = 0, deaths = 0;
};

/// The stand-in agent with the real library, carrying out histories. It judges what becomes of each
/// step, and raises `Broken`. One agent at a time has the driver.
class SimulatedAgent {
 public:
  explicit SimulatedAgent(Left const& left = {});
  ~SimulatedAgent();

  /// Carries a step out. The unjudged are still held to raise no error without a reason.
  void perform(Step const& step, bool isJudged = true);
  bool isRunning() const { return session_.world.isRunning(); }
  Agent::Library::View view() const { return session_.world.view(); }
  Left left() const;
  /// Whether a driver has thrown in what may be a teardown, which ends the process.
  bool mayDie() const { return mayDie_ && driver_.throwAt() == 0; }
  /// The device name of an interface that the driver can be told of, or "".
  std::string knownName(IntfId interface) const;

  /// Has every write of the steps from now on add what an agent killed right after it would leave.
  std::vector<Left>* kills = nullptr;
  Ledger ledger;

  /// Of all agents.
  inline static Counts counts;
  inline static U32 alive = 0;

 private:
  Agent::Entities const& entities() const { return session_.world.entities(); }
  /// Whether the step may fail inside: a teardown must not.
  bool mayFail(Step const& step) const;
  /// What the step raised; nothing when it was passed over.
  std::optional<std::string> attempt(Step const& step);
  void seeWrite(Step const& step);
  /// Keeps the ledger over a step that began with `before`. Returns whether the machines heard of a
  /// change.
  bool follow(Agent::Snapshot const& before);
  void openLedger();
  /// What an agent killed now would leave with nothing that tells the next start of it; "" when
  /// there is nothing.
  std::string untold(bool isStarting) const;

  void judge(bool hasStopped);
  void judgeRunning();
  void judgeDriver(Services const& services, std::set<IntfId> const& ports);
  void judgeCommands() const;
  std::set<std::string> cutClients() const;

  Agent::Printer printer_{false, false};
  Agent::Session session_;
  Pesk::Driver& driver_ = Pesk::Driver::instance();
  bool arms_ = false, failed_ = false, mayDie_ = false;
  U64 writesOfStep_ = 0;
  std::string untold_;
};

}  // namespace Simulation
