#pragma once

#include "Kiv/Integers.h"
#include "Kiv/KeyGroup.h"
#include "Kiv/Ptr.h"
#include "Kiv/PtrInterface.h"

namespace MacsecProxy {

/// What all reactors have in common. A reactor is the notifiee through which a machine, its owner,
/// watches one entity; the derived class forwards the notifications that the owner cares about.
///
/// A reactor is built registered but inactive, and activated by whoever builds it. It can be
/// re-pointed at another entity of its type. A reactor marked for deletion is inactive and forwards
/// nothing. The owner pointer is plain; the owner clears it when it lets go of the reactor.
template <class Entity, class Owner>
class Reactor : public Entity::NotifieeConst {
  using Notifiee = typename Entity::NotifieeConst;

 public:
  using Watched = Entity;
  using OwnedBy = Owner;

  /// Watches the keys of `interest` of `entity`, which is not null, for `owner`. Raises what
  /// registering raises.
  Reactor(Kiv::Ptr<Entity const> const& entity, Owner* owner, U32 interest = Kiv::everyGroup)
      : owner_(owner) {
    this->interestIs(interest);
    Kiv::PtrInterface::NotifieeConst::notifierIs(entity);
    this->isRegisteredNotifieeIs(true);
  }

  ~Reactor() override { Reactor::kivDoZombieReactors(true); }

  void hasNotificationActiveIs(bool active) override {
    if (active == this->hasNotificationActive()) return;
    Notifiee::hasNotificationActiveIs(active);
  }

  /// Watches `entity` from now on. Null, or an object of another type, watches nothing.
  virtual void notifierIs(Kiv::Ptr<Kiv::PtrInterface const> const& entity) {
    auto const watched = Kiv::dynamicPtr<Entity const>(entity);
    if (watched == this->notifier()) return;
    Kiv::PtrInterface::NotifieeConst::notifierIs(watched);
    this->isRegisteredNotifieeIs(true);
  }

  /// Marks the reactor for deletion and stops its notifications, or the reverse.
  virtual void kivDoZombieReactors(bool zombie) {
    if (zombie == this->kivMarkedForDeletion()) return;
    if (this->notifier()) hasNotificationActiveIs(!zombie);
    this->kivMarkedForDeletionIs(zombie);
  }

  /// The watched entity, or null.
  Entity const* watched() const noexcept {
    return static_cast<Entity const*>(this->notifier().ptr());
  }

  /// The machine has let go of the reactor.
  void ownerDel() noexcept { owner_ = nullptr; }

 protected:
  /// The machine that is to be told; null when the reactor is marked for deletion or on its own.
  Owner* listener() const noexcept { return this->kivMarkedForDeletion() ? nullptr : owner_; }

 private:
  Owner* owner_;
};

}  // namespace MacsecProxy
