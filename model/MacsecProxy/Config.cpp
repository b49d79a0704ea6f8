#include "MacsecProxy/Config.h"

#include "Kiv/KivType.h"

namespace MacsecProxy {

constinit Kiv::KivType const Config::_kivType{"MacsecProxy::Config", &Kiv::Entity::_kivType};
constinit Kiv::AllocTrackTypeInfo Config::kivAllocTrackTypeInfo_{"MacsecProxy::Config"};

Kiv::KivType const* Config::fwkType() const { return &_kivType; }

Kiv::Ptr<Config> Config::ConfigIs() { return Kiv::Ptr<Config>::adopt(new Config); }

Kiv::Ptr<ProxyConfig const> Config::proxyConfigIs(Velto::IntfId proxySubIntfId,
                                                  Velto::IntfId patchSubIntfId,
                                                  Velto::IntfId clientIntfId) {
  return proxyConfig_.memberIs(
      proxySubIntfId, Kiv::makeNew<ProxyConfig>(proxySubIntfId, patchSubIntfId, clientIntfId));
}

Kiv::Ptr<ProxyConfig const> Config::proxyConfigDel(Velto::IntfId proxySubIntfId) {
  return proxyConfig_.valueDel(proxySubIntfId);
}

void Config::patchIntfIs(Velto::IntfId intfId, Velto::IntfId proxySubIntfId) {
  patchIntf_.valueIs(intfId, proxySubIntfId);
}

Velto::IntfId Config::patchIntfDel(Velto::IntfId intfId) { return patchIntf_.valueDel(intfId); }

void Config::clientIntfIs(Velto::IntfId intfId, Velto::IntfId proxySubIntfId) {
  clientIntf_.valueIs(intfId, proxySubIntfId);
}

Velto::IntfId Config::clientIntfDel(Velto::IntfId intfId) { return clientIntf_.valueDel(intfId); }

}  // namespace MacsecProxy
