#pragma once

#include <utility>

#include "Kiv/HashMap.h"
#include "Kiv/Integers.h"
#include "Kiv/Store.h"

namespace Kiv {

/// A keyed collection that outlives the agent: nobody is told of its changes, and each write is
/// reported to `Store`.
template <class Key, class Value>
class StoredMap {
 public:
  HashMap<Key, Value> const& members() const noexcept { return members_; }

  /// As in `HashMap`.
  void expect(U32 members) { members_.expect(members); }

  /// Inserts or overwrites. Raises `std::bad_alloc`, with nothing changed.
  void valueIs(Key key, Value value) {
    members_.valueIs(key, std::move(value));
    Store::written();
  }

  /// Removes. Returns what was there, `Value{}` when nothing was.
  Value valueDel(Key key) {
    U32 const before = members_.size();
    Value removed = members_.valueDel(key);
    if (members_.size() != before) Store::written();
    return removed;
  }

 private:
  HashMap<Key, Value> members_;
};

}  // namespace Kiv
