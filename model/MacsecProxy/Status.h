#pragma once

#include "Bridging/VlanId.h"
#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/Ptr.h"
#include "Kiv/StoredMap.h"
#include "MacsecProxy/ProxySubIntfStatus.h"
#include "Velto/IntfId.h"

namespace MacsecProxy {

/// The proxy status: which proxy interfaces are in use and which proxy sub-interfaces are in
/// service. The machines write it, the rest of the agent reads it. It outlives the machines: after
/// a restart it holds what the previous run left.
class Status : public Kiv::Entity {
 public:
  /// A new, empty status.
  static Kiv::Ptr<Status> StatusIs();

  /// Marks a proxy interface, or overwrites its mark. Raises `std::bad_alloc`.
  void proxyIntfIs(Velto::IntfId intfId, bool inUse);
  /// Removes the mark and returns it, false when there is none.
  bool proxyIntfDel(Velto::IntfId intfId);
  /// The mark of a proxy interface, false when there is none.
  bool proxyIntf(Velto::IntfId intfId) const { return proxyIntf_.members().value(intfId); }
  bool proxyIntfHas(Velto::IntfId intfId) const { return proxyIntf_.members().has(intfId); }
  /// All marks, by proxy interface.
  Kiv::HashMap<Velto::IntfId, bool> const& proxyIntf() const { return proxyIntf_.members(); }

  /// Makes room at once for that many records in all. Raises `std::bad_alloc`.
  void proxySubIntfStatusExpect(U32 records) { proxySubIntfStatus_.expect(records); }
  /// Writes the record of a proxy sub-interface; one that is there already is replaced whole.
  /// Returns the record. Raises `std::bad_alloc`.
  Kiv::Ptr<ProxySubIntfStatus const> proxySubIntfStatusIs(Velto::IntfId proxySubIntfId,
                                                          Velto::IntfId patchSubIntfId,
                                                          Velto::IntfId clientIntfId,
                                                          Bridging::VlanId encryptTag,
                                                          Bridging::VlanId clientTag);
  /// Removes a record and returns it, null when there is none.
  Kiv::Ptr<ProxySubIntfStatus const> proxySubIntfStatusDel(Velto::IntfId proxySubIntfId);
  /// The record of a proxy sub-interface, null when there is none.
  Kiv::Ptr<ProxySubIntfStatus const> proxySubIntfStatus(Velto::IntfId proxySubIntfId) const {
    return proxySubIntfStatus_.members().value(proxySubIntfId);
  }
  bool proxySubIntfStatusHas(Velto::IntfId proxySubIntfId) const {
    return proxySubIntfStatus_.members().has(proxySubIntfId);
  }
  /// All records, by proxy sub-interface.
  Kiv::HashMap<Velto::IntfId, Kiv::Ptr<ProxySubIntfStatus const>> const& proxySubIntfStatus()
      const {
    return proxySubIntfStatus_.members();
  }

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  Status() = default;

  Kiv::StoredMap<Velto::IntfId, bool> proxyIntf_;
  Kiv::StoredMap<Velto::IntfId, Kiv::Ptr<ProxySubIntfStatus const>> proxySubIntfStatus_;
};

}  // namespace MacsecProxy
