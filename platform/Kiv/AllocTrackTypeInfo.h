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
class AllocTrackTypeInfo {
 public:
  /// `className` must outlive the record; it is the class's full name.
  constexpr explicit AllocTrackTypeInfo(char const* className) noexcept : className_(className) {}
  AllocTrackTypeInfo(AllocTrackTypeInfo const&) = delete;
  AllocTrackTypeInfo& operator=(AllocTrackTypeInfo const&) = delete;

  /// Counts an object whose memory is `memory`, and returns that, so that an allocation function
  /// can end in this call.
  void* trackAllocation(void* memory) noexcept {
    if (allocated_.fetch_add(1, std::memory_order_relaxed) == 0) [[unlikely]]
      return joined(memory);
    return memory;
  }
  void trackDeallocation() noexcept { freed_.fetch_add(1, std::memory_order_release); }

  char const* className() const noexcept { return className_; }
  /// Objects alive now.
  U64 live() const noexcept {
    // In this order, so that an object that comes and goes meanwhile does not make it negative.
    U64 const freed = freed_.load(std::memory_order_acquire);
    return allocated() - freed;
  }
  /// Objects ever allocated.
  U64 allocated() const noexcept { return allocated_.load(std::memory_order_relaxed); }

  /// The record of the class that was allocated last for the first time; null when no class was.
  static AllocTrackTypeInfo const* first() noexcept;
  /// The record that joined before this one; null after the oldest.
  AllocTrackTypeInfo const* next() const noexcept { return next_; }

 private:
  /// Enters the process-wide list. Returns `memory`.
  void* joined(void* memory) noexcept;

  char const* className_;
  std::atomic<U64> allocated_{0};
  std::atomic<U64> freed_{0};
  AllocTrackTypeInfo* next_ = nullptr;
};

}  // namespace Kiv
