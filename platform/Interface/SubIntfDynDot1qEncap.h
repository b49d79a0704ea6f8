#pragma once

#include "Bridging/Dot1qEncap.h"
#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/Ptr.h"
#include "Kiv/StoredMap.h"
#include "Velto/IntfId.h"

namespace Interface {

/// The table of dynamic dot1q encapsulations, by sub-interface. It outlives the machines that write
/// it.
class SubIntfDynDot1qEncap : public Kiv::Entity {
 public:
  /// A new, empty table.
  static Kiv::Ptr<SubIntfDynDot1qEncap> SubIntfDynDot1qEncapIs();

  /// Makes room at once for that many encapsulations in all. Raises `std::bad_alloc`.
  void encapExpect(U32 encaps) { encap_.expect(encaps); }
  /// Sets the encapsulation of a sub-interface. Raises `std::bad_alloc`.
  void encapIs(Velto::IntfId subIntfId, Bridging::Dot1qEncap encap);
  /// Removes an encapsulation and returns it, one without a tag when there is none.
  Bridging::Dot1qEncap encapDel(Velto::IntfId subIntfId);
  /// The encapsulation of a sub-interface, one without a tag when there is none.
  Bridging::Dot1qEncap encap(Velto::IntfId subIntfId) const {
    return encap_.members().value(subIntfId);
  }
  bool encapHas(Velto::IntfId subIntfId) const { return encap_.members().has(subIntfId); }
  /// All encapsulations, by sub-interface.
  Kiv::HashMap<Velto::IntfId, Bridging::Dot1qEncap> const& encap() const {
    return encap_.members();
  }

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  SubIntfDynDot1qEncap() = default;

  Kiv::StoredMap<Velto::IntfId, Bridging::Dot1qEncap> encap_;
};

}  // namespace Interface
