#pragma once

#include <type_traits>
#include <utility>

#include "Kiv/Delivery.h"
#include "Kiv/Entity.h"
#include "Kiv/HashMap.h"
#include "Kiv/Ptr.h"

namespace Kiv {

/// Whether two collection values say the same; counted objects are compared by what they hold.
template <class Value>
bool saysTheSame(Value const& left, Value const& right) {
  return left == right;
}
template <class T>
bool saysTheSame(Ptr<T> const& left, Ptr<T> const& right) {
  return left == right || (left && right && *left == *right);
}

/// A keyed collection of an entity whose changes are delivered to the entity's notifiees, through
/// their operation `slot`, as `Delivery` describes.
///
/// Setting a member to what it says already changes nothing and tells nobody. All writing
/// operations raise what a notifiee raised, the change being made nevertheless; and
/// `std::bad_alloc`, with nothing changed or told, but that of a replacement the removal may be
/// made, and told.
template <class Key, class Value, class Notifiee, void (Notifiee::*slot)(Key)>
class WatchedMap {
 public:
  /// The collection of `entity`, which owns it.
  explicit WatchedMap(Entity const& entity) noexcept : entity_(entity) {}

  HashMap<Key, Value> const& members() const noexcept { return members_; }

  /// Inserts or overwrites: one change.
  void valueIs(Key key, Value const& value) {
    Delivery& delivery = Delivery::ofThisThread();
    if (delivery.isIdle()) {
      if (set(key, value)) deliver(delivery, key);
    } else {
      post(delivery, key, [this, key, value] { return set(key, value); });
    }
  }

  /// Inserts or replaces; a replacement is a removal followed by an addition: two changes, each
  /// delivered completely while the collection is in that state. Returns what is there or will be:
  /// the present value when it says the same, `value` otherwise.
  Value memberIs(Key key, Value value) {
    static_assert(std::is_nothrow_copy_assignable_v<Value>);
    Delivery& delivery = Delivery::ofThisThread();
    if (delivery.isIdle()) {
      auto const [present, isNew] = members_.findOrInsert(key);
      if (isNew) {
        present = value;
        deliver(delivery, key);
        return value;
      }
    }
    Value const* const present = members_.find(key);
    return replace(delivery, key,
                   present != nullptr && saysTheSame(*present, value) ? *present : value);
  }

  /// Removes. Returns what was there when the call was made, `Value{}` when nothing was.
  Value valueDel(Key key) {
    Delivery& delivery = Delivery::ofThisThread();
    if (!delivery.isIdle()) {
      Value present = members_.value(key);
      post(delivery, key, [this, key] { return del(key); });
      return present;
    }
    U32 const before = members_.size();
    Value removed = members_.valueDel(key);
    // An object goes when everybody has been told, and should be near by then.
    if constexpr (requires { removed.ptr(); }) __builtin_prefetch(removed.ptr());
    if (members_.size() != before) deliver(delivery, key);
    return removed;
  }

 private:
  /// Returns whether there was anything to change.
  bool set(Key key, Value value) {
    auto const [present, isNew] = members_.findOrInsert(key);
    if (!isNew && saysTheSame(present, value)) return false;
    // As in `HashMap::valueIs`, the old value goes after the new one is in place.
    std::swap(present, value);
    return true;
  }

  /// Returns whether there was anything to remove.
  bool del(Key key) {
    U32 const before = members_.size();
    members_.valueDel(key);
    return members_.size() != before;
  }

  [[gnu::noinline]] Value replace(Delivery& delivery, Key key, Value value) {
    post(delivery, key, [this, key, value] {
      Value const* const present = members_.find(key);
      return present != nullptr && !saysTheSame(*present, value) && del(key);
    });
    try {
      post(delivery, key, [this, key, value] { return set(key, value); });
    } catch (...) {
      // The removal is told, whatever became of the addition.
      delivery.run();
      throw;
    }
    delivery.run();
    return value;
  }

  void deliver(Delivery& delivery, Key key) { delivery.deliver<slot>(entity_, undelivered_, key); }
  template <class CarryOut>
  void post(Delivery& delivery, Key key, CarryOut carryOut) {
    delivery.post<slot>(entity_, undelivered_, key, std::move(carryOut));
  }

  Entity const& entity_;
  HashMap<Key, Value> members_;
  Delivery::Undelivered<Key> undelivered_;
};

}  // namespace Kiv
