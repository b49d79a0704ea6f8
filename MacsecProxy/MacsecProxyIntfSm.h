#pragma once

#include "Bridging/VlanIdOrNone.h"
#include "Interface/DeviceIntfStatusDir.h"
#include "Interface/EthIntfStatusDir.h"
#include "Interface/SubIntfDynDot1qEncap.h"
#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/Ptr.h"
#include "Kiv/PtrInterface.h"
#include "MacsecProxy/Api.h"
#include "MacsecProxy/Config.h"
#include "MacsecProxy/Reactor.h"
#include "MacsecProxy/ReactorSlot.h"
#include "MacsecProxy/Status.h"
#include "Pesk/Bitmap.h"
#include "Pesk/IoctlDrvInterface.h"
#include "Velto/IntfId.h"
#include "Velto/SubIntfId.h"

namespace MacsecProxy {

class DriverCommand;

/// The state machine of one proxy interface.
///
/// It brings the proxy sub-interfaces of its interface that are configured into service, and takes
/// those that are not out of service: a pair of IEEE 802.1Q tags from its pool, the encapsulations
/// of the proxy and the patch sub-interface, the status record, and the steering of the client in
/// the driver. While the machine lives, its interface is in proxy mode. The coordinator creates one
/// for each proxy interface in use and drops it with the interface's last sub-interface.
///
/// Everything runs on the agent thread that owns the entities. Handlers raise what the driver
/// raises (the number that it returns is ignored), the range error "VlanId::value < 1 or > 4094 not
/// allowed" when no tag pair is free, `std::bad_alloc`, and the consistency errors that they name.
/// The destructor does not raise: a driver that refuses a command of a teardown ends the process.
class MACSECPROXY_API MacsecProxyIntfSm final : public Kiv::PtrInterface {
 public:
  /// Tells a machine of changes of the configuration at its own sub-interfaces. While anything is
  /// traced it hears of all, since the machine traces all.
  class MACSECPROXY_LOCAL KivConfig final : public Reactor<Config, MacsecProxyIntfSm> {
   public:
    KivConfig(Kiv::Ptr<Config const> const& entity, MacsecProxyIntfSm* owner)
        : Reactor(entity, owner, Velto::SubIntfId::groupOfSubIntfs(owner->intfId())) {}

    void onProxyConfig(Velto::IntfId proxySubIntfId) override {
      if (auto* const owner = listener()) owner->handleProxyConfig(proxySubIntfId);
    }
    void onProxyConfigkivImmediate() override {}
    using Config::NotifieeConst::onProxyConfig;

    KIV_ALLOC_TRACKED
  };

  /// Tells a machine of changes of device names. All machines hear of all of them, and are told in
  /// one loop.
  class MACSECPROXY_LOCAL KivDeviceIntfStatusDir final
      : public Reactor<Interface::DeviceIntfStatusDir, MacsecProxyIntfSm> {
   public:
    KivDeviceIntfStatusDir(Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& entity,
                           MacsecProxyIntfSm* owner)
        : Reactor(entity, owner) {
      using Directory = Interface::DeviceIntfStatusDir::NotifieeConst;
      toldInRowIs<KivDeviceIntfStatusDir, Directory, Velto::IntfId,
                  &Directory::onIntfStatusAndDeviceName>(
          [](KivDeviceIntfStatusDir& reactor, Velto::IntfId intfId) {
            reactor.onIntfStatusAndDeviceName(intfId);
          });
    }

    void onIntfStatusAndDeviceName(Velto::IntfId intfId) override {
      if (auto* const owner = listener()) owner->handleIntf(intfId);
    }
    void onIntfStatusAndDeviceNamekivImmediate() override {}
    using Interface::DeviceIntfStatusDir::NotifieeConst::onIntfStatusAndDeviceName;

    KIV_ALLOC_TRACKED
  };

  /// Creates the machine of the proxy interface `intfId`, lets it start up and switches its
  /// notifications on. `config` and `deviceIntfStatusDir` may be null: the machine then hears
  /// nothing of them. Raises the consistency error that names the attribute when `status`,
  /// `dynDot1qEncap`, `ethIntfStatusDir` or `ioctlDrvInterface` is null, before anything is
  /// touched; and what the start-up raises, in which case there is no machine, and what the
  /// start-up has done so far stays.
  static Kiv::Ptr<MacsecProxyIntfSm> MacsecProxyIntfSmIs(
      Velto::IntfId intfId, Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
      Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
      Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
      Kiv::Ptr<Pesk::IoctlDrvInterface> const& ioctlDrvInterface,
      Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir);

  void hasNotificationActiveIs(bool active) override;
  Kiv::KivType const* fwkType() const override { return &_kivType; }
  ~MacsecProxyIntfSm() override;
  /// Marks the machine's reactors and then the machine for deletion, or the reverse.
  virtual void kivDoZombieReactors(bool zombie);

  /// The machine has no activity of its own: null.
  Kiv::ActivityConfig* kivFwkActivity() const { return nullptr; }

  /// The proxy interface.
  Velto::IntfId intfId() const noexcept { return intfId_; }

  /// The configuration that is watched, or null.
  Kiv::Ptr<Config const> config() const noexcept { return config_.entity(); }
  /// Watches another configuration from now on, or, for null, none. Runs no handler.
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
  Kiv::Ptr<Pesk::IoctlDrvInterface> const& ioctlDrvInterface() const noexcept {
    return ioctlDrvInterface_;
  }

  /// The device-name directory that is watched, or null.
  Kiv::Ptr<Interface::DeviceIntfStatusDir const> deviceIntfStatusDir() const noexcept {
    return deviceIntfStatusDir_.entity();
  }
  /// Watches another directory from now on, or, for null, none. Runs no handler.
  void deviceIntfStatusDirIs(Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& directory) {
    deviceIntfStatusDir_.entityIs(directory, *this);
  }
  /// Stops watching the directory and returns it; null when none was watched.
  Kiv::Ptr<Interface::DeviceIntfStatusDir const> deviceIntfStatusDirDel() {
    return deviceIntfStatusDir_.entityDel();
  }

  /// The proxy sub-interfaces in service, each with true.
  using ProxySubIntfMap = Kiv::HashMap<Velto::IntfId, bool>;
  using KivProxySubIntf = ProxySubIntfMap::Member;
  ProxySubIntfMap const& proxySubIntf() const noexcept { return proxySubIntf_; }
  /// The value at `key`, false when there is none.
  bool proxySubIntf(Velto::IntfId key) const { return proxySubIntf_.value(key); }
  bool proxySubIntfHas(Velto::IntfId key) const { return proxySubIntf_.has(key); }
  void proxySubIntfIs(Velto::IntfId key, bool value);
  /// Removes the member and returns its value, false when there is none.
  bool proxySubIntfDel(Velto::IntfId key);
  void proxySubIntfDelAll();
  /// The framework's hook for a change of a member. The machine has no use for it: nobody calls it.
  void proxySubIntfNotify(Velto::IntfId /*key*/) {}

  /// For each client interface the proxy sub-interface that serves it.
  using ClientIntfMap = Kiv::HashMap<Velto::IntfId, Velto::IntfId>;
  using KivClientIntf = ClientIntfMap::Member;
  ClientIntfMap const& clientIntf() const noexcept { return clientIntf_; }
  /// The value at `key`, the empty identifier when there is none.
  Velto::IntfId clientIntf(Velto::IntfId key) const { return clientIntf_.value(key); }
  bool clientIntfHas(Velto::IntfId key) const { return clientIntf_.has(key); }
  void clientIntfIs(Velto::IntfId key, Velto::IntfId value);
  /// Removes the member and returns its value, the empty identifier when there is none.
  Velto::IntfId clientIntfDel(Velto::IntfId key);
  void clientIntfDelAll();
  /// As `proxySubIntfNotify`.
  void clientIntfNotify(Velto::IntfId /*key*/) {}

  /// The tag pool: bit t is set while tag t is in use. Null after `macsecTagDel`.
  Kiv::Ptr<Pesk::Bitmap> const& macsecTag() const noexcept { return macsecTag_; }
  /// Keeps a pool made from these very values, bits included; otherwise makes a new one in its
  /// place. Returns the pool.
  Kiv::Ptr<Pesk::Bitmap> macsecTagIs(U64 const& id, U32 size,
                                     Pesk::HBitmap::BitState initialBitState);
  /// Lets go of the pool and returns it; null when there is none.
  Kiv::Ptr<Pesk::Bitmap> macsecTagDel();

  /// Starts up: makes the tag pool, takes every old record of the interface out of service, brings
  /// what is configured into service and enables the interface in the driver.
  void handleInitialized();
  /// Takes everything out of service and disables the interface in the driver. Does not read the
  /// configuration. The destructor runs it.
  void cleanup();

  /// A key of the configuration has changed: brings it into or out of service when it is a
  /// sub-interface of this interface. Without a configuration it only traces.
  void handleProxyConfig(Velto::IntfId intfId);
  /// `handleProxyConfig` for every sub-interface of this interface that is configured; while
  /// anything is traced, for every key of the configuration.
  void handleProxyConfig();
  /// The device-name entry of an interface has changed: while there is one, tells the driver again
  /// what concerns the interface.
  void handleIntf(Velto::IntfId intfId);
  /// Tells the driver again to steer a client. Raises the consistency error
  /// "clientIntfHas( intfId )" for an interface that is no client, and "proxySubIntfStatus" when
  /// its sub-interface has no record.
  void handleClientIntf(Velto::IntfId intfId);

  /// Brings a proxy sub-interface into service with the lowest free tag pair; one that is in
  /// service already is taken out first, and stays out when that raises. Raises the range errors
  /// "VlanId::value < 1 or > 4094 not allowed" when no pair is free and
  /// "Bitmap range outside 1 to size not allowed" when only the last tag of a pool of odd size is,
  /// and the consistency errors "proxyConfigHas( proxySubIntfId )" when the sub-interface is not
  /// configured, "macsecTag" when there is no pool and "encryptTag.value() % 2" when the pool has a
  /// half-used pair; each before anything is changed for the new pair.
  void addProxySubIntfStatus(Velto::IntfId proxySubIntfId, Velto::IntfId patchSubIntfId);
  /// Takes a proxy sub-interface out of service, going by its status record alone. Without a record
  /// it only traces. When the driver refuses the command, everything else is done before its
  /// exception comes through.
  void deleteProxySubIntfStatus(Velto::IntfId proxySubIntfId);

  /// Has the driver switch the proxy mode of a port. Sends nothing while the port has no Ethernet
  /// status.
  void doUpdateDmaMacsecProxy(Velto::IntfId intfId, bool enable);
  /// Has the driver steer a client through a proxy interface, or stop doing so. An enable names the
  /// proxy interface by its device, a disable by the text of `proxyIntfId`. No tag is sent as 0.
  /// Sends nothing while the client or, for an enable, the proxy interface has no Ethernet status.
  void doUpdateDmaMacsecProxyClient(Velto::IntfId proxyIntfId, Velto::IntfId clientIntfId,
                                    Bridging::VlanIdOrNone clientTag, bool enable);

  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  MACSECPROXY_LOCAL MacsecProxyIntfSm(
      Velto::IntfId intfId, Kiv::Ptr<Config const> const& config, Kiv::Ptr<Status> const& status,
      Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const& dynDot1qEncap,
      Kiv::Ptr<Interface::EthIntfStatusDir const> const& ethIntfStatusDir,
      Kiv::Ptr<Pesk::IoctlDrvInterface> const& ioctlDrvInterface,
      Kiv::Ptr<Interface::DeviceIntfStatusDir const> const& deviceIntfStatusDir);

  /// `addProxySubIntfStatus`, told what is configured for the sub-interface; null for nothing.
  MACSECPROXY_LOCAL void bringIntoService(Velto::IntfId proxySubIntfId,
                                          Velto::IntfId patchSubIntfId, ProxyConfig const* entry);
  /// Has the processor fetch what the searches begin with that a later step of a walk will make for
  /// a sub-interface. Reads `entry`, what is configured or recorded of it.
  template <class Entry>
  MACSECPROXY_LOCAL void prefetchFor(Velto::IntfId proxySubIntfId, Entry const& entry) const;
  MACSECPROXY_LOCAL void send(DriverCommand const& command);

  // The order is a promise: references are released in the reverse of it.
  Velto::IntfId const intfId_;
  ReactorSlot<KivConfig> config_;
  Kiv::Ptr<Status> const status_;
  Kiv::Ptr<Interface::SubIntfDynDot1qEncap> const dynDot1qEncap_;
  Kiv::Ptr<Interface::EthIntfStatusDir const> const ethIntfStatusDir_;
  Kiv::Ptr<Pesk::IoctlDrvInterface> const ioctlDrvInterface_;
  ReactorSlot<KivDeviceIntfStatusDir> deviceIntfStatusDir_;
  ProxySubIntfMap proxySubIntf_;
  ClientIntfMap clientIntf_;
  Kiv::Ptr<Pesk::Bitmap> macsecTag_;
};

}  // namespace MacsecProxy
