#include "Interface/EthIntfStatus.h"

namespace Interface {

constinit Kiv::AllocTrackTypeInfo EthIntfStatus::kivAllocTrackTypeInfo_{"Interface::EthIntfStatus"};

}  // namespace Interface
