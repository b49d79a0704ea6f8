#pragma once

#include "Velto/IntfId.h"

namespace Velto {

/// Sub-interface identifiers: "PORT.NUMBER", a sub-interface of PORT.
class SubIntfId {
 public:
  /// The parent interface of a sub-interface: the text before its last '.'. An identifier without a
  /// '.' has the empty identifier as its parent.
  static IntfId parentIntfId(IntfId subIntfId) noexcept {
    return IntfId(subIntfId.group(), IntfId::unknown);
  }

  /// The group that the sub-interfaces of `intfId` are in, `IntfId::group`.
  static U32 groupOfSubIntfs(IntfId intfId) noexcept { return intfId.number_; }
};

}  // namespace Velto
