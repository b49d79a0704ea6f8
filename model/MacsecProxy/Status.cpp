#include "MacsecProxy/Status.h"

#include "Kiv/KivType.h"

namespace MacsecProxy {

constinit Kiv::KivType const Status::_kivType{"MacsecProxy::Status", &Kiv::Entity::_kivType};
constinit Kiv::AllocTrackTypeInfo Status::kivAllocTrackTypeInfo_{"MacsecProxy::Status"};

Kiv::KivType const* Status::fwkType() const { return &_kivType; }

Kiv::Ptr<Status> Status::StatusIs() { return Kiv::Ptr<Status>::adopt(new Status); }

void Status::proxyIntfIs(Velto::IntfId intfId, bool inUse) { proxyIntf_.valueIs(intfId, inUse); }

bool Status::proxyIntfDel(Velto::IntfId intfId) { return proxyIntf_.valueDel(intfId); }

Kiv::Ptr<ProxySubIntfStatus const> Status::proxySubIntfStatusIs(Velto::IntfId proxySubIntfId,
                                                                Velto::IntfId patchSubIntfId,
                                                                Velto::IntfId clientIntfId,
                                                                Bridging::VlanId encryptTag,
                                                                Bridging::VlanId clientTag) {
  Kiv::Ptr<ProxySubIntfStatus const> record = Kiv::makeNew<ProxySubIntfStatus>(
      proxySubIntfId, patchSubIntfId, clientIntfId, encryptTag, clientTag);
  proxySubIntfStatus_.valueIs(proxySubIntfId, record);
  return record;
}

Kiv::Ptr<ProxySubIntfStatus const> Status::proxySubIntfStatusDel(Velto::IntfId proxySubIntfId) {
  return proxySubIntfStatus_.valueDel(proxySubIntfId);
}

}  // namespace MacsecProxy
