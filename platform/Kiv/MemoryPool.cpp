#include "Kiv/MemoryPool.h"

#include <mutex>
#include <new>
#include <utility>

namespace Kiv {

constinit thread_local MemoryPool::Own MemoryPool::own_[classes]{};
constinit thread_local bool MemoryPool::hasLeft_ = false;

/// The lists that threads have handed over.
struct MemoryPool::HandedOver {
  std::mutex mutex;
  Idle* lists[classes]{};
};
constinit MemoryPool::HandedOver MemoryPool::handedOver_;

void MemoryPool::handOver(std::size_t sizeClass, Idle* list) noexcept {
  if (list == nullptr) return;
  std::lock_guard const lock(handedOver_.mutex);
  list->nextList = std::exchange(handedOver_.lists[sizeClass], list);
}

/// Leaves a thread's blocks to the others when it ends.
struct MemoryPool::Leaving {
  ~Leaving() {
    for (std::size_t c = 0; c < classes; ++c) {
      Own const own = std::exchange(own_[c], {});
      handOver(c, own.first);
      handOver(c, own.full);
    }
    hasLeft_ = true;
  }
};

void MemoryPool::leaveAtEnd() {
  thread_local Leaving leaving;
  static_cast<void>(leaving);
}

MemoryPool::Idle& MemoryPool::refill(std::size_t sizeClass) {
  leaveAtEnd();
  Own& own = own_[sizeClass];
  if (own.full != nullptr) {
    own = {own.full, most, nullptr};
    return *own.first;
  }
  Idle* list = nullptr;
  {
    std::lock_guard const lock(handedOver_.mutex);
    list = handedOver_.lists[sizeClass];
    if (list != nullptr) handedOver_.lists[sizeClass] = list->nextList;
  }
  if (list != nullptr) {
    std::size_t size = 0;
    for (Idle const* block = list; block != nullptr; block = block->next) ++size;
    own = {list, size, nullptr};
    return *list;
  }
  std::size_t const size = (sizeClass + 1) * step;
  std::size_t const chunkSize = blocksInChunk * size;
  auto* const chunk = static_cast<std::byte*>(::operator new(chunkSize));
  // The last one first, so that they are used in the order of their addresses.
  std::size_t at = chunkSize;
  do {
    at -= size;
    own.first = new (chunk + at) Idle{own.first, nullptr};
  } while (at > 0);
  own.size = blocksInChunk;
  return *own.first;
}

void* MemoryPool::blockFromElsewhere(std::size_t size) {
  if (!isOn || size > largest) return ::operator new(size);
  Idle& block = refill(classOf(size));
  Own& own = own_[classOf(size)];
  own.first = block.next;
  --own.size;
  if (hasLeft_) handOver(classOf(size), std::exchange(own, {}).first);
  return &block;
}

void MemoryPool::blockDelAtLimit(void* block, std::size_t sizeClass) noexcept {
  leaveAtEnd();
  Own& own = own_[sizeClass];
  if (own.first != nullptr) {
    handOver(sizeClass, own.full);
    own = {nullptr, 0, own.first};
  }
  auto* const idle = new (block) Idle{nullptr, nullptr};
  if (hasLeft_) {
    handOver(sizeClass, idle);
  } else {
    own = {idle, 1, own.full};
  }
}

std::size_t MemoryPool::idleBytes() noexcept {
  std::size_t bytes = 0;
  std::lock_guard const lock(handedOver_.mutex);
  for (std::size_t c = 0; c < classes; ++c) {
    auto const count = [&](Idle const* list) {
      for (Idle const* block = list; block != nullptr; block = block->next) bytes += (c + 1) * step;
    };
    count(own_[c].first);
    count(own_[c].full);
    for (Idle const* list = handedOver_.lists[c]; list != nullptr; list = list->nextList) {
      count(list);
    }
  }
  return bytes;
}

}  // namespace Kiv
