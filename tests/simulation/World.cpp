#include "World.h"

#include <algorithm>
#include <array>

#include "Allocations.h"
#include "Kiv/Delivery.h"
#include "Kiv/Exception.h"
#include "Kiv/Store.h"

namespace Simulation {

namespace {

constexpr auto noRoom = "VlanId::value < 1 or > 4094 not allowed";

U32 recordsOf(World const& world, IntfId port) {
  U32 count = 0;
  for (auto walk = world.status->proxySubIntfStatus().iteratorConst(); walk; ++walk) {
    count += world.interfaceOf(walk.key()) == port;
  }
  return count;
}

}  // namespace

Left Left::fresh() const { return {config, {}, {}, {}, eth, devices, {}}; }

World::World(Left const& left) {
  ++worlds;
  restore(left);
}

World::~World() {
  kill();
  --worlds;
}

Left World::capture() const {
  Left left{membersOf(config->proxyConfig()),
            membersOf(status->proxyIntf()),
            membersOf(status->proxySubIntfStatus()),
            membersOf(encaps->encap()),
            membersOf(eth->intfStatus()),
            membersOf(devices->intfStatusAndDeviceName()),
            driver};
  left.driver.throwAtIs(0);
  return left;
}

void World::restore(Left const& left) {
  for (auto const& [key, entry] : left.config) {
    config->proxyConfigIs(key, entry->patchSubIntfId(), entry->clientIntfId());
  }
  for (auto const& [key, mark] : left.marks) status->proxyIntfIs(key, mark);
  for (auto const& [key, record] : left.records) {
    status->proxySubIntfStatusIs(key, record->patchSubIntfId(), record->clientIntfId(),
                                 record->encryptTag(), record->clientTag());
  }
  for (auto const& [key, encap] : left.encaps) encaps->encapIs(key, encap);
  for (auto const& [key, entry] : left.eth) eth->intfStatusIs(key, entry);
  for (auto const& [key, entry] : left.devices) devices->intfStatusAndDeviceNameIs(key, entry);
  driver = left.driver;
}

/// A dead process runs no teardown, but here the coordinator must go. So it goes with entities and
/// a driver that nobody looks at any more. Returns whether all its reactors went, too.
bool World::kill() {
  Kiv::Store::observerIs({});
  Left const left = capture();
  coordinator = nullptr;
  bool const allGone = config->notifieeList()->size() + devices->notifieeList()->size() == 0;
  config = MacsecProxy::Config::ConfigIs();
  status = MacsecProxy::Status::StatusIs();
  encaps = Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  eth = Interface::EthIntfStatusDir::EthIntfStatusDirIs();
  devices = Interface::DeviceIntfStatusDir::DeviceIntfStatusDirIs();
  restore(left);
  ledger.stopped = false;
  return allGone;
}

/// A driver or an allocator that fails in a teardown ends the process; that is not for here.
bool World::isSafeToFail(Step const& step) const {
  if (mayDie) return true;
  IntfId const port = interfaceOf(step.intf);
  switch (step.kind) {
    case Kind::start:
      return true;
    case Kind::deviceSet:
    case Kind::generic:
      return coordinator && step.number < 10;
    case Kind::proxySet:
      return coordinator &&
             (!config->proxyConfigHas(step.intf) || coordinator->proxySubIntfCnt(port) > 1);
    case Kind::proxyRemove:
      return coordinator && coordinator->proxySubIntfCnt(port) > 1;
    default:
      return false;
  }
}

std::string World::attempt(Step const& step, std::function<void()> const& action) {
  std::string raised;
  armed_ = step.fault != Fault::none && isSafeToFail(step);
  std::size_t const before = driver.log().size();
  if (armed_ && step.fault == Fault::driver) driver.throwAtIs(step.at);
  if (armed_ && step.fault == Fault::allocation) Allocations::failAt = step.at;
  try {
    action();
    bool const failed = armed_ && step.fault == Fault::allocation && Allocations::failAt == 0;
    Allocations::failAt = 0;
    require(!failed, "an allocation that fails is known to the caller");
  } catch (Broken const&) {
    throw;
  } catch (std::exception const& error) {
    Allocations::failAt = 0;
    raised = error.what();
  }
  if (armed_ && step.fault == Fault::driver && raised.empty()) {
    // Had the driver thrown, it would not throw any more.
    Pesk::Driver const present = driver;
    std::size_t left = step.at - (driver.log().size() - before);
    bool throws = false;
    try {
      for (; left > 0; --left) driver.commandIs("probe", 6, 0, 1, 0);
    } catch (Pesk::DriverError const&) {
      throws = left == 1;
    }
    driver = present;
    require(throws, "a driver that throws is known to the caller");
  }
  driver.throwAtIs(0);
  if (!raised.empty()) {
    faults += armed_;
    require(armed_ || ledger.disturbed || raised == noRoom, ("for no reason: " + raised).c_str());
    if (armed_) ledger.disturbed = true;
  }
  return raised;
}

bool World::start() {
  perform({Kind::start});
  return coordinator != nullptr;
}

void World::perform(Step const& step) {
  bool const running = coordinator != nullptr;
  bool const leaves =
      step.kind == Kind::leftRecord || step.kind == Kind::leftEncap || step.kind == Kind::leftMark;
  if (running ? step.kind == Kind::start || leaves
              : step.kind == Kind::stop || step.kind == Kind::crash || step.kind == Kind::generic) {
    return;
  }
  ++steps;
  U64 writesHere = 0;
  Kiv::Store::observerIs([&] {
    ++writesHere;
    // Steps that come in thousands, and the writes of one that makes thousands, are much the same.
    bool const isSample =
        step.isQuiet ? steps % 499 == 0 : writesHere <= 60 || writesHere % 1499 == 0;
    if (kills_ != nullptr && isSample) {
      std::size_t const armed = std::exchange(Allocations::failAt, 0);
      kills_->push_back(capture());
      if ((running || step.kind == Kind::start) && !ledger.disturbed && !armed_ &&
          untold_.empty()) {
        untold_ = untold(step.kind == Kind::start);
      }
      Allocations::failAt = armed;
    }
  });
  driver.logDelAll();
  carryOut(step);
  Kiv::Store::observerIs({});
  writes += writesHere;
  require(untold_.empty(), untold_.c_str());
  closeBooks();
  if (!step.isQuiet) judge();
}

void World::carryOut(Step const& step) {
  switch (step.kind) {
    case Kind::ethSet:
    case Kind::ethBlank:
    case Kind::ethRemove:
      setEth(step);
      break;
    case Kind::deviceSet: {
      Interface::DeviceIntfStatusDir::IntfStatusAndDeviceName const entry{step.device.c_str()};
      bool const isNew = !devices->intfStatusAndDeviceNameHas(step.intf) ||
                         !(devices->intfStatusAndDeviceName(step.intf) == entry);
      if (isNew && coordinator && eth->intfStatus(step.intf)) ledger.announced.insert(step.intf);
      attempt(step, [&] { devices->intfStatusAndDeviceNameIs(step.intf, entry); });
      if (!isNew) require(driver.log().empty(), "a no-op change sends nothing", step.intf);
      break;
    }
    case Kind::deviceRemove:
      attempt(step, [&] { devices->intfStatusAndDeviceNameDel(step.intf); });
      require(driver.log().empty(), "a device name that goes sends nothing", step.intf);
      break;
    case Kind::proxySet:
      setProxy(step, step.intf, step.patch);
      break;
    case Kind::proxyRemove:
      removeProxy(step, step.intf);
      break;
    case Kind::leftRecord:
      status->proxySubIntfStatusIs(step.intf, step.patch, step.client,
                                   Bridging::VlanId(step.number),
                                   Bridging::VlanId(step.number + 1));
      ledger.stopped = false;
      break;
    case Kind::leftEncap:
      encaps->encapIs(step.intf, Bridging::Dot1qEncap(Bridging::VlanId(step.number)));
      ledger.stopped = false;
      break;
    case Kind::leftMark:
      status->proxyIntfIs(step.intf, step.number % 2 == 0);
      ledger.stopped = false;
      break;
    case Kind::start: {
      ++starts;
      openLedger();
      std::map<IntfId, U32> sizes;
      for (auto walk = config->proxyConfig().iteratorConst(); walk; ++walk) {
        ++sizes[interfaceOf(walk.key())];
      }
      bool const fits =
          std::ranges::all_of(sizes, [](auto const& size) { return size.second <= pairsOfAPort; });
      std::string const raised = attempt(step, [&] {
        coordinator = MacsecProxy::macsecProxySmFactory(config, status, encaps, eth, devices);
      });
      require(armed_ || raised.empty() == fits, "a start fails exactly when a pool is too small");
      ledger.disturbed |= !raised.empty();
      break;
    }
    case Kind::stop:
      attempt(step, [&] { coordinator = nullptr; });
      ledger.stopped = true;
      break;
    case Kind::crash:
      require(kill(), "reactors go with their machines");
      break;
    case Kind::order:
      Kiv::Delivery::orderIs(static_cast<Kiv::Delivery::Order>(std::min(step.number, 2U)),
                             step.number);
      break;
    case Kind::fill:
      for (U32 number = 0; number < step.number; ++number) {
        setProxy(step, oneOfMany(step.intf, number), oneOfMany(step.patch, number));
      }
      break;
    case Kind::drain:
      for (U32 number = 0; number < step.number; ++number) {
        removeProxy(step, oneOfMany(step.intf, number));
      }
      break;
    case Kind::generic:
      callGeneric(step);
      break;
  }
}

void World::setEth(Step const& step) {
  std::string const former = knownName(step.intf);
  if (step.kind == Kind::ethSet) {
    eth->intfStatusIs(step.intf, step.device.c_str());
  } else if (step.kind == Kind::ethBlank) {
    eth->intfStatusIs(step.intf, nullptr);
  } else {
    eth->intfStatusDel(step.intf);
  }
  if (former == knownName(step.intf) && !former.empty()) return;
  ledger.announced.erase(step.intf);
  ledger.oldModes.insert(former);
  ledger.oldSteering.insert(former);
}

void World::setProxy(Step const& step, IntfId subIntf, IntfId patch) {
  auto const present = config->proxyConfig(subIntf);
  bool const isNew =
      !present || present->patchSubIntfId() != patch || present->clientIntfId() != step.client;
  ledger.claim(subIntf, patch, step.client);
  std::size_t const sent = driver.log().size();
  std::string const raised =
      attempt(step, [&] { config->proxyConfigIs(subIntf, patch, step.client); });
  if (!isNew) require(driver.log().size() == sent, "a no-op change sends nothing", subIntf);
  if (!coordinator || ledger.disturbed || !isNew) return;
  if (raised.empty()) {
    ledger.unserved.erase(subIntf);
  } else {
    require(recordsOf(*this, interfaceOf(subIntf)) == pairsOfAPort, "there was room", subIntf);
    ledger.unserved.insert(subIntf);
  }
}

void World::removeProxy(Step const& step, IntfId subIntf) {
  bool const wasInLine = !ledger.disturbed;
  attempt(step, [&] { config->proxyConfigDel(subIntf); });
  require(!wasInLine || step.fault == Fault::allocation || !coordinator ||
              !status->proxySubIntfStatusHas(subIntf),
          "a driver that refuses keeps nothing in service", subIntf);
  if (!config->proxyConfigHas(subIntf)) ledger.unserved.erase(subIntf);
}

void World::callGeneric(Step const& step) {
  using Op = Kiv::GenericIf::AttributeOp;
  auto const call = [](Kiv::PtrInterface* object, U32 index, std::vector<void const*> args,
                       Op op = Op::call) {
    auto const* const type = object->fwkType();
    Kiv::PtrInterface const* result = nullptr;
    std::vector<void*> plain;
    for (void const* arg : args) plain.push_back(const_cast<void*>(arg));
    int const outcome = type->access().genericIfAttributeOp(&result, object, type->attribute(index),
                                                            op, plain.data(), plain.data());
    auto const released = Kiv::Ptr<Kiv::PtrInterface const>::adopt(result);
    require(outcome == Kiv::GenericIf::done, "a valid operation is carried out");
  };
  auto const record = status->proxySubIntfStatus(step.intf);
  IntfId const port = interfaceOf(step.intf);
  auto const machine = coordinator->macsecProxyIntfSm(port);
  if (!machine || !record || !config->proxyConfigHas(step.intf)) return;
  IntfId const client = record->clientIntfId(), patch = record->patchSubIntfId();
  bool const on = true;
  U64 const id = 0;
  U32 const size = 4094;
  auto const state = Pesk::HBitmap::BitState::clear;
  if (step.number >= 10) ledger.disturbed = true;
  attempt(step, [&] {
    switch (step.number) {
      case 0:
        call(machine.ptr(), 137, {&port});
        break;
      case 1:
        call(machine.ptr(), 137, {&client});
        break;
      case 2:
        if (machine->clientIntfHas(client)) call(machine.ptr(), 138, {&client});
        break;
      case 3:
        call(machine.ptr(), 146, {&step.intf});
        break;
      case 4:
        call(machine.ptr(), 144, {&step.intf, &patch});
        break;
      case 5:
        call(machine.ptr(), 145, {&step.intf});
        call(machine.ptr(), 146, {&step.intf});
        break;
      case 6:
        call(machine.ptr(), 142, {&port, &on});
        break;
      case 7:
        call(machine.ptr(), 148, {&id, &size, &state}, Op::insert);
        break;
      case 8:
        if (ledger.unserved.empty()) call(machine.ptr(), 149, {});
        break;
      case 9:
        if (!ledger.unserved.empty()) break;
        call(machine.ptr(), 150, {});
        call(machine.ptr(), 149, {});
        break;
      case 10:
        call(coordinator.ptr(), 136, {&step.intf});
        break;
      case 11:
        call(coordinator.ptr(), 140, {});
        break;
      default:
        coordinator->macsecProxyIntfSmDel(port);
    }
  });
}

}  // namespace Simulation
