#include "Kiv/Delivery.h"

#include <algorithm>

namespace Kiv {

Delivery& Delivery::current() noexcept {
  static thread_local Delivery delivery;
  return delivery;
}

bool Delivery::hasUndelivered(void const* collection, U64 keyBits) const noexcept {
  return std::any_of(changes_.begin() + static_cast<std::ptrdiff_t>(next_), changes_.end(),
                     [&](Change const& earlier) {
                       return earlier.collection == collection &&
                              earlier.isAtKey(earlier.keyBits, keyBits);
                     });
}

void Delivery::run() {
  Delivery& delivery = current();
  if (delivery.running_) return;
  delivery.running_ = true;
  std::exception_ptr first;
  for (; delivery.next_ < delivery.changes_.size(); ++delivery.next_) {
    // A handler may post further changes and so move the array: work on what it cannot move.
    if (std::function<bool()> const carryOut =
            std::exchange(delivery.changes_[delivery.next_].carryOut, {})) {
      bool changed = false;
      try {
        changed = carryOut();
      } catch (...) {
        if (!first) first = std::current_exception();
      }
      if (!changed) continue;
      delivery.changes_[delivery.next_].number = ++delivery.latestChange_;
    }
    Change const& posted = delivery.changes_[delivery.next_];
    Change const change{posted.entity,  posted.collection, posted.keyBits,
                        posted.isAtKey, posted.deliver,    {},
                        posted.number};
    change.deliver(change, first);
  }
  delivery.changes_.clear();
  delivery.next_ = 0;
  delivery.running_ = false;
  if (first) std::rethrow_exception(first);
}

}  // namespace Kiv
