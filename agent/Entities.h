#pragma once

#include "Interface/DeviceIntfStatusDir.h"
#include "Interface/EthIntfStatusDir.h"
#include "Interface/SubIntfDynDot1qEncap.h"
#include "Kiv/Ptr.h"
#include "MacsecProxy/Config.h"
#include "MacsecProxy/Status.h"

namespace Agent {

/// The shared entities of an agent that the library reads and writes.
struct Entities {
  Kiv::Ptr<MacsecProxy::Config> config = MacsecProxy::Config::ConfigIs();
  Kiv::Ptr<MacsecProxy::Status> status = MacsecProxy::Status::StatusIs();
  Kiv::Ptr<Interface::SubIntfDynDot1qEncap> dynDot1qEncap =
      Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  Kiv::Ptr<Interface::EthIntfStatusDir> ethIntfStatusDir =
      Interface::EthIntfStatusDir::EthIntfStatusDirIs();
  Kiv::Ptr<Interface::DeviceIntfStatusDir> deviceIntfStatusDir =
      Interface::DeviceIntfStatusDir::DeviceIntfStatusDirIs();
};

}  // namespace Agent
