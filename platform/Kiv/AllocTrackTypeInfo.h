#pragma once

#include <atomic>

#include "Kiv/Integers.h"

namespace Kiv {

/// The allocation record of one class: how many of its objects are alive and how many there have
/// ever been.
///
/// Records are constant-initialised, so that they count from the first allocation on, whatever the
/// order in which libraries are loaded. A record joins the process-wide list when its class is
/// first allocated; the list is walked with `first` and `next`, newest first.
///
/// All of it may be used from any thread. The thread that allocated first counts for itself, since
/// it is mostly the only one: an atomic addition would have the processor wait, at each object, for
/// all it has written before.
class AllocTrackTypeInfo {
 public:
  /// `className` must outlive the record; it is the class's full name.
  constexpr explicit AllocTrackTypeInfo(char const* className) noexcept : className_(className) {}
  AllocTrackTypeInfo(AllocTrackTypeInfo const&) = delete;
  AllocTrackTypeInfo& operator=(AllocTrackTypeInfo const&) = delete;

  /// Counts an object whose memory is `memory`, and returns that, so that an allocation function
  /// can end in this call.
  void* trackAllocation(void* memory) noexcept {
    if (!isOwnThread()) [[unlikely]]
      return trackFirstOrForeign(memory);
    increment(own_.allocated);
    return memory;
  }
  void trackDeallocation() noexcept {
    if (isOwnThread()) [[likely]] {
      increment(own_.freed);
    } else {
      others_.freed.fetch_add(1, std::memory_order_release);
    }
  }

  char const* className() const noexcept { return className_; }
  /// Objects alive now.
  U64 live() const noexcept {
    // In this order, so that an object that comes and goes meanwhile does not make it negative.
    U64 const freed =
        own_.freed.load(std::memory_order_acquire) + others_.freed.load(std::memory_order_acquire);
    return allocated() - freed;
  }
  /// Objects ever allocated.
  U64 allocated() const noexcept {
    return own_.allocated.load(std::memory_order_relaxed) +
           others_.allocated.load(std::memory_order_relaxed);
  }

  /// The record of the class that was allocated last for the first time; null when no class was.
  static AllocTrackTypeInfo const* first() noexcept;
  /// The record that joined before this one; null after the oldest.
  AllocTrackTypeInfo const* next() const noexcept { return next_; }

 private:
  struct Counts {
    std::atomic<U64> allocated{0};
    std::atomic<U64> freed{0};
  };

  bool isOwnThread() const noexcept {
    return ownThread_.load(std::memory_order_relaxed) == &thisThread_;
  }
  /// Adds one to a count that no other thread writes.
  static void increment(std::atomic<U64>& count) noexcept {
    count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_release);
  }
  /// `trackAllocation` for the first object, and for those of other threads than the first one's.
  void* trackFirstOrForeign(void* memory) noexcept;

  /// Its address stands for a thread. Reached without a call, as `Delivery::ofThisThread`.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local char thisThread_;

  char const* className_;
  /// The thread that allocated the first object, or, when that has ended, one that got its memory;
  /// null before there was any.
  std::atomic<char const*> ownThread_{nullptr};
  Counts own_;
  Counts others_;
  AllocTrackTypeInfo* next_ = nullptr;
};

}  // namespace Kiv
