#include "MacsecProxy/ProxyConfig.h"

namespace MacsecProxy {

constinit Kiv::AllocTrackTypeInfo ProxyConfig::kivAllocTrackTypeInfo_{"MacsecProxy::ProxyConfig"};

}  // namespace MacsecProxy
