#pragma once

#include <atomic>

#include "Kiv/Integers.h"

namespace Kiv {

/// The reference count under every counted object.
///
/// The count starts at one, the reference of whoever created the object: a constructor may
/// therefore hand out and drop counted pointers to the object that it builds. When the last
/// reference goes, the count is set far away from zero for the time of the destruction, so that a
/// counted pointer made by a destructor cannot bring it to zero a second time.
class VFPtrInterface {
 public:
  /// Process-wide, off at first: counts are updated atomically while this is set, with plain
  /// arithmetic otherwise. Set it before objects are shared between threads and leave it alone
  /// while they are.
  static bool threadSafePointers_;

  VFPtrInterface(VFPtrInterface const&) = delete;
  VFPtrInterface& operator=(VFPtrInterface const&) = delete;

  /// How many references there are; of use to tests and tools only.
  U32 references() const noexcept { return references_.load(std::memory_order_relaxed); }

 protected:
  VFPtrInterface() noexcept = default;
  ~VFPtrInterface() = default;

  void referenceAdd() const noexcept {
    if (threadSafePointers_) [[unlikely]] {
      references_.fetch_add(1, std::memory_order_relaxed);
    } else {
      references_.store(references() + 1, std::memory_order_relaxed);
    }
  }

  /// Takes one reference away. Returns whether it was the last.
  bool referenceDrop() const noexcept {
    U32 before;
    if (threadSafePointers_) [[unlikely]] {
      before = references_.fetch_sub(1, std::memory_order_acq_rel);
    } else {
      before = references();
      references_.store(before - 1, std::memory_order_relaxed);
    }
    if (before != 1) [[likely]]
      return false;
    references_.store(beingDestroyed, std::memory_order_relaxed);
    return true;
  }

  /// Gives the object back the last reference, which `referenceDrop` took away, in place of its
  /// destruction.
  void referenceRevive() const noexcept { references_.store(1, std::memory_order_relaxed); }

 private:
  static constexpr U32 beingDestroyed = 0x80000000U;

  mutable std::atomic<U32> references_{1};
};

}  // namespace Kiv
