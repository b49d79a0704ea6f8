#pragma once

#include <utility>
#include <vector>

#include "Entities.h"
#include "Velto/IntfId.h"

namespace Agent {

/// What the entities hold at one moment, in their order, as far as the machines can tell. Taking a
/// snapshot writes nothing.
struct Snapshot {
  template <class Value>
  using Members = std::vector<std::pair<Velto::IntfId, Value>>;

  Snapshot() = default;
  explicit Snapshot(Entities const& entities);

  /// New entities that hold the same, and that nobody watches.
  Entities entities() const;

  Members<Kiv::Ptr<MacsecProxy::ProxyConfig const>> config;
  Members<bool> marks;
  Members<Kiv::Ptr<MacsecProxy::ProxySubIntfStatus const>> records;
  Members<Bridging::Dot1qEncap> encaps;
  Members<Kiv::Ptr<Interface::EthIntfStatus const>> eth;
  Members<Interface::DeviceIntfStatusDir::IntfStatusAndDeviceName> devices;
};

}  // namespace Agent
