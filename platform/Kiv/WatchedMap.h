#pragma once

#include "Kiv/Delivery.h"
#include "Kiv/HashMap.h"
#include "Kiv/Ptr.h"
#include "Kiv/PtrInterface.h"

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
/// operations raise what `Delivery::run` raises; the change is made nevertheless.
template <class Key, class Value, class Notifiee, void (Notifiee::*slot)(Key)>
class WatchedMap {
 public:
  /// The collection of `entity`, which owns it.
  explicit WatchedMap(PtrInterface const& entity) noexcept : entity_(entity) {}

  HashMap<Key, Value> const& members() const noexcept { return members_; }

  /// Inserts or overwrites: one change.
  void valueIs(Key key, Value const& value) {
    post(key, [this, key, value] {
      Value const* const present = members_.find(key);
      if (present != nullptr && saysTheSame(*present, value)) return false;
      members_.valueIs(key, value);
      return true;
    });
    Delivery::run();
  }

  /// Inserts or replaces; a replacement is a removal followed by an addition: two changes, each
  /// delivered completely while the collection is in that state.
  void memberIs(Key key, Value const& value) {
    post(key, [this, key, value] {
      Value const* const present = members_.find(key);
      if (present == nullptr || saysTheSame(*present, value)) return false;
      members_.valueDel(key);
      return true;
    });
    try {
      valueIs(key, value);
    } catch (...) {
      // The removal is told, whatever became of the addition.
      Delivery::run();
      throw;
    }
  }

  /// Removes. Returns what was there when the call was made, `Value{}` when nothing was.
  Value valueDel(Key key) {
    Value present = members_.value(key);
    post(key, [this, key] {
      if (!members_.has(key)) return false;
      members_.valueDel(key);
      return true;
    });
    Delivery::run();
    return present;
  }

 private:
  template <class CarryOut>
  void post(Key key, CarryOut carryOut) {
    Delivery::post<slot>(entity_, undelivered_, key, std::move(carryOut));
  }

  PtrInterface const& entity_;
  HashMap<Key, Value> members_;
  Delivery::Undelivered<Key> undelivered_;
};

}  // namespace Kiv
