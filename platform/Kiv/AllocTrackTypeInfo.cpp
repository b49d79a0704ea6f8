#include "Kiv/AllocTrackTypeInfo.h"

namespace Kiv {

namespace {

constinit std::atomic<AllocTrackTypeInfo*> newest{nullptr};

}  // namespace

constinit thread_local char AllocTrackTypeInfo::thisThread_ = 0;

void* AllocTrackTypeInfo::trackFirstOrForeign(void* memory) noexcept {
  char const* none = nullptr;
  if (!ownThread_.compare_exchange_strong(none, &thisThread_, std::memory_order_relaxed)) {
    others_.allocated.fetch_add(1, std::memory_order_relaxed);
    return memory;
  }
  increment(own_.allocated);
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
