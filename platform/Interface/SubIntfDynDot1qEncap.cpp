#include "Interface/SubIntfDynDot1qEncap.h"

#include "Kiv/KivType.h"

namespace Interface {

constinit Kiv::KivType const SubIntfDynDot1qEncap::_kivType{"Interface::SubIntfDynDot1qEncap",
                                                            &Kiv::Entity::_kivType};
constinit Kiv::AllocTrackTypeInfo SubIntfDynDot1qEncap::kivAllocTrackTypeInfo_{
    "Interface::SubIntfDynDot1qEncap"};

Kiv::KivType const* SubIntfDynDot1qEncap::fwkType() const { return &_kivType; }

Kiv::Ptr<SubIntfDynDot1qEncap> SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs() {
  return Kiv::Ptr<SubIntfDynDot1qEncap>::adopt(new SubIntfDynDot1qEncap);
}

void SubIntfDynDot1qEncap::encapIs(Velto::IntfId subIntfId, Bridging::Dot1qEncap encap) {
  encap_.valueIs(subIntfId, encap);
}

Bridging::Dot1qEncap SubIntfDynDot1qEncap::encapDel(Velto::IntfId subIntfId) {
  return encap_.valueDel(subIntfId);
}

}  // namespace Interface
