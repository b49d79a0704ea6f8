#pragma once

#include "Bridging/VlanId.h"
#include "Kiv/Integers.h"

namespace Bridging {

/// The dot1q encapsulation of a sub-interface: the single IEEE 802.1Q tag in the low 16 bits, zero
/// in the high 16 bits. A default-made value carries no tag.
class Dot1qEncap {
 public:
  constexpr Dot1qEncap() noexcept = default;
  constexpr explicit Dot1qEncap(VlanId tag) noexcept : value_(tag.value()) {}

  constexpr U32 value() const noexcept { return value_; }

  friend constexpr bool operator==(Dot1qEncap, Dot1qEncap) noexcept = default;

 private:
  U32 value_ = 0;
};

}  // namespace Bridging
