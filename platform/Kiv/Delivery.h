#pragma once

#include <bit>
#include <cstddef>
#include <exception>
#include <functional>
#include <type_traits>
#include <typeinfo>
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
  bool isIdle() const noexcept { return begun_ == nullptr; }

  /// Delivers a change at `key` of a collection of `entity`, just made, through `slot`, and what
  /// the handlers post. Raises the first exception that a notifiee or a postponed change raised.
  /// `undelivered` is the collection's.
  ///
  /// REQUIRES: the delivery is idle.
  template <auto slot, class Key>
  [[gnu::always_inline]] void deliver(Entity const& entity, Undelivered<Key>& undelivered, Key key);

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
    void (*deliver)(Delivery& delivery, Change const& change);
    /// Set while the change itself is postponed.
    std::function<bool()> carryOut;
  };

  /// A walk through the places of a list.
  struct Walk {
    std::size_t size;
    std::size_t place;
    std::size_t stride;

    std::size_t next() noexcept {
      std::size_t const here = place;
      place += stride;
      if (place >= size) place -= size;
      return here;
    }
  };

  template <class Key>
  using BitsOf = std::conditional_t<sizeof(Key) == sizeof(U64), U64, U32>;
  template <class Key>
  static U64 bitsOf(Key key) noexcept {
    return std::bit_cast<BitsOf<Key>>(key);
  }
  template <class Key>
  static Key keyOf(U64 bits) noexcept {
    return std::bit_cast<Key>(static_cast<BitsOf<Key>>(bits));
  }

  /// Makes the calling thread's delivery.
  static Delivery& makeForThread() noexcept;

  /// A walk, in the order in force, through the places up to `end`: from `first` on in the order of
  /// registration, through all of them in others.
  Walk walk(std::size_t first, std::size_t end) noexcept;

  template <class Key>
  bool isUndelivered(Undelivered<Key> const& undelivered, Key key) const noexcept {
    return (begun_ == &undelivered && keyOf<Key>(begunKeyBits_) == key) || undelivered.has(key);
  }
  template <class Key>
  static void countDelivered(Undelivered<Key>& undelivered, Key key) noexcept;

  /// Delivers everything posted, and is idle then. Raises the first exception.
  void finish();

  /// Keeps the exception that is being handled, unless there is an earlier one.
  void keepException() noexcept {
    if (!raised_) raised_ = std::current_exception();
  }

  /// Small enough for every thread's static block, also when the library is loaded late; reaching
  /// it then takes no call.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local Delivery* ofThisThread_;

  /// The notifiee that is being told, while its handler runs. `NotifieeList::tell` sees from a null
  /// that the last reference to it has become the delivery's.
  PtrInterface::NotifieeConst* told_ = nullptr;
  bool disturbed_ = false;
  /// The collection and the key of the change that is being delivered without having been posted;
  /// this delivery itself while it delivers what was, and null while it is idle.
  void const* begun_ = nullptr;
  U64 begunKeyBits_ = 0;
  /// Changes still to deliver, from `next_` on.
  std::vector<Change> changes_;
  std::size_t next_ = 0;
  /// The first exception of the delivery in progress; null while there is none.
  std::exception_ptr raised_;
  Order order_ = Order::registration;
  U64 seed_ = 0;
};

/// The parts of an operation through which notifiees are told. The type stands for it where classes
/// of several libraries meet: whether pointers to a virtual function are equal is unspecified.
template <auto operation>
struct Operation;
template <class N, class K, void (N::*operation)(K)>
struct Operation<operation> {
  using Notifiee = N;
  using Key = K;
};

template <class Notifiee, class Base, class Key, void (Base::*slot)(Key), class Handle>
void PtrInterface::NotifieeConst::toldInRowIs(Handle /*handle*/) noexcept {
  static_assert(std::is_final_v<Notifiee> && std::is_base_of_v<Base, Notifiee>);
  static_assert(std::is_empty_v<Handle> && std::is_default_constructible_v<Handle>);
  static constexpr NotifieeList::Row row{&typeid(Operation<slot>),
                                         &NotifieeList::tellRow<Notifiee, slot, Handle>};
  row_ = &row;
}

template <auto slot, class Key>
inline auto NotifieeList::callOf(Key key) noexcept {
  return [key](PtrInterface::NotifieeConst& notifiee) {
    (static_cast<typename Operation<slot>::Notifiee&>(notifiee).*slot)(key);
  };
}

template <class Handle>
inline bool NotifieeList::tell(Delivery& delivery, PtrInterface::NotifieeConst& notifiee,
                               Handle handle) noexcept {
  delivery.told_ = &notifiee;
  try {
    handle(notifiee);
  } catch (...) {
    hasRaised(delivery, notifiee);
  }
  if (!delivery.disturbed_) [[likely]]
    return true;
  if (delivery.told_ == nullptr) notifiee.referenceDel();
  return false;
}

template <class Handle>
inline NotifieeList::Hearer const* NotifieeList::tellNeighbours(Delivery& delivery,
                                                                Hearer const* at,
                                                                Handle handle) noexcept {
  Row const* const row = at->row;
  do {
    if (!tell(delivery, *(at++)->notifiee, handle)) break;
    // Nobody stands behind the last place.
  } while (at->row == row);
  return at;
}

template <class Notifiee, auto slot, class Handle>
NotifieeList::Hearer const* NotifieeList::tellRow(Delivery& delivery, U64 keyBits,
                                                  Hearer const* at) noexcept {
  auto const key = Delivery::keyOf<typename Operation<slot>::Key>(keyBits);
  return tellNeighbours(delivery, at,
                        [key](auto& notifiee) { Handle{}(static_cast<Notifiee&>(notifiee), key); });
}

template <auto slot>
inline bool NotifieeList::tellsThrough(Row const& row) noexcept {
  return row.operation == &typeid(Operation<slot>) ||
         (row.operation != nullptr && *row.operation == typeid(Operation<slot>));
}

template <auto slot, class Key>
NotifieeList::Hearer const* NotifieeList::tellEach(Delivery& delivery, Key key,
                                                   Hearer const* at) noexcept {
  return tellNeighbours(delivery, at, callOf<slot>(key));
}

template <auto slot, class Key>
inline std::size_t NotifieeList::tellAll(Delivery& delivery, Key key, std::size_t end) noexcept {
  Hearer const* const hearers = hearers_.data();
  Hearer const* at = hearers;
  while (at != hearers + end && !delivery.disturbed_) {
    if (at->row == nullptr) {
      ++at;
    } else if (tellsThrough<slot>(*at->row)) {
      at = at->row->tell(delivery, Delivery::bitsOf(key), at);
    } else {
      at = tellEach<slot>(delivery, key, at);
    }
  }
  return at == hearers + end ? allTold : static_cast<std::size_t>(at - hearers);
}

template <auto slot, class Key>
inline std::size_t NotifieeList::tellMarked(Delivery& delivery, Key key, std::size_t end) noexcept {
  U32 const group = groupOf(key);
  std::size_t const words = (end + inWord - 1) / inWord;
  Hearer const* const hearers = hearers_.data();
  for (std::size_t word = 0; word < words; ++word) {
    std::size_t place = word * inWord;
    for (U64 there = marked(group, word); there != 0; there >>= 8U, ++place) {
      // One place after the other, rather than from one bit to the next, so that the processor can
      // go on before it knows the bits.
      if ((there & highBitOfFirst) == 0) continue;
      PtrInterface::NotifieeConst* const notifiee = hearers[place].notifiee;
      if (notifiee == nullptr || !notifiee->isInterestedIn(group)) continue;
      // The notifiee may have switched a trace level.
      if (!tell(delivery, *notifiee, callOf<slot>(key)) || Trace::isAnythingOn()) [[unlikely]]
        return place + 1;
    }
  }
  return allTold;
}

template <auto slot, class Key>
void NotifieeList::tellRest(Delivery& delivery, Key key, U64 change, std::size_t place,
                            std::size_t end) noexcept {
  U32 const group = groupOf(key);
  for (Delivery::Walk walk = delivery.walk(place, end); place < end; ++place) {
    std::size_t const next = walk.next();
    PtrInterface::NotifieeConst* const notifiee = hearers_[next].notifiee;
    if (notifiee == nullptr || places_[next].deafUntil >= change) continue;
    if (!hasGroups<Key> || Trace::isAnythingOn() || notifiee->isInterestedIn(group)) {
      tell(delivery, *notifiee, callOf<slot>(key));
    }
  }
}

template <auto slot, class Key>
inline void NotifieeList::deliver(Delivery& delivery, Key key, U64 change) noexcept {
  delivering_ = true;
  // Whoever registers from here on stands behind `end`.
  std::size_t const end = places_.size();
  std::size_t place = 0;
  delivery.disturbed_ = false;
  if (delivery.order_ == Delivery::Order::registration && lastBeginning_ < change) [[likely]] {
    if (!hasGroups<Key> || selective_ == 0) {
      place = tellAll<slot>(delivery, key, end);
    } else if (!Trace::isAnythingOn()) {
      place = tellMarked<slot>(delivery, key, end);
    }
  }
  if (place != allTold) [[unlikely]]
    tellRest<slot>(delivery, key, change, place, end);
  delivery.told_ = nullptr;
  delivering_ = false;
  closeHolesIfMany();
}

template <auto slot, class Key>
inline void Delivery::deliver(Entity const& entity, Undelivered<Key>& undelivered, Key key) {
  static_assert(std::is_trivially_copyable_v<Key> &&
                (sizeof(Key) == sizeof(U32) || sizeof(Key) == sizeof(U64)));

  begun_ = &undelivered;
  begunKeyBits_ = bitsOf(key);
  {
    Ptr<Entity const> const held(&entity);
    NotifieeList& list = *entity.notifieeList();
    list.deliver<slot>(*this, key, list.changeIs());
  }
  if (raised_ || !changes_.empty()) [[unlikely]]
    finish();
  begun_ = nullptr;
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
    changes_.push_back(
        Change{Ptr<Entity const>(&entity), &undelivered, bitsOf(key), 0,
               [](Delivery& delivery, Change const& change) {
                 Key const changed = keyOf<Key>(change.keyBits);
                 if (change.number != 0) {
                   change.entity->notifieeList()->deliver<slot>(delivery, changed, change.number);
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
