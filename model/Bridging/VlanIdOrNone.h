#pragma once

#include "Kiv/Exception.h"
#include "Kiv/Integers.h"
#include "Kiv/KivType.h"

namespace Bridging {

/// The identifier of a VLAN in an IEEE 802.1Q tag, 1 to 4094, or 0 for no tag.
class VlanIdOrNone {
 public:
  constexpr VlanIdOrNone() noexcept = default;
  /// Raises the range error "VlanIdOrNone::value > 4094 not allowed".
  constexpr explicit VlanIdOrNone(U32 value) : value_(static_cast<U16>(value)) {
    if (value > 4094) Kiv::throwRangeException("VlanIdOrNone::value > 4094 not allowed");
  }

  constexpr U16 value() const noexcept { return value_; }

  friend constexpr bool operator==(VlanIdOrNone, VlanIdOrNone) noexcept = default;

  static Kiv::KivType const _kivType;

 private:
  U16 value_ = 0;
};

}  // namespace Bridging
