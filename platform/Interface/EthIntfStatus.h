#pragma once

#include "Kiv/PtrInterface.h"
#include "Kiv/String.h"

namespace Interface {

/// The status of one Ethernet interface. Never changes; a changed status is another object.
class EthIntfStatus : public Kiv::PtrInterface {
 public:
  explicit EthIntfStatus(Kiv::String deviceName) : deviceName_(std::move(deviceName)) {}

  /// The name by which driver commands know the port. May be empty.
  Kiv::String const& deviceName() const noexcept { return deviceName_; }

  KIV_ALLOC_TRACKED

 private:
  Kiv::String deviceName_;
};

}  // namespace Interface
