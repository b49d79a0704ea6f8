#include "Kiv/AllocTrackTypeInfo.h"

namespace Kiv {

namespace {

constinit std::atomic<AllocTrackTypeInfo*> newest{nullptr};

}  // namespace

void* AllocTrackTypeInfo::joined(void* memory) noexcept {
  next_ = newest.load(std::memory_order_relaxed);
  while (!newest.compare_exchange_weak(next_, this, std::memory_order_release,
                                       std::memory_order_relaxed)) {
  }
  return memory;
}

AllocTrackTypeInfo const* AllocTrackTypeInfo::first() noexcept {
  return newest.load(std::memory_order_acquire);
}

}  // namespace Kiv
