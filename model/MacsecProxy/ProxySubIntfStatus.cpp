#include "MacsecProxy/ProxySubIntfStatus.h"

namespace MacsecProxy {

constinit Kiv::AllocTrackTypeInfo ProxySubIntfStatus::kivAllocTrackTypeInfo_{
    "MacsecProxy::ProxySubIntfStatus"};

}  // namespace MacsecProxy
