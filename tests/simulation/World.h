#pragma once

#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "MacsecProxy/MacsecProxySm.h"
#include "Pesk/Driver.h"
#include "Step.h"
#include "Velto/SubIntfId.h"

namespace Simulation {

/// A rule that does not hold.
class Broken : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
inline void require(bool holds, char const* rule, IntfId about = IntfId()) {
  if (!holds) throw Broken(std::string(rule) + ": " + textOf(about));
}

/// The members of a collection, in its order.
template <class Map>
auto membersOf(Map const& map) {
  std::vector<std::pair<IntfId, typename Map::ValueType>> members;
  for (auto walk = map.iteratorConst(); walk; ++walk)
    members.emplace_back(walk.key(), walk.value());
  return members;
}
template <class Value>
using Members = std::vector<std::pair<IntfId, Value>>;

/// What a killed agent leaves behind, with the configuration and the directories of the moment.
struct Left {
  Members<Kiv::Ptr<MacsecProxy::ProxyConfig const>> config;
  Members<bool> marks;
  Members<Kiv::Ptr<MacsecProxy::ProxySubIntfStatus const>> records;
  Members<Bridging::Dot1qEncap> encaps;
  Members<Kiv::Ptr<Interface::EthIntfStatus const>> eth;
  Members<Interface::DeviceIntfStatusDir::IntfStatusAndDeviceName> devices;
  Pesk::Driver driver;

  /// The same without what an agent wrote: what a fresh start finds.
  Left fresh() const;
};

/// What the rules remember of a history beside the state: who has laid claim to a name, and what
/// there is that no rule demands, with a reason.
struct Ledger {
  /// An error was raised, or generic access broke an invariant on purpose: until the next start
  /// nothing but safety is demanded.
  bool disturbed = false;
  /// Nothing has run since the last clean stop.
  bool stopped = false;
  /// Configured sub-interfaces that found their port's pool full.
  std::set<IntfId> unserved;
  /// By the sub-interface that carries the encapsulation, and by client: the proxy sub-interfaces
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

/// The real library in an agent's surroundings. One world at a time has the driver.
class World {
 public:
  explicit World(Left const& left = {});
  World(World const&) = delete;
  World& operator=(World const&) = delete;
  ~World();

  /// Carries a step out and judges what became of it. Raises `Broken`; also when an error was
  /// raised for no reason, or was swallowed.
  void perform(Step const& step);
  /// The start of the library. Returns whether it succeeded.
  bool start();
  void judge() const;
  Left capture() const;
  /// The tables, as far as the order of delivery must not matter.
  std::string tables() const;

  /// Has every write of the steps from now on add to `kills` what an agent killed right after it
  /// would leave.
  void killsAre(std::vector<Left>* kills) { kills_ = kills; }

  IntfId interfaceOf(IntfId subIntf) const { return Velto::SubIntfId::parentIntfId(subIntf); }
  /// The device name of an interface that the driver can be told of and that no other has; or "".
  std::string knownName(IntfId interface) const;

  Kiv::Ptr<MacsecProxy::Config> config = MacsecProxy::Config::ConfigIs();
  Kiv::Ptr<MacsecProxy::Status> status = MacsecProxy::Status::StatusIs();
  Kiv::Ptr<Interface::SubIntfDynDot1qEncap> encaps =
      Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  Kiv::Ptr<Interface::EthIntfStatusDir> eth = Interface::EthIntfStatusDir::EthIntfStatusDirIs();
  Kiv::Ptr<Interface::DeviceIntfStatusDir> devices =
      Interface::DeviceIntfStatusDir::DeviceIntfStatusDirIs();
  Pesk::Driver& driver = Pesk::Driver::instance();
  Kiv::Ptr<MacsecProxy::MacsecProxySm> coordinator;
  Ledger ledger;
  /// Steps may fail in a teardown, too.
  bool mayDie = false;

  /// Of all worlds.
  inline static U64 steps = 0, starts = 0, faults = 0, writes = 0;
  inline static U32 worlds = 0;

 private:
  void restore(Left const& left);
  bool isSafeToFail(Step const& step) const;
  /// Does something in which `step`'s fault happens, and sees to it that what it raises arrives.
  /// Returns the text of what was raised, if anything.
  std::string attempt(Step const& step, std::function<void()> const& action);
  void carryOut(Step const& step);
  void callGeneric(Step const& step);
  void setEth(Step const& step);
  void setProxy(Step const& step, IntfId subIntf, IntfId patch);
  void removeProxy(Step const& step, IntfId subIntf);
  bool kill();
  void openLedger();
  void closeBooks();
  void judgeRunning() const;
  void judgeDriver(std::map<IntfId, std::vector<std::pair<IntfId, U32>>> const& clients,
                   std::set<IntfId> const& ports) const;
  void judgeCommands() const;
  std::set<std::string> cutClients() const;
  void judgeNothingLives() const;
  /// In the middle of a step: what an agent killed now would leave with nothing that tells the next
  /// start of it; "" when there is nothing.
  std::string untold(bool isStarting) const;

  std::vector<Left>* kills_ = nullptr;
  bool armed_ = false;
  std::string untold_;
};

/// How many proxy sub-interfaces of a port there is room for.
constexpr U32 pairsOfAPort = 2047;

}  // namespace Simulation
