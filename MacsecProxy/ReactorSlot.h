#pragma once

#include <utility>

#include "Kiv/Ptr.h"

namespace MacsecProxy {

/// A machine's hold on one reactor, and with it the attribute that the reactor stands for: the
/// entity it watches. A slot has a reactor exactly while the attribute is not null.
///
/// When the slot goes, it retires the reactor; so a machine that fails in its constructor retires
/// its reactors too.
template <class ReactorType>
class ReactorSlot {
  using Entity = typename ReactorType::Watched;
  using Owner = typename ReactorType::OwnedBy;

 public:
  /// Binds and activates a reactor for `owner`, which is under construction; none for a null
  /// `entity`.
  ReactorSlot(Kiv::Ptr<Entity const> const& entity, Owner& owner) {
    if (entity) bind(entity, owner);
  }
  ReactorSlot(ReactorSlot const&) = delete;
  ReactorSlot& operator=(ReactorSlot const&) = delete;
  ~ReactorSlot() { retire(); }

  /// The watched entity, or null.
  Kiv::Ptr<Entity const> entity() const noexcept { return Kiv::Ptr<Entity const>(watched()); }

  /// The same, without a reference of the caller's: good until something else runs.
  Entity const* watched() const noexcept { return reactor_ ? reactor_->watched() : nullptr; }

  /// Binds a reactor, re-points the one that is there, or, for a null `entity`, retires it. A
  /// reactor of an owner that is marked for deletion is marked too.
  void entityIs(Kiv::Ptr<Entity const> const& entity, Owner& owner) {
    Kiv::Ptr<Owner> const ownerHeld(&owner);
    Kiv::Ptr<ReactorType> const before = reactor_;
    if (before && before->watched() == entity.ptr()) return;
    if (!entity) {
      reactor_ = nullptr;
      retire(before);
      return;
    }
    if (before) {
      before->notifierIs(entity);
    } else {
      bind(entity, owner);
    }
    kivDoZombieReactors(owner.kivMarkedForDeletion());
  }

  /// Retires the reactor and returns what it watched; null when there is none.
  Kiv::Ptr<Entity const> entityDel() {
    Kiv::Ptr<ReactorType> const before = std::exchange(reactor_, nullptr);
    if (!before) return nullptr;
    retire(before);
    before->hasNotificationActiveIs(false);
    return Kiv::Ptr<Entity const>(before->watched());
  }

  void hasNotificationActiveIs(bool active) {
    if (Kiv::Ptr<ReactorType> const held = reactor_) held->hasNotificationActiveIs(active);
  }

  void kivDoZombieReactors(bool zombie) {
    if (Kiv::Ptr<ReactorType> const held = reactor_) held->kivDoZombieReactors(zombie);
  }

  /// Marks the reactor for deletion and takes its owner from it, which it can then reach no more.
  /// The slot keeps it.
  void retire() { retire(reactor_); }

 private:
  void bind(Kiv::Ptr<Entity const> const& entity, Owner& owner) {
    auto reactor = Kiv::makeNew<ReactorType>(entity, &owner);
    reactor->hasNotificationActiveIs(true);
    reactor_ = std::move(reactor);
  }

  static void retire(Kiv::Ptr<ReactorType> const& reactor) {
    if (!reactor) return;
    reactor->kivDoZombieReactors(true);
    reactor->ownerDel();
  }

  Kiv::Ptr<ReactorType> reactor_;
};

}  // namespace MacsecProxy
