#pragma once

#include <atomic>
#include <functional>

namespace Kiv {

/// What outlives the agent: the tables that it writes and what it told the driver. Each single
/// write reports here after it was made, so that an observer sees what an agent killed at that
/// point leaves behind.
class Store {
 public:
  /// Calls `observer` after every write from now on; an empty one is not called. It must not write
  /// itself, and must not raise. Set it while nothing writes.
  static void observerIs(std::function<void()> observer);

  /// A write was made.
  static void written() {
    if (observed_.load(std::memory_order_relaxed)) [[unlikely]]
      tell();
  }

 private:
  static void tell();

  static std::atomic<bool> observed_;
};

}  // namespace Kiv
