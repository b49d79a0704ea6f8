#include "Kiv/KivType.h"
#include "MacsecProxy/MacsecProxyIntfSm.h"

namespace MacsecProxy {

constinit Kiv::KivType const MacsecProxyIntfSm::_kivType{"MacsecProxy::MacsecProxyIntfSm",
                                                         &Kiv::PtrInterface::_kivType};

}  // namespace MacsecProxy
