#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "Kiv/AllocTrackTypeInfo.h"
#include "World.h"

/// The rules: what must be true, in terms of the configuration, the directories and what was sent.
namespace Simulation {

namespace {

template <class Set, class Key>
bool contains(Set const& set, Key const& key) {
  return set.find(key) != set.end();
}

std::vector<std::string> fieldsOf(std::string const& text) {
  std::vector<std::string> fields{""};
  for (char const c : text) {
    if (c == ' ') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

/// A disable names the sub-interface; one with such a name does not fit into the driver's buffer,
/// and the steering stays.
bool isCut(IntfId subIntf) { return textOf(subIntf).size() > 90; }

template <class Key, class Held>
void forgetWhatIsNotHeld(std::set<Key>& excused, Held const& isHeld) {
  std::erase_if(excused, [&](Key const& key) { return !isHeld(key); });
}

}  // namespace

void Ledger::claim(IntfId proxySubIntf, IntfId patch, IntfId client) {
  encapClaims[proxySubIntf].emplace(proxySubIntf, false);
  encapClaims[patch].emplace(proxySubIntf, true);
  if (client != IntfId()) clientClaims[client].insert(proxySubIntf);
}

std::string World::knownName(IntfId interface) const {
  auto const entry = eth->intfStatus(interface);
  std::string const name = entry ? entry->deviceName().charPtr() : "";
  return name.size() < 40 ? name : "";
}

/// The devices of clients whose steering could not be ended.
std::set<std::string> World::cutClients() const {
  std::set<std::string> names;
  for (auto const& [client, claims] : ledger.clientClaims) {
    if (std::ranges::any_of(claims, isCut)) names.insert(knownName(client));
  }
  return names;
}

/// Before a start: what will stay although nothing of this run asks for it, because no record that
/// the start finds, and nothing configured, names it.
void World::openLedger() {
  ledger = {};
  std::set<std::string> ports, clients;
  for (auto const& [key, entry] : membersOf(config->proxyConfig())) {
    ledger.claim(key, entry->patchSubIntfId(), entry->clientIntfId());
    ports.insert(knownName(interfaceOf(key)));
    // Steering names the port; a port without a name takes nothing over.
    if (!knownName(interfaceOf(key)).empty()) clients.insert(knownName(entry->clientIntfId()));
  }
  for (auto const& [key, record] : membersOf(status->proxySubIntfStatus())) {
    ledger.claim(key, record->patchSubIntfId(), record->clientIntfId());
    // Only a sub-interface that is still configured has its client disabled.
    if (config->proxyConfigHas(key) && !isCut(key))
      clients.insert(knownName(record->clientIntfId()));
  }
  for (auto const& [interface, entry] : membersOf(eth->intfStatus())) {
    if (!knownName(interface).empty()) ledger.announced.insert(interface);
  }
  for (auto const& [subIntf, encap] : membersOf(encaps->encap())) {
    if (!contains(ledger.encapClaims, subIntf)) ledger.oldEncaps.insert(subIntf);
  }
  for (auto const& [device, on] : driver.proxyMode()) {
    if (!contains(ports, device)) ledger.oldModes.insert(device);
  }
  for (auto const& [device, to] : driver.steering()) {
    if (!contains(clients, device)) ledger.oldSteering.insert(device);
  }
}

/// After a step: what is gone has no excuse to come back.
void World::closeBooks() {
  forgetWhatIsNotHeld(ledger.oldEncaps, [&](IntfId key) { return encaps->encapHas(key); });
  forgetWhatIsNotHeld(ledger.oldModes,
                      [&](auto const& name) { return contains(driver.proxyMode(), name); });
  forgetWhatIsNotHeld(ledger.oldSteering,
                      [&](auto const& name) { return contains(driver.steering(), name); });
}

void World::judge() const {
  if (!coordinator) judgeNothingLives();
  if (ledger.disturbed) return;
  judgeCommands();
  if (coordinator) {
    judgeRunning();
  } else if (ledger.stopped) {
    require(status->proxySubIntfStatus().size() == 0, "a stop takes everything out of service");
    for (auto const& [key, encap] : membersOf(encaps->encap())) {
      require(contains(ledger.oldEncaps, key), "a stop removes every encapsulation", key);
    }
    judgeDriver({}, {});
  }
}

/// The record is written after the encapsulations and before the driver is told, and removed last.
std::string World::untold(bool isStarting) const {
  std::set<IntfId> named;
  std::set<std::string> clients;
  auto const tells = [&](IntfId key, auto const& entry, bool ofClient) {
    named.insert({key, entry->patchSubIntfId()});
    if (ofClient) clients.insert(knownName(entry->clientIntfId()));
  };
  for (auto const& [key, entry] : membersOf(config->proxyConfig())) tells(key, entry, isStarting);
  for (auto const& [key, entry] : membersOf(status->proxySubIntfStatus())) tells(key, entry, true);
  for (auto const& [key, encap] : membersOf(encaps->encap())) {
    if (contains(named, key) || contains(ledger.oldEncaps, key)) continue;
    return "a kill here leaves an encapsulation that nothing tells of: " + textOf(key);
  }
  for (auto const& [device, to] : driver.steering()) {
    if (device.empty() || contains(clients, device) || contains(ledger.oldSteering, device) ||
        contains(cutClients(), device)) {
      continue;
    }
    return "a kill here leaves a client steered that nothing tells of: " + device;
  }
  return "";
}

void World::judgeNothingLives() const {
  require(config->notifieeList()->size() + devices->notifieeList()->size() == 0,
          "reactors go with their machines");
  if (worlds > 1) return;
  for (auto const* type = Kiv::AllocTrackTypeInfo::first(); type; type = type->next()) {
    std::string_view const name = type->className();
    if (!name.starts_with("MacsecProxy::MacsecProxy") && !name.starts_with("Pesk::")) continue;
    require(type->live() == 0, type->className());
  }
}

void World::judgeRunning() const {
  std::map<IntfId, U32> counts;
  std::map<IntfId, std::vector<bool>> tagsInUse;
  std::map<IntfId, std::vector<U32>> rightEncaps;
  std::map<IntfId, std::vector<std::pair<IntfId, U32>>> clients;
  auto const& entries = config->proxyConfig();
  for (auto walk = entries.iteratorConst(); walk; ++walk) {
    IntfId const subIntf = walk.key(), port = interfaceOf(subIntf);
    ++counts[port];
    auto const record = status->proxySubIntfStatus(subIntf);
    bool const isServed = !contains(ledger.unserved, subIntf);
    require((record != nullptr) == isServed, "exactly the configured ones are in service", subIntf);
    if (!isServed) continue;
    auto const& entry = *walk.value();
    require(record->proxySubIntfId() == subIntf &&
                record->patchSubIntfId() == entry.patchSubIntfId() &&
                record->clientIntfId() == entry.clientIntfId(),
            "a record agrees with its entry", subIntf);
    U32 const odd = record->encryptTag().value(), even = record->clientTag().value();
    require(odd % 2 == 1 && even == odd + 1, "an odd tag and the even one after it", subIntf);
    auto& tags = tagsInUse.try_emplace(port, 2 * pairsOfAPort + 1).first->second;
    require(!tags[odd], "no tag of a port is held twice", subIntf);
    tags[odd] = tags[even] = true;
    rightEncaps[subIntf].push_back(even);
    rightEncaps[entry.patchSubIntfId()].push_back(odd);
    if (entry.clientIntfId() != IntfId()) clients[entry.clientIntfId()].emplace_back(subIntf, even);
  }

  require(status->proxySubIntfStatus().size() == entries.size() - ledger.unserved.size(),
          "no record without an entry");
  for (auto walk = encaps->encap().iteratorConst(); walk; ++walk) {
    auto const right = rightEncaps.find(walk.key());
    bool const isRight =
        right != rightEncaps.end() && std::ranges::count(right->second, walk.value().value()) != 0;
    require(isRight || contains(ledger.oldEncaps, walk.key()), "an encapsulation carries its tag",
            walk.key());
  }
  for (auto const& [subIntf, right] : rightEncaps) {
    if (ledger.encapClaims.at(subIntf).size() > 1) continue;
    require(encaps->encap(subIntf).value() == right[0], "both encapsulations are set", subIntf);
  }

  U32 const ports = static_cast<U32>(counts.size());
  require(status->proxyIntf().size() == ports, "marks equal the ports in use");
  require(coordinator->proxySubIntfCnt().size() == ports, "counts equal the ports in use");
  require(coordinator->macsecProxyIntfSm().size() == ports, "machines equal the ports in use");
  require(config->notifieeList()->size() == 1 + ports && devices->notifieeList()->size() == ports,
          "one reactor for each machine and entity");
  std::set<IntfId> inUse;
  for (auto const& [port, count] : counts) {
    inUse.insert(port);
    require(status->proxyIntf(port), "a port in use is marked", port);
    require(coordinator->proxySubIntfCnt(port) == count, "a count is that of the keys", port);
    auto const machine = coordinator->macsecProxyIntfSm(port);
    require(machine && machine->intfId() == port && machine->hasNotificationActive(),
            "a port in use has a machine", port);
    auto const& tags = tagsInUse[port];
    auto const pairs = static_cast<U32>(std::ranges::count(tags, true)) / 2;
    require(machine->proxySubIntf().size() == pairs, "a machine serves its own", port);
    for (auto walk = machine->proxySubIntf().iteratorConst(); walk; ++walk) {
      require(walk.value() && interfaceOf(walk.key()) == port &&
                  status->proxySubIntfStatusHas(walk.key()),
              "a machine serves its own", walk.key());
    }
    for (U32 tag = 1; tag <= 2 * pairsOfAPort; ++tag) {
      if (machine->macsecTag()->bitIsSet(tag) != (!tags.empty() && tags[tag])) {
        require(false, "the pool holds exactly the pairs of its records", port);
      }
    }
    for (auto walk = machine->clientIntf().iteratorConst(); walk; ++walk) {
      auto const record = status->proxySubIntfStatus(walk.value());
      require(record && record->clientIntfId() == walk.key() && interfaceOf(walk.value()) == port,
              "a client belongs to a sub-interface of the port", walk.key());
    }
  }
  for (auto const& [client, served] : clients) {
    auto const& claims = ledger.clientClaims.at(client);
    for (auto const& [subIntf, tag] : served) {
      IntfId const port = interfaceOf(subIntf);
      if (std::ranges::count(claims, port, [&](IntfId other) { return interfaceOf(other); }) > 1) {
        continue;
      }
      require(coordinator->macsecProxyIntfSm(port)->clientIntf(client) == subIntf,
              "a client is known to its machine", client);
    }
  }
  judgeDriver(clients, inUse);
}

void World::judgeDriver(std::map<IntfId, std::vector<std::pair<IntfId, U32>>> const& clients,
                        std::set<IntfId> const& ports) const {
  std::set<std::string> portNames;
  std::map<std::string, std::vector<std::pair<IntfId, U32>>> clientNames;
  for (IntfId const port : ports) {
    portNames.insert(knownName(port));
    if (!contains(ledger.announced, port) || knownName(port).empty()) continue;
    require(contains(driver.proxyMode(), knownName(port)), "a port in use is in proxy mode", port);
  }
  for (auto const& [client, served] : clients) {
    auto const [subIntf, tag] = served[0];
    IntfId const port = interfaceOf(subIntf);
    std::string const name = knownName(client), portName = knownName(port);
    clientNames[name] = served;
    if (ledger.clientClaims.at(client).size() > 1 || name.empty() || portName.empty() ||
        !contains(ledger.announced, client) || !contains(ledger.announced, port)) {
      continue;
    }
    auto const steered = driver.steering().find(name);
    require(steered != driver.steering().end() &&
                steered->second == Pesk::Driver::Steering{portName, tag},
            "a client is steered by its port with its tag", client);
  }
  std::set<std::string> const cut = cutClients();
  for (auto const& [device, on] : driver.proxyMode()) {
    if (device.empty()) continue;
    require(contains(portNames, device) || contains(ledger.oldModes, device),
            "no proxy mode without a reason", intf(device));
  }
  for (auto const& [device, to] : driver.steering()) {
    if (device.empty() || contains(ledger.oldSteering, device) || contains(cut, device)) continue;
    auto const served = clientNames.find(device);
    require(served != clientNames.end() &&
                std::ranges::any_of(served->second,
                                    [tag = to.tag](auto const& one) { return one.second == tag; }),
            "no steering without a reason", intf(device));
  }
}

/// Every command names the devices and the sub-interface that it is about.
void World::judgeCommands() const {
  if (driver.log().empty()) return;
  std::map<std::string, std::vector<IntfId>> called;
  for (auto walk = eth->intfStatus().iteratorConst(); walk; ++walk) {
    if (walk.value()) called[walk.value()->deviceName().charPtr()].push_back(walk.key());
  }
  std::set<IntfId> ports;
  for (auto const& [subIntf, claims] : ledger.encapClaims) {
    for (auto const& [claimant, isPatch] : claims) ports.insert(interfaceOf(claimant));
  }
  for (auto const& command : driver.log()) {
    if (command.text.size() == 127) continue;
    auto const fields = fieldsOf(command.text);
    bool isRight = false;
    if (fields[0] == "macsec_proxy" && fields.size() == 3) {
      isRight = std::ranges::any_of(called[fields[1]], [&](IntfId p) { return ports.contains(p); });
    } else if (fields[0] == "macsec_proxy_client" && fields.size() == 5) {
      for (IntfId const client : called[fields[2]]) {
        auto const claims = ledger.clientClaims.find(client);
        if (claims == ledger.clientClaims.end()) continue;
        isRight |= std::ranges::any_of(claims->second, [&](IntfId subIntf) {
          if (fields[4] == "0") return fields[3] == "0" && fields[1] == textOf(subIntf);
          auto const port = eth->intfStatus(interfaceOf(subIntf));
          return port && fields[1] == port->deviceName().charPtr();
        });
      }
    }
    require(isRight, "a command names what it is about", intf(command.text));
  }
}

std::string World::tables() const {
  std::set<std::string> lines;
  for (auto const& [port, mark] : membersOf(status->proxyIntf())) {
    lines.insert(fmt::format("mark {} {}", textOf(port), mark));
  }
  for (auto const& [key, record] : membersOf(status->proxySubIntfStatus())) {
    lines.insert(fmt::format("record {} {} {} {} {}", textOf(key), textOf(record->patchSubIntfId()),
                             textOf(record->clientIntfId()), record->encryptTag().value(),
                             record->clientTag().value()));
  }
  for (auto const& [key, encap] : membersOf(encaps->encap())) {
    lines.insert(fmt::format("encap {} {}", textOf(key), encap.value()));
  }
  for (auto const& [device, on] : driver.proxyMode()) lines.insert("mode " + device);
  // Which of several ports that share a client was told last is a matter of the order.
  for (auto const& [device, to] : driver.steering()) lines.insert("steered " + device);
  if (coordinator) {
    for (auto const& [port, machine] : membersOf(coordinator->macsecProxyIntfSm())) {
      for (auto const& [client, subIntf] : membersOf(machine->clientIntf())) {
        lines.insert(fmt::format("client {} {}", textOf(client), textOf(subIntf)));
      }
    }
  }
  return fmt::format("{}", fmt::join(lines, "\n"));
}

}  // namespace Simulation
