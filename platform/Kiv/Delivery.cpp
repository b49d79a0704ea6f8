#include "Kiv/Delivery.h"

#include <cstddef>
#include <exception>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

namespace Kiv {

constinit thread_local Delivery* Delivery::ofThisThread_ = nullptr;

Delivery& Delivery::makeForThread() noexcept {
  // It outlives the thread's other objects, since static ones may make changes after it; the memory
  // that it has by then does not.
  alignas(Delivery) static thread_local std::byte place[sizeof(Delivery)];
  struct End {
    ~End() { std::vector<Change>().swap(ofThisThread_->changes_); }
  };
  ofThisThread_ = new (place) Delivery;
  static thread_local End const end;
  return *ofThisThread_;
}

void Delivery::orderIs(Order order, U64 seed) noexcept {
  ofThisThread().order_ = order;
  ofThisThread().seed_ = seed;
}

Delivery::Walk Delivery::walk(std::size_t first, std::size_t end) noexcept {
  // What has begun in the order of registration goes on in it.
  if (order_ == Order::registration || first != 0) return {end, first, 1};
  // A stride of all but one is a step back.
  if (order_ == Order::reverse || end < 2) return {end, end - 1, end - 1};
  // A step of Knuth's generator, whose high bits are the good ones. A stride that has no divisor in
  // common with the size meets every place once.
  seed_ = seed_ * 6364136223846793005U + 1442695040888963407U;
  Walk drawn{end, (seed_ >> 33) % end, 1 + (seed_ >> 48) % (end - 1)};
  while (std::gcd(drawn.stride, end) != 1) ++drawn.stride;
  return drawn;
}

void Delivery::run() {
  if (isIdle()) finish();
}

void Delivery::finish() {
  begun_ = this;
  while (next_ < changes_.size()) {
    // Taken out, since a handler may post further changes and so move the array.
    Change change = std::move(changes_[next_++]);
    if (change.carryOut) {
      try {
        if (change.carryOut()) change.number = change.entity->notifieeList()->changeIs();
      } catch (...) {
        keepException();
      }
    }
    change.deliver(*this, change);
  }
  changes_.clear();
  next_ = 0;
  begun_ = nullptr;
  if (raised_) std::rethrow_exception(std::exchange(raised_, nullptr));
}

}  // namespace Kiv
