#pragma once

#include "Interface/DeviceIntfStatusDir.h"
#include "Interface/EthIntfStatusDir.h"
#include "Interface/SubIntfDynDot1qEncap.h"
#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/Ptr.h"
#include "Kiv/PtrInterface.h"
#include "MacsecProxy/Api.h"
#include "MacsecProxy/Config.h"
#include "MacsecProxy/MacsecProxyIntfSm.h"
#include "MacsecProxy/Reactor.h"
#include "MacsecProxy/ReactorSlot.h"
#include "MacsecProxy/Status.h"
#include "Pesk/IoctlDrvFab.h"
#include "Velto/IntfId.h"

namespace MacsecProxy {

/// The coordinator, the one object that an agent makes in this library.
///
/// It watches the proxy configuration and keeps, for each proxy interface with a configured
/// sub-interface, a count of these, a mark in the status and a machine. When it starts it clears
/// away what an earlier run left behind and is no longer configured. It owns the driver channel
/// that all machines share. Destroying it destroys the machines, which take everything out of
/// service; the marks stay for the next start.
///
/// Everything runs on the agent thread that owns the entities. Handlers raise what the machines
/// raise. Destructors do not: a driver that refuses a command while a machine is torn down, with
/// its port's last sub-interface or with the coordinator, ends the process.
///
///     auto coordinator = MacsecProxy::macsecProxySmFactory(config, status, dynDot1qEncap,
///                                                          ethIntfStatusDir, deviceIntfStatusDir);
///     config->proxyConfigIs(...);  // and the driver is told
class MACSECPROXY_API MacsecProxySm final : public Kiv::PtrInterface {
 public:
  /// Tells the coordinator of changes of the configuration.
  class MACSECPROXY_LOCAL KivConfig final : public Reactor<Config, MacsecProxySm> {
   public:
    using Reactor::Reactor;

    void onProxyConfig(Velto::IntfId proxySubIntfId) override {
      if (auto* const owner = listener()) owner->handleProxyConfig(proxySubIntfId);
    }
    void onProxyConfigkivImmediate() override {}
    using Config::NotifieeConst::onProxyConfig;

    KIV_ALLOC_TRACKED
  };

  /// Creates a coordinator, lets it start up and switches its notifications on. Without a `config`
  /// it has its driver channel and does nothing; without a `deviceIntfStatusDir` machines hear of
  /// no device names. The other arguments may be null for as long as nothing needs them: what does
  /// raises the consistency error that names it. Raises what the start-up raises, in which case
  /// there is no coordinator, and what the start-up has cleared away stays away.
  static Kiv::Ptr<MacsecProxySm> MacsecProxySmIs(
      Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
      Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
      Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
      Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir);

  /// Switches the coordinator, its reactor and then every machine.
  void hasNotificationActiveIs(bool active) override;
  Kiv::KivType const* fwkType() const override { return &_kivType; }
  ~MacsecProxySm() override;
  /// Marks the coordinator's reactor and then the coordinator for deletion, or the reverse. The
  /// machines are not reached.
  virtual void kivDoZombieReactors(bool zombie);

  /// The coordinator has no activity of its own: null.
  Kiv::ActivityConfig* kivFwkActivity() const { return nullptr; }

  /// The configuration that is watched, or null.
  Kiv::Ptr<Config const> config() const noexcept { return config_.entity(); }
  /// Watches another configuration from now on, or, for null, none. Runs no handler: counts,
  /// machines and status stay as they are.
  void configIs(Kiv::Ptr<Config const> const& config) { config_.entityIs(config, *this); }
  /// Stops watching the configuration and returns it; null when none was watched.
  Kiv::Ptr<Config const> configDel() { return config_.entityDel(); }

  Kiv::Ptr<Status> const& status() const noexcept { return status_; }
  Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap() const noexcept {
    return dynDot1qEncap_;
  }
  Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir() const noexcept {
    return ethIntfStatusDir_;
  }
  Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir() const noexcept {
    return deviceIntfStatusDir_;
  }

  /// The driver channel; null once it was taken away.
  Kiv::Ptr<Pesk::IoctlDrvFab> const& ioctlDrvFab() const noexcept { return ioctlDrvFab_; }
  /// The driver channel, made when there is none.
  Kiv::Ptr<Pesk::IoctlDrvFab> ioctlDrvFabIs();
  /// Lets go of the driver channel and returns it; null when there is none. Machines keep theirs.
  Kiv::Ptr<Pesk::IoctlDrvFab> ioctlDrvFabDel() noexcept;

  /// For each proxy interface in use, how many sub-interfaces are configured: a running balance of
  /// the additions and removals that were heard, not a recount. An addition whose machine could not
  /// be made is not counted; a machine made later serves that sub-interface all the same.
  using ProxySubIntfCntMap = Kiv::HashMap<Velto::IntfId, U32>;
  ProxySubIntfCntMap const& proxySubIntfCnt() const noexcept { return proxySubIntfCnt_; }
  /// The count at `key`, 0 when there is none.
  U32 proxySubIntfCnt(Velto::IntfId key) const { return proxySubIntfCnt_.value(key); }
  bool proxySubIntfCntHas(Velto::IntfId key) const { return proxySubIntfCnt_.has(key); }
  void proxySubIntfCntIs(Velto::IntfId key, U32 value);
  /// Removes the count and returns it, 0 when there is none.
  U32 proxySubIntfCntDel(Velto::IntfId key);
  void proxySubIntfCntDelAll();
  /// The framework's hook for a change of a count. The coordinator has no use for it: nobody calls
  /// it.
  void proxySubIntfCntNotify(Velto::IntfId /*key*/) {}

  /// The machines, by proxy interface.
  using MacsecProxyIntfSmMap = Kiv::HashMap<Velto::IntfId, Kiv::Ptr<MacsecProxyIntfSm>>;
  MacsecProxyIntfSmMap const& macsecProxyIntfSm() const noexcept { return macsecProxyIntfSm_; }
  /// The machine of `key`, null when there is none.
  Kiv::Ptr<MacsecProxyIntfSm> macsecProxyIntfSm(Velto::IntfId key) const {
    return macsecProxyIntfSm_.value(key);
  }
  bool macsecProxyIntfSmHas(Velto::IntfId key) const { return macsecProxyIntfSm_.has(key); }
  /// The machine of `intfId`, made when there is none. Raises the name-in-use error, with nothing
  /// changed, when there is one that was made from another object than one of those given; and what
  /// making a machine raises.
  Kiv::Ptr<MacsecProxyIntfSm> macsecProxyIntfSmIs(
      Velto::IntfId intfId, Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
      Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
      Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
      Kiv::Ptr<Pesk::IoctlDrvInterface> const& ioctlDrvInterface,
      Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir);
  /// Takes the machine of `key` out of the registry and returns it; null when there is none. The
  /// machine is destroyed with its last reference.
  Kiv::Ptr<MacsecProxyIntfSm> macsecProxyIntfSmDel(Velto::IntfId key);
  void macsecProxyIntfSmDelAll();
  /// As `proxySubIntfCntNotify`.
  void macsecProxyIntfSmNotify(Velto::IntfId /*key*/) {}

  /// Starts up: makes the driver channel, clears away the records, encapsulations and marks that
  /// are no longer configured, and adds what is to the counts. Without a configuration only the
  /// channel is made. With one, raises the consistency error "status" when that is null, and
  /// "dynDot1qEncap" when that is null and there is a record to clear away, each before any table
  /// is touched.
  void handleInitialized();
  /// A key of the configuration has changed: counts it for its parent, whose machine comes with the
  /// first one and goes with the last. Without a configuration it only traces. Raises the
  /// consistency error "status" when the status is null.
  void handleProxyConfig(Velto::IntfId intfId);
  /// `handleProxyConfig` for every key of the configuration, for which it makes room at once.
  /// Raises `std::bad_alloc`, with nothing done, when there is none.
  void handleProxyConfig();

  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  MACSECPROXY_LOCAL MacsecProxySm(
      Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
      Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
      Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
      Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir);

  /// The first sub-interface of a proxy interface has come, or the last one has gone.
  [[gnu::noinline]] MACSECPROXY_LOCAL void takeIntoUse(Velto::IntfId intfId);
  [[gnu::noinline]] MACSECPROXY_LOCAL void takeOutOfUse(Velto::IntfId intfId);

  // The order is a promise: references are released in the reverse of it.
  ReactorSlot<KivConfig> config_;
  Kiv::Ptr<Status> const status_;
  Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const dynDot1qEncap_;
  Kiv::Ptr<Interface::EthIntfStatusDir const> const ethIntfStatusDir_;
  Kiv::Ptr<Interface::DeviceIntfStatusDir const> const deviceIntfStatusDir_;
  Kiv::Ptr<Pesk::IoctlDrvFab> ioctlDrvFab_;
  ProxySubIntfCntMap proxySubIntfCnt_;
  MacsecProxyIntfSmMap macsecProxyIntfSm_;
};

/// The library's entry point: `MacsecProxySm::MacsecProxySmIs` with the same arguments.
MACSECPROXY_API Kiv::Ptr<MacsecProxySm> macsecProxySmFactory(
    Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
    Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
    Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
    Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir);

}  // namespace MacsecProxy
