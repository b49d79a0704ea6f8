#include "Kiv/AllocTrackTypeInfo.h"

namespace Kiv {

namespace {

constinit std::atomic<AllocTrackTypeInfo*> newest{nullptr};

}  // namespace

void AllocTrackTypeInfo::trackAllocation() noexcept {
  if (allocated_.fetch_add(1, std::memory_order_relaxed) != 0) return;
  next_ = newest.load(std::memory_order_relaxed);
  while (!newest.compare_exchange_weak(next_, this, std::memory_order_release,
                                       std::memory_order_relaxed)) {
  }
}

void AllocTrackTypeInfo::trackDeallocation() noexcept {
  freed_.fetch_add(1, std::memory_order_release);
}

AllocTrackTypeInfo const* AllocTrackTypeInfo::first() noexcept {
  return newest.load(std::memory_order_acquire);
}

}  // namespace Kiv
