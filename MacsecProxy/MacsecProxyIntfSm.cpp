#include "MacsecProxy/MacsecProxyIntfSm.h"

#include <exception>
#include <utility>

#include "Bridging/Dot1qEncap.h"
#include "Bridging/VlanId.h"
#include "Kiv/Exception.h"
#include "MacsecProxy/DriverCommand.h"
#include "MacsecProxy/Trace.h"
#include "Velto/SubIntfId.h"

namespace MacsecProxy {

constinit Kiv::AllocTrackTypeInfo MacsecProxyIntfSm::KivConfig::kivAllocTrackTypeInfo_{
    "MacsecProxy::MacsecProxyIntfSm::KivConfig"};
constinit Kiv::AllocTrackTypeInfo MacsecProxyIntfSm::KivDeviceIntfStatusDir::kivAllocTrackTypeInfo_{
    "MacsecProxy::MacsecProxyIntfSm::KivDeviceIntfStatusDir"};
constinit Kiv::AllocTrackTypeInfo MacsecProxyIntfSm::kivAllocTrackTypeInfo_{
    "MacsecProxy::MacsecProxyIntfSm"};

Kiv::Ptr<MacsecProxyIntfSm> MacsecProxyIntfSm::MacsecProxyIntfSmIs(
    Velto::IntfId intfId, Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
    Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
    Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
    Kiv::Ptr<Pesk::IoctlDrvInterface> const& ioctlDrvInterface,
    Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir) {
  Kiv::checkConsistency(status != nullptr, "status");
  Kiv::checkConsistency(dynDot1qEncap != nullptr, "dynDot1qEncap");
  Kiv::checkConsistency(ethIntfStatusDir != nullptr, "ethIntfStatusDir");
  Kiv::checkConsistency(ioctlDrvInterface != nullptr, "ioctlDrvInterface");
  auto machine = Kiv::Ptr<MacsecProxyIntfSm>::adopt(
      new MacsecProxyIntfSm(intfId, config, status, dynDot1qEncap, ethIntfStatusDir,
                            ioctlDrvInterface, deviceIntfStatusDir));
  machine->hasNotificationActiveIs(true);
  return machine;
}

MacsecProxyIntfSm::MacsecProxyIntfSm(
    Velto::IntfId intfId, Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
    Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
    Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
    Kiv::Ptr<Pesk::IoctlDrvInterface> const& ioctlDrvInterface,
    Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir)
    : intfId_(intfId),
      config_(config, *this),
      status_(status),
      dynDot1qEncap_(dynDot1qEncap),
      ethIntfStatusDir_(ethIntfStatusDir),
      ioctlDrvInterface_(ioctlDrvInterface),
      deviceIntfStatusDir_(deviceIntfStatusDir, *this) {
  handleInitialized();
}

MacsecProxyIntfSm::~MacsecProxyIntfSm() {
  cleanup();
  kivDoZombieReactors(true);
  config_.retire();
  deviceIntfStatusDir_.retire();
  macsecTagDel();
}

void MacsecProxyIntfSm::hasNotificationActiveIs(bool active) {
  if (active == hasNotificationActive()) return;
  PtrInterface::hasNotificationActiveIs(active);
  config_.hasNotificationActiveIs(active);
  deviceIntfStatusDir_.hasNotificationActiveIs(active);
}

void MacsecProxyIntfSm::kivDoZombieReactors(bool zombie) {
  if (zombie == kivMarkedForDeletion()) return;
  config_.kivDoZombieReactors(zombie);
  deviceIntfStatusDir_.kivDoZombieReactors(zombie);
  kivMarkedForDeletionIs(zombie);
}

void MacsecProxyIntfSm::proxySubIntfIs(Velto::IntfId key, bool value) {
  proxySubIntf_.valueIs(key, value);
}

bool MacsecProxyIntfSm::proxySubIntfDel(Velto::IntfId key) { return proxySubIntf_.valueDel(key); }

void MacsecProxyIntfSm::proxySubIntfDelAll() {
  for (auto walk = proxySubIntf_.iteratorConst(); walk; ++walk) proxySubIntfDel(walk.key());
}

void MacsecProxyIntfSm::clientIntfIs(Velto::IntfId key, Velto::IntfId value) {
  clientIntf_.valueIs(key, value);
}

Velto::IntfId MacsecProxyIntfSm::clientIntfDel(Velto::IntfId key) {
  return clientIntf_.valueDel(key);
}

void MacsecProxyIntfSm::clientIntfDelAll() {
  for (auto walk = clientIntf_.iteratorConst(); walk; ++walk) clientIntfDel(walk.key());
}

Kiv::Ptr<Pesk::Bitmap> MacsecProxyIntfSm::macsecTagIs(U64 const& id, U32 size,
                                                      Pesk::HBitmap::BitState initialBitState) {
  if (macsecTag_ && macsecTag_->id() == id && macsecTag_->size() == size &&
      macsecTag_->initialBitState() == initialBitState) {
    return macsecTag_;
  }
  auto pool = Kiv::makeNew<Pesk::Bitmap>(id, size, initialBitState);
  pool->hasNotificationActiveIs(true);
  macsecTag_ = pool;
  return pool;
}

Kiv::Ptr<Pesk::Bitmap> MacsecProxyIntfSm::macsecTagDel() {
  return std::exchange(macsecTag_, nullptr);
}

void MacsecProxyIntfSm::handleInitialized() {
  trace(__LINE__, "handleInitialized", intfId_,
        " void MacsecProxy::MacsecProxyIntfSm::handleInitialized()");
  macsecTagIs(0, 4094, Pesk::HBitmap::BitState::clear);
  U32 const own = Velto::SubIntfId::groupOfSubIntfs(intfId_);
  for (auto walk = status_->proxySubIntfStatus().iteratorConst(); walk.seek(own); ++walk) {
    auto const* const next = walk.following();
    if (next != nullptr && next->key.group() == own) prefetchFor(next->key, *next->value);
    deleteProxySubIntfStatus(walk.key());
  }
  handleProxyConfig();
  doUpdateDmaMacsecProxy(intfId_, true);
}

void MacsecProxyIntfSm::cleanup() {
  trace(__LINE__, "cleanup", intfId_, " void MacsecProxy::MacsecProxyIntfSm::cleanup()");
  for (auto walk = proxySubIntf_.iteratorConst(); walk; ++walk) {
    deleteProxySubIntfStatus(walk.key());
  }
  doUpdateDmaMacsecProxy(intfId_, false);
}

void MacsecProxyIntfSm::handleProxyConfig(Velto::IntfId intfId) {
  trace(__LINE__, "handleProxyConfig", intfId_,
        " void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig(Velto::IntfId): ", intfId);
  if (Velto::SubIntfId::parentIntfId(intfId) != intfId_) return;
  // What the steps to come look up is fetched ahead, here and below: in large tables, waiting for
  // memory takes longer than the steps themselves.
  if (dynDot1qEncap_->encap().isLarge()) {
    status_->proxySubIntfStatus().prefetch(intfId);
    dynDot1qEncap_->encap().prefetch(intfId);
    proxySubIntf_.prefetch(intfId);
  }
  Config const* const configuration = config_.watched();
  if (configuration == nullptr) return;
  if (Kiv::Ptr<ProxyConfig const> const* const entry = configuration->proxyConfig().find(intfId)) {
    bringIntoService(intfId, (*entry)->patchSubIntfId(), entry->ptr());
  } else {
    deleteProxySubIntfStatus(intfId);
  }
}

void MacsecProxyIntfSm::handleProxyConfig() {
  trace(__LINE__, "handleProxyConfig", intfId_,
        " void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig()");
  Kiv::Ptr<Config const> const configuration = config();
  if (!configuration) return;
  U32 const own = Velto::SubIntfId::groupOfSubIntfs(intfId_);
  for (auto walk = configuration->proxyConfig().iteratorConst(); walk; ++walk) {
    if (!isTraced() && !walk.seek(own)) break;
    auto const* const next = walk.following();
    if (next != nullptr && next->key.group() == own) {
      configuration->proxyConfig().prefetch(next->key);
      prefetchFor(next->key, *next->value);
    }
    handleProxyConfig(walk.key());
  }
}

template <class Entry>
void MacsecProxyIntfSm::prefetchFor(Velto::IntfId proxySubIntfId, Entry const& entry) const {
  status_->proxySubIntfStatus().prefetch(proxySubIntfId);
  dynDot1qEncap_->encap().prefetch(proxySubIntfId);
  dynDot1qEncap_->encap().prefetch(entry.patchSubIntfId());
  ethIntfStatusDir_->intfStatus().prefetch(entry.clientIntfId());
}

void MacsecProxyIntfSm::handleIntf(Velto::IntfId intfId) {
  trace(__LINE__, "handleIntf", intfId_,
        " void MacsecProxy::MacsecProxyIntfSm::handleIntf(Velto::IntfId): ", intfId);
  if (intfId != intfId_ && clientIntf(intfId) == Velto::IntfId()) return;
  Kiv::Ptr<Interface::DeviceIntfStatusDir const> const directory = deviceIntfStatusDir();
  if (!directory || !directory->intfStatusAndDeviceNameHas(intfId)) return;
  if (intfId != intfId_) {
    handleClientIntf(intfId);
    return;
  }
  doUpdateDmaMacsecProxy(intfId, true);
  for (auto walk = clientIntf_.iteratorConst(); walk; ++walk) handleClientIntf(walk.key());
}

void MacsecProxyIntfSm::handleClientIntf(Velto::IntfId intfId) {
  Kiv::checkConsistency(clientIntfHas(intfId), "clientIntfHas( intfId )");
  Velto::IntfId const proxySubIntfId = clientIntf(intfId);
  Kiv::Ptr<ProxySubIntfStatus const> const record = status_->proxySubIntfStatus(proxySubIntfId);
  Kiv::checkConsistency(record != nullptr, "proxySubIntfStatus");
  doUpdateDmaMacsecProxyClient(Velto::SubIntfId::parentIntfId(proxySubIntfId), intfId,
                               record->clientTag(), true);
}

void MacsecProxyIntfSm::addProxySubIntfStatus(Velto::IntfId proxySubIntfId,
                                              Velto::IntfId patchSubIntfId) {
  Config const* const configuration = config_.watched();
  Kiv::Ptr<ProxyConfig const> const* const entry =
      configuration != nullptr ? configuration->proxyConfig().find(proxySubIntfId) : nullptr;
  bringIntoService(proxySubIntfId, patchSubIntfId, entry != nullptr ? entry->ptr() : nullptr);
}

void MacsecProxyIntfSm::bringIntoService(Velto::IntfId proxySubIntfId, Velto::IntfId patchSubIntfId,
                                         ProxyConfig const* entry) {
  // Read before the trace, whose sink may change the configuration.
  Velto::IntfId const clientIntfId = entry != nullptr ? entry->clientIntfId() : Velto::IntfId();
  trace(__LINE__, "addProxySubIntfStatus", intfId_,
        " void MacsecProxy::MacsecProxyIntfSm::addProxySubIntfStatus(Velto::IntfId, "
        "Velto::IntfId): ",
        proxySubIntfId);
  Kiv::checkConsistency(entry != nullptr, "proxyConfigHas( proxySubIntfId )");
  bool const fetchesAhead = dynDot1qEncap_->encap().isLarge();
  if (fetchesAhead) {
    dynDot1qEncap_->encap().prefetch(patchSubIntfId);
    ethIntfStatusDir_->intfStatus().prefetchMember(clientIntfId);
    clientIntf_.prefetch(clientIntfId);
  }
  Kiv::checkConsistency(macsecTag_ != nullptr, "macsecTag");
  if (status_->proxySubIntfStatusHas(proxySubIntfId)) deleteProxySubIntfStatus(proxySubIntfId);

  // A tag is what the low 16 bits say; the pool may be larger than the range of tags.
  U32 const freeTag = macsecTag_->findClearBitInRange(1, macsecTag_->size(),
                                                      Pesk::HBitmap::IndexPreference::lowest);
  Bridging::VlanId const encryptTag(freeTag & 0xFFFFU);
  Kiv::checkConsistency(encryptTag.value() % 2 != 0, "encryptTag.value() % 2");
  Bridging::VlanId const clientTag(encryptTag.value() + 1U);
  macsecTag_->setBitsInRange(encryptTag.value(), clientTag.value());
  proxySubIntfIs(proxySubIntfId, true);
  dynDot1qEncap_->encapIs(proxySubIntfId, Bridging::Dot1qEncap(clientTag));
  dynDot1qEncap_->encapIs(patchSubIntfId, Bridging::Dot1qEncap(encryptTag));
  if (fetchesAhead) ethIntfStatusDir_->intfStatus().prefetchObject(clientIntfId);
  status_->proxySubIntfStatusIs(proxySubIntfId, patchSubIntfId, clientIntfId, encryptTag,
                                clientTag);
  if (clientIntfId == Velto::IntfId()) [[unlikely]]
    return;
  clientIntfIs(clientIntfId, proxySubIntfId);
  doUpdateDmaMacsecProxyClient(Velto::SubIntfId::parentIntfId(proxySubIntfId), clientIntfId,
                               clientTag, true);
}

void MacsecProxyIntfSm::deleteProxySubIntfStatus(Velto::IntfId proxySubIntfId) {
  trace(__LINE__, "deleteProxySubIntfStatus", intfId_,
        " void MacsecProxy::MacsecProxyIntfSm::deleteProxySubIntfStatus(Velto::IntfId): ",
        proxySubIntfId);
  // The record is held until the end: it is what the steps below go by. Their order is a promise;
  // it is not the reverse of that of the add.
  Kiv::Ptr<ProxySubIntfStatus const> const record = status_->proxySubIntfStatus(proxySubIntfId);
  if (!record) [[unlikely]]
    return;
  bool const fetchesAhead = dynDot1qEncap_->encap().isLarge();
  if (fetchesAhead) {
    proxySubIntfId.prefetchStringValue();
    dynDot1qEncap_->encap().prefetchMember(proxySubIntfId);
    dynDot1qEncap_->encap().prefetchMember(record->patchSubIntfId());
    ethIntfStatusDir_->intfStatus().prefetchMember(record->clientIntfId());
    clientIntf_.prefetchMember(record->clientIntfId());
    proxySubIntf_.prefetchMember(proxySubIntfId);
  }
  if (macsecTag_ && record->clientTag().value() <= macsecTag_->size()) {
    macsecTag_->clearBitsInRange(record->encryptTag().value(), record->clientTag().value());
  }
  // Its tags being free, the sub-interface goes out of service even when the driver refuses.
  std::exception_ptr refusal;
  if (record->clientIntfId() != Velto::IntfId()) {
    if (fetchesAhead) ethIntfStatusDir_->intfStatus().prefetchObject(record->clientIntfId());
    clientIntfDel(record->clientIntfId());
    try {
      // A disable names the sub-interface itself, which needs no status of the port.
      doUpdateDmaMacsecProxyClient(proxySubIntfId, record->clientIntfId(), Bridging::VlanIdOrNone(),
                                   false);
    } catch (...) {
      refusal = std::current_exception();
    }
  }
  dynDot1qEncap_->encapDel(proxySubIntfId);
  dynDot1qEncap_->encapDel(record->patchSubIntfId());
  status_->proxySubIntfStatusDel(proxySubIntfId);
  proxySubIntfDel(proxySubIntfId);
  if (refusal) std::rethrow_exception(refusal);
}

void MacsecProxyIntfSm::doUpdateDmaMacsecProxy(Velto::IntfId intfId, bool enable) {
  trace(__LINE__, "doUpdateDmaMacsecProxy", intfId_,
        " void MacsecProxy::MacsecProxyIntfSm::doUpdateDmaMacsecProxy(Velto::IntfId, bool): ",
        intfId, ", ", enable);
  Kiv::Ptr<Interface::EthIntfStatus const> const port = ethIntfStatusDir_->intfStatus(intfId);
  if (!port) return;
  DriverCommand command("macsec_proxy");
  send(command.field(port->deviceNameText()).field(enable ? 1U : 0U));
}

void MacsecProxyIntfSm::doUpdateDmaMacsecProxyClient(Velto::IntfId proxyIntfId,
                                                     Velto::IntfId clientIntfId,
                                                     Bridging::VlanIdOrNone clientTag,
                                                     bool enable) {
  Kiv::Ptr<Interface::EthIntfStatus const> const client =
      ethIntfStatusDir_->intfStatus(clientIntfId);
  if (!client) [[unlikely]]
    return;
  DriverCommand command("macsec_proxy_client");
  if (enable) {
    Kiv::Ptr<Interface::EthIntfStatus const> const proxy =
        ethIntfStatusDir_->intfStatus(proxyIntfId);
    if (!proxy) [[unlikely]]
      return;
    command.field(proxy->deviceNameText());
  } else {
    command.field(proxyIntfId.stringValue().charPtr());
  }
  command.field(client->deviceNameText()).field(clientTag.value()).field(enable ? 1U : 0U);
  send(command);
}

void MacsecProxyIntfSm::send(DriverCommand const& command) {
  // Held for the call, whoever else lets go of it meanwhile.
  Kiv::Ptr<Pesk::IoctlDrvInterface> const channel = ioctlDrvInterface_;
  // Every command carries these numbers; what they mean is the driver's business. So is a refusal,
  // unless it comes as an exception.
  channel->doIoctl(command.buffer(), DriverCommand::bufferLength, 0, 1, 0);
}

}  // namespace MacsecProxy
