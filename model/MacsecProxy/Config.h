#pragma once

#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/Ptr.h"
#include "Kiv/WatchedMap.h"
#include "MacsecProxy/ProxyConfig.h"
#include "Velto/IntfId.h"

namespace MacsecProxy {

/// The proxy configuration: which proxy sub-interfaces there are to be, each with its patch
/// sub-interface and, usually, its client. The agent's configuration side writes it; the machines
/// read it and are told of its changes.
///
///     auto config = MacsecProxy::Config::ConfigIs();
///     config->proxyConfigIs(IntfId("et1.100"), IntfId("et2.100"), IntfId("et7"));
class Config : public Kiv::Entity {
 public:
  /// Somebody who is told of the changes of a configuration. Every operation does nothing unless
  /// overridden. This platform calls the keyed ones, as the changes are made, and none of the
  /// others.
  class NotifieeConst : public Kiv::Entity::NotifieeConst {
   public:
    virtual void onProxyConfig(Velto::IntfId /*proxySubIntfId*/) {}
    virtual void onProxyConfigkivImmediate() {}
    virtual void onProxyConfig() {}
    virtual void onPatchIntf(Velto::IntfId /*intfId*/) {}
    virtual void onPatchIntfkivImmediate() {}
    virtual void onPatchIntf() {}
    virtual void onClientIntf(Velto::IntfId /*intfId*/) {}
    virtual void onClientIntfkivImmediate() {}
    virtual void onClientIntf() {}
  };

  /// A new, empty configuration.
  static Kiv::Ptr<Config> ConfigIs();

  /// Adds the entry of a proxy sub-interface, or replaces it: an entry that says something else is
  /// removed first and then added, each told by itself. An entry that says the same stays, and
  /// nobody is told. `clientIntfId` is empty for no client. Returns the entry.
  ///
  /// Raises what a notifiee raised, after all were told; the entry is set nevertheless. Raises
  /// `std::bad_alloc` with nothing changed, or, replacing, with the old entry gone and all told so.
  Kiv::Ptr<ProxyConfig const> proxyConfigIs(Velto::IntfId proxySubIntfId,
                                            Velto::IntfId patchSubIntfId,
                                            Velto::IntfId clientIntfId);
  /// Removes an entry and returns it, null when there is none. Raises what a notifiee raised, after
  /// all were told; the entry is gone nevertheless.
  Kiv::Ptr<ProxyConfig const> proxyConfigDel(Velto::IntfId proxySubIntfId);
  /// The entry of a proxy sub-interface, null when there is none.
  Kiv::Ptr<ProxyConfig const> proxyConfig(Velto::IntfId proxySubIntfId) const {
    return proxyConfig().value(proxySubIntfId);
  }
  bool proxyConfigHas(Velto::IntfId proxySubIntfId) const {
    return proxyConfig().has(proxySubIntfId);
  }
  /// All entries, by proxy sub-interface.
  Kiv::HashMap<Velto::IntfId, Kiv::Ptr<ProxyConfig const>> const& proxyConfig() const {
    return proxyConfig_.members();
  }

  /// For each interface that serves as a patch sub-interface, the proxy sub-interface it is meant
  /// for; kept by the configuration side for its own purposes. Adds or overwrites, tells notifiees
  /// unless it says so already, and raises as `proxyConfigIs` does.
  void patchIntfIs(Velto::IntfId intfId, Velto::IntfId proxySubIntfId);
  /// Removes and returns the value, empty when there is none. Raises as `proxyConfigDel` does.
  Velto::IntfId patchIntfDel(Velto::IntfId intfId);
  /// The value, empty when there is none.
  Velto::IntfId patchIntf(Velto::IntfId intfId) const { return patchIntf_.members().value(intfId); }
  bool patchIntfHas(Velto::IntfId intfId) const { return patchIntf_.members().has(intfId); }

  /// For each client interface, the proxy sub-interface that is to serve it; kept by the
  /// configuration side for its own purposes. As `patchIntfIs`.
  void clientIntfIs(Velto::IntfId intfId, Velto::IntfId proxySubIntfId);
  /// As `patchIntfDel`.
  Velto::IntfId clientIntfDel(Velto::IntfId intfId);
  /// The value, empty when there is none.
  Velto::IntfId clientIntf(Velto::IntfId intfId) const {
    return clientIntf_.members().value(intfId);
  }
  bool clientIntfHas(Velto::IntfId intfId) const { return clientIntf_.members().has(intfId); }

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  Config() = default;

  Kiv::WatchedMap<Velto::IntfId, Kiv::Ptr<ProxyConfig const>, NotifieeConst,
                  &NotifieeConst::onProxyConfig>
      proxyConfig_{*this};
  Kiv::WatchedMap<Velto::IntfId, Velto::IntfId, NotifieeConst, &NotifieeConst::onPatchIntf>
      patchIntf_{*this};
  Kiv::WatchedMap<Velto::IntfId, Velto::IntfId, NotifieeConst, &NotifieeConst::onClientIntf>
      clientIntf_{*this};
};

}  // namespace MacsecProxy
