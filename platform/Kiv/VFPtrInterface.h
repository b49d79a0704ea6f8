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
  U32 references() const noexcept { return shared().load(std::memory_order_relaxed); }

 protected:
  VFPtrInterface() noexcept = default;
  ~VFPtrInterface() = default;

  void referenceAdd() const noexcept {
    if (isThreadSafe()) [[unlikely]] {
      shared().fetch_add(1, std::memory_order_relaxed);
    } else {
      ++references_;
    }
  }

  /// Takes one reference away. Returns whether it was the last.
  bool referenceDrop() const noexcept {
    if (isThreadSafe()) [[unlikely]] {
      if (shared().fetch_sub(1, std::memory_order_acq_rel) != 1) [[likely]]
        return false;
    } else if (--references_ != 0) [[likely]] {
      return false;
    }
    references_ = beingDestroyed;
    return true;
  }

  /// Gives the object back the last reference, which `referenceDrop` took away, in place of its
  /// destruction.
  void referenceRevive() const noexcept { references_ = 1; }

 private:
  static constexpr U32 beingDestroyed = 0x80000000U;

  /// The switch, read as an atomic so that compilers load it into a register, which processors test
  /// and branch on in one step, rather than compare it in memory.
  static bool isThreadSafe() noexcept {
    return std::atomic_ref(threadSafePointers_).load(std::memory_order_relaxed);
  }

  /// The count as several threads use it.
  std::atomic_ref<U32> shared() const noexcept { return std::atomic_ref<U32>(references_); }

  mutable U32 references_ = 1;
};

}  // namespace Kiv
