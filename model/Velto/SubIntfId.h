#pragma once

#include "Velto/IntfId.h"

namespace Velto {

/// Sub-interface identifiers: "PORT.NUMBER", a sub-interface of PORT.
class SubIntfId {
 public:
  /// The parent interface of a sub-interface: the text before its last '.'. An identifier without a
  /// '.' has the empty identifier as its parent.
  static IntfId parentIntfId(IntfId subIntfId) noexcept {
    U32 const parent = subIntfId.parent_;
    return IntfId(parent != IntfId::unknown ? parent : lookUpParent(subIntfId), IntfId::unknown);
  }

 private:
  /// For an identifier that is itself somebody's parent.
  static U32 lookUpParent(IntfId intfId) noexcept;
};

}  // namespace Velto
