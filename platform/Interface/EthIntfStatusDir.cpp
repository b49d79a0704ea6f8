#include "Interface/EthIntfStatusDir.h"

#include "Kiv/KivType.h"

namespace Interface {

constinit Kiv::KivType const EthIntfStatusDir::_kivType{"Interface::EthIntfStatusDir",
                                                        &Kiv::Entity::_kivType};
constinit Kiv::AllocTrackTypeInfo EthIntfStatusDir::kivAllocTrackTypeInfo_{
    "Interface::EthIntfStatusDir"};

Kiv::KivType const* EthIntfStatusDir::fwkType() const { return &_kivType; }

Kiv::Ptr<EthIntfStatusDir> EthIntfStatusDir::EthIntfStatusDirIs() {
  return Kiv::Ptr<EthIntfStatusDir>::adopt(new EthIntfStatusDir);
}

void EthIntfStatusDir::intfStatusIs(Velto::IntfId intfId,
                                    Kiv::Ptr<EthIntfStatus const> const& status) {
  intfStatus_.valueIs(intfId, status);
}

void EthIntfStatusDir::intfStatusIs(Velto::IntfId intfId, Kiv::String const& deviceName) {
  intfStatusIs(intfId, Kiv::Ptr<EthIntfStatus const>(Kiv::makeNew<EthIntfStatus>(deviceName)));
}

Kiv::Ptr<EthIntfStatus const> EthIntfStatusDir::intfStatusDel(Velto::IntfId intfId) {
  return intfStatus_.valueDel(intfId);
}

}  // namespace Interface
