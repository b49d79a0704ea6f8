#pragma once

#include "Kiv/Integers.h"
#include "Kiv/KeyGroup.h"
#include "Kiv/NotifieeList.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

/// Somebody who watches one object, its *notifier*, and is told of the object's changes.
///
/// A notifiee holds a counted pointer to its notifier, and the notifier's list a plain pointer to
/// the notifiee; the notifiee takes itself off the list when it is destroyed. It hears a change
/// when it was registered and active at the time the change was made and has been ever since, and
/// has an interest in the key.
class PtrInterface::NotifieeConst : public PtrInterface {
 public:
  // Of these six, this platform calls `onNotificationException` and `onZeroReferences` alone: it
  // has no activities and tells everybody directly.

  /// The object that acts when this notifiee is told something; null when there is nothing to name.
  virtual PtrInterface const* kivReactor() const;
  /// For notifiees that are served by an activity; the others are told directly.
  virtual void handleNotification(ActivityConfig* activity);
  /// Called after one of the notifiee's own notifications has raised an exception. Must not raise.
  virtual void onNotificationException();
  /// Called when the last reference to the notifiee is gone, before it is destroyed.
  virtual void onZeroReferences();
  /// The activity that serves the notifiee; null when it is told directly.
  virtual ActivityConfig* kivFwkActivity() const;
  /// The state machine of that activity; null when there is none.
  virtual PtrInterface* actsm();

  /// Starts or stops the delivery of notifications. Changes made before the start are not heard.
  void hasNotificationActiveIs(bool active) override;

  /// A notifiee without references hears nothing any more. The last reference to one that is being
  /// told of a change goes over to the delivery, which drops it when the handler has returned.
  void zeroReferencesIs(bool zero) override;

  ~NotifieeConst() override;

  /// The watched object, or null.
  Ptr<PtrInterface const> const& notifier() const noexcept { return notifier_; }
  bool isRegisteredNotifiee() const noexcept { return registered_; }

  /// Puts the notifiee on its notifier's list or takes it off. Without a notifier, or with one that
  /// cannot be watched, nothing happens. Raises `std::bad_alloc`, with nothing changed.
  void isRegisteredNotifieeIs(bool registered);

 protected:
  NotifieeConst() noexcept = default;

  /// Wants to be told only of the keys of one group, `Kiv::groupOf`; of all keys to begin with. It
  /// is told of the others all the same while anything is traced, so that a trace shows that they
  /// came by. For keys without groups it has no effect. REQUIRES: the notifiee is not registered.
  void interestIs(U32 group) noexcept { interest_ = group; }

  /// Lets notifiees of this class that stand one behind the other on the list be told through
  /// `slot`, an operation that the class overrides, in one loop, which calls
  /// `handle(notifiee, key)` instead. It only saves time: where the loop does not serve (another
  /// order, a list that changes under the delivery, anybody on it with an interest in one group)
  /// the operation itself is called, so both are to do the same. One operation for each notifiee; a
  /// later call replaces it. REQUIRES: this is being constructed, as a `Notifiee`, and inactive;
  /// `handle` captures nothing. Defined in Kiv/Delivery.h.
  template <class Notifiee, class Base, class Key, void (Base::*slot)(Key), class Handle>
  void toldInRowIs(Handle handle) noexcept;

  /// Watches `notifier` from now on; null watches nothing. A registration moves along. For derived
  /// classes, which know what their notifications come from. Raises `std::bad_alloc`, with nothing
  /// changed.
  void notifierIs(Ptr<PtrInterface const> const& notifier);

 private:
  friend class NotifieeList;

  bool isInterestedIn(U32 group) const noexcept {
    return interest_ == everyGroup || interest_ == group;
  }

  // First, beside the flags of the base: so there is no gap.
  bool registered_ = false;
  Ptr<PtrInterface const> notifier_;
  /// How it is told with its neighbours.
  NotifieeList::Row const* row_ = &NotifieeList::byItself;
  /// Where it stands on the notifier's list while it is registered.
  U32 place_ = 0;
  U32 interest_ = everyGroup;
};

}  // namespace Kiv
