#pragma once

#include <cstddef>

#include "Kiv/AllocTrackTypeInfo.h"
#include "Kiv/Integers.h"
#include "Kiv/Ptr.h"
#include "Kiv/VFPtrInterface.h"

namespace Kiv {

class ActivityConfig;
class KivType;
class NotifieeList;

/// The base of everything that is held through counted pointers: entities, notifiees, services and
/// machines.
///
/// Besides its count an object carries two states. *Notification active* says, for a notifiee,
/// whether notifications are delivered to it; other objects keep it for themselves and pass it on
/// to what they own. *Marked for deletion* says that the object must not act any more. The count
/// ignores both.
///
/// An object is created with one reference, which its creator adopts (`makeNew`), and destroyed by
/// `zeroReferencesIs` when the last one goes.
class PtrInterface : public VFPtrInterface {
 public:
  class NotifieeConst;

  /// The notifiees registered with this object; null for an object that cannot be watched.
  virtual NotifieeList* notifieeList() const;

  /// Switches the notification-active state.
  virtual void hasNotificationActiveIs(bool active);

  /// Called with true when the last reference is gone: destroys the object.
  virtual void zeroReferencesIs(bool zero);

  /// The type record of the object's class.
  virtual KivType const* fwkType() const;

  virtual ~PtrInterface() = default;

  bool hasNotificationActive() const noexcept { return notificationActive_; }
  bool kivMarkedForDeletion() const noexcept { return markedForDeletion_; }
  void kivMarkedForDeletionIs(bool marked) noexcept { markedForDeletion_ = marked; }

  /// Adds a reference; `Ptr` does this.
  void referenceIs() const noexcept { referenceAdd(); }
  /// Drops a reference; `Ptr` does this. The last one destroys the object.
  void referenceDel() const noexcept {
    if (referenceDrop()) [[unlikely]]
      const_cast<PtrInterface*>(this)->zeroReferencesIs(true);
  }

  /// Memory for an object of the class that `record` counts. Raises `std::bad_alloc`. REQUIRES:
  /// `size` is not 0.
  static void* kivMemAlloc(std::size_t size, AllocTrackTypeInfo& record);
  /// Gives the memory of an object of that size back.
  static void kivMemFree(void* memory, std::size_t size, AllocTrackTypeInfo& record) noexcept;

  static KivType const _kivType;

 protected:
  PtrInterface() noexcept = default;

 private:
  bool notificationActive_ = false;
  bool markedForDeletion_ = false;
};

/// Declares a class's own allocation record and has its objects allocated through the framework.
/// Stands in the public section of every class of which objects are made; the class's source file
/// defines the record:
///
///     constinit Kiv::AllocTrackTypeInfo Class::kivAllocTrackTypeInfo_{"Namespace::Class"};
#define KIV_ALLOC_TRACKED                                                \
  static Kiv::AllocTrackTypeInfo kivAllocTrackTypeInfo_;                 \
  static void* operator new(std::size_t size) {                          \
    return Kiv::PtrInterface::kivMemAlloc(size, kivAllocTrackTypeInfo_); \
  }                                                                      \
  static void operator delete(void* memory, std::size_t size) noexcept { \
    Kiv::PtrInterface::kivMemFree(memory, size, kivAllocTrackTypeInfo_); \
  }

}  // namespace Kiv
