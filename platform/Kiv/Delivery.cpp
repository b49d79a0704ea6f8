#include "Kiv/Delivery.h"

#include <numeric>

namespace Kiv {

Delivery& Delivery::current() noexcept {
  static thread_local Delivery delivery;
  return delivery;
}

void Delivery::orderIs(Order order, U64 seed) noexcept {
  current().order_ = order;
  current().seed_ = seed;
}

Delivery::Places::Places(std::size_t size) noexcept : size_(size) {
  Delivery& delivery = current();
  if (delivery.order_ == Order::registration || size < 2) return;
  if (delivery.order_ == Order::reverse) {
    place_ = size - 1;
    stride_ = size - 1;
    return;
  }
  // A step of Knuth's generator, whose high bits are the good ones. A stride that has no divisor in
  // common with the size meets every place once.
  delivery.seed_ = delivery.seed_ * 6364136223846793005U + 1442695040888963407U;
  place_ = (delivery.seed_ >> 33) % size;
  stride_ = 1 + (delivery.seed_ >> 48) % (size - 1);
  while (std::gcd(stride_, size) != 1) ++stride_;
}

void Delivery::run() {
  Delivery& delivery = current();
  if (delivery.running_) return;
  delivery.running_ = true;
  std::exception_ptr first;
  while (delivery.next_ < delivery.changes_.size()) {
    // Taken out, since a handler may post further changes and so move the array.
    Change change = std::move(delivery.changes_[delivery.next_++]);
    if (change.carryOut) {
      try {
        if (change.carryOut()) change.number = change.entity->notifieeList()->changeIs();
      } catch (...) {
        if (!first) first = std::current_exception();
      }
    }
    change.deliver(change, first);
  }
  delivery.changes_.clear();
  delivery.next_ = 0;
  delivery.running_ = false;
  if (first) std::rethrow_exception(first);
}

}  // namespace Kiv
