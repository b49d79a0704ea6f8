#include "Kiv/Store.h"

#include <utility>

namespace Kiv {

namespace {

/// Never destroyed: something may be written at the very end of the process.
std::function<void()>& observerInForce() {
  static auto* const observer = new std::function<void()>;
  return *observer;
}

}  // namespace

constinit std::atomic<bool> Store::observed_{false};

void Store::observerIs(std::function<void()> observer) {
  observerInForce() = std::move(observer);
  observed_.store(static_cast<bool>(observerInForce()), std::memory_order_relaxed);
}

void Store::tell() { observerInForce()(); }

}  // namespace Kiv
