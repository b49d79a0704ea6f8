#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <sstream>
#include <string_view>

#include "Kiv/AllocTrackTypeInfo.h"
#include "SimulatedAgent.h"
#include "Velto/SubIntfId.h"

/// The rules: what must be true, in terms of the configuration, the directories and what was sent.
namespace Simulation {

namespace {

/// A disable names the sub-interface; one with such a name does not fit into the driver's buffer,
/// and the steering stays.
bool isCut(IntfId subIntf) { return textOf(subIntf).size() > 90; }

/// A device name, when the driver can be told of it.
std::string usable(Kiv::Ptr<Interface::EthIntfStatus const> const& entry) {
  std::string const name = entry ? entry->deviceName().charPtr() : "";
  return name.size() < 40 ? name : "";
}

std::vector<std::string> fieldsOf(std::string const& text) {
  std::vector<std::string> fields;
  std::istringstream stream(text + ' ');
  for (std::string field; std::getline(stream, field, ' ');) fields.push_back(field);
  return fields;
}

}  // namespace

void require(bool holds, std::string const& rule, std::string const& about) {
  if (!holds) throw Broken(rule + ": " + about);
}
void require(bool holds, char const* rule, IntfId about) {
  if (!holds) require(holds, rule, textOf(about));
}
void requireNothingLives(bool onlyOfRun) {
  for (auto const* type = Kiv::AllocTrackTypeInfo::first(); type; type = type->next()) {
    std::string_view const name = type->className();
    bool const isOfRun = name.starts_with("MacsecProxy::MacsecProxy") || name.starts_with("Pesk::");
    require((onlyOfRun && !isOfRun) || type->live() == 0, "no object is left", type->className());
  }
}
std::string textOf(IntfId intfId) { return intfId.stringValue().charPtr(); }
IntfId parentOf(IntfId intfId) { return Velto::SubIntfId::parentIntfId(intfId); }

Tables tablesOf(Left const& left) {
  Tables tables;
  for (auto const& [port, mark] : left.kept.marks) tables["mark " + textOf(port)] = "";
  for (auto const& [key, record] : left.kept.records) {
    tables["record " + textOf(key)] =
        fmt::format("{} {} {} {}", textOf(record->patchSubIntfId()), textOf(record->clientIntfId()),
                    record->encryptTag().value(), record->clientTag().value());
  }
  for (auto const& [key, encap] : left.kept.encaps) {
    tables["encap " + textOf(key)] = fmt::format("{}", encap.value());
  }
  for (std::string const& device : left.driver.proxyMode()) tables["mode " + device] = "";
  for (auto const& [device, to] : left.driver.steering()) {
    tables["steered " + device] = fmt::format("{} {}", to.proxyDevice, to.tag);
  }
  return tables;
}

void Ledger::claim(IntfId proxySubIntf, IntfId patch, IntfId client) {
  encapClaims[proxySubIntf].emplace(proxySubIntf, false);
  encapClaims[patch].emplace(proxySubIntf, true);
  if (client != IntfId()) clientClaims[client].insert(proxySubIntf);
}

std::string SimulatedAgent::knownName(IntfId interface) const {
  return usable(entities().ethIntfStatusDir->intfStatus(interface));
}

/// The devices of clients whose steering could not be ended.
std::set<std::string> SimulatedAgent::cutClients() const {
  std::set<std::string> names;
  for (auto const& [client, claims] : ledger.clientClaims) {
    if (std::ranges::any_of(claims, isCut)) names.insert(knownName(client));
  }
  return names;
}

void SimulatedAgent::openLedger() {
  ledger = {};
  Agent::Snapshot const now(entities());
  std::set<std::string> ports, clients;
  for (auto const& [key, entry] : now.config) {
    ledger.claim(key, entry->patchSubIntfId(), entry->clientIntfId());
    std::string const port = knownName(parentOf(key));
    ports.insert(port);
    // Steering names the port; a port without a name takes nothing over.
    if (!port.empty()) clients.insert(knownName(entry->clientIntfId()));
  }
  for (auto const& [key, record] : now.records) {
    ledger.claim(key, record->patchSubIntfId(), record->clientIntfId());
    // Only a sub-interface that is still configured has its client disabled.
    if (!entities().config->proxyConfigHas(key) || isCut(key)) continue;
    clients.insert(knownName(record->clientIntfId()));
  }
  for (auto const& [interface, entry] : now.eth) {
    if (!usable(entry).empty()) ledger.announced.insert(interface);
  }
  for (auto const& [subIntf, encap] : now.encaps) {
    if (!ledger.encapClaims.contains(subIntf)) ledger.oldEncaps.insert(subIntf);
  }
  for (std::string const& device : driver_.proxyMode()) {
    if (!ports.contains(device)) ledger.oldModes.insert(device);
  }
  for (auto const& [device, to] : driver_.steering()) {
    if (!clients.contains(device)) ledger.oldSteering.insert(device);
  }
}

bool SimulatedAgent::follow(Agent::Snapshot const& before) {
  Agent::Snapshot const now(entities());
  bool heard = now.config != before.config;
  for (auto const& [key, entry] : now.config) {
    ledger.claim(key, entry->patchSubIntfId(), entry->clientIntfId());
  }
  for (auto const& entry : now.devices) {
    if (std::ranges::count(before.devices, entry) != 0) continue;
    heard |= ledger.clientClaims.contains(entry.first) ||
             std::ranges::any_of(now.config, [&](auto const& configured) {
               return parentOf(configured.first) == entry.first;
             });
    if (entities().ethIntfStatusDir->intfStatus(entry.first)) ledger.announced.insert(entry.first);
  }
  for (auto const& [interface, entry] : before.eth) {
    std::string const former = usable(entry);
    if (former == knownName(interface) && !former.empty()) continue;
    ledger.announced.erase(interface);
    ledger.oldModes.insert(former);
    ledger.oldSteering.insert(former);
  }
  // What is gone has no excuse to come back.
  auto const& encaps = entities().dynDot1qEncap;
  std::erase_if(ledger.oldEncaps, [&](IntfId key) { return !encaps->encapHas(key); });
  std::erase_if(ledger.oldModes, [&](auto& name) { return !driver_.proxyMode().contains(name); });
  std::erase_if(ledger.oldSteering, [&](auto& name) { return !driver_.steering().contains(name); });
  return heard;
}

/// The record is written after the encapsulations and before the driver is told, and removed last.
std::string SimulatedAgent::untold(bool isStarting) const {
  std::set<IntfId> named;
  std::set<std::string> clients = cutClients();
  auto const tells = [&](auto const& members, bool ofClient) {
    for (auto const& [key, entry] : members) {
      named.insert({key, entry->patchSubIntfId()});
      if (ofClient) clients.insert(knownName(entry->clientIntfId()));
    }
  };
  Agent::Snapshot const now(entities());
  tells(now.config, isStarting);
  tells(now.records, true);
  for (auto const& [key, encap] : now.encaps) {
    if (named.contains(key) || ledger.oldEncaps.contains(key)) continue;
    return "a kill here leaves an encapsulation that nothing tells of: " + textOf(key);
  }
  for (auto const& [device, to] : driver_.steering()) {
    if (device.empty() || clients.contains(device) || ledger.oldSteering.contains(device)) continue;
    return "a kill here leaves a client steered that nothing tells of: " + device;
  }
  return "";
}

void SimulatedAgent::judge(bool hasStopped) {
  if (!isRunning()) {
    require(entities().config->notifieeList()->size() == 0 &&
                entities().deviceIntfStatusDir->notifieeList()->size() == 0,
            "reactors go with their machines");
    if (alive == 1) requireNothingLives(true);
  }
  if (ledger.disturbed) return;
  judgeCommands();
  if (isRunning()) judgeRunning();
  if (!hasStopped) return;
  require(entities().status->proxySubIntfStatus().size() == 0, "a stop removes every record");
  for (auto const& [key, encap] : Agent::Snapshot(entities()).encaps) {
    require(ledger.oldEncaps.contains(key), "a stop removes every encapsulation", key);
  }
  judgeDriver({}, {});
}

void SimulatedAgent::judgeRunning() {
  std::map<IntfId, U32> sizes;
  std::map<IntfId, std::set<U32>> heldTags, rightEncaps;
  std::map<IntfId, std::set<IntfId>> served;
  Services services;
  decltype(ledger.unserved) unserved;
  Agent::Snapshot const now(entities());
  for (auto const& [subIntf, entry] : now.config) {
    IntfId const port = parentOf(subIntf);
    ++sizes[port];
    auto const record = entities().status->proxySubIntfStatus(subIntf);
    if (!record) {
      unserved.emplace_back(subIntf, entry);
      continue;
    }
    served[port].insert(subIntf);
    require(record->proxySubIntfId() == subIntf &&
                record->patchSubIntfId() == entry->patchSubIntfId() &&
                record->clientIntfId() == entry->clientIntfId(),
            "a record agrees with its entry", subIntf);
    U32 const odd = record->encryptTag().value(), even = record->clientTag().value();
    require(odd % 2 == 1 && even == odd + 1, "an odd tag and the even one after it", subIntf);
    require(heldTags[port].insert(odd).second && heldTags[port].insert(even).second,
            "no tag of a port is held twice", subIntf);
    rightEncaps[subIntf].insert(even);
    rightEncaps[entry->patchSubIntfId()].insert(odd);
    if (entry->clientIntfId() != IntfId()) services[{entry->clientIntfId(), subIntf}] = even;
  }
  for (auto const& entry : unserved) {
    require(served[parentOf(entry.first)].size() == pairsOfAPort ||
                std::ranges::count(ledger.unserved, entry) != 0,
            "exactly the configured ones are in service", entry.first);
  }
  ledger.unserved = std::move(unserved);

  require(now.records.size() == now.config.size() - ledger.unserved.size(),
          "no record without an entry");
  for (auto const& [key, encap] : now.encaps) {
    bool const isRight = rightEncaps[key].contains(encap.value());
    require(isRight || ledger.oldEncaps.contains(key), "an encapsulation carries its tag", key);
    if (isRight) ledger.oldEncaps.erase(key);
  }
  for (auto const& [subIntf, tags] : rightEncaps) {
    require(tags.empty() || ledger.encapClaims.at(subIntf).size() > 1 ||
                tags.contains(entities().dynDot1qEncap->encap(subIntf).value()),
            "both encapsulations are set", subIntf);
  }

  auto const view = session_.world.view();
  std::set<IntfId> ports;
  require(now.marks.size() == sizes.size(), "marks equal the ports in use");
  require(std::map(view.proxySubIntfCnt.begin(), view.proxySubIntfCnt.end()) == sizes,
          "counts are those of the keys");
  require(view.machines.size() == sizes.size(), "machines equal the ports in use");
  require(entities().config->notifieeList()->size() == 1 + sizes.size() &&
              entities().deviceIntfStatusDir->notifieeList()->size() == sizes.size(),
          "one reactor for each machine and entity");
  for (auto const& [port, inService, known, tagsInUse] : view.machines) {
    ports.insert(port);
    require(sizes.contains(port) && entities().status->proxyIntf(port),
            "a port with a machine is in use and marked", port);
    require(served[port] == std::set(inService.begin(), inService.end()),
            "a machine serves its own", port);
    require(std::ranges::equal(heldTags[port], tagsInUse),
            "the pool holds exactly the pairs of its records", port);
    for (auto const& [client, subIntf] : known) {
      require(parentOf(subIntf) == port && services.contains({client, subIntf}),
              "a client belongs to a sub-interface of the port", client);
    }
    for (auto const& [service, tag] : services) {
      auto const& [client, subIntf] = service;
      require(parentOf(subIntf) != port ||
                  std::ranges::count(ledger.clientClaims[client], port, parentOf) > 1 ||
                  std::ranges::count(known, service) != 0,
              "a client is known to its machine", client);
    }
  }
  judgeDriver(services, ports);
}

void SimulatedAgent::judgeDriver(Services const& services, std::set<IntfId> const& ports) {
  std::set<std::string> portNames;
  std::map<std::string, std::set<U32>> clientTags;
  auto const isReachable = [&](IntfId interface) {
    return ledger.announced.contains(interface) && !knownName(interface).empty();
  };
  for (IntfId const port : ports) {
    portNames.insert(knownName(port));
    require(!isReachable(port) || driver_.proxyMode().contains(knownName(port)),
            "a port in use is in proxy mode", port);
  }
  for (auto const& [service, tag] : services) {
    auto const& [client, subIntf] = service;
    std::string const name = knownName(client);
    IntfId const port = parentOf(subIntf);
    clientTags[name].insert(tag);
    if (ledger.clientClaims.at(client).size() > 1 || !isReachable(client) || !isReachable(port)) {
      continue;
    }
    auto const steered = driver_.steering().find(name);
    require(steered != driver_.steering().end() &&
                steered->second == Pesk::Driver::Steering{knownName(port), tag},
            "a client is steered by its port with its tag", client);
  }
  for (std::string const& device : driver_.proxyMode()) {
    require(device.empty() || portNames.contains(device) || ledger.oldModes.contains(device),
            "no proxy mode without a reason", device);
    if (portNames.contains(device)) ledger.oldModes.erase(device);
  }
  std::set<std::string> const cut = cutClients();
  for (auto const& [device, to] : driver_.steering()) {
    bool const isRight = clientTags[device].contains(to.tag);
    require(
        isRight || device.empty() || ledger.oldSteering.contains(device) || cut.contains(device),
        "no steering without a reason", device);
    if (isRight) ledger.oldSteering.erase(device);
  }
}

/// Every command names the devices and the sub-interface that it is about.
void SimulatedAgent::judgeCommands() const {
  auto const isCalled = [&](IntfId interface, std::string const& name) {
    auto const entry = entities().ethIntfStatusDir->intfStatus(interface);
    return entry && entry->deviceName().view() == name;
  };
  // Those of a step that sends thousands are much the same.
  for (auto const& command :
       std::span(driver_.log()).first(std::min<std::size_t>(60, driver_.log().size()))) {
    if (command.text.size() == 127) continue;
    auto const fields = fieldsOf(command.text);
    bool isRight = false;
    for (auto const& [client, claims] : ledger.clientClaims) {
      if (fields.size() != 5 || !isCalled(client, fields[2])) continue;
      isRight |= std::ranges::any_of(claims, [&](IntfId subIntf) {
        return fields[4] == "0" ? fields[3] == "0" && fields[1] == textOf(subIntf)
                                : isCalled(parentOf(subIntf), fields[1]);
      });
    }
    for (auto const& [subIntf, claims] : ledger.encapClaims) {
      isRight |= fields.size() == 3 && isCalled(parentOf(subIntf), fields[1]);
    }
    require(isRight, "a command names what it is about", command.text);
  }
}

}  // namespace Simulation
