#pragma once

#include <bit>
#include <cstddef>
#include <exception>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/NotifieeConst.h"
#include "Kiv/NotifieeList.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

/// How the changes of watched collections reach their notifiees. There is one delivery for each
/// thread, since a thread owns the entities that it changes.
///
///  - A change is delivered as it is made, to each notifiee that is registered and active when it
///    is made, exactly once, one handler at a time, before the changing call returns.
///  - A change made from inside a handler is delivered after the deliveries made before it are
///    complete.
///  - A notifiee is told of a key while the collection is, at that key, in the state that the
///    change left: a change at a key that has an earlier change still to deliver is carried out
///    only after that one's delivery. All others are carried out at once.
///  - A notifiee that raises does not keep the others from hearing. The first exception goes, when
///    everything is delivered, to whoever made the change that started it; a handler that makes a
///    change gets no exception of those that hear it.
class Delivery {
 public:
  /// The order in which one change reaches its notifiees.
  enum class Order : U8 {
    registration,
    reverse,
    /// Another order for each change, drawn from a seed.
    drawn,
  };

  /// The order in force on this thread. Nobody may depend on it; the switch is there to prove that.
  /// `seed` decides the drawn orders.
  static void orderIs(Order order, U64 seed = 0) noexcept;

  /// A walk through the places of `size` notifiees in the order in force.
  class Places {
   public:
    explicit Places(std::size_t size) noexcept;
    std::size_t next() noexcept {
      std::size_t const place = place_;
      place_ += stride_;
      if (place_ >= size_) place_ -= size_;
      return place;
    }

   private:
    std::size_t size_;
    std::size_t stride_ = 1;
    std::size_t place_ = 0;
  };

  /// How many changes at a key are still to deliver.
  template <class Key>
  using Undelivered = HashMap<Key, U32>;

  /// Makes one change at `key` of a collection that belongs to `entity`, and posts its delivery
  /// through `slot`. `carryOut` makes the change and returns whether there was anything to change;
  /// it must not post changes of its own. `undelivered` is the collection's. Delivers nothing yet:
  /// the caller goes on to `run`. What `carryOut` raises comes through, with nothing posted.
  template <auto slot, class Key, class CarryOut>
  static void post(PtrInterface const& entity, Undelivered<Key>& undelivered, Key key,
                   CarryOut carryOut);

  /// Delivers everything posted, unless a delivery is in progress, which then does so. Raises the
  /// first exception that a notifiee or a postponed change raised.
  static void run();

 private:
  struct Change {
    Ptr<PtrInterface const> entity;
    /// The `Undelivered` of the collection.
    void* undelivered;
    U64 keyBits;
    /// The change's number among those of its entity; 0 while there is nothing to tell.
    U64 number;
    /// Tells the notifiees and counts the change as delivered.
    void (*deliver)(Change const& change, std::exception_ptr& first);
    /// Set while the change itself is postponed.
    std::function<bool()> carryOut;
  };

  template <class Key>
  using BitsOf = std::conditional_t<sizeof(Key) == sizeof(U64), U64, U32>;

  static Delivery& current() noexcept;

  template <class Key>
  static void countDelivered(Undelivered<Key>& undelivered, Key key) noexcept;

  /// Changes still to deliver, from `next_` on.
  std::vector<Change> changes_;
  std::size_t next_ = 0;
  bool running_ = false;
  Order order_ = Order::registration;
  U64 seed_ = 0;
};

template <class Notifiee, class Key>
void NotifieeList::deliver(void (Notifiee::*slot)(Key), Key key, U64 change,
                           std::exception_ptr& first) noexcept {
  delivering_ = true;
  // Whoever registers from here on stands behind `end`.
  std::size_t const end = notifiees_.size();
  Delivery::Places places(end);
  for (std::size_t step = 0; step < end; ++step) {
    PtrInterface::NotifieeConst* const notifiee = notifiees_[places.next()];
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
void Delivery::post(PtrInterface const& entity, Undelivered<Key>& undelivered, Key key,
                    CarryOut carryOut) {
  static_assert(std::is_trivially_copyable_v<Key> && sizeof(Key) <= sizeof(U64));

  std::vector<Change>& changes = current().changes_;
  std::size_t const place = changes.size();
  U32 const earlier = undelivered.value(key);
  undelivered.valueIs(key, earlier + 1);
  bool worthTelling = false;
  try {
    changes.push_back(
        Change{Ptr<PtrInterface const>(&entity), &undelivered, std::bit_cast<BitsOf<Key>>(key), 0,
               [](Change const& change, std::exception_ptr& first) {
                 Key const changed = std::bit_cast<Key>(static_cast<BitsOf<Key>>(change.keyBits));
                 if (change.number != 0) {
                   change.entity->notifieeList()->deliver(slot, changed, change.number, first);
                 }
                 countDelivered(*static_cast<Undelivered<Key>*>(change.undelivered), changed);
               },
               nullptr});
    if (earlier != 0) {
      changes.back().carryOut = std::move(carryOut);
      worthTelling = true;
    } else if (carryOut()) {
      changes.back().number = entity.notifieeList()->changeIs();
      worthTelling = true;
    }
  } catch (...) {
    changes.erase(changes.begin() + static_cast<std::ptrdiff_t>(place), changes.end());
    countDelivered(undelivered, key);
    throw;
  }
  if (!worthTelling) {
    changes.pop_back();
    countDelivered(undelivered, key);
  }
}

template <class Key>
void Delivery::countDelivered(Undelivered<Key>& undelivered, Key key) noexcept {
  U32 const count = undelivered.value(key);
  if (count > 1) {
    undelivered.valueIs(key, count - 1);
  } else {
    undelivered.valueDel(key);
  }
}

}  // namespace Kiv
