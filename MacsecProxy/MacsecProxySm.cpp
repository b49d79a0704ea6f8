#include "MacsecProxy/MacsecProxySm.h"

#include <typeinfo>
#include <utility>

#include "Kiv/Entity.h"
#include "Kiv/Exception.h"
#include "Kiv/Strep.h"
#include "Kiv/String.h"
#include "MacsecProxy/Trace.h"
#include "Velto/SubIntfId.h"

namespace MacsecProxy {

namespace {

/// Refuses to take an existing machine for one made from another object. `type` is how the
/// attribute's references are declared, which decides how the objects are named.
template <class Object>
void requireSame(char const* attribute, Kiv::Ptr<Object> const& requested,
                 Kiv::Ptr<Object> const& current, std::type_info const& type) {
  if (requested == current) return;
  Kiv::String message(
      "Reinstantiating the pointer interface where constructor parameter attribute ");
  message += attribute;
  message += " has a different value of ";
  message += Kiv::valueToStrepOfRawPtr(requested.ptr(), type);
  message += " than the current value of ";
  message += Kiv::valueToStrepOfRawPtr(current.ptr(), type);
  message += " not allowed";
  Kiv::throwNameInUseException(message);
}

}  // namespace

constinit Kiv::AllocTrackTypeInfo MacsecProxySm::KivConfig::kivAllocTrackTypeInfo_{
    "MacsecProxy::MacsecProxySm::KivConfig"};
constinit Kiv::AllocTrackTypeInfo MacsecProxySm::kivAllocTrackTypeInfo_{
    "MacsecProxy::MacsecProxySm"};

Kiv::Ptr<MacsecProxySm> macsecProxySmFactory(
    Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
    Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
    Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
    Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir) {
  return MacsecProxySm::MacsecProxySmIs(config, status, dynDot1qEncap, ethIntfStatusDir,
                                        deviceIntfStatusDir);
}

Kiv::Ptr<MacsecProxySm> MacsecProxySm::MacsecProxySmIs(
    Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
    Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
    Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
    Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir) {
  auto coordinator = Kiv::Ptr<MacsecProxySm>::adopt(
      new MacsecProxySm(config, status, dynDot1qEncap, ethIntfStatusDir, deviceIntfStatusDir));
  coordinator->hasNotificationActiveIs(true);
  return coordinator;
}

MacsecProxySm::MacsecProxySm(
    Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
    Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
    Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
    Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir)
    : config_(config, *this),
      status_(status),
      dynDot1qEncap_(dynDot1qEncap),
      ethIntfStatusDir_(ethIntfStatusDir),
      deviceIntfStatusDir_(deviceIntfStatusDir) {
  try {
    handleInitialized();
  } catch (...) {
    // The machines made so far are torn down next; nothing may reach the coordinator meanwhile.
    config_.retire();
    throw;
  }
}

MacsecProxySm::~MacsecProxySm() {
  kivDoZombieReactors(true);
  config_.retire();
  ioctlDrvFabDel();
  macsecProxyIntfSmDelAll();
}

void MacsecProxySm::hasNotificationActiveIs(bool active) {
  if (active == hasNotificationActive()) return;
  PtrInterface::hasNotificationActiveIs(active);
  config_.hasNotificationActiveIs(active);
  for (auto walk = macsecProxyIntfSm_.iteratorConst(); walk; ++walk) {
    // Held: the call may take the machine out of the registry.
    Kiv::Ptr<MacsecProxyIntfSm> const machine(walk.value().ptr());
    machine->hasNotificationActiveIs(active);
  }
}

void MacsecProxySm::kivDoZombieReactors(bool zombie) {
  if (zombie == kivMarkedForDeletion()) return;
  config_.kivDoZombieReactors(zombie);
  kivMarkedForDeletionIs(zombie);
}

Kiv::Ptr<Pesk::IoctlDrvFab> MacsecProxySm::ioctlDrvFabIs() {
  if (!ioctlDrvFab_) {
    auto channel = Kiv::makeNew<Pesk::IoctlDrvFab>();
    channel->hasNotificationActiveIs(true);
    ioctlDrvFab_ = std::move(channel);
  }
  return ioctlDrvFab_;
}

Kiv::Ptr<Pesk::IoctlDrvFab> MacsecProxySm::ioctlDrvFabDel() noexcept {
  return std::exchange(ioctlDrvFab_, nullptr);
}

void MacsecProxySm::proxySubIntfCntIs(Velto::IntfId key, U32 value) {
  proxySubIntfCnt_.valueIs(key, value);
}

U32 MacsecProxySm::proxySubIntfCntDel(Velto::IntfId key) { return proxySubIntfCnt_.valueDel(key); }

void MacsecProxySm::proxySubIntfCntDelAll() {
  for (auto walk = proxySubIntfCnt_.iteratorConst(); walk; ++walk) proxySubIntfCntDel(walk.key());
}

Kiv::Ptr<MacsecProxyIntfSm> MacsecProxySm::macsecProxyIntfSmIs(
    Velto::IntfId intfId, Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
    Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
    Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
    Kiv::Ptr<Pesk::IoctlDrvInterface> const& ioctlDrvInterface,
    Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir) {
  if (Kiv::Ptr<MacsecProxyIntfSm> present = macsecProxyIntfSm(intfId)) {
    std::type_info const& entity = typeid(Kiv::Entity);
    requireSame("_config", config, present->config(), entity);
    requireSame("_status", status, present->status(), entity);
    requireSame("_dynDot1qEncap", dynDot1qEncap, present->dynDot1qEncap(), entity);
    requireSame("_ethIntfStatusDir", ethIntfStatusDir, present->ethIntfStatusDir(), entity);
    requireSame("_ioctlDrvInterface", ioctlDrvInterface, present->ioctlDrvInterface(),
                typeid(Kiv::PtrInterface));
    requireSame("_deviceIntfStatusDir", deviceIntfStatusDir, present->deviceIntfStatusDir(),
                entity);
    return present;
  }
  auto machine = MacsecProxyIntfSm::MacsecProxyIntfSmIs(intfId, config, status, dynDot1qEncap,
                                                        ethIntfStatusDir, ioctlDrvInterface,
                                                        deviceIntfStatusDir);
  macsecProxyIntfSm_.valueIs(machine->intfId(), machine);
  machine->hasNotificationActiveIs(true);
  return machine;
}

Kiv::Ptr<MacsecProxyIntfSm> MacsecProxySm::macsecProxyIntfSmDel(Velto::IntfId key) {
  return macsecProxyIntfSm_.valueDel(key);
}

void MacsecProxySm::macsecProxyIntfSmDelAll() {
  for (auto walk = macsecProxyIntfSm_.iteratorConst(); walk; ++walk) {
    macsecProxyIntfSmDel(walk.key());
  }
}

void MacsecProxySm::handleInitialized() {
  ioctlDrvFabIs();
  if (Kiv::Ptr<Config const> const configuration = config()) {
    Kiv::checkConsistency(status_ != nullptr, "status");
    auto const traceRemoval = [](U32 line, Velto::IntfId removed) {
      trace(line, "handleInitialized",
            "void MacsecProxy::MacsecProxySm::handleInitialized(): Removing ", removed);
    };

    for (auto walk = status_->proxySubIntfStatus().iteratorConst(); walk; ++walk) {
      if (auto const* const next = walk.following()) {
        configuration->proxyConfig().prefetch(next->key);
      }
      if (configuration->proxyConfigHas(walk.key())) continue;
      Kiv::checkConsistency(dynDot1qEncap_ != nullptr, "dynDot1qEncap");
      Velto::IntfId const patchSubIntfId = walk.value()->patchSubIntfId();
      traceRemoval(__LINE__, walk.key());
      dynDot1qEncap_->encapDel(walk.key());
      dynDot1qEncap_->encapDel(patchSubIntfId);
      status_->proxySubIntfStatusDel(walk.key());
    }

    // One pass over the configuration serves all marks.
    Kiv::HashMap<Velto::IntfId, bool> inUse;
    if (status_->proxyIntf().size() != 0) {
      for (auto walk = configuration->proxyConfig().iteratorConst(); walk; ++walk) {
        inUse.valueIs(Velto::SubIntfId::parentIntfId(walk.key()), true);
      }
    }
    for (auto walk = status_->proxyIntf().iteratorConst(); walk; ++walk) {
      if (inUse.has(walk.key())) continue;
      traceRemoval(__LINE__, walk.key());
      status_->proxyIntfDel(walk.key());
    }
  }
  handleProxyConfig();
}

void MacsecProxySm::handleProxyConfig(Velto::IntfId intfId) {
  trace(__LINE__, "handleProxyConfig",
        "void MacsecProxy::MacsecProxySm::handleProxyConfig(Velto::IntfId): ", intfId);
  Config const* const configuration = config_.watched();
  if (configuration == nullptr) return;
  Kiv::checkConsistency(status_ != nullptr, "status");
  Velto::IntfId const parent = Velto::SubIntfId::parentIntfId(intfId);
  U32* const count = proxySubIntfCnt_.find(parent);
  if (configuration->proxyConfigHas(intfId)) {
    if (count != nullptr && *count > 0) {
      ++*count;
      return;
    }
    takeIntoUse(parent);
  } else if (count != nullptr && *count == 1) {
    takeOutOfUse(parent);
  } else if (count != nullptr && *count > 1) {
    --*count;
  }
  // Removals without a count are ignored: additions whose machine could not be made were not
  // counted.
}

void MacsecProxySm::takeIntoUse(Velto::IntfId intfId) {
  // Made before the machine, so that the count, which comes last, cannot fail.
  proxySubIntfCnt_.expect(proxySubIntfCnt_.size() + 1);
  status_->proxyIntfIs(intfId, true);
  macsecProxyIntfSmIs(intfId, config(), status_, dynDot1qEncap_, ethIntfStatusDir_, ioctlDrvFab_,
                      deviceIntfStatusDir_);
  proxySubIntfCntIs(intfId, 1);
}

void MacsecProxySm::takeOutOfUse(Velto::IntfId intfId) {
  macsecProxyIntfSmDel(intfId);
  proxySubIntfCntDel(intfId);
  status_->proxyIntfDel(intfId);
}

void MacsecProxySm::handleProxyConfig() {
  trace(__LINE__, "handleProxyConfig", "void MacsecProxy::MacsecProxySm::handleProxyConfig()");
  Kiv::Ptr<Config const> const configuration = config();
  if (!configuration) return;
  U32 const all = configuration->proxyConfig().size();
  if (status_) status_->proxySubIntfStatusExpect(all);
  if (dynDot1qEncap_) dynDot1qEncap_->encapExpect(2 * all);
  for (auto walk = configuration->proxyConfig().iteratorConst(); walk; ++walk) {
    if (auto const* const next = walk.following()) configuration->proxyConfig().prefetch(next->key);
    handleProxyConfig(walk.key());
  }
}

}  // namespace MacsecProxy
