#pragma once

#include "Kiv/Builtin.h"
#include "Kiv/Integers.h"
#include "Kiv/KivType.h"

namespace Pesk {

/// The enumerations of the bitmap service.
class HBitmap {
 public:
  /// The state that every bit of a new bitmap has.
  enum class BitState : U32 { set = 0, clear = 1 };

  /// Which of several matching indexes a search returns.
  enum class IndexPreference : U32 { lowest = 0 };

  /// The type record of `BitState`.
  static Kiv::KivType const _kivTypeBitState;
};

}  // namespace Pesk

template <>
struct Kiv::TypeOf<Pesk::HBitmap::BitState> {
  static constexpr KivType const* record() noexcept { return &Pesk::HBitmap::_kivTypeBitState; }
};
