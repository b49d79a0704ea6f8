#pragma once

#include "Bridging/VlanIdOrNone.h"
#include "Kiv/Exception.h"
#include "Kiv/Integers.h"

namespace Bridging {

/// The identifier of a VLAN in an IEEE 802.1Q tag: 1 to 4094. The standard reserves 0 (priority
/// tagged) and 4095.
class VlanId {
 public:
  /// Raises the range error "VlanId::value < 1 or > 4094 not allowed".
  constexpr explicit VlanId(U32 value) : value_(static_cast<U16>(value)) {
    if (value < 1 || value > 4094) {
      Kiv::throwRangeException("VlanId::value < 1 or > 4094 not allowed");
    }
  }

  constexpr U16 value() const noexcept { return value_; }
  constexpr operator VlanIdOrNone() const noexcept { return VlanIdOrNone(U32{value_}); }

  friend constexpr bool operator==(VlanId, VlanId) noexcept = default;

 private:
  U16 value_;
};

}  // namespace Bridging
