#pragma once

#include <utility>

#include "Kiv/HashMap.h"
#include "Kiv/Store.h"

namespace Kiv {

/// A keyed collection that outlives the agent: nobody is told of its changes, and each write is
/// reported to `Store`.
template <class Key, class Value>
class StoredMap {
 public:
  HashMap<Key, Value> const& members() const noexcept { return members_; }

  /// Inserts or overwrites. Raises `std::bad_alloc`, with nothing changed.
  void valueIs(Key key, Value value) {
    members_.valueIs(key, std::move(value));
    Store::written();
  }

  /// Removes. Returns what was there, `Value{}` when nothing was.
  Value valueDel(Key key) {
    if (!members_.has(key)) return Value{};
    Value removed = members_.valueDel(key);
    Store::written();
    return removed;
  }

 private:
  HashMap<Key, Value> members_;
};

}  // namespace Kiv
