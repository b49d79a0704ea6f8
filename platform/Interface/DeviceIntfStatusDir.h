#pragma once

#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/Ptr.h"
#include "Kiv/String.h"
#include "Kiv/WatchedMap.h"
#include "Velto/IntfId.h"

namespace Interface {

/// The directory of interfaces that are present, with their device names. Notifiees are told when
/// an entry is added, replaced or removed, once for each.
class DeviceIntfStatusDir : public Kiv::Entity {
 public:
  /// Somebody who is told of the changes of a directory. Every operation does nothing unless
  /// overridden. This platform calls the keyed ones, as the changes are made, and none of the
  /// others.
  class NotifieeConst : public Kiv::Entity::NotifieeConst {
   public:
    virtual void onIntfStatusAndDeviceName(Velto::IntfId /*intfId*/) {}
    virtual void onIntfStatusAndDeviceNamekivImmediate() {}
    virtual void onIntfStatusAndDeviceName() {}
    virtual void onIntfStatusByIfIndex(U32 /*ifIndex*/) {}
    virtual void onIntfStatusByIfIndexkivImmediate() {}
    virtual void onIntfStatusByIfIndex() {}
  };

  /// What the directory says of one interface.
  struct IntfStatusAndDeviceName {
    Kiv::String deviceName;

    friend bool operator==(IntfStatusAndDeviceName const&,
                           IntfStatusAndDeviceName const&) = default;
  };

  /// A new, empty directory.
  static Kiv::Ptr<DeviceIntfStatusDir> DeviceIntfStatusDirIs();

  /// Adds or replaces an entry: one notification, none when the entry says the same already.
  ///
  /// Raises what a notifiee raised, after all were told; the entry is set nevertheless. Raises
  /// `std::bad_alloc` with nothing changed.
  void intfStatusAndDeviceNameIs(Velto::IntfId intfId, IntfStatusAndDeviceName const& entry);
  /// Removes an entry and returns it, one with an empty name when there is none. Raises what a
  /// notifiee raised, after all were told; the entry is gone nevertheless.
  IntfStatusAndDeviceName intfStatusAndDeviceNameDel(Velto::IntfId intfId);
  /// The entry, one with an empty name when there is none.
  IntfStatusAndDeviceName intfStatusAndDeviceName(Velto::IntfId intfId) const {
    return intfStatusAndDeviceName().value(intfId);
  }
  bool intfStatusAndDeviceNameHas(Velto::IntfId intfId) const {
    return intfStatusAndDeviceName().has(intfId);
  }
  /// All entries, by interface.
  Kiv::HashMap<Velto::IntfId, IntfStatusAndDeviceName> const& intfStatusAndDeviceName() const {
    return intfStatusAndDeviceName_.members();
  }

  /// The interface of each interface index, any number: adds or replaces as above.
  void intfStatusByIfIndexIs(U32 ifIndex, Velto::IntfId intfId);
  /// Removes and returns the interface, empty when there is none; raises as above.
  Velto::IntfId intfStatusByIfIndexDel(U32 ifIndex);
  /// The interface, empty when there is none.
  Velto::IntfId intfStatusByIfIndex(U32 ifIndex) const {
    return intfStatusByIfIndex_.members().value(ifIndex);
  }
  bool intfStatusByIfIndexHas(U32 ifIndex) const {
    return intfStatusByIfIndex_.members().has(ifIndex);
  }

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  DeviceIntfStatusDir() = default;

  Kiv::WatchedMap<Velto::IntfId, IntfStatusAndDeviceName, NotifieeConst,
                  &NotifieeConst::onIntfStatusAndDeviceName>
      intfStatusAndDeviceName_{*this};
  Kiv::WatchedMap<U32, Velto::IntfId, NotifieeConst, &NotifieeConst::onIntfStatusByIfIndex>
      intfStatusByIfIndex_{*this};
};

}  // namespace Interface
