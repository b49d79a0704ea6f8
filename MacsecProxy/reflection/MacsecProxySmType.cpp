#include "Kiv/KivType.h"
#include "MacsecProxy/MacsecProxySm.h"

namespace MacsecProxy {

constinit Kiv::KivType const MacsecProxySm::_kivType{"MacsecProxy::MacsecProxySm",
                                                     &Kiv::PtrInterface::_kivType};

}  // namespace MacsecProxy
