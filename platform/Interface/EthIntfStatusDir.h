#pragma once

#include <cstddef>

#include "Interface/EthIntfStatus.h"
#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/Ptr.h"
#include "Kiv/String.h"
#include "Velto/IntfId.h"

namespace Interface {

/// The directory of Ethernet interface status, by interface. Nobody is told of its changes; who
/// needs to know watches `DeviceIntfStatusDir`.
class EthIntfStatusDir : public Kiv::Entity {
 public:
  /// A new, empty directory.
  static Kiv::Ptr<EthIntfStatusDir> EthIntfStatusDirIs();

  /// Sets the status of an interface. A null status is a blank entry, which says as much as none.
  /// Raises `std::bad_alloc`.
  void intfStatusIs(Velto::IntfId intfId, Kiv::Ptr<EthIntfStatus const> const& status);
  /// Blanks the entry of an interface. Raises `std::bad_alloc`.
  void intfStatusIs(Velto::IntfId intfId, std::nullptr_t) {
    intfStatusIs(intfId, Kiv::Ptr<EthIntfStatus const>());
  }
  /// Sets the status of an interface to one with that device name. Raises `std::bad_alloc`.
  void intfStatusIs(Velto::IntfId intfId, Kiv::String const& deviceName);
  /// Removes an entry and returns its status, null when there is none.
  Kiv::Ptr<EthIntfStatus const> intfStatusDel(Velto::IntfId intfId);
  /// The status of an interface; null when there is no entry or a blank one.
  Kiv::Ptr<EthIntfStatus const> intfStatus(Velto::IntfId intfId) const {
    return intfStatus_.value(intfId);
  }
  /// Whether there is an entry, also a blank one.
  bool intfStatusHas(Velto::IntfId intfId) const { return intfStatus_.has(intfId); }
  /// All entries, by interface.
  Kiv::HashMap<Velto::IntfId, Kiv::Ptr<EthIntfStatus const>> const& intfStatus() const {
    return intfStatus_;
  }

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  EthIntfStatusDir() = default;

  Kiv::HashMap<Velto::IntfId, Kiv::Ptr<EthIntfStatus const>> intfStatus_;
};

}  // namespace Interface
