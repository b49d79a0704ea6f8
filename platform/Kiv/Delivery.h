#pragma once

#include <bit>
#include <cstddef>
#include <exception>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/KeyGroup.h"
#include "Kiv/NotifieeConst.h"
#include "Kiv/NotifieeList.h"
#include "Kiv/PtrInterface.h"
#include "Kiv/Trace.h"

namespace Kiv {

/// How the changes of watched collections reach their notifiees. There is one delivery for each
/// thread, since a thread owns the entities that it changes.
///
///  - A change is delivered as it is made, to each notifiee that is registered and active when it
///    is made and has an interest in the key, exactly once, one handler at a time, before the
///    changing call returns.
///  - A change made from inside a handler is delivered after the deliveries made before it are
///    complete.
///  - A notifiee is told of a key while the collection is, at that key, in the state that the
///    change left: a change at a key that has an earlier change still to deliver is carried out
///    only after that one's delivery. All others are carried out at once.
///  - A notifiee with an interest in one group of keys is passed over for the others, unless
///    anything is traced.
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

  /// How many changes at a key are still to deliver.
  template <class Key>
  using Undelivered = HashMap<Key, U32>;

  /// The delivery of the calling thread.
  static Delivery& ofThisThread() noexcept {
    return ofThisThread_ != nullptr ? *ofThisThread_ : makeForThread();
  }

  /// Whether nothing is being delivered and nothing is waiting for it.
  bool isIdle() const noexcept { return !running_; }

  /// Delivers a change at `key` of a collection of `entity`, just made, through `slot`, and what
  /// the handlers post. Raises the first exception that a notifiee or a postponed change raised.
  /// `undelivered` is the collection's.
  ///
  /// REQUIRES: the delivery is idle.
  template <auto slot, class Key>
  void deliver(Entity const& entity, Undelivered<Key>& undelivered, Key key);

  /// Makes one change at `key` of a collection of `entity`, at once or when the earlier ones at
  /// that key are delivered, and posts its delivery through `slot`, which is left to a delivery in
  /// progress or to `run`. `carryOut` makes the change and returns whether there was anything to
  /// change; it must not post changes of its own. What it raises comes through, with nothing
  /// posted.
  template <auto slot, class Key, class CarryOut>
  void post(Entity const& entity, Undelivered<Key>& undelivered, Key key, CarryOut carryOut);

  /// Delivers everything posted, unless a delivery is in progress, which then does so. Raises the
  /// first exception that a notifiee or a postponed change raised.
  void run();

  /// Whether `notifiee`, whose last reference is gone, is being told of a change; the delivery then
  /// takes that reference over and drops it after the handler has returned.
  bool takesOver(PtrInterface::NotifieeConst const& notifiee) noexcept {
    if (told_ != &notifiee) return false;
    told_ = nullptr;
    disturb();
    return true;
  }

  /// Has the delivery in progress look again at the list that it goes through, and at who holds the
  /// notifiee that is being told.
  void disturb() noexcept { disturbed_ = true; }

 private:
  friend class NotifieeList;

  struct Change {
    Ptr<Entity const> entity;
    /// The `Undelivered` of the collection.
    void* undelivered;
    U64 keyBits;
    /// The change's number among those of its entity; 0 while there is nothing to tell.
    U64 number;
    /// Tells the notifiees and counts the change as delivered.
    void (*deliver)(Delivery& delivery, Change const& change, std::exception_ptr& first);
    /// Set while the change itself is postponed.
    std::function<bool()> carryOut;
  };

  /// A walk through the places of a list in another order than that of registration.
  struct Walk {
    std::size_t size;
    std::size_t place;
    std::size_t stride;

    std::size_t next() noexcept {
      std::size_t const here = place;
      place = (place + stride) % size;
      return here;
    }
  };

  template <class Key>
  using BitsOf = std::conditional_t<sizeof(Key) == sizeof(U64), U64, U32>;
  template <class Key>
  static Key keyOf(U64 bits) noexcept {
    return std::bit_cast<Key>(static_cast<BitsOf<Key>>(bits));
  }

  /// Makes the calling thread's delivery.
  static Delivery& makeForThread() noexcept;

  /// A walk through `size` places in the order in force. REQUIRES: that is not
  /// `Order::registration`.
  Walk walk(std::size_t size) noexcept;

  template <class Key>
  bool isUndelivered(Undelivered<Key> const& undelivered, Key key) const noexcept {
    return (begun_ == &undelivered && keyOf<Key>(begunKeyBits_) == key) || undelivered.has(key);
  }
  template <class Key>
  static void countDelivered(Undelivered<Key>& undelivered, Key key) noexcept;

  /// Delivers everything posted, and ends the delivery in progress.
  void finish(std::exception_ptr first);

  /// Small enough for every thread's static block, also when the library is loaded late; reaching
  /// it then takes no call.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local Delivery* ofThisThread_;

  /// Set while a handler runs: the notifiee that is being told. The loop that calls the handler
  /// sees from a null that the last reference to it has become the delivery's.
  PtrInterface::NotifieeConst* told_ = nullptr;
  bool disturbed_ = false;
  /// The collection and the key of the change that is being delivered without having been posted;
  /// null while there is none.
  void const* begun_ = nullptr;
  U64 begunKeyBits_ = 0;
  /// Changes still to deliver, from `next_` on.
  std::vector<Change> changes_;
  std::size_t next_ = 0;
  bool running_ = false;
  Order order_ = Order::registration;
  U64 seed_ = 0;
};

template <class Slot>
struct SlotOf;
template <class Notifiee, class Key>
struct SlotOf<void (Notifiee::*)(Key)> {
  using NotifieeType = Notifiee;
};

inline PtrInterface::NotifieeConst* NotifieeList::hearer(std::size_t place, U64 change, U32 group,
                                                         bool all) const noexcept {
  auto* const hearer = hearers_[place];
  if (hearer == nullptr) return nullptr;
  if (lastBeginning_ >= change && places_[place].deafUntil >= change) [[unlikely]]
    return nullptr;
  bool const isToHear = all || hearer->interest_ == everyGroup || hearer->interest_ == group;
  return isToHear ? hearer : nullptr;
}

template <auto slot, class Key>
inline bool NotifieeList::tell(Delivery& delivery, PtrInterface::NotifieeConst& notifiee, Key key,
                               std::exception_ptr& first) noexcept {
  using Notifiee = typename SlotOf<decltype(slot)>::NotifieeType;
  delivery.told_ = &notifiee;
  try {
    (static_cast<Notifiee&>(notifiee).*slot)(key);
  } catch (...) {
    hasRaised(notifiee, first);
  }
  if (!delivery.disturbed_) [[likely]]
    return true;
  if (delivery.told_ == nullptr) notifiee.referenceDel();
  return false;
}

template <auto slot, class Key>
inline void NotifieeList::deliver(Delivery& delivery, Key key, U64 change,
                                  std::exception_ptr& first) noexcept {
  U32 const group = groupOf(key);
  // Asked again after each notifiee, who may have switched a trace level.
  auto const isForAll = [] { return !hasGroups<Key> || Trace::isAnythingOn(); };
  delivering_ = true;
  // Whoever registers from here on stands behind `end`.
  std::size_t const end = places_.size();
  std::size_t place = 0;
  if (delivery.order_ != Delivery::Order::registration) [[unlikely]] {
    Delivery::Walk walk = delivery.walk(end);
    for (; place < end; ++place) {
      auto* const notifiee = hearer(walk.next(), change, group, isForAll());
      if (notifiee != nullptr) tell<slot>(delivery, *notifiee, key, first);
    }
  } else if (isForAllHearers<Key>(change)) {
    delivery.disturbed_ = false;
    PtrInterface::NotifieeConst* const* const hearers = hearers_.data();
    auto* const* at = hearers;
    for (auto* const* const last = hearers + end; at != last;) {
      auto* const hearer = *at++;
      if (hearer != nullptr && !tell<slot>(delivery, *hearer, key, first)) break;
    }
    place = static_cast<std::size_t>(at - hearers);
  }
  while (place < end) {
    std::size_t const word = place / inWord;
    bool all = isForAll();
    U64 there = candidates(place, group, all);
    while (there != 0) {
      // One place after the other, rather than from one bit to the next, so that the processor can
      // go on before it knows the bits.
      for (; (there & highBitOfFirst) == 0; there >>= 8U) ++place;
      if (auto* const notifiee = hearer(place, change, group, all)) {
        tell<slot>(delivery, *notifiee, key, first);
        if (isForAll() != all) [[unlikely]] {
          all = !all;
          there = candidates(place, group, all);
        }
      }
      there >>= 8U;
      ++place;
    }
    place = (word + 1) * inWord;
    while (!all && place < end && marked(group, place / inWord) == 0) place += inWord;
  }
  delivery.told_ = nullptr;
  delivering_ = false;
  closeHolesIfMany();
}

template <auto slot, class Key>
void Delivery::deliver(Entity const& entity, Undelivered<Key>& undelivered, Key key) {
  static_assert(std::is_trivially_copyable_v<Key> &&
                (sizeof(Key) == sizeof(U32) || sizeof(Key) == sizeof(U64)));

  running_ = true;
  begun_ = &undelivered;
  begunKeyBits_ = std::bit_cast<BitsOf<Key>>(key);
  std::exception_ptr first;
  {
    Ptr<Entity const> const held(&entity);
    NotifieeList& list = *entity.notifieeList();
    list.deliver<slot>(*this, key, list.changeIs(), first);
  }
  begun_ = nullptr;
  if (first || !changes_.empty()) [[unlikely]]
    finish(std::move(first));
  running_ = false;
}

template <auto slot, class Key, class CarryOut>
void Delivery::post(Entity const& entity, Undelivered<Key>& undelivered, Key key,
                    CarryOut carryOut) {
  std::size_t const place = changes_.size();
  bool const isPostponed = isUndelivered(undelivered, key);
  undelivered.valueIs(key, undelivered.value(key) + 1);
  auto const takeBack = [&] {
    if (changes_.size() > place) changes_.pop_back();
    countDelivered(undelivered, key);
  };
  try {
    changes_.push_back(Change{
        Ptr<Entity const>(&entity), &undelivered, std::bit_cast<BitsOf<Key>>(key), 0,
        [](Delivery& delivery, Change const& change, std::exception_ptr& first) {
          Key const changed = keyOf<Key>(change.keyBits);
          if (change.number != 0) {
            change.entity->notifieeList()->deliver<slot>(delivery, changed, change.number, first);
          }
          countDelivered(*static_cast<Undelivered<Key>*>(change.undelivered), changed);
        },
        nullptr});
    if (isPostponed) {
      changes_.back().carryOut = std::move(carryOut);
      return;
    }
    if (carryOut()) {
      changes_.back().number = entity.notifieeList()->changeIs();
      return;
    }
  } catch (...) {
    takeBack();
    throw;
  }
  takeBack();
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
