#pragma once

#include <bit>
#include <cstddef>
#include <exception>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "Kiv/Integers.h"
#include "Kiv/NotifieeConst.h"
#include "Kiv/NotifieeList.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

/// How the changes of watched collections reach their notifiees. There is one delivery for each
/// thread, since a thread owns the entities that it changes.
///
///  - A change is delivered as it is made, to each notifiee that is registered and active when it
///  is
///    made, exactly once, one handler at a time, before the changing call returns.
///  - A change made from inside a handler is delivered after the deliveries made before it are
///    complete.
///  - A notifiee is told of a key while the collection is, at that key, in the state that the
///  change
///    left: a change at a key that has an earlier change still to deliver is carried out only after
///    that one's delivery. All others are carried out at once.
///  - A notifiee that raises does not keep the others from hearing. The first exception goes, when
///    everything is delivered, to whoever made the change that started it.
class Delivery {
 public:
  /// The order in which one change reaches its notifiees.
  enum class Order : U8 { registration, reverse };

  /// The order in force on this thread. Nobody may depend on it; the switch is there to prove that.
  static Order order() noexcept { return current().order_; }
  static void orderIs(Order order) noexcept { current().order_ = order; }

  /// The number of the latest change on this thread; every change has a greater one than the last.
  static U64 latestChange() noexcept { return current().latestChange_; }

  /// Makes one change at `key` of `collection`, which belongs to `entity`, and posts its delivery
  /// through `slot`. `carryOut` makes the change and returns whether there was anything to change.
  /// Delivers nothing yet: the caller goes on to `run`. What `carryOut` raises comes through, with
  /// nothing posted; it must not post changes of its own.
  template <auto slot, class Key, class CarryOut>
  static void post(PtrInterface const& entity, void const* collection, Key key, CarryOut carryOut);

  /// Delivers everything posted, unless a delivery is in progress, which then does so. Raises the
  /// first exception that a notifiee or a postponed change raised.
  static void run();

 private:
  struct Change {
    Ptr<PtrInterface const> entity;
    void const* collection;
    U64 keyBits;
    bool (*isAtKey)(U64 keyBits, U64 otherKeyBits);
    void (*deliver)(Change const& change, std::exception_ptr& first);
    /// Set while the change itself is postponed.
    std::function<bool()> carryOut;
    U64 number;
  };

  static Delivery& current() noexcept;

  bool hasUndelivered(void const* collection, U64 keyBits) const noexcept;

  /// Changes still to deliver, from `next_` on; the one in delivery stands at `next_`.
  std::vector<Change> changes_;
  std::size_t next_ = 0;
  U64 latestChange_ = 0;
  bool running_ = false;
  Order order_ = Order::registration;

  friend class NotifieeList;
};

template <class Notifiee, class Key>
void NotifieeList::deliver(void (Notifiee::*slot)(Key), Key key, U64 change,
                           std::exception_ptr& first) noexcept {
  delivering_ = true;
  bool const reverse = Delivery::order() == Delivery::Order::reverse;
  // Whoever registers from here on stands behind `end`.
  std::size_t const end = notifiees_.size();
  for (std::size_t step = 0; step < end; ++step) {
    PtrInterface::NotifieeConst* const notifiee = notifiees_[reverse ? end - 1 - step : step];
    if (notifiee == nullptr || !notifiee->hears(change)) continue;
    Ptr<PtrInterface::NotifieeConst> const held(notifiee);
    try {
      (static_cast<Notifiee*>(notifiee)->*slot)(key);
    } catch (...) {
      if (!first) first = std::current_exception();
      notifiee->onNotificationException();
    }
  }
  delivering_ = false;
  closeHolesIfMany();
}

template <auto slot, class Key, class CarryOut>
void Delivery::post(PtrInterface const& entity, void const* collection, Key key,
                    CarryOut carryOut) {
  static_assert(std::is_trivially_copyable_v<Key> && sizeof(Key) <= sizeof(U64));
  using Bits = std::conditional_t<sizeof(Key) == sizeof(U64), U64, U32>;

  Delivery& delivery = current();
  Change change{Ptr<PtrInterface const>(&entity),
                collection,
                std::bit_cast<Bits>(key),
                [](U64 bits, U64 otherBits) {
                  return std::bit_cast<Key>(static_cast<Bits>(bits)) ==
                         std::bit_cast<Key>(static_cast<Bits>(otherBits));
                },
                [](Change const& made, std::exception_ptr& first) {
                  made.entity->notifieeList()->deliver(
                      slot, std::bit_cast<Key>(static_cast<Bits>(made.keyBits)), made.number,
                      first);
                },
                {},
                0};
  if (delivery.hasUndelivered(collection, change.keyBits)) {
    change.carryOut = std::move(carryOut);
    delivery.changes_.push_back(std::move(change));
    return;
  }
  // Posted first: once the change is made, nothing may fail.
  delivery.changes_.push_back(std::move(change));
  bool changed = false;
  try {
    changed = carryOut();
  } catch (...) {
    delivery.changes_.pop_back();
    throw;
  }
  if (changed) {
    delivery.changes_.back().number = ++delivery.latestChange_;
  } else {
    delivery.changes_.pop_back();
  }
}

}  // namespace Kiv
