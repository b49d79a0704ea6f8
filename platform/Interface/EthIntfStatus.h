#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

#include "Kiv/Integers.h"
#include "Kiv/PtrInterface.h"
#include "Kiv/String.h"

namespace Interface {

/// The status of one Ethernet interface. Never changes; a changed status is another object.
class EthIntfStatus : public Kiv::PtrInterface {
 public:
  explicit EthIntfStatus(Kiv::String deviceName)
      : textLength_(
            static_cast<U16>(std::min<std::size_t>(std::strlen(deviceName.charPtr()), 0xFFFFU))),
        deviceName_(std::move(deviceName)) {}

  /// The name by which driver commands know the port. May be empty.
  Kiv::String const& deviceName() const noexcept { return deviceName_; }

  /// The characters of the name as C functions read them, up to the first NUL; of a very long name,
  /// the first 65,535. Valid while the status lives.
  std::string_view deviceNameText() const noexcept { return {deviceName_.charPtr(), textLength_}; }

  KIV_ALLOC_TRACKED

 private:
  /// Before the name, where it takes no room.
  U16 textLength_;
  Kiv::String deviceName_;
};

}  // namespace Interface
